#pragma once

#include <optional>
#include <vector>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// A shortcut that fires when press() is called; the US layout names keys.
// Serves tests and displays where no global shortcut is possible.
class FakeHotkeyBackend : public HotkeyBackend {
  public:
    bool registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) override;
    void unregisterCombo() override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    // Runs the registered handler as a key press would; false when nothing
    // is registered.
    bool press();

    std::optional<HotkeyCombo> registered;
    std::vector<HotkeyCombo> refused;  // combos "another program" holds
    int registrations = 0;

  private:
    std::function<void()> m_onPressed;
};

}  // namespace talvo
