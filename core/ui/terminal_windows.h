#pragma once

#include <string_view>

namespace talvo {

// True when a window's class (X11 WM_CLASS instance or class name) belongs to
// a terminal emulator. Terminals read Ctrl+C as an interrupt for the program
// running in them, so the copy keystroke sent to them is Ctrl+Shift+C.
bool isTerminalWindowClass(std::string_view windowClass);

}  // namespace talvo
