#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace talvo {

class DeckEvents;
class Localization;
class StudyStore;

// The status icon's menu, built from statusMenuRows for the current language,
// shortcut and study count. Its rows say what the user chose through the
// signals below; the lookup row is a label that shows the shortcut, the study
// row counts today's cards and follows every deckChanged. Main thread only;
// borrows everything it is given, which must outlive it.
class TrayMenu : public QObject {
    Q_OBJECT
  public:
    // The icon of a status program: the 墨 glyph and the tooltip, not shown
    // yet. Made apart from the menu so that a notifier fallback can hold it
    // before the rest of the shell exists.
    static std::unique_ptr<QSystemTrayIcon> makeStatusIcon();

    // `comboText` is the display form of the current shortcut. `study` null:
    // the study row is a plain title. `icon` null: no status icon (tests),
    // the menu exists all the same.
    TrayMenu(Localization& l10n, StudyStore* study, DeckEvents& deck,
             std::function<QString()> comboText, QSystemTrayIcon* icon, QObject* parent = nullptr);
    // Hides the icon and takes the menu off it.
    ~TrayMenu() override;

    // Builds the first menu and shows the icon with it; a click on the icon
    // opens the menu too.
    void install();
    // A fresh menu for the current language (the old one is deleted later:
    // its action may be the one running).
    void rebuild();
    // The shortcut changed: retitles the lookup row in place.
    void retitleLookup();
    void refreshStudyBadge();

    // The menu on show; null before install().
    QMenu* menu() const { return m_menu.get(); }
    QSystemTrayIcon* icon() const { return m_icon; }

  signals:
    void studyRequested();
    void profileRequested();
    void lessonsRequested();
    void settingsRequested();
    void updatesRequested();
    void aboutRequested();
    void quitRequested();

  private:
    QMenu* buildMenu();

    Localization& m_l10n;
    StudyStore* m_study;
    std::function<QString()> m_comboText;
    QSystemTrayIcon* m_icon;
    std::unique_ptr<QMenu> m_menu;
    QAction* m_lookupItem = nullptr;
    QAction* m_studyItem = nullptr;
};

}  // namespace talvo
