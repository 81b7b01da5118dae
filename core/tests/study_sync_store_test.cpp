#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "core/study/card_uid.h"
#include "core/sync/review_replay.h"
#include "core/sync/study_sync_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "core/text/unicode.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// A device: its own study database whose clock the test moves.
struct Device {
    Device(const std::filesystem::path& file)
        : seconds(std::make_shared<int64_t>(1'700'000'000)),
          stores(file.string(), Clock{[s = seconds] { return *s; }, "UTC", std::nullopt}) {
        stores.study.addLookupCard("char:風", "風", "phong", "");
        stores.study.addLookupCard("char:雨", "雨", "vũ", "");
    }

    void grade(const std::string& uid, Rating rating, int64_t day, int64_t at) {
        *seconds = at;
        ASSERT_TRUE(stores.study.grade(*stores.study.cardByUid(uid), rating, day));
    }

    // What this device would push now.
    wire::SyncResponse asAnswer(int64_t now) {
        StudySyncStore sync(stores.db);
        return {now, sync.changedCards(), sync.unsyncedLogs()};
    }

    std::string schedule(const std::string& uid) {
        db::Statement st(stores.db.connection(),
                         "SELECT printf('%.17g/%.17g', stability, difficulty) || '/' || reps || "
                         "'/' || lapses || '/' || state || '/' || due || '/' || last_day "
                         "FROM card WHERE uid=?");
        st.bind(1, uid);
        return st.step() ? st.text(0).value_or("") : "<none>";
    }

    std::shared_ptr<int64_t> seconds;
    StudyStores stores;
};

class StudySyncStoreTest : public ::testing::Test {
  protected:
    std::filesystem::path file(const std::string& name) { return dir.path() / name; }
    TempDir dir;
};

}  // namespace

// Two devices review one card while apart: once each has the other's logs,
// both hold the state of a single device that made all the reviews in time
// order, and the lapse made on one of them counts.
TEST_F(StudySyncStoreTest, ReplayedStateEqualsOneDeviceMakingTheSameReviews) {
    Device single(file("single.sqlite"));
    Device a(file("a.sqlite"));
    Device b(file("b.sqlite"));
    struct Review {
        Device* on;
        Rating rating;
        int64_t day;
        int64_t at;
    };
    const int64_t t = 1'700'000'000;
    const Review reviews[] = {{&a, Rating::Good, 100, t + 1000},
                              {&b, Rating::Again, 103, t + 2000},
                              {&a, Rating::Good, 104, t + 3000},
                              {&b, Rating::Easy, 110, t + 4000}};
    for (const Review& r : reviews) {
        single.grade("char:風", r.rating, r.day, r.at);
        r.on->grade("char:風", r.rating, r.day, r.at);
    }
    b.grade("char:雨", Rating::Hard, 111, t + 5000);  // reviewed on B only

    wire::SyncResponse fromA = a.asAnswer(1);
    wire::SyncResponse fromB = b.asAnswer(2);
    std::optional<StudySyncStore::Applied> onA =
        StudySyncStore(a.stores.db).applyExchange({}, fromB);
    std::optional<StudySyncStore::Applied> onB =
        StudySyncStore(b.stores.db).applyExchange({}, fromA);
    ASSERT_TRUE(onA && onB);
    EXPECT_EQ(onA->replayed, 1);
    EXPECT_EQ(a.schedule("char:風"), single.schedule("char:風"));
    EXPECT_EQ(b.schedule("char:風"), single.schedule("char:風"));
    EXPECT_EQ(single.stores.study.cardByUid("char:風")->state.lapses, 1);
    // One device's card keeps newer-wins: A takes B's card as it is.
    EXPECT_EQ(a.schedule("char:雨"), b.schedule("char:雨"));

    // Applying the same answer again replays nothing more.
    EXPECT_EQ(StudySyncStore(a.stores.db).applyExchange({}, fromB)->replayed, 0);
}

TEST_F(StudySyncStoreTest, ReplayOrdersByTimeThenLogIdAndSkipsBadRatings) {
    FSRS fsrs;
    std::vector<wire::SyncLog> logs = {{"B:1", "c", 50, 12, 1, 0, 0, 0},
                                       {"A:1", "c", 10, 10, 3, 0, 0, 0},
                                       {"A:2", "c", 50, 12, 9, 0, 0, 0}};
    std::optional<ReplayedSchedule> s = replayReviews(logs, fsrs);
    ASSERT_TRUE(s);
    ReviewState expected = fsrs.schedule(fsrs.schedule({}, Rating::Good, 0), Rating::Again, 2);
    EXPECT_EQ(s->reps, 2);
    EXPECT_EQ(s->stability, expected.stability);
    EXPECT_EQ(s->state, "relearning");
    EXPECT_EQ(s->due, 12 + expected.intervalDays);
    EXPECT_FALSE(replayReviews({{"A:3", "c", 1, 1, 0, 0, 0, 0}}, fsrs));
}

// Opening a database from before install ids names its unsent rows in the
// new form, keeps the names the server already knows, and queues the cards
// changed since the last push.
TEST_F(StudySyncStoreTest, FirstOpenGivesUnsentRowsTheInstallIdAndKeepsSentOnes) {
    {
        StudyStores old(file("old.sqlite").string(), clockOnDay(100));
        db::Database& d = old.db.connection();
        ASSERT_TRUE(d.exec(
            "DELETE FROM cfg; UPDATE card SET pending=0;"
            "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval, synced, log_id) "
            "VALUES ('char:風', 1, 1, 3, 0, 1, 1, 'MACHINE:1'), ('char:風', 2, 2, 3, 1, 2, 0, "
            "NULL);"
            "INSERT INTO card (uid, front, updated_at) VALUES ('char:a', 'a', 50), "
            "('char:b', 'b', 150);"
            "INSERT INTO cfg (k, v) VALUES ('sync_card_push', '100');"));
    }
    std::string id;
    {
        StudyStores reopened(file("old.sqlite").string(), clockOnDay(100));
        id = reopened.db.installId();
        ASSERT_EQ(id.size(), 36u);
        StudySyncStore sync(reopened.db);
        std::vector<wire::SyncLog> logs = sync.unsyncedLogs();
        ASSERT_EQ(logs.size(), 1u);
        EXPECT_EQ(logs[0].logId, id + ":2");
        std::vector<wire::SyncCard> cards = sync.changedCards();
        ASSERT_EQ(cards.size(), 1u);
        EXPECT_EQ(cards[0].uid, "char:b");
    }
    StudyStores again(file("old.sqlite").string(), clockOnDay(100));
    EXPECT_EQ(again.db.installId(), id) << "kept for the database's whole life";
    EXPECT_NE(StudyStores(file("other.sqlite").string(), clockOnDay(100)).db.installId(), id);
}

TEST_F(StudySyncStoreTest, LongPhraseUidsAreCutTheSameWayEverywhere) {
    EXPECT_EQ(lookupCardUid(true, "風"), "char:風");
    EXPECT_EQ(lookupCardUid(false, "風寒"), "phrase:風寒");
    std::string text;
    for (int i = 0; i < 114; ++i) {
        text += "風寒暑";  // a 342-character passage added as one phrase
    }
    std::string uid = lookupCardUid(false, text);
    EXPECT_LE(uid.size(), kMaxCardUidBytes);
    EXPECT_EQ(uid, lookupCardUid(false, text)) << "deterministic";
    EXPECT_TRUE(text::isValidUtf8(uid)) << "cut at a character boundary";
    EXPECT_EQ(uid.rfind("phrase:風寒暑", 0), 0u);
    std::string other = text;
    other.back() = '\x9a';  // same start, another last character
    EXPECT_NE(lookupCardUid(false, other), uid);
}
