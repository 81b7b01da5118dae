#include <gtest/gtest.h>

#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_decision.h"

using namespace talvo;
using Strings = std::vector<std::string>;

TEST(HanCharacters, KeepsOnlyTheHanRanges) {
    EXPECT_EQ(HanTextParser::hanCharacters("Hello 漢字 world"), (Strings{"漢", "字"}));
    // Extension B and A are kept; U+3007 and the radical U+2EAE are not.
    EXPECT_EQ(HanTextParser::hanCharacters("\xF0\xA0\x80\x80㐀〇⺮"),
              (Strings{"\xF0\xA0\x80\x80", "㐀"}));
    // A compatibility ideograph stays as written (no normalization).
    EXPECT_EQ(HanTextParser::hanCharacters("\xEF\xA4\x80"), (Strings{"\xEF\xA4\x80"}));
    // Repeats are kept, order is kept.
    EXPECT_EQ(HanTextParser::hanCharacters("陰陽陰"), (Strings{"陰", "陽", "陰"}));
}

TEST(HanCharacters, ClustersWithSelectorsOrMarksAreDroppedWhole) {
    EXPECT_EQ(HanTextParser::hanCharacters("漢\xEF\xB8\x80字"), (Strings{"字"}));
    EXPECT_EQ(HanTextParser::hanCharacters("漢\xCC\x81"), Strings{});
}

TEST(HanCharacters, InvalidUtf8NeverBreaksTheWalk) {
    std::string s = std::string("\xE6\xBC") + "漢\xFF\xED\xA0\x80字\xE5";
    EXPECT_EQ(HanTextParser::hanCharacters(s), (Strings{"漢", "字"}));
}

TEST(VietSyllables, SplitsLowerCasesAndSeparatesPunctuation) {
    EXPECT_EQ(HanTextParser::vietSyllables("Thương hàn luận"), (Strings{"thương", "hàn", "luận"}));
    EXPECT_EQ(HanTextParser::vietSyllables("xin-chào"), (Strings{"xin", "chào"}));
    EXPECT_EQ(HanTextParser::vietSyllables("  Hàn\n\t(thấp)!  "), (Strings{"hàn", "thấp"}));
    // Decomposed accents are composed first and so count as letters.
    EXPECT_EQ(HanTextParser::vietSyllables("ha\xCC\x80n"), (Strings{"hàn"}));
}

TEST(VietSyllables, RejectsNumbersLongWordsAndTooManyWords) {
    EXPECT_EQ(HanTextParser::vietSyllables("ngày 3"), std::nullopt);
    EXPECT_EQ(HanTextParser::vietSyllables("ngày ③"), std::nullopt);
    EXPECT_EQ(HanTextParser::vietSyllables("nghiêngs"), (Strings{"nghiêngs"}));  // 8 letters
    EXPECT_EQ(HanTextParser::vietSyllables("abcdefghi"), std::nullopt);          // 9 letters
    EXPECT_EQ(HanTextParser::vietSyllables(" ... !"), std::nullopt);
    EXPECT_EQ(HanTextParser::vietSyllables(""), std::nullopt);

    std::string sixty;
    for (int i = 0; i < 60; ++i) {
        sixty += "hàn ";
    }
    ASSERT_TRUE(HanTextParser::vietSyllables(sixty));
    EXPECT_EQ(HanTextParser::vietSyllables(sixty)->size(), 60u);
    EXPECT_EQ(HanTextParser::vietSyllables(sixty + "hàn"), std::nullopt);
}

TEST(LookupDecision, HanWinsThenSyllablesThenTheMessage) {
    auto mixed = LookupDecision::decide("bệnh 傷寒 nặng");
    EXPECT_EQ(mixed.kind, LookupDecision::Kind::Forward);
    EXPECT_EQ(mixed.chars, (Strings{"傷", "寒"}));

    auto viet = LookupDecision::decide("thương hàn");
    EXPECT_EQ(viet.kind, LookupDecision::Kind::Reverse);
    EXPECT_EQ(viet.syllables, (Strings{"thương", "hàn"}));

    EXPECT_EQ(LookupDecision::decide("ngày 3 tháng").kind, LookupDecision::Kind::NoHanMessage);
    EXPECT_EQ(LookupDecision::decide("").kind, LookupDecision::Kind::NoHanMessage);
}

TEST(LookupDecision, HugeSelectionsStayCorrect) {
    std::string big;
    big.reserve(10u << 20);
    while (big.size() < (10u << 20)) {
        big += "the quick brown fox ";
    }
    EXPECT_EQ(LookupDecision::decide(big).kind, LookupDecision::Kind::NoHanMessage);
    big += "脈";
    auto d = LookupDecision::decide(big);
    EXPECT_EQ(d.kind, LookupDecision::Kind::Forward);
    EXPECT_EQ(d.chars, (Strings{"脈"}));
}
