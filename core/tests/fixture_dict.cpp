#include "core/tests/fixture_dict.h"

#include <random>
#include <stdexcept>

#include "core/db/database.h"

namespace talvo::testing {

TempDir::TempDir() {
    std::random_device rd;
    m_path = std::filesystem::temp_directory_path() /
             ("talvo-test-" + std::to_string(rd()) + std::to_string(rd()));
    std::filesystem::create_directories(m_path);
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::permissions(m_path, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(m_path, ec);
}

void writeFixtureDict(const std::string& path, const std::vector<FixtureEntry>& entries,
                      const std::vector<FixtureWord>& words,
                      const std::vector<std::pair<std::string, std::string>>& folds) {
    db::Database d(path, db::Database::Mode::ReadWriteCreate);
    bool ok = d.exec(
        "CREATE TABLE han_viet (char TEXT, am TEXT);"
        "CREATE TABLE vantiel (char TEXT, gloss TEXT, full TEXT);"
        "CREATE TABLE corpus_freq (char TEXT, n INTEGER);"
        "CREATE INDEX han_viet_char ON han_viet(char);"
        "CREATE INDEX han_viet_am ON han_viet(lower(am));"
        "CREATE INDEX vantiel_char ON vantiel(char);"
        "CREATE INDEX corpus_freq_char ON corpus_freq(char);");
    if (!ok) {
        throw std::runtime_error(d.errorMessage());
    }
    db::Transaction tx(d);
    db::Statement hv(d, "INSERT INTO han_viet (char, am) VALUES (?, ?)");
    db::Statement vt(d, "INSERT INTO vantiel (char, gloss, full) VALUES (?, ?, ?)");
    db::Statement cf(d, "INSERT INTO corpus_freq (char, n) VALUES (?, ?)");
    for (const FixtureEntry& e : entries) {
        for (const std::string& r : e.readings) {
            hv.bind(1, e.ch).bind(2, r);
            hv.run();
            hv.reset();
        }
        if (e.gloss || e.full) {
            vt.bind(1, e.ch);
            e.gloss ? vt.bind(2, std::string_view(e.gloss)) : vt.bindNull(2);
            e.full ? vt.bind(3, std::string_view(e.full)) : vt.bindNull(3);
            vt.run();
            vt.reset();
        }
        if (e.freq >= 0) {
            cf.bind(1, e.ch).bind(2, e.freq);
            cf.run();
            cf.reset();
        }
    }
    if (!words.empty() || !folds.empty()) {
        ok = d.exec(
            "CREATE TABLE words(id INTEGER PRIMARY KEY, text TEXT NOT NULL, simplified TEXT,"
            " reading TEXT NOT NULL, fixed INTEGER NOT NULL, gloss TEXT, gloss_source TEXT,"
            " entry TEXT, english TEXT, pinyin TEXT, freq INTEGER NOT NULL, source TEXT NOT NULL);"
            "CREATE UNIQUE INDEX words_text ON words(text);"
            "CREATE INDEX words_reading ON words(reading);"
            "CREATE TABLE word_fold(char TEXT PRIMARY KEY, standard TEXT NOT NULL);");
        if (!ok) {
            throw std::runtime_error(d.errorMessage());
        }
        db::Statement w(d,
                        "INSERT INTO words(text, simplified, reading, fixed, gloss, gloss_source,"
                        " english, freq, source) VALUES (?, ?, ?, ?, ?, ?, ?, ?, 'test')");
        auto optional = [&](int i, const char* v) {
            v ? w.bind(i, std::string_view(v)) : w.bindNull(i);
        };
        for (const FixtureWord& word : words) {
            w.bind(1, word.text);
            optional(2, word.simplified);
            w.bind(3, word.reading).bind(4, static_cast<int64_t>(word.fixed));
            optional(5, word.gloss);
            optional(6, word.gloss ? "thieuchuu" : nullptr);
            optional(7, word.english);
            w.bind(8, word.freq);
            w.run();
            w.reset();
        }
        db::Statement f(d, "INSERT INTO word_fold(char, standard) VALUES (?, ?)");
        for (const auto& [from, to] : folds) {
            f.bind(1, from).bind(2, to);
            f.run();
            f.reset();
        }
    }
    tx.commit();
}

}  // namespace talvo::testing
