#include "app/ocr/recognition_worker.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QMetaObject>
#include <QThread>
#include <exception>

namespace talvo {

Q_LOGGING_CATEGORY(recognitionLog, "talvo.recognition", QtWarningMsg)

// Lives on the worker thread: holds the recogniser and runs the requests.
class RecognitionWorker::Engine : public QObject {
  public:
    explicit Engine(Factory factory) : m_factory(std::move(factory)) {}

    RecognitionReply run(const QImage& rgba, ocr::Layout layout) {
        if (!m_made) {
            m_made = true;
            try {
                m_recognizer = m_factory ? m_factory() : nullptr;
            } catch (const std::exception& e) {
                qCWarning(recognitionLog) << "the recogniser could not be made:" << e.what();
            }
        }
        RecognitionReply reply;
        if (!m_recognizer) {
            reply.engineMissing = true;
            return reply;
        }
        ocr::ImageView view;
        view.pixels = rgba.constBits();
        view.width = rgba.width();
        view.height = rgba.height();
        view.bytesPerPixel = 4;
        view.bytesPerLine = static_cast<int>(rgba.bytesPerLine());
        try {
            reply.outcome = m_recognizer->recognize(view, layout);
        } catch (const std::exception& e) {
            // An engine that throws has read nothing from this picture.
            qCWarning(recognitionLog) << "recognition failed:" << e.what();
            reply.outcome = {};
            reply.outcome.error = ocr::RecognitionError::BadImage;
        }
        if (!reply.outcome.recognition && !reply.outcome.error) {
            reply.outcome.error = ocr::RecognitionError::NoText;
        }
        return reply;
    }

  private:
    Factory m_factory;
    std::unique_ptr<ocr::TextRecognizer> m_recognizer;
    bool m_made = false;
};

RecognitionWorker::RecognitionWorker(Factory factory, QObject* parent)
    : QObject(parent), m_factory(std::move(factory)) {}

RecognitionWorker::~RecognitionWorker() {
    if (!m_thread) {
        return;
    }
    forget();
    // Queued after any request in flight: the engine goes on its own thread.
    QMetaObject::invokeMethod(m_engine, [engine = m_engine] { delete engine; });
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

void RecognitionWorker::recognize(const QImage& image, ocr::Layout layout, Done done) {
    if (!m_thread) {
        m_thread = new QThread;
        m_thread->setObjectName(QStringLiteral("talvo-recognition"));
        m_engine = new Engine(m_factory);
        m_engine->moveToThread(m_thread);
        m_thread->start();
    }
    const uint64_t id = ++*m_latest;
    QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
    QPointer<RecognitionWorker> self(this);
    Engine* engine = m_engine;
    auto latest = m_latest;
    QMetaObject::invokeMethod(m_engine,
                              [engine, rgba, layout, self, id, latest, done = std::move(done)] {
                                  if (*latest != id) {
                                      return;  // a newer picture waits behind this one
                                  }
                                  RecognitionReply reply = engine->run(rgba, layout);
                                  // Back to the main thread, where `self` is checked before use.
                                  QMetaObject::invokeMethod(
                                      QCoreApplication::instance(),
                                      [self, id, latest, done, reply] {
                                          if (self && *latest == id) {
                                              done(reply);
                                          }
                                      },
                                      Qt::QueuedConnection);
                              });
}

void RecognitionWorker::forget() {
    ++*m_latest;
}

}  // namespace talvo
