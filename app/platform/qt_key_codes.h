#pragma once

#include <Qt>
#include <cstdint>
#include <optional>

class QKeyEvent;

namespace talvo {

// The shortcut key code of a Qt key, by the key's US-layout meaning; used
// where the platform gives no hardware code (offscreen, tests). Modifier keys
// and keys without a code give nothing.
std::optional<uint32_t> keyCodeFromQtKey(int key);

// Window-system modifier flags (HotkeyCombo's eventflags) of a key event.
// On macOS Qt calls Command "Control" and Control "Meta"; this undoes that.
uint64_t eventFlagsFromQt(Qt::KeyboardModifiers modifiers);

// True for Shift, Control, Alt, Meta and the lock keys pressed on their own.
bool isModifierKey(int key);

}  // namespace talvo
