#include "tools/dictgen/tone_style.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <vector>

#include "core/text/unicode.h"

namespace talvo::dictgen::ToneStyle {

namespace {

constexpr char32_t kCircumflex = 0x0302;
constexpr char32_t kBreve = 0x0306;
constexpr char32_t kHorn = 0x031B;

struct Letter {
    char32_t base;
    char32_t mark = 0;  // circumflex, breve or horn
};

char32_t toneMark(Tone t) {
    switch (t) {
        case Tone::Grave:
            return 0x0300;
        case Tone::Acute:
            return 0x0301;
        case Tone::Hook:
            return 0x0309;
        case Tone::Tilde:
            return 0x0303;
        case Tone::Dot:
            return 0x0323;
        case Tone::Level:
            break;
    }
    return 0;
}

std::optional<Tone> toneOf(char32_t mark) {
    switch (mark) {
        case 0x0300:
            return Tone::Grave;
        case 0x0301:
            return Tone::Acute;
        case 0x0309:
            return Tone::Hook;
        case 0x0303:
            return Tone::Tilde;
        case 0x0323:
            return Tone::Dot;
        default:
            return std::nullopt;
    }
}

bool isVowel(char32_t c) {
    return c == U'a' || c == U'e' || c == U'i' || c == U'o' || c == U'u' || c == U'y';
}

bool markFits(char32_t base, char32_t mark) {
    switch (mark) {
        case kCircumflex:
            return base == U'a' || base == U'e' || base == U'o';
        case kBreve:
            return base == U'a';
        case kHorn:
            return base == U'o' || base == U'u';
        default:
            return false;
    }
}

std::u32string decomposed(std::string_view s) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    std::string lower = text::toLower(text::sanitizeUtf8(s));
    if (U_FAILURE(status)) {
        return text::scalars(lower);
    }
    icu::UnicodeString u = nfd->normalize(icu::UnicodeString::fromUTF8(lower), status);
    std::string out;
    u.toUTF8String(out);
    return text::scalars(out);
}

// Splits a decomposed syllable into letters and its tone; absent when a mark
// has no letter to sit on, does not belong to Vietnamese, or a second tone appears.
std::optional<std::vector<Letter>> splitLetters(const std::u32string& syl, Tone& tone) {
    std::vector<Letter> letters;
    bool toned = false;
    tone = Tone::Level;
    for (char32_t c : syl) {
        if ((c >= U'a' && c <= U'z') || c == U'đ') {
            letters.push_back(Letter{c});
        } else if (auto t = toneOf(c)) {
            if (toned || letters.empty()) {
                return std::nullopt;
            }
            toned = true;
            tone = *t;
        } else if (c == kCircumflex || c == kBreve || c == kHorn) {
            if (letters.empty() || letters.back().mark != 0 || !markFits(letters.back().base, c)) {
                return std::nullopt;
            }
            letters.back().mark = c;
        } else {
            return std::nullopt;
        }
    }
    if (letters.empty()) {
        return std::nullopt;
    }
    return letters;
}

// The vowel written with its quality mark, as one letter.
char32_t composedVowel(const Letter& l) {
    switch (l.mark) {
        case kCircumflex:
            return l.base == U'a' ? U'â' : l.base == U'e' ? U'ê' : U'ô';
        case kBreve:
            return U'ă';
        case kHorn:
            return l.base == U'o' ? U'ơ' : U'ư';
        default:
            return l.base;
    }
}

// Whether letters [from, to) spell a vowel group Vietnamese has.
bool isVowelGroup(const std::vector<Letter>& l, size_t from, size_t to) {
    static constexpr std::array<std::u32string_view, 47> kGroups = {
        U"a",  U"ă",  U"â",  U"e",  U"ê",  U"i",  U"o",   U"ô",   U"ơ",   U"u",   U"ư",  U"y",
        U"ai", U"ao", U"au", U"ay", U"âu", U"ây", U"eo",  U"êu",  U"ia",  U"iê",  U"iu", U"oa",
        U"oă", U"oe", U"oi", U"ôi", U"ơi", U"oo", U"ua",  U"uâ",  U"uê",  U"ui",  U"uô", U"uơ",
        U"ưa", U"ưi", U"ưu", U"ươ", U"uy", U"yê", U"iêu", U"oai", U"oay", U"oeo", U"uây"};
    static constexpr std::array<std::u32string_view, 7> kLongGroups = {
        U"uôi", U"ươi", U"ươu", U"uya", U"uyê", U"uyu", U"yêu"};
    std::u32string group;
    for (size_t i = from; i < to; ++i) {
        group += composedVowel(l[i]);
    }
    return std::find(kGroups.begin(), kGroups.end(), group) != kGroups.end() ||
           std::find(kLongGroups.begin(), kLongGroups.end(), group) != kLongGroups.end();
}

bool sameBases(const std::vector<Letter>& l, size_t at, std::u32string_view bases) {
    if (at + bases.size() > l.size()) {
        return false;
    }
    for (size_t i = 0; i < bases.size(); ++i) {
        if (l[at + i].base != bases[i] || l[at + i].mark != 0) {
            return false;
        }
    }
    return true;
}

// Index of the letter that carries the tone, or absent when the letters do
// not make a syllable (onset, one to three vowels, an allowed final).
std::optional<size_t> tonePosition(const std::vector<Letter>& l) {
    static constexpr std::array<std::u32string_view, 11> kClusters = {
        U"ngh", U"ng", U"gh", U"kh", U"nh", U"ph", U"th", U"tr", U"ch", U"gi", U"qu"};
    size_t onset = 0;
    for (std::u32string_view c : kClusters) {
        if (sameBases(l, 0, c)) {
            onset = c.size();
            break;
        }
    }
    if (onset == 0 && !isVowel(l[0].base)) {
        onset = 1;
    }
    // "gi" and "qu" are onsets only when a vowel follows: "gìn" is g + i.
    if (onset == 2 && (sameBases(l, 0, U"gi") || sameBases(l, 0, U"qu"))) {
        if (l.size() < 3 || !isVowel(l[2].base)) {
            if (l[0].base == U'q') {
                return std::nullopt;
            }
            onset = 1;
        }
    }
    if (onset == 1 && (l[0].base == U'q' || l[0].base == U'f' || l[0].base == U'j' ||
                       l[0].base == U'w' || l[0].base == U'z')) {
        return std::nullopt;
    }
    size_t end = onset;
    while (end < l.size() && isVowel(l[end].base)) {
        ++end;
    }
    size_t nucleus = end - onset;
    if (nucleus == 0 || nucleus > 3 || !isVowelGroup(l, onset, end)) {
        return std::nullopt;
    }
    std::u32string coda;
    for (size_t i = end; i < l.size(); ++i) {
        if (l[i].mark != 0) {
            return std::nullopt;
        }
        coda += l[i].base;
    }
    static constexpr std::array<std::u32string_view, 9> kCodas = {U"",   U"c",  U"ch", U"m", U"n",
                                                                  U"ng", U"nh", U"p",  U"t"};
    bool codaOk = false;
    for (std::u32string_view c : kCodas) {
        codaOk = codaOk || coda == c;
    }
    if (!codaOk) {
        return std::nullopt;
    }
    // A vowel with its own mark takes the tone; in "ươ" it is the second one.
    std::optional<size_t> marked;
    for (size_t i = onset; i < end; ++i) {
        if (l[i].mark != 0) {
            marked = i;
        }
    }
    if (marked) {
        return marked;
    }
    if (!coda.empty()) {
        return end - 1;
    }
    // Open syllables: the older style marks the first of two vowels ("hòa",
    // "thủy"), the middle of three ("hoài", "khuỷu").
    if (nucleus == 1) {
        return onset;
    }
    return onset + (nucleus == 2 ? 0 : 1);
}

std::optional<std::string> assemble(const std::vector<Letter>& letters, Tone tone) {
    auto at = tonePosition(letters);
    if (!at) {
        return std::nullopt;
    }
    std::string out;
    for (size_t i = 0; i < letters.size(); ++i) {
        text::appendUtf8(out, letters[i].base);
        if (letters[i].mark) {
            text::appendUtf8(out, letters[i].mark);
        }
        // After the vowel mark, so that composition gives "ấ" rather than "á" + "̂".
        if (i == *at && tone != Tone::Level) {
            text::appendUtf8(out, toneMark(tone));
        }
    }
    return text::nfc(out);
}

}  // namespace

std::optional<std::string> normalizeReading(std::string_view reading) {
    std::u32string all = decomposed(text::trimWhitespace(reading));
    std::string out;
    std::u32string syllable;
    auto flush = [&]() -> bool {
        if (syllable.empty()) {
            return true;
        }
        Tone tone;
        auto letters = splitLetters(syllable, tone);
        std::optional<std::string> s = letters ? assemble(*letters, tone) : std::nullopt;
        if (!s) {
            return false;
        }
        if (!out.empty()) {
            out += ' ';
        }
        out += *s;
        syllable.clear();
        return true;
    };
    for (char32_t c : all) {
        if (c == U' ') {
            if (!flush()) {
                return std::nullopt;
            }
        } else {
            syllable += c;
        }
    }
    if (!flush() || out.empty()) {
        return std::nullopt;
    }
    return out;
}

std::optional<std::string> compose(std::string_view toneless, Tone tone) {
    Tone existing;
    auto letters = splitLetters(decomposed(toneless), existing);
    if (!letters || existing != Tone::Level) {
        return std::nullopt;
    }
    return assemble(*letters, tone);
}

}  // namespace talvo::dictgen::ToneStyle
