// Reading text off the screen, on the offscreen platform with a scripted
// capture and a scripted recogniser: the region overlay's geometry and its
// ways out, the panel that shows at once and fills in from the worker
// thread, corrections looked up again, and everything that can go wrong
// said in the panel or a message.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QScreen>
#include <QToolButton>

#include "app/lookup/lookup_road.h"
#include "app/ocr/recognition_view.h"
#include "app/ocr/region_selector.h"
#include "app/ocr/screen_text_road.h"
#include "app/popup/popup_controller.h"
#include "app/popup/popup_view.h"
#include "app/popup/reverse_popup_view.h"
#include "app/shell/localization.h"
#include "app/tests/app_fixture.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// Each pixel says where it is: red and green the low bits of x and y, blue
// their high bits.
QRgb code(int x, int y) {
    return qRgb(x & 255, y & 255, ((x >> 8) << 4) | (y >> 8));
}

QImage codedPicture(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.setPixel(x, y, code(x, y));
        }
    }
    return image;
}

bool waitUntil(const std::function<bool()>& done, int ms = 3000) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < ms) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return done();
}

void key(QWidget* to, int qtKey, const QString& text = QString()) {
    QKeyEvent press(QEvent::KeyPress, qtKey, Qt::NoModifier, text);
    QApplication::sendEvent(to, &press);
}

// The whole primary screen, as the toolkit would grab it.
CaptureOutcome wholeScreen() {
    const QRect g = QGuiApplication::primaryScreen()->geometry();
    return {CaptureOutcome::Status::Captured, {{codedPicture(g.width(), g.height()), g}}, false};
}

struct Selection {
    QImage region;
    QRectF onDesktop;
    int selected = 0;
    int cancelled = 0;
};

class RegionSelectorTest : public ::testing::Test {
  protected:
    RegionSelectorTest() : settings(dir.file("settings.ini")), l10n(settings), selector(l10n) {
        QObject::connect(&selector, &RegionSelector::selected,
                         [this](const QImage& r, const QRectF& rect) {
                             got.region = r;
                             got.onDesktop = rect;
                             ++got.selected;
                         });
        QObject::connect(&selector, &RegionSelector::cancelled, [this] { ++got.cancelled; });
    }

    TempDir dir;
    AppSettings settings;
    Localization l10n;
    RegionSelector selector;
    Selection got;
};

PopupView* hostedLookup(ScreenTextRoad& road) {
    RecognitionView* view = road.view();
    return view ? qobject_cast<PopupView*>(view->body()) : nullptr;
}

QString messageShown(AppController& c) {
    KeyablePanel* panel = c.lookupRoad().popup().panel();
    auto* view = panel ? qobject_cast<PopupView*>(panel->content()) : nullptr;
    if (!view || !view->isMessage()) {
        return {};
    }
    return view->findChild<QLabel*>(QStringLiteral("message"))->text();
}

}  // namespace

