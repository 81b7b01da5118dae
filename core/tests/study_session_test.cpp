#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "core/db/database.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/sync/sync_pacer.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;
using Kind = StudyKeyAction::Kind;

namespace {

class StudySessionTest : public ::testing::Test {
  protected:
    StudySessionTest() : store(dir.file("study.sqlite"), clockOnDay(30)) {}

    // New cards in rank order with these readings; uids continue across calls.
    void addNewCards(const std::vector<std::string>& readings) {
        db::Database d(dir.file("study.sqlite"), db::Database::Mode::ReadWriteCreate);
        for (const std::string& am : readings) {
            insertCard(d, "c:" + std::to_string(m_next), m_next, 0, 0, am);
            ++m_next;
        }
    }

    int64_t lastRating() {
        db::Database d(dir.file("study.sqlite"), db::Database::Mode::ReadOnly);
        db::Statement st(d, "SELECT rating FROM review_log ORDER BY id DESC LIMIT 1");
        return st.step() ? st.int64(0) : 0;
    }

    TempDir dir;
    StudyStores store;
    int m_next = 0;
};

}  // namespace

TEST(StudyKeys, TheKeyTableMapsPositionsToActions) {
    const StudyKey digits[] = {StudyKey::Digit1, StudyKey::Digit2, StudyKey::Digit3,
                               StudyKey::Digit4};
    for (size_t count : {0u, 3u, 4u}) {
        for (size_t i = 0; i < 4; ++i) {
            StudyKeyAction shown = studyKeyAction(digits[i], {}, true, count);
            EXPECT_EQ(shown, (StudyKeyAction{Kind::Grade, 0, kAllRatings[i], true}));
            StudyKeyAction hidden = studyKeyAction(digits[i], {}, false, count);
            // Consumed even when there is no such choice.
            EXPECT_EQ(hidden, (StudyKeyAction{i < count ? Kind::Pick : Kind::None,
                                              i < count ? i : 0, Rating::Good, true}));
        }
    }
    for (StudyKey k : {StudyKey::Return, StudyKey::Space}) {
        EXPECT_EQ(studyKeyAction(k, {}, false, 4).kind, Kind::Reveal);
        EXPECT_EQ(studyKeyAction(k, {}, true, 4),
                  (StudyKeyAction{Kind::Grade, 0, Rating::Good, true}));
    }
    // The system's shortcuts and other keys pass through; Shift does not matter.
    EXPECT_FALSE(studyKeyAction(StudyKey::Digit1, {true, false, false, false}, true, 4).consumed);
    EXPECT_FALSE(studyKeyAction(StudyKey::Space, {false, true, false, false}, false, 4).consumed);
    EXPECT_FALSE(studyKeyAction(StudyKey::Digit2, {false, false, true, false}, true, 4).consumed);
    EXPECT_FALSE(studyKeyAction(StudyKey::Other, {}, true, 4).consumed);
    EXPECT_TRUE(studyKeyAction(StudyKey::Digit1, {false, false, false, true}, true, 0).consumed);
    EXPECT_EQ(studyKeyFromMacKeyCode(0x15), StudyKey::Digit4);
    EXPECT_EQ(studyKeyFromMacKeyCode(0x31), StudyKey::Space);
    EXPECT_EQ(studyKeyFromMacKeyCode(0x4C), StudyKey::Other);  // keypad Enter is not Return
}

TEST_F(StudySessionTest, AnEmptyDayShowsTheFinishedScreenAndStillSwallowsItsKeys) {
    StudySession s(store.study);
    s.reload();
    EXPECT_FALSE(s.card());
    for (StudyKey k : {StudyKey::Digit1, StudyKey::Space, StudyKey::Return}) {
        EXPECT_TRUE(s.handle(k));
    }
    EXPECT_FALSE(s.revealed());
    EXPECT_EQ(finishedText(s.doneThisSession(), s.summary().streak),
              "Chưa có thẻ đến hạn. Quay lại sau nhé.");
}

