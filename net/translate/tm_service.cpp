#include "net/translate/tm_service.h"

#include "net/async/executor.h"
#include "net/http/http_transport.h"

namespace talvo {

TMService::TMService(HttpTransport& transport, Executor& background, Executor& owner,
                     OnlineConfig config, std::chrono::milliseconds timeout)
    : m_transport(transport),
      m_background(background),
      m_owner(owner),
      m_config(std::move(config)),
      m_timeout(timeout) {}

TMService::~TMService() = default;

void TMService::translate(const std::string& zh, Completion done) {
    std::weak_ptr<char> alive = m_alive;
    auto deliver = [alive, done](Result r) {
        if (!alive.expired() && done) {
            done(std::move(r));
        }
    };
    std::optional<std::string> url =
        endpointUrl(m_config.baseUrlNow(), std::string(kBasePath) + "/translate");
    if (!url) {
        m_owner.post([deliver] { deliver(Result::failed()); });
        return;
    }
    HttpRequest request;
    request.method = "POST";
    request.url = *url;
    request.timeout = m_timeout;
    request.headers = {{"Content-Type", "application/json"},
                       {"X-Device-Id", m_config.deviceIdNow()}};
    request.body = wire::encodeTranslateRequest({zh});
    HttpTransport* transport = &m_transport;
    Executor* owner = &m_owner;
    bool posted = m_background.post([transport, owner, deliver, request = std::move(request)] {
        HttpResult answer = transport->send(request);
        Result r = answer.ok()
                       ? wire::translateOutcome(answer.response->status, answer.response->body)
                       : Result::failed();
        owner->post([deliver, r] { deliver(r); });
    });
    if (!posted) {
        m_owner.post([deliver] { deliver(Result::failed()); });
    }
}

}  // namespace talvo
