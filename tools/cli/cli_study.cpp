#include "tools/cli/cli_study.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_service.h"
#include "core/study/card_uid.h"
#include "core/study/study_database.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/text/unicode.h"
#include "tools/cli/cli_format.h"

namespace talvo::cli {

namespace {

using json = nlohmann::ordered_json;

constexpr const char* kCommands[] = {"summary", "queue", "grade", "add-lookup", "seed", "review"};

// Day numbers are 32-bit in the database and in the sync payloads.
constexpr int64_t kMinDay = -2147483648LL;
constexpr int64_t kMaxDay = 2147483647LL;
// Years 1 to 9999: every calendar can place these moments.
constexpr int64_t kMinSeconds = -62135596800LL;
constexpr int64_t kMaxSeconds = 253402300799LL;

constexpr Tr kCannotOpenStudy{"Không mở được study.sqlite.", "無法開啟 study.sqlite。",
                              "Could not open study.sqlite."};

json stateJson(const ReviewState& s) {
    return json{{"stability", s.stability},
                {"difficulty", s.difficulty},
                {"reps", s.reps},
                {"lapses", s.lapses},
                {"intervalDays", s.intervalDays}};
}

json cardJson(const StudyCard& c) {
    return json{{"id", c.id},         {"uid", c.uid},     {"front", c.front},
                {"am", c.am},         {"gloss", c.gloss}, {"state", stateJson(c.state)},
                {"isNew", c.isNew()}, {"due", c.due}};
}

json summaryJson(const StudySummary& s) {
    return json{{"dueReviews", s.dueReviews},
                {"newRemaining", s.newRemaining},
                {"learned", s.learned},
                {"total", s.total},
                {"streak", s.streak},
                {"bestStreak", s.bestStreak},
                {"reviewedToday", s.reviewedToday}};
}

std::optional<Rating> parseRating(const std::string& word) {
    std::string w = text::toLower(word);
    const char* names[] = {"again", "hard", "good", "easy"};
    for (size_t i = 0; i < 4; ++i) {
        if (w == names[i] || w == std::to_string(i + 1)) {
            return kAllRatings[i];
        }
    }
    return std::nullopt;
}

std::string oneLine(std::string s) {
    std::replace(s.begin(), s.end(), '\n', ' ');
    return s;
}

void pad(std::ostream& out, const std::string& s, size_t width) {
    out << s;
    for (size_t w = text::displayWidth(s); w < width; ++w) {
        out << ' ';
    }
}

// ---- keys of the interactive review ----------------------------------------

struct KeyPress {
    bool quit = false;
    StudyKey key = StudyKey::Other;
    KeyModifiers mods;
};

class KeySource {
  public:
    virtual ~KeySource() = default;
    // Absent at the end of the input.
    virtual std::optional<KeyPress> next() = 0;
};

// One key per line, for pipes and scripts: "1" to "4", an empty line for
// Return, a blank or "space" for Space, "q" to stop.
class LineKeys : public KeySource {
  public:
    explicit LineKeys(std::istream& in) : m_in(in) {}

    std::optional<KeyPress> next() override {
        std::string line;
        if (!std::getline(m_in, line)) {
            return std::nullopt;
        }
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        KeyPress k;
        std::string_view word = text::trimBlanks(line);
        if (line.empty()) {
            k.key = StudyKey::Return;
        } else if (word.empty() || word == "space") {
            k.key = StudyKey::Space;
        } else if (word.size() == 1 && word[0] >= '1' && word[0] <= '4') {
            k.key = static_cast<StudyKey>(static_cast<int>(StudyKey::Digit1) + (word[0] - '1'));
        } else if (word == "q" || word == "quit") {
            k.quit = true;
        }
        return k;
    }

