#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/cli/tests/cli_fixture.h"

using namespace talvo;
using namespace talvo::testing;
using nlohmann::json;

namespace {

class CliProgressTest : public CliFixture {
  protected:
    void SetUp() override { writeDictionary(fiveCharacters()); }

    // Runs on day 20000 at noon UTC unless the arguments pin another moment.
    int run(std::vector<std::string> args, const std::string& input = "") {
        args.insert(args.begin(), {"--today", "20000", "--now", "1728043200"});
        return CliFixture::run(args, input);
    }
};

}  // namespace

TEST_F(CliProgressTest, ProfileJsonUsesTheRecordsFieldNames) {
    ASSERT_EQ(run({"study", "grade", "char:傷", "good"}), 0) << err.str();
    ASSERT_EQ(run({"goal", "50"}), 0);
    ASSERT_EQ(run({"--json", "profile"}), 0) << err.str();
    EXPECT_EQ(json::parse(out.str()), json({{"xpTotal", 30},
                                            {"level", 1},
                                            {"xpIntoLevel", 30},
                                            {"xpLevelSpan", 100},
                                            {"rankHan", "童生"},
                                            {"rankName", "Đồng sinh"},
                                            {"streak", 1},
                                            {"bestStreak", 1},
                                            {"xpToday", 15},
                                            {"dailyGoal", 50},
                                            {"learned", 1},
                                            {"total", 5},
                                            {"mastered", 0},
                                            {"retention", -1.0},
                                            {"totalReviews", 1},
                                            {"freezeAvailable", 0},
                                            {"heatmap", {{"20000", 1}}},
                                            {"earnedBadges", json::array()},
                                            {"displayName", ""},
                                            {"avatarGlyph", "印"}}));
}

TEST_F(CliProgressTest, ProfileAndBadgesDrawTheHeatMapAndTheGrid) {
    ASSERT_EQ(run({"study", "grade", "char:傷", "good"}), 0);
    {
        db::Database d(dir.file("data/study.sqlite"), db::Database::Mode::ReadWriteCreate);
        d.exec(
            "INSERT INTO cfg VALUES ('best_streak', '7') "
            "ON CONFLICT(k) DO UPDATE SET v=excluded.v");
        for (int i = 0; i < 6; ++i) {
            d.exec(
                "INSERT INTO review_log (card_uid, ts, day, rating, elapsed) "
                "VALUES ('char:寒', 1728043200, 19999, 3, 2)");
        }
    }
    ASSERT_EQ(run({"profile"}), 0) << err.str();
    EXPECT_TRUE(printed("印  童生 Đồng sinh · cấp 2\n")) << out.str();  // 135 XP
    EXPECT_TRUE(printed("Lịch học · 90 ngày\n  -89 ngày  · · ·"));
    // Yesterday 6 reviews, today 1: the last two cells of the last line.
    EXPECT_TRUE(printed("· ▓ ░  ← hôm nay\n"));
    EXPECT_TRUE(printed("Huy hiệu · 3/13\n  ✓ 火3 Chuỗi 3 ngày      ✓ 火7 Chuỗi 7 ngày      · "));
    EXPECT_TRUE(printed("Huy hiệu mới:  火3 Chuỗi 3 ngày  火7 Chuỗi 7 ngày  全對 Ngày hoàn hảo"));
    EXPECT_TRUE(printed("nhớ (retention) 100%"));

    ASSERT_EQ(run({"badges"}), 0);
    EXPECT_TRUE(printed("✓ 火7    Chuỗi 7 ngày    Học 7 ngày liên tiếp\n"));
    EXPECT_TRUE(printed("· 夜讀   Đêm khuya       Học sau 22 giờ\n3/13 huy hiệu\n"));
    ASSERT_EQ(run({"--json", "badges"}), 0);
    json list = json::parse(out.str());
    ASSERT_EQ(list.size(), 13u);
    EXPECT_EQ(list[1], json({{"code", "streak7"},
                             {"han", "火7"},
                             {"name", "Chuỗi 7 ngày"},
                             {"detail", "Học 7 ngày liên tiếp"},
                             {"earned", true}}));
}

