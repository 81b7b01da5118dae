#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <atomic>
#include <functional>
#include <memory>

#include "ocr/text_recognizer.h"

class QThread;

namespace talvo {

// What the worker says about one picture.
struct RecognitionReply {
    // This program was built without a recognition engine.
    bool engineMissing = false;
    ocr::RecognitionOutcome outcome;
};

// Text recognition off the main thread: one worker thread with one
// recogniser, both made on the first request only (the engine and its model
// cost memory the tray program should not carry while idle). Requests run
// one at a time, in order. Each answer comes back on the main thread; an
// answer whose request has been superseded by a newer one is dropped.
// The thread ends when the worker goes, after the picture in hand.
class RecognitionWorker : public QObject {
    Q_OBJECT
  public:
    using Factory = std::function<std::unique_ptr<ocr::TextRecognizer>()>;
    using Done = std::function<void(const RecognitionReply&)>;

    // `factory` runs on the worker thread; null from it: no engine here.
    explicit RecognitionWorker(Factory factory, QObject* parent = nullptr);
    ~RecognitionWorker() override;

    // Reads `image` (any format; converted to RGBA here) and calls `done` on
    // the main thread, unless a newer request came first.
    void recognize(const QImage& image, ocr::Layout layout, Done done);
    // Drops the answer of the request in flight, if any.
    void forget();

    // Whether the thread (and so the recogniser) has been made.
    bool started() const { return m_thread != nullptr; }

  private:
    class Engine;

    Factory m_factory;
    QThread* m_thread = nullptr;
    Engine* m_engine = nullptr;  // lives on m_thread
    // The request whose answer is wanted; the worker skips older ones.
    std::shared_ptr<std::atomic<uint64_t>> m_latest = std::make_shared<std::atomic<uint64_t>>(0);
};

}  // namespace talvo
