#pragma once

#include "app/platform/notifications/notifier.h"

namespace talvo {

// The user notification centre: alert authorization, immediate requests and
// a repeating calendar trigger, each under its identifier.
// Untested: written from Apple's documentation, never built here.
class UserNotificationsNotifier : public Notifier {
  public:
    void requestAuthorization(std::function<void(bool)> done) override;
    void post(const std::string& id, const NoticeText& notice) override;
    void scheduleDaily(const std::string& id, int hour, const NoticeText& notice) override;
};

}  // namespace talvo
