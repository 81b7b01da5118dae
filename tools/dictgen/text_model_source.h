#pragma once

#include <map>
#include <set>
#include <string>

#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/thieuchuu_reader.h"
#include "tools/dictgen/unihan_reader.h"

namespace talvo::dictgen {

// The parts of the recognition corrector's text model (see ocr/text_model.h):
// character, pair and triple counts of the corpus with its edition forms
// folded as the dictionary folds them, the radical and residual strokes of
// the corpus's characters and of those Taiwan and the mainland print, and,
// for each character, the shapes the corpus prints it in.
struct TextModelParts {
    std::map<std::string, std::string> parts;  // name -> bytes
    std::set<std::string> heldOut;             // file names left out of the counts
    size_t runs = 0;                           // runs counted
};

class TextModelSource {
  public:
    // Files whose text the model does not count: recognition accuracy is
    // measured on passages from them, which a model that had read them would
    // recite rather than predict.
    static const std::set<std::string>& heldOutFiles();

    // folds: edition form -> standard form, as the dictionary folds them.
    static TextModelParts build(const CorpusCounts& corpus, const UnihanData* unihan,
                                const ThieuChuuData* thieuChuu,
                                const std::map<char32_t, char32_t>& folds);
};

}  // namespace talvo::dictgen
