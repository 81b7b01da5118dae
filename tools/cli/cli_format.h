#pragma once

#include <iosfwd>
#include <string>

#include "core/l10n/localization.h"
#include "core/lookup/lookup_result.h"

namespace talvo::cli {

// The --json shapes: one object per answer, absent values as null.
std::string forwardJson(const PhraseLookup& p);
std::string reverseJson(const ReverseLookup& r);
std::string messageJson(const std::string& message);

// Aligned text for people: one row per character (character, readings, gloss);
// a one-character lookup also prints its full dictionary entry.
void printForward(std::ostream& out, const PhraseLookup& p);
void printReverse(std::ostream& out, const ReverseLookup& r, AppLanguage lang);

}  // namespace talvo::cli
