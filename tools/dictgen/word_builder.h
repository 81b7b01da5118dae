#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/dictgen/dictionary.h"

namespace talvo::dictgen {

struct BuildInputs;

// Builds the word table of a dictionary whose characters are done, and puts
// each character's modern reading first.
//
// Words: the compounds Thiều Chửu quotes (kept only when every syllable is a
// reading of its character), CC-CEDICT's words, and collocations of the
// medical corpus that neither has (two or three characters, recurrent, far
// more frequent together than apart, holding a character of medicine and no
// function word). Each is counted in the corpus with edition forms folded.
//
// Readings of characters: the readings table's reading for the character's
// most frequent pronunciation goes first (pronunciations weighed by the
// CC-CEDICT words that use them and those words' corpus counts; Unihan's
// kMandarin when no word decides), the rest keep their order.
//
// Readings of words: a quoted word keeps Thiều Chửu's reading; another word
// reads each character by the word's own pinyin through the readings table
// (乾 gan1 → can), a collocation by the pinyin of the longest CC-CEDICT word
// holding it; a character the pinyin does not decide takes its first
// reading, the medical one for the characters of the medical table.
class WordBuilder {
  public:
    using Fold = std::function<char32_t(char32_t)>;  // edition form → standard form

    static void build(const BuildInputs& in, const Fold& fold, Dictionary& dict);
};

// "qián" → "qian2", "lǜ" → "lu:4", "ma" → "ma5"; the tone numbers of CC-CEDICT.
std::string numberedPinyin(std::string_view marked);

}  // namespace talvo::dictgen
