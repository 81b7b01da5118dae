#include <gtest/gtest.h>

#include <sys/stat.h>

#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/wire/sync_records.h"
#include "net/settings/app_settings.h"
#include "net/tests/scripted_server.h"
#include "tools/cli/tests/cli_fixture.h"

using namespace talvo;
using namespace talvo::testing;
using nlohmann::json;

namespace {

class CliOnlineTest : public CliFixture {
  protected:
    void SetUp() override {
        writeDictionary(
            {{"數", {"số"}, "Số đếm.", nullptr, 300}, {"心", {"tâm"}, "Tim.", nullptr, 200}});
        vars["TALVO_CONFIG"] = dir.file("config/Talvo.conf");
        vars["TALVO_TOKEN_STORE"] = "file";
    }

    int login() {
        return run({"login", "--server", server.url() + "/", "--token", "-"}, "s3cret-token\n");
    }

    std::string tokenFile() const { return dir.file("config/sync-token"); }

    ScriptedServer server;
};

}  // namespace

TEST_F(CliOnlineTest, LoginKeepsTheServerAndAPrivateTokenThatIsNeverPrinted) {
    ASSERT_EQ(login(), 0) << err.str();
    EXPECT_EQ(AppSettings(vars["TALVO_CONFIG"]).serviceUrl(), server.url());
    struct stat st {};
    ASSERT_EQ(::stat(tokenFile().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_NE(out.str().find(tokenFile()), std::string::npos) << out.str();
    EXPECT_EQ(out.str().find("s3cret"), std::string::npos);
    EXPECT_EQ(err.str().find("s3cret"), std::string::npos);

    // On the command line it works too, with a warning that does not repeat it.
    ASSERT_EQ(run({"--json", "login", "--server", server.url(), "--token", "other-token"}), 0);
    EXPECT_EQ(json::parse(out.str())["token"], "file");
    EXPECT_NE(err.str().find("--token -"), std::string::npos);
    EXPECT_EQ(err.str().find("other-token"), std::string::npos);

    EXPECT_EQ(run({"login", "--server", server.url(), "--token", "-"}, "two words\n"),
              cli::kExitUsage);
    EXPECT_EQ(err.str().find("two words"), std::string::npos);
    EXPECT_EQ(run({"login", "--server", "ftp://x"}), cli::kExitUsage);
    EXPECT_EQ(run({"login", "--token", "abc"}), cli::kExitUsage);
    // Plain http to another machine would carry the token in clear text.
    EXPECT_EQ(run({"--lang", "en", "login", "--server", "http://talvo.example", "--token", "-"},
                  "third-token\n"),
              cli::kExitUsage);
    EXPECT_NE(err.str().find("Use https://"), std::string::npos) << err.str();
    EXPECT_EQ(err.str().find("third-token"), std::string::npos);
    EXPECT_EQ(AppSettings(vars["TALVO_CONFIG"]).serviceUrl(), server.url());

    ASSERT_EQ(run({"logout"}), 0);
    EXPECT_FALSE(std::filesystem::exists(tokenFile()));
    EXPECT_EQ(server.requestCount(), 0u) << "signing in and out talks to nobody";
}

TEST_F(CliOnlineTest, SyncRunsOneExchangeAndReportsIt) {
    server.answer("POST", "/api/study/sync", 500, "{}");
    EXPECT_EQ(run({"sync"}), cli::kExitFailure) << "no service configured";
    EXPECT_NE(err.str().find("login --server"), std::string::npos);
    EXPECT_EQ(server.requestCount(), 0u);

    ASSERT_EQ(login(), 0);
    ASSERT_EQ(run({"--today", "20000", "--now", "1700000000", "study", "grade", "char:數", "good"}),
              0)
        << err.str();
    EXPECT_EQ(run({"sync"}), cli::kExitFailure);
    EXPECT_NE(err.str().find("HTTP 500"), std::string::npos) << err.str();
    EXPECT_NE(err.str().find("Nothing was changed"), std::string::npos) << err.str();

    wire::SyncCard remote{"char:肝", "肝", "can",    "Gan.", "lesson", 2, 5,
                          1,         0,    "review", 20010,  20001,    0, 1'700'000'500};
    wire::SyncResponse answer{1'800'000'000, {remote}, {}};
    // The server refuses the log: it stays here, and every sync says so.
    std::string logId;
    {
        db::Database d(dir.file("data/study.sqlite"), db::Database::Mode::ReadOnly);
        db::Statement st(d, "SELECT log_id FROM review_log");
        ASSERT_TRUE(st.step());
        logId = st.text(0).value_or("");
    }
    answer.rejected = {{"log", logId, "card_uid: too long"}};
    server.answer("POST", "/api/study/sync", 200, wire::encodeSyncResponse(answer));
    ASSERT_EQ(run({"sync"}), 0) << err.str();
    EXPECT_NE(out.str().find("Sent 1 card and 1 review log in 1 round trip"), std::string::npos)
        << out.str();
    EXPECT_NE(out.str().find("1 change refused by the server stay"), std::string::npos)
        << out.str();
    EXPECT_NE(out.str().find("Received 1 card (1 applied)"), std::string::npos);
    EXPECT_NE(out.str().find("1800000000"), std::string::npos);
    SeenRequest req = server.requests().back();
    EXPECT_EQ(req.header("Authorization"), "Bearer s3cret-token");
    EXPECT_FALSE(req.header("X-Device-Id").empty());
    EXPECT_EQ(json::parse(req.body)["logs"][0]["card_uid"], "char:數");

    ASSERT_EQ(run({"--json", "sync"}), 0);
    json j = json::parse(out.str());
    EXPECT_EQ(j["since"], 1'800'000'000);
    EXPECT_EQ(j["sentLogs"], 0) << "a refused row is not offered again";
    EXPECT_EQ(j["refusedTotal"], 1);
}

TEST_F(CliOnlineTest, LessonsListWithCountsAndAddById) {
    ASSERT_EQ(login(), 0);
    server.answer("GET", "/api/study/lessons", 200, R"({"lessons": [
        {"id": 7, "title": "Tạng phủ", "han_label": "臟腑", "tier": 1,
         "items": [{"uid": "w:心", "front": "心"}, {"uid": "w:肝", "front": "肝"}]},
        {"id": 3, "title": "Số", "items": [{"uid": "char:數", "front": "數"}]}]})");
    ASSERT_EQ(run({"lessons"}), 0) << err.str();
    EXPECT_EQ(out.str(), "3  1/1  Số  (complete)\n7  0/2  Tạng phủ  臟腑\n");

    ASSERT_EQ(run({"lessons", "add", "7"}), 0) << err.str();
    EXPECT_NE(out.str().find("Added 2 cards"), std::string::npos) << out.str();
    ASSERT_EQ(run({"--json", "lessons"}), 0);
    EXPECT_EQ(json::parse(out.str())[1]["inDeck"], 2);
    EXPECT_EQ(run({"lessons", "add", "99"}), cli::kExitFailure);
    EXPECT_EQ(run({"lessons", "add", "x"}), cli::kExitUsage);

    server.answer("GET", "/api/study/lessons", 200, R"({"lessons": [{"id": 1}]})");
    EXPECT_EQ(run({"lessons"}), cli::kExitFailure);
    EXPECT_NE(err.str().find("lessons[0].title"), std::string::npos) << err.str();
}

TEST_F(CliOnlineTest, TranslatePrintsTheOutcome) {
    vars.erase("TALVO_DICT");  // translation needs no dictionary
    EXPECT_EQ(run({"translate", "傷寒論"}), cli::kExitFailure);
    ASSERT_EQ(run({"login", "--server", server.url()}), 0);
    server.answer("POST", "/api/tm/translate", 200, R"({"vi": "Bàn về thương hàn"})");
    ASSERT_EQ(run({"translate", "-"}, "傷寒論\n"), 0) << err.str();
    EXPECT_EQ(out.str(), "Bàn về thương hàn\n");
    EXPECT_EQ(json::parse(server.requests().back().body)["zh"], "傷寒論");

    server.answer("POST", "/api/tm/translate", 200, R"({"source": "queued"})");
    ASSERT_EQ(run({"--lang", "en", "translate", "傷寒論"}), 0);
    EXPECT_EQ(out.str(), "Queued for translation — check back shortly.\n");
    server.answer("POST", "/api/tm/translate", 502, "");
    EXPECT_EQ(run({"translate", "傷寒論"}), cli::kExitFailure);
    EXPECT_EQ(err.str(), "Dịch lỗi mạng. Thử lại.\n");
    server.answer("POST", "/api/tm/translate", 401, R"({"error": "sign in to translate"})");
    EXPECT_EQ(run({"--lang", "en", "translate", "傷寒論"}), cli::kExitFailure);
    EXPECT_EQ(err.str(),
              "Sign in to translate: enter your sign-in token in Settings.\n"
              "Sign in with: talvo-cli login --server URL --token -\n");
    EXPECT_EQ(run({"translate"}), cli::kExitUsage);
}
