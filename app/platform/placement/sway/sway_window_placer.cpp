#include "app/platform/placement/sway/sway_window_placer.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QPointer>
#include <QRegularExpression>
#include <QTimer>
#include <QWidget>
#include <cstring>

namespace talvo {

namespace {

constexpr char kMagic[] = "i3-ipc";
constexpr qsizetype kMagicSize = 6;
constexpr qsizetype kHeaderSize = kMagicSize + 8;
constexpr uint32_t kRunCommand = 0;
constexpr uint32_t kGetOutputs = 3;
// An answer from a compositor on this machine comes within a millisecond;
// this bounds a hung one.
constexpr int kAnswerWaitMs = 150;
// The window is mapped one or two frames after Qt shows it.
constexpr int kRetryMs = 15;
constexpr int kAttempts = 20;
// A frame holds at most this much; a bigger length is a corrupt answer.
constexpr uint32_t kMaxPayload = 16 * 1024 * 1024;

bool readExactly(QLocalSocket& socket, char* into, qsizetype size) {
    qsizetype got = 0;
    while (got < size) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(kAnswerWaitMs)) {
            return false;
        }
        qint64 n = socket.read(into + got, size - got);
        if (n <= 0) {
            return false;
        }
        got += n;
    }
    return true;
}

}  // namespace

std::unique_ptr<SwayWindowPlacer> SwayWindowPlacer::create() {
    QString path = qEnvironmentVariable("SWAYSOCK");
    if (path.isEmpty()) {
        return nullptr;
    }
    std::unique_ptr<SwayWindowPlacer> placer(new SwayWindowPlacer(path));
    if (!placer->request(kGetOutputs, {})) {
        return nullptr;
    }
    return placer;
}

std::optional<QByteArray> SwayWindowPlacer::request(uint32_t type, const QByteArray& payload) {
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(kAnswerWaitMs)) {
        return std::nullopt;
    }
    QByteArray frame(kMagic, kMagicSize);
    const auto length = static_cast<uint32_t>(payload.size());
    frame.append(reinterpret_cast<const char*>(&length), sizeof length);
    frame.append(reinterpret_cast<const char*>(&type), sizeof type);
    frame.append(payload);
    socket.write(frame);
    if (!socket.waitForBytesWritten(kAnswerWaitMs)) {
        return std::nullopt;
    }
    char header[kHeaderSize];
    if (!readExactly(socket, header, kHeaderSize) || std::memcmp(header, kMagic, kMagicSize) != 0) {
        return std::nullopt;
    }
    uint32_t answerLength = 0;
    std::memcpy(&answerLength, header + kMagicSize, sizeof answerLength);
    if (answerLength > kMaxPayload) {
        return std::nullopt;
    }
    QByteArray answer(static_cast<qsizetype>(answerLength), '\0');
    if (!readExactly(socket, answer.data(), answer.size())) {
        return std::nullopt;
    }
    return answer;
}

std::optional<QRect> SwayWindowPlacer::focusedScreen() {
    std::optional<QByteArray> answer = request(kGetOutputs, {});
    if (!answer) {
        return std::nullopt;
    }
    const QJsonArray outputs = QJsonDocument::fromJson(*answer).array();
    for (const QJsonValue& value : outputs) {
        const QJsonObject output = value.toObject();
        if (!output.value(QStringLiteral("focused")).toBool()) {
            continue;
        }
        const QJsonObject r = output.value(QStringLiteral("rect")).toObject();
        QRect rect(r.value(QStringLiteral("x")).toInt(), r.value(QStringLiteral("y")).toInt(),
                   r.value(QStringLiteral("width")).toInt(),
                   r.value(QStringLiteral("height")).toInt());
        if (rect.isValid()) {
            return rect;
        }
    }
    return std::nullopt;
}

QString SwayWindowPlacer::exactTitlePattern(const QString& title) {
    QString pattern = QStringLiteral("^");
    for (QChar c : title) {
        pattern += c == QLatin1Char('"') ? QStringLiteral(".") : QRegularExpression::escape(c);
    }
    return pattern + QStringLiteral("$");
}

void SwayWindowPlacer::place(QWidget* window, QPoint topLeft) {
    const QString command = QStringLiteral("[pid=%1 title=\"%2\"] move absolute position %3 %4")
                                .arg(QCoreApplication::applicationPid())
                                .arg(exactTitlePattern(window->windowTitle()))
                                .arg(topLeft.x())
                                .arg(topLeft.y());
    tryPlace(window, command, kAttempts);
}

void SwayWindowPlacer::tryPlace(QWidget* window, const QString& command, int attemptsLeft) {
    std::optional<QByteArray> answer = request(kRunCommand, command.toUtf8());
    if (!answer) {
        return;  // the compositor went away: it places the window itself
    }
    // Until the window is mapped, the criteria match nothing and the
    // command fails.
    const QJsonArray results = QJsonDocument::fromJson(*answer).array();
    const bool moved =
        !results.isEmpty() && results.first().toObject().value(QStringLiteral("success")).toBool();
    if (moved || attemptsLeft <= 1) {
        return;
    }
    QPointer<QWidget> guard(window);
    QTimer::singleShot(kRetryMs, window, [this, guard, command, attemptsLeft] {
        if (guard && guard->isVisible()) {
            tryPlace(guard, command, attemptsLeft - 1);
        }
    });
}

}  // namespace talvo
