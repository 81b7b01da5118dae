#include "core/progress/level_system.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/progress/checked_int.h"

namespace talvo::LevelSystem {

namespace {

// xpToReach(level), or absent when it does not fit in 64 bits. Such a level
// lies beyond every representable total, which level() needs to know without
// stopping the program.
bool tryXpToReach(int64_t level, int64_t& out) {
    const int64_t l = std::max<int64_t>(level, 1);
    int64_t r = 0;
    return !__builtin_mul_overflow(l - 1, int64_t{50}, &r) && !__builtin_mul_overflow(r, l, &out);
}

}  // namespace

const std::vector<Rank>& ranks() {
    static const std::vector<Rank> kRanks{
        {1, "童生", "Đồng sinh"}, {3, "秀才", "Tú tài"},        {6, "廩生", "Lẫm sinh"},
        {10, "舉人", "Cử nhân"},  {15, "貢士", "Cống sĩ"},      {18, "進士", "Tiến sĩ"},
        {20, "探花", "Thám hoa"}, {25, "榜眼", "Bảng nhãn"},    {30, "狀元", "Trạng nguyên"},
        {40, "翰林", "Hàn lâm"},  {50, "大學士", "Đại học sĩ"}, {60, "帝師", "Đế sư"},
    };
    return kRanks;
}

int64_t xpToReach(int64_t level) {
    int64_t r = 0;
    if (!tryXpToReach(level, r)) {
        checked::overflow("LevelSystem::xpToReach");
    }
    return r;
}

int64_t level(int64_t xp) {
    if (xp < 1) {
        return 1;
    }
    // The root of 50 L (L - 1) = xp; double rounding can put it one off either way.
    const double estimate =
        std::floor((std::sqrt(static_cast<double>(xp) / 12.5 + 1.0) + 1.0) * 0.5);
    if (!std::isfinite(estimate)) {
        std::fprintf(stderr, "talvo: non-finite level estimate for %lld XP\n",
                     static_cast<long long>(xp));
        std::abort();
    }
    // For int64 totals the estimate is below 5e8, so the conversion is exact.
    int64_t candidate = std::max<int64_t>(static_cast<int64_t>(estimate), 1);
    int64_t next = 0;
    while (tryXpToReach(candidate + 1, next) && xp >= next) {
        ++candidate;
    }
    int64_t start = 0;
    while (candidate > 1 && !(tryXpToReach(candidate, start) && xp >= start)) {
        --candidate;
    }
    return candidate;
}

Progress progress(int64_t xp) {
    const int64_t l = level(xp);
    const int64_t cur = xpToReach(l);
    const int64_t next = xpToReach(checked::add(l, 1, "LevelSystem::progress"));
    Progress p;
    p.span = checked::sub(next, cur, "LevelSystem::progress");
    p.into = std::max<int64_t>(checked::sub(xp, cur, "LevelSystem::progress"), 0);
    p.fraction = std::min(
        static_cast<double>(p.into) / static_cast<double>(std::max<int64_t>(p.span, 1)), 1.0);
    return p;
}

const Rank& rank(int64_t level) {
    const std::vector<Rank>& all = ranks();
    const Rank* found = &all.front();
    for (const Rank& r : all) {
        if (r.minLevel <= level) {
            found = &r;
        }
    }
    return *found;
}

}  // namespace talvo::LevelSystem
