#include "server/postgres_storage.h"

#include <nlohmann/json.hpp>

#include "server/pg_pool.h"
#include "server/sync_batch.h"
#include "server/token.h"

namespace talvo::server {

namespace {

using json = nlohmann::json;

// Each entry brings the schema from the version before it to its own number.
// Entries are never edited once released.
const char* const kMigrations[] = {
    R"sql(
CREATE TABLE account (
  id BIGSERIAL PRIMARY KEY,
  name TEXT NOT NULL UNIQUE,
  token_selector TEXT UNIQUE,
  token_hash TEXT,
  created_at BIGINT NOT NULL,
  revoked BOOLEAN NOT NULL DEFAULT false,
  seq BIGINT NOT NULL DEFAULT 0
);
CREATE TABLE card (
  account_id BIGINT NOT NULL REFERENCES account(id),
  uid TEXT NOT NULL,
  front TEXT NOT NULL,
  am TEXT NOT NULL,
  gloss TEXT NOT NULL,
  source TEXT NOT NULL,
  stability DOUBLE PRECISION NOT NULL,
  difficulty DOUBLE PRECISION NOT NULL,
  reps BIGINT NOT NULL,
  lapses BIGINT NOT NULL,
  state TEXT NOT NULL,
  due BIGINT NOT NULL,
  last_day BIGINT NOT NULL,
  suspended BIGINT NOT NULL,
  updated_at BIGINT NOT NULL,
  seq BIGINT NOT NULL,
  device TEXT NOT NULL,
  PRIMARY KEY (account_id, uid)
);
CREATE INDEX card_by_seq ON card (account_id, seq);
CREATE TABLE review_log (
  account_id BIGINT NOT NULL REFERENCES account(id),
  log_id TEXT NOT NULL,
  card_uid TEXT NOT NULL,
  ts BIGINT NOT NULL,
  day BIGINT NOT NULL,
  rating BIGINT NOT NULL,
  elapsed BIGINT NOT NULL,
  ivl BIGINT NOT NULL,
  seq BIGINT NOT NULL,
  device TEXT NOT NULL,
  PRIMARY KEY (account_id, log_id)
);
CREATE INDEX review_log_by_seq ON review_log (account_id, seq);
CREATE TABLE lesson (
  id BIGINT PRIMARY KEY,
  tier BIGINT NOT NULL,
  ord BIGINT NOT NULL,
  body TEXT NOT NULL
);
CREATE TABLE tm_passage (
  id BIGSERIAL PRIMARY KEY,
  zh_hash TEXT NOT NULL UNIQUE,
  zh TEXT NOT NULL,
  vi TEXT,
  model TEXT,
  requests BIGINT NOT NULL DEFAULT 1,
  attempts BIGINT NOT NULL DEFAULT 0,
  not_before BIGINT NOT NULL DEFAULT 0,
  last_error TEXT,
  created_at BIGINT NOT NULL,
  translated_at BIGINT
);
CREATE INDEX tm_waiting ON tm_passage (id) WHERE vi IS NULL;
CREATE TABLE stat_event (
  day BIGINT NOT NULL,
  name TEXT NOT NULL,
  detail TEXT NOT NULL,
  n BIGINT NOT NULL,
  PRIMARY KEY (day, name, detail)
);
CREATE TABLE stat_lookup (
  day BIGINT NOT NULL,
  zh_hash TEXT NOT NULL,
  zh TEXT NOT NULL,
  n BIGINT NOT NULL,
  PRIMARY KEY (day, zh_hash)
);
)sql",
    // A card's logs, read to replay its state when several devices review it.
    "CREATE INDEX review_log_by_card ON review_log (account_id, card_uid);",
    // Who queued a passage, so one address or account cannot fill the queue.
    R"sql(
ALTER TABLE tm_passage ADD COLUMN requester TEXT;
CREATE INDEX tm_waiting_by_requester ON tm_passage (requester) WHERE vi IS NULL;
)sql",
};
constexpr int kSchemaVersion = static_cast<int>(std::size(kMigrations));

