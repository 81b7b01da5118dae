#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <string>

class QWidget;

namespace talvo {

class Localization;
class StudySession;
class StudyStore;
class StudyView;

// Owns the study window and the review session behind it. The session is
// created on the shared store at the first show() and reloaded at every
// show(), so a queue left half done resumes from the database.
//
// While the window is shown and active, an application-wide event filter
// runs every key press aimed at it through the session's key table before
// any widget sees it; the keys the table consumes never reach a widget,
// the others (anything held with Ctrl, Alt or the Super/Command key) pass on.
// The filter goes when the window is hidden or closed. Main thread only;
// borrows the store, which must outlive the controller.
class StudyWindowController : public QObject {
    Q_OBJECT
  public:
    explicit StudyWindowController(StudyStore& store, QObject* parent = nullptr);
    ~StudyWindowController() override;

    // Creates the window on first use, reloads the session, brings the
    // window to the front and takes the keys; then calls onShown.
    void show();
    // Rebuilds the queue and figures from the database (after lesson cards
    // were added, after a sync). Does nothing before the first show().
    void reload();
    // The rating labels follow this object's language, now and on change.
    // Without one they are Vietnamese.
    void setLocalization(Localization* l10n);

    // After every saved grade (the application refreshes the status menu's
    // badge and the profile there).
    std::function<void()> onProgress;
    // After each show() (the application syncs and refreshes the badge).
    std::function<void()> onShown;
    // The window was hidden or closed.
    std::function<void()> onHidden;
    // After a sync: keeps the card on show as it is when the sync left it
    // unchanged (StudySession::refresh).
    void refreshAfterSync();
    // The stroke-order view of a one-character front, embedded on the card
    // once revealed. Optional; read each time a card is revealed.
    std::function<QWidget*(const std::string& ch, QWidget* parent)> strokeOrderView;

    // Null before the first show().
    QWidget* window() const;
    StudySession* session() const { return m_session.get(); }
    // The key filter is installed.
    bool takingKeys() const { return m_takingKeys; }

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void ensureWindow();
    void startKeys();
    void stopKeys();
    bool aimedAtWindow(QObject* receiver) const;
    void applyLanguage();

    StudyStore& m_store;
    std::unique_ptr<StudySession> m_session;
    std::unique_ptr<StudyView> m_view;
    QPointer<Localization> m_l10n;
    bool m_takingKeys = false;
};

}  // namespace talvo
