#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace talvo {

// Day numbers: the local midnight that starts a day, in seconds since 1970 UTC,
// divided by 86400 and truncated toward zero. Every day, due, last_day and
// added_day value in the study database uses this rule, so it must not change
// even where it looks odd (in UTC+7 a local date gets the number of the UTC date
// before it). Consecutive local dates get consecutive numbers, also across
// daylight-saving changes and in zones where some midnights do not exist.
class DayClock {
  public:
    // zoneId is an IANA time-zone id ("Asia/Ho_Chi_Minh", "America/New_York")
    // or an offset id ("GMT+07:00"); empty means the system's zone, which is
    // the TZ variable as it is at the call (else the host's zone). A TZ that
    // ICU cannot read (a POSIX rule such as "<+07>-7", a file path) is
    // followed as the C library follows it, so day numbers agree with
    // localtime() and SQLite. An explicit id ICU does not know is read as
    // UTC. A moment outside ICU's calendar range (hundreds of thousands of
    // years away) falls back to the UTC date. Thread-safe.
    static int64_t day(int64_t unixSeconds, std::string_view zoneId);
};

// Where "now" and "today" come from, so tests and the command line can pin
// them. Copyable; the default reads the real clock in the system's zone.
struct Clock {
    // Whole seconds since 1970 UTC, truncated toward zero.
    std::function<int64_t()> secondsNow;
    // Time zone of the day numbers; empty means the system's zone.
    std::string zone;
    // When set, every "today" is this day whatever the moment.
    std::optional<int64_t> pinnedDay;

    int64_t now() const;
    int64_t today() const;

    static Clock system();
    // A clock stopped at `seconds` in `zone`.
    static Clock fixed(int64_t seconds, std::string zone = "UTC");
};

}  // namespace talvo
