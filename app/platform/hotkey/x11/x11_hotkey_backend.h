#pragma once

#include <QAbstractNativeEventFilter>
#include <array>
#include <memory>

#include "app/platform/hotkey/hotkey_backend.h"

struct xcb_connection_t;

namespace talvo {

// Each shortcut as a passive key grab on the root window. The grab is taken
// four times (plain, with Caps Lock, with Num Lock, with both) because X11
// counts lock keys as modifiers. Option is Alt (Mod1) and Command is Super
// (Mod4). Key codes map to the X server's evdev codes.
class X11HotkeyBackend : public HotkeyBackend, public QAbstractNativeEventFilter {
  public:
    // Null when the program does not run on an X connection.
    static std::unique_ptr<X11HotkeyBackend> create();
    ~X11HotkeyBackend() override;

    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction action) override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

  private:
    struct Grab {
        uint8_t keycode = 0;  // 0: nothing grabbed
        uint16_t modifiers = 0;
        std::function<void()> onPressed;
        // Auto-repeat shows up as more presses while the key is held.
        bool keyDown = false;
        uint32_t lastPress = 0;
        uint32_t lastRelease = 0;
    };

    X11HotkeyBackend(xcb_connection_t* connection, uint32_t root);
    void ungrab(Grab& grab);

    xcb_connection_t* m_connection;
    uint32_t m_root;
    std::array<Grab, kHotkeyActions.size()> m_grabs;
};

}  // namespace talvo
