// The profile window's figures as displayed, from seeded study databases.
#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QFrame>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimeZone>
#include <QToolTip>
#include <cstdlib>
#include <ctime>

#include "app/progress/heatmap_widget.h"
#include "app/progress/profile_model.h"
#include "app/progress/profile_window_controller.h"
#include "app/theme/theme.h"
#include "core/db/database.h"
#include "core/progress/badges.h"
#include "core/progress/progress_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

constexpr int64_t kToday = 20000;  // 04/10/2024 in UTC

class ProfileWindowTest : public ::testing::Test {
  protected:
    ProfileWindowTest() {
        // The time-of-day badges read the process's zone; noon UTC must not
        // count as early or late.
        setenv("TZ", "UTC", 1);
        tzset();
        store = std::make_unique<StudyStores>(dir.file("study.sqlite"),
                                              clockOnDay(kToday, kToday * 86400 + 12 * 3600));
        controller = std::make_unique<ProfileWindowController>(store->progress);
    }

    QWidget* win() { return controller->window(); }
    QString text(const char* name) {
        auto* l = win()->findChild<QLabel*>(QString::fromLatin1(name));
        return l ? l->text() : QStringLiteral("<missing %1>").arg(QLatin1String(name));
    }
    HeatmapWidget* heatmap() { return win()->findChild<HeatmapWidget*>(); }
    int earnedBadgeCells() {
        int n = 0;
        for (const BadgeDef& b : Badges::all()) {
            auto* cell = win()->findChild<QFrame*>(QString::fromStdString("badge_" + b.code));
            EXPECT_NE(cell, nullptr) << b.code;
            n += cell && cell->property("earned").toBool() ? 1 : 0;
        }
        return n;
    }
    // The colour a cell shows on the window, read from a rendering of it.
    QColor shownColor(int64_t day) {
        const QImage image = win()->grab().toImage();
        const QPoint at = heatmap()->mapTo(win(), heatmap()->cellRect(day).center());
        return image.pixelColor(at * image.devicePixelRatio());
    }
    void review(const std::string& uid, int64_t day, int rating, int64_t elapsed = 0) {
        db::Statement st(store->db.connection(),
                         "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, interval) "
                         "VALUES (?, ?, ?, ?, ?, 1)");
        st.bind(1, uid).bind(2, day * 86400 + 12 * 3600).bind(3, day).bind(4, int64_t{rating});
        st.bind(5, elapsed);
        ASSERT_TRUE(st.run());
    }

    TempDir dir;
    std::unique_ptr<StudyStores> store;
    std::unique_ptr<ProfileWindowController> controller;
};

QColor over(QColor top, double alpha, QColor bottom) {
    auto mix = [&](int a, int b) { return static_cast<int>(a * alpha + b * (1 - alpha) + 0.5); };
    return QColor(mix(top.red(), bottom.red()), mix(top.green(), bottom.green()),
                  mix(top.blue(), bottom.blue()));
}

void expectNear(const QColor& got, const QColor& want) {
    EXPECT_NEAR(got.red(), want.red(), 2)
        << got.name().toStdString() << " vs " << want.name().toStdString();
    EXPECT_NEAR(got.green(), want.green(), 2);
    EXPECT_NEAR(got.blue(), want.blue(), 2);
}

}  // namespace

TEST_F(ProfileWindowTest, FreshDeckShowsTheStartAndTheGoalPickerStoresItsChoice) {
    controller->reload();  // never shown: nothing to do, nothing created
    EXPECT_EQ(win(), nullptr);

    controller->show();
    ASSERT_NE(win(), nullptr);
    EXPECT_TRUE(win()->isVisible());
    EXPECT_EQ(text("avatar"), QStringLiteral("印"));
    EXPECT_EQ(text("displayName"), QStringLiteral("Người học"));
    EXPECT_EQ(text("rankHan"), QStringLiteral("童生"));
    EXPECT_EQ(text("rankName"), QStringLiteral("Đồng sinh"));
    EXPECT_EQ(text("level"), QStringLiteral("Cấp 1"));
    EXPECT_TRUE(text("xpText").startsWith(QStringLiteral("0 / 100 XP")));
    EXPECT_EQ(win()->findChild<QProgressBar*>(QStringLiteral("xpBar"))->value(), 0);
    EXPECT_EQ(text("streak"), QStringLiteral("Chuỗi 0 ngày"));
    EXPECT_EQ(text("retention"), QStringLiteral("—"));
    EXPECT_EQ(text("goalText"), QStringLiteral("0 / 20 XP"));
    EXPECT_EQ(text("badgeTitle"), QStringLiteral("Huy hiệu · 0/13"));
    EXPECT_EQ(earnedBadgeCells(), 0);
    expectNear(shownColor(kToday - 40), YDao::line());

    auto* picker = win()->findChild<QComboBox*>(QStringLiteral("goalPicker"));
    std::vector<qlonglong> offered;
    for (int i = 0; i < picker->count(); ++i) {
        offered.push_back(picker->itemData(i).toLongLong());
    }
    EXPECT_EQ(offered, (std::vector<qlonglong>{5, 10, 20, 50, 100}));
    EXPECT_EQ(picker->currentData().toLongLong(), 20);

    // One step down the list, as the keyboard chooses: 20 -> 50.
    QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    QApplication::sendEvent(picker, &down);
    EXPECT_EQ(store->study.cfg("daily_goal"), "50");
    EXPECT_EQ(text("goalText"), QStringLiteral("0 / 50 XP"));
    EXPECT_EQ(controller->stats().dailyGoal, 50);

    // A goal that is not a number reads as 20; one set elsewhere is listed in order.
    store->study.setCfg("daily_goal", "abc");
    controller->reload();
    EXPECT_EQ(text("goalText"), QStringLiteral("0 / 20 XP"));
    EXPECT_EQ(picker->currentData().toLongLong(), 20);
    store->study.setCfg("daily_goal", "37");
    controller->reload();
    EXPECT_EQ(picker->currentData().toLongLong(), 37);
    EXPECT_EQ(picker->itemData(picker->currentIndex() - 1).toLongLong(), 20);
    EXPECT_EQ(picker->itemData(picker->currentIndex() + 1).toLongLong(), 50);
}

