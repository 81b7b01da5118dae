// The desktop shell's pure rules: shortcut values and their display, key code
// tables, popup size and placement, the status menu, notices, version order.
#include <gtest/gtest.h>

#include "core/study/study_card.h"
#include "core/ui/hotkey_combo.h"
#include "core/ui/key_codes.h"
#include "core/ui/lookup_text.h"
#include "core/ui/popup_geometry.h"
#include "core/ui/shell_texts.h"
#include "core/ui/status_menu.h"
#include "core/ui/terminal_windows.h"

using namespace talvo;

namespace {
HotkeyConfig::CharacterForKey usLayout() {
    return keycodes::usLayoutCharacter;
}
}  // namespace

TEST(HotkeyConfigTest, LoadFallsBackToOptionDExactlyWhenTheStoreSaysNothingUsable) {
    EXPECT_EQ(HotkeyConfig::load(false, std::nullopt, std::nullopt), HotkeyCombo::defaultCombo());
    EXPECT_EQ(HotkeyConfig::load(false, 5, 0x100), HotkeyCombo::defaultCombo());
    // Key code 0 is the A key, a valid choice.
    EXPECT_EQ(HotkeyConfig::load(true, 0, 0x100), (HotkeyCombo{0, 0x100}));
    // No modifiers: the stored key is dropped with them.
    EXPECT_EQ(HotkeyConfig::load(true, 37, 0), HotkeyCombo::defaultCombo());
    EXPECT_EQ(HotkeyConfig::load(true, 37, std::nullopt), HotkeyCombo::defaultCombo());
    // A key code that is present but unreadable reads as 0.
    EXPECT_EQ(HotkeyConfig::load(true, std::nullopt, 0x200), (HotkeyCombo{0, 0x200}));
    EXPECT_EQ(HotkeyConfig::load(true, -1, 0x100), HotkeyCombo::defaultCombo());
    EXPECT_EQ(HotkeyConfig::load(true, 2, 0x1'0000'0000), HotkeyCombo::defaultCombo());

    // The screen's shortcut falls back to its own default, Option-Shift-D.
    const HotkeyCombo screen = HotkeyConfig::defaultCombo(HotkeyAction::ScreenText);
    EXPECT_EQ(screen, (HotkeyCombo{keycode::kD, carbon::kOption | carbon::kShift}));
    EXPECT_EQ(HotkeyConfig::load(false, std::nullopt, std::nullopt, screen), screen);
    EXPECT_EQ(HotkeyConfig::load(true, 37, 0, screen), screen);
    EXPECT_EQ(HotkeyConfig::load(true, 37, 0x100, screen), (HotkeyCombo{37, 0x100}));
    EXPECT_EQ(HotkeyConfig::displayForm(screen, usLayout(), KeyStyle::pc), "Alt+Shift+D");
}

TEST(HotkeyConfigTest, PcDesktopsReadModifierNamesInTheirOwnOrder) {
    using HotkeyConfig::displayForm;
    const KeyStyle pc = KeyStyle::pc;
    // The macOS forms of the same combos are the glyph table above.
    const std::pair<HotkeyCombo, const char*> rows[] = {
        {HotkeyCombo::defaultCombo(), "Alt+D"},
        {{keycode::kL, carbon::kControl | carbon::kShift}, "Ctrl+Shift+L"},
        {{keycode::kD, carbon::kCommand}, "Super+D"},
        {{keycode::kF5, 0x1900}, "Ctrl+Alt+Super+F5"},
        {{keycode::kEscape, carbon::kShift}, "Shift+Esc"},
        {{36, carbon::kControl}, "Ctrl+Enter"},
        {{123, carbon::kOption | carbon::kShift}, "Alt+Shift+Left"},
        {{0xFFFF, carbon::kOption}, "Alt+key65535"},
    };
    for (const auto& [combo, form] : rows) {
        EXPECT_EQ(displayForm(combo, usLayout(), pc), form);
    }
    EXPECT_EQ(HotkeyConfig::modifierList(pc), "Ctrl, Alt, Shift, Super");
    EXPECT_EQ(HotkeyConfig::modifierList(KeyStyle::mac), "⌘ ⌥ ⌃ ⇧");
#ifdef __APPLE__
    EXPECT_EQ(kNativeKeyStyle, KeyStyle::mac);
#else
    EXPECT_EQ(kNativeKeyStyle, pc);
#endif
}

