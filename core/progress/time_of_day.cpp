#include "core/progress/time_of_day.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <string>

namespace talvo::timeofday {

namespace {

constexpr int64_t kDay = 86400;
constexpr std::time_t kFrom = 31536000;  // 1971-01-01T00:00:00Z
constexpr std::time_t kTo = 2145916800;  // 2038-01-01T00:00:00Z
// Offsets change twice a year at most, and never for less than a few weeks,
// so a probe every six hours sees every offset in use.
constexpr std::time_t kStep = 6 * 3600;

OffsetRange probe() {
    OffsetRange r{INT64_MAX, INT64_MIN};
    for (std::time_t t = kFrom; t < kTo; t += kStep) {
        std::tm tm{};
        if (!localtime_r(&t, &tm)) {
            continue;
        }
        r.min = std::min<int64_t>(r.min, tm.tm_gmtoff);
        r.max = std::max<int64_t>(r.max, tm.tm_gmtoff);
    }
    if (r.min > r.max) {
        return OffsetRange{};  // the C library could not place any moment: UTC
    }
    return r;
}

}  // namespace

OffsetRange zoneOffsets() {
    static std::mutex mutex;
    static std::map<std::string, OffsetRange> known;
    std::lock_guard<std::mutex> lock(mutex);
    // localtime_r() keeps using the zone of the last tzset(); bring that up
    // to date so that the probe and SQLite's 'localtime' see the same zone.
    // The key also names the zone tzset() found, since an unset TZ means the
    // system's zone file, which can change while the program runs.
    tzset();
    const char* tz = std::getenv("TZ");
    const std::string key = std::string(tz ? tz : "") + '\n' + (tz ? "set" : "unset") + '\n' +
                            tzname[0] + '\n' + tzname[1] + '\n' + std::to_string(timezone);
    auto it = known.find(key);
    if (it == known.end()) {
        it = known.emplace(key, probe()).first;
    }
    return it->second;
}

std::optional<std::vector<std::pair<int64_t, int64_t>>> candidateSeconds(int fromHour, int toHour,
                                                                         OffsetRange offsets) {
    // Local second s = (u + offset) mod day; s in [from, to) for some offset
    // in [min, max] means u in [from - max, to - min), here widened by 1 s.
    const int64_t from = int64_t{fromHour} * 3600;
    const int64_t to = int64_t{toHour} * 3600;
    const int64_t width = (to - from) + (offsets.max - offsets.min) + 2;
    if (width >= kDay) {
        return std::nullopt;
    }
    const int64_t start = (((from - offsets.max - 1) % kDay) + kDay) % kDay;
    const int64_t last = start + width - 1;
    std::vector<std::pair<int64_t, int64_t>> out;
    if (last < kDay) {
        out.emplace_back(start, last);
    } else {
        out.emplace_back(start, kDay - 1);
        out.emplace_back(0, last - kDay);
    }
    return out;
}

}  // namespace talvo::timeofday
