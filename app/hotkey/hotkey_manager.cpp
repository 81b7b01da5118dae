#include "app/hotkey/hotkey_manager.h"

#include <QMetaObject>
#include <QPointer>

#include "app/platform/hotkey/hotkey_backend.h"
#include "net/settings/app_settings.h"

namespace talvo {

namespace {

struct ComboKeys {
    const char* keyCode;
    const char* modifiers;
};

ComboKeys keysOf(HotkeyAction action) {
    if (action == HotkeyAction::ScreenText) {
        return {AppSettings::kScreenTextKeyCodeKey, AppSettings::kScreenTextModifiersKey};
    }
    return {AppSettings::kHotkeyKeyCodeKey, AppSettings::kHotkeyModifiersKey};
}

}  // namespace

HotkeyManager::HotkeyManager(HotkeyBackend& backend, QObject* parent)
    : QObject(parent), m_backend(backend) {}

HotkeyManager::~HotkeyManager() {
    for (HotkeyAction action : kHotkeyActions) {
        m_backend.unregisterCombo(action);
    }
}

void HotkeyManager::registerCombo(HotkeyAction action, const HotkeyCombo& combo) {
    m_backend.unregisterCombo(action);
    Slot& slot = m_slots[slotOf(action)];
    slot.active = false;
    slot.combo = combo;
    if (!m_suspended) {
        grab(action);
    }
}

void HotkeyManager::suspend() {
    if (m_suspended) {
        return;
    }
    m_suspended = true;
    for (HotkeyAction action : kHotkeyActions) {
        m_backend.unregisterCombo(action);
        m_slots[slotOf(action)].active = false;
    }
}

void HotkeyManager::resume() {
    if (!m_suspended) {
        return;
    }
    m_suspended = false;
    for (HotkeyAction action : kHotkeyActions) {
        if (m_slots[slotOf(action)].combo) {
            grab(action);
        }
    }
}

void HotkeyManager::grab(HotkeyAction action) {
    Slot& slot = m_slots[slotOf(action)];
    // One key cannot do two things; the system would hand it to one of them
    // or drop both grabs together.
    for (HotkeyAction other : kHotkeyActions) {
        const Slot& o = m_slots[slotOf(other)];
        if (other != action && o.active && o.combo == slot.combo) {
            return;
        }
    }
    QPointer<HotkeyManager> self(this);
    slot.active = m_backend.registerCombo(action, *slot.combo, [self, action] {
        QMetaObject::invokeMethod(
            self,
            [self, action] {
                if (self && self->onTrigger) {
                    self->onTrigger(action);
                }
            },
            Qt::QueuedConnection);
    });
}

HotkeyCombo loadCombo(const AppSettings& settings, HotkeyAction action) {
    const ComboKeys keys = keysOf(action);
    return HotkeyConfig::load(settings.contains(keys.keyCode), settings.integer(keys.keyCode),
                              settings.integer(keys.modifiers), HotkeyConfig::defaultCombo(action));
}

void saveCombo(AppSettings& settings, const HotkeyCombo& combo, HotkeyAction action) {
    const ComboKeys keys = keysOf(action);
    settings.setInteger(keys.keyCode, combo.keyCode);
    settings.setInteger(keys.modifiers, combo.carbonModifiers);
    settings.sync();
}

}  // namespace talvo
