#pragma once

#include <QString>

namespace talvo {

// A word-wrapped QLabel breaks only between words, so one long token (a URL,
// readings joined without spaces) would widen the label past its window.
// This puts a zero-width space into every run of more than `run` characters
// without a break opportunity, which lets the label wrap it anywhere.
inline QString breakableText(const QString& text, int run = 24) {
    QString out;
    out.reserve(text.size() + text.size() / run);
    int since = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isSpace() || c == QChar(0x200B)) {
            since = 0;
        } else if (since >= run && !c.isLowSurrogate() && !c.isMark()) {
            out += QChar(0x200B);
            since = 0;
        }
        out += c;
        ++since;
    }
    return out;
}

}  // namespace talvo
