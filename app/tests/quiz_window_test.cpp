// The quiz window driven by keys and by the mouse, on small seeded decks.
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "app/progress/quiz_view.h"
#include "app/progress/quiz_window_controller.h"
#include "core/db/database.h"
#include "core/progress/progress_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

constexpr int64_t kToday = 20000;

const std::vector<std::pair<std::string, std::string>> kDeck = {
    {"char:寒", "hàn, hán"}, {"char:數", "số, sổ"}, {"char:傷", "thương"},
    {"char:論", "luận"},     {"char:汗", "hãn"},    {"char:學", "học"},
};

class QuizWindowTest : public ::testing::Test {
  protected:
    void open(size_t cards) {
        store = std::make_unique<StudyStores>(dir.file("study.sqlite"), clockOnDay(kToday));
        for (size_t i = 0; i < cards; ++i) {
            insertCard(store->db.connection(), kDeck[i].first, static_cast<int64_t>(i), 2, kToday,
                       kDeck[i].second);
        }
        controller = std::make_unique<QuizWindowController>(store->progress);
        controller->onFinish = [this] { ++finished; };
        controller->show();
    }

    QWidget* win() { return controller->window(); }
    template <typename T = QLabel>
    T* child(const QString& name) {
        return win()->findChild<T*>(name);
    }
    QString text(const char* name) { return child(QString::fromLatin1(name))->text(); }
    // A key as the keyboard sends it: to the focused widget, passed up from there.
    void key(int k, Qt::KeyboardModifiers mods = Qt::NoModifier, const QString& t = {}) {
        QWidget* target = win()->focusWidget() ? win()->focusWidget() : win();
        QKeyEvent press(QEvent::KeyPress, k, mods, t);
        QApplication::sendEvent(target, &press);
    }
    bool onPicker() { return controller->view()->picking(); }
    const QuizQuestion& question() { return *controller->model().current(); }
    size_t rightIndex() {
        const auto& o = question().options;
        return static_cast<size_t>(std::find(o.begin(), o.end(), question().answer) - o.begin());
    }
    int64_t quizRows() {
        db::Statement st(store->db.connection(), "SELECT COUNT(*) FROM quiz_log");
        return st.step() ? st.int64(0) : -1;
    }

    TempDir dir;
    std::unique_ptr<StudyStores> store;
    std::unique_ptr<QuizWindowController> controller;
    int finished = 0;
};

}  // namespace

TEST_F(QuizWindowTest, EveryModeRunsToTheResultWithKeys) {
    open(6);
    ASSERT_TRUE(win()->isVisible());
    EXPECT_EQ(text("subtitle"),
              QStringLiteral("Câu hỏi tự sinh từ thẻ bạn đã học · +2 XP mỗi câu đúng"));
    EXPECT_EQ(text("pickHeading"), QStringLiteral("Chọn chế độ kiểm tra"));

    // Alt+1 belongs to someone else: the picker stays.
    key(Qt::Key_1, Qt::AltModifier, QStringLiteral("1"));
    EXPECT_TRUE(onPicker());

    int64_t rows = 0;
    for (int mode = 0; mode < 3; ++mode) {
        key(Qt::Key_1 + mode, Qt::NoModifier, QString::number(mode + 1));
        ASSERT_FALSE(onPicker());
        ASSERT_EQ(controller->model().mode(), kAllQuizModes[static_cast<size_t>(mode)]);
        int64_t right = 0;
        for (size_t n = 0; n < 6; ++n) {
            ASSERT_EQ(text("progress"), QStringLiteral("Câu %1/6").arg(n + 1));
            const bool answerRight = n % 2 == 0;
            if (question().mode == QuizMode::TypeAm) {
                auto* field = child<QLineEdit>(QStringLiteral("typed"));
                EXPECT_EQ(win()->focusWidget(), field);
                field->setText(answerRight ? QString::fromStdString(question().answer)
                                           : QStringLiteral("sai"));
                key(Qt::Key_Return);
            } else {
                const size_t pick =
                    answerRight ? rightIndex() : (rightIndex() + 1) % question().options.size();
                key(Qt::Key_1 + static_cast<int>(pick), Qt::KeypadModifier);
            }
            right += answerRight ? 1 : 0;
            ASSERT_TRUE(controller->model().answered());
            EXPECT_TRUE(child<QPushButton>(QStringLiteral("next"))->isVisible());
            // A second answer to the same question changes nothing.
            key(Qt::Key_1);
            key(Qt::Key_Return);
        }
        rows += 6;
        EXPECT_EQ(quizRows(), rows);
        EXPECT_EQ(finished, mode + 1);
        EXPECT_EQ(text("resultScore"), QStringLiteral("%1/6").arg(right));
        EXPECT_EQ(text("resultDetail"),
                  QStringLiteral("Đúng %1 trên 6 câu · +%2 XP").arg(right).arg(right * 2));
        EXPECT_EQ(child<QPushButton>(QStringLiteral("again"))->text(),
                  QStringLiteral("Kiểm tra tiếp"));
        key(Qt::Key_Return);  // "Kiểm tra tiếp" goes back to the picker
        EXPECT_TRUE(onPicker());
    }
}

