#include "tools/assets/icon_svg.h"

#include <QFontMetricsF>

#include "app/theme/theme.h"

namespace talvo {

namespace {

QString num(double v) {
    QString s = QString::number(v, 'f', 2);
    // "12.50" → "12.5", "3.00" → "3": fewer bytes, same value.
    while (s.contains(QLatin1Char('.')) &&
           (s.endsWith(QLatin1Char('0')) || s.endsWith(QLatin1Char('.')))) {
        s.chop(1);
    }
    return s == QLatin1String("-0") ? QStringLiteral("0") : s;
}

QString pt(double x, double y) {
    return num(x) + QLatin1Char(' ') + num(y);
}

}  // namespace

QString svgPathData(const QPainterPath& path) {
    QString d;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        if (e.type == QPainterPath::MoveToElement) {
            if (!d.isEmpty()) {
                d += QLatin1Char('Z');
            }
            d += QLatin1Char('M') + pt(e.x, e.y);
        } else if (e.type == QPainterPath::LineToElement) {
            d += QLatin1Char('L') + pt(e.x, e.y);
        } else if (e.type == QPainterPath::CurveToElement && i + 2 < path.elementCount()) {
            const QPainterPath::Element c2 = path.elementAt(i + 1);
            const QPainterPath::Element end = path.elementAt(i + 2);
            d += QLatin1Char('C') + pt(e.x, e.y) + QLatin1Char(' ') + pt(c2.x, c2.y) +
                 QLatin1Char(' ') + pt(end.x, end.y);
            i += 2;
        }
    }
    if (!d.isEmpty()) {
        d += QLatin1Char('Z');
    }
    return d;
}

QString glyphIconSvg(const QFont& font) {
    constexpr double kSize = 256;
    const QString glyph = QStringLiteral("墨");
    QFontMetricsF metrics(font);
    if (!metrics.inFontUcs4(glyph.toUcs4().front())) {
        return {};
    }
    // Centred as QPainter::drawText centres it in the tray glyph: the advance
    // horizontally, the line box (ascent + descent) vertically.
    double x = (kSize - metrics.horizontalAdvance(glyph)) / 2;
    double baseline = (kSize - (metrics.ascent() + metrics.descent())) / 2 + metrics.ascent();
    QPainterPath outline;
    outline.addText(QPointF(x, baseline), font, glyph);
    double radius = kSize * 0.18;
    return QStringLiteral(
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"256\" height=\"256\" "
               "viewBox=\"0 0 256 256\">\n"
               "  <rect width=\"256\" height=\"256\" rx=\"%1\" ry=\"%1\" fill=\"%2\"/>\n"
               "  <path fill=\"%3\" fill-rule=\"nonzero\" d=\"%4\"/>\n"
               "</svg>\n")
        .arg(num(radius), YDao::seal().name(), YDao::paper().name(), svgPathData(outline));
}

}  // namespace talvo
