#include "server/sync_batch.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

#include "core/sync/review_replay.h"
#include "core/wire/sync_merge.h"

namespace talvo::server {

namespace {

// Identities are primary-key columns; PostgreSQL refuses index entries
// beyond about 2.7 kB, and no real uid or log id comes near this.
constexpr size_t kMaxIdBytes = 1024;

bool hasNul(std::string_view s) {
    return s.find('\0') != std::string_view::npos;
}

// Why a row cannot be stored; empty when it can.
std::string idProblem(const char* name, std::string_view s) {
    if (s.empty()) {
        return std::string(name) + ": empty";
    }
    if (s.size() > kMaxIdBytes) {
        return std::string(name) + ": longer than " + std::to_string(kMaxIdBytes) + " bytes";
    }
    if (hasNul(s)) {
        return std::string(name) + ": contains U+0000";
    }
    return {};
}

std::string problem(const CardRecord& c) {
    if (std::string p = idProblem("uid", c.uid); !p.empty()) {
        return p;
    }
    if (c.front.empty()) {
        return "front: empty";
    }
    if (hasNul(c.front) || hasNul(c.am) || hasNul(c.gloss) || hasNul(c.source) || hasNul(c.state)) {
        return "text contains U+0000";
    }
    if (!std::isfinite(c.stability) || !std::isfinite(c.difficulty)) {
        return "stability or difficulty is not a finite number";
    }
    return {};
}

std::string problem(const LogRecord& l) {
    if (std::string p = idProblem("log_id", l.logId); !p.empty()) {
        return p;
    }
    return idProblem("card_uid", l.cardUid);
}

// A generous estimate of a row's size in the encoded answer.
size_t rowBytes(const CardRecord& c) {
    return 200 + c.uid.size() + c.front.size() + c.am.size() + c.gloss.size() + c.source.size() +
           c.state.size();
}
size_t rowBytes(const LogRecord& l) {
    return 120 + l.logId.size() + l.cardUid.size();
}

}  // namespace

std::vector<wire::SyncRejection> normalizePush(SyncPush& push) {
    std::vector<wire::SyncRejection> dropped;

    std::unordered_map<std::string, size_t> cardAt;
    std::vector<CardRecord> cards;
    cards.reserve(push.cards.size());
    for (CardRecord& c : push.cards) {
        if (std::string why = problem(c); !why.empty()) {
            dropped.push_back({"card", c.uid, std::move(why)});
            continue;
        }
        auto [it, inserted] = cardAt.try_emplace(c.uid, cards.size());
        if (inserted) {
            cards.push_back(std::move(c));
        } else if (wire::incomingCardWins(cards[it->second].updatedAt, c.updatedAt)) {
            cards[it->second] = std::move(c);
        }
    }
    push.cards = std::move(cards);

    std::unordered_set<std::string> seen;
    std::vector<LogRecord> logs;
    logs.reserve(push.logs.size());
    for (LogRecord& l : push.logs) {
        if (std::string why = problem(l); !why.empty()) {
            dropped.push_back({"log", l.logId, std::move(why)});
            continue;
        }
        if (seen.insert(l.logId).second) {
            logs.push_back(std::move(l));
        }
    }
    push.logs = std::move(logs);
    return dropped;
}

PullStart pullStart(int64_t since, int64_t head) {
    PullStart start;
    start.since = since > head ? 0 : since;
    start.ownCards = start.since <= 0;
    return start;
}

void mergePull(std::vector<SeqCard>& cards, std::vector<SeqLog>& logs, int64_t head,
               PullLimits limits, SyncPull& pull) {
    size_t ci = 0;
    size_t li = 0;
    size_t bytes = 0;
    size_t rows = 0;
    int64_t last = 0;
    bool full = false;
    while (ci < cards.size() || li < logs.size()) {
        bool takeCard = li >= logs.size() || (ci < cards.size() && cards[ci].seq < logs[li].seq);
        size_t size = takeCard ? rowBytes(cards[ci].card) : rowBytes(logs[li].log);
        if (rows >= limits.maxRows || (rows > 0 && bytes + size > limits.maxBytes)) {
            full = true;
            break;
        }
        bytes += size;
        ++rows;
        if (takeCard) {
            last = cards[ci].seq;
            pull.cards.push_back(std::move(cards[ci++].card));
        } else {
            last = logs[li].seq;
            pull.logs.push_back(std::move(logs[li++].log));
        }
    }
    pull.capped = full;
    pull.now = full ? last : head;
}

void clampFutureStamps(SyncPush& push, int64_t now) {
    const int64_t latest = now + kFutureToleranceSeconds;
    for (CardRecord& c : push.cards) {
        c.updatedAt = std::min(c.updatedAt, latest);
    }
}

std::vector<CardRecord> replayedCards(const std::vector<CardRecord>& stored,
                                      const std::vector<LogRecord>& logs) {
    std::unordered_map<std::string, std::vector<LogRecord>> byCard;
    for (const LogRecord& l : logs) {
        byCard[l.cardUid].push_back(l);
    }
    static const FSRS kScheduler;
    std::vector<CardRecord> out;
    for (const CardRecord& c : stored) {
        auto it = byCard.find(c.uid);
        if (it == byCard.end()) {
            continue;
        }
        std::optional<ReplayedSchedule> s = replayReviews(it->second, kScheduler);
        CardRecord replayed = c;
        if (s && applySchedule(replayed, *s)) {
            out.push_back(std::move(replayed));
        }
    }
    return out;
}

std::vector<std::string> touchedUids(const SyncPush& push) {
    std::unordered_set<std::string> seen;
    std::vector<std::string> out;
    for (const CardRecord& c : push.cards) {
        if (seen.insert(c.uid).second) {
            out.push_back(c.uid);
        }
    }
    for (const LogRecord& l : push.logs) {
        if (seen.insert(l.cardUid).second) {
            out.push_back(l.cardUid);
        }
    }
    return out;
}

void addLosingEchoes(std::vector<CardRecord> echoes, SyncPull& pull) {
    if (echoes.empty()) {
        return;
    }
    std::unordered_set<std::string> present;
    for (const CardRecord& c : pull.cards) {
        present.insert(c.uid);
    }
    for (CardRecord& c : echoes) {
        if (present.insert(c.uid).second) {
            pull.cards.push_back(std::move(c));
        }
    }
}

}  // namespace talvo::server
