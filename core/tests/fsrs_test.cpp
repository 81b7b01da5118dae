#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/study/fsrs.h"

using namespace talvo;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

ReviewState reviewed(double stability, double difficulty, int64_t reps = 3) {
    return ReviewState{stability, difficulty, reps, 0, 0};
}

// The interval rule read through the public API: a first `good` whose weight
// is `stability` schedules exactly that stability.
int64_t intervalFor(double stability) {
    FSRS f;
    f.w[2] = stability;
    return f.schedule(ReviewState{}, Rating::Good, 0).intervalDays;
}

}  // namespace

TEST(FSRS, FirstReviewFollowsTheWorkedTableWhateverTheStateHeld) {
    struct Row {
        Rating g;
        double s, d;
        int64_t interval;
    } const table[] = {{Rating::Again, 0.4, 6.81, 1},
                       {Rating::Hard, 0.6, 5.87, 1},
                       {Rating::Good, 2.4, 4.93, 2},
                       {Rating::Easy, 5.8, 3.99, 6}};
    FSRS f;
    for (const Row& row : table) {
        // reps 0 ignores the stored stability, difficulty and elapsed days.
        ReviewState s = f.schedule(ReviewState{kNaN, -40, 0, 7, 99}, row.g, -500);
        EXPECT_DOUBLE_EQ(s.stability, row.s);
        EXPECT_NEAR(s.difficulty, row.d, 1e-12);
        EXPECT_EQ(s.reps, 1);
        EXPECT_EQ(s.lapses, 7);  // a first `again` is not a lapse
        EXPECT_EQ(s.intervalDays, row.interval);
    }
}

// Reference values computed independently from the model's formulas (Python,
// double precision) for a card first graded good and seen again 3 days later.
TEST(FSRS, LaterReviewsMatchAnIndependentComputation) {
    FSRS f;
    ReviewState first = f.schedule(ReviewState{}, Rating::Good, 0);
    struct Row {
        Rating g;
        double s, d;
        int64_t lapses, interval;
    } const table[] = {{Rating::Again, 1.1913761484768863, 6.6328, 1, 1},
                       {Rating::Hard, 4.112058170691986, 5.7814, 0, 4},
                       {Rating::Good, 9.266812671452614, 4.93, 0, 9},
                       {Rating::Easy, 22.836238608754773, 4.0786, 0, 23}};
    for (const Row& row : table) {
        ReviewState s = f.schedule(first, row.g, 3);
        EXPECT_NEAR(s.stability, row.s, 1e-12 * row.s);
        EXPECT_NEAR(s.difficulty, row.d, 1e-12);
        EXPECT_EQ(s.reps, 2);
        EXPECT_EQ(s.lapses, row.lapses);
        EXPECT_EQ(s.intervalDays, row.interval);
    }
    // The new difficulty, not the old, feeds the lapse formula.
    EXPECT_NEAR(f.schedule(reviewed(10, 5), Rating::Again, 20).stability, 3.1131504057776143,
                1e-12);
}

TEST(FSRS, NoTimeGainsNothingAndALapseNeverRaisesStability) {
    FSRS f;
    // Negative elapsed counts as 0: recall probability 1, so success keeps S.
    EXPECT_DOUBLE_EQ(f.schedule(reviewed(10, 5), Rating::Easy, -30).stability, 10);
    for (double s : {0.1, 1.0, 50.0, 36500.0}) {
        for (int64_t t : {0, 30, 100000}) {
            EXPECT_LE(f.schedule(reviewed(s, 7), Rating::Again, t).stability, s);
        }
    }
    // The formula asks for more than 0.05 here; the old value wins, then the floor.
    EXPECT_DOUBLE_EQ(f.schedule(reviewed(0.05, 1), Rating::Again, 400).stability, 0.1);
}

TEST(FSRS, IntervalsRoundHalvesUpAndStabilityStopsAt36500) {
    for (double s : {0.0, 0.1, 1.0, 1.49}) {
        EXPECT_EQ(intervalFor(s), 1) << s;
    }
    EXPECT_EQ(intervalFor(1.5), 2);
    EXPECT_EQ(intervalFor(2.5), 3);
    EXPECT_EQ(intervalFor(36500.4), 36500);
    ReviewState top = FSRS().schedule(reviewed(36000, 1), Rating::Easy, 100000);
    EXPECT_DOUBLE_EQ(top.stability, 36500);
    EXPECT_EQ(top.intervalDays, 36500);
}

TEST(FSRS, DegenerateStoredStatesNeverYieldNaNOrInfinity) {
    FSRS f;
    const int64_t big = std::numeric_limits<int64_t>::max();
    for (double s : {0.0, -1.0, -0.5, -1e308, kNaN, kInf, -kInf, 1e-300, 1e308}) {
        for (double d : {0.0, -5.0, 11.0, kNaN, kInf, -kInf}) {
            for (Rating r : kAllRatings) {
                for (int64_t t : {int64_t{0}, int64_t{3}, big, -big}) {
                    ReviewState n = f.schedule(reviewed(s, d), r, t);
                    SCOPED_TRACE(::testing::Message() << s << " " << d << " " << rawValue(r));
                    ASSERT_TRUE(n.stability >= 0.1 && n.stability <= 36500) << n.stability;
                    ASSERT_TRUE(n.difficulty >= 1 && n.difficulty <= 10) << n.difficulty;
                    ASSERT_TRUE(n.intervalDays >= 1 && n.intervalDays <= 36500);
                }
            }
        }
    }
    // Counts of a damaged row saturate instead of overflowing.
    EXPECT_EQ(f.schedule(ReviewState{5, 5, big, big, 0}, Rating::Again, 2).lapses, big);
    EXPECT_EQ(f.retrievability(5, kNaN), 0);
    EXPECT_NEAR(f.retrievability(7, 7), 0.9, 1e-12);
}
