#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "core/l10n/localization.h"

namespace talvo {

class AppSettings;

// The interface language of the running program, read from and saved under
// "app.language". Windows that stay open follow languageChanged; the
// controller's onChange rebuilds the status menu. Main thread only.
class Localization : public QObject {
    Q_OBJECT
  public:
    // Reads the saved language ("zh", "en"; anything else is Vietnamese) and
    // does not write it back. Borrows the settings.
    explicit Localization(AppSettings& settings, QObject* parent = nullptr);

    AppLanguage lang() const { return m_lang; }
    // Saves the raw value, tells the open views, then calls onChange.
    void setLang(AppLanguage lang);

    QString text(const Tr& t) const { return QString::fromUtf8(t.pick(m_lang)); }
    QString format(const Tr& t, const QString& arg) const {
        return QString::fromStdString(talvo::format(t, m_lang, arg.toStdString()));
    }

    std::function<void()> onChange;

  signals:
    void languageChanged();

  private:
    AppSettings& m_settings;
    AppLanguage m_lang;
};

}  // namespace talvo
