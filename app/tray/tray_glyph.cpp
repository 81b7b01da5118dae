#include "app/tray/tray_glyph.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include "app/theme/theme.h"

namespace talvo {

QImage trayGlyphImage(int pixels) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    QPainterPath seal;
    double radius = pixels * 0.18;
    seal.addRoundedRect(QRectF(0, 0, pixels, pixels), radius, radius);
    p.fillPath(seal, YDao::seal());
    // The glyph fills most of the square; a CJK em box is nearly all ink.
    QFont font = theme::hanFont(std::max(8, static_cast<int>(pixels * 0.8)));
    font.setBold(true);
    font.setHintingPreference(QFont::PreferFullHinting);
    p.setFont(font);
    p.setPen(YDao::paper());
    p.drawText(QRectF(0, 0, pixels, pixels), Qt::AlignCenter, QStringLiteral("墨"));
    return image;
}

QIcon trayGlyphIcon() {
    QIcon icon;
    for (int size : {16, 20, 22, 24, 32, 40, 44, 48, 64, 96, 128}) {
        icon.addPixmap(QPixmap::fromImage(trayGlyphImage(size)));
    }
    return icon;
}

}  // namespace talvo
