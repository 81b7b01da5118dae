#include "server/logger.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace talvo::server {

namespace {

const char* levelName(LogLevel level) {
    switch (level) {
        case LogLevel::Debug:
            return "debug";
        case LogLevel::Info:
            return "info";
        case LogLevel::Warn:
            return "warn";
        case LogLevel::Error:
            return "error";
    }
    return "info";
}

std::string timestamp() {
    auto now = std::chrono::system_clock::now();
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    std::time_t seconds = static_cast<std::time_t>(ms / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(ms % 1000));
    return buf;
}

}  // namespace

void Logger::log(LogLevel level, std::string_view message, const nlohmann::ordered_json& fields) {
    if (!enabled(level)) {
        return;
    }
    nlohmann::ordered_json line{{"ts", timestamp()}, {"level", levelName(level)}, {"msg", message}};
    if (fields.is_object()) {
        for (const auto& [key, value] : fields.items()) {
            line[key] = value;
        }
    }
    std::string text = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    text += '\n';
    std::lock_guard lock(m_mutex);
    m_out << text << std::flush;
}

std::optional<LogLevel> Logger::parseLevel(std::string_view name) {
    if (name == "debug") {
        return LogLevel::Debug;
    }
    if (name == "info") {
        return LogLevel::Info;
    }
    if (name == "warn") {
        return LogLevel::Warn;
    }
    if (name == "error") {
        return LogLevel::Error;
    }
    return std::nullopt;
}

}  // namespace talvo::server
