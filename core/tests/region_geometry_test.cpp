// Turning a drag over the dimmed screen into the pixels of the picture
// behind it: any direction, HiDPI screens, a second screen's offset, a
// picture fitted into a screen it does not match, and regions that miss.
#include "core/ui/region_geometry.h"

#include <gtest/gtest.h>

using namespace talvo::region;

TEST(RegionGeometryTest, ADragCoversTheSameRectangleWhicheverWayItWent) {
    const Rect expected{100, 50, 200, 80};
    EXPECT_EQ(dragRect({100, 50}, {300, 130}), expected);  // down and right
    EXPECT_EQ(dragRect({300, 130}, {100, 50}), expected);  // up and left
    EXPECT_EQ(dragRect({300, 50}, {100, 130}), expected);  // down and left
    EXPECT_EQ(dragRect({100, 130}, {300, 50}), expected);  // up and right
    EXPECT_EQ(dragRect({7, 9}, {7, 9}), (Rect{7, 9, 0, 0}));
}

TEST(RegionGeometryTest, PixelsFollowTheScreensDensityAndOrigin) {
    // One screen at the origin, one device pixel per logical one.
    const Rect first{0, 0, 1280, 800};
    EXPECT_EQ(picturePixels({100, 50, 200, 80}, first, 1280, 800), (PixelRect{100, 50, 200, 80}));

    // A HiDPI screen at scale 2: twice the pixels each way.
    EXPECT_EQ(picturePixels({100, 50, 200, 80}, first, 2560, 1600),
              (PixelRect{200, 100, 400, 160}));
    // At 1.5 fractional edges round outward, never losing an inked pixel.
    EXPECT_EQ(picturePixels({10, 10, 11, 3}, first, 1920, 1200), (PixelRect{15, 15, 17, 5}));

    // A second screen right of the first, at scale 2: its picture starts at
    // its own origin.
    const Rect second{1280, 0, 1920, 1080};
    EXPECT_EQ(picturePixels({1500, 100, 200, 100}, second, 3840, 2160),
              (PixelRect{440, 200, 400, 200}));
    // And one above the first, at negative coordinates.
    const Rect above{0, -1080, 1920, 1080};
    EXPECT_EQ(picturePixels({10, -1000, 50, 30}, above, 1920, 1080), (PixelRect{10, 80, 50, 30}));
}

TEST(RegionGeometryTest, ASelectionIsClippedToThePictureAndMayMissIt) {
    const Rect screen{1280, 0, 1280, 800};
    // Dragged past the screen's edge: what lies on it.
    EXPECT_EQ(picturePixels({2500, 700, 200, 300}, screen, 1280, 800),
              (PixelRect{1220, 700, 60, 100}));
    // Wholly on another screen, or without area: nothing.
    EXPECT_TRUE(picturePixels({100, 100, 50, 50}, screen, 1280, 800).empty());
    EXPECT_TRUE(picturePixels({1400, 100, 0, 50}, screen, 1280, 800).empty());
    // A one-pixel drag stays one pixel, which the caller refuses as too small.
    PixelRect dot = picturePixels({1400, 100, 1, 1}, screen, 1280, 800);
    EXPECT_EQ(dot, (PixelRect{120, 100, 1, 1}));
    EXPECT_LT(dot.width, kMinRegionPixels);
    // No picture at all.
    EXPECT_TRUE(picturePixels({1400, 100, 50, 50}, screen, 0, 0).empty());
}

TEST(RegionGeometryTest, APictureThatDoesNotMatchTheScreenIsFittedAndMappedThroughIt) {
    // A portal's picture of a 16:9 desktop shown on a 16:10 screen.
    const Rect drawn = fittedPicture({0, 0, 1280, 800}, 1920, 1080);
    EXPECT_EQ(drawn, (Rect{0, 40, 1280, 720}));
    // The centre of the drawn picture is the centre of the picture.
    EXPECT_EQ(picturePixels({630, 390, 20, 20}, drawn, 1920, 1080), (PixelRect{945, 525, 30, 30}));
    // The letterbox bands hold no pixels.
    EXPECT_TRUE(picturePixels({100, 0, 50, 40}, drawn, 1920, 1080).empty());
    EXPECT_EQ(fittedPicture({0, 0, 1280, 800}, 0, 10), (Rect{0, 0, 0, 0}));
}

TEST(RegionGeometryTest, ThePanelLeavesTheRegionItReadsInSight) {
    const Rect visible{0, 28, 1280, 772};  // under a 28-pixel panel bar
    // Room below: under the region, left edges aligned.
    EXPECT_EQ(panelBeside({100, 200, 300, 80}, {400, 300}, visible), (Point{100, 288}));
    // None below, room above: over it.
    EXPECT_EQ(panelBeside({100, 600, 300, 80}, {400, 300}, visible), (Point{100, 292}));
    // Room on neither side: below, pushed up into the frame.
    EXPECT_EQ(panelBeside({100, 200, 300, 500}, {400, 300}, visible), (Point{100, 492}));
    // Near the right edge: slid left, 8 from the edge.
    EXPECT_EQ(panelBeside({1100, 200, 100, 40}, {400, 300}, visible), (Point{872, 248}));
}
