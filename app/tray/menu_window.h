#pragma once

#include <QWidget>

class QMenu;
class QVBoxLayout;

namespace talvo {

// The status menu as a small window, for desktops without a tray host (stock
// GNOME): one button per row of the menu it is shown with, the shortcut row
// as a line of text. The buttons trigger the menu's own actions, so both
// always do the same. Main thread only.
class MenuWindow : public QWidget {
    Q_OBJECT
  public:
    explicit MenuWindow(QWidget* parent = nullptr);

    // Fills the window from `menu` (borrowed; rows change with the language
    // and the study count, so each showing reads them afresh) and brings it
    // to the front.
    void showFor(QMenu* menu);

  private:
    QVBoxLayout* m_rows;
};

}  // namespace talvo
