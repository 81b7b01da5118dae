#include "app/platform/hotkey/fake/fake_hotkey_backend.h"

#include <QKeyEvent>
#include <algorithm>

#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

bool FakeHotkeyBackend::registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) {
    unregisterCombo();
    if (std::find(refused.begin(), refused.end(), combo) != refused.end()) {
        return false;
    }
    registered = combo;
    m_onPressed = std::move(onPressed);
    ++registrations;
    return true;
}

void FakeHotkeyBackend::unregisterCombo() {
    registered.reset();
    m_onPressed = nullptr;
}

std::optional<std::string> FakeHotkeyBackend::character(uint32_t keyCode) {
    return keycodes::usLayoutCharacter(keyCode);
}

std::optional<uint32_t> FakeHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    return keyCodeFromQtKey(event.key());
}

bool FakeHotkeyBackend::press() {
    if (!m_onPressed) {
        return false;
    }
    m_onPressed();
    return true;
}

}  // namespace talvo
