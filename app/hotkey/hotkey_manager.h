#pragma once

#include <QObject>
#include <array>
#include <functional>
#include <optional>

#include "core/ui/hotkey_combo.h"

namespace talvo {

class AppSettings;
class HotkeyBackend;

// The registered shortcuts, one per action. Presses reach onTrigger through
// the event queue, never from inside the window system's event dispatch, so
// the handler may run nested event loops. Main thread only; borrows the
// backend.
class HotkeyManager : public QObject {
    Q_OBJECT
  public:
    explicit HotkeyManager(HotkeyBackend& backend, QObject* parent = nullptr);
    ~HotkeyManager() override;

    // Unregisters the action's previous combo, then registers this one. A
    // combo the system refuses, or one the other action holds already, is
    // remembered all the same and simply never fires.
    void registerCombo(HotkeyAction action, const HotkeyCombo& combo);
    // Lets go of every grab while a new shortcut is recorded (so the current
    // ones reach the recorder) and takes them again afterwards.
    void suspend();
    void resume();

    bool isActive(HotkeyAction action) const { return m_slots[slotOf(action)].active; }
    const std::optional<HotkeyCombo>& combo(HotkeyAction action) const {
        return m_slots[slotOf(action)].combo;
    }
    HotkeyBackend& backend() { return m_backend; }

    std::function<void(HotkeyAction)> onTrigger;

  private:
    struct Slot {
        std::optional<HotkeyCombo> combo;
        bool active = false;
    };
    void grab(HotkeyAction action);

    HotkeyBackend& m_backend;
    std::array<Slot, kHotkeyActions.size()> m_slots;
    bool m_suspended = false;
};

// The saved shortcut of an action ("hotkey.keyCode" and
// "hotkey.carbonModifiers" for the lookup, "ocrHotkey.…" for the screen);
// the action's default when none is saved.
HotkeyCombo loadCombo(const AppSettings& settings, HotkeyAction action = HotkeyAction::Lookup);
void saveCombo(AppSettings& settings, const HotkeyCombo& combo,
               HotkeyAction action = HotkeyAction::Lookup);

}  // namespace talvo
