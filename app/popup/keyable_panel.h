#pragma once

#include <QPoint>
#include <QWidget>
#include <functional>

namespace talvo {

// The popup's window: a frameless floating card that stays above other
// windows without a taskbar entry, takes keyboard focus (so Escape and the
// reading editor work) and says when it loses it. Dragging its background
// moves it; the corner grip resizes it.
class KeyablePanel : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kCornerRadius = 14;

    KeyablePanel();

    // Puts `content` in the card, in place of any earlier content; the panel
    // owns it.
    void setContent(QWidget* content);
    QWidget* content() const { return m_content; }

    // Escape, and the Ctrl+. of the Cocoa tradition.
    std::function<void()> onEsc;
    // Keyboard focus went to another window after the panel had it.
    std::function<void()> onResignKey;

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    // The window manager closed it (a compositor's close key): as Escape.
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    QWidget* m_content = nullptr;
    bool m_hadFocus = false;
    bool m_dragging = false;
    QPoint m_dragOffset;
};

}  // namespace talvo
