#pragma once

#include <QAbstractNativeEventFilter>
#include <array>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcuts through RegisterHotKey on the main thread's message queue
// (WM_HOTKEY). Key codes go through the keyboard's scan codes, which equal
// Linux evdev codes on the main block.
// Untested: written from Microsoft's documentation, never built here.
class WinHotkeyBackend : public HotkeyBackend, public QAbstractNativeEventFilter {
  public:
    WinHotkeyBackend();
    ~WinHotkeyBackend() override;

    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction action) override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

  private:
    struct HotKey {
        bool registered = false;
        std::function<void()> onPressed;
    };
    std::array<HotKey, kHotkeyActions.size()> m_hotKeys;
};

}  // namespace talvo
