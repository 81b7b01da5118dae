#include "server/server_cli.h"

#include <algorithm>

#include <pthread.h>
#include <signal.h>
#include <filesystem>

#include <atomic>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "core/text/unicode.h"
#include "server/api_service.h"
#include "server/http_server.h"
#include "server/lesson_feed.h"
#include "server/logger.h"
#include "server/mt_client.h"
#include "server/storage.h"
#include "server/token.h"
#include "server/translation_worker.h"

namespace talvo::server {

namespace {

constexpr const char* kDefaultDb = "sqlite:talvo-server.sqlite";
constexpr size_t kMaxLessonFileBytes = 16 << 20;

// TALVO_SERVER_STROKES, else the desktop program's stroke data when it is
// installed beside this program (share/talvo/strokes), else none.
std::string defaultStrokesDir(CliEnvironment& env) {
    if (auto dir = env.getenv("TALVO_SERVER_STROKES")) {
        return *dir;
    }
    std::error_code ec;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec) {
        return {};
    }
    std::filesystem::path dir = exe.parent_path().parent_path() / "share" / "talvo" / "strokes";
    return std::filesystem::is_directory(dir, ec) ? dir.string() : std::string();
}

// Thrown for bad usage; the message goes to stderr with the usage hint.
struct UsageError {
    std::string message;
};

std::optional<int64_t> parseInt(std::string_view s) {
    int64_t v = 0;
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size()) {
        return std::nullopt;
    }
    return v;
}

