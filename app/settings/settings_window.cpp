#include "app/settings/settings_window.h"

#include <QDateTime>

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
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

SettingsWindow::SettingsWindow(HotkeyBackend& keys, Localization& l10n, AppSettings& settings,
                               Services services)
    : QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                           Qt::CustomizeWindowHint),
      m_l10n(l10n),
      m_settings(settings),
      m_services(std::move(services)),
      m_model(keys) {
    setObjectName(QStringLiteral("settingsWindow"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(theme::windowStyleSheet());
    setFont(theme::bodyFont(13));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(22, 18, 22, 18);
    layout->setSpacing(8);
    // Not resizable by the user; follows its content when the language changes.
    layout->setSizeConstraint(QLayout::SetFixedSize);

    m_heading = new QLabel;
    m_heading->setFont(theme::bodyFont(13, true));
    layout->addWidget(m_heading);
    m_combo = new QLabel;
    m_combo->setObjectName(QStringLiteral("combo"));
    m_combo->setFont(theme::bodyFont(22, true));
    layout->addWidget(m_combo);
    auto* buttons = new QHBoxLayout;
    m_change = new QPushButton;
    m_change->setObjectName(QStringLiteral("change"));
    m_default = new QPushButton;
    m_default->setObjectName(QStringLiteral("default"));
    buttons->addWidget(m_change);
    buttons->addWidget(m_default);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    m_hint = new QLabel;
    m_hint->setObjectName(QStringLiteral("hint"));
    m_hint->setWordWrap(true);
    // Room for the hint or the warning, so the window does not jump.
    m_hint->setMinimumHeight(2 * m_hint->fontMetrics().lineSpacing());
    layout->addWidget(m_hint);
    // Which route the shortcut takes; on the command route the command to
    // bind, ready to copy, instead of keys this program cannot hold.
    m_route = new QLabel;
    m_route->setObjectName(QStringLiteral("route"));
    m_route->setWordWrap(true);
    layout->addWidget(m_route);
    m_command = new QLineEdit(m_services.lookupCommand);
    m_command->setObjectName(QStringLiteral("lookupCommand"));
    m_command->setReadOnly(true);
    m_command->setVisible(!m_services.lookupCommand.isEmpty());
    layout->addWidget(m_command);
    m_desktopBinding = new QCheckBox;
    m_desktopBinding->setObjectName(QStringLiteral("desktopBinding"));
    m_desktopBinding->setVisible(!m_services.lookupCommand.isEmpty() &&
                                 m_services.setDesktopBinding);
    layout->addWidget(m_desktopBinding);
    m_desktopBindingStatus = new QLabel;
    m_desktopBindingStatus->setWordWrap(true);
    m_desktopBindingStatus->setStyleSheet(QStringLiteral("color: %1").arg(YDao::seal().name()));
    m_desktopBindingStatus->setVisible(false);
    layout->addWidget(m_desktopBindingStatus);

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

    connect(m_change, &QPushButton::clicked, this, [this] { m_model.startRecording(); });
    connect(m_default, &QPushButton::clicked, this, [this] { m_model.resetToDefault(); });
    connect(m_language, &QComboBox::activated, this, [this](int index) {
        m_l10n.setLang(static_cast<AppLanguage>(m_language->itemData(index).toInt()));
    });
    // clicked, not toggled: only the user's own click writes the entry.
    connect(m_startAtLogin, &QCheckBox::clicked, this, &SettingsWindow::toggleStartAtLogin);
    connect(m_desktopBinding, &QCheckBox::clicked, this, &SettingsWindow::toggleDesktopBinding);
    connect(m_saveUrl, &QPushButton::clicked, this, &SettingsWindow::saveServiceUrl);
    connect(m_url, &QLineEdit::returnPressed, this, &SettingsWindow::saveServiceUrl);
    connect(m_saveToken, &QPushButton::clicked, this, &SettingsWindow::saveToken);
    connect(m_token, &QLineEdit::returnPressed, this, &SettingsWindow::saveToken);
    connect(&m_model, &SettingsModel::changed, this, &SettingsWindow::refresh);
    connect(&m_l10n, &Localization::languageChanged, this, &SettingsWindow::retranslate);
    m_model.needModifierText = [this] { return m_l10n.format(msg::kNeedModifier, modifierList()); };
    m_model.onRecordingChanged = [this](bool recording) {
        if (onRecordingChanged) {
            onRecordingChanged(recording);
        }
    };
    retranslate();
}

SettingsWindow::~SettingsWindow() {
    m_model.stopRecording();
}

void SettingsWindow::show(const HotkeyCombo& current,
                          std::function<void(const HotkeyCombo&)> onChange) {
    bool first = !property("placed").toBool();
    m_model.onComboChange = std::move(onChange);
    m_model.setCombo(current);
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
    m_model.stopRecording();
    hide();
    event->ignore();
}

void SettingsWindow::retranslate() {
    setWindowTitle(m_l10n.text(msg::kSettingsTitle));
    m_heading->setText(m_l10n.text(msg::kLookupShortcut));
    m_route->setText(m_l10n.text(m_services.lookupCommand.isEmpty() ? msg::kShortcutHeldRoute
                                                                    : msg::kShortcutCommandRoute));
    m_default->setText(m_l10n.format(
        msg::kDefaultCombo,
        m_services.displayForm ? m_services.displayForm(HotkeyCombo::defaultCombo()) : QString()));
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

void SettingsWindow::toggleDesktopBinding(bool on) {
    const bool ok = m_services.setDesktopBinding && m_services.setDesktopBinding(on);
    m_desktopBindingStatus->setText(ok ? QString() : m_l10n.text(msg::kDesktopBindingFailed));
    m_desktopBindingStatus->setVisible(!ok);
    refresh();
}

void SettingsWindow::refresh() {
    // The file is the truth: the desktop's own tools may have changed it.
    if (m_autostart) {
        m_startAtLogin->setChecked(m_autostart->enabled());
    }
    const QString combo =
        m_services.displayForm ? m_services.displayForm(m_model.combo()) : QString();
    m_combo->setText(combo);
    // The keys mean something where the program holds them, or where the
    // desktop's settings hold them for it.
    const bool bound = m_services.desktopBindingOn && m_services.desktopBindingOn();
    m_desktopBinding->setChecked(bound);
    m_desktopBinding->setText(m_l10n.format(msg::kDesktopBinding, combo));
    const bool keysShown = m_services.lookupCommand.isEmpty() || bound;
    for (QWidget* w : {static_cast<QWidget*>(m_combo), static_cast<QWidget*>(m_change),
                       static_cast<QWidget*>(m_default), static_cast<QWidget*>(m_hint)}) {
        w->setVisible(keysShown);
    }
    bool recording = m_model.recording();
    m_change->setText(m_l10n.text(recording ? msg::kPressCombo : msg::kChangeShortcut));
    if (m_model.warning()) {
        m_hint->setText(*m_model.warning());
        m_hint->setStyleSheet(QStringLiteral("color: %1").arg(YDao::seal().name()));
    } else if (recording) {
        m_hint->setText(m_l10n.format(msg::kRecordingHint, modifierList()));
        m_hint->setStyleSheet(QStringLiteral("color: %1").arg(YDao::muted().name()));
    } else {
        m_hint->clear();
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
