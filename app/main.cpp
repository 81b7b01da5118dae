#include <QApplication>
#include <QDateTime>
#include <QSystemTrayIcon>
#include <filesystem>

#include "app/controller/app_controller.h"
#include "app/controller/app_stores.h"
#include "app/hotkey/hotkey_manager.h"
#include "app/platform/platform.h"
#include "app/platform/shell/accessory_app.h"
#include "app/settings/settings_window.h"
#include "app/shell/alerts.h"
#include "app/shell/online_wiring.h"
#include "app/shell/single_instance.h"
#include "app/shell/start_at_login.h"
#include "app/study/deck_events.h"
#include "app/tray/tray_menu.h"
#include "core/paths/app_paths.h"
#include "net/settings/app_settings.h"
#include "net/sync/study_sync_service.h"

namespace {

// What this launch asks of the running program: `--open WINDOW` opens that
// window (the desktop entry's actions), `--lookup` runs the shortcut's action
// and `--ocr` the second shortcut's, reading text off the screen (the
// commands a desktop binds keys to where no program may grab one, on Wayland
// without the shortcuts portal), and a plain second launch opens
// Settings (or the menu's window where there is no tray), so an autostarted copy and a manual
// launch never both hold the shortcut. `atStart` is what to do when this launch becomes the
// program.
struct Request {
    QByteArray line = "menu";
    QByteArray atStart;
};

Request requestOf(const QStringList& args) {
    Request r;
    if (int at = args.indexOf(QStringLiteral("--open")); at >= 0 && at + 1 < args.size()) {
        r.line = r.atStart = args.at(at + 1).toUtf8();
    }
    if (args.contains(QStringLiteral("--lookup"))) {
        r.line = r.atStart = "lookup";
    }
    if (args.contains(QStringLiteral("--ocr"))) {
        r.line = r.atStart = "ocr";
    }
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    Request request;
    {
        // Talking to a running program needs no window system: answered
        // before one is opened, `talvo --lookup` (or `--ocr`) costs a few milliseconds and
        // `--ping` works from any terminal.
        QCoreApplication early(argc, argv);
        // `talvo --ping`: exit status 0 when a running program has finished
        // starting (scripts wait for it), 1 otherwise.
        if (QCoreApplication::arguments().contains(QStringLiteral("--ping"))) {
            return talvo::SingleInstance::ping(talvo::SingleInstance::defaultName(), 2000) ? 0 : 1;
        }
        request = requestOf(QCoreApplication::arguments());
        if (talvo::SingleInstance::deliver(talvo::SingleInstance::defaultName(), request.line)) {
            return 0;
        }
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Talvo"));
    QApplication::setOrganizationName(QStringLiteral("Mirelo"));
    QApplication::setApplicationVersion(QStringLiteral(TALVO_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral(TALVO_APP_ID));
    // A status-icon program: closing its last window must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    talvo::becomeAccessoryApplication();

    const QByteArray openAtStart = request.atStart;
    talvo::SingleInstance instance(talvo::SingleInstance::defaultName());
    if (!instance.claim(request.line)) {
        return 0;
    }

    talvo::AppSettings settings;
    talvo::MessageBoxAlerts alerts;
    std::string exeDir = QCoreApplication::applicationDirPath().toStdString();
    auto env = talvo::paths::systemEnv();
    // Start at login: the first run of an installed copy turns it on, once.
    std::unique_ptr<talvo::AutostartEntry> autostart = talvo::startAtLoginEntry(
        env, QCoreApplication::applicationFilePath().toStdString(), TALVO_APP_ID);
    if (autostart) {
        talvo::applyFirstRunStartAtLogin(settings, *autostart);
    }

    // The stores open first: the sync hooks and the controller both borrow
    // them, and they outlive both. Their failure alert waits for launch().
    talvo::AppStores stores(talvo::paths::dictionaryPath(env, exeDir),
                            talvo::paths::userDataDir(env));
    talvo::DeckEvents deck;
    // Created hidden here so the notifier fallback can hold it; the tray menu
    // shows it at launch.
    std::unique_ptr<QSystemTrayIcon> statusIcon = talvo::TrayMenu::makeStatusIcon();

    talvo::AppEnvironment e;
    e.settings = &settings;
    e.alerts = &alerts;
    e.stores = &stores;
    e.deck = &deck;
    e.version = TALVO_VERSION;
    e.strokesDir = talvo::paths::resourceDir(exeDir) + "/strokes";
    e.contentBase = [&settings] { return settings.contentUrl(); };
    talvo::OnlineWiring online(settings, &app);
    // Set once the controller exists; exchanges only start after launch.
    std::function<void(const talvo::SyncReport&)> showSyncStatus;
    e.online = online.hooks(stores.studyDatabase(),
                            [&deck, &showSyncStatus](const talvo::SyncReport& report) {
                                if (report.ok) {
                                    emit deck.deckChanged(talvo::DeckChange::Synced);
                                }
                                if (showSyncStatus) {
                                    showSyncStatus(report);
                                }
                            });
    e.lessons = &online.lessons();
    e.platform =
        talvo::createPlatformBackends([icon = statusIcon.get()](const talvo::NoticeText& n) {
            if (icon->isVisible()) {
                icon->showMessage(QString::fromStdString(n.title), QString::fromStdString(n.body));
            }
        });
    e.statusIcon = statusIcon.get();
    e.trayAvailable = [] { return QSystemTrayIcon::isSystemTrayAvailable(); };

    talvo::AppController controller(std::move(e));
    showSyncStatus = [&controller](const talvo::SyncReport& report) {
        controller.settingsWindow()->showSyncStatus(
            {report.ok, QDateTime::currentSecsSinceEpoch(), report.refusedTotal});
    };
    controller.settingsWindow()->setStartAtLogin(autostart.get());
    instance.onRequest = [&controller](const QByteArray& request) {
        controller.handleRequest(request);
    };
    controller.launch();
    if (!openAtStart.isEmpty()) {
        controller.handleRequest(openAtStart);
    }
    return QApplication::exec();
}
