#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Levels and ranks from an XP total. Every function is pure and thread-safe.
// Integer overflow in any product or sum stops the program (it needs totals
// far beyond any real history); it is never silently wrapped.
namespace talvo::LevelSystem {

// A title from the old civil-service examinations, held from minLevel on.
struct Rank {
    int64_t minLevel = 1;
    std::string han;   // title in Hán characters
    std::string name;  // its Vietnamese reading

    bool operator==(const Rank&) const = default;
};

// How far a total is into its level.
struct Progress {
    int64_t into = 0;     // XP above the start of the level, never negative
    int64_t span = 0;     // XP from this level to the next: 100 x level
    double fraction = 0;  // into / span, at most 1

    bool operator==(const Progress&) const = default;
};

// The twelve ranks in ascending minLevel order; built once, never changed.
const std::vector<Rank>& ranks();

// Total XP at which `level` begins: 50 x L x (L - 1) with L = max(level, 1).
// Level 2 starts at 100, level 3 at 300; the step from L to L+1 is 100 x L.
int64_t xpToReach(int64_t level);

// The largest level L >= 1 with xpToReach(L) <= xp (1 for xp < 1). Exact for
// every int64 total: the floating-point estimate is corrected in integers.
int64_t level(int64_t xp);

Progress progress(int64_t xp);

// The last rank whose minLevel <= level; the first rank below level 1.
const Rank& rank(int64_t level);

}  // namespace talvo::LevelSystem
