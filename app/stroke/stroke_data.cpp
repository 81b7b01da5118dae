#include "app/stroke/stroke_data.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>

namespace talvo::stroke {

namespace {

// Hand-written rather than std::from_chars alone: SVG numbers may start with
// '+' or '.', and "1.5.5" is two numbers.
class PathScanner {
  public:
    explicit PathScanner(std::string_view d) : m_d(d) {}

    void skipSeparators() {
        while (m_pos < m_d.size() && (isBlank(m_d[m_pos]) || m_d[m_pos] == ',')) {
            ++m_pos;
        }
    }
    bool atEnd() {
        skipSeparators();
        return m_pos >= m_d.size();
    }
    char peek() const { return m_d[m_pos]; }
    char take() { return m_d[m_pos++]; }
    bool nextIsNumber() {
        skipSeparators();
        if (m_pos >= m_d.size()) {
            return false;
        }
        char c = m_d[m_pos];
        return isDigit(c) || c == '-' || c == '+' || c == '.';
    }

    std::optional<double> number() {
        skipSeparators();
        size_t start = m_pos;
        size_t i = m_pos;
        if (i < m_d.size() && (m_d[i] == '+' || m_d[i] == '-')) {
            ++i;
        }
        size_t digits = 0;
        while (i < m_d.size() && isDigit(m_d[i])) {
            ++i;
            ++digits;
        }
        if (i < m_d.size() && m_d[i] == '.') {
            ++i;
            while (i < m_d.size() && isDigit(m_d[i])) {
                ++i;
                ++digits;
            }
        }
        if (digits == 0) {
            return std::nullopt;
        }
        if (i < m_d.size() && (m_d[i] == 'e' || m_d[i] == 'E')) {
            size_t j = i + 1;
            if (j < m_d.size() && (m_d[j] == '+' || m_d[j] == '-')) {
                ++j;
            }
            if (j < m_d.size() && isDigit(m_d[j])) {
                while (j < m_d.size() && isDigit(m_d[j])) {
                    ++j;
                }
                i = j;
            }
        }
        // from_chars rejects a leading '+'.
        size_t from = m_d[start] == '+' ? start + 1 : start;
        double value = 0;
        auto [end, ec] = std::from_chars(m_d.data() + from, m_d.data() + i, value);
        if (ec != std::errc() || end != m_d.data() + i || !std::isfinite(value)) {
            return std::nullopt;
        }
        m_pos = i;
        return value;
    }

