#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/study/review_state.h"

namespace talvo {

// One card as the study database hands it out. Text columns that are NULL read
// as empty; front, am and gloss are made valid UTF-8 (a damaged byte reads as
// U+FFFD), uid is kept byte for byte because it is the card's identity.
struct StudyCard {
    int64_t id = 0;  // local row id; identifies the card
    std::string uid;
    std::string front;
    std::string am;
    std::string gloss;
    ReviewState state;  // intervalDays is 0: the database keeps `due` instead
    int64_t due = 0;    // day number on which the card falls due

    bool isNew() const { return state.isNew(); }

    bool operator==(const StudyCard&) const = default;
};

// The figures of the study window's header and of the menu badge.
struct StudySummary {
    int64_t dueReviews = 0;    // due now, not capped at the session's 200
    int64_t newRemaining = 0;  // new cards that may still be introduced today
    int64_t learned = 0;       // cards reviewed at least once
    int64_t total = 0;         // all cards
    int64_t streak = 0;        // as stored: a missed day shows until the next grade
    int64_t bestStreak = 0;
    int64_t reviewedToday = 0;  // review-log rows of today

    bool operator==(const StudySummary&) const = default;
};

// One item of a server lesson, as addLessonCards takes it.
struct LessonItem {
    std::string uid;
    std::string front;
    std::optional<std::string> am;
    std::optional<std::string> gloss;
    std::optional<int64_t> ord;
};

}  // namespace talvo
