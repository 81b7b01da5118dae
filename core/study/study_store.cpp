#include "core/study/study_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <set>

#include "core/db/database.h"
#include "core/lookup/dictionary_store.h"
#include "core/study/study_database.h"
#include "core/study/study_queries.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {

constexpr const char* kCardColumns =
    "SELECT id, uid, front, am, gloss, stability, difficulty, reps, lapses, due\nFROM card ";
const std::string kDueCards =
    std::string(kCardColumns) +
    "WHERE suspended=0 AND reps>0 AND due<=? ORDER BY due, freq_rank LIMIT ?";
const std::string kNewCards =
    std::string(kCardColumns) + "WHERE suspended=0 AND reps=0 ORDER BY freq_rank LIMIT ?";
const std::string kCardByUid = std::string(kCardColumns) + "WHERE uid=?";

constexpr const char* kCountNew = "SELECT COUNT(*) FROM card WHERE suspended=0 AND reps=0";
constexpr const char* kCountDue =
    "SELECT COUNT(*) FROM card WHERE suspended=0 AND reps>0 AND due<=?";
constexpr const char* kCountLearned = "SELECT COUNT(*) FROM card WHERE reps>0";
constexpr const char* kCountAll = "SELECT COUNT(*) FROM card";
constexpr const char* kCountToday = "SELECT COUNT(*) FROM review_log WHERE day=?";

constexpr const char* kSeedInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day)\n"
    "VALUES (?,?,?,?, 'freq', ?, ?)";
constexpr const char* kRecordLookup =
    "INSERT INTO lookup_history (key, sample_zh, n, first_at, last_at)\n"
    "VALUES (?,?,1,?,?)\n"
    "ON CONFLICT(key) DO UPDATE SET n = n + 1, last_at = excluded.last_at";
constexpr const char* kLookupInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
    "updated_at, pending)\n"
    "VALUES (?,?,?,?, 'lookup', 100000, ?, ?, " TALVO_NEXT_PENDING ")";
constexpr const char* kMarkAdded = "UPDATE lookup_history SET added = 1 WHERE key = ?";
constexpr const char* kLessonInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
    "updated_at, pending)\n"
    "VALUES (?,?,?,?, 'lesson', ?, ?, ?, " TALVO_NEXT_PENDING ")";

constexpr const char* kLastDay = "SELECT last_day FROM card WHERE id=?";
constexpr const char* kUpdateCard =
    "UPDATE card SET stability=?, difficulty=?, reps=?, lapses=?,\n"
    "  state=?, due=?, last_day=?, updated_at=?, pending=" TALVO_NEXT_PENDING " WHERE id=?";
constexpr const char* kInsertLog =
    "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval)\n"
    "VALUES (?,?,?,?,?,?)";
// The row's global name, given in the same transaction as the row.
constexpr const char* kNameLog =
    "UPDATE review_log SET log_id = ? || ':' || id WHERE id = last_insert_rowid()";
constexpr const char* kDistractors =
    "SELECT am FROM card WHERE uid!=? AND am!='' ORDER BY RANDOM() LIMIT ?";

// SQLite's limit on parameters is 32766; lessons are far smaller, but a
// caller's list is not ours to trust.
constexpr size_t kUidsPerQuery = 500;

// Saturating so that a damaged counter cannot overflow.
int64_t plusOne(int64_t n) {
    return n == std::numeric_limits<int64_t>::max() ? n : n + 1;
}

}  // namespace

StudyStore::StudyStore(StudyDatabase& db) : m_db(db) {}

StudyStore::~StudyStore() = default;

db::Database& StudyStore::conn() {
    return m_db.connection();
}

const Clock& StudyStore::clock() const {
    return m_db.clock();
}

std::optional<int64_t> StudyStore::parseDecimal(std::string_view text) {
    return studydb::parseDecimal(text);
}

std::optional<std::string> StudyStore::cfg(std::string_view key) {
    return studydb::cfg(conn(), key);
}

std::optional<int64_t> StudyStore::cfgInt(std::string_view key) {
    return studydb::cfgInt(conn(), key);
}

bool StudyStore::setCfg(std::string_view key, std::string_view value) {
    return studydb::setCfg(conn(), key, value);
}

int64_t StudyStore::seedIfEmpty(DictionaryStore& dict) {
    // Nearly every call finds cards; answer those without taking the write lock.
    if (studydb::count(conn(), kCountAll) != 0) {
        return 0;
    }
    db::Transaction tx(conn());
    if (!tx.active() || studydb::count(conn(), kCountAll) != 0) {
        return 0;  // another program seeded it in the meantime
    }
    const int64_t today = clock().today();
    std::vector<std::string> chars = dict.topCharsByFreq(kDeckSize);
    db::Statement* st = conn().cached(kSeedInsert);
    if (!st) {
        return 0;  // the transaction rolls back
    }
    int64_t added = 0;
    for (size_t i = 0; i < chars.size(); ++i) {
        const std::string& ch = chars[i];
        std::string am;
        for (const std::string& r : dict.lookupChar(ch)) {
            if (!am.empty()) {
                am += ", ";
            }
            am += r;
        }
        std::string gloss = dict.charGloss(ch).value_or("");
        st->reset();
        st->bind(1, "char:" + ch).bind(2, ch).bind(3, am).bind(4, gloss);
        st->bind(5, static_cast<int64_t>(i)).bind(6, today);
        if (st->run()) {
            added += conn().changes();
        }
    }
    st->reset();
    return tx.commit() ? added : 0;
}

