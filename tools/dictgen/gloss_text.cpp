#include "tools/dictgen/gloss_text.h"

#include "core/text/unicode.h"

namespace talvo::dictgen::GlossText {

namespace {

constexpr size_t kMinClause = 20;

std::string fromScalars(const std::u32string& s, size_t begin, size_t end) {
    std::string out;
    for (size_t i = begin; i < end && i < s.size(); ++i) {
        text::appendUtf8(out, s[i]);
    }
    return out;
}

bool isSpace(char32_t c) {
    return c == U' ' || c == U'\t';
}

// Hán characters are alphabetic to Unicode too; only a Latin letter can
// abbreviate.
bool isLatinLetter(char32_t c) {
    return c < 0x2000 && text::isLetter(c);
}

// End (exclusive) of the first sentence: a full stop, "?" or "!" followed by
// a space. "v.v." and initials do not end a sentence mid-way.
size_t firstSentenceEnd(const std::u32string& s) {
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (c != U'.' && c != U'?' && c != U'!') {
            continue;
        }
        if (i + 1 < s.size() && !isSpace(s[i + 1])) {
            continue;
        }
        // A one-letter word before the stop ("v.v.", "T.") is an abbreviation.
        if (c == U'.' && i >= 1 && isLatinLetter(s[i - 1]) && (i < 2 || !isLatinLetter(s[i - 2]))) {
            continue;
        }
        return i + 1;
    }
    return s.size();
}

}  // namespace

std::string shortGloss(std::string_view sense) {
    std::u32string s = text::scalars(text::trimWhitespace(sense));
    size_t end = firstSentenceEnd(s);
    if (end <= kShortLimit) {
        return std::string(text::trimWhitespace(fromScalars(s, 0, end)));
    }
    size_t cut = 0;
    for (char32_t sep : {U';', U','}) {
        for (size_t i = kShortLimit; i-- > kMinClause;) {
            if (s[i] == sep) {
                cut = i;
                break;
            }
        }
        if (cut) {
            break;
        }
    }
    if (!cut) {
        for (size_t i = kShortLimit; i-- > 0;) {
            if (isSpace(s[i])) {
                cut = i;
                break;
            }
        }
    }
    if (!cut) {
        cut = kShortLimit - 1;
    }
    return std::string(text::trimWhitespace(fromScalars(s, 0, cut))) + "…";
}

std::string numbered(const std::vector<std::string>& senses) {
    std::string out;
    for (size_t i = 0; i < senses.size(); ++i) {
        if (i) {
            out += '\n';
        }
        out += std::to_string(i + 1) + ". " + senses[i];
    }
    return out;
}

std::string variantNote(VariantKind kind,
                        const std::vector<std::pair<std::string, std::string>>& targets) {
    std::string out = kind == VariantKind::Simplified ? "Giản thể của" : "Tục dùng như";
    for (size_t i = 0; i < targets.size(); ++i) {
        out += i ? ", chữ " : " chữ ";
        if (!targets[i].second.empty()) {
            out += targets[i].second + " ";
        }
        out += targets[i].first;
    }
    return out + ".";
}

std::string seeForm(const std::pair<std::string, std::string>& target) {
    std::string out = "Xem chữ ";
    if (!target.second.empty()) {
        out += target.second + " ";
    }
    return out + target.first + ".";
}

}  // namespace talvo::dictgen::GlossText
