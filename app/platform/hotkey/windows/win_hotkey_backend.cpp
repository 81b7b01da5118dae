#include "app/platform/hotkey/windows/win_hotkey_backend.h"

#include <windows.h>

#include <QCoreApplication>
#include <QKeyEvent>
#include <QString>

#include "app/platform/qt_key_codes.h"
#include "core/ui/key_codes.h"

namespace talvo {

namespace {

// "MR", then one id per action.
constexpr int kHotkeyIdBase = 0x4D52;

int hotkeyId(HotkeyAction action) {
    return kHotkeyIdBase + static_cast<int>(slotOf(action));
}
// Scan codes past the main block carry the E0 prefix and map by hand.
constexpr uint32_t kMainBlockEnd = 89;

std::optional<UINT> virtualKey(uint32_t keyCode) {
    std::optional<uint32_t> scan = keycodes::evdevFromKeyCode(keyCode);
    if (!scan) {
        return std::nullopt;
    }
    if (*scan < kMainBlockEnd) {
        UINT vk = MapVirtualKeyW(*scan, MAPVK_VSC_TO_VK_EX);
        return vk ? std::optional<UINT>(vk) : std::nullopt;
    }
    switch (*scan) {
        case 96:
            return VK_RETURN;
        case 98:
            return VK_DIVIDE;
        case 102:
            return VK_HOME;
        case 103:
            return VK_UP;
        case 104:
            return VK_PRIOR;
        case 105:
            return VK_LEFT;
        case 106:
            return VK_RIGHT;
        case 107:
            return VK_END;
        case 108:
            return VK_DOWN;
        case 109:
            return VK_NEXT;
        case 110:
            return VK_INSERT;
        case 111:
            return VK_DELETE;
        case 183:
            return VK_F13;
        case 184:
            return VK_F14;
        case 185:
            return VK_F15;
        case 186:
            return VK_F16;
        default:
            return std::nullopt;
    }
}

}  // namespace

WinHotkeyBackend::WinHotkeyBackend() {
    QCoreApplication::instance()->installNativeEventFilter(this);
}

WinHotkeyBackend::~WinHotkeyBackend() {
    if (QCoreApplication::instance()) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
    for (HotkeyAction action : kHotkeyActions) {
        unregisterCombo(action);
    }
}

bool WinHotkeyBackend::registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                                     std::function<void()> onPressed) {
    unregisterCombo(action);
    std::optional<UINT> vk = virtualKey(combo.keyCode);
    if (!vk) {
        return false;
    }
    UINT mods = MOD_NOREPEAT;
    if (combo.carbonModifiers & carbon::kShift) {
        mods |= MOD_SHIFT;
    }
    if (combo.carbonModifiers & carbon::kControl) {
        mods |= MOD_CONTROL;
    }
    if (combo.carbonModifiers & carbon::kOption) {
        mods |= MOD_ALT;
    }
    if (combo.carbonModifiers & carbon::kCommand) {
        mods |= MOD_WIN;
    }
    if (!RegisterHotKey(nullptr, hotkeyId(action), mods, *vk)) {
        return false;
    }
    m_hotKeys[slotOf(action)] = {true, std::move(onPressed)};
    return true;
}

void WinHotkeyBackend::unregisterCombo(HotkeyAction action) {
    HotKey& hotKey = m_hotKeys[slotOf(action)];
    if (hotKey.registered) {
        UnregisterHotKey(nullptr, hotkeyId(action));
    }
    hotKey = {};
}

std::optional<std::string> WinHotkeyBackend::character(uint32_t keyCode) {
    std::optional<UINT> vk = virtualKey(keyCode);
    if (!vk) {
        return std::nullopt;
    }
    UINT c = MapVirtualKeyW(*vk, MAPVK_VK_TO_CHAR) & 0x7FFF;
    if (c <= 0x20) {
        return std::nullopt;
    }
    return QString(QChar(static_cast<char16_t>(c))).toStdString();
}

std::optional<uint32_t> WinHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    quint32 scan = event.nativeScanCode();
    // Bit 8 marks the E0-prefixed keys, which the table names differently.
    if (scan != 0 && scan < kMainBlockEnd) {
        if (auto code = keycodes::keyCodeFromEvdev(scan)) {
            return code;
        }
    }
    return keyCodeFromQtKey(event.key());
}

bool WinHotkeyBackend::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "windows_dispatcher_MSG" && eventType != "windows_generic_MSG") {
        return false;
    }
    auto* msg = static_cast<MSG*>(message);
    if (msg->message != WM_HOTKEY) {
        return false;
    }
    for (HotkeyAction action : kHotkeyActions) {
        if (msg->wParam == static_cast<WPARAM>(hotkeyId(action))) {
            if (std::function<void()> handler = m_hotKeys[slotOf(action)].onPressed) {
                handler();
            }
            return true;
        }
    }
    return false;
}

}  // namespace talvo
