#pragma once

#include "app/platform/notifications/daily_timers.h"
#include "app/platform/notifications/notifier.h"

namespace talvo {

// Notices as the tray icon's balloons; the daily one on a timer of the
// running program. Untested: never built here.
class TrayNotifier : public Notifier {
  public:
    explicit TrayNotifier(std::function<void(const NoticeText&)> show) : m_show(std::move(show)) {}

    void requestAuthorization(std::function<void(bool)> done) override { done(true); }
    void post(const std::string&, const NoticeText& notice) override {
        if (m_show) {
            m_show(notice);
        }
    }
    void scheduleDaily(const std::string& id, int hour, const NoticeText& notice) override {
        m_daily.schedule(id, hour, [this, notice] { post({}, notice); });
    }

  private:
    std::function<void(const NoticeText&)> m_show;
    DailyTimers m_daily;
};

}  // namespace talvo
