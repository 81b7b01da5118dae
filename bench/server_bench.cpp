// talvo-server's figures: small sync exchanges per second over loopback HTTP
// (many devices at once), and the time of one exchange of 500 cards + 500
// logs, on SQLite and on PostgreSQL.
//
// PostgreSQL runs need a database: TALVO_BENCH_PG=postgresql://... (./dev
// bench starts a throwaway durable cluster and sets it). Without it those
// runs are skipped with a message.

#include <benchmark/benchmark.h>
#include <httplib.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

#include "core/wire/sync_records.h"
#include "server/api_service.h"
#include "server/http_server.h"
#include "server/pg_pool.h"
#include "server/storage.h"
#include "server/token.h"

namespace talvo::server {
namespace {

constexpr int kSqlite = 0;
constexpr int kPostgres = 1;

ApiOptions unlimitedOptions() {
    ApiOptions o;
    o.syncLimit = o.translateLimit = o.statsLimit = o.readLimit = RateLimit{};
    return o;
}

// One server per backend, kept for the whole run: storage, API and the
// loopback listener, plus one account per device that asks for one.
class Rig {
  public:
    static Rig* get(int backend, benchmark::State& state) {
        static std::mutex mutex;
        static std::map<int, std::unique_ptr<Rig>> rigs;
        std::lock_guard lock(mutex);
        auto it = rigs.find(backend);
        if (it == rigs.end()) {
            std::string url = backend == kSqlite ? sqliteUrl() : postgresUrl();
            if (url.empty()) {
                state.SkipWithError(
                    "PostgreSQL: set TALVO_BENCH_PG=postgresql://... (./dev bench does)");
                return nullptr;
            }
            it = rigs.emplace(backend, std::make_unique<Rig>(url)).first;
        }
        return it->second.get();
    }

