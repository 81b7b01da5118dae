#include "app/platform/selection/windows/win_selection_backend.h"

#include <windows.h>

#include <array>
#include <vector>

namespace talvo {

namespace {

constexpr std::array<int, 8> kModifierKeys = {VK_LSHIFT, VK_RSHIFT, VK_LCONTROL, VK_RCONTROL,
                                              VK_LMENU,  VK_RMENU,  VK_LWIN,     VK_RWIN};

INPUT key(WORD vk, bool up) {
    INPUT in{};
    in.type = INPUT_KEYBOARD;
    in.ki.wVk = vk;
    in.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
    return in;
}

bool ours(HWND window) {
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    return pid == GetCurrentProcessId();
}

}  // namespace

bool WinSelectionBackend::modifiersHeld() {
    for (int vk : kModifierKeys) {
        if (GetAsyncKeyState(vk) & 0x8000) {
            return true;
        }
    }
    return false;
}

void WinSelectionBackend::postCopyKeystroke() {
    std::vector<INPUT> inputs;
    // Modifiers still held would turn the copy into another shortcut.
    for (int vk : kModifierKeys) {
        if (GetAsyncKeyState(vk) & 0x8000) {
            inputs.push_back(key(static_cast<WORD>(vk), true));
        }
    }
    inputs.push_back(key(VK_CONTROL, false));
    inputs.push_back(key('C', false));
    inputs.push_back(key('C', true));
    inputs.push_back(key(VK_CONTROL, true));
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

uint64_t WinSelectionBackend::focusedWindow() {
    HWND front = GetForegroundWindow();
    if (!front || ours(front)) {
        return 0;
    }
    return reinterpret_cast<uint64_t>(front);
}

void WinSelectionBackend::restoreFocus(uint64_t window) {
    HWND front = GetForegroundWindow();
    if (window == 0 || (front && !ours(front))) {
        return;
    }
    SetForegroundWindow(reinterpret_cast<HWND>(window));
}

}  // namespace talvo
