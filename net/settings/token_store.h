#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace talvo {

class AppSettings;

// The system keychain as TokenStore needs it: one secret under one name.
class SecretKeychain {
  public:
    enum class ReadStatus { found, notFound, unavailable };
    enum class RemoveStatus {
        removed,      // the keychain holds no secret now
        unreachable,  // no keychain answered; it may hold one from another session
        refused,      // the keychain answered and kept the secret
    };

    virtual ~SecretKeychain() = default;
    virtual ReadStatus read(std::string& secret) = 0;
    // False when no keychain took it.
    virtual bool write(const std::string& secret) = 0;
    virtual RemoveStatus remove() = 0;
};

// The system keychain through QtKeychain (Secret Service or KWallet over
// D-Bus on Linux, Keychain on macOS, Credential Manager on Windows). Each call
// waits for its job by running a local event loop, so it needs a
// QCoreApplication and must be called on its thread; without one, or when no
// keychain service answers within the timeout, the keychain counts as
// unavailable.
class QtSecretKeychain final : public SecretKeychain {
  public:
    static constexpr const char* kService = "Mirelo Talvo";
    static constexpr const char* kKey = "sync-token";

    explicit QtSecretKeychain(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    ReadStatus read(std::string& secret) override;
    bool write(const std::string& secret) override;
    RemoveStatus remove() override;

  private:
    std::chrono::milliseconds m_timeout;
};

// Where the sync access token lives: the system keychain when one runs, else
// (a headless machine, a desktop without a keychain service) a file readable
// only by the user in the configuration folder, the way command-line tools
// commonly keep their tokens. The token is never written anywhere else and
// never appears in a message of this class.
//
// Not thread-safe; use it from one thread (the keychain's rules above).
class TokenStore {
  public:
    enum class Location { keychain, file };

    static constexpr const char* kFileName = "sync-token";

    // keychain may be null: the file alone is used.
    TokenStore(std::string fallbackFile, std::unique_ptr<SecretKeychain> keychain);
    ~TokenStore();
    TokenStore(TokenStore&&) noexcept;
    TokenStore& operator=(TokenStore&&) noexcept;

    // The file kept beside the settings file of `settings`; with the system
    // keychain unless `useKeychain` is false.
    static TokenStore forSettings(const AppSettings& settings, bool useKeychain = true);

    // The stored token: the keychain's when it holds one, else the file's.
    // Absent when neither holds a usable token.
    std::optional<std::string> load();
    // Keeps the token in the keychain (and then removes any file copy, so no
    // stale token lingers) or, failing that, in the file with mode 0600.
    // Absent when the token is not usable or nothing could store it.
    std::optional<Location> save(const std::string& token);
    enum class RemoveOutcome {
        removed,              // no copy is left
        keychainUnreachable,  // the file is gone; a keychain of another session could not be asked
        failed,  // a copy remains (the file could not be deleted, or the keychain refused)
    };
    // Forgets the token in both places.
    RemoveOutcome remove();

    const std::string& fallbackFile() const { return m_fallbackFile; }

    // A token is printable ASCII without blanks (it travels in an HTTP
    // header), 1 to 4096 characters.
    static bool isUsableToken(std::string_view token);
    // The token given by a person: white space and line breaks around it
    // dropped (a pasted token or `echo TOKEN |` carries a newline).
    static std::string trimmedToken(std::string_view input);

  private:
    std::optional<std::string> readFile() const;
    bool writeFile(const std::string& token) const;
    bool removeFile() const;

    std::string m_fallbackFile;
    std::unique_ptr<SecretKeychain> m_keychain;
};

}  // namespace talvo
