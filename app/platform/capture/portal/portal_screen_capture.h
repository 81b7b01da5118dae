#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include "app/platform/capture/screen_capture.h"

namespace talvo {

// A picture of the screen through the desktop portal's Screenshot interface
// (Wayland, where no program may read the screen itself). Interactive: the
// desktop shows its own dialog, where the user may pick a region, a window
// or the whole screen, and the answer is a file:// URI in the Request's
// Response signal. A picture of a whole screen comes back to be chosen on,
// any other as the chosen region. Nothing is asked of the bus before the
// first capture; a desktop without the interface answers Unavailable.
//
// The picture file: one the portal put in a temporary folder for this
// request is ours, read and removed (a picture of the user's screen should
// not linger in /tmp); one anywhere else (GNOME saves into the user's
// Pictures) is the user's and stays. Main thread only; uses the session bus.
class PortalScreenCapture : public QObject, public ScreenCapture {
    Q_OBJECT
  public:
    PortalScreenCapture();
    ~PortalScreenCapture() override;

    // A capture asked while another waits answers the earlier one Cancelled.
    void capture(std::function<void(CaptureOutcome)> done) override;

  private slots:
    void responded(uint response, const QVariantMap& results);

  private:
    void finish(CaptureOutcome outcome);
    void forgetRequest();
    CaptureOutcome read(const QString& uri) const;

    std::function<void(CaptureOutcome)> m_done;
    QString m_request;  // the Request object answered on; empty: none waiting
    QDateTime m_askedAt;
};

// Whether the file at `path` is one a screenshot service left for us in a
// temporary folder since `since`, to be removed once read: a plain file
// (not a link) of this user's, in the temporary or runtime folder.
bool isOurScreenshotFile(const QString& path, const QDateTime& since);

}  // namespace talvo
