#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QObject>
#include <QTimer>
#include <cstdlib>

#include "net/async/background_runner.h"
#include "net/async/qt_executor.h"
#include "net/http/curl_transport.h"
#include "net/online/online_config.h"
#include "net/tests/scripted_server.h"

using namespace talvo;
using namespace talvo::testing;
using namespace std::chrono_literals;

namespace {

HttpRequest post(const std::string& url, std::string body, std::chrono::milliseconds timeout = 5s) {
    HttpRequest r;
    r.method = "POST";
    r.url = url;
    r.body = std::move(body);
    r.timeout = timeout;
    return r;
}

}  // namespace

TEST(CurlTransport, DeliversMethodHeadersAndBodyAndAnyStatus) {
    ScriptedServer server;
    server.on("POST", "/echo", [](const httplib::Request& req, httplib::Response& res) {
        res.status = 201;
        res.set_content(req.get_header_value("X-Device-Id") + "|" + req.body, "text/plain");
    });
    server.answer("GET", "/missing", 500, "{\"error\": 1}");
    CurlTransport t(CurlTransport::Options{"*"});

    HttpRequest r = post(server.url() + "/echo", "{\"zh\":\"傷\"}");
    r.headers = {{"X-Device-Id", "ABC"}, {"Content-Type", "application/json"}};
    HttpResult a = t.send(r);
    ASSERT_TRUE(a.ok()) << a.error;
    EXPECT_EQ(a.response->status, 201);
    EXPECT_EQ(a.response->body, "ABC|{\"zh\":\"傷\"}");
    EXPECT_EQ(server.requests().at(0).header("Content-Type"), "application/json");

    HttpRequest g;
    g.url = server.url() + "/missing";
    HttpResult b = t.send(g);
    ASSERT_TRUE(b.ok()) << "a status is an answer, not a transport failure";
    EXPECT_EQ(b.response->status, 500);
}

TEST(CurlTransport, FaultsEndAsTransportFailures) {
    ScriptedServer server;
    server.on("POST", "/hang", server.hang());
    server.on("POST", "/reset", ScriptedServer::resetMidBody(10'000, 200));
    server.on("POST", "/huge", ScriptedServer::huge(50u << 20));
    server.on("POST", "/announced", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(std::string(3u << 20, 'x'), "text/plain");
    });
    RawServer notHttp("220 smtp.example ESMTP ready\r\n");
    RawServer dropped("");
    CurlTransport t(CurlTransport::Options{"*"});

    auto start = std::chrono::steady_clock::now();
    HttpResult hang = t.send(post(server.url() + "/hang", "{}", 300ms));
    EXPECT_FALSE(hang.ok());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);

    EXPECT_FALSE(t.send(post(server.url() + "/reset", "{}")).ok());
    HttpResult huge = t.send(post(server.url() + "/huge", "{}"));
    ASSERT_FALSE(huge.ok());
    EXPECT_NE(huge.error.find("larger than"), std::string::npos) << huge.error;
    HttpRequest small = post(server.url() + "/announced", "{}");
    small.maxResponseBytes = 1u << 20;
    EXPECT_FALSE(t.send(small).ok());
    EXPECT_FALSE(t.send(post(notHttp.url() + "/x", "{}")).ok());
    EXPECT_FALSE(t.send(post(dropped.url() + "/x", "{}")).ok());

    int closedPort = 0;
    {
        ScriptedServer gone;
        closedPort = gone.port();
    }
    HttpResult refused = t.send(post("http://127.0.0.1:" + std::to_string(closedPort), "{}"));
    EXPECT_FALSE(refused.ok());
    EXPECT_FALSE(refused.error.empty());
    EXPECT_FALSE(t.send(post("file:///etc/passwd", "")).ok()) << "only http and https";
}

TEST(CurlTransport, RefusesHeaderValuesThatWouldSmuggleHeaders) {
    ScriptedServer server;
    CurlTransport t(CurlTransport::Options{"*"});
    HttpRequest r = post(server.url() + "/x", "{}");
    r.headers = {{"Authorization", "Bearer a\r\nX-Admin: 1"}};
    HttpResult res = t.send(r);
    EXPECT_FALSE(res.ok());
    EXPECT_EQ(res.error.find("X-Admin"), std::string::npos) << "the value is not echoed";
    EXPECT_EQ(server.requestCount(), 0u);
}

TEST(CurlTransport, HonoursTheProxyOfTheEnvironment) {
    ScriptedServer proxy;
    proxy.on("GET", "http://talvo.invalid/api/study/lessons",
             [](const httplib::Request&, httplib::Response& res) {
                 res.set_content("{\"lessons\": []}", "application/json");
             });
    std::string saved = std::getenv("http_proxy") ? std::getenv("http_proxy") : "";
    ::setenv("http_proxy", proxy.url().c_str(), 1);
    CurlTransport t;  // as the program runs it: proxy settings in charge
    HttpRequest r;
    r.url = "http://talvo.invalid/api/study/lessons";
    HttpResult res = t.send(r);
    saved.empty() ? ::unsetenv("http_proxy") : ::setenv("http_proxy", saved.c_str(), 1);
    ASSERT_TRUE(res.ok()) << res.error;
    EXPECT_EQ(res.response->status, 200);
    EXPECT_EQ(proxy.requestCount(), 1u);
}

