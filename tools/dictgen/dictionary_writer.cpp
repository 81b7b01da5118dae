#include "tools/dictgen/dictionary_writer.h"

#include <filesystem>

#include "core/db/database.h"
#include "tools/dictgen/han_chars.h"

namespace talvo::dictgen {

namespace {

constexpr const char* kSchema = R"sql(
PRAGMA page_size = 4096;
PRAGMA journal_mode = DELETE;
CREATE TABLE han_viet(char TEXT, am TEXT);
CREATE TABLE vantiel(char TEXT, gloss TEXT, full TEXT);
CREATE TABLE corpus_freq(char TEXT, n INTEGER);
CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT);
)sql";

// Built after the rows are in: one sorted pass instead of a b-tree insert per row.
constexpr const char* kIndexes = R"sql(
CREATE INDEX han_viet_char ON han_viet(char);
CREATE INDEX han_viet_am ON han_viet(lower(am));
CREATE UNIQUE INDEX vantiel_char ON vantiel(char);
CREATE UNIQUE INDEX corpus_freq_char ON corpus_freq(char);
)sql";

void check(bool ok, db::Database& db, const char* what) {
    if (!ok) {
        throw WriteError(std::string(what) + ": " + db.errorMessage());
    }
}

void insertRows(db::Database& db, const Dictionary& dict, const DictionaryWriter::Meta& meta) {
    db::Statement reading(db, "INSERT INTO han_viet(char, am) VALUES(?, ?)");
    db::Statement gloss(db, "INSERT INTO vantiel(char, gloss, full) VALUES(?, ?, ?)");
    db::Statement freq(db, "INSERT INTO corpus_freq(char, n) VALUES(?, ?)");
    db::Statement metaRow(db, "INSERT INTO meta(key, value) VALUES(?, ?)");
    check(reading.valid() && gloss.valid() && freq.valid() && metaRow.valid(), db, "preparing");

    size_t maxRank = 0;
    for (const auto& [c, e] : dict.entries) {
        maxRank = std::max(maxRank, e.readings.size());
    }
    for (size_t rank = 0; rank < maxRank; ++rank) {
        for (const auto& [c, e] : dict.entries) {
            if (rank < e.readings.size()) {
                reading.bind(1, HanChars::utf8(c)).bind(2, e.readings[rank]);
                check(reading.run(), db, "writing han_viet");
                reading.reset();
            }
        }
    }
    for (const auto& [c, e] : dict.entries) {
        std::string ch = HanChars::utf8(c);
        if (!e.gloss.empty() || !e.full.empty()) {
            gloss.bind(1, ch).bind(2, e.gloss).bind(3, e.full);
            check(gloss.run(), db, "writing vantiel");
            gloss.reset();
        }
        if (e.frequency > 0) {
            freq.bind(1, ch).bind(2, e.frequency);
            check(freq.run(), db, "writing corpus_freq");
            freq.reset();
        }
    }
    for (const auto& [key, value] : meta) {
        metaRow.bind(1, key).bind(2, value);
        check(metaRow.run(), db, "writing meta");
        metaRow.reset();
    }
}

}  // namespace

void DictionaryWriter::write(const Dictionary& dict, const Meta& meta, const std::string& path) {
    namespace fs = std::filesystem;
    fs::path target(path);
    fs::path tmp(path + ".tmp");
    std::error_code ec;
    if (target.has_parent_path()) {
        fs::create_directories(target.parent_path(), ec);
    }
    fs::remove(tmp, ec);
    try {
        {
            db::Database db(tmp.string(), db::Database::Mode::ReadWriteCreate);
            check(db.exec(kSchema), db, "creating the schema");
            {
                db::Transaction tx(db);
                check(tx.active(), db, "starting the transaction");
                insertRows(db, dict, meta);
                check(db.exec(kIndexes), db, "creating the indexes");
                check(tx.commit(), db, "committing");
            }
            check(db.exec("VACUUM"), db, "vacuuming");
        }
    } catch (const db::OpenError& e) {
        throw WriteError("cannot create " + tmp.string() + ": " + e.what());
    } catch (...) {
        fs::remove(tmp, ec);
        throw;
    }
    fs::rename(tmp, target, ec);
    if (ec) {
        fs::remove(tmp, ec);
        throw WriteError("cannot move the dictionary to " + path + ": " + ec.message());
    }
}

}  // namespace talvo::dictgen
