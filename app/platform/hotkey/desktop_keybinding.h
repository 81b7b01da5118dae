#pragma once

#include <string>

namespace talvo {

// A key the desktop's own keyboard settings bind to a command, written by
// this program on the user's request where it can hold no key itself and
// the desktop has no shortcut portal (GNOME). Main thread only.
class DesktopKeybinding {
  public:
    virtual ~DesktopKeybinding() = default;

    // Whether our binding is in the desktop's settings.
    virtual bool installed() = 0;
    // Adds our binding, or updates its command and key ("<Alt>d"). False
    // when the desktop's settings could not be written.
    virtual bool install(const std::string& command, const std::string& accelerator) = 0;
    // Takes our binding out, leaving the user's others as they are.
    virtual bool remove() = 0;
};

}  // namespace talvo
