#include "core/l10n/localization.h"

namespace talvo {

AppLanguage appLanguageFromRaw(std::string_view raw) {
    if (raw == "zh") {
        return AppLanguage::zh;
    }
    if (raw == "en") {
        return AppLanguage::en;
    }
    return AppLanguage::vi;
}

std::string_view rawValue(AppLanguage lang) {
    switch (lang) {
        case AppLanguage::zh:
            return "zh";
        case AppLanguage::en:
            return "en";
        case AppLanguage::vi:
            break;
    }
    return "vi";
}

std::string_view displayName(AppLanguage lang) {
    return Tr{"Tiếng Việt", "中文", "English"}.pick(lang);
}

std::string_view Tr::pick(AppLanguage lang) const {
    switch (lang) {
        case AppLanguage::zh:
            return zh;
        case AppLanguage::en:
            return en;
        case AppLanguage::vi:
            break;
    }
    return vi;
}

std::string format(const Tr& text, AppLanguage lang, std::string_view arg) {
    std::string_view f = text.pick(lang);
    std::string out;
    size_t start = 0;
    for (size_t pos; (pos = f.find("%@", start)) != std::string_view::npos; start = pos + 2) {
        out.append(f.substr(start, pos - start));
        out.append(arg);
    }
    out.append(f.substr(start));
    return out;
}

}  // namespace talvo
