#include "net/stats/usage_reporters.h"

#include "core/text/unicode.h"
#include "net/async/executor.h"
#include "net/http/http_transport.h"

namespace talvo {

namespace {

MonotonicClock orSteady(MonotonicClock clock) {
    if (clock) {
        return clock;
    }
    return [] { return std::chrono::steady_clock::now(); };
}

// Builds the report and hands it to a background task that drops the outcome.
void fireAndForget(HttpTransport& transport, Executor& background, const OnlineConfig& config,
                   const char* path, std::string body, std::chrono::milliseconds timeout) {
    std::optional<std::string> url = endpointUrl(config.baseUrlNow(), path);
    if (!url) {
        return;
    }
    HttpRequest request;
    request.method = "POST";
    request.url = *url;
    request.timeout = timeout;
    request.headers = {{"Content-Type", "application/json"}, {"X-Device-Id", config.deviceIdNow()}};
    request.body = std::move(body);
    // Nobody reads the answer: keep at most a little of it.
    request.maxResponseBytes = 64 * 1024;
    HttpTransport* t = &transport;
    background.post([t, request = std::move(request)] { t->send(request); });
}

}  // namespace

AnalyticsService::AnalyticsService(HttpTransport& transport, Executor& background,
                                   OnlineConfig config, AppInfo app, MonotonicClock clock,
                                   std::chrono::milliseconds timeout)
    : m_transport(transport),
      m_background(background),
      m_config(std::move(config)),
      m_app(std::move(app)),
      m_clock(orSteady(std::move(clock))),
      m_timeout(timeout) {
    if (m_app.os.empty()) {
        m_app.os = currentOs();
    }
}

AnalyticsService::AppInfo AnalyticsService::currentApp() {
#ifdef TALVO_VERSION
    return AppInfo{TALVO_VERSION, currentOs()};
#else
    return AppInfo{"?", currentOs()};
#endif
}

std::string AnalyticsService::currentOs() {
#if defined(__APPLE__)
    return "macos";
#elif defined(_WIN32)
    return "windows";
#else
    return "linux";
#endif
}

void AnalyticsService::send(const wire::StatsEvent& event) {
    fireAndForget(m_transport, m_background, m_config, kPath, wire::encodeStatsEvent(event),
                  m_timeout);
}

void AnalyticsService::appOpen() {
    send({std::string(wire::kAppOpenEvent),
          {{"app_version", m_app.version.empty() ? "?" : m_app.version}, {"os", m_app.os}}});
}

void AnalyticsService::feature(const std::string& name) {
    auto now = m_clock();
    auto it = m_lastFeature.find(name);
    if (it != m_lastFeature.end() && now - it->second < kFeatureWindow) {
        return;
    }
    m_lastFeature[name] = now;
    send({std::string(wire::kFeatureUsedEvent), {{"name", name}}});
}

StatsService::StatsService(HttpTransport& transport, Executor& background, OnlineConfig config,
                           MonotonicClock clock, std::chrono::milliseconds timeout)
    : m_transport(transport),
      m_background(background),
      m_config(std::move(config)),
      m_clock(orSteady(std::move(clock))),
      m_timeout(timeout) {}

void StatsService::record(const std::string& zh) {
    std::string text(text::trimWhitespace(text::sanitizeUtf8(zh)));
    if (text.empty()) {
        return;
    }
    auto now = m_clock();
    auto it = m_lastSent.find(text);
    if (it != m_lastSent.end() && now - it->second < kRepeatWindow) {
        return;
    }
    m_lastSent[text] = now;
    fireAndForget(m_transport, m_background, m_config, kPath, wire::encodeLookupReport({text}),
                  m_timeout);
}

}  // namespace talvo