TEST_F(StudySessionTest, TheChoiceCountFollowsHowManyOtherReadingsExist) {
    addNewCards({"thương", "hàn", "", "thương"});
    StudySession two(store.study);
    two.reload();
    EXPECT_TRUE(two.choices().empty());  // one distinct other reading: plain reveal
    EXPECT_TRUE(two.handle(StudyKey::Digit1));
    EXPECT_FALSE(two.revealed());
    EXPECT_TRUE(two.handle(StudyKey::Space));
    EXPECT_TRUE(two.revealed());

    addNewCards({"luận"});
    StudySession three(store.study);
    three.reload();
    ASSERT_EQ(three.choices().size(), 3u);
    EXPECT_EQ(std::set<std::string>(three.choices().begin(), three.choices().end()),
              (std::set<std::string>{"thương", "hàn", "luận"}));
    EXPECT_TRUE(three.handle(StudyKey::Digit4));  // no fourth choice: nothing happens
    EXPECT_FALSE(three.revealed());
    EXPECT_TRUE(three.handle(StudyKey::Digit3));
    EXPECT_EQ(three.picked(), three.choices()[2]);
    EXPECT_TRUE(three.revealed());
}

TEST_F(StudySessionTest, PickingRevealsAndTheSameKeyThenGrades) {
    addNewCards({"thương", "hàn", "luận", "số", "bệnh"});
    int progress = 0;
    StudySession s(store.study, std::mt19937_64{7});
    s.onProgress = [&] { ++progress; };
    s.reload();
    ASSERT_EQ(s.choices().size(), 4u);
    const std::string second = s.choices()[1];
    EXPECT_TRUE(s.handle(StudyKey::Digit2));
    EXPECT_EQ(s.picked(), second);
    EXPECT_EQ(s.pickedCorrect(), second == "thương");
    EXPECT_EQ(verdictLine(s.picked(), s.card()->am),
              second == "thương" ? "✓ Đúng" : "✗ Bạn chọn “" + second + "” — đúng là “thương”");
    EXPECT_TRUE(s.handle(StudyKey::Digit2));
    EXPECT_EQ(lastRating(), rawValue(Rating::Hard));
    EXPECT_EQ(progress, 1);
    EXPECT_EQ(s.card()->am, "hàn");
    EXPECT_FALSE(s.revealed());
    EXPECT_EQ(s.picked(), std::nullopt);

    EXPECT_FALSE(s.handle(StudyKey::Digit1, {false, true, false, false}));  // Option+1
    EXPECT_FALSE(s.revealed());
    EXPECT_FALSE(s.grade(Rating::Easy));  // not revealed yet
    EXPECT_TRUE(s.handle(StudyKey::Space));
    EXPECT_EQ(verdictLine(s.picked(), s.card()->am), std::nullopt);
    EXPECT_TRUE(s.handle(StudyKey::Space));
    EXPECT_EQ(lastRating(), rawValue(Rating::Good));
    EXPECT_EQ(s.doneThisSession(), 2);
    EXPECT_EQ(s.summary().reviewedToday, 2);
    EXPECT_EQ(s.summary().newRemaining, 3);
}

TEST_F(StudySessionTest, AForgottenCardWaitsForItsNextDueDay) {
    addNewCards({"thương", "hàn", "luận"});
    StudySession s(store.study);
    s.reload();
    while (s.card()) {
        s.reveal();
        ASSERT_TRUE(s.grade(Rating::Again));
    }
    s.reload();
    EXPECT_FALSE(s.card());
    EXPECT_EQ(finishedText(s.doneThisSession(), s.summary().streak), "Đã ôn 3 thẻ. Chuỗi 1 ngày 🔥");
    StudyStores tomorrow(dir.file("study.sqlite"), clockOnDay(31));
    StudySession next(tomorrow.study);
    next.reload();
    EXPECT_EQ(next.queue().size(), 3u);
}

