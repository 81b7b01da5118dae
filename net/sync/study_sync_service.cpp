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

struct StudySyncService::Exchange {
    StudyDatabase* db = nullptr;
    std::string url;
    std::string token;
    std::string deviceId;
    SyncReport report;
    Completion done;
};

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
    // An address saved before such addresses were refused.
    if (carriesTokenInClear(m_config.baseUrlNow())) {
        failLater(report, "the service URL is plain http:// to another machine; use https://",
                  std::move(done));
        return true;
    }
    std::optional<std::string> token = m_config.accessTokenNow();
    if (!token || token->empty()) {
        failLater(report, "not signed in: no access token", std::move(done));
        return true;
    }
    if (db.installId().empty()) {
        failLater(report, "the study database has no install identity (it cannot be written)",
                  std::move(done));
        return true;
    }
    auto ex = std::make_shared<Exchange>();
    ex->db = &db;
    ex->url = std::move(*url);
    ex->token = std::move(*token);
    ex->deviceId = m_config.deviceIdNow();
    ex->done = std::move(done);
    sendPage(ex);
    return true;
}

void StudySyncService::sendPage(const std::shared_ptr<Exchange>& ex) {
    StudySyncStore queries(*ex->db);
    wire::SyncRequest sent;
    sent.deviceId = ex->deviceId;
    sent.installId = ex->db->installId();
    sent.cards = queries.changedCards();
    sent.logs = queries.unsyncedLogs();
    sent.since = queries.syncCursor();
    if (ex->report.pages == 0) {
        ex->report.since = sent.since;
    }

    HttpRequest request;
    request.method = "POST";
    request.url = ex->url;
    request.timeout = m_timeout;
    request.headers = {{"Content-Type", "application/json"},
                       {"Authorization", "Bearer " + ex->token},
                       {"X-Device-Id", ex->deviceId}};
    request.body = wire::encodeSyncRequest(sent);

    std::weak_ptr<char> alive = m_alive;
    auto page = std::make_shared<const wire::SyncRequest>(std::move(sent));
    HttpTransport* transport = &m_transport;
    Executor* owner = &m_owner;
    bool posted =
        m_background.post([this, alive, transport, owner, ex, page, request = std::move(request)] {
            auto result = std::make_shared<HttpResult>(transport->send(request));
            owner->post([this, alive, ex, page, result] {
                if (!alive.expired()) {
                    complete(ex, *page, *result);
                }
            });
        });
    if (!posted) {
        failLater(ex->report, "no thread available for the request", ex->done);
    }
}

void StudySyncService::complete(const std::shared_ptr<Exchange>& ex, const wire::SyncRequest& sent,
                                const HttpResult& result) {
    SyncReport& report = ex->report;
    auto fail = [&](std::string why) {
        report.ok = false;
        report.error = std::move(why);
        report.refusedTotal = StudySyncStore(*ex->db).refusedCount();
        finish(report, ex->done);
    };
    if (!result.ok()) {
        fail(result.error);
        return;
    }
    if (result.response->status != 200) {
        fail("the server answered HTTP " + std::to_string(result.response->status));
        return;
    }
    wire::Decoded<wire::SyncResponse> received = wire::decodeSyncResponse(result.response->body);
    if (!received) {
        fail("the server's answer is not a sync response (" + received.error + ")");
        return;
    }
    StudySyncStore store(*ex->db);
    std::optional<StudySyncStore::Applied> applied = store.applyExchange(sent, *received);
    if (!applied) {
        fail("the study database could not take the changes");
        return;
    }
    ++report.pages;
    report.sentCards += static_cast<int64_t>(sent.cards.size());
    report.sentLogs += static_cast<int64_t>(sent.logs.size());
    report.receivedCards += static_cast<int64_t>(received->cards.size());
    report.receivedLogs += static_cast<int64_t>(received->logs.size());
    report.appliedCards += applied->cards;
    report.storedLogs += applied->logs;
    report.replayedCards += applied->replayed;
    report.refusedRows += applied->refused;
    report.now = received->now;

    // A full batch means more of ours may wait; "more" means more of theirs.
    const bool waiting = received->more ||
                         sent.cards.size() >= static_cast<size_t>(StudySyncStore::kBatchSize) ||
                         sent.logs.size() >= static_cast<size_t>(StudySyncStore::kBatchSize);
    if (waiting && report.pages < kMaxPages) {
        sendPage(ex);
        return;
    }
    report.ok = true;
    report.more = waiting;
    report.refusedTotal = store.refusedCount();
    finish(report, ex->done);
}

}  // namespace talvo
