#include "core/lookup/dictionary_store.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {
constexpr const char* kLookupChar = "SELECT am FROM han_viet WHERE char = ? ORDER BY rowid";
constexpr const char* kLookupAm =
    "SELECT DISTINCT char FROM han_viet WHERE lower(am) = ? ORDER BY rowid";
constexpr const char* kFrequencies = "SELECT char, n FROM corpus_freq";
}  // namespace

DictionaryStore::DictionaryStore(const std::string& path) : m_path(path) {
    try {
        // The shipped dictionary never changes under us, so SQLite may skip its
        // per-query locking.
        m_db = std::make_unique<db::Database>(path, db::Database::Mode::ReadOnlyImmutable);
    } catch (const db::OpenError& e) {
        throw DictionaryError::cannotOpen(e.what());
    }
    // SQLite opens lazily: read the schema now so that random bytes or an empty
    // file are reported here rather than as a dictionary that knows nothing.
    db::Statement probe(*m_db, "SELECT count(*) FROM sqlite_master WHERE name = 'han_viet'");
    if (!probe.valid()) {
        throw DictionaryError::cannotOpen(m_db->errorMessage());
    }
    if (!probe.step() || probe.int64(0) == 0) {
        throw DictionaryError::cannotOpen("no such table: han_viet");
    }
}

DictionaryStore::~DictionaryStore() = default;

std::vector<std::string> DictionaryStore::lookupChar(std::string_view ch) {
    std::vector<std::string> out;
    db::Statement* st = m_db->cached(kLookupChar);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, ch);
    while (st->step()) {
        if (auto am = st->text(0)) {
            out.push_back(std::move(*am));
        }
    }
    return out;
}

std::vector<std::string> DictionaryStore::lookupAm(std::string_view am) {
    std::vector<std::string> out;
    std::string key = text::nfc(text::toLower(text::trimWhitespace(am)));
    if (key.empty()) {
        return out;
    }
    db::Statement* st = m_db->cached(kLookupAm);
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, key);
    std::unordered_set<std::string> seen;
    while (st->step()) {
        auto c = st->text(0);
        if (!c || c->empty()) {
            continue;
        }
        std::string first = text::firstGrapheme(*c);
        if (seen.insert(first).second) {
            out.push_back(std::move(first));
        }
    }
    return out;
}

std::optional<std::string> DictionaryStore::vantiel(std::string_view ch, const char* column) {
    db::Statement* st =
        m_db->cached(std::string("SELECT ") + column + " FROM vantiel WHERE char = ? LIMIT 1");
    if (!st) {
        return std::nullopt;
    }
    db::ScopedReset guard(*st);
    st->bind(1, ch);
    if (!st->step()) {
        return std::nullopt;
    }
    auto v = st->text(0);
    if (!v || v->empty()) {
        return std::nullopt;
    }
    return v;
}

std::optional<std::string> DictionaryStore::charGloss(std::string_view ch) {
    return vantiel(ch, "gloss");
}

std::optional<std::string> DictionaryStore::charMeaning(std::string_view ch) {
    return vantiel(ch, "full");
}

const std::unordered_map<std::string, int64_t>& DictionaryStore::frequencies() {
    if (m_freq) {
        return *m_freq;
    }
    m_freq.emplace();
    db::Statement st(*m_db, kFrequencies);
    if (!st.valid()) {
        return *m_freq;
    }
    while (st.step()) {
        auto c = st.text(0);
        if (!c || c->empty()) {
            continue;
        }
        (*m_freq)[text::firstGrapheme(*c)] = st.int64(1);
    }
    return *m_freq;
}

int64_t DictionaryStore::corpusFreq(std::string_view ch) {
    const auto& f = frequencies();
    auto it = f.find(std::string(ch));
    return it == f.end() ? 0 : it->second;
}

std::vector<std::string> DictionaryStore::topCharsByFreq(int limit) {
    assert(limit >= 0 && "topCharsByFreq: negative limit");
    std::vector<std::string> out;
    if (limit <= 0) {
        return out;
    }
    std::vector<std::pair<std::string, int64_t>> entries(frequencies().begin(),
                                                         frequencies().end());
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    for (const auto& [ch, n] : entries) {
        if (!lookupChar(ch).empty()) {
            out.push_back(ch);
            if (static_cast<int>(out.size()) == limit) {
                break;
            }
        }
    }
    return out;
}

PhraseLookup DictionaryStore::analyze(const std::vector<std::string>& chars) {
    PhraseLookup result;
    for (const std::string& ch : chars) {
        result.chars.push_back(CharReading{ch, lookupChar(ch), charGloss(ch)});
        result.phrase += ch;
    }
    if (chars.size() == 1) {
        result.nghia = charMeaning(chars.front());
        result.matchedSubphrase = chars.front();
    }
    return result;
}

}  // namespace talvo