TEST_F(ProfileWindowTest, ReviewedDeckShowsItsFiguresCalendarAndBadges) {
    const std::vector<std::string> uids = {"char:寒", "char:數", "char:傷", "char:論"};
    for (size_t i = 0; i < uids.size(); ++i) {
        insertCard(store->db.connection(), uids[i], static_cast<int64_t>(i), 1, kToday + 2, "hàn");
    }
    // 12 reviews today, all good: a perfect day.
    for (int i = 0; i < 12; ++i)
        review(uids[i % 4], kToday, 3);
    // Yesterday 7: four second reviews (three good, one again) and three easy first ones.
    for (int rating : {3, 3, 3, 1})
        review(uids[0], kToday - 1, rating, 2);
    for (int i = 0; i < 3; ++i)
        review(uids[1], kToday - 1, 4);
    for (int i = 0; i < 3; ++i)
        review(uids[2], kToday - 2, 2);
    review(uids[3], kToday - 89, 3);  // the calendar's first day
    for (int i = 0; i < 5; ++i)
        review(uids[3], kToday - 90, 3);  // just before it
    store->study.setCfg("streak", "5");
    store->study.setCfg("best_streak", "12");
    store->study.setCfg("display_name", "Lan");
    store->study.setCfg("avatar_uid", "char:寒");

    controller->show();
    // 28 reviews, 24 of them good, 4 cards: 280 + 120 + 60 = 460 XP, level 3 from 300.
    EXPECT_EQ(text("level"), QStringLiteral("Cấp 3"));
    EXPECT_EQ(text("rankHan"), QStringLiteral("秀才"));
    EXPECT_EQ(text("rankName"), QStringLiteral("Tú tài"));
    EXPECT_TRUE(text("xpText").startsWith(QStringLiteral("160 / 300 XP")));
    EXPECT_EQ(text("xpTotal"), QStringLiteral("tổng 460 XP"));
    EXPECT_EQ(win()->findChild<QProgressBar*>(QStringLiteral("xpBar"))->value(), 533);
    EXPECT_EQ(text("displayName"), QStringLiteral("Lan"));
    EXPECT_EQ(text("avatar"), QStringLiteral("寒"));
    EXPECT_EQ(text("streak"), QStringLiteral("Chuỗi 5 ngày"));
    EXPECT_EQ(text("freezeText"), QStringLiteral("1 lần đóng băng chuỗi"));
    EXPECT_EQ(text("goalText"), QStringLiteral("180 / 20 XP  ✓"));
    EXPECT_EQ(text("bestStreak"), QStringLiteral("12"));
    EXPECT_EQ(text("totalReviews"), QStringLiteral("28"));
    EXPECT_EQ(text("learned"), QStringLiteral("4"));
    EXPECT_EQ(text("retention"), QStringLiteral("75%"));

    // Awarded on show: two streak badges and the perfect day.
    EXPECT_EQ(text("badgeTitle"), QStringLiteral("Huy hiệu · 3/13"));
    EXPECT_EQ(earnedBadgeCells(), 3);
    EXPECT_TRUE(
        win()->findChild<QFrame*>(QStringLiteral("badge_perfectDay"))->property("earned").toBool());
    EXPECT_FALSE(
        win()->findChild<QFrame*>(QStringLiteral("badge_streak30"))->property("earned").toBool());
    EXPECT_EQ(win()->findChild<QFrame*>(QStringLiteral("badge_streak30"))->toolTip(),
              QStringLiteral("Học 30 ngày liên tiếp"));

    // Calendar: 12, 7, 3 and 0 reviews in their strengths; 90 days back is outside.
    const QColor paper = YDao::paper();
    expectNear(shownColor(kToday), YDao::jade());
    expectNear(shownColor(kToday - 1), over(YDao::jade(), 0.65, paper));
    expectNear(shownColor(kToday - 2), over(YDao::jade(), 0.35, paper));
    expectNear(shownColor(kToday - 3), YDao::line());
    expectNear(shownColor(kToday - 89), over(YDao::jade(), 0.35, paper));
    EXPECT_TRUE(heatmap()->cellRect(kToday - 90).isNull());

    // Monday on top: 04/10/2024 was a Friday, row 4 of the last column.
    const QRect todayCell = heatmap()->cellRect(kToday);
    EXPECT_EQ(heatmap()->dayAt(todayCell.center() - QPoint(0, 4 * 16)), kToday - 4);
    EXPECT_EQ(heatmap()->dayAt(todayCell.center() + QPoint(0, 16)), std::nullopt);  // tomorrow
    const QPoint yesterday = heatmap()->cellRect(kToday - 1).center();
    QHelpEvent help(QEvent::ToolTip, yesterday, heatmap()->mapToGlobal(yesterday));
    QApplication::sendEvent(heatmap(), &help);
    EXPECT_EQ(QToolTip::text(), QStringLiteral("03/10/2024 · 7 lượt ôn"));
    EXPECT_EQ(heatmap()->toolTipFor(kToday - 3), QStringLiteral("01/10/2024 · 0 lượt ôn"));

    // A reload picks up new history and awards what it earned.
    store->study.setCfg("best_streak", "30");
    review(uids[0], kToday, 4);
    controller->reload();
    EXPECT_EQ(text("totalReviews"), QStringLiteral("29"));
    EXPECT_EQ(text("badgeTitle"), QStringLiteral("Huy hiệu · 4/13"));
    EXPECT_EQ(text("freezeText"), QStringLiteral("2 lần đóng băng chuỗi"));

    // Closing hides; a hidden window is not recomputed until shown again.
    win()->close();
    EXPECT_FALSE(win()->isVisible());
    review(uids[0], kToday, 4);
    controller->reload();
    EXPECT_EQ(text("totalReviews"), QStringLiteral("29"));
    controller->show();
    EXPECT_EQ(text("totalReviews"), QStringLiteral("30"));
}

