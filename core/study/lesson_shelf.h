#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "core/wire/lessons_feed.h"

namespace talvo {

class StudyStore;

// The lessons of the feed beside the learner's deck: in the feed's order
// (tier, then ord), how many items of each are already in the deck, and what
// each lesson's row offers. No network: the caller hands in the lessons it
// fetched. Same thread as the store, which must outlive the shelf.
class LessonShelf {
  public:
    enum class Action {
        add,         // nothing of it in the deck yet
        addMissing,  // some of it in the deck
        complete,    // all of it in the deck: nothing to add
    };

    explicit LessonShelf(StudyStore& store) : m_store(store) {}

    // Replaces the lessons, sorts them and counts them against the deck.
    void setLessons(std::vector<wire::Lesson> lessons);
    const std::vector<wire::Lesson>& lessons() const { return m_lessons; }
    // The lesson with this id; null when the feed has none.
    const wire::Lesson* find(int64_t id) const;

    // Items of the lesson in the deck at the last count; 0 when unknown.
    int64_t have(const wire::Lesson& lesson) const;
    Action actionFor(const wire::Lesson& lesson) const;
    // Counts again from the database (another window or a sync changed it).
    void recount();
    // Adds the lesson's items that are not in the deck yet, then recounts
    // (lessons sharing items rise too). Returns how many cards were added.
    int64_t add(const wire::Lesson& lesson);

  private:
    StudyStore& m_store;
    std::vector<wire::Lesson> m_lessons;
    std::map<int64_t, int64_t> m_inDeck;
};

}  // namespace talvo
