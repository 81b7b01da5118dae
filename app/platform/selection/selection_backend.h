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
    // copying (the X11 PRIMARY selection), when it is current: taken since
    // the previous call, or held by the focused application. Absent where
    // there is none, it holds no text, or it is left over from earlier work
    // (looking that up would answer a question nobody asked). Each call is
    // one lookup: it marks what later calls count as new.
    virtual std::optional<std::string> primarySelection() = 0;

    // Whether primarySelection() can see the selection only while one of our
    // own windows holds keyboard focus (GNOME on Wayland): a lookup then
    // shows its panel first, focused, and reads once the panel has focus.
    virtual bool readsOnlyWhenFocused() const { return false; }

    // Whether the focused window may be asked to copy with a synthetic
    // keystroke. Never a terminal (recognised by its window class or by the
    // process behind it): Ctrl+C would interrupt the program running in it.
    // Never on Wayland, where synthetic input does not reach other programs.
    virtual bool copyKeystrokeAllowed() = 0;

    // Whether Shift, Control, Alt/Option or Super/Command is held right now.
    virtual bool modifiersHeld() = 0;

    // Makes the focused application copy its selection to the clipboard with
    // a synthetic Ctrl+C (Command-C on macOS), after letting go of our own
    // keyboard grab and of modifiers the user still holds. Does nothing where
    // copyKeystrokeAllowed() says no.
    virtual void postCopyKeystroke() = 0;

    // The window holding keyboard focus (0: none), and giving it back after
    // our panel closed. restoreFocus leaves focus alone when the user has
    // moved it elsewhere in the meantime.
    virtual uint64_t focusedWindow() = 0;
    virtual void restoreFocus(uint64_t window) = 0;
};

}  // namespace talvo
