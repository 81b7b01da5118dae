#include "core/wire/sync_merge.h"

namespace talvo::wire {

std::string logIdFor(std::string_view installId, int64_t localId) {
    std::string id(installId);
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

}  // namespace talvo::wire
