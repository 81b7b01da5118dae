#pragma once

#include <memory>
#include <string>

#include "app/platform/hotkey/desktop_keybinding.h"
#include "core/ui/hotkey_combo.h"

namespace talvo {

// One of our entries among the custom shortcuts of GNOME's keyboard settings
// (gnome-settings-daemon's media-keys plugin), through GSettings (dconf in a
// session): "Talvo" for the lookup, "Talvo: text on screen" for reading the
// screen. The user's other custom shortcuts are left as they are.
class GnomeKeybinding : public DesktopKeybinding {
  public:
    static constexpr const char* kPath =
        "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/talvo/";
    static constexpr const char* kScreenTextPath =
        "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/talvo-screen-text/";

    // The action's entry; null where GNOME's keyboard settings are not
    // installed.
    static std::unique_ptr<GnomeKeybinding> create(HotkeyAction action = HotkeyAction::Lookup);

    bool installed() override;
    bool install(const std::string& command, const std::string& accelerator) override;
    bool remove() override;
    // The key as GNOME stores it ("<Alt>d"); empty when not installed.
    std::string binding();

  private:
    GnomeKeybinding(const char* path, const char* name) : m_path(path), m_name(name) {}

    const char* m_path;
    const char* m_name;
};

}  // namespace talvo
