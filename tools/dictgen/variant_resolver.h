#pragma once

#include <optional>
#include <unordered_map>
#include <vector>

#include "thieuchuu_reader.h"
#include "unihan_reader.h"

namespace talvo::dictgen {

// Decides which standard character a variant form stands for, for folding a
// corpus's edition forms (隂 -> 陰, 脉 -> 脈) and for giving forms without an
// entry of their own the readings and a gloss of the form they stand for.
//
// A character is standard when it is in common use (it has a Unihan
// frequency) or Thiều Chửu gives it a meaning of its own. A character c
// stands for a standard v when c is not in common use, has no entry of its
// own (none, a note pointing elsewhere, or a copy of v's entry; glyph
// variants need not even that), and v is, in this order of trust: the
// character Thiều Chửu's note names, a glyph variant (kZVariant), the
// traditional form of a simplified-only character, a semantic variant (more
// attesting dictionaries first), or the form its English definition names
// ("(non-classical form of 微)"). Among equals the more frequent wins.
// Either source may be absent. Not thread-safe (results are memoised).
class VariantResolver {
  public:
    enum class Via { Note, Glyph, Traditional, Semantic, Definition };
    struct Standard {
        char32_t ch;
        Via via;
    };

    VariantResolver(const UnihanData* unihan, const ThieuChuuData* thieuChuu);

    std::optional<Standard> standardOf(char32_t c) const;
    // The traditional forms of a simplified-only character (one that is not
    // also its own traditional form), standard ones only, in Unihan's order.
    std::vector<char32_t> traditionalOf(char32_t c) const;
    bool isStandard(char32_t c) const;

  private:
    int frequencyRank(char32_t c) const;  // 1 (most frequent) .. 6 (none)
    bool mayFoldOnto(char32_t c, char32_t v) const;
    std::vector<char32_t> definitionTargets(char32_t c) const;
    std::optional<Standard> compute(char32_t c) const;

    const UnihanData* m_unihan;
    const ThieuChuuData* m_thieuChuu;
    mutable std::unordered_map<char32_t, std::optional<Standard>> m_memo;
};

}  // namespace talvo::dictgen
