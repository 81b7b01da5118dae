#include "app/platform/notifications/x11/freedesktop_notifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace talvo {

namespace {
const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

bool serviceAvailable() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(kService).value();
}
}  // namespace

FreedesktopNotifier::FreedesktopNotifier(std::function<void(const NoticeText&)> fallback)
    : m_fallback(std::move(fallback)) {}

void FreedesktopNotifier::requestAuthorization(std::function<void(bool)> done) {
    // The desktop lets every program notify; a user who turned notifications
    // off is answered by the service itself.
    done(true);
}

void FreedesktopNotifier::post(const std::string& id, const NoticeText& notice) {
    if (!serviceAvailable()) {
        if (m_fallback) {
            m_fallback(notice);
        }
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Notify"));
    uint32_t replaces = 0;
    if (auto it = m_shown.find(id); it != m_shown.end()) {
        replaces = it->second;
    }
    call << QStringLiteral("Talvo") << replaces << QString() << QString::fromStdString(notice.title)
         << QString::fromStdString(notice.body) << QStringList() << QVariantMap() << int32_t(-1);
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, id](QDBusPendingCallWatcher* w) {
                QDBusPendingReply<uint32_t> reply = *w;
                if (!reply.isError()) {
                    m_shown[id] = reply.value();
                }
                w->deleteLater();
            });
}

void FreedesktopNotifier::scheduleDaily(const std::string& id, int hour, const NoticeText& notice) {
    m_daily.schedule(id, hour, [this, id, notice] { post(id, notice); });
}

}  // namespace talvo
