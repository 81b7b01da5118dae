#include "app/platform/notifications/daily_timers.h"

#include <QTimeZone>
#include <algorithm>

namespace talvo {

void DailyTimers::schedule(const std::string& id, int hour, std::function<void()> action) {
    Entry& e = m_entries[id];
    e.hour = hour;
    e.action = std::move(action);
    e.timer = std::make_unique<QTimer>();
    e.timer->setSingleShot(true);
    connect(e.timer.get(), &QTimer::timeout, this, [this, id] {
        auto it = m_entries.find(id);
        if (it == m_entries.end()) {
            return;
        }
        it->second.action();
        arm(it->second);
    });
    arm(e);
}

void DailyTimers::arm(Entry& e) {
    e.timer->start(static_cast<int>(msecsUntilNext(QDateTime::currentDateTime(), e.hour)));
}

qint64 DailyTimers::msecsUntilNext(const QDateTime& now, int hour) {
    QDateTime next(now.date(), QTime(hour, 0), now.timeZone());
    if (next <= now) {
        next = QDateTime(now.date().addDays(1), QTime(hour, 0), now.timeZone());
    }
    return std::max<qint64>(1000, now.msecsTo(next));
}

}  // namespace talvo
