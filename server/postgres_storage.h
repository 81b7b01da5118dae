#pragma once

#include <functional>
#include <memory>
#include <string>

#include "server/storage.h"

namespace talvo::server {

class PgConnection;
class PgPool;

// Storage in a PostgreSQL database through libpq and a small connection pool.
// Several server processes may share the database and behave as one server:
// an account's exchanges take the account's row lock, the translation queue
// hands each passage to one worker (SKIP LOCKED), counters are upserts, and
// schema migrations take an advisory lock so that processes starting
// together migrate once.
class PostgresStorage : public Storage {
  public:
    // url: a libpq connection URI ("postgresql://user@host:5432/db", or with
    // ?host=/socket/dir). Throws StorageError when the server cannot be
    // reached or the schema is newer than this program.
    PostgresStorage(const std::string& url, size_t poolSize);
    ~PostgresStorage() override;

    std::string kind() const override { return "postgresql"; }
    int schemaVersion() override;

    bool addAccount(const std::string& name, const TokenDigest& token, int64_t now) override;
    bool setAccountToken(const std::string& name, const TokenDigest& token) override;
    bool revokeAccount(const std::string& name) override;
    std::optional<TokenOwner> tokenOwner(const std::string& selector) override;
    std::vector<AccountInfo> accounts() override;

    SyncPull exchange(int64_t accountId, const SyncPush& push, PullLimits limits) override;

    void putLessons(const std::vector<StoredLesson>& lessons) override;
    bool removeLesson(int64_t id) override;
    std::vector<StoredLesson> lessons() override;

    using Storage::translateOrQueue;
    TmAnswer translateOrQueue(const std::string& zh, int64_t now,
                              const QueueLimits& limits) override;
    std::optional<TmJob> claimJob(int64_t now, int64_t leaseSeconds) override;
    bool putTranslation(int64_t id, const std::string& vi, const std::string& model,
                        int64_t now) override;
    void failJob(int64_t id, const std::string& error, int64_t retryAt) override;
    std::vector<TmJob> pendingJobs(size_t limit) override;
    int64_t pendingCount() override;

    void countEvent(int64_t day, const std::string& name, const std::string& detail) override;
    void countLookup(int64_t day, const std::string& zh) override;
    StatsReport stats(int64_t fromDay, int64_t toDay, size_t top) override;

  private:
    void migrate();
    // Runs fn on a pooled connection. Runs it again (on a remade connection)
    // when the connection was lost under it: every operation here is safe to
    // repeat, and a lost connection has rolled back what it had not committed.
    void attempt(const std::function<void(PgConnection&)>& fn);
    // The same, inside one transaction, also repeated after a deadlock or
    // serialization failure.
    void transact(const std::function<void(PgConnection&)>& fn);

    std::unique_ptr<PgPool> m_pool;
};

}  // namespace talvo::server
