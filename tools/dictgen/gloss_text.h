#pragma once

#include <string>
#include <string_view>
#include <vector>

// How glosses are written into the dictionary.
namespace talvo::dictgen::GlossText {

inline constexpr size_t kShortLimit = 80;

// The popup's one-line gloss: the first sentence of a sense when it fits in
// kShortLimit characters, otherwise cut at the last clause boundary (";" then
// ",") that fits, else at a space, and ended with "…".
std::string shortGloss(std::string_view sense);

// The whole entry, one sense per line, numbered from 1.
std::string numbered(const std::vector<std::string>& senses);

enum class VariantKind { Simplified, Usage };

// A gloss that names the forms a character stands for, phrased as the
// dictionary phrases its own variant notes: "Tục dùng như chữ âm 陰." or
// "Giản thể của chữ âm 陰.". Each target is a character and its reading,
// which may be empty.
std::string variantNote(VariantKind kind,
                        const std::vector<std::pair<std::string, std::string>>& targets);

// The line that sends the reader to the form whose entry follows, in the
// dictionary's own words: "Xem chữ cường 强.".
std::string seeForm(const std::pair<std::string, std::string>& target);

}  // namespace talvo::dictgen::GlossText
