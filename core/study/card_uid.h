#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talvo {

// A card's uid is its identity on every device and on the server, which
// refuses identities beyond 1 kB. Longer texts (a pasted paragraph added as a
// phrase card) get a uid cut to this size: the start of the text, cut at a
// character boundary, then "#" and 32 hexadecimal digits of the SHA-256 of
// the whole text. The same text gives the same uid on every device.
inline constexpr size_t kMaxCardUidBytes = 256;

// "char:" + the text for a single character, "phrase:" + the text otherwise,
// shortened as above when it would be longer than kMaxCardUidBytes.
std::string lookupCardUid(bool singleCharacter, std::string_view text);

}  // namespace talvo
