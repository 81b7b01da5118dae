#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/wire/lessons_feed.h"
#include "net/online/online_config.h"
#include "net/online/round_trip.h"

namespace talvo {

// Fetches the lessons feed: a plain GET of base + /api/study/lessons with a
// 12-second limit and no headers of our own. Status 200 with a body that
// decodes as the feed is the only success.
//
// Threads: fetch() may be called from the owner thread; the request runs on
// `background` and the completion is called through `owner`. The transport
// and executors must outlive every fetch. Completions of fetches still under
// way when the service is destroyed (on the owner thread) are dropped.
class LessonsService {
  public:
    static constexpr const char* kPath = "/api/study/lessons";
    static constexpr std::chrono::milliseconds kDefaultTimeout{12'000};

    struct Outcome {
        std::optional<std::vector<wire::Lesson>> lessons;  // absent: the fetch failed
        std::string error;                                 // why, when it failed
    };
    using Completion = std::function<void(Outcome)>;

    LessonsService(HttpTransport& transport, Executor& background, Executor& owner,
                   OnlineConfig config, std::chrono::milliseconds timeout = kDefaultTimeout);
    ~LessonsService();
    LessonsService(const LessonsService&) = delete;
    LessonsService& operator=(const LessonsService&) = delete;

    // Calls `done` exactly once (unless the service goes away first).
    void fetch(Completion done);

  private:
    // Runs on the background thread: a big feed is decoded off the owner's.
    static Outcome read(const HttpResult& result);

    RoundTrip m_trip;
    OnlineConfig m_config;
    std::chrono::milliseconds m_timeout;
};

}  // namespace talvo