    explicit Rig(const std::string& url)
        : m_storage(openStorage(url, 16)),
          m_logger(m_log, LogLevel::Error),
          m_api(*m_storage, unlimitedOptions(), Clock::system(), m_logger, {}, &m_gauges),
          m_http(m_api, HttpOptions{"127.0.0.1", 0, 16, 2, "", ""}, m_gauges) {
        if (!m_http.bind()) {
            throw std::runtime_error("cannot bind a loopback port");
        }
        m_thread = std::thread([this] { m_http.run(); });
        while (!m_http.running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~Rig() {
        m_http.stop();
        m_thread.join();
    }

    std::string newAccount() {
        static std::atomic<int> n{0};
        std::string token = generateToken();
        m_storage->addAccount("bench" + std::to_string(getpid()) + "-" + std::to_string(n++),
                              *tokenDigest(token), 0);
        return token;
    }
    int port() const { return m_http.port(); }
    ApiService& api() { return m_api; }

  private:
    static std::string sqliteUrl() {
        // A folder of the run's own, removed when the program ends.
        struct Folder {
            std::string path;
            Folder() {
                std::string pattern =
                    (std::filesystem::temp_directory_path() / "talvo-bench-XXXXXX").string();
                path = mkdtemp(pattern.data());
            }
            ~Folder() {
                std::error_code ignored;
                std::filesystem::remove_all(path, ignored);
            }
        };
        static Folder folder;
        return "sqlite:" + folder.path + "/server.sqlite";
    }
    static std::string postgresUrl() {
        const char* url = std::getenv("TALVO_BENCH_PG");
        return url ? url : "";
    }

    std::unique_ptr<Storage> m_storage;
    std::ostringstream m_log;
    Logger m_logger;
    PoolGauges m_gauges;
    ApiService m_api;
    HttpServer m_http;
    std::thread m_thread;
};

CardRecord benchCard(int i, int64_t updatedAt) {
    CardRecord c;
    c.uid = "char:" + std::to_string(i);
    c.front = "字";
    c.am = "tự";
    c.gloss = "chữ viết";
    c.source = "lookup";
    c.stability = 3.25;
    c.difficulty = 5.5;
    c.reps = 2;
    c.state = "review";
    c.due = 20610;
    c.lastDay = 20600;
    c.updatedAt = updatedAt;
    return c;
}

// A review of card `card` (the server replays a card's state from all its
// logs, so they are spread over the cards as real reviews are).
LogRecord benchLog(const std::string& id, int card = 1) {
    return LogRecord{id, "char:" + std::to_string(card), 1'779'840'000, 20600, 3, 2, 5};
}

// Devices making small exchanges (1 card + 2 logs up, whatever others sent
// down) as fast as they can; five devices share an account.
void exchangesPerSecond(benchmark::State& state, int backend) {
    Rig* rig = Rig::get(backend, state);
    if (!rig) {
        return;
    }
    static std::mutex accountsMutex;
    static std::map<std::pair<int, int>, std::string> accounts;
    std::string token;
    {
        std::lock_guard lock(accountsMutex);
        auto& t = accounts[{backend, state.thread_index() / 5}];
        if (t.empty()) {
            t = rig->newAccount();
        }
        token = t;
    }
    std::string device = "bench-" + std::to_string(getpid()) + "-" +
                         std::to_string(state.thread_index()) + "-" +
                         std::to_string(reinterpret_cast<uintptr_t>(&state));
    httplib::Client client("127.0.0.1", rig->port());
    client.set_read_timeout(60);
    httplib::Headers headers{{"Authorization", "Bearer " + token}, {"X-Device-Id", device}};
    int64_t since = 0;
    int64_t n = 0;
    int64_t errors = 0;
    for (auto _ : state) {
        wire::SyncRequest request{device,
                                  since,
                                  {benchCard(static_cast<int>(n % 50), n)},
                                  {benchLog(device + ":" + std::to_string(2 * n)),
                                   benchLog(device + ":" + std::to_string(2 * n + 1))}};
        ++n;
        auto r = client.Post("/api/study/sync", headers, wire::encodeSyncRequest(request),
                             "application/json");
        if (!r || r->status != 200) {
            ++errors;
            continue;
        }
        auto answer = wire::decodeSyncResponse(r->body);
        if (answer) {
            since = answer->now;
        }
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["errors"] = static_cast<double>(errors);
}

// The server's own time for one exchange of 500 cards + 500 logs each way:
// two devices take turns, each pushing a full batch and receiving the other's
// previous one. The request goes straight to the API (routing, token check,
// decoding, storage, encoding), without the network.
void fullBatchServerTime(benchmark::State& state, int backend) {
    Rig* rig = Rig::get(backend, state);
    if (!rig) {
        return;
    }
    std::string token = rig->newAccount();
    int64_t since[2] = {0, 0};
    int64_t round = 0;
    size_t answered = 0;
    for (auto _ : state) {
        state.PauseTiming();
        int d = static_cast<int>(round % 2);
        std::string device = "full-" + std::to_string(d) + "-" + token.substr(0, 8);
        wire::SyncRequest request{device, since[d], {}, {}};
        for (int i = 0; i < 500; ++i) {
            request.cards.push_back(benchCard(i, 1000 + round));
            request.logs.push_back(benchLog(device + ":" + std::to_string(round * 500 + i), i));
        }
        httplib::Request req;
        req.method = "POST";
        req.path = "/api/study/sync";
        req.set_header("Authorization", "Bearer " + token);
        req.body = wire::encodeSyncRequest(request);
        httplib::Response res;
        ++round;
        state.ResumeTiming();

        rig->api().handle(req, res);

        state.PauseTiming();
        auto answer = wire::decodeSyncResponse(res.body);
        if (res.status != 200 || !answer) {
            state.SkipWithError(("exchange failed: " + res.body).c_str());
            break;
        }
        since[d] = answer->now;
        answered += answer->cards.size() + answer->logs.size();
        state.ResumeTiming();
    }
    state.counters["rows_down"] =
        benchmark::Counter(static_cast<double>(answered), benchmark::Counter::kAvgIterations);
}

// The same exchange over loopback HTTP, as a device sees it (encoding and
// decoding on the device's side included).
void fullBatchRoundTrip(benchmark::State& state, int backend) {
    Rig* rig = Rig::get(backend, state);
    if (!rig) {
        return;
    }
    std::string token = rig->newAccount();
    httplib::Client client("127.0.0.1", rig->port());
    client.set_read_timeout(60);
    int64_t since[2] = {0, 0};
    int64_t round = 0;
    for (auto _ : state) {
        int d = static_cast<int>(round % 2);
        std::string device = "trip-" + std::to_string(d) + "-" + token.substr(0, 8);
        wire::SyncRequest request{device, since[d], {}, {}};
        for (int i = 0; i < 500; ++i) {
            request.cards.push_back(benchCard(i, 1000 + round));
            request.logs.push_back(benchLog(device + ":" + std::to_string(round * 500 + i), i));
        }
        ++round;
        auto r = client.Post("/api/study/sync", {{"Authorization", "Bearer " + token}},
                             wire::encodeSyncRequest(request), "application/json");
        auto answer = r && r->status == 200 ? wire::decodeSyncResponse(r->body)
                                            : wire::Decoded<wire::SyncResponse>::failure("");
        if (!answer) {
            state.SkipWithError("exchange failed");
            break;
        }
        since[d] = answer->now;
    }
}

BENCHMARK_CAPTURE(exchangesPerSecond, sqlite, kSqlite)
    ->Threads(50)
    ->Iterations(100)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(exchangesPerSecond, postgresql, kPostgres)
    ->Threads(50)
    ->Iterations(100)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(fullBatchServerTime, sqlite, kSqlite)
    ->Iterations(40)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fullBatchServerTime, postgresql, kPostgres)
    ->Iterations(40)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fullBatchRoundTrip, sqlite, kSqlite)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fullBatchRoundTrip, postgresql, kPostgres)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace talvo::server

BENCHMARK_MAIN();
