#pragma once

#include "app/platform/selection/selection_backend.h"

namespace talvo {

// Selection capture on Windows: Ctrl+C through SendInput into the foreground
// window, the asynchronous key state for held modifiers.
// Untested: written from Microsoft's documentation, never built here.
class WinSelectionBackend : public SelectionBackend {
  public:
    std::optional<std::string> primarySelection() override { return std::nullopt; }
    // Recognising consoles on Windows is not written yet.
    bool copyKeystrokeAllowed() override { return true; }
    bool modifiersHeld() override;
    void postCopyKeystroke() override;
    uint64_t focusedWindow() override;
    void restoreFocus(uint64_t window) override;
};

}  // namespace talvo
