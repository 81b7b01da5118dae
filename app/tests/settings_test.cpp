// Recording a shortcut and the Settings window's texts and server fields.
#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "app/platform/hotkey/fake/fake_hotkey_backend.h"
#include "app/settings/settings_window.h"
#include "app/shell/localization.h"
#include "core/tests/fixture_dict.h"
#include "net/settings/app_settings.h"

using namespace talvo;

namespace {

class SettingsTest : public ::testing::Test {
  protected:
    SettingsTest() : settings(dir.file("settings.ini")), l10n(settings) {
        SettingsWindow::Services services;
        services.displayForm = [this](const HotkeyCombo& c) {
            return QString::fromStdString(HotkeyConfig::displayForm(
                c, [this](uint32_t k) { return keys.character(k); }, kNativeKeyStyle));
        };
        window = std::make_unique<SettingsWindow>(keys, l10n, settings, services);
        window->show(
            {HotkeyCombo::defaultCombo(), HotkeyConfig::defaultCombo(HotkeyAction::ScreenText)},
            [this](HotkeyAction action, const HotkeyCombo& c) {
                changes.push_back(c);
                actions.push_back(action);
            });
        QApplication::processEvents();
    }
    ~SettingsTest() override { window->model().stopRecording(); }

    QString text(const char* name) const {
        return window->findChild<QLabel*>(QString::fromLatin1(name))->text();
    }
    void key(int qtKey, Qt::KeyboardModifiers mods = Qt::NoModifier) {
        QKeyEvent press(QEvent::KeyPress, qtKey, mods);
        QApplication::sendEvent(window.get(), &press);
    }

    talvo::testing::TempDir dir;
    AppSettings settings;
    Localization l10n;
    FakeHotkeyBackend keys;
    std::unique_ptr<SettingsWindow> window;
    std::vector<HotkeyCombo> changes;
    std::vector<HotkeyAction> actions;
};

}  // namespace

TEST_F(SettingsTest, RecordingWarnsCancelsAndTakesACombo) {
    SettingsModel& m = window->model();
    m.startRecording();
    EXPECT_TRUE(m.recording());
    EXPECT_EQ(window->findChild<QPushButton*>(QStringLiteral("change"))->text(),
              QStringLiteral("Bấm tổ hợp phím…"));
    EXPECT_EQ(text("hint"),
              QStringLiteral("Cần ít nhất một phím bổ trợ (Ctrl, Alt, Shift, Super). Esc để huỷ."));
    // D alone: warned, still recording. Modifier keys alone: ignored.
    key(Qt::Key_D);
    key(Qt::Key_Shift, Qt::ShiftModifier);
    EXPECT_TRUE(m.recording());
    EXPECT_EQ(text("hint"), QStringLiteral("Cần ít nhất một phím bổ trợ: Ctrl, Alt, Shift, Super"));
    // Escape alone cancels and keeps the combo.
    key(Qt::Key_Escape);
    EXPECT_FALSE(m.recording());
    EXPECT_EQ(m.combo(), HotkeyCombo::defaultCombo());
    EXPECT_TRUE(changes.empty());

    // Control-Option-Command-F5 (Qt names Command "Meta" off macOS).
    m.startRecording();
    EXPECT_FALSE(m.warning().has_value());
    key(Qt::Key_F5, Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    EXPECT_FALSE(m.recording());
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0], (HotkeyCombo{96, 0x1900}));
    EXPECT_EQ(text("combo"), QStringLiteral("Ctrl+Alt+Super+F5"));

    // Escape with a modifier is a shortcut like any other.
    m.startRecording();
    key(Qt::Key_Escape, Qt::ShiftModifier);
    EXPECT_EQ(changes.back(), (HotkeyCombo{53, carbon::kShift}));
}

TEST_F(SettingsTest, DefaultButtonStopsRecordingAndRestoresOptionD) {
    window->model().startRecording();
    key(Qt::Key_D);
    window->findChild<QPushButton*>(QStringLiteral("default"))->click();
    EXPECT_FALSE(window->model().recording());
    EXPECT_FALSE(window->model().warning().has_value());
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0], HotkeyCombo::defaultCombo());
    EXPECT_EQ(text("combo"), QStringLiteral("Alt+D"));
    EXPECT_EQ(window->findChild<QPushButton*>(QStringLiteral("default"))->text(),
              QStringLiteral("Mặc định Alt+D"));
}

