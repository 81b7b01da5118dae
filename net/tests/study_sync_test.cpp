#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>

#include "core/db/database.h"
#include "core/study/study_store.h"
#include "core/sync/study_sync_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "core/wire/sync_records.h"
#include "net/async/background_runner.h"
#include "net/http/curl_transport.h"
#include "net/sync/study_sync_service.h"
#include "net/tests/net_test_util.h"
#include "net/tests/scripted_server.h"

using namespace talvo;
using namespace talvo::testing;
using nlohmann::json;
using namespace std::chrono_literals;

namespace {

wire::SyncCard remoteCard(const std::string& uid, int64_t updatedAt, int64_t reps = 4) {
    wire::SyncCard c;
    c.uid = uid;
    c.front = uid.substr(uid.find(':') + 1);
    c.am = "remote-am";
    c.gloss = "remote-gloss";
    c.source = "lookup";
    c.stability = 12.5;
    c.difficulty = 4.25;
    c.reps = reps;
    c.lapses = 1;
    c.state = "review";
    c.due = 20030;
    c.lastDay = 20001;
    c.updatedAt = updatedAt;
    return c;
}

wire::SyncLog remoteLog(const std::string& logId, const std::string& uid = "char:心") {
    return wire::SyncLog{logId, uid, 1'700'000'500, 20001, 3, 2, 9, 0};
}

class StudySyncTest : public ::testing::Test {
  protected:
    StudySyncTest() : store(dir.file("study.sqlite"), clockOnDay(20000)) {}

    db::Database& d() { return store.db.connection(); }

    int64_t scalar(const std::string& sql) {
        db::Statement st(d(), sql);
        return st.step() ? st.int64(0) : -1;
    }
    std::string text(const std::string& sql) {
        db::Statement st(d(), sql);
        return st.step() ? st.text(0).value_or("NULL") : "<none>";
    }

    // Every row of the tables sync may touch, for "nothing changed" checks.
    std::string snapshot() {
        std::string out;
        for (const char* sql :
             {"SELECT * FROM card ORDER BY id", "SELECT * FROM review_log ORDER BY id",
              "SELECT * FROM cfg ORDER BY k"}) {
            db::Statement st(d(), sql);
            while (st.step()) {
                for (int c = 0; c < 20; ++c) {
                    out += st.text(c).value_or("∅") + "|";
                }
                out += "\n";
            }
        }
        return out;
    }

    // A card changed here at updatedAt (0: seeded and never changed, so
    // nothing to push), in the order of the calls.
    void addLocalCard(const std::string& uid, int64_t freqRank, int64_t updatedAt) {
        insertCard(d(), uid, freqRank, 2, 20005, "local-am");
        db::Statement st(d(),
                         "UPDATE card SET updated_at=?1, added_day=19990, pending=CASE WHEN ?1 > 0 "
                         "THEN (SELECT COALESCE(MAX(pending), 0) + 1 FROM card) ELSE 0 END "
                         "WHERE uid=?2");
        st.bind(1, updatedAt).bind(2, uid).run();
    }

    std::string logId(int64_t row) { return store.db.installId() + ":" + std::to_string(row); }

    void addLocalLogs(int n) {
        db::Transaction tx(d());
        db::Statement st(d(),
                         "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval) "
                         "VALUES ('char:數', ?, 20000, 3, 1, 4)");
        for (int i = 0; i < n; ++i) {
            st.reset();
            st.bind(1, int64_t{1'700'000'000} + i).run();
        }
        tx.commit();
    }

    // The server answers every exchange with `response`; bodies are kept.
    void serve(const wire::SyncResponse& response) {
        server.on("POST", "/api/study/sync",
                  [this, body = wire::encodeSyncResponse(response)](const httplib::Request&,
                                                                    httplib::Response& res) {
                      res.set_content(body, "application/json");
                  });
    }

    json sentBody(size_t i) { return json::parse(server.requests().at(i).body); }

    // One exchange run to its end on this thread.
    SyncReport exchange(std::chrono::milliseconds timeout = 60s, std::string base = "") {
        InlineExecutor now;
        StudySyncService service(transport, now, now, configFor(base.empty() ? server.url() : base),
                                 timeout);
        SyncReport report;
        bool called = false;
        EXPECT_TRUE(service.sync(store.db, [&](const SyncReport& r) {
            report = r;
            called = true;
        }));
        EXPECT_TRUE(called);
        EXPECT_FALSE(service.inFlight());
        return report;
    }

    TempDir dir;
    StudyStores store;
    ScriptedServer server;
    CurlTransport transport{CurlTransport::Options{"*"}};
};

}  // namespace

TEST_F(StudySyncTest, OneExchangeSendsTheBatchAndAppliesTheAnswer) {
    addLocalCard("char:數", 3, 1'700'000'100);
    addLocalCard("char:傷", 4, 1'700'000'300);
    addLocalCard("char:寒", 5, 0);  // seeded, never changed: not pushed
    addLocalLogs(2);
    serve({1'800'000'000, {remoteCard("char:心", 1'700'000'400)}, {remoteLog("abc:17")}});

    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.sentCards, 2);
    EXPECT_EQ(r.sentLogs, 2);
    EXPECT_EQ(r.appliedCards, 1);
    EXPECT_EQ(r.storedLogs, 1);

    SeenRequest req = server.requests().at(0);
    EXPECT_EQ(req.header("Content-Type"), "application/json");
    EXPECT_EQ(req.header("Authorization"), "Bearer tok-123");
    EXPECT_EQ(req.header("X-Device-Id"), "DEV-A");
    json body = json::parse(req.body);
    EXPECT_EQ(body["device_id"], "DEV-A");
    EXPECT_EQ(body["since"], 0);
    ASSERT_EQ(body["cards"].size(), 2u);
    EXPECT_EQ(body["cards"][0]["uid"], "char:數") << "oldest change first";
    EXPECT_EQ(body["install_id"], store.db.installId());
    EXPECT_EQ(body["logs"][0]["log_id"], logId(1));
    EXPECT_EQ(body["logs"][1]["log_id"], logId(2));

    // The new card ranks after every local card; the log keeps its origin.
    EXPECT_EQ(scalar("SELECT freq_rank * 10 + added_day FROM card WHERE uid='char:心'"), 1'000'000);
    EXPECT_EQ(text("SELECT origin || '/' || synced || '/' || log_id FROM review_log "
                   "WHERE card_uid='char:心'"),
              "abc/1/abc:17");
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM review_log WHERE synced=1 AND log_id LIKE '" +
                     store.db.installId() + ":%'"),
              2);
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM card WHERE pending > 0"), 0);
    EXPECT_EQ(store.study.cfg("sync_since"), "1800000000");

