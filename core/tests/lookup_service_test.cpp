#include <gtest/gtest.h>

#include "core/lookup/dictionary_store.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
using namespace talvo::testing;
using Strings = std::vector<std::string>;

class LookupServiceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        writeFixtureDict(
            dir.file("dict.sqlite"),
            {
                {"數", {"số", "sổ", "sác", "xúc"}, "Số đếm.", "① Số đếm.\n② Mạch sác.", 300},
                {"屬", {"chúc", "thuộc"}, "Liền.", nullptr, 50},
                {"傷", {"thương"}, "Bị thương.", nullptr, 800},
                {"寒", {"hàn"}, "Lạnh.", nullptr, 700},
                {"字", {}, "Chữ.", nullptr, 10},
                // Same frequency: the medical character must outrank the earlier row.
                {"韓", {"hàn"}, "Nước Hàn.", nullptr, 20},
                {"汗", {"hãn", "hàn"}, "Mồ hôi.", nullptr, 20},
                // Unknown frequency and equal scores: dictionary order holds.
                {"邗", {"hàn"}, nullptr, nullptr, -1},
                {"邯", {"hàn"}, nullptr, nullptr, -1},
                {"差", {"sai", "sái"}, nullptr, nullptr, 5},
            });
        dict = std::make_unique<DictionaryStore>(dir.file("dict.sqlite"));
        overrides = std::make_unique<OverrideStore>(dir.file("data/overrides.sqlite"));
        service = std::make_unique<LookupService>(*dict, overrides.get());
    }
    TempDir dir;
    std::unique_ptr<DictionaryStore> dict;
    std::unique_ptr<OverrideStore> overrides;
    std::unique_ptr<LookupService> service;
};

TEST_F(LookupServiceTest, MedicalReadingMovesToTheFrontWithoutReorderingTheRest) {
    PhraseLookup r = service->analyze({"數"});
    ASSERT_EQ(r.chars.size(), 1u);
    EXPECT_EQ(r.chars[0].readings, (Strings{"sác", "số", "sổ", "xúc"}));
    EXPECT_EQ(r.chars[0].gloss, "Số đếm.");
    EXPECT_EQ(r.nghia, "① Số đếm.\n② Mạch sác.");
    EXPECT_EQ(r.matchedSubphrase, "數");
    EXPECT_EQ(r.amString(), "Sác");
    EXPECT_EQ(service->analyze({"屬"}).chars[0].readings, (Strings{"thuộc", "chúc"}));
    // The dictionary-only view keeps row order.
    EXPECT_EQ(dict->analyze({"數"}).chars[0].readings.front(), "số");
}

TEST_F(LookupServiceTest, OverridesReplaceReadingsIncludingTheMedicalPreference) {
    service->setReading("số", "數");
    PhraseLookup r = service->analyze({"數"});
    EXPECT_EQ(r.chars[0].readings, Strings{"số"});
    EXPECT_EQ(r.chars[0].gloss, "Số đếm.");  // gloss still from the dictionary

    service->setReading("sác,  số ,,", "數");
    EXPECT_EQ(service->analyze({"數"}).chars[0].readings, (Strings{"sác", "số"}));

    service->setReading(" , ,", "數");
    EXPECT_EQ(service->analyze({"數"}).chars[0].readings.size(), 4u);
}

TEST_F(LookupServiceTest, PhrasesJoinCharactersAndSkipMissingReadingsInAmString) {
    PhraseLookup r = service->analyze({"傷", "字", "寒"});
    EXPECT_EQ(r.phrase, "傷字寒");
    EXPECT_EQ(r.amString(), "Thương Hàn");
    EXPECT_EQ(r.nghia, std::nullopt);
    EXPECT_EQ(r.matchedSubphrase, std::nullopt);
    EXPECT_EQ(service->analyze({"傷", "傷"}).chars[1].readings, Strings{"thương"});

    PhraseLookup empty = service->analyze({});
    EXPECT_EQ(empty.phrase, "");
    EXPECT_TRUE(empty.chars.empty());
    EXPECT_EQ(empty.nghia, std::nullopt);
}

TEST_F(LookupServiceTest, ReverseRanksByFrequencyThenMedicalScoreThenRowOrder) {
    ReverseLookup r = service->reverse({"HÀN", "thương"});
    EXPECT_EQ(r.query, "HÀN thương");
    ASSERT_EQ(r.syllables.size(), 2u);
    EXPECT_EQ(r.syllables[0].am, "HÀN");
    Strings order;
    for (const CharReading& c : r.syllables[0].candidates) {
        order.push_back(c.ch);
    }
    EXPECT_EQ(order, (Strings{"寒", "汗", "韓", "邗", "邯"}));
    // Candidates carry every dictionary reading and their own gloss.
    EXPECT_EQ(r.syllables[0].candidates[1].readings, (Strings{"hãn", "hàn"}));
    EXPECT_EQ(r.syllables[0].candidates[1].gloss, "Mồ hôi.");
    EXPECT_FALSE(r.hasNoMatch());
}

TEST_F(LookupServiceTest, ReverseIgnoresOverridesAndReportsNoMatch) {
    service->setReading("hàn", "傷");
    ReverseLookup r = service->reverse({"thương"});
    ASSERT_EQ(r.syllables[0].candidates.size(), 1u);
    EXPECT_EQ(r.syllables[0].candidates[0].readings, Strings{"thương"});

    ReverseLookup none = service->reverse({"zzz", "qq"});
    EXPECT_TRUE(none.hasNoMatch());
    EXPECT_EQ(none.syllables.size(), 2u);
    ReverseLookup empty = service->reverse({});
    EXPECT_EQ(empty.query, "");
    EXPECT_TRUE(empty.hasNoMatch());
}

TEST_F(LookupServiceTest, WithoutAnOverrideStoreSavingDoesNothing) {
    LookupService plain(*dict, nullptr);
    plain.setReading("số", "數");
    EXPECT_EQ(plain.analyze({"數"}).chars[0].readings.front(), "sác");
    EXPECT_EQ(service->analyze({"數"}).chars[0].readings.front(), "sác");
}
