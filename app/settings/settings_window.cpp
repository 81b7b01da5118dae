#include "app/settings/settings_window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QFrame>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

#include "app/shell/localization.h"
#include "app/shell/start_at_login.h"
#include "app/theme/theme.h"
#include "core/l10n/localization.h"
#include "core/ui/hotkey_combo.h"
#include "net/online/online_config.h"
#include "net/settings/app_settings.h"

namespace talvo {

namespace {

// The modifiers as this system names them, for the recording hints.
QString modifierList() {
    return QString::fromStdString(HotkeyConfig::modifierList(kNativeKeyStyle));
}

QFrame* rule() {
    auto* f = new QFrame;
    f->setFrameShape(QFrame::HLine);
    f->setFrameShadow(QFrame::Plain);
    return f;
}

bool usableServiceUrl(const QString& text) {
    if (text.isEmpty()) {
        return true;
    }
    QUrl url(text, QUrl::StrictMode);
    return url.isValid() &&
           (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")) &&
           !url.host().isEmpty();
}

}  // namespace

// One shortcut's part of the window: its heading, the combo, the change and
// default buttons, the hint or warning, which route the shortcut takes and,
// on the command route, the command to bind and GNOME's binding of it.
class SettingsWindow::ShortcutSection : public QWidget {
  public:
    ShortcutSection(HotkeyAction action, HotkeyBackend& keys, SettingsWindow& window)
        : m_action(action),
          m_window(window),
          m_command(window.m_services.commands[slotOf(action)]),
          model(keys, HotkeyConfig::defaultCombo(action)) {
        setObjectName(name("shortcutSection"));
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        m_heading = new QLabel;
        m_heading->setObjectName(name("heading"));
        m_heading->setFont(theme::bodyFont(13, true));
        layout->addWidget(m_heading);
        m_combo = new QLabel;
        m_combo->setObjectName(name("combo"));
        m_combo->setFont(theme::bodyFont(22, true));
        layout->addWidget(m_combo);
        auto* buttons = new QHBoxLayout;
        m_change = new QPushButton;
        m_change->setObjectName(name("change"));
        m_default = new QPushButton;
        m_default->setObjectName(name("default"));
        buttons->addWidget(m_change);
        buttons->addWidget(m_default);
        buttons->addStretch(1);
        layout->addLayout(buttons);
        m_hint = new QLabel;
        m_hint->setObjectName(name("hint"));
        m_hint->setWordWrap(true);
        // Room for the hint or the warning, so the window does not jump.
        m_hint->setMinimumHeight(2 * m_hint->fontMetrics().lineSpacing());
        layout->addWidget(m_hint);
        // Which route the shortcut takes; on the command route the command
        // to bind, ready to copy, instead of keys this program cannot hold.
        m_route = new QLabel;
        m_route->setObjectName(name("route"));
        m_route->setWordWrap(true);
        layout->addWidget(m_route);
        m_commandLine = new QLineEdit(m_command);
        m_commandLine->setObjectName(m_action == HotkeyAction::Lookup
                                         ? QStringLiteral("lookupCommand")
                                         : QStringLiteral("screenTextCommand"));
        m_commandLine->setReadOnly(true);
        m_commandLine->setVisible(!m_command.isEmpty());
        layout->addWidget(m_commandLine);
        m_desktopBinding = new QCheckBox;
        m_desktopBinding->setObjectName(name("desktopBinding"));
        m_desktopBinding->setVisible(!m_command.isEmpty() && window.m_services.setDesktopBinding);
        layout->addWidget(m_desktopBinding);
        m_desktopBindingStatus = new QLabel;
        m_desktopBindingStatus->setWordWrap(true);
        m_desktopBindingStatus->setStyleSheet(QStringLiteral("color: %1").arg(YDao::seal().name()));
        m_desktopBindingStatus->setVisible(false);
        layout->addWidget(m_desktopBindingStatus);

        connect(m_change, &QPushButton::clicked, this, [this] { model.startRecording(); });
        connect(m_default, &QPushButton::clicked, this, [this] { model.resetToDefault(); });
        // clicked, not toggled: only the user's own click writes the binding.
        connect(m_desktopBinding, &QCheckBox::clicked, this,
                [this](bool on) { toggleDesktopBinding(on); });
        connect(&model, &SettingsModel::changed, this, [this] { refresh(); });
        Localization& l10n = window.m_l10n;
        model.needModifierText = [&l10n] {
            return l10n.format(msg::kNeedModifier, modifierList());
        };
        model.taken = [this](const HotkeyCombo& combo) {
            for (ShortcutSection* other : m_window.m_sections) {
                if (other && other != this && other->model.combo() == combo) {
                    return m_window.m_l10n.text(msg::kComboTakenByOther);
                }
            }
            return QString();
        };
        model.onComboChange = [this](const HotkeyCombo& combo) {
            if (m_window.m_onChange) {
                m_window.m_onChange(m_action, combo);
            }
        };
    }

