#include "server/sqlite_storage.h"

#include <sqlite3.h>

#include <nlohmann/json.hpp>
#include <string_view>

#include "core/db/database.h"
#include "server/sync_batch.h"
#include "server/token.h"

namespace talvo::server {

namespace {

// Each entry brings the schema from the version before it to its own number
// (entry 0 makes version 1). Entries are never edited once released.
constexpr const char* kMigrations[] = {
    R"sql(
CREATE TABLE account (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL UNIQUE,
  token_selector TEXT UNIQUE,
  token_hash TEXT,
  created_at INTEGER NOT NULL,
  revoked INTEGER NOT NULL DEFAULT 0,
  seq INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE card (
  account_id INTEGER NOT NULL REFERENCES account(id),
  uid TEXT NOT NULL,
  front TEXT NOT NULL,
  am TEXT NOT NULL,
  gloss TEXT NOT NULL,
  source TEXT NOT NULL,
  stability REAL NOT NULL,
  difficulty REAL NOT NULL,
  reps INTEGER NOT NULL,
  lapses INTEGER NOT NULL,
  state TEXT NOT NULL,
  due INTEGER NOT NULL,
  last_day INTEGER NOT NULL,
  suspended INTEGER NOT NULL,
  updated_at INTEGER NOT NULL,
  seq INTEGER NOT NULL,
  device TEXT NOT NULL,
  PRIMARY KEY (account_id, uid)
) WITHOUT ROWID;
CREATE INDEX card_by_seq ON card(account_id, seq);
CREATE TABLE review_log (
  account_id INTEGER NOT NULL REFERENCES account(id),
  log_id TEXT NOT NULL,
  card_uid TEXT NOT NULL,
  ts INTEGER NOT NULL,
  day INTEGER NOT NULL,
  rating INTEGER NOT NULL,
  elapsed INTEGER NOT NULL,
  ivl INTEGER NOT NULL,
  seq INTEGER NOT NULL,
  device TEXT NOT NULL,
  PRIMARY KEY (account_id, log_id)
) WITHOUT ROWID;
CREATE INDEX review_log_by_seq ON review_log(account_id, seq);
CREATE TABLE lesson (
  id INTEGER PRIMARY KEY,
  tier INTEGER NOT NULL,
  ord INTEGER NOT NULL,
  body TEXT NOT NULL
);
CREATE TABLE tm_passage (
  id INTEGER PRIMARY KEY,
  zh_hash TEXT NOT NULL UNIQUE,
  zh TEXT NOT NULL,
  vi TEXT,
  model TEXT,
  requests INTEGER NOT NULL DEFAULT 1,
  attempts INTEGER NOT NULL DEFAULT 0,
  not_before INTEGER NOT NULL DEFAULT 0,
  last_error TEXT,
  created_at INTEGER NOT NULL,
  translated_at INTEGER
);
CREATE INDEX tm_waiting ON tm_passage(id) WHERE vi IS NULL;
CREATE TABLE stat_event (
  day INTEGER NOT NULL,
  name TEXT NOT NULL,
  detail TEXT NOT NULL,
  n INTEGER NOT NULL,
  PRIMARY KEY (day, name, detail)
) WITHOUT ROWID;
CREATE TABLE stat_lookup (
  day INTEGER NOT NULL,
  zh_hash TEXT NOT NULL,
  zh TEXT NOT NULL,
  n INTEGER NOT NULL,
  PRIMARY KEY (day, zh_hash)
) WITHOUT ROWID;
)sql",
    // A card's logs, read to replay its state when several devices review it.
    "CREATE INDEX review_log_by_card ON review_log(account_id, card_uid);",
    // Who queued a passage, so one address or account cannot fill the queue.
    R"sql(
ALTER TABLE tm_passage ADD COLUMN requester TEXT;
CREATE INDEX tm_waiting_by_requester ON tm_passage(requester) WHERE vi IS NULL;
)sql",
};
constexpr int kSchemaVersion = static_cast<int>(std::size(kMigrations));

// Writers that wait together are committed together, up to this many.
constexpr size_t kMaxBatch = 64;

constexpr const char* kCardColumns =
    "uid, front, am, gloss, source, stability, difficulty, reps, lapses, state, due, last_day, "
    "suspended, updated_at";

[[noreturn]] void fail(db::Database& db, std::string_view what) {
    throw StorageError("SQLite: " + std::string(what) + ": " + db.errorMessage());
}

db::Statement& prepare(db::Database& db, const std::string& sql) {
    db::Statement* st = db.cached(sql);
    if (!st) {
        fail(db, "cannot prepare a statement");
    }
    return *st;
}

void exec(db::Database& db, std::string_view sql) {
    if (!db.exec(sql)) {
        fail(db, "statement failed");
    }
}

void run(db::Database& db, db::Statement& st) {
    if (!st.run()) {
        fail(db, "write failed");
    }
}

// step() reads false both at the end and on an error; tell them apart.
void checkEnd(db::Database& db) {
    int rc = db.errorCode();
    if (rc != SQLITE_OK && rc != SQLITE_ROW && rc != SQLITE_DONE) {
        fail(db, "read failed");
    }
}

template <class F>
void eachRow(db::Database& db, db::Statement& st, F&& f) {
    while (st.step()) {
        f(st);
    }
    checkEnd(db);
}

std::string text(const db::Statement& st, int column) {
    return st.text(column).value_or("");
}

CardRecord readCard(const db::Statement& st) {
    CardRecord c;
    c.uid = text(st, 0);
    c.front = text(st, 1);
    c.am = text(st, 2);
    c.gloss = text(st, 3);
    c.source = text(st, 4);
    c.stability = st.real(5);
    c.difficulty = st.real(6);
    c.reps = st.int64(7);
    c.lapses = st.int64(8);
    c.state = text(st, 9);
    c.due = st.int64(10);
    c.lastDay = st.int64(11);
    c.suspended = st.int64(12);
    c.updatedAt = st.int64(13);
    return c;
}

TmJob readJob(const db::Statement& st) {
    TmJob job;
    job.id = st.int64(0);
    job.zh = text(st, 1);
    job.requests = st.int64(2);
    job.attempts = st.int64(3);
    job.lastError = text(st, 4);
    job.createdAt = st.int64(5);
    return job;
}

constexpr const char* kJobColumns = "id, zh, requests, attempts, last_error, created_at";

}  // namespace

