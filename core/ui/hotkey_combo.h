#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvo {

// The global shortcut. Key codes are the classic virtual key codes of the ANSI
// keyboard (hardware positions: 2 is the key labelled D on QWERTY) on every
// platform, so one settings file means the same key everywhere; each platform
// adapter maps them to its own codes. Modifiers use the classic event mask.
struct HotkeyCombo {
    uint32_t keyCode = 2;
    uint32_t carbonModifiers = 0x800;

    // Option-D.
    static constexpr HotkeyCombo defaultCombo() { return HotkeyCombo{}; }

    bool operator==(const HotkeyCombo&) const = default;
};

// What a global shortcut does. The program holds one of each.
enum class HotkeyAction {
    Lookup,      // look up the selected text
    ScreenText,  // read the text in a region of the screen and look it up
};
inline constexpr std::array<HotkeyAction, 2> kHotkeyActions{HotkeyAction::Lookup,
                                                            HotkeyAction::ScreenText};
// The action's place in per-action tables.
constexpr size_t slotOf(HotkeyAction action) {
    return static_cast<size_t>(action);
}

namespace carbon {
inline constexpr uint32_t kCommand = 0x100;
inline constexpr uint32_t kShift = 0x200;
inline constexpr uint32_t kOption = 0x800;
inline constexpr uint32_t kControl = 0x1000;
}  // namespace carbon

// Window-system modifier flags, as key events carry them.
namespace eventflags {
inline constexpr uint64_t kShift = 0x20000;
inline constexpr uint64_t kControl = 0x40000;
inline constexpr uint64_t kOption = 0x80000;
inline constexpr uint64_t kCommand = 0x100000;
inline constexpr uint64_t kDeviceIndependentMask = 0x1E0000;
}  // namespace eventflags

namespace keycode {
inline constexpr uint32_t kA = 0;
inline constexpr uint32_t kD = 2;
inline constexpr uint32_t kC = 8;
inline constexpr uint32_t kL = 37;
inline constexpr uint32_t kEscape = 53;
inline constexpr uint32_t kF5 = 96;
}  // namespace keycode

// How shortcuts are written: macOS glyphs ("⌥D", "⌃⌘F5") or the names PC
// desktops print ("Alt+D", "Ctrl+Super+F5").
enum class KeyStyle { mac, pc };

// The style of the system this program was built for.
#ifdef __APPLE__
inline constexpr KeyStyle kNativeKeyStyle = KeyStyle::mac;
#else
inline constexpr KeyStyle kNativeKeyStyle = KeyStyle::pc;
#endif

namespace HotkeyConfig {

// The character a key produces on the current keyboard layout without
// modifiers; absent when it produces none. Supplied by the platform.
using CharacterForKey = std::function<std::optional<std::string>(uint32_t keyCode)>;

// The stored combo: `fallback` when no key code was ever stored or when the
// stored modifiers are 0 (a shortcut without modifiers is never accepted). A
// missing modifier value reads as 0. Values outside 0…2^32-1 cannot come from
// this program; they also give the fallback rather than a truncated key.
HotkeyCombo load(bool hasKeyCode, std::optional<int64_t> keyCode, std::optional<int64_t> modifiers,
                 HotkeyCombo fallback = HotkeyCombo::defaultCombo());

// Each action's combo on a fresh install: Option-D looks up, Option-Shift-D
// reads the screen.
HotkeyCombo defaultCombo(HotkeyAction action);

// ⌃ ⌥ ⇧ ⌘ for the bits that are set, always in that order; in the PC style
// "Ctrl+", "Alt+", "Shift+", "Super+", in that order.
std::string symbols(uint32_t carbonModifiers, KeyStyle style = KeyStyle::mac);

// Every modifier, for hints: "⌘ ⌥ ⌃ ⇧" or "Ctrl, Alt, Shift, Super".
std::string modifierList(KeyStyle style);

// The keys whose label is fixed rather than taken from the layout.
const std::vector<std::pair<uint32_t, const char*>>& namedKeys();

// Fixed label, else the layout's character upper-cased, else "key" + code.
// The PC style names the keys that macOS draws as glyphs ("Enter", "Esc").
std::string keyName(uint32_t keyCode, const CharacterForKey& character,
                    KeyStyle style = KeyStyle::mac);

// Window-system flags to the classic mask; other bits are ignored.
uint32_t carbonModifiers(uint64_t flags);

// symbols() immediately followed by keyName(): "⌥D", "⌃⌘F5"; "Alt+D",
// "Ctrl+Super+F5".
std::string displayForm(const HotkeyCombo& combo, const CharacterForKey& character,
                        KeyStyle style = KeyStyle::mac);

// The combo as the desktop portal's shortcuts take a preferred trigger
// ("ALT+d", "CTRL+SHIFT+F5", "LOGO+space"): modifier names, then the key's
// keysym name on the US layout. Absent for a key without a keysym name here;
// the desktop then lets the user choose the key.
std::optional<std::string> portalTrigger(const HotkeyCombo& combo);
// The same as a GTK accelerator, as GNOME's keyboard settings store it
// ("<Alt>d", "<Control><Shift>F5", "<Super>space").
std::optional<std::string> gtkAccelerator(const HotkeyCombo& combo);

}  // namespace HotkeyConfig

}  // namespace talvo
