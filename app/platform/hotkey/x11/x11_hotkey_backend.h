#pragma once

#include <QAbstractNativeEventFilter>
#include <memory>

#include "app/platform/hotkey/hotkey_backend.h"

struct xcb_connection_t;

namespace talvo {

// The shortcut as a passive key grab on the root window. The grab is taken
// four times (plain, with Caps Lock, with Num Lock, with both) because X11
// counts lock keys as modifiers. Option is Alt (Mod1) and Command is Super
// (Mod4). Key codes map to the X server's evdev codes.
class X11HotkeyBackend : public HotkeyBackend, public QAbstractNativeEventFilter {
  public:
    // Null when the program does not run on an X connection.
    static std::unique_ptr<X11HotkeyBackend> create();
    ~X11HotkeyBackend() override;

    bool registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) override;
    void unregisterCombo() override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

  private:
    X11HotkeyBackend(xcb_connection_t* connection, uint32_t root);
    void ungrab();

    xcb_connection_t* m_connection;
    uint32_t m_root;
    uint8_t m_keycode = 0;  // 0: nothing grabbed
    uint16_t m_modifiers = 0;
    std::function<void()> m_onPressed;
    // Auto-repeat shows up as more presses while the key is held.
    bool m_keyDown = false;
    uint32_t m_lastPress = 0;
    uint32_t m_lastRelease = 0;
};

}  // namespace talvo
