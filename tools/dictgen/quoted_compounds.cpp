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
// `start` receives where the first of them begins.
std::optional<std::string> readingBefore(std::u32string_view s, size_t end, size_t count,
                                         size_t& start) {
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
    start = i;
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

// "Học trò nghèo gọi là hàn sĩ 寒士": the clause before "gọi là" (is called)
// explains the word when nothing follows it. `end` is where the reading starts.
std::string explanationBefore(std::u32string_view s, size_t end) {
    static const std::u32string kCalled = U"gọi là";
    std::u32string lower = text::scalars(text::toLower(utf8(s.substr(0, end))));
    while (!lower.empty() && lower.back() == U' ') {
        lower.pop_back();
    }
    if (lower.size() < kCalled.size() ||
        lower.compare(lower.size() - kCalled.size(), kCalled.size(), kCalled) != 0) {
        return {};
    }
    size_t clauseEnd = lower.size() - kCalled.size();
    size_t clauseStart = clauseEnd;
    while (clauseStart > 0 && !contains(kExplanationEnd, s[clauseStart - 1]) &&
           !HanChars::isIdeograph(s[clauseStart - 1])) {
        --clauseStart;
    }
    std::string clause(text::trimWhitespace(utf8(s.substr(clauseStart, clauseEnd - clauseStart))));
    // "Như ..." (as in) opens an example, "... cũng" (also) joins one.
    for (std::string_view lead : {"Như ", "như "}) {
        if (clause.rfind(lead, 0) == 0) {
            clause.erase(0, lead.size());
        }
    }
    for (std::string_view tail : {" cũng", " thì"}) {
        if (clause.size() > tail.size() &&
            clause.compare(clause.size() - tail.size(), tail.size(), tail) == 0) {
            clause.erase(clause.size() - tail.size());
        }
    }
    // One word before "gọi là" is an adverb ("Tục gọi là": commonly called).
    if (clause.find(' ') == std::string::npos || clause.size() > GlossText::kShortLimit) {
        return {};
    }
    return clause;
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
        size_t readingStart = 0;
        auto reading = readingBefore(s, start, run.size(), readingStart);
        if (!reading) {
            continue;
        }
        std::u32string word(run);
        for (char32_t& c : word) {
            c = HanChars::unified(c);
        }
        std::string explanation = explanationAfter(s, i);
        if (explanation.empty()) {
            explanation = explanationBefore(s, readingStart);
        }
        out.push_back(QuotedCompound{std::move(word), std::move(*reading), std::move(explanation)});
    }
    return out;
}

}  // namespace talvo::dictgen::QuotedCompounds