TEST(HotkeyConfigTest, ThePortalGetsModifierNamesAndAKeysymName) {
    using HotkeyConfig::portalTrigger;
    EXPECT_EQ(portalTrigger(HotkeyCombo::defaultCombo()), "ALT+d");
    EXPECT_EQ(portalTrigger({keycode::kL, carbon::kControl | carbon::kShift}), "CTRL+SHIFT+l");
    EXPECT_EQ(portalTrigger({keycode::kF5, 0x1900}), "CTRL+ALT+LOGO+F5");
    EXPECT_EQ(portalTrigger({49, carbon::kCommand}), "LOGO+space");
    EXPECT_EQ(portalTrigger({53, carbon::kShift}), "SHIFT+Escape");
    EXPECT_EQ(portalTrigger({0x2B, carbon::kOption}), "ALT+comma");
    EXPECT_EQ(portalTrigger({0x12, carbon::kOption}), "ALT+1");
    // No keysym name here: the desktop lets the user pick the key.
    EXPECT_EQ(portalTrigger({0x53, carbon::kOption}), std::nullopt);  // keypad 1
    EXPECT_EQ(portalTrigger({0x0A, carbon::kOption}), std::nullopt);  // ISO "<" key
    EXPECT_EQ(portalTrigger({0xFFFF, carbon::kOption}), std::nullopt);

    // GNOME's keyboard settings take the same key as a GTK accelerator.
    using HotkeyConfig::gtkAccelerator;
    EXPECT_EQ(gtkAccelerator(HotkeyCombo::defaultCombo()), "<Alt>d");
    EXPECT_EQ(gtkAccelerator({keycode::kF5, 0x1B00}), "<Control><Alt><Shift><Super>F5");
    EXPECT_EQ(gtkAccelerator({0x53, carbon::kOption}), std::nullopt);
}

TEST(HotkeyConfigTest, DisplayFormOrdersModifiersAndNamesKeys) {
    EXPECT_EQ(HotkeyConfig::symbols(0), "");
    EXPECT_EQ(HotkeyConfig::symbols(0x100 | 0x200 | 0x800 | 0x1000), "⌃⌥⇧⌘");
    EXPECT_EQ(HotkeyConfig::displayForm(HotkeyCombo::defaultCombo(), usLayout()), "⌥D");
    EXPECT_EQ(HotkeyConfig::displayForm({keycode::kL, 0x100 | 0x200}, usLayout()), "⇧⌘L");
    EXPECT_EQ(HotkeyConfig::displayForm({keycode::kF5, 0x1900}, usLayout()), "⌃⌥⌘F5");
    EXPECT_EQ(HotkeyConfig::keyName(49, usLayout()), "Space");
    EXPECT_EQ(HotkeyConfig::keyName(53, usLayout()), "⎋");
    EXPECT_EQ(HotkeyConfig::namedKeys().size(), 22u);
    // The layout decides: key 2 on a layout that types "đ" there.
    EXPECT_EQ(HotkeyConfig::keyName(2, [](uint32_t) { return std::optional<std::string>("đ"); }),
              "Đ");
    EXPECT_EQ(HotkeyConfig::keyName(50, [](uint32_t) { return std::nullopt; }), "key50");
    EXPECT_EQ(HotkeyConfig::keyName(50, nullptr), "key50");
}

TEST(HotkeyConfigTest, ModifierFlagsConvertBitByBitAndIgnoreOthers) {
    EXPECT_EQ(HotkeyConfig::carbonModifiers(eventflags::kShift), carbon::kShift);
    EXPECT_EQ(HotkeyConfig::carbonModifiers(eventflags::kControl), carbon::kControl);
    EXPECT_EQ(HotkeyConfig::carbonModifiers(eventflags::kOption), carbon::kOption);
    EXPECT_EQ(HotkeyConfig::carbonModifiers(eventflags::kCommand), carbon::kCommand);
    EXPECT_EQ(HotkeyConfig::carbonModifiers(eventflags::kControl | eventflags::kOption |
                                            eventflags::kCommand | 0x10000 | 0x800000),
              0x1900u);
}

