#include <gtest/gtest.h>

#include "core/study/study_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "net/async/background_runner.h"
#include "net/http/curl_transport.h"
#include "net/lessons/lessons_service.h"
#include "net/tests/net_test_util.h"
#include "net/tests/scripted_server.h"

using namespace talvo;
using namespace talvo::testing;
using namespace std::chrono_literals;
using Action = LessonsViewModel::Action;

namespace {

constexpr const char* kFeed = R"({"lessons": [
  {"id": 9, "title": "Tạng phủ", "han_label": "臟腑", "tier": 2, "ord": 0,
   "items": [{"uid": "w:心", "front": "心", "am": "tâm"}, {"uid": "w:肝", "front": "肝"}]},
  {"id": 4, "title": "Khí huyết", "items": [{"uid": "w:氣", "front": "氣"}, {"uid": "w:心", "front": "心"}]},
  {"id": 2, "title": "Số", "tier": 0, "ord": 1, "items": [{"uid": "char:數", "front": "數"}]}
], "generated": "2026-01-01"})";

class LessonsTest : public ::testing::Test {
  protected:
    LessonsTest() : store(dir.file("study.sqlite"), clockOnDay(20000)) {}

    std::vector<int64_t> ids() const {
        std::vector<int64_t> out;
        for (const wire::Lesson& l : model.lessons()) {
            out.push_back(l.id);
        }
        return out;
    }
    const wire::Lesson& lesson(int64_t id) const {
        for (const wire::Lesson& l : model.lessons()) {
            if (l.id == id) {
                return l;
            }
        }
        throw std::out_of_range("no lesson");
    }

    TempDir dir;
    StudyStores store;
    ScriptedServer server;
    CurlTransport transport{CurlTransport::Options{"*"}};
    InlineExecutor now;
    LessonsService service{transport, now, now, configFor(server.url()), 500ms};
    LessonsViewModel model{store.study, service};
};

}  // namespace

TEST_F(LessonsTest, LoadFetchesSortsAndCountsWhatIsInTheDeck) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    insertCard(store.db.connection(), "char:數", 1, 0, 0);
    int changes = 0;
    model.changed = [&] { ++changes; };

    model.load();
    EXPECT_FALSE(model.loading());
    EXPECT_FALSE(model.failed());
    EXPECT_EQ(ids(), (std::vector<int64_t>{4, 2, 9})) << "tier, then ord, absent as 0";
    EXPECT_EQ(model.have(lesson(2)), 1);
    EXPECT_EQ(model.actionFor(lesson(2)), Action::complete);
    EXPECT_EQ(model.actionFor(lesson(9)), Action::add);
    EXPECT_GE(changes, 2);

    // A plain GET: none of the other endpoints' headers.
    SeenRequest req = server.requests().at(0);
    EXPECT_EQ(req.method, "GET");
    EXPECT_EQ(req.header("X-Device-Id"), "");
    EXPECT_EQ(req.header("Authorization"), "");
    EXPECT_TRUE(req.body.empty());
}

TEST_F(LessonsTest, AddingALessonRaisesEveryLessonSharingItsItems) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    model.load();
    int64_t reported = -1;
    model.added = [&](int64_t n) { reported = n; };

    EXPECT_EQ(model.add(lesson(9)), 2);
    EXPECT_EQ(reported, 2);
    EXPECT_EQ(model.actionFor(lesson(9)), Action::complete);
    EXPECT_EQ(model.have(lesson(4)), 1) << "w:心 is shared";
    EXPECT_EQ(model.actionFor(lesson(4)), Action::addMissing);
    EXPECT_EQ(store.study.cardByUid("w:心")->am, "tâm");
    EXPECT_EQ(model.add(lesson(9)), 0) << "a complete lesson adds nothing";
}

TEST_F(LessonsTest, FailedFetchKeepsTheListAndSetsFailed) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    model.load();
    ASSERT_EQ(model.lessons().size(), 3u);

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
        model.load();
        EXPECT_TRUE(model.failed());
        EXPECT_FALSE(model.loading());
        EXPECT_FALSE(model.lastError().empty());
        EXPECT_EQ(model.lessons().size(), 3u);
    }
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    model.load();
    EXPECT_FALSE(model.failed());
}

TEST_F(LessonsTest, BackgroundFetchResumesOnTheOwnerThread) {
    server.answer("GET", "/api/study/lessons", 200, kFeed);
    QueueExecutor owner;
    BackgroundRunner runner([this] { transport.shutdown(); });
    LessonsService background(transport, runner, owner, configFor(server.url()));
    LessonsViewModel m(store.study, background);
    m.load();
    EXPECT_TRUE(m.loading());
    m.load();  // ignored while loading
    runner.waitIdle();
    EXPECT_TRUE(m.lessons().empty()) << "nothing lands before the owner runs it";
    EXPECT_EQ(owner.drain(), 1u);
    EXPECT_EQ(m.lessons().size(), 3u);
    EXPECT_FALSE(m.loading());
    EXPECT_EQ(server.requestCount(), 1u);
}
