#include "core/progress/badges.h"

namespace talvo::Badges {

namespace {

std::string streakHan(int64_t n) {
    return "火" + std::to_string(n);
}

std::string learnedHan(int64_t n) {
    switch (n) {
        case 100:
            return "百字";
        case 500:
            return "五百";
        case 1000:
            return "千字";
        default:
            return std::to_string(n);
    }
}

std::string masteredHan(int64_t n) {
    return "精" + std::to_string(n);
}

}  // namespace

std::string streakCode(int64_t days) {
    return "streak" + std::to_string(days);
}

std::string learnedCode(int64_t count) {
    return "learned" + std::to_string(count);
}

std::string masteredCode(int64_t count) {
    return "mastered" + std::to_string(count);
}

const std::vector<BadgeDef>& all() {
    static const std::vector<BadgeDef> kAll = [] {
        std::vector<BadgeDef> out;
        for (int64_t n : kStreakDays) {
            const std::string N = std::to_string(n);
            out.push_back({streakCode(n), streakHan(n), "Chuỗi " + N + " ngày",
                           "Học " + N + " ngày liên tiếp"});
        }
        for (int64_t n : kLearnedCounts) {
            const std::string N = std::to_string(n);
            out.push_back({learnedCode(n), learnedHan(n), N + " chữ", "Học " + N + " chữ"});
        }
        for (int64_t n : kMasteredCounts) {
            const std::string N = std::to_string(n);
            out.push_back(
                {masteredCode(n), masteredHan(n), "Thông " + N, N + " chữ nhớ vững (>21 ngày)"});
        }
        out.push_back({kPerfectDay, "全對", "Ngày hoàn hảo", "Một phiên toàn Được/Dễ"});
        out.push_back({kEarlyBird, "晨讀", "Sớm mai", "Học trước 7 giờ sáng"});
        out.push_back({kNightOwl, "夜讀", "Đêm khuya", "Học sau 22 giờ"});
        return out;
    }();
    return kAll;
}

std::optional<BadgeDef> def(std::string_view code) {
    for (const BadgeDef& b : all()) {
        if (b.code == code) {
            return b;
        }
    }
    return std::nullopt;
}

}  // namespace talvo::Badges
