#include "core/progress/progress_store.h"

#include <algorithm>

#include "core/db/database.h"
#include "core/progress/badges.h"
#include "core/progress/checked_int.h"
#include "core/progress/level_system.h"
#include "core/progress/time_of_day.h"
#include "core/progress/xp.h"
#include "core/study/study_database.h"
#include "core/study/study_queries.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {

// Counting index entries costs time per entry, while the count of a whole
// table does not. So the frequent kinds of review (rated good or easy, not a
// first review) are counted as all reviews less the rarer rest: for any value
// that is not NULL exactly one of x>=3 and x<3 holds, and of x>0 and x<=0.
constexpr const char* kCountReviews = "SELECT COUNT(*) FROM review_log";
constexpr const char* kCountNotGood =
    "SELECT COUNT(*) FROM review_log WHERE rating<3 OR rating IS NULL";
constexpr const char* kCountNotLater = "SELECT COUNT(*) FROM review_log WHERE elapsed<=0";
constexpr const char* kCountNoElapsed = "SELECT COUNT(*) FROM review_log WHERE elapsed IS NULL";
constexpr const char* kCountLaterNotGood =
    "SELECT COUNT(*) FROM review_log WHERE (rating<3 OR rating IS NULL) AND elapsed>0";
constexpr const char* kCountReviewedCards = "SELECT COUNT(DISTINCT card_uid) FROM review_log";
constexpr const char* kCountQuizCorrect = "SELECT COUNT(*) FROM quiz_log WHERE correct=1";
constexpr const char* kCountReviewsOn = "SELECT COUNT(*) FROM review_log WHERE day=?";
constexpr const char* kCountGoodOn = "SELECT COUNT(*) FROM review_log WHERE day=? AND rating>=3";
constexpr const char* kCountQuizCorrectOn =
    "SELECT COUNT(*) FROM quiz_log WHERE day=? AND correct=1";

constexpr const char* kEarned = "SELECT code FROM badge";
constexpr const char* kCountLearned = "SELECT COUNT(*) FROM card WHERE reps>0";
constexpr const char* kCountMastered = "SELECT COUNT(*) FROM card WHERE stability>21";
// The number of days with at least 5 reviews none of which is rated below
// good, as "SELECT COUNT(*) FROM (SELECT day FROM review_log GROUP BY day
// HAVING COUNT(*)>=5 AND SUM(CASE WHEN rating<3 THEN 1 ELSE 0 END)=0)" counts
// them, but visiting each distinct day through the (day, rating) index
// instead of reading every review: a day is skipped at its first review
// rated below good, and only clean days are counted. The NULL days form one
// group of their own, as in GROUP BY.
constexpr const char* kCountPerfectDays = R"sql(
WITH RECURSIVE d(v) AS (
  SELECT MIN(day) FROM review_log
  UNION ALL
  SELECT (SELECT MIN(day) FROM review_log WHERE day > d.v) FROM d WHERE d.v IS NOT NULL)
SELECT (SELECT COUNT(*) FROM d WHERE v IS NOT NULL
          AND NOT EXISTS (SELECT 1 FROM review_log WHERE day = d.v AND rating < 3)
          AND (SELECT COUNT(*) FROM review_log WHERE day = d.v) >= 5)
     + (SELECT COUNT(*)>=5 AND SUM(CASE WHEN rating<3 THEN 1 ELSE 0 END)=0
          FROM review_log WHERE day IS NULL))sql";
// The hour rules, exactly as the badges define them. They are run on the
// reviews whose UTC second of the day can hold such an hour, and stop at the
// first match: the badge needs one.
constexpr const char* kEarlyHour =
    "CAST(strftime('%H', ts, 'unixepoch', 'localtime') AS INTEGER) < 7";
constexpr const char* kLateHour =
    "CAST(strftime('%H', ts, 'unixepoch', 'localtime') AS INTEGER) >= 22";
constexpr const char* kSecondOfDay = "(ts % 86400 + 86400) % 86400";
// The offset that SQLite's 'localtime' applies on 2000-01-01; it also serves
// SQLite for years it cannot hand to the C library.
constexpr const char* kSqliteOffset2000 =
    "SELECT CAST(strftime('%s', 946684800, 'unixepoch', 'localtime') AS INTEGER) - 946684800";
constexpr const char* kAward = "INSERT OR IGNORE INTO badge (code, earned_at, day) VALUES (?,?,?)";

