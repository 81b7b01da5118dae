#pragma once

#include <string>
#include <string_view>

#include "core/paths/app_paths.h"

namespace talvo {

// "Start at login" on desktops that follow the XDG autostart convention: a
// desktop entry named after the program's desktop id in the user's autostart
// folder. The session manager reads it at every login; removing the file turns
// it off. No Qt, so the rules are tested without a display.
namespace autostart {

// $XDG_CONFIG_HOME/autostart, else ~/.config/autostart; empty when neither
// XDG_CONFIG_HOME nor HOME is set (there is then nowhere to write).
std::string folder(const paths::EnvLookup& env);

// The Exec= value that starts `program` without arguments, quoted and escaped
// as desktop entries require (a path with a space, a quote, "$" or "%" must not
// be split or expanded). Empty when the path cannot be written in a desktop
// entry at all: not absolute, not UTF-8, or holding a control character.
std::string execValue(std::string_view program);

// The whole entry that starts `program` at login; `appId` names the icon.
// Empty when execValue(program) is.
std::string entryText(std::string_view program, std::string_view appId);

// Whether an entry's text asks to be started: desktops switch an entry off
// without deleting it by writing Hidden=true or X-GNOME-Autostart-enabled=false
// into its [Desktop Entry] group.
bool textEnabled(std::string_view text);

// True when `executableDir` is the bin folder of a CMake build tree: a program
// run from there is a developer's copy and does not add itself at login.
bool isBuildTree(const std::string& executableDir);

}  // namespace autostart

// One autostart entry file for one program. Nothing throws; failures come
// back as false with a sentence in `*error`.
class AutostartEntry {
  public:
    // `path`: the entry file (autostart::folder() / "<appId>.desktop");
    // `program`: the absolute path of the program to start.
    AutostartEntry(std::string path, std::string program, std::string appId);

    const std::string& path() const { return m_path; }
    const std::string& program() const { return m_program; }

    // The file exists, is readable and is not switched off.
    bool enabled() const;
    // Writes the entry for `program` (creating the folder), replacing whatever
    // the file held; the old file stays whole if the write fails.
    bool enable(std::string* error = nullptr) const;
    // Removes the file; true when no entry is left.
    bool disable(std::string* error = nullptr) const;

  private:
    std::string m_path;
    std::string m_program;
    std::string m_appId;
};

}  // namespace talvo
