#include "app/controller/app_controller.h"

#include <QApplication>
#include <QPointer>
#include <QTimer>

#include "app/controller/app_stores.h"
#include "app/hotkey/hotkey_manager.h"
#include "app/lookup/lookup_road.h"
#include "app/ocr/recognizer_factory.h"
#include "app/ocr/screen_text_road.h"
#include "app/settings/settings_window.h"
#include "app/shell/alerts.h"
#include "app/shell/dictionary_credits.h"
#include "app/shell/localization.h"
#include "app/shell/update_checker.h"
#include "app/stroke/stroke_order_factory.h"
#include "app/study/study_windows.h"
#include "app/tray/menu_window.h"
#include "app/tray/tray_menu.h"
#include "core/l10n/localization.h"
#include "core/lookup/dictionary_store.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/ui/shell_texts.h"
#include "net/settings/app_settings.h"

namespace talvo {

namespace {

constexpr const char* kLaunchNoticeId = "talvo.launch";
constexpr int kWordIndexWarmUpMs = 1500;
constexpr const char* kStudyReminderId = "talvo.study.daily";

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

}  // namespace

AppController::AppController(AppEnvironment env, QObject* parent)
    : QObject(parent), m_env(std::move(env)) {
    for (HotkeyAction action : kHotkeyActions) {
        m_combos[slotOf(action)] = loadCombo(*m_env.settings, action);
    }
    m_l10n = std::make_unique<Localization>(*m_env.settings);
    m_hotkey = std::make_unique<HotkeyManager>(*m_env.platform.hotkey);
    m_strokes = std::make_unique<StrokeOrderFactory>(m_env.strokesDir, m_env.contentBase,
                                                     m_env.online.fetch);
    AppStores& stores = *m_env.stores;
    m_tray = std::make_unique<TrayMenu>(
        *m_l10n, stores.study(), *m_env.deck, [this] { return shortcutText(); }, m_env.statusIcon);
    m_road = std::make_unique<LookupRoad>(stores, m_env.platform, m_env.online, *m_l10n,
                                          *m_env.deck, std::move(m_env.pump), m_strokes.get());
    RecognitionWorker::Factory recognizer = m_env.recognizer;
    if (!recognizer) {
        const std::string dictionary =
            stores.dictionary() ? stores.dictionary()->path() : std::string();
        recognizer = [dictionary] { return makeTextRecognizer(dictionary); };
    }
    m_screenText = std::make_unique<ScreenTextRoad>(*m_road, m_env.platform.capture.get(), *m_l10n,
                                                    std::move(recognizer));
    m_study = std::make_unique<StudyWindows>(stores.study(), stores.progress(), m_env.lessons,
                                             *m_env.deck, *m_l10n, m_env.online, m_strokes.get());

    connect(m_tray.get(), &TrayMenu::studyRequested, m_study.get(), &StudyWindows::openStudy);
    connect(m_tray.get(), &TrayMenu::profileRequested, m_study.get(), &StudyWindows::openProfile);
    connect(m_tray.get(), &TrayMenu::lessonsRequested, m_study.get(), &StudyWindows::openLessons);
    connect(m_tray.get(), &TrayMenu::settingsRequested, this, &AppController::openSettings);
    connect(m_tray.get(), &TrayMenu::updatesRequested, this, &AppController::checkForUpdates);
    connect(m_tray.get(), &TrayMenu::aboutRequested, this, &AppController::showAbout);
    connect(m_tray.get(), &TrayMenu::quitRequested, this, &AppController::quit);
    connect(m_study.get(), &StudyWindows::studyOpened, m_tray.get(), &TrayMenu::refreshStudyBadge);

    SettingsWindow::Services services;
    services.displayForm = [this](const HotkeyCombo& c) { return displayForm(c); };
    services.saveToken = [this](const std::string& token) {
        return m_env.online.saveToken && m_env.online.saveToken(token);
    };
    for (HotkeyAction action : kHotkeyActions) {
        services.commands[slotOf(action)] = commandFor(action);
    }
    if (m_env.platform.desktopBinding(HotkeyAction::Lookup) && m_env.platform.shortcutByCommand) {
        services.desktopBindingOn = [this](HotkeyAction action) { return desktopBound(action); };
        services.setDesktopBinding = [this](HotkeyAction action, bool on) {
            return bindInDesktop(action, on);
        };
    }
    m_settingsWindow = std::make_unique<SettingsWindow>(*m_env.platform.hotkey, *m_l10n,
                                                        *m_env.settings, std::move(services));
    m_updater = std::make_unique<UpdateChecker>(*m_env.settings, m_env.online, m_env.version);
}

AppController::~AppController() {
    // The popup and the windows go before the shortcut and the language
    // they call into; the stores outlive the controller.
    m_screenText.reset();
    m_road.reset();
    m_settingsWindow.reset();
    m_study.reset();
    m_tray.reset();
}

void AppController::launch() {
    m_tray->install();
    m_env.stores->reportFailure(*m_env.alerts, *m_l10n);
    if (m_env.stores->study()) {
        scheduleStudyReminder();
        if (m_env.online.syncStudy) {
            m_env.online.syncStudy();
        }
    }
    ensureAccessibility();
    explainSessionLimits();
    if (m_env.trayAvailable) {
        QTimer::singleShot(m_env.trayCheckDelayMs, this, &AppController::checkTrayHost);
    }
    // A moved or upgraded program: the desktop's bindings follow it.
    for (HotkeyAction action : kHotkeyActions) {
        if (desktopBound(action)) {
            bindInDesktop(action, true);
        }
    }
    m_hotkey->onTrigger = [this](HotkeyAction action) {
        handleRequest(action == HotkeyAction::ScreenText ? "ocr" : "lookup");
    };
    for (HotkeyAction action : kHotkeyActions) {
        m_hotkey->registerCombo(action, m_combos[slotOf(action)]);
    }
    m_settingsWindow->onRecordingChanged = [this](bool recording) {
        if (recording) {
            m_hotkey->suspend();
        } else {
            m_hotkey->resume();
        }
    };
    m_l10n->onChange = [this] { m_tray->rebuild(); };
    showLaunchNotification();
    if (m_env.online.appOpen) {
        m_env.online.appOpen();
    }
    // The word table's index takes a few tenths of a second to read; read it
    // once the program has settled, not when the first phrase is looked up.
    QTimer::singleShot(kWordIndexWarmUpMs, this, [this] {
        if (DictionaryStore* dict = m_env.stores->dictionary()) {
            dict->wordIndex();
        }
    });
    emit ready();
}

void AppController::ensureAccessibility() {
    if (m_env.platform.trust->isTrusted(true)) {
        return;
    }
    m_env.alerts->show(m_l10n->text(msg::kAccessibilityRequiredTitle),
                       m_l10n->text(msg::kAccessibilityRequiredText));
}

QString AppController::commandFor(HotkeyAction action) const {
    if (!m_env.platform.shortcutByCommand) {
        return {};
    }
    return QCoreApplication::applicationFilePath() + (action == HotkeyAction::ScreenText
                                                          ? QStringLiteral(" --ocr")
                                                          : QStringLiteral(" --lookup"));
}

void AppController::explainSessionLimits() {
    auto once = [this](const char* key, const Tr& title, const QString& text) {
        if (m_env.settings->contains(key)) {
            return;
        }
        m_env.settings->setString(key, "shown");
        m_env.alerts->show(m_l10n->text(title), text, Alerts::Style::Information);
    };
    if (const QString command = commandFor(HotkeyAction::Lookup); !command.isEmpty()) {
        once("notice.commandShortcut", msg::kCommandShortcutTitle,
             m_l10n->format(msg::kCommandShortcutText, command) + QStringLiteral("\n\n") +
                 m_l10n->format(msg::kCommandScreenTextText, commandFor(HotkeyAction::ScreenText)));
    }
}

void AppController::checkTrayHost() {
    if (m_env.trayAvailable()) {
        return;
    }
    m_trayMissing = true;
    if (!m_env.settings->contains("notice.noTray")) {
        m_env.settings->setString("notice.noTray", "shown");
        m_env.alerts->show(m_l10n->text(msg::kNoTrayTitle), m_l10n->text(msg::kNoTrayText),
                           Alerts::Style::Information);
    }
    handleRequest("menu");
}

void AppController::showLaunchNotification() {
    NoticeText notice = launchNotice(m_l10n->lang(), shortcutText().toStdString());
    Notifier* notifier = m_env.platform.notifier.get();
    notifier->requestAuthorization([notifier, notice](bool granted) {
        if (granted) {
            notifier->post(kLaunchNoticeId, notice);
        }
    });
}

void AppController::scheduleStudyReminder() {
    StudySummary s = m_env.stores->study()->summary();
    Notifier* notifier = m_env.platform.notifier.get();
    NoticeText notice = studyReminder(s.dueReviews + s.newRemaining);
    notifier->requestAuthorization([notifier, notice](bool granted) {
        if (granted) {
            notifier->scheduleDaily(kStudyReminderId, kStudyReminderHour, notice);
        }
    });
}

QString AppController::displayForm(const HotkeyCombo& combo) const {
    HotkeyBackend* keys = m_env.platform.hotkey.get();
    return q(HotkeyConfig::displayForm(
        combo, [keys](uint32_t code) { return keys->character(code); }, kNativeKeyStyle));
}

void AppController::applyCombo(HotkeyAction action, const HotkeyCombo& combo) {
    m_combos[slotOf(action)] = combo;
    saveCombo(*m_env.settings, combo, action);
    m_hotkey->registerCombo(action, combo);
    if (desktopBound(action)) {
        bindInDesktop(action, true);
    }
    m_tray->retitleLookup();
}

bool AppController::desktopBound(HotkeyAction action) const {
    DesktopKeybinding* binding = m_env.platform.desktopBinding(action);
    return binding && binding->installed();
}

bool AppController::bindInDesktop(HotkeyAction action, bool on) {
    DesktopKeybinding* binding = m_env.platform.desktopBinding(action);
    const QString command = commandFor(action);
    if (!binding || command.isEmpty()) {
        return false;
    }
    bool ok = false;
    if (!on) {
        ok = binding->remove();
    } else if (auto accelerator = HotkeyConfig::gtkAccelerator(m_combos[slotOf(action)])) {
        ok = binding->install(command.toStdString(), *accelerator);
    }
    m_tray->retitleLookup();
    return ok;
}

QString AppController::shortcutText() const {
    // On the command route the key is whatever the user bound, unless the
    // desktop's settings hold ours.
    if (m_env.platform.shortcutByCommand && !desktopBound(HotkeyAction::Lookup)) {
        return m_l10n->text(msg::kBoundKey);
    }
    return displayForm(m_combos[slotOf(HotkeyAction::Lookup)]);
}

void AppController::openSettings() {
    m_settingsWindow->show(
        m_combos, [this](HotkeyAction action, const HotkeyCombo& c) { applyCombo(action, c); });
}

QString AppController::appVersion() const {
    return m_env.version.empty() ? QStringLiteral("?") : q(m_env.version);
}

void AppController::showAbout() {
    std::vector<SourceCredit> credits;
    if (DictionaryStore* dictionary = m_env.stores->dictionary()) {
        credits = dictionaryCredits(dictionary->path());
    }
    m_env.alerts->show(QString::fromUtf8(kAboutHeading),
                       q(aboutText(m_l10n->lang(), credits, appVersion().toStdString())),
                       Alerts::Style::Information);
}

void AppController::checkForUpdates() {
    QPointer<AppController> self(this);
    std::string current = appVersion().toStdString();
    m_updater->check([self, current](const UpdateVerdict& verdict) {
        if (!self) {
            return;
        }
        self->m_env.alerts->show(self->m_l10n->text(msg::kUpdatesTitle),
                                 q(updateMessage(self->m_l10n->lang(), verdict, current)),
                                 Alerts::Style::Information);
    });
}

void AppController::quit() {
    QCoreApplication::quit();
}

void AppController::handleRequest(const QByteArray& request) {
    if (request == "lookup") {
        m_road->handleHotkey();
    } else if (request == "ocr") {
        m_screenText->trigger();
    } else if (request == "menu" && m_trayMissing) {
        if (!m_menuWindow) {
            m_menuWindow = std::make_unique<MenuWindow>();
        }
        m_menuWindow->showFor(m_tray->menu());
    } else if (request == "settings" || request == "menu") {
        openSettings();
    } else if (request == "study") {
        m_study->openStudy();
    } else if (request == "profile") {
        m_study->openProfile();
    } else if (request == "lessons") {
        m_study->openLessons();
    } else if (request == "quiz") {
        m_study->openQuiz();
    }
}

}  // namespace talvo
