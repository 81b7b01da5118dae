#include "app/stroke/stroke_order_view.h"

#include <QAbstractAnimation>
#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPathStroker>
#include <algorithm>
#include <cmath>

#include "app/theme/theme.h"

namespace talvo {

namespace {

// The practice grid's colours.
const QColor kGridPaper(0xfb, 0xf6, 0xe9);
const QColor kGridBorder(0xc9, 0x57, 0x3f);
const QColor kCentreLine(0xd8, 0xa9, 0x9b);
const QColor kDiagonal(0xe7, 0xca, 0xbf);
const QColor kOutline(0xd8, 0xcb, 0xab);
const QColor kInk(0x21, 0x1c, 0x15);
const QColor kCaption(0x85, 0x7a, 0x68);
const QColor kAccent(0x9e, 0x2b, 0x25);
constexpr double kBorderWidth = 1.5;
constexpr double kRadius = 6;
constexpr int kTextPixels = 13;
// Longer than any real character takes; keeps odd data from stalling the view.
constexpr double kMaxPlayMs = 120000;

// The glyph box of the stroke data: x 0..1024, y -124..900 (y up).
constexpr double kBoxSize = 1024;
constexpr double kBoxTop = 900;

double sanitizedSide(double side) {
    if (!std::isfinite(side)) {
        return StrokeOrderView::kDefaultSide;
    }
    return std::clamp(side, 40.0, 1024.0);
}

QPainterPath toPainterPath(const stroke::Path& ops) {
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const stroke::PathOp& op : ops) {
        const auto& q = op.pts;
        switch (op.kind) {
            case stroke::PathOp::Kind::Move:
                path.moveTo(q[0].x, q[0].y);
                break;
            case stroke::PathOp::Kind::Line:
                path.lineTo(q[0].x, q[0].y);
                break;
            case stroke::PathOp::Kind::Quad:
                path.quadTo(q[0].x, q[0].y, q[1].x, q[1].y);
                break;
            case stroke::PathOp::Kind::Cubic:
                path.cubicTo(q[0].x, q[0].y, q[1].x, q[1].y, q[2].x, q[2].y);
                break;
            case stroke::PathOp::Kind::Close:
                path.closeSubpath();
                break;
        }
    }
    return path;
}

QFont captionFont(bool lead, int pixels = kTextPixels) {
    QFont f = theme::bodyFont(pixels, lead);
    f.setItalic(!lead);
    return f;
}

double captionWidth(int pixels) {
    return QFontMetricsF(captionFont(true, pixels))
               .horizontalAdvance(StrokeOrderView::captionLead()) +
           QFontMetricsF(captionFont(false, pixels))
               .horizontalAdvance(StrokeOrderView::captionTail());
}

}  // namespace

class StrokeOrderView::Animation : public QAbstractAnimation {
  public:
    explicit Animation(StrokeOrderView* view) : QAbstractAnimation(view), m_view(view) {}
    int duration() const override { return m_duration; }
    void setDuration(int ms) { m_duration = ms; }

  protected:
    void updateCurrentTime(int ms) override { m_view->setTimeMs(ms); }

  private:
    StrokeOrderView* m_view;
    int m_duration = 0;
};

StrokeOrderView::StrokeOrderView(const QString& ch, double side, QWidget* parent)
    : QWidget(parent),
      m_char(ch),
      m_side(sanitizedSide(side)),
      m_grid(static_cast<int>(m_side)),
      m_animation(new Animation(this)) {
    setObjectName(QStringLiteral("strokeOrder"));
    setAccessibleName(ch);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setMouseTracking(true);
    connect(m_animation, &QAbstractAnimation::finished, this, &StrokeOrderView::finish);
}

StrokeOrderView::~StrokeOrderView() = default;

QString StrokeOrderView::errorText() {
    return QStringLiteral("Cần kết nối mạng để tải dữ liệu nét bút cho chữ này.");
}

QString StrokeOrderView::captionLead() {
    return QStringLiteral("▷ Xem lại");
}

QString StrokeOrderView::captionTail() {
    return QStringLiteral(" nét viết");
}

QAbstractAnimation* StrokeOrderView::animation() const {
    return m_animation;
}

void StrokeOrderView::setState(State s) {
    if (m_state != s) {
        m_state = s;
        if (s == State::Error) {
            setCursor(Qt::ArrowCursor);
        }
        emit stateChanged(s);
    }
}

