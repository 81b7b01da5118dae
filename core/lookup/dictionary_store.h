#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/lookup/lookup_result.h"

namespace talvo {

namespace db {
class Database;
}

// Read-only gateway to dict.sqlite (tables han_viet, vantiel, corpus_freq).
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
    // Dictionary-only lookup: no overrides, no medical preference.
    PhraseLookup analyze(const std::vector<std::string>& chars);

  private:
    std::optional<std::string> vantiel(std::string_view ch, const char* column);
    const std::unordered_map<std::string, int64_t>& frequencies();

    std::string m_path;
    std::unique_ptr<db::Database> m_db;
    std::optional<std::unordered_map<std::string, int64_t>> m_freq;
};

}  // namespace talvo
