#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "tools/cli/cli_app.h"

namespace talvo {
class DictionaryStore;
class LookupService;
class StudyDatabase;
struct Clock;
}  // namespace talvo

namespace talvo::cli {

inline constexpr int kExitNoStudyDatabase = 4;  // study.sqlite cannot be opened

struct StudyOptions {
    std::vector<std::string> operands;  // what follows "study"
    bool json = false;
    AppLanguage lang = AppLanguage::vi;
    std::string dataDir;           // empty: there is no data folder
    std::optional<int64_t> today;  // --today: the study day of every command
    std::optional<int64_t> now;    // --now: seconds since 1970 for every command
};

// A message when the operands of `study` are wrong; checked before anything opens.
std::optional<std::string> studyUsageError(const std::vector<std::string>& operands, bool json);

// Reads the value of --today or --now into out; a message when it is not a
// decimal number in range.
std::optional<std::string> parseStudyTimeOption(const std::string& name, const std::string& value,
                                                std::optional<int64_t>& out);

// The system clock with --now and --today pinned where they were given.
Clock studyClock(std::optional<int64_t> now, std::optional<int64_t> today);

// Opens study.sqlite in `dataDir`; null after saying on e.err why it could
// not (no data folder, or SQLite's reason; the file is left as it was).
std::unique_ptr<StudyDatabase> openStudyDatabase(const std::string& dataDir, AppLanguage lang,
                                                 Clock clock, Environment& e);

// Opens study.sqlite in the data folder (seeding it from the dictionary on
// first use, as the application does) and runs one study command.
int runStudy(const StudyOptions& o, DictionaryStore& dict, LookupService& lookup, Environment& e);

}  // namespace talvo::cli
