#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "core/study/day_clock.h"
#include "server/logger.h"
#include "server/mt_client.h"
#include "server/storage.h"

namespace talvo::server {

struct WorkerOptions {
    int64_t leaseSeconds = 300;   // a passage held by a worker that died is free again after this
    int64_t idlePollSeconds = 5;  // other processes may queue passages too
    int64_t firstRetrySeconds = 30;
    int64_t maxRetrySeconds = 3600;
};

// Translates the queue through a machine translation client, one passage at
// a time, on a thread of its own. Passages that fail wait and are tried
// again, each time twice as late (up to an hour). Any number of workers, in
// any number of processes, may share one database: each passage is held by
// one of them at a time.
class TranslationWorker {
  public:
    TranslationWorker(Storage& storage, MtClient& client, Logger& logger, Clock clock,
                      WorkerOptions options = {});
    ~TranslationWorker();
    TranslationWorker(const TranslationWorker&) = delete;
    TranslationWorker& operator=(const TranslationWorker&) = delete;

    void start();
    // Abandons a translation under way (its passage is freed when the lease
    // ends) and joins the thread.
    void stop();
    // Wakes the worker: a passage was queued.
    void notify();

    // Claims and translates one passage; false when none was waiting. Never
    // throws: failures are stored with the passage or logged.
    bool runOnce();

    int64_t retryDelay(int64_t attempts) const;

  private:
    void loop();

    Storage& m_storage;
    MtClient& m_client;
    Logger& m_logger;
    Clock m_clock;
    WorkerOptions m_options;

    std::mutex m_mutex;  // guards m_stopping and m_wakeups
    std::condition_variable m_wake;
    bool m_stopping = false;
    uint64_t m_wakeups = 0;
    std::thread m_thread;
};

}  // namespace talvo::server
