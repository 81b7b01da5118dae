#include "tools/cli/cli_online.h"

#include <QCoreApplication>
#include <algorithm>
#include <istream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "core/lookup/dictionary_store.h"
#include "core/study/lesson_shelf.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "core/sync/study_sync_store.h"
#include "core/text/unicode.h"
#include "core/ui/lookup_text.h"
#include "net/async/executor.h"
#include "net/device/device_identity.h"
#include "net/lessons/lessons_service.h"
#include "net/online/online_config.h"
#include "net/online/online_services.h"
#include "net/settings/app_settings.h"
#include "net/settings/token_store.h"
#include "net/sync/study_sync_service.h"
#include "net/translate/tm_service.h"
#include "tools/cli/cli_format.h"
#include "tools/cli/cli_study.h"

namespace talvo::cli {

namespace {

using json = nlohmann::ordered_json;

constexpr const char* kLoginUsage =
    "login needs --server URL, and optionally --token TOKEN ('-' "
    "reads it from standard input)";

std::string plural(int64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

struct LoginArgs {
    std::optional<std::string> server;
    std::optional<std::string> token;
};

std::optional<LoginArgs> parseLogin(const std::vector<std::string>& operands) {
    LoginArgs a;
    for (size_t i = 0; i < operands.size(); ++i) {
        const std::string& o = operands[i];
        if ((o == "--server" || o == "--token") && i + 1 < operands.size()) {
            (o == "--server" ? a.server : a.token) = operands[++i];
        } else {
            return std::nullopt;
        }
    }
    if (!a.server) {
        return std::nullopt;
    }
    return a;
}

std::optional<int64_t> parseId(const std::string& s) {
    return StudyStore::parseDecimal(s);
}

// Everything an online command works with: the settings, the token store and
// the clients, all running on this thread.
class OnlineSession {
  public:
    OnlineSession(const OnlineOptions& o, Environment& e) : m_o(o), m_e(e) {
        std::optional<std::string> config = e.env("TALVO_CONFIG");
        m_settings = config && !config->empty() ? std::make_unique<AppSettings>(*config)
                                                : std::make_unique<AppSettings>();
        bool useKeychain = e.env("TALVO_TOKEN_STORE").value_or("") != "file";
        // The keychain's jobs need an event loop, hence an application object.
        if (useKeychain && !QCoreApplication::instance()) {
            static int argc = 1;
            static char name[] = "talvo-cli";
            static char* argv[] = {name, nullptr};
            m_app = std::make_unique<QCoreApplication>(argc, argv);
        }
        m_tokens = std::make_unique<TokenStore>(TokenStore::forSettings(*m_settings, useKeychain));
    }

    int login() {
        LoginArgs a = *parseLogin(m_o.operands);
        std::string server = *a.server;
        while (!server.empty() && server.back() == '/') {
            server.pop_back();
        }
        if (!isUsableBaseUrl(server)) {
            m_e.err << "talvo-cli: '" << server
                    << "' is not a service URL (http:// or https://, a host, no query)\n";
            return kExitUsage;
        }
        if (carriesTokenInClear(server)) {
            m_e.err << "talvo-cli: " << msg::kServiceUrlNeedsHttps.pick(m_o.lang) << '\n';
            return kExitUsage;
        }
        std::optional<std::string> token;
        if (a.token) {
            if (*a.token == "-") {
                std::string input((std::istreambuf_iterator<char>(m_e.in)),
                                  std::istreambuf_iterator<char>());
                token = TokenStore::trimmedToken(input);
            } else {
                token = *a.token;
                m_e.err << "note: a token typed on the command line can be seen by other users "
                           "in the process list and stays in your shell history; `--token -` "
                           "reads it from standard input.\n";
            }
            if (!TokenStore::isUsableToken(*token)) {
                // The token itself is never echoed, not even a bad one.
                m_e.err << "talvo-cli: the token must be 1 to 4096 printable ASCII characters "
                           "without spaces\n";
                return kExitUsage;
            }
        }
        m_settings->setServiceUrl(server);
        m_settings->sync();
        std::optional<TokenStore::Location> where;
        if (token) {
            where = m_tokens->save(*token);
            if (!where) {
                m_e.err << "talvo-cli: the token could not be stored (no keychain, and "
                        << m_tokens->fallbackFile() << " cannot be written)\n";
                return kExitFailure;
            }
        }
        if (m_o.json) {
            json j{{"server", server}};
            j["token"] = !where
                             ? json(nullptr)
                             : json(*where == TokenStore::Location::keychain ? "keychain" : "file");
            if (where == TokenStore::Location::file) {
                j["tokenFile"] = m_tokens->fallbackFile();
            }
            m_e.out << dump(j) << '\n';
            return kExitOk;
        }
        m_e.out << "Service: " << server << " (saved in " << m_settings->fileName() << ")\n";
        if (!where) {
            m_e.out << "No token given; the one stored before, if any, is kept.\n";
        } else if (*where == TokenStore::Location::keychain) {
            m_e.out << "Token saved in the system keychain.\n";
        } else {
            m_e.out << "Token saved in " << m_tokens->fallbackFile()
                    << " (readable only by you; no keychain service is running).\n";
        }
        return kExitOk;
    }

    int logout() {
        TokenStore::RemoveOutcome outcome = m_tokens->remove();
        if (outcome == TokenStore::RemoveOutcome::failed) {
            m_e.err << "talvo-cli: the token could not be removed everywhere: check the system "
                       "keychain and "
                    << m_tokens->fallbackFile() << '\n';
            return kExitFailure;
        }
        bool unreachable = outcome == TokenStore::RemoveOutcome::keychainUnreachable;
        if (m_o.json) {
            m_e.out << dump(json{{"signedOut", true}, {"keychainReached", !unreachable}}) << '\n';
            return kExitOk;
        }
        m_e.out << "Signed out: the sync token is removed.\n";
        if (unreachable) {
            m_e.out << "No system keychain answered here; a token kept there from a desktop "
                       "session stays until you sign out there.\n";
        }
        return kExitOk;
    }

    int translate() {
        std::string zh = m_o.operands.size() == 1 && m_o.operands[0] == "-"
                             ? std::string((std::istreambuf_iterator<char>(m_e.in)),
                                           std::istreambuf_iterator<char>())
                             : joined(m_o.operands);
        zh = text::sanitizeUtf8(text::trimWhitespace(zh));
        if (!configured()) {
            return kExitFailure;
        }
        OnlineServices services(m_inline, config(), servicesOptions());
        TMService::Result result = TMService::Result::failed();
        services.tm().translate(zh, [&](TMService::Result r) { result = std::move(r); });
        using Kind = TMService::Result::Kind;
        if (m_o.json) {
            const char* kind = result.kind == Kind::translated     ? "translated"
                               : result.kind == Kind::queued       ? "queued"
                               : result.kind == Kind::signInNeeded ? "sign_in_needed"
                               : result.kind == Kind::limited      ? "limited"
                                                                   : "failed";
            json j{{"zh", zh}, {"outcome", kind}};
            j["vi"] = result.kind == Kind::translated ? json(result.text) : json(nullptr);
            m_e.out << dump(j) << '\n';
        } else if (result.kind == Kind::translated) {
            m_e.out << result.text << '\n';
        } else {
            (result.kind == Kind::queued ? m_e.out : m_e.err)
                << (result.kind == Kind::queued ? msg::kTranslationQueued
                                                : translationFailureText(result.kind))
                       .pick(m_o.lang)
                << '\n';
            if (result.kind == Kind::signInNeeded) {
                m_e.err << "Sign in with: talvo-cli login --server URL --token -\n";
            }
        }
        return result.kind == Kind::translated || result.kind == Kind::queued ? kExitOk
                                                                              : kExitFailure;
    }

    int sync(StudyDatabase& db) {
        if (!configured()) {
            return kExitFailure;
        }
        OnlineServices services(m_inline, config(), servicesOptions());
        SyncReport report;
        report.error = "the exchange did not run";
        services.sync().sync(db, [&](const SyncReport& r) { report = r; });
        if (m_o.json) {
            m_e.out << dump(json{{"ok", report.ok},
                                 {"error", report.ok ? json(nullptr) : json(report.error)},
                                 {"pages", report.pages},
                                 {"sentCards", report.sentCards},
                                 {"sentLogs", report.sentLogs},
                                 {"since", report.since},
                                 {"receivedCards", report.receivedCards},
                                 {"receivedLogs", report.receivedLogs},
                                 {"appliedCards", report.appliedCards},
                                 {"storedLogs", report.storedLogs},
                                 {"replayedCards", report.replayedCards},
                                 {"refused", report.refusedRows},
                                 {"refusedTotal", report.refusedTotal},
                                 {"more", report.more},
                                 {"now", report.ok ? json(report.now) : json(nullptr)}})
                    << '\n';
            return report.ok ? kExitOk : kExitFailure;
        }
        if (!report.ok) {
            m_e.err << "Sync failed: " << report.error << ".\n";
            if (report.pages > 0) {
                m_e.err << "The first " << plural(report.pages, "round trip", "round trips")
                        << " were applied; the rest goes out next time.\n";
            } else {
                m_e.err << "Nothing was changed; the same changes go out next time.\n";
            }
            if (report.error.rfind("not signed in", 0) == 0) {
                m_e.err << "Sign in with: talvo-cli login --server URL --token -\n";
            }
            printRefused(report.refusedTotal, m_e.err);
            return kExitFailure;
        }
        m_e.out << "Sent " << plural(report.sentCards, "card", "cards") << " and "
                << plural(report.sentLogs, "review log", "review logs") << " in "
                << plural(report.pages, "round trip", "round trips") << ".\n"
                << "Received " << plural(report.receivedCards, "card", "cards") << " ("
                << report.appliedCards << " applied) and "
                << plural(report.receivedLogs, "review log", "review logs") << " ("
                << report.storedLogs << " new).\n";
        if (report.replayedCards > 0) {
            m_e.out << plural(report.replayedCards, "card", "cards")
                    << " reviewed on several devices rescheduled from all their reviews.\n";
        }
        m_e.out << "Next pull from server position " << report.now << ".\n";
        if (report.more) {
            m_e.out << "More changes are waiting: run sync again to go on.\n";
        }
        printRefused(report.refusedTotal, m_e.out);
        return kExitOk;
    }

    // Refused rows stay on this device; say so every time until they are gone.
    static void printRefused(int64_t refused, std::ostream& out) {
        if (refused > 0) {
            out << plural(refused, "change", "changes")
                << " refused by the server stay on this device only (not synced).\n";
        }
    }

    int lessons(StudyStore& store) {
        if (!configured()) {
            return kExitFailure;
        }
        OnlineServices services(m_inline, config(), servicesOptions());
        // The executors are inline: the answer is in when fetch returns.
        LessonsService::Outcome fetched;
        services.lessons().fetch([&fetched](LessonsService::Outcome o) { fetched = std::move(o); });
        if (!fetched.lessons) {
            m_e.err << "Could not fetch the lessons: " << fetched.error << '\n';
            return kExitFailure;
        }
        LessonShelf shelf(store);
        shelf.setLessons(std::move(*fetched.lessons));
        if (m_o.operands.empty()) {
            return listLessons(shelf);
        }
        int64_t id = *parseId(m_o.operands[1]);
        const wire::Lesson* lesson = shelf.find(id);
        if (!lesson) {
            m_e.err << "talvo-cli: the service has no lesson " << id
                    << " (talvo-cli lessons lists them)\n";
            return kExitFailure;
        }
        int64_t added = shelf.add(*lesson);
        if (m_o.json) {
            m_e.out << dump(json{{"id", id},
                                 {"added", added},
                                 {"inDeck", shelf.have(*lesson)},
                                 {"items", lesson->items.size()}})
                    << '\n';
        } else {
            m_e.out << "Added " << plural(added, "card", "cards") << " from “" << lesson->title
                    << "”: " << shelf.have(*lesson) << "/" << lesson->items.size()
                    << " of its items are in the deck.\n";
        }
        return kExitOk;
    }

  private:
    int listLessons(const LessonShelf& shelf) {
        if (m_o.json) {
            json list = json::array();
            for (const wire::Lesson& l : shelf.lessons()) {
                json j{{"id", l.id}, {"title", l.title}};
                j["hanLabel"] = l.hanLabel ? json(*l.hanLabel) : json(nullptr);
                j["tier"] = l.tier ? json(*l.tier) : json(nullptr);
                j["ord"] = l.ord ? json(*l.ord) : json(nullptr);
                j["items"] = l.items.size();
                j["inDeck"] = shelf.have(l);
                list.push_back(std::move(j));
            }
            m_e.out << dump(list) << '\n';
            return kExitOk;
        }
        if (shelf.lessons().empty()) {
            m_e.out << "Chưa có lộ trình\n";
            return kExitOk;
        }
        for (const wire::Lesson& l : shelf.lessons()) {
            m_e.out << l.id << "  " << shelf.have(l) << "/" << l.items.size() << "  "
                    << text::sanitizeUtf8(l.title);
            if (l.hanLabel && !l.hanLabel->empty()) {
                m_e.out << "  " << *l.hanLabel;
            }
            switch (shelf.actionFor(l)) {
                case LessonShelf::Action::complete:
                    m_e.out << "  (complete)";
                    break;
                case LessonShelf::Action::addMissing:
                    m_e.out << "  (talvo-cli lessons add " << l.id << " adds the missing ones)";
                    break;
                case LessonShelf::Action::add:
                    break;
            }
            m_e.out << '\n';
        }
        return kExitOk;
    }

    // Says what to do when no service is configured.
    bool configured() {
        if (isUsableBaseUrl(m_settings->serviceUrl())) {
            return true;
        }
        m_e.err << "talvo-cli: the online features are off: no service URL in "
                << m_settings->fileName() << ". Set one with: talvo-cli login --server URL\n";
        return false;
    }

    OnlineConfig config() {
        OnlineConfig c;
        AppSettings* settings = m_settings.get();
        TokenStore* tokens = m_tokens.get();
        c.baseUrl = [settings] { return settings->serviceUrl(); };
        c.deviceId = [settings] { return DeviceIdentity::deviceId(*settings); };
        c.accessToken = [tokens] { return tokens->load(); };
        return c;
    }

    OnlineServices::Options servicesOptions() const {
        OnlineServices::Options options;
        options.synchronous = true;
        return options;
    }

    const OnlineOptions& m_o;
    Environment& m_e;
    std::unique_ptr<QCoreApplication> m_app;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<TokenStore> m_tokens;
    InlineExecutor m_inline;
};

}  // namespace

bool isOnlineCommand(const std::string& command) {
    return command == "login" || command == "logout" || command == "sync" || command == "lessons" ||
           command == "translate";
}

bool onlineCommandNeedsDictionary(const std::string& command) {
    return command == "sync" || command == "lessons";
}

std::optional<std::string> onlineUsageError(const std::string& command,
                                            const std::vector<std::string>& operands) {
    if (command == "login" && !parseLogin(operands)) {
        return std::string(kLoginUsage);
    }
    if ((command == "logout" || command == "sync") && !operands.empty()) {
        return command + " takes no operands";
    }
    if (command == "lessons" && !operands.empty() &&
        (operands.size() != 2 || operands[0] != "add" || !parseId(operands[1]))) {
        return std::string("lessons takes nothing (the list) or add ID");
    }
    if (command == "translate" && operands.empty()) {
        return std::string("translate needs TEXT (or '-' for standard input)");
    }
    return std::nullopt;
}

int runOnline(const OnlineOptions& o, DictionaryStore* dict, Environment& e) {
    OnlineSession session(o, e);
    if (o.command == "login") {
        return session.login();
    }
    if (o.command == "logout") {
        return session.logout();
    }
    if (o.command == "translate") {
        return session.translate();
    }
    std::unique_ptr<StudyDatabase> database =
        openStudyDatabase(o.dataDir, o.lang, studyClock(o.now, o.today), e);
    if (!database) {
        return kExitNoStudyDatabase;
    }
    // The desktop program seeds the deck before its first sync; so does this.
    StudyStore store(*database);
    if (dict) {
        store.seedIfEmpty(*dict);
    }
    return o.command == "sync" ? session.sync(*database) : session.lessons(store);
}

}  // namespace talvo::cli
