#include "core/study/study_queries.h"

#include <limits>

#include "core/db/database.h"
#include "core/text/unicode.h"

namespace talvo::studydb {

namespace {

constexpr const char* kCfgGet = "SELECT v FROM cfg WHERE k=?";
constexpr const char* kCfgSet =
    "INSERT INTO cfg (k,v) VALUES (?,?) ON CONFLICT(k) DO UPDATE SET v=excluded.v";

}  // namespace

std::optional<int64_t> parseDecimal(std::string_view text) {
    bool negative = false;
    size_t i = 0;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        negative = text[0] == '-';
        i = 1;
    }
    if (i == text.size()) {
        return std::nullopt;
    }
    // Accumulate toward the negative side, which has room for INT64_MIN.
    int64_t value = 0;
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        int digit = c - '0';
        if (value < (std::numeric_limits<int64_t>::min() + digit) / 10) {
            return std::nullopt;
        }
        value = value * 10 - digit;
    }
    if (!negative) {
        if (value == std::numeric_limits<int64_t>::min()) {
            return std::nullopt;
        }
        value = -value;
    }
    return value;
}

std::optional<std::string> cfg(db::Database& d, std::string_view key) {
    db::Statement* st = d.cached(kCfgGet);
    if (!st) {
        return std::nullopt;
    }
    db::ScopedReset guard(*st);
    st->bind(1, key);
    if (!st->step()) {
        return std::nullopt;
    }
    return st->text(0);
}

std::optional<int64_t> cfgInt(db::Database& d, std::string_view key) {
    std::optional<std::string> v = cfg(d, key);
    return v ? parseDecimal(*v) : std::nullopt;
}

bool setCfg(db::Database& d, std::string_view key, std::string_view value) {
    db::Statement* st = d.cached(kCfgSet);
    if (!st) {
        return false;
    }
    db::ScopedReset guard(*st);
    st->bind(1, key).bind(2, value);
    return st->run();
}

int64_t count(db::Database& d, const std::string& sql, std::optional<int64_t> param) {
    db::Statement* st = d.cached(sql);
    if (!st) {
        return 0;
    }
    db::ScopedReset guard(*st);
    if (param) {
        st->bind(1, *param);
    }
    return st->step() ? st->int64(0) : 0;
}

std::vector<StudyCard> cards(db::Database& d, const std::string& sql,
                             const std::function<void(db::Statement&)>& bind) {
    std::vector<StudyCard> out;
    db::Statement* st = d.cached(sql);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    bind(*st);
    while (st->step()) {
        StudyCard c;
        c.id = st->int64(0);
        c.uid = st->text(1).value_or("");
        c.front = text::sanitizeUtf8(st->text(2).value_or(""));
        c.am = text::sanitizeUtf8(st->text(3).value_or(""));
        c.gloss = text::sanitizeUtf8(st->text(4).value_or(""));
        c.state.stability = st->real(5);
        c.state.difficulty = st->real(6);
        c.state.reps = st->int64(7);
        c.state.lapses = st->int64(8);
        c.due = st->int64(9);
        out.push_back(std::move(c));
    }
    return out;
}

}  // namespace talvo::studydb
