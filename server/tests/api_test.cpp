// The HTTP API on loopback: status codes, error bodies, limits, metrics.

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "core/wire/lessons_feed.h"
#include "core/wire/sync_records.h"
#include "server/lesson_feed.h"
#include "server/sync_batch.h"
#include "server/tests/test_support.h"
#include "server/token.h"

namespace talvo::server::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class ApiTest : public testing::Test {
  protected:
    explicit ApiTest(ApiOptions options = unlimited())
        : db(Backend::Sqlite), token(addAccount(*db, "ana")), server(*db, options) {}

    httplib::Result post(const std::string& path, const std::string& body,
                         const std::string& bearer = "", const std::string& device = "dev-1") {
        httplib::Headers headers{{"X-Device-Id", device}};
        if (!bearer.empty()) {
            headers.emplace("Authorization", "Bearer " + bearer);
        }
        return server.client().Post(path, headers, body, "application/json");
    }

    // The status and the "error" text, checking that every error is JSON.
    std::pair<int, std::string> error(const httplib::Result& r) {
        if (!r) {
            return {0, "no answer"};
        }
        json body = json::parse(r->body, nullptr, false);
        EXPECT_TRUE(body.is_object() && body["error"].is_string()) << r->body;
        return {r->status, body.is_object() ? body.value("error", "") : ""};
    }

    std::string syncBody(const std::string& device, int64_t since,
                         std::vector<CardRecord> cards = {}, std::vector<LogRecord> logs = {}) {
        return wire::encodeSyncRequest({device, since, std::move(cards), std::move(logs)});
    }

    FreshStorage db;
    std::string token;
    TestServer server;
};

TEST_F(ApiTest, SyncRoundTripsThroughTheWireRecords) {
    auto a = post("/api/study/sync", syncBody("A", 0, {card("char:心", 10)}, {log("A:1")}), token);
    ASSERT_TRUE(a);
    ASSERT_EQ(a->status, 200) << a->body;
    auto b = post("/api/study/sync", syncBody("B", 0), token);
    ASSERT_TRUE(b);
    auto decoded = wire::decodeSyncResponse(b->body);
    ASSERT_TRUE(decoded) << decoded.error;
    ASSERT_EQ(decoded->cards.size(), 1u);
    EXPECT_EQ(decoded->cards[0], card("char:心", 10));
    ASSERT_EQ(decoded->logs.size(), 1u);
    EXPECT_EQ(decoded->logs[0], log("A:1"));
    EXPECT_GT(decoded->now, 0);
}

