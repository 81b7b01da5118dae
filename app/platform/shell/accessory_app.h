#pragma once

namespace talvo {

// A program that lives in the menu bar or tray only: no Dock icon. Does
// nothing where the platform has no such notion (X11, Windows: the popup and
// the tray icon never appear in the taskbar anyway).
void becomeAccessoryApplication();

}  // namespace talvo