TEST_F(RegionSelectorTest, ADragInAnyDirectionCutsThePixelsUnderItAtTheScreensDensity) {
    // A second screen right of a first, at twice the density: its picture
    // has two pixels per logical one each way.
    selector.start({{codedPicture(1280, 800), QRect(1280, 0, 640, 400)}});
    ASSERT_TRUE(selector.isActive());
    ASSERT_EQ(selector.overlays().size(), 1u);
    EXPECT_TRUE(selector.overlays()[0]->isVisible());

    // Up and to the left.
    selector.press({1380, 100});
    selector.drag({1340, 80});
    EXPECT_EQ(selector.selection(), QRectF(1340, 80, 40, 20));
    selector.release({1300, 60});
    ASSERT_EQ(got.selected, 1);
    EXPECT_FALSE(selector.isActive());
    EXPECT_EQ(got.onDesktop, QRectF(1300, 60, 80, 40));
    ASSERT_EQ(got.region.size(), QSize(160, 80));
    EXPECT_EQ(got.region.pixel(0, 0), code(40, 120));
    EXPECT_EQ(got.region.pixel(159, 79), code(199, 199));

    // Down and to the right over the same place: the same pixels.
    selector.start({{codedPicture(1280, 800), QRect(1280, 0, 640, 400)}});
    selector.press({1300, 60});
    selector.release({1380, 100});
    ASSERT_EQ(got.selected, 2);
    EXPECT_EQ(got.region.size(), QSize(160, 80));
    EXPECT_EQ(got.region.pixel(0, 0), code(40, 120));

    // Through the overlay's own mouse handling, in its own coordinates.
    selector.start({{codedPicture(640, 400), QRect(1280, 0, 640, 400)}});
    QWidget* overlay = selector.overlays()[0];
    auto mouse = [&](QEvent::Type type, QPointF local, Qt::MouseButton button,
                     Qt::MouseButtons buttons) {
        QMouseEvent e(type, local, local + QPointF(1280, 0), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(overlay, &e);
    };
    mouse(QEvent::MouseButtonPress, {300, 200}, Qt::LeftButton, Qt::LeftButton);
    mouse(QEvent::MouseMove, {250, 150}, Qt::NoButton, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, {200, 100}, Qt::LeftButton, Qt::NoButton);
    ASSERT_EQ(got.selected, 3);
    EXPECT_EQ(got.region.size(), QSize(100, 100));
    EXPECT_EQ(got.region.pixel(0, 0), code(200, 100));
}

TEST_F(RegionSelectorTest, EscapeOrARightClickCancelsAndAClickSelectsNothing) {
    selector.start({{codedPicture(200, 100), QRect(0, 0, 200, 100)}});
    key(selector.overlays()[0], Qt::Key_Escape);
    EXPECT_EQ(got.cancelled, 1);
    EXPECT_FALSE(selector.isActive());
    QApplication::processEvents();

    selector.start({{codedPicture(200, 100), QRect(0, 0, 200, 100)}});
    QMouseEvent right(QEvent::MouseButtonPress, QPointF(5, 5), QPointF(5, 5), Qt::RightButton,
                      Qt::RightButton, Qt::NoModifier);
    QApplication::sendEvent(selector.overlays()[0], &right);
    EXPECT_EQ(got.cancelled, 2);
    EXPECT_EQ(got.selected, 0);

    // A click is a selection of nothing; the reader says so.
    selector.start({{codedPicture(200, 100), QRect(0, 0, 200, 100)}});
    selector.press({50, 50});
    selector.release({50, 50});
    EXPECT_EQ(got.selected, 1);
    EXPECT_TRUE(got.region.isNull());
    // Cancelling with nothing shown says nothing.
    selector.cancel();
    EXPECT_EQ(got.cancelled, 2);
}

TEST_F(RegionSelectorTest, APictureWithoutAPlaceIsFittedOnThePrimaryScreen) {
    // A portal's picture of a wider desktop than the screen.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const int width = screen.width() * 2;
    const int height = screen.height();  // half as tall for its width: letterboxed
    selector.start({{codedPicture(width, height), QRect()}});
    ASSERT_EQ(selector.overlays().size(), 1u);
    EXPECT_EQ(selector.overlays()[0]->geometry(), screen);
    // Drawn at half size, centred: a drag over its middle covers twice the pixels.
    const QPointF centre = QRectF(screen).center();
    selector.press(centre - QPointF(10, 10));
    selector.release(centre + QPointF(10, 10));
    ASSERT_EQ(got.selected, 1);
    EXPECT_EQ(got.region.size(), QSize(40, 40));
    EXPECT_EQ(got.region.pixel(0, 0), code(width / 2 - 20, height / 2 - 20));
}

TEST(ScreenTextFlowTest, TheShortcutDimsTheScreenAndThePanelShowsAtOnceThenFillsIn) {
    AppFixture f;
    AppController& c = f.start();
    ScreenTextRoad& road = c.screenText();
    // Nothing of the feature is made before it is used.
    EXPECT_EQ(road.selector(), nullptr);
    EXPECT_EQ(road.worker(), nullptr);
    EXPECT_EQ(f.recognizer->made, 0);

    f.capture->next = wholeScreen();
    f.recognizer->answerText("傷寒\n論", {2});
    f.recognizer->hold = true;
    ASSERT_TRUE(f.hotkey->press(HotkeyAction::ScreenText));
    QApplication::processEvents();
    ASSERT_NE(road.selector(), nullptr);
    ASSERT_TRUE(road.selector()->isActive());
    EXPECT_EQ(f.capture->captures, 1);
    // A second press while the region is chosen is the same request.
    c.handleRequest("ocr");
    EXPECT_EQ(f.capture->captures, 1);

    road.selector()->press({30, 40});
    road.selector()->release({230, 120});
    // At once: the panel, its picture of the region and a busy line.
    RecognitionView* view = road.view();
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(view->isBusy());
    EXPECT_EQ(view->statusText(), QStringLiteral("Đang đọc chữ…"));
    EXPECT_EQ(c.lookupRoad().popup().panel()->windowTitle(),
              QStringLiteral("Talvo — Đang đọc chữ…"));
    EXPECT_TRUE(view->findChild<QLabel*>(QStringLiteral("region")));
    ASSERT_TRUE(waitUntil([&] { return f.recognizer->working.load(); }));

    f.recognizer->hold = false;
    ASSERT_TRUE(waitUntil([&] { return hostedLookup(road) != nullptr; }));
    EXPECT_FALSE(view->isBusy());
    EXPECT_EQ(view->text(), QStringLiteral("傷寒論"));  // a column break is no break in the text
    EXPECT_EQ(view->uncertain(), (std::vector<bool>{false, false, true}));
    EXPECT_FALSE(view->findChild<QLabel*>(QStringLiteral("recognizedHint"))->isHidden());
    PopupView* lookup = hostedLookup(road);
    EXPECT_EQ(lookup->rowCount(), 3);
    EXPECT_EQ(lookup->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Thương Hàn Luận"));
    // The panel's own close serves; the lookup below has none of its own.
    EXPECT_EQ(lookup->findChild<QToolButton*>(QStringLiteral("close")), nullptr);
    EXPECT_EQ(c.lookupRoad().popup().panel()->windowTitle(),
              QStringLiteral("Talvo — 傷寒論 — Thương Hàn Luận"));
    {
        std::lock_guard lock(f.recognizer->mutex);
        ASSERT_EQ(f.recognizer->seen.size(), 1u);
        EXPECT_EQ(f.recognizer->seen[0], QSize(200, 80));
    }
    EXPECT_EQ(f.recognizer->made, 1);
    if (qEnvironmentVariableIsSet("TALVO_TEST_ARTIFACTS")) {
        c.lookupRoad().popup().panel()->grab().save(qEnvironmentVariable("TALVO_TEST_ARTIFACTS") +
                                                    QStringLiteral("/screen-text-panel.png"));
    }

    // Escape closes it like any popup; the next reading reuses the worker.
    key(c.lookupRoad().popup().panel(), Qt::Key_Escape);
    EXPECT_EQ(c.lookupRoad().popup().panel(), nullptr);
    road.readRegion(codedPicture(120, 40));
    ASSERT_TRUE(waitUntil([&] { return hostedLookup(road) != nullptr; }));
    EXPECT_EQ(f.recognizer->made, 1);
}

TEST(ScreenTextFlowTest, ACorrectedCharacterIsLookedUpAgainAndTheOtherMarksStay) {
    AppFixture f;
    AppController& c = f.start();
    ScreenTextRoad& road = c.screenText();
    f.recognizer->answerText("傷汗論", {1, 2});  // 汗 misread for 寒
    road.readRegion(codedPicture(300, 80));
    ASSERT_TRUE(waitUntil([&] { return hostedLookup(road) != nullptr; }));
    RecognitionView* view = road.view();
    QLineEdit* line = view->line();
    EXPECT_EQ(hostedLookup(road)->findChild<QLabel*>(QStringLiteral("amString"))->text(),
              QStringLiteral("Thương Hãn Luận"));

    // The user selects 汗 and types 寒; 論 keeps its mark, and the lookup
    // follows once typing pauses.
    line->setSelection(1, 1);
    key(line, 0, QStringLiteral("寒"));
    EXPECT_EQ(view->text(), QStringLiteral("傷寒論"));
    EXPECT_EQ(view->uncertain(), (std::vector<bool>{false, false, true}));
    ASSERT_TRUE(waitUntil([&] {
        PopupView* v = hostedLookup(road);
        return v && v->findChild<QLabel*>(QStringLiteral("amString"))->text() ==
                        QStringLiteral("Thương Hàn Luận");
    }));
    EXPECT_EQ(c.lookupRoad().lastChars(), (std::vector<std::string>{"傷", "寒", "論"}));

    // Enter looks up at once: Vietnamese syllables read in reverse below.
    line->setText(QStringLiteral("thương hàn"));
    key(line, Qt::Key_Return);
    ASSERT_NE(view->body(), nullptr);
    EXPECT_NE(qobject_cast<ReversePopupView*>(view->body()), nullptr);
    EXPECT_EQ(c.lookupRoad().popup().host(), view);

    // Nothing to look up: said under the line, the old lookup gone.
    line->setText(QStringLiteral("123"));
    key(line, Qt::Key_Return);
    EXPECT_EQ(view->body(), nullptr);
    EXPECT_EQ(view->statusText(), QStringLiteral("Dòng chữ này không có chữ Hán."));
    // The same text again is not looked up again.
    key(line, Qt::Key_Return);
    EXPECT_EQ(view->statusText(), QStringLiteral("Dòng chữ này không có chữ Hán."));

    // A reading saved from the hosted lookup refreshes it in place.
    line->setText(QStringLiteral("論"));
    key(line, Qt::Key_Return);
    PopupView* lookup = hostedLookup(road);
    ASSERT_NE(lookup, nullptr);
    lookup->beginEditing(0);
    lookup->editor()->setText(QStringLiteral("luân"));
    key(lookup->editor(), Qt::Key_Return);
    ASSERT_TRUE(waitUntil([&] {
        PopupView* v = hostedLookup(road);
        return v && v != lookup &&
               v->findChild<QLabel*>(QStringLiteral("amString"))->text() == QStringLiteral("Luân");
    }));
    EXPECT_EQ(c.lookupRoad().popup().host(), view);
}

TEST(ScreenTextFlowTest, WhatCannotBeReadIsSaidInThePanel) {
    AppFixture f;
    f.settings->setString("app.language", "en");
    AppController& c = f.start();
    ScreenTextRoad& road = c.screenText();
    auto readAndWait = [&](const ocr::RecognitionOutcome& outcome) {
        f.recognizer->answer(outcome);
        road.readRegion(codedPicture(100, 40));
        EXPECT_TRUE(waitUntil([&] { return road.view() && !road.view()->isBusy(); }));
        return road.view() ? road.view()->statusText() : QString();
    };
    ocr::RecognitionOutcome missing;
    missing.error = ocr::RecognitionError::ModelMissing;
    missing.missingPackage = "tesseract-ocr-chi-tra-vert";
    EXPECT_EQ(readAndWait(missing),
              QStringLiteral("The text recognition model is not installed. Install the package "
                             "tesseract-ocr-chi-tra-vert (sudo apt install "
                             "tesseract-ocr-chi-tra-vert)."));
    EXPECT_TRUE(road.view()->line()->isHidden());
    EXPECT_EQ(c.lookupRoad().popup().panel()->windowTitle(),
              QStringLiteral("Talvo — ") + road.view()->statusText());
    ocr::RecognitionOutcome bad;
    bad.error = ocr::RecognitionError::BadImage;
    EXPECT_EQ(
        readAndWait(bad),
        QStringLiteral("Couldn't read the picture of this region. Drag again, a little wider."));
    ocr::RecognitionOutcome none;
    none.error = ocr::RecognitionError::NoText;
    EXPECT_EQ(readAndWait(none), QStringLiteral("No Hán text found in this region."));
    // An answer with neither text nor reason reads as no text.
    EXPECT_EQ(readAndWait({}), QStringLiteral("No Hán text found in this region."));

    // A program built without the engine.
    AppFixture bare;
    bare.settings->setString("app.language", "en");
    bare.recognizer->engineMissing = true;
    AppController& b = bare.start();
    b.screenText().readRegion(codedPicture(100, 40));
    ASSERT_TRUE(waitUntil([&] { return !b.screenText().view()->isBusy(); }));
    EXPECT_EQ(b.screenText().view()->statusText(),
              QStringLiteral("This build of Talvo has no text recognition."));
}

TEST(ScreenTextFlowTest, TinyRegionsCancelsAndMissingScreenshotsAreSaidPlainly) {
    AppFixture f;
    AppController& c = f.start();
    ScreenTextRoad& road = c.screenText();
    f.capture->next = wholeScreen();

    // A click, then a one-pixel drag: said, and nothing is recognised.
    c.handleRequest("ocr");
    road.selector()->press({40, 40});
    road.selector()->release({40, 40});
    EXPECT_EQ(messageShown(c),
              QStringLiteral("Vùng chọn quá nhỏ. Kéo chuột bao quanh cả dòng chữ."));
    c.handleRequest("ocr");
    QApplication::processEvents();
    ASSERT_TRUE(waitUntil([&] { return road.selector()->isActive(); }));
    road.selector()->press({40, 40});
    road.selector()->release({41, 41});
    EXPECT_EQ(messageShown(c),
              QStringLiteral("Vùng chọn quá nhỏ. Kéo chuột bao quanh cả dòng chữ."));
    EXPECT_EQ(road.worker(), nullptr);

    // Escape over the dimmed screen: nothing at all.
    c.lookupRoad().popup().close();
    c.handleRequest("ocr");
    ASSERT_TRUE(road.selector()->isActive());
    key(road.selector()->overlays()[0], Qt::Key_Escape);
    EXPECT_FALSE(road.selector()->isActive());
    EXPECT_EQ(c.lookupRoad().popup().panel(), nullptr);

    // The desktop's dialog cancelled: nothing either.
    f.capture->next = {CaptureOutcome::Status::Cancelled, {}, false};
    c.handleRequest("ocr");
    EXPECT_EQ(c.lookupRoad().popup().panel(), nullptr);
    // No screenshot service, or one that gave nothing.
    f.capture->next = {CaptureOutcome::Status::Unavailable, {}, false};
    c.handleRequest("ocr");
    EXPECT_TRUE(
        messageShown(c).startsWith(QStringLiteral("Màn hình này không cho chương trình chụp ảnh")));
    f.capture->next = {CaptureOutcome::Status::Failed, {}, false};
    c.handleRequest("ocr");
    QApplication::processEvents();
    ASSERT_TRUE(waitUntil([&] { return !messageShown(c).isEmpty() && !road.isBusy(); }));
    EXPECT_EQ(messageShown(c), QStringLiteral("Không chụp được màn hình. Thử lại."));

    // A region the desktop's own dialog chose is read as it is.
    f.recognizer->answerText("數");
    f.capture->next = {CaptureOutcome::Status::Captured, {{codedPicture(90, 30), QRect()}}, true};
    c.lookupRoad().popup().close();
    c.handleRequest("ocr");
    ASSERT_TRUE(waitUntil([&] { return hostedLookup(road) != nullptr; }));
    EXPECT_EQ(road.view()->text(), QStringLiteral("數"));
}

TEST(ScreenTextFlowTest, ALookupShortcutTakesThePanelOverAndALateAnswerIsDropped) {
    AppFixture f;
    AppController& c = f.start();
    ScreenTextRoad& road = c.screenText();
    f.recognizer->answerText("傷寒");

    // Closed before the text came: the answer goes nowhere.
    f.recognizer->hold = true;
    road.readRegion(codedPicture(100, 40));
    ASSERT_TRUE(waitUntil([&] { return f.recognizer->working.load(); }));
    key(c.lookupRoad().popup().panel(), Qt::Key_Escape);
    f.recognizer->hold = false;
    ASSERT_TRUE(waitUntil([&] { return f.recognizer->reads() == 1; }));
    QApplication::processEvents();
    EXPECT_EQ(c.lookupRoad().popup().panel(), nullptr);

    // The lookup shortcut while the text is being read: its own popup, which
    // the late answer leaves alone.
    f.recognizer->hold = true;
    road.readRegion(codedPicture(100, 40));
    ASSERT_TRUE(waitUntil([&] { return f.recognizer->working.load(); }));
    f.pressWithSelection("數");
    KeyablePanel* panel = c.lookupRoad().popup().panel();
    ASSERT_NE(panel, nullptr);
    auto* lookup = qobject_cast<PopupView*>(panel->content());
    ASSERT_NE(lookup, nullptr);
    EXPECT_EQ(lookup->rowCount(), 1);
    f.recognizer->hold = false;
    ASSERT_TRUE(waitUntil([&] { return f.recognizer->reads() == 2; }));
    QApplication::processEvents();
    EXPECT_EQ(c.lookupRoad().popup().panel(), panel);
    EXPECT_EQ(panel->content(), lookup);
    EXPECT_EQ(road.view(), nullptr);
}
