#pragma once

#include "net/async/executor.h"

class QObject;

namespace talvo {

// Delivers tasks to the thread of a QObject through its event loop (a queued
// call), which is how results of background requests reach the thread that
// owns the stores and the widgets. post() may be called from any thread.
// Tasks still queued when the context object is destroyed are dropped.
// The context must outlive every post() call (use the application object or
// an object owned by the controller).
class QtExecutor final : public Executor {
  public:
    explicit QtExecutor(QObject* context);
    bool post(std::function<void()> task) override;

  private:
    QObject* m_context;
};

}  // namespace talvo
