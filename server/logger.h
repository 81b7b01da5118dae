#pragma once

#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string_view>

namespace talvo::server {

enum class LogLevel { Debug, Info, Warn, Error };

// Structured logs: one JSON object per line ({"ts", "level", "msg", fields}).
// Callers never pass tokens or request bodies. Thread-safe: a line is written
// whole under a mutex.
class Logger {
  public:
    Logger(std::ostream& out, LogLevel minimum) : m_out(out), m_minimum(minimum) {}

    bool enabled(LogLevel level) const { return level >= m_minimum; }
    void log(LogLevel level, std::string_view message,
             const nlohmann::ordered_json& fields = nlohmann::ordered_json::object());

    void info(std::string_view m,
              const nlohmann::ordered_json& f = nlohmann::ordered_json::object()) {
        log(LogLevel::Info, m, f);
    }
    void warn(std::string_view m,
              const nlohmann::ordered_json& f = nlohmann::ordered_json::object()) {
        log(LogLevel::Warn, m, f);
    }
    void error(std::string_view m,
               const nlohmann::ordered_json& f = nlohmann::ordered_json::object()) {
        log(LogLevel::Error, m, f);
    }

    // "debug", "info", "warn", "error"; absent for anything else.
    static std::optional<LogLevel> parseLevel(std::string_view name);

  private:
    std::ostream& m_out;
    LogLevel m_minimum;
    std::mutex m_mutex;  // guards m_out
};

}  // namespace talvo::server