    void retranslate() {
        Localization& l10n = m_window.m_l10n;
        const bool lookup = m_action == HotkeyAction::Lookup;
        m_heading->setText(l10n.text(lookup ? msg::kLookupShortcut : msg::kScreenTextShortcut));
        m_route->setText(
            l10n.text(m_command.isEmpty() ? msg::kShortcutHeldRoute : msg::kShortcutCommandRoute));
        // Said once, under the first shortcut, where the program holds its keys.
        m_route->setVisible(!m_command.isEmpty() || lookup);
        m_default->setText(l10n.format(msg::kDefaultCombo, displayForm(model.defaultCombo())));
        refresh();
    }

    void refresh() {
        Localization& l10n = m_window.m_l10n;
        const QString combo = displayForm(model.combo());
        m_combo->setText(combo);
        // The keys mean something where the program holds them, or where
        // the desktop's settings hold them for it.
        const Services& services = m_window.m_services;
        const bool bound = services.desktopBindingOn && services.desktopBindingOn(m_action);
        m_desktopBinding->setChecked(bound);
        m_desktopBinding->setText(l10n.format(msg::kDesktopBinding, combo));
        const bool keysShown = m_command.isEmpty() || bound;
        for (QWidget* w : {static_cast<QWidget*>(m_combo), static_cast<QWidget*>(m_change),
                           static_cast<QWidget*>(m_default), static_cast<QWidget*>(m_hint)}) {
            w->setVisible(keysShown);
        }
        const bool recording = model.recording();
        m_change->setText(l10n.text(recording ? msg::kPressCombo : msg::kChangeShortcut));
        if (model.warning()) {
            m_hint->setText(*model.warning());
            m_hint->setStyleSheet(QStringLiteral("color: %1").arg(YDao::seal().name()));
        } else if (recording) {
            m_hint->setText(l10n.format(msg::kRecordingHint, modifierList()));
            m_hint->setStyleSheet(QStringLiteral("color: %1").arg(YDao::muted().name()));
        } else {
            m_hint->clear();
        }
    }

  private:
    // The lookup's widgets keep their plain names; the screen's carry a prefix.
    QString name(const char* base) const {
        QString n = QString::fromLatin1(base);
        if (m_action == HotkeyAction::Lookup) {
            return n;
        }
        n[0] = n[0].toUpper();
        return QStringLiteral("screenText") + n;
    }

    QString displayForm(const HotkeyCombo& combo) const {
        const Services& services = m_window.m_services;
        return services.displayForm ? services.displayForm(combo) : QString();
    }

    void toggleDesktopBinding(bool on) {
        const Services& services = m_window.m_services;
        const bool ok = services.setDesktopBinding && services.setDesktopBinding(m_action, on);
        m_desktopBindingStatus->setText(ok ? QString()
                                           : m_window.m_l10n.text(msg::kDesktopBindingFailed));
        m_desktopBindingStatus->setVisible(!ok);
        refresh();
    }

    HotkeyAction m_action;
    SettingsWindow& m_window;
    QString m_command;
    QLabel* m_heading = nullptr;
    QLabel* m_combo = nullptr;
    QPushButton* m_change = nullptr;
    QPushButton* m_default = nullptr;
    QLabel* m_hint = nullptr;
    QLabel* m_route = nullptr;
    QLineEdit* m_commandLine = nullptr;
    QCheckBox* m_desktopBinding = nullptr;
    QLabel* m_desktopBindingStatus = nullptr;

