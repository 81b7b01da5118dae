#include "app/platform/hotkey/fake/fake_hotkey_backend.h"

#include <QKeyEvent>
#include <algorithm>

#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

bool FakeHotkeyBackend::registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                                      std::function<void()> onPressed) {
    unregisterCombo(action);
    if (std::find(refused.begin(), refused.end(), combo) != refused.end()) {
        return false;
    }
    Slot& slot = m_slots[slotOf(action)];
    slot.combo = combo;
    slot.onPressed = std::move(onPressed);
    ++registrations;
    return true;
}

void FakeHotkeyBackend::unregisterCombo(HotkeyAction action) {
    m_slots[slotOf(action)] = {};
}

std::optional<std::string> FakeHotkeyBackend::character(uint32_t keyCode) {
    return keycodes::usLayoutCharacter(keyCode);
}

std::optional<uint32_t> FakeHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    return keyCodeFromQtKey(event.key());
}

bool FakeHotkeyBackend::press(HotkeyAction action) {
    const Slot& slot = m_slots[slotOf(action)];
    if (!slot.onPressed) {
        return false;
    }
    // A copy: the handler may register the combo anew.
    std::function<void()> handler = slot.onPressed;
    handler();
    return true;
}

}  // namespace talvo
