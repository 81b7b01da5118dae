// The study windows, the status menu and the sync completion joined through
// DeckEvents: each kind of change reaches every open view that shows it, and
// the study session is not rebuilt by its own grade.
#include <gtest/gtest.h>

#include <QFrame>
#include <QMenu>
#include <QPushButton>

#include "app/progress/profile_window_controller.h"
#include "app/progress/quiz_window_controller.h"
#include "app/study/lessons_window_controller.h"
#include "app/study/study_window_controller.h"
#include "app/study/study_windows.h"
#include "app/tests/app_fixture.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "net/async/executor.h"
#include "net/http/http_transport.h"
#include "net/lessons/lessons_service.h"
#include "net/online/online_config.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// Answers every request with one lesson of two new characters.
class OneLessonFeed : public HttpTransport {
  public:
    HttpResult send(const HttpRequest&) override {
        return {HttpResponse{200, R"({"lessons": [{"id": 7, "title": "Tạng phủ", "items": [
                 {"uid": "w:心", "front": "心", "am": "tâm"},
                 {"uid": "w:肝", "front": "肝", "am": "can"}]}]})"},
                {}};
    }
};

OnlineConfig localService() {
    OnlineConfig c;
    c.baseUrl = [] { return std::string("http://127.0.0.1:9"); };
    return c;
}

}  // namespace

TEST(DeckEventsTest, GradesAndSyncsKeepTheBadgeTheProfileAndTheSessionInStep) {
    AppFixture f;
    int syncs = 0;
    f.online.syncStudy = [&] { ++syncs; };
    AppController& c = f.start();
    const QString before = f.menuTitles()[2];
    int syncsAtLaunch = syncs;
    c.studyWindows().openStudy();
    EXPECT_EQ(syncs, syncsAtLaunch + 1);  // opening the study window syncs
    c.studyWindows().openProfile();
    StudySession* session = c.studyWindows().study()->session();
    ASSERT_TRUE(session && session->card());
    session->reveal();
    ASSERT_TRUE(session->grade(Rating::Good));
    EXPECT_EQ(syncs, syncsAtLaunch + 2) << "a grade sends the review on at once";
    // One card fewer to study, counted at once in the menu and the profile.
    EXPECT_NE(f.menuTitles()[2], before);
    EXPECT_EQ(c.studyWindows().profile()->stats().totalReviews, 1);

    // A sync that brought a review from another device: the session drops
    // the card that is no longer due.
    const std::string next = session->card()->uid;
    ASSERT_TRUE(f.stores->study()->grade(*session->card(), Rating::Easy));
    emit f.deck.deckChanged(DeckChange::Synced);
    ASSERT_TRUE(session->card());
    EXPECT_NE(session->card()->uid, next);
    EXPECT_EQ(c.studyWindows().profile()->stats().totalReviews, 2);

    // A second grade within 30 seconds waits for the paced sync; closing
    // the window sends it at once.
    session->reveal();
    ASSERT_TRUE(session->grade(Rating::Hard));
    EXPECT_EQ(syncs, syncsAtLaunch + 2);
    c.studyWindows().study()->window()->close();
    EXPECT_EQ(syncs, syncsAtLaunch + 3) << "closing the study window syncs";

    // The profile leads to the quiz and back to study.
    c.studyWindows().profile()->onQuiz();
    ASSERT_TRUE(c.studyWindows().quiz()->window());
    EXPECT_TRUE(c.studyWindows().quiz()->window()->isVisible());
    for (QWidget* w : {c.studyWindows().study()->window(), c.studyWindows().profile()->window(),
                       c.studyWindows().quiz()->window()}) {
        w->close();
    }
}

TEST(DeckEventsTest, AGradeLeavesItsOwnSessionAlone) {
    AppFixture f;
    AppController& c = f.start();
    c.studyWindows().openStudy();
    StudySession* session = c.studyWindows().study()->session();
    ASSERT_TRUE(session && session->card());
    const size_t queued = session->queue().size();
    // A card that only a rebuilt queue would pick up.
    f.stores->study()->addLookupCard("phrase:傷寒", "傷寒", "thương hàn", "");
    session->reveal();
    ASSERT_TRUE(session->grade(Rating::Good));
    EXPECT_EQ(session->queue().size(), queued - 1);
    for (const StudyCard& card : session->queue()) {
        EXPECT_NE(card.uid, "phrase:傷寒");
    }
    // Announced from elsewhere, the same change does rebuild it.
    emit f.deck.deckChanged(DeckChange::CardsAdded);
    EXPECT_EQ(session->queue().size(), queued);
    c.studyWindows().study()->window()->close();
}

TEST(DeckEventsTest, AnAddedLessonReachesTheBadgeTheSessionAndTheProfile) {
    AppFixture f;
    OneLessonFeed transport;
    InlineExecutor inline_;
    LessonsService lessons{transport, inline_, inline_, localService()};
    f.lessons = &lessons;
    AppController& c = f.start();
    StudyWindows& windows = c.studyWindows();
    windows.openStudy();
    windows.openProfile();
    const int64_t newBefore = windows.study()->session()->summary().newRemaining;
    const int64_t totalBefore = windows.profile()->stats().total;
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (5)"));

    c.trayMenu().menu()->actions()[4]->trigger();  // the lessons row
    ASSERT_TRUE(windows.lessons() && windows.lessons()->window());
    auto cards = windows.lessons()->window()->findChildren<QFrame*>(QStringLiteral("lessonCard"));
    ASSERT_EQ(cards.size(), 1);
    cards[0]->findChild<QPushButton*>(QStringLiteral("add"))->click();

    EXPECT_EQ(windows.study()->session()->summary().newRemaining, newBefore + 2);
    EXPECT_EQ(windows.profile()->stats().total, totalBefore + 2);
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (7)"));
    for (QWidget* w :
         {windows.study()->window(), windows.profile()->window(), windows.lessons()->window()}) {
        w->close();
    }
}
