#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace talvo::db {

// Raised only by Database's constructor; stores translate it into their own
// error type. Everything after opening reports failure through return values.
class OpenError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Statement;

// The SQLite URI that opens `path` read-only with immutable=1; any path the
// file system accepts maps to itself.
std::string immutableUri(const std::string& path);

// One SQLite connection. Not thread-safe: a connection belongs to one thread.
// The destructor finalizes every cached statement and closes the handle; it never throws.
class Database {
  public:
    enum class Mode {
        ReadOnly,           // the file must exist; never written
        ReadOnlyImmutable,  // as ReadOnly, and SQLite may skip file locking (file never changes)
        ReadWriteCreate,
    };

    // Throws OpenError with SQLite's message (or "unknown" when no handle was made).
    Database(const std::string& path, Mode mode);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Opens path read-write, creating it and, first, its missing parent
    // folders (a folder that cannot be made shows up as the open's failure).
    static std::unique_ptr<Database> openCreatingFolders(const std::string& path);

    // Runs one or more statements without results. Returns false on error.
    bool exec(std::string_view sql);

    // A statement prepared once per connection and reused: the returned pointer
    // stays valid for the connection's life. nullptr when the SQL fails to prepare
    // (missing table, bad column); the failure is not cached, so a later schema
    // change can make it succeed.
    Statement* cached(const std::string& sql);

    std::string errorMessage() const;
    // SQLite's primary result code of the last failed call (SQLITE_CORRUPT, ...).
    int errorCode() const;
    // True when SQLite could only open the file for reading (permissions).
    bool readOnly() const;
    int64_t lastInsertRowId() const;
    int changes() const;
    bool inTransaction() const;
    sqlite3* handle() const { return m_db; }

  private:
    sqlite3* m_db = nullptr;
    std::unordered_map<std::string, std::unique_ptr<Statement>> m_cache;
};

// A prepared statement. Binding indices start at 1, columns at 0.
class Statement {
  public:
    // Prepares sql; valid() tells whether it succeeded.
    Statement(Database& db, std::string_view sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool valid() const { return m_stmt != nullptr; }

    // Text is always bound as a transient copy.
    Statement& bind(int index, std::string_view text);
    Statement& bind(int index, int64_t value);
    Statement& bind(int index, int value) { return bind(index, static_cast<int64_t>(value)); }
    Statement& bind(int index, double value);
    Statement& bindNull(int index);
    Statement& bindBlob(int index, std::string_view bytes);

    // True while there is a row; false when done or on error.
    bool step();
    // Steps to completion; true when it ended with SQLITE_DONE.
    bool run();
    // Rewinds and clears bindings so that the statement holds no read lock.
    void reset();

    bool isNull(int column) const;
    std::optional<std::string> text(int column) const;  // absent for NULL
    std::optional<std::string> blob(int column) const;  // the bytes; absent for NULL
    int64_t int64(int column) const;
    double real(int column) const;

  private:
    sqlite3_stmt* m_stmt = nullptr;
};

// Resets a (usually cached) statement when it goes out of scope, so an early
// return never leaves a read transaction open on the connection.
class ScopedReset {
  public:
    explicit ScopedReset(Statement& s) : m_s(s) {}
    ~ScopedReset() { m_s.reset(); }
    ScopedReset(const ScopedReset&) = delete;
    ScopedReset& operator=(const ScopedReset&) = delete;

  private:
    Statement& m_s;
};

// A deferred read transaction: every query inside reads one snapshot and the
// file locks are taken once instead of once per query. Ends on destruction.
// Does nothing when the connection is already inside a transaction.
class ReadTransaction {
  public:
    explicit ReadTransaction(Database& db);
    ~ReadTransaction();
    ReadTransaction(const ReadTransaction&) = delete;
    ReadTransaction& operator=(const ReadTransaction&) = delete;

  private:
    Database& m_db;
    bool m_active = false;
};

// BEGIN IMMEDIATE on construction; rolls back on destruction unless committed.
class Transaction {
  public:
    explicit Transaction(Database& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool active() const { return m_active; }
    bool commit();

  private:
    Database& m_db;
    bool m_active = false;
};

}  // namespace talvo::db
