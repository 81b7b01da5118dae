#include "tools/cli/cli_progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "core/lookup/dictionary_store.h"
#include "core/progress/badges.h"
#include "core/progress/profile_stats.h"
#include "core/progress/progress_store.h"
#include "core/progress/quiz_model.h"
#include "core/progress/xp.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "core/text/unicode.h"
#include "tools/cli/cli_format.h"
#include "tools/cli/cli_study.h"

namespace talvo::cli {

namespace {

using json = nlohmann::ordered_json;

constexpr const char* kCommands[] = {"profile", "badges", "quiz", "goal"};
constexpr int64_t kMaxGoal = 10000;
constexpr int kHeatmapRow = 30;  // cells per line of the heat map
constexpr int kBadgeColumns = 3;
constexpr size_t kBadgeCellWidth = 24;

void pad(std::ostream& out, const std::string& s, size_t width) {
    out << s;
    for (size_t w = text::displayWidth(s); w < width; ++w) {
        out << ' ';
    }
}

// Cells of a progress bar: full blocks for the filled part, light shade for the rest.
std::string bar(double fraction, int width) {
    const double f = std::clamp(std::isfinite(fraction) ? fraction : 0.0, 0.0, 1.0);
    const int filled = static_cast<int>(std::lround(f * width));
    std::string out;
    for (int i = 0; i < width; ++i) {
        out += i < filled ? "█" : "░";
    }
    return out;
}

std::string percent(double retention) {
    if (retention < 0) {
        return "—";
    }
    return std::to_string(static_cast<int>(std::lround(retention * 100))) + "%";
}

// Earned codes in catalogue order, then any the catalogue does not know
// (from a newer version, through sync) in code order.
std::vector<std::string> orderedCodes(const std::set<std::string>& earned) {
    std::vector<std::string> out;
    for (const BadgeDef& b : Badges::all()) {
        if (earned.count(b.code)) {
            out.push_back(b.code);
        }
    }
    for (const std::string& code : earned) {
        if (!Badges::def(code)) {
            out.push_back(code);
        }
    }
    return out;
}

json profileJson(const ProfileStats& p) {
    json heat = json::object();
    for (const auto& [day, n] : p.heatmap) {
        heat[std::to_string(day)] = n;
    }
    return json{{"xpTotal", p.xpTotal},
                {"level", p.level},
                {"xpIntoLevel", p.xpIntoLevel},
                {"xpLevelSpan", p.xpLevelSpan},
                {"rankHan", p.rankHan},
                {"rankName", p.rankName},
                {"streak", p.streak},
                {"bestStreak", p.bestStreak},
                {"xpToday", p.xpToday},
                {"dailyGoal", p.dailyGoal},
                {"learned", p.learned},
                {"total", p.total},
                {"mastered", p.mastered},
                {"retention", p.retention},
                {"totalReviews", p.totalReviews},
                {"freezeAvailable", p.freezeAvailable},
                {"heatmap", heat},
                {"earnedBadges", orderedCodes(p.earnedBadges)},
                {"displayName", p.displayName},
                {"avatarGlyph", p.avatarGlyph}};
}

class ProgressCommand {
  public:
    ProgressCommand(const ProgressOptions& o, ProgressStore& store, Environment& e)
        : m_o(o), m_store(store), m_e(e) {
        m_color = &e.out == &std::cout && isatty(STDOUT_FILENO);
    }

