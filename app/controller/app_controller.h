#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/platform/platform.h"
#include "app/selection/event_pump.h"
#include "app/shell/online_hooks.h"
#include "core/lookup/lookup_result.h"
#include "core/study/day_clock.h"
#include "core/ui/hotkey_combo.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace talvo {

class Alerts;
class AppSettings;
class DictionaryStore;
class HotkeyManager;
class LessonsService;
class LessonsWindowController;
class Localization;
class LookupService;
class OverrideStore;
class PopupController;
class ProfileWindowController;
class ProgressStore;
class QuizWindowController;
class SelectionReader;
class SettingsWindow;
class StrokeOrderFactory;
class StudyDatabase;
class StudyStore;
class StudyWindowController;
class UpdateChecker;
struct StudySummary;
struct Tr;

// Everything the controller is given: where its files are, the platform's
// backends and the online services. Tests hand in fakes.
struct AppEnvironment {
    AppSettings* settings = nullptr;  // borrowed, outlives the controller
    Alerts* alerts = nullptr;         // borrowed
    std::string dictionaryPath;       // dict.sqlite to open
    std::string dataDir;              // overrides.sqlite and study.sqlite; empty: none
    std::string version;              // empty reads as "?"
    PlatformBackends platform;
    OnlineHooks online;
    // The lessons feed; null: the lessons window stays closed.
    LessonsService* lessons = nullptr;  // borrowed
    // Installed stroke data (share/talvo/strokes) and the host asked for
    // characters missing there; either may be empty.
    std::string strokesDir;
    std::function<std::string()> contentBase;
    std::unique_ptr<EventPump> pump;  // null: the real event loop
    Clock clock = Clock::system();
    bool trayIcon = true;  // false: no status icon (tests); the menu still exists
};

// The desktop program: owns the stores, the lookup service, the popup, the
// shortcut, the settings window and the status icon with its menu, and runs
// the launch sequence and the road from shortcut to popup. Lives as long as
// the program; everything runs on the main thread.
class AppController : public QObject {
    Q_OBJECT
  public:
    explicit AppController(AppEnvironment env, QObject* parent = nullptr);
    ~AppController() override;

    // The launch sequence: status icon and menu, dictionary (alerts when it
    // is missing or unreadable), overrides, lookup service, study side,
    // accessibility check, shortcut, settings and language callbacks, launch
    // notice, usage report.
    void launch();

    // The shortcut fired: read the selection and show what it asks for.
    void handleHotkey();
    void showLookup(const std::vector<std::string>& chars);
    void handleReverse(const std::vector<std::string>& syllables);
    void addLookupToStudy(const PhraseLookup& result);

    // Saves the combo, registers it and retitles the menu's lookup row.
    void applyCombo(const HotkeyCombo& combo);
    // A fresh status menu for the current language, combo and study count.
    QMenu* buildMenu();
    void refreshStudyBadge();
    void syncStudy();
    // A sync brought the deck up to date: the badge, the session and the
    // profile show what it changed.
    void studySynced();

    void openStudy();
    void openProfile();
    void openLessons();
    void openQuiz();
    void openSettings();
    void showAbout();
    void checkForUpdates();
    void quit();
    // A request from a second launch ("settings": open the Settings window).
    void handleRequest(const QByteArray& request);

    QString appVersion() const;
    QString displayForm(const HotkeyCombo& combo) const;

    // What tests and the program's own pieces look at.
    Localization& localization() { return *m_l10n; }
    PopupController& popup() { return *m_popup; }
    QMenu* statusMenu() const { return m_menu.get(); }
    QSystemTrayIcon* statusItem() const { return m_statusItem.get(); }
    SettingsWindow* settingsWindow() const { return m_settingsWindow.get(); }
    HotkeyManager& hotkey() { return *m_hotkey; }
    const HotkeyCombo& currentCombo() const { return m_currentCombo; }
    LookupService* lookup() const { return m_lookup.get(); }
    OverrideStore* overrides() const { return m_overrides.get(); }
    StudyDatabase* studyDatabase() const { return m_studyDatabase.get(); }
    StudyStore* studyStore() const { return m_studyStore.get(); }
    ProgressStore* progressStore() const { return m_progressStore.get(); }
    // The study windows: null until the study side is set up (lessons also
    // without a lessons feed).
    StudyWindowController* studyWindow() const { return m_studyWindow.get(); }
    ProfileWindowController* profileWindow() const { return m_profileWindow.get(); }
    QuizWindowController* quizWindow() const { return m_quizWindow.get(); }
    LessonsWindowController* lessonsWindow() const { return m_lessonsWindow.get(); }
    const std::vector<std::string>& lastChars() const { return m_lastChars; }
    PlatformBackends& platform() { return m_env.platform; }

  signals:
    // A launch has finished.
    void ready();

  private:
    void setupStatusItem();
    void loadDictionary();
    void setupStudy();
    void setupStudyWindows();
    void ensureAccessibility();
    void showLaunchNotification();
    void scheduleStudyReminder();
    void installMenu();
    void showMessage(const Tr& text);
    std::optional<StudySummary> studySummary();

    AppEnvironment m_env;
    std::unique_ptr<Localization> m_l10n;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<QMenu> m_menu;
    QAction* m_lookupMenuItem = nullptr;
    QAction* m_studyMenuItem = nullptr;
    std::unique_ptr<HotkeyManager> m_hotkey;
    std::unique_ptr<EventPump> m_pump;
    std::unique_ptr<SelectionReader> m_reader;
    std::unique_ptr<PopupController> m_popup;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<UpdateChecker> m_updater;
    std::unique_ptr<DictionaryStore> m_store;
    std::unique_ptr<OverrideStore> m_overrides;
    std::unique_ptr<LookupService> m_lookup;
    std::vector<std::string> m_lastChars;
    // The stores borrow the database: declared after it, destroyed before it.
    std::unique_ptr<StudyDatabase> m_studyDatabase;
    std::unique_ptr<StudyStore> m_studyStore;
    std::unique_ptr<ProgressStore> m_progressStore;
    std::unique_ptr<StrokeOrderFactory> m_strokes;
    std::unique_ptr<StudyWindowController> m_studyWindow;
    std::unique_ptr<ProfileWindowController> m_profileWindow;
    std::unique_ptr<QuizWindowController> m_quizWindow;
    std::unique_ptr<LessonsWindowController> m_lessonsWindow;
    HotkeyCombo m_currentCombo;
    bool m_handlingHotkey = false;
};

}  // namespace talvo
