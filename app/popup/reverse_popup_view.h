#pragma once

#include <QWidget>
#include <functional>

#include "core/lookup/lookup_result.h"

class QGridLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace talvo {

class Localization;

// The content of a reverse lookup: the whole words read so, when there are
// any, then per syllable its candidate characters, best first (glyph,
// readings, gloss); a click on a word or glyph copies it. Without any
// candidate it shows the no-match message.
class ReversePopupView : public QWidget {
    Q_OBJECT
  public:
    static constexpr int kMaxCandidates = 24;

    ReversePopupView(const ReverseLookup& result, std::function<void(const QString&)> copy,
                     std::function<void()> close, Localization& l10n, QWidget* parent = nullptr);

    QSize sizeHint() const override;

  private:
    void addSyllable(QVBoxLayout* body, const ReverseSyllable& s);
    void addWords(QVBoxLayout* body, const std::vector<WordReading>& words);
    // One row: the Hán (a click copies it), a muted readings line, the gloss.
    QPushButton* addRow(QGridLayout* grid, int row, const QString& han, int fontSize,
                        const QString& readings, const QString& gloss);

    std::function<void(const QString&)> m_copy;
    std::function<void()> m_close;
    Localization& m_l10n;
    QLabel* m_status = nullptr;
};

}  // namespace talvo