SqliteStorage::SqliteStorage(const std::string& path, size_t readers)
    : m_path(path), m_maxReaders(readers == 0 ? 1 : readers) {
    m_writer = openConnection();
    db::Database& db = *m_writer;
    db::Statement wal(db, "PRAGMA journal_mode=WAL");
    if (!wal.valid()) {
        fail(db, "cannot open " + path);
    }
    if (!wal.step() || wal.text(0).value_or("") != "wal") {
        fail(db, "cannot switch " + path + " to WAL mode");
    }
    wal.reset();
    // An answered exchange must survive a power cut: the device has marked
    // its logs as sent and will not send them again.
    exec(db, "PRAGMA synchronous=FULL");
    migrate(db);
}

SqliteStorage::~SqliteStorage() = default;

std::unique_ptr<db::Database> SqliteStorage::openConnection() {
    std::unique_ptr<db::Database> db;
    try {
        db = db::Database::openCreatingFolders(m_path);
    } catch (const db::OpenError& e) {
        throw StorageError("SQLite: cannot open " + m_path + ": " + e.what());
    }
    // Another process (the command line) may hold the write lock briefly,
    // and on a loaded machine many exchanges queue for it: SQLite's waiting
    // is not first come, first served, so one writer may lose several turns.
    // A sync waiting is better than one answered 503.
    sqlite3_busy_timeout(db->handle(), 15000);
    return db;
}