TEST(KeyCodesTest, EvdevTableIsABijectionOverTheShortcutKeys) {
    int mapped = 0;
    for (uint32_t code = 0; code < 128; ++code) {
        if (auto evdev = keycodes::evdevFromKeyCode(code)) {
            ++mapped;
            EXPECT_EQ(keycodes::keyCodeFromEvdev(*evdev), code) << code;
        }
    }
    EXPECT_GT(mapped, 90);
    EXPECT_EQ(keycodes::evdevFromKeyCode(keycode::kD), 32u);      // KEY_D
    EXPECT_EQ(keycodes::evdevFromKeyCode(keycode::kF5), 63u);     // KEY_F5
    EXPECT_EQ(keycodes::evdevFromKeyCode(keycode::kEscape), 1u);  // KEY_ESC
    EXPECT_EQ(keycodes::evdevFromKeyCode(126), 103u);             // KEY_UP
    EXPECT_FALSE(keycodes::evdevFromKeyCode(0x34).has_value());   // no such key
    EXPECT_EQ(keycodes::usLayoutCharacter(keycode::kC), "c");
    EXPECT_FALSE(keycodes::usLayoutCharacter(keycode::kF5).has_value());
}

TEST(PopupGeometryTest, ClampedSizeKeepsWithinBoundsWithLowerBoundsWinning) {
    using popup::clampedSize;
    EXPECT_EQ(clampedSize({200, 100}, 1000.0), (popup::Size{360, 200}));
    EXPECT_EQ(clampedSize({1000, 2000}, 1000.0), (popup::Size{640, 720}));
    EXPECT_EQ(clampedSize({500, 2000}, std::nullopt), (popup::Size{500, 648}));
    // A screen only 150 high: 0.72 × 150 = 108, but never below 200.
    EXPECT_EQ(clampedSize({500, 500}, 150.0), (popup::Size{500, 200}));
}

TEST(PopupGeometryTest, PlacementHangsBelowRightAndSlidesInsideTheVisibleFrame) {
    using popup::positionAtMouse;
    // One 1280 × 800 screen whose top 28 points are a panel.
    std::vector<popup::Screen> one{{{0, 0, 1280, 800}, {0, 28, 1280, 772}}};
    popup::Size size{400, 300};
    EXPECT_EQ(positionAtMouse({100, 100}, size, one, 0), (popup::Point{112, 112}));
    // Pointer 5 points from the right edge: the panel ends 8 points from it.
    popup::Point p = positionAtMouse({1275, 100}, size, one, 0);
    EXPECT_EQ(p.x + size.width, 1280 - 8);
    // Near the bottom: the bottom edge sits 8 above the visible bottom.
    p = positionAtMouse({100, 790}, size, one, 0);
    EXPECT_EQ(p.y + size.height, 800 - 8);
    // Near the top-left corner under the panel bar: kept 8 inside.
    EXPECT_EQ(positionAtMouse({-50, 0}, size, one, 0), (popup::Point{8, 36}));
    // Larger than the visible frame: 8 from the top and right edges.
    EXPECT_EQ(positionAtMouse({600, 400}, {1400, 900}, one, 0),
              (popup::Point{1280 - 1400 - 8, 36}));
    // No screen at all: at the pointer.
    EXPECT_EQ(positionAtMouse({5, 6}, size, {}, std::nullopt), (popup::Point{5, 6}));
}

TEST(PopupGeometryTest, PlacementStaysOnThePointersScreen) {
    // Main screen 1920 × 1080 at the origin; a second one to its right, lower.
    std::vector<popup::Screen> two{{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}},
                                   {{1920, 200, 1280, 1024}, {1920, 200, 1280, 1024}}};
    popup::Size size{400, 300};
    popup::Point p = popup::positionAtMouse({3190, 1210}, size, two, 0);
    EXPECT_EQ(p, (popup::Point{3200 - 400 - 8, 1224 - 300 - 8}));
    // The seam belongs to the screen it starts.
    EXPECT_EQ(popup::screenAt({1920, 500}, two, 0), 1u);
    // A pointer outside every screen uses the main one.
    EXPECT_EQ(popup::screenAt({-10, -10}, two, 0), 0u);
    EXPECT_EQ(popup::positionAtMouse({-10, -10}, size, two, 0), (popup::Point{8, 8}));
}

