#include "app/platform/selection/x11/x11_keystroke.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <array>

namespace talvo::x11 {

namespace {

void releaseHeldModifiers(Display* dpy) {
    std::array<char, 32> keys{};
    XQueryKeymap(dpy, keys.data());
    XModifierKeymap* map = XGetModifierMapping(dpy);
    if (!map) {
        return;
    }
    // Shift, Control, Mod1 (Alt) and Mod4 (Super); the lock rows stay.
    for (int row : {ShiftMapIndex, ControlMapIndex, Mod1MapIndex, Mod4MapIndex}) {
        for (int i = 0; i < map->max_keypermod; ++i) {
            KeyCode kc = map->modifiermap[row * map->max_keypermod + i];
            if (kc != 0 && (keys[kc / 8] & (1 << (kc % 8)))) {
                XTestFakeKeyEvent(dpy, kc, False, CurrentTime);
            }
        }
    }
    XFreeModifiermap(map);
}

}  // namespace

bool postCopyKeystroke(void* display) {
    auto* dpy = static_cast<Display*>(display);
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!dpy || !XTestQueryExtension(dpy, &eventBase, &errorBase, &major, &minor)) {
        return false;
    }
    XUngrabKeyboard(dpy, CurrentTime);
    releaseHeldModifiers(dpy);
    KeyCode control = XKeysymToKeycode(dpy, XK_Control_L);
    KeyCode c = XKeysymToKeycode(dpy, XK_c);
    if (control == 0 || c == 0) {
        return false;
    }
    XTestFakeKeyEvent(dpy, control, True, CurrentTime);
    XTestFakeKeyEvent(dpy, c, True, CurrentTime);
    XTestFakeKeyEvent(dpy, c, False, CurrentTime);
    XTestFakeKeyEvent(dpy, control, False, CurrentTime);
    XFlush(dpy);
    return true;
}

}  // namespace talvo::x11
