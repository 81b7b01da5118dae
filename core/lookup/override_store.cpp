#include "core/lookup/override_store.h"

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {
constexpr const char* kCreate =
    "CREATE TABLE IF NOT EXISTS char_override (char TEXT PRIMARY KEY, am TEXT NOT NULL)";
constexpr const char* kSelect = "SELECT am FROM char_override WHERE char = ? LIMIT 1";
constexpr const char* kDelete = "DELETE FROM char_override WHERE char = ?";
constexpr const char* kUpsert =
    "INSERT INTO char_override (char, am) VALUES (?, ?) ON CONFLICT(char) DO UPDATE SET am = "
    "excluded.am";
}  // namespace

OverrideStore::OverrideStore(const std::string& path) : m_path(path) {
    try {
        m_db = db::Database::openCreatingFolders(path);
    } catch (const db::OpenError& e) {
        throw DictionaryError::cannotOpen(e.what());
    }
    // SQLite creates the file lazily; an unwritable folder or a corrupt file
    // shows up only here, and a store that can never save is better refused.
    if (!m_db->exec(kCreate)) {
        throw DictionaryError::cannotOpen(m_db->errorMessage());
    }
    // Every lookup reads this file. In WAL mode a read starts from shared
    // memory instead of taking and dropping file locks, which costs several
    // system calls per query; it also lets the CLI write while the app reads.
    m_db->exec("PRAGMA journal_mode=WAL");
}

OverrideStore::~OverrideStore() = default;

std::optional<std::vector<std::string>> OverrideStore::readings(std::string_view ch) {
    db::Statement* st = m_db->cached(kSelect);
    if (!st) {
        return std::nullopt;
    }
    db::ScopedReset guard(*st);
    st->bind(1, ch);
    if (!st->step()) {
        return std::nullopt;
    }
    auto stored = st->text(0);
    if (!stored) {
        return std::nullopt;
    }
    std::vector<std::string> out;
    for (std::string_view piece : text::split(*stored, ',')) {
        piece = text::trimBlanks(piece);
        if (!piece.empty()) {
            out.emplace_back(piece);
        }
    }
    if (out.empty()) {
        return std::nullopt;
    }
    return out;
}

void OverrideStore::setReadings(const std::vector<std::string>& readings, std::string_view ch) {
    std::string joined;
    for (const std::string& r : readings) {
        std::string_view t = text::trimBlanks(r);
        if (t.empty()) {
            continue;
        }
        if (!joined.empty()) {
            joined += ", ";
        }
        joined += t;
    }
    if (joined.empty()) {
        clear(ch);
        return;
    }
    if (db::Statement* st = m_db->cached(kUpsert)) {
        db::ScopedReset guard(*st);
        st->bind(1, ch).bind(2, joined);
        st->run();
    }
}

OverrideStore::ReadScope::ReadScope(OverrideStore* store) {
    if (store) {
        m_tx = std::make_unique<db::ReadTransaction>(*store->m_db);
    }
}

OverrideStore::ReadScope::~ReadScope() = default;

void OverrideStore::clear(std::string_view ch) {
    if (db::Statement* st = m_db->cached(kDelete)) {
        db::ScopedReset guard(*st);
        st->bind(1, ch);
        st->run();
    }
}

}  // namespace talvo
