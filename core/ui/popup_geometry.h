#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace talvo::popup {

// Logical (device-independent) screen coordinates with the origin at the top
// left and y growing downward, as the toolkit and X11 use them.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double left() const { return x; }
    double top() const { return y; }
    double right() const { return x + width; }
    double bottom() const { return y + height; }
    // Half-open, so a point on the seam of two screens belongs to one of them.
    bool contains(Point p) const { return p.x >= x && p.x < right() && p.y >= y && p.y < bottom(); }
    bool operator==(const Rect&) const = default;
};

struct Screen {
    Rect frame;
    Rect visibleFrame;  // without panels and docks
};

inline constexpr double kMaxWidth = 640;
inline constexpr double kMinWidth = 360;
inline constexpr double kMaxHeightShare = 0.72;  // of the main screen's visible height
inline constexpr double kMaxHeightWithoutScreen = 648;
inline constexpr double kMinHeight = 200;
inline constexpr double kPointerGap = 12;
inline constexpr double kEdgeMargin = 8;
// The smallest size a user may drag the panel to.
inline constexpr Size kMinimumPanel{320, 160};

// The panel size for content that wants `wanted`: width within 360…640,
// height within 200…72 % of the main screen's visible height (648 without a
// screen). The lower bounds are applied last, so they win on a tiny screen.
Size clampedSize(Size wanted, std::optional<double> mainVisibleHeight);

// The screen the pointer is on: the first whose frame contains it, else the
// main one; absent when there is no screen at all.
std::optional<size_t> screenAt(Point mouse, const std::vector<Screen>& screens,
                               std::optional<size_t> mainScreen);

// Top-left corner of a panel of `size` hanging 12 below and right of the
// pointer, pushed inside the visible frame of the pointer's screen with an
// 8-point margin. Near the right or bottom edge it slides left or up (it does
// not flip); a panel larger than the visible frame keeps 8 points from its top
// and right edges. Without any screen the corner is the pointer itself.
Point positionAtMouse(Point mouse, Size size, const std::vector<Screen>& screens,
                      std::optional<size_t> mainScreen);

// Where a panel of `size` goes when the pointer's position is unknown (a
// Wayland session): centred horizontally in the visible frame, its top edge
// halfway down the upper third, with the same margins as above.
Point positionInUpperThird(Size size, const Screen& screen);

}  // namespace talvo::popup
