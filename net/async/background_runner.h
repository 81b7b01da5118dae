#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

#include "net/async/executor.h"

namespace talvo {

// Runs each task on a thread of its own, so a request that waits a minute
// never delays another. The caller never waits.
//
// Shutdown (explicit or from the destructor) refuses new tasks, calls the
// onShutdown hook, which should make running tasks end soon (typically
// CurlTransport::shutdown), then waits for every running task. So at program
// exit no task outlives what it uses, and none is killed halfway through.
// Thread-safe; shutdown must not be called from one of its own tasks.
class BackgroundRunner final : public Executor {
  public:
    // Fire-and-forget reports beyond this many running tasks are refused
    // rather than piling up threads behind a server that does not answer.
    static constexpr size_t kDefaultMaxRunning = 32;

    explicit BackgroundRunner(std::function<void()> onShutdown = {},
                              size_t maxRunning = kDefaultMaxRunning);
    ~BackgroundRunner() override;
    BackgroundRunner(const BackgroundRunner&) = delete;
    BackgroundRunner& operator=(const BackgroundRunner&) = delete;

    bool post(std::function<void()> task) override;
    void shutdown();
    // Blocks until no task is running (tests, orderly stops).
    void waitIdle();
    size_t running() const;

  private:
    struct Worker {
        std::thread thread;
        bool done = false;
    };
    // Joins workers whose task has ended. Called with m_mutex held.
    void reapLocked();

    std::function<void()> m_onShutdown;
    size_t m_maxRunning;
    mutable std::mutex m_mutex;  // guards everything below
    std::condition_variable m_changed;
    std::list<Worker> m_workers;
    size_t m_running = 0;
    bool m_stopping = false;
};

}  // namespace talvo
