#include "app/study/lessons_view_model.h"

#include <utility>

#include "net/lessons/lessons_service.h"

namespace talvo {

LessonsViewModel::LessonsViewModel(StudyStore& store, LessonsService& service)
    : m_shelf(store), m_service(service) {}

LessonsViewModel::~LessonsViewModel() = default;

void LessonsViewModel::notify() {
    if (changed) {
        changed();
    }
}

void LessonsViewModel::load() {
    if (m_loading) {
        return;
    }
    m_loading = true;
    m_failed = false;
    notify();
    std::weak_ptr<char> alive = m_alive;
    m_service.fetch([this, alive](LessonsService::Outcome outcome) {
        if (alive.expired()) {
            return;
        }
        if (!outcome.lessons) {
            m_failed = true;
            m_lastError = outcome.error;
        } else {
            m_shelf.setLessons(std::move(*outcome.lessons));
            m_lastError.clear();
        }
        m_loading = false;
        notify();
    });
}

void LessonsViewModel::recompute() {
    m_shelf.recount();
    notify();
}

int64_t LessonsViewModel::add(const wire::Lesson& lesson) {
    int64_t n = m_shelf.add(lesson);
    notify();
    if (added) {
        added(n);
    }
    return n;
}

}  // namespace talvo
