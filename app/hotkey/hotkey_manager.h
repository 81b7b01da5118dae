#pragma once

#include <QObject>
#include <functional>
#include <optional>

#include "core/ui/hotkey_combo.h"

namespace talvo {

class AppSettings;
class HotkeyBackend;

// The one registered shortcut. Presses reach onTrigger through the event
// queue, never from inside the window system's event dispatch, so the handler
// may run nested event loops. Main thread only; borrows the backend.
class HotkeyManager : public QObject {
    Q_OBJECT
  public:
    explicit HotkeyManager(HotkeyBackend& backend, QObject* parent = nullptr);
    ~HotkeyManager() override;

    // Unregisters the previous combo, then registers this one. A combo the
    // system refuses is remembered all the same and simply never fires.
    void registerCombo(const HotkeyCombo& combo);
    // Lets go of the grab while a new shortcut is recorded (so the current
    // one reaches the recorder) and takes it again afterwards.
    void suspend();
    void resume();

    bool isActive() const { return m_active; }
    const std::optional<HotkeyCombo>& combo() const { return m_combo; }
    HotkeyBackend& backend() { return m_backend; }

    std::function<void()> onTrigger;

  private:
    void grab();

    HotkeyBackend& m_backend;
    std::optional<HotkeyCombo> m_combo;
    bool m_active = false;
    bool m_suspended = false;
};

// The saved shortcut ("hotkey.keyCode", "hotkey.carbonModifiers").
HotkeyCombo loadCombo(const AppSettings& settings);
void saveCombo(AppSettings& settings, const HotkeyCombo& combo);

}  // namespace talvo
