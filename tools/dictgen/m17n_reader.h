#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

struct M17nData {
    // Readings per character, in the order the file lists them; the input
    // method orders candidates, not readings, so this order means nothing.
    std::unordered_map<char32_t, std::vector<std::string>> readings;
    size_t pairs = 0;
    size_t symbolsSkipped = 0;  // full-width punctuation that shares the keys
};

// Reads the map of an m17n Hán-Việt input method (vi-han.mim): entries
// ("telexkey" ("characters")). Throws SourceError naming the package when the
// file is missing; entries that cannot be read are logged and skipped.
class M17nReader {
  public:
    static constexpr const char* kPackage = "m17n-db";
    static constexpr const char* kDefaultFile = "/usr/share/m17n/vi-han.mim";

    static M17nData read(const std::string& path, IssueLog& issues);
};

}  // namespace talvo::dictgen