void SqliteStorage::migrate(db::Database& db) {
    db::Transaction tx(db);
    if (!tx.active()) {
        fail(db, "cannot open " + m_path);
    }
    int64_t tables = 0;
    bool versioned = false;
    {
        db::Statement& st = prepare(db, "SELECT name FROM sqlite_master WHERE type='table'");
        db::ScopedReset reset(st);
        eachRow(db, st, [&](const db::Statement& row) {
            ++tables;
            versioned = versioned || text(row, 0) == "schema_version";
        });
    }
    if (tables > 0 && !versioned) {
        throw StorageError("SQLite: " + m_path + " is not a talvo-server database");
    }
    exec(db, "CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
    int64_t current = 0;
    {
        db::Statement& st = prepare(db, "SELECT COALESCE(MAX(version), 0) FROM schema_version");
        db::ScopedReset reset(st);
        if (st.step()) {
            current = st.int64(0);
        }
        checkEnd(db);
    }
    if (current > kSchemaVersion) {
        throw StorageError("SQLite: " + m_path + " has schema version " + std::to_string(current) +
                           ", newer than this program's " + std::to_string(kSchemaVersion));
    }
    for (int64_t v = current + 1; v <= kSchemaVersion; ++v) {
        exec(db, kMigrations[v - 1]);
        db::Statement& st = prepare(db, "INSERT INTO schema_version (version) VALUES (?)");
        db::ScopedReset reset(st);
        st.bind(1, v);
        run(db, st);
    }
    if (!tx.commit()) {
        fail(db, "cannot commit the schema");
    }
}

int SqliteStorage::schemaVersion() {
    int version = 0;
    read([&](db::Database& db) {
        db::Statement& st = prepare(db, "SELECT COALESCE(MAX(version), 0) FROM schema_version");
        db::ScopedReset reset(st);
        if (st.step()) {
            version = static_cast<int>(st.int64(0));
        }
        checkEnd(db);
    });
    return version;
}

void SqliteStorage::write(std::function<void(db::Database&)> fn) {
    WriteJob job{std::move(fn), nullptr, false};
    std::unique_lock lock(m_writeMutex);
    m_queue.push_back(&job);
    while (!job.done) {
        if (m_leading) {
            m_writeDone.wait(lock);
            continue;
        }
        m_leading = true;
        std::vector<WriteJob*> batch;
        while (!m_queue.empty() && batch.size() < kMaxBatch) {
            batch.push_back(m_queue.front());
            m_queue.pop_front();
        }
        lock.unlock();
        commitBatch(batch);
        lock.lock();
        for (WriteJob* j : batch) {
            j->done = true;
        }
        m_leading = false;
        m_writeDone.notify_all();
    }
    if (job.error) {
        std::rethrow_exception(job.error);
    }
}

void SqliteStorage::commitBatch(std::vector<WriteJob*>& batch) {
    db::Database& db = *m_writer;
    auto failAll = [&](const std::string& why) {
        auto error = std::make_exception_ptr(StorageError("SQLite: " + why));
        for (WriteJob* j : batch) {
            j->error = error;
        }
    };
    if (!db.exec("BEGIN IMMEDIATE")) {
        failAll("cannot start a write: " + db.errorMessage());
        return;
    }
    for (WriteJob* job : batch) {
        try {
            exec(db, "SAVEPOINT request");
            job->run(db);
            exec(db, "RELEASE request");
        } catch (...) {
            job->error = std::current_exception();
            db.exec("ROLLBACK TO request");
            db.exec("RELEASE request");
        }
        // Some errors (disk full, I/O) make SQLite roll the whole transaction
        // back, taking the earlier requests of the batch with it.
        if (!db.inTransaction()) {
            failAll("the write was rolled back: " + db.errorMessage());
            return;
        }
    }
    if (!db.exec("COMMIT")) {
        std::string why = db.errorMessage();
        db.exec("ROLLBACK");
        failAll("cannot commit: " + why);
    }
}

void SqliteStorage::read(const std::function<void(db::Database&)>& fn) {
    std::unique_ptr<db::Database> conn;
    {
        std::unique_lock lock(m_readMutex);
        m_readerFree.wait(lock,
                          [&] { return !m_idleReaders.empty() || m_readersMade < m_maxReaders; });
        if (!m_idleReaders.empty()) {
            conn = std::move(m_idleReaders.back());
            m_idleReaders.pop_back();
        } else {
            ++m_readersMade;
        }
    }
    if (!conn) {
        try {
            conn = openConnection();
        } catch (...) {
            std::lock_guard lock(m_readMutex);
            --m_readersMade;
            m_readerFree.notify_one();
            throw;
        }
    }
    struct GiveBack {
        SqliteStorage& self;
        std::unique_ptr<db::Database>& conn;
        ~GiveBack() {
            std::lock_guard lock(self.m_readMutex);
            self.m_idleReaders.push_back(std::move(conn));
            self.m_readerFree.notify_one();
        }
    } giveBack{*this, conn};
    db::ReadTransaction snapshot(*conn);
    fn(*conn);
}

bool SqliteStorage::addAccount(const std::string& name, const TokenDigest& token, int64_t now) {
    bool added = false;
    write([&](db::Database& db) {
        db::Statement& st =
            prepare(db,
                    "INSERT INTO account (name, token_selector, token_hash, created_at) "
                    "VALUES (?, ?, ?, ?) ON CONFLICT(name) DO NOTHING");
        db::ScopedReset reset(st);
        st.bind(1, name).bind(2, token.selector).bind(3, token.hash).bind(4, now);
        run(db, st);
        added = db.changes() == 1;
    });
    return added;
}

bool SqliteStorage::setAccountToken(const std::string& name, const TokenDigest& token) {
    bool found = false;
    write([&](db::Database& db) {
        db::Statement& st = prepare(
            db, "UPDATE account SET token_selector=?, token_hash=?, revoked=0 WHERE name=?");
        db::ScopedReset reset(st);
        st.bind(1, token.selector).bind(2, token.hash).bind(3, name);
        run(db, st);
        found = db.changes() == 1;
    });
    return found;
}

bool SqliteStorage::revokeAccount(const std::string& name) {
    bool found = false;
    write([&](db::Database& db) {
        db::Statement& st = prepare(
            db, "UPDATE account SET token_selector=NULL, token_hash=NULL, revoked=1 WHERE name=?");
        db::ScopedReset reset(st);
        st.bind(1, name);
        run(db, st);
        found = db.changes() == 1;
    });
    return found;
}

std::optional<TokenOwner> SqliteStorage::tokenOwner(const std::string& selector) {
    std::optional<TokenOwner> owner;
    read([&](db::Database& db) {
        db::Statement& st =
            prepare(db, "SELECT id, token_hash FROM account WHERE token_selector=? AND revoked=0");
        db::ScopedReset reset(st);
        st.bind(1, selector);
        if (st.step()) {
            owner = TokenOwner{st.int64(0), text(st, 1)};
        }
        checkEnd(db);
    });
    return owner;
}

std::vector<AccountInfo> SqliteStorage::accounts() {
    std::vector<AccountInfo> out;
    read([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "SELECT a.id, a.name, a.created_at, a.revoked,"
                                    " (SELECT COUNT(*) FROM card c WHERE c.account_id=a.id),"
                                    " (SELECT COUNT(*) FROM review_log l WHERE l.account_id=a.id)"
                                    " FROM account a ORDER BY a.name");
        db::ScopedReset reset(st);
        eachRow(db, st, [&](const db::Statement& row) {
            out.push_back({row.int64(0), text(row, 1), row.int64(2), row.int64(3) != 0,
                           row.int64(4), row.int64(5)});
        });
    });
    return out;
}