void StrokeOrderView::setData(std::shared_ptr<const stroke::StrokeData> data) {
    m_animation->stop();
    m_shapes.clear();
    m_data = std::move(data);
    // Data put together by hand rather than parsed may not pair its parts.
    if (m_data && (m_data->strokes.empty() || m_data->strokes.size() != m_data->medians.size())) {
        m_data.reset();
    }
    if (!m_data) {
        m_timeline = stroke::StrokeTimeline();
        setState(State::Error);
        updateGeometry();
        update();
        return;
    }
    std::vector<double> lengths;
    m_shapes.reserve(m_data->strokes.size());
    for (size_t i = 0; i < m_data->strokes.size(); ++i) {
        m_shapes.push_back(toPainterPath(m_data->strokes[i]));
        lengths.push_back(stroke::polylineLength(m_data->medians[i]));
    }
    m_timeline = stroke::StrokeTimeline(std::move(lengths));
    m_animation->setDuration(
        static_cast<int>(std::ceil(std::min(m_timeline.totalMs(), kMaxPlayMs))));
    bool wasError = m_state == State::Error;
    m_played = false;
    m_timeMs = 0;
    setState(State::Loading);
    if (wasError) {
        updateGeometry();
    }
    if (isVisible()) {
        play();
    }
    update();
}

void StrokeOrderView::play() {
    if (!m_data) {
        return;
    }
    setState(m_played ? State::Replaying : State::Playing);
    m_played = true;
    m_animation->stop();
    m_animation->setCurrentTime(0);
    m_timeMs = 0;
    m_animation->start();
    update();
}

bool StrokeOrderView::replay() {
    if (!m_data || m_state == State::Error) {
        return false;
    }
    m_played = true;  // a replay is never the first play
    play();
    return true;
}

void StrokeOrderView::finish() {
    if (m_data) {
        m_timeMs = m_animation->duration();
        setState(State::Ready);
        update();
    }
}

void StrokeOrderView::setTimeMs(int ms) {
    m_timeMs = ms;
    update();
}

stroke::StrokeTimeline::Frame StrokeOrderView::frame() const {
    switch (m_state) {
        case State::Playing:
        case State::Replaying:
            return m_timeline.at(m_timeMs);
        case State::Ready:
            return {m_timeline.strokeCount(), 0};
        case State::Loading:
        case State::Error:
            break;
    }
    return {};
}

void StrokeOrderView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (m_data && !m_played) {
        play();
    }
}

void StrokeOrderView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    // Nobody sees the rest of the animation: rest on the whole glyph.
    if (m_animation->state() != QAbstractAnimation::Stopped) {
        m_animation->stop();
        finish();
    }
}

// --- geometry ---------------------------------------------------------------

QSizeF StrokeOrderView::naturalSize() const {
    return {m_side, m_side + kCaptionBand};
}

double StrokeOrderView::bandHeight() const {
    if (m_state == State::Error) {
        QFontMetricsF fm(theme::bodyFont(kTextPixels));
        QRectF r = fm.boundingRect(QRectF(0, 0, m_grid, 10000), Qt::AlignHCenter | Qt::TextWordWrap,
                                   errorText());
        return std::ceil(r.height());
    }
    int px = captionPixels();
    return std::ceil(std::max(QFontMetricsF(captionFont(true, px)).height(),
                              QFontMetricsF(captionFont(false, px)).height()));
}

int StrokeOrderView::captionPixels() const {
    // A grid narrower than the caption would cut it off at both ends: the
    // caption gets smaller instead, down to a size that is still legible.
    double room = std::max<double>(width(), std::ceil(m_side));
    int px = kTextPixels;
    while (px > 9 && captionWidth(px) > room) {
        --px;
    }
    return px;
}

QSize StrokeOrderView::sizeHint() const {
    QSizeF n = naturalSize();
    double height = n.height();
    if (m_state == State::Error) {
        height = std::max(height, m_grid + kCaptionGap + bandHeight() + 4);
    }
    return {static_cast<int>(std::ceil(n.width())), static_cast<int>(std::ceil(height))};
}

QRectF StrokeOrderView::gridRect() const {
    double column = m_grid + kCaptionGap + bandHeight();
    double top = std::max(0.0, std::floor((height() - column) / 2));
    double left = std::max(0.0, std::floor((width() - m_grid) / 2.0));
    return {left, top, static_cast<double>(m_grid), static_cast<double>(m_grid)};
}

QRectF StrokeOrderView::captionRect() const {
    QRectF grid = gridRect();
    double w = captionWidth(captionPixels());
    return {(width() - w) / 2, grid.bottom() + kCaptionGap, w, bandHeight()};
}

QRectF StrokeOrderView::errorRect() const {
    QRectF grid = gridRect();
    return {grid.left(), grid.bottom() + kCaptionGap, grid.width(), bandHeight()};
}

QTransform StrokeOrderView::glyphTransform() const {
    QRectF grid = gridRect();
    double scale = (m_grid - 2 * kPadding) / kBoxSize;
    return QTransform(scale, 0, 0, -scale, grid.left() + kPadding,
                      grid.top() + kPadding + kBoxTop * scale);
}

bool StrokeOrderView::hitsReplayArea(QPointF p) const {
    return gridRect().contains(p) || captionRect().contains(p);
}

// --- input --------------------------------------------------------------------

