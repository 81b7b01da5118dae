// talvo-server's command line, and the real binary's shutdown on SIGTERM.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/wire/sync_records.h"
#include "server/server_cli.h"
#include "server/tests/test_support.h"
#include "server/token.h"

namespace talvo::server::test {
namespace {

using testing::HasSubstr;

struct CliRun {
    int code;
    std::string out;
    std::string err;
};

class CliTest : public testing::Test {
  protected:
    CliRun run(std::vector<std::string> args) {
        std::ostringstream out;
        std::ostringstream err;
        CliEnvironment env{out, err, [](const std::string&) { return std::nullopt; },
                           Clock::fixed(1'779'840'000)};
        args.insert(args.begin(), {"--db", url});
        int code = runCli(args, env);
        return {code, out.str(), err.str()};
    }

    TempDir dir;
    std::string url = "sqlite:" + dir.file("server.sqlite");
};

TEST_F(CliTest, UserTokensAreShownOnceAndOnlyTheirHashIsKept) {
    CliRun added = run({"user", "add", "ana"});
    ASSERT_EQ(added.code, 0) << added.err;
    std::string token = added.out.substr(0, added.out.find('\n'));
    ASSERT_TRUE(tokenDigest(token)) << token;
    EXPECT_EQ(run({"user", "add", "ana"}).code, 1);
    EXPECT_EQ(run({"user", "add", "bad name"}).code, 2);

    std::unique_ptr<Storage> storage = openStorage(url, 1);
    EXPECT_TRUE(authenticate(*storage, token));
    storage.reset();
    // Neither the token nor its secret half appears anywhere in the files.
    for (const char* suffix : {"", "-wal"}) {
        std::ifstream f(dir.file("server.sqlite") + suffix, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(f)), {});
        EXPECT_EQ(bytes.find(token.substr(16)), std::string::npos) << suffix;
    }

    CliRun list = run({"user", "list"});
    EXPECT_THAT(list.out, HasSubstr("ana"));
    EXPECT_THAT(list.out, HasSubstr("active"));
    EXPECT_EQ(run({"user", "revoke", "ana"}).code, 0);
    EXPECT_THAT(run({"user", "list"}).out, HasSubstr("revoked"));
    EXPECT_FALSE(authenticate(*openStorage(url, 1), token));
    CliRun renewed = run({"user", "token", "ana"});
    ASSERT_EQ(renewed.code, 0);
    EXPECT_TRUE(authenticate(*openStorage(url, 1), renewed.out.substr(0, 80)));
    EXPECT_EQ(run({"user", "revoke", "nobody"}).code, 1);
}

TEST_F(CliTest, LessonImportValidatesTheFeed) {
    CliRun ok = run({"lessons", "import",
                     std::string(TALVO_SERVER_SOURCE_DIR) + "/lessons/classical_medicine.json"});
    ASSERT_EQ(ok.code, 0) << ok.err;
    EXPECT_THAT(run({"lessons", "list"}).out, HasSubstr("六淫"));
    const size_t starter = openStorage(url, 1)->lessons().size();

    auto importText = [&](const std::string& text) {
        std::ofstream(dir.file("feed.json")) << text;
        return run({"lessons", "import", dir.file("feed.json")});
    };
    CliRun missing = importText(R"({"lessons":[{"id":1,"items":[]}]})");
    EXPECT_EQ(missing.code, 1);
    EXPECT_THAT(missing.err, HasSubstr("lessons[0].title"));
    CliRun emptyFront =
        importText(R"({"lessons":[{"id":1,"title":"t","items":[{"uid":"u","front":""}]}]})");
    EXPECT_THAT(emptyFront.err, HasSubstr("lessons[0].items[0].front: empty"));
    CliRun twice = importText(
        R"({"lessons":[{"id":1,"title":"t","items":[{"uid":"u","front":"f"}]},
                       {"id":1,"title":"t","items":[{"uid":"u","front":"f"}]}]})");
    EXPECT_THAT(twice.err, HasSubstr("used twice"));
    EXPECT_EQ(importText("\xff not json").code, 1);
    EXPECT_EQ(run({"lessons", "import", dir.file("absent.json")}).code, 1);
    EXPECT_EQ(openStorage(url, 1)->lessons().size(), starter);  // failed imports changed nothing
}

TEST_F(CliTest, PendingPassagesCanBeTranslatedByHand) {
    {
        std::unique_ptr<Storage> s = openStorage(url, 1);
        s->translateOrQueue("脈浮", 1, 10);
        s->countLookup(1'779'840'000 / 86400, "脈浮");
        s->countEvent(1'779'840'000 / 86400, "feature_used", "translate");
    }
    CliRun pending = run({"tm", "pending"});
    EXPECT_THAT(pending.out, HasSubstr("脈浮"));
    EXPECT_THAT(pending.err, HasSubstr("1 passage waiting"));
    int64_t id = std::stoll(pending.out);
    EXPECT_EQ(run({"tm", "put", std::to_string(id), " Mạch phù "}).code, 0);
    EXPECT_EQ(run({"tm", "put", "999", "x"}).code, 1);
    EXPECT_EQ(run({"tm", "put", std::to_string(id), "  "}).code, 2);
    TmAnswer a = openStorage(url, 1)->translateOrQueue("脈浮", 2, 10);
    EXPECT_EQ(a.vi, "Mạch phù");
    EXPECT_EQ(a.model, "human");

    CliRun stats = run({"stats", "--days", "3"});
    ASSERT_EQ(stats.code, 0) << stats.err;
    EXPECT_THAT(stats.out, HasSubstr("脈浮"));
    EXPECT_THAT(stats.out, HasSubstr(civilDate(1'779'840'000 / 86400) + "  feature_used"));
    EXPECT_EQ(civilDate(0), "1970-01-01");
    EXPECT_EQ(civilDate(20600), "2026-05-27");
    EXPECT_EQ(run({"stats", "--days", "zero"}).code, 2);
    EXPECT_EQ(run({"nonsense"}).code, 2);
}

// The real binary: SIGTERM while devices are syncing. Every exchange that
// was answered is stored whole, none is half-stored, and the process exits 0.
TEST_F(CliTest, ServingBeyondThisMachineNeedsTls) {
    for (const char* listen : {"0.0.0.0:0", "192.0.2.7:8787", "[::]:0"}) {
        CliRun r = run({"serve", "--listen", listen});
        EXPECT_EQ(r.code, 1) << listen;
        EXPECT_THAT(r.err, HasSubstr("without TLS")) << listen;
        EXPECT_THAT(r.err, HasSubstr("--behind-tls-proxy")) << listen;
    }
}

TEST(ServeProcess, SigtermFinishesInFlightRequestsAndExitsCleanly) {
    TempDir dir;
    std::string url = "sqlite:" + dir.file("server.sqlite");
    std::string token = addAccount(*openStorage(url, 1), "ana");

    int errPipe[2];
    ASSERT_EQ(pipe(errPipe), 0);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(errPipe[1], 2);
        close(errPipe[0]);
        execl(TALVO_SERVER_BIN, TALVO_SERVER_BIN, "--db", url.c_str(), "serve", "--listen",
              "127.0.0.1:0", "--rate-scale", "0", "--log-level", "info", nullptr);
        _exit(127);
    }
    close(errPipe[1]);
    FILE* err = fdopen(errPipe[0], "r");
    char line[4096];
    int port = 0;
    while (port == 0 && fgets(line, sizeof line, err)) {
        auto j = nlohmann::json::parse(line, nullptr, false);
        if (j.is_object() && j.value("msg", "") == "listening") {
            port = j.value("port", 0);
        }
    }
    ASSERT_GT(port, 0);

    constexpr int kLogsPerExchange = 5;
    std::atomic<int> answered{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> devices;
    for (int d = 0; d < 4; ++d) {
        devices.emplace_back([&, d] {
            httplib::Client c("127.0.0.1", port);
            for (int n = 0; !stop; ++n) {
                std::vector<LogRecord> logs;
                for (int k = 0; k < kLogsPerExchange; ++k) {
                    logs.push_back(log("D" + std::to_string(d) + ":" + std::to_string(n * 10 + k)));
                }
                auto r = c.Post("/api/study/sync", {{"Authorization", "Bearer " + token}},
                                wire::encodeSyncRequest({"D" + std::to_string(d), 0, {}, logs}),
                                "application/json");
                if (!r) {
                    break;  // the server has gone
                }
                EXPECT_EQ(r->status, 200);
                ++answered;
            }
        });
    }
    while (answered < 40) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    stop = true;
    for (std::thread& t : devices) {
        t.join();
    }
    std::string rest;
    while (fgets(line, sizeof line, err)) {
        rest += line;
    }
    fclose(err);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_THAT(rest, HasSubstr("\"msg\":\"stopped\""));

    int64_t stored = openStorage(url, 1)->accounts()[0].logs;
    EXPECT_EQ(stored % kLogsPerExchange, 0) << "an exchange was stored in part";
    EXPECT_GE(stored, answered.load() * kLogsPerExchange);
}

}  // namespace
}  // namespace talvo::server::test
