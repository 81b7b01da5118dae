#include "core/ui/hotkey_combo.h"

#include <limits>

#include "core/text/unicode.h"
#include "core/ui/key_codes.h"

namespace talvo::HotkeyConfig {

namespace {
bool fitsUnsigned32(int64_t v) {
    return v >= 0 && v <= static_cast<int64_t>(std::numeric_limits<uint32_t>::max());
}
}  // namespace

HotkeyCombo load(bool hasKeyCode, std::optional<int64_t> keyCode, std::optional<int64_t> modifiers,
                 HotkeyCombo fallback) {
    if (!hasKeyCode) {
        return fallback;
    }
    int64_t code = keyCode.value_or(0);
    int64_t mods = modifiers.value_or(0);
    if (mods == 0 || !fitsUnsigned32(code) || !fitsUnsigned32(mods)) {
        return fallback;
    }
    return HotkeyCombo{static_cast<uint32_t>(code), static_cast<uint32_t>(mods)};
}

HotkeyCombo defaultCombo(HotkeyAction action) {
    if (action == HotkeyAction::ScreenText) {
        return {keycode::kD, carbon::kOption | carbon::kShift};
    }
    return HotkeyCombo::defaultCombo();
}

std::string symbols(uint32_t m, KeyStyle style) {
    const bool mac = style == KeyStyle::mac;
    std::string out;
    if (m & carbon::kControl) {
        out += mac ? "⌃" : "Ctrl+";
    }
    if (m & carbon::kOption) {
        out += mac ? "⌥" : "Alt+";
    }
    if (m & carbon::kShift) {
        out += mac ? "⇧" : "Shift+";
    }
    if (m & carbon::kCommand) {
        out += mac ? "⌘" : "Super+";
    }
    return out;
}

std::string modifierList(KeyStyle style) {
    return style == KeyStyle::mac ? "⌘ ⌥ ⌃ ⇧" : "Ctrl, Alt, Shift, Super";
}

const std::vector<std::pair<uint32_t, const char*>>& namedKeys() {
    static const std::vector<std::pair<uint32_t, const char*>> kKeys = {
        {49, "Space"}, {36, "↩"},    {48, "⇥"},    {53, "⎋"},    {51, "⌫"},   {117, "⌦"},
        {123, "←"},    {124, "→"},   {126, "↑"},   {125, "↓"},   {122, "F1"}, {120, "F2"},
        {99, "F3"},    {118, "F4"},  {96, "F5"},   {97, "F6"},   {98, "F7"},  {100, "F8"},
        {101, "F9"},   {109, "F10"}, {103, "F11"}, {111, "F12"},
    };
    return kKeys;
}

std::string keyName(uint32_t code, const CharacterForKey& character, KeyStyle style) {
    if (style == KeyStyle::pc) {
        static const std::vector<std::pair<uint32_t, const char*>> kPcNames = {
            {36, "Enter"}, {48, "Tab"},    {53, "Esc"}, {51, "Backspace"}, {117, "Delete"},
            {123, "Left"}, {124, "Right"}, {126, "Up"}, {125, "Down"},
        };
        for (const auto& [k, label] : kPcNames) {
            if (k == code) {
                return label;
            }
        }
    }
    for (const auto& [k, label] : namedKeys()) {
        if (k == code) {
            return label;
        }
    }
    if (character) {
        if (auto c = character(code); c && !c->empty()) {
            return text::toUpper(text::sanitizeUtf8(*c));
        }
    }
    return "key" + std::to_string(code);
}

uint32_t carbonModifiers(uint64_t flags) {
    uint32_t m = 0;
    if (flags & eventflags::kShift) {
        m |= carbon::kShift;
    }
    if (flags & eventflags::kControl) {
        m |= carbon::kControl;
    }
    if (flags & eventflags::kOption) {
        m |= carbon::kOption;
    }
    if (flags & eventflags::kCommand) {
        m |= carbon::kCommand;
    }
    return m;
}

std::string displayForm(const HotkeyCombo& combo, const CharacterForKey& character,
                        KeyStyle style) {
    return symbols(combo.carbonModifiers, style) + keyName(combo.keyCode, character, style);
}

namespace {

std::optional<std::string> keysymName(uint32_t keyCode) {
    static const std::vector<std::pair<uint32_t, const char*>> kKeysyms = {
        {49, "space"},   {36, "Return"}, {48, "Tab"},    {53, "Escape"}, {51, "BackSpace"},
        {117, "Delete"}, {123, "Left"},  {124, "Right"}, {126, "Up"},    {125, "Down"},
    };
    static const std::vector<std::pair<std::string_view, const char*>> kPunctuation = {
        {"-", "minus"},     {"=", "equal"},      {"[", "bracketleft"}, {"]", "bracketright"},
        {";", "semicolon"}, {"'", "apostrophe"}, {",", "comma"},       {".", "period"},
        {"/", "slash"},     {"\\", "backslash"}, {"`", "grave"},
    };
    std::optional<std::string> key;
    for (const auto& [code, name] : kKeysyms) {
        if (code == keyCode) {
            key = name;
        }
    }
    for (const auto& [code, label] : namedKeys()) {
        if (!key && code == keyCode && label[0] == 'F') {
            key = label;  // F1 … F12 are their own keysym names
        }
    }
    // Keypad keys have keysyms of their own (KP_1); they are left to the user.
    const bool keypad = keyCode >= 0x41 && keyCode <= 0x5C;
    if (!key && !keypad) {
        if (auto c = keycodes::usLayoutCharacter(keyCode)) {
            const char ch = c->size() == 1 ? (*c)[0] : '\0';
            if ((ch >= 'a' && ch <= 'z') || (ch >= '0' && ch <= '9')) {
                key = *c;
            }
            for (const auto& [punct, name] : kPunctuation) {
                if (*c == punct) {
                    key = name;
                }
            }
        }
    }
    return key;
}

// The modifiers in a fixed order with the names a desktop takes, then the key.
std::optional<std::string> trigger(const HotkeyCombo& combo, const char* control, const char* alt,
                                   const char* shift, const char* super) {
    std::optional<std::string> key = keysymName(combo.keyCode);
    if (!key) {
        return std::nullopt;
    }
    std::string out;
    const uint32_t m = combo.carbonModifiers;
    if (m & carbon::kControl) {
        out += control;
    }
    if (m & carbon::kOption) {
        out += alt;
    }
    if (m & carbon::kShift) {
        out += shift;
    }
    if (m & carbon::kCommand) {
        out += super;
    }
    return out + *key;
}

}  // namespace

std::optional<std::string> portalTrigger(const HotkeyCombo& combo) {
    return trigger(combo, "CTRL+", "ALT+", "SHIFT+", "LOGO+");
}

std::optional<std::string> gtkAccelerator(const HotkeyCombo& combo) {
    return trigger(combo, "<Control>", "<Alt>", "<Shift>", "<Super>");
}

}  // namespace talvo::HotkeyConfig
