#pragma once

#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "core/lookup/lookup_result.h"
#include "core/wire/translate_records.h"

namespace talvo {

// The non-empty readings joined with ", " ("thương, thảng"); empty when none.
std::string joinReadings(const std::vector<std::string>& readings);

// A lookup as plain text for the clipboard: the phrase, its readings line,
// its words of several characters ("傷寒  thương hàn — gloss"), then one line
// per character ("傷  thương, thảng — gloss") and, for one character, its
// full entry.
std::string lookupPlainText(const PhraseLookup& result);

// One reverse lookup as plain text: the whole words first ("thương hàn: 傷寒"),
// then a line per syllable with its candidates.
std::string reversePlainText(const ReverseLookup& result);

// What the reader is told when a translation did not come back.
const Tr& translationFailureText(wire::TranslateResult::Kind kind);

}  // namespace talvo
