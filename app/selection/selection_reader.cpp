#include "app/selection/selection_reader.h"

#include "app/platform/clipboard_access.h"
#include "app/platform/selection/selection_backend.h"
#include "app/selection/event_pump.h"

namespace talvo {

SelectionReader::SelectionReader(SelectionBackend& backend, ClipboardAccess& clipboard,
                                 EventPump& pump)
    : m_backend(backend), m_clipboard(clipboard), m_pump(pump) {}

SelectionResult SelectionReader::read(double timeout) {
    if (auto primary = m_backend.primarySelection(); primary && !primary->empty()) {
        return {std::move(primary), SelectionError::timedOut};
    }
    // A terminal is read through PRIMARY only (any copy keystroke risks a
    // signal to the program running in it), and so is every window on Wayland.
    if (!m_backend.copyKeystrokeAllowed()) {
        return {std::nullopt, SelectionError::timedOut};
    }

    ClipboardSnapshot saved = m_clipboard.snapshot();
    uint64_t base = m_clipboard.changeCount();

    // A modifier still held would join the synthetic copy (Alt+Ctrl+C).
    double modifierDeadline = m_pump.now() + kModifierWait;
    while (m_pump.now() < modifierDeadline && m_backend.modifiersHeld()) {
        m_pump.runFor(kSlice);
    }
    m_backend.postCopyKeystroke();

    double deadline = m_pump.now() + timeout;
    while (m_pump.now() < deadline) {
        if (m_clipboard.changeCount() != base) {
            std::optional<QString> copied = m_clipboard.text();
            m_clipboard.restore(saved);
            if (!copied || copied->isEmpty()) {
                return {std::nullopt, SelectionError::emptyText};
            }
            return {copied->toStdString(), SelectionError::timedOut};
        }
        m_pump.runFor(kSlice);
    }
    // Nothing was written, so the clipboard is still exactly the user's. On
    // X11 putting it back would make this program its owner, and the
    // contents would vanish when it quits.
    if (m_clipboard.changeCount() != base) {
        m_clipboard.restore(saved);
    }
    return {std::nullopt, SelectionError::timedOut};
}

}  // namespace talvo
