#pragma once

#include <QColor>
#include <QFont>
#include <QString>

class QLabel;

namespace talvo {

// The palette every view of the program draws with: ink on paper, a seal red
// for what matters, jade and gold for states.
namespace YDao {
inline QColor paper() {
    return QColor(244, 236, 216);
}
inline QColor card() {
    return QColor(251, 246, 233);
}
inline QColor ink() {
    return QColor(33, 28, 21);
}
inline QColor muted() {
    return QColor(133, 122, 104);
}
inline QColor line() {
    return QColor(216, 203, 171);
}
inline QColor seal() {
    return QColor(158, 43, 37);
}
inline QColor jade() {
    return QColor(63, 107, 84);
}
inline QColor gold() {
    return QColor(156, 122, 46);
}
}  // namespace YDao

namespace theme {
// Hán characters in a Song/Ming serif with traditional forms.
QFont hanFont(int pixelSize);
// Body text: Georgia where there is one, else a serif that covers Vietnamese.
QFont bodyFont(int pixelSize, bool bold = false);
// The style sheet of the popup's content.
QString popupStyleSheet();
// The style sheet of the program's windows (Settings).
QString windowStyleSheet();
// windowStyleSheet() plus what the study windows share: the paper background
// of the window named `objectName`, transparent scroll areas with a slim bar,
// and the "muted" and "seal" label roles.
QString studyWindowStyleSheet(const QString& objectName);
// A word-wrapped plain-text label (text from the dictionary or the user is
// never read as rich text) in `font`; `role` names its style sheet role
// ("muted", "reading", …). The caller takes ownership.
QLabel* plainLabel(const QString& text, QFont font, const char* role = nullptr);
// plainLabel for the study windows, named `objectName`, with room above the
// line box for the stacked marks of capitals such as "Ô".
QLabel* windowLabel(const char* objectName, const QString& text, QFont font,
                    const char* role = nullptr);
}  // namespace theme

}  // namespace talvo
