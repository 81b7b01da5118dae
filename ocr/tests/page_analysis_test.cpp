// The picture side of recognition: gray conversion, character boxes, layout
// and glyph shapes, on pages drawn like the accuracy tests'.
#include <gtest/gtest.h>

#include "ocr/glyph_shapes.h"
#include "ocr/gray_image.h"
#include "ocr/page_segmenter.h"
#include "ocr/tests/test_pages.h"

namespace talvo::ocr {
namespace {

using testing::PageStyle;
using testing::renderPage;

GrayImage grayOf(const testing::TestPage& page) {
    return *GrayImage::from(page.image.view());
}

TEST(GrayImage, ConvertsEveryPixelLayout) {
    // RGBA: opaque red, transparent black (the page shows through: white).
    const uint8_t rgba[] = {255, 0, 0, 255, 0, 0, 0, 0};
    auto g = GrayImage::from(ImageView{rgba, 2, 1, 4, 8});
    ASSERT_TRUE(g);
    EXPECT_EQ(g->at(0, 0), 76);  // luma of pure red
    EXPECT_EQ(g->at(1, 0), 255);
    const uint8_t rgb[] = {10, 10, 10, 200, 200, 200};
    g = GrayImage::from(ImageView{rgb, 1, 2, 3, 3});
    ASSERT_TRUE(g);
    EXPECT_EQ(g->at(0, 1), 200);
    EXPECT_FALSE(GrayImage::from(ImageView{rgb, 2, 1, 3, 3}));  // rows shorter than the width
    EXPECT_FALSE(GrayImage::from(ImageView{rgb, 1, 1, 2, 2}));  // two bytes a pixel: unknown
    EXPECT_FALSE(GrayImage::from(ImageView{nullptr, 1, 1, 1, 1}));
    GrayImage d = g->doubled();
    EXPECT_EQ(d.width, 2);
    EXPECT_EQ(d.height, 4);
    EXPECT_EQ(d.at(0, 0), 10);
    EXPECT_EQ(d.at(1, 3), 200);
}

TEST(PageSegmenter, FindsEveryCharacterInReadingOrder) {
    testing::ensureGuiApplication();
    // Characters with gaps inside (二 三 川 八 小) and tiny ones (一).
    std::u32string text = U"一二三上下小川八人一日曰二十寸大太犬天夭";
    for (Layout layout : {Layout::Vertical, Layout::Horizontal}) {
        SCOPED_TRACE(layout == Layout::Vertical ? "vertical" : "horizontal");
        auto page = renderPage(text, PageStyle{layout, 24, false, 0, 1, 10});
        GrayImage g = grayOf(page);
        PageLayout boxes = PageSegmenter::segment(g, g.inkThreshold(), layout);
        ASSERT_EQ(boxes.lines.size(), 2u);
        EXPECT_EQ(boxes.lines[0].size(), 10u);
        EXPECT_EQ(boxes.lines[1].size(), 10u);
        EXPECT_NEAR(boxes.charSize, 24, 6);
        if (layout == Layout::Vertical) {
            // Right to left, top to bottom.
            EXPECT_GT(boxes.lines[0][0].x, boxes.lines[1][0].x);
            EXPECT_LT(boxes.lines[0][0].y, boxes.lines[0][1].y);
        } else {
            EXPECT_LT(boxes.lines[0][0].y, boxes.lines[1][0].y);
            EXPECT_LT(boxes.lines[0][0].x, boxes.lines[0][1].x);
        }
    }
    // Nothing to find on a blank page.
    GrayImage blank{40, 40, std::vector<uint8_t>(1600, 255)};
    EXPECT_TRUE(PageSegmenter::segment(blank, 128, Layout::Vertical).lines.empty());
}

TEST(PageSegmenter, TellsColumnsFromLines) {
    testing::ensureGuiApplication();
    std::u32string text = U"黃帝問曰余聞上古之人春秋皆度百歲而動作不衰今時之人年半百而動作皆衰者";
    auto layoutOf = [&](Layout drawn, int perLine) {
        auto page = renderPage(text.substr(0, 40), PageStyle{drawn, 24, false, 0, 1, perLine});
        GrayImage g = grayOf(page);
        return PageSegmenter::guessLayout(g, g.inkThreshold());
    };
    EXPECT_EQ(layoutOf(Layout::Vertical, 10), Layout::Vertical);
    EXPECT_EQ(layoutOf(Layout::Horizontal, 10), Layout::Horizontal);
    // A single line or a single column.
    EXPECT_EQ(layoutOf(Layout::Horizontal, 40), Layout::Horizontal);
    EXPECT_EQ(layoutOf(Layout::Vertical, 40), Layout::Vertical);
}

TEST(GlyphShapes, ThePageLooksLikeItsOwnCharacters) {
    testing::ensureGuiApplication();
    std::string why;
    auto glyphs =
        GlyphShapes::open(GlyphShapes::defaultFontFile(), GlyphShapes::defaultFamily(), &why);
    ASSERT_TRUE(glyphs) << why;
    // Drawn in the serif face, compared with the sans one. (Not 曰 against
    // 日: the two faces draw them too differently; the context decides those.)
    std::u32string text = U"丸欬脈鍼";
    auto page = renderPage(text, PageStyle{Layout::Horizontal, 32, false, 0, 1, 4});
    GrayImage g = grayOf(page);
    PageLayout boxes = PageSegmenter::segment(g, g.inkThreshold(), Layout::Horizontal);
    ASSERT_EQ(boxes.lines.size(), 1u);
    ASSERT_EQ(boxes.lines[0].size(), 4u);
    std::u32string rivals = U"九效脾鐵";
    for (size_t i = 0; i < text.size(); ++i) {
        Shape s = Shape::of(g, boxes.lines[0][i], g.inkThreshold());
        ASSERT_FALSE(s.empty);
        double own = Shape::similarity(s, *glyphs->shape(text[i]));
        double rival = Shape::similarity(s, *glyphs->shape(rivals[i]));
        EXPECT_GT(own, rival) << static_cast<uint32_t>(text[i]);
        EXPECT_GT(own, 0.5);
    }
    EXPECT_TRUE(Shape::of(g, Box{0, 0, 3, 3}, g.inkThreshold()).empty);
    EXPECT_EQ(Shape::similarity(Shape{}, *glyphs->shape(U'丸')), 0.0);
    EXPECT_EQ(glyphs->shape(U'\U0010FFFD'), nullptr);  // no glyph in the font

    EXPECT_FALSE(GlyphShapes::open("/nonexistent/font.ttc", "", &why));
    EXPECT_NE(why.find("/nonexistent/font.ttc"), std::string::npos);
}

}  // namespace
}  // namespace talvo::ocr