    int profile() {
        const int64_t today = m_store.clock().today();
        std::vector<std::string> fresh = m_store.evaluateBadges(today);
        ProfileStats p = m_store.profileStats(today);
        if (m_o.json) {
            m_e.out << dump(profileJson(p)) << '\n';
            return kExitOk;
        }
        std::ostream& out = m_e.out;
        out << p.avatarGlyph << "  " << p.rankHan << " " << p.rankName << " · cấp " << p.level;
        if (!p.displayName.empty()) {
            out << " · " << p.displayName;
        }
        out << "\n   "
            << bar(static_cast<double>(p.xpIntoLevel) /
                       static_cast<double>(std::max<int64_t>(p.xpLevelSpan, 1)),
                   30)
            << "  " << p.xpIntoLevel << "/" << p.xpLevelSpan << " XP · tổng " << p.xpTotal
            << " XP\n\n";
        out << "🔥 Chuỗi " << p.streak << " ngày · " << progresstext::kBestStreak << " "
            << p.bestStreak << " · đóng băng chuỗi " << p.freezeAvailable << "\n";
        out << progresstext::kGoalTitle << "  "
            << bar(static_cast<double>(p.xpToday) / static_cast<double>(p.dailyGoal), 20) << "  "
            << p.xpToday << "/" << p.dailyGoal << " XP" << (p.xpToday >= p.dailyGoal ? "  ✓" : "")
            << "\n";
        out << progresstext::kLearned << " " << p.learned << "/" << p.total << " · nhớ vững "
            << p.mastered << " · " << progresstext::kTotalReviews << " " << p.totalReviews << " · "
            << progresstext::kRetention << " " << percent(p.retention) << "\n\n";
        heatmap(p.heatmap, today);
        out << '\n';
        badgeGrid(p.earnedBadges);
        if (!fresh.empty()) {
            out << "\nHuy hiệu mới:";
            for (const std::string& code : fresh) {
                if (auto b = Badges::def(code)) {
                    out << "  " << b->han << " " << b->name;
                }
            }
            out << '\n';
        }
        return kExitOk;
    }

    int badges() {
        m_store.evaluateBadges();
        const std::set<std::string> earned = m_store.earnedBadges();
        if (m_o.json) {
            json list = json::array();
            for (const BadgeDef& b : Badges::all()) {
                list.push_back(json{{"code", b.code},
                                    {"han", b.han},
                                    {"name", b.name},
                                    {"detail", b.detail},
                                    {"earned", earned.count(b.code) > 0}});
            }
            m_e.out << dump(list) << '\n';
            return kExitOk;
        }
        size_t held = 0;
        for (const BadgeDef& b : Badges::all()) {
            const bool has = earned.count(b.code) > 0;
            held += has ? 1 : 0;
            m_e.out << dim(!has) << (has ? "✓ " : "· ");
            pad(m_e.out, b.han, 7);
            pad(m_e.out, b.name, 16);
            m_e.out << b.detail << undim(!has) << '\n';
        }
        m_e.out << held << "/" << Badges::all().size() << " huy hiệu\n";
        return kExitOk;
    }

    int goal() {
        if (!m_o.operands.empty()) {
            const int64_t xp = *StudyStore::parseDecimal(m_o.operands[0]);
            if (!m_store.setDailyGoal(xp)) {
                m_e.err << "talvo-cli: the goal was not saved (the study database is busy or "
                           "failing)\n";
                return kExitFailure;
            }
        }
        const int64_t current = m_store.dailyGoal();
        if (m_o.json) {
            m_e.out << dump(json{{"dailyGoal", current}}) << '\n';
            return kExitOk;
        }
        m_e.out << progresstext::kGoalTitle << ": " << current << " XP\n";
        if (m_o.operands.empty()) {
            m_e.out << "Gợi ý:";
            for (const profile::GoalChoice& c : profile::kGoalChoices) {
                m_e.out << "  " << c.xp << " (" << c.label << ")";
            }
            m_e.out << "\n`talvo-cli goal N` đặt mục tiêu N XP mỗi ngày.\n";
        }
        return kExitOk;
    }

    int quiz() {
        QuizModel model(m_store);
        // The mode named on the command line serves the first quiz; "Kiểm
        // tra tiếp" goes back to the picker, as the window does.
        std::optional<QuizMode> preset;
        if (!m_o.operands.empty()) {
            preset = quizModeFromRaw(m_o.operands[0]);
        }
        m_e.out << "Kiểm tra\n" << quiztext::kSubtitle << "\n";
        while (true) {
            const std::optional<QuizMode> mode = preset ? preset : pickMode();
            preset.reset();
            if (!mode) {
                return kExitOk;
            }
            model.start(mode.value_or(QuizMode::AmFromHan));
            if (model.deckTooSmall()) {
                m_e.out << "\n"
                        << quiztext::kNotEnoughCards << "\n"
                        << quiztext::kNotEnoughHint << "\n";
                return kExitOk;
            }
            if (!runQuestions(model)) {
                m_e.out << "Dừng: đúng " << model.score() << "/"
                        << model.index() + (model.answered() ? 1 : 0) << " câu.\n";
                return kExitOk;
            }
            m_e.out << "\nKết quả: đúng " << model.score() << "/" << model.questions().size()
                    << " · +" << model.score() * XP::kQuizCorrect << " XP\n";
            for (const std::string& code : model.newBadges()) {
                if (auto b = Badges::def(code)) {
                    m_e.out << "Huy hiệu mới: " << b->han << " " << b->name << "\n";
                }
            }
            m_e.out << "\n" << quiztext::kAgain << "  (⏎) · q: thoát\n";
            std::optional<std::string> line = readLine();
            if (!line || isQuit(*line)) {
                return kExitOk;
            }
        }
    }

