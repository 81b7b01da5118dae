#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/stroke/stroke_order_view.h"
#include "app/stroke/stroke_source.h"

namespace talvo {

// Makes stroke-order views for the popup and the study card: each view gets
// its data from one shared StrokeSource (installed folder, then the content
// host). Copies share the source and its cache; a view never keeps the
// factory alive, and an answer that arrives after its view is gone is
// dropped. Main thread only.
class StrokeOrderFactory {
  public:
    // The popup's grid: large enough to read the strokes of a dense glyph
    // and to hold the caption at full size, small enough to sit under the
    // character row.
    static constexpr double kPopupSide = 136;

    // `strokesDir`: the installed per-character files (share/talvo/strokes);
    // `contentBase`: the content host, asked at each fetch (empty: none);
    // `fetch`: the shell's GET (OnlineHooks::fetch), may be empty.
    StrokeOrderFactory(std::string strokesDir, std::function<std::string()> contentBase,
                       stroke::StrokeSource::Fetch fetch, double side = kPopupSide);

    // A new view of `ch` at the factory's side, loading its data; nullptr for
    // anything that is not exactly one Hán character.
    QWidget* make(const std::string& ch, QWidget* parent) const;
    StrokeOrderView* makeView(const std::string& ch, double side, QWidget* parent) const;

    // make() as the hook type of the popup and the study card
    // (PopupController::strokeOrderView, StudyWindowController::strokeOrderView),
    // at the factory's side or at `side`.
    std::function<QWidget*(const std::string& ch, QWidget* parent)> hook() const;
    std::function<QWidget*(const std::string& ch, QWidget* parent)> hook(double side) const;

    const stroke::StrokeSource& source() const { return *m_source; }

  private:
    std::shared_ptr<stroke::StrokeSource> m_source;
    double m_side;
};

}  // namespace talvo
