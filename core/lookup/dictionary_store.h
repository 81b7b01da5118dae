#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/lookup/lookup_result.h"

namespace talvo {

namespace db {
class Database;
}

// A row of the word table.
struct WordEntry {
    int64_t id = 0;
    std::string text;
    std::string reading;  // a syllable per character
    uint32_t fixed = 0;   // bit i: syllable i is the word's own, not the character's usual one
    std::optional<std::string> gloss;
    std::optional<std::string> glossSource;
    std::optional<std::string> english;
    int64_t freq = 0;
};

// What segmentation needs of the word table, held in memory.
struct WordIndex {
    struct Key {
        int64_t id;
        int64_t freq;
    };
    std::unordered_map<std::string, Key> byText;  // traditional and simplified forms
    std::unordered_set<std::string> prefixes;     // every word's first two characters
    // Edition forms the corpus writes for a standard one (隂 → 陰).
    std::unordered_map<std::string, std::string> fold;
    size_t maxLength = 0;  // characters
};

// Read-only gateway to dict.sqlite (tables han_viet, vantiel, corpus_freq,
// and the optional words and word_fold).
// Not thread-safe: use from one thread. After construction no operation fails
// outward: a missing table or column gives that operation's empty answer.
class DictionaryStore {
  public:
    // Opens read-only, never creating the file. Throws DictionaryError::cannotOpen
    // when SQLite cannot open it, when it is not a database, or when it lacks
    // the han_viet table every answer depends on.
    explicit DictionaryStore(const std::string& path);
    ~DictionaryStore();
    DictionaryStore(const DictionaryStore&) = delete;
    DictionaryStore& operator=(const DictionaryStore&) = delete;

    const std::string& path() const { return m_path; }

    // Readings in row (preference) order; empty strings are kept.
    std::vector<std::string> lookupChar(std::string_view ch);
    // Characters having the reading (trimmed, lower-cased), distinct, in row order.
    std::vector<std::string> lookupAm(std::string_view am);
    std::optional<std::string> charGloss(std::string_view ch);
    std::optional<std::string> charMeaning(std::string_view ch);
    // Corpus count, 0 when unknown.
    int64_t corpusFreq(std::string_view ch);
    // The most frequent characters that have at least one reading; limit >= 0.
    std::vector<std::string> topCharsByFreq(int limit);
    // The word table's index, read on first use and kept; empty when the
    // dictionary has no word table.
    const WordIndex& wordIndex();
    // The rows of these word ids (one query for all of them); ids without a
    // row are left out.
    std::unordered_map<int64_t, WordEntry> words(const std::vector<int64_t>& ids);
    // Words read exactly so (syllables lower case, one space apart), most
    // frequent first.
    std::vector<WordEntry> wordsByReading(std::string_view reading);
    // Dictionary-only lookup: no overrides, no medical preference.
    PhraseLookup analyze(const std::vector<std::string>& chars);

  private:
    std::optional<std::string> vantiel(std::string_view ch, const char* column);
    const std::unordered_map<std::string, int64_t>& frequencies();

    std::string m_path;
    std::unique_ptr<db::Database> m_db;
    std::optional<std::unordered_map<std::string, int64_t>> m_freq;
    std::optional<WordIndex> m_words;
};

}  // namespace talvo
