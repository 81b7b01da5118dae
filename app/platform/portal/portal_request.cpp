#include "app/platform/portal/portal_request.h"

#include <atomic>

namespace talvo::portal {

QString nextToken() {
    static std::atomic<uint64_t> counter{0};
    return QStringLiteral("talvo%1").arg(++counter);
}

QString requestPath(const QDBusConnection& bus, const QString& token) {
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QString::fromLatin1(kPath) + QStringLiteral("/request/") + sender + QLatin1Char('/') +
           token;
}

}  // namespace talvo::portal
