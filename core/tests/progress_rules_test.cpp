#include <gtest/gtest.h>

#include <limits>

#include "core/progress/badges.h"
#include "core/progress/level_system.h"
#include "core/progress/profile_stats.h"
#include "core/progress/quiz_mode.h"
#include "core/progress/quiz_model.h"
#include "core/progress/time_of_day.h"

using namespace talvo;

namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

__extension__ typedef __int128 Wide;

// 50 L (L - 1) without overflow, to check the library against.
Wide exactStart(int64_t level) {
    return static_cast<Wide>(50) * level * (level - 1);
}

}  // namespace

TEST(LevelSystem, LevelsStartWhereTheStepsOf100LAddUp) {
    EXPECT_EQ(LevelSystem::xpToReach(1), 0);
    EXPECT_EQ(LevelSystem::xpToReach(0), 0);
    EXPECT_EQ(LevelSystem::xpToReach(-7), 0);
    EXPECT_EQ(LevelSystem::xpToReach(2), 100);
    EXPECT_EQ(LevelSystem::xpToReach(4), 600);
    EXPECT_EQ(LevelSystem::xpToReach(10), 4500);
    EXPECT_EQ(LevelSystem::xpToReach(60), 177000);

    const std::pair<int64_t, int64_t> cases[] = {{0, 1},     {-50, 1},     {99, 1},     {100, 2},
                                                 {299, 2},   {300, 3},     {599, 3},    {600, 4},
                                                 {4500, 10}, {177000, 60}, {176999, 59}};
    for (auto [xp, level] : cases) {
        EXPECT_EQ(LevelSystem::level(xp), level) << xp;
    }
    EXPECT_EQ(LevelSystem::level(std::numeric_limits<int64_t>::min()), 1);
}

TEST(LevelSystem, TheIntegerCorrectionHoldsWhereTheSquareRootRoundsWrong) {
    // Around every level boundary up to the largest level an int64 can hold,
    // the last XP before a level and the first XP of it.
    for (int64_t level : {int64_t{2}, int64_t{3}, int64_t{1000}, int64_t{94906267},
                          int64_t{134217728}, int64_t{429496729}, int64_t{429496730}}) {
        const Wide start = exactStart(level);
        if (start > kMax) {
            continue;
        }
        const int64_t s = static_cast<int64_t>(start);
        EXPECT_EQ(LevelSystem::level(s), level) << level;
        EXPECT_EQ(LevelSystem::level(s - 1), level - 1) << level;
    }
    // The largest total: the largest level whose start fits.
    int64_t top = LevelSystem::level(kMax);
    EXPECT_LE(exactStart(top), kMax);
    EXPECT_GT(exactStart(top + 1), kMax);
}

TEST(LevelSystem, ProgressWithinALevel) {
    EXPECT_EQ(LevelSystem::progress(0), (LevelSystem::Progress{0, 100, 0.0}));
    EXPECT_EQ(LevelSystem::progress(-20), (LevelSystem::Progress{0, 100, 0.0}));
    EXPECT_EQ(LevelSystem::progress(300), (LevelSystem::Progress{0, 300, 0.0}));
    EXPECT_EQ(LevelSystem::progress(450), (LevelSystem::Progress{150, 300, 0.5}));
    EXPECT_EQ(LevelSystem::progress(599).into, 299);
    for (int64_t xp = 0; xp < 5000; xp += 7) {
        LevelSystem::Progress p = LevelSystem::progress(xp);
        ASSERT_LT(p.into, p.span);
        ASSERT_LE(p.fraction, 1.0);
        ASSERT_EQ(p.span, 100 * LevelSystem::level(xp));
    }
}

TEST(LevelSystemDeathTest, OverflowStopsTheProgram) {
    EXPECT_DEATH(LevelSystem::xpToReach(kMax), "overflow");
    EXPECT_DEATH(LevelSystem::xpToReach(429496731), "overflow");
    // The top level's end does not fit: the bar cannot be drawn.
    EXPECT_DEATH(LevelSystem::progress(kMax), "overflow");
}

