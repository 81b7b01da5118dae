#include <gtest/gtest.h>

#include "core/lookup/dictionary_store.h"
#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_decision.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
using namespace talvo::testing;
using Strings = std::vector<std::string>;

// The characters and words of a few lines of 傷寒論 and 素問, with the
// dictionary's corpus counts.
class WordLookupTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::vector<FixtureEntry> chars;
        for (auto [ch, am] : std::vector<std::pair<const char*, Strings>>{
                 {"太", {"thái"}},         {"陽", {"dương"}},  {"之", {"chi"}},
                 {"為", {"vi", "vị"}},     {"病", {"bệnh"}},   {"脈", {"mạch"}},
                 {"浮", {"phù"}},          {"頭", {"đầu"}},    {"項", {"hạng"}},
                 {"強", {"cường"}},        {"痛", {"thống"}},  {"而", {"nhi"}},
                 {"惡", {"ác", "ố", "ô"}}, {"寒", {"hàn"}},    {"少", {"thiểu", "thiếu"}},
                 {"口", {"khẩu"}},         {"苦", {"khổ"}},    {"咽", {"yết"}},
                 {"乾", {"can", "kiền"}},  {"目", {"mục"}},    {"眩", {"huyễn"}},
                 {"也", {"dã"}},           {"陰", {"âm"}},     {"隂", {"âm"}},
                 {"者", {"giả"}},          {"天", {"thiên"}},  {"地", {"địa"}},
                 {"道", {"đạo"}},          {"傷", {"thương"}}, {"論", {"luận"}},
                 {"欲", {"dục"}},          {"解", {"giải"}},   {"時", {"thời"}},
                 {"商", {"thương"}},       {"韓", {"hàn"}}}) {
            chars.push_back({ch, am, "Nghĩa.", nullptr, 100});
        }
        writeFixtureDict(
            dir.file("dict.sqlite"), chars,
            {
                {"太陽", "thái dương", 0, nullptr, "sun", 1657},
                {"病脈", "bệnh mạch", 0, nullptr, "abnormal pulse", 188},
                {"脈浮", "mạch phù", 3, "mạch nổi", nullptr, 583},
                {"惡寒", "ố hàn", 0, nullptr, nullptr, 482},
                {"少陽", "thiếu dương", 1, nullptr, nullptr, 1135},
                {"少陽病", "thiếu dương bệnh", 1, nullptr, "name of disease in TCM", 13},
                {"咽乾", "yết can", 0, nullptr, nullptr, 47},
                {"陰陽", "âm dương", 0, "khí âm khí dương", "yin and yang", 2000},
                {"天地", "thiên địa", 0, nullptr, "heaven and earth", 500},
                {"傷寒", "thương hàn", 0, nullptr, "cold damage", 1445},
                {"商韓", "thương hàn", 0, nullptr, "Shang Yang and Han Fei", 0},
                {"傷寒論", "thương hàn luận", 0, nullptr, "Treatise on Cold Damage", 30},
                {"寒論", "hàn luận", 0, nullptr, nullptr, 0},
            },
            {{"隂", "陰"}});
        dict = std::make_unique<DictionaryStore>(dir.file("dict.sqlite"));
        overrides = std::make_unique<OverrideStore>(dir.file("data/overrides.sqlite"));
        service = std::make_unique<LookupService>(*dict, overrides.get());
    }

    // The selection as the lookup flow hands it over, split into its words.
    Strings words(const std::string& selection) {
        LookupDecision d = LookupDecision::decide(selection);
        Strings out;
        for (const WordReading& w : service->analyze(d.chars, d.breaks).words) {
            out.push_back(w.text);
        }
        return out;
    }

    TempDir dir;
    std::unique_ptr<DictionaryStore> dict;
    std::unique_ptr<OverrideStore> overrides;
    std::unique_ptr<LookupService> service;
};

