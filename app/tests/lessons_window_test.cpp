// The lessons window over a scripted transport: its states, the three row
// actions, adding, and the study window following an addition.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <deque>

#include "app/study/lessons_view_model.h"
#include "app/study/lessons_window_controller.h"
#include "app/study/study_window_controller.h"
#include "app/tests/ui_input.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "net/async/executor.h"
#include "net/http/http_transport.h"
#include "net/lessons/lessons_service.h"
#include "net/online/online_config.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// Answers each request with the next scripted result.
class ScriptedTransport : public HttpTransport {
  public:
    HttpResult send(const HttpRequest& request) override {
        urls.push_back(request.url);
        if (answers.empty()) {
            return HttpResult::failure("nothing scripted");
        }
        HttpResult r = answers.front();
        answers.pop_front();
        return r;
    }
    void answer(int status, std::string body) {
        answers.push_back({HttpResponse{status, std::move(body)}, {}});
    }
    std::deque<HttpResult> answers;
    std::vector<std::string> urls;
};

// Holds the requests until the test lets them run: the window stays busy.
class HeldExecutor : public Executor {
  public:
    bool post(std::function<void()> task) override {
        tasks.push_back(std::move(task));
        return true;
    }
    void runAll() {
        while (!tasks.empty()) {
            auto t = std::move(tasks.front());
            tasks.pop_front();
            t();
        }
    }
    std::deque<std::function<void()>> tasks;
};

// 臟腑 shares 心 with 心肺; 數 is in the deck already.
constexpr const char* kFeed = R"({"lessons": [
  {"id": 9, "title": "Tạng phủ", "han_label": "臟腑", "tier": 1,
   "items": [{"uid": "w:心", "front": "心", "am": "tâm"}, {"uid": "w:肝", "front": "肝", "am": "can"}]},
  {"id": 4, "title": "Tim phổi", "han_label": "心肺",
   "items": [{"uid": "w:心", "front": "心", "am": "tâm"}, {"uid": "w:肺", "front": "肺"},
             {"uid": "char:數", "front": "數"}]},
  {"id": 2, "title": "Số đếm", "items": [{"uid": "char:數", "front": "數", "am": "số"}]}
]})";

OnlineConfig config() {
    OnlineConfig c;
    c.baseUrl = [] { return std::string("http://127.0.0.1:9"); };
    return c;
}

class LessonsWindowTest : public ::testing::Test {
  protected:
    LessonsWindowTest() : store(dir.file("study.sqlite"), clockOnDay(50)) {
        insertCard(store.db.connection(), "char:數", 0, 0, 0, "số");
    }
    ~LessonsWindowTest() override {
        if (controller.window()) {
            controller.window()->close();
        }
    }

    QWidget* window() const { return controller.window(); }
    QString page() const {
        return window()->findChild<QStackedWidget*>()->currentWidget()->objectName();
    }
    QString text(const char* name) const {
        auto* l = window()->findChild<QLabel*>(QString::fromLatin1(name));
        return l && l->isVisible() ? l->text() : QString();
    }
    // Per lesson card, top to bottom: "title|han|counts|action".
    std::vector<QString> rows() const {
        std::vector<QString> out;
        for (QFrame* card : window()->findChildren<QFrame*>(QStringLiteral("lessonCard"))) {
            auto* han = card->findChild<QLabel*>(QStringLiteral("hanLabel"));
            auto* add = card->findChild<QPushButton*>(QStringLiteral("add"));
            auto* done = card->findChild<QLabel*>(QStringLiteral("complete"));
            QString action = add->isVisible() ? add->text() : QString();
            if (done->isVisible()) {
                action += done->text();
            }
            out.push_back(card->findChild<QLabel*>(QStringLiteral("title"))->text() + "|" +
                          (han ? han->text() : QString()) + "|" +
                          card->findChild<QLabel*>(QStringLiteral("counts"))->text() + "|" +
                          action);
        }
        return out;
    }
    QPushButton* addButton(size_t row) const {
        return window()
            ->findChildren<QFrame*>(QStringLiteral("lessonCard"))
            .at(row)
            ->findChild<QPushButton*>(QStringLiteral("add"));
    }
    void openAndAnswer() {
        controller.show();
        background.runAll();
        QApplication::processEvents();
    }

    TempDir dir;
    StudyStores store;
    ScriptedTransport transport;
    HeldExecutor background;
    InlineExecutor owner;
    LessonsService service{transport, background, owner, config()};
    LessonsWindowController controller{store.study, service};
};

}  // namespace

