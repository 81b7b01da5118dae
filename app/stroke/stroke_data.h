#pragma once

// Stroke data of one Hán character as the hanzi-writer-data package ships it:
// a JSON object whose "strokes" are SVG path strings (the filled shape of
// each stroke) and whose "medians" are point lists (the pen's track through
// each stroke), in order of writing. Coordinates live in a 1024-unit box
// whose y axis points up: x in 0..1024, y in -124..900.
//
// Nothing here uses Qt, so the parsing is tested and reused without a GUI.

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvo::stroke {

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

// One drawing command of a path, in absolute coordinates. Move and Line use
// pts[0]; Quad the control point pts[0] and end pts[1]; Cubic the controls
// pts[0], pts[1] and end pts[2]; Close none.
struct PathOp {
    enum class Kind { Move, Line, Quad, Cubic, Close };
    Kind kind = Kind::Move;
    std::array<Point, 3> pts{};
};
using Path = std::vector<PathOp>;

// SVG path data ("M 10 20 Q 30 40 50 60 Z") with the commands M, L, H, V, Q,
// C, Z in absolute and relative forms, implicit repeats and the SVG number
// grammar ("1.5.5", "-3e2", comma or blank separators). Relative forms and H/V
// come back as absolute Move/Line ops. Absent for anything else (another
// command, a missing or non-finite number, no leading move, more than
// kMaxPathOps commands): a shape that cannot be drawn faithfully is not drawn.
std::optional<Path> parseSvgPath(std::string_view d);
inline constexpr size_t kMaxPathOps = 4096;

struct StrokeData {
    std::vector<Path> strokes;                // filled shapes, in writing order
    std::vector<std::vector<Point>> medians;  // one per stroke, at least one point
};

// Absent for anything that is not well-formed stroke data: malformed JSON,
// missing or mistyped members, a path that does not parse, a median without
// points, a median point beyond kMaxCoordinate, counts that differ, no
// strokes, more than kMaxStrokes strokes or an input over kMaxJsonBytes. Unknown members
// ("radStrokes") are ignored.
std::optional<StrokeData> parseStrokeData(std::string_view json);
inline constexpr size_t kMaxStrokes = 128;
inline constexpr double kMaxCoordinate = 100000;  // for median points
inline constexpr size_t kMaxJsonBytes = 1 << 20;

// Length of a polyline (0 for fewer than two points).
double polylineLength(const std::vector<Point>& points);

// The pen's thickness while revealing a stroke, in data units; the revealed
// part of the shape is what a round-capped pen this wide covers.
inline constexpr double kRevealPenWidth = 200;

// The track the revealing pen has covered when `portion` (0..1) of the stroke
// is shown: the median with its start pushed back by half the pen width (so
// the round cap does not show at the stroke's head), cut to that portion of
// its length. Empty for portion <= 0; the whole extended track for >= 1.
std::vector<Point> revealTrack(const std::vector<Point>& median, double portion);

}  // namespace talvo::stroke
