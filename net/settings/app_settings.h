#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class QSettings;

namespace talvo {

// The user's preferences shared by the desktop program and talvo-cli, kept by
// QSettings under the organisation "Mirelo" and the application "Talvo"
// (on Linux ~/.config/Mirelo/Talvo.conf). QSettings is thread-safe for
// separate instances on the same file, so each thread may hold its own
// AppSettings. Nothing here fails outward: an unreadable file reads as empty
// and a failed write is lost.
//
// Secrets never live here: the sync token is kept by TokenStore.
class AppSettings {
  public:
    static constexpr const char* kLanguageKey = "app.language";
    static constexpr const char* kDeviceFallbackKey = "talvo.deviceFallbackID";
    static constexpr const char* kHotkeyKeyCodeKey = "hotkey.keyCode";
    static constexpr const char* kHotkeyModifiersKey = "hotkey.carbonModifiers";
    // The second shortcut, which reads text off the screen, in the same form.
    static constexpr const char* kScreenTextKeyCodeKey = "ocrHotkey.keyCode";
    static constexpr const char* kScreenTextModifiersKey = "ocrHotkey.carbonModifiers";
    // The service every online feature talks to, e.g. "https://talvo.example".
    // A deployment setting: empty turns the online features off.
    static constexpr const char* kServiceUrlKey = "service.baseURL";
    // Where stroke data missing from the installed copy is fetched
    // (<base>/npm/hanzi-writer-data@2.0/<char>.json); unset or empty means
    // the service itself.
    static constexpr const char* kContentUrlKey = "service.contentURL";
    // Set once start at login has been decided (by the first run of an
    // installed copy or by the user in Settings): the entry is then never
    // written again without the user asking.
    static constexpr const char* kAutostartDecidedKey = "autostart.decided";

    // The user's settings file.
    AppSettings();
    // A settings file at `iniPath` (tests and --config).
    explicit AppSettings(const std::string& iniPath);
    ~AppSettings();
    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;

    // The raw string under `key`, absent when the key holds nothing.
    std::optional<std::string> string(const char* key) const;
    void setString(const char* key, const std::string& value);
    // The integer under `key`; absent when missing, a missing or non-integer
    // value reads as absent too.
    std::optional<int64_t> integer(const char* key) const;
    void setInteger(const char* key, int64_t value);
    bool contains(const char* key) const;
    void remove(const char* key);

    // The service base URL without a trailing slash; empty when unset.
    std::string serviceUrl() const;
    void setServiceUrl(const std::string& url);
    // The content host without a trailing slash: kContentUrlKey, else serviceUrl().
    std::string contentUrl() const;

    // Flushes pending writes so another process sees them at once.
    void sync();
    // The file the settings live in (shown to users who ask where).
    std::string fileName() const;

  private:
    std::unique_ptr<QSettings> m_settings;
};

}  // namespace talvo
