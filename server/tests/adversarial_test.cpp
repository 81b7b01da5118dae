// A real talvo-server process on loopback, attacked the ways a stranger on
// the network would: with another account's token and ids, with floods from
// ever-new device ids, with broken and oversized input on every route, and
// with connections that send a byte a second. Each test prints what it
// tried, so the figures can be read in the test log.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "server/tests/test_support.h"
#include "server/token.h"

using namespace talvo::server;
using namespace talvo::server::test;
using namespace std::chrono_literals;
using nlohmann::json;

namespace {

using Steady = std::chrono::steady_clock;

// Requests tried per category, and the answers that must never come.
struct Tally {
    std::map<std::string, int> tried;
    std::map<int, int> statuses;
    int unexpected = 0;  // 5xx, or no answer where HTTP promises one

    void print(const std::string& title) const {
        std::cout << "[adversarial] " << title << ":";
        for (const auto& [category, n] : tried) {
            std::cout << " " << category << "=" << n;
        }
        std::cout << " | statuses:";
        for (const auto& [status, n] : statuses) {
            std::cout << " " << status << "x" << n;
        }
        std::cout << " | unexpected=" << unexpected << "\n";
    }
};

int connectTo(int port) {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// Whether the peer closed the connection within `wait` (reads and drops
// whatever it sends first).
bool closedWithin(int fd, std::chrono::milliseconds wait) {
    auto end = Steady::now() + wait;
    char buf[4096];
    while (Steady::now() < end) {
        pollfd p{fd, POLLIN, 0};
        int left = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Steady::now()).count());
        if (::poll(&p, 1, std::max(left, 1)) > 0) {
            ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) {
                return true;
            }
        }
    }
    return false;
}

// Sends raw bytes and reads the status of the answer; 0 when the server
// closed without one or did not answer within `wait`.
int rawStatus(int port, const std::string& bytes, std::chrono::milliseconds wait = 5s) {
    int fd = connectTo(port);
    if (fd < 0) {
        return -1;
    }
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    std::string answer;
    auto end = Steady::now() + wait;
    char buf[4096];
    while (answer.find("\r\n") == std::string::npos && Steady::now() < end) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 100) > 0) {
            ssize_t n = ::recv(fd, buf, sizeof buf, 0);
            if (n <= 0) {
                break;
            }
            answer.append(buf, static_cast<size_t>(n));
        }
    }
    ::close(fd);
    if (answer.rfind("HTTP/1.1 ", 0) != 0 || answer.size() < 12) {
        return 0;
    }
    return std::stoi(answer.substr(9, 3));
}

class AdversarialTest : public testing::Test {
  protected:
    void SetUp() override {
        db = openStorage("sqlite:" + dir.file("server.sqlite"), 2);
        alice = addAccount(*db, "alice");
        bob = addAccount(*db, "bob");
    }

    void serve(std::vector<std::string> args) {
        server = std::make_unique<ServerProcess>("sqlite:" + dir.file("server.sqlite"), args);
    }

    httplib::Result post(const std::string& path, const std::string& body,
                         const std::string& token = "", const std::string& device = "dev") {
        httplib::Headers h{{"X-Device-Id", device}};
        if (!token.empty()) {
            h.emplace("Authorization", "Bearer " + token);
        }
        return server->client().Post(path, h, body, "application/json");
    }

    // Counts the answer; a 5xx or a missing answer is never expected here.
    int count(Tally& t, const std::string& category, const httplib::Result& r) {
        ++t.tried[category];
        int status = r ? r->status : 0;
        ++t.statuses[status];
        if (status == 0 || status >= 500) {
            ++t.unexpected;
            ADD_FAILURE() << category << ": status " << status;
        }
        return status;
    }

