#include "app/shell/start_at_login.h"

#include <filesystem>

#include "net/settings/app_settings.h"

namespace talvo {

std::unique_ptr<AutostartEntry> startAtLoginEntry(const paths::EnvLookup& env,
                                                  const std::string& program,
                                                  const std::string& appId) {
#if defined(TALVO_PLATFORM_X11)
    std::string folder = autostart::folder(env);
    if (folder.empty() || program.empty()) {
        return nullptr;
    }
    std::string path = (std::filesystem::path(folder) / (appId + ".desktop")).string();
    return std::make_unique<AutostartEntry>(std::move(path), program, appId);
#else
    (void)env;
    (void)program;
    (void)appId;
    return nullptr;
#endif
}

bool applyFirstRunStartAtLogin(AppSettings& settings, const AutostartEntry& entry) {
    if (settings.integer(AppSettings::kAutostartDecidedKey).value_or(0) != 0) {
        return false;
    }
    std::string dir = std::filesystem::path(entry.program()).parent_path().string();
    if (autostart::isBuildTree(dir)) {
        return false;
    }
    bool wrote = false;
    if (!entry.enabled()) {
        if (!entry.enable()) {
            return false;
        }
        wrote = true;
    }
    settings.setInteger(AppSettings::kAutostartDecidedKey, 1);
    settings.sync();
    return wrote;
}

bool setStartAtLogin(AppSettings& settings, const AutostartEntry& entry, bool on,
                     std::string* error) {
    bool ok = on ? entry.enable(error) : entry.disable(error);
    settings.setInteger(AppSettings::kAutostartDecidedKey, 1);
    settings.sync();
    return ok;
}

}  // namespace talvo
