#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/storage.h"

struct pg_conn;
struct pg_result;

namespace talvo::server {

// A statement failed on the server; sqlState is PostgreSQL's five-character
// error code ("40P01" deadlock, "08006" connection failure, ...).
class PgError : public StorageError {
  public:
    PgError(const std::string& message, std::string sqlState)
        : StorageError(message), m_sqlState(std::move(sqlState)) {}
    const std::string& sqlState() const { return m_sqlState; }

  private:
    std::string m_sqlState;
};

// The parameters of one statement, all sent as text ($1, $2, ... in order).
class PgParams {
  public:
    PgParams& add(std::string_view text);
    PgParams& add(int64_t value);
    PgParams& add(bool value);
    size_t size() const { return m_values.size(); }
    const std::vector<std::string>& values() const { return m_values; }

  private:
    std::vector<std::string> m_values;
};

// One statement's result. Values read as empty text / 0 when NULL.
class PgResult {
  public:
    explicit PgResult(pg_result* result);
    ~PgResult();
    PgResult(PgResult&& other) noexcept;
    PgResult& operator=(PgResult&&) = delete;
    PgResult(const PgResult&) = delete;

    int rows() const;
    bool isNull(int row, int column) const;
    std::string text(int row, int column) const;
    int64_t int64(int row, int column) const;
    double real(int row, int column) const;
    bool boolean(int row, int column) const;
    // Rows inserted, updated or deleted by the statement.
    int64_t affected() const;

  private:
    pg_result* m_result;
};

// One connection to the server. Used by one thread at a time (the pool
// hands it out). Statements are prepared once per connection and reused.
class PgConnection {
  public:
    // Throws StorageError with libpq's reason when the server cannot be reached.
    explicit PgConnection(const std::string& url);
    ~PgConnection();
    PgConnection(const PgConnection&) = delete;
    PgConnection& operator=(const PgConnection&) = delete;

    // Throws PgError when the statement fails.
    PgResult exec(const std::string& sql, const PgParams& params = {});
    // Several statements without parameters, in one round trip; the result
    // of the last one.
    PgResult execScript(const std::string& sql);

    // True while the connection is usable and outside any transaction.
    bool idle() const;
    // True when the server has gone away under this connection.
    bool broken() const;
    // Reconnects a broken connection; false when the server is still away.
    bool reconnect();
    void rollbackQuietly();

  private:
    [[noreturn]] void fail(pg_result* result, std::string_view what);

    pg_conn* m_conn = nullptr;
    std::unordered_map<std::string, std::string> m_prepared;  // sql -> statement name
};

// BEGIN on construction; ROLLBACK on destruction unless committed.
class PgTransaction {
  public:
    explicit PgTransaction(PgConnection& conn);
    ~PgTransaction();
    PgTransaction(const PgTransaction&) = delete;
    PgTransaction& operator=(const PgTransaction&) = delete;
    void commit();

  private:
    PgConnection& m_conn;
    bool m_open = true;
};

// A fixed number of connections shared by the request threads. Connections
// are made when first needed; a broken one is remade when it is next taken.
class PgPool {
  public:
    // Connects once at once so that a wrong address fails at start.
    PgPool(std::string url, size_t size);
    ~PgPool();

    class Lease {
      public:
        Lease(PgPool& pool, std::unique_ptr<PgConnection> conn)
            : m_pool(pool), m_conn(std::move(conn)) {}
        ~Lease();
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        PgConnection& operator*() { return *m_conn; }
        PgConnection* operator->() { return m_conn.get(); }

      private:
        PgPool& m_pool;
        std::unique_ptr<PgConnection> m_conn;
    };

    // Waits for a free connection; throws StorageError when none frees up in
    // time or the server cannot be reached.
    Lease acquire();

  private:
    void giveBack(std::unique_ptr<PgConnection> conn);

    std::string m_url;
    size_t m_size;
    std::mutex m_mutex;  // guards m_idle and m_made
    std::condition_variable m_free;
    std::vector<std::unique_ptr<PgConnection>> m_idle;
    size_t m_made = 0;
};

}  // namespace talvo::server
