#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace talvo::server {

// What /metrics reports about the request threads. Shared between the pool
// (which httplib owns for the time it listens) and the service.
struct PoolGauges {
    std::atomic<int64_t> queued{0};  // connections waiting for a thread
    std::atomic<int64_t> busy{0};    // connections being served
};

// The request threads. Like httplib's own pool, but it counts its queue; on
// shutdown it first serves what is queued, so every accepted request gets
// its answer.
class TaskPool : public httplib::TaskQueue {
  public:
    TaskPool(size_t threads, PoolGauges& gauges);
    ~TaskPool() override;

    void enqueue(std::function<void()> fn) override;
    void shutdown() override;

  private:
    void work();

    PoolGauges& m_gauges;
    std::mutex m_mutex;  // guards m_jobs and m_stopping
    std::condition_variable m_ready;
    std::deque<std::function<void()>> m_jobs;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};

}  // namespace talvo::server
