// The storage contract, run on SQLite and on PostgreSQL alike.

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <thread>

#include "core/db/database.h"
#include "core/sync/review_replay.h"
#include "server/pg_pool.h"
#include "server/sync_batch.h"
#include "server/tests/test_support.h"
#include "server/token.h"

namespace talvo::server::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

SyncPull exchange(Storage& s, int64_t account, const std::string& device, int64_t since,
                  std::vector<CardRecord> cards = {}, std::vector<LogRecord> logs = {},
                  PullLimits limits = {}) {
    SyncPush push{device, since, std::move(cards), std::move(logs)};
    normalizePush(push);
    return s.exchange(account, push, limits);
}

std::vector<std::string> logIds(const SyncPull& pull) {
    std::vector<std::string> ids;
    for (const LogRecord& l : pull.logs) {
        ids.push_back(l.logId);
    }
    return ids;
}

class StorageTest : public BackendTest {};

TEST_P(StorageTest, CardsMergeByStrictlyNewerTimeAndLogsAreStoredOnce) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));

    SyncPull a = exchange(s, acct, "A", 0, {card("char:風", 100)},
                          {log("A:1", "char:雨"), log("A:2", "char:雨")});
    EXPECT_EQ(a.cardsChanged, 1);
    EXPECT_EQ(a.logsAdded, 2);

    // B pushes an older copy, an equal-time copy with other content, a
    // duplicate log and a new one. Only the new log is stored.
    CardRecord older = card("char:風", 90, 7);
    CardRecord equal = card("char:風", 100, 9);
    // (The logs are of another card: replaying a card from its reviews has
    // its own test.)
    SyncPull b = exchange(s, acct, "B", 0, {older}, {log("A:2", "char:雨"), log("B:1", "char:雨")});
    EXPECT_EQ(b.cardsChanged, 0);
    EXPECT_EQ(b.logsAdded, 1);
    ASSERT_EQ(b.cards.size(), 1u);
    EXPECT_EQ(b.cards[0], card("char:風", 100));  // B learns the stored, newer card
    EXPECT_THAT(logIds(b), ElementsAre("A:1", "A:2"));
    EXPECT_EQ(exchange(s, acct, "B", b.now, {equal}).cardsChanged, 0);

    // A sees only what others stored after its cursor: B's new log.
    SyncPull a2 = exchange(s, acct, "A", a.now);
    EXPECT_TRUE(a2.cards.empty());
    EXPECT_THAT(logIds(a2), ElementsAre("B:1"));
    EXPECT_GE(a2.now, b.now);

    // Newer by one second wins and reaches the other device.
    CardRecord newer = card("char:風", 101, 3);
    EXPECT_EQ(exchange(s, acct, "B", a2.now, {newer}).cardsChanged, 1);
    SyncPull a3 = exchange(s, acct, "A", a2.now);
    ASSERT_EQ(a3.cards.size(), 1u);
    EXPECT_EQ(a3.cards[0], newer);
    EXPECT_EQ(s.accounts()[0].logs, 3);
    EXPECT_EQ(s.accounts()[0].cards, 1);
}

TEST_P(StorageTest, AnswerCappedAtAnyRowContinuesFromItsCursor) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));
    std::vector<CardRecord> cards;
    std::vector<LogRecord> logs;
    for (int i = 0; i < 12; ++i) {
        cards.push_back(card("char:" + std::to_string(i), 100 + i));
        logs.push_back(log("A:" + std::to_string(i)));
    }
    exchange(s, acct, "A", 0, cards, logs);
    exchange(s, acct, "A", 0, {}, {log("A:late")});

    std::multiset<std::string> seen;
    int64_t since = 0;
    int pages = 0;
    for (;; ++pages) {
        ASSERT_LT(pages, 10);
        SyncPull p = exchange(s, acct, "B", since, {}, {}, PullLimits{7, 1 << 20});
        EXPECT_GE(p.now, since);
        since = p.now;
        for (const CardRecord& c : p.cards) {
            seen.insert(c.uid);
        }
        for (const LogRecord& l : p.logs) {
            seen.insert(l.logId);
        }
        EXPECT_LE(p.cards.size() + p.logs.size(), 7u);
        if (!p.capped) {
            break;
        }
    }
    EXPECT_EQ(pages, 3);  // 25 rows in pages of 7: 7, 7, 7, 4
    EXPECT_EQ(seen.size(), 25u);
    for (const std::string& id : seen) {
        EXPECT_EQ(seen.count(id), 1u) << id;
    }
    // The byte budget caps too, but never below one row.
    SyncPull tiny = exchange(s, acct, "C", 0, {}, {}, PullLimits{1000, 1});
    EXPECT_EQ(tiny.cards.size() + tiny.logs.size(), 1u);
    EXPECT_TRUE(tiny.capped);
}

