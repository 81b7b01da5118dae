#include "core/ui/lookup_text.h"

namespace talvo {

std::string joinReadings(const std::vector<std::string>& readings) {
    std::string out;
    for (const std::string& r : readings) {
        if (r.empty()) {
            continue;
        }
        if (!out.empty()) {
            out += ", ";
        }
        out += r;
    }
    return out;
}

std::string lookupPlainText(const PhraseLookup& result) {
    std::string out = result.phrase;
    std::string am = result.amString();
    if (!am.empty()) {
        out += '\n' + am;
    }
    if (!result.chars.empty()) {
        out += '\n';
    }
    for (const CharReading& c : result.chars) {
        out += '\n' + c.ch;
        std::string readings = joinReadings(c.readings);
        if (!readings.empty()) {
            out += "  " + readings;
        }
        if (c.gloss && !c.gloss->empty()) {
            out += " — " + *c.gloss;
        }
    }
    if (result.nghia && !result.nghia->empty()) {
        out += "\n\n" + *result.nghia;
    }
    return out;
}

std::string reversePlainText(const ReverseLookup& result) {
    std::string out;
    for (const ReverseSyllable& s : result.syllables) {
        if (!out.empty()) {
            out += '\n';
        }
        out += s.am + ":";
        for (const CharReading& c : s.candidates) {
            out += ' ' + c.ch;
        }
    }
    return out;
}

}  // namespace talvo
