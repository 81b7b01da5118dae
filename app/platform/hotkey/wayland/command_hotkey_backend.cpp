#include "app/platform/hotkey/wayland/command_hotkey_backend.h"

#include <QKeyEvent>

#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

bool CommandHotkeyBackend::registerCombo(HotkeyAction, const HotkeyCombo&, std::function<void()>) {
    return false;
}

std::optional<std::string> CommandHotkeyBackend::character(uint32_t keyCode) {
    return keycodes::usLayoutCharacter(keyCode);
}

std::optional<uint32_t> CommandHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    return keyCodeFromQtKey(event.key());
}

}  // namespace talvo
