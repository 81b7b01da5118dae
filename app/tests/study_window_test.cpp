// The study window over a real study database: its key filter, its texts in
// each state, the mouse, and the stroke-order hook.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>

#include "app/shell/localization.h"
#include "app/study/keyed_button.h"
#include "app/study/study_keys.h"
#include "app/study/study_window_controller.h"
#include "app/tests/ui_input.h"
#include "core/db/database.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"
#include "net/settings/app_settings.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// Counts the key presses that reach the widget it watches.
class KeyProbe : public QObject {
  public:
    explicit KeyProbe(QObject* target) { target->installEventFilter(this); }
    int seen = 0;

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::KeyPress) {
            ++seen;
        }
        return false;
    }
};

struct Row {
    std::string uid;
    int64_t rating = 0;
};

class StudyWindowTest : public ::testing::Test {
  protected:
    StudyWindowTest() : store(dir.file("study.sqlite"), clockOnDay(100)) {}
    ~StudyWindowTest() override {
        if (controller.window()) {
            controller.window()->close();
        }
    }

    // New cards in frequency order; each gloss names its card.
    void addCards(const std::vector<std::pair<std::string, std::string>>& cards) {
        for (const auto& [front, am] : cards) {
            insertCard(store.db.connection(), "c:" + front, m_rank++, 0, 0, am);
            db::Statement st(store.db.connection(), "UPDATE card SET gloss=? WHERE uid=?");
            st.bind(1, "nghĩa của " + front).bind(2, "c:" + front);
            st.run();
        }
    }
    void addFiveCards() {
        addCards({{"心", "tâm"}, {"肝", "can"}, {"脾", "tỳ"}, {"肺", "phế"}, {"腎", "thận"}});
    }

    void open() {
        controller.show();
        QApplication::processEvents();
        ASSERT_TRUE(controller.window()->isActiveWindow());
    }

    QWidget* window() const { return controller.window(); }
    StudySession& session() const { return *controller.session(); }
    template <typename T = QLabel>
    T* find(const char* name) const {
        T* w = window()->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    QString text(const char* name) const {
        if (auto* b = window()->findChild<QPushButton*>(QString::fromLatin1(name))) {
            return b->text();
        }
        QLabel* l = find(name);
        return l ? l->text() : QString();
    }
    bool shown(const char* name) const {
        QWidget* w = find<QWidget>(name);
        return w && w->isVisible();
    }
    QString header() const {
        return text("streakValue") + "|" + text("reviewedValue") + "|" + text("remainingValue") +
               "|" + text("learnedValue");
    }
    QString page() const { return find<QStackedWidget>("pages")->currentWidget()->objectName(); }

    std::vector<Row> log() {
        std::vector<Row> out;
        db::Statement st(store.db.connection(),
                         "SELECT card_uid, rating FROM review_log ORDER BY id");
        while (st.step()) {
            out.push_back({st.text(0).value_or(""), st.int64(1)});
        }
        return out;
    }

    TempDir dir;
    StudyStores store;
    StudyWindowController controller{store.study};
    int m_rank = 0;
};

}  // namespace

TEST(StudyKeyTranslation, PositionsKeypadAndModifiers) {
    // Synthetic events carry no position: the decoded key decides.
    EXPECT_EQ(studyKeyFromQt(Qt::Key_3, {}, 0, 0), StudyKey::Digit3);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_Enter, {}, 0, 0), StudyKey::Return);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_5, {}, 0, 0), StudyKey::Other);
    // The keypad counts by what it types: Num Lock off makes it arrows.
    EXPECT_EQ(studyKeyFromQt(Qt::Key_4, Qt::KeypadModifier, 83, 0), StudyKey::Digit4);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_Enter, Qt::KeypadModifier, 104, 0), StudyKey::Return);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_End, Qt::KeypadModifier, 87, 0), StudyKey::Other);