    static json syncBody(const std::string& device, const std::string& install, json since,
                         json cards = json::array(), json logs = json::array()) {
        return {{"device_id", device},
                {"install_id", install},
                {"since", since},
                {"cards", cards},
                {"logs", logs}};
    }
    static json cardJson(const std::string& uid, const std::string& front) {
        return {
            {"uid", uid},         {"front", front},          {"am", "am"},      {"gloss", "gloss"},
            {"source", "lookup"}, {"stability", 1.0},        {"difficulty", 5}, {"reps", 1},
            {"lapses", 0},        {"state", "review"},       {"due", 20000},    {"last_day", 19999},
            {"suspended", 0},     {"updated_at", 1700000000}};
    }
    static json logJson(const std::string& id, const std::string& uid) {
        return {{"log_id", id}, {"card_uid", uid}, {"ts", 1700000000}, {"day", 19675},
                {"rating", 3},  {"elapsed", 1},    {"interval", 2}};
    }

    TempDir dir;
    std::unique_ptr<Storage> db;
    std::string alice;
    std::string bob;
    std::unique_ptr<ServerProcess> server;
};

}  // namespace

TEST_F(AdversarialTest, NoRowOfOneAccountEverReachesAnother) {
    serve({"--rate-scale", "0"});
    Tally t;
    // Alice's deck, as her device pushed it.
    json cards = json::array();
    json logs = json::array();
    for (int i = 0; i < 50; ++i) {
        std::string uid = "char:alice" + std::to_string(i);
        cards.push_back(cardJson(uid, "alice-front"));
        logs.push_back(logJson("alice-install:" + std::to_string(i), uid));
    }
    auto pushed =
        post("/api/study/sync", syncBody("alice-dev", "alice-install", 0, cards, logs).dump(),
             alice, "alice-dev");
    ASSERT_EQ(count(t, "setup", pushed), 200);
    int64_t aliceCursor = json::parse(pushed->body)["now"];

    int leaked = 0;
    auto leaks = [&](const httplib::Result& r) {
        if (!r || r->status != 200) {
            return;
        }
        leaked += static_cast<int>(r->body.find("alice") != std::string::npos);
    };
    // Bob with Alice's device id, install id and cursors, and with every
    // cursor a client could make up.
    for (json since : {json(0), json(aliceCursor), json(aliceCursor - 1), json(-1), json(INT64_MAX),
                       json(1e300), json("0"), json(nullptr)}) {
        for (const char* device : {"alice-dev", "bob-dev"}) {
            for (const char* install : {"alice-install", "bob-install", ""}) {
                auto r =
                    post("/api/study/sync", syncBody(device, install, since).dump(), bob, device);
                count(t, "cross-account sync", r);
                leaks(r);
            }
        }
    }
    // Bob writes over Alice's card ids and log ids: his own rows only.
    json mine = json::array({cardJson("char:alice0", "bob-front")});
    json mineLogs = json::array({logJson("alice-install:0", "char:alice0")});
    auto over = post("/api/study/sync",
                     syncBody("alice-dev", "alice-install", 0, mine, mineLogs).dump(), bob);
    count(t, "cross-account sync", over);
    auto aliceAgain =
        post("/api/study/sync", syncBody("alice-dev2", "alice-install2", 0).dump(), alice);
    count(t, "cross-account sync", aliceAgain);
    ASSERT_TRUE(aliceAgain && aliceAgain->status == 200);
    EXPECT_EQ(aliceAgain->body.find("bob-front"), std::string::npos);
    EXPECT_EQ(json::parse(aliceAgain->body)["cards"].size(), 50u);

    // Every other route with Alice's token and ids, from Bob's side.
    for (const char* path : {"/api/study/lessons", "/healthz", "/metrics",
                             "/npm/hanzi-writer-data@2.0/%E9%A2%A8.json"}) {
        httplib::Headers h{{"Authorization", "Bearer " + bob}, {"X-Device-Id", "alice-dev"}};
        auto r = server->client().Get(path, h);
        count(t, "cross-account other routes", r);
        leaks(r);
    }
    // A revoked token is refused at its next request.
    EXPECT_TRUE(db->revokeAccount("alice"));
    auto revoked = post("/api/study/sync", syncBody("alice-dev", "alice-install", 0).dump(), alice);
    EXPECT_EQ(count(t, "revoked token", revoked), 401);
    // Neither token ever reaches the server's log.
    EXPECT_EQ(server->logText().find(alice), std::string::npos);
    EXPECT_EQ(server->logText().find(bob), std::string::npos);

    EXPECT_EQ(leaked, 0);
    EXPECT_EQ(t.unexpected, 0);
    EXPECT_TRUE(server->alive());
    t.print("cross-account (rows leaked " + std::to_string(leaked) + ")");
}

