#pragma once

#include <gtest/gtest.h>
#include <httplib.h>

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "server/api_service.h"
#include "server/http_server.h"
#include "server/logger.h"
#include "server/storage.h"

namespace talvo::server::test {

// A fresh folder, removed with everything in it.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

// The test cluster that pg_cluster.sh started for this CTest run (or the URL
// in TALVO_TEST_PG), or the reason there is none.
struct PgCluster {
    std::optional<std::string> url;
    std::string reason;
};
const PgCluster& pgCluster();

// A database of its own in the test cluster, dropped at the end.
class PgDatabase {
  public:
    PgDatabase();
    ~PgDatabase();
    const std::string& url() const { return m_url; }

  private:
    std::string m_name;
    std::string m_url;
};

enum class Backend { Sqlite, Postgres };
std::string backendName(const testing::TestParamInfo<Backend>& info);

// A fresh, empty database of one backend, opened as the server opens it.
class FreshStorage {
  public:
    explicit FreshStorage(Backend backend);
    Storage& operator*() { return *m_storage; }
    Storage* operator->() { return m_storage.get(); }
    const std::string& url() const { return m_url; }
    // Another handle on the same database, as a second server process has.
    std::unique_ptr<Storage> openAnother(size_t pool = 4) const;

  private:
    std::unique_ptr<TempDir> m_dir;
    std::unique_ptr<PgDatabase> m_pg;
    std::string m_url;
    std::unique_ptr<Storage> m_storage;
};

// Parameterised over both backends. PostgreSQL tests skip, saying why, when
// the cluster could not start; under CI they fail instead.
class BackendTest : public testing::TestWithParam<Backend> {
  protected:
    void SetUp() override;
    std::unique_ptr<FreshStorage> db;
};

// Makes an account and returns its token.
std::string addAccount(Storage& storage, const std::string& name);

// The API served on 127.0.0.1 at a free port, on a thread, until destroyed.
class TestServer {
  public:
    explicit TestServer(Storage& storage, ApiOptions options = {}, Clock clock = Clock::system(),
                        std::function<void()> onQueued = {}, size_t threads = 4);
    ~TestServer();
    int port() const { return m_http.port(); }
    httplib::Client client() const;
    ApiService& api() { return m_api; }
    std::string logText() const { return m_log.str(); }

  private:
    std::ostringstream m_log;
    Logger m_logger;
    PoolGauges m_gauges;
    ApiService m_api;
    HttpServer m_http;
    std::thread m_thread;
};

// A talvo-server process serving the database on a free loopback port, with
// `args` after "serve"; killed (SIGKILL) when destroyed. Its log is kept.
class ServerProcess {
  public:
    explicit ServerProcess(std::string dbUrl, std::vector<std::string> args = {});
    ~ServerProcess();
    int port() const { return m_port; }
    httplib::Client client() const;

    void start();
    // Sends the signal and returns at once (stop() then reaps the process).
    void signal(int sig);
    void stop(int sig);
    // Whether the process is still running (it has not crashed or exited).
    bool alive();
    std::string logText() const;

  private:
    std::string m_url;
    std::vector<std::string> m_args;
    pid_t m_pid = -1;
    int m_port = 0;
    std::thread m_drain;
    mutable std::mutex m_mutex;  // guards m_log
    std::string m_log;
};

// API options without rate limits, for tests that send many requests.
ApiOptions unlimited();
// The operator's token that unlimited() sets for GET /metrics, as a header.
httplib::Headers operatorHeaders();

// A card and a log as a device would send them.
CardRecord card(const std::string& uid, int64_t updatedAt, int64_t reps = 1);
LogRecord log(const std::string& logId, const std::string& cardUid = "char:風");

}  // namespace talvo::server::test
