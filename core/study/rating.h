#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace talvo {

// The learner's grade. The raw values are what review_log.rating stores, and
// the statistics count 3 and above as a success, so they must never move.
enum class Rating : int {
    Again = 1,  // forgotten: a lapse once the card has been reviewed before
    Hard = 2,
    Good = 3,
    Easy = 4,
};

inline constexpr std::array<Rating, 4> kAllRatings{Rating::Again, Rating::Hard, Rating::Good,
                                                   Rating::Easy};

inline constexpr int rawValue(Rating r) {
    return static_cast<int>(r);
}

// Absent for anything but 1 to 4.
inline constexpr std::optional<Rating> ratingFromRaw(int64_t raw) {
    if (raw < 1 || raw > 4) {
        return std::nullopt;
    }
    return static_cast<Rating>(raw);
}

inline constexpr bool isSuccess(Rating r) {
    return rawValue(r) >= 3;
}

}  // namespace talvo