  private:
    std::string dim(bool on) const { return on && m_color ? "\x1b[2m" : ""; }
    std::string undim(bool on) const { return on && m_color ? "\x1b[0m" : ""; }

    // The 90 days ending with today, 30 to a line, oldest first.
    void heatmap(const std::map<int64_t, int64_t>& counts, int64_t today) {
        static const char* const kCells[] = {"·", "░", "▓", "█"};
        // Jade in three strengths, as the window draws it.
        static const char* const kColors[] = {"\x1b[2m", "\x1b[38;5;65m", "\x1b[38;5;71m",
                                              "\x1b[38;5;35m"};
        std::ostream& out = m_e.out;
        out << progresstext::kHeatmapTitle << "\n";
        const int64_t span = profile::kHeatmapSpan;
        for (int64_t row = 0; row < span / kHeatmapRow; ++row) {
            const int64_t back = span - 1 - row * kHeatmapRow;
            std::string label = "-" + std::to_string(back) + " ngày";
            out << "  ";
            pad(out, label, 10);
            for (int64_t i = 0; i < kHeatmapRow; ++i) {
                const int64_t day = today - back + i;
                auto it = counts.find(day);
                const int level = profile::heatmapLevel(it == counts.end() ? 0 : it->second);
                out << (m_color ? kColors[level] : "") << kCells[level]
                    << (m_color ? "\x1b[0m" : "") << (i + 1 < kHeatmapRow ? " " : "");
            }
            out << (row + 1 == span / kHeatmapRow ? "  ← hôm nay" : "") << "\n";
        }
        out << "  " << std::string(10, ' ') << "· 0   ░ 1–4   ▓ 5–9   █ 10+ lượt ôn\n";
    }

    void badgeGrid(const std::set<std::string>& earned) {
        std::ostream& out = m_e.out;
        const std::vector<BadgeDef>& all = Badges::all();
        size_t held = 0;
        for (const BadgeDef& b : all) {
            held += earned.count(b.code);
        }
        out << "Huy hiệu · " << held << "/" << all.size() << "\n";
        for (size_t i = 0; i < all.size(); ++i) {
            const bool has = earned.count(all[i].code) > 0;
            const std::string cell =
                std::string(has ? "✓ " : "· ") + all[i].han + " " + all[i].name;
            out << (i % kBadgeColumns == 0 ? "  " : "") << dim(!has);
            const bool last = i % kBadgeColumns == kBadgeColumns - 1 || i + 1 == all.size();
            if (last) {
                out << cell;
            } else {
                pad(out, cell, kBadgeCellWidth);
            }
            out << undim(!has) << (last ? "\n" : "");
        }
    }

    std::optional<std::string> readLine() {
        m_e.out.flush();
        std::string line;
        if (!std::getline(m_e.in, line)) {
            return std::nullopt;
        }
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        return text::sanitizeUtf8(line);
    }

    static bool isQuit(const std::string& line) {
        std::string_view w = text::trimWhitespace(line);
        return w == "q" || w == "Q" || w == "quit";
    }

    // A number from 1 to n typed on a line; absent at the end of the input or on q.
    std::optional<size_t> readChoice(size_t n) {
        while (true) {
            m_e.out << "> ";
            std::optional<std::string> line = readLine();
            if (!line || isQuit(*line)) {
                return std::nullopt;
            }
            std::optional<int64_t> v = StudyStore::parseDecimal(text::trimWhitespace(*line));
            if (v && *v >= 1 && static_cast<size_t>(*v) <= n) {
                return static_cast<size_t>(*v - 1);
            }
            m_e.out << "Gõ một số từ 1 đến " << n << " (q để thoát).\n";
        }
    }

    std::optional<QuizMode> pickMode() {
        m_e.out << "\n" << quiztext::kPickHeading << "\n";
        for (size_t i = 0; i < kAllQuizModes.size(); ++i) {
            m_e.out << "  " << i + 1 << "  " << title(kAllQuizModes[i]) << "\n";
        }
        std::optional<size_t> c = readChoice(kAllQuizModes.size());
        if (!c) {
            return std::nullopt;
        }
        return kAllQuizModes[*c];
    }