TEST_F(ProfileWindowTest, ButtonsLeadToStudyAndQuiz) {
    int study = 0;
    int quiz = 0;
    controller->show();
    // Unset callbacks: the buttons do nothing rather than fail.
    win()->findChild<QPushButton*>(QStringLiteral("study"))->click();
    controller->onStudy = [&] { ++study; };
    controller->onQuiz = [&] { ++quiz; };
    win()->findChild<QPushButton*>(QStringLiteral("study"))->click();
    win()->findChild<QPushButton*>(QStringLiteral("quiz"))->click();
    win()->findChild<QPushButton*>(QStringLiteral("quiz"))->click();
    EXPECT_EQ(study, 1);
    EXPECT_EQ(quiz, 2);
    EXPECT_EQ(win()->findChild<QPushButton*>(QStringLiteral("study"))->text(),
              QStringLiteral("▸ Tiếp tục học"));
}

TEST(ProfileFormatting, StudyDaysMapToTheirLocalDatesInEveryZone) {
    // The date of a day number, checked against the day number of that
    // date's noon in the same zone, across New York's DST changes.
    for (const char* zone :
         {"UTC", "Asia/Ho_Chi_Minh", "America/New_York", "Pacific/Kiritimati", "GMT+07:00"}) {
        QTimeZone tz(QByteArray(zone).replace("GMT", "UTC"));
        ASSERT_TRUE(tz.isValid()) << zone;
        for (int64_t day = 19790; day < 19820; ++day) {  // March 2024
            const QDate date = profileview::studyDayDate(day, zone);
            const int64_t noon = QDateTime(date, QTime(12, 0), tz).toSecsSinceEpoch();
            EXPECT_EQ(DayClock::day(noon, zone), day) << zone << " " << day;
        }
    }
    // A zone nobody knows reads as UTC, as the day numbers do.
    EXPECT_EQ(profileview::studyDayDate(kToday, "Nowhere/Atlantis"), QDate(2024, 10, 4));

    EXPECT_EQ(profileview::retentionText(2.0 / 3.0), QStringLiteral("67%"));
    EXPECT_EQ(profileview::retentionText(-1), QStringLiteral("—"));
    EXPECT_EQ(profileview::retentionText(std::nan("")), QStringLiteral("—"));
    EXPECT_EQ(profileview::avatarText(""), QStringLiteral("印"));
    EXPECT_EQ(profileview::avatarText("char:"), QStringLiteral("印"));
    EXPECT_EQ(profileview::avatarText("𠀀𠀁𠀂"), QStringLiteral("𠀀𠀁"));
}
