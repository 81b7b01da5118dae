#pragma once

#include <cstdint>

// The only experience-point amounts in the system. Nothing about XP is
// stored: totals are recomputed from the review and quiz logs.
namespace talvo::XP {

inline constexpr int64_t kReview = 10;      // every review-log row
inline constexpr int64_t kGoodBonus = 5;    // extra for a review rated good or easy
inline constexpr int64_t kLearned = 15;     // once per distinct card ever reviewed
inline constexpr int64_t kQuizCorrect = 2;  // every correct quiz answer
// Reserved for reaching the daily goal; no total adds it.
inline constexpr int64_t kGoalBonus = 50;

}  // namespace talvo::XP
