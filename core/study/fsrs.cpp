#include "core/study/fsrs.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talvo {

namespace {

// std::clamp lets a NaN through; the scheduler must not, or one damaged row
// would spread NaN into every later review of the card.
double clampNaNLow(double x, double lo, double hi) {
    if (!(x >= lo)) {  // also true for NaN
        return lo;
    }
    return x > hi ? hi : x;
}

// A damaged row may hold any count; saturate rather than overflow.
int64_t plusOne(int64_t n) {
    return n == std::numeric_limits<int64_t>::max() ? n : n + 1;
}

// FACTOR is fixed by the model's 0.9 and its decay, not by requestRetention.
double factor(double decay) {
    return std::pow(0.9, 1.0 / decay) - 1.0;
}

}  // namespace

double FSRS::retrievability(int64_t elapsed, double stability) const {
    if (!(stability > 0)) {
        return 0;
    }
    return std::pow(1.0 + factor(m_decay) * static_cast<double>(elapsed) / stability, m_decay);
}

int64_t FSRS::nextInterval(double stability) const {
    double f = factor(m_decay);
    // Kept in the model's own order of operations: with retention 0.9 it is
    // not exactly round(S) for every S, and stored intervals must agree.
    double days = std::round(stability / f * (std::pow(requestRetention, 1.0 / m_decay) - 1.0));
    // Only an unusual requestRetention can push this out of range; the
    // conversion below must not see a NaN or a value beyond int64.
    constexpr double kMaxDays = 9.0e15;
    if (!(days >= 1)) {
        return 1;
    }
    return static_cast<int64_t>(days > kMaxDays ? kMaxDays : days);
}

ReviewState FSRS::schedule(const ReviewState& state, Rating rating, int64_t elapsedDays) const {
    const double g = rawValue(rating);
    ReviewState next = state;
    double s;
    double d;
    if (state.reps == 0) {
        s = std::max(w[rawValue(rating) - 1], 0.1);
        d = clampNaNLow(w[4] - w[5] * (g - 3), 1, 10);
    } else {
        const double t = static_cast<double>(std::max<int64_t>(elapsedDays, 0));
        const double old = state.stability;
        const double r = old > 0 ? std::pow(1.0 + factor(m_decay) * t / old, m_decay) : 0.0;
        d = clampNaNLow(w[4] * w[7] + (1 - w[7]) * (state.difficulty - w[6] * (g - 3)), 1, 10);
        if (rating == Rating::Again) {
            next.lapses = plusOne(state.lapses);
            s = w[11] * std::pow(d, -w[12]) * (std::pow(old + 1, w[13]) - 1) *
                std::exp((1 - r) * w[14]);
            if (s > old) {
                s = old;  // forgetting never makes a memory stronger
            }
        } else {
            const double hardPenalty = rating == Rating::Hard ? w[15] : 1;
            const double easyBonus = rating == Rating::Easy ? w[16] : 1;
            s = old * (1 + std::exp(w[8]) * (11 - d) * std::pow(old, -w[9]) *
                               (std::exp((1 - r) * w[10]) - 1) * hardPenalty * easyBonus);
        }
    }
    next.stability = clampNaNLow(s, kMinStability, kMaxStability);
    next.difficulty = d;
    next.reps = plusOne(state.reps);
    next.intervalDays = nextInterval(next.stability);
    return next;
}

}  // namespace talvo
