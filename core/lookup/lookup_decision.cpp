#include "core/lookup/lookup_decision.h"

#include "core/lookup/han_text_parser.h"

namespace talvo {

LookupDecision LookupDecision::decide(std::string_view selection) {
    LookupDecision d;
    d.chars = HanTextParser::hanCharacters(selection);
    if (!d.chars.empty()) {
        d.kind = Kind::Forward;
        d.breaks = HanTextParser::wordBreaks(selection);
        return d;
    }
    if (auto syllables = HanTextParser::vietSyllables(selection)) {
        d.kind = Kind::Reverse;
        d.syllables = std::move(*syllables);
    }
    return d;
}

}  // namespace talvo
