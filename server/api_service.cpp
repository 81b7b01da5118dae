#include "server/api_service.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>

#include "core/text/unicode.h"
#include "core/wire/stats_records.h"
#include "core/wire/sync_records.h"
#include "core/wire/translate_records.h"
#include "server/lesson_feed.h"
#include "server/sync_batch.h"
#include "server/token.h"

namespace talvo::server {

namespace {

using ordered_json = nlohmann::ordered_json;

constexpr size_t kMaxDeviceIdBytes = 200;
constexpr size_t kMaxVersionBytes = 32;
// A selection longer than this is a page, not a passage worth counting.
constexpr size_t kMaxLookupBytes = 1000;

const char* reasonOf(int status) {
    switch (status) {
        case 400:
            return "bad request";
        case 401:
            return "unauthorized";
        case 404:
            return "not found";
        case 405:
            return "method not allowed";
        case 408:
            return "request timeout";
        case 413:
            return "request body too large";
        case 414:
            return "request URI too long";
        case 429:
            return "too many requests";
        case 503:
            return "service unavailable";
        default:
            return status >= 500 ? "internal error" : "request failed";
    }
}

bool isVersionChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '+' || c == '~' || c == '?';
}

// Valid UTF-8 with at least one Hán character and no control characters
// other than line breaks and tabs.
bool isHanPassage(std::string_view zh) {
    if (!text::isValidUtf8(zh)) {
        return false;
    }
    bool han = false;
    for (char32_t c : text::scalars(zh)) {
        if ((c < 0x20 && c != '\n' && c != '\t') || (c >= 0x7F && c < 0xA0)) {
            return false;
        }
        han = han || text::isHanScalar(c);
    }
    return han;
}

int64_t dayOf(int64_t unixSeconds) {
    // Days of the statistics are UTC dates, whatever zone the server runs in.
    return unixSeconds >= 0 ? unixSeconds / 86400 : (unixSeconds - 86399) / 86400;
}

void setJson(httplib::Response& res, int status, std::string body) {
    res.status = status;
    res.set_content(std::move(body), "application/json");
}

}  // namespace

struct ApiService::Context {
    std::optional<int64_t> account;
    ordered_json fields = ordered_json::object();
    std::string failure;  // why a request failed on our side; logged, not answered
};

void writeError(httplib::Response& res, const HttpError& error) {
    ordered_json body{{"error", error.what()}};
    setJson(res, error.status(), body.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
    if (error.status() == 401) {
        res.set_header("WWW-Authenticate", "Bearer");
    } else if (error.status() == 429) {
        res.set_header("Retry-After", "1");
    }
    if (!error.header().first.empty()) {
        res.set_header(error.header().first.c_str(), error.header().second);
    }
}

ApiService::ApiService(Storage& storage, ApiOptions options, Clock clock, Logger& logger,
                       std::function<void()> onQueued, const PoolGauges* pool)
    : m_storage(storage),
      m_options(options),
      m_clock(std::move(clock)),
      m_logger(logger),
      m_onQueued(std::move(onQueued)),
      m_pool(pool),
      m_routes{
          {"/api/study/sync", "POST", m_options.maxSyncBody, &m_options.syncLimit,
           &ApiService::sync},
          {"/api/study/lessons", "GET", 0, &m_options.readLimit, &ApiService::lessons},
          {kStrokesPath, "GET", 0, &m_options.contentLimit, &ApiService::strokes},
          // Limited inside: by account when signed in, else by address.
          {"/api/tm/translate", "POST", m_options.maxSmallBody, nullptr, &ApiService::translate},
          {"/api/stats/event", "POST", m_options.maxSmallBody, &m_options.statsLimit,
           &ApiService::statsEvent},
          {"/api/stats/lookup", "POST", m_options.maxSmallBody, &m_options.statsLimit,
           &ApiService::statsLookup},
          {"/healthz", "GET", 0, nullptr, &ApiService::healthz},
          {"/metrics", "GET", 0, nullptr, &ApiService::metricsPage},
      },
      m_metrics([&] {
          std::vector<std::string> names;
          for (const Route& r : m_routes) {
              names.push_back(r.path);
          }
          return names;
      }()) {
    if (m_options.pull.maxRows == 0) {
        m_options.pull.maxRows = 1;
    }
}

size_t ApiService::maxBody() const {
    size_t most = 0;
    for (const Route& r : m_routes) {
        most = std::max(most, r.maxBody);
    }
    return std::max<size_t>(most, 1);
}

void ApiService::install(httplib::Server& server) {
    auto handler = [this](const httplib::Request& req, httplib::Response& res) {
        handle(req, res);
    };
    server.Get(".*", handler);
    server.Post(".*", handler);
    server.Put(".*", handler);
    server.Patch(".*", handler);
    server.Delete(".*", handler);
    server.Options(".*", handler);
    server.set_payload_max_length(maxBody());
    // httplib reads and drops a body over the limit before it answers 413,
    // however large the body. A little over, that lets a client that is
    // still sending read the answer; far over its route's limit (twice, and
    // 64 kB more), the body is refused from the headers before any of it is
    // read, and the connection is closed behind the answer.
    server.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
        size_t route = routeOf(req.path);
        size_t limit = route < m_routes.size() ? m_routes[route].maxBody : maxBody();
        if (!req.has_header("Content-Length") ||
            req.get_header_value<uint64_t>("Content-Length") <= 2 * uint64_t{limit} + (64 << 10)) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        writeError(res, HttpError(413, limit == 0 ? std::string("this route takes no body")
                                                  : "body larger than " + std::to_string(limit) +
                                                        " bytes"));
        res.set_header("Connection", "close");
        Context ctx;
        finish(req, res, route, 0, ctx);
        return httplib::Server::HandlerResponse::Handled;
    });
    server.set_error_handler([this](const httplib::Request& req, httplib::Response& res) {
        if (!res.body.empty()) {
            return;  // one of our own answers
        }
        // httplib refused the request before routing (body over the limit,
        // unreadable request): count it and answer in the usual shape.
        int status = res.status;
        size_t route = routeOf(req.path);
        writeError(res, HttpError(status, reasonOf(status)));
        m_metrics.observe(route, status, 0);
        m_logger.info("request",
                      {{"method", req.method.substr(0, 16)},
                       {"route", route < m_routes.size() ? m_routes[route].path : "other"},
                       {"status", status}});
    });
}

