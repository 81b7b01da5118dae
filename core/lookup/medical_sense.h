#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace talvo::MedicalSense {

// How "medical" a character and its gloss look: 10 for a character of classical
// medicine, minus 1 for a simplified or variant form, plus 1 for a gloss with a
// medical keyword. Thread-safe; the built-in sets are built once on first use.
int score(std::string_view ch, const std::optional<std::string>& gloss);

bool isMedicalChar(std::string_view ch);

}  // namespace talvo::MedicalSense