  private:
    std::istream& m_in;
};

// Single key presses from a terminal, without echo. The terminal's settings
// are restored when the object goes away, whatever path leaves the review.
class TerminalKeys : public KeySource {
  public:
    TerminalKeys() {
        if (tcgetattr(STDIN_FILENO, &m_saved) != 0) {
            return;
        }
        termios raw = m_saved;
        // Ctrl-C arrives as a byte and ends the review like "q", so the
        // terminal is always put back.
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        m_active = tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) == 0;
    }
    ~TerminalKeys() override {
        if (m_active) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_saved);
        }
    }
    TerminalKeys(const TerminalKeys&) = delete;
    TerminalKeys& operator=(const TerminalKeys&) = delete;

    std::optional<KeyPress> next() override {
        std::optional<unsigned char> c = readByte(-1);
        if (!c) {
            return std::nullopt;
        }
        KeyPress k;
        switch (*c) {
            case '1':
            case '2':
            case '3':
            case '4':
                k.key = static_cast<StudyKey>(static_cast<int>(StudyKey::Digit1) + (*c - '1'));
                break;
            case '\r':
            case '\n':
                k.key = StudyKey::Return;
                break;
            case ' ':
                k.key = StudyKey::Space;
                break;
            case 'q':
            case 'Q':
            case 3:  // Ctrl-C
            case 4:  // Ctrl-D
                k.quit = true;
                break;
            case 27:
                return escape();
            default:
                break;
        }
        return k;
    }

  private:
    // Escape alone ends the review; Escape followed at once by a key is that
    // key with Option (Alt), which the session leaves alone; arrow and
    // function keys are swallowed whole.
    KeyPress escape() {
        KeyPress k;
        std::optional<unsigned char> c = readByte(30);
        if (!c) {
            k.quit = true;
            return k;
        }
        if (*c == '[' || *c == 'O') {
            for (std::optional<unsigned char> b = readByte(30); b && (*b < 0x40 || *b > 0x7E);
                 b = readByte(30)) {
            }
            return k;
        }
        k.mods.option = true;
        if (*c >= '1' && *c <= '4') {
            k.key = static_cast<StudyKey>(static_cast<int>(StudyKey::Digit1) + (*c - '1'));
        }
        return k;
    }

    // A byte, waiting at most timeoutMs (-1: as long as it takes).
    std::optional<unsigned char> readByte(int timeoutMs) {
        pollfd p{STDIN_FILENO, POLLIN, 0};
        if (poll(&p, 1, timeoutMs) <= 0) {
            return std::nullopt;
        }
        unsigned char c = 0;
        if (read(STDIN_FILENO, &c, 1) != 1) {
            return std::nullopt;
        }
        return c;
    }

    termios m_saved{};
    bool m_active = false;
};

// ---- the commands ------------------------------------------------------------

class StudyCommand {
  public:
    StudyCommand(const StudyOptions& o, StudyStore& store, Environment& e)
        : m_o(o), m_store(store), m_e(e) {}

    int summary() {
        StudySummary s = m_store.summary();
        if (m_o.json) {
            m_e.out << dump(summaryJson(s)) << '\n';
            return kExitOk;
        }
        m_e.out << studyBadgeTitle(s) << '\n'
                << studytext::kStreak << ": " << s.streak << " (dài nhất " << s.bestStreak << ")\n"
                << studytext::kReviewedToday << ": " << s.reviewedToday << '\n'
                << studytext::kRemaining << ": " << s.dueReviews + s.newRemaining << " ("
                << s.dueReviews << " đến hạn, " << s.newRemaining << " mới)\n"
                << studytext::kLearned << ": " << s.learned << '/' << s.total << '\n';
        return kExitOk;
    }

