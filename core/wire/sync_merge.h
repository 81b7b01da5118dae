#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/wire/sync_records.h"

namespace talvo::wire {

// The merge rules of study sync, shared by the client's store and the server.

// The global identity of a local review-log row: installId ":" localId.
std::string logIdFor(std::string_view installId, int64_t localId);

// The device a log came from: the part of log_id before the first ":", the
// whole log_id when it has none, "remote" when it is empty.
std::string originOf(std::string_view logId);

// Last writer wins on updated_at: an incoming card replaces a stored one only
// when strictly newer, so equal stamps keep what is stored.
inline bool incomingCardWins(int64_t storedUpdatedAt, int64_t incomingUpdatedAt) {
    return incomingUpdatedAt > storedUpdatedAt;
}

// A card without uid or front cannot be stored and is skipped on receipt.
inline bool isStorableCard(const SyncCard& c) {
    return !c.uid.empty() && !c.front.empty();
}

}  // namespace talvo::wire
