#include "core/ui/key_codes.h"

#include <array>

namespace talvo::keycodes {

namespace {

struct KeyRow {
    uint32_t keyCode;
    uint32_t evdev;
    const char* us;  // nullptr: produces no character
};

// clang-format off
constexpr std::array kKeys = {
    KeyRow{0x00, 30, "a"},  KeyRow{0x01, 31, "s"},  KeyRow{0x02, 32, "d"},  KeyRow{0x03, 33, "f"},
    KeyRow{0x04, 35, "h"},  KeyRow{0x05, 34, "g"},  KeyRow{0x06, 44, "z"},  KeyRow{0x07, 45, "x"},
    KeyRow{0x08, 46, "c"},  KeyRow{0x09, 47, "v"},  KeyRow{0x0A, 86, "<"},  KeyRow{0x0B, 48, "b"},
    KeyRow{0x0C, 16, "q"},  KeyRow{0x0D, 17, "w"},  KeyRow{0x0E, 18, "e"},  KeyRow{0x0F, 19, "r"},
    KeyRow{0x10, 21, "y"},  KeyRow{0x11, 20, "t"},  KeyRow{0x12, 2, "1"},   KeyRow{0x13, 3, "2"},
    KeyRow{0x14, 4, "3"},   KeyRow{0x15, 5, "4"},   KeyRow{0x16, 7, "6"},   KeyRow{0x17, 6, "5"},
    KeyRow{0x18, 13, "="},  KeyRow{0x19, 10, "9"},  KeyRow{0x1A, 8, "7"},   KeyRow{0x1B, 12, "-"},
    KeyRow{0x1C, 9, "8"},   KeyRow{0x1D, 11, "0"},  KeyRow{0x1E, 27, "]"},  KeyRow{0x1F, 24, "o"},
    KeyRow{0x20, 22, "u"},  KeyRow{0x21, 26, "["},  KeyRow{0x22, 23, "i"},  KeyRow{0x23, 25, "p"},
    KeyRow{0x24, 28, nullptr}, KeyRow{0x25, 38, "l"}, KeyRow{0x26, 36, "j"}, KeyRow{0x27, 40, "'"},
    KeyRow{0x28, 37, "k"},  KeyRow{0x29, 39, ";"},  KeyRow{0x2A, 43, "\\"}, KeyRow{0x2B, 51, ","},
    KeyRow{0x2C, 53, "/"},  KeyRow{0x2D, 49, "n"},  KeyRow{0x2E, 50, "m"},  KeyRow{0x2F, 52, "."},
    KeyRow{0x30, 15, nullptr}, KeyRow{0x31, 57, " "}, KeyRow{0x32, 41, "`"}, KeyRow{0x33, 14, nullptr},
    KeyRow{0x35, 1, nullptr},
    // Keypad.
    KeyRow{0x41, 83, "."},  KeyRow{0x43, 55, "*"},  KeyRow{0x45, 78, "+"},  KeyRow{0x4B, 98, "/"},
    KeyRow{0x4C, 96, nullptr}, KeyRow{0x4E, 74, "-"}, KeyRow{0x51, 117, "="}, KeyRow{0x52, 82, "0"},
    KeyRow{0x53, 79, "1"},  KeyRow{0x54, 80, "2"},  KeyRow{0x55, 81, "3"},  KeyRow{0x56, 75, "4"},
    KeyRow{0x57, 76, "5"},  KeyRow{0x58, 77, "6"},  KeyRow{0x59, 71, "7"},  KeyRow{0x5B, 72, "8"},
    KeyRow{0x5C, 73, "9"},
    // Function and navigation keys.
    KeyRow{0x60, 63, nullptr}, KeyRow{0x61, 64, nullptr}, KeyRow{0x62, 65, nullptr},
    KeyRow{0x63, 61, nullptr}, KeyRow{0x64, 66, nullptr}, KeyRow{0x65, 67, nullptr},
    KeyRow{0x67, 87, nullptr}, KeyRow{0x69, 183, nullptr}, KeyRow{0x6A, 186, nullptr},
    KeyRow{0x6B, 184, nullptr}, KeyRow{0x6D, 68, nullptr}, KeyRow{0x6F, 88, nullptr},
    KeyRow{0x71, 185, nullptr}, KeyRow{0x72, 110, nullptr}, KeyRow{0x73, 102, nullptr},
    KeyRow{0x74, 104, nullptr}, KeyRow{0x75, 111, nullptr}, KeyRow{0x76, 62, nullptr},
    KeyRow{0x77, 107, nullptr}, KeyRow{0x78, 60, nullptr}, KeyRow{0x79, 109, nullptr},
    KeyRow{0x7A, 59, nullptr}, KeyRow{0x7B, 105, nullptr}, KeyRow{0x7C, 106, nullptr},
    KeyRow{0x7D, 108, nullptr}, KeyRow{0x7E, 103, nullptr},
};
// clang-format on

}  // namespace

std::optional<uint32_t> evdevFromKeyCode(uint32_t keyCode) {
    for (const KeyRow& k : kKeys) {
        if (k.keyCode == keyCode) {
            return k.evdev;
        }
    }
    return std::nullopt;
}

std::optional<uint32_t> keyCodeFromEvdev(uint32_t evdev) {
    for (const KeyRow& k : kKeys) {
        if (k.evdev == evdev) {
            return k.keyCode;
        }
    }
    return std::nullopt;
}

std::optional<std::string> usLayoutCharacter(uint32_t keyCode) {
    for (const KeyRow& k : kKeys) {
        if (k.keyCode == keyCode && k.us) {
            return std::string(k.us);
        }
    }
    return std::nullopt;
}

}  // namespace talvo::keycodes
