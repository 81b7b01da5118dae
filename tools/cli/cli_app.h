#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "core/paths/app_paths.h"

namespace talvo::cli {

// Exit codes of talvo-cli.
inline constexpr int kExitOk = 0;            // an answer, a message or no match
inline constexpr int kExitFailure = 1;       // a reading could not be saved
inline constexpr int kExitUsage = 2;         // bad usage
inline constexpr int kExitNoDictionary = 3;  // dict.sqlite cannot be opened

// Everything the program takes from its surroundings, so tests can run it
// in-process with fixed streams, environment and saved settings.
struct Environment {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    paths::EnvLookup env;
    std::string executableDir;
    // The saved interface language ("app.language"), when there is one.
    std::function<std::optional<std::string>()> savedLanguage;
};

// args excludes the program name.
int run(const std::vector<std::string>& args, Environment& e);

}  // namespace talvo::cli
