#pragma once

#include <string>

#include "app/platform/hotkey/desktop_keybinding.h"

namespace talvo {

// The desktop's keyboard settings as tests script them.
class FakeDesktopKeybinding : public DesktopKeybinding {
  public:
    bool installed() override { return !binding.empty(); }
    bool install(const std::string& cmd, const std::string& accelerator) override {
        if (refuse) {
            return false;
        }
        command = cmd;
        binding = accelerator;
        return true;
    }
    bool remove() override {
        if (refuse) {
            return false;
        }
        command.clear();
        binding.clear();
        return true;
    }

    std::string command;
    std::string binding;  // empty: not installed
    bool refuse = false;  // the settings are locked
};

}  // namespace talvo
