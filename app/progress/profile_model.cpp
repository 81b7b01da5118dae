#include "app/progress/profile_model.h"

#include <QDateTime>
#include <QStringList>
#include <QTimeZone>
#include <cmath>
#include <utility>

namespace talvo {

void ProfileModel::setStats(ProfileStats stats, int64_t today) {
    m_stats = std::move(stats);
    m_today = today;
    emit changed();
}

namespace profileview {

QString retentionText(double retention) {
    if (!std::isfinite(retention) || retention < 0) {
        return QStringLiteral("—");
    }
    const double clamped = std::min(retention, 1.0);
    return QString::number(static_cast<int>(std::lround(clamped * 100))) + QLatin1Char('%');
}

QString avatarText(const std::string& stored) {
    QString s = QString::fromStdString(stored).trimmed();
    const qsizetype colon = s.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0) {
        s = s.mid(colon + 1).trimmed();
    }
    if (s.isEmpty()) {
        return QString::fromUtf8(profile::kDefaultAvatar);
    }
    // Two code points, not two UTF-16 units: a supplementary-plane Hán
    // character must not be split into half a surrogate pair.
    const QList<uint> points = s.toUcs4();
    if (points.size() > 2) {
        return QString::fromUcs4(reinterpret_cast<const char32_t*>(points.constData()), 2);
    }
    return s;
}

QString displayNameText(const std::string& stored) {
    const QString s = QString::fromStdString(stored).simplified();
    return s.isEmpty() ? QStringLiteral("Người học") : s;
}

QString dayToolTip(const QDate& date, int64_t reviews) {
    return date.toString(QStringLiteral("dd/MM/yyyy")) + QStringLiteral(" · ") +
           QString::number(reviews) + QStringLiteral(" lượt ôn");
}

namespace {

QTimeZone zoneFor(const std::string& zone) {
    if (zone.empty()) {
        return QTimeZone::systemTimeZone();
    }
    QTimeZone tz(QByteArray::fromStdString(zone));
    if (!tz.isValid() && zone.rfind("GMT", 0) == 0) {
        // ICU's offset ids ("GMT+07:00") are Qt's "UTC+07:00".
        tz = QTimeZone(QByteArray("UTC") + QByteArray::fromStdString(zone.substr(3)));
    }
    return tz.isValid() ? tz : QTimeZone::utc();
}

}  // namespace

QDate studyDayDate(int64_t day, const std::string& zone) {
    const qint64 lastSecond = static_cast<qint64>(day) * 86400 + 86399;
    return QDateTime::fromSecsSinceEpoch(lastSecond, zoneFor(zone)).date();
}

}  // namespace profileview

}  // namespace talvo
