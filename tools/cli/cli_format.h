#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/l10n/localization.h"
#include "core/lookup/lookup_result.h"

namespace talvo::cli {

// One line of JSON. Text reaching here is sanitized, but a stray byte must not
// abort the output: it is replaced.
template <class Json>
std::string dump(const Json& j) {
    return j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The words joined with single spaces (operands quoted back in messages).
std::string joined(const std::vector<std::string>& words);

// The --json shapes: one object per answer, absent values as null.
std::string forwardJson(const PhraseLookup& p);
std::string reverseJson(const ReverseLookup& r);
std::string messageJson(const std::string& message);

// Aligned text for people: one row per character (character, readings, gloss);
// a one-character lookup also prints its full dictionary entry.
void printForward(std::ostream& out, const PhraseLookup& p);
void printReverse(std::ostream& out, const ReverseLookup& r, AppLanguage lang);

}  // namespace talvo::cli
