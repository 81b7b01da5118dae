#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/progress/profile_stats.h"
#include "core/study/day_clock.h"
#include "core/study/fsrs.h"
#include "core/study/rating.h"
#include "core/study/study_card.h"

namespace talvo {

class DictionaryStore;

namespace db {
class Database;
class Statement;
}  // namespace db

// The learner's study database (study.sqlite): cards, the review log, lookup
// history, quiz log, badges and the cfg counters. One instance per process,
// used from one thread; it has no lock of its own.
//
// Only the constructor throws. Afterwards nothing fails outward: a statement
// that cannot be prepared is skipped, a failed count reads as 0, a missing or
// unparsable cfg value as absent. Every operation that takes `today` also has
// a form that asks the injected Clock, as does every "now".
class StudyStore {
  public:
    static constexpr int kDeckSize = 800;    // frequency cards seeded into an empty deck
    static constexpr int kNewPerDay = 15;    // new cards introduced per day
    static constexpr int kMaxReviews = 200;  // due cards fetched for one session
    static constexpr const char* kFileName = "study.sqlite";

    // study.sqlite inside the user's data folder; empty when there is no folder.
    static std::string defaultPath(const std::string& dataDir);

    // Opens or creates the database, creating missing parent folders, and
    // brings its schema up to date (older files gain the newer columns and
    // indexes). Throws DictionaryError::cannotOpen with SQLite's reason when the
    // file cannot be opened, is not a database, is corrupt where the schema
    // lives, or cannot be written; the file is then left exactly as it was.
    explicit StudyStore(const std::string& path, Clock clock = Clock::system());
    ~StudyStore();
    StudyStore(const StudyStore&) = delete;
    StudyStore& operator=(const StudyStore&) = delete;

    const std::string& path() const { return m_path; }
    const Clock& clock() const { return m_clock; }
    const FSRS& fsrs() const { return m_fsrs; }
    // The open connection, for the modules that keep their own tables and
    // queries in this database (sync, progress). Same thread rules as the store.
    db::Database& database() { return *m_db; }

    // cfg values are decimal text. cfgInt accepts an optional sign and digits,
    // nothing else ("+7" is 7; "7 ", "" and overflowing values are absent).
    std::optional<std::string> cfg(std::string_view key);
    std::optional<int64_t> cfgInt(std::string_view key);
    bool setCfg(std::string_view key, std::string_view value);
    static std::optional<int64_t> parseDecimal(std::string_view text);

    // Fills an empty deck, in one transaction, with the dictionary's 800 most
    // frequent characters that have a reading. Returns how many cards it added
    // (0 when the deck already held any card).
    int64_t seedIfEmpty(DictionaryStore& dict);

    // Counts one lookup of key; the first sample and time are kept. An empty
    // key is ignored.
    void recordLookup(std::string_view key, std::string_view sampleZh);
    // True when a new card was added; an existing uid changes nothing. Marks
    // the lookup-history entry of `front` as added either way.
    bool addLookupCard(std::string_view uid, std::string_view front, std::string_view am,
                       std::string_view gloss);
    // Adds the items not yet in the deck, after the seeded cards and before
    // lookup cards; items without uid or front are skipped but keep their
    // place in the order. Returns how many cards were added.
    int64_t addLessonCards(const std::vector<LessonItem>& items);
    // How many of the uids are in the deck (each counted once).
    int64_t countInDeck(const std::vector<std::string>& uids);

    // The session's cards: up to 200 due reviews, most overdue (then most
    // frequent) first, followed by the new cards still allowed today.
    std::vector<StudyCard> queue();
    std::vector<StudyCard> queue(int64_t today);
    // New cards that may still be introduced today: at most 15 a day.
    int64_t newRemaining();
    int64_t newRemaining(int64_t today);

    // Schedules the card and writes, in one transaction, the card's new state,
    // a review-log row and the new-card and streak counters. Returns the
    // scheduled state, or absent when nothing was committed (the database is
    // locked or failing); a grade is never half written.
    std::optional<ReviewState> grade(const StudyCard& card, Rating rating);
    std::optional<ReviewState> grade(const StudyCard& card, Rating rating, int64_t today);

    StudySummary summary();
    StudySummary summary(int64_t today);

    // The card with this uid, absent when there is none.
    std::optional<StudyCard> cardByUid(std::string_view uid);
    // Readings of up to `limit` other cards, in random order, for a multiple
    // choice; empty readings are left out.
    std::vector<std::string> distractors(std::string_view uid, int limit);

    // ---- progress: XP, badges, profile, quiz ----------------------------------
    // Every figure is recomputed from the logs; failing queries count as 0.
    // Day numbers are written as 32-bit integers: one outside that range is a
    // programming error and stops the program.

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
    // Appends one quiz_log row (now, today); false when it was not written.
    bool recordQuiz(std::string_view cardUid, std::string_view mode, bool correct, int64_t ms = 0);

  private:
    // The progress queries' indexes and page cache; run once at opening.
    void setUpProgress();
    std::optional<int64_t> countOrFail(const char* sql);
    // reviews minus each count; 0 when any of them fails.
    int64_t reviewsLess(int64_t reviews, std::initializer_list<const char*> excluded);
    // True when some review's local hour passes hourTest (an SQL condition on
    // ts) whose hours are fromHour <= h < toHour.
    bool anyReviewInHours(const char* hourTest, int fromHour, int toHour);
    std::vector<std::string> textColumn(const std::string& sql, std::string_view uid,
                                        int64_t limit);
    void bumpNewCount(int64_t today);
    void bumpStreak(int64_t today);
    // Runs a one-count query with at most one integer parameter; 0 on failure.
    int64_t count(const std::string& sql, std::optional<int64_t> param = std::nullopt);
    std::vector<StudyCard> rows(const std::string& sql,
                                const std::function<void(db::Statement&)>& bind);

    std::string m_path;
    Clock m_clock;
    FSRS m_fsrs{0.9, FSRS::defaultWeights};
    std::unique_ptr<db::Database> m_db;
};

}  // namespace talvo
