// Study sync as a device sees it, against talvo-server's API on loopback
// HTTP with SQLite storage: one exchange of 500 cards + 500 logs each way
// (the desktop client's whole exchange: gathering, encoding, the server,
// decoding, applying and replaying), the first sync of a new device that
// pulls 10,000 cards and 100,000 logs, and the replay of one card's 200
// reviews.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <thread>

#include "core/db/database.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "core/sync/review_replay.h"
#include "net/async/executor.h"
#include "net/http/curl_transport.h"
#include "net/sync/study_sync_service.h"
#include "server/api_service.h"
#include "server/http_server.h"
#include "server/storage.h"
#include "server/token.h"

namespace talvo {
namespace {

// A folder removed with the object.
struct Folder {
    std::string path;
    Folder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "talvo-sync-bench-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

// The server on a loopback port, SQLite storage, no rate limits.
class Server {
  public:
    explicit Server(const std::string& folder)
        : m_storage(server::openStorage("sqlite:" + folder + "/server.sqlite", 8)),
          m_logger(m_log, server::LogLevel::Error),
          m_api(*m_storage, options(), Clock::system(), m_logger, {}, &m_gauges),
          m_http(m_api, server::HttpOptions{"127.0.0.1", 0, 8, 2, "", ""}, m_gauges) {
        if (!m_http.bind()) {
            throw std::runtime_error("cannot bind a loopback port");
        }
        m_thread = std::thread([this] { m_http.run(); });
        while (!m_http.running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        m_token = server::generateToken();
        m_storage->addAccount("bench", *server::tokenDigest(m_token), 0);
    }
    ~Server() {
        m_http.stop();
        m_thread.join();
    }

    server::Storage& storage() { return *m_storage; }
    int64_t account() { return m_storage->accounts().at(0).id; }

    OnlineConfig config(const std::string& deviceId) const {
        OnlineConfig c;
        c.baseUrl = [port = m_http.port()] { return "http://127.0.0.1:" + std::to_string(port); };
        c.deviceId = [deviceId] { return deviceId; };
        c.accessToken = [token = m_token] { return std::optional<std::string>(token); };
        return c;
    }

  private:
    static server::ApiOptions options() {
        server::ApiOptions o;
        o.syncLimit = o.translateLimit = o.statsLimit = o.readLimit = server::RateLimit{};
        return o;
    }

    std::unique_ptr<server::Storage> m_storage;
    std::ostringstream m_log;
    server::Logger m_logger;
    server::PoolGauges m_gauges;
    server::ApiService m_api;
    server::HttpServer m_http;
    std::thread m_thread;
    std::string m_token;
};

// One whole client exchange, finished when it returns.
SyncReport syncOnce(StudyDatabase& db, const OnlineConfig& config, CurlTransport& curl) {
    InlineExecutor now;
    StudySyncService service(curl, now, now, config);
    SyncReport report;
    service.sync(db, [&](const SyncReport& r) { report = r; });
    return report;
}

// A device's database on a clock the benchmark moves.
struct Device {
    Device(const std::string& path)
        : seconds(std::make_shared<int64_t>(1'779'840'000)),
          db(path, Clock{[s = seconds] { return *s; }, "UTC", std::nullopt}),
          store(db) {}

    // 500 grades, one of each of the cards first..first+499 (outside the
    // timed part; without waiting for the disk at each one).
    void grade500(int64_t round, int first) {
        db.connection().exec("PRAGMA synchronous=OFF");
        for (int i = first; i < first + 500; ++i) {
            *seconds += 1;
            std::optional<StudyCard> card = store.cardByUid("char:" + std::to_string(i));
            store.grade(*card, kAllRatings[static_cast<size_t>(i + round) % 4], 20'600 + round);
        }
        db.connection().exec("PRAGMA synchronous=FULL");
    }

    std::shared_ptr<int64_t> seconds;
    StudyDatabase db;
    StudyStore store;
};

void seedCards(StudyDatabase& db, int count) {
    db::Database& d = db.connection();
    db::Transaction tx(d);
    db::Statement st(d,
                     "INSERT INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
                     "updated_at) VALUES (?, '字', 'tự', 'chữ', 'lookup', ?, 20600, 0)");
    for (int i = 0; i < count; ++i) {
        st.reset();
        st.bind(1, "char:" + std::to_string(i)).bind(2, i).run();
    }
    tx.commit();
}

// Two devices take turns: each grades 500 cards, then pushes them with their
// 500 logs and receives the other's previous 500 + 500 in the same exchange.
// Argument 0: both review the same 500 cards while apart, so every card is
// rescheduled from both devices' reviews (the worst case); 1: each reviews
// its own 500 cards (the usual case).
void BM_Exchange500Cards500Logs(benchmark::State& state) {
    const bool disjoint = state.range(0) == 1;
    Folder folder;
    Server server(folder.path);
    CurlTransport curl{CurlTransport::Options{"*"}};
    Device a(folder.path + "/a.sqlite");
    Device b(folder.path + "/b.sqlite");
    seedCards(a.db, 1000);
    seedCards(b.db, 1000);
    OnlineConfig configA = server.config("DEV-A");
    OnlineConfig configB = server.config("DEV-B");
    int64_t round = 0;
    int64_t rowsDown = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const bool onA = round % 2 == 0;
        Device& device = onA ? a : b;
        device.grade500(round++, disjoint && !onA ? 500 : 0);
        state.ResumeTiming();

        SyncReport r = syncOnce(device.db, onA ? configA : configB, curl);

        state.PauseTiming();
        if (!r.ok || r.sentCards != 500 || r.sentLogs != 500) {
            state.SkipWithError(("exchange failed: " + r.error).c_str());
            break;
        }
        rowsDown += r.receivedCards + r.receivedLogs;
        state.ResumeTiming();
    }
    state.counters["rows_down"] =
        benchmark::Counter(static_cast<double>(rowsDown), benchmark::Counter::kAvgIterations);
}

// A new device's first sync: the account holds 10,000 cards and 100,000 logs
// (ten reviews of each card, pushed by another device).
void BM_FirstSync10kCards100kLogs(benchmark::State& state) {
    Folder folder;
    Server server(folder.path);
    {
        const int64_t account = server.account();
        for (int batch = 0; batch < 20; ++batch) {
            server::SyncPush push;
            push.deviceId = "OLD";
            push.installId = "old-install";
            for (int i = batch * 500; i < (batch + 1) * 500; ++i) {
                wire::SyncCard c;
                c.uid = "char:" + std::to_string(i);
                c.front = "字";
                c.am = "tự";
                c.gloss = "chữ";
                c.source = "lookup";
                c.updatedAt = 1'779'840'000;
                push.cards.push_back(c);
            }
            server.storage().exchange(account, push, {});
        }
        for (int batch = 0; batch < 200; ++batch) {
            server::SyncPush push;
            push.deviceId = "OLD";
            push.installId = "old-install";
            for (int k = 0; k < 500; ++k) {
                int n = batch * 500 + k;
                int card = n % 10000;
                int review = n / 10000;
                push.logs.push_back({"old-install:" + std::to_string(n + 1),
                                     "char:" + std::to_string(card), 1'779'840'000 + n,
                                     20'600 + review * 3, 3, review == 0 ? 0 : 3, 4, 0});
            }
            server.storage().exchange(account, push, {});
        }
    }
    CurlTransport curl{CurlTransport::Options{"*"}};
    OnlineConfig config = server.config("NEW");
    int run = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto db = std::make_unique<StudyDatabase>(folder.path + "/new" + std::to_string(run++) +
                                                  ".sqlite");
        state.ResumeTiming();

        SyncReport r = syncOnce(*db, config, curl);

        state.PauseTiming();
        if (!r.ok || r.receivedCards != 10'000 || r.receivedLogs != 100'000 || r.more) {
            state.SkipWithError(("first sync incomplete: " + r.error).c_str());
            break;
        }
        state.counters["pages"] = static_cast<double>(r.pages);
        db.reset();
        state.ResumeTiming();
    }
}

// The replay of one card reviewed 200 times on two devices.
void BM_Replay200Logs(benchmark::State& state) {
    std::vector<wire::SyncLog> logs;
    for (int i = 0; i < 200; ++i) {
        logs.push_back({(i % 2 ? "A:" : "B:") + std::to_string(i), "char:風",
                        1'779'840'000 + i * 3600, 20'600 + i / 3, 1 + (i * 7) % 4, 0, 0, 0});
    }
    const FSRS fsrs;
    for (auto _ : state) {
        benchmark::DoNotOptimize(replayReviews(logs, fsrs));
    }
}

BENCHMARK(BM_Exchange500Cards500Logs)
    ->ArgName("own_cards")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FirstSync10kCards100kLogs)->Iterations(2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Replay200Logs)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace talvo

BENCHMARK_MAIN();
