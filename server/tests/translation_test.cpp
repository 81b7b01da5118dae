// The translation worker against a scripted chat-completions endpoint on
// loopback.

#include <gmock/gmock.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>

#include "server/mt_client.h"
#include "server/tests/test_support.h"
#include "server/translation_worker.h"

namespace talvo::server::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// Answers each request with the next scripted (status, body); records what
// it was sent.
class ScriptedMt {
  public:
    ScriptedMt() {
        m_server.Post(
            "/v1/chat/completions", [this](const httplib::Request& req, httplib::Response& res) {
                std::lock_guard lock(m_mutex);
                m_requests.push_back(req.body);
                m_auth.push_back(req.get_header_value("Authorization"));
                auto [status, body] =
                    m_script.empty() ? std::pair<int, std::string>{500, "{}"} : m_script.front();
                if (!m_script.empty()) {
                    m_script.pop_front();
                }
                res.status = status;
                res.set_content(body, "application/json");
            });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~ScriptedMt() {
        m_server.stop();
        m_thread.join();
    }
    void answer(int status, std::string body) {
        std::lock_guard lock(m_mutex);
        m_script.emplace_back(status, std::move(body));
    }
    static std::string translation(const std::string& text) {
        return json{
            {"model", "scripted-1"},
            {"choices", {{{"index", 0}, {"message", {{"role", "assistant"}, {"content", text}}}}}}}
            .dump();
    }
    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(m_port) + "/v1/chat/completions";
    }
    std::vector<std::string> requests() {
        std::lock_guard lock(m_mutex);
        return m_requests;
    }
    std::vector<std::string> auth() {
        std::lock_guard lock(m_mutex);
        return m_auth;
    }

  private:
    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
    std::mutex m_mutex;
    std::deque<std::pair<int, std::string>> m_script;
    std::vector<std::string> m_requests;
    std::vector<std::string> m_auth;
};

struct ManualClock {
    std::shared_ptr<std::atomic<int64_t>> now = std::make_shared<std::atomic<int64_t>>(1000);
    Clock clock() const {
        auto n = now;
        return Clock{[n] { return n->load(); }, "UTC", std::nullopt};
    }
};

TEST(TranslationWorker, FailuresWaitAndRetryThenTheAnswerIsRemembered) {
    FreshStorage db(Backend::Sqlite);
    ScriptedMt mt;
    ChatCompletionsClient client({mt.url(), "test-model", "secret-key", 5});
    std::ostringstream logText;
    Logger logger(logText, LogLevel::Info);
    ManualClock time;
    TranslationWorker worker(*db, client, logger, time.clock());

    db->translateOrQueue("傷寒論", 1000, 100);
    mt.answer(503, R"({"error":{"message":"overloaded"}})");
    mt.answer(200, R"({"choices":[]})");
    mt.answer(200, ScriptedMt::translation("  Bàn về thương hàn\n"));

    EXPECT_TRUE(worker.runOnce());
    TmJob waiting = db->pendingJobs(1)[0];
    EXPECT_EQ(waiting.attempts, 1);
    EXPECT_THAT(waiting.lastError, HasSubstr("HTTP 503: overloaded"));
    EXPECT_FALSE(worker.runOnce());  // not before its retry time

    *time.now += worker.retryDelay(0);
    EXPECT_TRUE(worker.runOnce());  // a 200 without a translation is a failure too
    EXPECT_EQ(db->pendingJobs(1)[0].attempts, 2);
    *time.now += worker.retryDelay(1);
    EXPECT_TRUE(worker.runOnce());

    TmAnswer answer = db->translateOrQueue("傷寒論", *time.now, 100);
    EXPECT_EQ(answer.kind, TmAnswer::Kind::Memory);
    EXPECT_EQ(answer.vi, "Bàn về thương hàn");
    EXPECT_EQ(answer.model, "scripted-1");
    EXPECT_EQ(db->pendingCount(), 0);

    // What the endpoint was sent: the model, the passage as the user's
    // message, the key as a bearer token; the key never reaches the log.
    json sent = json::parse(mt.requests().back());
    EXPECT_EQ(sent["model"], "test-model");
    EXPECT_EQ(sent["messages"].back()["role"], "user");
    EXPECT_EQ(sent["messages"].back()["content"], "傷寒論");
    EXPECT_EQ(mt.auth().back(), "Bearer secret-key");
    EXPECT_THAT(logText.str(), testing::Not(HasSubstr("secret-key")));

    EXPECT_EQ(worker.retryDelay(0), 30);
    EXPECT_EQ(worker.retryDelay(3), 240);
    EXPECT_EQ(worker.retryDelay(40), 3600);
}

TEST(TranslationWorker, QueuedPassagesAreTranslatedInTheBackground) {
    FreshStorage db(Backend::Sqlite);
    ScriptedMt mt;
    mt.answer(200, ScriptedMt::translation("Kim quỹ yếu lược"));
    ChatCompletionsClient client({mt.url(), "m", "", 5});
    std::ostringstream logText;
    Logger logger(logText, LogLevel::Warn);
    TranslationWorker worker(*db, client, logger, Clock::system());
    worker.start();
    ApiOptions options = unlimited();
    options.anonymousTranslation = true;
    TestServer server(*db, options, Clock::system(), [&] { worker.notify(); });

    auto post = [&] {
        return json::parse(
            server.client()
                .Post("/api/tm/translate", R"({"zh":"金匱要略"})", "application/json")
                ->body);
    };
    EXPECT_EQ(post()["source"], "queued");
    json answer = json::object();
    for (int i = 0; i < 200 && answer.value("source", "") != "memory"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        answer = post();
    }
    EXPECT_EQ(answer["vi"], "Kim quỹ yếu lược");
    ASSERT_FALSE(mt.auth().empty());
    EXPECT_TRUE(mt.auth().back().empty());  // no key configured, no header
    worker.stop();
}

TEST(ChatCompletionsAnswer, OnlyAFirstChoiceWithTextCounts) {
    auto parse = [](const std::string& body) {
        return ChatCompletionsClient::parseAnswer(body, "fallback");
    };
    EXPECT_EQ(parse(R"({"choices":[{"message":{"content":"Phù"}}]})").model, "fallback");
    EXPECT_EQ(parse(R"({"model":"x","choices":[{"message":{"content":"Phù"}}]})").model, "x");
    for (const char* bad : {"", "[]", "{}", R"({"choices":{}})", R"({"choices":[1]})",
                            R"({"choices":[{"message":{"content":null}}]})",
                            R"({"choices":[{"message":{"content":"  "}}]})"}) {
        EXPECT_THROW(parse(bad), MtError) << bad;
    }
    EXPECT_THROW(ChatCompletionsClient({"ftp://x/y", "m", "", 5}), std::invalid_argument);
    EXPECT_THROW(ChatCompletionsClient({"http:///v1", "m", "", 5}), std::invalid_argument);
}

}  // namespace
}  // namespace talvo::server::test
