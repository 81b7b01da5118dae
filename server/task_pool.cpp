#include "server/task_pool.h"

namespace talvo::server {

TaskPool::TaskPool(size_t threads, PoolGauges& gauges) : m_gauges(gauges) {
    for (size_t i = 0; i < (threads ? threads : 1); ++i) {
        m_threads.emplace_back([this] { work(); });
    }
}

TaskPool::~TaskPool() {
    shutdown();
}

void TaskPool::enqueue(std::function<void()> fn) {
    {
        std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(fn));
    }
    ++m_gauges.queued;
    m_ready.notify_one();
}

void TaskPool::shutdown() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_ready.notify_all();
    for (std::thread& t : m_threads) {
        if (t.joinable()) {
            t.join();
        }
    }
}

void TaskPool::work() {
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(m_mutex);
            m_ready.wait(lock, [&] { return m_stopping || !m_jobs.empty(); });
            if (m_jobs.empty()) {
                return;
            }
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        --m_gauges.queued;
        ++m_gauges.busy;
        try {
            job();
        } catch (...) {
            // A connection's failure must not take the thread down with it.
        }
        --m_gauges.busy;
    }
}

}  // namespace talvo::server