// Devices push and pull at the same moments; every device must end up with
// every other device's logs exactly once, its cursor only ever moving forward.
TEST_P(StorageTest, ConcurrentExchangesNeverLetACursorSkipARow) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));
    constexpr int kDevices = 6;
    constexpr int kRounds = 25;
    std::vector<std::multiset<std::string>> received(kDevices);
    std::vector<int64_t> cursor(kDevices, 0);
    std::atomic<int> backwards{0};
    auto take = [&](int d, const SyncPull& p) {
        if (p.now < cursor[d]) {
            ++backwards;
        }
        cursor[d] = p.now;
        for (const LogRecord& l : p.logs) {
            received[d].insert(l.logId);
        }
    };
    std::vector<std::thread> threads;
    for (int d = 0; d < kDevices; ++d) {
        threads.emplace_back([&, d] {
            std::string device = "D" + std::to_string(d);
            for (int r = 0; r < kRounds; ++r) {
                take(d, exchange(s, acct, device, cursor[d], {card("char:x", r * 10 + d)},
                                 {log(device + ":" + std::to_string(r))}, PullLimits{5, 1 << 20}));
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    // Once everyone has stopped, each device follows its cursor to the end.
    for (int d = 0; d < kDevices; ++d) {
        for (int i = 0; i < 100; ++i) {
            SyncPull p = exchange(s, acct, "D" + std::to_string(d), cursor[d], {}, {},
                                  PullLimits{5, 1 << 20});
            take(d, p);
            if (!p.capped) {
                break;
            }
        }
    }
    EXPECT_EQ(backwards.load(), 0);
    for (int d = 0; d < kDevices; ++d) {
        std::string device = "D" + std::to_string(d);
        std::set<std::string> want;
        for (int o = 0; o < kDevices; ++o) {
            for (int r = 0; r < kRounds && o != d; ++r) {
                want.insert("D" + std::to_string(o) + ":" + std::to_string(r));
            }
        }
        std::set<std::string> got(received[d].begin(), received[d].end());
        EXPECT_EQ(received[d].size(), got.size()) << device << " received a log twice";
        EXPECT_EQ(got, want) << device;
    }
    EXPECT_EQ(s.accounts()[0].logs, kDevices * kRounds);
}

TEST_P(StorageTest, AccountsNeverSeeEachOthersRows) {
    Storage& s = **db;
    std::string tokenA = addAccount(s, "ana");
    std::string tokenB = addAccount(s, "bao");
    int64_t a = *authenticate(s, tokenA);
    int64_t b = *authenticate(s, tokenB);
    ASSERT_NE(a, b);

    // The same device id, card uids and log ids in both accounts.
    exchange(s, a, "SAME", 0, {card("char:心", 500, 2)}, {log("SAME:1", "char:心")});
    exchange(s, b, "SAME", 0, {card("char:心", 100, 1)}, {log("SAME:1", "char:肝")});
    exchange(s, b, "OTHER", 0, {card("char:肝", 50)}, {log("OTHER:1")});

    SyncPull fromB = exchange(s, b, "SPY", 0);
    std::set<int64_t> stamps;
    for (const CardRecord& c : fromB.cards) {
        stamps.insert(c.updatedAt);
    }
    EXPECT_EQ(stamps, (std::set<int64_t>{100, 50}));  // never A's card at 500
    ASSERT_EQ(fromB.logs.size(), 2u);
    for (const LogRecord& l : fromB.logs) {
        EXPECT_NE(l.cardUid, "char:心") << "A's log leaked into B";
    }
    // A cursor taken from a busier account restarts from 0 but still reads
    // only the caller's own rows.
    for (int i = 0; i < 30; ++i) {
        exchange(s, a, "A", 0, {}, {log("A:" + std::to_string(i))});
    }
    SyncPull fromA = exchange(s, a, "A2", 0);
    SyncPull crossCursor = exchange(s, b, "SPY", fromA.now);
    EXPECT_EQ(crossCursor.logs.size(), 2u);

    // Tokens: each opens its own account only; a token with A's selector and
    // another secret, a malformed token and a revoked token open nothing.
    std::string forged = tokenA.substr(0, 16) + tokenB.substr(16);
    EXPECT_FALSE(authenticate(s, forged));
    EXPECT_FALSE(authenticate(s, tokenA.substr(0, 79)));
    EXPECT_FALSE(authenticate(s, "Z" + tokenA.substr(1)));
    EXPECT_TRUE(s.revokeAccount("ana"));
    EXPECT_FALSE(authenticate(s, tokenA));
    EXPECT_EQ(authenticate(s, tokenB), b);
    std::string fresh = generateToken();
    EXPECT_TRUE(s.setAccountToken("ana", *tokenDigest(fresh)));
    EXPECT_EQ(authenticate(s, fresh), a);
    EXPECT_FALSE(s.addAccount("ana", *tokenDigest(generateToken()), 0));
    EXPECT_FALSE(s.revokeAccount("nobody"));
}

TEST_P(StorageTest, UnstorableRowsAreDroppedAndTheRestKept) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));
    CardRecord noFront = card("char:a", 1);
    noFront.front.clear();
    CardRecord nul = card("char:b", 1);
    nul.gloss = std::string("g\0x", 3);
    CardRecord infinite = card("char:c", 1);
    infinite.stability = std::numeric_limits<double>::infinity();
    CardRecord longId = card("char:" + std::string(2000, 'x'), 1);
    LogRecord noId = log("");
    SyncPush push{"A",
                  0,
                  {noFront, nul, infinite, longId, card("char:ok", 1), card("char:ok", 5)},
                  {noId, log("A:1"), log("A:1")}};
    std::vector<wire::SyncRejection> refused = normalizePush(push);
    ASSERT_EQ(refused.size(), 5u);
    EXPECT_EQ(refused[3].kind, "card");
    EXPECT_EQ(refused[3].id, longId.uid);
    EXPECT_EQ(refused[3].reason, "uid: longer than 1024 bytes");
    EXPECT_EQ(refused[4].kind, "log");
    EXPECT_EQ(refused[4].reason, "log_id: empty");
    ASSERT_EQ(push.cards.size(), 1u);
    EXPECT_EQ(push.cards[0].updatedAt, 5);  // the newer of two copies in one batch
    EXPECT_EQ(push.logs.size(), 1u);
    SyncPull p = s.exchange(acct, push, {});
    EXPECT_EQ(p.cardsChanged, 1);
    EXPECT_EQ(p.logsAdded, 1);
}

