// The stroke-order view: its data, timeline, geometry and play/replay/error
// states, with a fake fetch and the animation's time set by hand.
#include <gtest/gtest.h>

#include <QAbstractAnimation>
#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "app/platform/selection/fake/fake_clipboard.h"
#include "app/platform/selection/fake/fake_selection_backend.h"
#include "app/popup/popup_controller.h"
#include "app/shell/localization.h"
#include "app/stroke/stroke_data.h"
#include "app/stroke/stroke_order_factory.h"
#include "app/stroke/stroke_order_view.h"
#include "app/stroke/stroke_timeline.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

using namespace talvo;
using namespace talvo::stroke;

namespace {

// 十 as hanzi-writer-data ships it: a horizontal, then a vertical stroke.
const char* kShi =
    R"({"strokes": ["M 541 450 Q 754 474 901 462 Q 935 462 940 467 Q 949 482 935 494 Q 862 560 793 538 Q 745 529 542 499 L 482 492 Q 355 479 290 469 Q 218 457 112 455 Q 97 455 96 443 Q 95 430 116 414 Q 134 401 168 388 Q 180 384 199 393 Q 215 399 292 413 Q 377 434 482 444 L 541 450 Z", "M 482 444 Q 482 240 478 171 Q 475 -6 495 -40 Q 511 -56 521 -34 Q 539 21 540 425 Q 540 438 541 450 L 542 499 Q 543 722 569 763 Q 576 781 555 798 Q 528 819 482 830 Q 461 836 447 821 Q 437 812 450 799 Q 480 774 482 739 Q 482 651 482 492 L 482 444 Z"], "medians": [[[109, 442], [177, 422], [373, 456], [819, 505], [869, 499], [932, 476]], [[456, 811], [484, 803], [522, 767], [512, 593], [507, -33]]]})";

// A fetch that keeps its requests until the test answers them.
struct FakeFetch {
    std::vector<std::string> urls;
    std::vector<StrokeSource::FetchDone> pending;

