#include "app/progress/heatmap_widget.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>
#include <algorithm>

#include "app/progress/profile_model.h"
#include "app/theme/theme.h"
#include "core/progress/profile_stats.h"

namespace talvo {

namespace {

constexpr const char* kWeekdayLabels[7] = {"T2", "", "T4", "", "T6", "", "CN"};

}  // namespace

HeatmapWidget::HeatmapWidget(QWidget* parent) : QWidget(parent) {
    setFont(theme::bodyFont(10));
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setData({}, 0, "UTC");
}

void HeatmapWidget::setData(std::map<int64_t, int64_t> counts, int64_t today,
                            const std::string& zone) {
    m_counts = std::move(counts);
    m_today = today;
    m_dates.clear();
    m_dates.reserve(kSpan);
    for (int64_t day = firstDay(); day <= m_today; ++day) {
        m_dates.push_back(profileview::studyDayDate(day, zone));
    }
    updateGeometry();
    update();
}

QDate HeatmapWidget::dateOf(int64_t day) const {
    const int64_t i = day - firstDay();
    return i >= 0 && i < static_cast<int64_t>(m_dates.size()) ? m_dates[static_cast<size_t>(i)]
                                                              : QDate();
}

int HeatmapWidget::firstRow() const {
    const QDate first = m_dates.empty() ? QDate() : m_dates.front();
    // An unreadable date (a day number far outside the calendar) still gets
    // a grid: it simply starts on a Monday.
    return first.isValid() ? first.dayOfWeek() - 1 : 0;
}

int HeatmapWidget::columns() const {
    return (firstRow() + kSpan + 6) / 7;
}

int HeatmapWidget::leftMargin() const {
    return fontMetrics().horizontalAdvance(QStringLiteral("CN")) + 6;
}

int HeatmapWidget::topMargin() const {
    return fontMetrics().height() + 3;
}

QSize HeatmapWidget::sizeHint() const {
    const int pitch = kCell + kGap;
    // Room below the grid for the legend, and to the right for the name of
    // a month that starts in the last week.
    const int tail = std::max(0, fontMetrics().horizontalAdvance(QStringLiteral("thg 12")) - kCell);
    return {leftMargin() + columns() * pitch + tail,
            topMargin() + 7 * pitch + fontMetrics().height() + 6};
}

QRect HeatmapWidget::cellRect(int64_t day) const {
    const int64_t offset = day - firstDay();
    if (offset < 0 || offset >= kSpan) {
        return {};
    }
    const int i = static_cast<int>(offset) + firstRow();
    const int pitch = kCell + kGap;
    return {leftMargin() + (i / 7) * pitch, topMargin() + (i % 7) * pitch, kCell, kCell};
}

std::optional<int64_t> HeatmapWidget::dayAt(QPoint pos) const {
    const int pitch = kCell + kGap;
    const int x = pos.x() - leftMargin();
    const int y = pos.y() - topMargin();
    if (x < 0 || y < 0 || x % pitch >= kCell || y % pitch >= kCell) {
        return std::nullopt;
    }
    const int row = y / pitch;
    if (row >= 7) {
        return std::nullopt;
    }
    const int64_t day = firstDay() + (x / pitch) * 7 + row - firstRow();
    if (day < firstDay() || day > m_today) {
        return std::nullopt;
    }
    return day;
}

int64_t HeatmapWidget::reviewsOn(int64_t day) const {
    auto it = m_counts.find(day);
    return it == m_counts.end() ? 0 : it->second;
}

QColor HeatmapWidget::cellColor(int64_t day) const {
    const int level = profile::heatmapLevel(reviewsOn(day));
    if (level == 0) {
        return YDao::line();
    }
    QColor c = YDao::jade();
    c.setAlphaF(static_cast<float>(profile::heatmapOpacity(level)));
    return c;
}

QString HeatmapWidget::toolTipFor(int64_t day) const {
    return profileview::dayToolTip(dateOf(day), reviewsOn(day));
}

void HeatmapWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, false);
    const QFontMetrics fm = fontMetrics();

    p.setPen(YDao::muted());
    for (int row = 0; row < 7; ++row) {
        const QRect r(0, topMargin() + row * (kCell + kGap), leftMargin() - 4, kCell);
        p.drawText(r, Qt::AlignRight | Qt::AlignVCenter, QString::fromUtf8(kWeekdayLabels[row]));
    }

    // A month's name over the column of its first day, unless the previous
    // name still occupies that place.
    int freeFrom = leftMargin();
    for (int64_t day = firstDay(); day <= m_today; ++day) {
        const QDate d = dateOf(day);
        if (!d.isValid() || (d.day() != 1 && day != firstDay())) {
            continue;
        }
        const QRect cell = cellRect(day);
        const QString label = QStringLiteral("thg %1").arg(d.month());
        if (cell.x() >= freeFrom) {
            p.drawText(QPoint(cell.x(), fm.ascent()), label);
            freeFrom = cell.x() + fm.horizontalAdvance(label) + 6;
        }
    }

    p.setPen(Qt::NoPen);
    for (int64_t day = firstDay(); day <= m_today; ++day) {
        p.setBrush(cellColor(day));
        p.drawRect(cellRect(day));
    }
    // Today framed in ink, so the end of the calendar is found at a glance.
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(YDao::ink(), 1));
    p.drawRect(cellRect(m_today).adjusted(0, 0, -1, -1));

    // Legend: the four strengths, from none to many.
    const int pitch = kCell + kGap;
    const int legendY = topMargin() + 7 * pitch + 3;
    const QString few = QStringLiteral("ít");
    const QString many = QStringLiteral("nhiều");
    int x = leftMargin() + columns() * pitch - kGap - fm.horizontalAdvance(many) -
            4 * (kCell - 3 + 3) - fm.horizontalAdvance(few) - 8;
    p.setPen(YDao::muted());
    p.drawText(QPoint(x, legendY + fm.ascent()), few);
    x += fm.horizontalAdvance(few) + 4;
    const int64_t samples[4] = {0, 1, 5, 10};
    for (int64_t n : samples) {
        const int level = profile::heatmapLevel(n);
        QColor c = level == 0 ? YDao::line() : YDao::jade();
        if (level > 0) {
            c.setAlphaF(static_cast<float>(profile::heatmapOpacity(level)));
        }
        p.fillRect(QRect(x, legendY + (fm.height() - (kCell - 3)) / 2, kCell - 3, kCell - 3), c);
        x += kCell - 3 + 3;
    }
    p.drawText(QPoint(x + 1, legendY + fm.ascent()), many);
}

bool HeatmapWidget::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        if (std::optional<int64_t> day = dayAt(help->pos())) {
            QToolTip::showText(help->globalPos(), toolTipFor(*day), this, cellRect(*day));
        } else {
            QToolTip::hideText();
            event->ignore();
        }
        return true;
    }
    return QWidget::event(event);
}

}  // namespace talvo
