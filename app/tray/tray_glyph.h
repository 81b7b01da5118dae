#pragma once

#include <QIcon>
#include <QImage>

namespace talvo {

// The status icon: the glyph 墨 as a paper-coloured character on a seal-red
// square, drawn at each size a tray asks for (and at twice that for HiDPI),
// so it stays crisp and readable on light and dark panels alike.
QIcon trayGlyphIcon();
// One rendering, `pixels` wide and high.
QImage trayGlyphImage(int pixels);

}  // namespace talvo