std::string ApiService::clientAddress(const httplib::Request& req) const {
    auto trusted = [this](std::string_view a) {
        return std::find(m_options.trustedProxies.begin(), m_options.trustedProxies.end(), a) !=
               m_options.trustedProxies.end();
    };
    if (!trusted(req.remote_addr) || !req.has_header("X-Forwarded-For")) {
        return req.remote_addr;
    }
    // Each proxy appends the peer it saw: walk back from the nearest hop
    // past our own proxies; what a client wrote itself lies further left.
    const std::string forwarded = req.get_header_value("X-Forwarded-For");
    std::vector<std::string> hops;
    for (std::string_view hop : text::split(forwarded, ',')) {
        hops.emplace_back(text::trimBlanks(hop));
    }
    for (auto it = hops.rbegin(); it != hops.rend(); ++it) {
        if (!it->empty() && !trusted(*it)) {
            return it->substr(0, 64);
        }
    }
    return req.remote_addr;
}

size_t ApiService::routeOf(const std::string& path) const {
    for (size_t i = 0; i < m_routes.size(); ++i) {
        const std::string& p = m_routes[i].path;
        // A path ending in "/" is a folder: everything under it is its route.
        bool folder = !p.empty() && p.back() == '/';
        if (folder ? path.size() > p.size() && path.compare(0, p.size(), p) == 0 : p == path) {
            return i;
        }
    }
    return m_routes.size();
}

