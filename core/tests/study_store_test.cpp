#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <set>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "core/text/unicode.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// han(i) is the i-th most frequent character; every seventh has no reading
// and so never becomes a card.
std::string han(int i) {
    std::string s;
    text::appendUtf8(s, static_cast<char32_t>(0x4E00 + i));
    return s;
}

void writeRankedDict(const std::string& path, int n) {
    std::vector<FixtureEntry> entries;
    for (int i = 0; i < n; ++i) {
        FixtureEntry e{han(i), {}, (i % 2) ? "nghĩa" : nullptr, nullptr, 100000 - i};
        if (i % 7 != 3) {
            e.readings = {"am" + std::to_string(i), "alt" + std::to_string(i)};
        }
        entries.push_back(e);
    }
    writeFixtureDict(path, entries);
}

int64_t scalar(db::Database& d, const std::string& sql) {
    db::Statement st(d, sql);
    return st.step() ? st.int64(0) : -999;
}

class StudyStoreTest : public ::testing::Test {
  protected:
    std::string path() const { return dir.file("data/study.sqlite"); }
    std::unique_ptr<StudyStores> open(int64_t day = 100, int64_t seconds = 1'700'000'000) {
        return std::make_unique<StudyStores>(path(), clockOnDay(day, seconds));
    }
    db::Database raw() { return db::Database(path(), db::Database::Mode::ReadWriteCreate); }
    TempDir dir;
};

}  // namespace

