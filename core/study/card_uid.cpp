#include "core/study/card_uid.h"

#include <openssl/evp.h>

#include <array>

namespace talvo {

namespace {

constexpr size_t kHashHexDigits = 32;

std::string sha256Hex(std::string_view text, size_t digits) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> md{};
    unsigned int size = 0;
    std::string hex;
    if (EVP_Digest(text.data(), text.size(), md.data(), &size, EVP_sha256(), nullptr) != 1) {
        return hex;
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    for (unsigned int i = 0; i < size && hex.size() < digits; ++i) {
        hex += kDigits[md[i] >> 4];
        hex += kDigits[md[i] & 0xF];
    }
    return hex;
}

// The longest prefix of at most `bytes` bytes that does not split a UTF-8
// sequence (continuation bytes are 10xxxxxx).
std::string_view utf8Prefix(std::string_view text, size_t bytes) {
    if (text.size() <= bytes) {
        return text;
    }
    size_t end = bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end);
}

}  // namespace

std::string lookupCardUid(bool singleCharacter, std::string_view text) {
    std::string uid = singleCharacter ? "char:" : "phrase:";
    if (uid.size() + text.size() <= kMaxCardUidBytes) {
        uid += text;
        return uid;
    }
    const size_t room = kMaxCardUidBytes - uid.size() - 1 - kHashHexDigits;
    uid += utf8Prefix(text, room);
    uid += '#';
    uid += sha256Hex(text, kHashHexDigits);
    return uid;
}

}  // namespace talvo
