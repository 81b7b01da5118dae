#include "net/online/online_services.h"

#include "net/async/background_runner.h"
#include "net/http/curl_transport.h"
#include "net/http/http_transport.h"
#include "net/lessons/lessons_service.h"
#include "net/sync/study_sync_service.h"
#include "net/translate/tm_service.h"

namespace talvo {

OnlineServices::OnlineServices(Executor& owner, OnlineConfig config, Options options)
    : m_owner(owner),
      m_transport(std::make_unique<CurlTransport>(CurlTransport::Options{options.noProxy})) {
    Executor* background = nullptr;
    if (options.synchronous) {
        m_inline = std::make_unique<InlineExecutor>();
        background = m_inline.get();
    } else {
        CurlTransport* transport = m_transport.get();
        m_runner = std::make_unique<BackgroundRunner>([transport] { transport->shutdown(); });
        background = m_runner.get();
    }
    m_background = background;
    m_sync = std::make_unique<StudySyncService>(*m_transport, *background, owner, config,
                                                options.syncTimeout);
    m_lessons = std::make_unique<LessonsService>(*m_transport, *background, owner, config,
                                                 options.lessonsTimeout);
    m_tm = std::make_unique<TMService>(*m_transport, *background, owner, config,
                                       options.translateTimeout);
    m_analytics = std::make_unique<AnalyticsService>(*m_transport, *background, config, options.app,
                                                     MonotonicClock{}, options.statsTimeout);
    m_stats = std::make_unique<StatsService>(*m_transport, *background, config, MonotonicClock{},
                                             options.statsTimeout);
}

OnlineServices::~OnlineServices() {
    // Clients first (their pending answers become no-ops), then the runner,
    // which cancels the transfers and joins their threads, then the transport.
    m_stats.reset();
    m_analytics.reset();
    m_tm.reset();
    m_lessons.reset();
    m_sync.reset();
    m_runner.reset();
    m_transport.reset();
}

void OnlineServices::fetch(const std::string& url, std::chrono::milliseconds timeout,
                           FetchDone done) {
    HttpRequest request;
    request.url = url;
    request.timeout = timeout;
    std::weak_ptr<char> alive = m_alive;
    auto shared = std::make_shared<FetchDone>(std::move(done));
    auto deliver = [alive, shared](std::optional<std::string> body) {
        if (!alive.expired() && *shared) {
            (*shared)(std::move(body));
        }
    };
    HttpTransport* transport = m_transport.get();
    Executor* owner = &m_owner;
    bool posted = m_background->post([request, transport, owner, deliver] {
        HttpResult result = transport->send(request);
        std::optional<std::string> body;
        if (result.ok() && result.response->status == 200) {
            body = std::move(result.response->body);
        }
        owner->post([deliver, body = std::move(body)]() mutable { deliver(std::move(body)); });
    });
    if (!posted) {
        m_owner.post([deliver] { deliver(std::nullopt); });
    }
}

}  // namespace talvo
