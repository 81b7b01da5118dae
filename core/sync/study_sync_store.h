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
    // A remote card stamped further ahead of this device's clock than this
    // (a device whose clock runs fast) is stored as stamped now plus this:
    // otherwise its stamp would beat every change made here until the clock
    // caught up.
    static constexpr int64_t kFutureToleranceSeconds = 300;

    explicit StudySyncStore(StudyDatabase& db);

    // Cards changed here that the server has not taken yet, oldest change
    // first, at most 500, each with its localSeq; refused cards are left out.
    std::vector<wire::SyncCard> changedCards();
    // This database's review-log rows not yet accepted by the server, in row
    // order, at most 500, each with its log_id (install id ":" row id) and
    // localId; refused rows are left out.
    std::vector<wire::SyncLog> unsyncedLogs();
    // The pull cursor; missing or unparsable reads as 0.
    int64_t syncCursor();
    // Rows the server refused; they stay here, unsynced.
    int64_t refusedCount();
    // Local changes the server has not taken yet (cards and logs), refused
    // ones included.
    int64_t waitingCount();

    struct Applied {
        int64_t cards = 0;     // incoming cards that were inserted or overwrote a row
        int64_t logs = 0;      // incoming logs that were new here
        int64_t replayed = 0;  // cards whose state changed when replayed from all their logs
        int64_t refused = 0;   // sent rows that the server refused
    };
    // Applies a successful exchange in one transaction: the remote cards
    // (strictly newer wins, future stamps clamped, new cards ranked 100000 on
    // day 0), the remote logs (stored once, with their origin and synced=1),
    // the sent rows marked as taken (unless refused, or changed again since
    // they were gathered), the refusals, the state of every touched card
    // replayed from all its logs (review_replay.h), and the pull cursor. All of it or nothing:
    // absent when the database refused any part, and then nothing changed.
    std::optional<Applied> applyExchange(const wire::SyncRequest& sent,
                                         const wire::SyncResponse& received);

  private:
    bool replay(const std::string& uid, bool& changed);

    StudyDatabase& m_db;
};

}  // namespace talvo
