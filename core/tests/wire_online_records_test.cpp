#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/wire/stats_records.h"
#include "core/wire/translate_records.h"

using namespace talvo::wire;
using nlohmann::json;

TEST(WireTranslate, OutcomeFollowsStatusThenViThenQueued) {
    using K = TranslateResult::Kind;
    EXPECT_EQ(translateOutcome(200, R"({"vi": "", "source": "queued"})"),
              TranslateResult::queued());
    EXPECT_EQ(translateOutcome(200, R"({"vi": "Bàn về thương hàn", "source": "queued"})"),
              TranslateResult::translated("Bàn về thương hàn"));
    EXPECT_EQ(translateOutcome(200, R"({"source": "queued", "model": "m"})").kind, K::queued);
    EXPECT_EQ(translateOutcome(200, R"({"vi": null, "source": "queued"})").kind, K::queued);
    EXPECT_EQ(translateOutcome(200, "{}").kind, K::failed);
    EXPECT_EQ(translateOutcome(200, R"({"source": "Queued"})").kind, K::failed);
    EXPECT_EQ(translateOutcome(200, R"({"source": "cache"})").kind, K::failed);
    EXPECT_EQ(translateOutcome(500, R"({"vi": "x"})").kind, K::failed);
    EXPECT_EQ(translateOutcome(404, R"({"source": "queued"})").kind, K::failed);
    EXPECT_EQ(translateOutcome(201, R"({"vi": "x"})").kind, K::failed);
    EXPECT_EQ(translateOutcome(200, "<html>busy</html>").kind, K::failed);
    EXPECT_EQ(translateOutcome(200, R"({"vi": 5})").kind, K::failed) << "wrong type";
    EXPECT_EQ(translateOutcome(200, R"(["vi"])").kind, K::failed);
}

TEST(WireTranslate, RecordsRoundTrip) {
    TranslateRequest q{"傷寒論"};
    EXPECT_EQ(json::parse(encodeTranslateRequest(q)), (json{{"zh", "傷寒論"}}));
    Decoded<TranslateRequest> dq = decodeTranslateRequest(encodeTranslateRequest(q));
    ASSERT_TRUE(dq) << dq.error;
    EXPECT_EQ(*dq, q);
    EXPECT_FALSE(decodeTranslateRequest("{}"));
    EXPECT_FALSE(decodeTranslateRequest(R"({"zh": ["a"]})"));

    TranslateResponse a{"Bàn", std::nullopt, "m1"};
    EXPECT_FALSE(json::parse(encodeTranslateResponse(a)).contains("source"));
    Decoded<TranslateResponse> da = decodeTranslateResponse(encodeTranslateResponse(a));
    ASSERT_TRUE(da) << da.error;
    EXPECT_EQ(*da, a);
}

TEST(WireStats, EventsAndLookupsRoundTripAndRejectWrongShapes) {
    StatsEvent e{"app_open", {{"app_version", "0.1.0"}, {"os", "linux"}}};
    json j = json::parse(encodeStatsEvent(e));
    EXPECT_EQ(j["params"]["os"], "linux");
    Decoded<StatsEvent> de = decodeStatsEvent(encodeStatsEvent(e));
    ASSERT_TRUE(de) << de.error;
    EXPECT_EQ(*de, e);
    EXPECT_TRUE(json::parse(encodeStatsEvent({"feature_used", {}}))["params"].is_object());

    Decoded<StatsEvent> noParams = decodeStatsEvent(R"({"name": "x"})");
    ASSERT_TRUE(noParams);
    EXPECT_TRUE(noParams->params.empty());
    EXPECT_FALSE(decodeStatsEvent(R"({"params": {}})"));
    EXPECT_FALSE(decodeStatsEvent(R"({"name": "x", "params": []})"));
    Decoded<StatsEvent> badParam = decodeStatsEvent(R"({"name": "x", "params": {"n": 1}})");
    ASSERT_FALSE(badParam);
    EXPECT_EQ(badParam.error, "params.n: expected a string, got number");

    Decoded<LookupReport> dl = decodeLookupReport(encodeLookupReport({"黃帝內經"}));
    ASSERT_TRUE(dl);
    EXPECT_EQ(dl->zh, "黃帝內經");
    EXPECT_FALSE(decodeLookupReport(R"({"zh": null})"));
    EXPECT_FALSE(decodeLookupReport("zh"));
}