    // Next time: the new cursor goes out, nothing already pushed goes again,
    // and neither the received card nor the log received from abc is pushed
    // back.
    SyncReport again = exchange();
    ASSERT_TRUE(again.ok);
    json second = sentBody(1);
    EXPECT_EQ(second["since"], 1'800'000'000);
    EXPECT_EQ(second["cards"].size(), 0u);
    EXPECT_EQ(second["logs"].size(), 0u);
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM review_log WHERE log_id='abc:17'"), 1)
        << "a log received twice is stored once";
}

TEST_F(StudySyncTest, SixHundredLogsGoOutAsFiveHundredThenOneHundredInOneExchange) {
    addLocalLogs(600);
    serve({5, {}, {}});
    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.pages, 2);
    EXPECT_EQ(r.sentLogs, 600);
    EXPECT_FALSE(r.more);
    ASSERT_EQ(server.requestCount(), 2u);
    EXPECT_EQ(sentBody(0)["logs"].size(), 500u);
    EXPECT_EQ(sentBody(0)["logs"][499]["log_id"], logId(500));
    EXPECT_EQ(sentBody(1)["logs"].size(), 100u);
    EXPECT_EQ(sentBody(1)["logs"][0]["log_id"], logId(501));
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM review_log WHERE synced=0"), 0);
}

