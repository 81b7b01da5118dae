#pragma once

#include <QImage>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <optional>
#include <vector>

#include "app/platform/capture/screen_capture.h"

class QWidget;

namespace talvo {

class Localization;

// The first step of reading text off the screen: each screen is covered by a
// frozen picture of itself, dimmed, and the user drags a rectangle around the
// text, which shows through undimmed. Escape or a right click cancels. The
// drag may go in any direction and is kept in global logical coordinates;
// the pixels come from the picture of the screen where it began, at that
// picture's own density. Main thread only.
class RegionSelector : public QObject {
    Q_OBJECT
  public:
    explicit RegionSelector(Localization& l10n, QObject* parent = nullptr);
    ~RegionSelector() override;

    // Covers each picture's screen with it. A picture without geometry (a
    // portal's) covers the primary screen, fitted into it. Replaces a
    // selection already under way.
    void start(std::vector<ScreenPicture> pictures);
    // Takes the overlays down and says cancelled().
    void cancel();
    bool isActive() const { return !m_shown.empty(); }
    // The overlay windows, one per picture (tests and screenshots).
    std::vector<QWidget*> overlays() const;

    // The drag in global logical coordinates; the overlays' mouse handlers
    // feed these, tests may too.
    void press(QPointF global);
    void drag(QPointF global);
    void release(QPointF global);
    // The rectangle dragged so far; empty before a press.
    QRectF selection() const;

  signals:
    // The picture's pixels under the drag (empty, or a few pixels, when it
    // was a click) and the rectangle dragged on the desktop. The overlays
    // are gone by then.
    void selected(const QImage& region, const QRectF& onDesktop);
    void cancelled();

  private:
    class Overlay;
    struct Shown {
        ScreenPicture picture;
        QRectF drawn;  // where the picture lies, global logical coordinates
        Overlay* window = nullptr;
    };
    void takeDown();
    void update();

    Localization& m_l10n;
    std::vector<Shown> m_shown;
    std::optional<QPointF> m_from;
    QPointF m_to;
    size_t m_pressedOn = 0;
};

}  // namespace talvo
