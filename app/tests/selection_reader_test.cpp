// Selection capture over a scripted front application and clipboard.
#include <gtest/gtest.h>

#include "app/platform/selection/fake/fake_clipboard.h"
#include "app/platform/selection/fake/fake_selection_backend.h"
#include "app/selection/selection_reader.h"
#include "app/tests/fake_pump.h"

using namespace talvo;
using talvo::testing::FakePump;

namespace {

ClipboardSnapshot userClipboard() {
    return {{{QStringLiteral("text/plain"), QByteArray("user text")},
             {QStringLiteral("text/html"), QByteArray("<b>user</b> text")},
             {QStringLiteral("application/x-talvo-test"), QByteArray("\x00\x01\xff", 3)}}};
}

class SelectionReaderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        clipboard.write(userClipboard());
        baseChanges = clipboard.changes;
    }
    // The front application copies `text` `delay` seconds after the keystroke.
    void copiesAfter(double delay, ClipboardSnapshot copied) {
        backend.onCopyKeystroke = [this, delay, copied] {
            pump.at(pump.now() + delay, [this, copied] { clipboard.write(copied); });
        };
    }

    FakeSelectionBackend backend;
    FakeClipboard clipboard;
    FakePump pump;
    SelectionReader reader{backend, clipboard, pump};
    uint64_t baseChanges = 0;
};

}  // namespace

TEST_F(SelectionReaderTest, PrimarySelectionAnswersWithoutTouchingTheClipboard) {
    backend.primary = "傷寒論";
    SelectionResult r = reader.read(0.6);
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(*r.text, "傷寒論");
    EXPECT_EQ(backend.copyKeystrokes, 0);
    EXPECT_EQ(clipboard.changes, baseChanges);
    EXPECT_EQ(pump.waits, 0);
}

TEST_F(SelectionReaderTest, CopyFallbackReturnsTheTextAndPutsEveryFormatBack) {
    backend.primary = "";  // an empty PRIMARY is no selection
    copiesAfter(0.05, {{{QStringLiteral("text/plain"), QByteArray("  寒 ")}}});
    SelectionResult r = reader.read(0.6);
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(*r.text, "  寒 ");  // blanks are the caller's business
    EXPECT_EQ(backend.copyKeystrokes, 1);
    EXPECT_EQ(clipboard.contents, userClipboard());
    EXPECT_EQ(clipboard.restores, 1);
}

TEST_F(SelectionReaderTest, ClipboardChangeWithoutTextIsEmptyTextAndRestores) {
    copiesAfter(0.02, {{{QStringLiteral("image/png"), QByteArray("\x89PNG")}}});
    SelectionResult r = reader.read(0.6);
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.error, SelectionError::emptyText);
    EXPECT_EQ(clipboard.contents, userClipboard());

    copiesAfter(0.02, {{{QStringLiteral("text/plain"), QByteArray()}}});
    r = reader.read(0.6);
    EXPECT_EQ(r.error, SelectionError::emptyText);
    EXPECT_EQ(clipboard.contents, userClipboard());
}

TEST_F(SelectionReaderTest, NothingCopiedTimesOutAfterTheTimeoutAndLeavesTheClipboardAlone) {
    double start = pump.now();
    SelectionResult r = reader.read(0.6);
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.error, SelectionError::timedOut);
    EXPECT_NEAR(pump.now() - start, 0.6, 0.011);
    EXPECT_EQ(clipboard.contents, userClipboard());
    EXPECT_EQ(clipboard.changes, baseChanges);
}

TEST_F(SelectionReaderTest, EmptyClipboardComesBackEmpty) {
    clipboard.write({});
    copiesAfter(0.01, {{{QStringLiteral("text/plain"), QByteArray("傷")}}});
    SelectionResult r = reader.read(0.6);
    ASSERT_TRUE(r.ok());
    EXPECT_TRUE(clipboard.contents.formats.empty());
}

TEST_F(SelectionReaderTest, WaitsForModifiersAtMostFourTenthsOfASecond) {
    // Held for good: the keystroke goes out after 0.4 s anyway.
    backend.modifiersHeldNow = [] { return true; };
    double keystrokeAt = 0;
    backend.onCopyKeystroke = [&] { keystrokeAt = pump.now(); };
    double start = pump.now();
    reader.read(0.1);
    EXPECT_NEAR(keystrokeAt - start, 0.4, 0.011);

    // Released after 0.15 s: the keystroke follows at once.
    double releaseAt = pump.now() + 0.15;
    backend.modifiersHeldNow = [&] { return pump.now() < releaseAt; };
    start = pump.now();
    reader.read(0.1);
    EXPECT_NEAR(keystrokeAt - start, 0.15, 0.011);

    // Released before the shortcut was handled: no wait at all.
    backend.modifiersHeldNow = [] { return false; };
    start = pump.now();
    reader.read(0.1);
    EXPECT_EQ(keystrokeAt, start);
}

TEST_F(SelectionReaderTest, ATerminalIsReadThroughPrimaryOnlyAndNeverGetsAKeystroke) {
    backend.terminal = true;
    backend.primary = "數";
    SelectionResult r = reader.read(0.6);
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(*r.text, "數");

    // Nothing current in PRIMARY: the lookup ends at once, untouched.
    backend.modifiersHeldNow = [] { return true; };
    for (std::optional<std::string> primary :
         {std::optional<std::string>(), std::optional<std::string>("")}) {
        backend.primary = primary;
        double start = pump.now();
        r = reader.read(0.6);
        EXPECT_FALSE(r.ok());
        EXPECT_EQ(r.error, SelectionError::timedOut);
        EXPECT_EQ(pump.now(), start) << "no wait for modifiers or for a copy";
    }
    EXPECT_EQ(backend.copyKeystrokes, 0);
    EXPECT_EQ(clipboard.changes, baseChanges);
}
