#pragma once

#include <array>
#include <optional>
#include <vector>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// Shortcuts that fire when press() is called; the US layout names keys.
// Serves tests and displays where no global shortcut is possible.
class FakeHotkeyBackend : public HotkeyBackend {
  public:
    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction action) override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    // Runs the action's handler as a key press would; false when nothing is
    // registered for it.
    bool press(HotkeyAction action = HotkeyAction::Lookup);
    // The combo held for the action, if any.
    std::optional<HotkeyCombo> registered(HotkeyAction action = HotkeyAction::Lookup) const {
        return m_slots[slotOf(action)].combo;
    }

    std::vector<HotkeyCombo> refused;  // combos "another program" holds
    int registrations = 0;

  private:
    struct Slot {
        std::optional<HotkeyCombo> combo;
        std::function<void()> onPressed;
    };
    std::array<Slot, kHotkeyActions.size()> m_slots;
};

}  // namespace talvo