void StudyStore::recordLookup(std::string_view key, std::string_view sampleZh) {
    if (key.empty()) {
        return;
    }
    db::Statement* st = conn().cached(kRecordLookup);
    if (!st) {
        return;
    }
    db::ScopedReset guard(*st);
    const int64_t now = clock().now();
    st->bind(1, key).bind(2, sampleZh).bind(3, now).bind(4, now);
    st->run();
}

bool StudyStore::addLookupCard(std::string_view uid, std::string_view front, std::string_view am,
                               std::string_view gloss) {
    const int64_t today = clock().today();
    const int64_t now = clock().now();
    db::Transaction tx(conn());
    bool added = false;
    if (db::Statement* ins = conn().cached(kLookupInsert)) {
        db::ScopedReset guard(*ins);
        ins->bind(1, uid).bind(2, front).bind(3, am).bind(4, gloss).bind(5, today).bind(6, now);
        added = ins->run() && conn().changes() > 0;
    }
    if (db::Statement* mark = conn().cached(kMarkAdded)) {
        db::ScopedReset guard(*mark);
        mark->bind(1, front);
        mark->run();
    }
    return tx.commit() && added;
}

int64_t StudyStore::addLessonCards(const std::vector<LessonItem>& items) {
    const int64_t today = clock().today();
    const int64_t now = clock().now();
    db::Transaction tx(conn());
    db::Statement* st = conn().cached(kLessonInsert);
    if (!st) {
        return 0;
    }
    int64_t added = 0;
    for (size_t i = 0; i < items.size(); ++i) {
        const LessonItem& item = items[i];
        if (item.uid.empty() || item.front.empty()) {
            continue;  // still takes up its rank, so the lesson's order holds
        }
        st->reset();
        st->bind(1, item.uid).bind(2, item.front);
        st->bind(3, item.am.value_or("")).bind(4, item.gloss.value_or(""));
        st->bind(5, static_cast<int64_t>(50001 + i)).bind(6, today).bind(7, now);
        if (st->run()) {
            added += conn().changes();
        }
    }
    st->reset();
    return tx.commit() ? added : 0;
}

int64_t StudyStore::countInDeck(const std::vector<std::string>& uids) {
    // Distinct first: a uid that two chunks both held would count twice.
    std::set<std::string_view> distinct(uids.begin(), uids.end());
    std::vector<std::string_view> list(distinct.begin(), distinct.end());
    int64_t total = 0;
    db::ReadTransaction snapshot(conn());
    for (size_t start = 0; start < list.size(); start += kUidsPerQuery) {
        size_t n = std::min(kUidsPerQuery, list.size() - start);
        std::string sql = "SELECT COUNT(*) FROM card WHERE uid IN (";
        for (size_t i = 0; i < n; ++i) {
            sql += i ? ",?" : "?";
        }
        sql += ")";
        db::Statement st(conn(), sql);
        if (!st.valid()) {
            continue;
        }
        for (size_t i = 0; i < n; ++i) {
            st.bind(static_cast<int>(i + 1), list[start + i]);
        }
        if (st.step()) {
            total += st.int64(0);
        }
    }
    return total;
}

int64_t StudyStore::newRemaining() {
    return newRemaining(clock().today());
}

int64_t StudyStore::newRemaining(int64_t today) {
    const int64_t available = studydb::count(conn(), kCountNew);
    int64_t used = 0;
    std::optional<int64_t> newDay = parseDecimal(cfg("new_day").value_or("-1"));
    if (newDay && *newDay == today) {
        // A damaged negative counter must not grant extra new cards.
        used = std::max<int64_t>(cfgInt("new_count").value_or(0), 0);
    }
    const int64_t allowed = used >= kNewPerDay ? 0 : kNewPerDay - used;
    return std::max<int64_t>(0, std::min(available, allowed));
}

std::vector<StudyCard> StudyStore::queue() {
    return queue(clock().today());
}

std::vector<StudyCard> StudyStore::queue(int64_t today) {
    db::ReadTransaction snapshot(conn());
    std::vector<StudyCard> out = studydb::cards(conn(), kDueCards, [&](db::Statement& st) {
        st.bind(1, today).bind(2, static_cast<int64_t>(kMaxReviews));
    });
    const int64_t n = newRemaining(today);
    if (n >= 1) {
        std::vector<StudyCard> fresh =
            studydb::cards(conn(), kNewCards, [&](db::Statement& st) { st.bind(1, n); });
        out.insert(out.end(), std::make_move_iterator(fresh.begin()),
                   std::make_move_iterator(fresh.end()));
    }
    return out;
}

