// The controller end to end over fake platform backends: launch with and
// without a dictionary, the road from shortcut to popup, study, the menu.
#include <gtest/gtest.h>

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <fstream>

#include "app/hotkey/hotkey_manager.h"
#include "app/popup/popup_controller.h"
#include "app/popup/popup_view.h"
#include "app/popup/reverse_popup_view.h"
#include "app/progress/profile_window_controller.h"
#include "app/progress/quiz_window_controller.h"
#include "app/settings/settings_window.h"
#include "app/shell/localization.h"
#include "app/study/study_window_controller.h"
#include "app/tests/app_fixture.h"
#include "core/db/database.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/study/study_database.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

PopupView* lookupView(AppController& c) {
    return c.popup().panel() ? qobject_cast<PopupView*>(c.popup().panel()->content()) : nullptr;
}

QString shownMessage(AppController& c) {
    PopupView* v = lookupView(c);
    if (!v || !v->isMessage()) {
        return {};
    }
    return v->findChild<QLabel*>(QStringLiteral("message"))->text();
}

int64_t count(StudyDatabase& d, const std::string& sql) {
    db::Statement q(d.connection(), sql);
    return q.step() ? q.int64(0) : -1;
}

}  // namespace

TEST(AppLaunchTest, MissingDictionaryAlertsOnceThenRunsWithSettingsAboutAndQuit) {
    AppFixture f(false);
    AppController& c = f.start();
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("Thiếu dữ liệu"));
    EXPECT_TRUE(f.alerts.shown[0].second.startsWith(QStringLiteral("Không tìm thấy dict.sqlite")));
    EXPECT_EQ(c.lookup(), nullptr);
    EXPECT_EQ(c.studyStore(), nullptr);

    auto titles = f.menuTitles();
    ASSERT_EQ(titles.size(), 10u);
    EXPECT_EQ(titles[6], QStringLiteral("Cài đặt…"));
    EXPECT_TRUE(c.statusMenu()->actions()[6]->isEnabled());
    EXPECT_TRUE(c.statusMenu()->actions()[8]->isEnabled());
    EXPECT_TRUE(c.statusMenu()->actions()[9]->isEnabled());

    // The shortcut is registered but does nothing at all.
    f.pressWithSelection("傷寒");
    EXPECT_EQ(c.popup().panel(), nullptr);
    EXPECT_EQ(f.selection->copyKeystrokes, 0);

    c.statusMenu()->actions()[8]->trigger();  // About still works
    ASSERT_EQ(f.alerts.shown.size(), 2u);
    EXPECT_EQ(f.alerts.shown[1].first, QStringLiteral("Talvo (墨典)"));
    EXPECT_TRUE(f.alerts.shown[1].second.endsWith(QStringLiteral("Phiên bản đang chạy: 0.1.0")));
    c.statusMenu()->actions()[6]->trigger();
    EXPECT_TRUE(c.settingsWindow()->isVisible());
}

TEST(AppLaunchTest, UnreadableDictionaryIsADataError) {
    AppFixture f(false);
    {
        std::ofstream out(f.dir.file("dict.sqlite"));
        out << "this is not a database, it only has the name of one";
    }
    AppController& c = f.start();
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("Lỗi dữ liệu"));
    EXPECT_EQ(c.lookup(), nullptr);
}

TEST(AppLaunchTest, FreshInstallShowsOptionDNoticesAndSeedsStudy) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    AppController& c = f.start();
    EXPECT_TRUE(f.alerts.shown.empty());
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Look up (⌥D)"));
    ASSERT_TRUE(f.hotkey->registered);
    EXPECT_EQ(*f.hotkey->registered, HotkeyCombo::defaultCombo());
    EXPECT_EQ(f.notifier->shown.at("talvo.launch").body,
              "In the menu bar (墨). Select Hán text, then press ⌥D to look up.");
    ASSERT_TRUE(f.notifier->daily.count("talvo.study.daily"));
    EXPECT_EQ(f.notifier->daily["talvo.study.daily"].hour, 20);
    // Five seeded cards, all new: the badge and the reminder count them.
    ASSERT_NE(c.studyStore(), nullptr);
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (5)"));
    EXPECT_EQ(f.notifier->daily["talvo.study.daily"].notice.body,
              "5 thẻ chờ ôn. Học vài phút giữ chuỗi nhé.");
}

