#include "server/tests/test_support.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "server/pg_pool.h"
#include "server/token.h"

namespace talvo::server::test {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "talvo-server-XXXXXX").string();
    char* made = mkdtemp(pattern.data());
    if (!made) {
        throw std::runtime_error("cannot make a temporary folder");
    }
    m_path = made;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

const PgCluster& pgCluster() {
    static const PgCluster cluster = [] {
        PgCluster c;
        if (const char* url = std::getenv("TALVO_TEST_PG")) {
            c.url = url;
            return c;
        }
        std::ifstream in(TALVO_TEST_PG_INFO);
        if (!in) {
            c.reason =
                "no test cluster (run the tests through ctest, which starts one with "
                "server/tests/pg_cluster.sh, or set TALVO_TEST_PG)";
            return c;
        }
        std::string line;
        while (std::getline(in, line)) {
            if (line.rfind("url ", 0) == 0) {
                c.url = line.substr(4);
            } else if (line.rfind("unavailable ", 0) == 0) {
                c.reason = line.substr(12);
            }
        }
        if (!c.url && c.reason.empty()) {
            c.reason = "the cluster's info file is empty";
        }
        return c;
    }();
    return cluster;
}

PgDatabase::PgDatabase() {
    static std::atomic<int> counter{0};
    const std::string& cluster = *pgCluster().url;
    m_name = "t" + std::to_string(getpid()) + "_" + std::to_string(counter++);
    PgConnection admin(cluster);
    admin.execScript("CREATE DATABASE " + m_name);
    size_t slash = cluster.find("/postgres");
    m_url = slash == std::string::npos
                ? cluster + " dbname=" + m_name
                : cluster.substr(0, slash) + "/" + m_name + cluster.substr(slash + 9);
}

PgDatabase::~PgDatabase() {
    try {
        PgConnection admin(*pgCluster().url);
        admin.execScript("DROP DATABASE IF EXISTS " + m_name + " WITH (FORCE)");
    } catch (const std::exception&) {
        // The cluster is thrown away after the run anyway.
    }
}

std::string backendName(const testing::TestParamInfo<Backend>& info) {
    return info.param == Backend::Sqlite ? "SQLite" : "PostgreSQL";
}

FreshStorage::FreshStorage(Backend backend) {
    if (backend == Backend::Sqlite) {
        m_dir = std::make_unique<TempDir>();
        m_url = "sqlite:" + m_dir->file("server.sqlite");
    } else {
        m_pg = std::make_unique<PgDatabase>();
        m_url = m_pg->url();
    }
    m_storage = openStorage(m_url, 8);
}

std::unique_ptr<Storage> FreshStorage::openAnother(size_t pool) const {
    return openStorage(m_url, pool);
}

void BackendTest::SetUp() {
    if (GetParam() == Backend::Postgres && !pgCluster().url) {
        if (std::getenv("CI")) {
            FAIL() << "PostgreSQL is required under CI: " << pgCluster().reason;
        }
        GTEST_SKIP() << "PostgreSQL unavailable: " << pgCluster().reason;
    }
    db = std::make_unique<FreshStorage>(GetParam());
}

