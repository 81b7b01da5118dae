#pragma once

#include <QWidget>
#include <array>
#include <vector>

#include "core/progress/quiz_mode.h"

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;

namespace talvo {

class QuizModel;

// The quiz window: the mode picker, one question at a time (options as
// numbered buttons, or a field for typing the reading), the verdict after each
// answer, and the result. Keys: 1-3 pick a mode, 1-4 choose an option, Return
// submits a typed reading, advances after an answer and starts over from the
// result; Escape closes. The mouse does the same through the buttons. Drives
// the model it borrows; closing only hides the window.
class QuizView : public QWidget {
    Q_OBJECT
  public:
    explicit QuizView(QuizModel& model, QWidget* parent = nullptr);

    // Back to the mode picker, whatever was on screen.
    void showPicker();
    void pickMode(QuizMode mode);
    // The n-th option (from 0) of the current question; ignored when there
    // is none or the question is answered.
    void chooseOption(size_t n);
    // Answers a typing question with the field's text; a blank field is no
    // answer.
    void submitTyped();
    void advance();
    bool picking() const { return m_picking; }

  signals:
    // The last answer was given and the result is on screen.
    void quizFinished();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    QWidget* buildPicker();
    QWidget* buildQuestion();
    QWidget* buildResult();
    void render();
    void renderQuestion();
    void renderResult();
    void placeFocus();

    QuizModel& m_model;
    bool m_picking = true;
    QStackedWidget* m_pages = nullptr;
    QWidget* m_pickerPage = nullptr;
    QWidget* m_questionPage = nullptr;
    QWidget* m_resultPage = nullptr;
    std::vector<QPushButton*> m_modeButtons;
    QLabel* m_progressText = nullptr;
    QLabel* m_scoreText = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QLabel* m_modePrompt = nullptr;
    QLabel* m_prompt = nullptr;
    std::array<QPushButton*, 4> m_options{};
    QStackedWidget* m_answerArea = nullptr;
    QWidget* m_typeRow = nullptr;
    QLineEdit* m_typed = nullptr;
    QPushButton* m_submit = nullptr;
    QLabel* m_feedback = nullptr;
    QLabel* m_cardLine = nullptr;
    QPushButton* m_next = nullptr;
    QLabel* m_resultHeading = nullptr;
    QLabel* m_resultScore = nullptr;
    QLabel* m_resultDetail = nullptr;
    QLabel* m_newBadges = nullptr;
    QPushButton* m_again = nullptr;
    QPushButton* m_close = nullptr;
};

}  // namespace talvo