    StrokeSource::Fetch fn() {
        return [this](const std::string& url, StrokeSource::FetchDone done) {
            urls.push_back(url);
            pending.push_back(std::move(done));
        };
    }
    void answer(std::optional<std::string> body) {
        auto done = std::move(pending.front());
        pending.erase(pending.begin());
        done(std::move(body));
    }
};

void click(QWidget* w, QPointF at) {
    QMouseEvent press(QEvent::MouseButtonPress, at, w->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, w->mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(w, &press);
    QApplication::sendEvent(w, &release);
}

// The colour drawn at a point of the glyph (data units).
QColor glyphPixel(StrokeOrderView& v, double x, double y) {
    QImage img = v.grab().toImage();
    QPointF p = v.glyphTransform().map(QPointF(x, y));
    return img.pixelColor(p.toPoint());
}

}  // namespace

TEST(StrokeData, ParsesAShippedCharacter) {
    auto data = parseStrokeData(kShi);
    ASSERT_TRUE(data);
    ASSERT_EQ(data->strokes.size(), 2u);
    ASSERT_EQ(data->medians.size(), 2u);
    EXPECT_EQ(data->medians[1].size(), 5u);
    EXPECT_EQ(data->medians[1].back(), (Point{507, -33}));
    const Path& first = data->strokes[0];
    EXPECT_EQ(first.front().kind, PathOp::Kind::Move);
    EXPECT_EQ(first.front().pts[0], (Point{541, 450}));
    EXPECT_EQ(first[1].kind, PathOp::Kind::Quad);
    EXPECT_EQ(first[1].pts[1], (Point{901, 462}));
    EXPECT_EQ(first.back().kind, PathOp::Kind::Close);
}

TEST(StrokeData, PathGrammarRelativeFormsAndRepeats) {
    auto p = parseSvgPath("m10,20 5 5 h-3 V1 l.5.5 q1 1 2 2 c1 0 2 0 3 3 Z M1e1-2 +3 4 z");
    ASSERT_TRUE(p);
    ASSERT_EQ(p->size(), 11u);
    EXPECT_EQ((*p)[1].kind, PathOp::Kind::Line);  // implicit line after a move
    EXPECT_EQ((*p)[1].pts[0], (Point{15, 25}));
    EXPECT_EQ((*p)[2].pts[0], (Point{12, 25}));
    EXPECT_EQ((*p)[3].pts[0], (Point{12, 1}));
    EXPECT_EQ((*p)[4].pts[0], (Point{12.5, 1.5}));
    EXPECT_EQ((*p)[5].pts[1], (Point{14.5, 3.5}));
    EXPECT_EQ((*p)[6].pts[2], (Point{17.5, 6.5}));
    EXPECT_EQ((*p)[8].pts[0], (Point{10, -2}));
    EXPECT_EQ((*p)[9].pts[0], (Point{3, 4}));
}

TEST(StrokeData, MalformedInputIsNoData) {
    for (const char* bad : {"", "M", "L 1 2", "M 1", "M 1 2 A 1 1 0 0 1 3 3", "M 1 2 Z 3 4",
                            "M 1e999 2", "M 1 2 #"}) {
        EXPECT_FALSE(parseSvgPath(bad)) << bad;
    }
    const char* docs[] = {
        "",
        "not json",
        "[1,2]",
        R"({"strokes": [], "medians": []})",
        R"({"strokes": ["M 0 0 L 1 1 Z"]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[[0,0]], [[1,1]]]})",
        R"({"strokes": [7], "medians": [[[0,0]]]})",
        R"({"strokes": ["M 0 0 X"], "medians": [[[0,0]]]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[]]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[["a", 1]]]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[[1]]]})",
        R"({"strokes": "M 0 0", "medians": [[[1, 1]]]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[[0, 1e300]]]})",
        R"({"strokes": ["M 0 0 L 1 1 Z"], "medians": [[[0, 0]]]}trailing)",
    };
    for (const char* doc : docs) {
        EXPECT_FALSE(parseStrokeData(doc)) << doc;
    }
    std::string huge(kMaxJsonBytes + 1, ' ');
    EXPECT_FALSE(parseStrokeData(huge));
}

TEST(StrokeData, RevealTrackStartsHalfAPenBackAndCutsByLength) {
    std::vector<Point> median{{0, 0}, {0, 300}};
    auto full = revealTrack(median, 1);
    ASSERT_EQ(full.size(), 3u);
    EXPECT_EQ(full.front(), (Point{0, -kRevealPenWidth / 2}));
    EXPECT_DOUBLE_EQ(polylineLength(full), 300 + kRevealPenWidth / 2);
    auto half = revealTrack(median, 0.5);
    EXPECT_DOUBLE_EQ(polylineLength(half), (300 + kRevealPenWidth / 2) / 2);
    EXPECT_TRUE(revealTrack(median, 0).empty());
    EXPECT_EQ(revealTrack({{5, 5}, {5, 5}}, 1).size(), 1u);  // a dot stays a dot
}

// Every character file the build installed parses, and its licence is there.
TEST(StrokeData, InstalledDataParses) {
    std::filesystem::path dir(TALVO_TEST_STROKES_DIR);
    if (!std::filesystem::exists(dir / "LICENSE-ARPHIC.txt")) {
        GTEST_SKIP() << "no stroke data installed in " << dir;
    }
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        std::ifstream in(entry.path(), std::ios::binary);
        std::string body((std::istreambuf_iterator<char>(in)), {});
        EXPECT_TRUE(parseStrokeData(body)) << entry.path();
        ++files;
    }
    EXPECT_GT(files, 9000u);
}

TEST(StrokeTimeline, StrokesFollowWithPausesAndEndComplete) {
    StrokeTimeline t({300, 600});
    double d0 = (300 + 600) / (3 * 0.9);
    double d1 = (600 + 600) / (3 * 0.9);
    EXPECT_DOUBLE_EQ(t.durationOf(0), d0);
    EXPECT_DOUBLE_EQ(t.startOf(1), d0 + 400);
    EXPECT_DOUBLE_EQ(t.totalMs(), d0 + 400 + d1);

    EXPECT_EQ(t.at(-5).complete, 0u);
    EXPECT_EQ(t.at(-5).portion, 0);
    EXPECT_NEAR(t.at(d0 / 2).portion, 0.5, 1e-9);
    EXPECT_LT(t.at(d0 / 4).portion, 0.25);  // eases in
    auto pause = t.at(d0 + 200);
    EXPECT_EQ(pause.complete, 1u);
    EXPECT_EQ(pause.portion, 0);
    auto second = t.at(d0 + 400 + d1 / 2);
    EXPECT_EQ(second.complete, 1u);
    EXPECT_NEAR(second.portion, 0.5, 1e-9);
    EXPECT_EQ(t.at(t.totalMs()).complete, 2u);
    EXPECT_EQ(StrokeTimeline().totalMs(), 0);
}

