#pragma once

#include <cstdint>

namespace talvo {

// A card's memory state. A value-initialized state, all fields zero, is the
// state of a card that has never been reviewed.
struct ReviewState {
    double stability = 0;      // days until recall probability falls to 90%
    double difficulty = 0;     // 1 (easy) to 10 (hard) once reviewed
    int64_t reps = 0;          // reviews so far; 0 means new
    int64_t lapses = 0;        // `again` grades after the first review
    int64_t intervalDays = 0;  // days until the next review, as last scheduled

    bool isNew() const { return reps == 0; }

    bool operator==(const ReviewState&) const = default;
};

}  // namespace talvo
