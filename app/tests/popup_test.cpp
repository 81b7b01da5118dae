// The popup panel and its content on the offscreen platform.
#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>

#include "app/platform/selection/fake/fake_clipboard.h"
#include "app/platform/selection/fake/fake_selection_backend.h"
#include "app/popup/popup_controller.h"
#include "app/popup/popup_view.h"
#include "app/popup/reverse_popup_view.h"
#include "app/shell/localization.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

using namespace talvo;

namespace {

PhraseLookup phrase() {
    return {
        "傷寒論",
        {{"傷", {"thương"}, "Bị thương."}, {"寒", {"hàn"}, "Lạnh."}, {"論", {"luận", "luân"}, {}}},
        {},
        {}};
}

void pressKey(QWidget* target, int key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    QKeyEvent press(QEvent::KeyPress, key, mods);
    QApplication::sendEvent(target, &press);
    QApplication::processEvents();
}

class PopupTest : public ::testing::Test {
  protected:
    PopupTest() : settings(dir.file("settings.ini")), l10n(settings) {
        l10n.setLang(AppLanguage::en);
        popup.mouseLocation = [] { return QPoint(100, 100); };
        popup.setReturnFocus(4242);
    }
    ~PopupTest() override {
        popup.close();
        QApplication::processEvents();
    }

    PopupView* view() const {
        return popup.panel() ? qobject_cast<PopupView*>(popup.panel()->content()) : nullptr;
    }

    talvo::testing::TempDir dir;
    AppSettings settings;
    Localization l10n;
    FakeClipboard clipboard;
    FakeSelectionBackend focus;
    PopupController popup{l10n, clipboard, &focus};
};

}  // namespace

TEST_F(PopupTest, EscapeAndTheCloseButtonCloseAndGiveFocusBack) {
    popup.show(phrase(), {});
    ASSERT_TRUE(popup.panel());
    EXPECT_TRUE(popup.panel()->isVisible());
    pressKey(popup.panel(), Qt::Key_Escape);
    EXPECT_EQ(popup.panel(), nullptr);
    EXPECT_EQ(focus.restoredFocus, 4242u);

    focus.restoredFocus = 0;
    popup.show(phrase(), {});
    view()->findChild<QToolButton*>(QStringLiteral("close"))->click();
    EXPECT_EQ(popup.panel(), nullptr);
    EXPECT_EQ(focus.restoredFocus, 4242u);

    // Closed by the window manager: forgotten at once, not left hidden for
    // the next lookup to trip over.
    popup.show(phrase(), {});
    popup.panel()->close();
    EXPECT_EQ(popup.panel(), nullptr);
}

TEST_F(PopupTest, LosingFocusClosesWithoutTakingFocusBack) {
    popup.show(phrase(), {});
    QApplication::processEvents();
    ASSERT_TRUE(popup.panel()->isActiveWindow());
    QWidget other;
    other.show();
    other.activateWindow();
    QApplication::processEvents();
    QApplication::processEvents();
    EXPECT_EQ(popup.panel(), nullptr);
    EXPECT_EQ(focus.restoredFocus, 0u);
}

TEST_F(PopupTest, OnePanelAtATime) {
    popup.show(phrase(), {});
    QPointer<KeyablePanel> first = popup.panel();
    popup.show(PhraseLookup::message("No Hán characters in the selection."), {});
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(first.isNull());
    ASSERT_TRUE(view());
    EXPECT_TRUE(view()->isMessage());
    // A message card is its text and a close button, nothing else.
    EXPECT_EQ(view()->findChildren<QPushButton*>().size(), 0);
    EXPECT_EQ(view()->findChild<QLabel*>(QStringLiteral("message"))->text(),
              QStringLiteral("No Hán characters in the selection."));
}

TEST_F(PopupTest, PanelIsClampedAndPlacedBesideThePointer) {
    popup.show(PhraseLookup::message("."), {});
    EXPECT_EQ(popup.panel()->size(), QSize(400, 200));  // the content's narrowest width
    EXPECT_EQ(popup.panel()->pos(), QPoint(112, 112));

    QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    popup.mouseLocation = [screen] { return screen.bottomRight() - QPoint(4, 4); };
    PhraseLookup many;
    for (int i = 0; i < 60; ++i) {
        many.chars.push_back({"字", {"tự"}, "Chữ viết; một gloss dài để chiếm chỗ trong hàng."});
        many.phrase += "字";
    }
    popup.show(many, {});
    QSize size = popup.panel()->size();
    EXPECT_EQ(size.height(), static_cast<int>(0.72 * screen.height()));
    EXPECT_LE(size.width(), 640);
    QRect frame = popup.panel()->geometry();
    EXPECT_EQ(frame.right() + 1, screen.right() + 1 - 8);
    EXPECT_EQ(frame.bottom() + 1, screen.bottom() + 1 - 8);
}

