#pragma once

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcut on a Wayland desktop that gives programs no global key of
// their own: nothing is claimed (registerCombo answers false), and the
// desktop runs `talvo --lookup` (and `talvo --ocr`) from a key the user
// binds in its settings.
// Keys recorded in Settings are named by their US-layout meaning, as Qt
// reports them to our own windows.
class CommandHotkeyBackend : public HotkeyBackend {
  public:
    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction) override {}
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;
};

}  // namespace talvo
