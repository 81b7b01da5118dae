#include "server/storage.h"

#include "server/postgres_storage.h"
#include "server/sqlite_storage.h"

namespace talvo::server {

std::unique_ptr<Storage> openStorage(const std::string& url, size_t poolSize) {
    if (url.rfind("sqlite:", 0) == 0) {
        std::string path = url.substr(7);
        if (path.empty()) {
            throw StorageError("sqlite: needs a file path (sqlite:PATH)");
        }
        return std::make_unique<SqliteStorage>(path, poolSize);
    }
    if (url.rfind("postgresql://", 0) == 0 || url.rfind("postgres://", 0) == 0) {
        return std::make_unique<PostgresStorage>(url, poolSize);
    }
    throw StorageError("unknown database '" + url.substr(0, url.find(':')) +
                       "': use sqlite:PATH or postgresql://...");
}

}  // namespace talvo::server
