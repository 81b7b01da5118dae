#include "tools/cli/saved_language.h"

#include "net/settings/app_settings.h"

namespace talvo::cli {

std::optional<std::string> savedLanguage() {
    // The desktop program and the CLI share the same user settings.
    return AppSettings().string(AppSettings::kLanguageKey);
}

}  // namespace talvo::cli
