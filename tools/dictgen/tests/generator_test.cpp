#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/db/database.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/lookup_service.h"
#include "tools/dictgen/generator.h"
#include "tools/dictgen/source_error.h"
#include "tools/dictgen/tests/fixture_files.h"

namespace talvo::dictgen {
namespace {

using test::TempDir;
using Strings = std::vector<std::string>;

// Small sources of every kind: 傷 and 寒 compete with 商 and 韓 for their
// readings, 隂 is an edition form of 陰, 強 has its entry under 强 only, and
// one Thiều Chửu line is broken.
GeneratorOptions writeSources(const TempDir& dir) {
    dir.write("unihan/Unihan_Readings.txt",
              "U+6578\tkVietnamese\tsố\n"
              "U+6578\tkDefinition\tnumber; several; count; fate\n"
              "U+5546\tkVietnamese\tthương\n"
              "U+5546\tkDefinition\tcommerce, business, trade\n"
              "U+97D3\tkVietnamese\thàn\n"
              "U+9670\tkVietnamese\tâm\n"
              "U+9682\tkDefinition\tshady, secret\n"
              "U+5F37\tkDefinition\tstrong, powerful, energetic\n");
    dir.write("unihan/Unihan_Variants.txt", "U+9682\tkSemanticVariant\tU+9670<kLau,kMatthews\n");
    dir.write("unihan/Unihan_DictionaryLikeData.txt",
              "U+9670\tkFrequency\t4\nU+5546\tkFrequency\t2\nU+97D3\tkFrequency\t2\n"
              "U+50B7\tkFrequency\t3\nU+5BD2\tkFrequency\t3\nU+6578\tkFrequency\t3\n"
              "U+5F37\tkFrequency\t2\n");
    GeneratorOptions o;
    o.useDefaults = false;
    o.unihanDir = dir.path() + "/unihan";
    o.m17nFile = dir.write("vi-han.mim",
                           "(map\n (map\n"
                           "  (\"sacs\" (\"數\"))\n"
                           "  (\"thwowng\" (\"商傷\"))\n"
                           "  (\"hanf\" (\"韓寒\"))\n"
                           "  (\"aam\" (\"陰\"))))\n");
    o.thieuChuuFile = dir.write("tc/thieuchuu.txt",
                                "數=sổ, số, sác, xúc [shu3]\\n\\t1. Đếm. \\n\\t2. Số mục.\n"
                                "陰=âm [yin1]\\n\\t1. Số âm, phần âm.\n"
                                "傷=thương [shang1]\\n\\t1. Vết đau.\n"
                                "寒=hàn [han2]\\n\\t1. Rét, khí hậu mùa đông.\n"
                                "broken line\n"
                                "强=cường\\n\\t1. Mạnh.\\n\\t2. Tục dùng như chữ 強\n");
    o.readingsCsvFile =
        dir.write("hv.csv", "char,hanviet,pinyin\n數,['sổ'],shu3\n寒,['hàn'],han2\n");
    dir.write("corpus/KR1/KR1_001.txt", "#+TITLE: 傷寒論\n傷寒(注)隂陽寒傷陰病寒¶\n");
    o.corpusDirs = {dir.path() + "/corpus"};
    o.out = dir.path() + "/out/dict.sqlite";
    return o;
}

std::string meta(const std::string& path, const std::string& key) {
    db::Database db(path, db::Database::Mode::ReadOnly);
    db::Statement st(db, "SELECT value FROM meta WHERE key = ?");
    st.bind(1, key);
    return st.step() ? st.text(0).value_or("") : "";
}

int64_t count(db::Database& db, const std::string& sql) {
    db::Statement st(db, sql);
    return st.step() ? st.int64(0) : -1;
}

std::string queryPlan(db::Database& db, const std::string& sql) {
    db::Statement st(db, "EXPLAIN QUERY PLAN " + sql);
    std::string plan;
    while (st.step()) {
        plan += st.text(3).value_or("") + "\n";
    }
    return plan;
}

TEST(Generator, BuildsADictionaryTheLookupEngineReads) {
    TempDir dir;
    GeneratorOptions o = writeSources(dir);
    GeneratorResult r = Generator::run(o, nullptr);

    DictionaryStore store(o.out);
    EXPECT_EQ(store.lookupChar("數"), (Strings{"sổ", "số", "sác", "xúc"}));
    EXPECT_EQ(store.charGloss("數"), "Đếm.");
    EXPECT_EQ(store.charMeaning("數"), "1. Đếm.\n2. Số mục.");
    EXPECT_EQ(store.lookupChar("隂"), store.lookupChar("陰"));
    EXPECT_EQ(store.corpusFreq("陰"), 2);  // 隂 folded in
    EXPECT_EQ(store.corpusFreq("隂"), 0);
    EXPECT_EQ(store.charGloss("強"), "Mạnh.");
    EXPECT_EQ(store.charMeaning("強"), "Xem chữ cường 强.\n1. Mạnh.\n2. Tục dùng như chữ 強");

    LookupService service(store, nullptr);
    ReverseLookup rev = service.reverse({"thương", "hàn"});
    ASSERT_EQ(rev.syllables.size(), 2u);
    ASSERT_FALSE(rev.syllables[0].candidates.empty());
    ASSERT_FALSE(rev.syllables[1].candidates.empty());
    EXPECT_EQ(rev.syllables[0].candidates.front().ch, "傷");
    EXPECT_EQ(rev.syllables[1].candidates.front().ch, "寒");

    // The stored figures agree with the tables.
    db::Database db(o.out, db::Database::Mode::ReadOnly);
    auto cov = nlohmann::json::parse(meta(o.out, "coverage"));
    EXPECT_EQ(cov["chars_with_readings"].get<int64_t>(),
              count(db, "SELECT count(DISTINCT char) FROM han_viet"));
    EXPECT_EQ(cov["reading_rows"].get<int64_t>(), count(db, "SELECT count(*) FROM han_viet"));
    EXPECT_EQ(cov["chars_with_vietnamese_gloss"].get<int64_t>() +
                  cov["chars_with_english_gloss_only"].get<int64_t>(),
              count(db, "SELECT count(*) FROM vantiel"));
    EXPECT_EQ(cov["chars_with_frequency"].get<int64_t>(),
              count(db, "SELECT count(*) FROM corpus_freq"));
    EXPECT_EQ(cov["chars_with_gloss_from_variant"].get<int64_t>(), 1);
    EXPECT_EQ(cov["corpus_tokens"].get<int64_t>(), 10);
    EXPECT_EQ(cov["corpus_commentary_tokens"].get<int64_t>(), 1);

    // The broken line is reported with its place, and the report is stored.
    EXPECT_EQ(r.problems, 1u);
    EXPECT_NE(r.report.find("thieuchuu.txt: 1 problem\n  line 5:"), std::string::npos) << r.report;
    std::string stored = meta(o.out, "report");
    EXPECT_NE(stored.find("\nthieuchuu.txt: 1 problem\n  line 5:"), std::string::npos) << stored;
    EXPECT_EQ(stored.find(dir.path()), std::string::npos) << stored;
    EXPECT_NE(stored.find("borrowed from a variant                 1 (0 as notes"),
              std::string::npos)
        << stored;
}

TEST(Generator, WritesTheTablesAndIndexesTheProgramExpects) {
    TempDir dir;
    GeneratorOptions o = writeSources(dir);
    Generator::run(o, nullptr);
    db::Database db(o.out, db::Database::Mode::ReadOnly);

    auto columns = [&](const std::string& table) {
        Strings out;
        db::Statement st(db, "SELECT name FROM pragma_table_info(?) ORDER BY cid");
        st.bind(1, table);
        while (st.step()) {
            out.push_back(st.text(0).value_or(""));
        }
        return out;
    };
    EXPECT_EQ(columns("han_viet"), (Strings{"char", "am"}));
    EXPECT_EQ(columns("vantiel"), (Strings{"char", "gloss", "full"}));
    EXPECT_EQ(columns("corpus_freq"), (Strings{"char", "n"}));
    EXPECT_EQ(columns("meta"), (Strings{"key", "value"}));
    EXPECT_EQ(count(db, "SELECT count(*) FROM vantiel GROUP BY char ORDER BY 1 DESC LIMIT 1"), 1);

    EXPECT_NE(
        queryPlan(db, "SELECT DISTINCT char FROM han_viet WHERE lower(am) = 'hàn' ORDER BY rowid")
            .find("han_viet_am"),
        std::string::npos);
    EXPECT_NE(queryPlan(db, "SELECT am FROM han_viet WHERE char = '數' ORDER BY rowid")
                  .find("han_viet_char"),
              std::string::npos);
    EXPECT_NE(
        queryPlan(db, "SELECT gloss FROM vantiel WHERE char = '數' LIMIT 1").find("vantiel_char"),
        std::string::npos);

    // Rollback journal: header bytes 18 and 19 are 1 (WAL would make them 2).
    std::string bytes = test::readAll(o.out);
    ASSERT_GT(bytes.size(), 20u);
    EXPECT_EQ(bytes[18], 1);
    EXPECT_EQ(bytes[19], 1);

    auto sources = nlohmann::json::parse(meta(o.out, "sources"));
    Strings ids;
    for (const auto& s : sources) {
        ids.push_back(s["id"].get<std::string>());
        EXPECT_FALSE(s["license"].get<std::string>().empty());
        EXPECT_FALSE(s["credit"].get<std::string>().empty());
    }
    EXPECT_EQ(ids, (Strings{"unihan", "m17n", "thieuchuu", "hanviet-pinyin", "kanripo-med"}));
}

void setMtimes(const std::string& root, time_t when) {
    timeval times[2] = {{when, 0}, {when, 0}};
    for (const auto& e : std::filesystem::recursive_directory_iterator(root)) {
        if (e.is_regular_file()) {
            utimes(e.path().c_str(), times);
        }
    }
}

TEST(Generator, SameInputsGiveTheSameBytes) {
    TempDir dir;
    GeneratorOptions o = writeSources(dir);
    setMtimes(dir.path(), 1000000000);  // 2001-09-09
    std::string first = o.out;
    Generator::run(o, nullptr);
    o.out = dir.path() + "/again/other-name.sqlite";  // the path must not leak into the file
    Generator::run(o, nullptr);
    EXPECT_EQ(test::readAll(first), test::readAll(o.out));
    EXPECT_EQ(meta(o.out, "build_date"), "2001-09-09");

    o.sourceDateEpoch = 86400 * 365;
    Generator::run(o, nullptr);
    EXPECT_EQ(meta(o.out, "build_date"), "1971-01-01");
    EXPECT_EQ(meta(o.out, "build_date_from"), "SOURCE_DATE_EPOCH");
    EXPECT_FALSE(std::filesystem::exists(o.out + ".tmp"));
}

TEST(Generator, RequiredSourcesFailByPackageOptionalOnesAreSkipped) {
    TempDir dir;
    GeneratorOptions o = writeSources(dir);
    auto message = [](const GeneratorOptions& opts) {
        try {
            Generator::run(opts, nullptr);
        } catch (const SourceError& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    GeneratorOptions noUnihan = o;
    noUnihan.unihanDir = dir.path() + "/nowhere";
    EXPECT_NE(message(noUnihan).find("unicode-data"), std::string::npos) << message(noUnihan);
    GeneratorOptions noM17n = o;
    noM17n.m17nFile = dir.path() + "/nowhere.mim";
    EXPECT_NE(message(noM17n).find("m17n-db"), std::string::npos) << message(noM17n);
    EXPECT_FALSE(std::filesystem::exists(o.out));

    GeneratorOptions noThieuChuu = o;
    noThieuChuu.thieuChuuFile = dir.path() + "/nowhere.txt";
    GeneratorResult r = Generator::run(noThieuChuu, nullptr);
    EXPECT_NE(r.report.find("nowhere.txt; skipped"), std::string::npos) << r.report;
    DictionaryStore store(o.out);
    EXPECT_FALSE(store.lookupChar("數").empty());
}

TEST(Generator, DepfileNamesEveryFileRead) {
    TempDir dir;
    GeneratorOptions o = writeSources(dir);
    o.depfile = dir.path() + "/out/dict.sqlite.d";
    Generator::run(o, nullptr);
    std::string dep = test::readAll(o.depfile);
    EXPECT_EQ(dep.rfind(o.out + ":", 0), 0u) << dep;
    for (const std::string& f :
         {*o.thieuChuuFile, *o.m17nFile, dir.path() + "/corpus/KR1/KR1_001.txt",
          dir.path() + "/unihan/Unihan_Variants.txt"}) {
        EXPECT_NE(dep.find(f), std::string::npos) << f;
    }
}

}  // namespace
}  // namespace talvo::dictgen
