#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/progress/profile_stats.h"
#include "core/study/day_clock.h"
#include "core/study/study_card.h"

namespace talvo {

class StudyDatabase;

namespace db {
class Database;
}  // namespace db

// The progress side of the study database: XP, badges, the profile's figures
// and the quiz's cards and log, over a StudyDatabase it borrows (which must
// outlive it). Used from the database's thread; it has no lock of its own.
//
// Every figure is recomputed from the logs; failing queries count as 0 and
// nothing fails outward. Day numbers are written as 32-bit integers: one
// outside that range is a programming error and stops the program. Every
// operation that takes `today` also has a form that asks the database's Clock.
class ProgressStore {
  public:
    explicit ProgressStore(StudyDatabase& db);
    ~ProgressStore();
    ProgressStore(const ProgressStore&) = delete;
    ProgressStore& operator=(const ProgressStore&) = delete;

    const Clock& clock() const;

    // 10 per review, 5 more per review rated good or easy, 15 per distinct
    // card ever reviewed, 2 per correct quiz answer. Overflow stops the program.
    int64_t xpTotal();
    // The day's figure: reviews and quiz answers of that day, without the
    // once-per-card amount.
    int64_t xpToday();
    int64_t xpToday(int64_t today);

    // Codes of the badges held (badge table), empty when it cannot be read.
    std::set<std::string> earnedBadges();
    // Tests every badge rule against the history and stores the newly earned
    // ones, all with one earned_at; returns their codes in catalogue order,
    // including any whose insert failed (the next pass offers it again). The
    // time-of-day rules read the review's wall-clock hour in the process's
    // time zone (TZ), as SQLite's 'localtime' does.
    std::vector<std::string> evaluateBadges();
    std::vector<std::string> evaluateBadges(int64_t today);

    // Review counts of the `span` days ending with today; days without
    // reviews are absent.
    std::map<int64_t, int64_t> heatmap(int64_t today, int64_t span = profile::kHeatmapSpan);
    // cfg "daily_goal"; 20 when missing, unparsable or not positive.
    int64_t dailyGoal();
    bool setDailyGoal(int64_t xp);
    // Everything the profile shows, read under one snapshot.
    ProfileStats profileStats();
    ProfileStats profileStats(int64_t today);

    // Cards for a quiz: learned cards with a reading, most overdue first; when
    // there are fewer than 4, any cards with a reading, most frequent first.
    std::vector<StudyCard> quizPool(int limit = 40);
    // Up to count x 3 candidates from other cards in random order: their
    // readings (non-empty `am`) or their fronts of at most 4 characters.
    std::vector<std::string> distractorReadings(std::string_view excludeUid, int count);
    std::vector<std::string> distractorFronts(std::string_view excludeUid, int count);
    // The non-empty `am` of every card whose front is `front` (a character
    // may stand in the deck twice, as a frequency and as a lesson card).
    std::vector<std::string> frontReadings(std::string_view front);
    // Appends one quiz_log row (now, today); false when it was not written.
    bool recordQuiz(std::string_view cardUid, std::string_view mode, bool correct, int64_t ms = 0);

  private:
    std::optional<int64_t> countOrFail(const char* sql);
    // reviews minus each count; 0 when any of them fails.
    int64_t reviewsLess(int64_t reviews, std::initializer_list<const char*> excluded);
    // True when some review's local hour passes hourTest (an SQL condition on
    // ts) whose hours are fromHour <= h < toHour.
    bool anyReviewInHours(const char* hourTest, int fromHour, int toHour);
    std::vector<std::string> textColumn(const std::string& sql, std::string_view uid,
                                        int64_t limit);
    int64_t count(const std::string& sql, std::optional<int64_t> param = std::nullopt);
    db::Database& conn();

    StudyDatabase& m_db;
};

}  // namespace talvo
