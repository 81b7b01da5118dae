#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/cli/cli_study.h"
#include "tools/cli/tests/cli_fixture.h"

using namespace talvo;
using namespace talvo::testing;
using nlohmann::json;

namespace {

class CliStudyTest : public CliFixture {
  protected:
    void SetUp() override {
        std::vector<FixtureEntry> entries = fiveCharacters("① Số đếm.\n② Mau.");
        entries.push_back({"之", {}, "Chưng.", nullptr, 5000});  // no reading: never a card
        writeDictionary(entries);
    }

    // `study ARGS...` on day 20000.
    int study(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(), {"--today", "20000", "study"});
        return run(args, input);
    }
};

}  // namespace

TEST_F(CliStudyTest, FirstUseSeedsTheDeckAndJsonUsesTheRecordFieldNames) {
    ASSERT_EQ(run({"--json", "--today", "20000", "study", "summary"}), 0) << err.str();
    EXPECT_EQ(json::parse(out.str()), json({{"dueReviews", 0},
                                            {"newRemaining", 5},
                                            {"learned", 0},
                                            {"total", 5},
                                            {"streak", 0},
                                            {"bestStreak", 0},
                                            {"reviewedToday", 0}}));
    EXPECT_EQ(scalar("SELECT count(*) FROM card WHERE added_day = 20000"), 5);

    ASSERT_EQ(run({"--json", "study", "queue"}), 0);
    json q = json::parse(out.str());
    ASSERT_EQ(q.size(), 5u);
    std::string fronts;
    for (const json& c : q) {
        fronts += c["front"].get<std::string>();
    }
    EXPECT_EQ(fronts, "傷寒數論汗");
    EXPECT_EQ(q[2]["uid"], "char:數");
    EXPECT_EQ(q[2]["am"], "số, sổ, sác");
    EXPECT_EQ(q[2]["gloss"], "Số đếm.");
    EXPECT_EQ(q[2]["isNew"], true);
    EXPECT_TRUE(q[2]["id"].is_number_integer());
    EXPECT_EQ(q[2]["state"], json({{"stability", 0.0},
                                   {"difficulty", 0.0},
                                   {"reps", 0},
                                   {"lapses", 0},
                                   {"intervalDays", 0}}));
}

TEST_F(CliStudyTest, GradesByUidFollowThePinnedDayAndClock) {
    ASSERT_EQ(run({"--today", "500", "--now", "1700000000", "--json", "study", "grade", "char:傷",
                   "good"}),
              0)
        << err.str();
    json card = json::parse(out.str());
    EXPECT_EQ(card["state"]["intervalDays"], 2);
    EXPECT_EQ(card["due"], 502);
    EXPECT_EQ(scalar("SELECT ts * 1000 + day FROM review_log"), 1700000000LL * 1000 + 500);

    ASSERT_EQ(run({"--today", "502", "study", "grade", "char:傷", "1"}), 0);
    EXPECT_EQ(scalar("SELECT elapsed * 10 + rating FROM review_log WHERE day = 502"), 21);
    ASSERT_EQ(run({"--today", "502", "study", "summary"}), 0);
    EXPECT_TRUE(printed("🔥 Chuỗi: 1")) << out.str();  // day 501 was missed

    EXPECT_EQ(study({"grade", "char:無", "good"}), cli::kExitFailure);
    for (std::vector<std::string> bad : {std::vector<std::string>{"grade", "char:傷", "5"},
                                         {"grade", "char:傷"},
                                         {"summary", "extra"},
                                         {"frobnicate"},
                                         {}}) {
        EXPECT_EQ(study(bad), cli::kExitUsage);
    }
    for (const char* day : {"12x", "99999999999", "", "+"}) {
        EXPECT_EQ(run({"--today", day, "study", "summary"}), cli::kExitUsage) << day;
    }
    EXPECT_EQ(run({"--now", "1e9", "study", "summary"}), cli::kExitUsage);
    EXPECT_EQ(run({"--json", "study", "review"}), cli::kExitUsage);
}

