#include <gtest/gtest.h>

#include <cmath>

#include "ocr/text_model.h"

namespace talvo::ocr {
namespace {

TextModel modelOf(const std::vector<std::u32string>& runs) {
    TextModelBuilder b;
    for (const auto& r : runs) {
        b.addRun(r);
    }
    b.setRadical(U'曰', 73, 0);
    b.setRadical(U'日', 72, 0);
    b.addVariant(U'為', U'爲');
    std::string why;
    auto m = TextModel::fromParts(b.parts(1), &why);
    EXPECT_TRUE(m) << why;
    return *m;
}

TEST(TextModel, PrefersWhatTheCorpusWritesInContext) {
    TextModel m = modelOf({U"岐伯曰", U"岐伯曰", U"岐伯對曰", U"十二日死", U"岐伯曰善"});
    // 岐伯 is followed by 曰, never by 日.
    EXPECT_GT(m.logProb(U'曰', U'伯', U'岐'), m.logProb(U'日', U'伯', U'岐') + 1.0);
    // After 二, 日 is the corpus's word.
    EXPECT_GT(m.logProb(U'日', U'二', U'十'), m.logProb(U'曰', U'二', U'十'));
    // Unseen characters and contexts still get a finite, smaller probability.
    double unseen = m.logProb(U'龍', U'伯', U'岐');
    EXPECT_TRUE(std::isfinite(unseen));
    EXPECT_LT(unseen, m.logProb(U'曰', U'伯', U'岐'));
    EXPECT_TRUE(std::isfinite(m.logProb(U'龍', 0, 0)));
    EXPECT_EQ(m.count(U'曰'), 4);
    EXPECT_EQ(m.pairCount(U'岐', U'伯'), 4);
}

TEST(TextModel, NeighboursRadicalsAndVariants) {
    TextModel m = modelOf({U"岐伯曰", U"岐伯對曰", U"對曰善"});
    std::vector<char32_t> out;
    m.followers(U'伯', out);
    EXPECT_EQ(out, (std::vector<char32_t>{U'對', U'曰'}));
    m.leaders(U'曰', out);
    EXPECT_EQ(out, (std::vector<char32_t>{U'伯', U'對'}));
    m.followers(U'善', out);
    EXPECT_TRUE(out.empty());
    ASSERT_TRUE(m.radical(U'曰'));
    EXPECT_EQ(m.radical(U'曰')->radical, 73);
    EXPECT_FALSE(m.radical(U'善'));
    ASSERT_EQ(m.withRadical(72).size(), 1u);
    EXPECT_EQ(m.withRadical(72)[0], U'日');
    ASSERT_EQ(m.variants(U'為').size(), 1u);
    EXPECT_EQ(m.variants(U'為')[0], U'爲');
    EXPECT_TRUE(m.variants(U'爲').empty());
}

TEST(TextModel, ScoresBetweenNeighboursAsTwoTrigramsDo) {
    TextModel m = modelOf({U"岐伯曰", U"岐伯曰善", U"岐伯對曰", U"十二日死", U"黃帝問曰"});
    std::u32string chars = U"岐伯曰日對善死黃龍";
    for (char32_t p2 : std::u32string(U"岐十") + char32_t{0}) {
        for (char32_t p1 : std::u32string(U"伯二") + char32_t{0}) {
            for (char32_t n1 : std::u32string(U"善死") + char32_t{0}) {
                TextModel::Between between(m, p2, p1, n1);
                for (char32_t c : chars) {
                    double expected =
                        m.logProb(c, p1, p1 ? p2 : 0) + (n1 ? m.logProb(n1, c, p1) : 0);
                    EXPECT_NEAR(between.score(c), expected, 1e-9);
                }
            }
        }
    }
}

TEST(TextModel, BytesDoNotDependOnTheOrderOfTheRuns) {
    TextModelBuilder a, b;
    a.addRun(U"黃帝問曰");
    a.addRun(U"岐伯對曰");
    b.addRun(U"岐伯對曰");
    b.addRun(U"黃帝問曰");
    EXPECT_EQ(a.parts(), b.parts());
    // Triples seen once are left out under the default threshold, kept under 1.
    EXPECT_TRUE(a.parts(2).at("triples").empty());
    EXPECT_FALSE(a.parts(1).at("triples").empty());
}

TEST(TextModel, RefusesDamagedParts) {
    TextModelBuilder b;
    b.addRun(U"岐伯曰");
    b.addRun(U"黃帝問");
    auto parts = b.parts(1);
    std::string why;

    auto truncated = parts;
    truncated["pairs"].pop_back();
    EXPECT_FALSE(TextModel::fromParts(truncated, &why));
    EXPECT_NE(why.find("pairs"), std::string::npos);

    auto missing = parts;
    missing.erase("chars");
    EXPECT_FALSE(TextModel::fromParts(missing, &why));

    // Two records swapped: lookups by binary search would go wrong.
    auto swapped = parts;
    std::string& c = swapped["chars"];
    ASSERT_GE(c.size(), 24u);
    std::string first = c.substr(0, 12);
    c.replace(0, 12, c.substr(12, 12));
    c.replace(12, 12, first);
    EXPECT_FALSE(TextModel::fromParts(swapped, &why));

    // A code point beyond Unicode.
    auto bad = parts;
    bad["chars"][3] = '\x7f';
    EXPECT_FALSE(TextModel::fromParts(bad, &why));

    // The optional parts may be absent.
    auto bare = parts;
    bare.erase("radicals");
    bare.erase("variants");
    EXPECT_TRUE(TextModel::fromParts(bare, &why)) << why;
}

}  // namespace
}  // namespace talvo::ocr