TEST(StrokeOrderView, GeometryOfAFractionalSide) {
    StrokeOrderView v(QStringLiteral("十"), 120.7);
    EXPECT_EQ(v.gridSide(), 120);
    EXPECT_EQ(v.naturalSize(), QSizeF(120.7, 160.7));
    EXPECT_EQ(v.sizeHint(), QSize(121, 161));
    v.resize(v.sizeHint());
    QRectF grid = v.gridRect();
    EXPECT_EQ(grid.size(), QSizeF(120, 120));
    EXPECT_TRUE(QRectF(v.rect()).contains(grid));
    QRectF caption = v.captionRect();
    EXPECT_DOUBLE_EQ(caption.top(), grid.bottom() + 10);
    EXPECT_LE(caption.bottom(), v.height());
    EXPECT_LE(caption.width(), v.width());
    // The glyph box fills the grid less 14 px of padding, y pointing down.
    QTransform t = v.glyphTransform();
    EXPECT_EQ(t.map(QPointF(0, 900)), grid.topLeft() + QPointF(14, 14));
    EXPECT_EQ(t.map(QPointF(1024, -124)), grid.bottomRight() - QPointF(14, 14));
    // A side that is no number still gives a usable view.
    EXPECT_EQ(StrokeOrderView(QStringLiteral("十"), std::nan("")).gridSide(), 120);
}

class StrokeOrderFlow : public ::testing::Test {
  protected:
    StrokeOrderFactory factory(std::string base = "http://127.0.0.1:9") {
        return StrokeOrderFactory(
            dir.path().string(), [base] { return base; }, fetch.fn());
    }
    std::unique_ptr<StrokeOrderView> shown(const StrokeOrderFactory& f, const std::string& ch) {
        std::unique_ptr<StrokeOrderView> v(f.makeView(ch, 120, nullptr));
        v->resize(v->sizeHint());
        v->show();
        return v;
    }

    talvo::testing::TempDir dir;
    FakeFetch fetch;
};

TEST_F(StrokeOrderFlow, FetchedDataPlaysOnceAndEndsComplete) {
    auto f = factory();
    auto v = shown(f, "十");
    ASSERT_EQ(fetch.urls.size(), 1u);
    EXPECT_EQ(fetch.urls[0], "http://127.0.0.1:9/npm/hanzi-writer-data@2.0/%E5%8D%81.json");
    EXPECT_EQ(v->state(), StrokeOrderView::State::Loading);
    click(v.get(), v->gridRect().center());  // nothing to replay yet
    EXPECT_EQ(v->state(), StrokeOrderView::State::Loading);
    EXPECT_FALSE(v->replay());

    fetch.answer(std::string(kShi));
    EXPECT_EQ(v->state(), StrokeOrderView::State::Playing);
    EXPECT_EQ(v->animation()->state(), QAbstractAnimation::Running);
    const auto& t = v->timeline();
    v->animation()->setCurrentTime(static_cast<int>(t.startOf(1)) - 1);
    EXPECT_EQ(v->frame().complete, 1u);
    // The first stroke is ink, the second still only outline.
    EXPECT_EQ(glyphPixel(*v, 660, 480), QColor(0x21, 0x1c, 0x15));
    EXPECT_EQ(glyphPixel(*v, 510, 200), QColor(0xd8, 0xcb, 0xab));
    v->animation()->setCurrentTime(v->animation()->duration());
    EXPECT_EQ(v->state(), StrokeOrderView::State::Ready);
    EXPECT_EQ(v->frame().complete, 2u);
    EXPECT_EQ(glyphPixel(*v, 510, 200), QColor(0x21, 0x1c, 0x15));

    // A second view of the same character needs no request.
    auto again = shown(f, "十");
    EXPECT_EQ(fetch.urls.size(), 1u);
    EXPECT_EQ(again->state(), StrokeOrderView::State::Playing);
}

TEST_F(StrokeOrderFlow, ReplayStartsFromTheEmptyGrid) {
    {
        std::ofstream out(dir.path() / std::filesystem::path(u8"十.json"));
        out << kShi;
    }
    auto v = shown(factory(), "十");
    EXPECT_TRUE(fetch.urls.empty());  // the installed copy answers
    v->animation()->setCurrentTime(v->animation()->duration());
    ASSERT_EQ(v->state(), StrokeOrderView::State::Ready);

    click(v.get(), v->captionRect().center());
    EXPECT_EQ(v->state(), StrokeOrderView::State::Replaying);
    EXPECT_EQ(v->frame().complete, 0u);
    EXPECT_EQ(v->frame().portion, 0);
    EXPECT_EQ(glyphPixel(*v, 660, 480), QColor(0xd8, 0xcb, 0xab));
    v->animation()->setCurrentTime(static_cast<int>(v->timeline().durationOf(0) / 2));
    EXPECT_GT(v->frame().portion, 0.4);
    v->animation()->setCurrentTime(v->animation()->duration());
    EXPECT_EQ(v->state(), StrokeOrderView::State::Ready);
    EXPECT_EQ(v->frame().complete, 2u);
}