TEST(LevelSystem, RanksFollowTheExaminationGrades) {
    ASSERT_EQ(LevelSystem::ranks().size(), 12u);
    EXPECT_EQ(LevelSystem::ranks().front(), (LevelSystem::Rank{1, "童生", "Đồng sinh"}));
    EXPECT_EQ(LevelSystem::ranks().back(), (LevelSystem::Rank{60, "帝師", "Đế sư"}));
    for (size_t i = 1; i < LevelSystem::ranks().size(); ++i) {
        EXPECT_LT(LevelSystem::ranks()[i - 1].minLevel, LevelSystem::ranks()[i].minLevel);
    }
    const std::pair<int64_t, const char*> cases[] = {
        {-3, "Đồng sinh"},    {0, "Đồng sinh"},   {1, "Đồng sinh"}, {2, "Đồng sinh"},
        {3, "Tú tài"},        {17, "Cống sĩ"},    {18, "Tiến sĩ"},  {29, "Bảng nhãn"},
        {30, "Trạng nguyên"}, {59, "Đại học sĩ"}, {60, "Đế sư"},    {kMax, "Đế sư"}};
    for (auto [level, name] : cases) {
        EXPECT_EQ(LevelSystem::rank(level).name, name) << level;
    }
    EXPECT_EQ(LevelSystem::rank(50).han, "大學士");
}

TEST(Badges, TheCatalogueHoldsThirteenRowsInDisplayOrder) {
    const std::vector<BadgeDef>& all = Badges::all();
    std::vector<std::string> codes;
    for (const BadgeDef& b : all) {
        codes.push_back(b.code);
    }
    EXPECT_EQ(codes,
              (std::vector<std::string>{"streak3", "streak7", "streak30", "streak100", "streak365",
                                        "learned100", "learned500", "learned1000", "mastered50",
                                        "mastered200", "perfectDay", "earlyBird", "nightOwl"}));
    EXPECT_EQ(all[0], (BadgeDef{"streak3", "火3", "Chuỗi 3 ngày", "Học 3 ngày liên tiếp"}));
    EXPECT_EQ(all[6], (BadgeDef{"learned500", "五百", "500 chữ", "Học 500 chữ"}));
    EXPECT_EQ(all[7].han, "千字");
    EXPECT_EQ(all[8], (BadgeDef{"mastered50", "精50", "Thông 50", "50 chữ nhớ vững (>21 ngày)"}));
    EXPECT_EQ(all[12], (BadgeDef{"nightOwl", "夜讀", "Đêm khuya", "Học sau 22 giờ"}));
    EXPECT_EQ(all[11].id(), "earlyBird");

    EXPECT_EQ(Badges::def("streak365"), all[4]);
    EXPECT_EQ(Badges::def("perfectDay")->han, "全對");
    EXPECT_FALSE(Badges::def("streak4"));
    EXPECT_FALSE(Badges::def(""));
}

TEST(ProfileRules, GoalFreezesAndHeatMapCells) {
    EXPECT_EQ(profile::dailyGoalFrom(std::nullopt), 20);
    EXPECT_EQ(profile::dailyGoalFrom(50), 50);
    EXPECT_EQ(profile::dailyGoalFrom(0), 20);
    EXPECT_EQ(profile::dailyGoalFrom(-5), 20);

    const std::pair<int64_t, int64_t> freezes[] = {{9, 0},   {10, 1}, {19, 1}, {25, 2},
                                                   {300, 2}, {0, 0},  {-40, 0}};
    for (auto [best, n] : freezes) {
        EXPECT_EQ(profile::freezeAllowance(best), n) << best;
    }

    const std::pair<int64_t, int> cells[] = {{0, 0}, {-1, 0}, {1, 1},  {4, 1},
                                             {5, 2}, {9, 2},  {10, 3}, {5000, 3}};
    for (auto [reviews, level] : cells) {
        EXPECT_EQ(profile::heatmapLevel(reviews), level) << reviews;
    }
    EXPECT_EQ(profile::heatmapOpacity(1), 0.35);
    EXPECT_EQ(profile::heatmapOpacity(2), 0.65);
    EXPECT_EQ(profile::heatmapOpacity(3), 1.0);

    EXPECT_EQ(profile::retention(0, 0), -1);
    EXPECT_DOUBLE_EQ(profile::retention(3, 2), 2.0 / 3.0);
}

