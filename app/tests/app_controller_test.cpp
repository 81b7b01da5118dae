// The controller end to end over fake platform backends: launch with and
// without a dictionary, the settings window's hold on the shortcut, the
// update check.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>

#include <QPushButton>

#include <QAction>
#include <QMenu>
#include <fstream>

#include "app/hotkey/hotkey_manager.h"
#include "app/lookup/lookup_road.h"
#include "app/popup/popup_controller.h"
#include "app/settings/settings_window.h"
#include "app/shell/localization.h"
#include "app/tests/app_fixture.h"

using namespace talvo;
using namespace talvo::testing;

TEST(AppLaunchTest, MissingDictionaryAlertsOnceThenRunsWithSettingsAboutAndQuit) {
    AppFixture f(false);
    AppController& c = f.start();
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("Thiếu dữ liệu"));
    EXPECT_TRUE(f.alerts.shown[0].second.startsWith(QStringLiteral("Không tìm thấy dict.sqlite")));
    EXPECT_EQ(f.stores->lookup(), nullptr);
    EXPECT_EQ(f.stores->study(), nullptr);

    auto titles = f.menuTitles();
    ASSERT_EQ(titles.size(), 10u);
    EXPECT_EQ(titles[6], QStringLiteral("Cài đặt…"));
    EXPECT_TRUE(c.trayMenu().menu()->actions()[6]->isEnabled());
    EXPECT_TRUE(c.trayMenu().menu()->actions()[8]->isEnabled());
    EXPECT_TRUE(c.trayMenu().menu()->actions()[9]->isEnabled());

    // The shortcut is registered but does nothing at all.
    f.pressWithSelection("傷寒");
    EXPECT_EQ(c.lookupRoad().popup().panel(), nullptr);
    EXPECT_EQ(f.selection->copyKeystrokes, 0);

    c.trayMenu().menu()->actions()[8]->trigger();  // About still works
    ASSERT_EQ(f.alerts.shown.size(), 2u);
    EXPECT_EQ(f.alerts.shown[1].first, QStringLiteral("Talvo (墨典)"));
    EXPECT_TRUE(f.alerts.shown[1].second.endsWith(QStringLiteral("Phiên bản đang chạy: 0.1.0")));
    c.trayMenu().menu()->actions()[6]->trigger();
    EXPECT_TRUE(c.settingsWindow()->isVisible());
}

TEST(AppLaunchTest, UnreadableDictionaryIsADataError) {
    AppFixture f(false);
    {
        std::ofstream out(f.dir.file("dict.sqlite"));
        out << "this is not a database, it only has the name of one";
    }
    f.start();
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("Lỗi dữ liệu"));
    EXPECT_EQ(f.stores->lookup(), nullptr);
}

TEST(AppLaunchTest, FreshInstallShowsAltDNoticesAndSeedsStudy) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    f.start();
    EXPECT_TRUE(f.alerts.shown.empty());
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Look up (Alt+D)"));
    ASSERT_TRUE(f.hotkey->registered());
    EXPECT_EQ(*f.hotkey->registered(), HotkeyCombo::defaultCombo());
    EXPECT_EQ(f.notifier->shown.at("talvo.launch").body,
              "In the menu bar (墨). Select Hán text, then press Alt+D to look up.");
    ASSERT_TRUE(f.notifier->daily.count("talvo.study.daily"));
    EXPECT_EQ(f.notifier->daily["talvo.study.daily"].hour, 20);
    // Five seeded cards, all new: the badge and the reminder count them.
    ASSERT_NE(f.stores->study(), nullptr);
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (5)"));
    EXPECT_EQ(f.notifier->daily["talvo.study.daily"].notice.body,
              "5 thẻ chờ ôn. Học vài phút giữ chuỗi nhé.");
}

