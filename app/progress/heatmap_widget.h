#pragma once

#include <QColor>
#include <QDate>
#include <QRect>
#include <QWidget>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace talvo {

// The review calendar of the last 90 days: one column per week, one row per
// weekday (Monday on top), today in the last column. Empty cells use the
// neutral line colour, busier days ever stronger jade. Each cell's tooltip
// gives its date and review count.
class HeatmapWidget : public QWidget {
    Q_OBJECT
  public:
    explicit HeatmapWidget(QWidget* parent = nullptr);

    // `counts` maps study days to reviews; `zone` is the study clock's zone,
    // which turns day numbers into dates.
    void setData(std::map<int64_t, int64_t> counts, int64_t today, const std::string& zone);

    int64_t firstDay() const { return m_today - (kSpan - 1); }
    int64_t today() const { return m_today; }
    // The cell of a day; empty outside the 90 days.
    QRect cellRect(int64_t day) const;
    // The day whose cell holds `pos`; absent between cells and outside.
    std::optional<int64_t> dayAt(QPoint pos) const;
    int64_t reviewsOn(int64_t day) const;
    // The fill of a day's cell, with the opacity of its level.
    QColor cellColor(int64_t day) const;
    QDate dateOf(int64_t day) const;
    QString toolTipFor(int64_t day) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

  private:
    static constexpr int kSpan = 90;
    static constexpr int kCell = 13;
    static constexpr int kGap = 3;

    int leftMargin() const;
    int topMargin() const;
    int columns() const;
    // Row (0 = Monday) of the first day, which offsets every later day.
    int firstRow() const;

    std::map<int64_t, int64_t> m_counts;
    int64_t m_today = 0;
    std::vector<QDate> m_dates;  // one per day, oldest first
};

}  // namespace talvo
