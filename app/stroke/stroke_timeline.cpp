#include "app/stroke/stroke_timeline.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace talvo::stroke {

namespace {
double ease(double x) {
    return -std::cos(x * std::numbers::pi) / 2 + 0.5;
}
}  // namespace

StrokeTimeline::StrokeTimeline(std::vector<double> medianLengths, double speed, double pauseMs) {
    // A speed of zero or less would stall the animation forever.
    if (!(speed > 0) || !std::isfinite(speed)) {
        speed = kSpeed;
    }
    if (!(pauseMs >= 0) || !std::isfinite(pauseMs)) {
        pauseMs = kPauseMs;
    }
    double t = 0;
    for (size_t i = 0; i < medianLengths.size(); ++i) {
        if (i > 0) {
            t += pauseMs;
        }
        double length = std::isfinite(medianLengths[i]) ? std::max(0.0, medianLengths[i]) : 0.0;
        double d = strokeDuration(length, speed);
        m_starts.push_back(t);
        m_durations.push_back(d);
        t += d;
    }
    m_total = t;
}

double StrokeTimeline::strokeDuration(double medianLength, double speed) {
    return (medianLength + 600) / (3 * speed);
}

StrokeTimeline::Frame StrokeTimeline::at(double ms) const {
    for (size_t k = 0; k < m_starts.size(); ++k) {
        if (ms < m_starts[k]) {
            return {k, 0};
        }
        if (ms < m_starts[k] + m_durations[k]) {
            return {k, ease((ms - m_starts[k]) / m_durations[k])};
        }
    }
    return {m_starts.size(), 0};
}

}  // namespace talvo::stroke
