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
constexpr const char* kWordKeys = "SELECT id, text, simplified, freq FROM words";
constexpr const char* kWordFolds = "SELECT char, standard FROM word_fold";
constexpr const char* kWordColumns =
    "SELECT id, text, reading, fixed, gloss, gloss_source, english, freq FROM words ";
constexpr size_t kMaxWordLength = 8;
// A reverse lookup lists the words it finds before the characters; a handful is plenty.
constexpr int kWordsByReadingLimit = 20;

std::optional<WordEntry> wordRow(db::Statement& st) {
    auto text = st.text(1);
    auto reading = st.text(2);
    if (!text || !reading || text->empty()) {
        return std::nullopt;
    }
    auto optional = [&](int i) {
        auto v = st.text(i);
        return v && !v->empty() ? v : std::nullopt;
    };
    return WordEntry{
        st.int64(0), std::move(*text), std::move(*reading), static_cast<uint32_t>(st.int64(3)),
        optional(4), optional(5),      optional(6),         st.int64(7)};
}
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

const WordIndex& DictionaryStore::wordIndex() {
    if (m_words) {
        return *m_words;
    }
    m_words.emplace();
    WordIndex& index = *m_words;
    db::Statement count(*m_db, "SELECT count(*) FROM words");
    if (count.valid() && count.step()) {
        // Traditional and simplified forms, about one and a half keys a word.
        index.byText.reserve(static_cast<size_t>(count.int64(0)) * 3 / 2);
        index.prefixes.reserve(static_cast<size_t>(count.int64(0)));
    }
    db::Statement keys(*m_db, kWordKeys);
    while (keys.valid() && keys.step()) {
        WordIndex::Key key{keys.int64(0), keys.int64(3)};
        for (int column : {1, 2}) {
            auto t = keys.text(column);
            if (!t || t->empty()) {
                continue;
            }
            // Words are Hán characters, a code point each: counting lead
            // bytes is enough, and far cheaper than grapheme breaking.
            size_t chars = 0;
            size_t secondEnd = t->size();
            for (size_t i = 0; i < t->size(); ++i) {
                if ((static_cast<unsigned char>((*t)[i]) & 0xC0) != 0x80 && ++chars == 3) {
                    secondEnd = i;
                }
            }
            // The builder writes words of 2 to 8 characters; anything longer
            // would only slow every phrase down.
            if (chars < 2 || chars > kMaxWordLength) {
                continue;
            }
            index.maxLength = std::max(index.maxLength, chars);
            index.prefixes.insert(t->substr(0, secondEnd));
            index.byText.emplace(std::move(*t), key);
        }
    }
    db::Statement folds(*m_db, kWordFolds);
    while (folds.valid() && folds.step()) {
        auto from = folds.text(0);
        auto to = folds.text(1);
        if (from && to && !from->empty() && !to->empty()) {
            index.fold.emplace(std::move(*from), std::move(*to));
        }
    }
    return index;
}

std::unordered_map<int64_t, WordEntry> DictionaryStore::words(const std::vector<int64_t>& ids) {
    std::unordered_map<int64_t, WordEntry> out;
    if (ids.empty()) {
        return out;
    }
    // One statement for any number of ids: they travel as one JSON array.
    db::Statement* st =
        m_db->cached(std::string(kWordColumns) + "WHERE id IN (SELECT value FROM json_each(?))");
    if (!st) {
        return out;
    }
    std::string list = "[";
    for (int64_t id : ids) {
        list += (list.size() > 1 ? "," : "") + std::to_string(id);
    }
    list += ']';
    db::ScopedReset guard(*st);
    st->bind(1, list);
    while (st->step()) {
        if (auto w = wordRow(*st)) {
            out.emplace(w->id, std::move(*w));
        }
    }
    return out;
}

std::vector<WordEntry> DictionaryStore::wordsByReading(std::string_view reading) {
    std::vector<WordEntry> out;
    db::Statement* st =
        m_db->cached(std::string(kWordColumns) + "WHERE reading = ? ORDER BY freq DESC, id LIMIT " +
                     std::to_string(kWordsByReadingLimit));
    if (!st) {
        return out;
    }
    db::ScopedReset guard(*st);
    st->bind(1, reading);
    while (st->step()) {
        if (auto w = wordRow(*st)) {
            out.push_back(std::move(*w));
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
