// Start at login: turned on once by the first run of an installed copy, never
// put back after the user removed it, and the Settings switch over the file.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <filesystem>
#include <fstream>
#include <map>

#include "app/platform/hotkey/fake/fake_hotkey_backend.h"
#include "app/settings/settings_window.h"
#include "app/shell/localization.h"
#include "app/shell/start_at_login.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

using namespace talvo;
namespace fs = std::filesystem;

namespace {

constexpr const char* kId = "io.example.Talvo";

class StartAtLoginTest : public ::testing::Test {
  protected:
    StartAtLoginTest() : settings(dir.file("settings.ini")) {
        fs::create_directories(dir.file("usr/bin"));
        fs::create_directories(dir.file("build/bin"));
        std::ofstream(dir.file("build/CMakeCache.txt")) << "# cache\n";
    }

    // The entry for a program at `program`, with the config folder in the
    // scratch directory (never the real ~/.config).
    std::unique_ptr<AutostartEntry> entryFor(const std::string& program) {
        std::map<std::string, std::string> vars{{"XDG_CONFIG_HOME", dir.file("config")}};
        return startAtLoginEntry(
            [vars](const char* name) -> std::optional<std::string> {
                auto it = vars.find(name);
                return it == vars.end() ? std::nullopt : std::optional<std::string>(it->second);
            },
            program, kId);
    }
    std::string entryPath() const { return dir.file("config/autostart/io.example.Talvo.desktop"); }

    talvo::testing::TempDir dir;
    AppSettings settings;
};

}  // namespace

TEST_F(StartAtLoginTest, TheFirstInstalledRunTurnsItOnOnceAndNeverAgain) {
    auto entry = entryFor(dir.file("usr/bin/talvo"));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->path(), entryPath());

    EXPECT_TRUE(applyFirstRunStartAtLogin(settings, *entry));
    EXPECT_TRUE(entry->enabled());
    EXPECT_EQ(settings.integer(AppSettings::kAutostartDecidedKey), 1);

    // The user removes it with the desktop's own tools: later runs leave it so.
    fs::remove(entryPath());
    EXPECT_FALSE(applyFirstRunStartAtLogin(settings, *entry));
    EXPECT_FALSE(fs::exists(entryPath()));

    // A fresh settings file but an entry already there: kept, decision recorded.
    AppSettings fresh(dir.file("fresh.ini"));
    ASSERT_TRUE(entry->enable());
    EXPECT_FALSE(applyFirstRunStartAtLogin(fresh, *entry));
    EXPECT_TRUE(entry->enabled());
    EXPECT_EQ(fresh.integer(AppSettings::kAutostartDecidedKey), 1);
}

TEST_F(StartAtLoginTest, ABuildTreeCopyAndAFailedWriteDecideNothing) {
    auto dev = entryFor(dir.file("build/bin/talvo"));
    EXPECT_FALSE(applyFirstRunStartAtLogin(settings, *dev));
    EXPECT_FALSE(fs::exists(entryPath()));
    EXPECT_FALSE(settings.contains(AppSettings::kAutostartDecidedKey));

    // The autostart folder cannot be made: nothing recorded, so the next
    // start tries again.
    std::ofstream(dir.file("config")) << "not a folder";
    auto installed = entryFor(dir.file("usr/bin/talvo"));
    EXPECT_FALSE(applyFirstRunStartAtLogin(settings, *installed));
    EXPECT_FALSE(settings.contains(AppSettings::kAutostartDecidedKey));
    fs::remove(dir.file("config"));
    EXPECT_TRUE(applyFirstRunStartAtLogin(settings, *installed));

    // No HOME and no XDG_CONFIG_HOME: nowhere to write, no entry at all.
    EXPECT_EQ(startAtLoginEntry([](const char*) { return std::optional<std::string>(); },
                                "/usr/bin/talvo", kId),
              nullptr);
}

TEST_F(StartAtLoginTest, TheSettingsSwitchWritesAndRemovesTheEntry) {
    Localization l10n(settings);
    FakeHotkeyBackend keys;
    SettingsWindow window(keys, l10n, settings, {});
    window.show({}, [](HotkeyAction, const HotkeyCombo&) {});
    auto* box = window.findChild<QCheckBox*>(QStringLiteral("startAtLogin"));
    auto* status = window.findChild<QLabel*>(QStringLiteral("startAtLoginStatus"));
    ASSERT_NE(box, nullptr);
    EXPECT_FALSE(box->isVisible());  // no entry given: no switch

    auto entry = entryFor(dir.file("build/bin/talvo"));
    window.setStartAtLogin(entry.get());
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->text(), QStringLiteral("Khởi động cùng hệ thống"));
    EXPECT_FALSE(box->isChecked());

    // The user's click counts even from a build tree, and records the decision.
    box->click();
    EXPECT_TRUE(fs::exists(entryPath()));
    EXPECT_TRUE(box->isChecked());
    EXPECT_EQ(settings.integer(AppSettings::kAutostartDecidedKey), 1);
    box->click();
    EXPECT_FALSE(fs::exists(entryPath()));
    EXPECT_FALSE(box->isChecked());
    // So an installed copy's first run later does not put it back.
    EXPECT_FALSE(applyFirstRunStartAtLogin(settings, *entryFor(dir.file("usr/bin/talvo"))));
    EXPECT_FALSE(fs::exists(entryPath()));

    // Changed behind the window's back: shown as it is when the window opens.
    ASSERT_TRUE(entry->enable());
    window.show({}, [](HotkeyAction, const HotkeyCombo&) {});
    EXPECT_TRUE(box->isChecked());

    // A write that fails says where, in the interface language, and the
    // switch shows the file as it is.
    fs::remove(entryPath());
    fs::remove_all(dir.file("config"));
    std::ofstream(dir.file("config")) << "not a folder";
    l10n.setLang(AppLanguage::en);
    box->click();
    EXPECT_FALSE(box->isChecked());
    EXPECT_FALSE(status->isHidden());
    EXPECT_EQ(
        status->text(),
        QStringLiteral("Could not write or remove %1.").arg(QString::fromStdString(entryPath())));
    EXPECT_EQ(box->text(), QStringLiteral("Start at login"));
}
