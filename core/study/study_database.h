#pragma once

#include <memory>
#include <string>

#include "core/study/day_clock.h"

namespace talvo {

namespace db {
class Database;
}  // namespace db

// The learner's study database file (study.sqlite) and its one connection.
// Opening it brings the whole schema up to date: cards, review log, lookup
// history and cfg for the study store, quiz log and badges for the progress
// store, the sync columns, and the indexes their queries rely on.
//
// The stores over this file (StudyStore, ProgressStore, StudySyncStore)
// borrow it; it must outlive them. One instance per process, used from one
// thread together with those stores; it has no lock of its own.
class StudyDatabase {
  public:
    static constexpr const char* kFileName = "study.sqlite";

    // study.sqlite inside the user's data folder; empty when there is no folder.
    static std::string defaultPath(const std::string& dataDir);

    // Opens or creates the database, creating missing parent folders, and
    // brings its schema up to date (older files gain the newer columns and
    // indexes). Throws DictionaryError::cannotOpen with SQLite's reason when the
    // file cannot be opened, is not a database, is corrupt where the schema
    // lives, or cannot be written; the file is then left exactly as it was.
    explicit StudyDatabase(const std::string& path, Clock clock = Clock::system());
    ~StudyDatabase();
    StudyDatabase(const StudyDatabase&) = delete;
    StudyDatabase& operator=(const StudyDatabase&) = delete;

    const std::string& path() const { return m_path; }
    // A random identity made when the database is created (or first opened
    // by a version that has one) and kept for its whole life, in cfg under
    // "install_id". Review logs made here are named by it (install id ":"
    // row id), so a reinstall, a second account on the same machine or a
    // cloned disk never reuses a name the server already holds. Empty only
    // when it could not be written (the database then refuses writes).
    const std::string& installId() const { return m_installId; }
    // The clock every store over this file asks for "now" and "today".
    const Clock& clock() const { return m_clock; }
    // The open connection, for the stores that keep their tables and queries
    // in this file. Same thread rules as this object.
    db::Database& connection() { return *m_db; }

    static constexpr const char* kInstallIdKey = "install_id";

  private:
    void ensureInstallId();

    std::string m_path;
    std::string m_installId;
    Clock m_clock;
    std::unique_ptr<db::Database> m_db;
};

}  // namespace talvo