SyncPull SqliteStorage::exchange(int64_t accountId, const SyncPush& push, PullLimits limits) {
    SyncPull pull;
    write([&](db::Database& db) {
        pull = SyncPull{};
        int64_t head = 0;
        {
            db::Statement& st = prepare(db, "SELECT seq FROM account WHERE id=?");
            db::ScopedReset reset(st);
            st.bind(1, accountId);
            if (!st.step()) {
                checkEnd(db);
                throw StorageError("no account " + std::to_string(accountId));
            }
            head = st.int64(0);
        }
        // Every pushed row takes its own number, so that an answer cut short
        // after any row leaves a cursor that splits no group of rows. Rows
        // that change nothing leave gaps, which readers never notice.
        int64_t next = head;
        std::vector<CardRecord> echoes;
        db::Statement& upsert = prepare(
            db,
            "INSERT INTO card (account_id, uid, front, am, gloss, source, stability, difficulty,"
            " reps, lapses, state, due, last_day, suspended, updated_at, seq, device)"
            " VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)"
            " ON CONFLICT(account_id, uid) DO UPDATE SET front=excluded.front, am=excluded.am,"
            " gloss=excluded.gloss, source=excluded.source, stability=excluded.stability,"
            " difficulty=excluded.difficulty, reps=excluded.reps, lapses=excluded.lapses,"
            " state=excluded.state, due=excluded.due, last_day=excluded.last_day,"
            " suspended=excluded.suspended, updated_at=excluded.updated_at, seq=excluded.seq,"
            " device=excluded.device"
            " WHERE excluded.updated_at > card.updated_at");
        db::Statement& newer =
            prepare(db, std::string("SELECT ") + kCardColumns +
                            " FROM card WHERE account_id=? AND uid=? AND updated_at>?");
        for (const CardRecord& c : push.cards) {
            ++next;
            db::ScopedReset reset(upsert);
            upsert.bind(1, accountId)
                .bind(2, c.uid)
                .bind(3, c.front)
                .bind(4, c.am)
                .bind(5, c.gloss)
                .bind(6, c.source)
                .bind(7, c.stability)
                .bind(8, c.difficulty)
                .bind(9, c.reps)
                .bind(10, c.lapses)
                .bind(11, c.state)
                .bind(12, c.due)
                .bind(13, c.lastDay)
                .bind(14, c.suspended)
                .bind(15, c.updatedAt)
                .bind(16, next)
                .bind(17, push.pusher());
            run(db, upsert);
            if (db.changes() == 1) {
                ++pull.cardsChanged;
                continue;
            }
            db::ScopedReset resetNewer(newer);
            newer.bind(1, accountId).bind(2, c.uid).bind(3, c.updatedAt);
            if (newer.step()) {
                echoes.push_back(readCard(newer));
            }
            checkEnd(db);
        }
        db::Statement& insertLog = prepare(
            db,
            "INSERT INTO review_log (account_id, log_id, card_uid, ts, day, rating, elapsed, ivl,"
            " seq, device) VALUES (?,?,?,?,?,?,?,?,?,?) ON CONFLICT DO NOTHING");
        for (const LogRecord& l : push.logs) {
            ++next;
            db::ScopedReset reset(insertLog);
            insertLog.bind(1, accountId)
                .bind(2, l.logId)
                .bind(3, l.cardUid)
                .bind(4, l.ts)
                .bind(5, l.day)
                .bind(6, l.rating)
                .bind(7, l.elapsed)
                .bind(8, l.interval)
                .bind(9, next)
                .bind(10, push.pusher());
            run(db, insertLog);
            pull.logsAdded += db.changes();
        }

        // A touched card's state is the replay of all its logs (devices that
        // reviewed it apart each knew only their own reviews); a changed one
        // is handed to every device (device '').
        std::vector<std::string> uids = touchedUids(push);
        if (!uids.empty()) {
            std::vector<CardRecord> stored;
            std::vector<LogRecord> cardLogs;
            // One statement each for all touched cards: the uids travel as
            // one JSON list. Without statistics the planner would rather walk
            // the whole account by its primary key, hence the index named.
            nlohmann::json list(uids);
            const std::string touched = list.dump();
            db::Statement& logSt =
                prepare(db,
                        "SELECT log_id, card_uid, ts, day, rating, elapsed, ivl FROM review_log"
                        " INDEXED BY review_log_by_card WHERE account_id=? AND card_uid IN"
                        " (SELECT value FROM json_each(?))");
            {
                db::ScopedReset reset(logSt);
                logSt.bind(1, accountId).bind(2, touched);
                eachRow(db, logSt, [&](const db::Statement& row) {
                    cardLogs.push_back({text(row, 0), text(row, 1), row.int64(2), row.int64(3),
                                        row.int64(4), row.int64(5), row.int64(6)});
                });
            }
            if (!cardLogs.empty()) {
                db::Statement& cardSt = prepare(db, std::string("SELECT ") + kCardColumns +
                                                        " FROM card WHERE account_id=? AND uid IN"
                                                        " (SELECT value FROM json_each(?))");
                db::ScopedReset reset(cardSt);
                cardSt.bind(1, accountId).bind(2, touched);
                eachRow(db, cardSt,
                        [&](const db::Statement& row) { stored.push_back(readCard(row)); });
            }
            db::Statement& setSt =
                prepare(db,
                        "UPDATE card SET stability=?, difficulty=?, reps=?, lapses=?, state=?,"
                        " due=?, last_day=?, seq=?, device='' WHERE account_id=? AND uid=?");
            for (const CardRecord& c : replayedCards(stored, cardLogs)) {
                db::ScopedReset reset(setSt);
                setSt.bind(1, c.stability)
                    .bind(2, c.difficulty)
                    .bind(3, c.reps)
                    .bind(4, c.lapses)
                    .bind(5, c.state)
                    .bind(6, c.due)
                    .bind(7, c.lastDay)
                    .bind(8, ++next)
                    .bind(9, accountId)
                    .bind(10, c.uid);
                run(db, setSt);
                ++pull.cardsReplayed;
            }
        }
        if (next != head) {
            db::Statement& st = prepare(db, "UPDATE account SET seq=? WHERE id=?");
            db::ScopedReset reset(st);
            st.bind(1, next).bind(2, accountId);
            run(db, st);
        }

        PullStart start = pullStart(push.since, head);
        int64_t fetch = static_cast<int64_t>(limits.maxRows) + 1;
        std::vector<SeqCard> cards;
        {
            db::Statement& st =
                prepare(db, std::string("SELECT ") + kCardColumns +
                                ", seq FROM card WHERE account_id=? AND seq>? AND (? OR device<>?)"
                                " ORDER BY seq LIMIT ?");
            db::ScopedReset reset(st);
            st.bind(1, accountId)
                .bind(2, start.since)
                .bind(3, int64_t{start.ownCards})
                .bind(4, push.pusher())
                .bind(5, fetch);
            eachRow(db, st, [&](const db::Statement& row) {
                cards.push_back({row.int64(14), readCard(row)});
            });
        }
        std::vector<SeqLog> logs;
        {
            db::Statement& st = prepare(
                db,
                "SELECT log_id, card_uid, ts, day, rating, elapsed, ivl, seq FROM review_log"
                " WHERE account_id=? AND seq>? AND device<>? ORDER BY seq LIMIT ?");
            db::ScopedReset reset(st);
            st.bind(1, accountId).bind(2, start.since).bind(3, push.pusher()).bind(4, fetch);
            eachRow(db, st, [&](const db::Statement& row) {
                logs.push_back({row.int64(7),
                                {text(row, 0), text(row, 1), row.int64(2), row.int64(3),
                                 row.int64(4), row.int64(5), row.int64(6)}});
            });
        }
        mergePull(cards, logs, next, limits, pull);
        addLosingEchoes(std::move(echoes), pull);
    });
    return pull;
}

