#pragma once

// The rules of a sync batch that both storage backends share: what of a push
// may be stored, where a pull starts and where an answer is cut.

#include <cstdint>
#include <vector>

#include "server/storage.h"

namespace talvo::server {

// Makes a push safe to store: drops rows without identity (empty uid, front,
// logId or cardUid, or identities too long to index), with text the
// databases cannot hold (NUL) or with numbers they cannot (infinite), keeps
// one row per uid (the newest; the first among equals) and per logId (the
// first). Returns the rows dropped as unstorable, with the reason, for the
// answer: the device keeps them unsynced instead of taking them as stored.
std::vector<wire::SyncRejection> normalizePush(SyncPush& push);

// A card stamped further ahead of the server's clock than this (a device
// whose clock runs fast) is stored as stamped now plus this, so that its
// stamp cannot beat every other device's changes until the clocks meet.
inline constexpr int64_t kFutureToleranceSeconds = 300;
void clampFutureStamps(SyncPush& push, int64_t now);

// For each stored card that has logs (all of its logs are among `logs`), the
// card with the state that replaying those logs gives
// (core/sync/review_replay.h), when that differs from what is stored.
std::vector<CardRecord> replayedCards(const std::vector<CardRecord>& stored,
                                      const std::vector<LogRecord>& logs);

// The uids whose replay a push may change: every pushed card and the card of
// every pushed log.
std::vector<std::string> touchedUids(const SyncPush& push);

// Rows read in sequence order, tagged with their sequence number.
struct SeqCard {
    int64_t seq = 0;
    CardRecord card;
};
struct SeqLog {
    int64_t seq = 0;
    LogRecord log;
};

// Interleaves the two sorted row lists by sequence within the limits, and
// sets pull.now: the head when everything fitted, else the last row's seq.
void mergePull(std::vector<SeqCard>& cards, std::vector<SeqLog>& logs, int64_t head,
               PullLimits limits, SyncPull& pull);

// Where an exchange starts reading. A cursor ahead of the account's head
// cannot have come from this database (it was restored from an older copy,
// or the device talked to another server): the device starts over from 0,
// which is harmless because merging is idempotent. From 0 the device also
// gets back the cards it pushed itself (a reinstalled device keeps its
// identifier but has lost its deck; for any other device they change
// nothing). Never its own logs: the device marks its sent logs only after
// applying the answer, so an echo would be stored a second time.
struct PullStart {
    int64_t since = 0;
    bool ownCards = false;
};
PullStart pullStart(int64_t since, int64_t head);

// Adds the stored versions of pushed cards that lost to a strictly newer
// stored version (a device whose clock lags would otherwise keep its older
// copy forever), unless the answer already holds that uid.
void addLosingEchoes(std::vector<CardRecord> echoes, SyncPull& pull);

}  // namespace talvo::server
