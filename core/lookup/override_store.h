#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo {

namespace db {
class Database;
class ReadTransaction;
}  // namespace db

// The user's reading corrections in overrides.sqlite (table char_override).
// Main thread only. Writes are single statements, so a failed write leaves the
// previous override intact; write failures are silent.
class OverrideStore {
  public:
    // Creates the parent folder and the file when missing. Throws
    // DictionaryError::cannotOpen when the file cannot be opened or the table
    // cannot be created (an unwritable folder, a corrupt file).
    explicit OverrideStore(const std::string& path);
    ~OverrideStore();
    OverrideStore(const OverrideStore&) = delete;
    OverrideStore& operator=(const OverrideStore&) = delete;

    const std::string& path() const { return m_path; }

    // Absent when there is no override or it holds no non-blank reading.
    std::optional<std::vector<std::string>> readings(std::string_view ch);
    // Blank readings are dropped; when none is left the override is removed.
    void setReadings(const std::vector<std::string>& readings, std::string_view ch);
    void clear(std::string_view ch);

    // Holds one read snapshot of the overrides while it lives, so a lookup of
    // many characters reads them consistently and locks the file once.
    class ReadScope {
      public:
        explicit ReadScope(OverrideStore* store);
        ~ReadScope();
        ReadScope(const ReadScope&) = delete;
        ReadScope& operator=(const ReadScope&) = delete;

      private:
        std::unique_ptr<db::ReadTransaction> m_tx;
    };

  private:
    std::string m_path;
    std::unique_ptr<db::Database> m_db;
};

}  // namespace talvo
