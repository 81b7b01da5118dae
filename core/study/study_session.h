#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "core/study/rating.h"
#include "core/study/study_card.h"

namespace talvo {

class StudyStore;

// The keys the review session answers, by position: the digit row's 1 to 4,
// Return and Space. Front ends translate their own key events into these.
enum class StudyKey { Digit1, Digit2, Digit3, Digit4, Return, Space, Other };

struct KeyModifiers {
    bool command = false;
    bool option = false;
    bool control = false;
    bool shift = false;  // does not change the meaning of a key
};

// What one key press does in the session.
struct StudyKeyAction {
    enum class Kind { None, Reveal, Pick, Grade };
    Kind kind = Kind::None;
    size_t choice = 0;             // for Pick: index into the choices
    Rating rating = Rating::Good;  // for Grade
    bool consumed = false;         // false: pass the key on to the system

    bool operator==(const StudyKeyAction&) const = default;
};

// The key table. Keys held with Command, Option or Control are never the
// session's. Revealed, 1-4 grade again..easy and Return/Space grade good; not
// revealed, 1-4 pick that choice when it exists and Return/Space reveal. Every
// key of the table is consumed even when it does nothing.
StudyKeyAction studyKeyAction(StudyKey key, KeyModifiers mods, bool revealed, size_t choiceCount);

// macOS virtual key codes of the ANSI layout (kVK_ANSI_1 ... kVK_Space).
StudyKey studyKeyFromMacKeyCode(uint16_t keyCode);

// The review session's state and rules, without any drawing: today's queue,
// the card on show, reveal, multiple choice and grading. A window or a
// terminal draws it and feeds it keys. Borrows the store; one thread.
class StudySession {
  public:
    static constexpr size_t kChoices = 4;

    // The engine shuffles the multiple choice; inject a seeded one to pin it.
    explicit StudySession(StudyStore& store,
                          std::mt19937_64 rng = std::mt19937_64{std::random_device{}()});

    // Builds the queue and the summary afresh from the database.
    void reload();
    // Brings the queue and the summary up to date after the database changed
    // underneath (a sync) without disturbing the learner: when the card on
    // show is unchanged in the database it stays on show, first in the queue,
    // with its reveal, its choices and the pick; otherwise this is reload().
    void refresh();
    void reveal();
    // Picks a reading of the multiple choice and reveals; never grades.
    void pick(const std::string& reading);
    // Grades the card on show once it is revealed. False when there is no
    // revealed card or the store could not save the grade (the card stays).
    bool grade(Rating rating);
    // Runs one key press through the key table; true when it was consumed.
    bool handle(StudyKey key, KeyModifiers mods = {});

    const std::deque<StudyCard>& queue() const { return m_queue; }
    const std::optional<StudyCard>& card() const { return m_card; }
    bool revealed() const { return m_revealed; }
    const StudySummary& summary() const { return m_summary; }
    int64_t doneThisSession() const { return m_done; }
    // The readings to choose from, shuffled; empty when the card is shown
    // without a multiple choice (no reading, or fewer than 3 distinct ones).
    const std::vector<std::string>& choices() const { return m_choices; }
    const std::optional<std::string>& picked() const { return m_picked; }
    bool pickedCorrect() const;

    // Called after every grade that was saved.
    std::function<void()> onProgress;

  private:
    void buildChoices();
    void showFront();

    StudyStore& m_store;
    std::mt19937_64 m_rng;
    std::deque<StudyCard> m_queue;
    std::optional<StudyCard> m_card;
    bool m_revealed = false;
    StudySummary m_summary;
    int64_t m_done = 0;
    std::vector<std::string> m_choices;
    std::optional<std::string> m_picked;
};

}  // namespace talvo