// Rows the server cannot keep are named in the answer, which is still 200 for
// the rest; a card stamped far ahead of the server's clock is kept as stamped
// five minutes from now.
TEST_F(ApiTest, SyncNamesRefusedRowsAndClampsFutureStamps) {
    const int64_t now = ::time(nullptr);
    CardRecord ahead = card("char:心", now + 86'400);
    CardRecord tooLong = card("phrase:" + std::string(1100, 'x'), now);
    LogRecord badLog = log("A:1", std::string(1100, 'y'));
    auto a =
        post("/api/study/sync", syncBody("A", 0, {ahead, tooLong}, {badLog, log("A:2")}), token);
    ASSERT_TRUE(a);
    ASSERT_EQ(a->status, 200) << a->body;
    auto answer = wire::decodeSyncResponse(a->body);
    ASSERT_TRUE(answer) << answer.error;
    ASSERT_EQ(answer->rejected.size(), 2u);
    EXPECT_EQ(answer->rejected[0].kind, "card");
    EXPECT_EQ(answer->rejected[0].id, tooLong.uid);
    EXPECT_EQ(answer->rejected[1].kind, "log");
    EXPECT_EQ(answer->rejected[1].reason, "card_uid: longer than 1024 bytes");
    EXPECT_FALSE(answer->more);

    auto b = wire::decodeSyncResponse(post("/api/study/sync", syncBody("B", 0), token)->body);
    ASSERT_TRUE(b);
    ASSERT_EQ(b->cards.size(), 1u);
    EXPECT_GE(b->cards[0].updatedAt, now + kFutureToleranceSeconds);
    EXPECT_LE(b->cards[0].updatedAt, now + kFutureToleranceSeconds + 5);
    EXPECT_EQ(b->logs.size(), 1u);
}

TEST_F(ApiTest, EveryRouteRefusesBadInputWithAJsonError) {
    auto body = syncBody("A", 0);
    EXPECT_EQ(error(post("/api/study/sync", body)).first, 401);
    EXPECT_EQ(error(post("/api/study/sync", body, "not-a-token")).first, 401);
    EXPECT_EQ(error(post("/api/study/sync", body, std::string(80, 'a'))).first, 401);
    auto wrongScheme = server.client().Post(
        "/api/study/sync", {{"Authorization", "Basic " + token}}, body, "application/json");
    EXPECT_EQ(error(wrongScheme).first, 401);
    EXPECT_EQ(wrongScheme->get_header_value("WWW-Authenticate"), "Bearer");

    EXPECT_EQ(error(post("/api/study/sync", "{not json", token)).first, 400);
    EXPECT_EQ(error(post("/api/study/sync", R"({"device_id":"A","since":"0","cards":[],"logs":[]})",
                         token))
                  .first,
              400);
    EXPECT_EQ(
        error(post("/api/study/sync", R"({"device_id":"","since":0,"cards":[],"logs":[]})", token))
            .first,
        400);
    EXPECT_EQ(error(post("/api/study/sync", syncBody("A", -1), token)).first, 400);
    EXPECT_EQ(error(post("/api/tm/translate", "{\"zh\":\"\xff\xfe\"}", token)).first,
              400);  // bad UTF-8
    EXPECT_EQ(error(post("/api/tm/translate", R"({"zh":"  \n "})", token)).first, 400);
    EXPECT_EQ(error(post("/api/tm/translate", R"([1,2])", token)).first, 400);
    // Statistics count only what the program sends: its events, its
    // features, a version, a passage of Hán text.
    for (const char* event : {R"({"name":"bad name!"})", R"({"name":"signup"})",
                              R"({"name":"feature_used","params":{}})",
                              R"({"name":"feature_used","params":{"name":"crypto_miner"}})",
                              R"({"name":"app_open","params":{"app_version":"<script>"}})",
                              R"({"name":"x","params":{"a":1}})"}) {
        EXPECT_EQ(error(post("/api/stats/event", event)).first, 400) << event;
    }
    for (const char* lookup :
         {R"({"zh":5})", R"({"zh":"http://spam.example"})", R"({"zh":"傷寒\u0007"})"}) {
        EXPECT_EQ(error(post("/api/stats/lookup", lookup)).first, 400) << lookup;
    }

    auto unknown = error(server.client().Get("/api/nothing"));
    EXPECT_EQ(unknown.first, 404);
    auto wrongMethod = server.client().Get("/api/study/sync");
    EXPECT_EQ(error(wrongMethod).first, 405);
    EXPECT_EQ(wrongMethod->get_header_value("Allow"), "POST");
    EXPECT_EQ(error(server.client().Delete("/api/study/lessons")).first, 405);

    // Over a route's own limit, and over the largest (httplib refuses it
    // before routing): both answer 413 in the same shape.
    std::string passage = R"({"zh":")" + std::string(5000, 'x') + R"("})";
    EXPECT_EQ(error(post("/api/tm/translate", passage, token)).first, 413);
    EXPECT_EQ(error(post("/api/stats/lookup", std::string(70 << 10, ' '))).first, 413);
    std::string huge(server.api().maxBody() + 1, ' ');
    EXPECT_EQ(error(post("/api/study/sync", huge, token)).first, 413);

    // The server is still well after all of it.
    EXPECT_EQ(server.client().Get("/healthz")->status, 200);
}

TEST_F(ApiTest, TranslationIsQueuedThenAnsweredFromMemory) {
    auto first = post("/api/tm/translate", R"({"zh":"  傷寒論\n"})", token);
    ASSERT_TRUE(first);
    EXPECT_EQ(json::parse(first->body), json::parse(R"({"source":"queued"})"));
    std::vector<TmJob> waiting = db->pendingJobs(10);
    ASSERT_EQ(waiting.size(), 1u);
    EXPECT_EQ(waiting[0].zh, "傷寒論");  // trimmed before it is remembered
    db->putTranslation(waiting[0].id, "Bàn về thương hàn", "human", 1);
    auto again = post("/api/tm/translate", R"({"zh":"傷寒論"})", token);
    EXPECT_EQ(json::parse(again->body),
              json::parse(R"({"vi":"Bàn về thương hàn","source":"memory","model":"human"})"));
}

TEST_F(ApiTest, StatisticsAreCountedByDay) {
    EXPECT_EQ(
        post("/api/stats/event", R"({"name":"feature_used","params":{"name":"lookup"}})")->status,
        200);
    EXPECT_EQ(post("/api/stats/event", R"({"name":"app_open","params":{"app_version":"0.1.0",
                   "os":"linux"}})")
                  ->status,
              200);
    EXPECT_EQ(post("/api/stats/lookup", R"({"zh":" 傷寒 "})")->status, 200);
    EXPECT_EQ(post("/api/stats/lookup", R"({"zh":"傷寒"})")->status, 200);
    int64_t today = Clock::system().now() / 86400;
    StatsReport r = db->stats(today - 1, today, 5);
    ASSERT_EQ(r.topLookups.size(), 1u);
    EXPECT_EQ(r.topLookups[0].count, 2);
    ASSERT_EQ(r.events.size(), 2u);
    EXPECT_EQ(r.events[0].name, "app_open");
    EXPECT_EQ(r.events[0].detail, "0.1.0");
    EXPECT_EQ(r.events[1].detail, "lookup");
}

