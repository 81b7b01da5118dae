#include "app/progress/quiz_window_controller.h"

#include <QGuiApplication>
#include <QScreen>

#include "app/progress/quiz_view.h"
#include "core/progress/progress_store.h"

namespace talvo {

QuizWindowController::QuizWindowController(ProgressStore& store, QObject* parent)
    : QObject(parent), m_model(store) {
    // The model's own finish hook runs before it awards the quiz's badges;
    // the view's signal comes after, so a profile refreshed from onFinish
    // shows them, and the result screen still names them as new.
}

QuizWindowController::~QuizWindowController() = default;

QWidget* QuizWindowController::window() const {
    return m_view.get();
}

void QuizWindowController::show() {
    const bool first = !m_view;
    if (first) {
        m_view = std::make_unique<QuizView>(m_model);
        connect(m_view.get(), &QuizView::quizFinished, this, [this] {
            if (onFinish) {
                onFinish();
            }
        });
        m_view->adjustSize();
        if (QScreen* s = QGuiApplication::primaryScreen()) {
            m_view->move(s->availableGeometry().center() - m_view->rect().center());
        }
    }
    if (!m_view->isVisible()) {
        m_view->showPicker();
    }
    m_view->show();
    m_view->raise();
    m_view->activateWindow();
}

}  // namespace talvo
