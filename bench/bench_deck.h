#pragma once

// What the study and progress benchmarks share: the characters they name
// cards after, a deck's cards as years of use leave them, and the query
// plans they print before their figures.
#include <cstdint>
#include <cstdio>
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
