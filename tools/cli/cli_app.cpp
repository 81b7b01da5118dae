#include "tools/cli/cli_app.h"

#include <filesystem>
#include <istream>
#include <iterator>
#include <memory>
#include <ostream>

#include "core/l10n/localization.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_decision.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/text/unicode.h"
#include "tools/cli/cli_format.h"
#include "tools/cli/cli_ocr.h"
#include "tools/cli/cli_online.h"
#include "tools/cli/cli_progress.h"
#include "tools/cli/cli_study.h"

namespace talvo::cli {

namespace {

constexpr const char* kUsage =
    "usage: talvo-cli [--dict PATH] [--data-dir DIR] [--json] [--lang vi|zh|en]\n"
    "                 [--today DAY] [--now SECONDS] COMMAND\n"
    "\n"
    "commands:\n"
    "  lookup TEXT...          look up the Hán characters of TEXT ('-' reads standard input);\n"
    "                          without Hán, the Vietnamese syllables in reverse\n"
    "  reverse SYLLABLE...     the characters read as each syllable, most frequent first\n"
    "  set-reading CHAR TEXT   save your own readings for CHAR (\"a, b\"); empty TEXT removes "
    "them\n"
    "  study summary           today's figures of the study deck (study.sqlite, data folder)\n"
    "  study queue             the cards of today's session, due reviews first\n"
    "  study grade UID RATING  grade a card: again, hard, good, easy (or 1-4)\n"
    "  study add-lookup TEXT   add the lookup of TEXT's Hán characters to the deck\n"
    "  study seed              fill an empty deck with the 800 most frequent characters\n"
    "  study review            review today's cards: 1-4 pick or grade, Return/Space reveal\n"
    "                          or grade good, q stops (one key per line when not a terminal)\n"
    "  profile                 level, rank, XP, streaks, daily goal, 90-day heat map, badges\n"
    "  badges                  the 13 badges, earned ones marked\n"
    "  quiz [MODE]             a 10-question quiz: amFromHan, hanFromAm or typeAm\n"
    "  goal [N]                show the daily goal, or set it to N XP\n"
    "  login --server URL [--token TOKEN]\n"
    "                          keep the service URL and your sync token; --token - reads the\n"
    "                          token from standard input, out of sight of other users\n"
    "  logout                  forget the sync token\n"
    "  sync                    one exchange of cards and review logs with the service\n"
    "  lessons                 the service's lessons, with how many of their items you have\n"
    "  lessons add ID          add a lesson's missing items to the deck\n"
    "  translate TEXT          machine translation of a Hán passage ('-' reads standard input)\n"
    "  ocr IMAGE [--vertical|--horizontal]\n"
    "                          recognise the printed Hán text of a picture (a scan), then look\n"
    "                          it up; without an option the layout is detected\n"
    "  (none)                  a short demonstration\n"
    "\n"
    "--today DAY and --now SECONDS pin the study day and the clock (seconds since 1970)\n"
    "\n"
    "environment: TALVO_DICT (dictionary), TALVO_DATA_DIR (folder of overrides.sqlite and\n"
    "study.sqlite), TALVO_CONFIG (settings file), TALVO_TOKEN_STORE=file (sync token in a\n"
    "private file instead of the system keychain)\n"
    "exit codes: 0 answer, 1 reading, card or grade not saved or the service failed, 2 bad\n"
    "usage, 3 dictionary cannot be opened, 4 study database cannot be opened, 5 the picture\n"
    "cannot be read or recognised (or no recognition model is installed)\n";

struct Options {
    std::optional<std::string> dict;
    std::optional<std::string> dataDir;
    bool json = false;
    std::optional<AppLanguage> lang;
    std::optional<int64_t> today;
    std::optional<int64_t> now;
    std::string command;
    std::vector<std::string> operands;
};

struct UsageError {
    std::string message;
};

Options parse(const std::vector<std::string>& args) {
    Options o;
    size_t i = 0;
    auto value = [&](const std::string& name) {
        if (i + 1 >= args.size()) {
            throw UsageError{name + " needs a value"};
        }
        return args[++i];
    };
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--dict") {
            o.dict = value(a);
        } else if (a == "--data-dir") {
            o.dataDir = value(a);
        } else if (a == "--json") {
            o.json = true;
        } else if (a == "--lang") {
            std::string l = value(a);
            if (l != "vi" && l != "zh" && l != "en") {
                throw UsageError{"--lang takes vi, zh or en, not '" + l + "'"};
            }
            o.lang = appLanguageFromRaw(l);
        } else if (a == "--today" || a == "--now") {
            std::string v = value(a);
            if (auto bad = parseStudyTimeOption(a, v, a == "--today" ? o.today : o.now)) {
                throw UsageError{*bad};
            }
        } else if (a == "--help" || a == "-h") {
            o.command = "help";
            return o;
        } else if (a.size() > 1 && a[0] == '-' && a != "-") {
            throw UsageError{"unknown option " + a};
        } else {
            break;
        }
    }
    if (i < args.size()) {
        o.command = args[i++];
        o.operands.assign(args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
    }
    return o;
}

class Session {
  public:
    Session(const Options& o, Environment& e) : m_o(o), m_e(e) {
        m_lang = o.lang.value_or(
            appLanguageFromRaw(e.savedLanguage ? e.savedLanguage().value_or("") : std::string()));
    }

