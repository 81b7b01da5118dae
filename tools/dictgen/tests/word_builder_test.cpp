#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/dictgen/cedict_reader.h"
#include "tools/dictgen/dictionary_builder.h"
#include "tools/dictgen/quoted_compounds.h"
#include "tools/dictgen/word_builder.h"

namespace talvo::dictgen {
namespace {

using Strings = std::vector<std::string>;

TEST(QuotedCompounds, TakesTheSyllablesBeforeAndTheExplanationAfter) {
    auto q = QuotedCompounds::parse(
        "Lại một âm là sác. Luôn luôn. Như mạch sác 脈數 mạch chạy mau, sác kiến 數見 thấy luôn.");
    ASSERT_EQ(q.size(), 2u);
    EXPECT_EQ(q[0], (QuotedCompound{U"脈數", "mạch sác", "mạch chạy mau"}));
    EXPECT_EQ(q[1], (QuotedCompound{U"數見", "sác kiến", "thấy luôn"}));

    // Capitalised at the start of a sentence; four characters; "v.v." explains nothing.
    q = QuotedCompounds::parse("Khả ố 可惡 đáng ghét. Như sổ điển vong tổ 數典忘祖 v.v.");
    ASSERT_EQ(q.size(), 2u);
    EXPECT_EQ(q[0], (QuotedCompound{U"可惡", "khả ố", "đáng ghét"}));
    EXPECT_EQ(q[1].reading, "sổ điển vong tổ");
    EXPECT_EQ(q[1].explanation, "");
}

TEST(QuotedCompounds, LeavesOutSentencesAndRunsWithoutTheirReading) {
    // No explanation after the quote, but one before "gọi là".
    auto q = QuotedCompounds::parse(
        "Sẽ để tay vào đã thấy mạch chạy gọi là mạch phù 脈浮. Như con thầy học mình gọi là "
        "thế huynh 世兄, Đầu ngọc hành cũng gọi là quy đầu 龜頭. Xem mạch phù 脈浮. Tục gọi là "
        "hoàng bá 黃柏.");
    ASSERT_EQ(q.size(), 5u);
    EXPECT_EQ(q[0], (QuotedCompound{U"脈浮", "mạch phù", "Sẽ để tay vào đã thấy mạch chạy"}));
    EXPECT_EQ(q[1].explanation, "con thầy học mình");
    EXPECT_EQ(q[2].explanation, "Đầu ngọc hành");
    EXPECT_EQ(q[3], (QuotedCompound{U"脈浮", "mạch phù", ""}));
    EXPECT_EQ(q[4].explanation, "");  // "Tục" (commonly) explains nothing
    // A quoted sentence, one with a clause word, one syllable short, one
    // character alone, a run after punctuation.
    EXPECT_TRUE(QuotedCompounds::parse("Như ô thị hà ngôn dã 惡是何言也 ồ, thế là lời nói gì vậy ?")
                    .empty());
    EXPECT_TRUE(QuotedCompounds::parse("tu ố chi tâm nhân 羞惡之心人 lòng").empty());
    EXPECT_TRUE(QuotedCompounds::parse("Rét. Hàn 寒來 rét").empty());
    EXPECT_TRUE(QuotedCompounds::parse("Như chữ hàn 寒 rét").empty());
    EXPECT_TRUE(QuotedCompounds::parse("Sách Luận ngữ: 學而 học").empty());
    EXPECT_TRUE(QuotedCompounds::looksLikeSentence(U"寒至此也"));
    EXPECT_TRUE(QuotedCompounds::looksLikeSentence(U"閶闔西南來"));
    EXPECT_FALSE(QuotedCompounds::looksLikeSentence(U"寒來暑往"));
}

TEST(CedictReader, ReadsTheModuleAndKeepsWordsOfSeveralHanCharacters) {
    IssueLog issues;
    CedictData d = CedictReader::parse(
        R"(export default {"all":[["少陽經","少阳经","shao4 yang2 jing1","lesser yang meridian",[],[]],)"
        R"(["張仲景","张仲景","Zhang1 Zhong4 jing3",["Zhang Zhongjing","physician"],[],[]],)"
        R"(["寒","寒","han2","cold",[],[]],["3C","3C","san1 C","electronics",[],[]],)"
        R"(["傷寒","伤寒","shang1 han2",[],[],[]],[1,2],)"
        R"(["乾薑","干姜","gan1 jiang1","dried ginger",[],[]]],"variantLookup":[]})",
        "all.js", issues);
    ASSERT_EQ(d.words.size(), 3u);
    EXPECT_EQ(d.entries, 7u);
    EXPECT_EQ(d.skipped, 3u);  // one character, not Hán, no definition
    EXPECT_EQ(issues.total(), 1u);
    EXPECT_EQ(d.words[0].pinyin, (Strings{"shao4", "yang2", "jing1"}));
    EXPECT_FALSE(d.words[0].properNoun);
    EXPECT_EQ(d.words[1].english, "Zhang Zhongjing; physician");
    EXPECT_TRUE(d.words[1].properNoun);
    EXPECT_EQ(d.words[2].simplified, U"干姜");

    IssueLog bad;
    EXPECT_TRUE(CedictReader::parse("export default [1,2", "all.js", bad).words.empty());
    EXPECT_EQ(bad.total(), 1u);
}

TEST(WordBuilder, NumbersMarkedPinyin) {
    EXPECT_EQ(numberedPinyin("qián"), "qian2");
    EXPECT_EQ(numberedPinyin("lǜ"), "lu:4");
    EXPECT_EQ(numberedPinyin("ma"), "ma5");
}

// A small world: a few characters with the readings table's pronunciations,
// CC-CEDICT words, one quoted compound and a corpus in which 少陽, 咽乾 and
// 惡寒 recur.
class WordBuilderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        auto tc = [&](char32_t c, Strings readings, std::vector<QuotedCompound> quotes = {}) {
            ThieuChuuEntry& e = thieuChuu.entries[c];
            e.readings = std::move(readings);
            e.senses = {"Nghĩa."};
            e.ownTexts = {"Nghĩa."};
            e.compounds = std::move(quotes);
            e.line = thieuChuu.entries.size();
        };
        tc(U'少', {"thiểu", "thiếu"});
        tc(U'陽', {"dương"});
        tc(U'經', {"kinh"});
        tc(U'乾', {"kiền", "can"});
        tc(U'薑', {"khương"});
        tc(U'咽', {"yết", "yến"});
        tc(U'惡', {"ác", "ố", "ô"});
        tc(U'寒', {"hàn"});
        tc(U'實', {"thật"});
        tc(U'在', {"tại"});
        tc(U'脈', {"mạch"}, {{U"脈數", "mạch sác", "mạch chạy mau"}, {U"脈浮", "mạch hàn", ""}});
        tc(U'數', {"sổ", "số", "sác"});
        tc(U'浮', {"phù"});
        tc(U'緊', {"khẩn"});
        tc(U'陰', {"âm"});
        tc(U'許', {"hứa"});
        tc(U'知', {"tri"});
        tc(U'道', {"đạo", "đáo"});
        auto row = [&](char32_t c, std::string pinyin, Strings readings) {
            csv.byPinyin[c].push_back({std::move(pinyin), readings});
            for (auto& r : readings) {
                csv.readings[c].push_back(r);
            }
        };
        row(U'少', "shao3", {"thiểu"});
        row(U'少', "shao4", {"thiếu"});
        row(U'陽', "*", {"dương"});
        row(U'乾', "qian2", {"càn", "kiền"});
        row(U'乾', "gan1", {"can"});
        row(U'咽', "yan1", {"yết"});
        row(U'咽', "yan4", {"yến"});
        row(U'惡', "e4", {"ác"});
        row(U'惡', "wu4", {"ố"});
        row(U'實', "shi2", {"thực"});
        row(U'道', "*", {"đạo"});
        row(U'道', "dao3", {"đáo"});
        m17n.readings[U'實'] = {"thực", "thật"};
        auto word = [&](std::u32string t, Strings pinyin, std::string english) {
            cedict.words.push_back({t, t, std::move(pinyin), std::move(english), false});
        };
        word(U"少陽經", {"shao4", "yang2", "jing1"}, "lesser yang meridian");
        word(U"乾薑", {"gan1", "jiang1"}, "dried ginger");
        word(U"實在", {"shi2", "zai4"}, "really");
        word(U"脈數", {"mai4", "shu4"}, "rapid pulse");
        word(U"知道", {"zhi1", "dao5"}, "to know");
        word(U"少許", {"shao3", "xu3"}, "a little");
        // A corpus where the three pairs recur among pairs that do not.
        const std::u32string filler = U"甲乙丙丁戊己庚辛壬癸子丑寅卯辰巳午未申酉";
        // Four texts, ten passages each; 脈緊 recurs as often, but in one text only.
        for (int i = 0; i < 40; ++i) {
            for (std::u32string run :
                 {std::u32string(U"少陽"), std::u32string(U"少陰"), std::u32string(U"咽乾"),
                  std::u32string(U"惡寒"), std::u32string(U"少許"), std::u32string(U"少許"),
                  std::u32string(U"乾薑"), std::u32string{filler[i % 20], filler[(i + 7) % 20]},
                  std::u32string{filler[(i + 3) % 20], filler[(i + 11) % 20]},
                  std::u32string{filler[(i + 5) % 20], filler[(i + 13) % 20]},
                  std::u32string{filler[(i + 9) % 20], filler[(i + 17) % 20]}}) {
                corpus.runs.push_back(run);
                corpus.runTexts.push_back("KR" + std::to_string(i / 10));
            }
            corpus.runs.push_back(U"脈緊");
            corpus.runTexts.push_back("KR9");
        }
        for (char32_t c : std::u32string(U"甲乙丙丁戊己庚辛壬癸子丑寅卯辰巳午未申酉")) {
            thieuChuu.entries[c].readings = {"giáp"};
        }
        corpus.counts[U'陽'] = 1;  // a corpus is present
    }