TEST_F(StudySessionTest, ChoicesHoldNoDuplicatesAndTheAnswerMovesAround) {
    addNewCards({"hàn", "hàn", "hàn", "số", "số", "luận", "bệnh", "mạch", "thương", "luận"});
    std::map<size_t, int> answerAt;
    for (uint64_t seed = 0; seed < 200; ++seed) {
        StudySession s(store.study, std::mt19937_64{seed});
        s.reload();
        ASSERT_EQ(std::set<std::string>(s.choices().begin(), s.choices().end()).size(), 4u);
        auto it = std::find(s.choices().begin(), s.choices().end(), "hàn");
        ASSERT_NE(it, s.choices().end());
        ++answerAt[static_cast<size_t>(it - s.choices().begin())];
    }
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_GT(answerAt[i], 20) << i;  // shuffled, not stuck in one place
    }
}

// A sync that leaves the card on show alone leaves the learner's place alone:
// the reveal, the pick and the order of the choices stay, so the next digit
// still grades. One that changes that card shows it afresh.
TEST_F(StudySessionTest, ASyncKeepsTheCardOnShowUnlessItChangedThatCard) {
    addNewCards({"một", "hai", "ba", "bốn", "năm"});
    StudySession session(store.study, std::mt19937_64{7});
    session.reload();
    ASSERT_TRUE(session.card());
    const std::string onShow = session.card()->uid;
    const std::vector<std::string> choices = session.choices();
    ASSERT_EQ(choices.size(), 4u);
    session.pick(choices[1]);

    {
        // Another device added a card and changed a card further down.
        db::Database d(dir.file("study.sqlite"), db::Database::Mode::ReadWriteCreate);
        insertCard(d, "remote:1", -1, 0, 0, "sáu");
        ASSERT_TRUE(d.exec("UPDATE card SET am='hai (2)' WHERE uid='c:1'"));
    }
    session.refresh();
    EXPECT_EQ(session.card()->uid, onShow);
    EXPECT_TRUE(session.revealed());
    EXPECT_EQ(session.choices(), choices);
    EXPECT_EQ(session.picked(), choices[1]);
    EXPECT_EQ(session.queue().front().uid, onShow);
    EXPECT_EQ(session.queue().size(), 6u);
    EXPECT_EQ(session.summary().total, 6);
    EXPECT_EQ(session.queue().at(1).uid, "remote:1") << "the rest of the queue is rebuilt";

    {
        db::Database d(dir.file("study.sqlite"), db::Database::Mode::ReadWriteCreate);
        ASSERT_TRUE(d.exec("UPDATE card SET am='khác' WHERE uid='" + onShow + "'"));
    }
    session.refresh();
    EXPECT_FALSE(session.revealed()) << "a changed card is shown afresh";
    EXPECT_EQ(session.card()->uid, "remote:1") << "from a queue rebuilt in rank order";
    EXPECT_EQ(session.queue().at(1).am, "khác");
}

TEST(SyncPacer, GradesSyncAtMostOnceAnIntervalAndTheLastGradeIsCovered) {
    using namespace std::chrono_literals;
    SyncPacer pacer(30s);
    SyncPacer::Clock::time_point t0{};
    EXPECT_TRUE(pacer.graded(t0).syncNow);
    SyncPacer::Decision second = pacer.graded(t0 + 10s);
    EXPECT_FALSE(second.syncNow);
    EXPECT_EQ(second.waitFor, 20s);
    SyncPacer::Decision third = pacer.graded(t0 + 12s);
    EXPECT_FALSE(third.syncNow);
    EXPECT_FALSE(third.waitFor) << "the armed timer already covers it";
    EXPECT_TRUE(pacer.timerFired(t0 + 30s));
    EXPECT_FALSE(pacer.timerFired(t0 + 31s)) << "one sync per armed timer";
    EXPECT_EQ(pacer.graded(t0 + 40s).waitFor, 20s);
    pacer.flushed(t0 + 41s);  // the window closed: synced at once
    EXPECT_FALSE(pacer.timerFired(t0 + 60s));
    EXPECT_TRUE(pacer.graded(t0 + 72s).syncNow);
}