#if defined(TALVO_PLATFORM_X11)
    // AZERTY: the digit row types "&" and "é" but keeps its XKB keycodes.
    EXPECT_EQ(studyKeyFromQt(Qt::Key_Ampersand, {}, 10, 0x26), StudyKey::Digit1);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_Eacute, {}, 11, 0xe9), StudyKey::Digit2);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_Space, {}, 65, 0x20), StudyKey::Space);
    EXPECT_EQ(studyKeyFromQt(Qt::Key_1, {}, 19, 0x31), StudyKey::Other) << "the 0 position";
#endif
#if !defined(Q_OS_MACOS)
    KeyModifiers super = studyModifiersFromQt(Qt::MetaModifier | Qt::ShiftModifier);
    EXPECT_TRUE(super.command && super.shift && !super.control && !super.option);
    KeyModifiers ctrl = studyModifiersFromQt(Qt::ControlModifier);
    EXPECT_TRUE(ctrl.control && !ctrl.command);
#endif
    EXPECT_TRUE(studyModifiersFromQt(Qt::AltModifier).option);
}

TEST_F(StudyWindowTest, KeysPickRevealAndGradeWhileOthersPassThrough) {
    addFiveCards();
    int progress = 0, shownCalls = 0;
    controller.onProgress = [&] { ++progress; };
    controller.onShown = [&] { ++shownCalls; };
    open();
    EXPECT_EQ(shownCalls, 1);
    EXPECT_TRUE(controller.takingKeys());
    QLabel* target = find("front");
    KeyProbe probe(target);

    // An unrevealed new card with four choices.
    EXPECT_EQ(header(), "0|0|5|0/5");
    EXPECT_EQ(text("front"), "心");
    EXPECT_TRUE(shown("newMark"));
    EXPECT_FALSE(shown("reading"));
    EXPECT_FALSE(shown("gloss"));
    ASSERT_EQ(session().choices().size(), 4u);
    for (int i = 0; i < 4; ++i) {
        auto* b = find<KeyedButton>(qPrintable(QStringLiteral("choice%1").arg(i + 1)));
        EXPECT_TRUE(b->isVisible());
        EXPECT_EQ(b->label().toStdString(), session().choices()[i]);
    }
    EXPECT_EQ(text("unsure"), "Không chắc — hiện đáp án  (Space)");
    EXPECT_FALSE(shown("reveal"));
    EXPECT_FALSE(shown("rate1"));

    // Option/Alt+1 belongs to the system: it reaches the widget, changes nothing.
    press(target, Qt::Key_1, Qt::AltModifier);
    EXPECT_EQ(probe.seen, 1);
    EXPECT_FALSE(session().revealed());
    EXPECT_FALSE(session().picked());
    // So do keys outside the table.
    press(target, Qt::Key_5);
    EXPECT_EQ(probe.seen, 2);

    // 2 picks the second choice and reveals; the widget never sees it.
    const std::string second = session().choices()[1];
    press(target, Qt::Key_2);
    EXPECT_EQ(probe.seen, 2);
    EXPECT_TRUE(session().revealed());
    EXPECT_EQ(session().picked(), second);
    EXPECT_TRUE(shown("verdict"));
    EXPECT_EQ(text("verdict").toStdString(),
              second == "tâm" ? "✓ Đúng" : "✗ Bạn chọn “" + second + "” — đúng là “tâm”");
    EXPECT_EQ(text("reading"), "tâm");
    EXPECT_EQ(text("gloss"), "nghĩa của 心");
    EXPECT_FALSE(shown("choice1"));
    std::vector<QString> labels;
    for (const char* r : {"rate1", "rate2", "rate3", "rate4"}) {
        EXPECT_TRUE(shown(r));
        labels.push_back(find<KeyedButton>(r)->label());
    }
    EXPECT_EQ(labels, (std::vector<QString>{"Quên", "Khó", "Được", "Dễ"}));
    EXPECT_EQ(progress, 0) << "picking never grades";

    // 2 again grades hard.
    press(target, Qt::Key_2);
    ASSERT_EQ(log().size(), 1u);
    EXPECT_EQ(log()[0].uid, "c:心");
    EXPECT_EQ(log()[0].rating, 2);
    EXPECT_EQ(progress, 1);
    EXPECT_EQ(header(), "1|1|4|1/5");
    EXPECT_EQ(text("front"), "肝");
    EXPECT_FALSE(session().revealed());

    // Space reveals without a verdict, then grades good; Return does the same.
    press(target, Qt::Key_Space);
    EXPECT_TRUE(session().revealed());
    EXPECT_FALSE(shown("verdict"));
    press(target, Qt::Key_Space);
    press(target, Qt::Key_Return);
    press(target, Qt::Key_Enter, Qt::KeypadModifier);
    ASSERT_EQ(log().size(), 3u);
    EXPECT_EQ(log()[1].rating, 3);
    EXPECT_EQ(log()[2].uid, "c:脾");
    EXPECT_EQ(log()[2].rating, 3);
    EXPECT_EQ(probe.seen, 2);
    EXPECT_EQ(progress, 3);
}

