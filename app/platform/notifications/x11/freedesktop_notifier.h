#pragma once

#include <QObject>
#include <map>

#include "app/platform/notifications/daily_timers.h"
#include "app/platform/notifications/notifier.h"

namespace talvo {

// Notifications through the desktop's notification service
// (org.freedesktop.Notifications on the session bus). A notice replaces the
// one shown earlier under the same identifier. Daily notices are timers of
// the running program: shown at the hour while it runs. Without a service the
// fallback (the tray's balloon) shows them.
class FreedesktopNotifier : public QObject, public Notifier {
    Q_OBJECT
  public:
    explicit FreedesktopNotifier(std::function<void(const NoticeText&)> fallback);

    void requestAuthorization(std::function<void(bool)> done) override;
    void post(const std::string& id, const NoticeText& notice) override;
    void scheduleDaily(const std::string& id, int hour, const NoticeText& notice) override;

  private:
    std::function<void(const NoticeText&)> m_fallback;
    std::map<std::string, uint32_t> m_shown;  // identifier -> the service's id
    DailyTimers m_daily;
};

}  // namespace talvo