bool StudyStore::bumpNewCount(int64_t today) {
    int64_t count = 0;
    if (cfgInt("new_day") == today) {
        count = cfgInt("new_count").value_or(0);
    }
    return setCfg("new_day", std::to_string(today)) &&
           setCfg("new_count", std::to_string(plusOne(count)));
}

bool StudyStore::bumpStreak(int64_t today) {
    std::optional<int64_t> last = cfgInt("last_study_day");
    if (last == today) {
        return true;
    }
    int64_t streak = 1;
    if (last && today != std::numeric_limits<int64_t>::min() && *last == today - 1) {
        streak = plusOne(cfgInt("streak").value_or(0));
    }
    return setCfg("streak", std::to_string(streak)) &&
           setCfg("last_study_day", std::to_string(today)) &&
           setCfg("best_streak",
                  std::to_string(std::max(streak, cfgInt("best_streak").value_or(0))));
}

std::optional<ReviewState> StudyStore::grade(const StudyCard& card, Rating rating) {
    return grade(card, rating, clock().today());
}

std::optional<ReviewState> StudyStore::grade(const StudyCard& card, Rating rating, int64_t today) {
    // Every statement below either does its part or ends the grade: returning
    // before the commit rolls the transaction back, so the card, its log row
    // and the counters are written together or not at all.
    db::Transaction tx(conn());
    if (!tx.active()) {
        return std::nullopt;  // locked by another program, or the disk refuses
    }
    int64_t elapsed = 0;
    if (!card.state.isNew()) {
        db::Statement* st = conn().cached(kLastDay);
        if (!st) {
            return std::nullopt;
        }
        db::ScopedReset guard(*st);
        st->bind(1, card.id);
        // A card that is gone reads as last reviewed on day 0; a read that
        // fails must not, or the interval would be scheduled from a guess.
        int64_t lastDay = 0;
        if (st->step()) {
            lastDay = st->int64(0);
        } else if (conn().errorCode() != SQLITE_DONE) {
            return std::nullopt;
        }
        if (__builtin_sub_overflow(today, lastDay, &elapsed)) {
            elapsed = lastDay < 0 ? std::numeric_limits<int64_t>::max() : 0;
        }
        elapsed = std::max<int64_t>(elapsed, 0);
    }
    const ReviewState s = m_fsrs.schedule(card.state, rating, elapsed);
    int64_t due = 0;
    if (__builtin_add_overflow(today, s.intervalDays, &due)) {
        return std::nullopt;
    }
    const int64_t now = clock().now();

    db::Statement* update = conn().cached(kUpdateCard);
    if (!update) {
        return std::nullopt;
    }
    {
        db::ScopedReset guard(*update);
        update->bind(1, s.stability).bind(2, s.difficulty).bind(3, s.reps).bind(4, s.lapses);
        update->bind(5, rating == Rating::Again ? "relearning" : "review");
        update->bind(6, due).bind(7, today).bind(8, now).bind(9, card.id);
        if (!update->run()) {
            return std::nullopt;
        }
    }
    db::Statement* log = conn().cached(kInsertLog);
    if (!log) {
        return std::nullopt;
    }
    {
        db::ScopedReset guard(*log);
        log->bind(1, card.uid).bind(2, now).bind(3, today).bind(4, rawValue(rating));
        log->bind(5, elapsed).bind(6, s.intervalDays);
        if (!log->run()) {
            return std::nullopt;
        }
    }
    if (!m_db.installId().empty()) {
        db::Statement* name = conn().cached(kNameLog);
        if (!name) {
            return std::nullopt;
        }
        db::ScopedReset guard(*name);
        if (!name->bind(1, m_db.installId()).run()) {
            return std::nullopt;
        }
    }
    if (card.state.isNew() && !bumpNewCount(today)) {
        return std::nullopt;
    }
    if (!bumpStreak(today) || !tx.commit()) {
        return std::nullopt;
    }
    return s;
}

StudySummary StudyStore::summary() {
    return summary(clock().today());
}

StudySummary StudyStore::summary(int64_t today) {
    db::ReadTransaction snapshot(conn());
    StudySummary s;
    s.dueReviews = studydb::count(conn(), kCountDue, today);
    s.newRemaining = newRemaining(today);
    s.learned = studydb::count(conn(), kCountLearned);
    s.total = studydb::count(conn(), kCountAll);
    s.streak = cfgInt("streak").value_or(0);
    s.bestStreak = cfgInt("best_streak").value_or(0);
    s.reviewedToday = studydb::count(conn(), kCountToday, today);
    return s;
}

std::optional<StudyCard> StudyStore::cardByUid(std::string_view uid) {
    std::vector<StudyCard> found =
        studydb::cards(conn(), kCardByUid, [&](db::Statement& st) { st.bind(1, uid); });
    if (found.empty()) {
        return std::nullopt;
    }
    return std::move(found.front());
}

std::vector<std::string> StudyStore::distractors(std::string_view uid, int limit) {
    std::vector<std::string> out;
    db::Statement* st = conn().cached(kDistractors);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, uid).bind(2, static_cast<int64_t>(limit));
    while (st->step()) {
        if (auto am = st->text(0)) {
            out.push_back(text::sanitizeUtf8(*am));
        }
    }
    return out;
}

}  // namespace talvo
