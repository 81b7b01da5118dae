#pragma once

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWidget>

namespace talvo::testing {

// A key press and release delivered to `to` through the application, so that
// application-wide event filters see it first, as they see a real one.
inline void press(QWidget* to, int key, Qt::KeyboardModifiers mods = Qt::NoModifier) {
    QKeyEvent down(QEvent::KeyPress, key, mods);
    QApplication::sendEvent(to, &down);
    QKeyEvent up(QEvent::KeyRelease, key, mods);
    QApplication::sendEvent(to, &up);
}

// A left click in the middle of a widget.
inline void click(QWidget* w) {
    const QPointF local = QRectF(w->rect()).center();
    const QPointF global = w->mapToGlobal(local);
    QMouseEvent down(QEvent::MouseButtonPress, local, global, Qt::LeftButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(w, &down);
    QMouseEvent up(QEvent::MouseButtonRelease, local, global, Qt::LeftButton, Qt::NoButton,
                   Qt::NoModifier);
    QApplication::sendEvent(w, &up);
}

}  // namespace talvo::testing