    int queue() {
        std::vector<StudyCard> cards = m_store.queue();
        if (m_o.json) {
            json list = json::array();
            for (const StudyCard& c : cards) {
                list.push_back(cardJson(c));
            }
            m_e.out << dump(list) << '\n';
            return kExitOk;
        }
        if (cards.empty()) {
            m_e.out << studytext::kNothingDue << '\n';
            return kExitOk;
        }
        size_t frontWidth = 0, amWidth = 0;
        for (const StudyCard& c : cards) {
            frontWidth = std::max(frontWidth, text::displayWidth(c.front));
            amWidth = std::min<size_t>(std::max(amWidth, text::displayWidth(c.am)), 24);
        }
        const std::string indexWidth = std::to_string(cards.size());
        for (size_t i = 0; i < cards.size(); ++i) {
            const StudyCard& c = cards[i];
            std::string n = std::to_string(i + 1);
            m_e.out << std::string(indexWidth.size() - n.size(), ' ') << n << "  ";
            pad(m_e.out, c.front, frontWidth);
            m_e.out << "  ";
            pad(m_e.out, c.am, amWidth);
            m_e.out << "  ";
            if (c.isNew()) {
                m_e.out << studytext::kNewCard;
            } else {
                m_e.out << "đến hạn ngày " << c.due;
            }
            if (!c.gloss.empty()) {
                m_e.out << "  " << oneLine(c.gloss);
            }
            m_e.out << uidNote(c) << '\n';
        }
        return kExitOk;
    }

    int grade(const std::string& uid, Rating rating) {
        std::optional<StudyCard> card = m_store.cardByUid(uid);
        if (!card) {
            m_e.err << "talvo-cli: no card '" << uid << "' in the deck (see `study queue`)\n";
            return kExitFailure;
        }
        const int64_t today = m_store.clock().today();
        std::optional<ReviewState> next = m_store.grade(*card, rating, today);
        if (!next) {
            m_e.err << "talvo-cli: the grade was not saved (the study database is busy or "
                       "failing); nothing changed\n";
            return kExitFailure;
        }
        card->state = *next;
        card->due = today + next->intervalDays;
        if (m_o.json) {
            m_e.out << dump(cardJson(*card)) << '\n';
            return kExitOk;
        }
        m_e.out << card->front << "  " << ratingLabel(rating).pick(m_o.lang) << ": ôn lại sau "
                << next->intervalDays << " ngày (ngày " << card->due << ")\n";
        return kExitOk;
    }

    // The lookup popup's add-to-study action, on the Hán characters of text.
    int addLookup(const std::string& selection, LookupService& lookup) {
        std::vector<std::string> chars = HanTextParser::hanCharacters(selection);
        if (chars.empty()) {
            m_e.err << msg::kNoHanInSelection.pick(m_o.lang) << '\n';
            return kExitFailure;
        }
        PhraseLookup result = lookup.analyze(chars, HanTextParser::wordBreaks(selection));
        // As the lookup flow does: only a full one-character entry is history.
        if (!result.amString().empty() && result.nghia && !result.nghia->empty()) {
            m_store.recordLookup(result.phrase, result.phrase);
        }
        std::string am = result.amString();
        if (am.empty()) {
            m_e.err << "talvo-cli: " << result.phrase
                    << " has no reading in the dictionary; a card needs one\n";
            return kExitFailure;
        }
        std::string uid = result.chars.size() == 1 ? lookupCardUid(true, result.chars[0].ch)
                                                   : lookupCardUid(false, result.phrase);
        std::string gloss = result.studyGloss();
        bool added = m_store.addLookupCard(uid, result.phrase, am, gloss);
        if (m_o.json) {
            m_e.out << dump(json{{"added", added},
                                 {"uid", uid},
                                 {"front", result.phrase},
                                 {"am", am},
                                 {"gloss", gloss}})
                    << '\n';
        } else if (added) {
            m_e.out << "Đã thêm thẻ " << uid << " — " << am << '\n';
        } else {
            m_e.out << "Thẻ " << uid << " đã có trong bộ thẻ.\n";
        }
        return kExitOk;
    }

    int seed(DictionaryStore& dict) {
        int64_t added = m_store.seedIfEmpty(dict);
        int64_t total = m_store.summary().total;
        if (m_o.json) {
            m_e.out << dump(json{{"added", added}, {"total", total}}) << '\n';
        } else if (added > 0) {
            m_e.out << "Đã thêm " << added << " thẻ từ " << dict.path() << ".\n";
        } else {
            m_e.out << "Bộ thẻ đã có " << total << " thẻ; không thêm gì.\n";
        }
        return kExitOk;
    }

