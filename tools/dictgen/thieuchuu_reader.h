#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/issue_log.h"
#include "tools/dictgen/quoted_compounds.h"

namespace talvo::dictgen {

struct ThieuChuuEntry {
    std::vector<std::string> readings;  // the dictionary's order, normalized
    std::vector<std::string> senses;    // numbering removed, in order
    // Set when the entry is nothing but a note that the character is another
    // one's form ("Tục dùng như chữ âm 陰."): that character, and the reading
    // the note names, if it names one.
    std::optional<char32_t> pointsTo;
    std::string pointerReading;
    // The senses of each part of the entry that has a meaning of its own,
    // joined; two characters with an equal text are copies of one entry.
    std::vector<std::string> ownTexts;
    // Characters the senses name as another way of writing this one, in
    // order ("Tục dùng như chữ cường 強" under 强).
    std::vector<char32_t> namedForms;
    // The words the senses quote with their reading, in order.
    std::vector<QuotedCompound> compounds;
    size_t line = 0;  // where the character first appears
};

struct ThieuChuuData {
    std::unordered_map<char32_t, ThieuChuuEntry> entries;
    size_t lines = 0;
    size_t merged = 0;  // lines that repeated a character and were merged into its entry

    const ThieuChuuEntry* find(char32_t c) const {
        auto it = entries.find(c);
        return it == entries.end() ? nullptr : &it->second;
    }
};

// Reads Thiều Chửu's dictionary in the one-line-per-entry form
// `字=âm1, âm2 [pinyin]\n\t1. sense\n\t2. sense` (the \n and \t are literal
// backslash sequences). Folds Ð (U+00D0) to Đ, drops stroke-count notes from
// the readings, merges repeated characters. Throws SourceError when the file
// cannot be opened; malformed lines and readings are logged and skipped.
class ThieuChuuReader {
  public:
    static ThieuChuuData read(const std::string& path, IssueLog& issues);
};

}  // namespace talvo::dictgen
