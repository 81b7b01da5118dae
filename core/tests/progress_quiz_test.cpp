#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>

#include "core/db/database.h"
#include "core/progress/progress_store.h"
#include "core/progress/quiz_model.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "core/text/unicode.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

constexpr int64_t kToday = 20000;

class QuizTest : public ::testing::Test {
  protected:
    QuizTest() : store(dir.file("study.sqlite"), clockOnDay(kToday, 1'728'000'000)) {}

    // Cards "char:N" read "amN", due on day N; learned ones first.
    void addCards(int learned, int fresh = 0, int from = 0) {
        for (int i = from; i < from + learned + fresh; ++i) {
            insertCard(store.db.connection(), "char:" + std::to_string(i), i,
                       i < from + learned ? 1 : 0, i, "am" + std::to_string(i));
        }
    }
    QuizModel model(uint64_t seed = 1) {
        return QuizModel(store.progress, std::mt19937_64{seed}, [this] { return m_millis += 250; });
    }
    int64_t scalar(const std::string& sql) {
        db::Statement st(store.db.connection(), sql);
        return st.step() ? st.int64(0) : -999;
    }

    TempDir dir;
    StudyStores store;
    int64_t m_millis = 0;
};

}  // namespace

TEST_F(QuizTest, ADeckOfThreeReadableCardsIsTooSmall) {
    addCards(3);
    insertCard(store.db.connection(), "char:無", 50, 1, 0, "");  // no reading: never asked
    QuizModel q = model();
    EXPECT_EQ(q.phase(), QuizModel::Phase::Picking);
    q.start(QuizMode::AmFromHan);
    EXPECT_EQ(q.phase(), QuizModel::Phase::Finished);
    EXPECT_TRUE(q.deckTooSmall());
    EXPECT_TRUE(q.questions().empty());
    EXPECT_EQ(q.current(), nullptr);

    addCards(1, 0, 3);
    q.start(QuizMode::AmFromHan);
    EXPECT_EQ(q.phase(), QuizModel::Phase::Question);
    EXPECT_FALSE(q.deckTooSmall());
    EXPECT_EQ(q.questions().size(), 4u);
}

TEST_F(QuizTest, FewLearnedCardsFallBackToTheMostFrequentReadableCards) {
    addCards(3, 50);
    insertCard(store.db.connection(), "char:停", -1, 0, 0, "đình", 1);  // suspended
    QuizModel q = model();
    q.start(QuizMode::TypeAm);
    ASSERT_EQ(q.questions().size(), 10u);
    std::set<std::string> asked;
    for (const QuizQuestion& question : q.questions()) {
        asked.insert(question.card.uid);
        EXPECT_TRUE(question.options.empty());
        EXPECT_EQ(question.prompt, question.card.front);
    }
    EXPECT_FALSE(asked.count("char:停"));
    // Pool query 2 takes the 40 most frequent; the learned ones are among them.
    EXPECT_EQ(store.progress.quizPool().size(), 40u);
    EXPECT_EQ(store.progress.quizPool().back().uid, "char:39");
}

TEST_F(QuizTest, AQuizHasAtMostTenQuestionsFromTheMostOverdueCards) {
    addCards(7);
    QuizModel q = model();
    q.start(QuizMode::AmFromHan);
    EXPECT_EQ(q.questions().size(), 7u);

    addCards(38, 0, 7);  // 45 learned: the 40 most overdue make the pool
    for (uint64_t seed = 1; seed <= 20; ++seed) {
        QuizModel r = model(seed);
        r.start(QuizMode::AmFromHan);
        ASSERT_EQ(r.questions().size(), 10u);
        for (const QuizQuestion& question : r.questions()) {
            EXPECT_LT(question.card.due, 40) << question.card.uid;
        }
    }
}

TEST_F(QuizTest, ChoicesHoldTheRightAnswerAndNoSecondRightOne) {
    // 汗 reads hãn and hàn; 寒 reads hàn, so it may not be offered as a
    // wrong answer for 汗. Duplicated readings appear once.
    insertCard(store.db.connection(), "char:汗", 0, 1, 0, "hãn, hàn");
    insertCard(store.db.connection(), "char:寒", 1, 1, 1, "hàn");
    insertCard(store.db.connection(), "char:韓", 2, 1, 2, "hàn");
    insertCard(store.db.connection(), "char:數", 3, 1, 3, "số, sổ");
    insertCard(store.db.connection(), "char:素", 4, 1, 4, "tố");
    insertCard(store.db.connection(), "char:傷寒雜病論", 5, 1, 5, "thương hàn tạp bệnh luận");
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        QuizModel q = model(seed);
        q.start(QuizMode::AmFromHan);
        for (const QuizQuestion& question : q.questions()) {
            const std::vector<std::string>& o = question.options;
            EXPECT_EQ(std::count(o.begin(), o.end(), question.answer), 1);
            EXPECT_EQ(std::set<std::string>(o.begin(), o.end()).size(), o.size());
            EXPECT_LE(o.size(), 4u);
            EXPECT_EQ(question.answer, quiz::firstReading(question.card.am));
            for (const std::string& option : o) {
                EXPECT_EQ(option.find(','), std::string::npos);
            }
            if (question.card.front == "汗") {
                EXPECT_EQ(question.answer, "hãn");
                EXPECT_EQ(std::count(o.begin(), o.end(), "hàn"), 0);
            }
        }
        q.start(QuizMode::HanFromAm);
        for (const QuizQuestion& question : q.questions()) {
            EXPECT_EQ(question.prompt, quiz::firstReading(question.card.am));
            EXPECT_EQ(question.answer, question.card.front);
            const std::vector<std::string>& o = question.options;
            EXPECT_EQ(std::count(o.begin(), o.end(), question.answer), 1);
            // A five-character phrase is never a wrong answer.
            if (question.card.front != "傷寒雜病論") {
                EXPECT_EQ(std::count(o.begin(), o.end(), "傷寒雜病論"), 0);
            }
        }
    }
}

