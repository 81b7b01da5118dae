#pragma once

#include <optional>
#include <string>

namespace talvo {

class ClipboardAccess;
class EventPump;
class SelectionBackend;

enum class SelectionError {
    timedOut,   // the clipboard did not change: nothing selected, or no answer to the copy
    emptyText,  // it changed but holds no text, or an empty one
};

struct SelectionResult {
    std::optional<std::string> text;  // set on success; may be blanks only
    SelectionError error = SelectionError::timedOut;

    bool ok() const { return text.has_value(); }
};

// Reads the text the user selected in the focused application. Main thread
// only; borrows its collaborators.
class SelectionReader {
  public:
    static constexpr double kModifierWait = 0.4;
    static constexpr double kSlice = 0.01;

    SelectionReader(SelectionBackend& backend, ClipboardAccess& clipboard, EventPump& pump);

    // A current, non-empty PRIMARY selection is the answer at once. Without
    // one, a window that may not be asked to copy (a terminal, any window on
    // Wayland) ends the lookup there (timedOut). Otherwise the
    // clipboard is saved, the user's modifiers get up to 0.4 s to come up,
    // the copy keystroke is posted and the clipboard watched for `timeout`
    // seconds; whenever it changed, its saved contents are put back before
    // the result is returned. Blocks for at most about 0.4 s + timeout, turning
    // the event loop meanwhile.
    SelectionResult read(double timeout);

  private:
    SelectionBackend& m_backend;
    ClipboardAccess& m_clipboard;
    EventPump& m_pump;
};

}  // namespace talvo
