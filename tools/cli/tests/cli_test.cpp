#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "core/text/unicode.h"
#include "tools/cli/tests/cli_fixture.h"

using namespace talvo;
using namespace talvo::testing;
using nlohmann::json;

namespace {

class CliTest : public CliFixture {
  protected:
    void SetUp() override { writeDictionary(fiveCharacters("① Số đếm.\n② Mau.")); }

    json jsonOut() { return json::parse(out.str()); }
};

TEST_F(CliTest, ForwardJsonCarriesTheWholeLookup) {
    ASSERT_EQ(run({"--json", "lookup", "xem", "數"}), 0);
    json j = jsonOut();
    EXPECT_EQ(j["kind"], "forward");
    EXPECT_EQ(j["phrase"], "數");
    EXPECT_EQ(j["chars"][0]["char"], "數");
    EXPECT_EQ(j["chars"][0]["readings"], json({"sác", "số", "sổ"}));
    EXPECT_EQ(j["chars"][0]["gloss"], "Số đếm.");
    EXPECT_EQ(j["nghia"], "① Số đếm.\n② Mau.");
    EXPECT_EQ(j["matchedSubphrase"], "數");
    EXPECT_EQ(j["amString"], "Sác");

    ASSERT_EQ(run({"--json", "lookup", "傷寒論"}), 0);
    j = jsonOut();
    EXPECT_EQ(j["amString"], "Thương Hàn Luận");
    EXPECT_TRUE(j["nghia"].is_null());
    EXPECT_TRUE(j["matchedSubphrase"].is_null());
    EXPECT_TRUE(j["chars"][2]["gloss"].is_null());
}

TEST_F(CliTest, WordsJoinTheJsonAndTheTextBesideTheOldFields) {
    writeFixtureDict(dir.file("words.sqlite"), fiveCharacters(),
                     {{"傷寒", "thương hàn", 0, "bệnh thương hàn", "cold damage", 1445}});
    vars["TALVO_DICT"] = dir.file("words.sqlite");
    ASSERT_EQ(run({"--json", "lookup", "傷寒論"}), 0);
    json j = jsonOut();
    // Every field there was keeps its value and place; words come last.
    std::set<std::string> keys;
    for (const auto& [k, v] : j.items()) {
        keys.insert(k);
    }
    EXPECT_EQ(keys, (std::set<std::string>{"kind", "phrase", "chars", "nghia", "matchedSubphrase",
                                           "amString", "words"}));
    EXPECT_EQ(out.str().rfind(R"({"kind":"forward","phrase":"傷寒論","chars":[{"char":"傷")", 0),
              0u);
    EXPECT_TRUE(printed(R"("amString":"Thương Hàn Luận","words":[{)"));
    EXPECT_EQ(j["amString"], "Thương Hàn Luận");
    EXPECT_EQ(j["words"][0], json({{"text", "傷寒"},
                                   {"start", 0},
                                   {"length", 2},
                                   {"reading", "thương hàn"},
                                   {"gloss", "bệnh thương hàn"},
                                   {"glossSource", "thieuchuu"},
                                   {"english", "cold damage"},
                                   {"freq", 1445}}));
    EXPECT_EQ(j["words"][1]["text"], "論");
    EXPECT_EQ(j["words"][1]["glossSource"], nullptr);

    ASSERT_EQ(run({"--json", "lookup", "thương hàn"}), 0);
    j = jsonOut();
    EXPECT_EQ(j["words"][0]["text"], "傷寒");
    EXPECT_EQ(j["syllables"].size(), 2u);
    EXPECT_EQ(j["syllables"][0]["candidates"][0]["char"], "傷");

    ASSERT_EQ(run({"lookup", "傷寒論"}), 0);
    EXPECT_TRUE(printed("傷寒 論  Thương hàn Luận\n"));
    EXPECT_TRUE(printed("傷寒  thương hàn  bệnh thương hàn\n"));
    ASSERT_EQ(run({"lookup", "thương hàn"}), 0);
    EXPECT_EQ(out.str().rfind("thương hàn\n  傷寒  thương hàn  bệnh thương hàn\n\nthương\n", 0),
              0u);
}

TEST_F(CliTest, SyllablesGoInReverseAndOtherTextGetsTheMessage) {
    ASSERT_EQ(run({"--json", "lookup", "Thương", "HÀN"}), 0);
    json j = jsonOut();
    EXPECT_EQ(j["kind"], "reverse");
    EXPECT_EQ(j["query"], "thương hàn");
    EXPECT_EQ(j["hasNoMatch"], false);
    EXPECT_EQ(j["syllables"][1]["candidates"][0]["char"], "寒");
    EXPECT_EQ(j["syllables"][1]["candidates"][1]["readings"], json({"hãn", "hàn"}));

    ASSERT_EQ(run({"--json", "--lang", "en", "lookup", "page 3"}), 0);
    EXPECT_EQ(jsonOut(),
              json({{"kind", "message"}, {"message", "No Hán characters in the selection."}}));

    savedLanguage = "zh";
    ASSERT_EQ(run({"reverse", "xyz"}), 0);
    EXPECT_EQ(out.str(), "找不到讀音為「xyz」的漢字。\n");
    ASSERT_EQ(run({"--json", "reverse", "xyz  qq"}), 0);
    EXPECT_EQ(jsonOut()["hasNoMatch"], true);
    EXPECT_EQ(jsonOut()["syllables"].size(), 2u);
}

TEST_F(CliTest, StandardInputAndInvalidUtf8AreAccepted) {
    ASSERT_EQ(run({"--json", "lookup", "-"}, "\xFF\xFE 傷\xED\xA0\x80寒\n"), 0);
    EXPECT_EQ(jsonOut()["phrase"], "傷寒");
}

TEST_F(CliTest, ReadingsSavedFromTheCommandLineOverrideAndCanBeRemoved) {
    ASSERT_EQ(run({"--json", "set-reading", "數", "số,  sổ ,,"}), 0);
    EXPECT_EQ(jsonOut()["chars"][0]["readings"], json({"số", "sổ"}));
    ASSERT_EQ(run({"--json", "lookup", "數"}), 0);
    EXPECT_EQ(jsonOut()["chars"][0]["readings"], json({"số", "sổ"}));
    ASSERT_EQ(run({"--json", "set-reading", "數", ""}), 0);
    EXPECT_EQ(jsonOut()["chars"][0]["readings"][0], "sác");
}

TEST_F(CliTest, UnwritableDataFolderWarnsButStillLooksUp) {
    std::ofstream(dir.file("file")) << "x";
    vars["TALVO_DATA_DIR"] = dir.file("file");  // a file where the folder should be
    ASSERT_EQ(run({"--json", "lookup", "數"}), 0);
    EXPECT_EQ(jsonOut()["chars"][0]["readings"][0], "sác");
    EXPECT_NE(err.str().find("warning"), std::string::npos);
    EXPECT_EQ(run({"set-reading", "數", "số"}), cli::kExitFailure);
}

TEST_F(CliTest, ExitCodesSeparateUsageFromAMissingDictionary) {
    EXPECT_EQ(run({"lookup"}), cli::kExitUsage);
    EXPECT_EQ(run({"--lang", "fr", "lookup", "數"}), cli::kExitUsage);
    EXPECT_EQ(run({"--frobnicate"}), cli::kExitUsage);
    EXPECT_EQ(run({"set-reading", "ab", "x"}), cli::kExitUsage);
    EXPECT_EQ(run({"set-reading", "數數", "x"}), cli::kExitUsage);
    EXPECT_EQ(run({"--help"}), 0);

    EXPECT_EQ(run({"--dict", dir.file("nope.sqlite"), "lookup", "數"}), cli::kExitNoDictionary);
    EXPECT_NE(err.str().find("Không mở được dict.sqlite."), std::string::npos);
    EXPECT_NE(err.str().find("unable to open database file"), std::string::npos);
    EXPECT_EQ(out.str(), "");
}

TEST_F(CliTest, TextLayoutAlignsGlossesAndShowsTheFullEntry) {
    ASSERT_EQ(run({"lookup", "數汗"}), 0);
    std::istringstream lines(out.str());
    std::string header, blank, first, second;
    std::getline(lines, header);
    std::getline(lines, blank);
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_EQ(header, "數汗  Sác Hãn");
    // Both glosses start in the same terminal column.
    EXPECT_EQ(text::displayWidth(first.substr(0, first.find("Số đếm."))),
              text::displayWidth(second.substr(0, second.find("Mồ hôi."))));

    ASSERT_EQ(run({"lookup", "數"}), 0);
    EXPECT_NE(out.str().find("② Mau."), std::string::npos);
}

}  // namespace
