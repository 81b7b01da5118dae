#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace talvo {

// What selection capture needs from the window system. Main thread only.
class SelectionBackend {
  public:
    virtual ~SelectionBackend() = default;

    // Text the window system keeps for the current selection without any
    // copying (the X11 PRIMARY selection); absent where there is none or it
    // holds no text.
    virtual std::optional<std::string> primarySelection() = 0;

    // Whether Shift, Control, Alt/Option or Super/Command is held right now.
    virtual bool modifiersHeld() = 0;

    // Makes the focused application copy its selection to the clipboard with
    // a synthetic keystroke (the one that application expects), after letting
    // go of our own keyboard grab and of modifiers the user still holds.
    virtual void postCopyKeystroke() = 0;

    // The window holding keyboard focus (0: none), and giving it back after
    // our panel closed. restoreFocus leaves focus alone when the user has
    // moved it elsewhere in the meantime.
    virtual uint64_t focusedWindow() = 0;
    virtual void restoreFocus(uint64_t window) = 0;
};

}  // namespace talvo
