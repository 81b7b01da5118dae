#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>

#include "core/study/day_clock.h"

using namespace talvo;
using namespace std::chrono;

namespace {

int64_t civilDays(int y, unsigned m, unsigned d) {
    return sys_days{year{y} / month{m} / day{d}}.time_since_epoch().count();
}

int64_t utc(int y, unsigned m, unsigned d, int hh, int mm = 0) {
    return civilDays(y, m, d) * 86400 + hh * 3600 + mm * 60;
}

// Walks a range hour by hour and checks the day number against the C
// library's local date (the system tz database, no code shared with ICU): the
// difference must stay constant, so one local date has one number and
// consecutive dates have consecutive numbers, whatever the clocks did.
// `zoneId` is what the day numbers are asked with; by default the zone itself.
void expectDayNumbersFollowLocalDates(const char* zone, int64_t from, int64_t to, int64_t shift,
                                      const char* zoneId = nullptr) {
    setenv("TZ", zone, 1);
    tzset();
    for (int64_t t = from; t < to; t += 3600) {
        time_t tt = static_cast<time_t>(t);
        std::tm tm{};
        localtime_r(&tt, &tm);
        int64_t local = civilDays(tm.tm_year + 1900, static_cast<unsigned>(tm.tm_mon + 1),
                                  static_cast<unsigned>(tm.tm_mday));
        ASSERT_EQ(DayClock::day(t, zoneId ? zoneId : zone) - local, shift) << zone << " at " << t;
    }
    unsetenv("TZ");
    tzset();
}

}  // namespace

TEST(DayClock, LocalMidnightDividedAndTruncatedGivesTheWorkedNumbers) {
    // UTC+7: local midnight of 10 March is 17:00 UTC on the 9th, so the date
    // takes the 9th's number from its first minute to its last.
    const int64_t ninth = civilDays(2024, 3, 9);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 9, 17), "Asia/Ho_Chi_Minh"), ninth);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 10, 16, 59), "Asia/Ho_Chi_Minh"), ninth);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 10, 17), "Asia/Ho_Chi_Minh"), ninth + 1);
    // UTC-5: midnight is 05:00 UTC of the same date, which keeps its number.
    EXPECT_EQ(DayClock::day(utc(2024, 3, 10, 5), "America/Bogota"), ninth + 1);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 10, 4, 59), "America/Bogota"), ninth);
    // New York springs forward on 10 March: 00:30 EST and 23:59 EDT share a day.
    EXPECT_EQ(DayClock::day(utc(2024, 3, 10, 5, 30), "America/New_York"), ninth + 1);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 11, 3, 59), "America/New_York"), ninth + 1);
    EXPECT_EQ(DayClock::day(utc(2024, 3, 11, 4), "America/New_York"), ninth + 2);
}

TEST(DayClock, EveryLocalDateGetsOneNumberAcrossDaylightSavingChanges) {
    expectDayNumbersFollowLocalDates("America/New_York", utc(2021, 1, 1, 0), utc(2022, 1, 1, 0), 0);
    // Chile moves its clocks at midnight: on the change day 00:00 does not
    // exist and the day starts at 01:00.
    expectDayNumbersFollowLocalDates("America/Santiago", utc(2019, 1, 1, 0), utc(2021, 12, 1, 0),
                                     0);
    expectDayNumbersFollowLocalDates("Asia/Ho_Chi_Minh", utc(2021, 1, 1, 0), utc(2021, 4, 1, 0),
                                     -1);
}

TEST(DayClock, UnknownZonesAndFarMomentsFallBackToUtcDates) {
    const int64_t t = utc(2024, 6, 1, 23);
    EXPECT_EQ(DayClock::day(t, "Not/AZone"), civilDays(2024, 6, 1));
    const int64_t far = int64_t{1} << 60;  // beyond the calendar: no crash, a plain UTC date
    EXPECT_EQ(DayClock::day(far, "America/New_York"), far / 86400);
    EXPECT_EQ(DayClock::day(-far, "America/New_York"), -far / 86400 - 1);
    Clock pinned = Clock::fixed(t, "Asia/Ho_Chi_Minh");
    EXPECT_EQ(pinned.today(), civilDays(2024, 6, 1));
    pinned.pinnedDay = 12345;
    EXPECT_EQ(pinned.today(), 12345);
}

TEST(DayClock, TheSystemZoneFollowsTzAsTheCLibraryReadsIt) {
    // A grade at 08:00 on 24 November 2026 in UTC+7 is 01:00 UTC: its local
    // date starts at 17:00 UTC on the 23rd, whose number it takes.
    const int64_t morning = utc(2026, 11, 24, 1);
    const int64_t twentyThird = civilDays(2026, 11, 23);
    struct Case {
        const char* tz;
        int64_t expected;
    } cases[] = {
        {"<+07>-7", twentyThird},            // POSIX rule ICU cannot parse
        {":Asia/Ho_Chi_Minh", twentyThird},  // POSIX allows a leading colon
        {"Asia/Ho_Chi_Minh", twentyThird},
        {"EST5EDT", twentyThird},  // 20:00 on the 23rd in New York
        {"UTC", civilDays(2026, 11, 24)},
    };
    for (const Case& c : cases) {
        setenv("TZ", c.tz, 1);
        tzset();
        EXPECT_EQ(DayClock::day(morning, ""), c.expected) << c.tz;
        EXPECT_EQ(Clock::fixed(morning, "").today(), c.expected) << c.tz;
    }
    unsetenv("TZ");
    tzset();

    // Whole years hour by hour, through the daylight-saving changes of a
    // POSIX rule: one number per local date, as with an IANA zone.
    expectDayNumbersFollowLocalDates("<+07>-7", utc(2026, 1, 1, 0), utc(2026, 4, 1, 0), -1, "");
    expectDayNumbersFollowLocalDates("CET-1CEST,M3.5.0,M10.5.0/3", utc(2026, 1, 1, 0),
                                     utc(2027, 1, 1, 0), -1, "");
    expectDayNumbersFollowLocalDates("EST5EDT", utc(2026, 1, 1, 0), utc(2027, 1, 1, 0), 0, "");
}
