#pragma once

#include <QPainterPath>
#include <QString>

namespace talvo {

// SVG path data ("M… L… C… Z") for a painter path, coordinates rounded to
// 1/100 so the file stays small and byte-for-byte reproducible.
QString svgPathData(const QPainterPath& path);

// The scalable app icon: the same seal-red rounded square and paper-coloured
// 墨 as the tray glyph, with the glyph's outline taken from `font` (so the
// file needs no font to display). Empty when the font has no 墨.
QString glyphIconSvg(const QFont& font);

}  // namespace talvo
