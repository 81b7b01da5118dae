#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/wire/sync_records.h"

namespace talvo {

class StudyDatabase;

// The study database's side of a sync exchange: the queries that gather what
// goes out and the statements that apply what comes back, on the database's
// own connection. Borrows the database, which must outlive it; same thread
// rules as the database (its owner thread only). Reads that fail read as
// empty or 0, like every store query.
class StudySyncStore {
  public:
    static constexpr int kBatchSize = 500;
    static constexpr const char* kSinceKey = "sync_since";
    static constexpr const char* kCardPushKey = "sync_card_push";

    explicit StudySyncStore(StudyDatabase& db);

    // Cards changed after `sinceUpdatedAt`, oldest change first, at most 500.
    std::vector<wire::SyncCard> changedCards(int64_t sinceUpdatedAt);
    // This device's review-log rows not yet accepted by the server, in row
    // order, at most 500, each with its log_id (deviceId ":" id) and localId.
    std::vector<wire::SyncLog> unsyncedLogs(std::string_view deviceId);
    // The cfg cursors; missing or unparsable reads as 0.
    int64_t syncCursor();
    int64_t cardPushCursor();

    struct Applied {
        int64_t cards = 0;  // incoming cards that were inserted or overwrote a row
        int64_t logs = 0;   // incoming logs that were new here
    };
    // Applies a successful exchange in one transaction: the remote cards
    // (strictly newer wins, new cards ranked 100000 on day 0), the remote logs
    // (stored once, with their origin and synced=1), the sent logs marked
    // synced, the push cursor (when cards were sent) and the pull cursor. All
    // of it or nothing: absent when the database refused any part, and then
    // nothing changed.
    std::optional<Applied> applyExchange(const wire::SyncRequest& sent,
                                         const wire::SyncResponse& received);

  private:
    StudyDatabase& m_db;
};

}  // namespace talvo
