#include "online/online_services.h"

#include "async/background_runner.h"
#include "http/curl_transport.h"
#include "lessons/lessons_service.h"
#include "sync/study_sync_service.h"
#include "translate/tm_service.h"

namespace talvo {

OnlineServices::OnlineServices(Executor& owner, OnlineConfig config, Options options)
    : m_transport(std::make_unique<CurlTransport>(CurlTransport::Options{options.noProxy})) {
    Executor* background = nullptr;
    if (options.synchronous) {
        m_inline = std::make_unique<InlineExecutor>();
        background = m_inline.get();
    } else {
        CurlTransport* transport = m_transport.get();
        m_runner = std::make_unique<BackgroundRunner>([transport] { transport->shutdown(); });
        background = m_runner.get();
    }
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

}  // namespace talvo