constexpr const char* kCountAll = "SELECT COUNT(*) FROM card";
constexpr const char* kHeatmap = "SELECT day, COUNT(*) FROM review_log WHERE day > ? GROUP BY day";

const std::string kQuizLearned =
    "SELECT id, uid, front, am, gloss, stability, difficulty, reps, lapses, due\n"
    "FROM card WHERE suspended=0 AND reps>0 AND am!='' ORDER BY due LIMIT ?";
const std::string kQuizAny =
    "SELECT id, uid, front, am, gloss, stability, difficulty, reps, lapses, due\n"
    "FROM card WHERE suspended=0 AND am!='' ORDER BY freq_rank LIMIT ?";
constexpr const char* kDistractorReadings =
    "SELECT am FROM card WHERE uid!=? AND am!='' ORDER BY RANDOM() LIMIT ?";
constexpr const char* kDistractorFronts =
    "SELECT front FROM card WHERE uid!=? AND LENGTH(front)<=4 ORDER BY RANDOM() LIMIT ?";
constexpr const char* kFrontReadings = "SELECT am FROM card WHERE front=? AND am!=''";
constexpr const char* kRecordQuiz =
    "INSERT INTO quiz_log (card_uid, mode, ts, day, correct, ms)\nVALUES (?,?,?,?,?,?)";

constexpr size_t kQuizMinPool = 4;

}  // namespace

ProgressStore::ProgressStore(StudyDatabase& db) : m_db(db) {}

ProgressStore::~ProgressStore() = default;

db::Database& ProgressStore::conn() {
    return m_db.connection();
}

const Clock& ProgressStore::clock() const {
    return m_db.clock();
}

int64_t ProgressStore::count(const std::string& sql, std::optional<int64_t> param) {
    return studydb::count(conn(), sql, param);
}

std::optional<int64_t> ProgressStore::countOrFail(const char* sql) {
    db::Statement* st = conn().cached(sql);
    if (!st) {
        return std::nullopt;
    }
    db::ScopedReset guard(*st);
    if (!st->step()) {
        return std::nullopt;
    }
    return st->int64(0);
}

int64_t ProgressStore::reviewsLess(int64_t reviews, std::initializer_list<const char*> excluded) {
    int64_t n = reviews;
    for (const char* sql : excluded) {
        std::optional<int64_t> c = countOrFail(sql);
        // A failed count must not turn into "every review": count nothing.
        if (!c) {
            return 0;
        }
        n -= *c;
    }
    return std::max<int64_t>(n, 0);
}

int64_t ProgressStore::xpTotal() {
    db::ReadTransaction snapshot(conn());
    const int64_t reviews = count(kCountReviews);
    const int64_t good = reviewsLess(reviews, {kCountNotGood});
    const int64_t cards = count(kCountReviewedCards);
    const int64_t quiz = count(kCountQuizCorrect);
    constexpr const char* what = "ProgressStore::xpTotal";
    int64_t xp = checked::mul(reviews, XP::kReview, what);
    xp = checked::add(xp, checked::mul(good, XP::kGoodBonus, what), what);
    xp = checked::add(xp, checked::mul(cards, XP::kLearned, what), what);
    return checked::add(xp, checked::mul(quiz, XP::kQuizCorrect, what), what);
}

int64_t ProgressStore::xpToday() {
    return xpToday(m_db.clock().today());
}

int64_t ProgressStore::xpToday(int64_t today) {
    db::ReadTransaction snapshot(conn());
    const int64_t reviews = count(kCountReviewsOn, today);
    const int64_t good = count(kCountGoodOn, today);
    const int64_t quiz = count(kCountQuizCorrectOn, today);
    constexpr const char* what = "ProgressStore::xpToday";
    int64_t xp = checked::mul(reviews, XP::kReview, what);
    xp = checked::add(xp, checked::mul(good, XP::kGoodBonus, what), what);
    return checked::add(xp, checked::mul(quiz, XP::kQuizCorrect, what), what);
}

std::set<std::string> ProgressStore::earnedBadges() {
    std::set<std::string> out;
    db::Statement* st = conn().cached(kEarned);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    while (st->step()) {
        if (std::optional<std::string> code = st->text(0)) {
            out.insert(std::move(*code));
        }
    }
    return out;
}

std::vector<std::string> ProgressStore::evaluateBadges() {
    return evaluateBadges(m_db.clock().today());
}

