#include "app/platform/capture/toolkit_screen_capture.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

namespace talvo {

void ToolkitScreenCapture::capture(std::function<void(CaptureOutcome)> done) {
    CaptureOutcome out;
    for (QScreen* screen : QGuiApplication::screens()) {
        const QRect g = screen->geometry();
        // Window 0 is the whole desktop; the rectangle picks this screen out
        // of it (on X11 all screens share one root window).
        QPixmap pixmap = screen->grabWindow(0, g.x(), g.y(), g.width(), g.height());
        if (pixmap.isNull()) {
            continue;
        }
        out.pictures.push_back({pixmap.toImage(), g});
    }
    out.status =
        out.pictures.empty() ? CaptureOutcome::Status::Failed : CaptureOutcome::Status::Captured;
    done(std::move(out));
}

}  // namespace talvo
