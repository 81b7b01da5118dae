#pragma once

#include <array>
#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

namespace talvo::server {

// A token bucket: `burst` requests at once, refilled at `perSecond`.
// A limit with perSecond <= 0 lets everything through.
struct RateLimit {
    double perSecond = 0;
    double burst = 0;

    bool enabled() const { return perSecond > 0; }
};

// Token buckets by key (a device, a token). Thread-safe; the keys are spread
// over shards so that request threads rarely wait for one another. Memory is
// bounded: when a shard is full, buckets that have refilled (idle keys) are
// dropped, and if that is not enough the shard starts afresh, which errs on
// the side of letting requests through. Limits hold per process: several
// processes behind one address each count on their own.
class RateLimiter {
  public:
    using Clock = std::chrono::steady_clock;

    explicit RateLimiter(size_t maxKeys = 200000);

    // True when the request may go ahead; takes one token from key's bucket.
    bool allow(const std::string& key, const RateLimit& limit, Clock::time_point now);
    // Whether allow() would say yes, without taking a token.
    bool wouldAllow(const std::string& key, const RateLimit& limit, Clock::time_point now);

  private:
    struct Bucket {
        double tokens = 0;
        Clock::time_point last;
    };
    struct Shard {
        std::mutex mutex;  // guards buckets
        std::unordered_map<std::string, Bucket> buckets;
    };
    static constexpr size_t kShards = 16;

    bool check(const std::string& key, const RateLimit& limit, Clock::time_point now, bool take);
    void prune(Shard& shard, const RateLimit& limit, Clock::time_point now);

    size_t m_maxPerShard;
    std::array<Shard, kShards> m_shards;
};

}  // namespace talvo::server