TEST_F(StudyStoreTest, AnOlderDatabaseGainsTheNewColumnsAndIndexesOnce) {
    std::filesystem::create_directories(dir.path() / "data");
    ASSERT_TRUE(raw().exec(R"sql(
CREATE TABLE card (id INTEGER PRIMARY KEY, uid TEXT UNIQUE, front TEXT NOT NULL, am TEXT,
  gloss TEXT, source TEXT, freq_rank INTEGER, added_day INTEGER, stability REAL DEFAULT 0,
  difficulty REAL DEFAULT 0, reps INTEGER DEFAULT 0, lapses INTEGER DEFAULT 0,
  state TEXT DEFAULT 'new', due INTEGER DEFAULT 0, last_day INTEGER DEFAULT 0,
  suspended INTEGER DEFAULT 0);
CREATE TABLE review_log (id INTEGER PRIMARY KEY, card_uid TEXT NOT NULL, ts INTEGER,
  day INTEGER, rating INTEGER, elapsed INTEGER, interval INTEGER, synced INTEGER DEFAULT 0);
CREATE TABLE cfg (k TEXT PRIMARY KEY, v TEXT);
INSERT INTO card (uid, front, am, freq_rank, reps, due, stability, difficulty, last_day)
  VALUES ('char:數', '數', 'số', 0, 2, 98, 3.0, 5.0, 95);
INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval) VALUES ('char:數', 1, 95, 3, 0, 3);
INSERT INTO cfg VALUES ('streak', '4');
)sql"));
    auto store = open(100);
    EXPECT_EQ(store->study.summary().streak, 4);
    ASSERT_TRUE(store->study.grade(store->study.queue().at(0), Rating::Good));
    store.reset();

    db::Database d = raw();
    db::Statement mode(d, "PRAGMA journal_mode");
    ASSERT_TRUE(mode.step());
    EXPECT_EQ(mode.text(0), "wal");
    mode.reset();
    EXPECT_EQ(scalar(d,
                     "SELECT count(*) FROM pragma_table_info('review_log') "
                     "WHERE name IN ('log_id', 'origin')"),
              2);
    EXPECT_EQ(scalar(d, "SELECT updated_at FROM card"), 1'700'000'000);
    EXPECT_EQ(scalar(d, "SELECT elapsed FROM review_log ORDER BY id DESC LIMIT 1"), 5);
    EXPECT_EQ(scalar(d,
                     "SELECT count(*) FROM sqlite_master WHERE name IN ('lookup_history', "
                     "'quiz_log', 'badge', 'idx_log_logid', 'idx_card_due_queue')"),
              5);
    // Later openings change nothing: data_version moves on any other commit.
    const int64_t version = scalar(d, "PRAGMA data_version");
    open();
    open();
    EXPECT_EQ(scalar(d, "PRAGMA data_version"), version);
}

TEST_F(StudyStoreTest, FilesThatAreNotStudyDatabasesAreRefusedAndLeftAlone) {
    std::filesystem::create_directories(dir.path() / "data");
    std::string junk(8192, '\0');
    for (size_t i = 0; i < junk.size(); ++i) {
        junk[i] = static_cast<char>((i * 131 + 7) % 251);
    }
    std::ofstream(path(), std::ios::binary) << junk;
    try {
        open();
        ADD_FAILURE() << "opened random bytes";
    } catch (const DictionaryError& e) {
        EXPECT_NE(std::string(e.what()).find("not a database"), std::string::npos) << e.what();
    }
    EXPECT_EQ(readFile(path()), junk);

    // A real study database whose schema page was overwritten.
    std::filesystem::remove(path());
    open()->study.addLookupCard("char:數", "數", "Số", "");
    std::string bytes = readFile(path());
    std::fill(bytes.begin() + 100, bytes.begin() + 4096, '\xA5');
    std::ofstream(path(), std::ios::binary | std::ios::trunc) << bytes;
    EXPECT_THROW(open(), DictionaryError);
    EXPECT_EQ(readFile(path()), bytes);

    // Another program's database with a `card` table of its own.
    std::filesystem::remove(path());
    raw().exec("CREATE TABLE card (name TEXT)");
    EXPECT_THROW(open(), DictionaryError);
    EXPECT_THROW(StudyDatabase(dir.file("data"), clockOnDay(1)), DictionaryError);  // a folder
    if (::geteuid() != 0) {  // root writes through permissions
        std::filesystem::remove(path());
        open();
        std::filesystem::permissions(path(), std::filesystem::perms::owner_read);
        EXPECT_THROW(open(), DictionaryError);
    }
}

TEST_F(StudyStoreTest, CfgNumbersAreStrictSignedDecimals) {
    EXPECT_EQ(StudyStore::parseDecimal("+7"), 7);
    EXPECT_EQ(StudyStore::parseDecimal("-0012"), -12);
    EXPECT_EQ(StudyStore::parseDecimal("-9223372036854775808"), INT64_MIN);
    for (const char* bad : {"", "7 ", " 7", "+", "-", "+-1", "1e3", "0x10", "7.0", "٣",
                            "9223372036854775808", "-9223372036854775809"}) {
        EXPECT_EQ(StudyStore::parseDecimal(bad), std::nullopt) << '"' << bad << '"';
    }
    auto store = open();
    store->study.setCfg("streak", "7 ");
    EXPECT_EQ(store->study.cfg("streak"), "7 ");
    EXPECT_EQ(store->study.summary().streak, 0);
    store->study.setCfg("streak", "+7");
    EXPECT_EQ(store->study.summary().streak, 7);
}

TEST_F(StudyStoreTest, SeedingFillsAnEmptyDeckOnceWithTheMostFrequentCharacters) {
    writeRankedDict(dir.file("dict.sqlite"), 1000);
    DictionaryStore dict(dir.file("dict.sqlite"));
    auto store = open(321, 1'234'567);
    EXPECT_EQ(store->study.seedIfEmpty(dict), 800);
    EXPECT_EQ(store->study.seedIfEmpty(dict), 0);

    db::Database d = raw();
    db::Statement st(d,
                     "SELECT uid, am, gloss, source, freq_rank, added_day, updated_at "
                     "FROM card WHERE freq_rank IN (3, 799) ORDER BY freq_rank");
    ASSERT_TRUE(st.step());  // han(3) has no reading: han(4) takes rank 3
    EXPECT_EQ(st.text(0), "char:" + han(4));
    EXPECT_EQ(st.text(1), "am4, alt4");
    EXPECT_EQ(st.text(2), "");
    EXPECT_EQ(st.text(3), "freq");
    EXPECT_EQ(st.int64(5), 321);
    EXPECT_EQ(st.int64(6), 0);  // not pushed by sync until reviewed
    int last = -1;              // the 800th character that has a reading
    for (int kept = 0; kept < 800;) {
        kept += (++last % 7 != 3) ? 1 : 0;
    }
    ASSERT_TRUE(st.step());
    EXPECT_EQ(st.text(0), "char:" + han(last));
    EXPECT_EQ(st.text(2), (last % 2) ? "nghĩa" : "");

    // A deck holding any card at all is never seeded.
    std::filesystem::remove_all(dir.path() / "data");
    auto other = open();
    other->study.addLookupCard("phrase:傷寒", "傷寒", "Thương Hàn", "");
    EXPECT_EQ(other->study.seedIfEmpty(dict), 0);
}

TEST_F(StudyStoreTest, LookupAndLessonCardsTakeTheirPlacesInTheNewOrder) {
    auto store = open(50, 1000);
    store->study.recordLookup("數", "數");
    store->study.recordLookup("", "ignored");
    StudyStores(path(), clockOnDay(51, 2000)).study.recordLookup("數", "another sample");
    EXPECT_TRUE(store->study.addLookupCard("char:數", "數", "Số", "Số đếm."));
    EXPECT_FALSE(store->study.addLookupCard("char:數", "數", "Sổ", "changed"));
    std::vector<LessonItem> lesson = {
        {"char:傷", "傷", "thương", "wound", 1},
        {"", "空", std::nullopt, std::nullopt, 2},  // skipped, but keeps its rank
        {"char:數", "數", "sác", std::nullopt, 3},  // already in the deck
        {"char:病", "病", std::nullopt, std::nullopt, 4},
    };
    EXPECT_EQ(store->study.addLessonCards(lesson), 2);
    EXPECT_EQ(store->study.addLessonCards(lesson), 0);

    db::Database d = raw();
    EXPECT_EQ(scalar(d,
                     "SELECT n * 10000 + first_at * 10 + added FROM lookup_history "
                     "WHERE last_at = 2000 AND sample_zh = '數'"),
              2 * 10000 + 1000 * 10 + 1);
    EXPECT_EQ(scalar(d, "SELECT count(*) FROM lookup_history"), 1);
    EXPECT_EQ(scalar(d,
                     "SELECT freq_rank FROM card WHERE uid = 'char:病' AND am = '' "
                     "AND source = 'lesson' AND updated_at = 1000"),
              50004);
    std::vector<StudyCard> q = store->study.queue();
    ASSERT_EQ(q.size(), 3u);
    EXPECT_EQ(q[0].uid, "char:傷");
    EXPECT_EQ(q[2].uid, "char:數");
    EXPECT_EQ(q[2].am, "Số");  // the first add stays
    EXPECT_EQ(store->study.countInDeck({}), 0);
    std::vector<std::string> many(1200, "x:nope");
    many.insert(many.end(), {"char:病", "char:病", "char:傷"});
    EXPECT_EQ(store->study.countInDeck(many), 2);
}

TEST_F(StudyStoreTest, FifteenNewCardsADayMostFrequentFirst) {
    writeRankedDict(dir.file("dict.sqlite"), 900);
    DictionaryStore dict(dir.file("dict.sqlite"));
    auto store = open(200);
    store->study.seedIfEmpty(dict);
    std::vector<std::string> top = dict.topCharsByFreq(30);

    std::vector<StudyCard> q = store->study.queue(200);
    ASSERT_EQ(q.size(), 15u);
    for (size_t i = 0; i < q.size(); ++i) {
        EXPECT_EQ(q[i].front, top[i]);
    }
    // A new card graded twice in one day counts once.
    ASSERT_TRUE(store->study.grade(q[0], Rating::Again, 200));
    ASSERT_TRUE(store->study.grade(*store->study.cardByUid(q[0].uid), Rating::Good, 200));
    EXPECT_EQ(store->study.newRemaining(200), 14);
    for (size_t i = 1; i < q.size(); ++i) {
        ASSERT_TRUE(store->study.grade(q[i], Rating::Good, 200));
    }
    EXPECT_EQ(store->study.newRemaining(200), 0);
    EXPECT_TRUE(store->study.queue(200).empty());

    // Next day: the forgotten card first, then the next fifteen.
    std::vector<StudyCard> next = store->study.queue(201);
    ASSERT_EQ(next.size(), 16u);
    EXPECT_EQ(next[0].uid, q[0].uid);
    EXPECT_EQ(next[1].front, top[15]);
    EXPECT_EQ(next[15].front, top[29]);
}

TEST_F(StudyStoreTest, TheSessionTakes200DueCardsMostOverdueFirstButTheBadgeCountsAll) {
    auto store = open();
    {
        db::Database d = raw();
        db::Transaction tx(d);
        // Due days 0..124, two cards a day, ranks running the other way.
        for (int i = 0; i < 250; ++i) {
            insertCard(d, "due:" + std::to_string(i), 1000 - i, 2, i / 2);
        }
        insertCard(d, "later", 0, 2, 1000);
        insertCard(d, "suspended", 0, 2, 0, "", 1);
        insertCard(d, "new:suspended", 0, 0, 0, "", 1);
        tx.commit();
    }
    std::vector<StudyCard> q = store->study.queue(500);
    ASSERT_EQ(q.size(), 200u);
    for (size_t i = 0; i < q.size(); ++i) {
        // Day i/2; on a shared day the lower freq_rank (the odd one) first.
        EXPECT_EQ(q[i].uid, "due:" + std::to_string(i % 2 ? i - 1 : i + 1));
    }
    StudySummary s = store->study.summary(500);
    EXPECT_EQ(s, (StudySummary{250, 0, 252, 253, 0, 0, 0}));
    EXPECT_EQ(studyBadgeTitle(s), "Học hôm nay (250)");
    EXPECT_EQ(studyBadgeTitle(StudySummary{}), "Học hôm nay");
    EXPECT_EQ(studyBadgeTitle(StudySummary{-4, 0, 0, 0, 0, 0, 0}), "Học hôm nay");
}

TEST_F(StudyStoreTest, TheNewCardCounterBelongsToItsDay) {
    auto store = open();
    {
        db::Database d = raw();
        for (int i = 0; i < 40; ++i) {
            insertCard(d, "n:" + std::to_string(i), i, 0, 0);
        }
    }
    store->study.setCfg("new_count", "9");  // left over without a day: counts as day -1
    EXPECT_EQ(store->study.newRemaining(100), 15);
    EXPECT_EQ(store->study.newRemaining(-1), 6);
    store->study.setCfg("new_day", "100");
    EXPECT_EQ(store->study.newRemaining(100), 6);
    EXPECT_EQ(store->study.newRemaining(101), 15);
    store->study.setCfg("new_count", "-20");  // damaged: grants nothing extra
    EXPECT_EQ(store->study.newRemaining(100), 15);
    raw().exec("UPDATE card SET reps = 1 WHERE freq_rank >= 4");
    EXPECT_EQ(store->study.newRemaining(100), 4);
}

TEST_F(StudyStoreTest, GradingWritesTheCardTheLogAndTheCountersTogether) {
    auto store = open(100, 1'700'000'123);
    store->study.addLookupCard("char:數", "數", "Số", "");
    StudyCard fresh = store->study.queue().at(0);
    std::optional<ReviewState> first = store->study.grade(fresh, Rating::Easy);
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, store->study.fsrs().schedule(fresh.state, Rating::Easy, 0));

    // Nine days later elapsed comes from last_day; a card whose last_day lies
    // ahead (the clock went back) gets 0, never a negative count.
    StudyCard again = *store->study.cardByUid("char:數");
    EXPECT_EQ(again.due, 100 + first->intervalDays);
    StudyStores later(path(), clockOnDay(109, 1'700'800'000));
    std::optional<ReviewState> lapse = later.study.grade(again, Rating::Again);
    ASSERT_TRUE(lapse);
    EXPECT_EQ(*lapse, store->study.fsrs().schedule(again.state, Rating::Again, 9));
    std::optional<ReviewState> back =
        store->study.grade(*store->study.cardByUid("char:數"), Rating::Good, 90);
    EXPECT_EQ(*back, store->study.fsrs().schedule(*lapse, Rating::Good, 0));

    db::Database d = raw();
    db::Statement log(d,
                      "SELECT ts, day, rating, elapsed, interval, synced, origin, log_id "
                      "FROM review_log ORDER BY id");
    ASSERT_TRUE(log.step());
    EXPECT_EQ(log.int64(0), 1'700'000'123);
    EXPECT_EQ(log.int64(1), 100);
    EXPECT_EQ(log.int64(2), 4);
    EXPECT_EQ(log.int64(4), first->intervalDays);
    EXPECT_EQ(log.int64(5), 0);
    EXPECT_EQ(log.text(6), "");
    // Named when written, by the database's own install id: a second account
    // or a reinstall on this machine never reuses the name.
    EXPECT_EQ(log.text(7), store->db.installId() + ":1");
    EXPECT_EQ(store->db.installId().size(), 36u);
    ASSERT_TRUE(log.step());
    EXPECT_EQ(log.int64(3), 9);
    EXPECT_EQ(scalar(d,
                     "SELECT count(*) FROM card WHERE state = 'review' AND last_day = 90 "
                     "AND updated_at = 1700000123 AND lapses = 1"),
              1);
    EXPECT_EQ(later.study.cfgInt("new_count"), 1);  // only the first grade was of a new card
}

TEST_F(StudyStoreTest, TheStreakCountsConsecutiveStudyDaysOnce) {
    auto store = open();
    {
        db::Database d = raw();
        for (int i = 0; i < 10; ++i) {
            insertCard(d, "c:" + std::to_string(i), i, 1, 0);
        }
    }
    for (int64_t day : {10, 10, 10, 11, 12, 12}) {
        ASSERT_TRUE(store->study.grade(store->study.queue(day).at(0), Rating::Again, day));
    }
    EXPECT_EQ(store->study.summary(12).streak, 3);
    EXPECT_EQ(store->study.summary(14).streak, 3);  // shown as stored until the next grade
    ASSERT_TRUE(store->study.grade(store->study.queue(14).at(0), Rating::Good, 14));
    StudySummary s = store->study.summary(14);
    EXPECT_EQ(s.streak, 1);
    EXPECT_EQ(s.bestStreak, 3);
    EXPECT_EQ(s.reviewedToday, 1);
}

TEST_F(StudyStoreTest, DamagedRowsAreReadSafelyAndGradedIntoSaneStates) {
    auto store = open();
    {
        db::Database d = raw();
        for (int i = 0; i < 3; ++i) {
            insertCard(d, "c:" + std::to_string(i), i, 2, 1);
        }
        d.exec(
            "UPDATE card SET stability = 9e999, difficulty = -9e999 WHERE uid = 'c:0';"
            "UPDATE card SET stability = 'NaN', difficulty = NULL, am = NULL, last_day = NULL "
            "WHERE uid = 'c:1';"
            "UPDATE card SET front = CAST(X'E6B8FF' AS TEXT) WHERE uid = 'c:2'");
    }
    std::vector<StudyCard> q = store->study.queue(10);
    ASSERT_EQ(q.size(), 3u);
    EXPECT_EQ(q[1].am, "");
    EXPECT_TRUE(text::isValidUtf8(q[2].front));
    for (const StudyCard& c : q) {
        std::optional<ReviewState> s = store->study.grade(c, Rating::Good, 10);
        ASSERT_TRUE(s) << c.uid;
        EXPECT_TRUE(std::isfinite(s->stability) && s->difficulty >= 1) << c.uid;
    }
    db::Database d = raw();
    EXPECT_EQ(scalar(d, "SELECT count(*) FROM card WHERE stability BETWEEN 0.1 AND 36500"), 3);
    // The damaged bytes themselves are kept; only what is handed out is cleaned.
    EXPECT_EQ(scalar(d, "SELECT count(*) FROM card WHERE front = CAST(X'E6B8FF' AS TEXT)"), 1);
}

TEST_F(StudyStoreTest, AGradeThatCannotBeWrittenWholeChangesNothing) {
    // Each fault breaks one write of the grade: the card update (refused when
    // run, or unable to prepare), the log row or a counter. The card, the log
    // and the counters must all stay as they were, and once the fault is gone
    // the same grade goes through, so nothing was left open either.
    struct Fault {
        const char* name;
        const char* inject;
        const char* repair;
    };
    const Fault faults[] = {
        {"log row refused",
         "CREATE TRIGGER refuse BEFORE INSERT ON review_log "
         "BEGIN SELECT RAISE(ABORT, 'disk says no'); END",
         "DROP TRIGGER refuse"},
        {"card update refused",
         "CREATE TRIGGER refuse BEFORE UPDATE ON card "
         "BEGIN SELECT RAISE(ABORT, 'disk says no'); END",
         "DROP TRIGGER refuse"},
        {"card update cannot be prepared", "ALTER TABLE card RENAME COLUMN updated_at TO changed",
         "ALTER TABLE card RENAME COLUMN changed TO updated_at"},
        {"counter refused",
         "CREATE TRIGGER refuse BEFORE INSERT ON cfg "
         "BEGIN SELECT RAISE(ABORT, 'disk says no'); END",
         "DROP TRIGGER refuse"},
    };
    const std::string untouched =
        "SELECT (SELECT count(*) FROM card WHERE reps = 0 AND state = 'new' AND last_day = 0) "
        "* 100 + (SELECT count(*) FROM review_log) * 10 + (SELECT count(*) FROM cfg "
        "WHERE k <> 'install_id')";
    for (const Fault& f : faults) {
        SCOPED_TRACE(f.name);
        std::filesystem::remove_all(dir.path() / "data");
        auto store = open();
        store->study.addLookupCard("char:數", "數", "Số", "");
        ASSERT_TRUE(raw().exec(f.inject));
        StudyCard c = store->study.queue().at(0);
        EXPECT_EQ(store->study.grade(c, Rating::Good), std::nullopt);
        {
            db::Database d = raw();
            EXPECT_EQ(scalar(d, untouched), 100);
        }
        EXPECT_EQ(*store->study.cardByUid("char:數"), c);

        ASSERT_TRUE(raw().exec(f.repair));
        ASSERT_TRUE(store->study.grade(c, Rating::Good));
        EXPECT_EQ(store->study.cfgInt("new_count"), 1);
        EXPECT_EQ(store->study.summary().reviewedToday, 1);
        EXPECT_EQ(store->study.cardByUid("char:數")->state.reps, 1);
    }
}
