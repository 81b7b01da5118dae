#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvo::dictgen {

// A word Thiều Chửu quotes inside a sense: "Như mạch sác 脈數 mạch chạy mau"
// gives 脈數, read "mạch sác", explained "mạch chạy mau".
struct QuotedCompound {
    std::u32string text;
    std::string reading;      // one syllable per character, lower case, spaces between
    std::string explanation;  // empty when the quote is followed by no explanation

    bool operator==(const QuotedCompound&) const = default;
};

// Finds the quoted words of one sense. A run of 2 to 8 Hán characters
// counts when exactly as many Vietnamese syllables stand right before it;
// its explanation is the text after it up to the next punctuation or Hán
// character, or, when nothing follows, the clause before "gọi là" (is
// called) that leads up to it. Runs that read as a quoted sentence (ending in a sentence
// particle, or five characters and more: verse lines and sayings) are left
// out: they are citations, not words.
namespace QuotedCompounds {

inline constexpr size_t kMinLength = 2;
inline constexpr size_t kMaxLength = 8;  // CC-CEDICT's words may run this long

std::vector<QuotedCompound> parse(std::string_view sense);
bool looksLikeSentence(std::u32string_view run);

}  // namespace QuotedCompounds

}  // namespace talvo::dictgen
