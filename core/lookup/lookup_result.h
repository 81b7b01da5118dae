#pragma once

#include <optional>
#include <string>
#include <vector>

namespace talvo {

struct CharReading {
    std::string ch;                     // one character (grapheme)
    std::vector<std::string> readings;  // most preferred first
    std::optional<std::string> gloss;   // short classical gloss

    bool operator==(const CharReading&) const = default;
};

struct PhraseLookup {
    std::string phrase;                           // the looked-up characters concatenated
    std::vector<CharReading> chars;               // one per input character, in order
    std::optional<std::string> nghia;             // full entry, one-character lookups only
    std::optional<std::string> matchedSubphrase;  // the character, one-character lookups only

    // First reading of every character that has one, each with its first letter
    // upper-cased, joined by spaces: "Thương Hàn".
    std::string amString() const;

    // A message card: the popup shows the text alone, without reading rows.
    static PhraseLookup message(std::string text);

    bool operator==(const PhraseLookup&) const = default;
};

struct ReverseSyllable {
    std::string am;                       // the syllable exactly as passed in
    std::vector<CharReading> candidates;  // ranked, best first

    bool operator==(const ReverseSyllable&) const = default;
};

struct ReverseLookup {
    std::string query;  // the syllables joined by single spaces
    std::vector<ReverseSyllable> syllables;

    // True when no syllable found a candidate (and for an empty list).
    bool hasNoMatch() const;

    bool operator==(const ReverseLookup&) const = default;
};

}  // namespace talvo