void ApiService::handle(const httplib::Request& req, httplib::Response& res) {
    if (m_observer) {
        m_observer(req, true);
    }
    auto start = std::chrono::steady_clock::now();
    size_t route = routeOf(req.path);
    Context ctx;
    try {
        if (route == m_routes.size()) {
            throw HttpError(404, "no such endpoint");
        }
        const Route& r = m_routes[route];
        bool head = req.method == "HEAD" && r.method == "GET";
        if (req.method != r.method && !head) {
            throw HttpError(405, "use " + r.method, {"Allow", r.method});
        }
        if (req.body.size() > r.maxBody) {
            throw HttpError(413, r.maxBody == 0
                                     ? std::string("this route takes no body")
                                     : "body larger than " + std::to_string(r.maxBody) + " bytes");
        }
        if (r.limit) {
            const std::string address = clientAddress(req);
            if (r.limit == &m_options.syncLimit) {
                // Signed in: many readers behind one school's address each
                // have their own device and token.
                std::string device =
                    req.get_header_value("X-Device-Id").substr(0, kMaxDeviceIdBytes);
                limit(r.path + " d:" + (device.empty() ? "ip:" + address : device), *r.limit);
            } else {
                limit(r.path + " a:" + address, *r.limit);
            }
        }
        (this->*r.handler)(req, res, ctx);
    } catch (const HttpError& e) {
        writeError(res, e);
    } catch (const StorageError& e) {
        ctx.failure = e.what();
        writeError(res, HttpError(503, "storage unavailable, try again later"));
    } catch (const std::exception& e) {
        ctx.failure = e.what();
        writeError(res, HttpError(500, "internal error"));
    } catch (...) {
        ctx.failure = "unknown exception";
        writeError(res, HttpError(500, "internal error"));
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    finish(req, res, route, seconds, ctx);
    if (m_observer) {
        m_observer(req, false);
    }
}

void ApiService::finish(const httplib::Request& req, httplib::Response& res, size_t route,
                        double seconds, const Context& ctx) {
    m_metrics.observe(route, res.status, seconds);
    LogLevel level = res.status >= 500 ? LogLevel::Error : LogLevel::Info;
    if (!m_logger.enabled(level)) {
        return;
    }
    // Method and path are the client's text: bounded, and unknown paths are
    // not echoed into the log.
    ordered_json fields{{"method", req.method.substr(0, 16)},
                        {"route", route < m_routes.size() ? m_routes[route].path : "other"},
                        {"status", res.status},
                        {"ms", std::round(seconds * 1e5) / 100},
                        {"peer", req.remote_addr}};
    if (ctx.account) {
        fields["account"] = *ctx.account;
    }
    for (const auto& [key, value] : ctx.fields.items()) {
        fields[key] = value;
    }
    if (!ctx.failure.empty()) {
        fields["failure"] = ctx.failure;
    }
    m_logger.log(level, "request", fields);
}

void ApiService::limit(const std::string& key, const RateLimit& limit) {
    if (!m_limiter.allow(key, limit, RateLimiter::Clock::now())) {
        throw HttpError(429, "too many requests, slow down");
    }
}

int64_t ApiService::signedIn(const httplib::Request& req, Context& ctx) {
    std::optional<std::string> token = bearerToken(req.get_header_value("Authorization"));
    if (!token) {
        throw HttpError(401, "an Authorization: Bearer token is required");
    }
    // Guessing tokens from one address is cut short before the database is
    // asked; a user's valid token never counts against this.
    const std::string failures = "sign-in failures a:" + clientAddress(req);
    const auto now = RateLimiter::Clock::now();
    if (!m_limiter.wouldAllow(failures, m_options.signInFailures, now)) {
        throw HttpError(429, "too many requests with a bad token, slow down");
    }
    std::optional<int64_t> account = authenticate(m_storage, *token);
    if (!account) {
        m_limiter.allow(failures, m_options.signInFailures, now);
        throw HttpError(401, "the token is not valid (unknown or revoked)");
    }
    ctx.account = account;
    return *account;
}

std::string ApiService::passage(const std::string& zh) const {
    std::string_view trimmed = text::trimWhitespace(zh);
    if (trimmed.empty()) {
        throw HttpError(400, "zh: empty");
    }
    if (trimmed.size() > m_options.maxPassageBytes) {
        throw HttpError(413,
                        "zh: longer than " + std::to_string(m_options.maxPassageBytes) + " bytes");
    }
    if (trimmed.find('\0') != std::string_view::npos) {
        throw HttpError(400, "zh: contains U+0000");
    }
    return std::string(trimmed);
}

void ApiService::sync(const httplib::Request& req, httplib::Response& res, Context& ctx) {
    int64_t account = signedIn(req, ctx);
    limit("sync u:" + std::to_string(account), m_options.syncLimit);

    wire::Decoded<wire::SyncRequest> request = wire::decodeSyncRequest(req.body);
    if (!request) {
        throw HttpError(400, request.error);
    }
    SyncPush push{std::move(request->deviceId), request->since, std::move(request->cards),
                  std::move(request->logs), std::move(request->installId)};
    if (push.deviceId.empty() || push.deviceId.size() > kMaxDeviceIdBytes ||
        push.deviceId.find('\0') != std::string::npos) {
        throw HttpError(
            400, "device_id: must be 1 to " + std::to_string(kMaxDeviceIdBytes) + " bytes of text");
    }
    if (push.installId.size() > kMaxDeviceIdBytes ||
        push.installId.find('\0') != std::string::npos) {
        throw HttpError(400, "install_id: must be at most " + std::to_string(kMaxDeviceIdBytes) +
                                 " bytes of text");
    }
    if (push.since < 0) {
        throw HttpError(400, "since: must not be negative");
    }
    size_t cardsIn = push.cards.size();
    size_t logsIn = push.logs.size();
    std::vector<wire::SyncRejection> rejected = normalizePush(push);
    clampFutureStamps(push, m_clock.now());
    SyncPull pull = m_storage.exchange(account, push, m_options.pull);

    ctx.fields = {{"cards_in", cardsIn},
                  {"logs_in", logsIn},
                  {"cards_stored", pull.cardsChanged},
                  {"logs_stored", pull.logsAdded},
                  {"cards_out", pull.cards.size()},
                  {"logs_out", pull.logs.size()},
                  {"capped", pull.capped}};
    if (!rejected.empty()) {
        ctx.fields["rejected"] = rejected.size();
    }
    if (pull.cardsReplayed > 0) {
        ctx.fields["cards_replayed"] = pull.cardsReplayed;
    }
    m_metrics.add("talvo_sync_cards_stored_total", pull.cardsChanged);
    m_metrics.add("talvo_sync_logs_stored_total", pull.logsAdded);
    m_metrics.add("talvo_sync_rows_rejected_total", static_cast<int64_t>(rejected.size()));

    wire::SyncResponse response{pull.now, std::move(pull.cards), std::move(pull.logs), pull.capped,
                                std::move(rejected)};
    setJson(res, 200, wire::encodeSyncResponse(response));
}

void ApiService::lessons(const httplib::Request& req, httplib::Response& res, Context& ctx) {
    std::vector<StoredLesson> all = m_storage.lessons();
    ctx.fields = {{"lessons", all.size()}};
    std::string body = feedBody(all);
    // The same for everyone and rarely changed: caches in between may keep
    // it for a few minutes, and a client that has it is answered 304.
    const std::string etag = "\"" + sha256Hex(body).substr(0, 32) + "\"";
    res.set_header("Cache-Control", "public, max-age=300");
    res.set_header("ETag", etag);
    if (req.get_header_value("If-None-Match") == etag) {
        res.status = 304;
        return;
    }
    setJson(res, 200, std::move(body));
}

void ApiService::strokes(const httplib::Request& req, httplib::Response& res, Context& ctx) {
    // httplib has already decoded the %XX escapes. Only "<one character>.json"
    // names a file, so no path can climb out of the folder.
    std::string_view name =
        std::string_view(req.path).substr(std::string_view(kStrokesPath).size());
    constexpr std::string_view kExt = ".json";
    if (m_options.strokesDir.empty() || name.size() <= kExt.size() ||
        name.substr(name.size() - kExt.size()) != kExt) {
        throw HttpError(404, "no stroke data");
    }
    std::string_view ch = name.substr(0, name.size() - kExt.size());
    auto leadBytes = std::count_if(ch.begin(), ch.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    });
    if (!text::isValidUtf8(ch) || leadBytes != 1 || static_cast<unsigned char>(ch.front()) < 0x80) {
        throw HttpError(404, "no stroke data");
    }
    std::filesystem::path file = std::filesystem::path(m_options.strokesDir) / std::string(name);
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw HttpError(404, "no stroke data");
    }
    std::string body((std::istreambuf_iterator<char>(in)), {});
    ctx.fields = {{"bytes", body.size()}};
    res.set_header("Cache-Control", "public, max-age=86400");
    setJson(res, 200, std::move(body));
}

