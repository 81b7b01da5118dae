#include "app/shell/localization.h"

#include "net/settings/app_settings.h"

namespace talvo {

Localization::Localization(AppSettings& settings, QObject* parent)
    : QObject(parent),
      m_settings(settings),
      m_lang(appLanguageFromRaw(settings.string(AppSettings::kLanguageKey).value_or(""))) {}

void Localization::setLang(AppLanguage lang) {
    m_lang = lang;
    m_settings.setString(AppSettings::kLanguageKey, std::string(rawValue(lang)));
    m_settings.sync();
    emit languageChanged();
    if (onChange) {
        onChange();
    }
}

}  // namespace talvo
