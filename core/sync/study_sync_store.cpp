#include "core/sync/study_sync_store.h"

#include <algorithm>
#include <set>

#include "core/db/database.h"
#include "core/study/study_database.h"
#include "core/study/study_queries.h"
#include "core/sync/review_replay.h"
#include "core/wire/sync_merge.h"

namespace talvo {

namespace {

constexpr const char* kChangedCards =
    "SELECT uid, front, am, gloss, source, stability, difficulty, reps, lapses,\n"
    "       state, due, last_day, suspended, updated_at, pending\n"
    "FROM card WHERE pending > 0 AND NOT EXISTS\n"
    "  (SELECT 1 FROM sync_refused r WHERE r.kind='card' AND r.key=card.uid)\n"
    "ORDER BY pending LIMIT 500";

constexpr const char* kUnsyncedLogs =
    "SELECT id, card_uid, ts, day, rating, elapsed, interval, log_id\n"
    "FROM review_log WHERE origin='' AND synced=0 AND NOT EXISTS\n"
    "  (SELECT 1 FROM sync_refused r WHERE r.kind='log' AND r.key=review_log.log_id)\n"
    "ORDER BY id LIMIT 500";

constexpr const char* kUpsertCard =
    "INSERT INTO card (uid, front, am, gloss, source, freq_rank, added_day,\n"
    "  stability, difficulty, reps, lapses, state, due, last_day, suspended, updated_at)\n"
    "VALUES (?,?,?,?,?, 100000, 0, ?,?,?,?,?,?,?,?,?)\n"
    "ON CONFLICT(uid) DO UPDATE SET\n"
    "  front=excluded.front, am=excluded.am, gloss=excluded.gloss, source=excluded.source,\n"
    "  stability=excluded.stability, difficulty=excluded.difficulty, reps=excluded.reps,\n"
    "  lapses=excluded.lapses, state=excluded.state, due=excluded.due,\n"
    "  last_day=excluded.last_day, suspended=excluded.suspended, updated_at=excluded.updated_at\n"
    "WHERE excluded.updated_at > card.updated_at";

constexpr const char* kInsertLog =
    "INSERT OR IGNORE INTO review_log\n"
    "  (card_uid, ts, day, rating, elapsed, interval, synced, log_id, origin)\n"
    "VALUES (?,?,?,?,?,?, 1, ?, ?)";

constexpr const char* kMarkSent = "UPDATE review_log SET synced=1, log_id=? WHERE id=?";
constexpr const char* kNameRow = "UPDATE review_log SET log_id=? WHERE id=?";
constexpr const char* kMarkCardTaken = "UPDATE card SET pending=0 WHERE uid=? AND pending=?";
constexpr const char* kRefuse =
    "INSERT INTO sync_refused (kind, key, reason) VALUES (?,?,?)\n"
    "ON CONFLICT(kind, key) DO UPDATE SET reason=excluded.reason";

constexpr const char* kCardLogs = "SELECT log_id, ts, day, rating FROM review_log WHERE card_uid=?";
constexpr const char* kCardSchedule =
    "SELECT stability, difficulty, reps, lapses, state, due, last_day FROM card WHERE uid=?";
constexpr const char* kSetSchedule =
    "UPDATE card SET stability=?, difficulty=?, reps=?, lapses=?, state=?, due=?, last_day=?\n"
    "WHERE uid=?";

std::string textOrEmpty(const db::Statement& st, int column) {
    return st.text(column).value_or("");
}

}  // namespace

StudySyncStore::StudySyncStore(StudyDatabase& db) : m_db(db) {}

std::vector<wire::SyncCard> StudySyncStore::changedCards() {
    std::vector<wire::SyncCard> cards;
    db::Statement* st = m_db.connection().cached(kChangedCards);
    if (!st) {
        return cards;
    }
    db::ScopedReset reset(*st);
    while (st->step()) {
        wire::SyncCard c;
        c.uid = textOrEmpty(*st, 0);
        c.front = textOrEmpty(*st, 1);
        c.am = textOrEmpty(*st, 2);
        c.gloss = textOrEmpty(*st, 3);
        c.source = textOrEmpty(*st, 4);
        c.stability = st->real(5);
        c.difficulty = st->real(6);
        c.reps = st->int64(7);
        c.lapses = st->int64(8);
        c.state = textOrEmpty(*st, 9);
        c.due = st->int64(10);
        c.lastDay = st->int64(11);
        c.suspended = st->int64(12);
        c.updatedAt = st->int64(13);
        c.localSeq = st->int64(14);
        cards.push_back(std::move(c));
    }
    return cards;
}

std::vector<wire::SyncLog> StudySyncStore::unsyncedLogs() {
    std::vector<wire::SyncLog> logs;
    db::Statement* st = m_db.connection().cached(kUnsyncedLogs);
    if (!st) {
        return logs;
    }
    db::ScopedReset reset(*st);
    while (st->step()) {
        wire::SyncLog l;
        l.localId = st->int64(0);
        l.cardUid = textOrEmpty(*st, 1);
        l.ts = st->int64(2);
        l.day = st->int64(3);
        l.rating = st->int64(4);
        l.elapsed = st->int64(5);
        l.interval = st->int64(6);
        // Rows are named when written; one written by an older version
        // without a name gets it now, in the same form.
        l.logId = textOrEmpty(*st, 7);
        if (l.logId.empty()) {
            l.logId = wire::logIdFor(m_db.installId(), l.localId);
        }
        logs.push_back(std::move(l));
    }
    return logs;
}

int64_t StudySyncStore::syncCursor() {
    return studydb::cfgInt(m_db.connection(), kSinceKey).value_or(0);
}

int64_t StudySyncStore::refusedCount() {
    return studydb::count(m_db.connection(), "SELECT COUNT(*) FROM sync_refused");
}

int64_t StudySyncStore::waitingCount() {
    return studydb::count(m_db.connection(), "SELECT COUNT(*) FROM card WHERE pending > 0") +
           studydb::count(m_db.connection(),
                          "SELECT COUNT(*) FROM review_log WHERE origin='' AND synced=0");
}

bool StudySyncStore::replay(const std::string& uid, bool& changed) {
    db::Database& d = m_db.connection();
    changed = false;
    std::vector<wire::SyncLog> logs;
    {
        db::Statement* st = d.cached(kCardLogs);
        if (!st) {
            return false;
        }
        db::ScopedReset reset(*st);
        st->bind(1, uid);
        while (st->step()) {
            wire::SyncLog l;
            l.logId = textOrEmpty(*st, 0);
            l.ts = st->int64(1);
            l.day = st->int64(2);
            l.rating = st->int64(3);
            logs.push_back(std::move(l));
        }
    }
    std::optional<ReplayedSchedule> s = replayReviews(std::move(logs), FSRS{});
    if (!s) {
        return true;  // no reviews: the card's own state stands
    }
    wire::SyncCard card;
    {
        db::Statement* st = d.cached(kCardSchedule);
        if (!st) {
            return false;
        }
        db::ScopedReset reset(*st);
        st->bind(1, uid);
        if (!st->step()) {
            return true;  // the card itself has not arrived yet
        }
        card.stability = st->real(0);
        card.difficulty = st->real(1);
        card.reps = st->int64(2);
        card.lapses = st->int64(3);
        card.state = textOrEmpty(*st, 4);
        card.due = st->int64(5);
        card.lastDay = st->int64(6);
    }
    if (!applySchedule(card, *s)) {
        return true;
    }
    db::Statement* set = d.cached(kSetSchedule);
    if (!set) {
        return false;
    }
    db::ScopedReset reset(*set);
    set->bind(1, card.stability).bind(2, card.difficulty).bind(3, card.reps).bind(4, card.lapses);
    set->bind(5, card.state).bind(6, card.due).bind(7, card.lastDay).bind(8, uid);
    changed = true;
    return set->run();
}

std::optional<StudySyncStore::Applied> StudySyncStore::applyExchange(
    const wire::SyncRequest& sent, const wire::SyncResponse& received) {
    db::Database& d = m_db.connection();
    // One transaction: the cursors never move past rows that were not
    // written, and 500 rows commit once instead of 500 times.
    db::Transaction tx(d);
    if (!tx.active()) {
        return std::nullopt;
    }
    Applied applied;

    std::set<std::string> refusedCards;
    std::set<std::string> refusedLogs;
    db::Statement* refuse = d.cached(kRefuse);
    if (!refuse) {
        return std::nullopt;
    }
    for (const wire::SyncRejection& r : received.rejected) {
        if (r.kind != "card" && r.kind != "log") {
            continue;
        }
        (r.kind == "card" ? refusedCards : refusedLogs).insert(r.id);
        db::ScopedReset reset(*refuse);
        refuse->bind(1, r.kind).bind(2, r.id).bind(3, r.reason);
        if (!refuse->run()) {
            return std::nullopt;
        }
    }

    std::set<std::string> touched;
    const int64_t latest = m_db.clock().now() + kFutureToleranceSeconds;
    db::Statement* card = d.cached(kUpsertCard);
    if (!card) {
        return std::nullopt;
    }
    for (const wire::SyncCard& c : received.cards) {
        if (!wire::isStorableCard(c)) {
            continue;
        }
        db::ScopedReset reset(*card);
        card->bind(1, c.uid).bind(2, c.front).bind(3, c.am).bind(4, c.gloss).bind(5, c.source);
        card->bind(6, c.stability).bind(7, c.difficulty).bind(8, c.reps).bind(9, c.lapses);
        card->bind(10, c.state).bind(11, c.due).bind(12, c.lastDay).bind(13, c.suspended);
        card->bind(14, std::min(c.updatedAt, latest));
        if (!card->run()) {
            return std::nullopt;
        }
        applied.cards += d.changes();
        touched.insert(c.uid);
    }

    // A copy of a log this exchange is sending may come back in the same
    // answer; it is this device's own row and must not be stored twice.
    std::set<std::string> outgoing;
    for (const wire::SyncLog& l : sent.logs) {
        outgoing.insert(l.logId);
    }
    db::Statement* log = d.cached(kInsertLog);
    if (!log) {
        return std::nullopt;
    }
    for (const wire::SyncLog& l : received.logs) {
        if (outgoing.count(l.logId)) {
            continue;
        }
        db::ScopedReset reset(*log);
        log->bind(1, l.cardUid).bind(2, l.ts).bind(3, l.day).bind(4, l.rating);
        log->bind(5, l.elapsed).bind(6, l.interval).bind(7, l.logId);
        log->bind(8, wire::originOf(l.logId));
        if (!log->run()) {
            return std::nullopt;
        }
        if (d.changes() > 0) {
            ++applied.logs;
            touched.insert(l.cardUid);
        }
    }

    db::Statement* mark = d.cached(kMarkSent);
    if (!mark) {
        return std::nullopt;
    }
    db::Statement* name = d.cached(kNameRow);
    if (!name) {
        return std::nullopt;
    }
    for (const wire::SyncLog& l : sent.logs) {
        // A refused row keeps synced=0 but takes the name it was refused
        // under, which keeps it out of later batches.
        const bool refused = refusedLogs.count(l.logId) > 0;
        applied.refused += refused;
        db::Statement* st = refused ? name : mark;
        db::ScopedReset reset(*st);
        st->bind(1, l.logId).bind(2, l.localId);
        if (!st->run()) {
            return std::nullopt;
        }
    }
    db::Statement* taken = d.cached(kMarkCardTaken);
    if (!taken) {
        return std::nullopt;
    }
    for (const wire::SyncCard& c : sent.cards) {
        if (refusedCards.count(c.uid)) {
            ++applied.refused;
            continue;
        }
        // A card changed again while the exchange was on the way keeps its
        // newer number and goes with the next exchange.
        db::ScopedReset reset(*taken);
        taken->bind(1, c.uid).bind(2, c.localSeq);
        if (!taken->run()) {
            return std::nullopt;
        }
    }

    for (const std::string& uid : touched) {
        bool changed = false;
        if (!replay(uid, changed)) {
            return std::nullopt;
        }
        applied.replayed += changed;
    }

    if (!studydb::setCfg(d, kSinceKey, std::to_string(received.now)) || !tx.commit()) {
        return std::nullopt;
    }
    return applied;
}

}  // namespace talvo
