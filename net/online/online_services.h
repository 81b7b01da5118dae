#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "net/async/executor.h"
#include "net/online/online_config.h"
#include "net/stats/usage_reporters.h"

namespace talvo {

class BackgroundRunner;
class CurlTransport;
class LessonsService;
class StudySyncService;
class TMService;

// The online clients with what they run on, built and torn down in the order
// their lifetimes need: the transport outlives the background runner, which
// outlives the clients. Destroying the bundle drops pending answers, cancels
// requests under way and waits (briefly) for their threads, so a request in
// flight never outlives the program's objects.
//
// Create and destroy it on the owner thread (the one that owns the stores);
// `owner` must deliver tasks to that thread and outlive the bundle.
class OnlineServices {
  public:
    struct Options {
        // Everything runs on the calling thread and each call finishes before
        // it returns (talvo-cli). Otherwise requests run on background threads.
        bool synchronous = false;
        std::string noProxy;  // see CurlTransport::Options
        AnalyticsService::AppInfo app = AnalyticsService::currentApp();
        std::chrono::milliseconds syncTimeout{60'000};
        std::chrono::milliseconds lessonsTimeout{12'000};
        std::chrono::milliseconds translateTimeout{60'000};
        std::chrono::milliseconds statsTimeout{60'000};
    };

    OnlineServices(Executor& owner, OnlineConfig config, Options options);
    ~OnlineServices();
    OnlineServices(const OnlineServices&) = delete;
    OnlineServices& operator=(const OnlineServices&) = delete;

    StudySyncService& sync() { return *m_sync; }
    LessonsService& lessons() { return *m_lessons; }
    TMService& tm() { return *m_tm; }
    AnalyticsService& analytics() { return *m_analytics; }
    StatsService& stats() { return *m_stats; }

    // GET of any URL (the update feed): the body of a 200 answer, or absent
    // on any failure. `done` runs on the owner executor; not at all when the
    // bundle is destroyed first.
    using FetchDone = std::function<void(std::optional<std::string> body)>;
    void fetch(const std::string& url, std::chrono::milliseconds timeout, FetchDone done);

  private:
    Executor& m_owner;
    Executor* m_background = nullptr;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
    std::unique_ptr<CurlTransport> m_transport;
    std::unique_ptr<InlineExecutor> m_inline;
    std::unique_ptr<BackgroundRunner> m_runner;
    std::unique_ptr<StudySyncService> m_sync;
    std::unique_ptr<LessonsService> m_lessons;
    std::unique_ptr<TMService> m_tm;
    std::unique_ptr<AnalyticsService> m_analytics;
    std::unique_ptr<StatsService> m_stats;
};

}  // namespace talvo
