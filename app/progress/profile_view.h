#pragma once

#include <QWidget>
#include <cstdint>
#include <map>
#include <string>

class QComboBox;
class QFrame;
class QLabel;
class QProgressBar;
class QPushButton;

namespace talvo {

class HeatmapWidget;
class ProfileModel;

// The profile window: avatar, name, rank and level with the XP bar; streak
// and freezes; today's XP against the daily goal with its picker; four
// figures; the 90-day review calendar; the badge grid; and the ways on to
// study and to the quiz. Draws whatever the model holds, redrawn on each
// change; closing only hides it.
class ProfileView : public QWidget {
    Q_OBJECT
  public:
    // `zone` is the study clock's time zone (the calendar's dates).
    ProfileView(ProfileModel& model, std::string zone, QWidget* parent = nullptr);

    HeatmapWidget* heatmap() const { return m_heatmap; }

  signals:
    void studyRequested();
    void quizRequested();
    void goalChosen(int64_t xp);

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    QWidget* buildHeader();
    QWidget* buildStreakAndGoal();
    QWidget* buildFigures();
    QWidget* buildBadges();
    void refresh();
    void fillGoalPicker(int64_t current);

    ProfileModel& m_model;
    std::string m_zone;
    QLabel* m_avatar = nullptr;
    QLabel* m_name = nullptr;
    QLabel* m_rankHan = nullptr;
    QLabel* m_rankName = nullptr;
    QLabel* m_level = nullptr;
    QProgressBar* m_xpBar = nullptr;
    QLabel* m_xpText = nullptr;
    QLabel* m_xpTotal = nullptr;
    QLabel* m_streak = nullptr;
    QLabel* m_freezes = nullptr;
    QLabel* m_freezeText = nullptr;
    QComboBox* m_goalPicker = nullptr;
    QProgressBar* m_goalBar = nullptr;
    QLabel* m_goalText = nullptr;
    QLabel* m_bestStreak = nullptr;
    QLabel* m_totalReviews = nullptr;
    QLabel* m_learned = nullptr;
    QLabel* m_retention = nullptr;
    QLabel* m_deckLine = nullptr;
    HeatmapWidget* m_heatmap = nullptr;
    QLabel* m_badgeTitle = nullptr;
    std::map<std::string, QFrame*> m_badges;  // by code
    QPushButton* m_study = nullptr;
    QPushButton* m_quiz = nullptr;
};

}  // namespace talvo
