#pragma once

#include "tools/dictgen/cedict_reader.h"
#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/dictionary.h"
#include "tools/dictgen/m17n_reader.h"
#include "tools/dictgen/readings_csv_reader.h"
#include "tools/dictgen/thieuchuu_reader.h"
#include "tools/dictgen/unihan_reader.h"

namespace talvo::dictgen {

// The sources a build merges; any may be absent (nullptr). Borrowed.
struct BuildInputs {
    const UnihanData* unihan = nullptr;
    const M17nData* m17n = nullptr;
    const ThieuChuuData* thieuChuu = nullptr;
    const ReadingsCsvData* readingsCsv = nullptr;
    const CorpusCounts* corpus = nullptr;
    const CedictData* cedict = nullptr;
};

// Merges the sources into one dictionary.
//
// Readings: Thiều Chửu's, in its order, come first; then the other sources'
// readings, those more sources attest first (ties: the readings table, then
// Unihan, then the input method). A kVietnamese reading is kept only when
// another source has it or when it is the character's only reading, since
// kVietnamese mixes in Nôm readings. A variant form ends with the readings of
// the form it stands for, and every character of the medical reading table
// has its preferred reading.
//
// Glosses: Thiều Chửu's entry when there is one; for a form without one, a
// note naming the form it stands for; else the entry of a linked form (a
// variant in Unihan, or a form Thiều Chửu names as this one's), shown as the
// character's own meaning when it is in common use itself (飲 under 飮:
// "Xem chữ ẩm 飮." and the senses) and as a note otherwise; else the
// English definition. Such a borrowed entry lends its readings only to a
// character that has none.
//
// Frequencies: corpus counts with edition forms folded onto their standard
// form, or, without a corpus, pseudo-counts from kFrequency.
//
// Words, and the modern reading put first: see WordBuilder.
class DictionaryBuilder {
  public:
    static Dictionary build(const BuildInputs& inputs);
};

}  // namespace talvo::dictgen
