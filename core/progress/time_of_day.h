#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

// Narrowing a search for reviews made at certain local hours without asking
// the C library for the local time of every review.
//
// A review's local hour is its UTC time of day shifted by the zone's offset
// at that moment. Every offset that the process's zone (TZ) has used between
// 1971 and 2037 bounds that shift, so a review whose UTC second of the day
// lies outside the band computed here cannot fall in the wanted hours, in
// any year (SQLite's 'localtime' maps years outside that span onto an
// offset from inside it). The band is a pre-filter: callers still test each
// review inside it with the exact rule.
namespace talvo::timeofday {

struct OffsetRange {
    int64_t min = 0;  // seconds east of UTC
    int64_t max = 0;

    bool operator==(const OffsetRange&) const = default;
};

// The smallest and largest offset that localtime_r() gives anywhere from
// 1971 to 2037 in the process's current time zone. Computed once per value
// of TZ and kept; thread-safe.
OffsetRange zoneOffsets();

// Inclusive ranges of (ts mod 86400, taken toward minus infinity) that can
// hold a local time whose hour h satisfies fromHour <= h < toHour for some
// offset in `offsets`. One range, or two when the band wraps past midnight
// UTC; absent when the band covers the whole day (no narrowing possible).
// A second of margin on each side covers fractional time stamps.
std::optional<std::vector<std::pair<int64_t, int64_t>>> candidateSeconds(int fromHour, int toHour,
                                                                         OffsetRange offsets);

}  // namespace talvo::timeofday
