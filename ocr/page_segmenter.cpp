#include "ocr/page_segmenter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talvo::ocr {

namespace {

// The most pieces of ink one character is made of along its line.
constexpr size_t kMaxPieces = 8;

struct Run {
    int start = 0;
    int end = 0;  // one past
    int extent() const { return end - start; }
    double centre() const { return (start + end) / 2.0; }
};

// The page seen across lines and along them: for vertical text "across" is
// x (columns), "along" is y; for horizontal text the other way round.
class Ink {
  public:
    Ink(const GrayImage& g, uint8_t below, bool vertical)
        : m_g(g), m_below(below), m_vertical(vertical) {}
    int across() const { return m_vertical ? m_g.width : m_g.height; }
    int along() const { return m_vertical ? m_g.height : m_g.width; }
    bool at(int a, int l) const { return (m_vertical ? m_g.at(a, l) : m_g.at(l, a)) < m_below; }
    Box box(const Run& across, const Run& along) const {
        return m_vertical ? Box{across.start, along.start, across.extent(), along.extent()}
                          : Box{along.start, across.start, along.extent(), across.extent()};
    }

  private:
    const GrayImage& m_g;
    uint8_t m_below;
    bool m_vertical;
};

std::vector<Run> runsOf(const std::vector<int>& profile, int minCount) {
    std::vector<Run> out;
    int start = -1;
    for (int i = 0; i <= static_cast<int>(profile.size()); ++i) {
        bool on = i < static_cast<int>(profile.size()) && profile[i] >= minCount;
        if (on && start < 0) {
            start = i;
        } else if (!on && start >= 0) {
            out.push_back(Run{start, i});
            start = -1;
        }
    }
    return out;
}

int median(std::vector<int> v) {
    if (v.empty()) {
        return 0;
    }
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
    return v[v.size() / 2];
}

std::vector<int> acrossProfile(const Ink& ink) {
    std::vector<int> p(static_cast<size_t>(ink.across()), 0);
    for (int a = 0; a < ink.across(); ++a) {
        for (int l = 0; l < ink.along(); ++l) {
            p[static_cast<size_t>(a)] += ink.at(a, l);
        }
    }
    return p;
}

// The bands of ink that are lines, in page order, and the typical breadth.
std::vector<Run> findLines(const Ink& ink, int* breadth) {
    int minInk = std::max(2, ink.along() / 300);
    std::vector<Run> runs = runsOf(acrossProfile(ink), minInk);
    std::vector<int> widths;
    for (const Run& r : runs) {
        widths.push_back(r.extent());
    }
    int typical = median(widths);
    // Rules between columns and stray specks are narrower than any line.
    std::vector<Run> lines;
    for (const Run& r : runs) {
        if (r.extent() * 10 >= typical * 3) {
            lines.push_back(r);
        }
    }
    // A line whose characters leave a common gap (rare) is still one line.
    std::vector<Run> merged;
    for (const Run& r : lines) {
        if (!merged.empty() && (r.start - merged.back().end) * 100 < typical * 15 &&
            r.end - merged.back().start <= typical * 13 / 10) {
            merged.back().end = r.end;
        } else {
            merged.push_back(r);
        }
    }
    widths.clear();
    for (const Run& r : merged) {
        widths.push_back(r.extent());
    }
    *breadth = median(widths);
    return merged;
}

std::vector<Run> piecesOf(const Ink& ink, const Run& line, int breadth) {
    std::vector<int> p(static_cast<size_t>(ink.along()), 0);
    for (int l = 0; l < ink.along(); ++l) {
        for (int a = line.start; a < line.end; ++a) {
            p[static_cast<size_t>(l)] += ink.at(a, l);
        }
    }
    std::vector<Run> pieces;
    int minPixels = std::max(3, breadth * breadth / 200);
    for (const Run& r : runsOf(p, 1)) {
        int pixels = 0;
        for (int l = r.start; l < r.end; ++l) {
            pixels += p[static_cast<size_t>(l)];
        }
        if (pixels >= minPixels) {
            pieces.push_back(r);
        }
    }
    return pieces;
}

// Groups a line's pieces into characters: each character's ink at most a
// little longer than the line is broad, and successive centres as close to
// the pitch as they can be (dynamic programming over the groupings).
std::vector<Run> charactersOf(std::vector<Run> pieces, int breadth, double pitch) {
    // Touching characters make one long piece: cut it evenly.
    std::vector<Run> split;
    for (const Run& r : pieces) {
        if (r.extent() * 10 > breadth * 14) {
            int k = std::max(2, static_cast<int>(std::lround(r.extent() / pitch)));
            for (int i = 0; i < k; ++i) {
                split.push_back(
                    Run{r.start + r.extent() * i / k, r.start + r.extent() * (i + 1) / k});
            }
        } else {
            split.push_back(r);
        }
    }
    size_t n = split.size();
    if (n == 0) {
        return {};
    }
    const double inf = std::numeric_limits<double>::infinity();
    auto span = [&](size_t i, size_t j) { return Run{split[i].start, split[j].end}; };
    auto tooLong = [&](size_t i, size_t j) { return span(i, j).extent() * 10 > breadth * 13; };
    // cost[j][i]: best cost of pieces 0..j with the last character i..j.
    std::vector<std::vector<double>> cost(n, std::vector<double>(n, inf));
    std::vector<std::vector<size_t>> back(n, std::vector<size_t>(n, 0));
    for (size_t j = 0; j < n; ++j) {
        // A character is a few pieces at most (彡 is three): a bound that
        // keeps a speckled picture from costing n³.
        for (size_t i = j + 1 > kMaxPieces ? j + 1 - kMaxPieces : 0; i <= j; ++i) {
            if (i < j && tooLong(i, j)) {
                continue;
            }
            if (i == 0) {
                cost[j][0] = 0;
                continue;
            }
            double c = span(i, j).centre();
            for (size_t h = i > kMaxPieces ? i - kMaxPieces : 0; h < i; ++h) {
                if (cost[i - 1][h] == inf) {
                    continue;
                }
                double d = (c - span(h, i - 1).centre() - pitch) / pitch;
                double total = cost[i - 1][h] + d * d;
                if (total < cost[j][i]) {
                    cost[j][i] = total;
                    back[j][i] = h;
                }
            }
        }
    }
    size_t i = 0;
    double best = inf;
    for (size_t k = 0; k < n; ++k) {
        if (cost[n - 1][k] < best) {
            best = cost[n - 1][k];
            i = k;
        }
    }
    std::vector<Run> out;
    size_t j = n - 1;
    while (true) {
        out.push_back(span(i, j));
        if (i == 0) {
            break;
        }
        size_t h = back[j][i];
        j = i - 1;
        i = h;
    }
    std::reverse(out.begin(), out.end());
    return out;
}

// The distance between successive full-size characters, from the pieces
// that are clearly whole characters.
double estimatePitch(const std::vector<std::vector<Run>>& lines, int breadth) {
    std::vector<int> steps;
    for (const std::vector<Run>& pieces : lines) {
        for (size_t k = 1; k < pieces.size(); ++k) {
            const Run& a = pieces[k - 1];
            const Run& b = pieces[k];
            bool whole = a.extent() * 2 >= breadth && b.extent() * 2 >= breadth &&
                         a.extent() * 10 <= breadth * 13 && b.extent() * 10 <= breadth * 13;
            int step = static_cast<int>(std::lround(b.centre() - a.centre()));
            if (whole && step * 10 >= breadth * 8 && step <= breadth * 2) {
                steps.push_back(step);
            }
        }
    }
    int m = median(steps);
    return m > 0 ? m : breadth * 1.1;
}

// The bands of ink across one axis of the page, and the typical gap between them.
struct Bands {
    size_t count = 0;
    int gap = 0;
};

Bands bandsOf(const Ink& ink) {
    std::vector<Run> runs = runsOf(acrossProfile(ink), std::max(1, ink.along() / 300));
    std::vector<int> gaps;
    for (size_t k = 1; k < runs.size(); ++k) {
        gaps.push_back(runs[k].start - runs[k - 1].end);
    }
    return Bands{runs.size(), median(gaps)};
}

}  // namespace

