#pragma once

#include <QObject>
#include <QTimer>
#include <memory>

#include "app/study/deck_events.h"
#include "core/sync/sync_pacer.h"

namespace talvo {

class LessonsService;
class LessonsWindowController;
class Localization;
class ProfileWindowController;
class QuizWindowController;
class StrokeOrderFactory;
class ProgressStore;
class StudyStore;
class StudyWindowController;
struct OnlineHooks;

// The four study windows over one study store: creates and owns their
// controllers, opens them (with the usage report each menu row makes), and
// keeps them in step with the deck. Grades, finished quizzes and added lessons
// are announced on DeckEvents; on every announcement an open profile reloads,
// and the study session reloads unless the change came from its own grade or
// from a quiz (neither touches its queue, and a reload would turn a revealed
// card back); after a sync the session stays as it is unless the card on show
// changed. Grades start a sync (at most one every 30 seconds, the last grade
// always covered) and closing the study window starts one, so reviews reach
// the other devices before they review the same cards. Main thread only;
// borrows everything it is given.
class StudyWindows : public QObject {
    Q_OBJECT
  public:
    // `study` and `progress` null: no study side, every window is absent and
    // opening one only reports. `lessons` null: no lessons window. `strokes`
    // may be null.
    StudyWindows(StudyStore* study, ProgressStore* progress, LessonsService* lessons,
                 DeckEvents& deck, Localization& l10n, const OnlineHooks& online,
                 const StrokeOrderFactory* strokes, QObject* parent = nullptr);
    ~StudyWindows() override;

    // Opening the study window also syncs, after studyOpened.
    void openStudy();
    void openProfile();
    void openLessons();
    void openQuiz();

    // Null without a study side (lessons also without a lessons feed).
    StudyWindowController* study() const { return m_study.get(); }
    ProfileWindowController* profile() const { return m_profile.get(); }
    QuizWindowController* quiz() const { return m_quiz.get(); }
    LessonsWindowController* lessons() const { return m_lessons.get(); }

  signals:
    // The study window was asked for (the day may have turned since the
    // badge was counted).
    void studyOpened();

  private:
    void follow(DeckChange change);
    // Grades start a sync, paced (SyncPacer); closing the window flushes.
    void syncAfterGrade();
    void syncOnClose();
    void startSync();

    StudyStore* m_store;
    const OnlineHooks& m_online;
    std::unique_ptr<StudyWindowController> m_study;
    std::unique_ptr<ProfileWindowController> m_profile;
    std::unique_ptr<QuizWindowController> m_quiz;
    std::unique_ptr<LessonsWindowController> m_lessons;
    SyncPacer m_pacer;
    QTimer m_syncTimer;
};

}  // namespace talvo
