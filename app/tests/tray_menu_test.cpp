// The status menu: the lookup row follows the shortcut, the whole menu the
// language, and the study rows report and open their windows.
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>

#include "app/hotkey/hotkey_manager.h"
#include "app/progress/profile_window_controller.h"
#include "app/shell/localization.h"
#include "app/study/study_window_controller.h"
#include "app/study/study_windows.h"
#include "app/tests/app_fixture.h"

using namespace talvo;
using namespace talvo::testing;

TEST(MenuTest, ComboChangeRetitlesTheLookupRowAndRegistersOnce) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    AppController& c = f.start();
    QAction* lookupRow = c.trayMenu().menu()->actions()[0];
    HotkeyCombo shiftCommandL{keycode::kL, carbon::kCommand | carbon::kShift};
    c.applyCombo(HotkeyAction::Lookup, shiftCommandL);
    c.applyCombo(HotkeyAction::Lookup, shiftCommandL);
    EXPECT_EQ(c.trayMenu().menu()->actions()[0], lookupRow);  // retitled, not rebuilt
    EXPECT_EQ(lookupRow->text(), QStringLiteral("Look up (Shift+Super+L)"));
    EXPECT_EQ(f.hotkey->registered(), shiftCommandL);
    EXPECT_EQ(loadCombo(*f.settings), shiftCommandL);
    EXPECT_EQ(f.hotkey->registrations, 4);  // both at launch + two applies, one alive

    // A combo another program holds is kept and shown but never fires.
    HotkeyCombo taken{keycode::kA, carbon::kCommand};
    f.hotkey->refused.push_back(taken);
    c.applyCombo(HotkeyAction::Lookup, taken);
    EXPECT_FALSE(f.hotkey->registered().has_value());
    EXPECT_EQ(lookupRow->text(), QStringLiteral("Look up (Super+A)"));
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
    EXPECT_EQ(titles[0], QStringLiteral("Look up (Alt+D)"));
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
        c.trayMenu().menu()->actions()[row]->trigger();
    }
    ASSERT_TRUE(c.studyWindows().study() && c.studyWindows().study()->window());
    EXPECT_TRUE(c.studyWindows().study()->window()->isVisible());
    ASSERT_TRUE(c.studyWindows().profile() && c.studyWindows().profile()->window());
    EXPECT_TRUE(c.studyWindows().profile()->window()->isVisible());
    // Without a lessons feed there is no lessons window, only the report.
    EXPECT_EQ(c.studyWindows().lessons(), nullptr);
    EXPECT_EQ(features, (std::vector<std::string>{"study", "study_profile", "study_lessons"}));
    c.studyWindows().study()->window()->close();
    c.studyWindows().profile()->window()->close();
}