TEST_F(ApiTest, LessonsRouteServesTheImportedStarterSet) {
    std::ifstream in(std::string(TALVO_SERVER_SOURCE_DIR) + "/lessons/classical_medicine.json");
    std::string text((std::istreambuf_iterator<char>(in)), {});
    db->putLessons(parseLessonFeed(text));
    auto r = server.client().Get("/api/study/lessons");
    ASSERT_TRUE(r);
    ASSERT_EQ(r->status, 200);
    auto feed = wire::decodeLessonsFeed(r->body);
    ASSERT_TRUE(feed) << feed.error;
    ASSERT_GE(feed->lessons.size(), 3u);
    for (const wire::Lesson& l : feed->lessons) {
        EXPECT_FALSE(l.items.empty());
        for (const LessonItem& item : l.items) {
            // The same identities a lookup gives a card, so a lesson counts
            // what the learner already added from the popup.
            size_t chars = std::count_if(item.front.begin(), item.front.end(),
                                         [](char c) { return (c & 0xC0) != 0x80; });
            EXPECT_EQ(item.uid, (chars == 1 ? "char:" : "phrase:") + item.front);
            EXPECT_TRUE(item.am && !item.am->empty());
            EXPECT_TRUE(item.gloss && !item.gloss->empty());
        }
    }
    EXPECT_EQ(feed->lessons[0].hanLabel, "六淫");
}

TEST_F(ApiTest, TheFiguresAreTheOperatorsOnly) {
    for (const httplib::Headers& h :
         {httplib::Headers{}, httplib::Headers{{"Authorization", "Bearer operator-secreT"}},
          httplib::Headers{{"Authorization", "Bearer " + token}}}) {
        auto r = server.client().Get("/metrics", h);
        ASSERT_TRUE(r);
        EXPECT_EQ(r->status, 404);
        EXPECT_THAT(r->body, testing::Not(HasSubstr("talvo_")));
    }
    // The operator's own listener needs no token.
    httplib::Server own;
    server.api().installMetrics(own);
    int port = own.bind_to_any_port("127.0.0.1");
    std::thread serving([&] { own.listen_after_bind(); });
    while (!own.is_running()) {
        std::this_thread::yield();
    }
    auto r = httplib::Client("127.0.0.1", port).Get("/metrics");
    own.stop();
    serving.join();
    ASSERT_TRUE(r);
    EXPECT_THAT(r->body, HasSubstr("talvo_http_requests_total"));
}

TEST_F(ApiTest, MetricsCountRequestsByRouteAndStatus) {
    post("/api/study/sync", syncBody("A", 0), token);
    post("/api/study/sync", syncBody("A", 0));
    server.client().Get("/nowhere");
    auto r = server.client().Get("/metrics", operatorHeaders());
    ASSERT_TRUE(r);
    EXPECT_THAT(r->get_header_value("Content-Type"), HasSubstr("text/plain"));
    EXPECT_THAT(r->body,
                HasSubstr(R"(talvo_http_requests_total{route="/api/study/sync",status="200"} 1)"));
    EXPECT_THAT(r->body,
                HasSubstr(R"(talvo_http_requests_total{route="/api/study/sync",status="401"} 1)"));
    EXPECT_THAT(r->body, HasSubstr(R"(talvo_http_requests_total{route="other",status="404"} 1)"));
    EXPECT_THAT(
        r->body,
        HasSubstr(R"(talvo_http_request_duration_seconds_count{route="/api/study/sync"} 2)"));
    EXPECT_THAT(r->body, HasSubstr("talvo_http_queue_length "));
    EXPECT_THAT(r->body, HasSubstr("talvo_tm_queue_length 0"));
    // Neither the token nor a body reaches the log.
    EXPECT_THAT(server.logText(), testing::Not(HasSubstr(token)));
}

