#pragma once

#include <map>
#include <vector>

#include "app/platform/notifications/notifier.h"

namespace talvo {

// Keeps what would have been shown, by identifier, as a notification centre does.
class FakeNotifier : public Notifier {
  public:
    void requestAuthorization(std::function<void(bool)> done) override { done(granted); }
    void post(const std::string& id, const NoticeText& n) override {
        shown[id] = n;
        ++posts;
    }
    void scheduleDaily(const std::string& id, int hour, const NoticeText& n) override {
        daily[id] = {hour, n};
    }

    struct Daily {
        int hour = 0;
        NoticeText notice;
    };
    bool granted = true;
    std::map<std::string, NoticeText> shown;
    std::map<std::string, Daily> daily;
    int posts = 0;
};

}  // namespace talvo
