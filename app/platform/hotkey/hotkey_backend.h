#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/ui/hotkey_combo.h"

class QKeyEvent;

namespace talvo {

// The system-wide shortcuts as one operating system offers them: one combo
// per action, each claimed and let go on its own. Main thread only.
class HotkeyBackend {
  public:
    virtual ~HotkeyBackend() = default;

    // Claims the combo for the whole desktop, replacing the action's earlier
    // claim. `onPressed` runs on the main thread, from inside event dispatch,
    // at each press. False when the system refused (another program holds
    // the combo, the key has no code here): then nothing fires, and nothing
    // else changes.
    virtual bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                               std::function<void()> onPressed) = 0;
    virtual void unregisterCombo(HotkeyAction action) = 0;

    // The character the key produces on the current layout without
    // modifiers; absent when it produces none.
    virtual std::optional<std::string> character(uint32_t keyCode) = 0;

    // The shortcut key code of a key press delivered to one of our windows
    // (recording a new shortcut); absent for a key no shortcut can use.
    virtual std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) = 0;
};

}  // namespace talvo
