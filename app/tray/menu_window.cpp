#include "app/tray/menu_window.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/theme/theme.h"

namespace talvo {

MenuWindow::MenuWindow(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("menuWindow"));
    setWindowTitle(QStringLiteral("Talvo (墨)"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::windowStyleSheet());
    setFont(theme::bodyFont(13));
    m_rows = new QVBoxLayout(this);
    m_rows->setContentsMargins(18, 14, 18, 14);
    m_rows->setSpacing(6);
    m_rows->setSizeConstraint(QLayout::SetFixedSize);
}

void MenuWindow::showFor(QMenu* menu) {
    while (QLayoutItem* item = m_rows->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (menu) {
        for (QAction* action : menu->actions()) {
            if (action->isSeparator()) {
                m_rows->addSpacing(6);
                continue;
            }
            if (!action->isEnabled()) {
                QLabel* label = theme::plainLabel(action->text(), theme::bodyFont(13), "muted");
                label->setObjectName(QStringLiteral("menuLabel"));
                m_rows->addWidget(label);
                continue;
            }
            auto* button = new QPushButton(action->text());
            button->setObjectName(QStringLiteral("menuButton"));
            QPointer<QAction> target(action);
            connect(button, &QPushButton::clicked, this, [target] {
                if (target) {
                    target->trigger();
                }
            });
            m_rows->addWidget(button);
        }
    }
    show();
    raise();
    activateWindow();
}

}  // namespace talvo
