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
// Such a card's state is instead recomputed from every review it has, in
// time order, through the scheduler. The result depends only on the set of
// logs (ties in time are broken by log_id), so every device and the server
// reach the same state once they hold the same logs.

// True when the logs come from more than one origin: the part of log_id
// before its first ":". A log whose id is empty counts as `ownOrigin`.
bool hasSeveralOrigins(const std::vector<wire::SyncLog>& logs, const std::string& ownOrigin = "");

// Replays the logs (in any order) through the scheduler: each review's
// elapsed days are counted from the previous review's day, as grading does.
// Logs whose rating is not 1 to 4 are skipped. Absent when no log is usable.
std::optional<ReplayedSchedule> replayReviews(std::vector<wire::SyncLog> logs, const FSRS& fsrs);

// Puts the schedule into the card's scheduling fields; true when any of them
// changed.
bool applySchedule(wire::SyncCard& card, const ReplayedSchedule& s);

}  // namespace talvo
