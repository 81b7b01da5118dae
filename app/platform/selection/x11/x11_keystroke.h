#pragma once

// The one place that includes Xlib: its macros (None, Bool, KeyPress, Status)
// break Qt headers included after it.

#include <cstdint>

namespace talvo::x11 {

// Posts Ctrl+C through XTest to whatever holds keyboard focus: our own
// keyboard grab (the shortcut's) is released first so the keys do not come
// back to us, and modifiers still held are released so the target does not
// see Ctrl+Alt+C. Never aim it at a terminal: there it is SIGINT, and even
// Ctrl+Shift+C reached a trapped program in xterm. `display` is the
// toolkit's Xlib Display. False when XTest is missing.
bool postCopyKeystroke(void* display);

}  // namespace talvo::x11
