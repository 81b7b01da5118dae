#include "core/text/unicode.h"

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <memory>

namespace talvo::text {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

icu::UnicodeString toUnicode(std::string_view s) {
    return icu::UnicodeString::fromUTF8(icu::StringPiece(s.data(), static_cast<int32_t>(s.size())));
}

std::string toUtf8(const icu::UnicodeString& u) {
    std::string out;
    u.toUTF8String(out);
    return out;
}

// Creating a break iterator loads rule data; one per thread is reused.
icu::BreakIterator* characterBreaks() {
    thread_local std::unique_ptr<icu::BreakIterator> it = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> bi(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        return U_SUCCESS(status) ? std::move(bi) : nullptr;
    }();
    return it.get();
}

}  // namespace

bool isValidUtf8(std::string_view s) {
    const auto* p = reinterpret_cast<const uint8_t*>(s.data());
    int32_t len = static_cast<int32_t>(s.size());
    int32_t i = 0;
    while (i < len) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        UChar32 c;
        U8_NEXT(p, i, len, c);
        if (c < 0) {
            return false;
        }
    }
    return true;
}

std::string sanitizeUtf8(std::string_view s) {
    if (isValidUtf8(s)) {
        return std::string(s);
    }
    std::string out;
    out.reserve(s.size() + 8);
    const auto* p = reinterpret_cast<const uint8_t*>(s.data());
    int32_t len = static_cast<int32_t>(s.size());
    int32_t i = 0;
    while (i < len) {
        int32_t start = i;
        UChar32 c;
        U8_NEXT(p, i, len, c);
        if (c < 0) {
            out += kReplacement;
        } else {
            out.append(s.substr(static_cast<size_t>(start), static_cast<size_t>(i - start)));
        }
    }
    return out;
}

void forEachGrapheme(std::string_view s, const std::function<bool(std::string_view)>& fn) {
    if (s.empty()) {
        return;
    }
    icu::BreakIterator* bi = characterBreaks();
    UErrorCode status = U_ZERO_ERROR;
    UText* ut = utext_openUTF8(nullptr, s.data(), static_cast<int64_t>(s.size()), &status);
    if (!bi || U_FAILURE(status)) {
        utext_close(ut);
        // Without ICU's break rules, fall back to one scalar per character.
        const auto* p = reinterpret_cast<const uint8_t*>(s.data());
        int32_t len = static_cast<int32_t>(s.size());
        for (int32_t i = 0; i < len;) {
            int32_t start = i;
            UChar32 c;
            U8_NEXT(p, i, len, c);
            if (!fn(s.substr(static_cast<size_t>(start), static_cast<size_t>(i - start)))) {
                return;
            }
        }
        return;
    }
    bi->setText(ut, status);
    int32_t start = bi->first();
    for (int32_t end = bi->next(); end != icu::BreakIterator::DONE; start = end, end = bi->next()) {
        if (!fn(s.substr(static_cast<size_t>(start), static_cast<size_t>(end - start)))) {
            break;
        }
    }
    // Detach the thread's iterator from our buffer before the UText goes away.
    bi->setText(icu::UnicodeString());
    utext_close(ut);
}

std::vector<std::string> graphemes(std::string_view s) {
    std::string clean = sanitizeUtf8(s);
    std::vector<std::string> out;
    forEachGrapheme(clean, [&](std::string_view g) {
        out.emplace_back(g);
        return true;
    });
    return out;
}

std::string firstGrapheme(std::string_view s) {
    std::string clean = sanitizeUtf8(s);
    std::string out;
    forEachGrapheme(clean, [&](std::string_view g) {
        out = g;
        return false;
    });
    return out;
}

size_t graphemeCount(std::string_view s) {
    std::string clean = sanitizeUtf8(s);
    size_t n = 0;
    forEachGrapheme(clean, [&](std::string_view) {
        ++n;
        return true;
    });
    return n;
}

std::u32string scalars(std::string_view s) {
    std::u32string out;
    const auto* p = reinterpret_cast<const uint8_t*>(s.data());
    int32_t len = static_cast<int32_t>(s.size());
    int32_t i = 0;
    while (i < len) {
        UChar32 c;
        U8_NEXT(p, i, len, c);
        out.push_back(c < 0 ? U'\uFFFD' : static_cast<char32_t>(c));
    }
    return out;
}

void appendUtf8(std::string& out, char32_t c) {
    uint8_t buf[4];
    int32_t n = 0;
    UBool error = false;
    U8_APPEND(buf, n, 4, static_cast<UChar32>(c), error);
    if (error) {
        out += kReplacement;
    } else {
        out.append(reinterpret_cast<const char*>(buf), static_cast<size_t>(n));
    }
}

