// A bounded load on loopback: 50 devices in 10 accounts, 100 exchanges each,
// all at once. Zero errors; every log stored once and delivered once to each
// other device of its account; nothing crosses accounts. The same run goes
// through two server processes' worth of storage handles on PostgreSQL.

#include <gmock/gmock.h>

#include <chrono>
#include <map>
#include <set>
#include <sstream>

#include "core/wire/sync_records.h"
#include "server/tests/test_support.h"

namespace talvo::server::test {
namespace {

// The servers' log lines of failed requests, which say why.
std::string failures(const std::string& logText) {
    std::istringstream in(logText);
    std::string out;
    for (std::string line; std::getline(in, line);) {
        if (line.find("\"failure\"") != std::string::npos && out.size() < 4000) {
            out += line + "\n";
        }
    }
    return out;
}

constexpr int kAccounts = 10;
constexpr int kDevicesPerAccount = 5;
constexpr int kExchanges = 100;

class LoadTest : public BackendTest {};

TEST_P(LoadTest, FiftyDevicesHundredExchangesEachLoseAndDuplicateNothing) {
    // Two servers on one database: what several processes behind a load
    // balancer are. Devices alternate between them.
    std::unique_ptr<Storage> second = db->openAnother(8);
    ApiOptions options = unlimited();
    options.pull.maxRows = 50;  // small pages, so that cursors are cut mid-stream often
    TestServer one(**db, options, Clock::system(), {}, 16);
    TestServer two(*second, options, Clock::system(), {}, 16);

    std::vector<std::string> tokens;
    for (int a = 0; a < kAccounts; ++a) {
        tokens.push_back(addAccount(**db, "acct" + std::to_string(a)));
    }
    struct Device {
        std::string id;
        int account;
        int64_t since = 0;
        std::multiset<std::string> received;
        int errors = 0;
        std::string firstError;
    };
    std::vector<Device> devices;
    for (int a = 0; a < kAccounts; ++a) {
        for (int d = 0; d < kDevicesPerAccount; ++d) {
            Device dev;
            dev.id = "A" + std::to_string(a) + "D" + std::to_string(d);
            dev.account = a;
            devices.push_back(std::move(dev));
        }
    }
    auto exchange = [&](Device& dev, httplib::Client& c, std::vector<CardRecord> cards,
                        std::vector<LogRecord> logs) {
        auto r =
            c.Post("/api/study/sync", {{"Authorization", "Bearer " + tokens[dev.account]}},
                   wire::encodeSyncRequest({dev.id, dev.since, std::move(cards), std::move(logs)}),
                   "application/json");
        if (!r || r->status != 200) {
            if (dev.errors++ == 0) {
                dev.firstError =
                    r ? std::to_string(r->status) + " " + r->body : httplib::to_string(r.error());
            }
            return false;
        }
        auto answer = wire::decodeSyncResponse(r->body);
        if (!answer || answer->now < dev.since) {
            ++dev.errors;
            return false;
        }
        dev.since = answer->now;
        for (const LogRecord& l : answer->logs) {
            dev.received.insert(l.logId);
        }
        return true;
    };

    auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (size_t i = 0; i < devices.size(); ++i) {
        threads.emplace_back([&, i] {
            Device& dev = devices[i];
            httplib::Client c("127.0.0.1", (i % 2 ? one : two).port());
            c.set_read_timeout(60);
            for (int n = 0; n < kExchanges; ++n) {
                CardRecord changed =
                    card("char:" + std::to_string(n % 7), n * 100 + static_cast<int>(i));
                exchange(dev, c, {changed},
                         {log(dev.id + ":" + std::to_string(2 * n)),
                          log(dev.id + ":" + std::to_string(2 * n + 1))});
            }
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // Once all have stopped, each device pulls to the end of its stream.
    for (size_t i = 0; i < devices.size(); ++i) {
        httplib::Client c("127.0.0.1", (i % 2 ? two : one).port());
        for (int page = 0; page < 100; ++page) {
            size_t before = devices[i].received.size();
            int64_t since = devices[i].since;
            if (!exchange(devices[i], c, {}, {}) ||
                (devices[i].received.size() == before && devices[i].since == since)) {
                break;
            }
        }
    }
    RecordProperty("exchanges_per_second",
                   std::to_string(static_cast<int>(devices.size() * kExchanges / seconds)));

    for (const Device& dev : devices) {
        EXPECT_EQ(dev.errors, 0) << dev.id << ": " << dev.firstError << "\n"
                                 << failures(one.logText() + two.logText());
        std::set<std::string> want;
        for (const Device& other : devices) {
            if (other.account == dev.account && other.id != dev.id) {
                for (int k = 0; k < 2 * kExchanges; ++k) {
                    want.insert(other.id + ":" + std::to_string(k));
                }
            }
        }
        std::set<std::string> got(dev.received.begin(), dev.received.end());
        EXPECT_EQ(dev.received.size(), got.size()) << dev.id << " received a log twice";
        EXPECT_TRUE(got == want) << dev.id << " received " << got.size() << " of " << want.size();
    }
    for (const AccountInfo& a : (*db)->accounts()) {
        EXPECT_EQ(a.logs, kDevicesPerAccount * kExchanges * 2) << a.name;
        EXPECT_EQ(a.cards, 7) << a.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Backends, LoadTest, testing::Values(Backend::Sqlite, Backend::Postgres),
                         backendName);

}  // namespace
}  // namespace talvo::server::test