TEST(QuizRules, ModesRoundTripTheirRawValues) {
    for (QuizMode m : kAllQuizModes) {
        EXPECT_EQ(quizModeFromRaw(rawValue(m)), m);
    }
    EXPECT_FALSE(quizModeFromRaw("typeam"));
}

TEST(QuizRules, TypedReadingsIgnoreCaseTonesMarksAndSpacing) {
    EXPECT_EQ(quiz::readings(" hàn,hán , ,"), (std::vector<std::string>{"hàn", "hán"}));
    EXPECT_EQ(quiz::firstReading("số, sổ, sác"), "số");
    EXPECT_EQ(quiz::firstReading(""), "");

    EXPECT_TRUE(quiz::typedMatches("  HAN \t", "hàn"));
    EXPECT_TRUE(quiz::typedMatches("han", "hàn, hán"));
    EXPECT_TRUE(quiz::typedMatches("ma", "mã"));
    EXPECT_TRUE(quiz::typedMatches("Hán", "hàn"));
    EXPECT_TRUE(quiz::typedMatches("thuong", "thương"));
    EXPECT_TRUE(quiz::typedMatches("uu", "ưu"));
    // Learners without a Vietnamese keyboard type d for đ, and vice versa.
    EXPECT_TRUE(quiz::typedMatches("dao", "đạo"));
    EXPECT_TRUE(quiz::typedMatches("ĐẠO", "đạo"));
    EXPECT_TRUE(quiz::typedMatches("thuong   han", "thương hàn"));
    // Composed and decomposed input fold alike.
    EXPECT_TRUE(quiz::typedMatches("ha\xCC\x80n", "hàn"));

    EXPECT_FALSE(quiz::typedMatches("han", "hoan"));
    EXPECT_FALSE(quiz::typedMatches("thuonghan", "thương hàn"));
    EXPECT_FALSE(quiz::typedMatches("", "hàn"));
    EXPECT_FALSE(quiz::typedMatches("", ", ,"));
    EXPECT_FALSE(quiz::typedMatches("h\xFFn", "hàn"));  // invalid UTF-8 is just wrong
}

TEST(TimeOfDay, CandidateBandsCoverEveryOffsetInUse) {
    using timeofday::candidateSeconds;
    using Ranges = std::vector<std::pair<int64_t, int64_t>>;
    // UTC: before 07:00 is the first 7 hours, plus a second of margin each side.
    EXPECT_EQ(candidateSeconds(0, 7, {0, 0}), (Ranges{{86399, 86399}, {0, 25200}}));
    EXPECT_EQ(candidateSeconds(22, 24, {0, 0}), (Ranges{{79199, 86399}, {0, 0}}));
    // UTC+7 and +8 (Vietnam before and after 1975): local 00:00-07:00 is
    // 16:00-24:00 UTC at the widest.
    EXPECT_EQ(candidateSeconds(0, 7, {25200, 28800}), (Ranges{{57599, 86399}, {0, 0}}));
    EXPECT_EQ(candidateSeconds(22, 24, {-18000, -14400}), (Ranges{{7199, 18000}}));
    // A zone that moved across the date line leaves nothing to narrow.
    EXPECT_FALSE(candidateSeconds(0, 7, {-39600, 50400}));
}