std::vector<std::string> ProgressStore::evaluateBadges(int64_t today) {
    std::vector<std::string> fresh;
    {
        db::ReadTransaction snapshot(conn());
        const std::set<std::string> earned = earnedBadges();
        auto candidate = [&](const std::string& code) {
            if (!earned.count(code)) {
                fresh.push_back(code);
            }
        };
        // A rule whose badges are all held cannot add anything, so its query
        // (the costly ones read the whole review log) is not run at all.
        auto anyMissing = [&](const auto& thresholds, std::string (*code)(int64_t)) {
            return std::any_of(thresholds.begin(), thresholds.end(),
                               [&](int64_t n) { return !earned.count(code(n)); });
        };

        const int64_t best = studydb::cfgInt(conn(), "best_streak").value_or(0);
        for (int64_t n : Badges::kStreakDays) {
            if (best >= n) {
                candidate(Badges::streakCode(n));
            }
        }
        if (anyMissing(Badges::kLearnedCounts, &Badges::learnedCode)) {
            const int64_t learned = count(kCountLearned);
            for (int64_t n : Badges::kLearnedCounts) {
                if (learned >= n) {
                    candidate(Badges::learnedCode(n));
                }
            }
        }
        if (anyMissing(Badges::kMasteredCounts, &Badges::masteredCode)) {
            const int64_t mastered = count(kCountMastered);
            for (int64_t n : Badges::kMasteredCounts) {
                if (mastered >= n) {
                    candidate(Badges::masteredCode(n));
                }
            }
        }
        if (!earned.count(Badges::kPerfectDay) && count(kCountPerfectDays) >= 1) {
            fresh.push_back(Badges::kPerfectDay);
        }
        if (!earned.count(Badges::kEarlyBird) && anyReviewInHours(kEarlyHour, 0, 7)) {
            fresh.push_back(Badges::kEarlyBird);
        }
        if (!earned.count(Badges::kNightOwl) && anyReviewInHours(kLateHour, 22, 24)) {
            fresh.push_back(Badges::kNightOwl);
        }
    }
    if (fresh.empty()) {
        return fresh;
    }
    // One moment for the whole pass; no transaction, so that a badge whose
    // insert fails does not take the others with it.
    const int64_t now = m_db.clock().now();
    const int32_t day = checked::toInt32(today, "ProgressStore::evaluateBadges day");
    if (db::Statement* st = conn().cached(kAward)) {
        for (const std::string& code : fresh) {
            db::ScopedReset guard(*st);
            st->bind(1, code).bind(2, now).bind(3, static_cast<int64_t>(day));
            st->run();
        }
    }
    return fresh;
}

bool ProgressStore::anyReviewInHours(const char* hourTest, int fromHour, int toHour) {
    timeofday::OffsetRange offsets = timeofday::zoneOffsets();
    if (db::Statement* st = conn().cached(kSqliteOffset2000)) {
        db::ScopedReset guard(*st);
        if (st->step() && !st->isNull(0)) {
            offsets.min = std::min(offsets.min, st->int64(0));
            offsets.max = std::max(offsets.max, st->int64(0));
        }
    }
    const auto ranges = timeofday::candidateSeconds(fromHour, toHour, offsets);
    if (!ranges) {
        return count(std::string("SELECT COUNT(*) FROM (SELECT 1 FROM review_log WHERE ") +
                     hourTest + " LIMIT 1)") >= 1;
    }
    const std::string sql = std::string("SELECT 1 FROM review_log WHERE ") + kSecondOfDay +
                            " BETWEEN ? AND ? AND " + hourTest + " LIMIT 1";
    db::Statement* st = conn().cached(sql);
    if (!st) {
        return false;
    }
    for (const auto& [lo, hi] : *ranges) {
        db::ScopedReset guard(*st);
        st->bind(1, lo).bind(2, hi);
        if (st->step()) {
            return true;
        }
    }
    return false;
}

std::map<int64_t, int64_t> ProgressStore::heatmap(int64_t today, int64_t span) {
    std::map<int64_t, int64_t> out;
    const int32_t after = checked::toInt32(checked::sub(today, span, "ProgressStore::heatmap"),
                                           "ProgressStore::heatmap day");
    db::Statement* st = conn().cached(kHeatmap);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, static_cast<int64_t>(after));
    while (st->step()) {
        out[st->int64(0)] = st->int64(1);
    }
    return out;
}

