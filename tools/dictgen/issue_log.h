#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace talvo::dictgen {

// Everything wrong with the input, so that nothing is dropped silently: every
// problem is counted against its file, and the first few of each file are kept
// with their line number for the report. Warnings are whole-source notes such
// as a missing optional source. Not thread-safe.
class IssueLog {
  public:
    static constexpr size_t kExamplesPerFile = 5;

    struct Example {
        size_t line;  // 1-based; 0 when the problem is not tied to a line
        std::string message;
    };
    struct FileIssues {
        std::string file;
        size_t count = 0;
        std::vector<Example> examples;
    };

    void add(const std::string& file, size_t line, std::string message);
    void warn(std::string message);

    size_t total() const;
    size_t countFor(const std::string& file) const;
    // In the order the files first reported something.
    const std::vector<FileIssues>& files() const { return m_files; }
    const std::vector<std::string>& warnings() const { return m_warnings; }

    enum class Paths { Full, FileNames };

    // Several lines, one header per file followed by its examples; empty when
    // there is nothing to say. FileNames keeps the text independent of where
    // the sources lie, for storing it.
    std::string format(Paths paths = Paths::Full) const;

  private:
    std::vector<FileIssues> m_files;
    std::vector<std::string> m_warnings;
};

}  // namespace talvo::dictgen
