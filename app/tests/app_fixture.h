#pragma once

#include <QApplication>
#include <QMenu>
#include <memory>
#include <string>
#include <vector>

#include "app/controller/app_controller.h"
#include "app/controller/app_stores.h"
#include "app/platform/capture/fake/fake_screen_capture.h"
#include "app/platform/hotkey/fake/fake_desktop_keybinding.h"
#include "app/platform/hotkey/fake/fake_hotkey_backend.h"
#include "app/platform/notifications/fake/fake_notifier.h"
#include "app/platform/selection/fake/fake_clipboard.h"
#include "app/platform/selection/fake/fake_selection_backend.h"
#include "app/platform/trust/fake/fake_trust.h"
#include "app/shell/alerts.h"
#include "app/study/deck_events.h"
#include "app/tests/fake_pump.h"
#include "app/tests/fake_recognizer.h"
#include "app/tray/tray_menu.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

namespace talvo::testing {

// A controller over a small dictionary, fresh data and settings folders and
// fake platform backends that the test scripts, composed as main() does:
// stores and deck events first, the controller over them.
class AppFixture {
  public:
    explicit AppFixture(bool withDictionary = true) {
        if (withDictionary) {
            writeFixtureDict(
                dir.file("dict.sqlite"),
                {
                    {"數", {"số", "sổ", "sác"}, "Số đếm.", "① Số đếm.\n② Mạch sác.", 300},
                    {"傷", {"thương"}, "Bị thương.", nullptr, 800},
                    {"寒", {"hàn"}, "Lạnh.", nullptr, 700},
                    {"論", {"luận"}, "Bàn luận.", nullptr, 600},
                    {"汗", {"hãn", "hàn"}, "Mồ hôi.", nullptr, 20},
                });
        }
        settings = std::make_unique<AppSettings>(dir.file("settings.ini"));
    }
    ~AppFixture() {
        controller.reset();
        stores.reset();
        QApplication::processEvents();
    }

    // Opens the stores afresh (a new program over the same folders) and
    // launches a controller over them.
    AppController& start() {
        controller.reset();
        stores.reset();
        stores = std::make_unique<AppStores>(dir.file("dict.sqlite"), dir.file("data"),
                                             Clock::fixed(1'700'000'000));
        AppEnvironment e;
        e.settings = settings.get();
        e.alerts = &alerts;
        e.stores = stores.get();
        e.deck = &deck;
        e.lessons = lessons;
        e.version = "0.1.0";
        auto hotkeyBackend = std::make_unique<FakeHotkeyBackend>();
        auto selectionBackend = std::make_unique<FakeSelectionBackend>();
        auto clipboardBackend = std::make_unique<FakeClipboard>();
        auto trustBackend = std::make_unique<FakeTrust>();
        auto notifierBackend = std::make_unique<FakeNotifier>();
        auto pumpBackend = std::make_unique<FakePump>();
        auto captureBackend = std::make_unique<FakeScreenCapture>();
        hotkey = hotkeyBackend.get();
        selection = selectionBackend.get();
        clipboard = clipboardBackend.get();
        trust = trustBackend.get();
        notifier = notifierBackend.get();
        pump = pumpBackend.get();
        capture = captureBackend.get();
        e.platform.hotkey = std::move(hotkeyBackend);
        e.platform.selection = std::move(selectionBackend);
        e.platform.clipboard = std::move(clipboardBackend);
        e.platform.trust = std::move(trustBackend);
        e.platform.notifier = std::move(notifierBackend);
        e.platform.capture = std::move(captureBackend);
        e.platform.shortcutByCommand = shortcutByCommand;
        e.recognizer = [script = recognizer]() -> std::unique_ptr<ocr::TextRecognizer> {
            ++script->made;
            if (script->engineMissing) {
                return nullptr;
            }
            return std::make_unique<FakeRecognizer>(script);
        };
        if (offerDesktopBinding) {
            auto binding = std::make_unique<FakeDesktopKeybinding>();
            auto screenText = std::make_unique<FakeDesktopKeybinding>();
            desktopBinding = binding.get();
            screenTextBinding = screenText.get();
            e.platform.desktopBindings = {std::move(binding), std::move(screenText)};
        }
        e.trayAvailable = trayAvailable;
        e.trayCheckDelayMs = 0;
        e.pump = std::move(pumpBackend);
        e.online = online;
        notifier->granted = notificationsAllowed;
        controller = std::make_unique<AppController>(std::move(e));
        controller->launch();
        return *controller;
    }

    // Presses the shortcut with `text` selected and lets the queued trigger run.
    void pressWithSelection(const std::string& text) {
        selection->primary = text;
        ASSERT_TRUE(hotkey->press());
        QApplication::processEvents();
    }

    std::vector<QString> menuTitles() const {
        std::vector<QString> out;
        for (QAction* a : controller->trayMenu().menu()->actions()) {
            out.push_back(a->isSeparator() ? QStringLiteral("—") : a->text());
        }
        return out;
    }

    bool notificationsAllowed = true;
    TempDir dir;
    std::unique_ptr<AppSettings> settings;
    RecordingAlerts alerts;
    OnlineHooks online;
    LessonsService* lessons = nullptr;  // the lessons feed, when a test gives one
    DeckEvents deck;
    std::unique_ptr<AppStores> stores;
    bool shortcutByCommand = false;                      // the session limits start() reports
    std::function<bool()> trayAvailable;                 // null: the desktop has a tray
    bool offerDesktopBinding = false;                    // GNOME's keyboard settings are there
    FakeDesktopKeybinding* desktopBinding = nullptr;     // the lookup's
    FakeDesktopKeybinding* screenTextBinding = nullptr;  // reading the screen
    std::unique_ptr<AppController> controller;
    FakeHotkeyBackend* hotkey = nullptr;
    FakeSelectionBackend* selection = nullptr;
    FakeClipboard* clipboard = nullptr;
    FakeTrust* trust = nullptr;
    FakeNotifier* notifier = nullptr;
    FakePump* pump = nullptr;
    FakeScreenCapture* capture = nullptr;
    // What the recogniser answers; shared with the recognition thread.
    std::shared_ptr<RecognizerScript> recognizer = std::make_shared<RecognizerScript>();
};

}  // namespace talvo::testing
