#include "app/shell/single_instance.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QRegularExpression>
#include <QThread>
#ifndef Q_OS_WIN
#include <unistd.h>
#endif

namespace talvo {

QString SingleInstance::defaultName() {
    QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (qEnvironmentVariableIsSet("DISPLAY")) {
        display = qEnvironmentVariable("DISPLAY");
    }
    display.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_.-]")), QStringLiteral("_"));
#ifdef Q_OS_WIN
    QString user = qEnvironmentVariable("USERNAME");
#else
    QString user = QString::number(static_cast<qulonglong>(getuid()));
#endif
    user.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9_.-]")), QStringLiteral("_"));
    return QStringLiteral("talvo-%1-%2").arg(user, display);
}

SingleInstance::SingleInstance(QString name, QObject* parent)
    : QObject(parent), m_name(std::move(name)) {}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::ping(const QString& name, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(timeoutMs)) {
        return false;
    }
    socket.write("ping\n");
    QElapsedTimer waited;
    waited.start();
    while (!socket.canReadLine() && waited.elapsed() < timeoutMs) {
        if (!socket.waitForReadyRead(timeoutMs - static_cast<int>(waited.elapsed()))) {
            break;
        }
    }
    return socket.canReadLine() && socket.readLine().trimmed() == "ready";
}

bool SingleInstance::claim(const QByteArray& request) {
    m_lock = std::make_unique<QLockFile>(QDir::temp().filePath(m_name + QStringLiteral(".lock")));
    // Only a living owner counts: a lock left by a crashed program is taken over.
    m_lock->setStaleLockTime(0);
    if (m_lock->tryLock(0)) {
        QLocalServer::removeServer(m_name);
        m_server = new QLocalServer(this);
        m_server->setSocketOptions(QLocalServer::UserAccessOption);
        m_server->listen(m_name);
        connect(m_server, &QLocalServer::newConnection, this, [this] {
            while (QLocalSocket* socket = m_server->nextPendingConnection()) {
                connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
                connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                    while (socket->canReadLine()) {
                        QByteArray line = socket->readLine().trimmed();
                        if (line == "ping") {
                            socket->write("ready\n");
                            socket->flush();
                        } else if (onRequest) {
                            // Later, from the event loop: a request may turn
                            // the loop itself (a lookup waits for the
                            // selection), and the socket may be gone by then.
                            QMetaObject::invokeMethod(
                                this,
                                [this, line] {
                                    if (onRequest) {
                                        onRequest(line);
                                    }
                                },
                                Qt::QueuedConnection);
                        }
                    }
                });
            }
        });
        return true;
    }
    m_lock.reset();
    // The first program may still be starting and not yet listening.
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 2000 && !deliver(m_name, request)) {
        QThread::msleep(50);
    }
    return false;
}

bool SingleInstance::deliver(const QString& name, const QByteArray& request) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(200)) {
        return false;
    }
    socket.write(request + '\n');
    socket.waitForBytesWritten(500);
    socket.disconnectFromServer();
    return true;
}

}  // namespace talvo
