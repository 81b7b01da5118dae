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
void expectDayNumbersFollowLocalDates(const char* zone, int64_t from, int64_t to, int64_t shift) {
    setenv("TZ", zone, 1);
    tzset();
    for (int64_t t = from; t < to; t += 3600) {
        time_t tt = static_cast<time_t>(t);
        std::tm tm{};
        localtime_r(&tt, &tm);
        int64_t local = civilDays(tm.tm_year + 1900, static_cast<unsigned>(tm.tm_mon + 1),
                                  static_cast<unsigned>(tm.tm_mday));
        ASSERT_EQ(DayClock::day(t, zone) - local, shift) << zone << " at " << t;
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
