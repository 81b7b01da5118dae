#pragma once

#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace talvo {

// Runs an action every day at hour:00 local time while the program runs, one
// schedule per identifier (a new one replaces the old). For notification
// services that cannot schedule by themselves.
class DailyTimers : public QObject {
    Q_OBJECT
  public:
    void schedule(const std::string& id, int hour, std::function<void()> action);

    // Milliseconds from `now` to the next hour:00 in now's time zone; at
    // least a second, so a clock that jumps never spins the timer.
    static qint64 msecsUntilNext(const QDateTime& now, int hour);

  private:
    struct Entry {
        int hour = 0;
        std::function<void()> action;
        std::unique_ptr<QTimer> timer;
    };
    void arm(Entry& e);

    std::map<std::string, Entry> m_entries;
};

}  // namespace talvo
