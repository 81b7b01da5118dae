// The lookup road through the composed program: what a selection leads to,
// the guard against a second press, what a lookup records, and the popup's
// offers (a saved reading, the translation, adding to study).
#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>

#include "app/lookup/lookup_road.h"
#include "app/popup/popup_controller.h"
#include "app/popup/popup_view.h"
#include "app/popup/reverse_popup_view.h"
#include "app/shell/localization.h"
#include "app/tests/app_fixture.h"
#include "core/db/database.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

PopupView* lookupView(AppController& c) {
    KeyablePanel* panel = c.lookupRoad().popup().panel();
    return panel ? qobject_cast<PopupView*>(panel->content()) : nullptr;
}

QString shownMessage(AppController& c) {
    PopupView* v = lookupView(c);
    if (!v || !v->isMessage()) {
        return {};
    }
    return v->findChild<QLabel*>(QStringLiteral("message"))->text();
}

int64_t count(StudyDatabase& s, const std::string& sql) {
    db::Statement q(s.connection(), sql);
    return q.step() ? q.int64(0) : -1;
}

}  // namespace

TEST(LookupFlowTest, SelectionDecidesForwardReverseOrMessage) {
    AppFixture f;
    AppController& c = f.start();

    f.pressWithSelection("đọc 傷寒論 đi");  // Vietnamese words are ignored
    PopupView* v = lookupView(c);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->rowCount(), 3);
    EXPECT_EQ(c.lookupRoad().lastChars(), (std::vector<std::string>{"傷", "寒", "論"}));
    EXPECT_EQ(v->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Thương Hàn Luận"));
    EXPECT_TRUE(
        c.lookupRoad().popup().panel()->windowTitle().contains(QStringLiteral("Thương Hàn Luận")));

    f.pressWithSelection("thương hàn");
    ASSERT_TRUE(c.lookupRoad().popup().panel());
    EXPECT_NE(qobject_cast<ReversePopupView*>(c.lookupRoad().popup().panel()->content()), nullptr);
    EXPECT_EQ(c.lookupRoad().lastChars().size(), 3u);  // reverse lookups leave it

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

TEST(LookupFlowTest, TheLookupCommandRunsTheShortcutsAction) {
    // `talvo --lookup` reaches the running program as a "lookup" request:
    // what a desktop binds a key to where no program may grab one.
    AppFixture f;
    AppController& c = f.start();
    f.selection->primary = "傷寒";
    c.handleRequest("lookup");
    QApplication::processEvents();
    PopupView* v = lookupView(c);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(c.lookupRoad().lastChars(), (std::vector<std::string>{"傷", "寒"}));

    // In a terminal with nothing selected: the message, and no keystroke.
    f.selection->primary.reset();
    f.selection->terminal = true;
    c.handleRequest("lookup");
    QApplication::processEvents();
    EXPECT_EQ(shownMessage(c), QStringLiteral("Không đọc được vùng chọn. Thử lại."));
    EXPECT_EQ(f.selection->copyKeystrokes, 0);
}

TEST(LookupFlowTest, WhereTheSelectionIsReadableOnlyWhenFocusedThePanelComesFirst) {
    // GNOME on Wayland: the selection shows only to the focused client, so
    // the panel opens, takes focus and is then filled, the same window.
    AppFixture f;
    AppController& c = f.start();
    f.selection->focusedOnly = true;
    std::vector<QString> titles;
    QObject::connect(&c.lookupRoad().popup(), &PopupController::shown,
                     [&] { titles.push_back(c.lookupRoad().popup().panel()->windowTitle()); });
    QPointer<KeyablePanel> busy;
    f.pump->at(f.pump->now() + 0.005, [&] { busy = c.lookupRoad().popup().panel(); });
    f.pressWithSelection("傷寒");
    ASSERT_EQ(titles.size(), 2u);
    EXPECT_EQ(titles[0], QStringLiteral("Talvo — Đang đọc vùng chọn…"));
    EXPECT_TRUE(titles[1].startsWith(QStringLiteral("Talvo — 傷寒")));
    EXPECT_EQ(busy, c.lookupRoad().popup().panel());
    EXPECT_EQ(c.lookupRoad().lastChars(), (std::vector<std::string>{"傷", "寒"}));
    EXPECT_EQ(f.selection->copyKeystrokes, 0);
}

TEST(LookupFlowTest, ASecondPressDuringCaptureIsDropped) {
    AppFixture f;
    AppController& c = f.start();
    f.pump->at(f.pump->now() + 0.1, [&] { c.lookupRoad().handleHotkey(); });
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

    c.lookupRoad().showLookup({"傷", "寒"});
    c.lookupRoad().showLookup({"傷"});  // no full entry in this dictionary
    EXPECT_TRUE(recorded.empty());
    c.lookupRoad().showLookup({"數"});
    EXPECT_EQ(recorded, (std::vector<std::string>{"數"}));
    EXPECT_EQ(features, (std::vector<std::string>{"lookup"}));
    EXPECT_EQ(count(*f.stores->studyDatabase(), "SELECT n FROM lookup_history WHERE key = '數'"),
              1);
    EXPECT_EQ(count(*f.stores->studyDatabase(), "SELECT COUNT(*) FROM lookup_history"), 1);
}

TEST(LookupFlowTest, SavedReadingSticksAndTheSameCharactersComeBack) {
    AppFixture f;
    AppController& c = f.start();
    c.lookupRoad().showLookup({"汗", "論"});
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
    EXPECT_EQ(f.stores->overrides()->readings("汗"), (std::vector<std::string>{"hàn"}));
    // A new program over the same data folder reads the correction too.
    f.controller.reset();
    AppController& again = f.start();
    again.lookupRoad().showLookup({"汗"});
    EXPECT_EQ(lookupView(again)->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Hàn"));
}

TEST(LookupFlowTest, AddToStudyMakesACardRefreshesTheBadgeAndSyncs) {
    AppFixture f;
    int syncs = 0;
    f.online.syncStudy = [&] { ++syncs; };
    AppController& c = f.start();
    int syncsAtLaunch = syncs;
    StudyStore& study = *f.stores->study();

    // Every character with a reading was seeded; take this one out so the
    // lookup card is the one that makes it.
    ASSERT_TRUE(
        f.stores->studyDatabase()->connection().exec("DELETE FROM card WHERE uid = 'char:數'"));
    c.lookupRoad().showLookup({"數"});
    auto* add = lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy"));
    ASSERT_NE(add, nullptr);
    add->click();
    EXPECT_FALSE(add->isEnabled());
    auto card = study.cardByUid("char:數");
    ASSERT_TRUE(card);
    EXPECT_EQ(card->gloss, "① Số đếm.\n② Mạch sác.");
    EXPECT_EQ(card->am, f.stores->lookup()->analyze({"數"}).amString());
    // Shown again, the lookup says it is in the deck already.
    c.lookupRoad().showLookup({"數"});
    EXPECT_FALSE(lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy"))->isEnabled());

    c.lookupRoad().addLookupToStudy(f.stores->lookup()->analyze({"傷", "寒"}));
    card = study.cardByUid("phrase:傷寒");
    ASSERT_TRUE(card);
    EXPECT_EQ(card->gloss,
              "傷: Bị thương.; 寒: Lạnh.");  // several characters: their words' glosses
    EXPECT_EQ(syncs - syncsAtLaunch, 2);
    EXPECT_EQ(f.menuTitles()[2], QStringLiteral("Học hôm nay (6)"));

    // Without readings there is nothing to study.
    c.lookupRoad().showLookup({"字"});
    EXPECT_EQ(lookupView(c)->findChild<QPushButton*>(QStringLiteral("addToStudy")), nullptr);
}

TEST(LookupFlowTest, TranslationWithoutAServiceFailsInThePopup) {
    AppFixture f;
    AppController& c = f.start();
    f.controller->localization().setLang(AppLanguage::en);
    c.lookupRoad().showLookup({"傷", "寒"});
    lookupView(c)->findChild<QPushButton*>(QStringLiteral("translate"))->click();
    EXPECT_EQ(lookupView(c)->translationText(),
              QStringLiteral("Translation failed (network). Try again."));
}
