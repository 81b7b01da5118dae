#include "net/settings/app_settings.h"

#include <QSettings>
#include <QString>

namespace talvo {

namespace {
QString key(const char* k) {
    return QString::fromUtf8(k);
}
}  // namespace

AppSettings::AppSettings()
    : m_settings(std::make_unique<QSettings>(QStringLiteral("Mirelo"), QStringLiteral("Talvo"))) {}

AppSettings::AppSettings(const std::string& iniPath)
    : m_settings(
          std::make_unique<QSettings>(QString::fromStdString(iniPath), QSettings::IniFormat)) {}

AppSettings::~AppSettings() = default;

std::optional<std::string> AppSettings::string(const char* k) const {
    QVariant v = m_settings->value(key(k));
    if (!v.isValid()) {
        return std::nullopt;
    }
    return v.toString().toStdString();
}

void AppSettings::setString(const char* k, const std::string& value) {
    m_settings->setValue(key(k), QString::fromStdString(value));
}

std::optional<int64_t> AppSettings::integer(const char* k) const {
    QVariant v = m_settings->value(key(k));
    if (!v.isValid()) {
        return std::nullopt;
    }
    bool ok = false;
    qlonglong n = v.toLongLong(&ok);
    if (!ok) {
        return std::nullopt;
    }
    return static_cast<int64_t>(n);
}

void AppSettings::setInteger(const char* k, int64_t value) {
    m_settings->setValue(key(k), static_cast<qlonglong>(value));
}

bool AppSettings::contains(const char* k) const {
    return m_settings->contains(key(k));
}

void AppSettings::remove(const char* k) {
    m_settings->remove(key(k));
}

std::string AppSettings::serviceUrl() const {
    std::string url = string(kServiceUrlKey).value_or("");
    while (!url.empty() && (url.back() == '/' || url.back() == ' ')) {
        url.pop_back();
    }
    return url;
}

void AppSettings::setServiceUrl(const std::string& url) {
    setString(kServiceUrlKey, url);
}

std::string AppSettings::contentUrl() const {
    std::string url = string(kContentUrlKey).value_or("");
    while (!url.empty() && (url.back() == '/' || url.back() == ' ')) {
        url.pop_back();
    }
    return url.empty() ? serviceUrl() : url;
}

void AppSettings::sync() {
    m_settings->sync();
}

std::string AppSettings::fileName() const {
    return m_settings->fileName().toStdString();
}

}  // namespace talvo
