#pragma once

namespace talvo {

// Time and waiting for selection capture. The waits turn the event loop, so
// drawing, timers and a second shortcut press go on meanwhile (callers guard
// against re-entry). Tests substitute a clock that jumps.
class EventPump {
  public:
    virtual ~EventPump() = default;
    // Seconds on a monotonic clock.
    virtual double now() = 0;
    // Runs the event loop for at most about `seconds`; it may return early
    // when something the capture waits for has happened.
    virtual void runFor(double seconds) = 0;
};

class QtEventPump : public EventPump {
  public:
    QtEventPump();
    double now() override;
    void runFor(double seconds) override;

  private:
    long long m_origin;
};

}  // namespace talvo