// The folder comes first among the bases, so it exists before the server.
struct StrokesFolder {
    StrokesFolder() {
        std::ofstream(dir.file("永.json"))
            << R"({"strokes":["M 1 2 L 3 4 Z"],"medians":[[[1,2],[3,4]]]})";
        std::ofstream(dir.file("secret.json")) << "{}";
    }
    TempDir dir;
};

class StrokesTest : protected StrokesFolder, public ApiTest {
  protected:
    static ApiOptions withStrokes(const std::string& dir) {
        ApiOptions o = unlimited();
        o.strokesDir = dir;
        return o;
    }
    StrokesTest() : ApiTest(withStrokes(dir.path())) {}
};

TEST_F(StrokesTest, OneCharacterFileIsServedAndNothingElseIs) {
    // The client's form: the character percent-encoded.
    auto r = server.client().Get("/npm/hanzi-writer-data@2.0/%E6%B0%B8.json");
    ASSERT_TRUE(r);
    EXPECT_EQ(r->status, 200);
    EXPECT_THAT(r->body, HasSubstr("\"medians\""));
    EXPECT_EQ(r->get_header_value("Content-Type"), "application/json");
    EXPECT_EQ(server.client().Get("/npm/hanzi-writer-data@2.0/永.json")->status, 200);

    for (const char* path : {"/npm/hanzi-writer-data@2.0/%E6%B0%B4.json",  // no such file
                             "/npm/hanzi-writer-data@2.0/secret.json",     // not one Hán character
                             "/npm/hanzi-writer-data@2.0/..%2F..%2Fetc%2Fpasswd",
                             "/npm/hanzi-writer-data@2.0/%2E%2E/%E6%B0%B8.json",
                             "/npm/hanzi-writer-data@2.0/%FF.json",  // not UTF-8
                             "/npm/hanzi-writer-data@2.0/"}) {
        auto bad = server.client().Get(path);
        ASSERT_TRUE(bad) << path;
        EXPECT_EQ(error(bad).first, 404) << path;
    }
    EXPECT_EQ(error(post("/npm/hanzi-writer-data@2.0/%E6%B0%B8.json", "{}")).first, 405);
    EXPECT_THAT(server.client().Get("/metrics", operatorHeaders())->body,
                HasSubstr("route=\"/npm/hanzi-writer-data@2.0/\""));
}

class RateLimitTest : public ApiTest {
  protected:
    static ApiOptions tight() {
        ApiOptions o = unlimited();
        o.syncLimit = {0.001, 3};
        o.translateLimit = {0.001, 2};
        o.anonymousTranslation = true;
        return o;
    }
    RateLimitTest() : ApiTest(tight()) {}
};

TEST_F(RateLimitTest, TooManyRequestsFromOneAddressOrTokenGet429) {
    std::string body = R"({"zh":"風"})";
    EXPECT_EQ(post("/api/tm/translate", body, "", "d1")->status, 200);
    EXPECT_EQ(post("/api/tm/translate", body, "", "d1")->status, 200);
    auto third = post("/api/tm/translate", body, "", "d1");
    EXPECT_EQ(error(third).first, 429);
    EXPECT_EQ(third->get_header_value("Retry-After"), "1");
    // A device id is whatever the client says: a new one changes nothing.
    EXPECT_EQ(error(post("/api/tm/translate", body, "", "d2")).first, 429);
    // Nor does a forwarded address from a peer that is not a trusted proxy.
    auto forged = server.client().Post("/api/tm/translate", {{"X-Forwarded-For", "203.0.113.9"}},
                                       body, "application/json");
    EXPECT_EQ(error(forged).first, 429);

    // One token used from ever-new device ids is still one token.
    int ok = 0;
    for (int i = 0; i < 6; ++i) {
        ok += post("/api/study/sync", syncBody("x", 0), token, "dev" + std::to_string(i))->status ==
              200;
    }
    EXPECT_EQ(ok, 3);
}