void ApiService::translate(const httplib::Request& req, httplib::Response& res, Context& ctx) {
    wire::Decoded<wire::TranslateRequest> request = wire::decodeTranslateRequest(req.body);
    if (!request) {
        throw HttpError(400, request.error);
    }
    std::string zh = passage(request->zh);
    QueueLimits queue{m_options.maxQueue, {}, m_options.maxWaitingPerRequester};
    if (req.has_header("Authorization")) {
        int64_t account = signedIn(req, ctx);
        const std::string key = "tm u:" + std::to_string(account);
        limit(key, m_options.accountTranslateMinute);
        if (!m_dailyQuota.allow(key, m_options.accountTranslateDay, RateLimiter::Clock::now())) {
            throw HttpError(429, "this account's translations for today are used up");
        }
        queue.requester = "u:" + std::to_string(account);
    } else if (!m_options.anonymousTranslation) {
        throw HttpError(401, "sign in to translate");
    } else {
        const std::string address = clientAddress(req);
        limit("tm a:" + address, m_options.translateLimit);
        queue.requester = "a:" + address;
    }
    TmAnswer answer = m_storage.translateOrQueue(zh, m_clock.now(), queue);
    wire::TranslateResponse response;
    switch (answer.kind) {
        case TmAnswer::Kind::Memory:
            response.vi = std::move(answer.vi);
            response.source = "memory";
            if (!answer.model.empty()) {
                response.model = std::move(answer.model);
            }
            break;
        case TmAnswer::Kind::Queued:
            response.source = std::string(wire::kQueuedSource);
            if (m_onQueued) {
                m_onQueued();
            }
            break;
        case TmAnswer::Kind::QueueFull:
            throw HttpError(503, "the translation queue is full, try again later");
        case TmAnswer::Kind::OverShare:
            m_metrics.add("talvo_tm_over_share_total", 1);
            throw HttpError(429, "too many of your passages wait for a translation already");
    }
    ctx.fields = {{"source", *response.source}};
    setJson(res, 200, wire::encodeTranslateResponse(response));
}

