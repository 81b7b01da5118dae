#pragma once

#include <optional>
#include <string>
#include <string_view>

// Every reading in the dictionary is spelled one way: NFC, lower case, and the
// tone mark where the older orthography puts it, which is also how the medical
// keywords are written ("hòa", "thủy", "khỏe", "úy"). Sources that use the
// newer placement ("hoà", "thuỷ") are brought to it here.
namespace talvo::dictgen::ToneStyle {

enum class Tone { Level, Grave, Acute, Hook, Tilde, Dot };

// A reading of one or more space-separated syllables in the dictionary's
// spelling; absent when any syllable is not a Vietnamese syllable (digits,
// punctuation, Hán characters, impossible letter sequences, two tone marks).
std::optional<std::string> normalizeReading(std::string_view reading);

// The syllable made of toneless letters (vowel marks allowed, e.g. "thương")
// and a tone; absent on the same grounds as above or when the letters already
// carry a tone.
std::optional<std::string> compose(std::string_view toneless, Tone tone);

}  // namespace talvo::dictgen::ToneStyle
