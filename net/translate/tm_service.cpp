#include "net/translate/tm_service.h"

namespace talvo {

TMService::TMService(HttpTransport& transport, Executor& background, Executor& owner,
                     OnlineConfig config, std::chrono::milliseconds timeout)
    : m_trip(transport, background, owner), m_config(std::move(config)), m_timeout(timeout) {}

TMService::~TMService() = default;

void TMService::translate(const std::string& zh, Completion done) {
    std::optional<std::string> url =
        endpointUrl(m_config.baseUrlNow(), std::string(kBasePath) + "/translate");
    if (!url) {
        m_trip.fail(std::move(done), Result::failed());
        return;
    }
    HttpRequest request;
    request.method = "POST";
    request.url = *url;
    request.timeout = m_timeout;
    request.headers = {{"Content-Type", "application/json"},
                       {"X-Device-Id", m_config.deviceIdNow()}};
    // Signed in, the translation counts against the user's own quota; never
    // over plain http to another machine, where the token would be readable.
    if (std::optional<std::string> token = m_config.accessTokenNow();
        token && !token->empty() && !carriesTokenInClear(m_config.baseUrlNow())) {
        request.headers.emplace_back("Authorization", "Bearer " + *token);
    }
    request.body = wire::encodeTranslateRequest({zh});
    m_trip.run<Result>(
        std::move(request),
        [](const HttpResult& answer) {
            return answer.ok()
                       ? wire::translateOutcome(answer.response->status, answer.response->body)
                       : Result::failed();
        },
        std::move(done), Result::failed());
}

}  // namespace talvo
