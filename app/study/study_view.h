#pragma once

#include <QPointer>
#include <QWidget>
#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "core/l10n/localization.h"
#include "core/study/rating.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace talvo {

class KeyedButton;
class StudySession;

// The study window: the day's figures, the card on show with its multiple
// choice or reveal button, the verdict and the rating bar once revealed, and
// the finished screen when the queue is empty. It draws a StudySession and
// runs the learner's clicks through it; keys come through the window
// controller, which calls refresh() afterwards. Borrows the session; main
// thread only.
class StudyView : public QWidget {
    Q_OBJECT
  public:
    explicit StudyView(StudySession& session, QWidget* parent = nullptr);
    ~StudyView() override;

    // Redraws everything from the session.
    void refresh();
    // The rating labels follow the interface language; the rest of the
    // window's texts are Vietnamese in every language.
    void setLanguage(AppLanguage lang);

    // The stroke-order animation of a one-character front, placed on the
    // card once it is revealed; a null answer places nothing.
    std::function<QWidget*(const std::string& ch, QWidget* parent)> strokeOrderView;
    // Shown or hidden by any means (the close button included).
    std::function<void(bool visible)> onVisibilityChanged;

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void refreshHeader();
    void refreshCard();
    void refreshFinished();
    void placeStrokeOrder();
    void dropStrokeOrder();
    void retranslate();

    StudySession& m_session;
    AppLanguage m_lang = AppLanguage::vi;

    std::array<QLabel*, 4> m_figures{};
    QStackedWidget* m_pages = nullptr;
    QWidget* m_cardPage = nullptr;
    QWidget* m_finishedPage = nullptr;

    QLabel* m_newMark = nullptr;
    QLabel* m_front = nullptr;
    QLabel* m_reading = nullptr;
    QLabel* m_gloss = nullptr;
    QWidget* m_strokeHost = nullptr;
    QPointer<QWidget> m_stroke;  // the factory's widget may go away by itself
    int64_t m_strokeCard = -1;
    QLabel* m_verdict = nullptr;
    QWidget* m_choiceBox = nullptr;
    std::array<KeyedButton*, 4> m_choices{};
    QPushButton* m_unsure = nullptr;
    QPushButton* m_reveal = nullptr;
    QWidget* m_ratingBar = nullptr;
    std::array<KeyedButton*, 4> m_ratings{};

    QLabel* m_finishedText = nullptr;
};

}  // namespace talvo
