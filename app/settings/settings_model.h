#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <optional>

#include "core/ui/hotkey_combo.h"

class QKeyEvent;

namespace talvo {

class HotkeyBackend;

// One key press as recording sees it: the shortcut key code and the
// window-system modifier flags.
struct KeyPress {
    uint32_t keyCode = 0;
    uint64_t modifierFlags = 0;
};

// The Settings window's shortcut state: the combo shown, whether a new one is
// being recorded, and the warning under it. While recording, every key press
// addressed to this program's windows comes here and goes nowhere else.
// Main thread only.
class SettingsModel : public QObject {
    Q_OBJECT
  public:
    // Borrows the backend, which names the keys of our own windows' events.
    // `defaultCombo` is what the default button restores.
    explicit SettingsModel(HotkeyBackend& keys,
                           HotkeyCombo defaultCombo = HotkeyCombo::defaultCombo(),
                           QObject* parent = nullptr);
    ~SettingsModel() override;

    const HotkeyCombo& combo() const { return m_combo; }
    void setCombo(const HotkeyCombo& combo);
    bool recording() const { return m_monitor != nullptr; }
    const std::optional<QString>& warning() const { return m_warning; }

    void startRecording();
    void stopRecording();
    // Escape alone cancels; another key alone warns and keeps recording; a
    // key with a modifier becomes the combo (onComboChange) and ends
    // recording, unless `taken` refuses it (a warning, still recording).
    void handle(const KeyPress& press);
    // Stops recording, takes the default combo (unless `taken` refuses it:
    // a warning), clears the warning, tells onComboChange.
    void resetToDefault();
    const HotkeyCombo& defaultCombo() const { return m_default; }

    // Set by the window, so the warning follows the interface language.
    std::function<QString()> needModifierText;
    // Why a combo cannot be this shortcut (another one holds it); empty
    // when it can.
    std::function<QString(const HotkeyCombo&)> taken;
    std::function<void(const HotkeyCombo&)> onComboChange;
    // The global shortcut must let go while recording, or pressing the
    // current combo would start a lookup instead of being recorded.
    std::function<void(bool recording)> onRecordingChanged;

  signals:
    void changed();

  private:
    class Monitor;
    bool filterKey(QKeyEvent* event);

    HotkeyBackend& m_keys;
    HotkeyCombo m_default;
    HotkeyCombo m_combo;
    std::optional<QString> m_warning;
    Monitor* m_monitor = nullptr;
};

}  // namespace talvo
