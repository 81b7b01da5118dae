#include "server/translation_worker.h"

#include <algorithm>
#include <chrono>

namespace talvo::server {

TranslationWorker::TranslationWorker(Storage& storage, MtClient& client, Logger& logger,
                                     Clock clock, WorkerOptions options)
    : m_storage(storage),
      m_client(client),
      m_logger(logger),
      m_clock(std::move(clock)),
      m_options(options) {}

TranslationWorker::~TranslationWorker() {
    stop();
}

void TranslationWorker::start() {
    std::lock_guard lock(m_mutex);
    if (m_thread.joinable()) {
        return;
    }
    m_stopping = false;
    m_thread = std::thread([this] { loop(); });
}

void TranslationWorker::stop() {
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_client.cancel();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void TranslationWorker::notify() {
    {
        std::lock_guard lock(m_mutex);
        ++m_wakeups;
    }
    m_wake.notify_all();
}

int64_t TranslationWorker::retryDelay(int64_t attempts) const {
    int64_t delay = m_options.firstRetrySeconds;
    for (int64_t i = 0; i < attempts && delay < m_options.maxRetrySeconds; ++i) {
        delay *= 2;
    }
    return std::min(delay, m_options.maxRetrySeconds);
}

bool TranslationWorker::runOnce() {
    std::optional<TmJob> job;
    try {
        job = m_storage.claimJob(m_clock.now(), m_options.leaseSeconds);
    } catch (const StorageError& e) {
        m_logger.warn("translation queue unavailable", {{"failure", e.what()}});
        return false;
    }
    if (!job) {
        return false;
    }
    try {
        MtResult result = m_client.translate(job->zh);
        m_storage.putTranslation(job->id, result.text, result.model, m_clock.now());
        m_logger.info("translated", {{"passage", job->id}, {"model", result.model}});
    } catch (const MtError& e) {
        {
            std::lock_guard lock(m_mutex);
            if (m_stopping) {
                return true;  // cancelled: the lease frees the passage, no attempt is counted
            }
        }
        int64_t retryAt = m_clock.now() + retryDelay(job->attempts);
        m_logger.warn(
            "translation failed",
            {{"passage", job->id}, {"attempt", job->attempts + 1}, {"failure", e.what()}});
        try {
            m_storage.failJob(job->id, e.what(), retryAt);
        } catch (const StorageError& se) {
            m_logger.warn("translation queue unavailable", {{"failure", se.what()}});
        }
    } catch (const StorageError& e) {
        m_logger.warn("translation queue unavailable", {{"failure", e.what()}});
    }
    return true;
}

void TranslationWorker::loop() {
    for (;;) {
        uint64_t seen;
        {
            std::lock_guard lock(m_mutex);
            if (m_stopping) {
                return;
            }
            seen = m_wakeups;
        }
        if (runOnce()) {
            continue;
        }
        std::unique_lock lock(m_mutex);
        m_wake.wait_for(lock, std::chrono::seconds(m_options.idlePollSeconds),
                        [&] { return m_stopping || m_wakeups != seen; });
    }
}

}  // namespace talvo::server