TEST_F(LessonsWindowTest, BusyThenEmptyThenFailedThenRetriedIntoAList) {
    EXPECT_EQ(controller.window(), nullptr);
    transport.answer(200, R"({"lessons": []})");
    controller.show();
    EXPECT_EQ(page(), "busyPage");
    EXPECT_EQ(text("busyText"), "Đang tải lộ trình…");
    EXPECT_EQ(text("header"),
              "Bộ chữ biên tập sẵn. Thêm vào để ôn theo lịch FSRS cùng bộ tần suất.");
    background.runAll();
    EXPECT_EQ(page(), "emptyPage");
    EXPECT_EQ(text("emptyText"), "Chưa có lộ trình");
    EXPECT_EQ(transport.urls, std::vector<std::string>{"http://127.0.0.1:9/api/study/lessons"});

    // Each reopening fetches again; bad answers end in the failure state.
    for (auto [status, body] : std::vector<std::pair<int, std::string>>{
             {503, kFeed}, {200, "{\"lessons\": [{\"id\": 1}]}"}, {200, "\xff\xfe not json"}}) {
        transport.answer(status, body);
        openAndAnswer();
        EXPECT_EQ(page(), "failedPage") << body;
        EXPECT_EQ(text("failedText"), "Không tải được lộ trình.");
        EXPECT_FALSE(text("failedDetail").isEmpty());
    }

    transport.answer(200, kFeed);
    click(window()->findChild<QPushButton*>(QStringLiteral("retry")));
    EXPECT_EQ(page(), "busyPage");
    background.runAll();
    EXPECT_EQ(page(), "listPage");
    EXPECT_EQ(rows().size(), 3u);
}

TEST_F(LessonsWindowTest, RowsOfferTheirActionAndAddingUpdatesEveryLessonSharingAnItem) {
    transport.answer(200, kFeed);
    openAndAnswer();
    // Sorted by tier, ord, id.
    EXPECT_EQ(rows(), (std::vector<QString>{
                          "Số đếm||1 thẻ · 1 đã có trong bộ ôn|✓ Đã có đủ trong bộ ôn",
                          "Tim phổi|心肺|3 thẻ · 1 đã có trong bộ ôn|Thêm thẻ còn thiếu",
                          "Tạng phủ|臟腑|2 thẻ · 0 đã có trong bộ ôn|Thêm vào ôn tập",
                      }));
    EXPECT_EQ(addButton(0)->isVisible(), false);

    std::vector<int64_t> changes;
    StudyWindowController study(store.study);
    study.show();
    const int64_t before = study.session()->summary().newRemaining;
    controller.onChange = [&](int64_t added) {
        changes.push_back(added);
        study.reload();
    };

    click(addButton(2));
    EXPECT_EQ(changes, std::vector<int64_t>{2});
    EXPECT_EQ(rows()[1], "Tim phổi|心肺|3 thẻ · 2 đã có trong bộ ôn|Thêm thẻ còn thiếu");
    EXPECT_EQ(rows()[2], "Tạng phủ|臟腑|2 thẻ · 2 đã có trong bộ ôn|✓ Đã có đủ trong bộ ôn");
    EXPECT_EQ(store.study.cardByUid("w:肝")->am, "can");
    EXPECT_EQ(study.session()->summary().newRemaining, before + 2);

    click(addButton(1));
    EXPECT_EQ(changes, (std::vector<int64_t>{2, 1}));
    EXPECT_EQ(rows()[1], "Tim phổi|心肺|3 thẻ · 3 đã có trong bộ ôn|✓ Đã có đủ trong bộ ôn");
    EXPECT_EQ(store.study.summary().total, 4);
    study.window()->close();
}

TEST_F(LessonsWindowTest, AFailedReloadKeepsTheListAndOffersARetry) {
    transport.answer(200, kFeed);
    openAndAnswer();
    controller.show();  // reopening: busy line above the kept list
    EXPECT_EQ(page(), "listPage");
    EXPECT_EQ(text("bannerText"), "Đang tải lộ trình…");
    transport.answer(500, "oops");
    background.runAll();
    EXPECT_EQ(page(), "listPage");
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_TRUE(text("bannerText").startsWith("Không tải được lộ trình."));
    transport.answer(200, kFeed);
    click(window()->findChild<QPushButton*>(QStringLiteral("bannerRetry")));
    background.runAll();
    EXPECT_FALSE(window()->findChild<QWidget*>(QStringLiteral("banner"))->isVisible());
    EXPECT_EQ(rows().size(), 3u);
}

TEST_F(LessonsWindowTest, TheModelFetchesOnceAtATimeAndDropsAnswersAfterItIsGone) {
    transport.answer(200, kFeed);
    transport.answer(200, kFeed);
    {
        LessonsViewModel model(store.study, service);
        int changes = 0;
        model.changed = [&] { ++changes; };
        model.load();
        model.load();  // a second press while the first fetch is under way
        EXPECT_TRUE(model.loading());
        background.runAll();
        EXPECT_EQ(transport.urls.size(), 1u);
        EXPECT_FALSE(model.loading());
        EXPECT_EQ(model.lessons().size(), 3u);
        EXPECT_EQ(changes, 2) << "once when it starts, once when it lands";

        model.load();
    }
    background.runAll();  // answers a model that no longer exists
    EXPECT_EQ(transport.urls.size(), 2u);
}
