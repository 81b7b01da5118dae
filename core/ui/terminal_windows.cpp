#include "core/ui/terminal_windows.h"

#include <array>
#include <string>

#include "core/text/unicode.h"

namespace talvo {

bool isTerminalWindowClass(std::string_view windowClass) {
    static constexpr std::array<std::string_view, 24> kTerminals = {
        "xterm",       "uxterm",         "urxvt",
        "rxvt",        "gnome-terminal", "gnome-terminal-server",
        "konsole",     "xfce4-terminal", "mate-terminal",
        "lxterminal",  "qterminal",      "terminator",
        "tilix",       "alacritty",      "kitty",
        "st-256color", "wezterm",        "org.wezfurlong.wezterm",
        "foot",        "terminology",    "sakura",
        "guake",       "tilda",          "org.gnome.console",
    };
    std::string lower = text::toLower(windowClass);
    for (std::string_view t : kTerminals) {
        if (lower == t) {
            return true;
        }
    }
    // Class names like "URxvt", "XTerm", "St" and "Kgx" fold to these too.
    return lower == "st" || lower == "kgx" || lower == "ptyxis" || lower == "blackbox" ||
           lower.ends_with("-terminal") || lower.ends_with(".terminal");
}

}  // namespace talvo
