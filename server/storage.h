#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/wire/sync_records.h"

namespace talvo::server {

// The database failed under a request (connection lost, disk full, corrupt
// page, a lock held too long). The request fails as a whole: every operation
// below is one transaction, so nothing of it was written.
class StorageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Cards and review logs are stored as devices exchange them.
using CardRecord = wire::SyncCard;
using LogRecord = wire::SyncLog;

// What one device sends in one exchange.
struct SyncPush {
    std::string deviceId;
    int64_t since = 0;  // the cursor the device was last given
    std::vector<CardRecord> cards;
    std::vector<LogRecord> logs;
    std::string installId;  // the sending study database; empty from older clients

    // Whose rows these are: the study database when it says, else the device.
    // An answer leaves out only the rows pushed under this name.
    const std::string& pusher() const { return installId.empty() ? deviceId : installId; }
};

// What the device gets back. `now` is the cursor to send as the next `since`.
struct SyncPull {
    int64_t now = 0;
    std::vector<CardRecord> cards;
    std::vector<LogRecord> logs;
    bool capped = false;        // more rows wait beyond `now`
    int64_t cardsChanged = 0;   // pushed cards that were new or strictly newer
    int64_t logsAdded = 0;      // pushed logs not stored before
    int64_t cardsReplayed = 0;  // cards whose state changed when replayed from their logs
};

// Bounds of one answer: at most maxRows rows, and rows are added only while
// the text they carry stays under maxBytes (the first row always goes).
struct PullLimits {
    // A new device's first sync (10,000 cards and 100,000 logs) fits in the
    // client's bound of 20 round trips.
    size_t maxRows = 10000;
    size_t maxBytes = 4 << 20;
};

// What the server keeps of an access token: a selector to find it by and the
// SHA-256 of the whole token to check it against.
struct TokenDigest {
    std::string selector;
    std::string hash;
};

struct TokenOwner {
    int64_t accountId = 0;
    std::string hash;
};

struct AccountInfo {
    int64_t id = 0;
    std::string name;
    int64_t createdAt = 0;
    bool revoked = false;
    int64_t cards = 0;
    int64_t logs = 0;
};

// A validated lesson as served: `json` is the lesson object in its final form.
struct StoredLesson {
    int64_t id = 0;
    int64_t tier = 0;
    int64_t ord = 0;
    std::string json;

    bool operator==(const StoredLesson&) const = default;
};

// The answer to a translation request.
struct TmAnswer {
    // OverShare: the requester already has its share of the queue waiting.
    enum class Kind { Memory, Queued, QueueFull, OverShare };
    Kind kind = Kind::Queued;
    std::string vi;
    std::string model;
};

// How much of the translation queue one request may fill.
struct QueueLimits {
    int64_t maxQueue = 0;  // passages waiting in all
    // Who asks ("a:ADDRESS" or "u:ACCOUNT"), remembered with a passage it
    // queues; with maxPerRequester > 0, a requester with that many passages
    // waiting queues no more until some are translated.
    std::string requester;
    int64_t maxPerRequester = 0;
};

// A passage waiting for a translation.
struct TmJob {
    int64_t id = 0;
    std::string zh;
    int64_t requests = 0;  // how many times it was asked for
    int64_t attempts = 0;  // failed machine attempts so far
    std::string lastError;
    int64_t createdAt = 0;
};

struct DayCount {
    int64_t day = 0;
    std::string name;
    std::string detail;
    int64_t count = 0;
};

struct PassageCount {
    std::string zh;
    int64_t count = 0;
};

struct StatsReport {
    std::vector<PassageCount> topLookups;                    // most looked up first
    std::vector<DayCount> events;                            // by day, then name, then detail
    std::vector<std::pair<int64_t, int64_t>> lookupsPerDay;  // day, lookups
};

// Everything the server keeps. Implementations are safe to call from many
// threads at once, and several processes may share one database (PostgreSQL;
// SQLite only on one machine): every operation is one transaction, and an
// account's exchanges are serialized so that cursors follow commit order.
// Operations throw StorageError when the database fails; nothing else.
class Storage {
  public:
    virtual ~Storage() = default;

