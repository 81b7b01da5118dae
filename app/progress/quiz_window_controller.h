#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "core/progress/quiz_model.h"

class QWidget;

namespace talvo {

class ProgressStore;
class QuizView;

// Owns the quiz window and its model. Main thread only; borrows the store.
class QuizWindowController : public QObject {
    Q_OBJECT
  public:
    explicit QuizWindowController(ProgressStore& store, QObject* parent = nullptr);
    ~QuizWindowController() override;

    // Creates the window on first use and brings it to the front. A window
    // that was closed opens again on the mode picker; one still open keeps
    // its question.
    void show();

    // After the last answer of a quiz, once its badges are awarded: the
    // application refreshes the profile and the tray badge.
    std::function<void()> onFinish;

    // Null until the first show.
    QWidget* window() const;
    QuizView* view() const { return m_view.get(); }
    QuizModel& model() { return m_model; }

  private:
    QuizModel m_model;
    std::unique_ptr<QuizView> m_view;
};

}  // namespace talvo
