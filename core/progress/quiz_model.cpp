#include "core/progress/quiz_model.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "core/progress/progress_store.h"
#include "core/text/unicode.h"

namespace talvo {

namespace quiz {

std::vector<std::string> readings(std::string_view am) {
    std::vector<std::string> out;
    const std::string clean = text::sanitizeUtf8(am);
    for (std::string_view piece : text::split(clean, ',')) {
        std::string_view r = text::trimWhitespace(piece);
        if (!r.empty()) {
            out.emplace_back(r);
        }
    }
    return out;
}

std::string firstReading(std::string_view am) {
    std::vector<std::string> all = readings(am);
    return all.empty() ? std::string() : std::move(all.front());
}

std::string foldAnswer(std::string_view input) {
    // Learners without a Vietnamese keyboard type d for đ, just as they leave
    // out the tone marks; ICU keeps đ (a letter of its own, not d with a
    // mark), so it is mapped here.
    const std::u32string folded = text::scalars(text::foldDiacritics(text::sanitizeUtf8(input)));
    std::string out;
    bool pendingSpace = false;
    for (char32_t c : folded) {
        if (text::isWhitespace(c)) {
            pendingSpace = !out.empty();
            continue;
        }
        if (pendingSpace) {
            out += ' ';
            pendingSpace = false;
        }
        text::appendUtf8(out, c == U'đ' ? U'd' : c);
    }
    return out;
}

bool typedMatches(std::string_view typed, std::string_view am) {
    const std::string t = foldAnswer(typed);
    for (const std::string& r : readings(am)) {
        if (foldAnswer(r) == t) {
            return true;
        }
    }
    return false;
}

}  // namespace quiz

namespace {
// Readings compare as the learner sees them: case and composition aside,
// every mark counts ("mã" is not "ma").
std::string readingKey(std::string_view reading) {
    return text::toLower(text::nfc(reading));
}
}  // namespace

bool QuizModel::readsAs(const std::string& front, const std::string& reading) {
    const std::string key = readingKey(reading);
    for (const std::string& am : m_store.frontReadings(front)) {
        for (const std::string& r : quiz::readings(am)) {
            if (readingKey(r) == key) {
                return true;
            }
        }
    }
    return false;
}

QuizModel::QuizModel(ProgressStore& store, std::mt19937_64 rng, std::function<int64_t()> millis)
    : m_store(store), m_rng(rng), m_millis(std::move(millis)) {}

int64_t QuizModel::nowMillis() const {
    if (m_millis) {
        return m_millis();
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

const QuizQuestion* QuizModel::current() const {
    if (m_phase != Phase::Question || m_index >= m_questions.size()) {
        return nullptr;
    }
    return &m_questions[m_index];
}

std::string QuizModel::newId() {
    uint64_t hi = m_rng();
    uint64_t lo = m_rng();
    hi = (hi & ~uint64_t{0xF000}) | 0x4000;                      // version 4
    lo = (lo & ~(uint64_t{0xC} << 60)) | (uint64_t{0x8} << 60);  // RFC 4122 variant
    char buf[37];
    std::snprintf(buf, sizeof buf, "%08x-%04x-%04x-%04x-%012llx", static_cast<unsigned>(hi >> 32),
                  static_cast<unsigned>((hi >> 16) & 0xFFFF), static_cast<unsigned>(hi & 0xFFFF),
                  static_cast<unsigned>(lo >> 48),
                  static_cast<unsigned long long>(lo & 0xFFFFFFFFFFFFULL));
    return buf;
}

QuizQuestion QuizModel::build(QuizMode mode, const StudyCard& card) {
    QuizQuestion q;
    q.id = newId();
    q.card = card;
    q.mode = mode;
    const std::vector<std::string> cardReadings = quiz::readings(card.am);
    const std::string reading = cardReadings.empty() ? std::string() : cardReadings.front();

    // Candidates come in random order; keep the first ones that are neither
    // right answers nor repeats. Another reading of the card itself would be
    // a second right answer marked wrong, so it is skipped too.
    auto fill = [&](std::vector<std::string> candidates, const std::vector<std::string>& right) {
        q.options.push_back(q.answer);
        for (std::string& c : candidates) {
            if (q.options.size() > static_cast<size_t>(kDistractors)) {
                break;
            }
            if (c.empty() || std::find(right.begin(), right.end(), c) != right.end() ||
                std::find(q.options.begin(), q.options.end(), c) != q.options.end()) {
                continue;
            }
            q.options.push_back(std::move(c));
        }
        std::shuffle(q.options.begin(), q.options.end(), m_rng);
    };

    switch (mode) {
        case QuizMode::AmFromHan: {
            q.prompt = card.front;
            q.answer = reading;
            std::vector<std::string> candidates;
            for (const std::string& am : m_store.distractorReadings(card.uid, kDistractors)) {
                candidates.push_back(quiz::firstReading(am));
            }
            fill(std::move(candidates), cardReadings);
            break;
        }
        case QuizMode::HanFromAm: {
            q.prompt = reading;
            q.answer = card.front;
            // Hán-Việt is full of homophones: a front that the deck also reads
            // as the prompt would be a second right answer marked wrong.
            std::vector<std::string> candidates;
            for (std::string& front : m_store.distractorFronts(card.uid, kDistractors)) {
                if (!readsAs(front, reading)) {
                    candidates.push_back(std::move(front));
                }
            }
            fill(std::move(candidates), {card.front});
            break;
        }
        case QuizMode::TypeAm:
            q.prompt = card.front;
            q.answer = reading;
            break;
    }
    return q;
}

void QuizModel::start(QuizMode mode) {
    m_mode = mode;
    m_questions.clear();
    m_newBadges.clear();
    m_index = 0;
    m_score = 0;
    m_selected.reset();
    m_typed.clear();
    m_answered = false;
    m_lastCorrect = false;
    m_deckTooSmall = false;

    std::vector<StudyCard> pool = m_store.quizPool(kPoolLimit);
    if (pool.size() < kMinPool) {
        m_deckTooSmall = true;
        m_phase = Phase::Finished;
        return;
    }
    std::shuffle(pool.begin(), pool.end(), m_rng);
    if (pool.size() > kMaxQuestions) {
        pool.resize(kMaxQuestions);
    }
    for (const StudyCard& card : pool) {
        m_questions.push_back(build(mode, card));
    }
    m_phase = Phase::Question;
    m_shownAt = nowMillis();
}

void QuizModel::choose(const std::string& option) {
    const QuizQuestion* q = current();
    if (!q || m_answered || q->mode == QuizMode::TypeAm) {
        return;
    }
    m_selected = option;
    finishAnswer(option == q->answer);
}

void QuizModel::submitTyped() {
    const QuizQuestion* q = current();
    if (!q || m_answered || q->mode != QuizMode::TypeAm) {
        return;
    }
    finishAnswer(quiz::typedMatches(m_typed, q->card.am));
}

void QuizModel::finishAnswer(bool correct) {
    m_answered = true;
    m_lastCorrect = correct;
    if (correct) {
        ++m_score;
    }
    const QuizQuestion& q = m_questions[m_index];
    // A lost row only loses this answer's XP; the quiz goes on.
    m_store.recordQuiz(q.card.uid, rawValue(q.mode), correct,
                       std::max<int64_t>(nowMillis() - m_shownAt, 0));
}

void QuizModel::next() {
    if (m_phase != Phase::Question || !m_answered) {
        return;
    }
    m_answered = false;
    m_selected.reset();
    m_typed.clear();
    ++m_index;
    if (m_index < m_questions.size()) {
        m_shownAt = nowMillis();
        return;
    }
    m_phase = Phase::Finished;
    if (onFinish) {
        onFinish();
    }
    m_newBadges = m_store.evaluateBadges();
}

}  // namespace talvo
