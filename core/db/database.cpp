#include "core/db/database.h"

#include <sqlite3.h>

#include <filesystem>

namespace talvo::db {

std::string immutableUri(const std::string& path) {
    // Every byte outside the unreserved set is percent-encoded, so "?", "#",
    // "%" and spaces in a file name stay part of the path. An absolute path
    // gets an empty authority ("file://" + "/x"): otherwise a path that
    // starts with "//" would be read as a host name.
    static const char* hex = "0123456789ABCDEF";
    std::string uri = !path.empty() && path.front() == '/' ? "file://" : "file:";
    for (unsigned char c : path) {
        bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                     c == '/' || c == '.' || c == '_' || c == '-' || c == '~';
        if (plain) {
            uri += static_cast<char>(c);
        } else {
            uri += '%';
            uri += hex[c >> 4];
            uri += hex[c & 0xF];
        }
    }
    return uri + "?immutable=1";
}

Database::Database(const std::string& path, Mode mode) {
    int flags = SQLITE_OPEN_NOMUTEX;
    std::string target = path;
    switch (mode) {
        case Mode::ReadOnly:
            flags |= SQLITE_OPEN_READONLY;
            break;
        case Mode::ReadOnlyImmutable:
            // The URI form lets SQLite skip locks and change checks on every
            // query; only a URI can say immutable=1.
            flags |= SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
            target = immutableUri(path);
            break;
        case Mode::ReadWriteCreate:
            flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
            break;
    }
    int rc = sqlite3_open_v2(target.c_str(), &m_db, flags, nullptr);
    if (rc != SQLITE_OK) {
        std::string message = m_db ? sqlite3_errmsg(m_db) : "unknown";
        sqlite3_close(m_db);
        m_db = nullptr;
        throw OpenError(message);
    }
    sqlite3_extended_result_codes(m_db, 1);
    sqlite3_busy_timeout(m_db, 2000);
}

std::unique_ptr<Database> Database::openCreatingFolders(const std::string& path) {
    std::error_code ignored;
    std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty()) {
        std::filesystem::create_directories(parent, ignored);
    }
    return std::make_unique<Database>(path, Mode::ReadWriteCreate);
}

Database::~Database() {
    m_cache.clear();  // statements must be finalized before the handle closes
    sqlite3_close(m_db);
}

bool Database::exec(std::string_view sql) {
    std::string s(sql);
    return sqlite3_exec(m_db, s.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement* Database::cached(const std::string& sql) {
    if (auto it = m_cache.find(sql); it != m_cache.end()) {
        return it->second.get();
    }
    auto stmt = std::make_unique<Statement>(*this, sql);
    if (!stmt->valid()) {
        return nullptr;
    }
    Statement* raw = stmt.get();
    m_cache.emplace(sql, std::move(stmt));
    return raw;
}

std::string Database::errorMessage() const {
    return m_db ? sqlite3_errmsg(m_db) : "unknown";
}

int Database::errorCode() const {
    return m_db ? (sqlite3_errcode(m_db) & 0xFF) : SQLITE_ERROR;
}

bool Database::readOnly() const {
    return sqlite3_db_readonly(m_db, "main") == 1;
}

int64_t Database::lastInsertRowId() const {
    return sqlite3_last_insert_rowid(m_db);
}

int Database::changes() const {
    return sqlite3_changes(m_db);
}

bool Database::inTransaction() const {
    return sqlite3_get_autocommit(m_db) == 0;
}

Statement::Statement(Database& db, std::string_view sql) {
    if (sqlite3_prepare_v3(db.handle(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &m_stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(m_stmt);
        m_stmt = nullptr;
    }
}

Statement::~Statement() {
    sqlite3_finalize(m_stmt);
}

Statement& Statement::bind(int index, std::string_view text) {
    sqlite3_bind_text64(m_stmt, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    return *this;
}

Statement& Statement::bindBlob(int index, std::string_view bytes) {
    sqlite3_bind_blob64(m_stmt, index, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    return *this;
}

Statement& Statement::bind(int index, int64_t value) {
    sqlite3_bind_int64(m_stmt, index, value);
    return *this;
}

Statement& Statement::bind(int index, double value) {
    sqlite3_bind_double(m_stmt, index, value);
    return *this;
}

Statement& Statement::bindNull(int index) {
    sqlite3_bind_null(m_stmt, index);
    return *this;
}

bool Statement::step() {
    return sqlite3_step(m_stmt) == SQLITE_ROW;
}

bool Statement::run() {
    int rc;
    while ((rc = sqlite3_step(m_stmt)) == SQLITE_ROW) {
    }
    return rc == SQLITE_DONE;
}

void Statement::reset() {
    sqlite3_reset(m_stmt);
    sqlite3_clear_bindings(m_stmt);
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(m_stmt, column) == SQLITE_NULL;
}

std::optional<std::string> Statement::text(int column) const {
    const unsigned char* p = sqlite3_column_text(m_stmt, column);
    if (!p) {
        return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(p),
                       static_cast<size_t>(sqlite3_column_bytes(m_stmt, column)));
}

std::optional<std::string> Statement::blob(int column) const {
    if (sqlite3_column_type(m_stmt, column) == SQLITE_NULL) {
        return std::nullopt;
    }
    const void* p = sqlite3_column_blob(m_stmt, column);
    auto n = static_cast<size_t>(sqlite3_column_bytes(m_stmt, column));
    return p ? std::string(static_cast<const char*>(p), n) : std::string();
}

int64_t Statement::int64(int column) const {
    return sqlite3_column_int64(m_stmt, column);
}

double Statement::real(int column) const {
    return sqlite3_column_double(m_stmt, column);
}

ReadTransaction::ReadTransaction(Database& db) : m_db(db) {
    if (m_db.inTransaction()) {
        return;
    }
    if (Statement* begin = m_db.cached("BEGIN")) {
        m_active = begin->run();
        begin->reset();
    }
}

ReadTransaction::~ReadTransaction() {
    if (!m_active) {
        return;
    }
    if (Statement* commit = m_db.cached("COMMIT"); commit && commit->run()) {
        commit->reset();
        return;
    }
    m_db.exec("ROLLBACK");
}

Transaction::Transaction(Database& db) : m_db(db) {
    m_active = m_db.exec("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (m_active) {
        m_db.exec("ROLLBACK");
    }
}

bool Transaction::commit() {
    if (!m_active) {
        return false;
    }
    m_active = false;
    if (m_db.exec("COMMIT")) {
        return true;
    }
    m_db.exec("ROLLBACK");
    return false;
}

}  // namespace talvo::db
