#include "tools/dictgen/telex.h"

#include "core/text/unicode.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen::Telex {

std::optional<std::string> decode(std::string_view key) {
    using ToneStyle::Tone;
    Tone tone = Tone::Level;
    if (key.size() > 1) {
        switch (key.back()) {
            case 's':
                tone = Tone::Acute;
                break;
            case 'f':
                tone = Tone::Grave;
                break;
            case 'r':
                tone = Tone::Hook;
                break;
            case 'x':
                tone = Tone::Tilde;
                break;
            case 'j':
                tone = Tone::Dot;
                break;
            default:
                break;
        }
        if (tone != Tone::Level) {
            key.remove_suffix(1);
        }
    }
    std::string letters;
    for (size_t i = 0; i < key.size(); ++i) {
        char c = key[i];
        char next = i + 1 < key.size() ? key[i + 1] : '\0';
        if (c < 'a' || c > 'z') {
            return std::nullopt;
        }
        if (c == 'd' && next == 'd') {
            text::appendUtf8(letters, U'đ');
            ++i;
        } else if ((c == 'a' || c == 'e' || c == 'o') && next == c) {
            letters += c;
            text::appendUtf8(letters, 0x0302);
            ++i;
        } else if (c == 'a' && next == 'w') {
            letters += c;
            text::appendUtf8(letters, 0x0306);
            ++i;
        } else if ((c == 'o' || c == 'u') && next == 'w') {
            letters += c;
            text::appendUtf8(letters, 0x031B);
            ++i;
        } else if (c == 'w') {
            letters += 'u';
            text::appendUtf8(letters, 0x031B);
        } else {
            letters += c;
        }
    }
    return ToneStyle::compose(letters, tone);
}

}  // namespace talvo::dictgen::Telex
