#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "core/wire/stats_records.h"
#include "net/online/online_config.h"

namespace talvo {

class Executor;
class HttpTransport;

// The clock of the reporters' de-duplication windows; injected so tests set "now".
using MonotonicClock = std::function<std::chrono::steady_clock::time_point()>;

// Usage events (POST base + /api/stats/event): "app_open" once per launch and
// "feature_used" at most once per 3 seconds per feature name.
//
// Fire-and-forget: each report is a task on `background` whose outcome is
// discarded; the caller never waits, a failure is lost, nothing is retried.
// With no usable service URL nothing is sent at all. The public operations
// are called on one thread (the owner), which alone touches the window map;
// the background tasks share nothing with it. The transport and the executor
// must outlive every report (BackgroundRunner's shutdown ends them at exit).
class AnalyticsService {
  public:
    static constexpr const char* kPath = "/api/stats/event";
    static constexpr std::chrono::milliseconds kFeatureWindow{3'000};
    static constexpr std::chrono::milliseconds kDefaultTimeout{60'000};

    struct AppInfo {
        std::string version = "?";  // the program's version
        std::string os;             // "linux", "macos", "windows"; empty: this system's
    };
    // This build's version and system.
    static AppInfo currentApp();

    AnalyticsService(HttpTransport& transport, Executor& background, OnlineConfig config,
                     AppInfo app, MonotonicClock clock = {},
                     std::chrono::milliseconds timeout = kDefaultTimeout);

    void appOpen();
    void feature(const std::string& name);

    // The running system's name as reported in "os".
    static std::string currentOs();

  private:
    void send(const wire::StatsEvent& event);

    HttpTransport& m_transport;
    Executor& m_background;
    OnlineConfig m_config;
    AppInfo m_app;
    MonotonicClock m_clock;
    std::chrono::milliseconds m_timeout;
    std::map<std::string, std::chrono::steady_clock::time_point> m_lastFeature;
};

// Looked-up passages (POST base + /api/stats/lookup): each passage, trimmed of
// white space, at most once per 60 seconds. Same threading and failure rules
// as AnalyticsService.
class StatsService {
  public:
    static constexpr const char* kPath = "/api/stats/lookup";
    static constexpr std::chrono::milliseconds kRepeatWindow{60'000};
    static constexpr std::chrono::milliseconds kDefaultTimeout{60'000};

    StatsService(HttpTransport& transport, Executor& background, OnlineConfig config,
                 MonotonicClock clock = {}, std::chrono::milliseconds timeout = kDefaultTimeout);

    void record(const std::string& zh);

  private:
    HttpTransport& m_transport;
    Executor& m_background;
    OnlineConfig m_config;
    MonotonicClock m_clock;
    std::chrono::milliseconds m_timeout;
    std::map<std::string, std::chrono::steady_clock::time_point> m_lastSent;
};

}  // namespace talvo
