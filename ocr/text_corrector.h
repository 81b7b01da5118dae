#pragma once

#include <array>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ocr/glyph_shapes.h"
#include "ocr/text_model.h"

namespace talvo::ocr {

// One character as the recogniser read it.
struct ReadChar {
    char32_t ch = 0;                     // 0: a character the recogniser missed
    float confidence = 0.0f;             // 0..1
    std::vector<char32_t> alternatives;  // the recogniser's other choices, best first
    const Shape* shape = nullptr;        // its picture on the page, when known (borrowed)
};

struct CorrectedChar {
    char32_t ch = 0;
    float confidence = 0.0f;  // 0..1: how well the reading holds against its rivals
};

// How much each kind of evidence weighs; log-probability units. The values
// were fitted on rendered pages of corpus text the accuracy tests do not use.
struct CorrectionWeights {
    double language = 1.2;  // the text model's log-probability
    // How often the recogniser is right at a given confidence (linear in
    // between): it claims more certainty than it has, most of all between
    // 70 and 90.
    std::array<std::pair<double, double>, 8> calibration = {{
        {0.0, 0.35},
        {0.85, 0.40},
        {0.90, 0.55},
        {0.94, 0.72},
        {0.96, 0.82},
        {0.975, 0.89},
        {0.985, 0.96},
        {1.0, 0.975},
    }};
    // Another shape of the read character that the corpus prints: the
    // recogniser writes a standard form for it, so this costs little unless
    // the recogniser could have written the shape itself.
    double variant = -1.3;
    double variantReadable = -3.0;
    // A known look-alike (日 for 曰): the recogniser's doubt plus this, nearly
    // the read character's own weight, so the context and picture decide.
    double lookAlike = 3.0;
    double alternative = -6.0;  // one of the recogniser's own other choices
    // A corpus character with the read character's radical, likely in the
    // context: the recogniser's character encoding starts with the radical,
    // so it tends to keep it when it misses the rest.
    double sameRadical = -3.0;
    double sameRadicalReadable = -6.0;
    double strokeDifference = -0.3;  // per stroke of difference beyond the radical
    double radicalBelow = 0.97;      // considered only under this confidence
    // The characters the text model expects between the neighbours.
    double context = -7.0;
    double contextSameRadical = 5.0;
    double contextBelow = 0.9;
    int contextCandidates = 8;
    int maxCandidates = 20;
    // "Something else" in the confidence: the best candidate's context less this.
    double otherMargin = 2.0;
    // Corrected confidence under which a character is marked: on rendered
    // pages about one character in 25, holding three errors in five.
    double uncertainBelow = 0.95;
    // The picture: how much a candidate drawn in the reference font looks
    // like the character on the page (a correlation, times this).
    double shape = 24.0;
    double shapeUnknown = 0.4;  // the correlation assumed when the font lacks the glyph
    // Under this confidence, every character the context allows is compared
    // with the picture; the best of them join the candidates.
    double shapeSearchBelow = 0.99;
    int shapeCandidates = 6;
    // Passes: the second looks for candidates beside the first's choices,
    // which helps where two neighbours were misread.
    int passes = 2;
};

// Rereads recognised text with the corpus's statistics: each character's
// candidates (what the recogniser read, the shapes the corpus prints it in,
// look-alikes, characters sharing its radical or expected by the context)
// are weighed by the recogniser's confidence and a trigram model, and the
// best sequence wins (Viterbi). So 岐伯日 becomes 岐伯曰.
class TextCorrector {
  public:
    // readable: the characters the recogniser can write at all, or nullptr
    // when that is not known; glyphs: drawn characters to compare with the
    // pictures, or nullptr. All borrowed.
    TextCorrector(const TextModel& model, const std::unordered_set<char32_t>* readable,
                  GlyphShapes* glyphs, CorrectionWeights weights = {});

    // A run of Hán characters (text between punctuation), in reading order.
    std::vector<CorrectedChar> correct(const std::vector<ReadChar>& run) const;

    const CorrectionWeights& weights() const { return m_w; }

    struct Candidate {
        char32_t ch;
        char32_t folded;
        double score;  // the evidence of the picture for this character
    };
    // The readings weighed for position i of a run, the read character
    // first. The neighbours that suggest candidates are the read ones, or
    // those of `context` (an earlier pass's choice) when given.
    std::vector<Candidate> candidates(const std::vector<ReadChar>& run, size_t i,
                                      const std::u32string* context = nullptr) const;

  private:
    bool readable(char32_t c) const;
    double lm(char32_t c, char32_t p1, char32_t p2) const;

    std::vector<size_t> bestPath(const std::vector<std::vector<Candidate>>& cands) const;
    double calibrated(float confidence) const;
    double looks(const ReadChar& read, char32_t c) const;

    const TextModel& m_model;
    const std::unordered_set<char32_t>* m_readable;
    GlyphShapes* m_glyphs;
    CorrectionWeights m_w;
};

}  // namespace talvo::ocr
