#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ocr/text_recognizer.h"

namespace talvo::ocr {

// Pixels read from a file, 8-bit gray, owned.
struct OwnedImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;  // rows packed

    ImageView view() const { return ImageView{pixels.data(), width, height, 1, width}; }
};

enum class ImageFileError {
    Unreadable,  // missing, a folder, or not readable
    NotAnImage,  // no picture format Leptonica knows, or a damaged one
    TooLarge,    // more pixels than recognition accepts
};

struct ImageFileResult {
    std::optional<OwnedImage> image;
    std::optional<ImageFileError> error;
};

// Reads PNG, JPEG, TIFF, BMP, GIF, WebP, PNM... through Leptonica, as gray
// (transparency over white). The size is checked from the header before the
// pixels are decoded, so a huge picture is refused without being loaded.
ImageFileResult readImageFile(const std::string& path);

}  // namespace talvo::ocr