PageLayout PageSegmenter::segment(const GrayImage& page, uint8_t inkBelow, Layout layout) {
    PageLayout out;
    if (page.width <= 0 || page.height <= 0) {
        return out;
    }
    bool vertical = layout != Layout::Horizontal;
    Ink ink(page, inkBelow, vertical);
    int breadth = 0;
    std::vector<Run> lines = findLines(ink, &breadth);
    if (lines.empty() || breadth <= 0) {
        return out;
    }
    if (vertical) {
        std::reverse(lines.begin(), lines.end());  // right to left
    }
    std::vector<std::vector<Run>> pieces;
    for (const Run& line : lines) {
        pieces.push_back(piecesOf(ink, line, breadth));
    }
    double pitch = estimatePitch(pieces, breadth);
    out.charSize = breadth;
    out.pitch = static_cast<int>(std::lround(pitch));
    for (size_t k = 0; k < lines.size(); ++k) {
        std::vector<Box> boxes;
        for (const Run& c : charactersOf(pieces[k], breadth, pitch)) {
            boxes.push_back(ink.box(lines[k], c));
        }
        if (!boxes.empty()) {
            out.lines.push_back(std::move(boxes));
        }
    }
    return out;
}

std::optional<Layout> PageSegmenter::guessLayout(const GrayImage& page, uint8_t inkBelow) {
    if (page.width <= 0 || page.height <= 0) {
        return std::nullopt;
    }
    Bands columns = bandsOf(Ink(page, inkBelow, true));
    Bands rows = bandsOf(Ink(page, inkBelow, false));
    // One band one way and several the other: a single line or column.
    if (rows.count == 1 && columns.count > 1) {
        return Layout::Horizontal;
    }
    if (columns.count == 1 && rows.count > 1) {
        return Layout::Vertical;
    }
    if (columns.gap * 10 > rows.gap * 16 && columns.gap >= 2) {
        return Layout::Vertical;
    }
    if (rows.gap * 10 > columns.gap * 16 && rows.gap >= 2) {
        return Layout::Horizontal;
    }
    return std::nullopt;
}

}  // namespace talvo::ocr