void SqliteStorage::putLessons(const std::vector<StoredLesson>& lessons) {
    write([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "INSERT INTO lesson (id, tier, ord, body) VALUES (?,?,?,?)"
                                    " ON CONFLICT(id) DO UPDATE SET tier=excluded.tier,"
                                    " ord=excluded.ord, body=excluded.body");
        for (const StoredLesson& l : lessons) {
            db::ScopedReset reset(st);
            st.bind(1, l.id).bind(2, l.tier).bind(3, l.ord).bind(4, l.json);
            run(db, st);
        }
    });
}

bool SqliteStorage::removeLesson(int64_t id) {
    bool found = false;
    write([&](db::Database& db) {
        db::Statement& st = prepare(db, "DELETE FROM lesson WHERE id=?");
        db::ScopedReset reset(st);
        st.bind(1, id);
        run(db, st);
        found = db.changes() == 1;
    });
    return found;
}

std::vector<StoredLesson> SqliteStorage::lessons() {
    std::vector<StoredLesson> out;
    read([&](db::Database& db) {
        db::Statement& st =
            prepare(db, "SELECT id, tier, ord, body FROM lesson ORDER BY tier, ord, id");
        db::ScopedReset reset(st);
        eachRow(db, st, [&](const db::Statement& row) {
            out.push_back({row.int64(0), row.int64(1), row.int64(2), text(row, 3)});
        });
    });
    return out;
}

