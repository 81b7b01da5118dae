#include "tools/dictgen/issue_log.h"

#include <algorithm>
#include <filesystem>

namespace talvo::dictgen {

void IssueLog::add(const std::string& file, size_t line, std::string message) {
    auto it = std::find_if(m_files.begin(), m_files.end(),
                           [&](const FileIssues& f) { return f.file == file; });
    if (it == m_files.end()) {
        m_files.push_back(FileIssues{file, 0, {}});
        it = std::prev(m_files.end());
    }
    ++it->count;
    if (it->examples.size() < kExamplesPerFile) {
        it->examples.push_back(Example{line, std::move(message)});
    }
}

void IssueLog::warn(std::string message) {
    m_warnings.push_back(std::move(message));
}

size_t IssueLog::total() const {
    size_t n = 0;
    for (const FileIssues& f : m_files) {
        n += f.count;
    }
    return n;
}

size_t IssueLog::countFor(const std::string& file) const {
    for (const FileIssues& f : m_files) {
        if (f.file == file) {
            return f.count;
        }
    }
    return 0;
}

std::string IssueLog::format(Paths paths) const {
    std::string out;
    for (const std::string& w : m_warnings) {
        out += "warning: " + w + "\n";
    }
    for (const FileIssues& f : m_files) {
        std::string name =
            paths == Paths::Full ? f.file : std::filesystem::path(f.file).filename().string();
        out += name + ": " + std::to_string(f.count) + (f.count == 1 ? " problem" : " problems");
        if (f.count > f.examples.size()) {
            out += " (first " + std::to_string(f.examples.size()) + " shown)";
        }
        out += "\n";
        for (const Example& e : f.examples) {
            out += "  ";
            if (e.line > 0) {
                out += "line " + std::to_string(e.line) + ": ";
            }
            out += e.message + "\n";
        }
    }
    return out;
}

}  // namespace talvo::dictgen