int64_t ProgressStore::dailyGoal() {
    return profile::dailyGoalFrom(studydb::cfgInt(conn(), "daily_goal"));
}

bool ProgressStore::setDailyGoal(int64_t xp) {
    return studydb::setCfg(conn(), "daily_goal", std::to_string(xp));
}

ProfileStats ProgressStore::profileStats() {
    return profileStats(m_db.clock().today());
}

ProfileStats ProgressStore::profileStats(int64_t today) {
    db::ReadTransaction snapshot(conn());
    ProfileStats p;
    p.xpTotal = xpTotal();
    p.level = LevelSystem::level(p.xpTotal);
    const LevelSystem::Progress progress = LevelSystem::progress(p.xpTotal);
    p.xpIntoLevel = progress.into;
    p.xpLevelSpan = progress.span;
    const LevelSystem::Rank& rank = LevelSystem::rank(p.level);
    p.rankHan = rank.han;
    p.rankName = rank.name;
    p.streak = studydb::cfgInt(conn(), "streak").value_or(0);
    p.bestStreak = studydb::cfgInt(conn(), "best_streak").value_or(0);
    p.xpToday = xpToday(today);
    p.dailyGoal = dailyGoal();
    p.learned = count(kCountLearned);
    p.total = count(kCountAll);
    p.mastered = count(kCountMastered);
    p.totalReviews = count(kCountReviews);
    const int64_t later = reviewsLess(p.totalReviews, {kCountNotLater, kCountNoElapsed});
    p.retention = profile::retention(later, reviewsLess(later, {kCountLaterNotGood}));
    p.freezeAvailable = profile::freezeAllowance(p.bestStreak);
    p.heatmap = heatmap(today);
    p.earnedBadges = earnedBadges();
    p.displayName = text::sanitizeUtf8(studydb::cfg(conn(), "display_name").value_or(""));
    p.avatarGlyph =
        text::sanitizeUtf8(studydb::cfg(conn(), "avatar_uid").value_or(profile::kDefaultAvatar));
    return p;
}

std::vector<StudyCard> ProgressStore::quizPool(int limit) {
    db::ReadTransaction snapshot(conn());
    auto bindLimit = [&](db::Statement& st) { st.bind(1, static_cast<int64_t>(limit)); };
    std::vector<StudyCard> pool = studydb::cards(conn(), kQuizLearned, bindLimit);
    if (pool.size() < kQuizMinPool) {
        pool = studydb::cards(conn(), kQuizAny, bindLimit);
    }
    return pool;
}

std::vector<std::string> ProgressStore::textColumn(const std::string& sql, std::string_view uid,
                                                   int64_t limit) {
    std::vector<std::string> out;
    db::Statement* st = conn().cached(sql);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, uid).bind(2, limit);
    while (st->step()) {
        if (std::optional<std::string> v = st->text(0)) {
            out.push_back(text::sanitizeUtf8(*v));
        }
    }
    return out;
}

std::vector<std::string> ProgressStore::distractorReadings(std::string_view excludeUid, int count) {
    return textColumn(kDistractorReadings, excludeUid, std::max<int64_t>(count, 0) * 3);
}

std::vector<std::string> ProgressStore::distractorFronts(std::string_view excludeUid, int count) {
    return textColumn(kDistractorFronts, excludeUid, std::max<int64_t>(count, 0) * 3);
}

std::vector<std::string> ProgressStore::frontReadings(std::string_view front) {
    std::vector<std::string> out;
    db::Statement* st = conn().cached(kFrontReadings);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, front);
    while (st->step()) {
        if (std::optional<std::string> v = st->text(0)) {
            out.push_back(text::sanitizeUtf8(*v));
        }
    }
    return out;
}

bool ProgressStore::recordQuiz(std::string_view cardUid, std::string_view mode, bool correct,
                               int64_t ms) {
    db::Statement* st = conn().cached(kRecordQuiz);
    if (!st) {
        return false;
    }
    const int64_t now = m_db.clock().now();
    const int32_t day = checked::toInt32(m_db.clock().today(), "ProgressStore::recordQuiz day");
    db::ScopedReset guard(*st);
    st->bind(1, cardUid).bind(2, mode).bind(3, now).bind(4, static_cast<int64_t>(day));
    st->bind(5, static_cast<int64_t>(correct ? 1 : 0)).bind(6, std::max<int64_t>(ms, 0));
    return st->run();
}

}  // namespace talvo