TEST_F(WordLookupTest, KnownLinesSplitAsAReaderSplitsThem) {
    // 傷寒論, the first line on 太陽病, as printed without punctuation: 病 脈浮
    // beats 病脈 浮 (same shape, 脈浮 the more frequent), 惡寒 is one word.
    EXPECT_EQ(words("太陽之為病脈浮頭項強痛而惡寒"),
              (Strings{"太陽", "之", "為", "病", "脈浮", "頭", "項", "強", "痛", "而", "惡寒"}));
    // 少陽病 begins a line; in the other, 少陽 and 病 are apart.
    EXPECT_EQ(words("少陽病欲解時"), (Strings{"少陽病", "欲", "解", "時"}));
    EXPECT_EQ(words("少陽之為病，口苦，咽乾，目眩也。"),
              (Strings{"少陽", "之", "為", "病", "口", "苦", "咽乾", "目", "眩", "也"}));
    // 素問 as the edition writes it: 隂 matches the word 陰陽 and stays 隂.
    EXPECT_EQ(words("隂陽者天地之道也"), (Strings{"隂陽", "者", "天地", "之", "道", "也"}));
    // The longest word wins over a shorter one plus a word.
    EXPECT_EQ(words("傷寒論"), (Strings{"傷寒論"}));
}

TEST_F(WordLookupTest, PunctuationAndLineBreaksKeepWordsApartSpacesDoNot) {
    EXPECT_EQ(words("傷\n寒"), (Strings{"傷", "寒"}));
    EXPECT_EQ(words("傷。寒"), (Strings{"傷", "寒"}));
    EXPECT_EQ(words("傷 寒"), (Strings{"傷寒"}));
    EXPECT_EQ(words("傷\t寒"), (Strings{"傷寒"}));
    // Only after the comma may a word start: 寒論, not 傷寒.
    EXPECT_EQ(words("傷，寒論"), (Strings{"傷", "寒論"}));
    EXPECT_EQ(words("病脈，浮"), (Strings{"病脈", "浮"}));
    EXPECT_EQ(HanTextParser::wordBreaks("a傷、寒x論\r\n論"), (std::vector<size_t>{1, 2, 3}));
}

TEST_F(WordLookupTest, WordsCarryTheirReadingPositionAndGlosses) {
    PhraseLookup p = service->analyze({"少", "陽", "病", "脈", "浮"});
    // The characters are what they always were; the words read by the word.
    EXPECT_EQ(p.amString(), "Thiểu Dương Bệnh Mạch Phù");
    EXPECT_EQ(p.wordAmString(), "Thiếu dương bệnh Mạch phù");
    EXPECT_FALSE(p.nghia);
    ASSERT_EQ(p.words.size(), 2u);
    const WordReading& disease = p.words[0];
    EXPECT_EQ(disease.start, 0u);
    EXPECT_EQ(disease.length, 3u);
    EXPECT_EQ(disease.english, "name of disease in TCM");
    EXPECT_FALSE(disease.gloss);
    EXPECT_EQ(disease.freq, 13);
    const WordReading& pulse = p.words[1];
    EXPECT_EQ(pulse.start, 3u);
    EXPECT_EQ(pulse.gloss, "mạch nổi");
    EXPECT_EQ(pulse.glossSource, WordReading::kGlossThieuChuu);
    EXPECT_FALSE(pulse.english);

    // A character no word covers is a word of its own, with its own gloss.
    p = service->analyze({"而", "惡", "寒"});
    ASSERT_EQ(p.words.size(), 2u);
    EXPECT_EQ(p.words[0].reading, "nhi");
    EXPECT_EQ(p.words[0].gloss, "Nghĩa.");
    EXPECT_EQ(p.words[0].glossSource, WordReading::kGlossChar);
    EXPECT_EQ(p.words[0].freq, 100);
    EXPECT_EQ(p.words[1].reading, "ố hàn");

    // One character: no words, nothing else changes.
    EXPECT_TRUE(service->analyze({"寒"}).words.empty());
}

