#include "net/lessons/lessons_service.h"

#include "net/async/executor.h"
#include "net/http/http_transport.h"

namespace talvo {

LessonsService::LessonsService(HttpTransport& transport, Executor& background, Executor& owner,
                               OnlineConfig config, std::chrono::milliseconds timeout)
    : m_transport(transport),
      m_background(background),
      m_owner(owner),
      m_config(std::move(config)),
      m_timeout(timeout) {}

LessonsService::~LessonsService() = default;

void LessonsService::fetch(Completion done) {
    std::weak_ptr<char> alive = m_alive;
    auto deliver = [alive, done](Outcome outcome) {
        if (!alive.expired() && done) {
            done(std::move(outcome));
        }
    };
    std::optional<std::string> url = endpointUrl(m_config.baseUrlNow(), kPath);
    if (!url) {
        m_owner.post([deliver] {
            deliver(Outcome{std::nullopt, "online features are off: no usable service URL"});
        });
        return;
    }
    HttpRequest request;
    request.method = "GET";
    request.url = *url;
    request.timeout = m_timeout;
    HttpTransport* transport = &m_transport;
    Executor* owner = &m_owner;
    bool posted = m_background.post([transport, owner, deliver, request = std::move(request)] {
        HttpResult result = transport->send(request);
        Outcome outcome;
        if (!result.ok()) {
            outcome.error = result.error;
        } else if (result.response->status != 200) {
            outcome.error = "the server answered HTTP " + std::to_string(result.response->status);
        } else {
            // Decoded here, off the owner thread: a big feed costs it nothing.
            wire::Decoded<wire::LessonsFeed> feed = wire::decodeLessonsFeed(result.response->body);
            if (feed) {
                outcome.lessons = std::move(feed->lessons);
            } else {
                outcome.error = "the server's answer is not a lessons feed (" + feed.error + ")";
            }
        }
        auto shared = std::make_shared<Outcome>(std::move(outcome));
        owner->post([deliver, shared] { deliver(std::move(*shared)); });
    });
    if (!posted) {
        m_owner.post([deliver] {
            deliver(Outcome{std::nullopt, "no thread available for the request"});
        });
    }
}

}  // namespace talvo
