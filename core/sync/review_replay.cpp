#include "core/sync/review_replay.h"

#include <algorithm>
#include <limits>

namespace talvo {

std::optional<ReplayedSchedule> replayReviews(std::vector<wire::SyncLog> logs, const FSRS& fsrs) {
    std::sort(logs.begin(), logs.end(), [](const wire::SyncLog& a, const wire::SyncLog& b) {
        return a.ts != b.ts ? a.ts < b.ts : a.logId < b.logId;
    });
    std::optional<ReplayedSchedule> out;
    ReviewState state;
    int64_t lastDay = 0;
    for (const wire::SyncLog& l : logs) {
        std::optional<Rating> rating = ratingFromRaw(l.rating);
        if (!rating) {
            continue;
        }
        int64_t elapsed = 0;
        if (!state.isNew() && __builtin_sub_overflow(l.day, lastDay, &elapsed)) {
            elapsed = l.day < lastDay ? 0 : std::numeric_limits<int64_t>::max();
        }
        state = fsrs.schedule(state, *rating, std::max<int64_t>(elapsed, 0));
        lastDay = l.day;
        ReplayedSchedule s;
        s.stability = state.stability;
        s.difficulty = state.difficulty;
        s.reps = state.reps;
        s.lapses = state.lapses;
        s.state = *rating == Rating::Again ? "relearning" : "review";
        if (__builtin_add_overflow(l.day, state.intervalDays, &s.due)) {
            s.due = std::numeric_limits<int64_t>::max();
        }
        s.lastDay = l.day;
        out = std::move(s);
    }
    return out;
}

bool applySchedule(wire::SyncCard& card, const ReplayedSchedule& s) {
    bool same = card.stability == s.stability && card.difficulty == s.difficulty &&
                card.reps == s.reps && card.lapses == s.lapses && card.state == s.state &&
                card.due == s.due && card.lastDay == s.lastDay;
    card.stability = s.stability;
    card.difficulty = s.difficulty;
    card.reps = s.reps;
    card.lapses = s.lapses;
    card.state = s.state;
    card.due = s.due;
    card.lastDay = s.lastDay;
    return !same;
}

}  // namespace talvo