TEST_F(SettingsTest, TheScreenShortcutIsRecordedApartAndNeverTakesTheLookupsCombo) {
    EXPECT_EQ(text("screenTextHeading"), QStringLiteral("Phím tắt đọc chữ trên màn hình"));
    EXPECT_EQ(text("screenTextCombo"), QStringLiteral("Alt+Shift+D"));
    auto* change = window->findChild<QPushButton*>(QStringLiteral("screenTextChange"));
    ASSERT_NE(change, nullptr);

    // One recording at a time: starting the screen's stops the lookup's.
    std::vector<bool> recording;
    window->onRecordingChanged = [&](bool on) { recording.push_back(on); };
    window->model().startRecording();
    change->click();
    EXPECT_FALSE(window->model().recording());
    EXPECT_TRUE(window->model(HotkeyAction::ScreenText).recording());
    EXPECT_EQ(recording, std::vector<bool>{true});  // the shortcuts stay let go throughout

    // Alt+D is the lookup's: refused with a warning, still recording.
    key(Qt::Key_D, Qt::AltModifier);
    EXPECT_TRUE(window->model(HotkeyAction::ScreenText).recording());
    EXPECT_EQ(text("screenTextHint"), QStringLiteral("Phím tắt kia đang dùng tổ hợp này."));
    EXPECT_TRUE(changes.empty());
    key(Qt::Key_O, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_EQ(recording, (std::vector<bool>{true, false}));
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(actions[0], HotkeyAction::ScreenText);
    EXPECT_EQ(changes[0], (HotkeyCombo{31, carbon::kControl | carbon::kOption}));
    EXPECT_EQ(text("screenTextCombo"), QStringLiteral("Ctrl+Alt+O"));
    EXPECT_EQ(text("combo"), QStringLiteral("Alt+D"));

    // Its default button restores its own default.
    window->findChild<QPushButton*>(QStringLiteral("screenTextDefault"))->click();
    EXPECT_EQ(changes.back(), HotkeyConfig::defaultCombo(HotkeyAction::ScreenText));
    EXPECT_EQ(window->findChild<QPushButton*>(QStringLiteral("screenTextDefault"))->text(),
              QStringLiteral("Mặc định Alt+Shift+D"));
}

TEST_F(SettingsTest, LanguageChoiceRetitlesTheWindowAtOnce) {
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Talvo — Cài đặt"));
    auto* language = window->findChild<QComboBox*>(QStringLiteral("language"));
    ASSERT_EQ(language->count(), 3);
    EXPECT_EQ(language->itemText(1), QStringLiteral("中文"));
    language->setCurrentIndex(2);
    emit language->activated(2);
    EXPECT_EQ(l10n.lang(), AppLanguage::en);
    EXPECT_EQ(settings.string("app.language"), "en");
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Talvo — Settings"));
    EXPECT_EQ(window->findChild<QPushButton*>(QStringLiteral("change"))->text(),
              QStringLiteral("Change shortcut…"));
}

TEST_F(SettingsTest, ServerAddressIsCheckedAndSavedAndTheTokenNeedsAKeychain) {
    auto* url = window->findChild<QLineEdit*>(QStringLiteral("serviceUrl"));
    url->setText(QStringLiteral("talvo.example"));
    window->findChild<QPushButton*>(QStringLiteral("saveUrl"))->click();
    EXPECT_EQ(text("urlStatus"),
              QStringLiteral("Địa chỉ phải bắt đầu bằng http:// hoặc https://."));
    EXPECT_EQ(settings.serviceUrl(), "");
    url->setText(QStringLiteral(" https://talvo.example/ "));
    window->findChild<QPushButton*>(QStringLiteral("saveUrl"))->click();
    EXPECT_EQ(settings.serviceUrl(), "https://talvo.example");
    // Plain http only to this machine: elsewhere the token would travel in clear.
    url->setText(QStringLiteral("http://talvo.example"));
    window->findChild<QPushButton*>(QStringLiteral("saveUrl"))->click();
    EXPECT_TRUE(text("urlStatus").startsWith(QStringLiteral("Hãy dùng https://")));
    EXPECT_EQ(settings.serviceUrl(), "https://talvo.example");
    url->setText(QStringLiteral("http://127.0.0.1:8080"));
    window->findChild<QPushButton*>(QStringLiteral("saveUrl"))->click();
    EXPECT_EQ(settings.serviceUrl(), "http://127.0.0.1:8080");

    window->findChild<QLineEdit*>(QStringLiteral("token"))->setText(QStringLiteral("secret"));
    window->findChild<QPushButton*>(QStringLiteral("saveToken"))->click();
    EXPECT_TRUE(text("tokenStatus").startsWith(QStringLiteral("Chưa lưu được mã đăng nhập")));

    // The latest sync's outcome, with the changes the server refused.
    EXPECT_EQ(text("syncStatus"), QString());
    window->showSyncStatus({false, 0, 3});
    EXPECT_EQ(text("syncStatus"),
              QStringLiteral("Lần đồng bộ gần nhất không thành công; sẽ thử lại ở lần sau.\n"
                             "3 thay đổi bị máy chủ từ chối, chỉ còn lưu trên máy này."));
    window->showSyncStatus({true, 1'700'000'000, 0});
    EXPECT_TRUE(text("syncStatus").startsWith(QStringLiteral("Đồng bộ lần cuối lúc ")));
}

TEST_F(SettingsTest, TheWindowSaysWhichRouteTheShortcutTakes) {
    EXPECT_EQ(text("route"), QStringLiteral("Talvo tự giữ phím tắt này trên toàn màn hình."));
    EXPECT_FALSE(window->findChild<QLineEdit*>(QStringLiteral("lookupCommand"))->isVisible());
    EXPECT_TRUE(window->findChild<QPushButton*>(QStringLiteral("change"))->isVisible());

    // Where the desktop must run the lookup: the command to bind, ready to
    // copy, and no keys to record that nothing would hold.
    window->hide();
    SettingsWindow::Services command;
    command.commands = {QStringLiteral("/usr/bin/talvo --lookup"),
                        QStringLiteral("/usr/bin/talvo --ocr")};
    SettingsWindow wayland(keys, l10n, settings, command);
    wayland.show({}, [](HotkeyAction, const HotkeyCombo&) {});
    QApplication::processEvents();
    auto* line = wayland.findChild<QLineEdit*>(QStringLiteral("lookupCommand"));
    ASSERT_NE(line, nullptr);
    EXPECT_TRUE(line->isVisible());
    EXPECT_TRUE(line->isReadOnly());
    EXPECT_EQ(line->text(), QStringLiteral("/usr/bin/talvo --lookup"));
    EXPECT_TRUE(wayland.findChild<QLabel*>(QStringLiteral("route"))
                    ->text()
                    .startsWith(QStringLiteral("Màn hình này không cho chương trình")));
    EXPECT_FALSE(wayland.findChild<QPushButton*>(QStringLiteral("change"))->isVisible());
    EXPECT_FALSE(wayland.findChild<QLabel*>(QStringLiteral("combo"))->isVisible());
    wayland.close();
}
