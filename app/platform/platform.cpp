#include "platform/platform.h"

#include <QGuiApplication>

#include "platform/hotkey/fake/fake_hotkey_backend.h"
#include "platform/notifications/fake/fake_notifier.h"
#include "platform/selection/fake/fake_selection_backend.h"
#include "platform/trust/fake/fake_trust.h"

#if defined(TALVO_PLATFORM_X11)
#include "platform/hotkey/x11/x11_hotkey_backend.h"
#include "platform/notifications/x11/freedesktop_notifier.h"
#include "platform/selection/x11/x11_selection_backend.h"
#include "platform/trust/always_trusted.h"
#elif defined(TALVO_PLATFORM_MACOS)
#include "platform/hotkey/macos/carbon_hotkey_backend.h"
#include "platform/notifications/macos/user_notifications_notifier.h"
#include "platform/selection/macos/macos_selection_backend.h"
#include "platform/trust/macos/ax_trust.h"
#elif defined(TALVO_PLATFORM_WINDOWS)
#include "platform/hotkey/windows/win_hotkey_backend.h"
#include "platform/notifications/windows/tray_notifier.h"
#include "platform/selection/windows/win_selection_backend.h"
#include "platform/trust/always_trusted.h"
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
            b.name = QStringLiteral("x11");
            return b;
        }
    }
#elif defined(TALVO_PLATFORM_MACOS)
    if (platform == QLatin1String("cocoa")) {
        PlatformBackends b;
        b.hotkey = std::make_unique<CarbonHotkeyBackend>();
        b.selection = std::make_unique<MacSelectionBackend>();
        b.clipboard = std::make_unique<MacClipboardAccess>();
        b.trust = std::make_unique<AxTrust>();
        b.notifier = std::make_unique<UserNotificationsNotifier>();
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
        b.name = QStringLiteral("windows");
        return b;
    }
#endif
    (void)fallbackNotice;
    return fakes();
}

}  // namespace talvo