TEST_F(QuizTest, AFrontTheDeckAlsoReadsAsThePromptIsNeverAWrongAnswer) {
    // A deck full of homophones: 馬 碼 瑪 all read mã, 罵 reads mạ and also
    // Mã (a stored capital), 媽 reads ma. Asked for "mã", only 媽 and the
    // others of other readings may stand beside the right answer.
    insertCard(store.db.connection(), "char:馬", 0, 1, 0, "mã");
    insertCard(store.db.connection(), "char:碼", 1, 1, 1, "mã");
    insertCard(store.db.connection(), "char:瑪", 2, 1, 2, "mã, ma");
    insertCard(store.db.connection(), "char:罵", 3, 1, 3, "mạ, Mã");
    insertCard(store.db.connection(), "char:媽", 4, 1, 4, "ma");
    insertCard(store.db.connection(), "char:甲", 5, 1, 5, "giáp");
    // The same character twice (a lesson card beside the frequency card):
    // either reading makes it a homophone.
    insertCard(store.db.connection(), "char:辛", 6, 1, 6, "tân");
    insertCard(store.db.connection(), "w:辛", 7, 0, 7, "mã");

    size_t maQuestions = 0;
    for (uint64_t seed = 1; seed <= 25; ++seed) {
        QuizModel q = model(seed);
        q.start(QuizMode::HanFromAm);
        ASSERT_EQ(q.phase(), QuizModel::Phase::Question);
        for (const QuizQuestion& question : q.questions()) {
            const std::vector<std::string>& o = question.options;
            EXPECT_EQ(std::count(o.begin(), o.end(), question.answer), 1);
            if (question.prompt != "mã") {
                continue;
            }
            ++maQuestions;
            for (const std::string& option : o) {
                if (option != question.answer) {
                    EXPECT_TRUE(option == "媽" || option == "甲") << "offered " << option;
                }
            }
            // Fewer options rather than a second right one.
            EXPECT_LE(o.size(), 3u);
        }
    }
    EXPECT_GT(maQuestions, 0u);

    std::vector<std::string> both = store.progress.frontReadings("辛");
    EXPECT_EQ(std::set<std::string>(both.begin(), both.end()),
              (std::set<std::string>{"tân", "mã"}));
    EXPECT_TRUE(store.progress.frontReadings("無").empty());
}

