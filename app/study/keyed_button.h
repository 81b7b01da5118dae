#pragma once

#include <QPushButton>

class QLabel;

namespace talvo {

// A button that shows the key answering it beside its text, in a smaller
// muted face: "1   tâm". Its text wraps rather than being clipped, so the
// size comes from its own layout instead of QPushButton's one-line measure.
// The accessible name carries both parts, since the button's own text is
// empty.
class KeyedButton : public QPushButton {
    Q_OBJECT
  public:
    explicit KeyedButton(const QString& key, QWidget* parent = nullptr);

    void setLabel(const QString& text);
    QString label() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

  private:
    QLabel* m_key = nullptr;
    QLabel* m_text = nullptr;
};

}  // namespace talvo
