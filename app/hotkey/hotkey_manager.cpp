#include "app/hotkey/hotkey_manager.h"

#include <QMetaObject>
#include <QPointer>

#include "app/platform/hotkey/hotkey_backend.h"
#include "net/settings/app_settings.h"

namespace talvo {

HotkeyManager::HotkeyManager(HotkeyBackend& backend, QObject* parent)
    : QObject(parent), m_backend(backend) {}

HotkeyManager::~HotkeyManager() {
    m_backend.unregisterCombo();
}

void HotkeyManager::registerCombo(const HotkeyCombo& combo) {
    m_backend.unregisterCombo();
    m_active = false;
    m_combo = combo;
    if (!m_suspended) {
        grab();
    }
}

void HotkeyManager::suspend() {
    if (m_suspended) {
        return;
    }
    m_suspended = true;
    m_backend.unregisterCombo();
    m_active = false;
}

void HotkeyManager::resume() {
    if (!m_suspended) {
        return;
    }
    m_suspended = false;
    if (m_combo) {
        grab();
    }
}

void HotkeyManager::grab() {
    QPointer<HotkeyManager> self(this);
    m_active = m_backend.registerCombo(*m_combo, [self] {
        QMetaObject::invokeMethod(
            self,
            [self] {
                if (self && self->onTrigger) {
                    self->onTrigger();
                }
            },
            Qt::QueuedConnection);
    });
}

HotkeyCombo loadCombo(const AppSettings& settings) {
    return HotkeyConfig::load(settings.contains(AppSettings::kHotkeyKeyCodeKey),
                              settings.integer(AppSettings::kHotkeyKeyCodeKey),
                              settings.integer(AppSettings::kHotkeyModifiersKey));
}

void saveCombo(AppSettings& settings, const HotkeyCombo& combo) {
    settings.setInteger(AppSettings::kHotkeyKeyCodeKey, combo.keyCode);
    settings.setInteger(AppSettings::kHotkeyModifiersKey, combo.carbonModifiers);
    settings.sync();
}

}  // namespace talvo
