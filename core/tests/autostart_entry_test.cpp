// The login entry: the Exec= quoting a launcher needs, the switches desktops
// write into an entry, and the file written and removed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "core/paths/autostart_entry.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
namespace fs = std::filesystem;

namespace {

paths::EnvLookup envOf(std::map<std::string, std::string> vars) {
    return [vars](const char* name) -> std::optional<std::string> {
        auto it = vars.find(name);
        if (it == vars.end()) {
            return std::nullopt;
        }
        return it->second;
    };
}

std::string readAll(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

TEST(AutostartTest, FolderFollowsXdgConfigHomeThenHome) {
    EXPECT_EQ(autostart::folder(envOf({{"XDG_CONFIG_HOME", "/x/cfg"}, {"HOME", "/home/a"}})),
              "/x/cfg/autostart");
    EXPECT_EQ(autostart::folder(envOf({{"HOME", "/home/a"}})), "/home/a/.config/autostart");
    EXPECT_EQ(autostart::folder(envOf({})), "");
}

TEST(AutostartTest, ExecQuotesOnlyWhatTheLauncherWouldInterpret) {
    EXPECT_EQ(autostart::execValue("/usr/bin/talvo"), "/usr/bin/talvo");
    // % starts a field code even outside quotes.
    EXPECT_EQ(autostart::execValue("/opt/100%/bin/talvo"), "/opt/100%%/bin/talvo");
    // A space splits arguments: the whole path is quoted.
    EXPECT_EQ(autostart::execValue("/home/an ha/.local/bin/talvo"),
              "\"/home/an ha/.local/bin/talvo\"");
    // Inside quotes ", `, $ and \ take a backslash, which the string escape
    // rule (applied first) doubles again.
    EXPECT_EQ(autostart::execValue("/tmp/a\"b$c`d\\e/talvo"),
              "\"/tmp/a\\\\\"b\\\\$c\\\\`d\\\\\\\\e/talvo\"");
    // What cannot be written at all.
    EXPECT_EQ(autostart::execValue("talvo"), "");
    EXPECT_EQ(autostart::execValue(""), "");
    EXPECT_EQ(autostart::execValue("/tmp/a\nb/talvo"), "");
    EXPECT_EQ(autostart::execValue("/tmp/\xff\xfe/talvo"), "");
}

TEST(AutostartTest, DesktopsSwitchAnEntryOffWithoutDeletingIt) {
    std::string ours = autostart::entryText("/usr/bin/talvo", "io.example.Talvo");
    EXPECT_TRUE(autostart::textEnabled(ours));
    EXPECT_NE(ours.find("\nExec=/usr/bin/talvo\n"), std::string::npos);
    EXPECT_NE(ours.find("\nIcon=io.example.Talvo\n"), std::string::npos);

    EXPECT_FALSE(autostart::textEnabled(ours + "Hidden=true\n"));
    EXPECT_FALSE(
        autostart::textEnabled("[Desktop Entry]\r\nX-GNOME-Autostart-enabled = false\r\n"));
    // The switches count only in the main group, and only as "true"/"false".
    EXPECT_TRUE(autostart::textEnabled(ours + "\n[Desktop Action x]\nHidden=true\n"));
    EXPECT_TRUE(autostart::textEnabled(ours + "Hidden=false\n"));
    // Not a desktop entry at all: the session manager ignores it.
    EXPECT_FALSE(autostart::textEnabled(""));
    EXPECT_FALSE(autostart::textEnabled("Exec=/usr/bin/talvo\n"));
    EXPECT_FALSE(autostart::textEnabled("\x89PNG\r\n\x1a\n\xff\xff"));
}

TEST(AutostartTest, EnableWritesTheFolderAndDisableRemovesTheFile) {
    talvo::testing::TempDir dir;
    std::string path = dir.file("config/autostart/io.example.Talvo.desktop");
    AutostartEntry entry(path, "/opt/Talvo 1/bin/talvo", "io.example.Talvo");
    EXPECT_FALSE(entry.enabled());

    ASSERT_TRUE(entry.enable());
    EXPECT_TRUE(entry.enabled());
    std::string text = readAll(path);
    EXPECT_NE(text.find("\nExec=\"/opt/Talvo 1/bin/talvo\"\n"), std::string::npos);
    EXPECT_NE(text.find("\nTryExec=/opt/Talvo 1/bin/talvo\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(path + ".new"));

    // An entry a desktop tool switched off is rewritten whole when turned on.
    std::ofstream(path, std::ios::app) << "Hidden=true\n";
    EXPECT_FALSE(entry.enabled());
    ASSERT_TRUE(entry.enable());
    EXPECT_TRUE(entry.enabled());

    ASSERT_TRUE(entry.disable());
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(entry.disable());  // nothing left to remove is not a failure
}

TEST(AutostartTest, FailuresComeBackAsReasonsAndLeaveTheOldFile) {
    talvo::testing::TempDir dir;
    std::string error;
    // A path the entry format cannot hold.
    AutostartEntry relative(dir.file("autostart/a.desktop"), "bin/talvo", "a");
    EXPECT_FALSE(relative.enable(&error));
    EXPECT_NE(error.find("bin/talvo"), std::string::npos);
    EXPECT_FALSE(fs::exists(dir.file("autostart")));

    // The folder's place is taken by a file.
    std::ofstream(dir.file("blocked")) << "x";
    AutostartEntry blocked(dir.file("blocked/a.desktop"), "/usr/bin/talvo", "a");
    error.clear();
    EXPECT_FALSE(blocked.enable(&error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(blocked.enabled());

    // The entry's place is taken by a folder with something in it: the
    // rename fails, the folder is untouched and no temporary file stays.
    fs::create_directories(dir.file("auto/a.desktop/keep"));
    AutostartEntry occupied(dir.file("auto/a.desktop"), "/usr/bin/talvo", "a");
    error.clear();
    EXPECT_FALSE(occupied.enable(&error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(fs::is_directory(dir.file("auto/a.desktop/keep")));
    EXPECT_FALSE(fs::exists(dir.file("auto/a.desktop.new")));
    EXPECT_FALSE(occupied.disable(&error));
}

TEST(AutostartTest, ABuildTreeIsRecognisedByItsCache) {
    talvo::testing::TempDir dir;
    fs::create_directories(dir.file("build/bin"));
    fs::create_directories(dir.file("usr/bin"));
    std::ofstream(dir.file("build/CMakeCache.txt")) << "# cache\n";
    EXPECT_TRUE(autostart::isBuildTree(dir.file("build/bin")));
    EXPECT_TRUE(autostart::isBuildTree(dir.file("build/bin/")));
    EXPECT_FALSE(autostart::isBuildTree(dir.file("usr/bin")));
    EXPECT_FALSE(autostart::isBuildTree(""));
}
