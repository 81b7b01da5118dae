#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "app/progress/profile_model.h"

class QWidget;

namespace talvo {

class ProfileView;
class ProgressStore;

// Owns the profile window. Every show and reload first awards the badges the
// history has earned since the last look, then recomputes all figures from
// the study database; nothing is kept between them. Main thread only;
// borrows the store.
class ProfileWindowController : public QObject {
    Q_OBJECT
  public:
    explicit ProfileWindowController(ProgressStore& store, QObject* parent = nullptr);
    ~ProfileWindowController() override;

    // Creates the window on first use, loads the figures and brings it to
    // the front.
    void show();
    // Recomputes the figures of an open window; does nothing while the
    // window is hidden or was never shown (show() loads afresh anyway).
    void reload();

    // "▸ Tiếp tục học" and the quiz button; either may be empty.
    std::function<void()> onStudy;
    std::function<void()> onQuiz;

    // Null until the first show.
    QWidget* window() const;
    const ProfileStats& stats() const { return m_model.stats(); }
    ProfileModel& model() { return m_model; }

  private:
    void load();
    void chooseGoal(int64_t xp);

    ProgressStore& m_store;
    ProfileModel m_model;
    std::unique_ptr<ProfileView> m_view;
};

}  // namespace talvo