    // False when the learner stopped before the end.
    bool runQuestions(QuizModel& model) {
        while (const QuizQuestion* q = model.current()) {
            m_e.out << "\nCâu " << model.index() + 1 << "/" << model.questions().size() << " · "
                    << prompt(q->mode) << "        đúng " << model.score() << "\n\n    "
                    << q->prompt << "\n\n";
            if (q->mode == QuizMode::TypeAm) {
                std::optional<std::string> line;
                do {
                    m_e.out << "> ";
                    line = readLine();
                } while (line && text::trimWhitespace(*line).empty());
                if (!line || isQuit(*line)) {
                    return false;
                }
                model.setTyped(*line);
                model.submitTyped();
            } else {
                for (size_t i = 0; i < q->options.size(); ++i) {
                    m_e.out << "  " << i + 1 << "  " << q->options[i] << "\n";
                }
                std::optional<size_t> c = readChoice(q->options.size());
                if (!c) {
                    return false;
                }
                model.choose(q->options[*c]);
            }
            verdict(model, *q);
            m_e.out << quiztext::kNext << "\n";
            std::optional<std::string> line = readLine();
            if (!line || isQuit(*line)) {
                return false;
            }
            model.next();
        }
        return true;
    }

    // Before next(): it clears what was picked or typed.
    void verdict(const QuizModel& model, const QuizQuestion& q) {
        m_e.out << "\n  ";
        if (model.lastCorrect()) {
            m_e.out << quiztext::kRight;
        } else if (q.mode == QuizMode::TypeAm) {
            m_e.out << quiztext::kWrongTyped << text::trimWhitespace(model.typed())
                    << quiztext::kQuoteEnd;
        } else {
            m_e.out << quiztext::kWrongPick << model.selected().value_or("") << quiztext::kQuoteEnd;
        }
        m_e.out << "\n  " << q.card.front << " — " << q.card.am;
        if (!q.card.gloss.empty()) {
            std::string gloss = q.card.gloss;
            std::replace(gloss.begin(), gloss.end(), '\n', ' ');
            m_e.out << " — " << gloss;
        }
        m_e.out << "\n";
    }

    const ProgressOptions& m_o;
    ProgressStore& m_store;
    Environment& m_e;
    bool m_color = false;
};

}  // namespace

bool isProgressCommand(const std::string& command) {
    return std::find(std::begin(kCommands), std::end(kCommands), command) != std::end(kCommands);
}

std::optional<std::string> progressUsageError(const std::string& command,
                                              const std::vector<std::string>& operands, bool json) {
    if (command == "quiz") {
        if (json) {
            return "quiz is interactive; --json does not apply";
        }
        if (operands.size() > 1 || (operands.size() == 1 && !quizModeFromRaw(operands[0]))) {
            return "quiz takes at most one mode: amFromHan, hanFromAm or typeAm";
        }
        return std::nullopt;
    }
    if (command == "goal") {
        if (operands.size() > 1) {
            return "goal takes one number: the XP to earn each day";
        }
        if (operands.size() == 1) {
            std::optional<int64_t> v = StudyStore::parseDecimal(operands[0]);
            if (!v || *v < 1 || *v > kMaxGoal) {
                return "goal takes a number of XP from 1 to " + std::to_string(kMaxGoal) +
                       ", not '" + operands[0] + "'";
            }
        }
        return std::nullopt;
    }
    if (!operands.empty()) {
        return command + " takes no arguments";
    }
    return std::nullopt;
}

int runProgress(const ProgressOptions& o, DictionaryStore& dict, Environment& e) {
    std::unique_ptr<StudyDatabase> database =
        openStudyDatabase(o.dataDir, o.lang, studyClock(o.now, o.today), e);
    if (!database) {
        return kExitNoStudyDatabase;
    }
    StudyStore(*database).seedIfEmpty(dict);
    ProgressStore progress(*database);
    ProgressCommand c(o, progress, e);
    if (o.command == "profile") {
        return c.profile();
    }
    if (o.command == "badges") {
        return c.badges();
    }
    if (o.command == "goal") {
        return c.goal();
    }
    return c.quiz();
}

}  // namespace talvo::cli