TEST(PopupGeometryTest, WithoutAPointerThePanelSitsCentredInTheUpperThird) {
    // A second screen at an offset, its top 30 points taken by a bar.
    popup::Screen screen{{1920, 0, 1200, 900}, {1920, 30, 1200, 870}};
    popup::Point p = popup::positionInUpperThird({400, 300}, screen);
    EXPECT_EQ(p, (popup::Point{1920 + 400, 30 + 145}));
    // A tall panel slides up to keep its bottom margin, never above the top.
    EXPECT_EQ(popup::positionInUpperThird({400, 800}, screen).y, 900 - 800 - 8);
    EXPECT_EQ(popup::positionInUpperThird({1300, 900}, screen), (popup::Point{1928, 38}));
}

TEST(StatusMenuTest, RowsFollowTheLanguageButStudyRowsStayVietnamese) {
    StudySummary s;
    s.dueReviews = 3;
    s.newRemaining = 15;
    auto en = statusMenuRows(AppLanguage::en, "⌥D", s);
    ASSERT_EQ(en.size(), 10u);
    EXPECT_EQ(en[0].title, "Look up (⌥D)");
    EXPECT_EQ(en[0].action, MenuAction::None);
    EXPECT_TRUE(en[1].separator);
    EXPECT_EQ(en[2].title, "Học hôm nay (18)");
    EXPECT_EQ(en[3].title, "Hồ sơ học tập");
    EXPECT_EQ(en[4].title, "Lộ trình học");
    EXPECT_TRUE(en[5].separator);
    EXPECT_EQ(en[6].title, "Settings…");
    EXPECT_EQ(en[6].shortcutKey, ',');
    EXPECT_EQ(en[7].title, "Check for Updates…");
    EXPECT_EQ(en[8].title, "About / Credits");
    EXPECT_EQ(en[9].title, "Quit");
    EXPECT_EQ(en[9].shortcutKey, 'q');

    auto zh = statusMenuRows(AppLanguage::zh, "⇧⌘L", std::nullopt);
    EXPECT_EQ(zh[0].title, "查詢 (⇧⌘L)");
    EXPECT_EQ(zh[2].title, "Học hôm nay");  // no study store: no count
    EXPECT_EQ(zh[6].title, "設定…");
    EXPECT_EQ(zh[9].title, "結束");
    s = {};
    EXPECT_EQ(statusMenuRows(AppLanguage::vi, "⌥D", s)[2].title, "Học hôm nay");
    EXPECT_EQ(statusMenuRows(AppLanguage::vi, "⌥D", s)[0].title, "Tra cứu (⌥D)");
}

TEST(ShellTextsTest, NoticesFillTheShortcutAndTheDueCount) {
    NoticeText n = launchNotice(AppLanguage::en, "⌥D");
    EXPECT_EQ(n.title, "Talvo is running");
    EXPECT_EQ(n.body, "In the menu bar (墨). Select Hán text, then press ⌥D to look up.");
    EXPECT_EQ(launchNotice(AppLanguage::zh, "⌃F5").body, "在選單列（墨）。選取漢字後按 ⌃F5 查詢。");
    EXPECT_EQ(studyReminder(0).body, "Ôn từ Hán mỗi ngày giữ nhớ lâu.");
    EXPECT_EQ(studyReminder(-4).body, "Ôn từ Hán mỗi ngày giữ nhớ lâu.");
    EXPECT_EQ(studyReminder(23).body, "23 thẻ chờ ôn. Học vài phút giữ chuỗi nhé.");
    EXPECT_EQ(studyReminder(1).title, "Talvo — Học hôm nay");
}