TEST_F(AdversarialTest, FloodsFromOneAddressStayWithinTheirShare) {
    // The operator's defaults: translation for signed-in readers only.
    serve({});
    Tally closed;
    for (int i = 0; i < 1000; ++i) {
        auto r = post("/api/tm/translate", json{{"zh", "傷寒" + std::to_string(i)}}.dump(), "",
                      "rotating-" + std::to_string(i));
        count(closed, "anonymous translate, defaults", r);
    }
    EXPECT_EQ(closed.statuses[401] + closed.statuses[429], 1000);
    EXPECT_EQ(db->pendingCount(), 0);
    closed.print("flood, defaults (queue grew by " + std::to_string(db->pendingCount()) + ")");

    // The same flood where the operator allows strangers, with the address
    // limit raised so that the queue share is what holds.
    server.reset();
    const int share = 50;
    serve(
        {"--anonymous-translation", "--queue-share", std::to_string(share), "--rate-scale", "100"});
    Tally open;
    int served = 0;
    for (int i = 0; i < 1000; ++i) {
        auto r = post("/api/tm/translate", json{{"zh", "金匱" + std::to_string(i)}}.dump(), "",
                      "rotating-" + std::to_string(i));
        count(open, "anonymous translate, allowed", r);
        if (i % 100 == 50) {
            // A signed-in reader behind the same address is served meanwhile.
            auto mine = post("/api/tm/translate", json{{"zh", "脈浮" + std::to_string(i)}}.dump(),
                             bob, "bob-dev");
            served += count(open, "signed-in translate", mine) == 200;
        }
    }
    int64_t waiting = db->pendingCount();
    EXPECT_EQ(served, 10);
    EXPECT_EQ(open.statuses[200], share + served);
    EXPECT_EQ(waiting, share + served);
    open.print("flood, anonymous allowed (address's queue share " + std::to_string(share) +
               " of cap " + std::to_string(share) + ", queue " + std::to_string(waiting) +
               " of 10000)");

    // Statistics at the default limits: most of a flood is dropped.
    server.reset();
    serve({});
    Tally stats;
    auto start = Steady::now();
    for (int i = 0; i < 1000; ++i) {
        auto r = post("/api/stats/lookup", json{{"zh", "桂枝" + std::to_string(i)}}.dump(), "",
                      "rotating-" + std::to_string(i));
        count(stats, "stats lookup flood", r);
    }
    double seconds = std::chrono::duration<double>(Steady::now() - start).count();
    int64_t today = std::chrono::duration_cast<std::chrono::seconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count() /
                    86400;
    StatsReport report = db->stats(today - 1, today + 1, 2000);
    // A burst of 60 and one a second after it.
    EXPECT_LE(static_cast<double>(report.topLookups.size()), 61 + seconds);
    EXPECT_EQ(static_cast<int>(report.topLookups.size()), stats.statuses[200]);
    stats.print("stats flood (" + std::to_string(report.topLookups.size()) + " of 1000 stored in " +
                std::to_string(seconds) + " s)");
    EXPECT_TRUE(server->alive());
}

