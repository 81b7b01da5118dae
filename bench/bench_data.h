#pragma once

// What the benchmarks share: the characters they name entries after, a
// dictionary the size of the real one, a deck's cards as years of use leave
// them, and the query plans they print before their figures.
#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/db/database.h"
#include "core/text/unicode.h"

namespace talvo::bench {

// The i-th character of the CJK block, from 一.
inline std::string charAt(int i) {
    std::string s;
    text::appendUtf8(s, static_cast<char32_t>(0x4E00 + i));
    return s;
}

// Writes a dictionary of `chars` characters, each with 1–3 readings drawn by
// `reading`, the gloss `gloss`, a 600-byte full entry and a frequency, indexed
// as talvo-dictgen indexes the real one. The same seed gives the same file.
inline void writeDictionary(const std::string& path, int chars, const std::string& gloss,
                            const std::function<std::string(std::mt19937&)>& reading) {
    db::Database d(path, db::Database::Mode::ReadWriteCreate);
    d.exec(
        "CREATE TABLE han_viet (char TEXT, am TEXT);"
        "CREATE TABLE vantiel (char TEXT, gloss TEXT, full TEXT);"
        "CREATE TABLE corpus_freq (char TEXT, n INTEGER);");
    db::Transaction tx(d);
    db::Statement hv(d, "INSERT INTO han_viet VALUES (?, ?)");
    db::Statement vt(d, "INSERT INTO vantiel VALUES (?, ?, ?)");
    db::Statement cf(d, "INSERT INTO corpus_freq VALUES (?, ?)");
    std::mt19937 rng(42);
    const std::string full(600, 'x');
    for (int i = 0; i < chars; ++i) {
        std::string ch = charAt(i);
        for (unsigned r = 0; r < 1 + rng() % 3; ++r) {
            hv.bind(1, ch).bind(2, reading(rng)).run();
            hv.reset();
        }
        vt.bind(1, ch).bind(2, gloss).bind(3, full).run();
        vt.reset();
        cf.bind(1, ch).bind(2, static_cast<int64_t>(rng() % 100000)).run();
        cf.reset();
    }
    tx.commit();
    d.exec(
        "CREATE INDEX han_viet_char ON han_viet(char);"
        "CREATE INDEX han_viet_am ON han_viet(lower(am));"
        "CREATE INDEX vantiel_char ON vantiel(char);"
        "CREATE INDEX corpus_freq_char ON corpus_freq(char);");
}

// Inserts `cards` cards into an open transaction on `d`: four in five
// reviewed, due dates from 200 days before `today` to a year after it (about
// a third due), one in a hundred suspended. Returns the uids of the reviewed
// ones. `rng` is advanced exactly as the figures in the README assume.
inline std::vector<std::string> insertAgedCards(db::Database& d, std::mt19937& rng, int cards,
                                                int64_t today) {
    db::Statement card(d,
                       "INSERT INTO card (uid, front, am, gloss, source, freq_rank, "
                       "added_day, stability, difficulty, reps, lapses, state, due, "
                       "last_day, suspended, updated_at) VALUES "
                       "(?, ?, ?, 'nghĩa', 'freq', ?, 19000, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    std::vector<std::string> reviewedUids;
    for (int i = 0; i < cards; ++i) {
        bool reviewed = rng() % 5 != 0;
        int64_t due = reviewed ? today - 200 + static_cast<int64_t>(rng() % 600) : 0;
        std::string front = charAt(i % 20000) + (i >= 20000 ? std::to_string(i) : "");
        card.bind(1, "char:" + front).bind(2, front);
        if (reviewed) {
            reviewedUids.push_back("char:" + front);
        }
        card.bind(3, "âm " + std::to_string(rng() % 3000));
        card.bind(4, static_cast<int64_t>(i));
        card.bind(5, reviewed ? 1.0 + (rng() % 3000) / 10.0 : 0.0);
        card.bind(6, reviewed ? 1.0 + (rng() % 90) / 10.0 : 0.0);
        card.bind(7, static_cast<int64_t>(reviewed ? 1 + rng() % 20 : 0));
        card.bind(8, static_cast<int64_t>(reviewed ? rng() % 3 : 0));
        card.bind(9, reviewed ? "review" : "new");
        card.bind(10, due).bind(11, reviewed ? due - 10 : 0);
        card.bind(12, static_cast<int64_t>(rng() % 100 == 0 ? 1 : 0));
        card.bind(13, static_cast<int64_t>(reviewed ? 1'700'000'000 + i : 0));
        card.run();
        card.reset();
    }
    return reviewedUids;
}

// Prints SQLite's plan for each query, so a figure that moves can be told
// apart from an index that stopped being used.
template <size_t N>
void printQueryPlans(const std::string& path, const char* const (&queries)[N]) {
    db::Database d(path, db::Database::Mode::ReadOnly);
    for (const char* q : queries) {
        db::Statement st(d, std::string("EXPLAIN QUERY PLAN ") + q);
        std::printf("%s\n", q);
        while (st.step()) {
            std::printf("    %s\n", st.text(3).value_or("").c_str());
        }
    }
}

}  // namespace talvo::bench
