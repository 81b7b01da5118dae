#include "core/study/study_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/text/unicode.h"

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

constexpr const char* kCfgGet = "SELECT v FROM cfg WHERE k=?";
constexpr const char* kCfgSet =
    "INSERT INTO cfg (k,v) VALUES (?,?) ON CONFLICT(k) DO UPDATE SET v=excluded.v";

constexpr const char* kSeedInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day)\n"
    "VALUES (?,?,?,?, 'freq', ?, ?)";
constexpr const char* kRecordLookup =
    "INSERT INTO lookup_history (key, sample_zh, n, first_at, last_at)\n"
    "VALUES (?,?,1,?,?)\n"
    "ON CONFLICT(key) DO UPDATE SET n = n + 1, last_at = excluded.last_at";
constexpr const char* kLookupInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
    "updated_at)\n"
    "VALUES (?,?,?,?, 'lookup', 100000, ?, ?)";
constexpr const char* kMarkAdded = "UPDATE lookup_history SET added = 1 WHERE key = ?";
constexpr const char* kLessonInsert =
    "INSERT OR IGNORE INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
    "updated_at)\n"
    "VALUES (?,?,?,?, 'lesson', ?, ?, ?)";

constexpr const char* kLastDay = "SELECT last_day FROM card WHERE id=?";
constexpr const char* kUpdateCard =
    "UPDATE card SET stability=?, difficulty=?, reps=?, lapses=?,\n"
    "  state=?, due=?, last_day=?, updated_at=? WHERE id=?";
constexpr const char* kInsertLog =
    "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval)\n"
    "VALUES (?,?,?,?,?,?)";
constexpr const char* kDistractors =
    "SELECT am FROM card WHERE uid!=? AND am!='' ORDER BY RANDOM() LIMIT ?";

// SQLite's limit on parameters is 32766; lessons are far smaller, but a
// caller's list is not ours to trust.
constexpr size_t kUidsPerQuery = 500;

bool isDamageError(int code) {
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

// Saturating so that a damaged counter cannot overflow.
int64_t plusOne(int64_t n) {
    return n == std::numeric_limits<int64_t>::max() ? n : n + 1;
}

}  // namespace

std::string StudyStore::defaultPath(const std::string& dataDir) {
    if (dataDir.empty()) {
        return {};
    }
    return (std::filesystem::path(dataDir) / kFileName).string();
}

StudyStore::StudyStore(const std::string& path, Clock clock)
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
    setUpProgress();

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

StudyStore::~StudyStore() = default;

std::optional<int64_t> StudyStore::parseDecimal(std::string_view text) {
    bool negative = false;
    size_t i = 0;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        i = 1;
    }
    if (i == text.size()) {
        return std::nullopt;
    }
    // Accumulate toward the negative side, which has room for INT64_MIN.
    int64_t value = 0;
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        int digit = c - '0';
        if (value < (std::numeric_limits<int64_t>::min() + digit) / 10) {
            return std::nullopt;
        }
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == std::numeric_limits<int64_t>::min()) {
            return std::nullopt;
        }
        value = -value;
    }
    return value;
}

std::optional<std::string> StudyStore::cfg(std::string_view key) {
    db::Statement* st = m_db->cached(kCfgGet);
    if (!st) {
        return std::nullopt;
    }
    db::ScopedReset guard(*st);
    st->bind(1, key);
    if (!st->step()) {
        return std::nullopt;
    }
    return st->text(0);
}

std::optional<int64_t> StudyStore::cfgInt(std::string_view key) {
    std::optional<std::string> v = cfg(key);
    return v ? parseDecimal(*v) : std::nullopt;
}

bool StudyStore::setCfg(std::string_view key, std::string_view value) {
    db::Statement* st = m_db->cached(kCfgSet);
    if (!st) {
        return false;
    }
    db::ScopedReset guard(*st);
    st->bind(1, key).bind(2, value);
    return st->run();
}

int64_t StudyStore::count(const std::string& sql, std::optional<int64_t> param) {
    db::Statement* st = m_db->cached(sql);
    if (!st) {
        return 0;
    }
    db::ScopedReset guard(*st);
    if (param) {
        st->bind(1, *param);
    }
    return st->step() ? st->int64(0) : 0;
}

