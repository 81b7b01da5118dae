#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/study/day_clock.h"
#include "core/study/fsrs.h"
#include "core/study/rating.h"
#include "core/study/study_card.h"

namespace talvo {

class DictionaryStore;

namespace db {
class Database;
}  // namespace db

class StudyDatabase;

// The deck side of the study database: cards, the review queue, grading, the
// lookup history and the cfg counters, over a StudyDatabase it borrows (which
// must outlive it). Used from the database's thread; it has no lock of its own.
//
// Nothing fails outward: a read that cannot be prepared answers empty, a
// failed count reads as 0, a missing or unparsable cfg value as absent.
// Every operation that takes `today` also has a form that asks the
// database's Clock, as does every "now".
class StudyStore {
  public:
    static constexpr int kDeckSize = 800;    // frequency cards seeded into an empty deck
    static constexpr int kNewPerDay = 15;    // new cards introduced per day
    static constexpr int kMaxReviews = 200;  // due cards fetched for one session

    explicit StudyStore(StudyDatabase& db);
    ~StudyStore();
    StudyStore(const StudyStore&) = delete;
    StudyStore& operator=(const StudyStore&) = delete;

    const Clock& clock() const;
    const FSRS& fsrs() const { return m_fsrs; }

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
    // locked or failing, or any one of those writes fails); a grade is never
    // half written.
    std::optional<ReviewState> grade(const StudyCard& card, Rating rating);
    std::optional<ReviewState> grade(const StudyCard& card, Rating rating, int64_t today);

    StudySummary summary();
    StudySummary summary(int64_t today);

    // The card with this uid, absent when there is none.
    std::optional<StudyCard> cardByUid(std::string_view uid);
    // Readings of up to `limit` other cards, in random order, for a multiple
    // choice; empty readings are left out.
    std::vector<std::string> distractors(std::string_view uid, int limit);

  private:
    // The counters of a grade; false when one of them was not written.
    bool bumpNewCount(int64_t today);
    bool bumpStreak(int64_t today);
    db::Database& conn();

    StudyDatabase& m_db;
    FSRS m_fsrs{0.9, FSRS::defaultWeights};
};

}  // namespace talvo