TmAnswer SqliteStorage::translateOrQueue(const std::string& zh, int64_t now,
                                         const QueueLimits& limits) {
    std::string hash = sha256Hex(zh);
    TmAnswer answer;
    bool known = false;
    read([&](db::Database& db) {
        db::Statement& st = prepare(db, "SELECT vi, model FROM tm_passage WHERE zh_hash=?");
        db::ScopedReset reset(st);
        st.bind(1, hash);
        if (st.step() && !st.isNull(0)) {
            known = true;
            answer = {TmAnswer::Kind::Memory, text(st, 0), text(st, 1)};
        }
        checkEnd(db);
    });
    if (known) {
        return answer;
    }
    write([&](db::Database& db) {
        answer = TmAnswer{};
        db::Statement& bump = prepare(
            db, "UPDATE tm_passage SET requests=requests+1 WHERE zh_hash=? RETURNING vi, model");
        {
            db::ScopedReset reset(bump);
            bump.bind(1, hash);
            if (bump.step()) {
                if (!bump.isNull(0)) {
                    answer = {TmAnswer::Kind::Memory, text(bump, 0), text(bump, 1)};
                }
                bump.run();
                checkEnd(db);
                return;
            }
            checkEnd(db);
        }
        db::Statement& count = prepare(db, "SELECT COUNT(*) FROM tm_passage WHERE vi IS NULL");
        {
            db::ScopedReset reset(count);
            if (count.step() && count.int64(0) >= limits.maxQueue) {
                answer.kind = TmAnswer::Kind::QueueFull;
                return;
            }
            checkEnd(db);
        }
        if (limits.maxPerRequester > 0) {
            db::Statement& mine =
                prepare(db, "SELECT COUNT(*) FROM tm_passage WHERE vi IS NULL AND requester=?");
            db::ScopedReset reset(mine);
            mine.bind(1, limits.requester);
            if (mine.step() && mine.int64(0) >= limits.maxPerRequester) {
                answer.kind = TmAnswer::Kind::OverShare;
                return;
            }
            checkEnd(db);
        }
        db::Statement& insert = prepare(
            db, "INSERT INTO tm_passage (zh_hash, zh, created_at, requester) VALUES (?,?,?,?)");
        db::ScopedReset reset(insert);
        insert.bind(1, hash).bind(2, zh).bind(3, now);
        if (limits.requester.empty()) {
            insert.bindNull(4);
        } else {
            insert.bind(4, limits.requester);
        }
        run(db, insert);
    });
    return answer;
}