TEST_F(StudySyncTest, CardsSharingOneSecondAtTheBatchEdgeAreAllPushedOnce) {
    // 490 graded cards and a 30-item lesson in the same second: the batch of
    // 500 ends inside that second, and the rest must still go out.
    for (int i = 0; i < 530; ++i) {
        addLocalCard("phrase:" + std::to_string(i), i, 1'700'000'000);
    }
    serve({5, {}, {}});
    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.sentCards, 530);
    std::set<std::string> uids;
    for (size_t i = 0; i < server.requestCount(); ++i) {
        json body = sentBody(i);
        for (const json& c : body["cards"]) {
            EXPECT_TRUE(uids.insert(c["uid"]).second) << c["uid"] << " pushed twice";
        }
    }
    EXPECT_EQ(uids.size(), 530u);

    // A card changed again while its exchange was on the way goes out once
    // more; one that was not, never again.
    addLocalCard("char:數", 1, 1'700'000'001);
    server.on("POST", "/api/study/sync", [&](const httplib::Request&, httplib::Response& res) {
        db::Statement st(d(),
                         "UPDATE card SET reps=9, pending=(SELECT MAX(pending)+1 FROM card) "
                         "WHERE uid='char:數'");
        st.run();
        res.set_content(wire::encodeSyncResponse({6, {}, {}}), "application/json");
    });
    ASSERT_TRUE(exchange().ok);
    serve({7, {}, {}});
    ASSERT_TRUE(exchange().ok);
    json last = sentBody(server.requestCount() - 1)["cards"];
    ASSERT_EQ(last.size(), 1u);
    EXPECT_EQ(last[0]["reps"], 9);
    ASSERT_TRUE(exchange().ok);
    EXPECT_EQ(sentBody(server.requestCount() - 1)["cards"].size(), 0u);
}

TEST_F(StudySyncTest, ARemoteCardFromTheFutureIsClampedAndCannotFreezeLocalEdits) {
    // This device's clock reads 1'700'000'000 (clockOnDay); another device's
    // runs a day ahead.
    const int64_t now = store.db.clock().now();
    serve({5, {remoteCard("char:心", now + 86'400)}, {}});
    ASSERT_TRUE(exchange().ok);
    EXPECT_EQ(scalar("SELECT updated_at FROM card WHERE uid='char:心'"),
              now + StudySyncStore::kFutureToleranceSeconds);
    EXPECT_EQ(scalar("SELECT pending FROM card WHERE uid='char:心'"), 0)
        << "a received card is not pushed back";

    // A later local grade of that card (ten minutes on) is newer than the
    // clamped stamp, so a second copy from the fast device cannot undo it.
    store.db.connection().exec("UPDATE card SET updated_at=" + std::to_string(now + 600) +
                               ", reps=7 WHERE uid='char:心'");
    serve({6, {remoteCard("char:心", now + 86'400)}, {}});
    ASSERT_TRUE(exchange().ok);
    EXPECT_EQ(scalar("SELECT reps FROM card WHERE uid='char:心'"), 7);
}

TEST_F(StudySyncTest, PagedAnswersArePulledInOneExchangeWithinTheBound) {
    // 2,500 logs wait on the server, 1,000 to a page.
    std::atomic<int> asked{0};
    server.on("POST", "/api/study/sync", [&](const httplib::Request& req, httplib::Response& res) {
        int64_t since = json::parse(req.body)["since"];
        wire::SyncResponse page;
        for (int64_t i = since; i < std::min<int64_t>(since + 1000, 2500); ++i) {
            page.logs.push_back(remoteLog("OTHER:" + std::to_string(i + 1)));
        }
        page.now = since + static_cast<int64_t>(page.logs.size());
        page.more = page.now < 2500;
        ++asked;
        res.set_content(wire::encodeSyncResponse(page), "application/json");
    });
    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(asked.load(), 3);
    EXPECT_EQ(r.receivedLogs, 2500);
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM review_log WHERE origin='OTHER'"), 2500);
    EXPECT_EQ(store.study.cfg("sync_since"), "2500");

    // A server that always says "more" is asked at most kMaxPages times.
    server.on("POST", "/api/study/sync", [&](const httplib::Request&, httplib::Response& res) {
        ++asked;
        wire::SyncResponse page{9, {}, {}, true, {}};
        res.set_content(wire::encodeSyncResponse(page), "application/json");
    });
    asked = 0;
    SyncReport bounded = exchange();
    EXPECT_TRUE(bounded.ok);
    EXPECT_TRUE(bounded.more);
    EXPECT_EQ(asked.load(), StudySyncService::kMaxPages);
}

TEST_F(StudySyncTest, RefusedRowsStayUnsyncedCountedAndAreNotOfferedAgain) {
    addLocalCard("phrase:long", 1, 1'700'000'100);
    addLocalCard("char:數", 2, 1'700'000'100);
    addLocalLogs(2);
    wire::SyncResponse answer{5, {}, {}};
    answer.rejected = {{"card", "phrase:long", "uid: longer than 1024 bytes"},
                       {"log", logId(2), "card_uid: longer than 1024 bytes"}};
    serve(answer);
    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.refusedRows, 2);
    EXPECT_EQ(r.refusedTotal, 2);
    EXPECT_EQ(text("SELECT group_concat(id || '=' || synced) FROM review_log"), "1=1,2=0");
    EXPECT_GT(scalar("SELECT pending FROM card WHERE uid='phrase:long'"), 0);
    EXPECT_EQ(scalar("SELECT pending FROM card WHERE uid='char:數'"), 0);

    serve({6, {}, {}});
    SyncReport next = exchange();
    ASSERT_TRUE(next.ok);
    EXPECT_EQ(next.sentCards + next.sentLogs, 0) << "refused rows are not offered again";
    EXPECT_EQ(next.refusedTotal, 2);
    EXPECT_EQ(StudySyncStore(store.db).waitingCount(), 2);
}

TEST_F(StudySyncTest, StrictlyNewerRemoteCardsWinAndKeepLocalRank) {
    addLocalCard("char:數", 3, 1000);
    addLocalCard("char:傷", 4, 1000);
    serve({7, {remoteCard("char:數", 1000), remoteCard("char:傷", 1001), remoteCard(":", 9)}, {}});
    std::string before = text("SELECT am FROM card WHERE uid='char:數'");

    SyncReport r = exchange();
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.appliedCards, 1);
    EXPECT_EQ(text("SELECT am FROM card WHERE uid='char:數'"), before) << "equal stamps keep local";
    EXPECT_EQ(text("SELECT am || '/' || gloss || '/' || source || '/' || stability || '/' || "
                   "reps || '/' || due || '/' || last_day || '/' || updated_at || '/' || "
                   "freq_rank || '/' || added_day FROM card WHERE uid='char:傷'"),
              "remote-am/remote-gloss/lookup/12.5/4/20030/20001/1001/4/19990");
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM card WHERE front=''"), 0) << "empty front is skipped";
}

TEST_F(StudySyncTest, EveryFailureLeavesTheDatabaseAndResendsTheSameBatch) {
    addLocalCard("char:數", 3, 1'700'000'100);
    addLocalLogs(3);
    store.study.setCfg("sync_since", "42");
    const std::string before = snapshot();
    const std::string goodAnswer =
        wire::encodeSyncResponse({99, {remoteCard("char:心", 5)}, {remoteLog("abc:1")}});

    RawServer notHttp("SSH-2.0-OpenSSH_9.2\r\n");
    RawServer dropped("");
    struct Case {
        const char* what;
        std::function<void()> script;
        std::string base;
    };
    const Case cases[] = {
        {"500", [&] { server.answer("POST", "/api/study/sync", 500, goodAnswer); }, ""},
        {"403", [&] { server.answer("POST", "/api/study/sync", 403, goodAnswer); }, ""},
        {"malformed JSON", [&] { server.answer("POST", "/api/study/sync", 200, "{\"now\": 1,"); },
         ""},
        {"wrong shape",
         [&] { server.answer("POST", "/api/study/sync", 200, R"({"now": 5, "cards": {}})"); }, ""},
        {"invalid UTF-8",
         [&] {
             server.answer("POST", "/api/study/sync", 200,
                           "{\"now\": 1, \"cards\": [], \"logs\": [], \"x\": \"\xc3\x28\"}");
         },
         ""},
        {"50 MB body",
         [&] { server.on("POST", "/api/study/sync", ScriptedServer::huge(50 << 20)); }, ""},
        {"never answers", [&] { server.on("POST", "/api/study/sync", server.hang()); }, ""},
        {"reset mid-body",
         [&] { server.on("POST", "/api/study/sync", ScriptedServer::resetMidBody(4000, 100)); },
         ""},
        {"not HTTP", [] {}, notHttp.url()},
        {"dropped connection", [] {}, dropped.url()},
    };
    size_t expectedRequests = 0;
    for (const Case& c : cases) {
        c.script();
        SyncReport r = exchange(400ms, c.base);
        EXPECT_FALSE(r.ok) << c.what;
        EXPECT_FALSE(r.error.empty()) << c.what;
        EXPECT_EQ(r.error.find("tok-123"), std::string::npos) << c.what;
        EXPECT_EQ(snapshot(), before) << c.what;
        if (c.base.empty()) {
            ++expectedRequests;
            ASSERT_EQ(server.requestCount(), expectedRequests) << c.what;
            json sent = sentBody(expectedRequests - 1);
            EXPECT_EQ(sent["since"], 42) << c.what;
            EXPECT_EQ(sent["logs"].size(), 3u) << c.what;
            EXPECT_EQ(sent["cards"].size(), 1u) << c.what;
        }
    }

    // The batch that kept failing goes through once the server answers.
    server.answer("POST", "/api/study/sync", 200, goodAnswer);
    SyncReport ok = exchange();
    ASSERT_TRUE(ok.ok) << ok.error;
    EXPECT_EQ(sentBody(expectedRequests)["logs"], sentBody(0)["logs"]);
    EXPECT_EQ(store.study.cfg("sync_since"), "99");
}

TEST_F(StudySyncTest, WithoutServiceUrlOrTokenNothingIsSent) {
    addLocalLogs(1);
    InlineExecutor now;
    for (OnlineConfig config :
         {configFor(""), configFor("ftp://host"), configFor(server.url(), std::nullopt)}) {
        StudySyncService service(transport, now, now, config);
        SyncReport report;
        report.ok = true;
        service.sync(store.db, [&](const SyncReport& r) { report = r; });
        EXPECT_FALSE(report.ok);
        EXPECT_FALSE(service.inFlight());
    }
    EXPECT_EQ(server.requestCount(), 0u);
    EXPECT_EQ(scalar("SELECT synced FROM review_log"), 0);

    // An address kept from before plain http to another machine was refused:
    // the token stays home.
    StudySyncService clear(transport, now, now, configFor("http://talvo.example"));
    SyncReport report;
    clear.sync(store.db, [&](const SyncReport& r) { report = r; });
    EXPECT_FALSE(report.ok);
    EXPECT_NE(report.error.find("https://"), std::string::npos) << report.error;
}

TEST_F(StudySyncTest, WaitsOffTheOwnerThreadAndDropsASecondTrigger) {
    addLocalLogs(2);
    std::atomic<bool> release{false};
    std::thread::id handledOn;
    server.on("POST", "/api/study/sync", [&](const httplib::Request&, httplib::Response& res) {
        while (!release) {
            std::this_thread::sleep_for(5ms);
        }
        res.set_content(wire::encodeSyncResponse({77, {}, {}}), "application/json");
    });
    QueueExecutor owner;
    BackgroundRunner runner([this] { transport.shutdown(); });
    StudySyncService service(transport, runner, owner, configFor(server.url()));

    int completions = 0;
    SyncReport report;
    std::thread::id completedOn;
    auto done = [&](const SyncReport& r) {
        ++completions;
        report = r;
        completedOn = std::this_thread::get_id();
    };
    ASSERT_TRUE(service.sync(store.db, done));  // returns while the server holds the request
    EXPECT_TRUE(service.inFlight());
    EXPECT_FALSE(service.sync(store.db, done)) << "a trigger during an exchange is dropped";
    ASSERT_TRUE(server.waitForRequests(1, 5s));
    release = true;
    runner.waitIdle();
    // The answer is in, but nothing touches the store until the owner runs it.
    EXPECT_EQ(store.study.cfg("sync_since"), std::nullopt);
    EXPECT_EQ(owner.drain(), 1u);
    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(report.ok) << report.error;
    EXPECT_EQ(completedOn, std::this_thread::get_id());
    EXPECT_EQ(store.study.cfg("sync_since"), "77");
    EXPECT_EQ(server.requestCount(), 1u);
    EXPECT_FALSE(service.inFlight());
}

TEST_F(StudySyncTest, DestroyingTheServiceMidExchangeAppliesNothing) {
    addLocalLogs(1);
    server.on("POST", "/api/study/sync", server.hang());
    QueueExecutor owner;
    {
        BackgroundRunner runner([this] { transport.shutdown(); });
        {
            StudySyncService service(transport, runner, owner, configFor(server.url()));
            service.sync(store.db,
                         [](const SyncReport&) { ADD_FAILURE() << "completion after death"; });
            ASSERT_TRUE(server.waitForRequests(1, 5s));
        }
        auto start = std::chrono::steady_clock::now();
        runner.shutdown();  // cancels the hanging request
        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    }
    owner.drain();
    EXPECT_EQ(scalar("SELECT synced FROM review_log"), 0);
}