    virtual std::string kind() const = 0;
    // The schema version the database is at after opening.
    virtual int schemaVersion() = 0;

    // Accounts. Names are unique; an account holds at most one token, known
    // by its digest (token.h). False when the name is taken (add) or unknown
    // (setToken, revoke). Revoking drops the token and keeps the data.
    virtual bool addAccount(const std::string& name, const TokenDigest& token, int64_t now) = 0;
    virtual bool setAccountToken(const std::string& name, const TokenDigest& token) = 0;
    virtual bool revokeAccount(const std::string& name) = 0;
    // The active account whose token has this selector, with the token's
    // stored hash, which the caller must still compare (authenticate()).
    virtual std::optional<TokenOwner> tokenOwner(const std::string& selector) = 0;
    virtual std::vector<AccountInfo> accounts() = 0;

    // One sync exchange for the account, in one transaction: stores the
    // pushed cards (new, or strictly newer `updatedAt`) and logs (new logId),
    // recomputes the state of every touched card from all its logs
    // (replayedCards, sync_batch.h), then returns what was
    // stored after `since` under any other pusher. Every stored row takes the
    // account's next sequence number, under a lock held to the commit, so a
    // cursor never passes a row committed later.
    // The push must have been through normalizePush (sync_batch.h).
    virtual SyncPull exchange(int64_t accountId, const SyncPush& push, PullLimits limits) = 0;

    // Lessons: put replaces lessons with the same id and keeps the others.
    virtual void putLessons(const std::vector<StoredLesson>& lessons) = 0;
    virtual bool removeLesson(int64_t id) = 0;
    // Sorted by tier, ord, id.
    virtual std::vector<StoredLesson> lessons() = 0;

    // Translation memory. zh must be trimmed and non-empty. A passage not yet
    // translated is queued (once; asking again counts a request), unless
    // the queue or the requester's share of it is full.
    virtual TmAnswer translateOrQueue(const std::string& zh, int64_t now,
                                      const QueueLimits& limits) = 0;
    TmAnswer translateOrQueue(const std::string& zh, int64_t now, int64_t maxQueue) {
        return translateOrQueue(zh, now, QueueLimits{maxQueue, {}, 0});
    }
    // Takes the oldest waiting passage that no one holds, and holds it until
    // now + leaseSeconds (a worker that dies lets it go that way).
    virtual std::optional<TmJob> claimJob(int64_t now, int64_t leaseSeconds) = 0;
    // False when the id is unknown. A later translation replaces an earlier one.
    virtual bool putTranslation(int64_t id, const std::string& vi, const std::string& model,
                                int64_t now) = 0;
    // Counts a failed attempt; the passage waits until retryAt.
    virtual void failJob(int64_t id, const std::string& error, int64_t retryAt) = 0;
    virtual std::vector<TmJob> pendingJobs(size_t limit) = 0;
    virtual int64_t pendingCount() = 0;

    // Usage statistics, counted per day.
    virtual void countEvent(int64_t day, const std::string& name, const std::string& detail) = 0;
    virtual void countLookup(int64_t day, const std::string& zh) = 0;
    // Days fromDay..toDay inclusive; at most `top` passages.
    virtual StatsReport stats(int64_t fromDay, int64_t toDay, size_t top) = 0;
};

// Opens "sqlite:PATH" or "postgresql://..." / "postgres://..." and brings the
// schema up to date. poolSize bounds the connections (PostgreSQL) or reader
// connections (SQLite). Throws StorageError with the reason when the database
// cannot be opened, is not ours, or is newer than this program.
std::unique_ptr<Storage> openStorage(const std::string& url, size_t poolSize = 8);

}  // namespace talvo::server