  public:
    SettingsModel model;
};

SettingsWindow::SettingsWindow(HotkeyBackend& keys, Localization& l10n, AppSettings& settings,
                               Services services)
    : QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                           Qt::CustomizeWindowHint),
      m_l10n(l10n),
      m_settings(settings),
      m_services(std::move(services)) {
    setObjectName(QStringLiteral("settingsWindow"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::windowStyleSheet());
    setFont(theme::bodyFont(13));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(22, 18, 22, 18);
    layout->setSpacing(8);
    // Not resizable by the user; follows its content when the language changes.
    layout->setSizeConstraint(QLayout::SetFixedSize);

    for (HotkeyAction action : kHotkeyActions) {
        if (action != HotkeyAction::Lookup) {
            layout->addWidget(rule());
        }
        auto* section = new ShortcutSection(action, keys, *this);
        m_sections[slotOf(action)] = section;
        layout->addWidget(section);
        // One recording at a time; the global shortcuts let go while any is on.
        section->model.onRecordingChanged = [this, section](bool recording) {
            if (recording) {
                for (ShortcutSection* other : m_sections) {
                    if (other != section) {
                        other->model.stopRecording();
                    }
                }
            }
            const bool any = std::any_of(m_sections.begin(), m_sections.end(),
                                         [](ShortcutSection* s) { return s->model.recording(); });
            if (any != m_recording) {
                m_recording = any;
                if (onRecordingChanged) {
                    onRecordingChanged(any);
                }
            }
        };
    }

    layout->addWidget(rule());
    auto* lang = new QHBoxLayout;
    m_languageLabel = new QLabel;
    m_language = new QComboBox;
    m_language->setObjectName(QStringLiteral("language"));
    for (AppLanguage l : {AppLanguage::vi, AppLanguage::zh, AppLanguage::en}) {
        m_language->addItem(
            QString::fromUtf8(displayName(l).data(), static_cast<qsizetype>(displayName(l).size())),
            static_cast<int>(l));
    }
    lang->addWidget(m_languageLabel);
    lang->addWidget(m_language, 1);
    layout->addLayout(lang);
    m_startAtLogin = new QCheckBox;
    m_startAtLogin->setObjectName(QStringLiteral("startAtLogin"));
    m_startAtLogin->setVisible(false);
    layout->addWidget(m_startAtLogin);
    m_startAtLoginStatus = new QLabel;
    m_startAtLoginStatus->setObjectName(QStringLiteral("startAtLoginStatus"));
    m_startAtLoginStatus->setWordWrap(true);
    m_startAtLoginStatus->setStyleSheet(QStringLiteral("color: %1").arg(YDao::seal().name()));
    m_startAtLoginStatus->setVisible(false);
    layout->addWidget(m_startAtLoginStatus);

    layout->addWidget(rule());
    m_serverHeading = new QLabel;
    m_serverHeading->setFont(theme::bodyFont(13, true));
    layout->addWidget(m_serverHeading);
    auto* server = new QGridLayout;
    m_urlLabel = new QLabel;
    m_url = new QLineEdit;
    m_url->setObjectName(QStringLiteral("serviceUrl"));
    m_url->setPlaceholderText(QStringLiteral("https://"));
    m_saveUrl = new QPushButton;
    m_saveUrl->setObjectName(QStringLiteral("saveUrl"));
    m_urlStatus = new QLabel;
    m_urlStatus->setObjectName(QStringLiteral("urlStatus"));
    m_urlStatus->setWordWrap(true);
    m_tokenLabel = new QLabel;
    m_token = new QLineEdit;
    m_token->setObjectName(QStringLiteral("token"));
    m_token->setEchoMode(QLineEdit::Password);
    m_saveToken = new QPushButton;
    m_saveToken->setObjectName(QStringLiteral("saveToken"));
    m_tokenStatus = new QLabel;
    m_tokenStatus->setObjectName(QStringLiteral("tokenStatus"));
    m_tokenStatus->setWordWrap(true);
    server->addWidget(m_urlLabel, 0, 0);
    server->addWidget(m_url, 0, 1);
    server->addWidget(m_saveUrl, 0, 2);
    server->addWidget(m_urlStatus, 1, 1, 1, 2);
    server->addWidget(m_tokenLabel, 2, 0);
    server->addWidget(m_token, 2, 1);
    server->addWidget(m_saveToken, 2, 2);
    server->addWidget(m_tokenStatus, 3, 1, 1, 2);
    m_syncStatus = new QLabel;
    m_syncStatus->setObjectName(QStringLiteral("syncStatus"));
    m_syncStatus->setWordWrap(true);
    server->addWidget(m_syncStatus, 4, 1, 1, 2);
    server->setColumnMinimumWidth(1, 260);
    layout->addLayout(server);

    connect(m_language, &QComboBox::activated, this, [this](int index) {
        m_l10n.setLang(static_cast<AppLanguage>(m_language->itemData(index).toInt()));
    });
    // clicked, not toggled: only the user's own click writes the entry.
    connect(m_startAtLogin, &QCheckBox::clicked, this, &SettingsWindow::toggleStartAtLogin);
    connect(m_saveUrl, &QPushButton::clicked, this, &SettingsWindow::saveServiceUrl);
    connect(m_url, &QLineEdit::returnPressed, this, &SettingsWindow::saveServiceUrl);
    connect(m_saveToken, &QPushButton::clicked, this, &SettingsWindow::saveToken);
    connect(m_token, &QLineEdit::returnPressed, this, &SettingsWindow::saveToken);
    connect(&m_l10n, &Localization::languageChanged, this, &SettingsWindow::retranslate);
    retranslate();
}

SettingsWindow::~SettingsWindow() {
    for (ShortcutSection* section : m_sections) {
        section->model.onRecordingChanged = nullptr;
        section->model.stopRecording();
    }
}

SettingsModel& SettingsWindow::model(HotkeyAction action) {
    return m_sections[slotOf(action)]->model;
}

void SettingsWindow::show(const Combos& current,
                          std::function<void(HotkeyAction, const HotkeyCombo&)> onChange) {
    bool first = !property("placed").toBool();
    m_onChange = std::move(onChange);
    for (HotkeyAction action : kHotkeyActions) {
        model(action).setCombo(current[slotOf(action)]);
    }
    m_url->setText(QString::fromStdString(m_settings.serviceUrl()));
    m_urlStatus->clear();
    m_tokenStatus->clear();
    m_startAtLoginStatus->clear();
    m_startAtLoginStatus->setVisible(false);
    retranslate();
    if (first) {
        adjustSize();
        if (QScreen* s = QGuiApplication::primaryScreen()) {
            move(s->availableGeometry().center() - rect().center());
        }
        setProperty("placed", true);
    }
    QWidget::show();
    raise();
    activateWindow();
}

void SettingsWindow::closeEvent(QCloseEvent* event) {
    for (ShortcutSection* section : m_sections) {
        section->model.stopRecording();
    }
    hide();
    event->ignore();
}

void SettingsWindow::retranslate() {
    setWindowTitle(m_l10n.text(msg::kSettingsTitle));
    for (ShortcutSection* section : m_sections) {
        section->retranslate();
    }
    m_languageLabel->setText(m_l10n.text(msg::kLanguage));
    m_startAtLogin->setText(m_l10n.text(msg::kStartAtLogin));
    m_language->setCurrentIndex(m_language->findData(static_cast<int>(m_l10n.lang())));
    m_serverHeading->setText(m_l10n.text(msg::kServer));
    m_urlLabel->setText(m_l10n.text(msg::kServiceUrl));
    m_url->setToolTip(m_l10n.text(msg::kServiceUrlHint));
    m_saveUrl->setText(m_l10n.text(msg::kSave));
    m_tokenLabel->setText(m_l10n.text(msg::kSignInToken));
    m_saveToken->setText(m_l10n.text(msg::kSave));
    if (m_lastSync) {
        showSyncStatus(*m_lastSync);
    }
    refresh();
}

void SettingsWindow::showSyncStatus(const SyncStatus& status) {
    m_lastSync = status;
    QString text =
        status.ok ? m_l10n.format(msg::kSyncLastOk,
                                  QDateTime::fromSecsSinceEpoch(status.at).toLocalTime().toString(
                                      QStringLiteral("HH:mm")))
                  : m_l10n.text(msg::kSyncLastFailed);
    if (status.refused > 0) {
        text +=
            QLatin1Char('\n') + m_l10n.format(msg::kSyncRefused, QString::number(status.refused));
    }
    m_syncStatus->setText(text);
}

void SettingsWindow::setStartAtLogin(const AutostartEntry* entry) {
    m_autostart = entry;
    m_startAtLogin->setVisible(entry != nullptr);
    refresh();
}

void SettingsWindow::toggleStartAtLogin(bool on) {
    if (!m_autostart) {
        return;
    }
    std::string error;
    bool ok = talvo::setStartAtLogin(m_settings, *m_autostart, on, &error);
    if (!ok) {
        qWarning("start at login: %s", error.c_str());
    }
    m_startAtLoginStatus->setText(
        ok ? QString()
           : m_l10n.format(msg::kStartAtLoginFailed, QString::fromStdString(m_autostart->path())));
    m_startAtLoginStatus->setVisible(!ok);
    refresh();
}

void SettingsWindow::refresh() {
    // The file is the truth: the desktop's own tools may have changed it.
    if (m_autostart) {
        m_startAtLogin->setChecked(m_autostart->enabled());
    }
    for (ShortcutSection* section : m_sections) {
        section->refresh();
    }
}

void SettingsWindow::saveServiceUrl() {
    QString text = m_url->text().trimmed();
    if (!usableServiceUrl(text)) {
        m_urlStatus->setText(m_l10n.text(msg::kInvalidServiceUrl));
        return;
    }
    if (carriesTokenInClear(text.toStdString())) {
        m_urlStatus->setText(m_l10n.text(msg::kServiceUrlNeedsHttps));
        return;
    }
    m_settings.setServiceUrl(text.toStdString());
    m_settings.sync();
    m_url->setText(QString::fromStdString(m_settings.serviceUrl()));
    m_urlStatus->setText(m_l10n.text(msg::kSaved));
}

void SettingsWindow::saveToken() {
    std::string token = m_token->text().trimmed().toStdString();
    bool saved = m_services.saveToken && m_services.saveToken(token);
    m_tokenStatus->setText(m_l10n.text(saved ? msg::kSaved : msg::kTokenUnavailable));
    if (saved) {
        m_token->clear();
    }
}

}  // namespace talvo