// Two study databases on one machine share its device id; each still gets the
// other's logs and cards, and a reinstalled one gets its own history back.
TEST_P(StorageTest, AnswersLeaveOutOnlyTheRowsOfThePushingInstall) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));
    auto push = [&](const std::string& install, int64_t since, std::vector<CardRecord> cards,
                    std::vector<LogRecord> logs) {
        SyncPush p{"MACHINE", since, std::move(cards), std::move(logs), install};
        normalizePush(p);
        return s.exchange(acct, p, {});
    };
    SyncPull one = push("I1", 0, {card("char:風", 10)}, {log("I1:1")});
    EXPECT_TRUE(one.logs.empty()) << "never its own logs";
    SyncPull two = push("I2", 0, {card("char:雨", 11)}, {log("I2:1", "char:雨")});
    EXPECT_THAT(logIds(two), ElementsAre("I1:1"));
    SyncPull oneAgain = push("I1", one.now, {}, {});
    EXPECT_THAT(logIds(oneAgain), ElementsAre("I2:1"));
    ASSERT_EQ(oneAgain.cards.size(), 1u);
    EXPECT_EQ(oneAgain.cards[0].uid, "char:雨");
    // Reinstalled: a new install id, from 0, receives everything.
    SyncPull fresh = push("I3", 0, {}, {});
    EXPECT_THAT(logIds(fresh), UnorderedElementsAreArray({"I1:1", "I2:1"}));
    EXPECT_EQ(fresh.cards.size(), 2u);
}

