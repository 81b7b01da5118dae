#pragma once

#include <map>
#include <string>
#include <string_view>

#include "core/wire/decoded.h"

namespace talvo::wire {

// A usage event (POST /api/stats/event): {"name": ..., "params": {...}}.
// Decoding: "name" required text; "params" optional (absent or null reads as
// empty) but, when present, an object whose members are all text.
struct StatsEvent {
    std::string name;
    std::map<std::string, std::string> params;

    bool operator==(const StatsEvent&) const = default;
};

// A looked-up passage (POST /api/stats/lookup): {"zh": ...}; "zh" required.
struct LookupReport {
    std::string zh;

    bool operator==(const LookupReport&) const = default;
};

// Event names and parameter keys the desktop program sends.
inline constexpr std::string_view kAppOpenEvent = "app_open";
inline constexpr std::string_view kFeatureUsedEvent = "feature_used";
// The features "feature_used" names; the server counts no others.
inline constexpr std::string_view kKnownFeatures[] = {
    "lookup", "reverse", "translate", "study", "study_add", "study_profile", "study_lessons", "ocr",
};

std::string encodeStatsEvent(const StatsEvent& e);
Decoded<StatsEvent> decodeStatsEvent(std::string_view body);
std::string encodeLookupReport(const LookupReport& r);
Decoded<LookupReport> decodeLookupReport(std::string_view body);

}  // namespace talvo::wire
