#pragma once

#include <QCoreApplication>
#include <functional>
#include <map>

#include "app/selection/event_pump.h"

namespace talvo::testing {

// A clock that moves only when waited on; things scheduled for a moment
// happen when a wait passes it. Posted events are delivered at each wait, as
// the real event loop would.
class FakePump : public EventPump {
  public:
    double now() override { return m_now; }
    void runFor(double seconds) override {
        m_now += seconds;
        ++waits;
        while (!m_due.empty() && m_due.begin()->first <= m_now) {
            auto action = m_due.begin()->second;
            m_due.erase(m_due.begin());
            action();
        }
        QCoreApplication::processEvents();
    }
    void at(double when, std::function<void()> action) { m_due.emplace(when, std::move(action)); }

    int waits = 0;

  private:
    double m_now = 100.0;
    std::multimap<double, std::function<void()>> m_due;
};

}  // namespace talvo::testing
