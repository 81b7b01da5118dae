#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "ocr/gray_image.h"

namespace talvo::ocr {

// A character's picture reduced to a small grid: its ink's bounding square,
// sampled, blurred and normalized to zero mean and unit length, so that two
// shapes compare by one dot product (a correlation, -1..1) whatever the
// size, weight or position of the ink.
struct Shape {
    static constexpr int kGrid = 24;
    std::array<float, kGrid * kGrid> cells{};
    bool empty = true;  // no ink

    // The shape of the ink inside box (page pixels, clipped to the page).
    static Shape of(const GrayImage& page, const Box& box, uint8_t inkBelow);
    // 0 when either is empty.
    static double similarity(const Shape& a, const Shape& b);
};

// Shapes of characters drawn with a font (FreeType), kept once drawn. The
// recogniser compares them with the page to weigh candidates it cannot
// read itself. Not thread-safe.
class GlyphShapes {
  public:
    ~GlyphShapes();
    GlyphShapes(const GlyphShapes&) = delete;
    GlyphShapes& operator=(const GlyphShapes&) = delete;

    // Opens the face of a font file (a .ttc collection included) whose family
    // name is `family`, or the first face when none is. Nothing, with why,
    // when the file cannot be read.
    static std::unique_ptr<GlyphShapes> open(const std::string& fontFile, const std::string& family,
                                             std::string* why);
    // The Debian location of Noto Sans CJK, the font used when none is given.
    static const char* defaultFontFile();
    static const char* defaultFamily();

    // nullptr when the font has no glyph for c.
    const Shape* shape(char32_t c);
    size_t cached() const { return m_cache.size(); }

  private:
    GlyphShapes() = default;
    struct FreeType;
    std::unique_ptr<FreeType> m_ft;
    std::unordered_map<char32_t, std::optional<Shape>> m_cache;
};

}  // namespace talvo::ocr
