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

    PhraseLookup analyze(const std::vector<std::string>& chars);
    ReverseLookup reverse(const std::vector<std::string>& syllables);
    // Saves "a, b" as the character's readings; a blank text removes the
    // override. Does nothing without an override store.
    void setReading(std::string_view text, std::string_view ch);

    // Polyphonic characters whose classical-medical reading goes first.
    static const std::map<std::string, std::string, std::less<>>& medicalReading();
    // The readings a text names: split at commas, blanks trimmed, empties dropped.
    static std::vector<std::string> parseReadings(std::string_view text);

  private:
    CharReading forwardReading(const std::string& ch);

    DictionaryStore& m_dict;
    OverrideStore* m_overrides;
};

}  // namespace talvo
