#pragma once

#include <array>
#include <cstdint>

#include "core/study/rating.h"
#include "core/study/review_state.h"

namespace talvo {

// The FSRS spaced-repetition model in its 17-weight form with a fixed decay of
// -0.5. A plain value: every operation is a pure function of its arguments and
// may be called from any thread.
//
// Stored states can be damaged (stability 0 or negative, difficulty outside
// 1-10, NaN or infinity read back from a bad row). schedule() never returns a
// NaN or an infinity: non-finite intermediate results land on the clamps, a NaN
// on the lower bound (stability 0.1, difficulty 1).
class FSRS {
  public:
    // A fixed-size array: a weight vector that is too short cannot be built.
    using Weights = std::array<double, 17>;
    static constexpr Weights defaultWeights{0.4,  0.6,  2.4,  5.8,  4.93, 0.94, 0.86, 0.01, 1.49,
                                            0.14, 0.94, 2.18, 0.05, 0.34, 1.26, 0.29, 2.61};

    static constexpr double kMinStability = 0.1;
    static constexpr double kMaxStability = 36500;

    explicit FSRS(double requestRetention = 0.9, const Weights& weights = defaultWeights)
        : requestRetention(requestRetention), w(weights) {}

    // The next state after grading `state` `rating`, elapsedDays after its last
    // review (negative counts as 0). A new state ignores its stored fields.
    ReviewState schedule(const ReviewState& state, Rating rating, int64_t elapsedDays) const;

    // Probability of recall `elapsed` days after a review; 0 when stability is
    // not greater than 0 (NaN included). `elapsed` is used as given.
    double retrievability(int64_t elapsed, double stability) const;

    double requestRetention;
    Weights w;

  private:
    int64_t nextInterval(double stability) const;

    double m_decay = -0.5;
};

}  // namespace talvo