TEST(AppLaunchTest, WhatASessionCannotDoIsSaidOnceWithWhatToDo) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    f.shortcutByCommand = true;
    f.start();
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("Give Talvo a shortcut"));
    // Both commands, each on its own line, ready to copy.
    const QStringList lines = f.alerts.shown[0].second.split(QLatin1Char('\n'));
    EXPECT_TRUE(
        lines.contains(QCoreApplication::applicationFilePath() + QStringLiteral(" --lookup")))
        << f.alerts.shown[0].second.toStdString();
    EXPECT_EQ(lines.last(), QCoreApplication::applicationFilePath() + QStringLiteral(" --ocr"));

    // The next start of the program says nothing more.
    f.start();
    EXPECT_EQ(f.alerts.shown.size(), 1u);

    // An X11 session has nothing to say.
    AppFixture x11;
    x11.start();
    EXPECT_TRUE(x11.alerts.shown.empty());
}

TEST(AppLaunchTest, OnTheCommandRouteGnomesSettingsCanHoldTheKeyForUs) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    f.shortcutByCommand = true;
    f.offerDesktopBinding = true;
    AppController& c = f.start();
    // No key of ours yet: the menu and the notice name none.
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Look up (your bound key)"));
    EXPECT_NE(f.notifier->shown.at("talvo.launch").body.find("press your bound key"),
              std::string::npos);

    c.openSettings();
    SettingsWindow* w = c.settingsWindow();
    auto* bind = w->findChild<QCheckBox*>(QStringLiteral("desktopBinding"));
    ASSERT_NE(bind, nullptr);
    EXPECT_FALSE(bind->isHidden());
    EXPECT_EQ(bind->text(), QStringLiteral("Let GNOME run this command on Alt+D"));
    EXPECT_TRUE(w->findChild<QLabel*>(QStringLiteral("combo"))->isHidden());

    bind->click();
    EXPECT_EQ(f.desktopBinding->binding, "<Alt>d");
    EXPECT_TRUE(QString::fromStdString(f.desktopBinding->command).endsWith(" --lookup"));
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Look up (Alt+D)"));
    EXPECT_FALSE(w->findChild<QLabel*>(QStringLiteral("combo"))->isHidden());

    // A new combo moves the desktop's binding along.
    c.applyCombo(HotkeyAction::Lookup, {keycode::kL, carbon::kControl | carbon::kShift});
    EXPECT_EQ(f.desktopBinding->binding, "<Control><Shift>l");

    // Locked settings: said, and the box shows what is true.
    f.desktopBinding->refuse = true;
    bind->click();
    EXPECT_TRUE(bind->isChecked());
    EXPECT_EQ(f.desktopBinding->binding, "<Control><Shift>l");
    f.desktopBinding->refuse = false;
    bind->click();
    EXPECT_TRUE(f.desktopBinding->binding.empty());
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Look up (your bound key)"));
}

TEST(AppLaunchTest, TheScreenShortcutIsHeldSavedAndBoundInGnomeLikeTheLookups) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    AppController& c = f.start();
    EXPECT_EQ(f.hotkey->registered(HotkeyAction::ScreenText),
              HotkeyConfig::defaultCombo(HotkeyAction::ScreenText));
    // Its press and `talvo --ocr` both take a picture of the screen (the
    // desktop's dialog is cancelled here).
    f.capture->next.status = CaptureOutcome::Status::Cancelled;
    ASSERT_TRUE(f.hotkey->press(HotkeyAction::ScreenText));
    QApplication::processEvents();
    EXPECT_EQ(f.capture->captures, 1);
    c.handleRequest("ocr");
    EXPECT_EQ(f.capture->captures, 2);

    c.applyCombo(HotkeyAction::ScreenText, {keycode::kL, carbon::kControl | carbon::kOption});
    EXPECT_EQ(f.settings->integer("ocrHotkey.keyCode"), keycode::kL);
    EXPECT_EQ(f.settings->integer("ocrHotkey.carbonModifiers"), carbon::kControl | carbon::kOption);
    EXPECT_EQ(f.settings->integer("hotkey.keyCode"), std::nullopt);
    EXPECT_EQ(loadCombo(*f.settings, HotkeyAction::ScreenText),
              (HotkeyCombo{keycode::kL, carbon::kControl | carbon::kOption}));
    EXPECT_EQ(f.hotkey->registered(), HotkeyCombo::defaultCombo());

    // On the command route GNOME may hold its key too, running `--ocr`.
    AppFixture gnome;
    gnome.settings->setString("app.language", "en");
    gnome.shortcutByCommand = true;
    gnome.offerDesktopBinding = true;
    AppController& g = gnome.start();
    g.openSettings();
    auto* command = g.settingsWindow()->findChild<QLineEdit*>(QStringLiteral("screenTextCommand"));
    ASSERT_NE(command, nullptr);
    EXPECT_TRUE(command->text().endsWith(QStringLiteral(" --ocr")));
    auto* bind =
        g.settingsWindow()->findChild<QCheckBox*>(QStringLiteral("screenTextDesktopBinding"));
    ASSERT_NE(bind, nullptr);
    EXPECT_EQ(bind->text(), QStringLiteral("Let GNOME run this command on Alt+Shift+D"));
    bind->click();
    EXPECT_EQ(gnome.screenTextBinding->binding, "<Alt><Shift>d");
    EXPECT_TRUE(QString::fromStdString(gnome.screenTextBinding->command).endsWith(" --ocr"));
    EXPECT_TRUE(gnome.desktopBinding->binding.empty());  // the lookup's is its own
    g.applyCombo(HotkeyAction::ScreenText, {keycode::kL, carbon::kControl | carbon::kOption});
    EXPECT_EQ(gnome.screenTextBinding->binding, "<Control><Alt>l");
    g.settingsWindow()->close();
}

