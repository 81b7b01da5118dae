#include "core/study/day_clock.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/ucal.h>
#include <unicode/unistr.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>

namespace talvo {

namespace {

int64_t utcDay(int64_t unixSeconds) {
    int64_t d = unixSeconds / 86400;
    return (unixSeconds % 86400 < 0) ? d - 1 : d;
}

// Building an ICU calendar costs far more than using one, and a process asks
// about one zone nearly always; keep the last one per thread.
struct ZoneCalendar {
    std::string zoneId;
    std::unique_ptr<icu::GregorianCalendar> calendar;
    bool known = false;  // false: ICU did not recognise the id and reads it as UTC
};

ZoneCalendar* calendarFor(std::string_view zoneId) {
    thread_local ZoneCalendar cached;
    if (cached.calendar && cached.zoneId == zoneId) {
        return &cached;
    }
    icu::TimeZone* tz =
        zoneId.empty() ? icu::TimeZone::createDefault()
                       : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(
                             icu::StringPiece(zoneId.data(), static_cast<int32_t>(zoneId.size()))));
    if (!tz) {
        return nullptr;
    }
    icu::UnicodeString id;
    const bool known = tz->getID(id) != icu::UnicodeString(UCAL_UNKNOWN_ZONE_ID, -1, US_INV);
    UErrorCode status = U_ZERO_ERROR;
    auto cal = std::make_unique<icu::GregorianCalendar>(tz, status);  // adopts tz
    if (U_FAILURE(status)) {
        return nullptr;
    }
    // Local midnight is the first instant of the date: when midnight happens
    // twice take the first, when it is skipped take the first valid time.
    cal->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
    cal->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
    cached.zoneId = std::string(zoneId);
    cached.calendar = std::move(cal);
    cached.known = known;
    return &cached;
}

// The system's zone as the C library sees it: the TZ variable (without the
// leading ":" that POSIX allows), or empty for the host's own zone.
std::string systemZoneVariable() {
    const char* tz = std::getenv("TZ");
    if (!tz || !*tz) {
        return {};
    }
    return tz[0] == ':' ? std::string(tz + 1) : std::string(tz);
}

// The day number by the C library's zone, for TZ values ICU cannot read
// (POSIX rules such as "<+07>-7"). SQLite's 'localtime' and the badge hours
// use the same zone, so every date of the program agrees. mktime moves a
// skipped midnight forward to the first valid time, as the ICU road does.
std::optional<int64_t> cLibraryDay(int64_t unixSeconds) {
    const auto t = static_cast<time_t>(unixSeconds);
    std::tm local{};
    if (!localtime_r(&t, &local)) {
        return std::nullopt;
    }
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    const time_t midnight = std::mktime(&local);
    if (midnight == static_cast<time_t>(-1)) {
        return std::nullopt;
    }
    return static_cast<int64_t>(midnight) / 86400;  // truncated toward zero, as below
}

}  // namespace

int64_t DayClock::day(int64_t unixSeconds, std::string_view zoneId) {
    // A lenient ICU calendar pins moments beyond its range (about 5.8 million
    // years) to its last date instead of failing; stay well inside it.
    constexpr int64_t kCalendarRange = 100'000'000'000'000;  // about 3 million years
    if (unixSeconds > kCalendarRange || unixSeconds < -kCalendarRange) {
        return utcDay(unixSeconds);
    }
    // The system's zone is read from TZ on every call, so that the process
    // and the C library never disagree about it (ICU would read it once).
    const std::string systemZone = zoneId.empty() ? systemZoneVariable() : std::string();
    ZoneCalendar* zone = calendarFor(zoneId.empty() ? systemZone : zoneId);
    if (!zone) {
        return utcDay(unixSeconds);
    }
    if (!zone->known && !systemZone.empty()) {
        return cLibraryDay(unixSeconds).value_or(utcDay(unixSeconds));
    }
    icu::GregorianCalendar* cal = zone->calendar.get();
    UErrorCode status = U_ZERO_ERROR;
    cal->setTime(static_cast<UDate>(unixSeconds) * 1000.0, status);
    int32_t year = cal->get(UCAL_EXTENDED_YEAR, status);
    int32_t month = cal->get(UCAL_MONTH, status);
    int32_t date = cal->get(UCAL_DATE, status);
    cal->clear();
    cal->set(UCAL_EXTENDED_YEAR, year);
    cal->set(UCAL_MONTH, month);
    cal->set(UCAL_DATE, date);
    UDate midnightMs = cal->getTime(status);
    if (U_FAILURE(status)) {
        return utcDay(unixSeconds);
    }
    double quotient = (midnightMs / 1000.0) / 86400.0;
    if (!std::isfinite(quotient) || std::fabs(quotient) > 9.0e15) {
        return utcDay(unixSeconds);
    }
    return static_cast<int64_t>(std::trunc(quotient));
}

int64_t Clock::now() const {
    if (secondsNow) {
        return secondsNow();
    }
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

int64_t Clock::today() const {
    return pinnedDay ? *pinnedDay : DayClock::day(now(), zone);
}

Clock Clock::system() {
    return Clock{};
}

Clock Clock::fixed(int64_t seconds, std::string zone) {
    return Clock{[seconds] { return seconds; }, std::move(zone), std::nullopt};
}

}  // namespace talvo
