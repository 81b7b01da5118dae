#include "net/async/qt_executor.h"

#include <QMetaObject>
#include <QObject>

namespace talvo {

QtExecutor::QtExecutor(QObject* context) : m_context(context) {}

bool QtExecutor::post(std::function<void()> task) {
    if (!m_context) {
        return false;
    }
    return QMetaObject::invokeMethod(
        m_context,
        [task = std::move(task)] {
            // Nothing may escape into Qt's event loop.
            try {
                task();
            } catch (...) {
            }
        },
        Qt::QueuedConnection);
}

}  // namespace talvo
