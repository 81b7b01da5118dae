#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <string>

#include "core/study/day_clock.h"

namespace talvo {

class Alerts;
class DictionaryStore;
class Localization;
class LookupService;
class OverrideStore;
class ProgressStore;
class StudyDatabase;
class StudyStore;
struct Tr;

// The program's data, opened in one place before anything that uses it: the
// dictionary, the reading overrides, the lookup service over both, and the
// study database with its two stores (a fresh deck is seeded from the
// dictionary). The study stores are built here and nowhere else in the shell.
//
// Opening never throws. Without a readable dictionary nothing else is opened
// and every accessor answers null; the failure waits for reportFailure, so the
// alert comes at its place in the launch sequence. An overrides or study file
// that cannot be opened leaves only that part absent (lookups show the
// dictionary's readings; there is no study side). Main thread only; the
// stores live as long as this object, which must outlive everything that
// borrows them.
class AppStores {
  public:
    // `dataDir` holds overrides.sqlite and study.sqlite; empty: neither.
    AppStores(std::string dictionaryPath, std::string dataDir, Clock clock = Clock::system());
    ~AppStores();
    AppStores(const AppStores&) = delete;
    AppStores& operator=(const AppStores&) = delete;

    // Shows the alert for a dictionary that was missing or unreadable, in
    // the program's language; nothing when it opened.
    void reportFailure(Alerts& alerts, const Localization& l10n) const;

    DictionaryStore* dictionary() const { return m_dictionary.get(); }
    OverrideStore* overrides() const { return m_overrides.get(); }
    LookupService* lookup() const { return m_lookup.get(); }
    // The study side: all three or none.
    StudyDatabase* studyDatabase() const { return m_studyDatabase.get(); }
    StudyStore* study() const { return m_study.get(); }
    ProgressStore* progress() const { return m_progress.get(); }

  private:
    struct Failure {
        const Tr* title;
        const Tr* text;
        QString detail;  // follows the text on its own line
    };

    void openStudy(const std::string& dataDir, Clock clock);

    std::optional<Failure> m_failure;
    std::unique_ptr<DictionaryStore> m_dictionary;
    std::unique_ptr<OverrideStore> m_overrides;
    std::unique_ptr<LookupService> m_lookup;
    // Declared before the stores over it, so it closes after them.
    std::unique_ptr<StudyDatabase> m_studyDatabase;
    std::unique_ptr<StudyStore> m_study;
    std::unique_ptr<ProgressStore> m_progress;
};

}  // namespace talvo
