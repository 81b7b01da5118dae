#include "core/wire/sync_merge.h"

#include <algorithm>

namespace talvo::wire {

std::string logIdFor(std::string_view deviceId, int64_t localId) {
    std::string id(deviceId);
    id += ':';
    id += std::to_string(localId);
    return id;
}

std::string originOf(std::string_view logId) {
    if (logId.empty()) {
        return "remote";
    }
    return std::string(logId.substr(0, logId.find(':')));
}

std::optional<int64_t> pushCursorAfter(const std::vector<SyncCard>& sent) {
    if (sent.empty()) {
        return std::nullopt;
    }
    return std::max_element(
               sent.begin(), sent.end(),
               [](const SyncCard& a, const SyncCard& b) { return a.updatedAt < b.updatedAt; })
        ->updatedAt;
}

}  // namespace talvo::wire
