#include "core/paths/app_paths.h"

#include <cstdlib>
#include <filesystem>

namespace talvo::paths {

namespace fs = std::filesystem;

EnvLookup systemEnv() {
    return [](const char* name) -> std::optional<std::string> {
        const char* v = std::getenv(name);
        if (!v || !*v) {
            return std::nullopt;
        }
        return std::string(v);
    };
}

std::string userDataDir(const EnvLookup& env) {
    if (auto dir = env("TALVO_DATA_DIR")) {
        return *dir;
    }
    if (auto xdg = env("XDG_DATA_HOME")) {
        return (fs::path(*xdg) / kDataFolderName).string();
    }
    if (auto home = env("HOME")) {
        return (fs::path(*home) / ".local" / "share" / kDataFolderName).string();
    }
    return {};
}

std::string resourceDir(const std::string& executableDir) {
    fs::path bin = fs::path(executableDir).lexically_normal();
    if (bin.filename().empty()) {  // "…/bin/" names the folder itself
        bin = bin.parent_path();
    }
    return (bin.parent_path() / "share" / "talvo").string();
}

std::string dictionaryPath(const EnvLookup& env, const std::string& executableDir) {
    if (auto dict = env("TALVO_DICT")) {
        return *dict;
    }
    return (fs::path(resourceDir(executableDir)) / "dict.sqlite").string();
}

}  // namespace talvo::paths
