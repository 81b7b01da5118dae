#include "app/platform/qt_key_codes.h"

#include <array>
#include <utility>

#include "core/ui/hotkey_combo.h"

namespace talvo {

std::optional<uint32_t> keyCodeFromQtKey(int key) {
    // Letters and digits by their position on the US layout.
    static constexpr std::array<uint32_t, 26> kLetters = {
        0x00, 0x0B, 0x08, 0x02, 0x0E, 0x03, 0x05, 0x04, 0x22, 0x26, 0x28, 0x25, 0x2E,
        0x2D, 0x1F, 0x23, 0x0C, 0x0F, 0x01, 0x11, 0x20, 0x09, 0x0D, 0x07, 0x10, 0x06,
    };
    static constexpr std::array<uint32_t, 10> kDigits = {0x1D, 0x12, 0x13, 0x14, 0x15,
                                                         0x17, 0x16, 0x1A, 0x1C, 0x19};
    static constexpr std::array<uint32_t, 12> kFunction = {0x7A, 0x78, 0x63, 0x76, 0x60, 0x61,
                                                           0x62, 0x64, 0x65, 0x6D, 0x67, 0x6F};
    static constexpr std::array<std::pair<int, uint32_t>, 27> kOthers = {{
        {Qt::Key_Return, 0x24},      {Qt::Key_Enter, 0x4C},        {Qt::Key_Tab, 0x30},
        {Qt::Key_Backtab, 0x30},     {Qt::Key_Space, 0x31},        {Qt::Key_Backspace, 0x33},
        {Qt::Key_Escape, 0x35},      {Qt::Key_Delete, 0x75},       {Qt::Key_Home, 0x73},
        {Qt::Key_End, 0x77},         {Qt::Key_PageUp, 0x74},       {Qt::Key_PageDown, 0x79},
        {Qt::Key_Left, 0x7B},        {Qt::Key_Right, 0x7C},        {Qt::Key_Down, 0x7D},
        {Qt::Key_Up, 0x7E},          {Qt::Key_Minus, 0x1B},        {Qt::Key_Equal, 0x18},
        {Qt::Key_BracketLeft, 0x21}, {Qt::Key_BracketRight, 0x1E}, {Qt::Key_Semicolon, 0x29},
        {Qt::Key_Apostrophe, 0x27},  {Qt::Key_Backslash, 0x2A},    {Qt::Key_Comma, 0x2B},
        {Qt::Key_Period, 0x2F},      {Qt::Key_Slash, 0x2C},        {Qt::Key_QuoteLeft, 0x32},
    }};
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        return kLetters[static_cast<size_t>(key - Qt::Key_A)];
    }
    if (key >= Qt::Key_0 && key <= Qt::Key_9) {
        return kDigits[static_cast<size_t>(key - Qt::Key_0)];
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F12) {
        return kFunction[static_cast<size_t>(key - Qt::Key_F1)];
    }
    for (const auto& [k, code] : kOthers) {
        if (k == key) {
            return code;
        }
    }
    return std::nullopt;
}

uint64_t eventFlagsFromQt(Qt::KeyboardModifiers m) {
#ifdef Q_OS_MACOS
    const Qt::KeyboardModifier commandKey = Qt::ControlModifier;
    const Qt::KeyboardModifier controlKey = Qt::MetaModifier;
#else
    const Qt::KeyboardModifier commandKey = Qt::MetaModifier;
    const Qt::KeyboardModifier controlKey = Qt::ControlModifier;
#endif
    uint64_t flags = 0;
    if (m & Qt::ShiftModifier) {
        flags |= eventflags::kShift;
    }
    if (m & controlKey) {
        flags |= eventflags::kControl;
    }
    if (m & Qt::AltModifier) {
        flags |= eventflags::kOption;
    }
    if (m & commandKey) {
        flags |= eventflags::kCommand;
    }
    return flags;
}

bool isModifierKey(int key) {
    switch (key) {
        case Qt::Key_Shift:
        case Qt::Key_Control:
        case Qt::Key_Meta:
        case Qt::Key_Alt:
        case Qt::Key_AltGr:
        case Qt::Key_CapsLock:
        case Qt::Key_NumLock:
        case Qt::Key_ScrollLock:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
        case Qt::Key_Hyper_L:
        case Qt::Key_Hyper_R:
            return true;
        default:
            return false;
    }
}

}  // namespace talvo