TEST_F(ApiTest, LessonsCanBeCachedAndRevalidated) {
    db->putLessons({{1, 1, 1, R"({"id":1,"title":"風","items":[]})"}});
    auto first = server.client().Get("/api/study/lessons");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->get_header_value("Cache-Control"), "public, max-age=300");
    std::string etag = first->get_header_value("ETag");
    ASSERT_FALSE(etag.empty());
    auto same = server.client().Get("/api/study/lessons", {{"If-None-Match", etag}});
    EXPECT_EQ(same->status, 304);
    EXPECT_TRUE(same->body.empty());
    db->putLessons({{2, 1, 2, R"({"id":2,"title":"寒","items":[]})"}});
    auto changed = server.client().Get("/api/study/lessons", {{"If-None-Match", etag}});
    EXPECT_EQ(changed->status, 200);
    EXPECT_NE(changed->get_header_value("ETag"), etag);
}

class TranslationAccessTest : public ApiTest {
  protected:
    static ApiOptions options(bool anonymous) {
        ApiOptions o = unlimited();
        o.accountTranslateMinute = {0.001, 4};
        o.accountTranslateDay = {0.0001, 6};
        o.translateLimit = {0.001, 100};
        o.signInFailures = {0.001, 3};
        o.maxWaitingPerRequester = 3;
        o.anonymousTranslation = anonymous;
        return o;
    }
    explicit TranslationAccessTest(bool anonymous = false) : ApiTest(options(anonymous)) {}
    std::string passage(int i) { return R"({"zh":"傷寒)" + std::to_string(i) + R"("})"; }
};

TEST_F(TranslationAccessTest, SignedInAccountsHaveQuotasAndStrangersASignInMessage) {
    auto anonymous = error(post("/api/tm/translate", passage(0)));
    EXPECT_EQ(anonymous.first, 401);
    EXPECT_EQ(anonymous.second, "sign in to translate");
    EXPECT_EQ(db->pendingCount(), 0);

    // Three passages may wait for one account; a fourth waits its turn.
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(post("/api/tm/translate", passage(i), token)->status, 200) << i;
    }
    EXPECT_EQ(error(post("/api/tm/translate", passage(4), token)).first, 429);
    EXPECT_EQ(db->pendingCount(), 3);
    // The refused one counted too: the minute's quota of four is spent.
    EXPECT_EQ(error(post("/api/tm/translate", passage(1), token)).first, 429);

    // Another account is not held back by the first one's use.
    std::string other = addAccount(*db, "binh");
    EXPECT_EQ(post("/api/tm/translate", passage(9), other)->status, 200);

    // Wrong tokens: 401 each, then the address is cut short before the
    // database is asked, whatever token it sends, until its bucket refills
    // (two seconds a token by default).
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(error(post("/api/tm/translate", passage(0), "bad-token")).first, 401);
    }
    EXPECT_EQ(error(post("/api/tm/translate", passage(0), "bad-token")).first, 429);
    EXPECT_EQ(error(post("/api/study/sync", syncBody("A", 0), other)).first, 429);
}

class AnonymousTranslationTest : public TranslationAccessTest {
  protected:
    AnonymousTranslationTest() : TranslationAccessTest(true) {}
};

TEST_F(AnonymousTranslationTest, OneAddressFillsOnlyItsShareOfTheQueue) {
    int queued = 0;
    int refused = 0;
    for (int i = 0; i < 20; ++i) {
        auto r = post("/api/tm/translate", passage(i), "", "device-" + std::to_string(i));
        queued += r->status == 200;
        refused += r->status == 429;
    }
    EXPECT_EQ(queued, 3);
    EXPECT_EQ(refused, 17);
    // Once the worker translates one, the address may queue another.
    std::vector<TmJob> waiting = db->pendingJobs(1);
    ASSERT_EQ(waiting.size(), 1u);
    db->putTranslation(waiting[0].id, "Thương hàn", "m", 1);
    EXPECT_EQ(post("/api/tm/translate", passage(50))->status, 200);
    EXPECT_EQ(error(post("/api/tm/translate", passage(51))).first, 429);
    // A signed-in reader behind the same address is not held back by it.
    EXPECT_EQ(post("/api/tm/translate", passage(60), token)->status, 200);
}

