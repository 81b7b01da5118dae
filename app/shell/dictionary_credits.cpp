#include "app/shell/dictionary_credits.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "core/db/database.h"

namespace talvo {

std::vector<SourceCredit> parseSourceCredits(const QByteArray& json) {
    std::vector<SourceCredit> out;
    QJsonDocument doc = QJsonDocument::fromJson(json);
    if (!doc.isArray()) {
        return out;
    }
    for (const QJsonValue& v : doc.array()) {
        QJsonObject o = v.toObject();
        std::string title = o.value(QStringLiteral("title")).toString().toStdString();
        if (title.empty()) {
            continue;
        }
        out.push_back({title, o.value(QStringLiteral("license")).toString().toStdString(),
                       o.value(QStringLiteral("credit")).toString().toStdString()});
    }
    return out;
}

std::vector<SourceCredit> dictionaryCredits(const std::string& dictionaryPath) {
    try {
        db::Database dict(dictionaryPath, db::Database::Mode::ReadOnly);
        db::Statement q(dict, "SELECT value FROM meta WHERE key = 'sources'");
        if (q.valid() && q.step()) {
            if (auto value = q.text(0)) {
                return parseSourceCredits(QByteArray::fromStdString(*value));
            }
        }
    } catch (const db::OpenError&) {
    }
    return {};
}

}  // namespace talvo
