#pragma once

#include <functional>
#include <optional>
#include <string>

namespace talvo::paths {

// Reads one environment variable; injected so tests never touch the real one.
using EnvLookup = std::function<std::optional<std::string>(const char* name)>;
EnvLookup systemEnv();

inline constexpr const char* kDataFolderName = "Mirelo";

// The user's data folder: TALVO_DATA_DIR, else $XDG_DATA_HOME/Mirelo, else
// ~/.local/share/Mirelo. Empty when none of HOME, XDG_DATA_HOME, TALVO_DATA_DIR is set.
std::string userDataDir(const EnvLookup& env);

// Installed resources sit in share/talvo beside the bin folder of the program,
// so the same rule serves /usr, /usr/local, a home prefix and the build tree.
std::string resourceDir(const std::string& executableDir);

// TALVO_DICT, else dict.sqlite in the resource folder.
std::string dictionaryPath(const EnvLookup& env, const std::string& executableDir);

}  // namespace talvo::paths
