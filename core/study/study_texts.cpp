#include "core/study/study_texts.h"

namespace talvo {

namespace {
constexpr Tr kAgain{"Quên", "忘記", "Again"};
constexpr Tr kHard{"Khó", "困難", "Hard"};
constexpr Tr kGood{"Được", "良好", "Good"};
constexpr Tr kEasy{"Dễ", "簡單", "Easy"};
}  // namespace

const Tr& ratingLabel(Rating r) {
    switch (r) {
        case Rating::Again:
            return kAgain;
        case Rating::Hard:
            return kHard;
        case Rating::Good:
            return kGood;
        case Rating::Easy:
            break;
    }
    return kEasy;
}

std::string studyBadgeTitle(const StudySummary& s) {
    // Saturate: damaged counts must not overflow into a negative badge.
    int64_t n = 0;
    if (__builtin_add_overflow(s.dueReviews, s.newRemaining, &n)) {
        n = s.dueReviews > 0 ? INT64_MAX : INT64_MIN;
    }
    if (n < 1) {
        return studytext::kStudyToday;
    }
    return std::string(studytext::kStudyToday) + " (" + std::to_string(n) + ")";
}

std::optional<std::string> verdictLine(const std::optional<std::string>& picked,
                                       std::string_view am) {
    if (!picked) {
        return std::nullopt;
    }
    if (*picked == am) {
        return std::string(studytext::kRight);
    }
    return "✗ Bạn chọn “" + *picked + "” — đúng là “" + std::string(am) + "”";
}

std::string finishedText(int64_t doneThisSession, int64_t streak) {
    if (doneThisSession < 1) {
        return studytext::kNothingDue;
    }
    return "Đã ôn " + std::to_string(doneThisSession) + " thẻ. Chuỗi " + std::to_string(streak) +
           " ngày 🔥";
}

}  // namespace talvo
