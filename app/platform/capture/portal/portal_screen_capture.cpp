#include "app/platform/capture/portal/portal_screen_capture.h"

#include <unistd.h>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>
#include <QStandardPaths>
#include <QUrl>
#include <cstdlib>

#include "app/platform/portal/portal_request.h"

namespace talvo {

Q_LOGGING_CATEGORY(screenshotLog, "talvo.screenshot", QtWarningMsg)

namespace {

const QString kScreenshot = QStringLiteral("org.freedesktop.portal.Screenshot");
// A file written this long before the request still counts as written for
// it (clocks of two processes, coarse file times).
constexpr int kClockSlackSeconds = 2;

QDBusConnection bus() {
    return QDBusConnection::sessionBus();
}

// No portal, or one without the Screenshot interface.
bool meansUnavailable(QDBusError::ErrorType type) {
    switch (type) {
        case QDBusError::ServiceUnknown:
        case QDBusError::UnknownInterface:
        case QDBusError::UnknownMethod:
        case QDBusError::UnknownObject:
        case QDBusError::Disconnected:
            return true;
        default:
            return false;
    }
}

// Sizes equal but for the rounding of a fractional scale.
bool sameSize(QSize a, QSize b) {
    return std::abs(a.width() - b.width()) <= 1 && std::abs(a.height() - b.height()) <= 1;
}

// Whether `size` is the whole of some screen, or of the desktop, in device
// or logical pixels (a picture to choose a region on rather than a chosen
// region).
bool isWholeScreen(QSize size) {
    QRect desktop;
    for (QScreen* screen : QGuiApplication::screens()) {
        const QSize logical = screen->geometry().size();
        const QSize device = (QSizeF(logical) * screen->devicePixelRatio()).toSize();
        if (sameSize(device, size) || sameSize(logical, size)) {
            return true;
        }
        desktop |= screen->geometry();
    }
    return !desktop.isEmpty() && sameSize(desktop.size(), size);
}

bool isUnder(const QString& path, const QString& folder) {
    if (folder.isEmpty()) {
        return false;
    }
    const QString dir = QFileInfo(folder).canonicalFilePath();
    return !dir.isEmpty() && path.startsWith(dir + QLatin1Char('/'));
}

}  // namespace

bool isOurScreenshotFile(const QString& path, const QDateTime& since) {
    QFileInfo info(path);
    if (!info.exists() || info.isSymLink() || !info.isFile() || info.ownerId() != ::getuid()) {
        return false;
    }
    if (info.lastModified() < since.addSecs(-kClockSlackSeconds)) {
        return false;  // there before we asked: not made for us
    }
    const QString canonical = info.canonicalFilePath();
    return isUnder(canonical, QDir::tempPath()) || isUnder(canonical, QStringLiteral("/tmp")) ||
           isUnder(canonical, QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation));
}

PortalScreenCapture::PortalScreenCapture() = default;

PortalScreenCapture::~PortalScreenCapture() {
    forgetRequest();
}

void PortalScreenCapture::capture(std::function<void(CaptureOutcome)> done) {
    if (m_done) {
        finish({CaptureOutcome::Status::Cancelled, {}, false});
    }
    m_done = std::move(done);
    if (!bus().isConnected()) {
        finish({CaptureOutcome::Status::Unavailable, {}, false});
        return;
    }
    const QString token = portal::nextToken();
    m_request = portal::requestPath(bus(), token);
    m_askedAt = QDateTime::currentDateTimeUtc();
    // Listening before asking: the answer may come before the call returns.
    bus().connect(QString::fromLatin1(portal::kService), m_request,
                  QString::fromLatin1(portal::kRequest), QStringLiteral("Response"), this,
                  SLOT(responded(uint, QVariantMap)));
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(portal::kService),
                                                       QString::fromLatin1(portal::kPath),
                                                       kScreenshot, QStringLiteral("Screenshot"));
    call << QString()
         << QVariantMap{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("interactive"), true},
                        {QStringLiteral("modal"), true}};
    // The dialog may stay open as long as the user likes: no call timeout
    // beyond the method's own reply.
    auto* watcher = new QDBusPendingCallWatcher(bus().asyncCall(call), this);
    const QString asked = m_request;
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this,
        [this, asked](QDBusPendingCallWatcher* w) {
            w->deleteLater();
            QDBusPendingReply<QDBusObjectPath> reply = *w;
            if (asked != m_request) {
                return;  // answered already, or superseded
            }
            if (reply.isError()) {
                qCDebug(screenshotLog) << "Screenshot call failed:" << reply.error().name();
                finish({meansUnavailable(reply.error().type()) ? CaptureOutcome::Status::Unavailable
                                                               : CaptureOutcome::Status::Failed,
                        {},
                        false});
                return;
            }
            // Portals older than the handle token answer on a path of
            // their own choosing.
            const QString handle = reply.value().path();
            if (handle != m_request) {
                bus().disconnect(QString::fromLatin1(portal::kService), m_request,
                                 QString::fromLatin1(portal::kRequest), QStringLiteral("Response"),
                                 this, SLOT(responded(uint, QVariantMap)));
                m_request = handle;
                bus().connect(QString::fromLatin1(portal::kService), m_request,
                              QString::fromLatin1(portal::kRequest), QStringLiteral("Response"),
                              this, SLOT(responded(uint, QVariantMap)));
            }
        });
}

void PortalScreenCapture::responded(uint response, const QVariantMap& results) {
    if (!m_done) {
        return;
    }
    qCDebug(screenshotLog) << "Screenshot response" << response;
    if (response == 1) {
        finish({CaptureOutcome::Status::Cancelled, {}, false});
    } else if (response != 0) {
        finish({CaptureOutcome::Status::Failed, {}, false});
    } else {
        finish(read(results.value(QStringLiteral("uri")).toString()));
    }
}

CaptureOutcome PortalScreenCapture::read(const QString& uri) const {
    const QUrl url(uri);
    if (!url.isLocalFile()) {
        return {CaptureOutcome::Status::Failed, {}, false};
    }
    const QString path = url.toLocalFile();
    QImage image(path);
    if (isOurScreenshotFile(path, m_askedAt)) {
        QFile::remove(path);
    }
    if (image.isNull()) {
        return {CaptureOutcome::Status::Failed, {}, false};
    }
    const bool whole = isWholeScreen(image.size());
    return {CaptureOutcome::Status::Captured, {{std::move(image), QRect()}}, !whole};
}

void PortalScreenCapture::finish(CaptureOutcome outcome) {
    forgetRequest();
    std::function<void(CaptureOutcome)> done = std::move(m_done);
    m_done = nullptr;
    if (done) {
        done(std::move(outcome));
    }
}

void PortalScreenCapture::forgetRequest() {
    if (m_request.isEmpty()) {
        return;
    }
    bus().disconnect(QString::fromLatin1(portal::kService), m_request,
                     QString::fromLatin1(portal::kRequest), QStringLiteral("Response"), this,
                     SLOT(responded(uint, QVariantMap)));
    m_request.clear();
}

}  // namespace talvo
