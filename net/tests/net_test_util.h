#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "net/async/executor.h"
#include "net/online/online_config.h"

namespace talvo::testing {

// The owner thread of a test: tasks wait in a queue until the test thread
// drains it, as the Qt event loop of the application would run them.
class QueueExecutor final : public Executor {
  public:
    bool post(std::function<void()> task) override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_tasks.push_back(std::move(task));
        }
        m_changed.notify_all();
        return true;
    }

    // Runs the tasks queued so far on the calling thread; how many ran.
    size_t drain() {
        std::deque<std::function<void()>> tasks;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            tasks.swap(m_tasks);
        }
        for (auto& t : tasks) {
            t();
        }
        return tasks.size();
    }

    // Waits for at least one task (up to `timeout`), then drains.
    size_t waitAndDrain(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait_for(lock, timeout, [this] { return !m_tasks.empty(); });
        }
        return drain();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_tasks;
};

inline OnlineConfig configFor(std::string baseUrl, std::optional<std::string> token = "tok-123",
                              std::string deviceId = "DEV-A") {
    OnlineConfig c;
    c.baseUrl = [baseUrl] { return baseUrl; };
    c.accessToken = [token] { return token; };
    c.deviceId = [deviceId] { return deviceId; };
    return c;
}

}  // namespace talvo::testing
