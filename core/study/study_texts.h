#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/l10n/localization.h"
#include "core/study/rating.h"
#include "core/study/study_card.h"

namespace talvo {

// The study window's texts. They are Vietnamese in every interface language,
// as the menu's study items are; only the rating labels are translated.
namespace studytext {
inline constexpr const char* kStreak = "🔥 Chuỗi";
inline constexpr const char* kReviewedToday = "Ôn hôm nay";
inline constexpr const char* kRemaining = "Còn lại";
inline constexpr const char* kLearned = "Đã học";
inline constexpr const char* kNewCard = "thẻ mới";
inline constexpr const char* kUnsureReveal = "Không chắc — hiện đáp án  (Space)";
inline constexpr const char* kReveal = "Hiện đáp án  (Space)";
inline constexpr const char* kRight = "✓ Đúng";
inline constexpr const char* kMotto = "學而時習之";
inline constexpr const char* kFinishedTitle = "Xong hôm nay!";
inline constexpr const char* kNothingDue = "Chưa có thẻ đến hạn. Quay lại sau nhé.";
inline constexpr const char* kStudyToday = "Học hôm nay";
}  // namespace studytext

// The label of a rating button.
const Tr& ratingLabel(Rating r);

// The status menu's study item: "Học hôm nay", or "Học hôm nay (N)" where N,
// due reviews plus new cards left today, is at least 1.
std::string studyBadgeTitle(const StudySummary& s);

// The line shown once a picked card is revealed: "✓ Đúng", or what was picked
// against the right reading. Absent when nothing was picked.
std::optional<std::string> verdictLine(const std::optional<std::string>& picked,
                                       std::string_view am);

// The text under "Xong hôm nay!": nothing-due, or how many cards this session
// graded and the streak.
std::string finishedText(int64_t doneThisSession, int64_t streak);

}  // namespace talvo
