#pragma once

#include <optional>
#include <string>
#include <string_view>

// Telex, the ASCII typing scheme of the m17n Hán-Việt input method: doubled
// vowels take a circumflex (aa = â), "w" a breve or horn (aw = ă, ow = ơ,
// uw = ư, and "w" alone is ư), "dd" is đ, and a final s, f, r, x or j gives the
// tone (sắc, huyền, hỏi, ngã, nặng).
namespace talvo::dictgen::Telex {

// The syllable a key spells, in the dictionary's spelling ("thwowng" ->
// "thương", "hoaf" -> "hòa"); absent when the key spells no Vietnamese syllable.
std::optional<std::string> decode(std::string_view key);

}  // namespace talvo::dictgen::Telex