TEST(CurlTransport, ShutdownCancelsExchangesUnderWayAndLaterOnes) {
    ScriptedServer server;
    server.on("POST", "/hang", server.hang());
    CurlTransport t(CurlTransport::Options{"*"});
    std::vector<HttpResult> results(2);
    std::thread a([&] { results[0] = t.send(post(server.url() + "/hang", "{}", 60s)); });
    std::thread b([&] { results[1] = t.send(post(server.url() + "/hang", "{}", 60s)); });
    ASSERT_TRUE(server.waitForRequests(2, 5s));
    auto start = std::chrono::steady_clock::now();
    t.shutdown();
    a.join();
    b.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_EQ(results[0].error, "cancelled");
    EXPECT_EQ(results[1].error, "cancelled");
    EXPECT_EQ(t.send(post(server.url() + "/hang", "{}")).error, "cancelled");
    EXPECT_EQ(server.requestCount(), 2u);
}

TEST(BackgroundRunner, RunsTasksAsideAndJoinsThemOnShutdown) {
    std::atomic<int> done{0};
    std::atomic<bool> release{false};
    bool hookCalled = false;
    BackgroundRunner runner(
        [&] {
            hookCalled = true;
            release = true;
        },
        2);
    auto blocker = [&] {
        while (!release) {
            std::this_thread::sleep_for(1ms);
        }
        ++done;
    };
    EXPECT_TRUE(runner.post(blocker));
    EXPECT_TRUE(runner.post(blocker));
    EXPECT_FALSE(runner.post(blocker)) << "beyond the cap a task is refused";
    EXPECT_EQ(runner.running(), 2u);
    runner.shutdown();
    EXPECT_TRUE(hookCalled);
    EXPECT_EQ(done, 2);
    EXPECT_FALSE(runner.post([&] { ++done; }));
    EXPECT_EQ(done, 2);
}

TEST(QtExecutor, DeliversOnTheContextThreadAndDropsWhenItIsGone) {
    // Scoped: no application object may outlive this test (the token tests
    // rely on there being none, so they never reach a real keychain).
    int argc = 1;
    char name[] = "net_tests";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    auto context = std::make_unique<QObject>();
    QtExecutor owner(context.get());
    std::thread::id ranOn;
    BackgroundRunner runner;
    runner.post([&] { owner.post([&] { ranOn = std::this_thread::get_id(); }); });
    runner.waitIdle();
    EXPECT_EQ(ranOn, std::thread::id()) << "queued, not run on the posting thread";
    QTimer::singleShot(0, &app, &QCoreApplication::quit);
    app.exec();
    EXPECT_EQ(ranOn, std::this_thread::get_id());

    bool ran = false;
    owner.post([&] { ran = true; });
    context.reset();
    QTimer::singleShot(0, &app, &QCoreApplication::quit);
    app.exec();
    EXPECT_FALSE(ran) << "a task for a destroyed context is dropped";
}

TEST(OnlineConfig, EndpointsNeedAnHttpBase) {
    EXPECT_EQ(endpointUrl("https://talvo.example/", "/api/tm/translate"),
              "https://talvo.example/api/tm/translate");
    EXPECT_EQ(endpointUrl("http://127.0.0.1:8080/svc", "/api/study/sync"),
              "http://127.0.0.1:8080/svc/api/study/sync");
    for (const char* bad : {"", "talvo.example", "ftp://talvo.example", "https://", "https:///x",
                            "https://talvo.example/?a=1", "https://talvo .example",
                            "https://user:pw@talvo.example", "https://talvo.example\r\n"}) {
        EXPECT_FALSE(endpointUrl(bad, "/api/study/sync").has_value()) << bad;
    }
}

TEST(OnlineConfig, ATokenNeverTravelsInClearBeyondThisMachine) {
    for (const char* clear :
         {"http://talvo.example", "http://10.0.0.2:8080/svc", "http://127.example",
          "http://localhost.example", "http://[2001:db8::1]:80", "http://127.0.0.1.evil.example"}) {
        EXPECT_TRUE(carriesTokenInClear(clear)) << clear;
    }
    for (const char* safe :
         {"https://talvo.example", "http://localhost:8080", "http://LOCALHOST",
          "http://127.0.0.1:9000/svc", "http://127.1.2.3", "http://[::1]:8080/"}) {
        EXPECT_FALSE(carriesTokenInClear(safe)) << safe;
    }
}