    // Opens the dictionary and, when it can, the overrides. False (after
    // telling the user why) when the dictionary cannot be opened.
    bool open() {
        std::string path = m_o.dict.value_or(paths::dictionaryPath(m_e.env, m_e.executableDir));
        try {
            m_dict = std::make_unique<DictionaryStore>(path);
        } catch (const DictionaryError& err) {
            m_e.err << format(msg::kCannotOpenDict, m_lang, "") << " " << path << ": " << err.what()
                    << '\n';
            if (!std::filesystem::exists(path)) {
                m_e.err << "No dictionary is installed there. `./dev build` builds one with "
                           "talvo-dictgen; --dict or TALVO_DICT point to another.\n";
            }
            return false;
        }
        m_dataDir = m_o.dataDir.value_or(paths::userDataDir(m_e.env));
        if (!m_dataDir.empty()) {
            try {
                m_overrides = std::make_unique<OverrideStore>(
                    (std::filesystem::path(m_dataDir) / "overrides.sqlite").string());
            } catch (const DictionaryError& err) {
                m_overrideError = err.what();
                m_e.err << "warning: your reading corrections are unavailable (" << err.what()
                        << "); showing the dictionary's readings.\n";
            }
        } else {
            m_overrideError = "no data folder (HOME is not set)";
        }
        m_service = std::make_unique<LookupService>(*m_dict, m_overrides.get());
        return true;
    }

    void showForward(const std::vector<std::string>& chars,
                     const std::vector<size_t>& breaks = {}) {
        PhraseLookup p = m_service->analyze(chars, breaks);
        if (m_o.json) {
            m_e.out << forwardJson(p) << '\n';
        } else {
            printForward(m_e.out, p);
        }
    }

    void showReverse(const std::vector<std::string>& syllables) {
        ReverseLookup r = m_service->reverse(syllables);
        if (m_o.json) {
            m_e.out << reverseJson(r) << '\n';
        } else {
            printReverse(m_e.out, r, m_lang);
        }
    }

    void showMessage(const Tr& text) {
        std::string m(text.pick(m_lang));
        m_e.out << (m_o.json ? messageJson(m) : m) << '\n';
    }

    int lookup(const std::string& selection) {
        LookupDecision d = LookupDecision::decide(selection);
        switch (d.kind) {
            case LookupDecision::Kind::Forward:
                showForward(d.chars, d.breaks);
                break;
            case LookupDecision::Kind::Reverse:
                showReverse(d.syllables);
                break;
            case LookupDecision::Kind::NoHanMessage:
                showMessage(msg::kNoHanInSelection);
                break;
        }
        return kExitOk;
    }

    int setReading(const std::string& ch, const std::string& readings) {
        if (!m_overrides) {
            m_e.err << "Could not save the reading: " << m_overrideError << '\n';
            return kExitFailure;
        }
        m_service->setReading(readings, ch);
        showForward({ch});
        return kExitOk;
    }

    int demo() {
        if (!m_o.json) {
            m_e.out << "Talvo — âm Hán-Việt và nghĩa cổ điển. Dictionary: " << m_dict->path()
                    << "\n\n$ talvo-cli lookup 數\n";
        }
        lookup("數");
        if (!m_o.json) {
            m_e.out << "\n$ talvo-cli lookup 傷寒論\n";
        }
        lookup("傷寒論");
        if (!m_o.json) {
            m_e.out << "\n$ talvo-cli lookup thương hàn\n";
        }
        lookup("thương hàn");
        return kExitOk;
    }

    DictionaryStore& dict() { return *m_dict; }
    LookupService& service() { return *m_service; }
    AppLanguage lang() const { return m_lang; }
    const std::string& dataDir() const { return m_dataDir; }

