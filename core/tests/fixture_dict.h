#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace talvo::testing {

// A temporary folder removed with the object.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    const std::filesystem::path& path() const { return m_path; }
    std::string file(const std::string& name) const { return (m_path / name).string(); }

  private:
    std::filesystem::path m_path;
};

struct FixtureEntry {
    std::string ch;
    std::vector<std::string> readings;
    const char* gloss = nullptr;  // nullptr: no vantiel row
    const char* full = nullptr;
    int64_t freq = -1;  // -1: no corpus_freq row
};

struct FixtureWord {
    std::string text;
    std::string reading;
    uint32_t fixed = 0;
    const char* gloss = nullptr;  // Thiều Chửu's explanation
    const char* english = nullptr;
    int64_t freq = 0;
    const char* simplified = nullptr;
};

// Writes a dictionary with the shipped file's tables and indexes; the word
// tables only when `words` or `folds` (edition form, standard form) are given.
void writeFixtureDict(const std::string& path, const std::vector<FixtureEntry>& entries,
                      const std::vector<FixtureWord>& words = {},
                      const std::vector<std::pair<std::string, std::string>>& folds = {});

}  // namespace talvo::testing
