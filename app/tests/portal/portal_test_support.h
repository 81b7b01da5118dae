#pragma once

// What the tests of the portal routes share: the scripted portal that
// portal_test.sh starts on a private session bus, asked what it was asked.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <functional>

namespace talvo::testing {

// A call to one of the scripted portal's test methods.
inline QDBusMessage portalTestCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                          QStringLiteral("/org/freedesktop/portal/desktop"),
                                          QStringLiteral("io.github.mirelo.TalvoTest"), method);
}

// What the portal was asked so far, or of one method only.
inline QJsonArray portalCalls() {
    QDBusMessage reply =
        QDBusConnection::sessionBus().call(portalTestCall(QStringLiteral("Calls")));
    return QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).array();
}

inline QJsonArray portalCallsOf(const QString& method) {
    QJsonArray out;
    for (const QJsonValue& c : portalCalls()) {
        if (c.toObject().value(QStringLiteral("method")).toString() == method) {
            out.append(c);
        }
    }
    return out;
}

// Turns the event loop until `done` or two seconds passed.
inline bool waitFor(const std::function<bool()>& done) {
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < 2000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return done();
}

}  // namespace talvo::testing
