#include "app/platform/hotkey/portal/portal_hotkey_backend.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QKeyEvent>

#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kShortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
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

QString PortalHotkeyBackend::nextToken() {
    return QStringLiteral("talvo%1").arg(++m_tokens);
}

QString PortalHotkeyBackend::requestPath(const QString& token) const {
    // The portal names its Request object after our bus name: ":1.42" → "1_42".
    QString sender = bus().baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return kPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
}

bool PortalHotkeyBackend::registerCombo(const HotkeyCombo& combo, std::function<void()> onPressed) {
    // A session binds its shortcuts once: a new combo gets a new session.
    closeSession();
    m_combo = combo;
    m_onPressed = std::move(onPressed);
    const QString token = nextToken();
    // Listening before asking: the answer may come before the call returns.
    bus().connect(kService, requestPath(token), kRequest, QStringLiteral("Response"), this,
                  SLOT(sessionCreated(uint, QVariantMap)));
    m_pendingSession = nextToken();
    QDBusMessage create = portalCall(kShortcuts, QStringLiteral("CreateSession"));
    create << QVariantMap{{QStringLiteral("handle_token"), token},
                          {QStringLiteral("session_handle_token"), m_pendingSession}};
    bus().asyncCall(create);
    return true;
}

void PortalHotkeyBackend::sessionCreated(uint response, const QVariantMap& results) {
    if (response != 0 || !m_combo) {
        return;  // refused or cancelled: the shortcut never fires
    }
    const QString session = results.value(QStringLiteral("session_handle")).toString();
    // Only the session asked for last: an earlier combo's answer is late.
    if (m_pendingSession.isEmpty() || !session.endsWith(QLatin1Char('/') + m_pendingSession)) {
        return;
    }
    m_pendingSession.clear();
    m_session = session;
    QVariantMap properties{
        {QStringLiteral("description"), QStringLiteral("Look up the selection")}};
    if (auto trigger = HotkeyConfig::portalTrigger(*m_combo)) {
        properties.insert(QStringLiteral("preferred_trigger"), QString::fromStdString(*trigger));
    }
    const QString token = nextToken();
    bus().connect(kService, requestPath(token), kRequest, QStringLiteral("Response"), this,
                  SLOT(shortcutsBound(uint, QVariantMap)));
    QDBusMessage bind = portalCall(kShortcuts, QStringLiteral("BindShortcuts"));
    bind << QVariant::fromValue(QDBusObjectPath(m_session))
         << QVariant::fromValue(
                QList<PortalShortcut>{{QString::fromLatin1(kShortcutId), properties}})
         << QString() << QVariantMap{{QStringLiteral("handle_token"), token}};
    bus().asyncCall(bind);
}

void PortalHotkeyBackend::shortcutsBound(uint, const QVariantMap&) {
    // Nothing to do: what the user accepted fires through Activated, what
    // they refused never does.
}

void PortalHotkeyBackend::activated(const QDBusObjectPath& session, const QString& shortcutId,
                                    qulonglong, const QVariantMap&) {
    if (session.path() == m_session && shortcutId == QLatin1String(kShortcutId) && m_onPressed) {
        m_onPressed();
    }
}

void PortalHotkeyBackend::unregisterCombo() {
    closeSession();
    m_combo.reset();
    m_onPressed = nullptr;
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
