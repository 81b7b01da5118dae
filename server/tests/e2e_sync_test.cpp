// End to end: the desktop program's own sync client (StudySyncService over
// libcurl, each device with its own study database) against the server on
// loopback. Three devices add and grade cards, go offline, and sync in random
// orders while requests are lost on the way there, answers are lost on the
// way back, the server's answer is replaced by a 500, and requests time out
// for real. At the end every
// device holds the same cards, each at its newest version, and the same
// review logs, each exactly once.

#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>

#include "core/db/database.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "net/async/executor.h"
#include "net/http/curl_transport.h"
#include "net/sync/study_sync_service.h"
#include "server/tests/test_support.h"

namespace talvo::server::test {
namespace {

// Wraps the real transport and breaks exchanges on purpose.
class FaultyTransport : public HttpTransport {
  public:
    enum class Fault {
        None,
        LostRequest,  // never reaches the server: a timeout for the client
        LostAnswer,   // the server applies it, the client never hears back
        ServerError,  // the server applies it, the client gets a 500
        Timeout,      // a real client time-out: the server may or may not apply it
    };

    explicit FaultyTransport(HttpTransport& real) : m_real(real) {}
    void next(Fault f) { m_fault = f; }

    HttpResult send(const HttpRequest& request) override {
        Fault f = m_fault;
        m_fault = Fault::None;
        if (f == Fault::LostRequest) {
            return HttpResult::failure("timed out");
        }
        if (f == Fault::Timeout) {
            HttpRequest hurried = request;
            hurried.timeout = std::chrono::milliseconds(1);
            return m_real.send(hurried);
        }
        HttpResult result = m_real.send(request);
        if (f == Fault::LostAnswer) {
            return HttpResult::failure("connection reset");
        }
        if (f == Fault::ServerError && result.ok()) {
            result.response->status = 500;
            result.response->body = R"({"error":"internal error"})";
        }
        return result;
    }

  private:
    HttpTransport& m_real;
    Fault m_fault = Fault::None;
};

struct Device {
    Device(const std::string& folder, std::string id, std::string url, const std::string& token,
           Clock clock, HttpTransport& real)
        : id(std::move(id)),
          database(folder + "/" + this->id + ".sqlite", std::move(clock)),
          store(database),
          transport(real) {
        config.baseUrl = [url] { return url; };
        config.deviceId = [this] { return this->id; };
        config.accessToken = [token] { return std::optional<std::string>(token); };
    }

    // One exchange, finished before it returns.
    SyncReport sync(FaultyTransport::Fault fault = FaultyTransport::Fault::None) {
        transport.next(fault);
        InlineExecutor now;
        StudySyncService service(transport, now, now, config);
        SyncReport report;
        service.sync(database, [&](const SyncReport& r) { report = r; });
        return report;
    }

    std::vector<std::string> rows(const std::string& sql) {
        std::vector<std::string> out;
        db::Statement st(database.connection(), sql);
        while (st.step()) {
            out.push_back(st.text(0).value_or("NULL"));
        }
        return out;
    }

