#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

struct ReadingsCsvData {
    // Readings per character in row order (rows follow pinyin, not preference).
    std::unordered_map<char32_t, std::vector<std::string>> readings;
    // The same rows by pronunciation: numbered-tone pinyin as the table writes
    // it ("gan1", "nu:3"), or "*" for a reading that holds for any pinyin.
    struct ByPinyin {
        std::string pinyin;
        std::vector<std::string> readings;
    };
    std::unordered_map<char32_t, std::vector<ByPinyin>> byPinyin;
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
