#include "server/sync_batch.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

#include "core/wire/sync_merge.h"

namespace talvo::server {

namespace {

// Identities are primary-key columns; PostgreSQL refuses index entries
// beyond about 2.7 kB, and no real uid or log id comes near this.
constexpr size_t kMaxIdBytes = 1024;

bool hasNul(std::string_view s) {
    return s.find('\0') != std::string_view::npos;
}

bool goodId(std::string_view s) {
    return !s.empty() && s.size() <= kMaxIdBytes && !hasNul(s);
}

bool storable(const CardRecord& c) {
    return wire::isStorableCard(c) && goodId(c.uid) && !hasNul(c.front) && !hasNul(c.am) &&
           !hasNul(c.gloss) && !hasNul(c.source) && !hasNul(c.state) &&
           std::isfinite(c.stability) && std::isfinite(c.difficulty);
}

bool storable(const LogRecord& l) {
    return goodId(l.logId) && goodId(l.cardUid);
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

int64_t normalizePush(SyncPush& push) {
    int64_t dropped = 0;

    std::unordered_map<std::string, size_t> cardAt;
    std::vector<CardRecord> cards;
    cards.reserve(push.cards.size());
    for (CardRecord& c : push.cards) {
        if (!storable(c)) {
            ++dropped;
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
        if (!storable(l)) {
            ++dropped;
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
