#include "app/study/lessons_window_controller.h"

#include <QGuiApplication>
#include <QScreen>

#include "app/study/lessons_view.h"
#include "app/study/lessons_view_model.h"

namespace talvo {

LessonsWindowController::LessonsWindowController(StudyStore& store, LessonsService& service,
                                                 QObject* parent)
    : QObject(parent), m_store(store), m_service(service) {}

LessonsWindowController::~LessonsWindowController() {
    // The view goes first; a fetch still under way finds the model's
    // callbacks gone with it.
    if (m_model) {
        m_model->changed = nullptr;
        m_model->added = nullptr;
    }
    m_view.reset();
}

QWidget* LessonsWindowController::window() const {
    return m_view.get();
}

void LessonsWindowController::show() {
    if (!m_view) {
        m_model = std::make_unique<LessonsViewModel>(m_store, m_service);
        m_view = std::make_unique<LessonsView>(*m_model);
        m_model->changed = [this] { m_view->refresh(); };
        m_model->added = [this](int64_t added) {
            if (onChange) {
                onChange(added);
            }
        };
        if (QScreen* s = QGuiApplication::primaryScreen()) {
            m_view->move(s->availableGeometry().center() - m_view->rect().center());
        }
    }
    m_view->show();
    m_view->raise();
    m_view->activateWindow();
    m_model->load();
}

}  // namespace talvo