TEST_F(CliStudyTest, AddLookupFollowsThePopupsRule) {
    ASSERT_EQ(run({"--json", "study", "add-lookup", "xem", "傷寒論"}), 0) << err.str();
    EXPECT_EQ(json::parse(out.str()), json({{"added", true},
                                            {"uid", "phrase:傷寒論"},
                                            {"front", "傷寒論"},
                                            {"am", "Thương Hàn Luận"},
                                            {"gloss", "傷: Bị thương.; 寒: Lạnh."}}));
    ASSERT_EQ(study({"add-lookup", "傷寒論"}), 0);
    EXPECT_TRUE(printed("đã có"));

    // One character: the full entry is the gloss, the lookup is history, and
    // the seeded card of the same uid is kept.
    ASSERT_EQ(run({"--json", "study", "add-lookup", "數"}), 0);
    json j = json::parse(out.str());
    EXPECT_EQ(j["added"], false);
    EXPECT_EQ(j["uid"], "char:數");
    EXPECT_EQ(j["am"], "Sác");  // lookups put the medical reading first
    EXPECT_EQ(j["gloss"], "① Số đếm.\n② Mau.");
    EXPECT_EQ(scalar("SELECT n * 10 + added FROM lookup_history WHERE key = '數'"), 11);
    EXPECT_EQ(study({"add-lookup", "hello"}), cli::kExitFailure);
    EXPECT_EQ(study({"add-lookup", "之"}), cli::kExitFailure);  // no reading, no card
    EXPECT_EQ(scalar("SELECT count(*) FROM card"), 6);
}

TEST_F(CliStudyTest, ReviewThroughAPipeUsesTheWindowsKeysAndTexts) {
    // 1 picks the first choice and reveals, 1 then grades `again`; Space
    // reveals and grades `good`, and so does Return (an empty line).
    ASSERT_EQ(study({"review"}, "1\n1\n \n \n\n\n4\n\n3\n3\n"), 0) << err.str();
    std::string screen = out.str();
    size_t first = screen.find("    傷    (thẻ mới)\n\n  1  ");
    ASSERT_NE(first, std::string::npos) << screen;
    size_t start = first + std::string("    傷    (thẻ mới)\n\n  1  ").size();
    std::string picked = screen.substr(start, screen.find('\n', start) - start);
    EXPECT_TRUE(printed("  Không chắc — hiện đáp án  (Space)\n"));
    EXPECT_TRUE(printed(picked == "thương" ? "  ✓ Đúng\n"
                                           : "  ✗ Bạn chọn “" + picked + "” — đúng là “thương”\n"));
    EXPECT_TRUE(printed("  1 Quên   2 Khó   3 Được   4 Dễ\n"));
    EXPECT_TRUE(printed("學而時習之\n    Xong hôm nay!\n    Đã ôn 5 thẻ. Chuỗi 1 ngày 🔥\n"));
    EXPECT_EQ(scalar("SELECT group_concat(rating, '') FROM "
                     "(SELECT rating FROM review_log ORDER BY id)"),
              13333);

    ASSERT_EQ(study({"review"}, "1\n"), 0);
    EXPECT_TRUE(printed("Chưa có thẻ đến hạn. Quay lại sau nhé."));
}

TEST_F(CliStudyTest, ReviewStopsOnQuitOrTheEndOfInputAndIgnoresOtherKeys) {
    ASSERT_EQ(study({"review"}, "x\nspace\n2\nq\n1\n"), 0);
    EXPECT_TRUE(printed("Dừng: đã ôn 1 thẻ, còn 4 thẻ.")) << out.str();
    EXPECT_EQ(scalar("SELECT rating FROM review_log"), 2);
    ASSERT_EQ(study({"review"}, " "), 0);
    EXPECT_TRUE(printed("Dừng: đã ôn 0 thẻ, còn 4 thẻ."));
}

TEST_F(CliStudyTest, AStudyFileThatCannotBeOpenedIsReportedAndKept) {
    std::filesystem::create_directories(dir.path() / "data");
    const std::string junk = "not a database, but someone's notes\n" + std::string(600, '#');
    std::ofstream(dir.file("data/study.sqlite"), std::ios::binary) << junk;
    EXPECT_EQ(study({"summary"}), cli::kExitNoStudyDatabase);
    EXPECT_NE(err.str().find("Không mở được study.sqlite."), std::string::npos);
    EXPECT_NE(err.str().find("file is not a database"), std::string::npos) << err.str();
    std::ifstream in(dir.file("data/study.sqlite"), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), junk);

    vars.erase("TALVO_DATA_DIR");  // and no HOME or XDG_DATA_HOME either
    EXPECT_EQ(study({"summary"}), cli::kExitNoStudyDatabase);
}