    int review() {
        std::unique_ptr<KeySource> keys;
        bool terminal = &m_e.in == &std::cin && isatty(STDIN_FILENO);
        if (terminal) {
            keys = std::make_unique<TerminalKeys>();
        } else {
            keys = std::make_unique<LineKeys>(m_e.in);
        }
        // Redraw in place only on a screen; a log or a pipe gets each screen in turn.
        const bool screen = &m_e.out == &std::cout && isatty(STDOUT_FILENO);
        StudySession session(m_store);
        session.reload();
        draw(session, screen);
        while (session.card()) {
            std::optional<KeyPress> press = keys->next();
            if (!press || press->quit) {
                m_e.out << "Dừng: đã ôn " << session.doneThisSession() << " thẻ, còn "
                        << session.queue().size() << " thẻ.\n";
                return kExitOk;
            }
            StudyKeyAction action = studyKeyAction(press->key, press->mods, session.revealed(),
                                                   session.choices().size());
            const std::string uid = session.card()->uid;
            const bool revealed = session.revealed();
            const int64_t done = session.doneThisSession();
            session.handle(press->key, press->mods);
            if (action.kind == StudyKeyAction::Kind::Grade && session.doneThisSession() == done) {
                m_e.err << "Không lưu được điểm; thử lại.\n";
            }
            bool changed = !session.card() || session.card()->uid != uid ||
                           session.revealed() != revealed || session.doneThisSession() != done;
            if (changed) {
                draw(session, screen);
            }
        }
        return kExitOk;
    }

  private:
    // Cards of one text can differ only by kind ("char:" or "phrase:"); the
    // list shows the uid where the front alone would not say which card it is.
    static std::string uidNote(const StudyCard& c) {
        if (c.uid == lookupCardUid(true, c.front) || c.uid == lookupCardUid(false, c.front)) {
            return "";
        }
        return "  [" + c.uid + "]";
    }

    void draw(const StudySession& s, bool screen) {
        std::ostream& out = m_e.out;
        if (screen) {
            out << "\x1b[H\x1b[2J";
        } else {
            out << '\n';
        }
        const StudySummary& sum = s.summary();
        out << studytext::kStreak << ' ' << sum.streak << "   " << studytext::kReviewedToday << ' '
            << sum.reviewedToday << "   " << studytext::kRemaining << ' '
            << sum.dueReviews + sum.newRemaining << "   " << studytext::kLearned << ' '
            << sum.learned << '/' << sum.total << "\n\n";
        if (!s.card()) {
            out << "    " << studytext::kMotto << "\n    " << studytext::kFinishedTitle << "\n    "
                << finishedText(s.doneThisSession(), sum.streak) << '\n';
            out.flush();
            return;
        }
        const StudyCard& c = *s.card();
        out << "    " << c.front;
        if (c.isNew()) {
            out << "    (" << studytext::kNewCard << ")";
        }
        out << "\n\n";
        if (!s.revealed()) {
            if (s.choices().empty()) {
                out << "  " << studytext::kReveal << '\n';
            } else {
                for (size_t i = 0; i < s.choices().size(); ++i) {
                    out << "  " << i + 1 << "  " << s.choices()[i] << '\n';
                }
                out << "  " << studytext::kUnsureReveal << '\n';
            }
            out.flush();
            return;
        }
        out << "    " << (c.am.empty() ? "—" : c.am) << '\n';
        if (!c.gloss.empty()) {
            out << "    " << oneLine(c.gloss) << '\n';
        }
        if (std::optional<std::string> verdict = verdictLine(s.picked(), c.am)) {
            out << '\n' << "  " << *verdict << '\n';
        }
        out << "\n ";
        for (Rating r : kAllRatings) {
            out << (r == Rating::Again ? " " : "   ") << rawValue(r) << ' '
                << ratingLabel(r).pick(m_o.lang);
        }
        out << '\n';
        out.flush();
    }

