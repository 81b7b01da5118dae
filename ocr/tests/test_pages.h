#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "ocr/image_file.h"
#include "ocr/tesseract_recognizer.h"
#include "ocr/text_recognizer.h"

namespace talvo::ocr::testing {

// Pages of corpus text drawn the way a reader's screen shows a scan: Noto
// Serif CJK TC, on a grid, columns right to left or lines top to bottom,
// optionally blurred, grained and JPEG-compressed. Needs a QGuiApplication
// (the offscreen platform is enough).
struct PageStyle {
    Layout layout = Layout::Vertical;
    int charPixels = 24;
    bool blurAndNoise = false;  // a 0.8 px blur and grain of 12 gray levels
    int jpegQuality = 0;        // 0: none
    unsigned seed = 1;          // of the grain
    int perLine = 20;           // characters per column or line
};

struct TestPage {
    OwnedImage image;
    std::u32string text;  // the characters drawn, in reading order
};

TestPage renderPage(const std::u32string& text, const PageStyle& style);
// Writes the page as a picture file (the format from the name's extension).
bool savePage(const TestPage& page, const std::string& path);
// Starts the offscreen QGuiApplication that drawing needs, once per process.
void ensureGuiApplication();

// Main text (commentary, markup and characters without a code point left
// out) of a Kanseki Repository file, as passages of `length` Hán characters
// the font can draw, `stride` characters apart. Empty when the file is missing.
std::vector<std::u32string> corpusPassages(const std::string& file, size_t length, size_t count,
                                           size_t stride);

// The corpus folder and the files the dictionary's text model left out.
std::string corpusDir();
std::vector<std::string> heldOutFiles(const std::string& dictionaryPath);
// The corpus file of a held-out name ("KR3e0002_005.txt" -> .../KR3e0002/KR3e0002_005.txt).
std::string corpusFile(const std::string& name);

// Character errors: edit distance between the reference and the
// recognised text (line breaks ignored), both folded as the dictionary
// folds edition forms.
struct Score {
    size_t reference = 0;
    size_t errors = 0;
    double accuracy() const {
        return reference ? 1.0 - static_cast<double>(errors) / static_cast<double>(reference) : 0.0;
    }
    Score& operator+=(const Score& o) {
        reference += o.reference;
        errors += o.errors;
        return *this;
    }
};
using Folds = std::unordered_map<char32_t, char32_t>;
Folds dictionaryFolds(const std::string& dictionaryPath);
Score score(const std::u32string& reference, const std::string& recognised, const Folds& folds);

// Recognises passages of the held-out files drawn in one style (the seed
// varying per page) and scores the recogniser's reading and the corrected
// text. Degraded: blur and grain, and JPEG at quality 60 for columns.
struct Measurement {
    Score raw;
    Score corrected;
    size_t pages = 0;
};
Measurement measure(TesseractRecognizer& recognizer, const std::vector<std::string>& files,
                    size_t passagesPerFile, Layout layout, int charPixels, bool degraded,
                    const Folds& folds);

}  // namespace talvo::ocr::testing
