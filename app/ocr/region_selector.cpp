#include "app/ocr/region_selector.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include "app/shell/localization.h"
#include "app/theme/theme.h"
#include "core/l10n/localization.h"
#include "core/ui/region_geometry.h"

namespace talvo {

namespace {

// How dark the screen goes around the region being chosen.
constexpr int kDimAlpha = 120;
// Key grabs fail until the window is mapped; tried again this often.
constexpr int kGrabRetryMs = 40;
constexpr int kGrabTries = 25;

region::Rect toRect(const QRectF& r) {
    return {r.x(), r.y(), r.width(), r.height()};
}

QRectF toQRect(const region::Rect& r) {
    return {r.x, r.y, r.width, r.height};
}

bool onX11() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

}  // namespace

// One screen's cover: the frozen picture, the dimming, the selection
// rectangle and the hint. Paints in its own coordinates, which are the
// global ones less its origin.
class RegionSelector::Overlay : public QWidget {
  public:
    Overlay(RegionSelector& selector, size_t index, QRect area, QScreen* screen)
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                               (onX11() ? Qt::X11BypassWindowManagerHint : Qt::Widget)),
          m_selector(selector),
          m_index(index),
          m_area(area) {
        setObjectName(QStringLiteral("regionOverlay"));
        setAttribute(Qt::WA_DeleteOnClose, false);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setCursor(Qt::CrossCursor);
        setFocusPolicy(Qt::StrongFocus);
        setMouseTracking(true);
        setWindowTitle(QStringLiteral("Talvo — ") + selector.m_l10n.text(msg::kRegionHint));
        if (screen) {
            setScreen(screen);
        }
        setGeometry(area);
    }

    void present() {
        if (onX11()) {
            // Above panels and docks, placed exactly where asked.
            show();
        } else {
            showFullScreen();
        }
        raise();
        activateWindow();
        setFocus(Qt::ActiveWindowFocusReason);
        grabKeysSoon(kGrabTries);
    }

    QRect area() const { return m_area; }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.fillRect(rect(), Qt::black);
        if (m_index >= m_selector.m_shown.size() || m_selector.m_shown[m_index].window != this) {
            return;  // taken down, waiting to be deleted
        }
        const Shown& shown = m_selector.m_shown[m_index];
        const QPointF origin = m_area.topLeft();
        const QRectF drawn = shown.drawn.translated(-origin);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.drawImage(drawn, shown.picture.image);

        const QRectF selection = m_selector.selection().translated(-origin);
        QPainterPath dim;
        dim.setFillRule(Qt::OddEvenFill);
        dim.addRect(QRectF(rect()));
        if (!selection.isEmpty()) {
            dim.addRect(selection);
        }
        p.fillPath(dim, QColor(0, 0, 0, kDimAlpha));
        if (!selection.isEmpty()) {
            p.setPen(QPen(YDao::seal(), 2));
            p.setBrush(Qt::NoBrush);
            p.drawRect(selection.adjusted(-1, -1, 1, 1));
        }
        paintHint(p);
    }

    void keyPressEvent(QKeyEvent* e) override {
        if (e->key() == Qt::Key_Escape) {
            e->accept();
            m_selector.cancel();
            return;
        }
        QWidget::keyPressEvent(e);
    }

    void mousePressEvent(QMouseEvent* e) override {
        if (e->button() == Qt::RightButton) {
            m_selector.cancel();
        } else if (e->button() == Qt::LeftButton) {
            m_selector.m_pressedOn = m_index;
            m_selector.press(e->globalPosition());
        }
        e->accept();
    }

    void mouseMoveEvent(QMouseEvent* e) override {
        if (e->buttons() & Qt::LeftButton) {
            m_selector.drag(e->globalPosition());
        }
        e->accept();
    }

    void mouseReleaseEvent(QMouseEvent* e) override {
        if (e->button() == Qt::LeftButton) {
            m_selector.release(e->globalPosition());
        }
        e->accept();
    }

  private:
    // What to do, on a card at the top of the screen, until a drag begins.
    void paintHint(QPainter& p) {
        if (!m_selector.selection().isEmpty()) {
            return;
        }
        const QString hint = m_selector.m_l10n.text(msg::kRegionHint);
        p.setFont(theme::bodyFont(16));
        QRectF box = p.fontMetrics().boundingRect(hint);
        box.adjust(-16, -10, 16, 10);
        box.moveCenter(QPointF(width() / 2.0, 48 + box.height() / 2));
        p.setPen(QPen(YDao::line(), 1));
        p.setBrush(YDao::card());
        p.drawRoundedRect(box, 8, 8);
        p.setPen(YDao::ink());
        p.drawText(box, Qt::AlignCenter, hint);
    }

    // Escape must reach us though no window manager gives the cover focus.
    void grabKeysSoon(int tries) {
        QTimer::singleShot(tries == kGrabTries ? 0 : kGrabRetryMs, this, [this, tries] {
            if (!isVisible()) {
                return;
            }
            grabKeyboard();
            if (QWidget::keyboardGrabber() != this && tries > 1) {
                grabKeysSoon(tries - 1);
            }
        });
    }

    RegionSelector& m_selector;
    size_t m_index;
    QRect m_area;
};

