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
CREATE TABLE words(id INTEGER PRIMARY KEY, text TEXT NOT NULL, simplified TEXT,
                   reading TEXT NOT NULL, fixed INTEGER NOT NULL, gloss TEXT,
                   gloss_source TEXT, entry TEXT, english TEXT, pinyin TEXT,
                   freq INTEGER NOT NULL, source TEXT NOT NULL);
CREATE TABLE word_fold(char TEXT PRIMARY KEY, standard TEXT NOT NULL);
)sql";

// Built after the rows are in: one sorted pass instead of a b-tree insert per row.
constexpr const char* kIndexes = R"sql(
CREATE INDEX han_viet_char ON han_viet(char);
CREATE INDEX han_viet_am ON han_viet(lower(am));
CREATE UNIQUE INDEX vantiel_char ON vantiel(char);
CREATE UNIQUE INDEX corpus_freq_char ON corpus_freq(char);
CREATE UNIQUE INDEX words_text ON words(text);
CREATE INDEX words_reading ON words(reading);
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
    db::Statement word(
        db,
        "INSERT INTO words(text, simplified, reading, fixed, gloss, gloss_source, "
        "entry, english, pinyin, freq, source) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    check(word.valid(), db, "preparing");
    auto optional = [&](int i, const std::string& v) -> db::Statement& {
        return v.empty() ? word.bindNull(i) : word.bind(i, v);
    };
    for (const Dictionary::Word& w : dict.words) {
        std::string source = w.collocation ? "corpus" : "";
        if (w.thieuChuu) {
            source = "thieuchuu";
        }
        if (w.cedict) {
            source += source.empty() ? "cedict" : " cedict";
        }
        word.bind(1, w.text);
        optional(2, w.simplified);
        word.bind(3, w.reading).bind(4, static_cast<int64_t>(w.fixedReadings));
        optional(5, w.gloss);
        optional(6, w.gloss.empty() ? std::string() : std::string("thieuchuu"));
        optional(7, w.entry);
        optional(8, w.english);
        optional(9, w.pinyin);
        word.bind(10, w.frequency).bind(11, source);
        check(word.run(), db, "writing words");
        word.reset();
    }
    db::Statement fold(db, "INSERT INTO word_fold(char, standard) VALUES(?, ?)");
    check(fold.valid(), db, "preparing");
    for (const auto& [from, to] : dict.folds) {
        fold.bind(1, HanChars::utf8(from)).bind(2, HanChars::utf8(to));
        check(fold.run(), db, "writing word_fold");
        fold.reset();
    }
    if (!dict.textModel.empty()) {
        check(db.exec("CREATE TABLE text_model(part TEXT PRIMARY KEY, data BLOB NOT NULL)"), db,
              "creating text_model");
        db::Statement part(db, "INSERT INTO text_model(part, data) VALUES(?, ?)");
        check(part.valid(), db, "preparing");
        for (const auto& [name, bytes] : dict.textModel) {
            part.bind(1, name).bindBlob(2, bytes);
            check(part.run(), db, "writing text_model");
            part.reset();
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
