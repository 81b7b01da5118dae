#include "app/shell/online_wiring.h"

#include <chrono>

#include "net/device/device_identity.h"
#include "net/online/online_services.h"
#include "net/settings/app_settings.h"
#include "net/settings/token_store.h"
#include "net/sync/study_sync_service.h"
#include "net/translate/tm_service.h"

namespace talvo {

namespace {
constexpr std::chrono::milliseconds kFeedTimeout{12'000};
}  // namespace

OnlineWiring::OnlineWiring(AppSettings& settings, QObject* context)
    : m_settings(settings),
      m_owner(context),
      m_tokens(std::make_unique<TokenStore>(TokenStore::forSettings(settings))) {
    OnlineConfig config;
    config.baseUrl = [this] { return m_settings.serviceUrl(); };
    config.deviceId = [this] { return DeviceIdentity::deviceId(m_settings); };
    config.accessToken = [this] { return token(); };
    m_services =
        std::make_unique<OnlineServices>(m_owner, std::move(config), OnlineServices::Options{});
}

OnlineWiring::~OnlineWiring() = default;

std::optional<std::string> OnlineWiring::token() {
    constexpr std::chrono::seconds kRetryAfterMiss{60};
    if (m_token) {
        return m_token;
    }
    auto now = std::chrono::steady_clock::now();
    if (m_lastMiss && now - *m_lastMiss < kRetryAfterMiss) {
        return std::nullopt;
    }
    m_token = m_tokens->load();
    m_lastMiss = m_token ? std::nullopt : std::optional(now);
    return m_token;
}

OnlineHooks OnlineWiring::hooks(StudyDatabase* studyDatabase,
                                std::function<void(const SyncReport&)> finished) {
    OnlineHooks h;
    OnlineServices* s = m_services.get();
    h.translate = [s](const std::string& zh, OnlineHooks::TranslateDone done) {
        s->tm().translate(zh, std::move(done));
    };
    h.recordLookup = [s](const std::string& zh) { s->stats().record(zh); };
    h.feature = [s](const std::string& name) { s->analytics().feature(name); };
    h.appOpen = [s] { s->analytics().appOpen(); };
    h.syncStudy = [s, studyDatabase, finished = std::move(finished)] {
        if (!studyDatabase) {
            return;
        }
        s->sync().sync(*studyDatabase, [finished](const SyncReport& report) {
            if (finished) {
                finished(report);
            }
        });
    };
    h.fetch = [s](const std::string& url, OnlineHooks::FetchDone done) {
        s->fetch(url, kFeedTimeout, std::move(done));
    };
    h.saveToken = [this](const std::string& token) {
        if (!m_tokens->save(token)) {
            return false;
        }
        m_token = token;
        return true;
    };
    return h;
}

LessonsService& OnlineWiring::lessons() {
    return m_services->lessons();
}

}  // namespace talvo
