#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace talvo::keycodes {

// Shortcut key codes (the classic ANSI virtual key codes of HotkeyCombo) and
// Linux evdev codes name the same physical keys; X11 key codes are evdev + 8,
// and the main block of PC scan codes (set 1) equals evdev. Keys outside the
// table have no counterpart and cannot serve as a shortcut there.
std::optional<uint32_t> evdevFromKeyCode(uint32_t keyCode);
std::optional<uint32_t> keyCodeFromEvdev(uint32_t evdev);

inline constexpr uint32_t kX11Offset = 8;

// The unshifted character of a key on the US QWERTY layout; the layout used
// where the platform offers none (tests, headless runs).
std::optional<std::string> usLayoutCharacter(uint32_t keyCode);

}  // namespace talvo::keycodes
