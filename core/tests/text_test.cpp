#include <gtest/gtest.h>

#include "core/l10n/localization.h"
#include "core/text/unicode.h"

using namespace talvo;

TEST(Utf8, IllFormedBytesBecomeReplacementCharacters) {
    EXPECT_TRUE(text::isValidUtf8("漢字 thương"));
    // A truncated sequence, a stray continuation byte and an encoded lone surrogate.
    std::string bad = std::string("a\xE6\xBC") + "b\x80" + "c\xED\xA0\x80" + "d";
    EXPECT_FALSE(text::isValidUtf8(bad));
    std::string clean = text::sanitizeUtf8(bad);
    EXPECT_TRUE(text::isValidUtf8(clean));
    EXPECT_EQ(clean.find('a'), 0u);
    EXPECT_NE(clean.find("\xEF\xBF\xBD"), std::string::npos);
    EXPECT_NE(clean.find('d'), std::string::npos);
}

TEST(Graphemes, CombiningMarksAndSelectorsStayWithTheirBase) {
    // "ệ" decomposed is one character; 漢 + VS17 is one character.
    auto g = text::graphemes("e\xCC\xA3\xCC\x82x漢\xF3\xA0\x84\x80");
    ASSERT_EQ(g.size(), 3u);
    EXPECT_EQ(g[0], "e\xCC\xA3\xCC\x82");
    EXPECT_EQ(g[2], "漢\xF3\xA0\x84\x80");
    EXPECT_EQ(text::graphemeCount(""), 0u);
}

TEST(CaseAndNormalization, VietnameseLettersFoldAndCompose) {
    EXPECT_EQ(text::toLower("HÀN Đường"), "hàn đường");
    EXPECT_EQ(text::upperFirst("thương"), "Thương");
    EXPECT_EQ(text::upperFirst("đạo"), "Đạo");
    EXPECT_EQ(text::upperFirst(""), "");
    EXPECT_EQ(text::nfc("ho\xCC\x80"
                        "a"),
              "hòa");
    EXPECT_EQ(text::foldDiacritics("Thương HÀN đạo"), "thuong han đao");
}

TEST(Trimming, WhitespaceVersusBlanks) {
    EXPECT_EQ(text::trimWhitespace(" \u3000Hàn\n\t"), "Hàn");
    EXPECT_EQ(text::trimWhitespace(" \n "), "");
    EXPECT_EQ(text::trimBlanks("\t số \n"), "số \n");
    auto parts = text::split(",a,,b", ',');
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[3], "b");
}

TEST(Localization, UnknownLanguagesFallBackToVietnameseAndFormatsFill) {
    EXPECT_EQ(appLanguageFromRaw("fr"), AppLanguage::vi);
    EXPECT_EQ(appLanguageFromRaw(""), AppLanguage::vi);
    EXPECT_EQ(appLanguageFromRaw("en"), AppLanguage::en);
    EXPECT_EQ(format(msg::kNoReverseMatch, AppLanguage::en, "xyz"),
              "No Hán character found for the reading “xyz”.");
    EXPECT_EQ(format(msg::kNoReverseMatch, AppLanguage::zh, "ab"), "找不到讀音為「ab」的漢字。");
}
