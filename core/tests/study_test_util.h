#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "core/db/database.h"
#include "core/progress/progress_store.h"
#include "core/study/day_clock.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"

namespace talvo::testing {

// A clock stopped at a fixed moment whose study day is `day`.
inline Clock clockOnDay(int64_t day, int64_t seconds = 1'700'000'000) {
    Clock c = Clock::fixed(seconds, "UTC");
    c.pinnedDay = day;
    return c;
}

// A study database with both stores over it, opened as the program opens
// them. Throws as StudyDatabase does.
struct StudyStores {
    StudyStores(const std::string& path, Clock clock)
        : db(path, std::move(clock)), study(db), progress(db) {}

    StudyDatabase db;
    StudyStore study;
    ProgressStore progress;
};

// Inserts a card straight into a study database, as another device or an
// older version might have left it.
inline void insertCard(db::Database& d, const std::string& uid, int64_t freqRank, int64_t reps,
                       int64_t due, const std::string& am = "", int64_t suspended = 0) {
    db::Statement st(d,
                     "INSERT INTO card (uid, front, am, gloss, source, freq_rank, added_day, "
                     "stability, difficulty, reps, due, last_day, suspended) "
                     "VALUES (?, ?, ?, '', 'freq', ?, 0, ?, 5, ?, ?, ?, ?)");
    st.bind(1, uid).bind(2, uid.substr(uid.find(':') + 1)).bind(3, am).bind(4, freqRank);
    st.bind(5, reps > 0 ? 3.0 : 0.0).bind(6, reps).bind(7, due);
    st.bind(8, reps > 0 ? due - 3 : 0).bind(9, suspended);
    st.run();
}

}  // namespace talvo::testing
