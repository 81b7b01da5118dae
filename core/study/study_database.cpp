#include "core/study/study_database.h"

#include <sqlite3.h>

#include <openssl/rand.h>

#include <array>
#include <filesystem>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/study/study_queries.h"

namespace talvo {

namespace {

// Statements are kept apart because an old database fails some of them; one
// failure must not stop the rest. The base script puts the log_id index last:
// on a file made before log_id existed it fails there, after every table exists,
// and the migrations create it once the column is in place.
constexpr const char* kBaseScript = R"sql(
CREATE TABLE IF NOT EXISTS card (
  id INTEGER PRIMARY KEY,
  uid TEXT UNIQUE,
  front TEXT NOT NULL,
  am TEXT,
  gloss TEXT,
  source TEXT,
  freq_rank INTEGER,
  added_day INTEGER,
  stability REAL DEFAULT 0,
  difficulty REAL DEFAULT 0,
  reps INTEGER DEFAULT 0,
  lapses INTEGER DEFAULT 0,
  state TEXT DEFAULT 'new',
  due INTEGER DEFAULT 0,
  last_day INTEGER DEFAULT 0,
  suspended INTEGER DEFAULT 0,
  updated_at INTEGER DEFAULT 0
);
CREATE INDEX IF NOT EXISTS idx_card_due ON card(reps, due);
CREATE INDEX IF NOT EXISTS idx_card_new ON card(reps, freq_rank);
CREATE TABLE IF NOT EXISTS review_log (
  id INTEGER PRIMARY KEY,
  card_uid TEXT NOT NULL,
  ts INTEGER,
  day INTEGER,
  rating INTEGER,
  elapsed INTEGER,
  interval INTEGER,
  synced INTEGER DEFAULT 0,
  log_id TEXT,
  origin TEXT DEFAULT ''
);
CREATE TABLE IF NOT EXISTS lookup_history (
  key TEXT PRIMARY KEY,
  sample_zh TEXT,
  n INTEGER DEFAULT 1,
  first_at INTEGER,
  last_at INTEGER,
  added INTEGER DEFAULT 0
);
CREATE TABLE IF NOT EXISTS cfg (k TEXT PRIMARY KEY, v TEXT);
CREATE UNIQUE INDEX IF NOT EXISTS idx_log_logid ON review_log(log_id);
)sql";

constexpr const char* kMigrations[] = {
    "ALTER TABLE card ADD COLUMN updated_at INTEGER DEFAULT 0",
    "ALTER TABLE review_log ADD COLUMN log_id TEXT",
    "ALTER TABLE review_log ADD COLUMN origin TEXT DEFAULT ''",
    "CREATE UNIQUE INDEX IF NOT EXISTS idx_log_logid ON review_log(log_id)",
    // The card's local change number while the server has not yet taken the
    // change (0 once it has): what sync pushes, oldest change first.
    "ALTER TABLE card ADD COLUMN pending INTEGER DEFAULT 0",
    // Rows the server refused (an identity it cannot store): kept unsynced,
    // counted, and not offered again.
    "CREATE TABLE IF NOT EXISTS sync_refused (kind TEXT NOT NULL, key TEXT NOT NULL, "
    "reason TEXT, PRIMARY KEY (kind, key))",
};

// Indexes for big decks. They change no result, only how fast the queue, the
// summary and the sync push are answered; created after the migrations so
// that older files gain them too. The two queue indexes carry every column
// that the due and new queries filter on, so their counts are answered from
// the index alone and their rows come out already in the wanted order.
constexpr const char* kSpeedIndexes[] = {
    ("CREATE INDEX IF NOT EXISTS idx_card_due_queue ON card(due, freq_rank, suspended, reps) "
     "WHERE suspended=0 AND reps>0"),
    "CREATE INDEX IF NOT EXISTS idx_card_new_queue ON card(reps, suspended, freq_rank)",
    "CREATE INDEX IF NOT EXISTS idx_card_updated ON card(updated_at)",
    "CREATE INDEX IF NOT EXISTS idx_card_pending ON card(pending) WHERE pending>0",
    "CREATE INDEX IF NOT EXISTS idx_log_unsynced ON review_log(id) WHERE origin='' AND synced=0",
    "CREATE INDEX IF NOT EXISTS idx_log_day ON review_log(day)",
    "CREATE INDEX IF NOT EXISTS idx_log_card ON review_log(card_uid)",
};

constexpr const char* kProgressScript = R"sql(
CREATE TABLE IF NOT EXISTS quiz_log (
  id INTEGER PRIMARY KEY,
  card_uid TEXT NOT NULL,
  mode TEXT,
  ts INTEGER,
  day INTEGER,
  correct INTEGER DEFAULT 0,
  ms INTEGER DEFAULT 0,
  synced INTEGER DEFAULT 0,
  log_id TEXT,
  origin TEXT DEFAULT ''
);
CREATE UNIQUE INDEX IF NOT EXISTS idx_quiz_logid ON quiz_log(log_id);
CREATE INDEX IF NOT EXISTS idx_quiz_day ON quiz_log(day);
CREATE TABLE IF NOT EXISTS badge (
  code TEXT PRIMARY KEY,
  earned_at INTEGER,
  day INTEGER,
  synced INTEGER DEFAULT 0
);
)sql";