TEST_F(AdversarialTest, BadInputOnEveryRouteNeverCrashesOrAnswers5xx) {
    serve({"--rate-scale", "0"});
    Tally t;
    const std::vector<std::pair<std::string, std::string>> posts{{"/api/study/sync", bob},
                                                                 {"/api/tm/translate", bob},
                                                                 {"/api/stats/event", ""},
                                                                 {"/api/stats/lookup", ""}};
    std::vector<std::string> bodies{
        "",
        "{",
        std::string("nul\0l", 5),
        "[]",
        "null",
        "\"text\"",
        R"({"zh": 5})",
        R"({"zh": ["傷"]})",
        R"({"zh": {"a": 1}})",
        "{\"zh\": \"\xff\xfe\xfd\"}",
        "{\"zh\": \"\xed\xa0\x80\"}",  // an encoded surrogate
        R"({"zh": "\ud800"})",
        R"({"name": 1, "params": []})",
        R"({"name": "feature_used", "params": {"name": {"x": 1}}})",
        R"({"device_id": 5, "since": "x", "cards": {}, "logs": 7})",
        R"({"device_id": "d", "since": 0, "cards": [{"uid": 1}], "logs": [null]})",
        R"({"device_id": "d", "since": 1e400, "cards": [], "logs": []})",
        R"({"device_id": "d", "since": -9223372036854775808, "cards": [], "logs": []})",
        R"({"device_id": "d", "since": 99999999999999999999999, "cards": [], "logs": []})",
        std::string(30000, '[') + std::string(30000, ']'),
        std::string(20000, '{'),
        "{\"zh\": \"" + std::string(60000, 'a') + "\"}",
    };
    for (const auto& [path, token] : posts) {
        for (const std::string& body : bodies) {
            count(t, "malformed bodies", post(path, body, token));
        }
    }
    // Cursors and sizes at the edges of the sync route.
    for (int64_t since : {int64_t{-1}, INT64_MIN, INT64_MAX, int64_t{1} << 53}) {
        json body = syncBody("d", "i", since);
        count(t, "cursors", post("/api/study/sync", body.dump(), bob));
    }
    // Paths: traversal on strokes, odd methods and targets.
    for (const char* path :
         {"/npm/hanzi-writer-data@2.0/../../../../etc/passwd",
          "/npm/hanzi-writer-data@2.0/%2e%2e%2f%2e%2e%2fetc%2fpasswd",
          "/npm/hanzi-writer-data@2.0/%E9%A2%A8.json/../../x",
          "/npm/hanzi-writer-data@2.0/%00.json", "/npm/hanzi-writer-data@2.0/%C0%AE%C0%AE/x.json",
          "/api/study/lessons?since=-1&x=%00", "/api/study/lessons/../../etc/passwd",
          "//api//study//lessons", "/api/study/sync%00"}) {
        count(t, "paths", server->client().Get(path));
    }
    for (const char* method : {"PUT", "DELETE", "PATCH", "OPTIONS"}) {
        for (const auto& [path, token] : posts) {
            httplib::Request req;
            req.method = method;
            req.path = path;
            count(t, "methods", server->client().send(req));
        }
    }
    // Raw HTTP: header injection, smuggling, oversized headers and bodies.
    auto raw = [&](const std::string& category, const std::string& bytes, bool answerDue = true) {
        ++t.tried[category];
        int status = rawStatus(server->port(), bytes);
        ++t.statuses[status];
        if (status >= 500 || (answerDue && status == 0)) {
            ++t.unexpected;
            ADD_FAILURE() << category << ": status " << status << " for " << bytes.substr(0, 80);
        }
        return status;
    };
    raw("headers", "GET /healthz HTTP/1.1\r\nHost: x\r\nX-Device-Id: a\rInjected: b\r\n\r\n");
    raw("headers", "GET /healthz HTTP/1.1\r\nHost: x\r\nX-Device-Id: a\nSet-Cookie: b\r\n\r\n");
    raw("headers",
        "GET /healthz HTTP/1.1\r\nHost: x\r\nX-Device-Id: " + std::string(1, '\0') + "\r\n\r\n");
    raw("headers", "GET /healthz HTTP/1.1\r\nBad Header Name: x\r\n\r\n");
    raw("headers", "GET /healthz HTTP/1.1\r\nX-Long: " + std::string(100000, 'a') + "\r\n\r\n",
        false);
    std::string many = "GET /healthz HTTP/1.1\r\n";
    for (int i = 0; i < 500; ++i) {
        many += "X-H" + std::to_string(i) + ": v\r\n";
    }
    raw("headers", many + "\r\n", false);
    raw("smuggling",
        "POST /api/stats/event HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\nTransfer-Encoding: "
        "chunked\r\n\r\n0\r\n\r\nGET /metrics HTTP/1.1\r\n\r\n");
    raw("smuggling",
        "POST /api/stats/event HTTP/1.1\r\nContent-Length: 2\r\nContent-Length: 40\r\n\r\n{}");
    raw("smuggling", "POST /api/stats/event HTTP/1.1\r\nContent-Length: -5\r\n\r\n", false);
    raw("request line", "GARBAGE\r\n\r\n", false);
    raw("request line", "GET " + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n", false);
    // A body announced far over the limit is refused from its headers, at
    // once, without the server waiting for (or reading) the rest.
    auto before = Steady::now();
    int status = raw("oversized",
                     "POST /api/study/sync HTTP/1.1\r\nHost: x\r\nAuthorization: "
                     "Bearer " +
                         bob + "\r\nContent-Length: 1000000000\r\n\r\n{");
    EXPECT_EQ(status, 413);
    EXPECT_LT(Steady::now() - before, 3s) << "the server waited for the body";
    status = raw("oversized",
                 "POST /api/stats/lookup HTTP/1.1\r\nHost: x\r\nContent-Length: 70000\r\n\r\n" +
                     std::string(70000, ' '));
    EXPECT_EQ(status, 413);

    EXPECT_EQ(t.unexpected, 0);
    EXPECT_EQ(server->client().Get("/healthz")->status, 200);
    EXPECT_TRUE(server->alive()) << "the server died";
    EXPECT_EQ(server->logText().find("\"status\":500"), std::string::npos);
    t.print("bad input");
}

TEST_F(AdversarialTest, ASlowClientIsDroppedWhileOthersAreServed) {
    // Fewer threads than slow peers: without a deadline they would hold
    // every thread.
    serve({"--threads", "3", "--request-timeout", "2"});
    std::vector<int> slow;
    for (int i = 0; i < 5; ++i) {
        slow.push_back(connectTo(server->port()));
        ASSERT_GE(slow.back(), 0);
    }
    const std::string request = "POST /api/stats/event HTTP/1.1\r\nHost: x\r\nContent-Length: 40";
    std::vector<bool> dropped(slow.size(), false);
    auto start = Steady::now();
    std::thread trickle([&] {
        for (size_t i = 0; i < request.size() && Steady::now() - start < 8s &&
                           std::count(dropped.begin(), dropped.end(), false) > 0;
             ++i) {
            for (size_t c = 0; c < slow.size(); ++c) {
                if (!dropped[c] && ::send(slow[c], &request[i], 1, MSG_NOSIGNAL) < 0) {
                    dropped[c] = true;
                }
            }
            std::this_thread::sleep_for(1s);
        }
    });
    // Meanwhile another reader is answered, a little late at worst.
    int answered = 0;
    for (int i = 0; i < 3; ++i) {
        auto r = server->client().Get("/healthz");
        answered += r && r->status == 200;
        std::this_thread::sleep_for(500ms);
    }
    int closed = 0;
    for (int fd : slow) {
        closed += closedWithin(fd, 6s);
    }
    double seconds = std::chrono::duration<double>(Steady::now() - start).count();
    trickle.join();
    for (int fd : slow) {
        ::close(fd);
    }
    EXPECT_EQ(answered, 3);
    EXPECT_EQ(closed, 5);
    EXPECT_TRUE(server->alive());
    std::cout << "[adversarial] slow clients: " << closed << " of 5 dropped within " << seconds
              << " s (deadline 2 s); " << answered << " of 3 other requests answered\n";
}
