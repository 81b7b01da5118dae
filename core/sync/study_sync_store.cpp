#include "core/sync/study_sync_store.h"

#include <set>

#include "core/db/database.h"
#include "core/study/study_database.h"
#include "core/study/study_queries.h"
#include "core/wire/sync_merge.h"

namespace talvo {

namespace {

constexpr const char* kChangedCards =
    "SELECT uid, front, am, gloss, source, stability, difficulty, reps, lapses,\n"
    "       state, due, last_day, suspended, updated_at\n"
    "FROM card WHERE updated_at > ? ORDER BY updated_at LIMIT 500";

constexpr const char* kUnsyncedLogs =
    "SELECT id, card_uid, ts, day, rating, elapsed, interval\n"
    "FROM review_log WHERE origin='' AND synced=0 ORDER BY id LIMIT 500";

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

std::string textOrEmpty(const db::Statement& st, int column) {
    return st.text(column).value_or("");
}

}  // namespace

StudySyncStore::StudySyncStore(StudyDatabase& db) : m_db(db) {}

std::vector<wire::SyncCard> StudySyncStore::changedCards(int64_t sinceUpdatedAt) {
    std::vector<wire::SyncCard> cards;
    db::Statement* st = m_db.connection().cached(kChangedCards);
    if (!st) {
        return cards;
    }
    db::ScopedReset reset(*st);
    st->bind(1, sinceUpdatedAt);
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
        cards.push_back(std::move(c));
    }
    return cards;
}

std::vector<wire::SyncLog> StudySyncStore::unsyncedLogs(std::string_view deviceId) {
    std::vector<wire::SyncLog> logs;
    db::Statement* st = m_db.connection().cached(kUnsyncedLogs);
    if (!st) {
        return logs;
    }
    db::ScopedReset reset(*st);
    while (st->step()) {
        wire::SyncLog l;
        l.localId = st->int64(0);
        l.logId = wire::logIdFor(deviceId, l.localId);
        l.cardUid = textOrEmpty(*st, 1);
        l.ts = st->int64(2);
        l.day = st->int64(3);
        l.rating = st->int64(4);
        l.elapsed = st->int64(5);
        l.interval = st->int64(6);
        logs.push_back(std::move(l));
    }
    return logs;
}

int64_t StudySyncStore::syncCursor() {
    return studydb::cfgInt(m_db.connection(), kSinceKey).value_or(0);
}

int64_t StudySyncStore::cardPushCursor() {
    return studydb::cfgInt(m_db.connection(), kCardPushKey).value_or(0);
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
        card->bind(14, c.updatedAt);
        if (!card->run()) {
            return std::nullopt;
        }
        applied.cards += d.changes();
    }

    // A copy of a log this exchange is sending may come back in the same
    // answer; it is this device's own row, about to get that log_id, and must
    // not be stored a second time.
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
        applied.logs += d.changes();
    }

    db::Statement* mark = d.cached(kMarkSent);
    if (!mark) {
        return std::nullopt;
    }
    for (const wire::SyncLog& l : sent.logs) {
        db::ScopedReset reset(*mark);
        mark->bind(1, l.logId).bind(2, l.localId);
        if (!mark->run()) {
            return std::nullopt;
        }
    }

    if (auto pushed = wire::pushCursorAfter(sent.cards)) {
        if (!studydb::setCfg(d, kCardPushKey, std::to_string(*pushed))) {
            return std::nullopt;
        }
    }
    if (!studydb::setCfg(d, kSinceKey, std::to_string(received.now)) || !tx.commit()) {
        return std::nullopt;
    }
    return applied;
}

}  // namespace talvo