void StrokeOrderView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && hitsReplayArea(event->position())) {
        replay();
        event->accept();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void StrokeOrderView::mouseMoveEvent(QMouseEvent* event) {
    bool active = m_state != State::Error && hitsReplayArea(event->position());
    setCursor(active ? Qt::PointingHandCursor : Qt::ArrowCursor);
    QWidget::mouseMoveEvent(event);
}

// --- painting -----------------------------------------------------------------

QPainterPath StrokeOrderView::revealedShape(size_t strokeIndex, double portion) const {
    std::vector<stroke::Point> track = stroke::revealTrack(m_data->medians[strokeIndex], portion);
    if (track.empty()) {
        return {};
    }
    QPainterPath cover;
    if (track.size() == 1) {
        cover.addEllipse(QPointF(track[0].x, track[0].y), stroke::kRevealPenWidth / 2,
                         stroke::kRevealPenWidth / 2);
    } else {
        QPainterPath line(QPointF(track[0].x, track[0].y));
        for (size_t i = 1; i < track.size(); ++i) {
            line.lineTo(track[i].x, track[i].y);
        }
        QPainterPathStroker pen;
        pen.setWidth(stroke::kRevealPenWidth);
        pen.setCapStyle(Qt::RoundCap);
        pen.setJoinStyle(Qt::RoundJoin);
        cover = pen.createStroke(line);
    }
    return m_shapes[strokeIndex].intersected(cover);
}

void StrokeOrderView::paintGrid(QPainter& p, const QRectF& grid) const {
    // A soft shadow one pixel down, fading out over six pixels.
    p.setPen(Qt::NoPen);
    for (int i = 6; i >= 1; --i) {
        QColor c(0, 0, 0, static_cast<int>(std::round(255 * 0.12 * (7 - i) / 21.0)));
        p.setBrush(c);
        p.drawRoundedRect(grid.translated(0, 1).adjusted(-i, -i, i, i), kRadius + i, kRadius + i);
    }
    QRectF box =
        grid.adjusted(kBorderWidth / 2, kBorderWidth / 2, -kBorderWidth / 2, -kBorderWidth / 2);
    p.setBrush(kGridPaper);
    p.drawRoundedRect(box, kRadius, kRadius);

    QRectF inside = grid.adjusted(kBorderWidth, kBorderWidth, -kBorderWidth, -kBorderWidth);
    // Diagonals: drawn in a 100-unit box stretched over the inside, 0.6 units
    // wide, dashes of 2 units.
    double unit = inside.width() / 100.0;
    QPen diag(kDiagonal, 0.6 * unit);
    diag.setDashPattern({2 / 0.6, 2 / 0.6});
    diag.setCapStyle(Qt::FlatCap);
    p.setPen(diag);
    p.drawLine(inside.topLeft(), inside.bottomRight());
    p.drawLine(inside.topRight(), inside.bottomLeft());

    QPen centre(kCentreLine, 1);
    centre.setDashPattern({3, 3});
    centre.setCapStyle(Qt::FlatCap);
    p.setPen(centre);
    double cx = std::floor(grid.center().x()) + 0.5;
    double cy = std::floor(grid.center().y()) + 0.5;
    p.drawLine(QPointF(cx, inside.top()), QPointF(cx, inside.bottom()));
    p.drawLine(QPointF(inside.left(), cy), QPointF(inside.right(), cy));

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(kGridBorder, kBorderWidth));
    p.drawRoundedRect(box, kRadius, kRadius);
}

void StrokeOrderView::paintCaption(QPainter& p) const {
    QRectF r = captionRect();
    int px = captionPixels();
    QFont lead = captionFont(true, px);
    QFont tail = captionFont(false, px);
    QFontMetricsF lm(lead);
    QFontMetricsF tm(tail);
    double baseline = r.top() + std::max(lm.ascent(), tm.ascent());
    p.setFont(lead);
    p.setPen(kAccent);
    p.drawText(QPointF(r.left(), baseline), captionLead());
    p.setFont(tail);
    p.setPen(kCaption);
    p.drawText(QPointF(r.left() + lm.horizontalAdvance(captionLead()), baseline), captionTail());
}

void StrokeOrderView::paintError(QPainter& p) const {
    p.setFont(theme::bodyFont(kTextPixels));
    p.setPen(kAccent);
    p.drawText(errorRect(), Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, errorText());
}

void StrokeOrderView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    QRectF grid = gridRect();
    paintGrid(p, grid);

    if (m_data) {
        p.save();
        p.setClipRect(grid.adjusted(kBorderWidth, kBorderWidth, -kBorderWidth, -kBorderWidth));
        p.setTransform(glyphTransform(), true);
        p.setPen(Qt::NoPen);
        p.setBrush(kOutline);
        for (const QPainterPath& shape : m_shapes) {
            p.drawPath(shape);
        }
        stroke::StrokeTimeline::Frame f = frame();
        p.setBrush(kInk);
        for (size_t i = 0; i < f.complete && i < m_shapes.size(); ++i) {
            p.drawPath(m_shapes[i]);
        }
        if (f.complete < m_shapes.size() && f.portion > 0) {
            p.drawPath(revealedShape(f.complete, f.portion));
        }
        p.restore();
    }

    if (m_state == State::Error) {
        paintError(p);
    } else {
        paintCaption(p);
    }
}

}  // namespace talvo
