// Our entry in GNOME's keyboard settings, written through GSettings into a
// private keyfile (GNOME's own schemas, no session needed): the user's other
// custom shortcuts stay, ours is listed once, and a second process (the
// gsettings tool) reads what was written.
#include "app/platform/hotkey/gnome/gnome_keybinding.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <cstdio>
#include <string>

using namespace talvo;

namespace {

constexpr const char* kList = "org.gnome.settings-daemon.plugins.media-keys";
constexpr const char* kUsers =
    "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/";

std::string readWithTool(const std::string& args) {
    std::string out;
    std::array<char, 512> buf{};
    FILE* p = popen(("gsettings " + args + " 2>&1").c_str(), "r");
    if (!p) {
        return "popen failed";
    }
    while (fgets(buf.data(), buf.size(), p)) {
        out += buf.data();
    }
    pclose(p);
    return out;
}

}  // namespace

TEST(GnomeKeybindingTest, OursIsAddedOnceMovedAlongAndTakenOutLeavingTheUsersOwn) {
    char dir[] = "/tmp/talvo-gsettings-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    // Before GSettings is first used in this process: the backend is chosen once.
    setenv("GSETTINGS_BACKEND", "keyfile", 1);
    setenv("XDG_CONFIG_HOME", dir, 1);

    auto binding = GnomeKeybinding::create();
    if (!binding) {
        GTEST_SKIP() << "GNOME's media-keys schema is not installed (gnome-settings-daemon-common)";
    }
    GSettings* list = g_settings_new(kList);
    const gchar* users[] = {kUsers, nullptr};
    ASSERT_TRUE(g_settings_set_strv(list, "custom-keybindings", users));
    EXPECT_FALSE(binding->installed());

    ASSERT_TRUE(binding->install("/opt/talvo/bin/talvo --lookup", "<Alt>d"));
    ASSERT_TRUE(binding->install("/usr/bin/talvo --lookup", "<Control><Shift>l"));
    EXPECT_TRUE(binding->installed());
    EXPECT_EQ(binding->binding(), "<Control><Shift>l");
    const std::string path = GnomeKeybinding::kPath;
    EXPECT_EQ(readWithTool(std::string("get ") + kList + " custom-keybindings"),
              "['" + std::string(kUsers) + "', '" + path + "']\n");
    const std::string entry =
        "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding:" + path;
    EXPECT_EQ(readWithTool("get " + entry + " command"), "'/usr/bin/talvo --lookup'\n");
    EXPECT_EQ(readWithTool("get " + entry + " name"), "'Talvo'\n");

    // The screen's entry is a second one of ours, beside the lookup's.
    auto screen = GnomeKeybinding::create(HotkeyAction::ScreenText);
    ASSERT_TRUE(screen->install("/usr/bin/talvo --ocr", "<Alt><Shift>d"));
    const std::string screenPath = GnomeKeybinding::kScreenTextPath;
    EXPECT_EQ(readWithTool(std::string("get ") + kList + " custom-keybindings"),
              "['" + std::string(kUsers) + "', '" + path + "', '" + screenPath + "']\n");
    EXPECT_EQ(binding->binding(), "<Control><Shift>l");
    EXPECT_EQ(screen->binding(), "<Alt><Shift>d");

    ASSERT_TRUE(binding->remove());
    EXPECT_FALSE(binding->installed());
    EXPECT_TRUE(screen->installed());
    EXPECT_EQ(binding->binding(), "");
    EXPECT_EQ(readWithTool(std::string("get ") + kList + " custom-keybindings"),
              "['" + std::string(kUsers) + "', '" + screenPath + "']\n");
    EXPECT_EQ(readWithTool("get " + entry + " command"), "''\n");
    ASSERT_TRUE(screen->remove());
    g_object_unref(list);
}
