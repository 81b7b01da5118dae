#pragma once

#include <QImage>
#include <QString>
#include <functional>
#include <vector>

#include "app/popup/popup_controller.h"
#include "ocr/text_recognizer.h"

class QLabel;
class QLineEdit;
class QTimer;
class QVBoxLayout;

namespace talvo {

class Localization;

// The panel of text read off the screen: a small picture of the region, the
// recognised text as an editable line whose uncertain characters are
// underlined in red, a line saying what is happening (busy, or why nothing
// was read), and below them the usual lookup of the line. A correction
// moves the marks along with the characters around it (the changed ones
// lose theirs) and is looked up again on Enter or after a pause in typing.
// Main thread only.
class RecognitionView : public PanelHost {
    Q_OBJECT
  public:
    // How long typing must pause before the line is looked up again.
    static constexpr int kSettleMs = 700;

    RecognitionView(const QImage& region, Localization& l10n, std::function<void()> close,
                    QWidget* parent = nullptr);

    // "Reading the text…", no line yet.
    void showBusy();
    // The recognised text as one line (columns and lines joined: a break in
    // print is not a break in the text) with its uncertain characters marked.
    void showRecognition(const ocr::Recognition& recognition);
    // A line of its own under the text: why nothing was read, or what the
    // line's lookup found. Empty hides it.
    void showStatus(const QString& text);

    void setBody(QWidget* body) override;
    QSize sizeWithBody(QSize body) const override;
    QSize sizeHint() const override;

    QString text() const;
    QString statusText() const;
    bool isBusy() const { return m_busy; }
    QLineEdit* line() const { return m_line; }
    QWidget* body() const { return m_body; }
    // Which characters (code points of text()) are marked uncertain.
    const std::vector<bool>& uncertain() const { return m_uncertain; }

  signals:
    // The line as it stands, to be looked up (Enter, or typing paused);
    // never the same text twice running.
    void submitted(const QString& text);

  private:
    void setStatus(const QString& text, const char* role);
    void lineChanged(const QString& text);
    void submit();
    void paintMarks();

    Localization& m_l10n;
    std::function<void()> m_close;
    QVBoxLayout* m_outer = nullptr;
    QWidget* m_header = nullptr;
    QLineEdit* m_line = nullptr;
    QLabel* m_hint = nullptr;
    QLabel* m_status = nullptr;
    QWidget* m_body = nullptr;
    QTimer* m_settle = nullptr;
    std::vector<bool> m_uncertain;
    QString m_shownText;  // the line's text the marks belong to
    QString m_submitted;
    bool m_busy = false;
};

// The marks of `before` carried over to `after`: characters in the common
// beginning and end keep theirs, the ones in between (typed anew) have none.
// Both texts and marks count code points.
std::vector<bool> carryMarks(const QString& before, const std::vector<bool>& marks,
                             const QString& after);

}  // namespace talvo