std::string addAccount(Storage& storage, const std::string& name) {
    std::string token = generateToken();
    if (!storage.addAccount(name, *tokenDigest(token), 1'700'000'000)) {
        throw std::runtime_error("account exists: " + name);
    }
    return token;
}

TestServer::TestServer(Storage& storage, ApiOptions options, Clock clock,
                       std::function<void()> onQueued, size_t threads)
    : m_logger(m_log, LogLevel::Warn),
      m_api(storage, options, std::move(clock), m_logger, std::move(onQueued), &m_gauges),
      m_http(m_api, HttpOptions{"127.0.0.1", 0, threads, 2, "", ""}, m_gauges) {
    if (!m_http.bind()) {
        throw std::runtime_error("cannot bind a loopback port");
    }
    m_thread = std::thread([this] { m_http.run(); });
    while (!m_http.running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

TestServer::~TestServer() {
    m_http.stop();
    m_thread.join();
}

httplib::Client TestServer::client() const {
    httplib::Client c("127.0.0.1", port());
    c.set_read_timeout(30);
    return c;
}

ServerProcess::ServerProcess(std::string dbUrl, std::vector<std::string> args)
    : m_url(std::move(dbUrl)), m_args(std::move(args)) {
    start();
}

ServerProcess::~ServerProcess() {
    stop(SIGKILL);
}

httplib::Client ServerProcess::client() const {
    httplib::Client c("127.0.0.1", m_port);
    c.set_read_timeout(30);
    return c;
}

void ServerProcess::start() {
    std::vector<std::string> argv{TALVO_SERVER_BIN, "--db",        m_url,         "serve",
                                  "--listen",       "127.0.0.1:0", "--log-level", "info"};
    argv.insert(argv.end(), m_args.begin(), m_args.end());
    std::vector<char*> cargv;
    for (std::string& a : argv) {
        cargv.push_back(a.data());
    }
    cargv.push_back(nullptr);
    int err[2];
    if (pipe(err) != 0) {
        throw std::runtime_error("pipe");
    }
    m_pid = fork();
    if (m_pid == 0) {
        dup2(err[1], 2);
        close(err[0]);
        execv(TALVO_SERVER_BIN, cargv.data());
        _exit(127);
    }
    close(err[1]);
    FILE* in = fdopen(err[0], "r");
    char line[4096];
    m_port = 0;
    while (m_port == 0 && fgets(line, sizeof line, in)) {
        {
            std::lock_guard lock(m_mutex);
            m_log += line;
        }
        auto j = nlohmann::json::parse(line, nullptr, false);
        if (j.is_object() && j.value("msg", "") == "listening") {
            m_port = j.value("port", 0);
        }
    }
    if (m_port == 0) {
        fclose(in);
        throw std::runtime_error("talvo-server did not start: " + logText());
    }
    // Keep reading, or a full pipe would stall the server's request log.
    m_drain = std::thread([this, in] {
        char buf[4096];
        while (fgets(buf, sizeof buf, in)) {
            std::lock_guard lock(m_mutex);
            m_log += buf;
        }
        fclose(in);
    });
}

void ServerProcess::signal(int sig) {
    if (m_pid > 0) {
        kill(m_pid, sig);
    }
}

void ServerProcess::stop(int sig) {
    if (m_pid <= 0) {
        return;
    }
    kill(m_pid, sig);
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = -1;
    if (m_drain.joinable()) {
        m_drain.join();
    }
}

bool ServerProcess::alive() {
    int status = 0;
    return m_pid > 0 && waitpid(m_pid, &status, WNOHANG) == 0;
}

std::string ServerProcess::logText() const {
    std::lock_guard lock(m_mutex);
    return m_log;
}

ApiOptions unlimited() {
    ApiOptions o;
    o.syncLimit = o.translateLimit = o.statsLimit = o.readLimit = o.contentLimit =
        o.accountTranslateMinute = o.accountTranslateDay = o.signInFailures = RateLimit{};
    o.metricsToken = "operator-secret";
    return o;
}

httplib::Headers operatorHeaders() {
    return {{"Authorization", "Bearer operator-secret"}};
}

CardRecord card(const std::string& uid, int64_t updatedAt, int64_t reps) {
    CardRecord c;
    c.uid = uid;
    c.front = uid.substr(uid.find(':') + 1);
    c.am = "phong";
    c.gloss = "gió";
    c.source = "lesson";
    c.stability = 2.5 + static_cast<double>(reps) / 3;
    c.difficulty = 5.25;
    c.reps = reps;
    c.state = "review";
    c.due = 20000 + reps;
    c.lastDay = 19990;
    c.updatedAt = updatedAt;
    return c;
}

LogRecord log(const std::string& logId, const std::string& cardUid) {
    LogRecord l;
    l.logId = logId;
    l.cardUid = cardUid;
    l.ts = 1'700'000'000;
    l.day = 19676;
    l.rating = 3;
    l.elapsed = 2;
    l.interval = 5;
    return l;
}

}  // namespace talvo::server::test
