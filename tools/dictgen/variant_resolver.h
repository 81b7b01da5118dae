#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/thieuchuu_reader.h"
#include "tools/dictgen/unihan_reader.h"

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
// character Thiều Chửu's note names, a glyph variant (kZVariant), the other
// form of a Japanese pair (録 for 錄), the traditional form of a
// simplified-only character, a semantic variant (more attesting dictionaries
// first), or the form its English definition names ("(non-classical form of
// 微)"). Among equals the more frequent wins.
//
// Looser links, too weak to move corpus counts, still tell a character
// without an entry where one may be found: see linkedForms.
//
// Either source may be absent. Not thread-safe (results are memoised).
class VariantResolver {
  public:
    enum class Via {
        Note,
        Glyph,
        Japanese,
        Traditional,  // to the traditional form of a simplified character
        Simplified,   // and back
        Semantic,
        NamedByThieuChuu,  // a sense of the other's entry names this one as its form
        Specialized,
        Definition,
        Twin,
    };
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

    // Every character linked to c as another form of it, in either
    // direction, each once by its closest link, closest first (then by code
    // point): glyph and Japanese pairs; traditional forms, and the
    // simplified form that stands for c alone; semantic variants and the
    // forms Thiều Chửu names; specialized semantic variants; the form the
    // English definition names; last, twins: characters of one radical with
    // a Mandarin reading and the first clause of their English definition in
    // common (産 and 產, "give birth", which Unihan links no other way).
    // Specialized variants and twins may be different words; callers
    // confirm them.
    std::vector<Standard> linkedForms(char32_t c) const;

    // In common use where Hán characters are printed as such: a Unihan
    // frequency, and a place in Big5 or GB 2312 when that is known (Unihan
    // counts Japanese forms too, such as 産).
    bool inCommonUse(char32_t c) const;

    int frequencyRank(char32_t c) const;  // 1 (most frequent) .. 6 (none)
    // A simplified character that is not also its own traditional form.
    bool isSimplifiedOnly(char32_t c) const;
    // How close a link is, 0 (another shape of one character) and up.
    static int closeness(Via via);

  private:
    // A simplified form stands for c alone only when it is no older
    // character too (表 for 錶) and merges no other (台 for 臺 and 颱);
    // else its entry tells of another word.
    bool simplifiesOnly(char32_t simplified, char32_t c) const;
    void indexLinks() const;
    std::vector<std::string> twinKeys(char32_t c) const;
    bool mayFoldOnto(char32_t c, char32_t v) const;
    std::vector<char32_t> definitionTargets(char32_t c) const;
    std::optional<Standard> compute(char32_t c) const;

    const UnihanData* m_unihan;
    const ThieuChuuData* m_thieuChuu;
    mutable std::unordered_map<char32_t, std::optional<Standard>> m_memo;
    // Built on first use of linkedForms.
    mutable bool m_indexed = false;
    mutable std::unordered_map<char32_t, std::vector<Standard>> m_reverse;
    mutable std::unordered_map<std::string, std::vector<char32_t>> m_twins;
};

}  // namespace talvo::dictgen
