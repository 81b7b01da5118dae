#include "server/rate_limiter.h"

#include <algorithm>
#include <functional>

namespace talvo::server {

RateLimiter::RateLimiter(size_t maxKeys) : m_maxPerShard(std::max<size_t>(1, maxKeys / kShards)) {}

bool RateLimiter::allow(const std::string& key, const RateLimit& limit, Clock::time_point now) {
    return check(key, limit, now, true);
}

bool RateLimiter::wouldAllow(const std::string& key, const RateLimit& limit,
                             Clock::time_point now) {
    return check(key, limit, now, false);
}

bool RateLimiter::check(const std::string& key, const RateLimit& limit, Clock::time_point now,
                        bool take) {
    if (!limit.enabled()) {
        return true;
    }
    Shard& shard = m_shards[std::hash<std::string>{}(key) % kShards];
    std::lock_guard lock(shard.mutex);
    auto it = shard.buckets.find(key);
    if (it == shard.buckets.end()) {
        if (!take) {
            return limit.burst >= 1;
        }
        if (shard.buckets.size() >= m_maxPerShard) {
            prune(shard, limit, now);
        }
        it = shard.buckets.emplace(key, Bucket{limit.burst, now}).first;
    }
    Bucket& b = it->second;
    double elapsed = std::chrono::duration<double>(now - b.last).count();
    if (elapsed > 0) {
        b.tokens = std::min(limit.burst, b.tokens + elapsed * limit.perSecond);
        b.last = now;
    }
    if (b.tokens < 1) {
        return false;
    }
    if (take) {
        b.tokens -= 1;
    }
    return true;
}

void RateLimiter::prune(Shard& shard, const RateLimit& limit, Clock::time_point now) {
    auto refill = std::chrono::duration<double>(limit.burst / limit.perSecond);
    std::erase_if(shard.buckets,
                  [&](const auto& entry) { return now - entry.second.last >= refill; });
    if (shard.buckets.size() >= m_maxPerShard) {
        shard.buckets.clear();
    }
}

}  // namespace talvo::server
