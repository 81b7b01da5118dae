#pragma once

#include <stdexcept>
#include <string>

namespace talvo {

// Thrown when a dictionary or override database cannot be opened; the message
// is SQLite's reason (or "unknown"). Nothing else in the lookup engine throws.
class DictionaryError : public std::runtime_error {
  public:
    enum class Kind { CannotOpen };

    static DictionaryError cannotOpen(const std::string& message) {
        return DictionaryError(Kind::CannotOpen, message);
    }

    Kind kind() const { return m_kind; }

  private:
    DictionaryError(Kind kind, const std::string& message)
        : std::runtime_error(message), m_kind(kind) {}
    Kind m_kind;
};

}  // namespace talvo
