#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/lookup/lookup_service.h"
#include "core/lookup/medical_sense.h"
#include "core/text/unicode.h"
#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/dictionary_builder.h"
#include "tools/dictgen/gloss_text.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {
namespace {

using Strings = std::vector<std::string>;

ThieuChuuEntry entry(Strings readings, Strings senses) {
    ThieuChuuEntry e;
    e.readings = std::move(readings);
    e.ownTexts.push_back(senses.empty() ? std::string() : senses.front());
    e.senses = std::move(senses);
    return e;
}

ThieuChuuEntry note(Strings readings, char32_t target, std::string reading, std::string sense) {
    ThieuChuuEntry e;
    e.readings = std::move(readings);
    e.senses = {std::move(sense)};
    e.pointsTo = target;
    e.pointerReading = std::move(reading);
    return e;
}

const Dictionary::Entry& at(const Dictionary& d, char32_t c) {
    static const Dictionary::Entry kEmpty;
    auto it = d.entries.find(c);
    return it == d.entries.end() ? kEmpty : it->second;
}

TEST(DictionaryBuilder, OrdersReadingsByThieuChuuThenByAttestation) {
    ThieuChuuData tc;
    tc.entries[U'數'] = entry({"sổ", "số"}, {"Đếm."});
    ReadingsCsvData csv;
    csv.readings[U'數'] = {"sác"};
    csv.readings[U'甲'] = {"giáp"};
    M17nData m17n;
    m17n.readings[U'數'] = {"xúc", "sác", "số"};
    m17n.readings[U'甲'] = {"áp", "giáp"};
    UnihanData unihan;
    unihan.vietnamese[U'數'] = {"xúc"};
    unihan.vietnamese[U'甲'] = {"áp"};

    Dictionary d = DictionaryBuilder::build({&unihan, &m17n, &tc, &csv, nullptr});
    // Thiều Chửu's two first; then sác and xúc, two sources each, the
    // readings table's before Unihan's.
    EXPECT_EQ(at(d, U'數').readings, (Strings{"sổ", "số", "sác", "xúc"}));
    EXPECT_EQ(at(d, U'甲').readings, (Strings{"giáp", "áp"}));
}

TEST(DictionaryBuilder, KeepsKVietnameseOnlyWhenConfirmedOrAlone) {
    M17nData m17n;
    m17n.readings[U'東'] = {"đông"};
    UnihanData unihan;
    unihan.vietnamese[U'東'] = {"hốc", "đông"};  // hốc is Nôm
    unihan.vietnamese[U'㕵'] = {"uống"};         // the only reading there is
    unihan.vietnamese[U'彐'] = {"kí", "mự"};     // two, neither confirmed

    Dictionary d = DictionaryBuilder::build({&unihan, &m17n, nullptr, nullptr, nullptr});
    EXPECT_EQ(at(d, U'東').readings, Strings{"đông"});
    EXPECT_EQ(at(d, U'㕵').readings, Strings{"uống"});
    EXPECT_TRUE(at(d, U'彐').readings.empty());
    EXPECT_EQ(d.stats.nomReadingsDropped, 3u);
}

// 陰 is the standard form; 隂 an edition form, 阴 its simplified form.
struct VariantSources {
    ThieuChuuData tc;
    UnihanData unihan;
    M17nData m17n;
    VariantSources() {
        tc.entries[U'陰'] = entry({"âm"}, {"Số âm, phần âm.", "Bóng râm."});
        m17n.readings[U'陰'] = {"âm", "ấm"};
        unihan.frequency[U'陰'] = 4;
        unihan.variants[U'隂'].semantic = {{U'陰', 3}};
        unihan.variants[U'阴'].traditional = {U'陰'};
        unihan.definition[U'隂'] = "shady, secret";
    }
};

TEST(DictionaryBuilder, FormsWithoutAnEntryBorrowTheStandardForm) {
    VariantSources s;
    Dictionary d = DictionaryBuilder::build({&s.unihan, &s.m17n, &s.tc, nullptr, nullptr});

    for (char32_t form : {U'隂', U'阴'}) {
        SCOPED_TRACE(HanChars::utf8(form));
        const Dictionary::Entry& e = at(d, form);
        EXPECT_EQ(e.readings, at(d, U'陰').readings);
        EXPECT_EQ(e.glossSource, Dictionary::GlossSource::VariantNote);
        EXPECT_NE(e.gloss.find("陰"), std::string::npos) << e.gloss;
        // The note carries the standard form's meaning along.
        EXPECT_NE(e.full.find("Bóng râm."), std::string::npos) << e.full;
        // The lookup engine must read the note as a variant's (丁 is neither
        // medical nor a known simplified form, so only the gloss counts).
        EXPECT_EQ(MedicalSense::score("丁", e.gloss), MedicalSense::score("丁", std::nullopt) - 1);
    }
    EXPECT_EQ(at(d, U'隂').gloss, "Tục dùng như chữ âm 陰.");
    EXPECT_EQ(at(d, U'阴').gloss, "Giản thể của chữ âm 陰.");
}

TEST(DictionaryBuilder, ANotesReadingGoesFirstOnlyWhenNothingConfirmsTheHeading) {
    VariantSources s;
    s.tc.entries[U'隂'] = note({"ẩm"}, U'陰', "âm", "Tục dùng như chữ âm 陰.");
    Dictionary d = DictionaryBuilder::build({&s.unihan, &s.m17n, &s.tc, nullptr, nullptr});
    EXPECT_EQ(at(d, U'隂').readings, (Strings{"âm", "ẩm", "ấm"}));
    EXPECT_EQ(at(d, U'隂').gloss, "Tục dùng như chữ âm 陰.");

    s.m17n.readings[U'隂'] = {"ẩm"};
    d = DictionaryBuilder::build({&s.unihan, &s.m17n, &s.tc, nullptr, nullptr});
    EXPECT_EQ(at(d, U'隂').readings.front(), "ẩm");
}

// Unihan facts for a pair the English definition and Mandarin link alone.
void twins(UnihanData& u, char32_t a, char32_t b, int radical, const char* mandarin,
           const char* definition) {
    for (char32_t c : {a, b}) {
        u.radical[c] = radical;
        u.mandarin[c] = {mandarin};
        u.definition[c] = definition;
    }
}

int dock(const Dictionary::Entry& e) {
    return MedicalSense::score("丁", std::nullopt) - MedicalSense::score("丁", e.gloss);
}

TEST(DictionaryBuilder, ACommonFormShowsItsVariantsEntryAsItsOwn) {
    ThieuChuuData tc;
    tc.entries[U'强'] =
        entry({"cường"}, {"Mạnh.", "Con mọt thóc gạo.", "Tục dùng như chữ cường 強"});
    tc.entries[U'强'].namedForms = {U'強'};
    tc.entries[U'飮'] = entry({"ẩm", "ấm"}, {"Đồ uống.", "Uống."});
    UnihanData unihan;
    unihan.frequency[U'強'] = 2;
    unihan.frequency[U'飲'] = 4;
    unihan.nationalStandard = {U'強', U'飲'};
    twins(unihan, U'飲', U'飮', 184, "yǐn", "drink; swallow");
    unihan.vietnamese[U'飲'] = {"ẩm"};
    M17nData m17n;
    m17n.readings[U'強'] = {"cưỡng"};

    Dictionary d = DictionaryBuilder::build({&unihan, &m17n, &tc, nullptr, nullptr});
    const Dictionary::Entry& qiang = at(d, U'強');
    EXPECT_EQ(qiang.glossSource, Dictionary::GlossSource::Borrowed);
    EXPECT_EQ(qiang.gloss, "Mạnh.");
    EXPECT_EQ(qiang.full,
              "Xem chữ cường 强.\n1. Mạnh.\n2. Con mọt thóc gạo.\n3. Tục dùng như chữ cường 強");
    EXPECT_EQ(dock(qiang), 0) << qiang.gloss;
    EXPECT_EQ(qiang.readings, Strings{"cưỡng"});  // its own, not 强's

    EXPECT_EQ(at(d, U'飲').full.rfind("Xem chữ ẩm 飮.\n1. Đồ uống.", 0), 0u);

    // Without a reading of its own a character takes the variant's; a twin
    // is only trusted when a reading confirms it.
    m17n.readings.erase(U'強');
    unihan.vietnamese.erase(U'飲');
    d = DictionaryBuilder::build({&unihan, &m17n, &tc, nullptr, nullptr});
    EXPECT_EQ(at(d, U'強').readings, Strings{"cường"});
    EXPECT_EQ(at(d, U'飲').glossSource, Dictionary::GlossSource::English);
}

TEST(DictionaryBuilder, ARarerFormGetsANoteNamingTheStandardOne) {
    ThieuChuuData tc;
    tc.entries[U'錄'] = entry({"lục"}, {"Sao chép.", "Ghi chép."});
    tc.entries[U'產'] = entry({"sản"}, {"Sinh đẻ."});
    UnihanData unihan;
    unihan.frequency[U'錄'] = 2;
    unihan.variants[U'錄'].japanese = {U'録'};
    unihan.variants[U'録'].japanese = {U'錄'};
    // Unihan's frequency counts the Japanese 産 too; the print standards do not.
    unihan.frequency[U'産'] = 3;
    unihan.frequency[U'產'] = 3;
    unihan.nationalStandard = {U'錄', U'產'};
    twins(unihan, U'産', U'產', 100, "chǎn", "give birth");
    M17nData m17n;
    m17n.readings[U'産'] = {"sản"};
    CorpusCounts corpus;
    corpus.counts = {{U'録', 5}, {U'錄', 2}, {U'産', 7}};
    corpus.tokens = 14;

    Dictionary d = DictionaryBuilder::build({&unihan, &m17n, &tc, nullptr, &corpus});
    for (auto [form, standard] : {std::pair{U'録', "lục 錄"}, std::pair{U'産', "sản 產"}}) {
        SCOPED_TRACE(HanChars::utf8(form));
        const Dictionary::Entry& e = at(d, form);
        EXPECT_EQ(e.glossSource, Dictionary::GlossSource::VariantNote);
        EXPECT_EQ(e.gloss, std::string("Tục dùng như chữ ") + standard + ".");
        EXPECT_EQ(dock(e), 1);
    }
    EXPECT_EQ(at(d, U'録').full, "Tục dùng như chữ lục 錄.\n1. Sao chép.\n2. Ghi chép.");
    // A Japanese pair folds like any edition form; a twin is too loose a
    // link to move counts.
    EXPECT_EQ(at(d, U'錄').frequency, 7);
    EXPECT_EQ(at(d, U'産').frequency, 7);
}

TEST(DictionaryBuilder, TheVariantLentIsChosenTheSameWayWhateverTheInputOrder) {
    auto build = [](bool reversed, int64_t countA, int64_t countB) {
        ThieuChuuData tc;
        tc.entries[U'沈'] = entry({"trầm"}, {"Chìm."});
        tc.entries[U'湛'] = entry({"trạm"}, {"Sâu."});
        tc.entries[U'淫'] = entry({"dâm"}, {"Tràn."});
        UnihanData unihan;
        unihan.frequency[U'沉'] = 4;
        if (reversed) {  // one link stated from the other side
            unihan.variants[U'沉'].semantic = {{U'沈', 1}};
            unihan.variants[U'湛'].semantic = {{U'沉', 1}};
        } else {
            unihan.variants[U'沉'].semantic = {{U'湛', 1}, {U'沈', 1}};
        }
        // Less close than a semantic variant, however frequent.
        unihan.variants[U'沉'].specialized = {{U'淫', 1}};
        M17nData m17n;
        m17n.readings[U'沉'] = {"trầm", "trạm", "dâm"};
        CorpusCounts corpus;
        corpus.counts = {{U'沈', countA}, {U'湛', countB}, {U'淫', 100}};
        Dictionary d = DictionaryBuilder::build({&unihan, &m17n, &tc, nullptr, &corpus});
        return at(d, U'沉').gloss;
    };
    for (bool reversed : {false, true}) {
        SCOPED_TRACE(reversed);
        EXPECT_EQ(build(reversed, 5, 9), "Sâu.");  // the more frequent
        EXPECT_EQ(build(reversed, 9, 5), "Chìm.");
        EXPECT_EQ(build(reversed, 5, 5), "Chìm.");  // then the lower code point
    }
}

TEST(DictionaryBuilder, EveryMedicalPreferenceIsAmongTheReadings) {
    M17nData m17n;
    m17n.readings[U'差'] = {"sai", "soa"};
    Dictionary d = DictionaryBuilder::build({nullptr, &m17n, nullptr, nullptr, nullptr});
    EXPECT_EQ(at(d, U'差').readings.front(), "sai");
    for (const auto& [ch, reading] : LookupService::medicalReading()) {
        auto c = HanChars::single(ch);
        ASSERT_TRUE(c);
        EXPECT_NE(std::find(at(d, *c).readings.begin(), at(d, *c).readings.end(),
                            *ToneStyle::normalizeReading(reading)),
                  at(d, *c).readings.end())
            << ch;
    }
    EXPECT_EQ(d.stats.medicalReadingsAdded, LookupService::medicalReading().size());
}

TEST(DictionaryBuilder, FoldsEditionFormsButNotCharactersWithAMeaningOfTheirOwn) {
    VariantSources s;
    s.tc.entries[U'衞'] = entry({"vệ"}, {"Phòng giữ."});
    s.unihan.variants[U'衞'].semantic = {{U'衛', 2}};
    s.unihan.frequency[U'衛'] = 3;
    s.unihan.frequency[U'病'] = 3;
    CorpusCounts corpus;
    corpus.counts = {{U'隂', 3}, {U'陰', 2}, {U'病', 5}, {U'衞', 4}, {U'衛', 1}};
    corpus.tokens = 15;

    Dictionary d = DictionaryBuilder::build({&s.unihan, &s.m17n, &s.tc, nullptr, &corpus});
    EXPECT_EQ(at(d, U'陰').frequency, 5);
    EXPECT_EQ(at(d, U'隂').frequency, 0);
    EXPECT_EQ(at(d, U'衞').frequency, 4);
    EXPECT_EQ(at(d, U'衛').frequency, 1);
    EXPECT_EQ(d.stats.foldedTokens, 3);
    EXPECT_EQ(d.stats.foldedForms, 1u);
    EXPECT_EQ(d.stats.distinctCorpusChars, 4u);
    // 陰 and 衞 have readings, and 衛 borrows 衞's; 病 has none in these sources.
    EXPECT_EQ(d.stats.tokensWithReadings, 10);
}

TEST(DictionaryBuilder, WithoutVietnameseSourcesFallsBackToEnglishAndFrequencyBuckets) {
    UnihanData unihan;
    unihan.vietnamese[U'數'] = {"số"};
    unihan.definition[U'數'] = "number; several; count; fate";
    unihan.frequency[U'數'] = 2;
    unihan.frequency[U'之'] = 1;
    unihan.frequency[U'曷'] = 5;
    Dictionary d = DictionaryBuilder::build({&unihan, nullptr, nullptr, nullptr, nullptr});

    EXPECT_EQ(at(d, U'數').glossSource, Dictionary::GlossSource::English);
    EXPECT_EQ(at(d, U'數').full, "number; several; count; fate");
    EXPECT_FALSE(d.stats.corpusFrequencies);
    EXPECT_GT(at(d, U'之').frequency, at(d, U'數').frequency);
    EXPECT_GT(at(d, U'數').frequency, at(d, U'曷').frequency);
    EXPECT_GT(at(d, U'曷').frequency, 0);
}

TEST(GlossText, CutsTheFirstSenseAtASentenceOrClause) {
    EXPECT_EQ(GlossText::shortGloss("Số âm, trái lại với chữ dương 陽. Phàm sự vật gì."),
              "Số âm, trái lại với chữ dương 陽.");
    // "v.v." does not end the sentence.
    EXPECT_EQ(GlossText::shortGloss("Như vạn nhất 萬一, v.v. Còn nữa."),
              "Như vạn nhất 萬一, v.v. Còn nữa.");

    std::string clause(40, 'a');
    std::string longSense = clause + ", " + std::string(30, 'b') + " " + std::string(30, 'c') + ".";
    std::string cut = GlossText::shortGloss(longSense);
    EXPECT_EQ(cut, clause + "…");

    std::string english = "the passive, female principle; " + std::string(70, 'x');
    EXPECT_EQ(GlossText::shortGloss(english), "the passive, female principle…");

    std::string unbroken(120, 'y');
    EXPECT_LE(text::scalars(GlossText::shortGloss(unbroken)).size(), GlossText::kShortLimit);
}

TEST(GlossText, NumbersSensesOnePerLine) {
    EXPECT_EQ(GlossText::numbered({"Một.", "Cùng."}), "1. Một.\n2. Cùng.");
}

}  // namespace
}  // namespace talvo::dictgen
