#pragma once

#include <QDBusObjectPath>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <memory>

#include "app/platform/hotkey/hotkey_backend.h"

namespace talvo {

// The shortcut through the desktop portal's GlobalShortcuts interface (KDE
// Plasma 5.27+, GNOME 48+, Hyprland): a session is created, the lookup
// shortcut is bound with the stored combo as its preferred trigger (the
// desktop may ask the user to confirm, or let them pick another key), and
// the portal's Activated signal runs the lookup. Every step answers through
// the portal's Request objects, so registerCombo only starts it: it returns
// true, and a refusal shows up as a shortcut that never fires. Main thread
// only; uses the session bus.
class PortalHotkeyBackend : public QObject, public HotkeyBackend {
    Q_OBJECT
  public:
    static constexpr const char* kShortcutId = "lookup";

    // Null when the session bus has no GlobalShortcuts portal. `appId` is the
    // desktop entry's name, registered with the portal host where it asks an
    // unsandboxed program who it is.
    static std::unique_ptr<PortalHotkeyBackend> create(const QString& appId);
    ~PortalHotkeyBackend() override;

    bool registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) override;
    void unregisterCombo() override;
    std::optional<std::string> character(uint32_t keyCode) override;
    std::optional<uint32_t> keyCodeOf(const QKeyEvent& event) override;

  private slots:
    void sessionCreated(uint response, const QVariantMap& results);
    void shortcutsBound(uint response, const QVariantMap& results);
    void activated(const QDBusObjectPath& session, const QString& shortcutId, qulonglong timestamp,
                   const QVariantMap& options);

  private:
    PortalHotkeyBackend();
    // A fresh handle token, and the Request path the portal will answer on.
    QString nextToken();
    QString requestPath(const QString& token) const;
    void closeSession();

    QString m_session;         // object path of the open session; empty: none
    QString m_pendingSession;  // token of the session asked for and not yet answered
    std::optional<HotkeyCombo> m_combo;
    std::function<void()> m_onPressed;
    uint64_t m_tokens = 0;
};

}  // namespace talvo