    Dictionary build() {
        BuildInputs in;
        in.thieuChuu = &thieuChuu;
        in.readingsCsv = &csv;
        in.m17n = &m17n;
        in.corpus = &corpus;
        in.cedict = &cedict;
        return DictionaryBuilder::build(in);
    }

    static const Dictionary::Word* find(const Dictionary& d, const std::string& text) {
        auto it = std::find_if(d.words.begin(), d.words.end(),
                               [&](const Dictionary::Word& w) { return w.text == text; });
        return it == d.words.end() ? nullptr : &*it;
    }

    ThieuChuuData thieuChuu;
    ReadingsCsvData csv;
    M17nData m17n;
    CedictData cedict;
    CorpusCounts corpus;
};

TEST_F(WordBuilderTest, WordsReadByTheirOwnPronunciation) {
    Dictionary d = build();
    // Quoted: Thiều Chửu's reading and explanation, every syllable its own;
    // a quote whose syllables are not the characters' readings is left out.
    const Dictionary::Word* shuo = find(d, "脈數");
    ASSERT_NE(shuo, nullptr);
    EXPECT_EQ(shuo->reading, "mạch sác");
    EXPECT_EQ(shuo->gloss, "mạch chạy mau");
    EXPECT_EQ(shuo->entry, "脈");
    EXPECT_EQ(shuo->english, "rapid pulse");
    EXPECT_EQ(shuo->fixedReadings, 3u);
    EXPECT_TRUE(shuo->thieuChuu && shuo->cedict);
    EXPECT_EQ(find(d, "脈浮"), nullptr);
    EXPECT_EQ(d.wordStats.thieuChuuRejected, 1u);

    // CC-CEDICT's pinyin picks the reading: 乾 gan1 → can, not kiền.
    const Dictionary::Word* ginger = find(d, "乾薑");
    ASSERT_NE(ginger, nullptr);
    EXPECT_EQ(ginger->reading, "can khương");
    EXPECT_EQ(ginger->fixedReadings, 1u);
    EXPECT_EQ(ginger->frequency, 40);
    // A neutral tone no row names takes the reading that holds for any pinyin.
    ASSERT_NE(find(d, "知道"), nullptr);
    EXPECT_EQ(find(d, "知道")->reading, "tri đạo");

    // Collocations: 少陽 reads by the word that holds it (少陽經, shao4);
    // 咽乾 by each character's usual pronunciation, 惡寒 by the medical one.
    const Dictionary::Word* shaoyang = find(d, "少陽");
    ASSERT_NE(shaoyang, nullptr);
    EXPECT_TRUE(shaoyang->collocation);
    EXPECT_EQ(shaoyang->reading, "thiếu dương");
    EXPECT_EQ(shaoyang->fixedReadings, 1u);
    EXPECT_EQ(shaoyang->gloss, "");
    // 少陰, which no word holds, reads 少 as the collocation 少陽 does, not
    // as the character's usual pronunciation (少許 shao3 outweighs it).
    ASSERT_NE(find(d, "少陰"), nullptr);
    EXPECT_EQ(find(d, "少陰")->reading, "thiếu âm");
    ASSERT_NE(find(d, "咽乾"), nullptr);
    EXPECT_EQ(find(d, "咽乾")->reading, "yết can");
    ASSERT_NE(find(d, "惡寒"), nullptr);
    EXPECT_EQ(find(d, "惡寒")->reading, "ố hàn");
    EXPECT_EQ(find(d, "惡寒")->fixedReadings, 0u);
    EXPECT_EQ(find(d, "甲辛"), nullptr);  // recurs, but no character of medicine
    EXPECT_EQ(find(d, "脈緊"), nullptr);  // one book's habit
}

TEST_F(WordBuilderTest, TheModernReadingGoesFirstWhereSourcesDisagree) {
    Dictionary d = build();
    // 實: the readings table's thực (confirmed by the input method) before
    // Thiều Chửu's thật; 乾: gan1 outweighs qian2 in the words; 少: the
    // frequent 少許 keeps shao3 first; 咽 keeps its order.
    EXPECT_EQ(d.entries[U'實'].readings, (Strings{"thực", "thật"}));
    EXPECT_EQ(d.entries[U'乾'].readings, (Strings{"can", "kiền", "càn"}));
    EXPECT_EQ(d.entries[U'少'].readings, (Strings{"thiểu", "thiếu"}));
    EXPECT_EQ(d.entries[U'咽'].readings, (Strings{"yết", "yến"}));
    EXPECT_EQ(d.wordStats.firstReadingChanged, 2u);
}

}  // namespace
}  // namespace talvo::dictgen
