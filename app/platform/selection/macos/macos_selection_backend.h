#pragma once

#include "app/platform/clipboard_access.h"
#include "app/platform/selection/selection_backend.h"

namespace talvo {

// Selection capture on macOS: a synthetic Command-C posted to the HID event
// tap, the general pasteboard's change count, the frontmost application.
// Untested: written from Apple's documentation, never built here.
class MacSelectionBackend : public SelectionBackend {
  public:
    std::optional<std::string> primarySelection() override { return std::nullopt; }
    // Terminal.app and iTerm copy with Command-C, which signals nothing.
    bool copyKeystrokeAllowed() override { return true; }
    bool modifiersHeld() override;
    void postCopyKeystroke() override;
    uint64_t focusedWindow() override;  // the frontmost application's process id
    void restoreFocus(uint64_t processId) override;
};

// The toolkit's clipboard with the pasteboard's own change count, which
// moves on every write by any process.
class MacClipboardAccess : public QtClipboardAccess {
  public:
    uint64_t changeCount() override;
};

}  // namespace talvo
