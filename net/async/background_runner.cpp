#include "net/async/background_runner.h"

namespace talvo {

BackgroundRunner::BackgroundRunner(std::function<void()> onShutdown, size_t maxRunning)
    : m_onShutdown(std::move(onShutdown)), m_maxRunning(maxRunning) {}

BackgroundRunner::~BackgroundRunner() {
    shutdown();
}

void BackgroundRunner::reapLocked() {
    for (auto it = m_workers.begin(); it != m_workers.end();) {
        if (it->done) {
            // The worker only has to return from its function; it takes no lock.
            it->thread.join();
            it = m_workers.erase(it);
        } else {
            ++it;
        }
    }
}

bool BackgroundRunner::post(std::function<void()> task) {
    std::lock_guard<std::mutex> lock(m_mutex);
    reapLocked();
    if (m_stopping || m_running >= m_maxRunning) {
        return false;
    }
    try {
        Worker& w = m_workers.emplace_back();
        w.thread = std::thread([this, &w, task = std::move(task)] {
            try {
                task();
            } catch (...) {
            }
            std::lock_guard<std::mutex> done(m_mutex);
            w.done = true;
            --m_running;
            m_changed.notify_all();
        });
        ++m_running;
    } catch (...) {
        // No thread could be made: the task is refused.
        if (!m_workers.empty() && !m_workers.back().thread.joinable()) {
            m_workers.pop_back();
        }
        return false;
    }
    return true;
}

void BackgroundRunner::waitIdle() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_running == 0; });
    reapLocked();
}

void BackgroundRunner::shutdown() {
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_stopping) {
            m_stopping = true;
            hook = std::move(m_onShutdown);
        }
    }
    if (hook) {
        hook();
    }
    waitIdle();
}

size_t BackgroundRunner::running() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_running;
}

}  // namespace talvo