std::vector<StudyCard> StudyStore::rows(const std::string& sql,
                                        const std::function<void(db::Statement&)>& bind) {
    std::vector<StudyCard> out;
    db::Statement* st = m_db->cached(sql);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    bind(*st);
    while (st->step()) {
        StudyCard c;
        c.id = st->int64(0);
        c.uid = st->text(1).value_or("");
        c.front = text::sanitizeUtf8(st->text(2).value_or(""));
        c.am = text::sanitizeUtf8(st->text(3).value_or(""));
        c.gloss = text::sanitizeUtf8(st->text(4).value_or(""));
        c.state.stability = st->real(5);
        c.state.difficulty = st->real(6);
        c.state.reps = st->int64(7);
        c.state.lapses = st->int64(8);
        c.due = st->int64(9);
        out.push_back(std::move(c));
    }
    return out;
}

int64_t StudyStore::seedIfEmpty(DictionaryStore& dict) {
    // Nearly every call finds cards; answer those without taking the write lock.
    if (count(kCountAll) != 0) {
        return 0;
    }
    db::Transaction tx(*m_db);
    if (!tx.active() || count(kCountAll) != 0) {
        return 0;  // another program seeded it in the meantime
    }
    const int64_t today = m_clock.today();
    std::vector<std::string> chars = dict.topCharsByFreq(kDeckSize);
    db::Statement* st = m_db->cached(kSeedInsert);
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
            added += m_db->changes();
        }
    }
    st->reset();
    return tx.commit() ? added : 0;
}

void StudyStore::recordLookup(std::string_view key, std::string_view sampleZh) {
    if (key.empty()) {
        return;
    }
    db::Statement* st = m_db->cached(kRecordLookup);
    if (!st) {
        return;
    }
    db::ScopedReset guard(*st);
    const int64_t now = m_clock.now();
    st->bind(1, key).bind(2, sampleZh).bind(3, now).bind(4, now);
    st->run();
}

bool StudyStore::addLookupCard(std::string_view uid, std::string_view front, std::string_view am,
                               std::string_view gloss) {
    const int64_t today = m_clock.today();
    const int64_t now = m_clock.now();
    db::Transaction tx(*m_db);
    bool added = false;
    if (db::Statement* ins = m_db->cached(kLookupInsert)) {
        db::ScopedReset guard(*ins);
        ins->bind(1, uid).bind(2, front).bind(3, am).bind(4, gloss).bind(5, today).bind(6, now);
        added = ins->run() && m_db->changes() > 0;
    }
    if (db::Statement* mark = m_db->cached(kMarkAdded)) {
        db::ScopedReset guard(*mark);
        mark->bind(1, front);
        mark->run();
    }
    return tx.commit() && added;
}

