#pragma once

#include <QObject>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "app/platform/selection/selection_backend.h"

struct xcb_connection_t;

namespace talvo {

// Selection capture on X11: the PRIMARY selection (what is highlighted now),
// the pointer's modifier state, XTest for the copy keystroke, and the input
// focus. Uses the toolkit's own X connection.
class X11SelectionBackend : public SelectionBackend {
  public:
    // Null when the program does not run on an X connection.
    static std::unique_ptr<X11SelectionBackend> create();

    std::optional<std::string> primarySelection() override;
    bool copyKeystrokeAllowed() override { return !focusIsTerminal(); }
    bool modifiersHeld() override;
    void postCopyKeystroke() override;
    uint64_t focusedWindow() override;
    void restoreFocus(uint64_t window) override;

    // Whether the focused window is a terminal: its WM_CLASS is one
    // terminals use, or its process holds a pseudo-terminal master.
    bool focusIsTerminal();
    // WM_CLASS (instance and class) of the top-level window holding `window`.
    std::string windowClass(uint32_t window);
    // _NET_WM_PID of the top-level window holding `window`; 0 when unset.
    int windowPid(uint32_t window);

  private:
    X11SelectionBackend(xcb_connection_t* connection, void* display, uint32_t root);
    bool isOurs(uint32_t window) const;
    bool lookIsTerminal(uint32_t focus);
    // The first value of `property` (of `type`) on `window` or the nearest
    // ancestor that has it, as raw bytes; empty when none has it.
    std::string ancestorProperty(uint32_t window, uint32_t property, uint32_t type);
    // Whether PRIMARY's owner is a window of the client that has focus.
    bool primaryOwnedByFocusedClient();

    xcb_connection_t* m_connection;
    void* m_display;
    uint32_t m_root;
    uint32_t m_pidAtom = 0;
    // PRIMARY changes seen through the toolkit (XFixes), and how many of
    // them the previous lookup had already seen.
    uint64_t m_primaryChanges = 0;
    uint64_t m_primaryChangesSeen = 0;
    // The last window looked at and whether it is a terminal.
    std::optional<std::pair<uint32_t, bool>> m_terminalCheck;
    QObject m_context;  // owns the connection to the clipboard's signal
};

}  // namespace talvo
