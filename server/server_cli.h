#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "core/study/day_clock.h"

namespace talvo::server {

// What the command line reads from the outside world; tests substitute it.
struct CliEnvironment {
    std::ostream& out;
    std::ostream& err;
    std::function<std::optional<std::string>(const std::string&)> getenv;
    Clock clock = Clock::system();
};

// talvo-server [--db URL] COMMAND ...: serve, migrate, user, lessons, tm,
// stats (usage() lists them). Returns the exit code: 0 done, 1 the operation
// failed (database unavailable, unknown name or id, invalid file), 2 bad usage.
int runCli(const std::vector<std::string>& args, CliEnvironment& env);

std::string usage();

// "YYYY-MM-DD" of a day number counted from 1970-01-01.
std::string civilDate(int64_t day);

}  // namespace talvo::server