  private:
    const Options& m_o;
    Environment& m_e;
    AppLanguage m_lang = AppLanguage::vi;
    std::string m_dataDir;
    std::unique_ptr<DictionaryStore> m_dict;
    std::unique_ptr<OverrideStore> m_overrides;
    std::string m_overrideError;
    std::unique_ptr<LookupService> m_service;
};

}  // namespace

int run(const std::vector<std::string>& rawArgs, Environment& e) {
    // Arguments may come from anywhere; nothing downstream sees invalid UTF-8.
    std::vector<std::string> args;
    for (const std::string& a : rawArgs) {
        args.push_back(text::sanitizeUtf8(a));
    }
    Options o;
    try {
        o = parse(args);
        if (o.command == "help") {
            e.out << kUsage;
            return kExitOk;
        }
        if (o.command == "lookup" && o.operands.empty()) {
            throw UsageError{"lookup needs TEXT (or '-' for standard input)"};
        }
        if (o.command == "reverse" && o.operands.empty()) {
            throw UsageError{"reverse needs at least one SYLLABLE"};
        }
        if (o.command == "set-reading") {
            if (o.operands.size() != 2) {
                throw UsageError{"set-reading needs CHAR and TEXT (\"\" removes the override)"};
            }
            auto hs = HanTextParser::hanCharacters(o.operands[0]);
            if (hs.size() != 1 || hs[0] != o.operands[0]) {
                throw UsageError{"set-reading: '" + o.operands[0] + "' is not one Hán character"};
            }
        }
        if (o.command == "study") {
            if (auto bad = studyUsageError(o.operands, o.json)) {
                throw UsageError{*bad};
            }
        }
        if (isProgressCommand(o.command)) {
            if (auto bad = progressUsageError(o.command, o.operands, o.json)) {
                throw UsageError{*bad};
            }
        }
        if (isOnlineCommand(o.command)) {
            if (auto bad = onlineUsageError(o.command, o.operands)) {
                throw UsageError{*bad};
            }
        }
        if (o.command == "ocr") {
            if (auto bad = ocrUsageError(o.operands)) {
                throw UsageError{*bad};
            }
        }
        if (!o.command.empty() && o.command != "lookup" && o.command != "reverse" &&
            o.command != "set-reading" && o.command != "study" && o.command != "ocr" &&
            !isProgressCommand(o.command) && !isOnlineCommand(o.command)) {
            throw UsageError{"unknown command '" + o.command + "'"};
        }
    } catch (const UsageError& u) {
        e.err << "talvo-cli: " << u.message << "\n\n" << kUsage;
        return kExitUsage;
    }

    Session s(o, e);
    if (isOnlineCommand(o.command) && !onlineCommandNeedsDictionary(o.command)) {
        return runOnline(OnlineOptions{o.command, o.operands, o.json, s.lang(), "", o.today, o.now},
                         nullptr, e);
    }
    if (!s.open()) {
        return kExitNoDictionary;
    }
    if (o.command.empty()) {
        return s.demo();
    }
    if (isProgressCommand(o.command)) {
        return runProgress(
            ProgressOptions{o.command, o.operands, o.json, s.lang(), s.dataDir(), o.today, o.now},
            s.dict(), e);
    }
    if (isOnlineCommand(o.command)) {
        return runOnline(
            OnlineOptions{o.command, o.operands, o.json, s.lang(), s.dataDir(), o.today, o.now},
            &s.dict(), e);
    }
    if (o.command == "study") {
        return runStudy(StudyOptions{o.operands, o.json, s.lang(), s.dataDir(), o.today, o.now},
                        s.dict(), s.service(), e);
    }
    if (o.command == "ocr") {
        return runOcr(OcrOptions{o.operands, o.json, s.lang(), s.dict().path()}, s.service(), e);
    }
    if (o.command == "lookup") {
        if (o.operands.size() == 1 && o.operands[0] == "-") {
            std::string input((std::istreambuf_iterator<char>(e.in)),
                              std::istreambuf_iterator<char>());
            return s.lookup(input);
        }
        return s.lookup(joined(o.operands));
    }
    if (o.command == "reverse") {
        // Syllables are separated by white space whether or not the shell split them.
        std::vector<std::string> syllables;
        for (const std::string& a : o.operands) {
            std::string piece;
            for (const std::string& g : text::graphemes(a)) {
                if (text::isWhitespace(text::scalars(g).front())) {
                    if (!piece.empty()) {
                        syllables.push_back(std::move(piece));
                        piece.clear();
                    }
                } else {
                    piece += g;
                }
            }
            if (!piece.empty()) {
                syllables.push_back(std::move(piece));
            }
        }
        s.showReverse(syllables);
        return kExitOk;
    }
    return s.setReading(o.operands[0], o.operands[1]);
}

}  // namespace talvo::cli