  private:
    static bool isBlank(char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
    }
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    std::string_view m_d;
    size_t m_pos = 0;
};

std::optional<Point> readPoint(PathScanner& s, bool relative, Point from) {
    auto x = s.number();
    if (!x) {
        return std::nullopt;
    }
    auto y = s.number();
    if (!y) {
        return std::nullopt;
    }
    return relative ? Point{from.x + *x, from.y + *y} : Point{*x, *y};
}

bool finitePoint(const nlohmann::json& p, Point& out) {
    if (!p.is_array() || p.size() < 2 || !p[0].is_number() || !p[1].is_number()) {
        return false;
    }
    out = {p[0].get<double>(), p[1].get<double>()};
    // Far outside the 1024 box is no glyph, and would make durations absurd.
    return std::isfinite(out.x) && std::isfinite(out.y) && std::abs(out.x) <= kMaxCoordinate &&
           std::abs(out.y) <= kMaxCoordinate;
}

}  // namespace

std::optional<Path> parseSvgPath(std::string_view d) {
    PathScanner s(d);
    Path path;
    Point current;
    Point subpathStart;
    char command = 0;
    while (!s.atEnd()) {
        if (path.size() >= kMaxPathOps) {
            return std::nullopt;
        }
        // A number where a command letter could be repeats the last command
        // (after a move, as lines).
        if (!s.nextIsNumber()) {
            command = s.take();
        } else if (command == 0 || command == 'Z' || command == 'z') {
            return std::nullopt;
        }
        bool relative = command >= 'a' && command <= 'z';
        char upper = relative ? static_cast<char>(command - 'a' + 'A') : command;
        if (path.empty() && upper != 'M') {
            return std::nullopt;
        }
        PathOp op;
        switch (upper) {
            case 'M':
            case 'L': {
                auto p = readPoint(s, relative, current);
                if (!p) {
                    return std::nullopt;
                }
                op.kind = upper == 'M' ? PathOp::Kind::Move : PathOp::Kind::Line;
                op.pts[0] = *p;
                current = *p;
                if (upper == 'M') {
                    subpathStart = *p;
                    command = relative ? 'l' : 'L';
                }
                break;
            }
            case 'H':
            case 'V': {
                auto v = s.number();
                if (!v) {
                    return std::nullopt;
                }
                Point p = current;
                double& axis = upper == 'H' ? p.x : p.y;
                axis = relative ? axis + *v : *v;
                op.kind = PathOp::Kind::Line;
                op.pts[0] = p;
                current = p;
                break;
            }
            case 'Q': {
                auto c = readPoint(s, relative, current);
                auto e = c ? readPoint(s, relative, current) : std::nullopt;
                if (!e) {
                    return std::nullopt;
                }
                op.kind = PathOp::Kind::Quad;
                op.pts = {*c, *e, Point{}};
                current = *e;
                break;
            }
            case 'C': {
                auto c1 = readPoint(s, relative, current);
                auto c2 = c1 ? readPoint(s, relative, current) : std::nullopt;
                auto e = c2 ? readPoint(s, relative, current) : std::nullopt;
                if (!e) {
                    return std::nullopt;
                }
                op.kind = PathOp::Kind::Cubic;
                op.pts = {*c1, *c2, *e};
                current = *e;
                break;
            }
            case 'Z':
                op.kind = PathOp::Kind::Close;
                current = subpathStart;
                break;
            default:
                return std::nullopt;
        }
        path.push_back(op);
    }
    if (path.empty()) {
        return std::nullopt;
    }
    return path;
}

std::optional<StrokeData> parseStrokeData(std::string_view json) {
    if (json.size() > kMaxJsonBytes) {
        return std::nullopt;
    }
    nlohmann::json doc = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (doc.is_discarded() || !doc.is_object()) {
        return std::nullopt;
    }
    auto strokes = doc.find("strokes");
    auto medians = doc.find("medians");
    if (strokes == doc.end() || medians == doc.end() || !strokes->is_array() ||
        !medians->is_array() || strokes->empty() || strokes->size() > kMaxStrokes ||
        strokes->size() != medians->size()) {
        return std::nullopt;
    }
    StrokeData data;
    data.strokes.reserve(strokes->size());
    data.medians.reserve(medians->size());
    for (const auto& s : *strokes) {
        if (!s.is_string()) {
            return std::nullopt;
        }
        auto path = parseSvgPath(s.get_ref<const std::string&>());
        if (!path) {
            return std::nullopt;
        }
        data.strokes.push_back(std::move(*path));
    }
    for (const auto& m : *medians) {
        if (!m.is_array() || m.empty() || m.size() > kMaxPathOps) {
            return std::nullopt;
        }
        std::vector<Point> points;
        points.reserve(m.size());
        for (const auto& p : m) {
            Point pt;
            if (!finitePoint(p, pt)) {
                return std::nullopt;
            }
            points.push_back(pt);
        }
        data.medians.push_back(std::move(points));
    }
    return data;
}

double polylineLength(const std::vector<Point>& points) {
    double total = 0;
    for (size_t i = 1; i < points.size(); ++i) {
        total += std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y);
    }
    return total;
}

std::vector<Point> revealTrack(const std::vector<Point>& median, double portion) {
    if (portion <= 0 || median.empty()) {
        return {};
    }
    std::vector<Point> track;
    track.reserve(median.size() + 1);
    for (const Point& p : median) {
        if (track.empty() || !(track.back() == p)) {
            track.push_back(p);
        }
    }
    if (track.size() >= 2) {
        double dx = track[0].x - track[1].x;
        double dy = track[0].y - track[1].y;
        double norm = std::hypot(dx, dy);
        double k = kRevealPenWidth / 2 / norm;
        track.insert(track.begin(), Point{track[0].x + dx * k, track[0].y + dy * k});
    }
    if (portion >= 1 || track.size() < 2) {
        return track;
    }
    double wanted = polylineLength(track) * portion;
    std::vector<Point> cut{track[0]};
    for (size_t i = 1; i < track.size(); ++i) {
        double seg = std::hypot(track[i].x - track[i - 1].x, track[i].y - track[i - 1].y);
        if (seg >= wanted) {
            double t = seg > 0 ? wanted / seg : 0;
            cut.push_back({track[i - 1].x + (track[i].x - track[i - 1].x) * t,
                           track[i - 1].y + (track[i].y - track[i - 1].y) * t});
            break;
        }
        wanted -= seg;
        cut.push_back(track[i]);
    }
    return cut;
}

}  // namespace talvo::stroke
