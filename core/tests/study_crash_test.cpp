// A grade must be all or nothing even when the process dies while writing it.
// A child grades in a loop and is killed with SIGKILL at a random moment, a
// few hundred times over one database; after every kill the file must open,
// pass SQLite's integrity check and agree with its own review log.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "core/db/database.h"
#include "core/study/study_database.h"
#include "core/study/study_store.h"
#include "core/tests/fixture_dict.h"
#include "core/tests/study_test_util.h"

using namespace talvo;
using namespace talvo::testing;

namespace {

// Writes to `ready` once its first grade is committed, so that the kill lands
// among grades rather than in the opening.
[[noreturn]] void gradeForever(const std::string& path, unsigned seed, int ready) {
    try {
        StudyDatabase database(path, Clock::fixed(1'700'000'000));
        StudyStore store(database);
        db::Database peek(path, db::Database::Mode::ReadOnly);
        db::Statement nextDue(peek, "SELECT min(due) FROM card");
        std::mt19937 rng(seed);
        int64_t day = store.cfgInt("last_study_day").value_or(1000);
        for (bool told = false;;) {
            for (const StudyCard& c : store.queue(day)) {
                if (store.grade(c, kAllRatings[rng() % 4], day) && !told) {
                    char one = 1;
                    told = write(ready, &one, 1) == 1;
                }
            }
            nextDue.step();  // skip the days on which nothing is due
            day = std::max(day + 1, nextDue.int64(0));
            nextDue.reset();
        }
    } catch (...) {
    }
    _exit(1);
}

std::optional<int64_t> cfg(db::Database& d, const char* key) {
    db::Statement st(d, "SELECT v FROM cfg WHERE k = ?");
    st.bind(1, key);
    return st.step() ? StudyStore::parseDecimal(st.text(0).value_or("")) : std::nullopt;
}

// Everything one grade writes must agree with everything else it writes.
void expectConsistent(const std::string& path) {
    db::Database d(path, db::Database::Mode::ReadWriteCreate);
    db::Statement check(d, "PRAGMA integrity_check");
    ASSERT_TRUE(check.step());
    ASSERT_EQ(check.text(0), "ok");

    std::map<std::string, std::pair<int64_t, int64_t>> firstAndLastDay;
    std::map<std::string, int64_t> reviews;
    std::set<int64_t> days;
    db::Statement logs(d, "SELECT card_uid, day FROM review_log ORDER BY id");
    while (logs.step()) {
        std::string uid = *logs.text(0);
        int64_t day = logs.int64(1);
        if (reviews[uid]++ == 0) {
            firstAndLastDay[uid].first = day;
        }
        firstAndLastDay[uid].second = day;
        days.insert(day);
    }
    db::Statement cards(d, "SELECT uid, reps, last_day FROM card");
    while (cards.step()) {
        std::string uid = *cards.text(0);
        ASSERT_EQ(cards.int64(1), reviews[uid]) << uid;  // one log row per review
        if (reviews[uid] > 0) {
            ASSERT_EQ(cards.int64(2), firstAndLastDay[uid].second) << uid;
        }
    }
    if (days.empty()) {
        return;
    }
    ASSERT_EQ(cfg(d, "last_study_day"), *days.rbegin());
    int64_t introduced = 0;  // cards first reviewed on the counter's day
    for (const auto& [uid, firstLast] : firstAndLastDay) {
        introduced += firstLast.first == cfg(d, "new_day") ? 1 : 0;
    }
    ASSERT_EQ(cfg(d, "new_count").value_or(0), introduced);
    int64_t run = 0, best = 0, prev = 0;
    for (int64_t day : days) {
        run = (run > 0 && day == prev + 1) ? run + 1 : 1;
        best = std::max(best, run);
        prev = day;
    }
    ASSERT_EQ(cfg(d, "streak"), run);
    ASSERT_EQ(cfg(d, "best_streak"), best);
}

}  // namespace

TEST(StudyCrash, AKilledProcessNeverLeavesHalfAGrade) {
    TempDir dir;
    const std::string path = dir.file("study.sqlite");
    std::vector<LessonItem> items;
    for (int i = 0; i < 60; ++i) {
        items.push_back({"c:" + std::to_string(i), "字", "am", std::nullopt, std::nullopt});
    }
    ASSERT_EQ(StudyStores(path, clockOnDay(1000)).study.addLessonCards(items), 60);

    std::mt19937 rng(20240310);
    constexpr int kRuns = 200;
    for (int run = 0; run < kRuns; ++run) {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        pid_t child = fork();
        ASSERT_NE(child, -1);
        if (child == 0) {
            close(ready[0]);
            gradeForever(path, static_cast<unsigned>(run), ready[1]);
        }
        close(ready[1]);
        char byte = 0;
        bool graded = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        usleep(static_cast<useconds_t>(rng() % 4000));  // a grade takes about a millisecond
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(graded && WIFSIGNALED(status)) << "the child stopped by itself, run " << run;
        ASSERT_NO_FATAL_FAILURE(expectConsistent(path)) << "after run " << run;
        ASSERT_NO_THROW(StudyDatabase(path, clockOnDay(1000)));
    }
}
