#pragma once

#include <QDBusObjectPath>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <array>
#include <memory>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcuts through the desktop portal's GlobalShortcuts interface (KDE
// Plasma 5.27+, GNOME 48+, Hyprland): a session is created, the shortcuts
// are bound with the stored combos as their preferred triggers (the desktop
// may ask the user to confirm, or let them pick other keys), and the
// portal's Activated signal runs the action. A session binds its shortcuts
// once, so every change makes a new session holding all of them; changes
// made in one turn of the event loop share it (the desktop asks the user
// once). Every step answers through the portal's Request objects, so
// registerCombo only starts it: it returns true, and a refusal shows up as a
// shortcut that never fires. Main thread only; uses the session bus.
class PortalHotkeyBackend : public QObject, public HotkeyBackend {
    Q_OBJECT
  public:
    // The shortcut ids the portal knows ours by.
    static const char* shortcutId(HotkeyAction action);

    // Null when the session bus has no GlobalShortcuts portal. `appId` is the
    // desktop entry's name, registered with the portal host where it asks an
    // unsandboxed program who it is.
    static std::unique_ptr<PortalHotkeyBackend> create(const QString& appId);
    ~PortalHotkeyBackend() override;

    bool registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                       std::function<void()> onPressed) override;
    void unregisterCombo(HotkeyAction action) override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

  private slots:
    void sessionCreated(uint response, const QVariantMap& results);
    void shortcutsBound(uint response, const QVariantMap& results);
    void activated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp,
                   const QVariantMap& options);

  private:
    struct Shortcut {
        std::optional<HotkeyCombo> combo;
        std::function<void()> onPressed;
    };

    PortalHotkeyBackend();
    // A new session for the shortcuts held now, at the next turn of the loop.
    void scheduleRebind();
    void rebind();
    void closeSession();

    QString m_session;         // object path of the open session; empty: none
    QString m_pendingSession;  // token of the session asked for and not yet answered
    std::array<Shortcut, kHotkeyActions.size()> m_shortcuts;
    bool m_rebindScheduled = false;
};

}  // namespace talvo
