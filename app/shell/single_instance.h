#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QLocalServer;
class QLockFile;

namespace talvo {

// One running program per user and display: a second launch hands its request
// to the first and ends, so two programs never fight over the shortcut grab.
class SingleInstance : public QObject {
    Q_OBJECT
  public:
    // "talvo-<user id>-<display>": one program per X display of a user.
    static QString defaultName();

    explicit SingleInstance(QString name, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is the first; it then listens for the others.
    // False when another one runs: `request` (one line) has been delivered to
    // it, or could not be within about two seconds.
    bool claim(const QByteArray& request);

    // Hands `request` to the running program; false when none listens now.
    // Needs only a QCoreApplication.
    static bool deliver(const QString& name, const QByteArray& request);

    // Asks the running program whether its start-up is over; true once it
    // answered "ready" within `timeoutMs`.
    static bool ping(const QString& name, int timeoutMs);

    // Called with each request line another launch sends. A "ping" line is
    // answered with "ready" (the event loop runs, so start-up is over).
    std::function<void(const QByteArray& request)> onRequest;

  private:
    QString m_name;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer* m_server = nullptr;
};

}  // namespace talvo
