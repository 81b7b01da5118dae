#pragma once

// The one place that includes Xlib: its macros (None, Bool, KeyPress, Status)
// break Qt headers included after it.

#include <cstdint>

namespace talvo::x11 {

// Posts the copy keystroke through XTest to whatever holds keyboard focus:
// our own keyboard grab (the shortcut's) is released first so the keys do
// not come back to us, modifiers still held are released so the target does
// not see Ctrl+Alt+C, and `withShift` adds Shift (terminals copy with
// Ctrl+Shift+C). `display` is the toolkit's Xlib Display. False when XTest is
// missing.
bool postCopyKeystroke(void* display, bool withShift);

}  // namespace talvo::x11
