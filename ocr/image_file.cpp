#include "ocr/image_file.h"

#include <leptonica/allheaders.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "ocr/tesseract_recognizer.h"

namespace talvo::ocr {

namespace {

struct PixFree {
    void operator()(PIX* p) const { pixDestroy(&p); }
};
using PixPtr = std::unique_ptr<PIX, PixFree>;

}  // namespace

ImageFileResult readImageFile(const std::string& path) {
    ImageFileResult out;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec) || !std::ifstream(path, std::ios::binary)) {
        out.error = ImageFileError::Unreadable;
        return out;
    }
    // Leptonica reports failures on standard error; ours are reported by value.
    setMsgSeverity(L_SEVERITY_NONE);
    l_int32 format = 0, w = 0, h = 0, bps = 0, spp = 0, cmap = 0;
    if (pixReadHeader(path.c_str(), &format, &w, &h, &bps, &spp, &cmap) != 0 || w <= 0 || h <= 0) {
        out.error = ImageFileError::NotAnImage;
        return out;
    }
    if (w > TesseractRecognizer::kMaxSide || h > TesseractRecognizer::kMaxSide ||
        static_cast<long long>(w) * h > TesseractRecognizer::kMaxPixels) {
        out.error = ImageFileError::TooLarge;
        return out;
    }
    PixPtr pix(pixRead(path.c_str()));
    if (!pix) {
        out.error = ImageFileError::NotAnImage;
        return out;
    }
    if (pixGetSpp(pix.get()) == 4) {
        pix.reset(pixAlphaBlendUniform(pix.get(), 0xffffff00));
    }
    PixPtr gray(pix ? pixConvertTo8(pix.get(), 0) : nullptr);
    if (!gray) {
        out.error = ImageFileError::NotAnImage;
        return out;
    }
    OwnedImage img;
    img.width = static_cast<int>(pixGetWidth(gray.get()));
    img.height = static_cast<int>(pixGetHeight(gray.get()));
    img.pixels.resize(static_cast<size_t>(img.width) * img.height);
    l_uint32* data = pixGetData(gray.get());
    l_int32 wpl = pixGetWpl(gray.get());
    for (int y = 0; y < img.height; ++y) {
        l_uint32* line = data + static_cast<ptrdiff_t>(y) * wpl;
        for (int x = 0; x < img.width; ++x) {
            img.pixels[static_cast<size_t>(y) * img.width + x] =
                static_cast<uint8_t>(GET_DATA_BYTE(line, x));
        }
    }
    out.image = std::move(img);
    return out;
}

}  // namespace talvo::ocr
