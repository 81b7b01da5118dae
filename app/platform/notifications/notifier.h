#pragma once

#include <functional>
#include <string>

#include "core/ui/shell_texts.h"

namespace talvo {

// Desktop notifications. Main thread only; failures are silent (a desktop
// without a notification service shows nothing).
class Notifier {
  public:
    virtual ~Notifier() = default;

    // Asks for permission to show alerts where the system requires it;
    // `done` runs on the main thread with the answer.
    virtual void requestAuthorization(std::function<void(bool granted)> done) = 0;
    // Shows the notice now, replacing the one shown earlier under `id`.
    virtual void post(const std::string& id, const NoticeText& notice) = 0;
    // Shows the notice every day at hour:00 local time, replacing the
    // schedule and the notice of `id`.
    virtual void scheduleDaily(const std::string& id, int hour, const NoticeText& notice) = 0;
};

}  // namespace talvo
