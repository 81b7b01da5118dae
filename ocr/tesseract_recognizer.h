#pragma once

#include <memory>
#include <string>

#include "ocr/text_recognizer.h"

namespace talvo::ocr {

struct RecognizerOptions {
    // The folder of the .traineddata models; empty: $TESSDATA_PREFIX, then
    // where Debian installs them.
    std::string tessdataDir;
    // The dictionary that holds the text model; empty: no correction.
    std::string dictionaryPath;
    // The font whose glyphs are compared with the page; empty: Noto Sans CJK
    // TC where Debian installs it. No font: no comparison.
    std::string glyphFont;
    std::string glyphFamily;
    // False: the recogniser's own reading, uncorrected (for measurements).
    bool correct = true;
};

// Recognition through Tesseract 5's LSTM models for traditional Chinese:
// chi_tra_vert (single vertical block) for columns, chi_tra (single block)
// for lines; small print enlarged twice; only Hán characters and punctuation
// kept; the reading then corrected against the medical corpus (see
// TextCorrector) with the pictures of the characters (see PageReading).
//
// Nothing is loaded before the first recognize: the engines, the text model
// and the font come on first use, each engine when its layout is first
// needed. One recognition thread: Tesseract's OpenMP parallelism is turned
// off for the process before the first engine runs (measured on two cores,
// it made a recognition three times slower). One call at a time.
class TesseractRecognizer final : public TextRecognizer {
  public:
    explicit TesseractRecognizer(RecognizerOptions options = {});
    ~TesseractRecognizer() override;
    TesseractRecognizer(const TesseractRecognizer&) = delete;
    TesseractRecognizer& operator=(const TesseractRecognizer&) = delete;

    RecognitionOutcome recognize(const ImageView& image, Layout layout) override;

    // The recogniser's own reading in the last successful call, before
    // correction, lines ending in '\n' (to measure what correction adds).
    const std::string& lastReading() const;
    // Whether anything (an engine, the text model, the font) is loaded yet.
    bool loaded() const;
    // Why the last call went without correction or without pictures, or empty.
    const std::string& limitation() const;

    // Pictures larger than this on a side, or with more pixels than
    // kMaxPixels (a page scanned at 400 dpi), are refused as BadImage; so are
    // those under kMinSide. Beyond that size Tesseract alone needs more than
    // a gigabyte and many seconds.
    static constexpr int kMinSide = 8;
    static constexpr int kMaxSide = 16000;
    static constexpr long long kMaxPixels = 16'000'000;

  private:
    struct Impl;
    std::unique_ptr<Impl> m;
};

}  // namespace talvo::ocr
