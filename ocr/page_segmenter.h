#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ocr/gray_image.h"

namespace talvo::ocr {

// Where the characters of a printed Hán page are, found from the ink alone.
struct PageLayout {
    // Lines (columns for vertical text) in reading order, each its
    // characters' boxes in reading order.
    std::vector<std::vector<Box>> lines;
    int charSize = 0;  // typical character size in pixels (a line's breadth)
    int pitch = 0;     // distance between successive characters' centres
};

// Projection profiles: lines are the bands of ink across the page, then the
// characters of a line are its pieces of ink grouped so that their centres
// keep the line's pitch (so 二 stays one character and 一 above 二 stays two).
// Good on typeset and woodblock pages laid out on a grid; a picture that is
// not one gives few or odd boxes, which callers check against the
// recogniser's count.
class PageSegmenter {
  public:
    static PageLayout segment(const GrayImage& page, uint8_t inkBelow, Layout layout);

    // Which way the text runs, judged from the gaps: lines are further apart
    // than the characters within them. Nothing when the gaps do not tell.
    static std::optional<Layout> guessLayout(const GrayImage& page, uint8_t inkBelow);
};

}  // namespace talvo::ocr
