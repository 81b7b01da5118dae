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
    // The sender's local change number of an outgoing card, so that the
    // sender can tell whether the card changed again while it was on the
    // way. Never encoded, never decoded (0 on decoded cards).
    int64_t localSeq = 0;

    // Compares the exchanged fields only; localSeq is local bookkeeping.
    bool operator==(const SyncCard& o) const {
        return uid == o.uid && front == o.front && am == o.am && gloss == o.gloss &&
               source == o.source && stability == o.stability && difficulty == o.difficulty &&
               reps == o.reps && lapses == o.lapses && state == o.state && due == o.due &&
               lastDay == o.lastDay && suspended == o.suspended && updatedAt == o.updatedAt;
    }
};

// One review-log row as exchanged. Every JSON key is required.
struct SyncLog {
    std::string logId;     // "log_id": install id ":" local row id
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

// Client -> server. The first four keys are required; "install_id" is
// optional (older clients do not send it) and is left out when empty.
struct SyncRequest {
    std::string deviceId;         // "device_id"
    int64_t since = 0;            // "since": the pull cursor
    std::vector<SyncCard> cards;  // "cards"
    std::vector<SyncLog> logs;    // "logs"
    // "install_id": the sending study database's own identity (the prefix of
    // its log ids). The server leaves out of the answer only the rows pushed
    // under this identity, so that two databases on one machine, or one
    // reinstalled, still receive each other's rows.
    std::string installId;

    bool operator==(const SyncRequest&) const = default;
};

// A pushed row that the server refused, and why. The sender keeps it
// unsynced and counts it instead of taking it for accepted.
struct SyncRejection {
    std::string kind;    // "kind": "card" or "log"
    std::string id;      // "id": the card's uid or the log's log_id
    std::string reason;  // "reason": a short English explanation

    bool operator==(const SyncRejection&) const = default;
};

// Server -> client. The first three keys are required; "more" and
// "rejected" are optional (older servers send neither): absent reads as
// false and as an empty list.
struct SyncResponse {
    int64_t now = 0;              // "now": the next pull cursor
    std::vector<SyncCard> cards;  // "cards"
    std::vector<SyncLog> logs;    // "logs"
    // "more": the answer was cut short; asking again from `now` gets the rest.
    bool more = false;
    std::vector<SyncRejection> rejected;  // "rejected"

    bool operator==(const SyncResponse&) const = default;
};

std::string encodeSyncRequest(const SyncRequest& r);
Decoded<SyncRequest> decodeSyncRequest(std::string_view body);
std::string encodeSyncResponse(const SyncResponse& r);
Decoded<SyncResponse> decodeSyncResponse(std::string_view body);

}  // namespace talvo::wire
