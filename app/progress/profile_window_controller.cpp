#include "app/progress/profile_window_controller.h"

#include <QGuiApplication>
#include <QScreen>

#include "app/progress/profile_view.h"
#include "core/progress/progress_store.h"

namespace talvo {

ProfileWindowController::ProfileWindowController(ProgressStore& store, QObject* parent)
    : QObject(parent), m_store(store) {}

ProfileWindowController::~ProfileWindowController() = default;

QWidget* ProfileWindowController::window() const {
    return m_view.get();
}

void ProfileWindowController::show() {
    const bool first = !m_view;
    if (first) {
        m_view = std::make_unique<ProfileView>(m_model, m_store.clock().zone);
        connect(m_view.get(), &ProfileView::studyRequested, this, [this] {
            if (onStudy) {
                onStudy();
            }
        });
        connect(m_view.get(), &ProfileView::quizRequested, this, [this] {
            if (onQuiz) {
                onQuiz();
            }
        });
        connect(m_view.get(), &ProfileView::goalChosen, this, &ProfileWindowController::chooseGoal);
    }
    load();
    if (first) {
        m_view->adjustSize();
        if (QScreen* s = QGuiApplication::primaryScreen()) {
            m_view->move(s->availableGeometry().center() - m_view->rect().center());
        }
    }
    m_view->show();
    m_view->raise();
    m_view->activateWindow();
}

void ProfileWindowController::reload() {
    if (m_view && m_view->isVisible()) {
        load();
    }
}

void ProfileWindowController::load() {
    const int64_t today = m_store.clock().today();
    m_store.evaluateBadges(today);
    m_model.setStats(m_store.profileStats(today), today);
}

void ProfileWindowController::chooseGoal(int64_t xp) {
    // A goal that could not be stored (the database is busy) simply stays as
    // it was: the reload shows the stored one again.
    if (xp > 0) {
        m_store.setDailyGoal(xp);
    }
    load();
}

}  // namespace talvo
