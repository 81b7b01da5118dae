#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/dictgen/telex.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

void expectNormalized(const Pairs& cases) {
    for (const auto& [in, want] : cases) {
        auto got = ToneStyle::normalizeReading(in);
        ASSERT_TRUE(got.has_value()) << in;
        EXPECT_EQ(*got, want) << in;
    }
}

TEST(ToneStyle, MovesTheNewerPlacementToTheOlderOne) {
    expectNormalized({{"hoà", "hòa"},
                      {"hoá", "hóa"},
                      {"hoạ", "họa"},
                      {"thuỷ", "thủy"},
                      {"tuỳ", "tùy"},
                      {"uý", "úy"},
                      {"khoẻ", "khỏe"},
                      {"loè", "lòe"}});
}

TEST(ToneStyle, LeavesWhatBothStylesAgreeOn) {
    expectNormalized({// the qu and gi onsets are not vowels of the nucleus
                      {"quý", "quý"},
                      {"qúy", "quý"},
                      {"quà", "quà"},
                      {"già", "già"},
                      {"giữ", "giữ"},
                      {"gìn", "gìn"},
                      // closed syllables put it on the last vowel
                      {"hoàng", "hoàng"},
                      {"hòang", "hoàng"},
                      {"toán", "toán"},
                      // vowels with their own mark take it
                      {"thương", "thương"},
                      {"người", "người"},
                      {"khuyết", "khuyết"},
                      {"cứu", "cứu"},
                      {"thuở", "thuở"},
                      // three vowels: the middle one
                      {"hoài", "hoài"},
                      {"khuỷu", "khuỷu"},
                      {"mía", "mía"},
                      {"múa", "múa"}});
}

TEST(ToneStyle, ComposesLowersAndKeepsSyllablesApart) {
    expectNormalized({{"HOÀ", "hòa"},
                      {"Thương", "thương"},
                      {"thu\u0309y", "thủy"},            // decomposed hook above
                      {"a\u0301\u0302", "ấ"},            // tone typed before the vowel mark
                      {"  Thiên  Ngoã ", "thiên ngõa"},  // several syllables, stray spaces
                      {"Đinh", "đinh"}});
}

TEST(ToneStyle, RejectsWhatIsNotAVietnameseSyllable) {
    for (const char* bad : {"", "   ", "abc1", "(13 n)", "nảm.", "陰", "xyz", "fa", "bla", "hóà",
                            "ngoaiu", "q", "ư\u0302", "tiệp-"}) {
        EXPECT_FALSE(ToneStyle::normalizeReading(bad).has_value()) << bad;
    }
}

TEST(ToneStyle, NormalizingIsIdempotent) {
    for (const char* s : {"hoà", "thuỷ", "quỳnh", "giường", "nghiêng", "khuỷu", "uyển", "oái"}) {
        auto once = ToneStyle::normalizeReading(s);
        ASSERT_TRUE(once) << s;
        EXPECT_EQ(ToneStyle::normalizeReading(*once), once) << s;
    }
}

TEST(Telex, DecodesTheInputMethodsKeys) {
    Pairs cases = {{"sacs", "sác"},        {"thwowng", "thương"}, {"ddawngf", "đằng"},
                   {"hoaf", "hòa"},        {"thuyr", "thủy"},     {"quyeenf", "quyền"},
                   {"chwowcs", "chước"},   {"gioocs", "giốc"},    {"aam", "âm"},
                   {"nguyeetj", "nguyệt"}, {"xws", "xứ"},         {"bwu", "bưu"},
                   {"ddowis", "đới"}};
    for (const auto& [key, want] : cases) {
        auto got = Telex::decode(key);
        ASSERT_TRUE(got.has_value()) << key;
        EXPECT_EQ(*got, want) << key;
    }
}

TEST(Telex, RejectsKeysThatSpellNoSyllable) {
    for (const char* key : {"z", "hihi", "x", "s", "", "Sacs", "sac1", "aaaa"}) {
        EXPECT_FALSE(Telex::decode(key).has_value()) << key;
    }
}

}  // namespace
}  // namespace talvo::dictgen
