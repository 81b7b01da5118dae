#include <QApplication>
#include <QSystemTrayIcon>
#include <filesystem>

#include "controller/app_controller.h"
#include "hotkey/hotkey_manager.h"
#include "paths/app_paths.h"
#include "platform/platform.h"
#include "platform/shell/accessory_app.h"
#include "settings/app_settings.h"
#include "shell/alerts.h"
#include "shell/online_wiring.h"
#include "shell/single_instance.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Talvo"));
    QApplication::setOrganizationName(QStringLiteral("Mirelo"));
    QApplication::setApplicationVersion(QStringLiteral(TALVO_VERSION));
    // A status-icon program: closing its last window must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    talvo::becomeAccessoryApplication();

    // `talvo --ping`: exit status 0 when a running program has finished
    // starting (scripts wait for it), 1 otherwise.
    if (QCoreApplication::arguments().contains(QStringLiteral("--ping"))) {
        return talvo::SingleInstance::ping(talvo::SingleInstance::defaultName(), 2000) ? 0 : 1;
    }
    // A second launch opens the first one's Settings and ends.
    talvo::SingleInstance instance(talvo::SingleInstance::defaultName());
    if (!instance.claim("settings")) {
        return 0;
    }

    talvo::AppSettings settings;
    talvo::MessageBoxAlerts alerts;
    std::string exeDir = QCoreApplication::applicationDirPath().toStdString();
    auto env = talvo::paths::systemEnv();

    talvo::AppEnvironment e;
    e.settings = &settings;
    e.alerts = &alerts;
    e.dictionaryPath = talvo::paths::dictionaryPath(env, exeDir);
    e.dataDir = talvo::paths::userDataDir(env);
    e.version = TALVO_VERSION;
    talvo::AppController* controllerPtr = nullptr;
    talvo::OnlineWiring online(settings, &app);
    e.online = online.hooks(
        [&controllerPtr] { return controllerPtr ? controllerPtr->studyStore() : nullptr; },
        [&controllerPtr] {
            if (controllerPtr) {
                controllerPtr->refreshStudyBadge();
            }
        });
    e.platform = talvo::createPlatformBackends([&controllerPtr](const talvo::NoticeText& n) {
        if (controllerPtr && controllerPtr->statusItem()) {
            controllerPtr->statusItem()->showMessage(QString::fromStdString(n.title),
                                                     QString::fromStdString(n.body));
        }
    });

    talvo::AppController controller(std::move(e));
    controllerPtr = &controller;
    instance.onRequest = [&controller](const QByteArray& request) {
        controller.handleRequest(request);
    };
    controller.launch();
    return QApplication::exec();
}
