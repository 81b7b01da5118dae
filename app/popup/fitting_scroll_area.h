#pragma once

#include <QScrollArea>

namespace talvo {

// A scroll area that asks for the whole size of its content, so the panel can
// be measured for it; once the panel is clamped smaller, it scrolls.
class FittingScrollArea : public QScrollArea {
    Q_OBJECT
  public:
    using QScrollArea::QScrollArea;

    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
};

}  // namespace talvo
