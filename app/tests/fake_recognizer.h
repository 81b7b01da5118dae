#pragma once

#include <QSize>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "ocr/text_recognizer.h"

namespace talvo::testing {

// What the fake recogniser answers and what it was given; shared between the
// test (main thread) and the recogniser (worker thread).
struct RecognizerScript {
    std::mutex mutex;
    ocr::RecognitionOutcome next;
    std::vector<QSize> seen;        // the size of each picture it read
    std::atomic<int> made{0};       // recognisers made
    std::atomic<bool> hold{false};  // keeps the worker busy until cleared
    std::atomic<bool> working{false};
    std::atomic<bool> engineMissing{false};  // the factory makes none

    void answer(ocr::RecognitionOutcome outcome) {
        std::lock_guard lock(mutex);
        next = std::move(outcome);
    }
    // `text` in one line; the characters at `uncertain` marked.
    void answerText(const std::string& text, std::vector<size_t> uncertain = {});
    size_t reads() {
        std::lock_guard lock(mutex);
        return seen.size();
    }
};

// A recogniser that answers what the script says, whatever the picture.
class FakeRecognizer : public ocr::TextRecognizer {
  public:
    explicit FakeRecognizer(std::shared_ptr<RecognizerScript> script)
        : m_script(std::move(script)) {}

    ocr::RecognitionOutcome recognize(const ocr::ImageView& image, ocr::Layout) override;

  private:
    std::shared_ptr<RecognizerScript> m_script;
};

}  // namespace talvo::testing
