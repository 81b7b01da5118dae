#include "core/lookup/lookup_result.h"

#include <string_view>
#include <unordered_map>

#include "core/text/unicode.h"

namespace talvo {

std::string PhraseLookup::amString() const {
    std::string out;
    // Long passages repeat a few hundred readings; case-map each only once.
    std::unordered_map<std::string_view, std::string> capitalized;
    for (const CharReading& c : chars) {
        if (c.readings.empty()) {
            continue;
        }
        if (!out.empty()) {
            out += ' ';
        }
        const std::string& first = c.readings.front();
        auto it = capitalized.find(first);
        if (it == capitalized.end()) {
            it = capitalized.emplace(first, text::upperFirst(first)).first;
        }
        out += it->second;
    }
    return out;
}

std::string PhraseLookup::wordAmString() const {
    std::string out;
    for (const WordReading& w : words) {
        if (w.reading.empty()) {
            continue;
        }
        if (!out.empty()) {
            out += ' ';
        }
        out += text::upperFirst(w.reading);
    }
    return out;
}

std::string PhraseLookup::studyGloss() const {
    if (nghia) {
        return *nghia;
    }
    if (chars.size() == 1) {
        return chars.front().gloss.value_or("");
    }
    auto glossOf = [](const WordReading& w) { return w.gloss ? *w.gloss : w.english.value_or(""); };
    if (words.size() == 1) {
        return glossOf(words.front());
    }
    std::string out;
    for (const WordReading& w : words) {
        std::string g = glossOf(w);
        if (g.empty()) {
            continue;
        }
        if (!out.empty()) {
            out += "; ";
        }
        out += w.text + ": " + g;
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
