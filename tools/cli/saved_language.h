#pragma once

#include <optional>
#include <string>

namespace talvo::cli {

// The interface language the desktop program saved ("app.language"), if any.
std::optional<std::string> savedLanguage();

}  // namespace talvo::cli
