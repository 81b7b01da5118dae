#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/wire/decoded.h"

namespace talvo::wire {

// The records of one study sync exchange (POST /api/study/sync). JSON keys
// are the snake_case names noted beside each field.
//
// Decoding rules shared by every record here: the body must be one JSON
// object; unknown keys are ignored; a required key that is missing, null or
// of the wrong type rejects the whole message. Integers accept JSON integers
// (and floating values without a fraction) that fit in 64 bits. Text must be
// valid UTF-8, as JSON requires. Encoders never throw: text that is not valid
// UTF-8 (a damaged database row) goes out with U+FFFD in place of bad bytes.

// One card as exchanged; mirrors the card table's columns.
struct SyncCard {
    std::string uid;        // "uid", required
    std::string front;      // "front", required
    std::string am;         // "am", optional (absent reads as "")
    std::string gloss;      // "gloss", optional
    std::string source;     // "source", optional
    double stability = 0;   // "stability", required
    double difficulty = 0;  // "difficulty", required
    int64_t reps = 0;       // "reps", required
    int64_t lapses = 0;     // "lapses", required
    std::string state;      // "state", optional
    int64_t due = 0;        // "due", required (day number)
    int64_t lastDay = 0;    // "last_day", required (day number)
    int64_t suspended = 0;  // "suspended", required (0/1)
    int64_t updatedAt = 0;  // "updated_at", required (seconds since 1970)

    bool operator==(const SyncCard&) const = default;
};

// One review-log row as exchanged. Every JSON key is required.
struct SyncLog {
    std::string logId;     // "log_id": device id ":" local row id
    std::string cardUid;   // "card_uid"
    int64_t ts = 0;        // "ts", seconds since 1970
    int64_t day = 0;       // "day"
    int64_t rating = 0;    // "rating", 1-4
    int64_t elapsed = 0;   // "elapsed", days since the previous review
    int64_t interval = 0;  // "interval", days scheduled
    // The local review_log.id of an outgoing row, so the sender can mark it
    // synced. Never encoded, never decoded (0 on decoded logs).
    int64_t localId = 0;

    // Compares the exchanged fields only; localId is local bookkeeping.
    bool operator==(const SyncLog& o) const {
        return logId == o.logId && cardUid == o.cardUid && ts == o.ts && day == o.day &&
               rating == o.rating && elapsed == o.elapsed && interval == o.interval;
    }
};

// Client -> server. All four keys required.
struct SyncRequest {
    std::string deviceId;         // "device_id"
    int64_t since = 0;            // "since": the pull cursor
    std::vector<SyncCard> cards;  // "cards"
    std::vector<SyncLog> logs;    // "logs"

    bool operator==(const SyncRequest&) const = default;
};

// Server -> client. All three keys required.
struct SyncResponse {
    int64_t now = 0;              // "now": the server's time, the next pull cursor
    std::vector<SyncCard> cards;  // "cards"
    std::vector<SyncLog> logs;    // "logs"

    bool operator==(const SyncResponse&) const = default;
};

std::string encodeSyncRequest(const SyncRequest& r);
Decoded<SyncRequest> decodeSyncRequest(std::string_view body);
std::string encodeSyncResponse(const SyncResponse& r);
Decoded<SyncResponse> decodeSyncResponse(std::string_view body);

}  // namespace talvo::wire
