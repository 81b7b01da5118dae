#include "app/theme/theme.h"

#include <QLabel>
#include <utility>

namespace talvo::theme {

QFont hanFont(int pixelSize) {
    QFont f;
    f.setFamilies({QStringLiteral("Noto Serif CJK TC"), QStringLiteral("Noto Serif CJK SC"),
                   QStringLiteral("Source Han Serif TC"), QStringLiteral("Songti TC"),
                   QStringLiteral("PMingLiU"), QStringLiteral("serif")});
    f.setPixelSize(pixelSize);
    return f;
}

QFont bodyFont(int pixelSize, bool bold) {
    QFont f;
    // The CJK serif last, so Hán inside body text matches the glyph rows.
    f.setFamilies({QStringLiteral("Georgia"), QStringLiteral("Noto Serif"),
                   QStringLiteral("DejaVu Serif"), QStringLiteral("Noto Serif CJK TC"),
                   QStringLiteral("serif")});
    f.setPixelSize(pixelSize);
    f.setBold(bold);
    return f;
}

QString popupStyleSheet() {
    return QStringLiteral(
               "QWidget#popupContent, QWidget#popupBody { background: %1; }"
               "QLabel { color: %2; background: transparent; }"
               "QLabel[role=\"muted\"] { color: %3; }"
               "QLabel[role=\"reading\"] { color: %4; }"
               "QLabel[role=\"failed\"] { color: %4; }"
               "QLabel[role=\"queued\"] { color: %6; }"
               "QLabel[role=\"ok\"] { color: %5; }"
               "QFrame[role=\"rule\"] { background: %7; max-height: 1px; min-height: 1px; }"
               "QFrame[role=\"translation\"] { background: %8; border: 1px solid %7;"
               " border-radius: 6px; }"
               "QPushButton { color: %2; background: %8; border: 1px solid %7; border-radius: 5px;"
               " padding: 3px 9px; }"
               "QPushButton:hover { border-color: %6; }"
               "QPushButton:disabled { color: %3; }"
               "QPushButton:focus { border-color: %4; }"
               "QPushButton[role=\"primary\"] { color: %4; }"
               "QPushButton[role=\"glyph\"] { border: none; background: transparent; padding: 0; }"
               "QPushButton[role=\"glyph\"]:hover { color: %4; }"
               // A word reached with Tab shows it: Enter opens its characters.
               "QPushButton[role=\"glyph\"]:focus { color: %4; border-bottom: 2px solid %4; }"
               "QToolButton { color: %3; background: transparent; border: none; padding: 2px; }"
               "QToolButton:hover { color: %4; }"
               "QLineEdit { color: %2; background: white; border: 1px solid %4; border-radius: 4px;"
               " padding: 2px 4px; }"
               "QScrollArea { background: transparent; border: none; }"
               "QScrollBar:vertical { background: transparent; width: 8px; }"
               "QScrollBar::handle:vertical { background: %7; border-radius: 4px; min-height: "
               "24px; }"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }")
        .arg(YDao::card().name(), YDao::ink().name(), YDao::muted().name(), YDao::seal().name(),
             YDao::jade().name(), YDao::gold().name(), YDao::line().name(), YDao::paper().name());
}

QString windowStyleSheet() {
    return QStringLiteral(
               "QWidget#settingsWindow { background: %1; }"
               "QLabel { color: %2; }"
               "QFrame[frameShape=\"4\"] { color: %3; }"
               "QPushButton { color: %2; background: %4; border: 1px solid %3; border-radius: 5px;"
               " padding: 4px 12px; }"
               "QPushButton:hover { border-color: %5; }"
               "QPushButton:focus { border-color: %6; }"
               "QLineEdit, QComboBox { color: %2; background: white; border: 1px solid %3;"
               " border-radius: 4px; padding: 3px 6px; }"
               "QLineEdit:focus, QComboBox:focus { border-color: %6; }")
        .arg(YDao::paper().name(), YDao::ink().name(), YDao::line().name(), YDao::card().name(),
             YDao::gold().name(), YDao::seal().name());
}

QString studyWindowStyleSheet(const QString& objectName) {
    return windowStyleSheet() +
           QStringLiteral(
               "QWidget#%1 { background: %2; }"
               "QScrollArea, QScrollArea > QWidget > QWidget { background: transparent;"
               " border: none; }"
               "QLabel[role=\"muted\"] { color: %4; }"
               "QLabel[role=\"seal\"] { color: %5; }"
               "QScrollBar:vertical { background: transparent; width: 8px; }"
               "QScrollBar::handle:vertical { background: %3; border-radius: 4px;"
               " min-height: 24px; }"
               "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }")
               .arg(objectName, YDao::paper().name(), YDao::line().name(), YDao::muted().name(),
                    YDao::seal().name());
}

QLabel* plainLabel(const QString& text, QFont font, const char* role) {
    auto* l = new QLabel(text);
    l->setTextFormat(Qt::PlainText);
    l->setWordWrap(true);
    l->setFont(font);
    if (role) {
        l->setProperty("role", role);
    }
    return l;
}

QLabel* windowLabel(const char* objectName, const QString& text, QFont font, const char* role) {
    QLabel* l = plainLabel(text, std::move(font), role);
    l->setObjectName(QString::fromLatin1(objectName));
    // Those marks rise past the ascent of some serif faces and would be cut off.
    l->setContentsMargins(0, 2, 0, 0);
    return l;
}

}  // namespace talvo::theme
