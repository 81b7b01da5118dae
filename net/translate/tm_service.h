#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "core/wire/translate_records.h"
#include "net/online/online_config.h"
#include "net/online/round_trip.h"

namespace talvo {

// Asks the service's translation memory for a Vietnamese translation of a Hán
// passage: POST base + /api/tm/translate with {"zh": passage}, the device
// id and, when signed in, the sign-in token. The outcome is translated(text), queued or failed;
// every error (no usable service URL, transport, status, body) is failed. No cache, no retries, no
// state between calls.
//
// Threads: translate() may be called from the owner thread; the request runs
// on `background` and `done` is called through `owner`. Several calls may be
// under way at once. The transport and executors must outlive every call;
// completions still under way when the service is destroyed (on the owner
// thread) are dropped.
class TMService {
  public:
    using Result = wire::TranslateResult;
    using Completion = std::function<void(Result)>;

    static constexpr const char* kBasePath = "/api/tm";
    static constexpr std::chrono::milliseconds kDefaultTimeout{60'000};

    TMService(HttpTransport& transport, Executor& background, Executor& owner, OnlineConfig config,
              std::chrono::milliseconds timeout = kDefaultTimeout);
    ~TMService();
    TMService(const TMService&) = delete;
    TMService& operator=(const TMService&) = delete;

    void translate(const std::string& zh, Completion done);

  private:
    RoundTrip m_trip;
    OnlineConfig m_config;
    std::chrono::milliseconds m_timeout;
};

}  // namespace talvo
