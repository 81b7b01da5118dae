#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "net/async/background_runner.h"
#include "net/http/curl_transport.h"
#include "net/stats/usage_reporters.h"
#include "net/tests/net_test_util.h"
#include "net/tests/scripted_server.h"
#include "net/translate/tm_service.h"

using namespace talvo;
using namespace talvo::testing;
using namespace std::chrono_literals;
using nlohmann::json;
using Kind = wire::TranslateResult::Kind;

namespace {

class OnlineClientsTest : public ::testing::Test {
  protected:
    TMService::Result translate(const std::string& zh, std::string base = "",
                                std::chrono::milliseconds timeout = 60s) {
        TMService tm(transport, now, now, configFor(base.empty() ? server.url() : base), timeout);
        std::optional<TMService::Result> result;
        tm.translate(zh, [&](TMService::Result r) { result = r; });
        EXPECT_TRUE(result.has_value());
        return result.value_or(TMService::Result::translated("<no answer>"));
    }

    // A clock the test moves by hand.
    MonotonicClock clock() {
        return [this] { return std::chrono::steady_clock::time_point(m_elapsed); };
    }
    void advance(std::chrono::milliseconds d) { m_elapsed += d; }

    std::vector<json> bodies(const std::string& path) {
        std::vector<json> out;
        for (const SeenRequest& r : server.requests()) {
            if (r.path == path) {
                out.push_back(json::parse(r.body));
            }
        }
        return out;
    }

    ScriptedServer server;
    CurlTransport transport{CurlTransport::Options{"*"}};
    InlineExecutor now;
    std::chrono::milliseconds m_elapsed{1'000'000};
};

}  // namespace

TEST_F(OnlineClientsTest, TranslateSendsThePassageAndReadsTheOutcome) {
    server.answer("POST", "/api/tm/translate", 200, R"({"vi": "Bàn về thương hàn", "model": "m"})");
    EXPECT_EQ(translate("傷寒論"), TMService::Result::translated("Bàn về thương hàn"));
    SeenRequest req = server.requests().at(0);
    EXPECT_EQ(json::parse(req.body), (json{{"zh", "傷寒論"}}));
    EXPECT_EQ(req.header("Content-Type"), "application/json");
    EXPECT_EQ(req.header("X-Device-Id"), "DEV-A");
    // Signed in (and on this machine, so not in clear text across a network).
    EXPECT_EQ(req.header("Authorization"), "Bearer tok-123");

    server.answer("POST", "/api/tm/translate", 200, R"({"vi": "", "source": "queued"})");
    EXPECT_EQ(translate("傷寒論").kind, Kind::queued);
    server.answer("POST", "/api/tm/translate", 404, R"({"vi": "x"})");
    EXPECT_EQ(translate("傷寒論").kind, Kind::failed);
    server.answer("POST", "/api/tm/translate", 401, R"({"error": "sign in to translate"})");
    EXPECT_EQ(translate("傷寒論").kind, Kind::signInNeeded);
    server.answer("POST", "/api/tm/translate", 429, R"({"error": "slow down"})");
    EXPECT_EQ(translate("傷寒論").kind, Kind::limited);
    server.answer("POST", "/api/tm/translate", 200, "not json");
    EXPECT_EQ(translate("傷寒論").kind, Kind::failed);
    server.on("POST", "/api/tm/translate", server.hang());
    EXPECT_EQ(translate("傷寒論", "", 300ms).kind, Kind::failed);

    size_t sent = server.requestCount();
    EXPECT_EQ(translate("傷寒論", "not a url").kind, Kind::failed);
    EXPECT_EQ(server.requestCount(), sent) << "no traffic without a usable base URL";
}

TEST_F(OnlineClientsTest, FeatureEventsCountOncePerNameWithinThreeSeconds) {
    AnalyticsService analytics(transport, now, configFor(server.url()), {"1.2.3", "linux"},
                               clock());
    analytics.appOpen();
    analytics.feature("lookup");
    advance(2000ms);
    analytics.feature("lookup");  // dropped: 2 s after the first
    analytics.feature("reverse");
    advance(2000ms);
    analytics.feature("lookup");  // 4 s after the first
    analytics.appOpen();          // never de-duplicated

    std::vector<json> events = bodies("/api/stats/event");
    ASSERT_EQ(events.size(), 5u);
    EXPECT_EQ(events[0], (json{{"name", "app_open"},
                               {"params", {{"app_version", "1.2.3"}, {"os", "linux"}}}}));
    EXPECT_EQ(events[1], (json{{"name", "feature_used"}, {"params", {{"name", "lookup"}}}}));
    EXPECT_EQ(events[2]["params"]["name"], "reverse");
    EXPECT_EQ(events[3]["params"]["name"], "lookup");
    EXPECT_EQ(events[4]["name"], "app_open");
    EXPECT_EQ(server.requests().at(0).header("X-Device-Id"), "DEV-A");
}

TEST_F(OnlineClientsTest, LookupsAreTrimmedAndReportedOncePerMinute) {
    StatsService stats(transport, now, configFor(server.url()), clock());
    stats.record("  傷寒論  ");
    advance(10s);
    stats.record("傷寒論");
    stats.record("\n");
    stats.record(" \t ");
    stats.record("金匱");
    advance(51s);
    stats.record("傷寒論\n");  // 61 s after the first report

    std::vector<json> reports = bodies("/api/stats/lookup");
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_EQ(reports[0], (json{{"zh", "傷寒論"}}));
    EXPECT_EQ(reports[1], (json{{"zh", "金匱"}}));
    EXPECT_EQ(reports[2], (json{{"zh", "傷寒論"}}));
}

TEST_F(OnlineClientsTest, ReportsNeverBlockAndDieQuietlyAtExit) {
    server.on("POST", "/api/stats/event", server.hang());
    server.on("POST", "/api/stats/lookup", server.hang());
    auto start = std::chrono::steady_clock::now();
    {
        CurlTransport t(CurlTransport::Options{"*"});
        BackgroundRunner runner([&t] { t.shutdown(); });
        AnalyticsService analytics(t, runner, configFor(server.url()), {});
        StatsService stats(t, runner, configFor(server.url()));
        analytics.appOpen();
        analytics.feature("study");
        stats.record("黃帝內經");
        EXPECT_LT(std::chrono::steady_clock::now() - start, 500ms) << "the caller never waits";
        ASSERT_TRUE(server.waitForRequests(3, 5s));
        EXPECT_EQ(runner.running(), 3u);
        // Leaving the scope is what the program does at exit with requests in flight.
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);

    // Without a service URL nothing is sent at all.
    size_t before = server.requestCount();
    AnalyticsService off(transport, now, configFor(""), {});
    off.appOpen();
    StatsService offStats(transport, now, configFor(""));
    offStats.record("傷");
    EXPECT_EQ(server.requestCount(), before);
}