std::optional<TmJob> SqliteStorage::claimJob(int64_t now, int64_t leaseSeconds) {
    std::optional<TmJob> job;
    write([&](db::Database& db) {
        job.reset();
        db::Statement& st = prepare(
            db, std::string("UPDATE tm_passage SET not_before=? WHERE id=(SELECT id FROM"
                            " tm_passage WHERE vi IS NULL AND not_before<=? ORDER BY id LIMIT 1)"
                            " RETURNING ") +
                    kJobColumns);
        db::ScopedReset reset(st);
        st.bind(1, now + leaseSeconds).bind(2, now);
        if (st.step()) {
            job = readJob(st);
            st.run();
        }
        checkEnd(db);
    });
    return job;
}

bool SqliteStorage::putTranslation(int64_t id, const std::string& vi, const std::string& model,
                                   int64_t now) {
    bool found = false;
    write([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "UPDATE tm_passage SET vi=?, model=?, translated_at=?,"
                                    " last_error=NULL WHERE id=?");
        db::ScopedReset reset(st);
        st.bind(1, vi).bind(2, model).bind(3, now).bind(4, id);
        run(db, st);
        found = db.changes() == 1;
    });
    return found;
}

void SqliteStorage::failJob(int64_t id, const std::string& error, int64_t retryAt) {
    write([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "UPDATE tm_passage SET attempts=attempts+1, last_error=?,"
                                    " not_before=? WHERE id=? AND vi IS NULL");
        db::ScopedReset reset(st);
        st.bind(1, error).bind(2, retryAt).bind(3, id);
        run(db, st);
    });
}

