#include "server/pg_pool.h"

#include <libpq-fe.h>

#include <charconv>

namespace talvo::server {

namespace {

// How long a request waits for a connection before it is answered 503.
constexpr auto kAcquireTimeout = std::chrono::seconds(30);

std::string trimmed(const char* message) {
    std::string s = message ? message : "";
    while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) {
        s.pop_back();
    }
    return s;
}

}  // namespace

PgParams& PgParams::add(std::string_view text) {
    m_values.emplace_back(text);
    return *this;
}

PgParams& PgParams::add(int64_t value) {
    m_values.push_back(std::to_string(value));
    return *this;
}

PgParams& PgParams::add(bool value) {
    m_values.emplace_back(value ? "true" : "false");
    return *this;
}

PgResult::PgResult(pg_result* result) : m_result(result) {}

PgResult::~PgResult() {
    PQclear(m_result);
}

PgResult::PgResult(PgResult&& other) noexcept : m_result(other.m_result) {
    other.m_result = nullptr;
}

int PgResult::rows() const {
    return PQntuples(m_result);
}

bool PgResult::isNull(int row, int column) const {
    return PQgetisnull(m_result, row, column) == 1;
}

std::string PgResult::text(int row, int column) const {
    return std::string(PQgetvalue(m_result, row, column),
                       static_cast<size_t>(PQgetlength(m_result, row, column)));
}

int64_t PgResult::int64(int row, int column) const {
    const char* p = PQgetvalue(m_result, row, column);
    int64_t value = 0;
    std::from_chars(p, p + PQgetlength(m_result, row, column), value);
    return value;
}

double PgResult::real(int row, int column) const {
    const char* p = PQgetvalue(m_result, row, column);
    double value = 0;
    std::from_chars(p, p + PQgetlength(m_result, row, column), value);
    return value;
}

bool PgResult::boolean(int row, int column) const {
    const char* p = PQgetvalue(m_result, row, column);
    return p && p[0] == 't';
}

int64_t PgResult::affected() const {
    const char* p = PQcmdTuples(m_result);
    int64_t value = 0;
    std::from_chars(p, p + std::char_traits<char>::length(p), value);
    return value;
}

PgConnection::PgConnection(const std::string& url) {
    // The URL comes last so that its own settings win over these defaults.
    const char* keys[] = {"application_name", "connect_timeout", "dbname", nullptr};
    const char* values[] = {"talvo-server", "10", url.c_str(), nullptr};
    m_conn = PQconnectdbParams(keys, values, 1);
    if (!m_conn || PQstatus(m_conn) != CONNECTION_OK) {
        std::string why = m_conn ? trimmed(PQerrorMessage(m_conn)) : "out of memory";
        PQfinish(m_conn);
        m_conn = nullptr;
        throw StorageError("PostgreSQL: cannot connect: " + why);
    }
    // Notices ("already exists, skipping") are not errors; keep them off stderr.
    PQsetNoticeProcessor(
        m_conn, [](void*, const char*) {}, nullptr);
}

PgConnection::~PgConnection() {
    PQfinish(m_conn);
}

void PgConnection::fail(pg_result* result, std::string_view what) {
    std::string message = trimmed(result ? PQresultErrorMessage(result) : PQerrorMessage(m_conn));
    const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    std::string sqlState = state ? state : "";
    PQclear(result);
    if (PQstatus(m_conn) != CONNECTION_OK) {
        // The session is gone and its prepared statements with it.
        m_prepared.clear();
    }
    throw PgError("PostgreSQL: " + std::string(what) + ": " + message, sqlState);
}

PgResult PgConnection::exec(const std::string& sql, const PgParams& params) {
    auto it = m_prepared.find(sql);
    if (it == m_prepared.end()) {
        std::string name = "s" + std::to_string(m_prepared.size());
        pg_result* prepared = PQprepare(m_conn, name.c_str(), sql.c_str(), 0, nullptr);
        if (PQresultStatus(prepared) != PGRES_COMMAND_OK) {
            fail(prepared, "cannot prepare a statement");
        }
        PQclear(prepared);
        it = m_prepared.emplace(sql, name).first;
    }
    std::vector<const char*> values;
    values.reserve(params.size());
    for (const std::string& v : params.values()) {
        values.push_back(v.c_str());
    }
    pg_result* result = PQexecPrepared(m_conn, it->second.c_str(), static_cast<int>(values.size()),
                                       values.data(), nullptr, nullptr, 0);
    ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        fail(result, "statement failed");
    }
    return PgResult(result);
}

PgResult PgConnection::execScript(const std::string& sql) {
    pg_result* result = PQexec(m_conn, sql.c_str());
    ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        fail(result, "script failed");
    }
    return PgResult(result);
}

bool PgConnection::idle() const {
    return PQstatus(m_conn) == CONNECTION_OK && PQtransactionStatus(m_conn) == PQTRANS_IDLE;
}

bool PgConnection::broken() const {
    return PQstatus(m_conn) != CONNECTION_OK;
}

bool PgConnection::reconnect() {
    m_prepared.clear();
    PQreset(m_conn);
    return PQstatus(m_conn) == CONNECTION_OK;
}

void PgConnection::rollbackQuietly() {
    if (PQstatus(m_conn) == CONNECTION_OK && PQtransactionStatus(m_conn) != PQTRANS_IDLE) {
        PQclear(PQexec(m_conn, "ROLLBACK"));
    }
}

PgTransaction::PgTransaction(PgConnection& conn) : m_conn(conn) {
    m_conn.execScript("BEGIN");
}

PgTransaction::~PgTransaction() {
    if (m_open) {
        m_conn.rollbackQuietly();
    }
}

void PgTransaction::commit() {
    m_open = false;
    m_conn.execScript("COMMIT");
}

PgPool::PgPool(std::string url, size_t size) : m_url(std::move(url)), m_size(size ? size : 1) {
    m_idle.push_back(std::make_unique<PgConnection>(m_url));
    m_made = 1;
}

PgPool::~PgPool() = default;

PgPool::Lease::~Lease() {
    m_pool.giveBack(std::move(m_conn));
}

PgPool::Lease PgPool::acquire() {
    std::unique_ptr<PgConnection> conn;
    {
        std::unique_lock lock(m_mutex);
        if (!m_free.wait_for(lock, kAcquireTimeout,
                             [&] { return !m_idle.empty() || m_made < m_size; })) {
            throw StorageError("PostgreSQL: every connection stayed busy for 30 s");
        }
        if (!m_idle.empty()) {
            conn = std::move(m_idle.back());
            m_idle.pop_back();
        } else {
            ++m_made;
        }
    }
    try {
        if (!conn) {
            conn = std::make_unique<PgConnection>(m_url);
        } else if (!conn->idle()) {
            conn->rollbackQuietly();
            if (!conn->idle() && !conn->reconnect()) {
                throw StorageError("PostgreSQL: the connection was lost and cannot be remade");
            }
        }
    } catch (...) {
        giveBack(std::move(conn));
        throw;
    }
    return Lease(*this, std::move(conn));
}

void PgPool::giveBack(std::unique_ptr<PgConnection> conn) {
    std::lock_guard lock(m_mutex);
    if (conn) {
        m_idle.push_back(std::move(conn));
    } else {
        --m_made;
    }
    m_free.notify_one();
}

}  // namespace talvo::server