    const StudyOptions& m_o;
    StudyStore& m_store;
    Environment& m_e;
};

}  // namespace

Clock studyClock(std::optional<int64_t> now, std::optional<int64_t> today) {
    Clock c = Clock::system();
    if (now) {
        int64_t pinned = *now;
        c.secondsNow = [pinned] { return pinned; };
    }
    c.pinnedDay = today;
    return c;
}

std::optional<std::string> studyUsageError(const std::vector<std::string>& operands, bool json) {
    if (operands.empty()) {
        return "study needs a command: summary, queue, grade, add-lookup, seed or review";
    }
    const std::string& cmd = operands[0];
    if (std::find(std::begin(kCommands), std::end(kCommands), cmd) == std::end(kCommands)) {
        return "unknown study command '" + cmd + "'";
    }
    const size_t args = operands.size() - 1;
    if (cmd == "grade") {
        if (args != 2) {
            return "study grade needs UID and again|hard|good|easy (or 1-4)";
        }
        if (!parseRating(operands[2])) {
            return "study grade: '" + operands[2] + "' is not again, hard, good, easy or 1-4";
        }
    } else if (cmd == "add-lookup") {
        if (args == 0) {
            return "study add-lookup needs TEXT";
        }
    } else if (args != 0) {
        return "study " + cmd + " takes no arguments";
    }
    if (cmd == "review" && json) {
        return "study review is interactive; --json does not apply";
    }
    return std::nullopt;
}

std::optional<std::string> parseStudyTimeOption(const std::string& name, const std::string& value,
                                                std::optional<int64_t>& out) {
    const bool isDay = name == "--today";
    std::optional<int64_t> v = StudyStore::parseDecimal(value);
    const int64_t lo = isDay ? kMinDay : kMinSeconds;
    const int64_t hi = isDay ? kMaxDay : kMaxSeconds;
    if (!v || *v < lo || *v > hi) {
        return name + " takes " + (isDay ? "a day number" : "seconds since 1970") + " from " +
               std::to_string(lo) + " to " + std::to_string(hi) + ", not '" + value + "'";
    }
    out = v;
    return std::nullopt;
}

std::unique_ptr<StudyDatabase> openStudyDatabase(const std::string& dataDir, AppLanguage lang,
                                                 Clock clock, Environment& e) {
    const std::string path = StudyDatabase::defaultPath(dataDir);
    if (path.empty()) {
        e.err << kCannotOpenStudy.pick(lang)
              << " There is no data folder: set HOME, XDG_DATA_HOME or TALVO_DATA_DIR, or pass "
                 "--data-dir.\n";
        return nullptr;
    }
    try {
        return std::make_unique<StudyDatabase>(path, std::move(clock));
    } catch (const DictionaryError& err) {
        e.err << kCannotOpenStudy.pick(lang) << " " << path << ": " << err.what()
              << "\nThe file was left as it is.\n";
        return nullptr;
    }
}

int runStudy(const StudyOptions& o, DictionaryStore& dict, LookupService& lookup, Environment& e) {
    std::unique_ptr<StudyDatabase> database =
        openStudyDatabase(o.dataDir, o.lang, studyClock(o.now, o.today), e);
    if (!database) {
        return kExitNoStudyDatabase;
    }
    StudyStore store(*database);
    const std::string& cmd = o.operands[0];
    StudyCommand c(o, store, e);
    if (cmd == "seed") {
        return c.seed(dict);
    }
    store.seedIfEmpty(dict);
    if (cmd == "summary") {
        return c.summary();
    }
    if (cmd == "queue") {
        return c.queue();
    }
    if (cmd == "grade") {
        return c.grade(o.operands[1], *parseRating(o.operands[2]));
    }
    if (cmd == "add-lookup") {
        return c.addLookup(joined({o.operands.begin() + 1, o.operands.end()}), lookup);
    }
    return c.review();
}

}  // namespace talvo::cli
