#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "server/storage.h"

namespace talvo::db {
class Database;
}

namespace talvo::server {

// Storage in one SQLite file in WAL mode, durable at every commit.
//
// Writes go through one connection. Writers that arrive while a commit is
// under way are committed together in the next transaction (each inside its
// own savepoint, so one failing request does not undo the others): the cost
// of a durable commit is shared instead of paid once per request. Reads use a
// pool of further connections and never wait for writers. Other processes
// may use the same file (the command line while the server runs); they wait
// on SQLite's lock for a few seconds at most.
class SqliteStorage : public Storage {
  public:
    // Throws StorageError when the file cannot be opened or written, is not a
    // database, or holds a schema newer than this program.
    SqliteStorage(const std::string& path, size_t readers);
    ~SqliteStorage() override;

    std::string kind() const override { return "sqlite"; }
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
    struct WriteJob {
        std::function<void(db::Database&)> run;
        std::exception_ptr error;
        bool done = false;
    };

    std::unique_ptr<db::Database> openConnection();
    void migrate(db::Database& db);
    // Runs fn on the write connection inside a committed transaction; rethrows
    // what fn threw, or StorageError when the commit failed.
    void write(std::function<void(db::Database&)> fn);
    void commitBatch(std::vector<WriteJob*>& batch);
    // Runs fn on a reader connection of the pool.
    void read(const std::function<void(db::Database&)>& fn);

    std::string m_path;
    size_t m_maxReaders;

    std::unique_ptr<db::Database> m_writer;  // used only by the batch leader
    std::mutex m_writeMutex;                 // guards m_queue and m_leading
    std::condition_variable m_writeDone;
    std::deque<WriteJob*> m_queue;
    bool m_leading = false;

    std::mutex m_readMutex;  // guards m_idleReaders and m_readersMade
    std::condition_variable m_readerFree;
    std::vector<std::unique_ptr<db::Database>> m_idleReaders;
    size_t m_readersMade = 0;
};

}  // namespace talvo::server
