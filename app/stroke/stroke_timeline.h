#pragma once

#include <cstddef>
#include <vector>

namespace talvo::stroke {

// When each stroke of a character is drawn while it is written out: strokes
// follow one another with a pause between them, each taking longer the
// longer its median, at the pace of hanzi-writer (the animation library the
// stroke data comes from) so the data's proportions look as their authors
// tuned them. A pure function of time, so tests drive it without a clock.
class StrokeTimeline {
  public:
    static constexpr double kSpeed = 0.9;
    static constexpr double kPauseMs = 400;

    // `medianLengths`: each stroke's median length in data units.
    explicit StrokeTimeline(std::vector<double> medianLengths = {}, double speed = kSpeed,
                            double pauseMs = kPauseMs);

    // hanzi-writer's stroke duration: (length + 600) / (3 × speed) ms.
    static double strokeDuration(double medianLength, double speed = kSpeed);

    size_t strokeCount() const { return m_starts.size(); }
    double startOf(size_t stroke) const { return m_starts.at(stroke); }
    double durationOf(size_t stroke) const { return m_durations.at(stroke); }
    // From the first stroke's start to the last one's end; 0 without strokes.
    double totalMs() const { return m_total; }

    // What is on the grid at `ms`: strokes [0, complete) in full and, while
    // complete < strokeCount(), stroke `complete` revealed to `portion`
    // (0 during the pause before it). Progress within a stroke eases in and
    // out like a brush: slow at both ends.
    struct Frame {
        size_t complete = 0;
        double portion = 0;
    };
    Frame at(double ms) const;

  private:
    std::vector<double> m_starts;
    std::vector<double> m_durations;
    double m_total = 0;
};

}  // namespace talvo::stroke