TEST_F(PopupTest, TranslationShowsItsStatesInTurn) {
    PopupActions::TranslateDone pending;
    std::string asked;
    PopupCallbacks callbacks;
    callbacks.onAITranslate = [&](const std::string& text, PopupActions::TranslateDone done) {
        asked = text;
        pending = std::move(done);
    };
    popup.show(phrase(), callbacks);
    auto* translate = view()->findChild<QPushButton*>(QStringLiteral("translate"));
    translate->click();
    EXPECT_EQ(asked, "傷寒論");
    EXPECT_EQ(view()->translationText(), QStringLiteral("Translating…"));
    EXPECT_FALSE(translate->isEnabled());
    pending(wire::TranslateResult::queued());
    EXPECT_EQ(view()->translationText(),
              QStringLiteral("Queued for translation — check back shortly."));
    EXPECT_TRUE(translate->isEnabled());
    translate->click();
    pending(wire::TranslateResult::translated("Bàn về bệnh thương hàn"));
    EXPECT_EQ(view()->translationText(), QStringLiteral("Bàn về bệnh thương hàn"));

    // An answer after the popup closed reaches nobody.
    translate->click();
    popup.close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    pending(wire::TranslateResult::failed());
}

TEST_F(PopupTest, ReadingEditorSavesOnReturnAndEscapeClosesOnlyTheEditor) {
    std::vector<std::pair<std::string, std::string>> saved;
    PopupCallbacks callbacks;
    callbacks.onSaveReading = [&](const std::string& ch, const std::string& text) {
        saved.emplace_back(ch, text);
    };
    popup.show(phrase(), callbacks);
    view()->beginEditing(2);
    ASSERT_NE(view()->editor(), nullptr);
    EXPECT_EQ(view()->editor()->text(), QStringLiteral("luận, luân"));
    pressKey(view()->editor(), Qt::Key_Escape);
    ASSERT_TRUE(popup.panel());
    EXPECT_FALSE(view()->isEditing());

    view()->beginEditing(1);
    view()->editor()->setText(QStringLiteral("hàn, hán"));
    pressKey(view()->editor(), Qt::Key_Return);
    EXPECT_EQ(saved, (std::vector<std::pair<std::string, std::string>>{{"寒", "hàn, hán"}}));
    // Without a save callback there is no editor to open.
    popup.show(phrase(), {});
    view()->beginEditing(0);
    EXPECT_FALSE(view()->isEditing());
}

TEST_F(PopupTest, CopyActionsPutPlainText) {
    popup.show(phrase(), {});
    view()->findChild<QPushButton*>(QStringLiteral("copyReadings"))->click();
    EXPECT_EQ(clipboard.text(), QStringLiteral("Thương Hàn Luận"));
    view()->findChild<QPushButton*>(QStringLiteral("copyCharacters"))->click();
    EXPECT_EQ(clipboard.text(), QStringLiteral("傷寒論"));
    view()->copyAll();
    EXPECT_TRUE(
        clipboard.text()->startsWith(QStringLiteral("傷寒論\nThương Hàn Luận\n\n傷  thương")));
}

TEST_F(PopupTest, APhraseLeadsWithItsWordsWhichOpenOntoTheirCharacters) {
    PhraseLookup p = phrase();
    p.words = {{"傷寒", 0, 2, "thương hàn", "bệnh cảm lạnh", "thieuchuu", "cold damage", 1445},
               {"論", 2, 1, "luận", {}, {}, {}, 100}};
    popup.show(p, {});
    ASSERT_EQ(view()->wordRowCount(), 2);
    EXPECT_EQ(view()->rowCount(), 3);  // the characters as before
    auto* word = view()->findChild<QWidget*>(QStringLiteral("word0"));
    ASSERT_TRUE(word);
    EXPECT_EQ(word->findChild<QPushButton*>(QStringLiteral("wordText"))->text(), "傷寒");
    EXPECT_TRUE(
        word->findChild<QLabel*>(QStringLiteral("wordReading"))->text().contains("thương hàn"));
    EXPECT_EQ(word->findChild<QLabel*>(QStringLiteral("wordGloss"))->text(), "bệnh cảm lạnh");

    // A click shows the word's characters, Enter hides them again.
    auto* text = word->findChild<QPushButton*>(QStringLiteral("wordText"));
    text->click();
    EXPECT_TRUE(view()->showsWordCharacters(0));
    EXPECT_EQ(word->findChild<QLabel*>(QStringLiteral("wordCharacters"))->text(),
              "傷  thương — Bị thương.\n寒  hàn — Lạnh.");
    pressKey(text, Qt::Key_Return);
    EXPECT_FALSE(view()->showsWordCharacters(0));

    // The readings line and its copy go by words.
    EXPECT_EQ(view()->findChild<QLabel*>(QStringLiteral("amString"))->text(), "Thương hàn Luận");
    view()->findChild<QPushButton*>(QStringLiteral("copyReadings"))->click();
    EXPECT_EQ(clipboard.text(), QStringLiteral("Thương hàn Luận"));

    // Words of one character each add nothing to the rows below.
    p.words = {{"傷", 0, 1, "thương"}, {"寒", 1, 1, "hàn"}, {"論", 2, 1, "luận"}};
    popup.show(p, {});
    EXPECT_EQ(view()->wordRowCount(), 0);
}