void ApiService::statsEvent(const httplib::Request& req, httplib::Response& res, Context& ctx) {
    wire::Decoded<wire::StatsEvent> event = wire::decodeStatsEvent(req.body);
    if (!event) {
        throw HttpError(400, event.error);
    }
    auto param = [&](const char* key) -> std::string {
        auto it = event->params.find(key);
        return it == event->params.end() ? std::string() : it->second;
    };
    // Only what the desktop program sends is counted, so the table holds
    // nothing a stranger chose to write into it. What an event is counted
    // by: the feature for feature use, the version for launches.
    const std::string& name = event->name;
    std::string detail;
    if (name == wire::kFeatureUsedEvent) {
        detail = param("name");
        if (std::find(std::begin(wire::kKnownFeatures), std::end(wire::kKnownFeatures), detail) ==
            std::end(wire::kKnownFeatures)) {
            throw HttpError(400, "params.name: not a feature of the program");
        }
    } else if (name == wire::kAppOpenEvent) {
        detail = param("app_version");
        if (detail.empty()) {
            detail = "?";
        }
        if (detail.size() > kMaxVersionBytes ||
            !std::all_of(detail.begin(), detail.end(), isVersionChar)) {
            throw HttpError(400, "params.app_version: not a version");
        }
    } else {
        throw HttpError(400, "name: not an event of the program");
    }
    m_storage.countEvent(dayOf(m_clock.now()), name, detail);
    ctx.fields = {{"event", name}};
    setJson(res, 200, R"({"ok":true})");
}

void ApiService::statsLookup(const httplib::Request& req, httplib::Response& res, Context&) {
    wire::Decoded<wire::LookupReport> report = wire::decodeLookupReport(req.body);
    if (!report) {
        throw HttpError(400, report.error);
    }
    std::string zh = passage(report->zh);
    if (zh.size() > kMaxLookupBytes) {
        throw HttpError(413, "zh: longer than " + std::to_string(kMaxLookupBytes) + " bytes");
    }
    // A lookup report is a passage someone read: Hán text, not anything.
    if (!isHanPassage(zh)) {
        throw HttpError(400, "zh: not Hán text");
    }
    m_storage.countLookup(dayOf(m_clock.now()), zh);
    setJson(res, 200, R"({"ok":true})");
}

void ApiService::healthz(const httplib::Request&, httplib::Response& res, Context&) {
    // Touches the database, so a server whose storage is gone reports 503.
    int version = m_storage.schemaVersion();
    ordered_json body{{"status", "ok"}, {"storage", m_storage.kind()}, {"schema", version}};
    setJson(res, 200, body.dump());
}

void ApiService::installMetrics(httplib::Server& server) {
    server.Get("/metrics",
               [this](const httplib::Request&, httplib::Response& res) { writeMetrics(res); });
}

void ApiService::metricsPage(const httplib::Request& req, httplib::Response& res, Context&) {
    // Unknown to anyone without the operator's token: the figures tell
    // strangers how busy the server is and which routes it has.
    if (m_options.metricsToken.empty() || !constantTimeEquals(req.get_header_value("Authorization"),
                                                              "Bearer " + m_options.metricsToken)) {
        throw HttpError(404, "no such endpoint");
    }
    writeMetrics(res);
}

void ApiService::writeMetrics(httplib::Response& res) {
    std::vector<std::pair<std::string, double>> gauges;
    if (m_pool) {
        gauges.emplace_back("talvo_http_queue_length", static_cast<double>(m_pool->queued.load()));
        gauges.emplace_back("talvo_http_busy_threads", static_cast<double>(m_pool->busy.load()));
    }
    gauges.emplace_back("talvo_tm_queue_length", static_cast<double>(m_storage.pendingCount()));
    res.status = 200;
    res.set_content(m_metrics.render(gauges), "text/plain; version=0.0.4");
}

}  // namespace talvo::server