TEST_F(StudyWindowTest, MouseDoesWhatTheKeysDoAndAWrongPickSaysSo) {
    addFiveCards();
    open();
    const int wrong = session().choices()[0] == "tâm" ? 1 : 0;
    const std::string picked = session().choices()[wrong];
    click(find<KeyedButton>(qPrintable(QStringLiteral("choice%1").arg(wrong + 1))));
    EXPECT_EQ(text("verdict").toStdString(), "✗ Bạn chọn “" + picked + "” — đúng là “tâm”");
    click(find<KeyedButton>("rate4"));
    ASSERT_EQ(log().size(), 1u);
    EXPECT_EQ(log()[0].rating, 4);

    click(find<QPushButton>("unsure"));
    EXPECT_TRUE(session().revealed());
    EXPECT_FALSE(session().picked());
    click(find<KeyedButton>("rate1"));
    EXPECT_EQ(log().back().rating, 1);
    EXPECT_EQ(log().back().uid, "c:肝");
}

TEST_F(StudyWindowTest, TheFinishedScreenSwallowsTheTableKeys) {
    open();
    EXPECT_EQ(page(), "finishedPage");
    EXPECT_EQ(text("motto"), "學而時習之");
    EXPECT_EQ(text("finishedTitle"), "Xong hôm nay!");
    EXPECT_EQ(text("finishedText"), "Chưa có thẻ đến hạn. Quay lại sau nhé.");
    EXPECT_EQ(header(), "0|0|0|0/0");
    QLabel* target = find("finishedTitle");
    KeyProbe probe(target);
    for (Qt::Key k : {Qt::Key_1, Qt::Key_4, Qt::Key_Space, Qt::Key_Return}) {
        press(target, k);
    }
    EXPECT_EQ(probe.seen, 0);
    EXPECT_TRUE(log().empty());
    press(target, Qt::Key_1, Qt::ControlModifier);
    EXPECT_EQ(probe.seen, 1);

    // A card added meanwhile (a lesson, a sync) shows after reload; once
    // it is graded, the screen counts the session and the streak.
    addCards({{"氣", ""}});
    controller.reload();
    EXPECT_EQ(page(), "cardPage");
    EXPECT_TRUE(shown("reveal")) << "no other readings: plain reveal";
    EXPECT_EQ(text("reveal"), "Hiện đáp án  (Space)");
    press(target, Qt::Key_Space);
    press(target, Qt::Key_3);
    EXPECT_EQ(page(), "finishedPage");
    EXPECT_EQ(text("finishedText"), "Đã ôn 1 thẻ. Chuỗi 1 ngày 🔥");
    EXPECT_EQ(header(), "1|1|0|1/1");
}