TEST_F(QuizTest, AnswersAreScoredRecordedAndTimed) {
    addCards(4);
    QuizModel q = model();
    int finished = 0;
    q.onFinish = [&] { ++finished; };
    q.start(QuizMode::AmFromHan);
    q.next();  // nothing to move on from before an answer
    EXPECT_EQ(q.index(), 0u);

    std::string wrong;
    for (const std::string& o : q.current()->options) {
        if (o != q.current()->answer) {
            wrong = o;
        }
    }
    ASSERT_FALSE(wrong.empty());
    q.choose(wrong);
    EXPECT_TRUE(q.answered());
    EXPECT_FALSE(q.lastCorrect());
    EXPECT_EQ(q.selected(), wrong);
    q.choose(q.current()->answer);  // one answer per question
    EXPECT_EQ(q.score(), 0);
    q.submitTyped();  // not a typing question
    q.next();
    EXPECT_FALSE(q.answered());
    EXPECT_FALSE(q.selected());
    while (q.phase() == QuizModel::Phase::Question) {
        q.choose(q.current()->answer);
        EXPECT_TRUE(q.lastCorrect());
        q.next();
    }
    EXPECT_EQ(q.score(), 3);
    EXPECT_EQ(finished, 1);
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM quiz_log WHERE mode='amFromHan' AND day=20000 AND "
                     "ts=1728000000 AND ms=250"),
              4);
    EXPECT_EQ(scalar("SELECT SUM(correct) FROM quiz_log"), 3);
    EXPECT_EQ(scalar("SELECT correct FROM quiz_log ORDER BY id LIMIT 1"), 0);
    // The card's schedule is untouched.
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM review_log"), 0);
    EXPECT_EQ(scalar("SELECT SUM(reps) FROM card"), 4);
}

TEST_F(QuizTest, TypedAnswersAndTheEndOfAQuizAwardXpAndBadges) {
    addCards(8);
    store.study.setCfg("best_streak", "3");
    const int64_t before = store.progress.xpTotal();
    QuizModel q = model();
    q.start(QuizMode::TypeAm);
    while (const QuizQuestion* question = q.current()) {
        q.setTyped("  " + text::toUpper(question->card.am) + " ");
        q.submitTyped();
        EXPECT_TRUE(q.lastCorrect()) << question->card.am;
        q.next();
        EXPECT_EQ(q.typed(), "");
    }
    EXPECT_EQ(q.score(), 8);
    EXPECT_EQ(store.progress.xpTotal() - before, 16);
    EXPECT_EQ(store.progress.xpToday(kToday), 16);
    EXPECT_EQ(q.newBadges(), (std::vector<std::string>{"streak3"}));
    EXPECT_EQ(store.progress.earnedBadges().count("streak3"), 1u);

    q.start(QuizMode::TypeAm);
    q.setTyped("không phải");
    q.submitTyped();
    EXPECT_FALSE(q.lastCorrect());
    EXPECT_TRUE(q.newBadges().empty());
}

TEST_F(QuizTest, ASeedPinsTheQuizAndEveryQuestionGetsItsOwnId) {
    addCards(20);
    QuizModel a = model(42), b = model(42), c = model(43);
    a.start(QuizMode::HanFromAm);
    b.start(QuizMode::HanFromAm);
    c.start(QuizMode::HanFromAm);
    std::vector<std::string> orderA, orderB, orderC;
    std::set<std::string> ids;
    const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    for (size_t i = 0; i < 10; ++i) {
        orderA.push_back(a.questions()[i].card.uid);
        orderB.push_back(b.questions()[i].card.uid);
        orderC.push_back(c.questions()[i].card.uid);
        EXPECT_TRUE(std::regex_match(a.questions()[i].id, uuid)) << a.questions()[i].id;
        ids.insert(a.questions()[i].id);
    }
    EXPECT_EQ(orderA, orderB);
    EXPECT_NE(orderA, orderC);
    EXPECT_EQ(ids.size(), 10u);
}

TEST_F(QuizTest, DistractorHelpersAskForThreeTimesTheCount) {
    addCards(20);
    insertCard(store.db.connection(), "char:無", 50, 0, 0, "");
    insertCard(store.db.connection(), "char:一二三四五", 51, 0, 0, "nhất nhị tam tứ ngũ");
    std::vector<std::string> readings = store.progress.distractorReadings("char:0", 3);
    EXPECT_EQ(readings.size(), 9u);
    EXPECT_EQ(std::count(readings.begin(), readings.end(), "am0"), 0);
    EXPECT_EQ(std::count(readings.begin(), readings.end(), ""), 0);
    EXPECT_EQ(store.progress.distractorReadings("char:0", 100).size(), 20u);  // 無 has none
    std::vector<std::string> fronts = store.progress.distractorFronts("char:0", 100);
    EXPECT_EQ(fronts.size(), 20u);  // 19 others and 無, not the long phrase
    EXPECT_EQ(std::count(fronts.begin(), fronts.end(), "0"), 0);
    EXPECT_TRUE(store.progress.distractorFronts("char:0", 0).empty());
}
