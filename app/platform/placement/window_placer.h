#pragma once

#include <QPoint>
#include <QRect>
#include <optional>

class QWidget;

namespace talvo {

// Places our own top-level windows where the toolkit cannot: in a Wayland
// session no client may position its windows, so only a compositor that
// takes commands from its clients' side (sway's IPC) can do it. Where no
// placer exists the compositor decides. Main thread only.
class WindowPlacer {
  public:
    virtual ~WindowPlacer() = default;

    // The screen holding keyboard focus (logical coordinates), when known.
    virtual std::optional<QRect> focusedScreen() = 0;
    // Moves `window`, shown just now, so that its top-left corner is at
    // `topLeft`; waits for the compositor to map it first. Never blocks
    // longer than a few milliseconds.
    virtual void place(QWidget* window, QPoint topLeft) = 0;
};

}  // namespace talvo