std::vector<TmJob> SqliteStorage::pendingJobs(size_t limit) {
    std::vector<TmJob> out;
    read([&](db::Database& db) {
        db::Statement& st =
            prepare(db, std::string("SELECT ") + kJobColumns +
                            " FROM tm_passage WHERE vi IS NULL ORDER BY id LIMIT ?");
        db::ScopedReset reset(st);
        st.bind(1, static_cast<int64_t>(limit));
        eachRow(db, st, [&](const db::Statement& row) { out.push_back(readJob(row)); });
    });
    return out;
}

int64_t SqliteStorage::pendingCount() {
    int64_t n = 0;
    read([&](db::Database& db) {
        db::Statement& st = prepare(db, "SELECT COUNT(*) FROM tm_passage WHERE vi IS NULL");
        db::ScopedReset reset(st);
        if (st.step()) {
            n = st.int64(0);
        }
        checkEnd(db);
    });
    return n;
}

void SqliteStorage::countEvent(int64_t day, const std::string& name, const std::string& detail) {
    write([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "INSERT INTO stat_event (day, name, detail, n) VALUES (?,?,?,1)"
                                    " ON CONFLICT(day, name, detail) DO UPDATE SET n=n+1");
        db::ScopedReset reset(st);
        st.bind(1, day).bind(2, name).bind(3, detail);
        run(db, st);
    });
}

void SqliteStorage::countLookup(int64_t day, const std::string& zh) {
    std::string hash = sha256Hex(zh);
    write([&](db::Database& db) {
        db::Statement& st = prepare(db,
                                    "INSERT INTO stat_lookup (day, zh_hash, zh, n) VALUES (?,?,?,1)"
                                    " ON CONFLICT(day, zh_hash) DO UPDATE SET n=n+1");
        db::ScopedReset reset(st);
        st.bind(1, day).bind(2, hash).bind(3, zh);
        run(db, st);
    });
}

StatsReport SqliteStorage::stats(int64_t fromDay, int64_t toDay, size_t top) {
    StatsReport report;
    read([&](db::Database& db) {
        {
            db::Statement& st = prepare(db,
                                        "SELECT MIN(zh), SUM(n) AS total FROM stat_lookup"
                                        " WHERE day BETWEEN ? AND ? GROUP BY zh_hash"
                                        " ORDER BY total DESC, MIN(zh) LIMIT ?");
            db::ScopedReset reset(st);
            st.bind(1, fromDay).bind(2, toDay).bind(3, static_cast<int64_t>(top));
            eachRow(db, st, [&](const db::Statement& row) {
                report.topLookups.push_back({text(row, 0), row.int64(1)});
            });
        }
        {
            db::Statement& st = prepare(db,
                                        "SELECT day, name, detail, n FROM stat_event"
                                        " WHERE day BETWEEN ? AND ? ORDER BY day, name, detail");
            db::ScopedReset reset(st);
            st.bind(1, fromDay).bind(2, toDay);
            eachRow(db, st, [&](const db::Statement& row) {
                report.events.push_back({row.int64(0), text(row, 1), text(row, 2), row.int64(3)});
            });
        }
        {
            db::Statement& st = prepare(db,
                                        "SELECT day, SUM(n) FROM stat_lookup WHERE day BETWEEN ?"
                                        " AND ? GROUP BY day ORDER BY day");
            db::ScopedReset reset(st);
            st.bind(1, fromDay).bind(2, toDay);
            eachRow(db, st, [&](const db::Statement& row) {
                report.lookupsPerDay.emplace_back(row.int64(0), row.int64(1));
            });
        }
    });
    return report;
}

}  // namespace talvo::server
