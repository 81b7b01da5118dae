#pragma once

#include <optional>
#include <string>
#include <string_view>

// Character-level helpers for the sources, which name characters either as
// text or as "U+XXXX". Characters are held as code points while building
// and written out as UTF-8.
namespace talvo::dictgen::HanChars {

// Any CJK ideograph: the unified blocks including every extension, and the
// compatibility blocks. (The core's isHanScalar stops at Extension B, which
// would leave thousands of the corpus's rare characters uncounted.)
bool isIdeograph(char32_t c);

// The unified form of a compatibility ideograph (its canonical equivalent);
// any other code point unchanged.
char32_t unified(char32_t c);

// "U+4E00" -> U'\u4E00'; absent unless it is well formed and a scalar value.
std::optional<char32_t> parseCodePoint(std::string_view s);

std::string utf8(char32_t c);

// The only code point of s when s is exactly one ideograph.
std::optional<char32_t> single(std::string_view s);

}  // namespace talvo::dictgen::HanChars
