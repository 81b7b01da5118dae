#pragma once

#include <vector>

#include "ocr/glyph_shapes.h"
#include "ocr/page_segmenter.h"
#include "ocr/text_corrector.h"

namespace talvo::ocr {

// One symbol as the recogniser wrote it, in its reading order.
struct ReadSymbol {
    char32_t ch = 0;
    float confidence = 0.0f;  // 0..1
    std::vector<char32_t> alternatives;
    bool han = false;        // else punctuation
    bool lineStart = false;  // first of a line (a column for vertical text)
};

// A place of the page's text before correction: a Hán character (read or
// missed) with its picture, or a punctuation mark; lineEnd after the last
// of a line.
struct ReadPlace {
    ReadChar read;
    bool punctuation = false;
    bool lineEnd = false;
};

// The recogniser's reading matched with the segmenter's boxes.
struct PageReading {
    std::vector<ReadPlace> places;
    std::vector<Shape> shapes;  // pictures the places point to (stable storage)
    bool usedBoxes = false;     // the boxes gave the order, breaks and pictures
};

// Pairs the recogniser's Hán characters with the character boxes, in
// reading order, by dynamic programming: a pair scores by how much the box's
// picture looks like the character drawn in the reference font, a skipped
// character or box costs a fixed amount. When the two mostly agree, the
// boxes decide (a character the recogniser missed becomes a place to
// fill, one it invented goes), and each place gets its picture; otherwise
// the recogniser's reading stands alone.
PageReading readPage(const std::vector<ReadSymbol>& symbols, const PageLayout& layout,
                     const GrayImage& page, uint8_t inkBelow, GlyphShapes* glyphs);

// The page as the recogniser gets it: enlarged twice when its characters are
// smaller than kSmallPrint pixels (and the result not too big), with the
// ink threshold and the character boxes of that picture.
struct PreparedPage {
    static constexpr int kSmallPrint = 20;
    GrayImage image;
    uint8_t ink = 128;
    PageLayout boxes;
    bool enlarged = false;
};
PreparedPage preparePage(const GrayImage& page, uint8_t inkBelow, Layout layout,
                         long long maxPixels);

// The recognition of a page from what the recogniser read: paired with the
// boxes, corrected run by run (text between punctuation) when a corrector
// is given, assembled into lines.
struct PageResult {
    Recognition recognition;
    std::string reading;  // the recogniser's own text, lines ending in '\n'
    bool usedBoxes = false;
};
PageResult finishPage(const std::vector<ReadSymbol>& symbols, const PreparedPage& page,
                      Layout layout, const TextCorrector* corrector, GlyphShapes* glyphs);

}  // namespace talvo::ocr