// A card reviewed on two devices while apart: its state is the replay of
// both devices' reviews in time order, and every device is handed it.
TEST_P(StorageTest, ACardReviewedOnTwoDevicesTakesTheStateOfAllItsReviews) {
    Storage& s = **db;
    int64_t acct = *authenticate(s, addAccount(s, "ana"));
    auto review = [](const std::string& id, int64_t ts, int64_t day, int64_t rating) {
        LogRecord l = log(id, "char:風");
        l.ts = ts;
        l.day = day;
        l.rating = rating;
        return l;
    };
    const LogRecord a1 = review("A:1", 1000, 10, 3);
    const LogRecord b1 = review("B:1", 2000, 12, 1);  // B forgot it
    const LogRecord a2 = review("A:2", 3000, 15, 3);
    // Each device's copy holds the state its own reviews scheduled.
    CardRecord fromA = card("char:風", 3000, 2);
    applySchedule(fromA, *replayReviews({a1, a2}, FSRS{}));
    CardRecord fromB = card("char:風", 2000, 1);
    applySchedule(fromB, *replayReviews({b1}, FSRS{}));

    auto push = [&](const std::string& dev, int64_t since, CardRecord c,
                    std::vector<LogRecord> logs) {
        SyncPush p{dev, since, {std::move(c)}, std::move(logs), dev};
        normalizePush(p);
        return s.exchange(acct, p, {});
    };
    SyncPull a = push("A", 0, fromA, {a1, a2});
    EXPECT_EQ(a.cardsReplayed, 0) << "one device's reviews: its own state stands";
    SyncPull b = push("B", 0, fromB, {b1});
    EXPECT_EQ(b.cardsReplayed, 1);

    // The state of one device that made the three reviews in time order.
    CardRecord expected = fromA;
    applySchedule(expected, *replayReviews({a1, b1, a2}, FSRS{}));
    EXPECT_EQ(expected.lapses, 1) << "B's lapse counts";
    ASSERT_EQ(b.cards.size(), 1u) << "the device that lost the newer-wins race is told";
    EXPECT_EQ(b.cards[0], expected);
    SyncPull a2pull = push("A", a.now, fromA, {});
    ASSERT_EQ(a2pull.cards.size(), 1u);
    EXPECT_EQ(a2pull.cards[0], expected);
    EXPECT_EQ(a2pull.cardsReplayed, 0) << "a replay that changes nothing is not written";

    // The same word added later on a third device, without its reviews, is
    // newer but cannot wipe them out.
    SyncPull c = push("C", 0, card("char:風", 9000, 0), {});
    EXPECT_EQ(c.cardsChanged, 1);
    EXPECT_EQ(c.cardsReplayed, 1);
    SyncPull back = push("A", a2pull.now, fromA, {});
    ASSERT_EQ(back.cards.size(), 1u);
    EXPECT_EQ(back.cards[0].reps, expected.reps);
    EXPECT_EQ(back.cards[0].lapses, 1);
}