TEST_F(StudyWindowTest, KeysAreTakenOnlyWhileTheWindowIsOpenAndActive) {
    controller.reload();  // before any show: nothing to do, no crash
    EXPECT_EQ(controller.window(), nullptr);
    addFiveCards();
    open();
    QWidget other;
    KeyProbe otherProbe(&other);
    other.show();
    other.activateWindow();
    QApplication::processEvents();
    ASSERT_FALSE(window()->isActiveWindow());
    press(&other, Qt::Key_1);
    EXPECT_EQ(otherProbe.seen, 1);
    EXPECT_FALSE(session().revealed());
    other.close();

    window()->close();
    QApplication::processEvents();
    EXPECT_FALSE(controller.takingKeys());
    QLabel* target = find("front");
    KeyProbe probe(target);
    press(target, Qt::Key_1);
    EXPECT_EQ(probe.seen, 1);
    EXPECT_FALSE(session().revealed());

    // Showing again takes the keys again and resumes from the database.
    session().reveal();
    open();
    EXPECT_TRUE(controller.takingKeys());
    EXPECT_FALSE(session().revealed());
    press(target, Qt::Key_Space);
    EXPECT_EQ(probe.seen, 1);
    EXPECT_TRUE(session().revealed());
}

TEST_F(StudyWindowTest, StrokeOrderAndRatingLanguage) {
    addCards({{"心", "tâm"}, {"心臟", "tâm tạng"}, {"肝", "can"}});
    std::vector<std::string> asked;
    controller.strokeOrderView = [&](const std::string& ch, QWidget* parent) -> QWidget* {
        asked.push_back(ch);
        auto* w = new QLabel(QStringLiteral("strokes"), parent);
        w->setObjectName(QStringLiteral("strokes"));
        return w;
    };
    AppSettings settings(dir.file("settings.ini"));
    Localization l10n(settings);
    controller.setLocalization(&l10n);
    open();
    EXPECT_TRUE(asked.empty()) << "only once revealed";
    session().reveal();
    controller.reload();  // reload hides the answer again
    EXPECT_TRUE(asked.empty());
    press(find("front"), Qt::Key_Space);
    ASSERT_EQ(asked, std::vector<std::string>{"心"});
    EXPECT_TRUE(find("strokes")->isVisible());
    press(find("front"), Qt::Key_3);
    press(find("front"), Qt::Key_Space);
    EXPECT_EQ(asked.size(), 1u) << "a two-character front has no stroke order";
    EXPECT_EQ(window()->findChild<QLabel*>(QStringLiteral("strokes")), nullptr);

    l10n.setLang(AppLanguage::en);
    EXPECT_EQ(find<KeyedButton>("rate1")->label(), "Again");
    EXPECT_EQ(find<KeyedButton>("rate4")->label(), "Easy");
    EXPECT_EQ(text("unsure"), "Không chắc — hiện đáp án  (Space)") << "Vietnamese everywhere";
}

TEST_F(StudyWindowTest, LongTextsWrapInsideTheWindow) {
    const std::string am(60, 'x');
    const std::string gloss = "Một nghĩa rất dài: " + std::string(400, 'y') +
                              " và https://example.invalid/" + std::string(200, 'z');
    addCards({{"長", am}});
    db::Statement st(store.db.connection(), "UPDATE card SET gloss=? WHERE uid='c:長'");
    st.bind(1, gloss);
    st.run();
    open();
    window()->resize(480, 600);
    press(find("front"), Qt::Key_Space);
    QApplication::processEvents();
    EXPECT_LE(window()->minimumSizeHint().width(), 480);
    EXPECT_LE(window()->width(), 480);
    QWidget* card = find<QWidget>("studyCard");
    for (const auto& [name, full] : {std::pair{"gloss", gloss}, std::pair{"reading", am}}) {
        QLabel* l = find(name);
        EXPECT_GT(l->height(), 2 * l->fontMetrics().height()) << name << " wraps";
        EXPECT_LE(l->mapTo(card, QPoint(l->width(), 0)).x(), card->width()) << name;
        // Only break points were added: copying the text gives it back whole.
        EXPECT_EQ(l->text().remove(QChar(0x200B)).toStdString(), full) << name;
    }
}
