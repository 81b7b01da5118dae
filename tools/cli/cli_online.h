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

struct OnlineOptions {
    std::string command;                // login, logout, sync, lessons or translate
    std::vector<std::string> operands;  // what follows the command
    bool json = false;
    AppLanguage lang = AppLanguage::vi;
    std::string dataDir;  // the folder of study.sqlite (sync, lessons)
    std::optional<int64_t> today;
    std::optional<int64_t> now;
};

bool isOnlineCommand(const std::string& command);
// sync and lessons work on the study deck, which is seeded from the
// dictionary on first use as everywhere else; the others need neither.
bool onlineCommandNeedsDictionary(const std::string& command);
// A message when the operands are wrong; checked before anything opens.
std::optional<std::string> onlineUsageError(const std::string& command,
                                            const std::vector<std::string>& operands);

// Runs one online command synchronously. The settings file is TALVO_CONFIG
// when set, else the user's (shared with the desktop program); the token is
// kept in the system keychain, or in a private file beside the settings when
// no keychain runs or TALVO_TOKEN_STORE is "file". `dict` is required for the
// commands that need it. Exit codes: 0 done, 1 the service or the database
// failed (or nothing is configured), 4 study.sqlite cannot be opened.
int runOnline(const OnlineOptions& o, DictionaryStore* dict, Environment& e);

}  // namespace talvo::cli
