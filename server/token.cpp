#include "server/token.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <stdexcept>

namespace talvo::server {

namespace {

constexpr size_t kSelectorDigits = 16;
constexpr size_t kSecretDigits = 64;

bool isLowerHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

}  // namespace

std::string generateToken() {
    unsigned char bytes[(kSelectorDigits + kSecretDigits) / 2];
    if (RAND_bytes(bytes, sizeof bytes) != 1) {
        throw std::runtime_error("the system's random source failed");
    }
    static const char* hex = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += hex[b >> 4];
        token += hex[b & 0xF];
    }
    return token;
}

std::optional<TokenDigest> tokenDigest(std::string_view token) {
    if (token.size() != kSelectorDigits + kSecretDigits) {
        return std::nullopt;
    }
    for (char c : token) {
        if (!isLowerHex(c)) {
            return std::nullopt;
        }
    }
    return TokenDigest{std::string(token.substr(0, kSelectorDigits)), sha256Hex(token)};
}

std::optional<int64_t> authenticate(Storage& storage, std::string_view token) {
    std::optional<TokenDigest> digest = tokenDigest(token);
    if (!digest) {
        return std::nullopt;
    }
    std::optional<TokenOwner> owner = storage.tokenOwner(digest->selector);
    if (!owner || !constantTimeEquals(owner->hash, digest->hash)) {
        return std::nullopt;
    }
    return owner->accountId;
}

bool constantTimeEquals(std::string_view a, std::string_view b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<std::string> bearerToken(std::string_view header) {
    constexpr std::string_view kScheme = "bearer ";
    if (header.size() <= kScheme.size()) {
        return std::nullopt;
    }
    for (size_t i = 0; i < kScheme.size(); ++i) {
        char c = header[i];
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
        if (c != kScheme[i]) {
            return std::nullopt;
        }
    }
    std::string_view token = header.substr(kScheme.size());
    while (!token.empty() && token.front() == ' ') {
        token.remove_prefix(1);
    }
    while (!token.empty() && token.back() == ' ') {
        token.remove_suffix(1);
    }
    if (token.empty()) {
        return std::nullopt;
    }
    return std::string(token);
}

std::string sha256Hex(std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    static const char* hex = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (unsigned int i = 0; i < length; ++i) {
        out += hex[digest[i] >> 4];
        out += hex[digest[i] & 0xF];
    }
    return out;
}

}  // namespace talvo::server