TEST_P(StorageTest, LessonsAreReplacedByIdAndServedInOrder) {
    Storage& s = **db;
    s.putLessons({{3, 1, 0, R"({"id":3})"}, {1, 2, 0, R"({"id":1})"}, {2, 1, 0, R"({"id":2})"}});
    s.putLessons({{3, 0, 5, R"({"id":3,"v":2})"}});
    std::vector<int64_t> ids;
    for (const StoredLesson& l : s.lessons()) {
        ids.push_back(l.id);
    }
    EXPECT_THAT(ids, ElementsAre(3, 2, 1));
    EXPECT_EQ(s.lessons()[0].json, R"({"id":3,"v":2})");
    EXPECT_TRUE(s.removeLesson(2));
    EXPECT_FALSE(s.removeLesson(2));
    EXPECT_EQ(s.lessons().size(), 2u);
}

TEST_P(StorageTest, TranslationQueueHandsEachPassageToOneWorker) {
    Storage& s = **db;
    EXPECT_EQ(s.translateOrQueue("傷寒", 100, 10).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.translateOrQueue("傷寒", 101, 10).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.translateOrQueue("金匱", 102, 10).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.pendingCount(), 2);
    EXPECT_EQ(s.pendingJobs(10)[0].requests, 2);

    std::unique_ptr<Storage> other = db->openAnother();
    std::optional<TmJob> first = s.claimJob(200, 60);
    std::optional<TmJob> second = other->claimJob(200, 60);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->zh, "傷寒");
    EXPECT_EQ(second->zh, "金匱");
    EXPECT_FALSE(s.claimJob(200, 60));  // both held
    EXPECT_TRUE(s.claimJob(261, 60));   // a lease runs out: free again

    s.failJob(second->id, "HTTP 500", 1000);
    EXPECT_EQ(s.pendingJobs(10)[1].attempts, 1);
    EXPECT_EQ(s.pendingJobs(10)[1].lastError, "HTTP 500");
    EXPECT_TRUE(s.putTranslation(first->id, "Thương hàn", "m1", 300));
    EXPECT_FALSE(s.putTranslation(9999, "x", "m", 300));
    TmAnswer known = other->translateOrQueue("傷寒", 301, 10);
    EXPECT_EQ(known.kind, TmAnswer::Kind::Memory);
    EXPECT_EQ(known.vi, "Thương hàn");
    EXPECT_EQ(known.model, "m1");
    EXPECT_EQ(s.pendingCount(), 1);
    EXPECT_FALSE(s.claimJob(999, 60));  // the failed one waits until 1000
    EXPECT_TRUE(s.claimJob(1000, 60));

    // A full queue refuses new passages but still counts known ones.
    EXPECT_EQ(s.translateOrQueue("新", 400, 1).kind, TmAnswer::Kind::QueueFull);
    EXPECT_EQ(s.translateOrQueue("金匱", 400, 1).kind, TmAnswer::Kind::Queued);

    // One requester's share: two waiting, a third refused, another requester
    // and a passage already waiting still go through.
    QueueLimits share{100, "a:192.0.2.1", 2};
    EXPECT_EQ(s.translateOrQueue("一", 500, share).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.translateOrQueue("二", 500, share).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.translateOrQueue("三", 500, share).kind, TmAnswer::Kind::OverShare);
    EXPECT_EQ(s.translateOrQueue("一", 500, share).kind, TmAnswer::Kind::Queued);
    EXPECT_EQ(s.translateOrQueue("三", 500, QueueLimits{100, "u:7", 2}).kind,
              TmAnswer::Kind::Queued);
}

TEST_P(StorageTest, StatisticsCountPerDay) {
    Storage& s = **db;
    for (int i = 0; i < 3; ++i) {
        s.countLookup(100, "傷寒");
    }
    s.countLookup(101, "傷寒");
    s.countLookup(101, "金匱要略");
    s.countLookup(90, "old");
    s.countEvent(100, "feature_used", "lookup");
    s.countEvent(100, "feature_used", "lookup");
    s.countEvent(101, "app_open", "0.1.0");
    StatsReport r = s.stats(95, 101, 10);
    ASSERT_EQ(r.topLookups.size(), 2u);
    EXPECT_EQ(r.topLookups[0].zh, "傷寒");
    EXPECT_EQ(r.topLookups[0].count, 4);
    EXPECT_THAT(r.lookupsPerDay, ElementsAre(std::pair<int64_t, int64_t>{100, 3},
                                             std::pair<int64_t, int64_t>{101, 2}));
    ASSERT_EQ(r.events.size(), 2u);
    EXPECT_EQ(r.events[0].count, 2);
    EXPECT_EQ(r.events[1].detail, "0.1.0");
    EXPECT_EQ(s.stats(95, 101, 1).topLookups.size(), 1u);
}

