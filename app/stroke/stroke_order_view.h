#pragma once

#include <QPainterPath>
#include <QPointer>
#include <QWidget>
#include <memory>
#include <vector>

#include "app/stroke/stroke_data.h"
#include "app/stroke/stroke_timeline.h"

class QAbstractAnimation;

namespace talvo {

// How one Hán character is written: its strokes drawn in order inside a
// square practice grid (米字格: dashed cross and dashed diagonals) over the
// pale outline of the whole glyph, once when the view is first shown, ending
// on the complete glyph; a click on the grid or on the caption under it
// ("▷ Xem lại nét viết") plays it again. Without stroke data a red line says
// the data needs a network connection and clicks do nothing.
//
// Drawn natively with QPainter rather than in a web view: a web engine would
// cost a tray program 150–200 MB and up to a second per popup.
//
// The data arrives from outside (StrokeOrderFactory wires a StrokeSource):
// setData() with the parsed strokes, or with null when there are none.
class StrokeOrderView : public QWidget {
    Q_OBJECT
  public:
    enum class State { Loading, Playing, Ready, Replaying, Error };

    static constexpr double kPadding = 14;      // between the grid's edge and the glyph box
    static constexpr double kCaptionBand = 40;  // below the grid, for the caption
    static constexpr double kCaptionGap = 10;   // grid to caption
    static constexpr double kDefaultSide = 120;

    // `side`: the grid's side in pixels; the grid itself is `side` truncated
    // to whole pixels. A side that is not a finite number reads as
    // kDefaultSide; it is kept within 40..1024.
    StrokeOrderView(const QString& ch, double side, QWidget* parent = nullptr);
    ~StrokeOrderView() override;

    // The character's strokes; null means there is no data (the error line).
    // Plays at once when the view is visible, else when it is first shown.
    void setData(std::shared_ptr<const stroke::StrokeData> data);
    void showError() { setData(nullptr); }
    // Back to the empty grid and play again; ignored (false) before the data
    // has arrived and in the error state.
    bool replay();

    State state() const { return m_state; }
    QString character() const { return m_char; }
    double side() const { return m_side; }
    int gridSide() const { return m_grid; }
    bool hasData() const { return m_data != nullptr; }

    // side × (side + 40), fractional; sizeHint() rounds it up to whole pixels
    // (120.7 → 121 × 161) so nothing of the view is ever cut off. In the
    // error state the height grows when the wrapped error line needs it.
    QSizeF naturalSize() const;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    // Placement inside the view: the grid, caption and error line form a
    // column centred in the view.
    QRectF gridRect() const;
    QRectF captionRect() const;
    QRectF errorRect() const;
    // Data units (1024 box, y up) to view pixels.
    QTransform glyphTransform() const;

    // The animation that drives playback; its current time is the timeline's
    // time in ms, so tests set it directly instead of waiting.
    QAbstractAnimation* animation() const;
    const stroke::StrokeTimeline& timeline() const { return m_timeline; }
    // What is drawn now: complete strokes and the current one's portion.
    stroke::StrokeTimeline::Frame frame() const;

    static QString errorText();
    static QString captionLead();  // "▷ Xem lại", bold and upright
    static QString captionTail();  // " nét viết", italic

  signals:
    void stateChanged(talvo::StrokeOrderView::State state);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    class Animation;

    void setState(State s);
    void play();
    void finish();
    void setTimeMs(int ms);
    double bandHeight() const;
    int captionPixels() const;
    bool hitsReplayArea(QPointF p) const;
    void paintGrid(QPainter& p, const QRectF& grid) const;
    void paintCaption(QPainter& p) const;
    void paintError(QPainter& p) const;
    QPainterPath revealedShape(size_t stroke, double portion) const;

    QString m_char;
    double m_side;
    int m_grid;
    State m_state = State::Loading;
    bool m_played = false;  // the first play has started
    int m_timeMs = 0;
    std::shared_ptr<const stroke::StrokeData> m_data;
    std::vector<QPainterPath> m_shapes;  // each stroke's outline, data units
    stroke::StrokeTimeline m_timeline;
    Animation* m_animation = nullptr;  // owned as a child QObject
};

}  // namespace talvo
