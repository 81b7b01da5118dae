#include "net/settings/token_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qt6keychain/keychain.h>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <cerrno>
#include <filesystem>

#include "net/settings/app_settings.h"

namespace talvo {

namespace {

constexpr size_t kMaxTokenLength = 4096;

// Runs a keychain job to its end; false when it could not run or did not
// finish in time.
bool runJob(QKeychain::Job& job, std::chrono::milliseconds timeout) {
    if (!QCoreApplication::instance()) {
        return false;
    }
    job.setAutoDelete(false);
    job.setKey(QString::fromUtf8(QtSecretKeychain::kKey));
    QEventLoop loop;
    bool finished = false;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, [&] {
        finished = true;
        loop.quit();
    });
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    job.start();
    if (!finished) {
        loop.exec();
    }
    return finished;
}

}  // namespace

QtSecretKeychain::QtSecretKeychain(std::chrono::milliseconds timeout) : m_timeout(timeout) {}

SecretKeychain::ReadStatus QtSecretKeychain::read(std::string& secret) {
    QKeychain::ReadPasswordJob job(QString::fromUtf8(kService));
    if (!runJob(job, m_timeout)) {
        return ReadStatus::unavailable;
    }
    switch (job.error()) {
        case QKeychain::NoError:
            secret = job.textData().toStdString();
            return ReadStatus::found;
        case QKeychain::EntryNotFound:
            return ReadStatus::notFound;
        default:
            return ReadStatus::unavailable;
    }
}

bool QtSecretKeychain::write(const std::string& secret) {
    QKeychain::WritePasswordJob job(QString::fromUtf8(kService));
    job.setTextData(QString::fromStdString(secret));
    return runJob(job, m_timeout) && job.error() == QKeychain::NoError;
}

SecretKeychain::RemoveStatus QtSecretKeychain::remove() {
    QKeychain::DeletePasswordJob job(QString::fromUtf8(kService));
    if (!runJob(job, m_timeout)) {
        return RemoveStatus::unreachable;
    }
    switch (job.error()) {
        case QKeychain::NoError:
        case QKeychain::EntryNotFound:
            return RemoveStatus::removed;
        case QKeychain::AccessDenied:
        case QKeychain::AccessDeniedByUser:
        case QKeychain::CouldNotDeleteEntry:
            return RemoveStatus::refused;
        default:
            // Without a keychain service QtKeychain reports an unspecific error.
            return RemoveStatus::unreachable;
    }
}

TokenStore::TokenStore(std::string fallbackFile, std::unique_ptr<SecretKeychain> keychain)
    : m_fallbackFile(std::move(fallbackFile)), m_keychain(std::move(keychain)) {}

TokenStore::~TokenStore() = default;
TokenStore::TokenStore(TokenStore&&) noexcept = default;
TokenStore& TokenStore::operator=(TokenStore&&) noexcept = default;

TokenStore TokenStore::forSettings(const AppSettings& settings, bool useKeychain) {
    std::filesystem::path dir = std::filesystem::path(settings.fileName()).parent_path();
    return TokenStore((dir / kFileName).string(),
                      useKeychain ? std::make_unique<QtSecretKeychain>() : nullptr);
}

bool TokenStore::isUsableToken(std::string_view token) {
    if (token.empty() || token.size() > kMaxTokenLength) {
        return false;
    }
    for (char c : token) {
        if (c <= 0x20 || c >= 0x7f) {
            return false;
        }
    }
    return true;
}

std::string TokenStore::trimmedToken(std::string_view input) {
    const char* blanks = " \t\r\n\v\f";
    size_t first = input.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    size_t last = input.find_last_not_of(blanks);
    return std::string(input.substr(first, last - first + 1));
}

std::optional<std::string> TokenStore::load() {
    if (m_keychain) {
        std::string secret;
        if (m_keychain->read(secret) == SecretKeychain::ReadStatus::found &&
            isUsableToken(secret)) {
            return secret;
        }
    }
    return readFile();
}

std::optional<TokenStore::Location> TokenStore::save(const std::string& token) {
    if (!isUsableToken(token)) {
        return std::nullopt;
    }
    if (m_keychain && m_keychain->write(token)) {
        removeFile();
        return Location::keychain;
    }
    if (writeFile(token)) {
        return Location::file;
    }
    return std::nullopt;
}

TokenStore::RemoveOutcome TokenStore::remove() {
    SecretKeychain::RemoveStatus keychain =
        m_keychain ? m_keychain->remove() : SecretKeychain::RemoveStatus::removed;
    if (!removeFile() || keychain == SecretKeychain::RemoveStatus::refused) {
        return RemoveOutcome::failed;
    }
    return keychain == SecretKeychain::RemoveStatus::removed ? RemoveOutcome::removed
                                                             : RemoveOutcome::keychainUnreachable;
}

std::optional<std::string> TokenStore::readFile() const {
    int fd = ::open(m_fallbackFile.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat st {};
    std::string contents;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
        st.st_size <= static_cast<off_t>(kMaxTokenLength + 2)) {
        contents.resize(static_cast<size_t>(st.st_size));
        ssize_t n = ::read(fd, contents.data(), contents.size());
        contents.resize(n > 0 ? static_cast<size_t>(n) : 0);
    }
    ::close(fd);
    std::string token = trimmedToken(contents);
    if (!isUsableToken(token)) {
        return std::nullopt;
    }
    return token;
}

bool TokenStore::writeFile(const std::string& token) const {
    std::filesystem::path target(m_fallbackFile);
    std::error_code ec;
    if (target.has_parent_path() && !std::filesystem::exists(target.parent_path(), ec)) {
        std::filesystem::create_directories(target.parent_path(), ec);
        if (ec) {
            return false;
        }
        std::filesystem::permissions(target.parent_path(), std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::replace, ec);
    }
    // Written beside the target and renamed over it: a reader sees the old
    // token or the new one, never half of one, and the file is private from
    // its first byte whatever the umask.
    std::string temp = m_fallbackFile + ".tmp";
    ::unlink(temp.c_str());
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return false;
    }
    std::string line = token + "\n";
    bool ok = ::fchmod(fd, 0600) == 0 &&
              ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
              ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (!ok || ::rename(temp.c_str(), m_fallbackFile.c_str()) != 0) {
        ::unlink(temp.c_str());
        return false;
    }
    return true;
}

bool TokenStore::removeFile() const {
    return ::unlink(m_fallbackFile.c_str()) == 0 || errno == ENOENT;
}

}  // namespace talvo
