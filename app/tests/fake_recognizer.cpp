#include "app/tests/fake_recognizer.h"

#include <QList>
#include <QString>
#include <algorithm>
#include <chrono>
#include <thread>

namespace talvo::testing {

void RecognizerScript::answerText(const std::string& text, std::vector<size_t> uncertain) {
    ocr::Recognition r;
    r.text = text;
    size_t i = 0;
    for (uint point : QString::fromStdString(text).toUcs4()) {
        if (point == '\n') {
            continue;
        }
        ocr::RecognizedChar c;
        c.text = QString::fromUcs4(reinterpret_cast<const char32_t*>(&point), 1).toStdString();
        c.uncertain = std::find(uncertain.begin(), uncertain.end(), i) != uncertain.end();
        c.confidence = c.uncertain ? 0.4f : 0.95f;
        r.chars.push_back(c);
        ++i;
    }
    ocr::RecognitionOutcome outcome;
    outcome.recognition = std::move(r);
    answer(std::move(outcome));
}

ocr::RecognitionOutcome FakeRecognizer::recognize(const ocr::ImageView& image, ocr::Layout) {
    m_script->working = true;
    while (m_script->hold) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::lock_guard lock(m_script->mutex);
    m_script->seen.emplace_back(image.width, image.height);
    m_script->working = false;
    return m_script->next;
}

}  // namespace talvo::testing
