#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

struct ReadingsCsvData {
    // Readings per character in row order (rows follow pinyin, not preference).
    std::unordered_map<char32_t, std::vector<std::string>> readings;
    size_t rows = 0;
    size_t emptyRows = 0;  // rows that list no reading
};

// Reads a `char,hanviet,pinyin` table whose hanviet column is a list literal
// such as "['phao', 'bào']". Throws SourceError when the file cannot be
// opened; malformed rows and readings are logged and skipped.
class ReadingsCsvReader {
  public:
    static ReadingsCsvData read(const std::string& path, IssueLog& issues);
};

}  // namespace talvo::dictgen