// Only speed: each lets one of the progress queries be answered from an index
// instead of reading every review-log row or card. The time-of-day index
// holds each review's UTC second of the day (rounded toward minus infinity).
constexpr const char* kProgressIndexes[] = {
    // Only the reviews not rated good or easy: counting them reads no other
    // entry and needs no per-entry range check.
    ("CREATE INDEX IF NOT EXISTS idx_log_not_good ON review_log(elapsed, rating) "
     "WHERE rating<3 OR rating IS NULL"),
    "CREATE INDEX IF NOT EXISTS idx_log_elapsed ON review_log(elapsed)",
    "CREATE INDEX IF NOT EXISTS idx_log_day_rating ON review_log(day, rating)",
    // ts rides along so that the hour rule reads it from the index instead of
    // fetching each candidate row from the table.
    "CREATE INDEX IF NOT EXISTS idx_log_second ON review_log((ts % 86400 + 86400) % 86400, ts)",
    "CREATE INDEX IF NOT EXISTS idx_card_stability ON card(stability)",
    // A quiz asks, per candidate, how the deck reads a front.
    "CREATE INDEX IF NOT EXISTS idx_card_front ON card(front)",
};

// A random (version 4) UUID in its canonical lower-case form.
std::string randomUuid() {
    std::array<unsigned char, 16> b{};
    if (RAND_bytes(b.data(), static_cast<int>(b.size())) != 1) {
        return {};
    }
    b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40);
    b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < b.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            out += '-';
        }
        out += kHex[b[i] >> 4];
        out += kHex[b[i] & 0x0F];
    }
    return out;
}

bool isDamageError(int code) {
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

}  // namespace

std::string StudyDatabase::defaultPath(const std::string& dataDir) {
    if (dataDir.empty()) {
        return {};
    }
    return (std::filesystem::path(dataDir) / kFileName).string();
}

StudyDatabase::StudyDatabase(const std::string& path, Clock clock)
    : m_path(path), m_clock(std::move(clock)) {
    try {
        m_db = db::Database::openCreatingFolders(path);
    } catch (const db::OpenError& e) {
        throw DictionaryError::cannotOpen(e.what());
    }
    // SQLite reads the file lazily. Read the schema before anything writes, so
    // that a file that is not a database, or whose schema is damaged, is
    // refused untouched instead of being "repaired" by the scripts below.
    {
        db::Statement probe(*m_db, "SELECT count(*) FROM sqlite_master");
        if (!probe.valid() || !probe.step()) {
            throw DictionaryError::cannotOpen(m_db->errorMessage());
        }
    }
    // Grades written to a file that cannot keep them would be lost silently.
    if (m_db->readOnly()) {
        throw DictionaryError::cannotOpen("attempt to write a readonly database");
    }

    m_db->exec("PRAGMA journal_mode=WAL");
    if (!m_db->exec(kBaseScript) && isDamageError(m_db->errorCode())) {
        throw DictionaryError::cannotOpen(m_db->errorMessage());
    }
    for (const char* sql : kMigrations) {
        m_db->exec(sql);
    }
    for (const char* sql : kSpeedIndexes) {
        m_db->exec(sql);
    }
    m_db->exec(kProgressScript);
    for (const char* sql : kProgressIndexes) {
        m_db->exec(sql);
    }
    // The profile reads whole review-log indexes (tens of megabytes for a
    // million reviews). With SQLite's default 2 MB page cache every profile
    // reads them again from the operating system; the cache grows only as
    // pages are used, so a small deck costs no more than before.
    m_db->exec("PRAGMA cache_size=-65536");
    ensureInstallId();

    // A card table from some other program (or a damaged one) would make every
    // later operation quietly answer nothing; say so now instead.
    db::Statement check(*m_db,
                        "SELECT id, uid, front, am, gloss, source, freq_rank, added_day, "
                        "stability, difficulty, reps, lapses, state, due, last_day, suspended, "
                        "updated_at FROM card LIMIT 0");
    if (!check.valid()) {
        throw DictionaryError::cannotOpen(m_db->errorMessage());
    }
}

void StudyDatabase::ensureInstallId() {
    if (std::optional<std::string> id = studydb::cfg(*m_db, kInstallIdKey); id && !id->empty()) {
        m_installId = *id;
        return;
    }
    std::string id = randomUuid();
    if (id.empty()) {
        return;
    }
    // A database from before install ids: its rows not yet sent take names in
    // the new form (rows already sent keep the names the server knows), and
    // the cards changed since the last push are marked for pushing, in the
    // order the old cursor would have sent them.
    db::Transaction tx(*m_db);
    if (!tx.active() || !studydb::setCfg(*m_db, kInstallIdKey, id)) {
        return;
    }
    {
        db::Statement st(*m_db,
                         "UPDATE review_log SET log_id = ? || ':' || id "
                         "WHERE origin='' AND synced=0 AND log_id IS NULL");
        if (!st.valid() || !st.bind(1, id).run()) {
            return;
        }
    }
    {
        db::Statement st(*m_db,
                         "UPDATE card SET pending = id WHERE updated_at > ? AND pending = 0");
        int64_t pushed = studydb::cfgInt(*m_db, "sync_card_push").value_or(0);
        if (!st.valid() || !st.bind(1, pushed).run()) {
            return;
        }
    }
    if (tx.commit()) {
        m_installId = std::move(id);
    }
}

StudyDatabase::~StudyDatabase() = default;

}  // namespace talvo
