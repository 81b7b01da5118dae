#include "app/platform/hotkey/x11/x11_hotkey_backend.h"

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <array>
#include <cstdlib>

#include "app/platform/qt_key_codes.h"
#include "core/text/unicode.h"
#include "core/ui/key_codes.h"

namespace talvo {

namespace {

constexpr uint16_t kRelevantModifiers =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
constexpr std::array<uint16_t, 4> kLockVariants = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2,
                                                   XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
// A press this soon after the last accepted one, with no release seen in
// between, is the key repeating (the release can go astray when selection
// capture lets go of the keyboard grab).
constexpr uint32_t kRepeatWindowMs = 1000;

uint16_t xModifiers(uint32_t carbonModifiers) {
    uint16_t m = 0;
    if (carbonModifiers & carbon::kShift) {
        m |= XCB_MOD_MASK_SHIFT;
    }
    if (carbonModifiers & carbon::kControl) {
        m |= XCB_MOD_MASK_CONTROL;
    }
    if (carbonModifiers & carbon::kOption) {
        m |= XCB_MOD_MASK_1;
    }
    if (carbonModifiers & carbon::kCommand) {
        m |= XCB_MOD_MASK_4;
    }
    return m;
}

std::optional<char32_t> keysymToUnicode(xcb_keysym_t sym) {
    if ((sym >= 0x20 && sym <= 0x7e) || (sym >= 0xa0 && sym <= 0xff)) {
        return static_cast<char32_t>(sym);
    }
    if (sym >= 0x01000100 && sym <= 0x0110ffff) {
        return static_cast<char32_t>(sym - 0x01000000);
    }
    return std::nullopt;
}

}  // namespace

std::unique_ptr<X11HotkeyBackend> X11HotkeyBackend::create() {
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) {
        return nullptr;
    }
    xcb_connection_t* c = x11->connection();
    const xcb_setup_t* setup = xcb_get_setup(c);
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(setup);
    if (!it.rem) {
        return nullptr;
    }
    // Qt opens the default screen; it is the first root on single-screen servers.
    return std::unique_ptr<X11HotkeyBackend>(new X11HotkeyBackend(c, it.data->root));
}

X11HotkeyBackend::X11HotkeyBackend(xcb_connection_t* connection, uint32_t root)
    : m_connection(connection), m_root(root) {
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11HotkeyBackend::~X11HotkeyBackend() {
    if (QCoreApplication::instance()) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
    for (Grab& grab : m_grabs) {
        ungrab(grab);
    }
}

bool X11HotkeyBackend::registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                                     std::function<void()> onPressed) {
    Grab& grab = m_grabs[slotOf(action)];
    ungrab(grab);
    std::optional<uint32_t> evdev = keycodes::evdevFromKeyCode(combo.keyCode);
    if (!evdev || *evdev + keycodes::kX11Offset > 255) {
        return false;
    }
    auto keycode = static_cast<uint8_t>(*evdev + keycodes::kX11Offset);
    uint16_t mods = xModifiers(combo.carbonModifiers);
    std::array<xcb_void_cookie_t, kLockVariants.size()> cookies{};
    for (size_t i = 0; i < kLockVariants.size(); ++i) {
        // owner_events off: while the grab is active (until the key comes
        // up) every key event is reported on the root window, so the
        // release is seen here even after our popup has taken focus.
        cookies[i] = xcb_grab_key_checked(m_connection, 0, m_root, mods | kLockVariants[i], keycode,
                                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    bool refused = false;
    for (xcb_void_cookie_t cookie : cookies) {
        if (xcb_generic_error_t* error = xcb_request_check(m_connection, cookie)) {
            // BadAccess: another client holds this combo.
            refused = true;
            std::free(error);
        }
    }
    grab.keycode = keycode;
    grab.modifiers = mods;
    if (refused) {
        ungrab(grab);
        return false;
    }
    grab.onPressed = std::move(onPressed);
    grab.keyDown = false;
    return true;
}

void X11HotkeyBackend::unregisterCombo(HotkeyAction action) {
    ungrab(m_grabs[slotOf(action)]);
}

void X11HotkeyBackend::ungrab(Grab& grab) {
    if (grab.keycode == 0) {
        return;
    }
    for (uint16_t variant : kLockVariants) {
        xcb_ungrab_key(m_connection, grab.keycode, m_root, grab.modifiers | variant);
    }
    xcb_flush(m_connection);
    grab = {};
}

std::optional<std::string> X11HotkeyBackend::character(uint32_t keyCode) {
    std::optional<uint32_t> evdev = keycodes::evdevFromKeyCode(keyCode);
    if (!evdev || *evdev + keycodes::kX11Offset > 255) {
        return std::nullopt;
    }
    // Fetched afresh: the user may have switched layouts since the last call.
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(m_connection);
    if (!symbols) {
        return std::nullopt;
    }
    xcb_keysym_t sym = xcb_key_symbols_get_keysym(
        symbols, static_cast<xcb_keycode_t>(*evdev + keycodes::kX11Offset), 0);
    xcb_key_symbols_free(symbols);
    std::optional<char32_t> c = keysymToUnicode(sym);
    if (!c || text::isWhitespace(*c)) {
        return std::nullopt;
    }
    std::string out;
    text::appendUtf8(out, *c);
    return out;
}

std::optional<uint32_t> X11HotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    quint32 native = event.nativeScanCode();
    if (native > keycodes::kX11Offset) {
        if (auto code = keycodes::keyCodeFromEvdev(native - keycodes::kX11Offset)) {
            return code;
        }
    }
    return keyCodeFromQtKey(event.key());
}

bool X11HotkeyBackend::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    auto* event = static_cast<xcb_generic_event_t*>(message);
    uint8_t type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    auto* key = reinterpret_cast<xcb_key_press_event_t*>(event);
    bool ours = false;
    for (Grab& grab : m_grabs) {
        if (grab.keycode == 0 || key->detail != grab.keycode) {
            continue;
        }
        // The modifiers may come up first; the key's release counts all the
        // same, also when it reaches one of our windows (the grab was let go
        // early). Two shortcuts on one key (D and Shift+D) both see it.
        if (type == XCB_KEY_RELEASE) {
            grab.keyDown = false;
            grab.lastRelease = key->time;
            ours = ours || key->event == m_root;
            continue;
        }
        if (key->event != m_root || (key->state & kRelevantModifiers) != grab.modifiers) {
            continue;
        }
        // Without detectable auto-repeat a repeat is a release and a press
        // carrying the same time stamp.
        bool repeat = key->time == grab.lastRelease ||
                      (grab.keyDown && key->time - grab.lastPress < kRepeatWindowMs);
        grab.keyDown = true;
        if (!repeat) {
            grab.lastPress = key->time;
            if (grab.onPressed) {
                // A copy: the handler may let go of the shortcut.
                std::function<void()> handler = grab.onPressed;
                handler();
            }
        }
        return true;
    }
    return ours;
}

}  // namespace talvo