TEST(AppLaunchTest, WithoutATrayTheMenuLivesInAWindowThatALaunchBringsBack) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    f.trayAvailable = [] { return false; };
    AppController& c = f.start();
    QApplication::processEvents();  // the tray is looked for after the launch
    ASSERT_EQ(f.alerts.shown.size(), 1u);
    EXPECT_EQ(f.alerts.shown[0].first, QStringLiteral("No system tray"));
    QWidget* window = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (w->objectName() == QStringLiteral("menuWindow") && w->isVisible()) {
            window = w;
        }
    }
    ASSERT_NE(window, nullptr);
    QStringList buttons;
    QPushButton* settings = nullptr;
    for (QPushButton* b : window->findChildren<QPushButton*>(QStringLiteral("menuButton"))) {
        buttons << b->text();
        if (b->text() == QStringLiteral("Settings…")) {
            settings = b;
        }
    }
    EXPECT_TRUE(buttons.contains(QStringLiteral("Quit"))) << buttons.join(", ").toStdString();
    EXPECT_EQ(window->findChild<QLabel*>(QStringLiteral("menuLabel"))->text(),
              QStringLiteral("Look up (Alt+D)"));
    ASSERT_NE(settings, nullptr);
    settings->click();
    EXPECT_TRUE(c.settingsWindow()->isVisible());
    c.settingsWindow()->close();

    // Closed, then a plain launch: the window again, not Settings; the notice
    // is not repeated.
    window->close();
    c.handleRequest("menu");
    EXPECT_TRUE(window->isVisible());
    EXPECT_FALSE(c.settingsWindow()->isVisible());
    EXPECT_EQ(f.alerts.shown.size(), 1u);
    window->close();

    // With a tray a plain launch opens Settings.
    AppFixture tray;
    AppController& t = tray.start();
    QApplication::processEvents();
    t.handleRequest("menu");
    EXPECT_TRUE(t.settingsWindow()->isVisible());
    t.settingsWindow()->close();
    EXPECT_TRUE(tray.alerts.shown.empty());
}

TEST(AppLaunchTest, RefusedNotificationsShowNothing) {
    AppFixture f;
    f.notificationsAllowed = false;
    f.start();
    EXPECT_TRUE(f.notifier->shown.empty());
    EXPECT_TRUE(f.notifier->daily.empty());
}
TEST(MenuTest, RecordingInSettingsLetsGoOfTheGlobalShortcut) {
    AppFixture f;
    AppController& c = f.start();
    c.openSettings();
    c.settingsWindow()->model().startRecording();
    EXPECT_FALSE(f.hotkey->registered().has_value());
    c.settingsWindow()->model().handle({keycode::kF5, eventflags::kControl | eventflags::kOption});
    EXPECT_EQ(f.hotkey->registered(),
              (HotkeyCombo{keycode::kF5, carbon::kControl | carbon::kOption}));
    EXPECT_EQ(f.menuTitles()[0], QStringLiteral("Tra cứu (Ctrl+Alt+F5)"));
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
