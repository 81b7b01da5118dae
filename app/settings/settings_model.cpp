#include "app/settings/settings_model.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include "app/platform/hotkey/hotkey_backend.h"
#include "app/platform/qt_key_codes.h"

namespace talvo {

// The local key monitor: sees every key event of the application's windows.
class SettingsModel::Monitor : public QObject {
  public:
    explicit Monitor(SettingsModel& model) : m_model(model) {}

  protected:
    bool eventFilter(QObject*, QEvent* e) override {
        switch (e->type()) {
            case QEvent::ShortcutOverride:
                // Claim the key so no shortcut of a focused widget takes it.
                e->accept();
                return true;
            case QEvent::KeyPress:
                return m_model.filterKey(static_cast<QKeyEvent*>(e));
            case QEvent::KeyRelease:
                return true;
            default:
                return false;
        }
    }

  private:
    SettingsModel& m_model;
};

SettingsModel::SettingsModel(HotkeyBackend& keys, HotkeyCombo defaultCombo, QObject* parent)
    : QObject(parent), m_keys(keys), m_default(defaultCombo), m_combo(defaultCombo) {}

SettingsModel::~SettingsModel() {
    stopRecording();
}

void SettingsModel::setCombo(const HotkeyCombo& combo) {
    m_combo = combo;
    emit changed();
}

void SettingsModel::startRecording() {
    if (m_monitor) {
        return;
    }
    m_warning.reset();
    m_monitor = new Monitor(*this);
    QCoreApplication::instance()->installEventFilter(m_monitor);
    if (onRecordingChanged) {
        onRecordingChanged(true);
    }
    emit changed();
}

void SettingsModel::stopRecording() {
    if (!m_monitor) {
        return;
    }
    QCoreApplication::instance()->removeEventFilter(m_monitor);
    delete m_monitor;
    m_monitor = nullptr;
    if (onRecordingChanged) {
        onRecordingChanged(false);
    }
    emit changed();
}

bool SettingsModel::filterKey(QKeyEvent* event) {
    // Auto-repeat of the key that ended recording arrives after it; once
    // stopped, nothing is swallowed any more.
    if (!m_monitor || isModifierKey(event->key())) {
        return true;
    }
    std::optional<uint32_t> code = m_keys.keyCodeOf(*event);
    if (!code) {
        return true;
    }
    handle({*code, eventFlagsFromQt(event->modifiers())});
    return true;
}

void SettingsModel::handle(const KeyPress& press) {
    uint64_t flags = press.modifierFlags & eventflags::kDeviceIndependentMask;
    if (flags == 0) {
        if (press.keyCode == keycode::kEscape) {
            stopRecording();
            return;
        }
        m_warning = needModifierText ? needModifierText() : QString();
        emit changed();
        return;
    }
    const HotkeyCombo combo{press.keyCode, HotkeyConfig::carbonModifiers(flags)};
    if (QString why = taken ? taken(combo) : QString(); !why.isEmpty()) {
        m_warning = why;
        emit changed();
        return;
    }
    m_combo = combo;
    if (onComboChange) {
        onComboChange(m_combo);
    }
    stopRecording();
    emit changed();
}

void SettingsModel::resetToDefault() {
    stopRecording();
    if (QString why = taken ? taken(m_default) : QString(); !why.isEmpty()) {
        m_warning = why;
        emit changed();
        return;
    }
    m_combo = m_default;
    m_warning.reset();
    if (onComboChange) {
        onComboChange(m_combo);
    }
    emit changed();
}

}  // namespace talvo