TEST(AppLaunchTest, RefusedNotificationsShowNothing) {
    AppFixture f;
    f.notificationsAllowed = false;
    f.start();
    EXPECT_TRUE(f.notifier->shown.empty());
    EXPECT_TRUE(f.notifier->daily.empty());
}

TEST(LookupFlowTest, SelectionDecidesForwardReverseOrMessage) {
    AppFixture f;
    AppController& c = f.start();

    f.pressWithSelection("đọc 傷寒論 đi");  // Vietnamese words are ignored
    PopupView* v = lookupView(c);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->rowCount(), 3);
    EXPECT_EQ(c.lastChars(), (std::vector<std::string>{"傷", "寒", "論"}));
    EXPECT_EQ(v->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Thương Hàn Luận"));
    EXPECT_TRUE(c.popup().panel()->windowTitle().contains(QStringLiteral("Thương Hàn Luận")));

    f.pressWithSelection("thương hàn");
    ASSERT_TRUE(c.popup().panel());
    EXPECT_NE(qobject_cast<ReversePopupView*>(c.popup().panel()->content()), nullptr);
    EXPECT_EQ(c.lastChars().size(), 3u);  // reverse lookups leave it

    f.pressWithSelection("thuong 2 han");
    EXPECT_EQ(shownMessage(c), QStringLiteral("Không có chữ Hán trong vùng chọn."));

    // Nothing selected anywhere and nothing copied: the capture times out.
    f.pressWithSelection("");
    EXPECT_EQ(shownMessage(c), QStringLiteral("Không đọc được vùng chọn. Thử lại."));
    EXPECT_EQ(f.selection->copyKeystrokes, 1);

    // Copied, but only blanks.
    f.selection->onCopyKeystroke = [&] {
        f.clipboard->write({{{QStringLiteral("text/plain"), QByteArray("   ")}}});
    };
    f.pressWithSelection("");
    EXPECT_EQ(shownMessage(c), QStringLiteral("Không có chữ Hán trong vùng chọn."));

    f.trust->trusted = false;
    f.pressWithSelection("傷");
    EXPECT_TRUE(shownMessage(c).startsWith(QStringLiteral("Chưa cấp quyền Accessibility")));
}

TEST(LookupFlowTest, ASecondPressDuringCaptureIsDropped) {
    AppFixture f;
    AppController& c = f.start();
    f.pump->at(f.pump->now() + 0.1, [&] { c.handleHotkey(); });
    f.pressWithSelection("");
    EXPECT_EQ(f.selection->copyKeystrokes, 1);
}

TEST(LookupFlowTest, OnlyOneCharacterLookupsWithAnEntryAreRecorded) {
    AppFixture f;
    std::vector<std::string> recorded;
    std::vector<std::string> features;
    f.online.recordLookup = [&](const std::string& zh) { recorded.push_back(zh); };
    f.online.feature = [&](const std::string& name) { features.push_back(name); };
    AppController& c = f.start();

    c.showLookup({"傷", "寒"});
    c.showLookup({"傷"});  // no full entry in this dictionary
    EXPECT_TRUE(recorded.empty());
    c.showLookup({"數"});
    EXPECT_EQ(recorded, (std::vector<std::string>{"數"}));
    EXPECT_EQ(features, (std::vector<std::string>{"lookup"}));
    EXPECT_EQ(count(*c.studyDatabase(), "SELECT n FROM lookup_history WHERE key = '數'"), 1);
    EXPECT_EQ(count(*c.studyDatabase(), "SELECT COUNT(*) FROM lookup_history"), 1);
}