std::string toLower(std::string_view s) {
    bool ascii = true;
    for (char c : s) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii) {
        std::string out(s);
        for (char& c : out) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
        }
        return out;
    }
    icu::UnicodeString u = toUnicode(s);
    u.toLower(icu::Locale::getRoot());
    return toUtf8(u);
}

std::string toUpper(std::string_view s) {
    icu::UnicodeString u = toUnicode(s);
    u.toUpper(icu::Locale::getRoot());
    return toUtf8(u);
}

std::string upperFirst(std::string_view s) {
    std::string clean = sanitizeUtf8(s);
    std::string first = firstGrapheme(clean);
    return toUpper(first) + clean.substr(first.size());
}

std::string nfc(std::string_view s) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* n = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) {
        return sanitizeUtf8(s);
    }
    std::string clean = sanitizeUtf8(s);
    icu::StringPiece piece(clean.data(), static_cast<int32_t>(clean.size()));
    if (n->isNormalizedUTF8(piece, status) && U_SUCCESS(status)) {
        return clean;
    }
    status = U_ZERO_ERROR;
    std::string out;
    icu::StringByteSink<std::string> sink(&out);
    n->normalizeUTF8(0, piece, sink, nullptr, status);
    return U_SUCCESS(status) ? out : clean;
}

std::string foldDiacritics(std::string_view s) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) {
        return toLower(s);
    }
    icu::UnicodeString u = nfd->normalize(toUnicode(toLower(s)), status);
    icu::UnicodeString kept;
    for (int32_t i = 0; i < u.length();) {
        UChar32 c = u.char32At(i);
        if (u_charType(c) != U_NON_SPACING_MARK) {
            kept.append(c);
        }
        i += U16_LENGTH(c);
    }
    return nfc(toUtf8(kept));
}

std::string_view trimWhitespace(std::string_view s) {
    size_t begin = 0;
    size_t end = s.size();
    const auto* p = reinterpret_cast<const uint8_t*>(s.data());
    while (begin < end) {
        int32_t i = static_cast<int32_t>(begin);
        UChar32 c;
        U8_NEXT(p, i, static_cast<int32_t>(end), c);
        if (c < 0 || !isWhitespace(static_cast<char32_t>(c))) {
            break;
        }
        begin = static_cast<size_t>(i);
    }
    while (end > begin) {
        int32_t i = static_cast<int32_t>(end);
        UChar32 c;
        U8_PREV(p, static_cast<int32_t>(begin), i, c);
        if (c < 0 || !isWhitespace(static_cast<char32_t>(c))) {
            break;
        }
        end = static_cast<size_t>(i);
    }
    return s.substr(begin, end - begin);
}

std::string_view trimBlanks(std::string_view s) {
    size_t begin = s.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    size_t end = s.find_last_not_of(" \t");
    return s.substr(begin, end - begin + 1);
}

std::vector<std::string_view> split(std::string_view s, char sep) {
    std::vector<std::string_view> out;
    size_t start = 0;
    while (true) {
        size_t pos = s.find(sep, start);
        if (pos == std::string_view::npos) {
            out.push_back(s.substr(start));
            return out;
        }
        out.push_back(s.substr(start, pos - start));
        start = pos + 1;
    }
}

size_t displayWidth(std::string_view s) {
    size_t width = 0;
    for (char32_t c : scalars(sanitizeUtf8(s))) {
        auto uc = static_cast<UChar32>(c);
        int8_t type = u_charType(uc);
        if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR ||
            type == U_CONTROL_CHAR) {
            continue;
        }
        int eaw = u_getIntPropertyValue(uc, UCHAR_EAST_ASIAN_WIDTH);
        width += (eaw == U_EA_WIDE || eaw == U_EA_FULLWIDTH) ? 2 : 1;
    }
    return width;
}

bool isHanScalar(char32_t c) {
    return (c >= 0x4E00 && c <= 0x9FFF) || (c >= 0x3400 && c <= 0x4DBF) ||
           (c >= 0x20000 && c <= 0x2A6DF) || (c >= 0xF900 && c <= 0xFAFF);
}

bool isWhitespace(char32_t c) {
    return u_isUWhiteSpace(static_cast<UChar32>(c));
}

bool isLetter(char32_t c) {
    return u_isUAlphabetic(static_cast<UChar32>(c));
}

bool isNumeric(char32_t c) {
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

}  // namespace talvo::text
