#include "app/platform/hotkey/portal/portal_hotkey_backend.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QKeyEvent>
#include <QTimer>
#include <algorithm>

#include "app/platform/portal/portal_request.h"
#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

namespace {

const QString kService = QString::fromLatin1(portal::kService);
const QString kPath = QString::fromLatin1(portal::kPath);
const QString kShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QString::fromLatin1(portal::kRequest);
const QString kSession = QStringLiteral("org.freedesktop.portal.Session");
const QString kRegistry = QStringLiteral("org.freedesktop.host.portal.Registry");
constexpr int kProbeTimeoutMs = 1500;

// One entry of BindShortcuts' a(sa{sv}).
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& arg, const PortalShortcut& s) {
    arg.beginStructure();
    arg << s.id << s.properties;
    arg.endStructure();
    return arg;
}

const QDBusArgument& operator>>(const QDBusArgument& arg, PortalShortcut& s) {
    arg.beginStructure();
    arg >> s.id >> s.properties;
    arg.endStructure();
    return arg;
}

QDBusConnection bus() {
    return QDBusConnection::sessionBus();
}

QDBusMessage portalCall(const QString& interface, const QString& method) {
    return QDBusMessage::createMethodCall(kService, kPath, interface, method);
}

}  // namespace

}  // namespace talvo

Q_DECLARE_METATYPE(talvo::PortalShortcut)

namespace talvo {

std::unique_ptr<PortalHotkeyBackend> PortalHotkeyBackend::create(const QString& appId) {
    if (!bus().isConnected()) {
        return nullptr;
    }
    QDBusMessage probe = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    probe << kShortcuts << QStringLiteral("version");
    if (bus().call(probe, QDBus::Block, kProbeTimeoutMs).type() != QDBusMessage::ReplyMessage) {
        return nullptr;  // no portal, or one without global shortcuts
    }
    // Newer portals ask an unsandboxed program to say which desktop entry it
    // is; older ones have no registry, which is fine.
    QDBusMessage registration = portalCall(kRegistry, QStringLiteral("Register"));
    registration << appId << QVariantMap();
    bus().call(registration, QDBus::Block, kProbeTimeoutMs);
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    return std::unique_ptr<PortalHotkeyBackend>(new PortalHotkeyBackend());
}

PortalHotkeyBackend::PortalHotkeyBackend() {
    bus().connect(kService, kPath, kShortcuts, QStringLiteral("Activated"), this,
                  SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
}

PortalHotkeyBackend::~PortalHotkeyBackend() {
    closeSession();
}

const char* PortalHotkeyBackend::shortcutId(HotkeyAction action) {
    return action == HotkeyAction::ScreenText ? "screen-text" : "lookup";
}

bool PortalHotkeyBackend::registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                                        std::function<void()> onPressed) {
    m_shortcuts[slotOf(action)] = {combo, std::move(onPressed)};
    scheduleRebind();
    return true;
}

void PortalHotkeyBackend::unregisterCombo(HotkeyAction action) {
    m_shortcuts[slotOf(action)] = {};
    scheduleRebind();
}

void PortalHotkeyBackend::scheduleRebind() {
    if (m_rebindScheduled) {
        return;
    }
    m_rebindScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_rebindScheduled = false;
        rebind();
    });
}

void PortalHotkeyBackend::rebind() {
    closeSession();
    const bool any = std::any_of(m_shortcuts.begin(), m_shortcuts.end(),
                                 [](const Shortcut& s) { return s.combo.has_value(); });
    if (!any) {
        return;
    }
    const QString token = portal::nextToken();
    // Listening before asking: the answer may come before the call returns.
    bus().connect(kService, portal::requestPath(bus(), token), kRequest, QStringLiteral("Response"),
                  this, SLOT(sessionCreated(uint, QVariantMap)));
    m_pendingSession = portal::nextToken();
    QDBusMessage create = portalCall(kShortcuts, QStringLiteral("CreateSession"));
    create << QVariantMap{{QStringLiteral("handle_token"), token},
                          {QStringLiteral("session_handle_token"), m_pendingSession}};
    bus().asyncCall(create);
}

void PortalHotkeyBackend::sessionCreated(uint response, const QVariantMap& results) {
    if (response != 0) {
        return;  // refused or cancelled: the shortcuts never fire
    }
    const QString session = results.value(QStringLiteral("session_handle")).toString();
    // Only the session asked for last: an earlier change's answer is late.
    if (m_pendingSession.isEmpty() || !session.endsWith(QLatin1Char('/') + m_pendingSession)) {
        return;
    }
    m_pendingSession.clear();
    m_session = session;
    QList<PortalShortcut> shortcuts;
    for (HotkeyAction action : kHotkeyActions) {
        const Shortcut& s = m_shortcuts[slotOf(action)];
        if (!s.combo) {
            continue;
        }
        QVariantMap properties{
            {QStringLiteral("description"), action == HotkeyAction::ScreenText
                                                ? QStringLiteral("Read text on screen")
                                                : QStringLiteral("Look up the selection")}};
        if (auto trigger = HotkeyConfig::portalTrigger(*s.combo)) {
            properties.insert(QStringLiteral("preferred_trigger"),
                              QString::fromStdString(*trigger));
        }
        shortcuts.push_back({QString::fromLatin1(shortcutId(action)), properties});
    }
    const QString token = portal::nextToken();
    bus().connect(kService, portal::requestPath(bus(), token), kRequest, QStringLiteral("Response"),
                  this, SLOT(shortcutsBound(uint, QVariantMap)));
    QDBusMessage bind = portalCall(kShortcuts, QStringLiteral("BindShortcuts"));
    bind << QVariant::fromValue(QDBusObjectPath(m_session)) << QVariant::fromValue(shortcuts)
         << QString() << QVariantMap{{QStringLiteral("handle_token"), token}};
    bus().asyncCall(bind);
}

void PortalHotkeyBackend::shortcutsBound(uint, const QVariantMap&) {
    // Nothing to do: what the user accepted fires through Activated, what
    // they refused never does.
}

void PortalHotkeyBackend::activated(const QDBusObjectPath& session, const QString& id, qulonglong,
                                    const QVariantMap&) {
    if (session.path() != m_session) {
        return;
    }
    for (HotkeyAction action : kHotkeyActions) {
        const Shortcut& s = m_shortcuts[slotOf(action)];
        if (id == QLatin1String(shortcutId(action)) && s.onPressed) {
            std::function<void()> handler = s.onPressed;
            handler();
            return;
        }
    }
}

void PortalHotkeyBackend::closeSession() {
    m_pendingSession.clear();
    if (m_session.isEmpty()) {
        return;
    }
    bus().asyncCall(
        QDBusMessage::createMethodCall(kService, m_session, kSession, QStringLiteral("Close")));
    m_session.clear();
}

std::optional<std::string> PortalHotkeyBackend::character(uint32_t keyCode) {
    return keycodes::usLayoutCharacter(keyCode);
}

std::optional<uint32_t> PortalHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    return keyCodeFromQtKey(event.key());
}

}  // namespace talvo