TEST(ShellTextsTest, AboutTextCreditsEverySourceAndEndsWithTheVersion) {
    std::string t = aboutText(
        AppLanguage::en,
        {{"Thiều Chửu, Hán Việt tự điển (1942)", "public domain", "Thiều Chửu; digitised by X"},
         {"Unihan", "", ""}},
        "0.1.0");
    EXPECT_EQ(t.find("Offline Hán-Việt readings + classical Hán meanings.\n\n"), 0u);
    EXPECT_NE(t.find("• Thiều Chửu, Hán Việt tự điển (1942) — Thiều Chửu; digitised by X "
                     "(public domain)\n"),
              std::string::npos);
    EXPECT_NE(t.find("• Unihan\n"), std::string::npos);
    EXPECT_NE(t.find("Talvo's own edits"), std::string::npos);
    EXPECT_TRUE(t.ends_with("\n\nRunning version: 0.1.0"));
    std::string vi = aboutText(AppLanguage::vi, {}, "?");
    EXPECT_NE(vi.find("không ghi nguồn"), std::string::npos);
    EXPECT_TRUE(vi.ends_with("Phiên bản đang chạy: ?"));
}

TEST(VersionTest, ComparesLikeReleaseFeeds) {
    EXPECT_EQ(compareVersions("1.0", "1.0"), 0);
    EXPECT_EQ(compareVersions("1.0", "1.0.0"), -1);
    EXPECT_LT(compareVersions("0.9", "0.10"), 0);
    EXPECT_LT(compareVersions("1.0b1", "1.0"), 0);
    EXPECT_LT(compareVersions("1.0b1", "1.0b2"), 0);
    EXPECT_GT(compareVersions("1.0.1", "1.0b9"), 0);
    EXPECT_EQ(compareVersions("01.2", "1.2"), 0);
    EXPECT_GT(compareVersions("2.0", "1.99.99"), 0);

    EXPECT_EQ(updateVerdict("0.1.0", {"0.0.9", "0.2.0", "0.1.5"}).version, "0.2.0");
    EXPECT_EQ(updateVerdict("0.1.0", {"0.1.0"}).kind, UpdateVerdict::Kind::UpToDate);
    EXPECT_EQ(updateVerdict("0.1.0", {}).kind, UpdateVerdict::Kind::Failed);
    EXPECT_EQ(updateMessage(AppLanguage::en, updateVerdict("0.1.0", {"0.3"}), "0.1.0"),
              "A new version is available: 0.3.");
    EXPECT_EQ(updateMessage(AppLanguage::en, {UpdateVerdict::Kind::UpToDate, {}}, "0.1.0"),
              "You're up to date (0.1.0).");
}

TEST(TerminalWindowsTest, KnowsTerminalsByEitherClassName) {
    for (const char* t : {"xterm", "XTerm", "URxvt", "gnome-terminal-server", "Alacritty", "kitty",
                          "konsole", "St", "org.gnome.Console", "Xfce4-terminal"}) {
        EXPECT_TRUE(isTerminalWindowClass(t)) << t;
    }
    for (const char* t : {"firefox", "Navigator", "code", "libreoffice-writer", "", "stterm-ish"}) {
        EXPECT_FALSE(isTerminalWindowClass(t)) << t;
    }
}

TEST(LookupTextTest, PlainTextCarriesPhraseReadingsRowsAndEntry) {
    PhraseLookup one{"數", {{"數", {"số", "sổ"}, "Số đếm."}}, "① Số đếm.", "數"};
    EXPECT_EQ(lookupPlainText(one), "數\nSố\n\n數  số, sổ — Số đếm.\n\n① Số đếm.");
    PhraseLookup two{"傷字", {{"傷", {"thương"}, std::nullopt}, {"字", {}, "Chữ."}}, {}, {}};
    EXPECT_EQ(lookupPlainText(two), "傷字\nThương\n\n傷  thương\n字 — Chữ.");
    EXPECT_EQ(lookupPlainText(PhraseLookup::message("No.")), "No.");
    PhraseLookup worded = two;
    worded.words = {{"傷字", 0, 2, "thương tự", {}, {}, "wounded word", 3}};
    EXPECT_EQ(lookupPlainText(worded),
              "傷字\nThương\n\n傷字  thương tự — wounded word\n\n傷  thương\n字 — Chữ.");
    ReverseLookup r{"hàn xx", {{"hàn", {{"寒", {"hàn"}, {}}, {"汗", {"hãn"}, {}}}}, {"xx", {}}}};
    EXPECT_EQ(reversePlainText(r), "hàn: 寒 汗\nxx:");
    r.words = {{"寒xx", 0, 2, "hàn xx"}};
    EXPECT_EQ(reversePlainText(r), "hàn xx: 寒xx\nhàn: 寒 汗\nxx:");
}
