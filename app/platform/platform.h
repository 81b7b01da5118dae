#pragma once

#include <QString>
#include <array>
#include <memory>

#include "app/platform/capture/screen_capture.h"
#include "app/platform/clipboard_access.h"
#include "app/platform/hotkey/desktop_keybinding.h"
#include "app/platform/hotkey/hotkey_backend.h"
#include "app/platform/notifications/notifier.h"
#include "app/platform/placement/window_placer.h"
#include "app/platform/selection/selection_backend.h"
#include "app/platform/trust/accessibility_trust.h"

namespace talvo {

// One backend per platform feature.
struct PlatformBackends {
    std::unique_ptr<HotkeyBackend> hotkey;
    std::unique_ptr<SelectionBackend> selection;
    std::unique_ptr<ClipboardAccess> clipboard;
    std::unique_ptr<AccessibilityTrust> trust;
    std::unique_ptr<Notifier> notifier;
    // Null where the toolkit places windows itself, or nothing can.
    std::unique_ptr<WindowPlacer> placer;
    // Pictures of the screen to read text from; null where nothing can take one.
    std::unique_ptr<ScreenCapture> capture;
    QString name;  // "x11", "wayland", "macos", "windows" or "fake"
    // What this session cannot do, for the notices the program shows once.
    // No global key of our own: the desktop must run `talvo --lookup` (and
    // `talvo --ocr`).
    bool shortcutByCommand = false;
    // On that route, the desktop's keyboard settings where the program may
    // bind the commands for the user (GNOME), one entry per action; null
    // elsewhere.
    std::array<std::unique_ptr<DesktopKeybinding>, kHotkeyActions.size()> desktopBindings;

    DesktopKeybinding* desktopBinding(HotkeyAction action) const {
        return desktopBindings[slotOf(action)].get();
    }
};

// The one place that picks the backends: by the toolkit's platform ("xcb" on
// X11, "wayland" in a Wayland session, "cocoa", "windows"); TALVO_PLATFORM=fake
// forces the fakes (tests), which are also what a platform without windows
// (offscreen) gets: a program that runs but cannot see other windows.
// `fallbackNotice` shows a notice where the desktop has no notification
// service (the tray's balloon). Call after the QApplication exists.
PlatformBackends createPlatformBackends(
    std::function<void(const NoticeText&)> fallbackNotice = nullptr);

}  // namespace talvo
