#include "app/selection/event_pump.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>
#include <algorithm>

namespace talvo {

namespace {
QElapsedTimer& monotonic() {
    static QElapsedTimer timer = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return timer;
}
}  // namespace

QtEventPump::QtEventPump() : m_origin(monotonic().nsecsElapsed()) {}

double QtEventPump::now() {
    return static_cast<double>(monotonic().nsecsElapsed() - m_origin) / 1e9;
}

void QtEventPump::runFor(double seconds) {
    QEventLoop loop;
    QTimer::singleShot(std::max(1, static_cast<int>(seconds * 1000)), &loop, &QEventLoop::quit);
    // What the capture waits for is a clipboard change: end the slice as
    // soon as one arrives rather than at the slice's end.
    if (qGuiApp) {
        QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, &loop,
                         &QEventLoop::quit);
    }
    loop.exec();
}

}  // namespace talvo
