#include "app/shell/alerts.h"

#include <QMessageBox>

namespace talvo {

void MessageBoxAlerts::show(const QString& title, const QString& text, Style style) {
    QMessageBox box(style == Style::Warning ? QMessageBox::Warning : QMessageBox::Information,
                    title, title, QMessageBox::Ok);
    box.setInformativeText(text);
    box.setWindowTitle(QStringLiteral("Talvo"));
    box.exec();
}

}  // namespace talvo
