#include "app/platform/platform.h"

#include <QGuiApplication>

#include "app/platform/capture/toolkit_screen_capture.h"
#include "app/platform/hotkey/fake/fake_hotkey_backend.h"
#include "app/platform/notifications/fake/fake_notifier.h"
#include "app/platform/selection/fake/fake_selection_backend.h"
#include "app/platform/trust/fake/fake_trust.h"

#if defined(TALVO_PLATFORM_X11)
#include "app/platform/capture/portal/portal_screen_capture.h"
#include "app/platform/hotkey/gnome/gnome_keybinding.h"
#include "app/platform/hotkey/portal/portal_hotkey_backend.h"
#include "app/platform/hotkey/wayland/command_hotkey_backend.h"
#include "app/platform/hotkey/x11/x11_hotkey_backend.h"
#include "app/platform/notifications/x11/freedesktop_notifier.h"
#include "app/platform/placement/sway/sway_window_placer.h"
#include "app/platform/selection/wayland/wayland_selection_backend.h"
#include "app/platform/selection/x11/x11_selection_backend.h"
#include "app/platform/trust/always_trusted.h"
#elif defined(TALVO_PLATFORM_MACOS)
#include "app/platform/hotkey/macos/carbon_hotkey_backend.h"
#include "app/platform/notifications/macos/user_notifications_notifier.h"
#include "app/platform/selection/macos/macos_selection_backend.h"
#include "app/platform/trust/macos/ax_trust.h"
#elif defined(TALVO_PLATFORM_WINDOWS)
#include "app/platform/hotkey/windows/win_hotkey_backend.h"
#include "app/platform/notifications/windows/tray_notifier.h"
#include "app/platform/selection/windows/win_selection_backend.h"
#include "app/platform/trust/always_trusted.h"
#endif

namespace talvo {

namespace {

PlatformBackends fakes() {
    PlatformBackends b;
    b.hotkey = std::make_unique<FakeHotkeyBackend>();
    b.selection = std::make_unique<FakeSelectionBackend>();
    b.clipboard = std::make_unique<QtClipboardAccess>();
    b.trust = std::make_unique<FakeTrust>();
    b.notifier = std::make_unique<FakeNotifier>();
    b.capture = std::make_unique<ToolkitScreenCapture>();
    b.name = QStringLiteral("fake");
    return b;
}

}  // namespace

PlatformBackends createPlatformBackends(std::function<void(const NoticeText&)> fallbackNotice) {
    const QString platform = QGuiApplication::platformName();
    if (qEnvironmentVariable("TALVO_PLATFORM") == QLatin1String("fake")) {
        return fakes();
    }
#if defined(TALVO_PLATFORM_X11)
    if (platform == QLatin1String("xcb")) {
        auto hotkey = X11HotkeyBackend::create();
        auto selection = X11SelectionBackend::create();
        if (hotkey && selection) {
            PlatformBackends b;
            b.hotkey = std::move(hotkey);
            b.selection = std::move(selection);
            b.clipboard = std::make_unique<QtClipboardAccess>();
            b.trust = std::make_unique<AlwaysTrusted>();
            b.notifier = std::make_unique<FreedesktopNotifier>(std::move(fallbackNotice));
            b.capture = std::make_unique<ToolkitScreenCapture>();
            b.name = QStringLiteral("x11");
            return b;
        }
    }
    if (platform == QLatin1String("wayland")) {
        PlatformBackends b;
        // The desktop portal's shortcuts where the desktop has them, else a
        // key the user binds to `talvo --lookup`.
        if (auto portal = PortalHotkeyBackend::create(QGuiApplication::desktopFileName())) {
            b.hotkey = std::move(portal);
        } else {
            b.hotkey = std::make_unique<CommandHotkeyBackend>();
            b.shortcutByCommand = true;
            if (qEnvironmentVariable("XDG_CURRENT_DESKTOP")
                    .contains(QLatin1String("GNOME"), Qt::CaseInsensitive)) {
                for (HotkeyAction action : kHotkeyActions) {
                    b.desktopBindings[slotOf(action)] = GnomeKeybinding::create(action);
                }
            }
        }
        // Read in the background through data-control where the compositor
        // offers it; GNOME does not, so there the panel takes focus first.
        // TALVO_WAYLAND_SELECTION=focused picks the second way anywhere.
        auto selection = qEnvironmentVariable("TALVO_WAYLAND_SELECTION") == QLatin1String("focused")
                             ? nullptr
                             : WaylandSelectionBackend::create();
        if (selection) {
            b.selection = std::move(selection);
        } else {
            b.selection = std::make_unique<FocusedSelectionBackend>();
        }
        b.clipboard = std::make_unique<QtClipboardAccess>();
        b.trust = std::make_unique<AlwaysTrusted>();
        b.notifier = std::make_unique<FreedesktopNotifier>(std::move(fallbackNotice));
        b.placer = SwayWindowPlacer::create();
        // No client may read a Wayland screen: the desktop's screenshot
        // portal takes the picture, with its own dialog.
        b.capture = std::make_unique<PortalScreenCapture>();
        b.name = QStringLiteral("wayland");
        return b;
    }
#elif defined(TALVO_PLATFORM_MACOS)
    if (platform == QLatin1String("cocoa")) {
        PlatformBackends b;
        b.hotkey = std::make_unique<CarbonHotkeyBackend>();
        b.selection = std::make_unique<MacSelectionBackend>();
        b.clipboard = std::make_unique<MacClipboardAccess>();
        b.trust = std::make_unique<AxTrust>();
        b.notifier = std::make_unique<UserNotificationsNotifier>();
        b.capture = std::make_unique<ToolkitScreenCapture>();
        b.name = QStringLiteral("macos");
        return b;
    }
#elif defined(TALVO_PLATFORM_WINDOWS)
    if (platform == QLatin1String("windows")) {
        PlatformBackends b;
        b.hotkey = std::make_unique<WinHotkeyBackend>();
        b.selection = std::make_unique<WinSelectionBackend>();
        b.clipboard = std::make_unique<QtClipboardAccess>();
        b.trust = std::make_unique<AlwaysTrusted>();
        b.notifier = std::make_unique<TrayNotifier>(std::move(fallbackNotice));
        b.capture = std::make_unique<ToolkitScreenCapture>();
        b.name = QStringLiteral("windows");
        return b;
    }
#endif
    (void)fallbackNotice;
    return fakes();
}

}  // namespace talvo
