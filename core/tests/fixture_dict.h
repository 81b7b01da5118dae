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

// Writes a dictionary with the shipped file's tables and indexes.
void writeFixtureDict(const std::string& path, const std::vector<FixtureEntry>& entries);

}  // namespace talvo::testing
