#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo::HanTextParser {

// The characters of text whose every scalar is Hán (U+4E00–9FFF, U+3400–4DBF,
// U+20000–2A6DF, U+F900–FAFF), in order, repeats kept. Invalid UTF-8 is read
// as U+FFFD and dropped.
std::vector<std::string> hanCharacters(std::string_view text);

// Where no word may run across, as positions in hanCharacters(text): i means
// "between character i-1 and character i". Punctuation, line breaks, letters,
// digits and the ideographic space separate; plain spaces and tabs do not
// (text copied from a page often spaces its characters).
std::vector<size_t> wordBreaks(std::string_view text);

// Lower-cased Vietnamese syllables of text, or absent when the text holds a
// number, no syllable, more than 60 syllables, or a syllable of 9+ characters.
// The text is normalized to NFC first so decomposed accents count as letters.
std::optional<std::vector<std::string>> vietSyllables(std::string_view text);

inline constexpr size_t kMaxSyllables = 60;
inline constexpr size_t kMaxSyllableLength = 8;

}  // namespace talvo::HanTextParser