TEST(ApiClientAddress, OnlyATrustedProxyMayNameTheClient) {
    FreshStorage db(Backend::Sqlite);
    ApiOptions o = unlimited();
    o.trustedProxies = {"127.0.0.1", "10.0.0.5"};
    TestServer server(*db, o);
    httplib::Request req;
    req.remote_addr = "127.0.0.1";
    EXPECT_EQ(server.api().clientAddress(req), "127.0.0.1");
    // The client's own claim, then what our two proxies saw.
    req.headers.emplace("X-Forwarded-For", "6.6.6.6, 198.51.100.7, 10.0.0.5");
    EXPECT_EQ(server.api().clientAddress(req), "198.51.100.7");
    req.remote_addr = "192.0.2.1";  // not a proxy of ours: its header counts for nothing
    EXPECT_EQ(server.api().clientAddress(req), "192.0.2.1");
}

TEST(ApiStorageFailure, CorruptDatabaseAnswers503AndServerStaysUp) {
    TempDir dir;
    std::string path = dir.file("server.sqlite");
    std::unique_ptr<Storage> storage = openStorage("sqlite:" + path, 2);
    std::string token = addAccount(*storage, "ana");
    std::vector<LogRecord> logs;
    for (int i = 0; i < 400; ++i) {
        logs.push_back(log("A:" + std::to_string(i)));
    }
    SyncPush push{"A", 0, {}, logs};
    storage->exchange(*authenticate(*storage, token), push, {});
    storage.reset();  // checkpoints the WAL into the file
    {
        // Overwrite every page after the schema with garbage.
        std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
        f.seekg(0, std::ios::end);
        std::streamoff size = f.tellg();
        for (std::streamoff at = 4096 * 2; at < size; at += 512) {
            f.seekp(at);
            f.write("garbage!garbage!", 16);
        }
    }
    storage = openStorage("sqlite:" + path, 2);
    TestServer server(*storage, unlimited());
    auto r = server.client().Post("/api/study/sync", {{"Authorization", "Bearer " + token}},
                                  wire::encodeSyncRequest({"B", 0, {}, {}}), "application/json");
    ASSERT_TRUE(r);
    EXPECT_EQ(r->status, 503) << r->body;
    EXPECT_THAT(server.logText(), HasSubstr("malformed"));  // the reason is logged, not answered
    EXPECT_THAT(r->body, testing::Not(HasSubstr("malformed")));
    EXPECT_EQ(server.client().Get("/metrics", operatorHeaders())->status, 503);
    EXPECT_TRUE(server.client().Get("/healthz"));

    // A file that is not a database at all is refused when opening.
    std::ofstream(dir.file("junk.sqlite")) << std::string(8192, 'j');
    EXPECT_THROW(openStorage("sqlite:" + dir.file("junk.sqlite"), 1), StorageError);
}

}  // namespace
}  // namespace talvo::server::test

namespace talvo::server::test {
namespace {

TEST(ApiTls, ServesHttpsWithTheGivenCertificate) {
    TempDir dir;
    std::string cert = dir.file("cert.pem");
    std::string key = dir.file("key.pem");
    std::string make =
        "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 -keyout " + key +
        " -out " + cert + " >/dev/null 2>&1";
    if (std::system(make.c_str()) != 0) {
        GTEST_SKIP() << "the openssl command is not available to make a certificate";
    }
    FreshStorage db(Backend::Sqlite);
    std::ostringstream logText;
    Logger logger(logText, LogLevel::Warn);
    PoolGauges gauges;
    ApiService api(*db, unlimited(), Clock::system(), logger, {}, &gauges);
    HttpServer server(api, HttpOptions{"127.0.0.1", 0, 2, 1, cert, key}, gauges);
    ASSERT_TRUE(server.tls());
    ASSERT_TRUE(server.bind());
    std::thread run([&] { server.run(); });
    while (!server.running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    httplib::SSLClient client("127.0.0.1", server.port());
    client.enable_server_certificate_verification(false);
    auto r = client.Get("/healthz");
    EXPECT_TRUE(r && r->status == 200);
    httplib::Client plain("127.0.0.1", server.port());
    EXPECT_FALSE(plain.Get("/healthz") && plain.Get("/healthz")->status == 200);
    server.stop();
    run.join();

    EXPECT_THROW(
        HttpServer(api, HttpOptions{"127.0.0.1", 0, 1, 1, dir.file("none.pem"), key}, gauges),
        std::runtime_error);
    EXPECT_THROW(HttpServer(api, HttpOptions{"127.0.0.1", 0, 1, 1, cert, ""}, gauges),
                 std::runtime_error);
}

}  // namespace
}  // namespace talvo::server::test
