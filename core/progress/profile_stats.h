#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace talvo {

// The profile's figures, all recomputed from the study database on demand
// (ProgressStore::profileStats). Failing queries read as 0, empty or the
// documented defaults, so a record can always be built.
struct ProfileStats {
    int64_t xpTotal = 0;
    int64_t level = 1;
    int64_t xpIntoLevel = 0;
    int64_t xpLevelSpan = 100;
    std::string rankHan;
    std::string rankName;
    int64_t streak = 0;  // as stored: a missed day shows until the next grade
    int64_t bestStreak = 0;
    int64_t xpToday = 0;
    int64_t dailyGoal = 20;
    int64_t learned = 0;    // cards reviewed at least once
    int64_t total = 0;      // all cards
    int64_t mastered = 0;   // cards with stability above 21 days
    double retention = -1;  // share of later reviews rated good or easy; -1: none yet
    int64_t totalReviews = 0;
    int64_t freezeAvailable = 0;
    std::map<int64_t, int64_t> heatmap;  // day number -> reviews; days without any are absent
    std::set<std::string> earnedBadges;  // badge codes
    std::string displayName;
    std::string avatarGlyph;

    bool operator==(const ProfileStats&) const = default;
};

namespace profile {

inline constexpr int64_t kDefaultDailyGoal = 20;
inline constexpr int64_t kHeatmapSpan = 90;  // days, ending with today
inline constexpr const char* kDefaultAvatar = "印";

// Daily goals offered to the learner (XP a day), with their labels.
struct GoalChoice {
    int64_t xp;
    const char* label;
};
inline constexpr std::array<GoalChoice, 5> kGoalChoices{{
    {5, "Thong thả"},
    {10, "Nhẹ nhàng"},
    {20, "Vừa phải"},
    {50, "Chăm chỉ"},
    {100, "Miệt mài"},
}};

// The stored goal text as a goal: the default when it is missing, not a
// decimal integer, or not positive (a goal of 0 XP or less means nothing).
int64_t dailyGoalFrom(const std::optional<int64_t>& stored);

// One streak freeze per 10 days of best streak, at most 2; never negative.
int64_t freezeAllowance(int64_t bestStreak);

// good / later reviews; -1 when there are no later reviews.
double retention(int64_t laterReviews, int64_t laterGood);

// Intensity of one heat-map cell: 0 for no reviews, 1 for 1-4, 2 for 5-9,
// 3 for 10 or more.
int heatmapLevel(int64_t reviews);
// The opacity of the accent colour at each level; level 0 uses the neutral
// line colour instead (opacity 0 here).
double heatmapOpacity(int level);

}  // namespace profile

// The profile and quiz windows' texts; Vietnamese in every interface language.
namespace progresstext {
inline constexpr const char* kHeatmapTitle = "Lịch học · 90 ngày";
inline constexpr const char* kGoalTitle = "Mục tiêu hôm nay";
inline constexpr const char* kBestStreak = "chuỗi dài nhất";
inline constexpr const char* kTotalReviews = "tổng lượt ôn";
inline constexpr const char* kLearned = "chữ đã học";
inline constexpr const char* kRetention = "nhớ (retention)";
inline constexpr const char* kContinueStudy = "▸ Tiếp tục học";
}  // namespace progresstext

}  // namespace talvo
