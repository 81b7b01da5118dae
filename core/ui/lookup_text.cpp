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
    // The words of several characters first, as the popup lists them.
    bool anyWord = false;
    for (const WordReading& w : result.words) {
        if (w.length < 2) {
            continue;
        }
        anyWord = true;
        out += '\n' + w.text + "  " + w.reading;
        if (const auto& gloss = w.gloss ? w.gloss : w.english) {
            out += " — " + *gloss;
        }
    }
    if (anyWord) {
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
    if (!result.words.empty()) {
        out += result.query + ":";
        for (const WordReading& w : result.words) {
            out += ' ' + w.text;
        }
    }
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

const Tr& translationFailureText(wire::TranslateResult::Kind kind) {
    switch (kind) {
        case wire::TranslateResult::Kind::signInNeeded:
            return msg::kTranslationNeedsSignIn;
        case wire::TranslateResult::Kind::limited:
            return msg::kTranslationLimited;
        default:
            return msg::kTranslationFailed;
    }
}

}  // namespace talvo
