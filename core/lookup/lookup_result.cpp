#include "lookup/lookup_result.h"

#include "text/unicode.h"

namespace talvo {

std::string PhraseLookup::amString() const {
    std::string out;
    for (const CharReading& c : chars) {
        if (c.readings.empty()) {
            continue;
        }
        if (!out.empty()) {
            out += ' ';
        }
        out += text::upperFirst(c.readings.front());
    }
    return out;
}

PhraseLookup PhraseLookup::message(std::string text) {
    PhraseLookup p;
    p.phrase = std::move(text);
    return p;
}

bool ReverseLookup::hasNoMatch() const {
    for (const ReverseSyllable& s : syllables) {
        if (!s.candidates.empty()) {
            return false;
        }
    }
    return true;
}

}  // namespace talvo
