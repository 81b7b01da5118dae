#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ocr/text_recognizer.h"

namespace talvo::ocr {

// A rectangle of pixels: x, y of the top left corner, width and height.
struct Box {
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;

    int right() const { return x + w; }  // one past the last column
    int bottom() const { return y + h; }
    bool operator==(const Box&) const = default;
};

// 8-bit gray pixels, rows packed (stride = width), 0 black .. 255 white.
struct GrayImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;

    uint8_t at(int x, int y) const { return pixels[static_cast<size_t>(y) * width + x]; }

    // Gray from gray, RGB or RGBA (alpha over white). Nothing when the view
    // is not one of those or its rows are shorter than its width.
    static std::optional<GrayImage> from(const ImageView& view);
    // Twice the size, bilinear: small print reads better enlarged.
    GrayImage doubled() const;
    // The gray level that best splits ink from paper (Otsu), so that ink is
    // darker than the value returned.
    uint8_t inkThreshold() const;
};

}  // namespace talvo::ocr
