#include "net/sync/study_sync_service.h"

#include "core/study/study_database.h"
#include "core/sync/study_sync_store.h"
#include "net/async/executor.h"
#include "net/http/http_transport.h"

namespace talvo {

StudySyncService::StudySyncService(HttpTransport& transport, Executor& background, Executor& owner,
                                   OnlineConfig config, std::chrono::milliseconds timeout)
    : m_transport(transport),
      m_background(background),
      m_owner(owner),
      m_config(std::move(config)),
      m_timeout(timeout) {}

StudySyncService::~StudySyncService() = default;

void StudySyncService::finish(const SyncReport& report, const Completion& done) {
    m_inFlight = false;
    if (done) {
        done(report);
    }
}

void StudySyncService::failLater(SyncReport report, std::string why, Completion done) {
    report.ok = false;
    report.error = std::move(why);
    std::weak_ptr<char> alive = m_alive;
    // Through the owner like every other ending, so callers see one behaviour.
    bool posted = m_owner.post([this, alive, report, done] {
        if (!alive.expired()) {
            finish(report, done);
        }
    });
    if (!posted) {
        m_inFlight = false;
    }
}

bool StudySyncService::sync(StudyDatabase& db, Completion done) {
    if (m_inFlight.exchange(true)) {
        return false;
    }
    SyncReport report;
    std::optional<std::string> url = endpointUrl(m_config.baseUrlNow(), kPath);
    if (!url) {
        failLater(report, "online features are off: no usable service URL", std::move(done));
        return true;
    }
    std::optional<std::string> token = m_config.accessTokenNow();
    if (!token || token->empty()) {
        failLater(report, "not signed in: no access token", std::move(done));
        return true;
    }
    std::string deviceId = m_config.deviceIdNow();

    StudySyncStore queries(db);
    wire::SyncRequest sent;
    sent.deviceId = deviceId;
    sent.cards = queries.changedCards(queries.cardPushCursor());
    sent.logs = queries.unsyncedLogs(deviceId);
    sent.since = queries.syncCursor();
    report.sentCards = static_cast<int64_t>(sent.cards.size());
    report.sentLogs = static_cast<int64_t>(sent.logs.size());
    report.since = sent.since;

    HttpRequest request;
    request.method = "POST";
    request.url = *url;
    request.timeout = m_timeout;
    request.headers = {{"Content-Type", "application/json"},
                       {"Authorization", "Bearer " + *token},
                       {"X-Device-Id", deviceId}};
    request.body = wire::encodeSyncRequest(sent);

    std::weak_ptr<char> alive = m_alive;
    auto exchange = std::make_shared<const wire::SyncRequest>(std::move(sent));
    HttpTransport* transport = &m_transport;
    Executor* owner = &m_owner;
    StudyDatabase* dbPtr = &db;
    bool posted = m_background.post([this, alive, transport, owner, dbPtr, exchange, report, done,
                                     request = std::move(request)] {
        auto result = std::make_shared<HttpResult>(transport->send(request));
        owner->post([this, alive, dbPtr, exchange, report, done, result] {
            if (!alive.expired()) {
                complete(*dbPtr, *exchange, *result, report, done);
            }
        });
    });
    if (!posted) {
        failLater(report, "no thread available for the request", std::move(done));
    }
    return true;
}

void StudySyncService::complete(StudyDatabase& db, const wire::SyncRequest& sent,
                                const HttpResult& result, SyncReport report,
                                const Completion& done) {
    if (!result.ok()) {
        report.error = result.error;
        finish(report, done);
        return;
    }
    if (result.response->status != 200) {
        report.error = "the server answered HTTP " + std::to_string(result.response->status);
        finish(report, done);
        return;
    }
    wire::Decoded<wire::SyncResponse> received = wire::decodeSyncResponse(result.response->body);
    if (!received) {
        report.error = "the server's answer is not a sync response (" + received.error + ")";
        finish(report, done);
        return;
    }
    report.receivedCards = static_cast<int64_t>(received->cards.size());
    report.receivedLogs = static_cast<int64_t>(received->logs.size());
    std::optional<StudySyncStore::Applied> applied =
        StudySyncStore(db).applyExchange(sent, *received);
    if (!applied) {
        report.error = "the study database could not take the changes";
        finish(report, done);
        return;
    }
    report.ok = true;
    report.appliedCards = applied->cards;
    report.storedLogs = applied->logs;
    report.now = received->now;
    finish(report, done);
}

}  // namespace talvo
