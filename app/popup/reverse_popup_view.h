#pragma once

#include <QWidget>
#include <functional>

#include "core/lookup/lookup_result.h"

class QLabel;
class QVBoxLayout;

namespace talvo {

class Localization;

// The content of a reverse lookup: per syllable its candidate characters,
// best first (glyph, readings, gloss); a click on a glyph copies it. Without
// any candidate it shows the no-match message.
class ReversePopupView : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kMaxCandidates = 24;

    ReversePopupView(const ReverseLookup& result, std::function<void(const QString&)> copy,
                     std::function<void()> close, Localization& l10n, QWidget* parent = nullptr);

    QSize sizeHint() const override;

  private:
    void addSyllable(QVBoxLayout* body, const ReverseSyllable& s);

    std::function<void(const QString&)> m_copy;
    std::function<void()> m_close;
    Localization& m_l10n;
    QLabel* m_status = nullptr;
};

}  // namespace talvo
