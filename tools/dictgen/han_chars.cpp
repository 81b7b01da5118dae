#include "tools/dictgen/han_chars.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>

#include "core/text/unicode.h"

namespace talvo::dictgen::HanChars {

namespace {

bool isCompatibility(char32_t c) {
    return (c >= 0xF900 && c <= 0xFAFF) || (c >= 0x2F800 && c <= 0x2FA1F);
}

}  // namespace

bool isIdeograph(char32_t c) {
    return text::isHanScalar(c) || isCompatibility(c) ||
           u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_UNIFIED_IDEOGRAPH);
}

char32_t unified(char32_t c) {
    if (!isCompatibility(c)) {
        return c;
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        return c;
    }
    icu::UnicodeString d;
    if (!nfc->getDecomposition(static_cast<UChar32>(c), d) || d.countChar32() != 1) {
        return c;
    }
    return static_cast<char32_t>(d.char32At(0));
}

std::optional<char32_t> parseCodePoint(std::string_view s) {
    if (s.size() < 6 || s.size() > 8 || s[0] != 'U' || s[1] != '+') {
        return std::nullopt;
    }
    char32_t v = 0;
    for (char c : s.substr(2)) {
        int d;
        if (c >= '0' && c <= '9') {
            d = c - '0';
        } else if (c >= 'A' && c <= 'F') {
            d = c - 'A' + 10;
        } else if (c >= 'a' && c <= 'f') {
            d = c - 'a' + 10;
        } else {
            return std::nullopt;
        }
        v = v * 16 + static_cast<char32_t>(d);
    }
    if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) {
        return std::nullopt;
    }
    return v;
}

std::string utf8(char32_t c) {
    std::string out;
    text::appendUtf8(out, c);
    return out;
}

std::optional<char32_t> single(std::string_view s) {
    if (!text::isValidUtf8(s)) {
        return std::nullopt;
    }
    std::u32string cps = text::scalars(s);
    if (cps.size() != 1 || !isIdeograph(cps[0])) {
        return std::nullopt;
    }
    return cps[0];
}

}  // namespace talvo::dictgen::HanChars
