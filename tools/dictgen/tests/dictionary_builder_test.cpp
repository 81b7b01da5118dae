#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "dictionary_builder.h"
#include "gloss_text.h"
#include "han_chars.h"
#include "lookup/lookup_service.h"
#include "lookup/medical_sense.h"
#include "text/unicode.h"
#include "tone_style.h"

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
    // 陰 and 衞 have readings; 病 and 衛 none in these sources.
    EXPECT_EQ(d.stats.tokensWithReadings, 9);
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
