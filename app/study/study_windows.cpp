#include "app/study/study_windows.h"

#include "app/progress/profile_window_controller.h"
#include "app/progress/quiz_window_controller.h"
#include "app/shell/online_hooks.h"
#include "app/stroke/stroke_order_factory.h"
#include "app/study/lessons_window_controller.h"
#include "app/study/study_window_controller.h"

namespace talvo {

namespace {
// On the card the glyph is the point of the exercise: a larger grid than the
// popup's.
constexpr double kStudyCardStrokeSide = 150;
}  // namespace

StudyWindows::StudyWindows(StudyStore* study, ProgressStore* progress, LessonsService* lessons,
                           DeckEvents& deck, Localization& l10n, const OnlineHooks& online,
                           const StrokeOrderFactory* strokes, QObject* parent)
    : QObject(parent), m_store(study), m_online(online) {
    if (!m_store || !progress) {
        return;
    }
    DeckEvents* events = &deck;
    m_study = std::make_unique<StudyWindowController>(*m_store);
    m_study->setLocalization(&l10n);
    if (strokes) {
        m_study->strokeOrderView = strokes->hook(kStudyCardStrokeSide);
    }
    m_study->onProgress = [this, events] {
        emit events->deckChanged(DeckChange::Graded);
        syncAfterGrade();
    };
    m_study->onHidden = [this] { syncOnClose(); };
    m_syncTimer.setSingleShot(true);
    connect(&m_syncTimer, &QTimer::timeout, this, [this] {
        if (m_pacer.timerFired(SyncPacer::Clock::now())) {
            startSync();
        }
    });
    m_profile = std::make_unique<ProfileWindowController>(*progress);
    m_profile->onStudy = [this] { openStudy(); };
    m_profile->onQuiz = [this] { openQuiz(); };
    m_quiz = std::make_unique<QuizWindowController>(*progress);
    m_quiz->onFinish = [events] { emit events->deckChanged(DeckChange::QuizFinished); };
    if (lessons) {
        m_lessons = std::make_unique<LessonsWindowController>(*m_store, *lessons);
        m_lessons->onChange = [events](int64_t) {
            emit events->deckChanged(DeckChange::CardsAdded);
        };
    }
    connect(events, &DeckEvents::deckChanged, this, &StudyWindows::follow);
}

StudyWindows::~StudyWindows() = default;

void StudyWindows::follow(DeckChange change) {
    if (change == DeckChange::Synced) {
        m_study->refreshAfterSync();
    } else if (change != DeckChange::Graded && change != DeckChange::QuizFinished) {
        m_study->reload();
    }
    m_profile->reload();
}

void StudyWindows::syncAfterGrade() {
    SyncPacer::Decision d = m_pacer.graded(SyncPacer::Clock::now());
    if (d.syncNow) {
        m_syncTimer.stop();
        startSync();
    } else if (d.waitFor) {
        m_syncTimer.start(static_cast<int>(d.waitFor->count()));
    }
}

void StudyWindows::syncOnClose() {
    m_syncTimer.stop();
    m_pacer.flushed(SyncPacer::Clock::now());
    startSync();
}

void StudyWindows::startSync() {
    if (m_store && m_online.syncStudy) {
        m_online.syncStudy();
    }
}

void StudyWindows::openStudy() {
    m_online.reportFeature("study");
    if (m_study) {
        m_study->show();
    }
    emit studyOpened();
    if (m_store && m_online.syncStudy) {
        m_online.syncStudy();
    }
}

void StudyWindows::openProfile() {
    m_online.reportFeature("study_profile");
    if (m_profile) {
        m_profile->show();
    }
}

void StudyWindows::openLessons() {
    m_online.reportFeature("study_lessons");
    if (m_lessons) {
        m_lessons->show();
    }
}

void StudyWindows::openQuiz() {
    if (m_quiz) {
        m_quiz->show();
    }
}

}  // namespace talvo
