#pragma once

#include <QDate>
#include <QObject>
#include <QString>
#include <cstdint>
#include <string>

#include "core/progress/profile_stats.h"

namespace talvo {

// The figures the profile window draws: one ProfileStats record and the
// study day it was computed for (the heat map counts back from it).
// Replacing them emits changed(), and the view redraws everything.
class ProfileModel : public QObject {
    Q_OBJECT
  public:
    explicit ProfileModel(QObject* parent = nullptr) : QObject(parent) {}

    const ProfileStats& stats() const { return m_stats; }
    int64_t today() const { return m_today; }
    void setStats(ProfileStats stats, int64_t today);

  signals:
    void changed();

  private:
    ProfileStats m_stats;
    int64_t m_today = 0;
};

// How the profile writes its figures; Vietnamese in every interface language,
// like the rest of the progress texts.
namespace profileview {

// "67%", or a dash while nothing can be measured (negative or not finite).
QString retentionText(double retention);
// The glyph shown in the avatar circle. The stored value may be a card uid
// ("char:寒"): the part after the last colon is shown. An empty value falls
// back to the default seal glyph; a long one is cut to its first two
// characters so the circle stays round.
QString avatarText(const std::string& stored);
// The name under the avatar; a learner who never set one reads "Người học".
QString displayNameText(const std::string& stored);
// "dd/mm/yyyy · N lượt ôn" for one heat-map cell.
QString dayToolTip(const QDate& date, int64_t reviews);

// The local date of a study-day number in the clock's zone: day numbers are
// local midnights counted in whole UTC days, so the date is the one current at
// the last second of that UTC day. An empty zone is the system's; a zone Qt
// does not know reads as UTC, as the day numbers themselves do.
QDate studyDayDate(int64_t day, const std::string& zone);

}  // namespace profileview

}  // namespace talvo