    std::string id;
    StudyDatabase database;
    StudyStore store;
    FaultyTransport transport;
    OnlineConfig config;
};

class EndToEndSync : public BackendTest {};

TEST_P(EndToEndSync, ThreeDevicesConvergeThroughLostAnswersAndErrors) {
    TestServer server(**db, unlimited());
    std::string token = addAccount(**db, "learner");
    std::string url = "http://127.0.0.1:" + std::to_string(server.port());
    TempDir folder;
    CurlTransport curl{CurlTransport::Options{"*"}};

    // One world clock that moves on at every reading: no two changes share a
    // second, so "newest" is never a tie.
    auto tick = std::make_shared<std::atomic<int64_t>>(1'779'840'000);
    Clock clock{[tick] { return (*tick)++; }, "UTC", std::nullopt};
    std::vector<std::unique_ptr<Device>> devices;
    for (const char* id : {"MAC-A", "MAC-B", "MAC-C"}) {
        devices.push_back(std::make_unique<Device>(folder.path(), id, url, token, clock, curl));
    }

    const std::vector<std::string> hans = {"風", "寒", "暑", "濕", "燥", "火", "心", "肝",
                                           "脾", "肺", "腎", "浮", "沉", "遲", "數", "滑"};
    // A and B both add some of the same characters before they ever sync.
    for (size_t i = 0; i < hans.size(); ++i) {
        if (i < 10) {
            devices[0]->store.addLookupCard("char:" + hans[i], hans[i], "a" + std::to_string(i),
                                            "");
        }
        if (i >= 6) {
            devices[1]->store.addLookupCard("char:" + hans[i], hans[i], "b" + std::to_string(i),
                                            "");
        }
    }

    std::mt19937 random(GetParam() == Backend::Sqlite ? 7 : 11);
    std::map<std::string, int64_t> newest;  // uid -> updated_at of its last grade anywhere
    int grades = 0;
    int faults = 0;
    using Fault = FaultyTransport::Fault;
    const Fault kFaults[] = {Fault::LostRequest, Fault::LostAnswer, Fault::ServerError,
                             Fault::Timeout};
    for (int round = 0; round < 30; ++round) {
        std::vector<size_t> order = {0, 1, 2};
        std::shuffle(order.begin(), order.end(), random);
        for (size_t d : order) {
            Device& dev = *devices[d];
            // Grade a few of the cards this device has (offline as it goes).
            int n = static_cast<int>(random() % 4);
            for (int g = 0; g < n; ++g) {
                std::vector<std::string> uids = dev.rows("SELECT uid FROM card ORDER BY uid");
                if (uids.empty()) {
                    break;
                }
                std::string uid = uids[random() % uids.size()];
                std::optional<StudyCard> card = dev.store.cardByUid(uid);
                ASSERT_TRUE(card);
                Rating rating = kAllRatings[random() % 4];
                ASSERT_TRUE(dev.store.grade(*card, rating, 20600 + round));
                ++grades;
                newest[uid] = std::stoll(
                    dev.rows("SELECT updated_at FROM card WHERE uid='" + uid + "'").at(0));
            }
            // Sometimes stay offline; sometimes the exchange breaks.
            unsigned roll = random() % 10;
            if (roll < 2) {
                continue;
            }
            Fault fault = roll < 5 ? kFaults[random() % 4] : Fault::None;
            faults += fault != Fault::None;
            SyncReport r = dev.sync(fault);
            // A 1 ms time-out may still beat a quick server; any other fault fails.
            if (fault != Fault::Timeout) {
                EXPECT_EQ(r.ok, fault == Fault::None) << dev.id << ": " << r.error;
            }
        }
    }
    ASSERT_GT(faults, 5);
    ASSERT_GT(grades, 20);

    // Back online for good: every device syncs until nothing moves.
    for (int pass = 0; pass < 4; ++pass) {
        for (auto& dev : devices) {
            SyncReport r = dev->sync();
            ASSERT_TRUE(r.ok) << dev->id << ": " << r.error;
        }
    }

    const std::string cards =
        "SELECT uid || '|' || front || '|' || COALESCE(am,'') || '|' || COALESCE(gloss,'') || '|' "
        "|| printf('%.17g|%.17g', "
        "stability, difficulty) || '|' || reps || '|' || lapses || '|' || COALESCE(state,'') || "
        "'|' "
        "|| due || '|' || last_day || '|' || suspended || '|' || updated_at FROM card ORDER BY uid";
    const std::string logs = "SELECT COALESCE(log_id, 'NULL') FROM review_log ORDER BY log_id";
    std::vector<std::string> reference = devices[0]->rows(cards);
    EXPECT_EQ(reference.size(), hans.size());
    std::vector<std::string> referenceLogs = devices[0]->rows(logs);
    EXPECT_EQ(referenceLogs.size(), static_cast<size_t>(grades)) << "a review was lost or doubled";
    EXPECT_EQ(std::set<std::string>(referenceLogs.begin(), referenceLogs.end()).size(),
              referenceLogs.size());
    for (auto& dev : devices) {
        EXPECT_EQ(dev->rows(cards), reference) << dev->id;
        EXPECT_EQ(dev->rows(logs), referenceLogs) << dev->id;
        EXPECT_EQ(dev->rows("SELECT COUNT(*) FROM review_log WHERE synced=0").at(0), "0");
        for (const auto& [uid, stamp] : newest) {
            EXPECT_EQ(dev->rows("SELECT updated_at FROM card WHERE uid='" + uid + "'").at(0),
                      std::to_string(stamp))
                << dev->id << " " << uid << " is not at its newest version";
        }
    }
    // And the server holds exactly those logs, once each.
    EXPECT_EQ((*db)->accounts()[0].logs, grades);
}

INSTANTIATE_TEST_SUITE_P(Backends, EndToEndSync,
                         testing::Values(Backend::Sqlite, Backend::Postgres), backendName);

}  // namespace
}  // namespace talvo::server::test
