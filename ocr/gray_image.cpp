#include "ocr/gray_image.h"

#include <array>

namespace talvo::ocr {

std::optional<GrayImage> GrayImage::from(const ImageView& view) {
    int bpp = view.bytesPerPixel;
    if (!view.pixels || view.width <= 0 || view.height <= 0 || (bpp != 1 && bpp != 3 && bpp != 4) ||
        view.bytesPerLine < view.width * bpp) {
        return std::nullopt;
    }
    GrayImage g;
    g.width = view.width;
    g.height = view.height;
    g.pixels.resize(static_cast<size_t>(view.width) * view.height);
    for (int y = 0; y < view.height; ++y) {
        const uint8_t* row = view.pixels + static_cast<size_t>(y) * view.bytesPerLine;
        uint8_t* out = g.pixels.data() + static_cast<size_t>(y) * view.width;
        for (int x = 0; x < view.width; ++x) {
            const uint8_t* p = row + static_cast<size_t>(x) * bpp;
            if (bpp == 1) {
                out[x] = p[0];
                continue;
            }
            // Rec. 601 luma in integers.
            unsigned luma = (299u * p[0] + 587u * p[1] + 114u * p[2] + 500u) / 1000u;
            if (bpp == 4) {
                // Transparent pixels show the white page underneath.
                luma = (luma * p[3] + 255u * (255u - p[3]) + 127u) / 255u;
            }
            out[x] = static_cast<uint8_t>(luma);
        }
    }
    return g;
}

GrayImage GrayImage::doubled() const {
    GrayImage d;
    d.width = width * 2;
    d.height = height * 2;
    d.pixels.resize(static_cast<size_t>(d.width) * d.height);
    for (int y = 0; y < d.height; ++y) {
        // Sample centres of the enlarged pixels in source coordinates.
        double sy = (y + 0.5) / 2.0 - 0.5;
        int y0 = sy < 0 ? 0 : static_cast<int>(sy);
        int y1 = y0 + 1 < height ? y0 + 1 : y0;
        double fy = sy < 0 ? 0 : sy - y0;
        for (int x = 0; x < d.width; ++x) {
            double sx = (x + 0.5) / 2.0 - 0.5;
            int x0 = sx < 0 ? 0 : static_cast<int>(sx);
            int x1 = x0 + 1 < width ? x0 + 1 : x0;
            double fx = sx < 0 ? 0 : sx - x0;
            double top = at(x0, y0) * (1 - fx) + at(x1, y0) * fx;
            double bottom = at(x0, y1) * (1 - fx) + at(x1, y1) * fx;
            d.pixels[static_cast<size_t>(y) * d.width + x] =
                static_cast<uint8_t>(top * (1 - fy) + bottom * fy + 0.5);
        }
    }
    return d;
}

uint8_t GrayImage::inkThreshold() const {
    std::array<uint64_t, 256> hist{};
    for (uint8_t p : pixels) {
        ++hist[p];
    }
    uint64_t total = pixels.size();
    if (total == 0) {
        return 128;
    }
    double sumAll = 0;
    for (int i = 0; i < 256; ++i) {
        sumAll += static_cast<double>(i) * static_cast<double>(hist[i]);
    }
    double sumDark = 0;
    uint64_t dark = 0;
    double bestVariance = -1;
    int best = 128;
    for (int t = 0; t < 256; ++t) {
        dark += hist[t];
        if (dark == 0) {
            continue;
        }
        if (dark == total) {
            break;
        }
        sumDark += static_cast<double>(t) * static_cast<double>(hist[t]);
        double wDark = static_cast<double>(dark) / static_cast<double>(total);
        double meanDark = sumDark / static_cast<double>(dark);
        double meanLight = (sumAll - sumDark) / static_cast<double>(total - dark);
        double variance = wDark * (1 - wDark) * (meanDark - meanLight) * (meanDark - meanLight);
        if (variance > bestVariance) {
            bestVariance = variance;
            best = t;
        }
    }
    // Ink is what is darker than the split: level t itself counts as ink.
    return static_cast<uint8_t>(best < 255 ? best + 1 : 255);
}

}  // namespace talvo::ocr
