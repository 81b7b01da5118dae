#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/study/lesson_shelf.h"

namespace talvo {

class LessonsService;
class StudyStore;

// The lessons window's model, without the window: the fetched lessons beside
// the deck (a LessonShelf) and the loading and failed flags. Lives on the
// owner thread with the store; `changed` is called there after every change
// of what it publishes. The store and the service must outlive it; a fetch
// that answers after it is gone is dropped.
class LessonsViewModel {
  public:
    using Action = LessonShelf::Action;

    LessonsViewModel(StudyStore& store, LessonsService& service);
    ~LessonsViewModel();
    LessonsViewModel(const LessonsViewModel&) = delete;
    LessonsViewModel& operator=(const LessonsViewModel&) = delete;

    const std::vector<wire::Lesson>& lessons() const { return m_shelf.lessons(); }
    bool loading() const { return m_loading; }
    bool failed() const { return m_failed; }
    int64_t have(const wire::Lesson& lesson) const { return m_shelf.have(lesson); }
    Action actionFor(const wire::Lesson& lesson) const { return m_shelf.actionFor(lesson); }
    // Why the last fetch failed (empty after a success).
    const std::string& lastError() const { return m_lastError; }

    // Fetches, sorts and counts. A failure sets failed and keeps the lessons
    // it had. While a load is under way another call does nothing.
    void load();
    // Recounts from the database (then calls `changed`).
    void recompute();
    // The row's add action: adds the lesson's missing items to the deck,
    // recounts, then calls `added`. Returns how many cards were added.
    int64_t add(const wire::Lesson& lesson);

    std::function<void()> changed;
    std::function<void(int64_t addedCards)> added;

  private:
    void notify();

    LessonShelf m_shelf;
    LessonsService& m_service;
    bool m_loading = false;
    bool m_failed = false;
    std::string m_lastError;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

}  // namespace talvo
