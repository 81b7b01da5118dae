#include <gtest/gtest.h>

#include "net/async/background_runner.h"
#include "net/http/curl_transport.h"
#include "net/lessons/lessons_service.h"
#include "net/tests/net_test_util.h"
#include "net/tests/scripted_server.h"

using namespace talvo;
using namespace talvo::testing;
using namespace std::chrono_literals;

namespace {

constexpr const char* kFeed = R"({"lessons": [
  {"id": 9, "title": "Tạng phủ", "han_label": "臟腑", "tier": 2, "ord": 0,
   "items": [{"uid": "w:心", "front": "心", "am": "tâm"}, {"uid": "w:肝", "front": "肝"}]},
  {"id": 4, "title": "Khí huyết", "items": [{"uid": "w:氣", "front": "氣"}, {"uid": "w:心", "front": "心"}]}
], "generated": "2026-01-01"})";

class LessonsTest : public ::testing::Test {
  protected:
    // One fetch on the inline executors: the outcome is there when fetch returns.
    LessonsService::Outcome fetchNow() {
        std::optional<LessonsService::Outcome> got;
        service.fetch([&](LessonsService::Outcome o) { got = std::move(o); });
        EXPECT_TRUE(got.has_value()) << "the completion runs exactly once";
        return got ? std::move(*got) : LessonsService::Outcome{};
    }

    ScriptedServer server;
    CurlTransport transport{CurlTransport::Options{"*"}};
    InlineExecutor now;
    LessonsService service{transport, now, now, configFor(server.url()), 500ms};
};

}  // namespace

TEST_F(LessonsTest, APlainGetDecodesTheFeed) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    LessonsService::Outcome o = fetchNow();
    ASSERT_TRUE(o.lessons.has_value()) << o.error;
    ASSERT_EQ(o.lessons->size(), 2u);
    EXPECT_EQ(o.lessons->at(0).items.at(0).am, "tâm");
    EXPECT_TRUE(o.error.empty());

    // None of the other endpoints' headers: the feed is public.
    SeenRequest req = server.requests().at(0);
    EXPECT_EQ(req.method, "GET");
    EXPECT_EQ(req.header("X-Device-Id"), "");
    EXPECT_EQ(req.header("Authorization"), "");
    EXPECT_TRUE(req.body.empty());
}

TEST_F(LessonsTest, EveryKindOfBadAnswerIsAFailureWithAReason) {
    for (auto script : std::vector<std::function<void()>>{
             [&] { server.answer("GET", "/api/study/lessons", 200, R"({"items": []})"); },
             [&] {
                 server.answer(
                     "GET", "/api/study/lessons", 200,
                     R"({"lessons": [{"id": 1, "title": "x", "items": [{"uid": "a"}]}]})");
             },
             [&] { server.answer("GET", "/api/study/lessons", 503, kFeed); },
             [&] {
                 server.on("GET", "/api/study/lessons", ScriptedServer::slow(1500ms, 200, kFeed));
             },
         }) {
        script();
        LessonsService::Outcome o = fetchNow();
        EXPECT_FALSE(o.lessons.has_value());
        EXPECT_FALSE(o.error.empty());
    }
}

TEST_F(LessonsTest, BackgroundFetchAnswersOnTheOwnerThreadAndNotAfterTheServiceIsGone) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    QueueExecutor owner;
    BackgroundRunner runner([this] { transport.shutdown(); });
    int answers = 0;
    {
        LessonsService background(transport, runner, owner, configFor(server.url()));
        background.fetch([&](LessonsService::Outcome o) {
            EXPECT_TRUE(o.lessons.has_value());
            ++answers;
        });
        runner.waitIdle();
        EXPECT_EQ(answers, 0) << "nothing lands before the owner runs it";
        EXPECT_EQ(owner.drain(), 1u);
        EXPECT_EQ(answers, 1);

        background.fetch([&](LessonsService::Outcome) { ++answers; });
        runner.waitIdle();
    }
    owner.drain();
    EXPECT_EQ(answers, 1) << "an answer for a service that is gone is dropped";
}
