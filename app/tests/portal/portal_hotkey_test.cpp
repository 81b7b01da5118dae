// The portal shortcut route against the scripted portal that portal_test.sh
// starts on a private session bus.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/platform/hotkey/portal/portal_hotkey_backend.h"
#include "app/tests/portal/portal_test_support.h"

using namespace talvo;

namespace {

using talvo::testing::waitFor;

QJsonArray callsOf(const QString& method) {
    return talvo::testing::portalCallsOf(method);
}

void press(const QString& session, const QString& id) {
    QDBusMessage m = talvo::testing::portalTestCall(QStringLiteral("Press"));
    m << QVariant::fromValue(QDBusObjectPath(session)) << id;
    QDBusConnection::sessionBus().call(m);
}

}  // namespace

TEST(PortalHotkeyTest, BindsTheComboAsPreferredTriggerAndFiresOnActivated) {
    auto backend = PortalHotkeyBackend::create(QStringLiteral("io.github.mirelo.Talvo"));
    ASSERT_NE(backend, nullptr) << "the scripted portal was not found";
    ASSERT_EQ(callsOf(QStringLiteral("Register")).size(), 1);
    EXPECT_EQ(callsOf(QStringLiteral("Register"))[0].toObject()[QStringLiteral("app_id")],
              QStringLiteral("io.github.mirelo.Talvo"));

    int pressed = 0;
    EXPECT_TRUE(backend->registerCombo(HotkeyAction::Lookup, HotkeyCombo::defaultCombo(),
                                       [&] { ++pressed; }));
    ASSERT_TRUE(waitFor([] { return callsOf(QStringLiteral("BindShortcuts")).size() == 1; }));
    QJsonObject created = callsOf(QStringLiteral("CreateSession"))[0].toObject();
    EXPECT_FALSE(
        created[QStringLiteral("options")][QStringLiteral("handle_token")].toString().isEmpty());
    QJsonObject bind = callsOf(QStringLiteral("BindShortcuts"))[0].toObject();
    const QString session = bind[QStringLiteral("session")].toString();
    EXPECT_TRUE(session.endsWith(
        created[QStringLiteral("options")][QStringLiteral("session_handle_token")].toString()));
    QJsonArray shortcut = bind[QStringLiteral("shortcuts")].toArray()[0].toArray();
    EXPECT_EQ(shortcut[0].toString(), QStringLiteral("lookup"));
    EXPECT_EQ(shortcut[1].toObject()[QStringLiteral("preferred_trigger")].toString(),
              QStringLiteral("ALT+d"));

    // The bound shortcut fires the lookup; another session's or id's does not.
    press(session, QStringLiteral("lookup"));
    ASSERT_TRUE(waitFor([&] { return pressed == 1; }));
    press(session, QStringLiteral("other"));
    press(QStringLiteral("/org/freedesktop/portal/desktop/session/x/y"), QStringLiteral("lookup"));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(pressed, 1);

    // A new combo: the old session is closed and a new one bound with it.
    EXPECT_TRUE(
        backend->registerCombo(HotkeyAction::Lookup, {37, 0x1000 | 0x200}, [&] { pressed += 10; }));
    ASSERT_TRUE(waitFor([] { return callsOf(QStringLiteral("BindShortcuts")).size() == 2; }));
    EXPECT_EQ(callsOf(QStringLiteral("Close"))[0].toObject()[QStringLiteral("session")].toString(),
              session);
    bind = callsOf(QStringLiteral("BindShortcuts"))[1].toObject();
    EXPECT_EQ(bind[QStringLiteral("shortcuts")]
                  .toArray()[0]
                  .toArray()[1]
                  .toObject()[QStringLiteral("preferred_trigger")]
                  .toString(),
              QStringLiteral("CTRL+SHIFT+l"));
    press(session, QStringLiteral("lookup"));  // the closed session
    press(bind[QStringLiteral("session")].toString(), QStringLiteral("lookup"));
    ASSERT_TRUE(waitFor([&] { return pressed == 11; }));

    backend->unregisterCombo(HotkeyAction::Lookup);
    EXPECT_TRUE(waitFor([] { return callsOf(QStringLiteral("Close")).size() == 2; }));
}

TEST(PortalHotkeyTest, BothShortcutsShareOneSessionAndEachFiresItsOwnAction) {
    auto backend = PortalHotkeyBackend::create(QStringLiteral("io.github.mirelo.Talvo"));
    ASSERT_NE(backend, nullptr);
    const auto before = callsOf(QStringLiteral("BindShortcuts")).size();
    int lookups = 0;
    int screens = 0;
    // Registered in one turn of the loop, as at launch: one session, one
    // request to the user.
    backend->registerCombo(HotkeyAction::Lookup, HotkeyCombo::defaultCombo(), [&] { ++lookups; });
    backend->registerCombo(HotkeyAction::ScreenText,
                           HotkeyConfig::defaultCombo(HotkeyAction::ScreenText),
                           [&] { ++screens; });
    ASSERT_TRUE(
        waitFor([&] { return callsOf(QStringLiteral("BindShortcuts")).size() == before + 1; }));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
    ASSERT_EQ(callsOf(QStringLiteral("BindShortcuts")).size(), before + 1);
    QJsonObject bind = callsOf(QStringLiteral("BindShortcuts")).last().toObject();
    QJsonArray shortcuts = bind[QStringLiteral("shortcuts")].toArray();
    ASSERT_EQ(shortcuts.size(), 2);
    EXPECT_EQ(shortcuts[1].toArray()[0].toString(), QStringLiteral("screen-text"));
    EXPECT_EQ(shortcuts[1].toArray()[1].toObject()[QStringLiteral("preferred_trigger")].toString(),
              QStringLiteral("ALT+SHIFT+d"));
    const QString session = bind[QStringLiteral("session")].toString();
    press(session, QStringLiteral("screen-text"));
    ASSERT_TRUE(waitFor([&] { return screens == 1; }));
    EXPECT_EQ(lookups, 0);

    // Letting go of one keeps the other, in a new session.
    backend->unregisterCombo(HotkeyAction::ScreenText);
    ASSERT_TRUE(
        waitFor([&] { return callsOf(QStringLiteral("BindShortcuts")).size() == before + 2; }));
    bind = callsOf(QStringLiteral("BindShortcuts")).last().toObject();
    ASSERT_EQ(bind[QStringLiteral("shortcuts")].toArray().size(), 1);
    press(bind[QStringLiteral("session")].toString(), QStringLiteral("screen-text"));
    press(bind[QStringLiteral("session")].toString(), QStringLiteral("lookup"));
    ASSERT_TRUE(waitFor([&] { return lookups == 1; }));
    EXPECT_EQ(screens, 1);
}
