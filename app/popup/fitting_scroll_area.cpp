#include "app/popup/fitting_scroll_area.h"

#include <QLayout>

namespace talvo {

QSize FittingScrollArea::sizeHint() const {
    int frame = 2 * frameWidth();
    if (!widget()) {
        return {frame, frame};
    }
    return widget()->sizeHint() + QSize(frame, frame);
}

int FittingScrollArea::heightForWidth(int width) const {
    int frame = 2 * frameWidth();
    if (!widget()) {
        return frame;
    }
    QLayout* l = widget()->layout();
    if (l && l->hasHeightForWidth()) {
        return l->totalHeightForWidth(width - frame) + frame;
    }
    return widget()->sizeHint().height() + frame;
}

}  // namespace talvo
