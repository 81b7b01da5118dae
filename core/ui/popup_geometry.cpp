#include "core/ui/popup_geometry.h"

#include <algorithm>

namespace talvo::popup {

Size clampedSize(Size wanted, std::optional<double> mainVisibleHeight) {
    double maxHeight =
        mainVisibleHeight ? kMaxHeightShare * *mainVisibleHeight : kMaxHeightWithoutScreen;
    Size s;
    s.width = std::max(std::min(wanted.width, kMaxWidth), kMinWidth);
    s.height = std::max(std::min(wanted.height, maxHeight), kMinHeight);
    return s;
}

std::optional<size_t> screenAt(Point mouse, const std::vector<Screen>& screens,
                               std::optional<size_t> mainScreen) {
    for (size_t i = 0; i < screens.size(); ++i) {
        if (screens[i].frame.contains(mouse)) {
            return i;
        }
    }
    if (mainScreen && *mainScreen < screens.size()) {
        return mainScreen;
    }
    return std::nullopt;
}

Point positionAtMouse(Point mouse, Size size, const std::vector<Screen>& screens,
                      std::optional<size_t> mainScreen) {
    std::optional<size_t> index = screenAt(mouse, screens, mainScreen);
    if (!index) {
        return mouse;
    }
    const Rect& v = screens[*index].visibleFrame;
    Point p{mouse.x + kPointerGap, mouse.y + kPointerGap};
    // Left edge first, right edge last: a panel wider than the screen keeps
    // its right margin.
    p.x = std::max(p.x, v.left() + kEdgeMargin);
    p.x = std::min(p.x, v.right() - size.width - kEdgeMargin);
    // Bottom edge first, top edge last: a panel taller than the screen keeps
    // its top margin.
    p.y = std::min(p.y, v.bottom() - size.height - kEdgeMargin);
    p.y = std::max(p.y, v.top() + kEdgeMargin);
    return p;
}

Point positionInUpperThird(Size size, const Screen& screen) {
    const Rect& v = screen.visibleFrame;
    Point p{v.left() + (v.width - size.width) / 2, v.top() + v.height / 6};
    p.x = std::max(p.x, v.left() + kEdgeMargin);
    p.y = std::min(p.y, v.bottom() - size.height - kEdgeMargin);
    p.y = std::max(p.y, v.top() + kEdgeMargin);
    return p;
}

}  // namespace talvo::popup
