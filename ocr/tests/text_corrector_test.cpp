#include <gtest/gtest.h>

#include "ocr/text_corrector.h"

namespace talvo::ocr {
namespace {

// A little corpus in the manner of the Suwen: 岐伯曰 and 黃帝問曰 recur,
// 日 comes after numbers, the edition writes 爲 for 為.
TextModel corpus() {
    TextModelBuilder b;
    for (int i = 0; i < 20; ++i) {
        b.addRun(U"黃帝問曰余聞上古之人");
        b.addRun(U"岐伯對曰上古之人其知道者");
        b.addRun(U"岐伯曰陰陽者天地之道也");
        b.addRun(U"十二日死七日愈");
        b.addRun(U"以酒爲漿以妄爲常");
    }
    b.addVariant(U'為', U'爲');
    std::string why;
    return *TextModel::fromParts(b.parts(), &why);
}

std::vector<ReadChar> read(std::u32string_view text, float confidence = 0.99f) {
    std::vector<ReadChar> run;
    for (char32_t c : text) {
        run.push_back(ReadChar{c, confidence, {}, nullptr});
    }
    return run;
}

std::u32string text(const std::vector<CorrectedChar>& out) {
    std::u32string s;
    for (const CorrectedChar& c : out) {
        s.push_back(c.ch);
    }
    return s;
}

TEST(TextCorrector, ContextDecidesBetweenLookAlikes) {
    TextModel m = corpus();
    TextCorrector c(m, nullptr, nullptr);
    // The recogniser's favourite mistake, made with confidence.
    EXPECT_EQ(text(c.correct(read(U"岐伯日陰陽者"))), U"岐伯曰陰陽者");
    EXPECT_EQ(text(c.correct(read(U"黃帝問日余聞"))), U"黃帝問曰余聞");
    // Where the corpus writes 日, 日 stays, and so does text it has no view on.
    EXPECT_EQ(text(c.correct(read(U"十二日死"))), U"十二日死");
    EXPECT_EQ(text(c.correct(read(U"龍虎"))), U"龍虎");
    EXPECT_TRUE(c.correct({}).empty());
}

TEST(TextCorrector, WritesTheCorpusShapeTheRecogniserCannot) {
    TextModel m = corpus();
    // The recogniser knows 為 but not 爲, so its 為 may be either.
    std::unordered_set<char32_t> readable = {U'以', U'酒', U'為', U'漿', U'妄', U'常'};
    TextCorrector c(m, &readable, nullptr);
    EXPECT_EQ(text(c.correct(read(U"以酒為漿以妄為常"))), U"以酒爲漿以妄爲常");
}

TEST(TextCorrector, FillsAMissedCharacterFromTheContext) {
    TextModel m = corpus();
    TextCorrector c(m, nullptr, nullptr);
    std::vector<ReadChar> run = read(U"岐伯對?上古");
    run[3] = ReadChar{};  // the recogniser saw nothing there
    std::vector<CorrectedChar> out = c.correct(run);
    EXPECT_EQ(text(out), U"岐伯對曰上古");
    // A guess from the context alone is not trusted like a reading.
    EXPECT_LT(out[3].confidence, out[0].confidence);
    EXPECT_LT(out[3].confidence, c.weights().uncertainBelow);
}

TEST(TextCorrector, ConfidenceFollowsTheEvidence) {
    TextModel m = corpus();
    TextCorrector c(m, nullptr, nullptr);
    auto sure = c.correct(read(U"上古之人", 0.995f));
    auto unsure = c.correct(read(U"上古之人", 0.5f));
    ASSERT_EQ(sure.size(), 4u);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_GT(sure[i].confidence, unsure[i].confidence);
        EXPECT_GE(sure[i].confidence, 0.0f);
        EXPECT_LE(sure[i].confidence, 1.0f);
    }
    EXPECT_GE(sure[2].confidence, c.weights().uncertainBelow);
}

}  // namespace
}  // namespace talvo::ocr
