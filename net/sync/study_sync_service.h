#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "core/wire/sync_records.h"
#include "net/online/online_config.h"

namespace talvo {

class Executor;
class HttpTransport;
class StudyDatabase;
struct HttpResult;

// What one exchange did, for the caller's callback (and talvo-cli's report).
// The counts add up over the exchange's pages.
struct SyncReport {
    bool ok = false;
    std::string error;  // why it failed; never holds the token or a body
    int64_t pages = 0;  // round trips whose answer was applied
    int64_t sentCards = 0;
    int64_t sentLogs = 0;
    int64_t since = 0;  // the pull cursor that was sent first
    int64_t receivedCards = 0;
    int64_t receivedLogs = 0;
    int64_t appliedCards = 0;   // received cards that changed the deck
    int64_t storedLogs = 0;     // received logs that were new here
    int64_t replayedCards = 0;  // cards recomputed from the logs of several devices
    int64_t refusedRows = 0;    // rows the server refused in this exchange
    int64_t refusedTotal = 0;   // refused rows kept here, unsynced (all exchanges)
    bool more = false;          // stopped at the page bound with rows still waiting
    int64_t now = 0;            // the last cursor the server gave
};

// Runs the study sync exchange (POST base + /api/study/sync) against a study
// database, one exchange at a time.
//
// Threads: sync() is called on the thread that owns the database. Gathering the
// batch happens there, at once; the request runs through `background`; the
// answer is applied and the completion called through `owner`, which must run
// tasks on the database's thread. Every failure (no service URL, not signed in,
// transport error, timeout, a status other than 200, an answer that does not
// decode, a database that refuses the changes) leaves the database exactly as
// it was, so the next trigger sends the same batch again.
//
// The transport and both executors must outlive every exchange started here.
// Destroying the service on the owner thread drops the answers of exchanges
// still under way (nothing is applied, no completion is called); the database
// must stay alive until an exchange completes or the service is destroyed.
class StudySyncService {
  public:
    static constexpr const char* kPath = "/api/study/sync";
    static constexpr std::chrono::milliseconds kDefaultTimeout{60'000};
    // Round trips in one exchange: each sends up to 500 cards and 500 logs
    // and takes one page of the answer. A bound, so that one exchange cannot
    // run for ever against a server that always says more is waiting.
    static constexpr int kMaxPages = 20;

    using Completion = std::function<void(const SyncReport&)>;

    StudySyncService(HttpTransport& transport, Executor& background, Executor& owner,
                     OnlineConfig config, std::chrono::milliseconds timeout = kDefaultTimeout);
    ~StudySyncService();
    StudySyncService(const StudySyncService&) = delete;
    StudySyncService& operator=(const StudySyncService&) = delete;

    // Starts one exchange: round trips, each applied as it is answered, until
    // nothing waits on either side or kMaxPages were made. False when one is
    // already under way: the trigger is dropped, and `done` is never called.
    // Otherwise `done` (if any) is called exactly once, on the owner executor,
    // with success or failure. A failure after some pages keeps those pages.
    bool sync(StudyDatabase& db, Completion done = {});
    bool inFlight() const { return m_inFlight.load(); }

  private:
    struct Exchange;

    void sendPage(const std::shared_ptr<Exchange>& ex);
    void finish(const SyncReport& report, const Completion& done);
    void complete(const std::shared_ptr<Exchange>& ex, const wire::SyncRequest& sent,
                  const HttpResult& result);
    void failLater(SyncReport report, std::string why, Completion done);

    HttpTransport& m_transport;
    Executor& m_background;
    Executor& m_owner;
    OnlineConfig m_config;
    std::chrono::milliseconds m_timeout;
    // Set on the owner thread by sync(), cleared there when an exchange ends;
    // atomic so that other threads may read it.
    std::atomic<bool> m_inFlight{false};
    // Watched by queued tasks: gone means the service is, so they do nothing.
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

}  // namespace talvo