int64_t StudyStore::addLessonCards(const std::vector<LessonItem>& items) {
    const int64_t today = m_clock.today();
    const int64_t now = m_clock.now();
    db::Transaction tx(*m_db);
    db::Statement* st = m_db->cached(kLessonInsert);
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
            added += m_db->changes();
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
    db::ReadTransaction snapshot(*m_db);
    for (size_t start = 0; start < list.size(); start += kUidsPerQuery) {
        size_t n = std::min(kUidsPerQuery, list.size() - start);
        std::string sql = "SELECT COUNT(*) FROM card WHERE uid IN (";
        for (size_t i = 0; i < n; ++i) {
            sql += i ? ",?" : "?";
        }
        sql += ")";
        db::Statement st(*m_db, sql);
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
    return newRemaining(m_clock.today());
}

int64_t StudyStore::newRemaining(int64_t today) {
    const int64_t available = count(kCountNew);
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
    return queue(m_clock.today());
}

std::vector<StudyCard> StudyStore::queue(int64_t today) {
    db::ReadTransaction snapshot(*m_db);
    std::vector<StudyCard> out = rows(kDueCards, [&](db::Statement& st) {
        st.bind(1, today).bind(2, static_cast<int64_t>(kMaxReviews));
    });
    const int64_t n = newRemaining(today);
    if (n >= 1) {
        std::vector<StudyCard> fresh = rows(kNewCards, [&](db::Statement& st) { st.bind(1, n); });
        out.insert(out.end(), std::make_move_iterator(fresh.begin()),
                   std::make_move_iterator(fresh.end()));
    }
    return out;
}

void StudyStore::bumpNewCount(int64_t today) {
    int64_t count = 0;
    if (cfgInt("new_day") == today) {
        count = cfgInt("new_count").value_or(0);
    }
    setCfg("new_day", std::to_string(today));
    setCfg("new_count", std::to_string(plusOne(count)));
}

void StudyStore::bumpStreak(int64_t today) {
    std::optional<int64_t> last = cfgInt("last_study_day");
    if (last == today) {
        return;
    }
    int64_t streak = 1;
    if (last && today != std::numeric_limits<int64_t>::min() && *last == today - 1) {
        streak = plusOne(cfgInt("streak").value_or(0));
    }
    setCfg("streak", std::to_string(streak));
    setCfg("last_study_day", std::to_string(today));
    setCfg("best_streak", std::to_string(std::max(streak, cfgInt("best_streak").value_or(0))));
}

std::optional<ReviewState> StudyStore::grade(const StudyCard& card, Rating rating) {
    return grade(card, rating, m_clock.today());
}

std::optional<ReviewState> StudyStore::grade(const StudyCard& card, Rating rating, int64_t today) {
    db::Transaction tx(*m_db);
    if (!tx.active()) {
        return std::nullopt;  // locked by another program, or the disk refuses
    }
    int64_t elapsed = 0;
    if (!card.state.isNew()) {
        int64_t lastDay = 0;
        if (db::Statement* st = m_db->cached(kLastDay)) {
            db::ScopedReset guard(*st);
            st->bind(1, card.id);
            if (st->step()) {
                lastDay = st->int64(0);
            }
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
    const int64_t now = m_clock.now();

    // A write that fails to prepare is skipped; one that fails to run aborts
    // the whole grade, so the card and its log row never disagree.
    if (db::Statement* st = m_db->cached(kUpdateCard)) {
        db::ScopedReset guard(*st);
        st->bind(1, s.stability).bind(2, s.difficulty).bind(3, s.reps).bind(4, s.lapses);
        st->bind(5, rating == Rating::Again ? "relearning" : "review");
        st->bind(6, due).bind(7, today).bind(8, now).bind(9, card.id);
        if (!st->run()) {
            return std::nullopt;
        }
    }
    if (db::Statement* st = m_db->cached(kInsertLog)) {
        db::ScopedReset guard(*st);
        st->bind(1, card.uid).bind(2, now).bind(3, today).bind(4, rawValue(rating));
        st->bind(5, elapsed).bind(6, s.intervalDays);
        if (!st->run()) {
            return std::nullopt;
        }
    }
    if (card.state.isNew()) {
        bumpNewCount(today);
    }
    bumpStreak(today);
    if (!tx.commit()) {
        return std::nullopt;
    }
    return s;
}

StudySummary StudyStore::summary() {
    return summary(m_clock.today());
}

StudySummary StudyStore::summary(int64_t today) {
    db::ReadTransaction snapshot(*m_db);
    StudySummary s;
    s.dueReviews = count(kCountDue, today);
    s.newRemaining = newRemaining(today);
    s.learned = count(kCountLearned);
    s.total = count(kCountAll);
    s.streak = cfgInt("streak").value_or(0);
    s.bestStreak = cfgInt("best_streak").value_or(0);
    s.reviewedToday = count(kCountToday, today);
    return s;
}

std::optional<StudyCard> StudyStore::cardByUid(std::string_view uid) {
    std::vector<StudyCard> found = rows(kCardByUid, [&](db::Statement& st) { st.bind(1, uid); });
    if (found.empty()) {
        return std::nullopt;
    }
    return std::move(found.front());
}

std::vector<std::string> StudyStore::distractors(std::string_view uid, int limit) {
    std::vector<std::string> out;
    db::Statement* st = m_db->cached(kDistractors);
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