TEST_F(StrokeOrderFlow, MissingDataShowsTheErrorLineAndIgnoresClicks) {
    {
        std::ofstream out(dir.path() / std::filesystem::path(u8"永.json"));
        out << "{\"strokes\": [";  // a damaged installed copy: ask the host
    }
    auto f = factory();
    auto failed = shown(f, "永");
    auto garbage = shown(f, "水");
    auto notFound = shown(f, "火");
    ASSERT_EQ(fetch.pending.size(), 3u);
    fetch.answer(std::nullopt);
    fetch.answer(std::string("<html>502</html>"));
    fetch.answer(std::string(R"({"strokes": ["M 0 0 Z"], "medians": []})"));
    for (auto* v : {failed.get(), garbage.get(), notFound.get()}) {
        EXPECT_EQ(v->state(), StrokeOrderView::State::Error);
        click(v, v->gridRect().center());
        EXPECT_EQ(v->state(), StrokeOrderView::State::Error);
        // The wrapped line fits under the grid.
        v->resize(v->sizeHint());
        EXPECT_LE(v->errorRect().bottom(), v->height());
        EXPECT_LE(v->errorRect().width(), v->gridSide());
    }

    // No content host: no request, the error at once.
    auto offline = shown(factory(""), "山");
    EXPECT_EQ(offline->state(), StrokeOrderView::State::Error);
    EXPECT_EQ(fetch.urls.size(), 3u);
}

TEST_F(StrokeOrderFlow, OnlyOneHanCharacterGetsAViewAndLateAnswersAreDropped) {
    auto f = factory();
    for (std::string bad : {"", "a", "十一", "../x", "\xff", "\xe5\x8d"}) {
        EXPECT_EQ(f.make(bad, nullptr), nullptr) << bad;
    }
    EXPECT_TRUE(fetch.urls.empty());
    delete f.make("木", nullptr);
    fetch.answer(std::string(kShi));  // its view is gone: nothing to update
    // ...but the answer is kept for the next view of the character.
    std::unique_ptr<QWidget> next(f.make("木", nullptr));
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(fetch.urls.size(), 1u);
    EXPECT_TRUE(static_cast<StrokeOrderView*>(next.get())->hasData());
}

TEST_F(StrokeOrderFlow, PopupShowsTheViewForOneCharacterOnly) {
    AppSettings settings(dir.file("settings.ini"));
    Localization l10n(settings);
    FakeClipboard clipboard;
    FakeSelectionBackend focus;
    PopupController popup{l10n, clipboard, &focus};
    popup.mouseLocation = [] { return QPoint(100, 100); };
    popup.strokeOrderView = factory().hook();

    popup.show({"十", {{"十", {"thập"}, "Mười."}}, std::string("Số mười."), std::string("十")}, {});
    auto* view = popup.panel()->findChild<StrokeOrderView*>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->gridSide(), static_cast<int>(StrokeOrderFactory::kPopupSide));
    EXPECT_TRUE(view->isVisible());
    fetch.answer(std::string(kShi));
    EXPECT_EQ(view->state(), StrokeOrderView::State::Playing);

    popup.show({"十一", {{"十", {"thập"}, {}}, {"一", {"nhất"}, {}}}, {}, {}}, {});
    EXPECT_EQ(popup.panel()->findChild<StrokeOrderView*>(), nullptr);
    popup.close();
    QApplication::processEvents();
}

TEST(StrokeContentHost, DefaultsToTheServiceAndDropsTrailingSlashes) {
    talvo::testing::TempDir dir;
    AppSettings settings(dir.file("settings.ini"));
    EXPECT_EQ(settings.contentUrl(), "");
    settings.setServiceUrl("https://talvo.example/");
    EXPECT_EQ(settings.contentUrl(), "https://talvo.example");
    settings.setString(AppSettings::kContentUrlKey, "http://127.0.0.1:8080// ");
    EXPECT_EQ(settings.contentUrl(), "http://127.0.0.1:8080");
    settings.setString(AppSettings::kContentUrlKey, "");
    EXPECT_EQ(settings.contentUrl(), "https://talvo.example");
}
