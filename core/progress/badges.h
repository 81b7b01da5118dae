#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo {

// One achievement of the catalogue. The texts are Vietnamese only.
struct BadgeDef {
    std::string code;    // stable identifier, stored in the badge table
    std::string han;     // short title in Hán characters, shown large
    std::string name;    // Vietnamese title
    std::string detail;  // the condition, for a tooltip

    const std::string& id() const { return code; }
    bool operator==(const BadgeDef&) const = default;
};

// The badge catalogue. Which badges the learner holds lives in the study
// database (ProgressStore::earnedBadges, evaluateBadges).
namespace Badges {

inline constexpr std::array<int64_t, 5> kStreakDays{3, 7, 30, 100, 365};
inline constexpr std::array<int64_t, 3> kLearnedCounts{100, 500, 1000};
inline constexpr std::array<int64_t, 2> kMasteredCounts{50, 200};

inline constexpr const char* kPerfectDay = "perfectDay";
inline constexpr const char* kEarlyBird = "earlyBird";
inline constexpr const char* kNightOwl = "nightOwl";

std::string streakCode(int64_t days);
std::string learnedCode(int64_t count);
std::string masteredCode(int64_t count);

// The 13 badges in display order: streaks, learned, mastered, then the
// perfect day, early bird and night owl. Built once; thread-safe.
const std::vector<BadgeDef>& all();

// The row with this code; absent when there is none.
std::optional<BadgeDef> def(std::string_view code);

}  // namespace Badges

}  // namespace talvo
