#include "tools/dictgen/quoted_compounds.h"

#include <algorithm>
#include <optional>

#include "core/text/unicode.h"
#include "tools/dictgen/gloss_text.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen::QuotedCompounds {

namespace {

// Particles that close a classical sentence.
constexpr std::u32string_view kSentenceFinal = U"也矣乎哉焉耶歟耳";
// From five characters on, the dictionary quotes lines of verse and
// sayings ("閶闔西南來", "富貴不能淫"), not words.
constexpr size_t kSentenceLength = 5;
// The explanation ends at the first of these.
constexpr std::u32string_view kExplanationEnd = U",;.!?:()[]\"“”‘’。，；：！？、";

bool contains(std::u32string_view set, char32_t c) {
    return set.find(c) != std::u32string_view::npos;
}

std::string utf8(std::u32string_view s) {
    std::string out;
    for (char32_t c : s) {
        text::appendUtf8(out, c);
    }
    return out;
}

// The `count` words right before `end`, separated by single spaces: absent
// when punctuation or fewer words come first, or one is not a syllable.
std::optional<std::string> readingBefore(std::u32string_view s, size_t end, size_t count) {
    std::vector<std::string> words;
    size_t i = end;
    while (words.size() < count) {
        while (i > 0 && s[i - 1] == U' ') {
            --i;
        }
        size_t wordEnd = i;
        while (i > 0 && text::isLetter(s[i - 1]) && !HanChars::isIdeograph(s[i - 1])) {
            --i;
        }
        if (i == wordEnd) {
            return std::nullopt;
        }
        auto syllable = ToneStyle::normalizeReading(utf8(s.substr(i, wordEnd - i)));
        if (!syllable) {
            return std::nullopt;
        }
        words.push_back(std::move(*syllable));
    }
    std::string out;
    for (auto it = words.rbegin(); it != words.rend(); ++it) {
        if (!out.empty()) {
            out += ' ';
        }
        out += *it;
    }
    return out;
}

std::string explanationAfter(std::u32string_view s, size_t start) {
    size_t end = start;
    while (end < s.size() && !contains(kExplanationEnd, s[end]) && !HanChars::isIdeograph(s[end]) &&
           s[end] != U'\\') {
        ++end;
    }
    std::string out(text::trimWhitespace(utf8(s.substr(start, end - start))));
    // "v.v." (and so on) closes a list of examples, it explains nothing.
    if (out == "v" || out.empty()) {
        return {};
    }
    return GlossText::shortGloss(out);
}

}  // namespace

bool looksLikeSentence(std::u32string_view run) {
    return run.size() >= kSentenceLength ||
           (run.size() >= 3 && contains(kSentenceFinal, run.back()));
}

std::vector<QuotedCompound> parse(std::string_view sense) {
    std::vector<QuotedCompound> out;
    std::u32string s = text::scalars(text::nfc(sense));
    for (size_t i = 0; i < s.size();) {
        if (!HanChars::isIdeograph(s[i])) {
            ++i;
            continue;
        }
        size_t start = i;
        while (i < s.size() && HanChars::isIdeograph(s[i])) {
            ++i;
        }
        std::u32string_view run = std::u32string_view(s).substr(start, i - start);
        if (run.size() < kMinLength || run.size() > kMaxLength || looksLikeSentence(run)) {
            continue;
        }
        auto reading = readingBefore(s, start, run.size());
        if (!reading) {
            continue;
        }
        std::u32string word(run);
        for (char32_t& c : word) {
            c = HanChars::unified(c);
        }
        out.push_back(QuotedCompound{std::move(word), std::move(*reading), explanationAfter(s, i)});
    }
    return out;
}

}  // namespace talvo::dictgen::QuotedCompounds
