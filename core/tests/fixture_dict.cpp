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

void writeFixtureDict(const std::string& path, const std::vector<FixtureEntry>& entries) {
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
    tx.commit();
}

}  // namespace talvo::testing