TEST_P(StorageTest, ReopeningKeepsDataAndSchema) {
    Storage& s = **db;
    std::string token = addAccount(s, "ana");
    exchange(s, *authenticate(s, token), "A", 0, {card("char:x", 1)}, {log("A:1")});
    std::unique_ptr<Storage> again = db->openAnother();
    EXPECT_EQ(again->schemaVersion(), s.schemaVersion());
    EXPECT_GE(again->schemaVersion(), 1);
    ASSERT_EQ(again->accounts().size(), 1u);
    EXPECT_EQ(again->accounts()[0].logs, 1);
    EXPECT_TRUE(authenticate(*again, token));
}

// Servers starting together on a new database migrate it once; a database
// from a newer program is refused rather than written.
TEST_P(StorageTest, ProcessesStartingTogetherMigrateOnceAndNewerSchemasAreRefused) {
    std::unique_ptr<TempDir> dir;
    std::unique_ptr<PgDatabase> pg;
    std::string url;
    if (GetParam() == Backend::Sqlite) {
        dir = std::make_unique<TempDir>();
        url = "sqlite:" + dir->file("fresh.sqlite");
    } else {
        pg = std::make_unique<PgDatabase>();
        url = pg->url();
    }
    std::vector<std::thread> starts;
    std::atomic<int> opened{0};
    for (int i = 0; i < 4; ++i) {
        starts.emplace_back([&] {
            try {
                openStorage(url, 1);
                ++opened;
            } catch (const StorageError& e) {
                ADD_FAILURE() << e.what();
            }
        });
    }
    for (std::thread& t : starts) {
        t.join();
    }
    EXPECT_EQ(opened.load(), 4);
    std::unique_ptr<Storage> s = openStorage(url, 1);
    int version = s->schemaVersion();
    EXPECT_GE(version, 1);
    s->countEvent(1, "x", "");  // usable
    s.reset();

    if (GetParam() == Backend::Sqlite) {
        db::Database raw(dir->file("fresh.sqlite"), db::Database::Mode::ReadWriteCreate);
        ASSERT_TRUE(raw.exec("INSERT INTO schema_version VALUES (999)"));
    } else {
        PgConnection raw(url);
        raw.execScript("INSERT INTO schema_version VALUES (999)");
    }
    try {
        openStorage(url, 1);
        ADD_FAILURE() << "a newer schema was opened";
    } catch (const StorageError& e) {
        EXPECT_THAT(e.what(), testing::HasSubstr("newer than this program"));
    }
}

// The database server drops every connection (a restart, a failover): the
// next operations reconnect by themselves, and nothing is lost.
class PostgresStorageTest : public BackendTest {};

TEST_P(PostgresStorageTest, ConnectionsLostUnderThePoolAreRemade) {
    Storage& s = **db;
    std::string token = addAccount(s, "ana");
    int64_t acct = *authenticate(s, token);
    exchange(s, acct, "A", 0, {}, {log("A:1")});
    PgConnection admin(db->url());
    admin.execScript(
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
        " WHERE datname = current_database() AND pid <> pg_backend_pid()");
    EXPECT_EQ(authenticate(s, token), acct);
    EXPECT_EQ(exchange(s, acct, "A", 0, {}, {log("A:2")}).logsAdded, 1);
    EXPECT_EQ(exchange(s, acct, "B", 0).logs.size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Backends, PostgresStorageTest, testing::Values(Backend::Postgres),
                         backendName);
INSTANTIATE_TEST_SUITE_P(Backends, StorageTest, testing::Values(Backend::Sqlite, Backend::Postgres),
                         backendName);

}  // namespace
}  // namespace talvo::server::test
