#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/lookup/lookup_result.h"

namespace talvo {

class DictionaryStore;
class OverrideStore;

// The lookup facade: forward lookup with the user's overrides and the medical
// reading preference, reverse lookup ranked by frequency and medical sense,
// and reading corrections. Borrows both stores (the overrides may be absent);
// main thread only.
class LookupService {
  public:
    LookupService(DictionaryStore& dict, OverrideStore* overrides);

    // Looks the characters up one by one and, for several, splits them into
    // words: the path through the dictionary's words with the best score,
    // where a word of n characters scores n² and a little more the more the
    // corpus uses it, and a character no word covers scores 1. So no path
    // loses to the longest match, and between equal shapes the corpus
    // decides. No word runs across a position in `breaks` (see
    // HanTextParser::wordBreaks). A word reads as the dictionary reads it,
    // except that a character the user corrected takes its corrected reading
    // where the word does not fix that syllable itself.
    PhraseLookup analyze(const std::vector<std::string>& chars,
                         const std::vector<size_t>& breaks = {});
    // Candidates per syllable; for two or more, also the words read as all of
    // them together.
    ReverseLookup reverse(const std::vector<std::string>& syllables);
    // Saves "a, b" as the character's readings; a blank text removes the
    // override. Does nothing without an override store.
    void setReading(std::string_view text, std::string_view ch);

    // Polyphonic characters whose classical-medical reading goes first.
    static const std::map<std::string, std::string, std::less<>>& medicalReading();
    // The readings a text names: split at commas, blanks trimmed, empties dropped.
    static std::vector<std::string> parseReadings(std::string_view text);

  private:
    CharReading forwardReading(const std::string& ch, bool* overridden);
    std::vector<WordReading> segment(const std::vector<std::string>& chars,
                                     const std::vector<size_t>& breaks,
                                     const std::vector<CharReading>& readings,
                                     const std::vector<bool>& overridden);

    DictionaryStore& m_dict;
    OverrideStore* m_overrides;
};

}  // namespace talvo
