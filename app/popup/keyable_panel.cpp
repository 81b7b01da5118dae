#include "app/popup/keyable_panel.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QSizeGrip>
#include <QTimer>
#include <QVBoxLayout>

#include "app/theme/theme.h"
#include "core/ui/popup_geometry.h"

namespace talvo {

KeyablePanel::KeyablePanel()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
    setAttribute(Qt::WA_DeleteOnClose, false);
    setAttribute(Qt::WA_X11NetWmWindowTypeUtility);
    setMinimumSize(static_cast<int>(popup::kMinimumPanel.width),
                   static_cast<int>(popup::kMinimumPanel.height));
    setFocusPolicy(Qt::StrongFocus);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);
    auto* grip = new QSizeGrip(this);
    grip->setFixedSize(14, 14);
    grip->raise();
}

void KeyablePanel::setContent(QWidget* content) {
    if (m_content) {
        // Later: this may run from inside one of the old content's handlers.
        m_content->hide();
        layout()->removeWidget(m_content);
        m_content->deleteLater();
    }
    m_content = content;
    content->setParent(this);
    layout()->addWidget(content);
    // The grip sits over the content's bottom-right corner.
    if (auto* grip = findChild<QSizeGrip*>()) {
        grip->raise();
    }
}

void KeyablePanel::keyPressEvent(QKeyEvent* event) {
    bool cancel = event->key() == Qt::Key_Escape ||
                  (event->key() == Qt::Key_Period && (event->modifiers() & Qt::ControlModifier));
    if (cancel) {
        event->accept();
        if (onEsc) {
            onEsc();
        }
        return;
    }
    QWidget::keyPressEvent(event);
}

void KeyablePanel::closeEvent(QCloseEvent* event) {
    event->accept();
    if (onEsc) {
        onEsc();
    }
}

void KeyablePanel::changeEvent(QEvent* event) {
    if (event->type() == QEvent::ActivationChange) {
        if (isActiveWindow()) {
            m_hadFocus = true;
        } else if (m_hadFocus && onResignKey) {
            // Not from inside the toolkit's activation handling: the handler
            // deletes this panel.
            QTimer::singleShot(0, this, [this] {
                if (!isActiveWindow() && onResignKey) {
                    onResignKey();
                }
            });
        }
    }
    QWidget::changeEvent(event);
}

void KeyablePanel::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kCornerRadius,
                        kCornerRadius);
    p.fillPath(path, YDao::card());
    p.setPen(QPen(YDao::line(), 1));
    p.drawPath(path);
}

void KeyablePanel::resizeEvent(QResizeEvent* event) {
    // A shape mask rounds the corners on every X server; translucency would
    // need a compositing manager and shows black corners without one.
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
    setMask(QRegion(path.toFillPolygon().toPolygon()));
    if (auto* grip = findChild<QSizeGrip*>()) {
        grip->move(width() - grip->width() - 4, height() - grip->height() - 4);
    }
    QWidget::resizeEvent(event);
}

void KeyablePanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_dragOffset = event->globalPosition().toPoint() - frameGeometry().topLeft();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void KeyablePanel::mouseMoveEvent(QMouseEvent* event) {
    if (m_dragging && (event->buttons() & Qt::LeftButton)) {
        move(event->globalPosition().toPoint() - m_dragOffset);
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void KeyablePanel::mouseReleaseEvent(QMouseEvent* event) {
    m_dragging = false;
    QWidget::mouseReleaseEvent(event);
}

}  // namespace talvo
