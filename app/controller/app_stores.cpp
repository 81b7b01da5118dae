#include "app/controller/app_stores.h"

#include <filesystem>

#include "app/shell/alerts.h"
#include "app/shell/localization.h"
#include "core/l10n/localization.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/progress/progress_store.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"

namespace talvo {

AppStores::AppStores(std::string dictionaryPath, std::string dataDir, Clock clock) {
    const QString path = QString::fromStdString(dictionaryPath);
    if (dictionaryPath.empty() || !std::filesystem::exists(dictionaryPath)) {
        m_failure = Failure{&msg::kMissingDataTitle, &msg::kDictNotFound, path};
        return;
    }
    try {
        m_dictionary = std::make_unique<DictionaryStore>(dictionaryPath);
    } catch (const DictionaryError& e) {
        m_failure = Failure{&msg::kDataErrorTitle, &msg::kCannotOpenDict,
                            path + QStringLiteral(": ") + QString::fromUtf8(e.what())};
        return;
    }
    if (!dataDir.empty()) {
        try {
            m_overrides = std::make_unique<OverrideStore>(
                (std::filesystem::path(dataDir) / "overrides.sqlite").string());
        } catch (const DictionaryError&) {
            // Lookups then show the dictionary's own readings.
        }
    }
    m_lookup = std::make_unique<LookupService>(*m_dictionary, m_overrides.get());
    openStudy(dataDir, std::move(clock));
}

AppStores::~AppStores() = default;

void AppStores::openStudy(const std::string& dataDir, Clock clock) {
    std::string path = StudyDatabase::defaultPath(dataDir);
    if (path.empty()) {
        return;
    }
    try {
        m_studyDatabase = std::make_unique<StudyDatabase>(path, std::move(clock));
    } catch (const DictionaryError&) {
        // The study side is simply absent; lookups go on.
        return;
    }
    m_study = std::make_unique<StudyStore>(*m_studyDatabase);
    m_progress = std::make_unique<ProgressStore>(*m_studyDatabase);
    m_study->seedIfEmpty(*m_dictionary);
}

void AppStores::reportFailure(Alerts& alerts, const Localization& l10n) const {
    if (m_failure) {
        alerts.show(l10n.text(*m_failure->title),
                    l10n.text(*m_failure->text) + QStringLiteral("\n") + m_failure->detail);
    }
}

}  // namespace talvo
