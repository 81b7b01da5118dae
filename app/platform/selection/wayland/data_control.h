#pragma once

#include <string>
#include <vector>

namespace talvo::wayland {

// The names of the compositor's global interfaces, from a connection of our
// own to WAYLAND_DISPLAY; empty when there is no compositor to ask.
std::vector<std::string> compositorGlobals();

// Whether the globals include a data-control manager (ext_data_control_v1,
// or wlr_data_control_unstable_v1 from version 2): the protocol through
// which a program may read the selection without having focus. KDE Plasma,
// sway and other wlroots compositors and Hyprland offer it; GNOME does not.
bool offersDataControl(const std::vector<std::string>& globals);

}  // namespace talvo::wayland
