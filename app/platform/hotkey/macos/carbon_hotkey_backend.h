#pragma once

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcut as a Carbon hot key ('MRLO', 1) on the application event
// target; key labels through the current keyboard layout (UCKeyTranslate).
// Untested: written from Apple's header documentation, never built here.
class CarbonHotkeyBackend : public HotkeyBackend {
  public:
    CarbonHotkeyBackend();
    ~CarbonHotkeyBackend() override;

    bool registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) override;
    void unregisterCombo() override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    // Called by the Carbon event handler.
    void fire();

  private:
    void* m_handler = nullptr;  // EventHandlerRef
    void* m_hotKey = nullptr;   // EventHotKeyRef
    std::function<void()> m_onPressed;
};

}  // namespace talvo
