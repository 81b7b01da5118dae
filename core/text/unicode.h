#pragma once

// UTF-8 text helpers over ICU. Every function accepts arbitrary bytes: invalid
// UTF-8 (including encoded lone surrogates) is read as U+FFFD, never trusted.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo::text {

bool isValidUtf8(std::string_view s);
// s with every ill-formed sequence replaced by U+FFFD; a copy only when needed.
std::string sanitizeUtf8(std::string_view s);

// Calls fn for each user-perceived character (extended grapheme cluster) of s,
// which must be valid UTF-8 (sanitize first). Stops early when fn returns false.
void forEachGrapheme(std::string_view s, const std::function<bool(std::string_view)>& fn);
std::vector<std::string> graphemes(std::string_view s);
// The first grapheme of s (sanitized), or empty.
std::string firstGrapheme(std::string_view s);
size_t graphemeCount(std::string_view s);

// Decodes valid UTF-8 into scalars.
std::u32string scalars(std::string_view s);
void appendUtf8(std::string& out, char32_t c);

std::string toLower(std::string_view s);  // full Unicode lower-casing, root locale
std::string toUpper(std::string_view s);
// First grapheme upper-cased, the rest unchanged: "thương" -> "Thương".
std::string upperFirst(std::string_view s);
std::string nfc(std::string_view s);
// Lower-cased, diacritics removed (NFD, drop nonspacing marks, NFC); đ stays đ.
std::string foldDiacritics(std::string_view s);

// Trims Unicode white space (including newlines) from both ends.
std::string_view trimWhitespace(std::string_view s);
// Trims only spaces and tabs from both ends.
std::string_view trimBlanks(std::string_view s);
std::vector<std::string_view> split(std::string_view s, char sep);

// Terminal columns the text takes: wide and full-width characters count 2,
// combining marks and other zero-width scalars 0.
size_t displayWidth(std::string_view s);

bool isHanScalar(char32_t c);
bool isWhitespace(char32_t c);
bool isLetter(char32_t c);   // Unicode Alphabetic
bool isNumeric(char32_t c);  // any Numeric_Type other than None

}  // namespace talvo::text
