#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/progress/quiz_mode.h"
#include "core/study/study_card.h"

namespace talvo {

class ProgressStore;

// One question of a quiz, built from one card of the deck.
struct QuizQuestion {
    std::string id;  // a fresh random UUID (version 4), for views that key their rows
    StudyCard card;
    QuizMode mode = QuizMode::AmFromHan;
    std::string prompt;                // the front, or for HanFromAm the reading
    std::vector<std::string> options;  // shuffled; empty for TypeAm
    std::string answer;                // the correct option (for TypeAm: the first reading)
};

namespace quiz {

// The readings listed in `am` ("hàn, hán"), split at commas and trimmed;
// empty pieces are dropped.
std::vector<std::string> readings(std::string_view am);
// The first of them, or empty.
std::string firstReading(std::string_view am);

// A typed answer or a reading as compared: lower case, without diacritics
// (tone marks and the marks of ă â ê ô ơ ư), đ as d, white space trimmed and
// each inner run of it made one space. Uses ICU for case and marks.
std::string foldAnswer(std::string_view text);
// True when the folded text equals the folded form of any reading in `am`.
bool typedMatches(std::string_view typed, std::string_view am);

}  // namespace quiz

// A short self-test drawn from the learner's deck: up to ten questions in one
// mode, 2 XP per correct answer, no effect on scheduling (only quiz_log rows
// are written). Holds the state a quiz window or a terminal draws; borrows
// the store; one thread.
class QuizModel {
  public:
    enum class Phase {
        Picking,   // choose a mode
        Question,  // answering
        Finished,  // the quiz is over, or the deck is too small for one
    };

    static constexpr size_t kMaxQuestions = 10;
    static constexpr int kPoolLimit = 40;
    static constexpr size_t kMinPool = 4;
    static constexpr int kDistractors = 3;

    // The engine shuffles the pool and the options and makes the question
    // ids; `millis` is a steady clock in milliseconds that times the answers
    // (quiz_log.ms). Inject both to pin a test.
    explicit QuizModel(ProgressStore& store,
                       std::mt19937_64 rng = std::mt19937_64{std::random_device{}()},
                       std::function<int64_t()> millis = {});

    // Builds a quiz from the deck and shows its first question; with 3
    // readable cards or fewer it finishes at once with deckTooSmall().
    void start(QuizMode mode);
    // Answers a multiple-choice question (exact text comparison).
    void choose(const std::string& option);
    void setTyped(std::string text) { m_typed = std::move(text); }
    // Answers a TypeAm question with typed().
    void submitTyped();
    // After an answer, moves on; after the last one the quiz finishes,
    // onFinish runs and the badges are evaluated.
    void next();

    Phase phase() const { return m_phase; }
    std::optional<QuizMode> mode() const { return m_mode; }
    const std::vector<QuizQuestion>& questions() const { return m_questions; }
    size_t index() const { return m_index; }
    // The question being answered; null outside the Question phase.
    const QuizQuestion* current() const;
    int64_t score() const { return m_score; }
    const std::optional<std::string>& selected() const { return m_selected; }
    const std::string& typed() const { return m_typed; }
    bool answered() const { return m_answered; }
    bool lastCorrect() const { return m_lastCorrect; }
    // Finished because the deck had too few cards with a reading.
    bool deckTooSmall() const { return m_deckTooSmall; }
    // Badges that the end of the last quiz awarded (codes, catalogue order).
    const std::vector<std::string>& newBadges() const { return m_newBadges; }

    std::function<void()> onFinish;

  private:
    QuizQuestion build(QuizMode mode, const StudyCard& card);
    // True when some card with this front lists `reading` among its readings.
    bool readsAs(const std::string& front, const std::string& reading);
    std::string newId();
    void finishAnswer(bool correct);
    int64_t nowMillis() const;

    ProgressStore& m_store;
    std::mt19937_64 m_rng;
    std::function<int64_t()> m_millis;
    Phase m_phase = Phase::Picking;
    std::optional<QuizMode> m_mode;
    std::vector<QuizQuestion> m_questions;
    size_t m_index = 0;
    int64_t m_score = 0;
    std::optional<std::string> m_selected;
    std::string m_typed;
    bool m_answered = false;
    bool m_lastCorrect = false;
    bool m_deckTooSmall = false;
    int64_t m_shownAt = 0;
    std::vector<std::string> m_newBadges;
};

}  // namespace talvo