int64_t intOption(const std::string& name, const std::string& value, int64_t min, int64_t max) {
    std::optional<int64_t> v = parseInt(value);
    if (!v || *v < min || *v > max) {
        throw UsageError{name + " takes a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max)};
    }
    return *v;
}

// Options of the form --name VALUE, taken out of args wherever they stand.
class Options {
  public:
    explicit Options(std::vector<std::string> args) : m_args(std::move(args)) {}

    std::optional<std::string> take(const std::string& name) {
        for (size_t i = 0; i < m_args.size(); ++i) {
            if (m_args[i] == name) {
                if (i + 1 >= m_args.size()) {
                    throw UsageError{name + " needs a value"};
                }
                std::string value = m_args[i + 1];
                m_args.erase(m_args.begin() + static_cast<std::ptrdiff_t>(i),
                             m_args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
                return value;
            }
        }
        return std::nullopt;
    }

    // Whether the flag `name` (no value) was given; takes it.
    bool flag(const std::string& name) {
        auto it = std::find(m_args.begin(), m_args.end(), name);
        if (it == m_args.end()) {
            return false;
        }
        m_args.erase(it);
        return true;
    }

    // The words left once the options are taken; an unknown option is an error.
    std::vector<std::string> rest() const {
        for (const std::string& a : m_args) {
            if (a.size() > 2 && a.rfind("--", 0) == 0) {
                throw UsageError{"unknown option " + a};
            }
        }
        return m_args;
    }

  private:
    std::vector<std::string> m_args;
};

bool validAccountName(const std::string& name) {
    if (name.empty() || name.size() > 64) {
        return false;
    }
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '_' || c == '.' || c == '-' || c == '@';
        if (!ok) {
            return false;
        }
    }
    return true;
}

std::pair<std::string, int> parseListen(const std::string& value) {
    std::string host = "127.0.0.1";
    std::string port = value;
    if (!value.empty() && value.front() == '[') {
        size_t close = value.find(']');
        if (close == std::string::npos || close + 1 >= value.size() || value[close + 1] != ':') {
            throw UsageError{"--listen takes HOST:PORT ([::1]:8787 for IPv6)"};
        }
        host = value.substr(1, close - 1);
        port = value.substr(close + 2);
    } else if (size_t colon = value.rfind(':'); colon != std::string::npos) {
        if (colon > 0) {
            host = value.substr(0, colon);
        }
        port = value.substr(colon + 1);
    }
    return {host, static_cast<int>(intOption("--listen port", port, 0, 65535))};
}

// This machine only: nothing sent to it crosses a network.
bool loopbackHost(const std::string& host) {
    if (host == "localhost" || host == "::1") {
        return true;
    }
    return host.rfind("127.", 0) == 0 && host.find_first_not_of("0123456789.") == std::string::npos;
}

RateLimit scaled(RateLimit limit, double factor) {
    return {limit.perSecond * factor, limit.burst * factor};
}

// Waits for SIGTERM or SIGINT on its own thread (the signals are blocked in
// every other thread) and stops the server; the request threads then finish
// what they have accepted.
class SignalWatcher {
  public:
    explicit SignalWatcher(HttpServer& server, Logger& logger)
        : m_server(server), m_logger(logger) {
        m_thread = std::thread([this] { watch(); });
    }
    ~SignalWatcher() {
        m_done = true;
        m_thread.join();
    }

  private:
    void watch() {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        timespec tick{0, 100'000'000};
        bool stopping = false;
        while (!m_done) {
            if (!stopping) {
                int sig = sigtimedwait(&set, nullptr, &tick);
                if (sig == SIGTERM || sig == SIGINT) {
                    m_logger.info("shutting down", {{"signal", sig == SIGTERM ? "TERM" : "INT"}});
                    stopping = true;
                }
                continue;
            }
            // stop() does nothing before the server has started listening.
            if (m_server.running()) {
                m_server.stop();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    HttpServer& m_server;
    Logger& m_logger;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

struct Cli {
    CliEnvironment& env;
    std::string dbUrl;

    std::unique_ptr<Storage> open(size_t pool = 2) { return openStorage(dbUrl, pool); }

    int serve(Options& o) {
        HttpOptions http;
        if (auto listen = o.take("--listen")) {
            std::tie(http.host, http.port) = parseListen(*listen);
        }
        if (auto threads = o.take("--threads")) {
            http.threads = static_cast<size_t>(intOption("--threads", *threads, 1, 1024));
        }
        if (auto keepAlive = o.take("--keep-alive")) {
            http.keepAliveSeconds = static_cast<int>(intOption("--keep-alive", *keepAlive, 0, 300));
        }
        size_t pool = 16;
        if (auto t = o.take("--request-timeout")) {
            http.requestDeadline =
                std::chrono::seconds(intOption("--request-timeout", *t, 0, 3600));
        }
        if (auto size = o.take("--db-pool")) {
            pool = static_cast<size_t>(intOption("--db-pool", *size, 1, 1000));
        }
        http.tlsCert = o.take("--tls-cert").value_or("");
        http.tlsKey = o.take("--tls-key").value_or("");
        const bool behindTlsProxy = o.flag("--behind-tls-proxy");
        // The operator's figures: on a listener of their own, loopback
        // unless told otherwise, and on the public one only with a token.
        std::string metricsListen = o.take("--metrics-listen").value_or("127.0.0.1:9787");
        std::string metricsTokenEnv = o.take("--metrics-token-env").value_or("TALVO_METRICS_TOKEN");
        std::optional<std::string> mtUrl = o.take("--mt-url");
        std::string mtModel = o.take("--mt-model").value_or("gpt-4o-mini");
        std::string mtKeyEnv = o.take("--mt-key-env").value_or("TALVO_MT_API_KEY");
        LogLevel level = LogLevel::Info;
        if (auto name = o.take("--log-level")) {
            auto parsed = Logger::parseLevel(*name);
            if (!parsed) {
                throw UsageError{"--log-level takes debug, info, warn or error"};
            }
            level = *parsed;
        }
        ApiOptions api;
        if (auto scale = o.take("--rate-scale")) {
            double factor = 0;
            auto [end, ec] = std::from_chars(scale->data(), scale->data() + scale->size(), factor);
            if (ec != std::errc() || end != scale->data() + scale->size() || factor < 0) {
                throw UsageError{"--rate-scale takes a number >= 0 (0 turns the limits off)"};
            }
            api.syncLimit = scaled(api.syncLimit, factor);
            api.translateLimit = scaled(api.translateLimit, factor);
            api.accountTranslateMinute = scaled(api.accountTranslateMinute, factor);
            api.accountTranslateDay = scaled(api.accountTranslateDay, factor);
            api.signInFailures = scaled(api.signInFailures, factor);
            api.statsLimit = scaled(api.statsLimit, factor);
            api.readLimit = scaled(api.readLimit, factor);
            api.contentLimit = scaled(api.contentLimit, factor);
        }
        if (auto n = o.take("--translate-per-minute")) {
            double perMinute =
                static_cast<double>(intOption("--translate-per-minute", *n, 0, 10000));
            api.accountTranslateMinute = RateLimit{perMinute / 60, perMinute};
        }
        if (auto n = o.take("--translate-per-day")) {
            double perDay = static_cast<double>(intOption("--translate-per-day", *n, 0, 10000000));
            api.accountTranslateDay = RateLimit{perDay / 86400, perDay};
        }
        if (auto n = o.take("--queue-share")) {
            api.maxWaitingPerRequester = intOption("--queue-share", *n, 1, 10000000);
        }
        api.anonymousTranslation = o.flag("--anonymous-translation");
        api.strokesDir = o.take("--strokes").value_or(defaultStrokesDir(env));
        api.metricsToken = env.getenv(metricsTokenEnv).value_or("");
        if (auto proxies = o.take("--trusted-proxies")) {
            for (std::string_view p : text::split(*proxies, ',')) {
                if (!text::trimBlanks(p).empty()) {
                    api.trustedProxies.emplace_back(text::trimBlanks(p));
                }
            }
        }
        if (auto rows = o.take("--page-rows")) {
            api.pull.maxRows = static_cast<size_t>(intOption("--page-rows", *rows, 1, 100000));
        }
        if (o.rest().size() != 1) {
            throw UsageError{"serve takes options only"};
        }
        if (!loopbackHost(http.host) && (http.tlsCert.empty() || http.tlsKey.empty()) &&
            !behindTlsProxy) {
            env.err << "talvo-server: will not listen on " << http.host << ":" << http.port
                    << " without TLS: sign-in tokens and study data would cross the network in "
                       "clear text. Give --tls-cert and --tls-key, or, when a TLS proxy in front "
                       "forwards to this address, say so with --behind-tls-proxy.\n";
            return 2;
        }

        // A peer that hangs up mid-answer must cost its connection, not the
        // process (TLS writes do not ask the kernel to hold SIGPIPE back).
        signal(SIGPIPE, SIG_IGN);
        // Blocked before any thread starts, so that every thread inherits the
        // mask and only the watcher receives the signals.
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGINT);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);

        Logger logger(env.err, level);
        std::unique_ptr<Storage> storage = open(pool);
        std::unique_ptr<MtClient> mt;
        std::unique_ptr<TranslationWorker> worker;
        if (mtUrl) {
            MtOptions mtOptions{*mtUrl, mtModel, env.getenv(mtKeyEnv).value_or(""), 120};
            try {
                mt = std::make_unique<ChatCompletionsClient>(mtOptions);
            } catch (const std::invalid_argument& e) {
                throw UsageError{e.what()};
            }
            worker = std::make_unique<TranslationWorker>(*storage, *mt, logger, env.clock);
        }
        PoolGauges gauges;
        TranslationWorker* notify = worker.get();
        ApiService service(
            *storage, api, env.clock, logger,
            [notify] {
                if (notify) {
                    notify->notify();
                }
            },
            &gauges);
        HttpServer server(service, http, gauges);
        if (!server.bind()) {
            env.err << "talvo-server: cannot listen on " << http.host << ":" << http.port << '\n';
            return 1;
        }
        logger.info("listening", {{"address", http.host},
                                  {"port", server.port()},
                                  {"tls", server.tls()},
                                  {"storage", storage->kind()},
                                  {"schema", storage->schemaVersion()},
                                  {"threads", http.threads},
                                  {"translation", mtUrl ? "machine" : "by hand (tm put)"}});
        if (worker) {
            worker->start();
        }
        httplib::Server metrics;
        std::thread metricsThread;
        if (metricsListen != "off") {
            auto [host, port] = parseListen(metricsListen);
            service.installMetrics(metrics);
            if (metrics.bind_to_port(host, port)) {
                logger.info("metrics", {{"address", host}, {"port", port}});
                metricsThread = std::thread([&metrics] { metrics.listen_after_bind(); });
                // stop() does nothing to a server that has not started.
                for (int i = 0; i < 200 && !metrics.is_running(); ++i) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            } else {
                // Another server on this machine has it: the API still runs.
                logger.warn("metrics listener not started", {{"address", host}, {"port", port}});
            }
        }
        bool ok;
        {
            SignalWatcher watcher(server, logger);
            ok = server.run();
        }
        if (metricsThread.joinable()) {
            metrics.stop();
            metricsThread.join();
        }
        if (worker) {
            worker->stop();
        }
        logger.info("stopped");
        return ok ? 0 : 1;
    }

    int user(const std::vector<std::string>& words) {
        if (words.empty()) {
            throw UsageError{"user takes add, token, list or revoke"};
        }
        const std::string& verb = words[0];
        if (verb == "list" && words.size() == 1) {
            auto accounts = open()->accounts();
            env.out << std::left << std::setw(24) << "name" << std::setw(12) << "created"
                    << std::setw(9) << "state" << std::right << std::setw(8) << "cards"
                    << std::setw(9) << "logs" << '\n';
            for (const AccountInfo& a : accounts) {
                env.out << std::left << std::setw(24) << a.name << std::setw(12)
                        << civilDate(a.createdAt / 86400) << std::setw(9)
                        << (a.revoked ? "revoked" : "active") << std::right << std::setw(8)
                        << a.cards << std::setw(9) << a.logs << '\n';
            }
            return 0;
        }
        if (words.size() != 2 || (verb != "add" && verb != "token" && verb != "revoke")) {
            throw UsageError{"user add NAME | user token NAME | user list | user revoke NAME"};
        }
        const std::string& name = words[1];
        if (!validAccountName(name)) {
            throw UsageError{"an account name is 1 to 64 letters, digits or _ . - @"};
        }
        auto storage = open();
        if (verb == "revoke") {
            if (!storage->revokeAccount(name)) {
                env.err << "talvo-server: no account '" << name << "'\n";
                return 1;
            }
            env.err << "Revoked the token of '" << name << "'; its data stays. "
                    << "`user token " << name << "` issues a new one.\n";
            return 0;
        }
        std::string token = generateToken();
        TokenDigest digest = *tokenDigest(token);
        if (verb == "add") {
            if (!storage->addAccount(name, digest, env.clock.now())) {
                env.err << "talvo-server: the account '" << name << "' exists already "
                        << "(`user token " << name << "` replaces its token)\n";
                return 1;
            }
        } else if (!storage->setAccountToken(name, digest)) {
            env.err << "talvo-server: no account '" << name << "'\n";
            return 1;
        }
        // The token alone on stdout, so that a script can capture it.
        env.err << "Access token of '" << name
                << "' (shown only now; the server keeps its hash):\n";
        env.out << token << '\n';
        return 0;
    }

    int lessons(const std::vector<std::string>& words) {
        if (words.size() == 2 && words[0] == "import") {
            std::ifstream in(words[1], std::ios::binary);
            if (!in) {
                env.err << "talvo-server: cannot read " << words[1] << '\n';
                return 1;
            }
            std::string text;
            text.resize(kMaxLessonFileBytes + 1);
            in.read(text.data(), static_cast<std::streamsize>(text.size()));
            text.resize(static_cast<size_t>(in.gcount()));
            if (text.size() > kMaxLessonFileBytes) {
                env.err << "talvo-server: " << words[1] << " is larger than 16 MB\n";
                return 1;
            }
            std::vector<StoredLesson> parsed;
            try {
                parsed = parseLessonFeed(text);
            } catch (const FeedError& e) {
                env.err << "talvo-server: " << words[1] << ": " << e.what() << '\n';
                return 1;
            }
            open()->putLessons(parsed);
            env.out << "Imported " << parsed.size() << " lesson" << (parsed.size() == 1 ? "" : "s")
                    << " from " << words[1] << '\n';
            return 0;
        }
        if (words.size() == 1 && words[0] == "list") {
            for (const StoredLesson& l : open()->lessons()) {
                auto j = nlohmann::json::parse(l.json, nullptr, false);
                std::string title = j.is_object() ? j.value("title", "") : "";
                if (j.is_object() && j.contains("han_label") && j["han_label"].is_string()) {
                    title = j["han_label"].get<std::string>() + "  " + title;
                }
                size_t items = j.is_object() && j.contains("items") ? j["items"].size() : 0;
                env.out << std::setw(6) << l.id << "  tier " << l.tier << "  ord " << l.ord << "  "
                        << items << " items  " << title << '\n';
            }
            return 0;
        }
        if (words.size() == 2 && words[0] == "remove") {
            int64_t id = intOption("lesson id", words[1], INT64_MIN, INT64_MAX);
            if (!open()->removeLesson(id)) {
                env.err << "talvo-server: no lesson " << id << '\n';
                return 1;
            }
            return 0;
        }
        throw UsageError{"lessons import FILE.json | lessons list | lessons remove ID"};
    }

    int tm(Options& o) {
        std::optional<std::string> limitText = o.take("--limit");
        std::vector<std::string> words = o.rest();
        words.erase(words.begin());  // "tm"
        if (words.size() == 1 && words[0] == "pending") {
            size_t limit =
                limitText ? static_cast<size_t>(intOption("--limit", *limitText, 1, 1000000)) : 50;
            auto storage = open();
            int64_t total = storage->pendingCount();
            for (const TmJob& job : storage->pendingJobs(limit)) {
                env.out << job.id << "\t" << job.requests << " req";
                if (job.attempts > 0) {
                    env.out << "\t" << job.attempts << " failed: " << job.lastError;
                }
                env.out << "\t" << job.zh << '\n';
            }
            env.err << total << " passage" << (total == 1 ? "" : "s") << " waiting\n";
            return 0;
        }
        if (words.size() == 3 && words[0] == "put") {
            int64_t id = intOption("passage id", words[1], 1, INT64_MAX);
            std::string vi(text::trimWhitespace(words[2]));
            if (vi.empty() || !text::isValidUtf8(vi)) {
                throw UsageError{"the translation must be non-empty UTF-8 text"};
            }
            if (!open()->putTranslation(id, vi, "human", env.clock.now())) {
                env.err << "talvo-server: no passage " << id << '\n';
                return 1;
            }
            return 0;
        }
        throw UsageError{"tm pending [--limit N] | tm put ID TEXT"};
    }

    int stats(Options& o) {
        int64_t days = 7;
        size_t top = 20;
        if (auto d = o.take("--days")) {
            days = intOption("--days", *d, 1, 36500);
        }
        if (auto t = o.take("--top")) {
            top = static_cast<size_t>(intOption("--top", *t, 1, 10000));
        }
        if (o.rest().size() != 1) {
            throw UsageError{"stats [--days N] [--top N]"};
        }
        int64_t today = env.clock.now() / 86400;
        int64_t from = today - days + 1;
        StatsReport report = open()->stats(from, today, top);
        env.out << "Most looked-up passages, " << civilDate(from) << " to " << civilDate(today)
                << ":\n";
        if (report.topLookups.empty()) {
            env.out << "  (none)\n";
        }
        for (const PassageCount& p : report.topLookups) {
            env.out << std::setw(8) << p.count << "  " << p.zh << '\n';
        }
        env.out << "\nLookups per day:\n";
        for (const auto& [day, n] : report.lookupsPerDay) {
            env.out << "  " << civilDate(day) << std::setw(8) << n << '\n';
        }
        env.out << "\nEvents and feature use by day:\n";
        if (report.events.empty()) {
            env.out << "  (none)\n";
        }
        for (const DayCount& e : report.events) {
            env.out << "  " << civilDate(e.day) << "  " << std::left << std::setw(14) << e.name
                    << std::setw(16) << e.detail << std::right << std::setw(8) << e.count << '\n';
        }
        return 0;
    }
};

}  // namespace

std::string usage() {
    return "usage: talvo-server [--db URL] COMMAND\n"
           "  --db sqlite:PATH | postgresql://...   (default $TALVO_SERVER_DB, else " +
           std::string(kDefaultDb) +
           ")\n"
           "commands:\n"
           "  serve [--listen HOST:PORT] [--threads N] [--keep-alive SECONDS] [--db-pool N]\n"
           "        [--request-timeout SECONDS] (to deliver a request whole; 0: none)\n"
           "        [--tls-cert PEM --tls-key PEM | --behind-tls-proxy]\n"
           "        [--metrics-listen HOST:PORT|off] [--metrics-token-env VAR]\n"
           "        [--trusted-proxies ADDR,...]\n"
           "        [--translate-per-minute N] [--translate-per-day N] (per account; 0: no limit)\n"
           "        [--anonymous-translation] [--queue-share N] (passages one address or\n"
           "        account may have waiting)\n"
           "        [--mt-url URL] [--mt-model NAME] [--mt-key-env VAR] [--strokes DIR]\n"
           "        [--log-level debug|info|warn|error] [--rate-scale F] [--page-rows N]\n"
           "  migrate                      bring the database schema up to date\n"
           "  user add NAME                create an account; prints its token once\n"
           "  user token NAME              replace an account's token; prints it once\n"
           "  user list | user revoke NAME\n"
           "  lessons import FILE.json | lessons list | lessons remove ID\n"
           "  tm pending [--limit N] | tm put ID TEXT\n"
           "  stats [--days N] [--top N]   most looked-up passages and feature use by day\n";
}

std::string civilDate(int64_t day) {
    // Howard Hinnant's days-to-civil algorithm.
    int64_t z = day + 719468;
    int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    int64_t doe = z - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t y = yoe + era * 400;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t mp = (5 * doy + 2) / 153;
    int64_t d = doy - (153 * mp + 2) / 5 + 1;
    int64_t m = mp < 10 ? mp + 3 : mp - 9;
    if (m <= 2) {
        ++y;
    }
    std::ostringstream out;
    out << std::setfill('0') << std::setw(4) << y << '-' << std::setw(2) << m << '-' << std::setw(2)
        << d;
    return out.str();
}

int runCli(const std::vector<std::string>& args, CliEnvironment& env) {
    try {
        Options o(args);
        Cli cli{env, ""};
        std::optional<std::string> db = o.take("--db");
        cli.dbUrl = db ? *db : env.getenv("TALVO_SERVER_DB").value_or(kDefaultDb);
        if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
            env.out << usage();
            return args.empty() ? 2 : 0;
        }
        // The command is the first word that is not an option.
        std::vector<std::string> peek = args;
        std::string command;
        for (size_t i = 0; i < peek.size(); ++i) {
            if (peek[i] == "--db") {
                ++i;
                continue;
            }
            command = peek[i];
            break;
        }
        if (command == "serve") {
            return cli.serve(o) == 0 ? 0 : 1;
        }
        if (command == "tm") {
            return cli.tm(o);
        }
        if (command == "stats") {
            return cli.stats(o);
        }
        std::vector<std::string> words = o.rest();
        if (words.empty()) {
            throw UsageError{"no command"};
        }
        std::vector<std::string> tail(words.begin() + 1, words.end());
        if (command == "migrate" && tail.empty()) {
            env.out << "schema version " << cli.open()->schemaVersion() << '\n';
            return 0;
        }
        if (command == "user") {
            return cli.user(tail);
        }
        if (command == "lessons") {
            return cli.lessons(tail);
        }
        throw UsageError{"unknown command '" + command + "'"};
    } catch (const UsageError& e) {
        env.err << "talvo-server: " << e.message << "\n" << usage();
        return 2;
    } catch (const StorageError& e) {
        env.err << "talvo-server: " << e.what() << '\n';
        return 1;
    } catch (const std::exception& e) {
        env.err << "talvo-server: " << e.what() << '\n';
        return 1;
    }
}

}  // namespace talvo::server
