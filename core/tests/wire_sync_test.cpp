#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "core/wire/sync_merge.h"
#include "core/wire/sync_records.h"

using namespace talvo::wire;
using nlohmann::json;

namespace {

SyncCard sampleCard() {
    return SyncCard{"char:數", "數", "số, sổ", "Số đếm.", "freq", 3.25, 5.5,
                    2,         1,    "review", 20010,     20003,  0,    1'700'000'123};
}

SyncLog sampleLog() {
    return SyncLog{"DEV-1:7", "char:數", 1'700'000'000, 19675, 3, 4, 9, 7};
}

json cardJson() {
    return json::parse(encodeSyncResponse({0, {sampleCard()}, {}}))["cards"][0];
}

std::string responseWith(const json& card) {
    return json{{"now", 5}, {"cards", json::array({card})}, {"logs", json::array()}}.dump();
}

}  // namespace

TEST(WireSync, RequestAndResponseRoundTripWithWireKeys) {
    SyncRequest req{"ABC-DEF", 1234, {sampleCard()}, {sampleLog()}};
    std::string body = encodeSyncRequest(req);
    json j = json::parse(body);
    EXPECT_EQ(j["device_id"], "ABC-DEF");
    EXPECT_EQ(j["cards"][0]["last_day"], 20003);
    EXPECT_EQ(j["cards"][0]["updated_at"], 1'700'000'123);
    EXPECT_EQ(j["logs"][0]["card_uid"], "char:數");
    EXPECT_FALSE(j["logs"][0].contains("localId")) << "the local row id is never sent";
    Decoded<SyncRequest> back = decodeSyncRequest(body);
    ASSERT_TRUE(back) << back.error;
    EXPECT_EQ(*back, req);
    EXPECT_EQ(back->logs[0].localId, 0);

    EXPECT_FALSE(j.contains("install_id")) << "an older server never sees the new key empty";
    req.installId = "5f0c2a9e-0000-4000-8000-000000000001";
    EXPECT_EQ(json::parse(encodeSyncRequest(req))["install_id"], req.installId);
    EXPECT_EQ(*decodeSyncRequest(encodeSyncRequest(req)), req);

    SyncResponse resp{99, {sampleCard(), sampleCard()}, {sampleLog()}};
    json plain = json::parse(encodeSyncResponse(resp));
    EXPECT_FALSE(plain.contains("more"));
    EXPECT_FALSE(plain.contains("rejected"));
    Decoded<SyncResponse> r = decodeSyncResponse(encodeSyncResponse(resp));
    ASSERT_TRUE(r) << r.error;
    EXPECT_EQ(*r, resp);

    resp.more = true;
    resp.rejected = {{"log", "X:1", "log_id: longer than 1024 bytes"}};
    json paged = json::parse(encodeSyncResponse(resp));
    EXPECT_EQ(paged["more"], true);
    EXPECT_EQ(paged["rejected"][0]["kind"], "log");
    EXPECT_EQ(*decodeSyncResponse(paged.dump()), resp);
    paged["more"] = "yes";
    EXPECT_FALSE(decodeSyncResponse(paged.dump())) << "more must be a boolean";
}

TEST(WireSync, OptionalCardTextMayBeAbsentOrNull) {
    json c = cardJson();
    c.erase("am");
    c.erase("gloss");
    c["source"] = nullptr;
    c.erase("state");
    Decoded<SyncResponse> r = decodeSyncResponse(responseWith(c));
    ASSERT_TRUE(r) << r.error;
    EXPECT_EQ(r->cards[0].am, "");
    EXPECT_EQ(r->cards[0].source, "");
    EXPECT_EQ(r->cards[0].state, "");
}

TEST(WireSync, RejectsMissingOrMistypedRequiredMembers) {
    for (const char* key : {"uid", "front", "stability", "difficulty", "reps", "lapses", "due",
                            "last_day", "suspended", "updated_at"}) {
        json c = cardJson();
        c.erase(key);
        Decoded<SyncResponse> r = decodeSyncResponse(responseWith(c));
        EXPECT_FALSE(r) << key;
        EXPECT_NE(r.error.find(std::string("cards[0].") + key), std::string::npos) << r.error;
    }
    json c = cardJson();
    c["reps"] = "2";
    EXPECT_FALSE(decodeSyncResponse(responseWith(c)));
    c = cardJson();
    c["due"] = 1.5;
    EXPECT_FALSE(decodeSyncResponse(responseWith(c)));
    c = cardJson();
    c["am"] = 7;
    EXPECT_FALSE(decodeSyncResponse(responseWith(c))) << "optional, but typed when present";
    c = cardJson();
    c["updated_at"] = 18446744073709551615ULL;
    EXPECT_FALSE(decodeSyncResponse(responseWith(c)));
    c = cardJson();
    c["uid"] = nullptr;
    EXPECT_FALSE(decodeSyncResponse(responseWith(c)));

    json log = json::parse(encodeSyncResponse({0, {}, {sampleLog()}}))["logs"][0];
    log.erase("interval");
    json body{{"now", 1}, {"cards", json::array()}, {"logs", json::array({log})}};
    Decoded<SyncResponse> r = decodeSyncResponse(body.dump());
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error, "logs[0].interval: missing");
}

TEST(WireSync, RejectsWrongShapesWithoutThrowing) {
    const char* bodies[] = {
        "",
        "not json",
        "[1,2]",
        "{\"now\": 1, \"cards\": []}",
        "{\"now\": \"1\", \"cards\": [], \"logs\": []}",
        "{\"now\": 1, \"cards\": {}, \"logs\": []}",
        "{\"now\": 1, \"cards\": [1], \"logs\": []}",
        "{\"now\": 1e400, \"cards\": [], \"logs\": []}",
        "{\"now\": 1, \"cards\": [], \"logs\": []",
        "{\"now\": 1, \"cards\": [], \"logs\": [], \"x\": \"\xff\xfe\"}",
    };
    for (const char* b : bodies) {
        Decoded<SyncResponse> r = decodeSyncResponse(b);
        EXPECT_FALSE(r) << b;
        EXPECT_FALSE(r.error.empty()) << b;
    }
    // Unknown keys are not a wrong shape; integral floats are integers.
    Decoded<SyncResponse> ok =
        decodeSyncResponse("{\"now\": 12.0, \"cards\": [], \"logs\": [], \"extra\": {\"a\": 1}}");
    ASSERT_TRUE(ok) << ok.error;
    EXPECT_EQ(ok->now, 12);
}

TEST(WireSync, ParseErrorsDoNotEchoTheBody) {
    Decoded<SyncRequest> r = decodeSyncRequest("{\"device_id\": \"secret-ish text");
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error.find("secret"), std::string::npos) << r.error;
}

TEST(WireSync, EncodingDamagedTextNeverThrows) {
    SyncCard c = sampleCard();
    c.gloss = "ok \xC3 broken";
    std::string body;
    ASSERT_NO_THROW(body = encodeSyncRequest({"D", 0, {c}, {}}));
    Decoded<SyncRequest> back = decodeSyncRequest(body);
    ASSERT_TRUE(back) << back.error;
    EXPECT_EQ(back->cards[0].gloss, "ok \xEF\xBF\xBD broken");
}

TEST(WireSyncMerge, LogIdentityAndOrigin) {
    EXPECT_EQ(logIdFor("ABCD-1234", 17), "ABCD-1234:17");
    EXPECT_EQ(originOf("abc:17"), "abc");
    EXPECT_EQ(originOf("a:b:c"), "a") << "up to the first colon";
    EXPECT_EQ(originOf("plain"), "plain");
    EXPECT_EQ(originOf(""), "remote");
    EXPECT_EQ(originOf(":5"), "");
}

TEST(WireSyncMerge, StrictlyNewerWinsAndBlankCardsAreNotStored) {
    EXPECT_FALSE(incomingCardWins(100, 100));
    EXPECT_FALSE(incomingCardWins(100, 99));
    EXPECT_TRUE(incomingCardWins(100, 101));

    SyncCard blank = sampleCard();
    blank.front.clear();
    EXPECT_FALSE(isStorableCard(blank));
    EXPECT_TRUE(isStorableCard(sampleCard()));
}
