#pragma once

#include <array>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcuts as Carbon hot keys on the application event target, ('MRLO',
// 1) looking up and ('MRLO', 2) reading the screen; key labels through the
// current keyboard layout (UCKeyTranslate).
// Untested: written from Apple's header documentation, never built here.
class CarbonHotkeyBackend : public HotkeyBackend {
  public:
    CarbonHotkeyBackend();
    ~CarbonHotkeyBackend() override;

    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction action) override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    // Called by the Carbon event handler with the hot key's id.
    void fire(uint32_t id);

  private:
    struct HotKey {
        void* ref = nullptr;  // EventHotKeyRef
        std::function<void()> onPressed;
    };
    void* m_handler = nullptr;  // EventHandlerRef
    std::array<HotKey, kHotkeyActions.size()> m_hotKeys;
};

}  // namespace talvo
