#pragma once

#include <cstdint>
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

// One word of a looked-up phrase (or a reverse lookup's whole-word match):
// a dictionary word, or a character no word covers.
struct WordReading {
    std::string text;                        // as selected
    size_t start = 0;                        // position of its first character in chars
    size_t length = 0;                       // characters
    std::string reading;                     // a syllable per character, spaces between
    std::optional<std::string> gloss;        // Vietnamese
    std::optional<std::string> glossSource;  // kGlossThieuChuu or kGlossChar
    std::optional<std::string> english;      // CC-CEDICT's definitions
    int64_t freq = 0;                        // occurrences in the medical corpus

    static constexpr const char* kGlossThieuChuu = "thieuchuu";  // a quoted compound's explanation
    static constexpr const char* kGlossChar = "char";            // the character's own gloss

    bool operator==(const WordReading&) const = default;
};

struct PhraseLookup {
    std::string phrase;                           // the looked-up characters concatenated
    std::vector<CharReading> chars;               // one per input character, in order
    std::optional<std::string> nghia;             // full entry, one-character lookups only
    std::optional<std::string> matchedSubphrase;  // the character, one-character lookups only
    // The phrase split into words, for lookups of several characters; each
    // character is in exactly one word, in order.
    std::vector<WordReading> words;

    // First reading of every character that has one, each with its first letter
    // upper-cased, joined by spaces: "Thương Hàn".
    std::string amString() const;
    // The phrase read by words: each word's reading with its first letter
    // upper-cased, words joined by spaces ("Thương hàn Luận"). Empty without words.
    std::string wordAmString() const;
    // The gloss a study card of this lookup gets: the full entry or gloss of
    // one character; one word's gloss (or its English); for a phrase, its
    // words' glosses as "傷寒: gloss; 論: gloss". Empty when there is none.
    std::string studyGloss() const;

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
    // Whole words read as all the syllables together, most frequent first.
    std::vector<WordReading> words;

    // True when no syllable found a candidate (and for an empty list).
    bool hasNoMatch() const;

    bool operator==(const ReverseLookup&) const = default;
};

}  // namespace talvo
