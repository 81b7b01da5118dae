#include "saved_language.h"

#include <QSettings>

namespace talvo::cli {

std::optional<std::string> savedLanguage() {
    // The desktop program and the CLI share the same user settings.
    QSettings settings(QStringLiteral("Mirelo"), QStringLiteral("Talvo"));
    QVariant v = settings.value(QStringLiteral("app.language"));
    if (!v.isValid()) {
        return std::nullopt;
    }
    return v.toString().toStdString();
}

}  // namespace talvo::cli
