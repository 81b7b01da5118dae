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
