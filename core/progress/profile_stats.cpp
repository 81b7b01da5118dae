#include "core/progress/profile_stats.h"

#include <algorithm>

namespace talvo::profile {

int64_t dailyGoalFrom(const std::optional<int64_t>& stored) {
    return stored && *stored > 0 ? *stored : kDefaultDailyGoal;
}

int64_t freezeAllowance(int64_t bestStreak) {
    return std::clamp<int64_t>(bestStreak / 10, 0, 2);
}

double retention(int64_t laterReviews, int64_t laterGood) {
    if (laterReviews < 1) {
        return -1;
    }
    return static_cast<double>(laterGood) / static_cast<double>(laterReviews);
}

int heatmapLevel(int64_t reviews) {
    if (reviews < 1) {
        return 0;
    }
    if (reviews < 5) {
        return 1;
    }
    return reviews < 10 ? 2 : 3;
}

double heatmapOpacity(int level) {
    switch (level) {
        case 1:
            return 0.35;
        case 2:
            return 0.65;
        case 3:
            return 1.0;
        default:
            return 0;
    }
}

}  // namespace talvo::profile