TEST_F(PopupTest, HugeSelectionsShowAFewHundredRowsAndSayHowManyMore) {
    PhraseLookup huge;
    for (int i = 0; i < 2000; ++i) {
        huge.chars.push_back({"寒", {"hàn"}, {}});
        huge.phrase += "寒";
    }
    popup.show(huge, {});
    EXPECT_EQ(view()->rowCount(), PopupView::kMaxRows);
    bool saysMore = false;
    for (QLabel* l : view()->findChildren<QLabel*>()) {
        saysMore |=
            l->text() == QStringLiteral("… and 1700 more characters (Copy all has them all).");
    }
    EXPECT_TRUE(saysMore);
}

TEST_F(PopupTest, DictionaryTextIsShownAsTextNeverAsMarkup) {
    PhraseLookup tricky{"字", {{"字", {"<b>tự</b>"}, "<img src=x> & gloss"}}, "<i>entry</i>", "字"};
    popup.show(tricky, {});
    QLabel* gloss = view()->findChild<QLabel*>(QStringLiteral("gloss"));
    EXPECT_EQ(gloss->textFormat(), Qt::PlainText);
    EXPECT_EQ(gloss->text(), QStringLiteral("<img src=x> & gloss"));
    EXPECT_TRUE(view()
                    ->findChild<QLabel*>(QStringLiteral("readings"))
                    ->text()
                    .contains(QStringLiteral("&lt;b&gt;tự&lt;/b&gt;")));
    EXPECT_EQ(view()->findChild<QLabel*>(QStringLiteral("fullEntry"))->textFormat(), Qt::PlainText);
}

TEST_F(PopupTest, ReverseCopiesACandidateOrSaysThereIsNone) {
    ReverseLookup found{"hàn", {{"hàn", {{"寒", {"hàn"}, "Lạnh."}, {"汗", {"hãn", "hàn"}, {}}}}}};
    popup.showReverse(found);
    auto* rv = qobject_cast<ReversePopupView*>(popup.panel()->content());
    ASSERT_TRUE(rv);
    auto candidates = rv->findChildren<QPushButton*>(QStringLiteral("candidate"));
    ASSERT_EQ(candidates.size(), 2);
    candidates[1]->click();
    EXPECT_EQ(clipboard.text(), QStringLiteral("汗"));

    // Whole words come first, and copy whole.
    ReverseLookup words{"thương hàn",
                        {{"thương", {{"傷", {"thương"}, {}}}}, {"hàn", {{"寒", {"hàn"}, {}}}}},
                        {{"傷寒", 0, 2, "thương hàn", {}, {}, "cold damage", 1445}}};
    popup.showReverse(words);
    rv = qobject_cast<ReversePopupView*>(popup.panel()->content());
    auto* word = rv->findChild<QPushButton*>(QStringLiteral("word"));
    ASSERT_TRUE(word);
    EXPECT_LT(word->mapTo(rv, QPoint()).y(),
              rv->findChild<QPushButton*>(QStringLiteral("candidate"))->mapTo(rv, QPoint()).y());
    word->click();
    EXPECT_EQ(clipboard.text(), QStringLiteral("傷寒"));

    popup.showReverse({"xyz", {{"xyz", {}}}});
    rv = qobject_cast<ReversePopupView*>(popup.panel()->content());
    EXPECT_EQ(rv->findChild<QLabel*>(QStringLiteral("noMatch"))->text(),
              QStringLiteral("No Hán character found for the reading “xyz”."));
}
