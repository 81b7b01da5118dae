#pragma once

#include <memory>
#include <string>

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
    bool modifiersHeld() override;
    void postCopyKeystroke() override;
    uint64_t focusedWindow() override;
    void restoreFocus(uint64_t window) override;

    // WM_CLASS (instance and class) of the top-level window holding `window`.
    std::string windowClass(uint32_t window);

  private:
    X11SelectionBackend(xcb_connection_t* connection, void* display, uint32_t root);
    bool isOurs(uint32_t window) const;

    xcb_connection_t* m_connection;
    void* m_display;
    uint32_t m_root;
};

}  // namespace talvo