RegionSelector::RegionSelector(Localization& l10n, QObject* parent)
    : QObject(parent), m_l10n(l10n) {}

RegionSelector::~RegionSelector() {
    takeDown();
}

void RegionSelector::start(std::vector<ScreenPicture> pictures) {
    takeDown();
    m_from.reset();
    QScreen* primary = QGuiApplication::primaryScreen();
    for (ScreenPicture& picture : pictures) {
        QScreen* screen = picture.geometry.isEmpty()
                              ? primary
                              : QGuiApplication::screenAt(picture.geometry.center());
        const QRect area = picture.geometry.isEmpty()
                               ? (primary ? primary->geometry() : QRect(0, 0, 800, 600))
                               : picture.geometry;
        const QRectF drawn =
            picture.geometry.isEmpty()
                ? toQRect(region::fittedPicture(toRect(QRectF(area)), picture.image.width(),
                                                picture.image.height()))
                : QRectF(picture.geometry);
        m_shown.push_back({std::move(picture), drawn, nullptr});
        m_shown.back().window = new Overlay(*this, m_shown.size() - 1, area, screen);
    }
    // The cover under the pointer last, so it is the one that takes the keys.
    const QPoint pointer = QCursor::pos();
    std::vector<Overlay*> order;
    for (const Shown& s : m_shown) {
        if (s.window->area().contains(pointer)) {
            order.push_back(s.window);
        } else {
            order.insert(order.begin(), s.window);
        }
    }
    for (Overlay* window : order) {
        window->present();
    }
}

std::vector<QWidget*> RegionSelector::overlays() const {
    std::vector<QWidget*> out;
    for (const Shown& s : m_shown) {
        out.push_back(s.window);
    }
    return out;
}

void RegionSelector::press(QPointF global) {
    if (m_shown.empty()) {
        return;
    }
    // A press fed from outside an overlay: the picture under it.
    if (m_pressedOn >= m_shown.size() || !m_shown[m_pressedOn].drawn.contains(global)) {
        for (size_t i = 0; i < m_shown.size(); ++i) {
            if (m_shown[i].drawn.contains(global)) {
                m_pressedOn = i;
            }
        }
    }
    m_from = global;
    m_to = global;
    update();
}

void RegionSelector::drag(QPointF global) {
    if (!m_from) {
        return;
    }
    m_to = global;
    update();
}

void RegionSelector::release(QPointF global) {
    if (!m_from || m_shown.empty()) {
        return;
    }
    m_to = global;
    const QRectF onDesktop = selection();
    const Shown& shown = m_shown[std::min(m_pressedOn, m_shown.size() - 1)];
    const region::PixelRect pixels =
        region::picturePixels(toRect(onDesktop), toRect(shown.drawn), shown.picture.image.width(),
                              shown.picture.image.height());
    QImage region;
    if (!pixels.empty()) {
        region = shown.picture.image.copy(pixels.x, pixels.y, pixels.width, pixels.height);
    }
    takeDown();
    emit selected(region, onDesktop);
}

QRectF RegionSelector::selection() const {
    if (!m_from) {
        return {};
    }
    return toQRect(region::dragRect({m_from->x(), m_from->y()}, {m_to.x(), m_to.y()}));
}

void RegionSelector::cancel() {
    if (m_shown.empty()) {
        return;
    }
    takeDown();
    emit cancelled();
}

void RegionSelector::update() {
    for (const Shown& s : m_shown) {
        s.window->update();
    }
}

void RegionSelector::takeDown() {
    std::vector<Shown> shown = std::move(m_shown);
    m_shown.clear();
    m_from.reset();
    m_pressedOn = 0;
    for (Shown& s : shown) {
        if (QWidget::keyboardGrabber() == s.window) {
            s.window->releaseKeyboard();
        }
        s.window->hide();
        // Later: this may run from inside the window's own event handler.
        s.window->deleteLater();
    }
}

}  // namespace talvo
