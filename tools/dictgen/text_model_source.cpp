#include "tools/dictgen/text_model_source.h"

#include <filesystem>

#include "ocr/text_model.h"
#include "tools/dictgen/variant_resolver.h"

namespace talvo::dictgen {

namespace {

// Shapes close enough that a recogniser trained on one standard reads the
// other as it: another glyph of one character, a Japanese pair, a
// simplified or traditional form, or Hong Kong's glyph pairs (爲 and 為).
bool sameShapeFamily(const VariantResolver::Standard& s) {
    return VariantResolver::closeness(s.via) <= 1;
}

}  // namespace

const std::set<std::string>& TextModelSource::heldOutFiles() {
    // One chapter each of four works of different kinds: the Lingshu, the
    // annotated Shanghan lun, the Bencao gangmu and the Zhubing yuanhou lun.
    static const std::set<std::string> files = {
        "KR3e0002_005.txt",
        "KR3e0008_005.txt",
        "KR3e0012_010.txt",
        "KR3e0079_050.txt",
    };
    return files;
}

TextModelParts TextModelSource::build(const CorpusCounts& corpus, const UnihanData* unihan,
                                      const ThieuChuuData* thieuChuu,
                                      const std::map<char32_t, char32_t>& folds) {
    TextModelParts out;
    ocr::TextModelBuilder builder;
    const std::set<std::string>& heldOut = heldOutFiles();
    std::vector<bool> skip(corpus.files.size(), false);
    for (size_t i = 0; i < corpus.files.size(); ++i) {
        std::string name = std::filesystem::path(corpus.files[i]).filename().string();
        if (heldOut.count(name)) {
            skip[i] = true;
            out.heldOut.insert(name);
        }
    }
    std::set<char32_t> seen;
    std::u32string folded;
    for (size_t r = 0; r < corpus.runs.size(); ++r) {
        if (r < corpus.runFiles.size() && corpus.runFiles[r] < skip.size() &&
            skip[corpus.runFiles[r]]) {
            continue;
        }
        folded = corpus.runs[r];
        for (char32_t& c : folded) {
            auto it = folds.find(c);
            if (it != folds.end()) {
                c = it->second;
            }
            seen.insert(c);
        }
        builder.addRun(folded);
        ++out.runs;
    }
    if (unihan) {
        for (const auto& [c, radical] : unihan->radical) {
            if (seen.count(c) || unihan->nationalStandard.count(c)) {
                auto strokes = unihan->residualStrokes.find(c);
                builder.setRadical(c, radical,
                                   strokes == unihan->residualStrokes.end() ? 0 : strokes->second);
            }
        }
        VariantResolver resolver(unihan, thieuChuu);
        for (char32_t y : seen) {
            for (const VariantResolver::Standard& s : resolver.linkedForms(y)) {
                if (sameShapeFamily(s)) {
                    builder.addVariant(s.ch, y);
                }
            }
            if (const UnihanData::Variants* v = unihan->variantsOf(y)) {
                for (const UnihanData::Semantic& s : v->semantic) {
                    if (s.glyph) {
                        builder.addVariant(s.ch, y);
                    }
                }
            }
        }
    }
    out.parts = builder.parts();
    return out;
}

}  // namespace talvo::dictgen
