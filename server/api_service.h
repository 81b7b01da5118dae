#pragma once

#include <httplib.h>

#include <functional>
#include <string>
#include <vector>

#include "core/study/day_clock.h"
#include "server/http_error.h"
#include "server/logger.h"
#include "server/metrics.h"
#include "server/rate_limiter.h"
#include "server/storage.h"
#include "server/task_pool.h"

namespace talvo::server {

// Where desktop copies fetch the stroke data of a character they lack.
inline constexpr const char* kStrokesPath = "/npm/hanzi-writer-data@2.0/";

struct ApiOptions {
    size_t maxSyncBody = 8 << 20;    // a full batch of 500 cards + 500 logs is ~0.3 MB
    size_t maxSmallBody = 64 << 10;  // every other route
    PullLimits pull;
    // Sync: per device (X-Device-Id, else the client's address) and per
    // token. Every other route: per client address, whatever a client says
    // its device is (a header anyone can change at will).
    RateLimit syncLimit{5, 60};
    RateLimit statsLimit{1, 60};
    RateLimit readLimit{5, 60};
    // Failed sign-ins per client address, before the database is asked.
    RateLimit signInFailures{0.5, 20};
    // Translation spends the operator's machine-translation budget: signed-in
    // accounts have a quota a minute and a day; requests without a token are
    // refused unless the operator allows them, and then limited per address.
    RateLimit accountTranslateMinute{10.0 / 60, 10};
    RateLimit accountTranslateDay{300.0 / 86400, 300};
    bool anonymousTranslation = false;
    RateLimit translateLimit{0.1, 10};  // per address, without a token
    int64_t maxQueue = 10000;           // passages waiting for a translation
    // Passages one address (without a token) or one account may have waiting.
    int64_t maxWaitingPerRequester = 100;
    size_t maxPassageBytes = 4000;  // translate and lookup reports
    // Per-character stroke files (<char>.json) served under kStrokesPath for
    // desktop copies that lack one; empty: that route answers 404.
    std::string strokesDir;
    RateLimit contentLimit{20, 200};
    // The operator's token for GET /metrics on the public listener
    // ("Authorization: Bearer TOKEN"); empty: that route answers 404 there,
    // and the figures are served only by installMetrics() on the operator's
    // own listener.
    std::string metricsToken;
    // Reverse proxies whose X-Forwarded-For names the client; from any other
    // peer that header is ignored. Exact addresses as the peer appears.
    std::vector<std::string> trustedProxies;
};

// The HTTP API: routing, input limits, authentication, rate limits, the
// handlers, error mapping, metrics and request logs. Thread-safe: httplib
// calls handle() from its request threads.
//
// Routes: POST /api/study/sync (bearer token), GET /api/study/lessons,
// POST /api/tm/translate, POST /api/stats/event, POST /api/stats/lookup,
// GET /npm/hanzi-writer-data@2.0/<char>.json, GET /healthz, GET /metrics. Every error answers
// {"error": "..."}: 400 undecodable body, 401 missing or bad token, 404 unknown path, 405 wrong
// method, 413 body or passage too large, 429 too many requests, 503 storage
// failing or translation queue full, 500 anything unforeseen.
class ApiService {
  public:
    // onQueued is called (from a request thread) when a passage joins the
    // translation queue; pool, when given, feeds the queue gauges.
    ApiService(Storage& storage, ApiOptions options, Clock clock, Logger& logger,
               std::function<void()> onQueued = {}, const PoolGauges* pool = nullptr);

    // Registers the service on a server: every path and method comes to
    // handle(); errors that httplib answers itself (a body over the limit,
    // a malformed request line) get the same JSON shape.
    void install(httplib::Server& server);

    void handle(const httplib::Request& req, httplib::Response& res);

    // GET /metrics alone, without a token: for a listener of the operator's
    // own (loopback by default), apart from the public one.
    void installMetrics(httplib::Server& server);

    // The address a request comes from: the peer's, or behind a trusted
    // proxy the nearest untrusted hop of X-Forwarded-For.
    std::string clientAddress(const httplib::Request& req) const;

    // Told, on the request thread, when a request has been read whole and
    // handling starts (true) and when it is answered (false). Set it before
    // serving.
    using RequestObserver = std::function<void(const httplib::Request&, bool started)>;
    void setRequestObserver(RequestObserver observer) { m_observer = std::move(observer); }

    Metrics& metrics() { return m_metrics; }
    size_t maxBody() const;

  private:
    struct Context;
    using Handler = void (ApiService::*)(const httplib::Request&, httplib::Response&, Context&);
    struct Route {
        std::string path;
        std::string method;
        size_t maxBody;
        const RateLimit* limit;  // per device; null for none
        Handler handler;
    };

    void sync(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void lessons(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void strokes(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void translate(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void statsEvent(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void statsLookup(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void healthz(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void metricsPage(const httplib::Request& req, httplib::Response& res, Context& ctx);
    void writeMetrics(httplib::Response& res);

    void limit(const std::string& key, const RateLimit& limit);
    // The account of the request's bearer token; throws 401 (none, unknown,
    // revoked) or 429 (too many failed tokens from this address).
    int64_t signedIn(const httplib::Request& req, Context& ctx);
    // Trims and bounds a passage; throws HttpError 400 or 413.
    std::string passage(const std::string& zh) const;
    void finish(const httplib::Request& req, httplib::Response& res, size_t route, double seconds,
                const Context& ctx);
    size_t routeOf(const std::string& path) const;

    Storage& m_storage;
    ApiOptions m_options;
    Clock m_clock;
    Logger& m_logger;
    std::function<void()> m_onQueued;
    RequestObserver m_observer;
    const PoolGauges* m_pool;
    std::vector<Route> m_routes;
    Metrics m_metrics;
    RateLimiter m_limiter;
    // Daily quotas apart: their buckets refill over a day, and the shared
    // limiter may drop a bucket idle for a minute when memory runs short.
    RateLimiter m_dailyQuota;
};

// The JSON error body and the headers the status calls for.
void writeError(httplib::Response& res, const HttpError& error);

}  // namespace talvo::server
