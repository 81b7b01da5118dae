#include "core/ui/region_geometry.h"

#include <algorithm>
#include <cmath>

namespace talvo::region {

Rect dragRect(Point from, Point to) {
    return {std::min(from.x, to.x), std::min(from.y, to.y), std::abs(to.x - from.x),
            std::abs(to.y - from.y)};
}

Rect fittedPicture(Rect area, int pictureWidth, int pictureHeight) {
    if (pictureWidth <= 0 || pictureHeight <= 0 || area.width <= 0 || area.height <= 0) {
        return {area.x, area.y, 0, 0};
    }
    const double scale = std::min(area.width / pictureWidth, area.height / pictureHeight);
    const double w = pictureWidth * scale;
    const double h = pictureHeight * scale;
    return {area.x + (area.width - w) / 2, area.y + (area.height - h) / 2, w, h};
}

PixelRect picturePixels(Rect selection, Rect drawn, int pictureWidth, int pictureHeight) {
    if (drawn.width <= 0 || drawn.height <= 0 || pictureWidth <= 0 || pictureHeight <= 0) {
        return {};
    }
    const double sx = pictureWidth / drawn.width;
    const double sy = pictureHeight / drawn.height;
    // A hair of tolerance: 1.5 × 2 must not round outward to a fourth pixel.
    constexpr double kSlack = 1e-6;
    const double left = std::floor((selection.left() - drawn.x) * sx + kSlack);
    const double top = std::floor((selection.top() - drawn.y) * sy + kSlack);
    const double right = std::ceil((selection.right() - drawn.x) * sx - kSlack);
    const double bottom = std::ceil((selection.bottom() - drawn.y) * sy - kSlack);
    const int x0 = static_cast<int>(std::clamp(left, 0.0, double(pictureWidth)));
    const int y0 = static_cast<int>(std::clamp(top, 0.0, double(pictureHeight)));
    const int x1 = static_cast<int>(std::clamp(right, 0.0, double(pictureWidth)));
    const int y1 = static_cast<int>(std::clamp(bottom, 0.0, double(pictureHeight)));
    if (x1 <= x0 || y1 <= y0) {
        return {};
    }
    return {x0, y0, x1 - x0, y1 - y0};
}

Point panelBeside(Rect region, popup::Size size, Rect visible, double gap, double margin) {
    const double below = region.bottom() + gap;
    const double above = region.top() - gap - size.height;
    double y = below;
    if (below + size.height > visible.bottom() - margin && above >= visible.top() + margin) {
        y = above;
    }
    y = std::min(y, visible.bottom() - size.height - margin);
    y = std::max(y, visible.top() + margin);
    double x = std::max(region.left(), visible.left() + margin);
    x = std::min(x, visible.right() - size.width - margin);
    x = std::max(x, visible.left() + margin);
    return {x, y};
}

}  // namespace talvo::region