// Any fixed number: the key of the advisory lock that migrations hold.
constexpr int64_t kMigrationLock = 7346001;

// Transient conflicts between transactions: the whole operation is retried.
bool retryable(const PgError& e) {
    return e.sqlState() == "40001" || e.sqlState() == "40P01";
}

constexpr const char* kCardColumns =
    "uid, front, am, gloss, source, stability, difficulty, reps, lapses, state, due, last_day, "
    "suspended, updated_at";

CardRecord readCard(const PgResult& r, int row) {
    CardRecord c;
    c.uid = r.text(row, 0);
    c.front = r.text(row, 1);
    c.am = r.text(row, 2);
    c.gloss = r.text(row, 3);
    c.source = r.text(row, 4);
    c.stability = r.real(row, 5);
    c.difficulty = r.real(row, 6);
    c.reps = r.int64(row, 7);
    c.lapses = r.int64(row, 8);
    c.state = r.text(row, 9);
    c.due = r.int64(row, 10);
    c.lastDay = r.int64(row, 11);
    c.suspended = r.int64(row, 12);
    c.updatedAt = r.int64(row, 13);
    return c;
}

constexpr const char* kJobColumns = "id, zh, requests, attempts, last_error, created_at";

TmJob readJob(const PgResult& r, int row) {
    return {r.int64(row, 0), r.text(row, 1), r.int64(row, 2),
            r.int64(row, 3), r.text(row, 4), r.int64(row, 5)};
}