TEST_F(WordLookupTest, ACorrectedReadingAppliesInsideWordsThatDoNotFixIt) {
    service->setReading("ô", "惡");
    service->setReading("thiểu", "少");
    PhraseLookup p = service->analyze({"惡", "寒", "少", "陽"});
    ASSERT_EQ(p.words.size(), 2u);
    EXPECT_EQ(p.words[0].reading, "ô hàn");        // 惡寒 leaves 惡 to the character
    EXPECT_EQ(p.words[1].reading, "thiếu dương");  // 少陽 reads 少 its own way
    EXPECT_EQ(p.chars[0].readings, Strings{"ô"});
}

TEST_F(WordLookupTest, StudyGlossComesFromTheWords) {
    EXPECT_EQ(service->analyze({"脈", "浮"}).studyGloss(), "mạch nổi");
    EXPECT_EQ(service->analyze({"傷", "寒"}).studyGloss(), "cold damage");
    EXPECT_EQ(service->analyze({"脈", "浮", "而", "惡", "寒"}).studyGloss(),
              "脈浮: mạch nổi; 而: Nghĩa.");
    EXPECT_EQ(service->analyze({"寒"}).studyGloss(), "Nghĩa.");
}

TEST_F(WordLookupTest, ReverseOfSeveralSyllablesListsWholeWordsFirst) {
    ReverseLookup r = service->reverse({"Thương", "hàn"});
    ASSERT_EQ(r.words.size(), 2u);
    EXPECT_EQ(r.words[0].text, "傷寒");  // the corpus uses it; 商韓 it does not
    EXPECT_EQ(r.words[0].length, 2u);
    EXPECT_EQ(r.words[1].text, "商韓");
    ASSERT_EQ(r.syllables.size(), 2u);  // the candidates per syllable as before
    EXPECT_EQ(r.syllables[1].candidates.size(), 2u);

    r = service->reverse({"thiếu", "dương", "bệnh"});
    ASSERT_EQ(r.words.size(), 1u);
    EXPECT_EQ(r.words[0].text, "少陽病");
    EXPECT_EQ(r.words[0].length, 3u);

    EXPECT_TRUE(service->reverse({"hàn"}).words.empty());
    EXPECT_TRUE(service->reverse({"hàn", "thương"}).words.empty());
}

TEST_F(WordLookupTest, ADictionaryWithoutWordsReadsCharacterByCharacter) {
    writeFixtureDict(dir.file("old.sqlite"), {{"傷", {"thương"}}, {"寒", {"hàn"}}});
    DictionaryStore old(dir.file("old.sqlite"));
    LookupService plain(old, nullptr);
    PhraseLookup p = plain.analyze({"傷", "寒"});
    ASSERT_EQ(p.words.size(), 2u);
    EXPECT_EQ(p.wordAmString(), "Thương Hàn");
    EXPECT_TRUE(plain.reverse({"thương", "hàn"}).words.empty());
}

TEST_F(WordLookupTest, AMalformedWordTableFallsBackToTheCharacters) {
    writeFixtureDict(dir.file("odd.sqlite"),
                     {{"傷", {"thương"}}, {"寒", {"hàn"}}, {"論", {"luận"}}},
                     {
                         {"傷寒", "thương", 0xFFFFFFFFu, nullptr, nullptr, 10},  // a syllable short
                         {"寒論", "", 0},                 // no reading at all
                         {"傷寒論傷寒論傷寒論", "x", 0},  // longer than any word
                     });
    DictionaryStore odd(dir.file("odd.sqlite"));
    LookupService s(odd, nullptr);
    PhraseLookup p = s.analyze({"傷", "寒", "論"});
    ASSERT_EQ(p.words.size(), 2u);
    EXPECT_EQ(p.words[0].text, "傷寒");
    EXPECT_EQ(p.words[0].reading, "thương hàn");
    EXPECT_EQ(p.words[1].reading, "luận");
    p = s.analyze({"寒", "論"});
    ASSERT_EQ(p.words.size(), 1u);
    EXPECT_EQ(p.words[0].reading, "hàn luận");
    EXPECT_EQ(odd.wordIndex().byText.count("傷寒論傷寒論傷寒論"), 0u);
}
