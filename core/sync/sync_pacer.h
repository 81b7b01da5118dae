#pragma once

#include <chrono>
#include <optional>

namespace talvo {

// Paces the syncs that grading starts: at most one every `interval`, and a
// grade made inside the interval is not lost but covered by one sync at the
// interval's end. Closing the study window flushes: the sync starts at once.
// A plain value driven by the caller's clock and timer; one thread.
class SyncPacer {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kDefaultInterval{30};

    explicit SyncPacer(std::chrono::milliseconds interval = kDefaultInterval)
        : m_interval(interval) {}

    // What to do about a grade at `now`.
    struct Decision {
        bool syncNow = false;
        // When not syncing now: arm a timer for this long, unless one is
        // already armed (then nothing more is needed).
        std::optional<std::chrono::milliseconds> waitFor;
    };
    Decision graded(Clock::time_point now) {
        if (!m_last || now - *m_last >= m_interval) {
            m_last = now;
            m_waiting = false;
            return {true, std::nullopt};
        }
        if (m_waiting) {
            return {};
        }
        m_waiting = true;
        return {false,
                std::chrono::duration_cast<std::chrono::milliseconds>(*m_last + m_interval - now)};
    }
    // The armed timer fired: true when a sync should start.
    bool timerFired(Clock::time_point now) {
        if (!m_waiting) {
            return false;
        }
        m_waiting = false;
        m_last = now;
        return true;
    }
    // The window closes: a sync now (the caller cancels any armed timer).
    void flushed(Clock::time_point now) {
        m_waiting = false;
        m_last = now;
    }

  private:
    std::chrono::milliseconds m_interval;
    std::optional<Clock::time_point> m_last;
    bool m_waiting = false;
};

}  // namespace talvo
