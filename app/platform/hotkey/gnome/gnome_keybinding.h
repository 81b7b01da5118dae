#pragma once

#include <memory>
#include <string>

#include "app/platform/hotkey/desktop_keybinding.h"

namespace talvo {

// Our entry among the custom shortcuts of GNOME's keyboard settings
// (gnome-settings-daemon's media-keys plugin), named "Talvo", through
// GSettings (dconf in a session). The user's other custom shortcuts are left
// as they are.
class GnomeKeybinding : public DesktopKeybinding {
  public:
    static constexpr const char* kPath =
        "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/talvo/";

    // Null where GNOME's keyboard settings are not installed.
    static std::unique_ptr<GnomeKeybinding> create();

    bool installed() override;
    bool install(const std::string& command, const std::string& accelerator) override;
    bool remove() override;
    // The key as GNOME stores it ("<Alt>d"); empty when not installed.
    std::string binding();

  private:
    GnomeKeybinding() = default;
};

}  // namespace talvo