TEST_F(CliProgressTest, GoalIsShownAndSetWithinItsRange) {
    ASSERT_EQ(run({"goal"}), 0);
    EXPECT_TRUE(printed("Mục tiêu hôm nay: 20 XP\n"));
    ASSERT_EQ(run({"--json", "goal", "100"}), 0);
    EXPECT_EQ(json::parse(out.str()), json({{"dailyGoal", 100}}));
    EXPECT_EQ(scalar("SELECT v FROM cfg WHERE k='daily_goal'"), 100);
    for (std::vector<std::string> bad : {std::vector<std::string>{"goal", "abc"},
                                         {"goal", "0"},
                                         {"goal", "10001"},
                                         {"goal", "5", "6"},
                                         {"profile", "x"},
                                         {"quiz", "typeam"},
                                         {"quiz", "typeAm", "x"},
                                         {"--json", "quiz"}}) {
        EXPECT_EQ(run(bad), cli::kExitUsage) << bad[1];
    }
}

TEST_F(CliProgressTest, ATypedQuizReadsAnswersLineByLine) {
    for (const char* uid : {"char:數", "char:傷", "char:寒", "char:汗", "char:論"}) {
        ASSERT_EQ(run({"study", "grade", uid, "good"}), 0);
    }
    // Every reading of the deck typed without its marks: right whichever
    // card is asked when it is the card's reading; ten answers for five cards.
    std::string answers;
    for (int i = 0; i < 5; ++i) {
        answers += "  SO \n\n";
    }
    ASSERT_EQ(run({"quiz", "typeAm"}, answers + "\nq\n"), 0) << err.str();
    EXPECT_TRUE(printed("Câu hỏi tự sinh từ thẻ bạn đã học · +2 XP mỗi câu đúng\n"));
    EXPECT_TRUE(printed("Câu 1/5 · Gõ âm Hán-Việt"));
    EXPECT_TRUE(printed("  ✓ Đúng\n  數 — số, sổ, sác — Số đếm.\nCâu tiếp  (⏎)\n")) << out.str();
    EXPECT_TRUE(printed("✗ Bạn gõ “SO”"));
    EXPECT_TRUE(printed("Kết quả: đúng 1/5 · +2 XP\n"));
    EXPECT_TRUE(printed("Kiểm tra tiếp  (⏎) · q: thoát\n\nChọn chế độ kiểm tra\n"));
    EXPECT_EQ(scalar("SELECT COUNT(*) * 10 + SUM(correct) FROM quiz_log WHERE mode='typeAm'"), 51);

    // A multiple-choice quiz picked from the menu, stopped after one answer.
    ASSERT_EQ(run({"quiz"}, "2\n9\n1\n\nq\n"), 0);
    EXPECT_TRUE(
        printed("Chọn chế độ kiểm tra\n  1  Trắc nghiệm âm\n  2  Nhớ mặt chữ\n  3  Gõ âm\n"));
    EXPECT_TRUE(printed("Câu 1/5 · Chọn chữ đúng"));
    EXPECT_TRUE(printed("Gõ một số từ 1 đến 4 (q để thoát).\n"));
    EXPECT_TRUE(printed("Dừng: đúng ")) << out.str();
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM quiz_log WHERE mode='hanFromAm'"), 1);
}

TEST_F(CliProgressTest, ASmallDeckEndsTheQuizWithItsMessage) {
    {
        db::Database d(dir.file("dict.sqlite"), db::Database::Mode::ReadWriteCreate);
        d.exec("DELETE FROM han_viet WHERE char IN ('數', '傷')");
    }
    ASSERT_EQ(run({"quiz", "amFromHan"}), 0) << err.str();
    EXPECT_TRUE(printed("Chưa đủ thẻ để kiểm tra\nHọc thêm vài thẻ rồi quay lại nhé.\n"))
        << out.str();
}
