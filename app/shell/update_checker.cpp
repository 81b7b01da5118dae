#include "app/shell/update_checker.h"

#include <QXmlStreamReader>

#include "net/settings/app_settings.h"

namespace talvo {

UpdateChecker::UpdateChecker(const AppSettings& settings, const OnlineHooks& online,
                             std::string version)
    : m_settings(settings), m_online(online), m_version(std::move(version)) {}

void UpdateChecker::check(std::function<void(const UpdateVerdict&)> done) const {
    std::string base = m_settings.serviceUrl();
    if (base.empty()) {
        done({UpdateVerdict::Kind::NotConfigured, {}});
        return;
    }
    std::string current = m_version;
    m_online.fetchOrFail(base + kFeedPath, [done, current](std::optional<std::string> body) {
        if (!body) {
            done({UpdateVerdict::Kind::Failed, {}});
            return;
        }
        done(updateVerdict(current, appcastVersions(QByteArray::fromStdString(*body))));
    });
}

std::vector<std::string> UpdateChecker::appcastVersions(const QByteArray& xml) {
    std::vector<std::string> out;
    QXmlStreamReader r(xml);
    bool inItem = false;
    QString shortVersion;
    QString version;
    while (!r.atEnd()) {
        r.readNext();
        if (r.isStartElement()) {
            QStringView name = r.name();
            if (name == QLatin1String("item")) {
                inItem = true;
                shortVersion.clear();
                version.clear();
            } else if (inItem && name == QLatin1String("shortVersionString")) {
                shortVersion = r.readElementText().trimmed();
            } else if (inItem && name == QLatin1String("version")) {
                version = r.readElementText().trimmed();
            } else if (inItem && name == QLatin1String("enclosure")) {
                for (const QXmlStreamAttribute& a : r.attributes()) {
                    if (a.name() == QLatin1String("shortVersionString") && shortVersion.isEmpty()) {
                        shortVersion = a.value().toString().trimmed();
                    } else if (a.name() == QLatin1String("version") && version.isEmpty()) {
                        version = a.value().toString().trimmed();
                    }
                }
            }
        } else if (r.isEndElement() && r.name() == QLatin1String("item")) {
            inItem = false;
            QString v = shortVersion.isEmpty() ? version : shortVersion;
            if (!v.isEmpty()) {
                out.push_back(v.toStdString());
            }
        }
    }
    if (r.hasError()) {
        return {};
    }
    return out;
}

}  // namespace talvo
