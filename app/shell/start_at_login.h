#pragma once

#include <memory>
#include <string>

#include "core/paths/app_paths.h"
#include "core/paths/autostart_entry.h"

namespace talvo {

class AppSettings;

// The running program's own login entry: "<appId>.desktop" in the user's
// autostart folder, starting `program`. Null where there is no such folder
// (a platform without XDG autostart, or neither HOME nor XDG_CONFIG_HOME set);
// Settings then hides its switch.
std::unique_ptr<AutostartEntry> startAtLoginEntry(const paths::EnvLookup& env,
                                                  const std::string& program,
                                                  const std::string& appId);

// The first run of an installed copy turns start at login on, once, and
// records that in the settings, so an entry the user has removed (in Settings
// or with the desktop's own tools) is never put back. A copy run from a build
// tree writes and records nothing. True when it wrote the entry; a failed
// write records nothing, so the next start tries again.
bool applyFirstRunStartAtLogin(AppSettings& settings, const AutostartEntry& entry);

// The Settings switch: writes or removes the entry and records that the user
// decided. False, with the reason in `*error`, when the file could not be changed.
bool setStartAtLogin(AppSettings& settings, const AutostartEntry& entry, bool on,
                     std::string* error = nullptr);

}  // namespace talvo