TEST(LookupFlowTest, SavedReadingSticksAndTheSameCharactersComeBack) {
    AppFixture f;
    AppController& c = f.start();
    c.showLookup({"汗", "論"});
    PopupView* v = lookupView(c);
    v->beginEditing(0);
    ASSERT_NE(v->editor(), nullptr);
    EXPECT_EQ(v->editor()->text(), QStringLiteral("hãn, hàn"));
    v->editor()->setText(QStringLiteral("hàn"));
    emit v->editor()->returnPressed();
    QApplication::processEvents();

    PopupView* refreshed = lookupView(c);
    ASSERT_NE(refreshed, nullptr);
    EXPECT_NE(refreshed, v);
    EXPECT_EQ(refreshed->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Hàn Luận"));
    EXPECT_EQ(c.overrides()->readings("汗"), (std::vector<std::string>{"hàn"}));
    // A new program over the same data folder reads the correction too.
    f.controller.reset();
    AppController& again = f.start();
    again.showLookup({"汗"});
    EXPECT_EQ(lookupView(again)->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Hàn"));
}

TEST(LookupFlowTest, AddToStudyMakesACardRefreshesTheBadgeAndSyncs) {
    AppFixture f;
    int syncs = 0;
    f.online.syncStudy = [&] { ++syncs; };
    AppController& c = f.start();
    int syncsAtLaunch = syncs;
    StudyStore& study = *c.studyStore();

    // Every character with a reading was seeded; take this one out so the
    // lookup card is the one that makes it.
    ASSERT_TRUE(c.studyDatabase()->connection().exec("DELETE FROM card WHERE uid = 'char:數'"));
    c.showLookup({"數"});
    auto* add = lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy"));
    ASSERT_NE(add, nullptr);
    add->click();
    EXPECT_FALSE(add->isEnabled());
    auto card = study.cardByUid("char:數");
    ASSERT_TRUE(card);
    EXPECT_EQ(card->gloss, "① Số đếm.\n② Mạch sác.");
    EXPECT_EQ(card->am, c.lookup()->analyze({"數"}).amString());
    // Shown again, the lookup says it is in the deck already.
    c.showLookup({"數"});
    EXPECT_FALSE(lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy"))->isEnabled());

    c.addLookupToStudy(c.lookup()->analyze({"傷", "寒"}));
    card = study.cardByUid("phrase:傷寒");
    ASSERT_TRUE(card);
    EXPECT_EQ(card->gloss, "");  // several characters: no gloss
    EXPECT_EQ(syncs - syncsAtLaunch, 2);
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (6)"));

    // Without readings there is nothing to study.
    c.showLookup({"字"});
    EXPECT_EQ(lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy")), nullptr);
}

TEST(LookupFlowTest, TranslationWithoutAServiceFailsInThePopup) {
    AppFixture f;
    AppController& c = f.start();
    f.controller->localization().setLang(AppLanguage::en);
    c.showLookup({"傷", "寒"});
    lookupView(c)->findChild<QPushButton*>(QStringLiteral("translate"))->click();
    EXPECT_EQ(lookupView(c)->translationText(),
              QStringLiteral("Translation failed (network). Try again."));
}

TEST(MenuTest, ComboChangeRetitlesTheLookupRowAndRegistersOnce) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    AppController& c = f.start();
    QAction* lookupRow = c.statusMenu()->actions()[0];
    HotkeyCombo shiftCommandL{keycode::kL, carbon::kCommand | carbon::kShift};
    c.applyCombo(shiftCommandL);
    c.applyCombo(shiftCommandL);
    EXPECT_EQ(c.statusMenu()->actions()[0], lookupRow);  // retitled, not rebuilt
    EXPECT_EQ(lookupRow->text(), QStringLiteral("Look up (⇧⌘L)"));
    EXPECT_EQ(f.hotkey->registered, shiftCommandL);
    EXPECT_EQ(loadCombo(*f.settings), shiftCommandL);
    EXPECT_EQ(f.hotkey->registrations, 3);  // launch + two applies, one alive

    // A combo another program holds is kept and shown but never fires.
    HotkeyCombo taken{keycode::kA, carbon::kCommand};
    f.hotkey->refused.push_back(taken);
    c.applyCombo(taken);
    EXPECT_FALSE(f.hotkey->registered.has_value());
    EXPECT_EQ(lookupRow->text(), QStringLiteral("Look up (⌘A)"));
    EXPECT_EQ(loadCombo(*f.settings), taken);
}

TEST(MenuTest, LanguageChangeRebuildsTheMenuAndSavesTheLanguage) {
    AppFixture f;
    f.settings->setString("app.language", "fr");
    AppController& c = f.start();
    EXPECT_EQ(c.localization().lang(), AppLanguage::vi);
    EXPECT_EQ(f.menuTitles()[9], QStringLiteral("Thoát"));
    c.localization().setLang(AppLanguage::en);
    QApplication::processEvents();
    auto titles = f.menuTitles();
    EXPECT_EQ(titles[0], QStringLiteral("Look up (⌥D)"));
    EXPECT_EQ(titles[2], QStringLiteral("Học hôm nay (5)"));
    EXPECT_EQ(titles[3], QStringLiteral("Hồ sơ học tập"));
    EXPECT_EQ(titles[4], QStringLiteral("Lộ trình học"));
    EXPECT_EQ(titles[7], QStringLiteral("Check for Updates…"));
    EXPECT_EQ(titles[8], QStringLiteral("About / Credits"));
    EXPECT_EQ(f.settings->string("app.language"), "en");
}

TEST(MenuTest, StudyRowsReportUseAndOpenTheirWindows) {
    AppFixture f;
    std::vector<std::string> features;
    f.online.feature = [&](const std::string& name) { features.push_back(name); };
    AppController& c = f.start();
    for (int row : {2, 3, 4}) {
        c.statusMenu()->actions()[row]->trigger();
    }
    ASSERT_TRUE(c.studyWindow() && c.studyWindow()->window());
    EXPECT_TRUE(c.studyWindow()->window()->isVisible());
    ASSERT_TRUE(c.profileWindow() && c.profileWindow()->window());
    EXPECT_TRUE(c.profileWindow()->window()->isVisible());
    // Without a lessons feed there is no lessons window, only the report.
    EXPECT_EQ(c.lessonsWindow(), nullptr);
    EXPECT_EQ(features, (std::vector<std::string>{"study", "study_profile", "study_lessons"}));
    c.studyWindow()->window()->close();
    c.profileWindow()->window()->close();
}

TEST(MenuTest, StudyWindowsKeepTheBadgeTheProfileAndTheSessionInStep) {
    AppFixture f;
    int syncs = 0;
    f.online.syncStudy = [&] { ++syncs; };
    AppController& c = f.start();
    const QString before = f.menuTitles()[2];
    int syncsAtLaunch = syncs;
    c.openStudy();
    EXPECT_EQ(syncs, syncsAtLaunch + 1);  // opening the study window syncs
    c.openProfile();
    StudySession* session = c.studyWindow()->session();
    ASSERT_TRUE(session && session->card());
    session->reveal();
    ASSERT_TRUE(session->grade(Rating::Good));
    // One card fewer to study, counted at once in the menu and the profile.
    EXPECT_NE(f.menuTitles()[2], before);
    EXPECT_EQ(c.profileWindow()->stats().totalReviews, 1);

    // A sync that brought a review from another device: the session drops
    // the card that is no longer due.
    const std::string next = session->card()->uid;
    ASSERT_TRUE(c.studyStore()->grade(*session->card(), Rating::Easy));
    c.studySynced();
    ASSERT_TRUE(session->card());
    EXPECT_NE(session->card()->uid, next);
    EXPECT_EQ(c.profileWindow()->stats().totalReviews, 2);

    // The profile leads to the quiz and back to study.
    c.profileWindow()->onQuiz();
    ASSERT_TRUE(c.quizWindow()->window());
    EXPECT_TRUE(c.quizWindow()->window()->isVisible());
    for (QWidget* w :
         {c.studyWindow()->window(), c.profileWindow()->window(), c.quizWindow()->window()}) {
        w->close();
    }
}

TEST(MenuTest, RecordingInSettingsLetsGoOfTheGlobalShortcut) {
    AppFixture f;
    AppController& c = f.start();
    c.openSettings();
    c.settingsWindow()->model().startRecording();
    EXPECT_FALSE(f.hotkey->registered.has_value());
    c.settingsWindow()->model().handle({keycode::kF5, eventflags::kControl | eventflags::kOption});
    EXPECT_EQ(f.hotkey->registered,
              (HotkeyCombo{keycode::kF5, carbon::kControl | carbon::kOption}));
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Tra cứu (⌃⌥F5)"));
    c.settingsWindow()->close();
}

TEST(MenuTest, UpdateCheckSaysWhatTheFeedOffers) {
    AppFixture f;
    std::string fetched;
    f.online.fetch = [&](const std::string& url, OnlineHooks::FetchDone done) {
        fetched = url;
        done(std::string(
            R"(<rss xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel>)"
            R"(<item><sparkle:shortVersionString>0.2.0</sparkle:shortVersionString></item>)"
            R"(</channel></rss>)"));
    };
    AppController& c = f.start();
    c.checkForUpdates();
    EXPECT_EQ(f.alerts.shown.back().second,
              QStringLiteral("Chưa đặt địa chỉ máy chủ trong Cài đặt."));
    f.settings->setServiceUrl("https://talvo.example/");
    c.localization().setLang(AppLanguage::en);
    c.checkForUpdates();
    EXPECT_EQ(fetched, "https://talvo.example/appcast.xml");
    EXPECT_EQ(f.alerts.shown.back().second, QStringLiteral("A new version is available: 0.2.0."));
}