TEST_F(QuizWindowTest, MouseAnswersMarkTheRightAndTheWrongOption) {
    open(6);
    child<QPushButton>(QStringLiteral("mode_hanFromAm"))->click();
    EXPECT_EQ(text("modePrompt"), QStringLiteral("Chọn chữ đúng"));
    EXPECT_EQ(text("prompt"), QString::fromStdString(question().prompt));
    const size_t right = rightIndex();
    const size_t wrong = (right + 1) % question().options.size();
    const std::string picked = question().options[wrong];
    const std::string card = question().card.front + " — " + question().card.am;
    auto option = [&](size_t i) {
        return child<QPushButton>(QStringLiteral("option%1").arg(i + 1));
    };
    EXPECT_TRUE(option(wrong)->text().endsWith(QString::fromStdString(picked)));
    option(wrong)->click();

    EXPECT_EQ(option(wrong)->property("state").toString(), QStringLiteral("wrong"));
    EXPECT_EQ(option(right)->property("state").toString(), QStringLiteral("right"));
    EXPECT_EQ(text("feedback"),
              QStringLiteral("✗ Bạn chọn “%1”").arg(QString::fromStdString(picked)));
    EXPECT_EQ(text("cardLine"), QString::fromStdString(card));
    EXPECT_EQ(child<QPushButton>(QStringLiteral("next"))->text(), QStringLiteral("Câu tiếp  (⏎)"));
    child<QPushButton>(QStringLiteral("next"))->click();
    EXPECT_EQ(text("progress"), QStringLiteral("Câu 2/6"));
    EXPECT_TRUE(text("feedback").isEmpty());
    EXPECT_TRUE(option(0)->property("state").toString().isEmpty());

    // Closing and showing again starts over on the picker.
    win()->close();
    controller->show();
    EXPECT_TRUE(onPicker());
}

TEST_F(QuizWindowTest, TypedReadingsNeedNoToneMarks) {
    open(6);
    key(Qt::Key_3);
    // A blank field is no answer.
    key(Qt::Key_Return);
    EXPECT_FALSE(controller->model().answered());
    for (size_t n = 0; n < 6; ++n) {
        const bool cold = question().card.front == "寒";
        auto* field = child<QLineEdit>(QStringLiteral("typed"));
        // Both readings of 寒 (hàn, hán) fold to "han".
        field->setText(cold ? QStringLiteral("  HAN ") : QStringLiteral("zzz"));
        child<QPushButton>(QStringLiteral("submit"))->click();
        EXPECT_EQ(controller->model().lastCorrect(), cold);
        EXPECT_EQ(text("feedback"),
                  cold ? QStringLiteral("✓ Đúng") : QStringLiteral("✗ Bạn gõ “zzz”"));
        key(Qt::Key_Enter, Qt::KeypadModifier);
    }
    EXPECT_EQ(text("resultScore"), QStringLiteral("1/6"));
}

TEST_F(QuizWindowTest, ATinyDeckShowsTheEmptyDeckMessage) {
    open(3);
    key(Qt::Key_1);
    EXPECT_EQ(text("resultHeading"), QStringLiteral("Chưa đủ thẻ để kiểm tra"));
    EXPECT_EQ(text("resultDetail"), QStringLiteral("Học thêm vài thẻ rồi quay lại nhé."));
    EXPECT_FALSE(child<QPushButton>(QStringLiteral("again"))->isVisible());
    EXPECT_EQ(finished, 0);
    EXPECT_EQ(quizRows(), 0);
    key(Qt::Key_Return);
    EXPECT_FALSE(win()->isVisible());
}