std::string dumpJson(const json& j) {
    return j.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

PostgresStorage::PostgresStorage(const std::string& url, size_t poolSize)
    : m_pool(std::make_unique<PgPool>(url, poolSize)) {
    migrate();
}

PostgresStorage::~PostgresStorage() = default;

void PostgresStorage::attempt(const std::function<void(PgConnection&)>& fn) {
    for (int attempt = 1;; ++attempt) {
        PgPool::Lease conn = m_pool->acquire();
        try {
            fn(*conn);
            return;
        } catch (const PgError& e) {
            conn->rollbackQuietly();
            if (attempt >= 3 || !(conn->broken() || retryable(e))) {
                throw;
            }
        }
    }
}

void PostgresStorage::transact(const std::function<void(PgConnection&)>& fn) {
    attempt([&](PgConnection& c) {
        PgTransaction tx(c);
        fn(c);
        tx.commit();
    });
}

void PostgresStorage::migrate() {
    transact([&](PgConnection& c) {
        c.exec("SELECT pg_advisory_xact_lock($1)", PgParams().add(kMigrationLock));
        PgResult tables = c.exec(
            "SELECT count(*), count(*) FILTER (WHERE table_name = 'schema_version')"
            " FROM information_schema.tables WHERE table_schema = current_schema()");
        if (tables.int64(0, 0) > 0 && tables.int64(0, 1) == 0) {
            throw StorageError(
                "PostgreSQL: the database holds other tables; it is not a "
                "talvo-server database");
        }
        c.execScript("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
        int64_t current =
            c.exec("SELECT COALESCE(MAX(version), 0) FROM schema_version").int64(0, 0);
        if (current > kSchemaVersion) {
            throw StorageError("PostgreSQL: the database has schema version " +
                               std::to_string(current) + ", newer than this program's " +
                               std::to_string(kSchemaVersion));
        }
        for (int64_t v = current + 1; v <= kSchemaVersion; ++v) {
            c.execScript(kMigrations[v - 1]);
            c.exec("INSERT INTO schema_version (version) VALUES ($1)", PgParams().add(v));
        }
    });
}

int PostgresStorage::schemaVersion() {
    int version = 0;
    transact([&](PgConnection& c) {
        version = static_cast<int>(
            c.exec("SELECT COALESCE(MAX(version), 0) FROM schema_version").int64(0, 0));
    });
    return version;
}

bool PostgresStorage::addAccount(const std::string& name, const TokenDigest& token, int64_t now) {
    bool added = false;
    transact([&](PgConnection& c) {
        added = c.exec(
                     "INSERT INTO account (name, token_selector, token_hash, created_at)"
                     " VALUES ($1, $2, $3, $4) ON CONFLICT (name) DO NOTHING",
                     PgParams().add(name).add(token.selector).add(token.hash).add(now))
                    .affected() == 1;
    });
    return added;
}

bool PostgresStorage::setAccountToken(const std::string& name, const TokenDigest& token) {
    bool found = false;
    transact([&](PgConnection& c) {
        found = c.exec(
                     "UPDATE account SET token_selector = $1, token_hash = $2, revoked = false"
                     " WHERE name = $3",
                     PgParams().add(token.selector).add(token.hash).add(name))
                    .affected() == 1;
    });
    return found;
}

bool PostgresStorage::revokeAccount(const std::string& name) {
    bool found = false;
    transact([&](PgConnection& c) {
        found = c.exec(
                     "UPDATE account SET token_selector = NULL, token_hash = NULL,"
                     " revoked = true WHERE name = $1",
                     PgParams().add(name))
                    .affected() == 1;
    });
    return found;
}

std::optional<TokenOwner> PostgresStorage::tokenOwner(const std::string& selector) {
    std::optional<TokenOwner> owner;
    attempt([&](PgConnection& c) {
        PgResult r =
            c.exec("SELECT id, token_hash FROM account WHERE token_selector = $1 AND NOT revoked",
                   PgParams().add(selector));
        if (r.rows() == 1) {
            owner = TokenOwner{r.int64(0, 0), r.text(0, 1)};
        }
    });
    return owner;
}

std::vector<AccountInfo> PostgresStorage::accounts() {
    std::vector<AccountInfo> out;
    transact([&](PgConnection& c) {
        PgResult r = c.exec(
            "SELECT a.id, a.name, a.created_at, a.revoked,"
            " (SELECT count(*) FROM card c WHERE c.account_id = a.id),"
            " (SELECT count(*) FROM review_log l WHERE l.account_id = a.id)"
            " FROM account a ORDER BY a.name COLLATE \"C\"");
        for (int i = 0; i < r.rows(); ++i) {
            out.push_back({r.int64(i, 0), r.text(i, 1), r.int64(i, 2), r.boolean(i, 3),
                           r.int64(i, 4), r.int64(i, 5)});
        }
    });
    return out;
}

SyncPull PostgresStorage::exchange(int64_t accountId, const SyncPush& push, PullLimits limits) {
    SyncPull pull;
    attempt([&](PgConnection& c) {
        pull = SyncPull{};
        // The row lock orders this account's exchanges by commit: a number
        // handed out here is visible to every exchange that starts after it.
        // Round trips are the cost of a small exchange, so the transaction's
        // first and last statements travel with their neighbours (the ids
        // are integers, written into the text safely).
        PgResult lock =
            c.execScript("BEGIN; SELECT seq FROM account WHERE id = " + std::to_string(accountId) +
                         " FOR UPDATE");
        if (lock.rows() != 1) {
            throw StorageError("no account " + std::to_string(accountId));
        }
        const int64_t head = lock.int64(0, 0);
        int64_t next = head;

        // The rows travel as one JSON parameter so that a batch of any size
        // costs one round trip.
        std::vector<CardRecord> echoes;
        if (!push.cards.empty()) {
            json rows = json::array();
            for (const CardRecord& card : push.cards) {
                rows.push_back({{"seq", ++next},
                                {"uid", card.uid},
                                {"front", card.front},
                                {"am", card.am},
                                {"gloss", card.gloss},
                                {"source", card.source},
                                {"stability", card.stability},
                                {"difficulty", card.difficulty},
                                {"reps", card.reps},
                                {"lapses", card.lapses},
                                {"state", card.state},
                                {"due", card.due},
                                {"last_day", card.lastDay},
                                {"suspended", card.suspended},
                                {"updated_at", card.updatedAt}});
            }
            std::string batch = dumpJson(rows);
            pull.cardsChanged =
                c.exec(
                     "INSERT INTO card (account_id, uid, front, am, gloss, source, stability,"
                     " difficulty, reps, lapses, state, due, last_day, suspended, updated_at,"
                     " seq, device)"
                     " SELECT $1::bigint, x.uid, x.front, x.am, x.gloss, x.source, x.stability,"
                     " x.difficulty, x.reps, x.lapses, x.state, x.due, x.last_day, x.suspended,"
                     " x.updated_at, x.seq, $2::text"
                     " FROM json_to_recordset($3::json) AS x(seq bigint, uid text, front text,"
                     " am text, gloss text, source text, stability float8, difficulty float8,"
                     " reps bigint, lapses bigint, state text, due bigint, last_day bigint,"
                     " suspended bigint, updated_at bigint)"
                     " ON CONFLICT (account_id, uid) DO UPDATE SET front = EXCLUDED.front,"
                     " am = EXCLUDED.am, gloss = EXCLUDED.gloss, source = EXCLUDED.source,"
                     " stability = EXCLUDED.stability, difficulty = EXCLUDED.difficulty,"
                     " reps = EXCLUDED.reps, lapses = EXCLUDED.lapses, state = EXCLUDED.state,"
                     " due = EXCLUDED.due, last_day = EXCLUDED.last_day,"
                     " suspended = EXCLUDED.suspended, updated_at = EXCLUDED.updated_at,"
                     " seq = EXCLUDED.seq, device = EXCLUDED.device"
                     " WHERE EXCLUDED.updated_at > card.updated_at",
                     PgParams().add(accountId).add(push.pusher()).add(batch))
                    .affected();
            if (pull.cardsChanged < static_cast<int64_t>(push.cards.size())) {
                PgResult lost = c.exec(
                    "SELECT c.uid, c.front, c.am, c.gloss, c.source, c.stability, c.difficulty,"
                    " c.reps, c.lapses, c.state, c.due, c.last_day, c.suspended, c.updated_at"
                    " FROM card c JOIN json_to_recordset($2::json) AS x(uid text,"
                    " updated_at bigint) ON c.uid = x.uid"
                    " WHERE c.account_id = $1 AND c.updated_at > x.updated_at",
                    PgParams().add(accountId).add(batch));
                for (int i = 0; i < lost.rows(); ++i) {
                    echoes.push_back(readCard(lost, i));
                }
            }
        }

        if (!push.logs.empty()) {
            json rows = json::array();
            for (const LogRecord& log : push.logs) {
                rows.push_back({{"seq", ++next},
                                {"log_id", log.logId},
                                {"card_uid", log.cardUid},
                                {"ts", log.ts},
                                {"day", log.day},
                                {"rating", log.rating},
                                {"elapsed", log.elapsed},
                                {"ivl", log.interval}});
            }
            pull.logsAdded =
                c.exec(
                     "INSERT INTO review_log (account_id, log_id, card_uid, ts, day, rating,"
                     " elapsed, ivl, seq, device)"
                     " SELECT $1::bigint, x.log_id, x.card_uid, x.ts, x.day, x.rating,"
                     " x.elapsed, x.ivl, x.seq, $2::text"
                     " FROM json_to_recordset($3::json) AS x(seq bigint, log_id text,"
                     " card_uid text, ts bigint, day bigint, rating bigint, elapsed bigint,"
                     " ivl bigint)"
                     " ON CONFLICT (account_id, log_id) DO NOTHING",
                     PgParams().add(accountId).add(push.pusher()).add(dumpJson(rows)))
                    .affected();
        }

        // A touched card's state is the replay of all its logs (devices that
        // reviewed it apart each knew only their own reviews); a changed one
        // is handed to every device (device '').
        if (std::vector<std::string> uids = touchedUids(push); !uids.empty()) {
            json list = json::array();
            for (const std::string& uid : uids) {
                list.push_back(uid);
            }
            std::string touched = dumpJson(list);
            PgResult lr = c.exec(
                "SELECT log_id, card_uid, ts, day, rating, elapsed, ivl FROM review_log"
                " WHERE account_id = $1 AND card_uid IN"
                " (SELECT json_array_elements_text($2::json))",
                PgParams().add(accountId).add(touched));
            std::vector<LogRecord> cardLogs;
            for (int i = 0; i < lr.rows(); ++i) {
                cardLogs.push_back({lr.text(i, 0), lr.text(i, 1), lr.int64(i, 2), lr.int64(i, 3),
                                    lr.int64(i, 4), lr.int64(i, 5), lr.int64(i, 6)});
            }
            std::vector<CardRecord> stored;
            if (!cardLogs.empty()) {
                PgResult cr = c.exec(std::string("SELECT ") + kCardColumns +
                                         " FROM card WHERE account_id = $1 AND uid IN"
                                         " (SELECT json_array_elements_text($2::json))",
                                     PgParams().add(accountId).add(touched));
                for (int i = 0; i < cr.rows(); ++i) {
                    stored.push_back(readCard(cr, i));
                }
            }
            std::vector<CardRecord> replayed = replayedCards(stored, cardLogs);
            if (!replayed.empty()) {
                json rows = json::array();
                for (const CardRecord& card : replayed) {
                    rows.push_back({{"seq", ++next},
                                    {"uid", card.uid},
                                    {"stability", card.stability},
                                    {"difficulty", card.difficulty},
                                    {"reps", card.reps},
                                    {"lapses", card.lapses},
                                    {"state", card.state},
                                    {"due", card.due},
                                    {"last_day", card.lastDay}});
                }
                pull.cardsReplayed =
                    c.exec(
                         "UPDATE card SET stability = x.stability, difficulty = x.difficulty,"
                         " reps = x.reps, lapses = x.lapses, state = x.state, due = x.due,"
                         " last_day = x.last_day, seq = x.seq, device = ''"
                         " FROM json_to_recordset($2::json) AS x(seq bigint, uid text,"
                         " stability float8, difficulty float8, reps bigint, lapses bigint,"
                         " state text, due bigint, last_day bigint)"
                         " WHERE card.account_id = $1 AND card.uid = x.uid",
                         PgParams().add(accountId).add(dumpJson(rows)))
                        .affected();
            }
        }

        PullStart start = pullStart(push.since, head);
        int64_t fetch = static_cast<int64_t>(limits.maxRows) + 1;
        PgParams cardParams;
        cardParams.add(accountId)
            .add(start.since)
            .add(start.ownCards)
            .add(push.pusher())
            .add(fetch);
        PgParams logParams;
        logParams.add(accountId).add(start.since).add(push.pusher()).add(fetch);
        std::vector<SeqCard> cards;
        {
            PgResult r = c.exec(std::string("SELECT ") + kCardColumns +
                                    ", seq FROM card WHERE account_id = $1 AND seq > $2"
                                    " AND ($3::boolean OR device <> $4) ORDER BY seq LIMIT $5",
                                cardParams);
            for (int i = 0; i < r.rows(); ++i) {
                cards.push_back({r.int64(i, 14), readCard(r, i)});
            }
        }
        std::vector<SeqLog> logs;
        {
            PgResult r = c.exec(
                "SELECT log_id, card_uid, ts, day, rating, elapsed, ivl, seq FROM review_log"
                " WHERE account_id = $1 AND seq > $2 AND device <> $3 ORDER BY seq LIMIT $4",
                logParams);
            for (int i = 0; i < r.rows(); ++i) {
                logs.push_back({r.int64(i, 7),
                                {r.text(i, 0), r.text(i, 1), r.int64(i, 2), r.int64(i, 3),
                                 r.int64(i, 4), r.int64(i, 5), r.int64(i, 6)}});
            }
        }
        mergePull(cards, logs, next, limits, pull);
        addLosingEchoes(std::move(echoes), pull);
        c.execScript(next == head ? std::string("COMMIT")
                                  : "UPDATE account SET seq = " + std::to_string(next) +
                                        " WHERE id = " + std::to_string(accountId) + "; COMMIT");
    });
    return pull;
}

void PostgresStorage::putLessons(const std::vector<StoredLesson>& lessons) {
    transact([&](PgConnection& c) {
        for (const StoredLesson& l : lessons) {
            c.exec(
                "INSERT INTO lesson (id, tier, ord, body) VALUES ($1, $2, $3, $4)"
                " ON CONFLICT (id) DO UPDATE SET tier = EXCLUDED.tier, ord = EXCLUDED.ord,"
                " body = EXCLUDED.body",
                PgParams().add(l.id).add(l.tier).add(l.ord).add(l.json));
        }
    });
}

bool PostgresStorage::removeLesson(int64_t id) {
    bool found = false;
    transact([&](PgConnection& c) {
        found = c.exec("DELETE FROM lesson WHERE id = $1", PgParams().add(id)).affected() == 1;
    });
    return found;
}

std::vector<StoredLesson> PostgresStorage::lessons() {
    std::vector<StoredLesson> out;
    transact([&](PgConnection& c) {
        PgResult r = c.exec("SELECT id, tier, ord, body FROM lesson ORDER BY tier, ord, id");
        for (int i = 0; i < r.rows(); ++i) {
            out.push_back({r.int64(i, 0), r.int64(i, 1), r.int64(i, 2), r.text(i, 3)});
        }
    });
    return out;
}

TmAnswer PostgresStorage::translateOrQueue(const std::string& zh, int64_t now,
                                           const QueueLimits& limits) {
    std::string hash = sha256Hex(zh);
    TmAnswer answer;
    transact([&](PgConnection& c) {
        answer = TmAnswer{};
        PgResult known =
            c.exec("SELECT vi, model FROM tm_passage WHERE zh_hash = $1", PgParams().add(hash));
        if (known.rows() == 1 && !known.isNull(0, 0)) {
            answer = {TmAnswer::Kind::Memory, known.text(0, 0), known.text(0, 1)};
            return;
        }
        if (known.rows() == 0) {
            int64_t waiting =
                c.exec("SELECT count(*) FROM tm_passage WHERE vi IS NULL").int64(0, 0);
            if (waiting >= limits.maxQueue) {
                answer.kind = TmAnswer::Kind::QueueFull;
                return;
            }
            if (limits.maxPerRequester > 0 &&
                c.exec("SELECT count(*) FROM tm_passage WHERE vi IS NULL AND requester = $1",
                       PgParams().add(limits.requester))
                        .int64(0, 0) >= limits.maxPerRequester) {
                answer.kind = TmAnswer::Kind::OverShare;
                return;
            }
        }
        PgResult r = c.exec(
            "INSERT INTO tm_passage (zh_hash, zh, created_at, requester)"
            " VALUES ($1, $2, $3, NULLIF($4, ''))"
            " ON CONFLICT (zh_hash) DO UPDATE SET requests = tm_passage.requests + 1"
            " RETURNING vi, model",
            PgParams().add(hash).add(zh).add(now).add(limits.requester));
        if (r.rows() == 1 && !r.isNull(0, 0)) {
            answer = {TmAnswer::Kind::Memory, r.text(0, 0), r.text(0, 1)};
        }
    });
    return answer;
}

std::optional<TmJob> PostgresStorage::claimJob(int64_t now, int64_t leaseSeconds) {
    std::optional<TmJob> job;
    transact([&](PgConnection& c) {
        job.reset();
        PgResult r = c.exec(std::string("UPDATE tm_passage SET not_before = $1 WHERE id = (SELECT"
                                        " id FROM tm_passage WHERE vi IS NULL AND not_before <= $2"
                                        " ORDER BY id LIMIT 1 FOR UPDATE SKIP LOCKED) RETURNING ") +
                                kJobColumns,
                            PgParams().add(now + leaseSeconds).add(now));
        if (r.rows() == 1) {
            job = readJob(r, 0);
        }
    });
    return job;
}

bool PostgresStorage::putTranslation(int64_t id, const std::string& vi, const std::string& model,
                                     int64_t now) {
    bool found = false;
    transact([&](PgConnection& c) {
        found = c.exec(
                     "UPDATE tm_passage SET vi = $1, model = $2, translated_at = $3,"
                     " last_error = NULL WHERE id = $4",
                     PgParams().add(vi).add(model).add(now).add(id))
                    .affected() == 1;
    });
    return found;
}

void PostgresStorage::failJob(int64_t id, const std::string& error, int64_t retryAt) {
    transact([&](PgConnection& c) {
        c.exec(
            "UPDATE tm_passage SET attempts = attempts + 1, last_error = $1, not_before = $2"
            " WHERE id = $3 AND vi IS NULL",
            PgParams().add(error).add(retryAt).add(id));
    });
}

std::vector<TmJob> PostgresStorage::pendingJobs(size_t limit) {
    std::vector<TmJob> out;
    transact([&](PgConnection& c) {
        PgResult r = c.exec(std::string("SELECT ") + kJobColumns +
                                " FROM tm_passage WHERE vi IS NULL ORDER BY id LIMIT $1",
                            PgParams().add(static_cast<int64_t>(limit)));
        for (int i = 0; i < r.rows(); ++i) {
            out.push_back(readJob(r, i));
        }
    });
    return out;
}

int64_t PostgresStorage::pendingCount() {
    int64_t n = 0;
    transact([&](PgConnection& c) {
        n = c.exec("SELECT count(*) FROM tm_passage WHERE vi IS NULL").int64(0, 0);
    });
    return n;
}

void PostgresStorage::countEvent(int64_t day, const std::string& name, const std::string& detail) {
    transact([&](PgConnection& c) {
        c.exec(
            "INSERT INTO stat_event (day, name, detail, n) VALUES ($1, $2, $3, 1)"
            " ON CONFLICT (day, name, detail) DO UPDATE SET n = stat_event.n + 1",
            PgParams().add(day).add(name).add(detail));
    });
}

void PostgresStorage::countLookup(int64_t day, const std::string& zh) {
    std::string hash = sha256Hex(zh);
    transact([&](PgConnection& c) {
        c.exec(
            "INSERT INTO stat_lookup (day, zh_hash, zh, n) VALUES ($1, $2, $3, 1)"
            " ON CONFLICT (day, zh_hash) DO UPDATE SET n = stat_lookup.n + 1",
            PgParams().add(day).add(hash).add(zh));
    });
}

StatsReport PostgresStorage::stats(int64_t fromDay, int64_t toDay, size_t top) {
    StatsReport report;
    transact([&](PgConnection& c) {
        report = StatsReport{};
        PgResult tops = c.exec(
            "SELECT MIN(zh COLLATE \"C\"), SUM(n)::bigint AS total FROM stat_lookup"
            " WHERE day BETWEEN $1 AND $2 GROUP BY zh_hash"
            " ORDER BY total DESC, MIN(zh COLLATE \"C\") LIMIT $3",
            PgParams().add(fromDay).add(toDay).add(static_cast<int64_t>(top)));
        for (int i = 0; i < tops.rows(); ++i) {
            report.topLookups.push_back({tops.text(i, 0), tops.int64(i, 1)});
        }
        PgResult events = c.exec(
            "SELECT day, name, detail, n FROM stat_event WHERE day BETWEEN $1 AND $2"
            " ORDER BY day, name COLLATE \"C\", detail COLLATE \"C\"",
            PgParams().add(fromDay).add(toDay));
        for (int i = 0; i < events.rows(); ++i) {
            report.events.push_back(
                {events.int64(i, 0), events.text(i, 1), events.text(i, 2), events.int64(i, 3)});
        }
        PgResult perDay = c.exec(
            "SELECT day, SUM(n)::bigint FROM stat_lookup WHERE day BETWEEN $1 AND $2"
            " GROUP BY day ORDER BY day",
            PgParams().add(fromDay).add(toDay));
        for (int i = 0; i < perDay.rows(); ++i) {
            report.lookupsPerDay.emplace_back(perDay.int64(i, 0), perDay.int64(i, 1));
        }
    });
    return report;
}

}  // namespace talvo::server
