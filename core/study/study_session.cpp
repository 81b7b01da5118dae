#include "core/study/study_session.h"

#include <algorithm>

#include "core/study/study_store.h"

namespace talvo {

StudyKeyAction studyKeyAction(StudyKey key, KeyModifiers mods, bool revealed, size_t choiceCount) {
    StudyKeyAction a;
    if (mods.command || mods.option || mods.control || key == StudyKey::Other) {
        return a;
    }
    a.consumed = true;
    if (key == StudyKey::Return || key == StudyKey::Space) {
        if (revealed) {
            a.kind = StudyKeyAction::Kind::Grade;
            a.rating = Rating::Good;
        } else {
            a.kind = StudyKeyAction::Kind::Reveal;
        }
        return a;
    }
    const size_t index = static_cast<size_t>(key) - static_cast<size_t>(StudyKey::Digit1);
    if (revealed) {
        a.kind = StudyKeyAction::Kind::Grade;
        a.rating = kAllRatings[index];
    } else if (index < choiceCount) {
        a.kind = StudyKeyAction::Kind::Pick;
        a.choice = index;
    }
    return a;
}

StudyKey studyKeyFromMacKeyCode(uint16_t keyCode) {
    switch (keyCode) {
        case 0x12:
            return StudyKey::Digit1;
        case 0x13:
            return StudyKey::Digit2;
        case 0x14:
            return StudyKey::Digit3;
        case 0x15:
            return StudyKey::Digit4;
        case 0x24:
            return StudyKey::Return;
        case 0x31:
            return StudyKey::Space;
        default:
            return StudyKey::Other;
    }
}

StudySession::StudySession(StudyStore& store, std::mt19937_64 rng)
    : m_store(store), m_rng(std::move(rng)) {}

void StudySession::reload() {
    const int64_t today = m_store.clock().today();
    std::vector<StudyCard> cards = m_store.queue(today);
    m_queue.assign(std::make_move_iterator(cards.begin()), std::make_move_iterator(cards.end()));
    m_summary = m_store.summary(today);
    showFront();
}

void StudySession::refresh() {
    if (!m_card) {
        reload();
        return;
    }
    std::optional<StudyCard> stored = m_store.cardByUid(m_card->uid);
    if (!stored || *stored != *m_card) {
        reload();
        return;
    }
    const int64_t today = m_store.clock().today();
    std::vector<StudyCard> cards = m_store.queue(today);
    std::deque<StudyCard> queue{*m_card};
    for (StudyCard& c : cards) {
        if (c.uid != m_card->uid) {
            queue.push_back(std::move(c));
        }
    }
    m_queue = std::move(queue);
    m_summary = m_store.summary(today);
}

void StudySession::showFront() {
    m_revealed = false;
    m_card = m_queue.empty() ? std::nullopt : std::optional<StudyCard>(m_queue.front());
    buildChoices();
}

void StudySession::buildChoices() {
    m_picked.reset();
    m_choices.clear();
    if (!m_card || m_card->am.empty()) {
        return;
    }
    std::vector<std::string> list{m_card->am};
    // Three times the readings wanted, so that duplicates still leave enough.
    for (std::string& am : m_store.distractors(m_card->uid, static_cast<int>(3 * kChoices))) {
        if (list.size() >= kChoices) {
            break;
        }
        if (std::find(list.begin(), list.end(), am) == list.end()) {
            list.push_back(std::move(am));
        }
    }
    if (list.size() < 3) {
        return;  // too few other readings: plain reveal
    }
    std::shuffle(list.begin(), list.end(), m_rng);
    m_choices = std::move(list);
}

void StudySession::reveal() {
    if (m_card && !m_revealed) {
        m_revealed = true;
    }
}

void StudySession::pick(const std::string& reading) {
    if (m_card && !m_revealed) {
        m_picked = reading;
        m_revealed = true;
    }
}

bool StudySession::pickedCorrect() const {
    return m_picked && m_card && *m_picked == m_card->am;
}

bool StudySession::grade(Rating rating) {
    if (!m_card || !m_revealed) {
        return false;
    }
    const int64_t today = m_store.clock().today();
    if (!m_store.grade(*m_card, rating, today)) {
        return false;
    }
    ++m_done;
    m_queue.pop_front();
    m_summary = m_store.summary(today);
    showFront();
    if (onProgress) {
        onProgress();
    }
    return true;
}

bool StudySession::handle(StudyKey key, KeyModifiers mods) {
    StudyKeyAction a = studyKeyAction(key, mods, m_revealed, m_choices.size());
    switch (a.kind) {
        case StudyKeyAction::Kind::Reveal:
            reveal();
            break;
        case StudyKeyAction::Kind::Pick:
            pick(m_choices[a.choice]);
            break;
        case StudyKeyAction::Kind::Grade:
            grade(a.rating);
            break;
        case StudyKeyAction::Kind::None:
            break;
    }
    return a.consumed;
}

}  // namespace talvo
