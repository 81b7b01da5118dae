#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <functional>
#include <memory>
#include <string>

#include "app/platform/platform.h"
#include "app/selection/event_pump.h"
#include "app/shell/online_hooks.h"
#include "core/ui/hotkey_combo.h"
#include "ocr/text_recognizer.h"

class QSystemTrayIcon;

namespace talvo {

class Alerts;
class AppSettings;
class AppStores;
class DeckEvents;
class HotkeyManager;
class LessonsService;
class Localization;
class LookupRoad;
class ScreenTextRoad;
class SettingsWindow;
class StrokeOrderFactory;
class StudyWindows;
class TrayMenu;
class MenuWindow;
class UpdateChecker;

// Everything the controller is given: the opened stores, the platform's
// backends and the online services. Tests hand in fakes.
struct AppEnvironment {
    AppSettings* settings = nullptr;  // borrowed, outlives the controller
    Alerts* alerts = nullptr;         // borrowed
    AppStores* stores = nullptr;      // borrowed, opened already
    DeckEvents* deck = nullptr;       // borrowed; sync completions emit on it too
    std::string version;              // empty reads as "?"
    PlatformBackends platform;
    OnlineHooks online;
    // The lessons feed; null: the lessons window stays closed.
    LessonsService* lessons = nullptr;  // borrowed
    // Installed stroke data (share/talvo/strokes) and the host asked for
    // characters missing there; either may be empty.
    std::string strokesDir;
    std::function<std::string()> contentBase;
    // Makes the text recogniser, on the recognition thread at first use;
    // null: the engine this program was built with.
    std::function<std::unique_ptr<ocr::TextRecognizer>()> recognizer;
    std::unique_ptr<EventPump> pump;  // null: the real event loop
    // Borrowed; null: no status icon (tests), the menu still exists.
    QSystemTrayIcon* statusIcon = nullptr;
    // Whether the desktop shows status icons, asked `trayCheckDelayMs` after
    // the launch (a tray host started with the session may come up after us);
    // null: it does. Without one the menu's window stands in for the icon.
    std::function<bool()> trayAvailable;
    int trayCheckDelayMs = 5000;
};

// The desktop program's composition root: puts together the status menu, the
// lookup road, the study windows, the shortcut and the settings window over
// the stores it is given, runs the launch sequence and answers the menu's
// settings, about, updates and quit rows and a second launch's requests.
// Lives as long as the program; everything runs on the main thread.
class AppController : public QObject {
    Q_OBJECT
  public:
    explicit AppController(AppEnvironment env, QObject* parent = nullptr);
    ~AppController() override;

    // The launch sequence: status icon and menu, the alert of a dictionary
    // that is missing or unreadable, the study side (reminder, sync),
    // accessibility check, shortcut, settings and language callbacks, launch
    // notice, usage report.
    void launch();

    // Saves the action's combo, registers it and retitles the menu's lookup row.
    void applyCombo(HotkeyAction action, const HotkeyCombo& combo);
    void openSettings();
    void showAbout();
    void checkForUpdates();
    void quit();
    // A request from a second launch: "lookup" runs the shortcut's action,
    // "ocr" the second shortcut's (reading text off the screen),
    // "settings", "study", "profile", "lessons" and "quiz" open that window,
    // "menu" (a plain launch) opens Settings, or the menu's window where the
    // desktop has no tray.
    void handleRequest(const QByteArray& request);

    QString appVersion() const;
    QString displayForm(const HotkeyCombo& combo) const;

    // What tests and the program's own pieces look at.
    Localization& localization() { return *m_l10n; }
    LookupRoad& lookupRoad() { return *m_road; }
    ScreenTextRoad& screenText() { return *m_screenText; }
    TrayMenu& trayMenu() { return *m_tray; }
    StudyWindows& studyWindows() { return *m_study; }
    AppStores& stores() { return *m_env.stores; }
    SettingsWindow* settingsWindow() const { return m_settingsWindow.get(); }
    HotkeyManager& hotkey() { return *m_hotkey; }
    const HotkeyCombo& currentCombo(HotkeyAction action = HotkeyAction::Lookup) const {
        return m_combos[slotOf(action)];
    }
    PlatformBackends& platform() { return m_env.platform; }

  signals:
    // A launch has finished.
    void ready();

  private:
    void ensureAccessibility();
    // What this session cannot do, said once per machine account.
    void explainSessionLimits();
    // Without a tray host: says so once and opens the menu's window.
    void checkTrayHost();
    // The command a desktop key must run for the action where the program
    // cannot hold its shortcuts itself; empty where it can.
    QString commandFor(HotkeyAction action) const;
    // How the menu and the launch notice name the lookup's key.
    QString shortcutText() const;
    // Whether the desktop's keyboard settings hold the action's binding;
    // writing or removing it (false: refused, or no such settings here).
    bool desktopBound(HotkeyAction action) const;
    bool bindInDesktop(HotkeyAction action, bool on);
    void showLaunchNotification();
    void scheduleStudyReminder();

    AppEnvironment m_env;
    std::unique_ptr<Localization> m_l10n;
    std::unique_ptr<HotkeyManager> m_hotkey;
    std::unique_ptr<StrokeOrderFactory> m_strokes;
    std::unique_ptr<TrayMenu> m_tray;
    std::unique_ptr<LookupRoad> m_road;
    std::unique_ptr<ScreenTextRoad> m_screenText;
    std::unique_ptr<StudyWindows> m_study;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<UpdateChecker> m_updater;
    std::unique_ptr<MenuWindow> m_menuWindow;  // made when there is no tray
    bool m_trayMissing = false;
    std::array<HotkeyCombo, kHotkeyActions.size()> m_combos;
};

}  // namespace talvo
