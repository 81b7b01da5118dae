#include "app/platform/hotkey/macos/carbon_hotkey_backend.h"

#include <Carbon/Carbon.h>

#include <QKeyEvent>
#include <QString>

namespace talvo {

namespace {

constexpr OSType kSignature = 0x4D524C4F;  // 'MRLO'

OSStatus onHotKey(EventHandlerCallRef, EventRef event, void* userData) {
    EventHotKeyID id{};
    if (GetEventParameter(event, kEventParamDirectObject, typeEventHotKeyID, nullptr, sizeof(id),
                          nullptr, &id) == noErr &&
        id.signature == kSignature) {
        static_cast<CarbonHotkeyBackend*>(userData)->fire(id.id);
    }
    return noErr;
}

}  // namespace

CarbonHotkeyBackend::CarbonHotkeyBackend() = default;

CarbonHotkeyBackend::~CarbonHotkeyBackend() {
    for (HotkeyAction action : kHotkeyActions) {
        unregisterCombo(action);
    }
    if (m_handler) {
        RemoveEventHandler(static_cast<EventHandlerRef>(m_handler));
    }
}

bool CarbonHotkeyBackend::registerCombo(HotkeyAction action, const HotkeyCombo& combo,
                                        std::function<void()> onPressed) {
    if (!m_handler) {
        EventTypeSpec type{kEventClassKeyboard, kEventHotKeyPressed};
        EventHandlerRef handler = nullptr;
        if (InstallEventHandler(GetApplicationEventTarget(), &onHotKey, 1, &type, this, &handler) ==
            noErr) {
            m_handler = handler;
        }
    }
    unregisterCombo(action);
    EventHotKeyID id{kSignature, static_cast<UInt32>(slotOf(action) + 1)};
    EventHotKeyRef ref = nullptr;
    OSStatus status = RegisterEventHotKey(combo.keyCode, combo.carbonModifiers, id,
                                          GetApplicationEventTarget(), 0, &ref);
    if (status != noErr || !ref) {
        return false;
    }
    m_hotKeys[slotOf(action)] = {ref, std::move(onPressed)};
    return true;
}

void CarbonHotkeyBackend::unregisterCombo(HotkeyAction action) {
    HotKey& hotKey = m_hotKeys[slotOf(action)];
    if (hotKey.ref) {
        UnregisterEventHotKey(static_cast<EventHotKeyRef>(hotKey.ref));
    }
    hotKey = {};
}

void CarbonHotkeyBackend::fire(uint32_t id) {
    if (id == 0 || id > m_hotKeys.size()) {
        return;
    }
    if (std::function<void()> handler = m_hotKeys[id - 1].onPressed) {
        handler();
    }
}

std::optional<std::string> CarbonHotkeyBackend::character(uint32_t keyCode) {
    TISInputSourceRef source = TISCopyCurrentKeyboardLayoutInputSource();
    if (!source) {
        return std::nullopt;
    }
    std::optional<std::string> out;
    auto data =
        static_cast<CFDataRef>(TISGetInputSourceProperty(source, kTISPropertyUnicodeKeyLayoutData));
    if (data) {
        auto layout = reinterpret_cast<const UCKeyboardLayout*>(CFDataGetBytePtr(data));
        UInt32 deadKeys = 0;
        UniChar chars[4];
        UniCharCount length = 0;
        OSStatus status = UCKeyTranslate(layout, static_cast<UInt16>(keyCode), kUCKeyActionDisplay,
                                         0, LMGetKbdType(), 0, &deadKeys, 4, &length, chars);
        if (status == noErr && length > 0) {
            out = QString::fromUtf16(reinterpret_cast<const char16_t*>(chars),
                                     static_cast<qsizetype>(length))
                      .toStdString();
        }
    }
    CFRelease(source);
    return out;
}

std::optional<uint32_t> CarbonHotkeyBackend::keyCodeOf(const QKeyEvent& event) {
    // On macOS Qt's native virtual key is the virtual key code itself.
    return event.nativeVirtualKey();
}

}  // namespace talvo
