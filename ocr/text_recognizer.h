#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvo::ocr {

// How the text on a picture runs. Classical prints are mostly vertical
// columns read right to left; Auto lets the recogniser decide.
enum class Layout { Auto, Vertical, Horizontal };

// Pixels the caller owns for the duration of one call: 8-bit gray (1 byte
// per pixel), RGB (3) or RGBA (4), rows `bytesPerLine` apart.
struct ImageView {
    const std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int bytesPerPixel = 4;
    int bytesPerLine = 0;
};

// One recognised character in reading order.
struct RecognizedChar {
    std::string text;         // one code point, UTF-8
    float confidence = 0.0f;  // 0..1 after correction
    bool uncertain = false;   // worth marking for the reader to check
};

struct Recognition {
    // The corrected text in reading order; columns (or lines) end in '\n'.
    std::string text;
    // Every character of `text` except the line breaks, in the same order.
    std::vector<RecognizedChar> chars;
    Layout layout = Layout::Horizontal;  // never Auto: the layout chosen
};

enum class RecognitionError {
    ModelMissing,  // the recognition model is not installed
    BadImage,      // empty, 1 pixel, unreadable or absurdly large
    NoText,        // recognised nothing that is Hán text
};

struct RecognitionOutcome {
    std::optional<Recognition> recognition;
    std::optional<RecognitionError> error;
    // For ModelMissing: the Debian package that brings the model.
    std::string missingPackage;
};

// Turns a picture of printed Hán text into text. Implementations may be slow
// (hundreds of milliseconds): call from a worker thread, one call at a time
// per instance.
class TextRecognizer {
  public:
    virtual ~TextRecognizer() = default;
    virtual RecognitionOutcome recognize(const ImageView& image, Layout layout) = 0;
};

}  // namespace talvo::ocr
