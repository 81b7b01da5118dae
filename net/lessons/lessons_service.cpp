#include "net/lessons/lessons_service.h"

namespace talvo {

LessonsService::LessonsService(HttpTransport& transport, Executor& background, Executor& owner,
                               OnlineConfig config, std::chrono::milliseconds timeout)
    : m_trip(transport, background, owner), m_config(std::move(config)), m_timeout(timeout) {}

LessonsService::~LessonsService() = default;

void LessonsService::fetch(Completion done) {
    std::optional<std::string> url = endpointUrl(m_config.baseUrlNow(), kPath);
    if (!url) {
        m_trip.fail(std::move(done),
                    Outcome{std::nullopt, "online features are off: no usable service URL"});
        return;
    }
    HttpRequest request;
    request.method = "GET";
    request.url = *url;
    request.timeout = m_timeout;
    m_trip.run<Outcome>(std::move(request), read, std::move(done),
                        Outcome{std::nullopt, "no thread available for the request"});
}

LessonsService::Outcome LessonsService::read(const HttpResult& result) {
    Outcome outcome;
    if (!result.ok()) {
        outcome.error = result.error;
    } else if (result.response->status != 200) {
        outcome.error = "the server answered HTTP " + std::to_string(result.response->status);
    } else {
        wire::Decoded<wire::LessonsFeed> feed = wire::decodeLessonsFeed(result.response->body);
        if (feed) {
            outcome.lessons = std::move(feed->lessons);
        } else {
            outcome.error = "the server's answer is not a lessons feed (" + feed.error + ")";
        }
    }
    return outcome;
}

}  // namespace talvo
