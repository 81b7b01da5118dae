#pragma once

#include "core/ui/popup_geometry.h"

namespace talvo::region {

using popup::Point;
using popup::Rect;

// Whole pixels of a picture, origin at its top left.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool empty() const { return width <= 0 || height <= 0; }
    bool operator==(const PixelRect&) const = default;
};

// The smallest region, in picture pixels each way, that can hold a
// character worth reading; smaller ones are a click or a slip of the hand.
inline constexpr int kMinRegionPixels = 8;

// The rectangle a drag from `from` to `to` covers, whichever way it went.
Rect dragRect(Point from, Point to);

// Where a picture of `pictureWidth` × `pictureHeight` pixels is drawn to fill
// `area` without distortion: scaled to fit and centred. A picture of the
// whole screen, at any pixel density, fills its screen exactly.
Rect fittedPicture(Rect area, int pictureWidth, int pictureHeight);

// The picture's pixels under `selection`, for a picture drawn at `drawn`
// (both in the same logical coordinates, global across screens). Scaled by
// the picture's pixels per logical unit, which is how a HiDPI screen's
// device pixels come in, and offset by where the picture is drawn, which is
// how a second screen's origin comes in. Rounded outward, so a stroke at the
// edge is kept, and clipped to the picture; empty when they do not meet.
PixelRect picturePixels(Rect selection, Rect drawn, int pictureWidth, int pictureHeight);

// Where a panel of `size` goes so that it leaves the region it reads in
// sight: under it, left edges aligned, where the visible frame `visible` has
// room; else over it; else under it, pushed up into the frame. Kept `margin`
// inside the frame either way.
Point panelBeside(Rect region, popup::Size size, Rect visible, double gap = 8, double margin = 8);

}  // namespace talvo::region
