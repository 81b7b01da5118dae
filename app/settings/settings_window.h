#pragma once

#include <QWidget>
#include <array>
#include <functional>
#include <optional>
#include <string>

#include "app/settings/settings_model.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace talvo {

class AppSettings;
class AutostartEntry;
class Localization;

// The Settings window: the two shortcuts, looking up and reading the screen
// (each shown, recorded, reset), the interface language, and the server the
// online features use. Created once and reused; closing only hides it.
// Follows the interface language while open. Main thread only; borrows its
// collaborators.
class SettingsWindow : public QWidget {
    Q_OBJECT
  public:
    struct Services {
        // The display form of a combo ("Alt+D").
        std::function<QString(const HotkeyCombo&)> displayForm;
        // Keeps the sign-in token; false when no keychain can hold it.
        std::function<bool(const std::string& token)> saveToken;
        // Where the desktop must run an action from a key it binds (the
        // command route): the command of each action. Empty: the program
        // holds its shortcuts itself.
        std::array<QString, kHotkeyActions.size()> commands;
        // On the command route, where the program may write the bindings
        // into the desktop's keyboard settings (GNOME): whether an action's
        // is there, and turning it on or off (false: the settings refused).
        // Empty: no such offer.
        std::function<bool(HotkeyAction)> desktopBindingOn;
        std::function<bool(HotkeyAction, bool on)> setDesktopBinding;
    };
    using Combos = std::array<HotkeyCombo, kHotkeyActions.size()>;

    SettingsWindow(HotkeyBackend& keys, Localization& l10n, AppSettings& settings,
                   Services services);
    ~SettingsWindow() override;

    // Shows the current combos and brings the window to the front;
    // `onChange` gets every newly recorded or reset combo with its action.
    void show(const Combos& current,
              std::function<void(HotkeyAction, const HotkeyCombo&)> onChange);

    SettingsModel& model(HotkeyAction action = HotkeyAction::Lookup);
    // The login entry behind the "Start at login" switch (borrowed; it must
    // outlive the window). Null hides the switch.
    void setStartAtLogin(const AutostartEntry* entry);
    // The outcome of the latest sync exchange, shown under the server
    // settings: when it went through, and how many changes the server
    // refused (they stay on this device, unsynced).
    struct SyncStatus {
        bool ok = false;
        int64_t at = 0;  // seconds since 1970
        int64_t refused = 0;
    };
    void showSyncStatus(const SyncStatus& status);
    const QLabel* syncStatusLabel() const { return m_syncStatus; }

    // Called with the model's recording state (the controller suspends the
    // global shortcut meanwhile).
    std::function<void(bool recording)> onRecordingChanged;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    class ShortcutSection;

    void retranslate();
    void refresh();
    void saveServiceUrl();
    void saveToken();
    void toggleStartAtLogin(bool on);

    Localization& m_l10n;
    AppSettings& m_settings;
    Services m_services;
    std::array<ShortcutSection*, kHotkeyActions.size()> m_sections{};
    std::function<void(HotkeyAction, const HotkeyCombo&)> m_onChange;
    bool m_recording = false;
    QLabel* m_languageLabel = nullptr;
    QComboBox* m_language = nullptr;
    const AutostartEntry* m_autostart = nullptr;
    QCheckBox* m_startAtLogin = nullptr;
    QLabel* m_startAtLoginStatus = nullptr;
    QLabel* m_serverHeading = nullptr;
    QLabel* m_urlLabel = nullptr;
    QLineEdit* m_url = nullptr;
    QPushButton* m_saveUrl = nullptr;
    QLabel* m_urlStatus = nullptr;
    QLabel* m_tokenLabel = nullptr;
    QLineEdit* m_token = nullptr;
    QPushButton* m_saveToken = nullptr;
    QLabel* m_tokenStatus = nullptr;
    QLabel* m_syncStatus = nullptr;
    std::optional<SyncStatus> m_lastSync;
};

}  // namespace talvo
