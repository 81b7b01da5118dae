#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "tools/cli/cli_app.h"

namespace talvo {
class DictionaryStore;
}  // namespace talvo

namespace talvo::cli {

// profile, badges, quiz and goal: the progress side of the study deck.
struct ProgressOptions {
    std::string command;
    std::vector<std::string> operands;  // what follows the command
    bool json = false;
    AppLanguage lang = AppLanguage::vi;
    std::string dataDir;           // empty: there is no data folder
    std::optional<int64_t> today;  // --today
    std::optional<int64_t> now;    // --now
};

bool isProgressCommand(const std::string& command);

// A message when the operands are wrong; checked before anything opens.
std::optional<std::string> progressUsageError(const std::string& command,
                                              const std::vector<std::string>& operands, bool json);

// Opens study.sqlite in the data folder (seeding it on first use, as the
// application does) and runs one progress command. The quiz reads its answers
// one line at a time from e.in.
int runProgress(const ProgressOptions& o, DictionaryStore& dict, Environment& e);

}  // namespace talvo::cli
