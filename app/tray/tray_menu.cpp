#include "app/tray/tray_menu.h"

#include <QAction>
#include <QCursor>
#include <QMenu>
#include <QSystemTrayIcon>

#include "app/shell/localization.h"
#include "app/study/deck_events.h"
#include "app/tray/tray_glyph.h"
#include "core/study/study_store.h"
#include "core/study/study_texts.h"
#include "core/ui/status_menu.h"

namespace talvo {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

}  // namespace

std::unique_ptr<QSystemTrayIcon> TrayMenu::makeStatusIcon() {
    auto icon = std::make_unique<QSystemTrayIcon>(trayGlyphIcon());
    icon->setToolTip(QStringLiteral("Talvo (墨)"));
    return icon;
}

TrayMenu::TrayMenu(Localization& l10n, StudyStore* study, DeckEvents& deck,
                   std::function<QString()> comboText, QSystemTrayIcon* icon, QObject* parent)
    : QObject(parent),
      m_l10n(l10n),
      m_study(study),
      m_comboText(std::move(comboText)),
      m_icon(icon) {
    connect(&deck, &DeckEvents::deckChanged, this, &TrayMenu::refreshStudyBadge);
}

TrayMenu::~TrayMenu() {
    if (m_icon) {
        m_icon->hide();
        m_icon->setContextMenu(nullptr);
    }
}

void TrayMenu::install() {
    rebuild();
    if (!m_icon) {
        return;
    }
    // A status item opens its menu on a plain click too.
    connect(m_icon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger && m_menu) {
                    m_menu->popup(QCursor::pos());
                }
            });
    m_icon->show();
}

void TrayMenu::rebuild() {
    std::unique_ptr<QMenu> menu(buildMenu());
    if (m_icon) {
        m_icon->setContextMenu(menu.get());
    }
    if (m_menu) {
        m_menu.release()->deleteLater();
    }
    m_menu = std::move(menu);
}

QMenu* TrayMenu::buildMenu() {
    auto* menu = new QMenu;
    menu->setObjectName(QStringLiteral("statusMenu"));
    std::optional<StudySummary> summary;
    if (m_study) {
        summary = m_study->summary();
    }
    std::vector<MenuRow> rows = statusMenuRows(m_l10n.lang(), m_comboText().toStdString(), summary);
    m_lookupItem = nullptr;
    m_studyItem = nullptr;
    for (const MenuRow& row : rows) {
        if (row.separator) {
            menu->addSeparator();
            continue;
        }
        QAction* a = menu->addAction(q(row.title));
        if (row.shortcutKey) {
            a->setShortcut(
                QKeySequence(QStringLiteral("Ctrl+") + QChar::fromLatin1(row.shortcutKey)));
        }
        switch (row.action) {
            case MenuAction::None:
                a->setEnabled(false);
                if (!m_lookupItem) {
                    m_lookupItem = a;
                }
                break;
            case MenuAction::OpenStudy:
                m_studyItem = a;
                connect(a, &QAction::triggered, this, &TrayMenu::studyRequested);
                break;
            case MenuAction::OpenProfile:
                connect(a, &QAction::triggered, this, &TrayMenu::profileRequested);
                break;
            case MenuAction::OpenLessons:
                connect(a, &QAction::triggered, this, &TrayMenu::lessonsRequested);
                break;
            case MenuAction::OpenSettings:
                connect(a, &QAction::triggered, this, &TrayMenu::settingsRequested);
                break;
            case MenuAction::CheckForUpdates:
                connect(a, &QAction::triggered, this, &TrayMenu::updatesRequested);
                break;
            case MenuAction::ShowAbout:
                connect(a, &QAction::triggered, this, &TrayMenu::aboutRequested);
                break;
            case MenuAction::Quit:
                connect(a, &QAction::triggered, this, &TrayMenu::quitRequested);
                break;
        }
    }
    return menu;
}

void TrayMenu::retitleLookup() {
    if (m_lookupItem) {
        m_lookupItem->setText(q(lookupItemTitle(m_l10n.lang(), m_comboText().toStdString())));
    }
}

void TrayMenu::refreshStudyBadge() {
    if (m_studyItem) {
        m_studyItem->setText(m_study ? q(studyBadgeTitle(m_study->summary()))
                                     : QString::fromUtf8(studytext::kStudyToday));
    }
}

}  // namespace talvo
