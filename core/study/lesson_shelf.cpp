#include "core/study/lesson_shelf.h"

#include <utility>

#include "core/study/study_store.h"

namespace talvo {

void LessonShelf::setLessons(std::vector<wire::Lesson> lessons) {
    wire::sortLessons(lessons);
    m_lessons = std::move(lessons);
    recount();
}

const wire::Lesson* LessonShelf::find(int64_t id) const {
    for (const wire::Lesson& l : m_lessons) {
        if (l.id == id) {
            return &l;
        }
    }
    return nullptr;
}

int64_t LessonShelf::have(const wire::Lesson& lesson) const {
    auto it = m_inDeck.find(lesson.id);
    return it == m_inDeck.end() ? 0 : it->second;
}

LessonShelf::Action LessonShelf::actionFor(const wire::Lesson& lesson) const {
    int64_t n = static_cast<int64_t>(lesson.items.size());
    int64_t h = have(lesson);
    if (h >= n) {
        return Action::complete;
    }
    return h == 0 ? Action::add : Action::addMissing;
}

void LessonShelf::recount() {
    std::map<int64_t, int64_t> counts;
    for (const wire::Lesson& lesson : m_lessons) {
        counts[lesson.id] = m_store.countInDeck(wire::itemUids(lesson));
    }
    m_inDeck = std::move(counts);
}

int64_t LessonShelf::add(const wire::Lesson& lesson) {
    int64_t n = m_store.addLessonCards(lesson.items);
    recount();
    return n;
}

}  // namespace talvo
