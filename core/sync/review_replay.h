#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/study/fsrs.h"
#include "core/wire/sync_records.h"

namespace talvo {

// A card's scheduling as its whole review history makes it.
struct ReplayedSchedule {
    double stability = 0;
    double difficulty = 0;
    int64_t reps = 0;
    int64_t lapses = 0;
    std::string state;  // "review", or "relearning" after an `again`
    int64_t due = 0;
    int64_t lastDay = 0;
};

// When two devices review one card apart, each one's copy of the card knows
// only its own reviews; keeping the newer copy would drop the other's lapses.
// A card's state is instead recomputed from every review it has, in time
// order, through the scheduler. The result depends only on the set of logs
// (ties in time are broken by log_id), so every device and the server reach
// the same state once they hold the same logs. For a card reviewed on one
// device only, that is the state the device itself scheduled (grading does
// exactly this, one review at a time): the newer copy of such a card still
// wins, except a copy that carries none of its reviews (the same word added
// on another device later, or stamped by a clock that runs ahead).

// Replays the logs (in any order) through the scheduler: each review's
// elapsed days are counted from the previous review's day, as grading does.
// Logs whose rating is not 1 to 4 are skipped. Absent when no log is usable.
std::optional<ReplayedSchedule> replayReviews(std::vector<wire::SyncLog> logs, const FSRS& fsrs);

// Puts the schedule into the card's scheduling fields; true when any of them
// changed.
bool applySchedule(wire::SyncCard& card, const ReplayedSchedule& s);

}  // namespace talvo
