// Progress figures on a big deck: 100,000 cards and 1,000,000 review-log
// rows. Targets: profileStats under 50 ms and evaluateBadges under 50 ms.
//
// The log is the hard case for the badge pass: a learner in Vietnam whose
// reviews all fall between 08:00 and 21:59 local time, with a review rated
// below good on every day, so neither the time-of-day badges nor the perfect
// day is ever earned and each pass has to look at the history again. About
// twelve reviews per reviewed card, over two years.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_data.h"
#include "core/db/database.h"
#include "core/progress/progress_store.h"
#include "core/progress/quiz_model.h"
#include "core/study/study_database.h"
#include "core/text/unicode.h"

namespace {

using namespace talvo;
using bench::charAt;
namespace fs = std::filesystem;

constexpr int64_t kToday = 20000;
constexpr int kCards = 100000;
constexpr int kLogs = 1000000;

Clock benchClock() {
    Clock c = Clock::fixed(kToday * 86400 + 12 * 3600);
    c.pinnedDay = kToday;
    return c;
}

struct Deck {
    fs::path dir = fs::temp_directory_path() / "talvo-progress-bench";
    std::string path = (dir / "study.sqlite").string();
    std::unique_ptr<StudyDatabase> database;
    std::unique_ptr<ProgressStore> store;

    Deck() {
        fs::remove_all(dir);
        fs::create_directories(dir);
        { StudyDatabase create(path, benchClock()); }
        {
            db::Database d(path, db::Database::Mode::ReadWriteCreate);
            // Filling without the log indexes and letting the store rebuild
            // them on its next opening is much faster.
            d.exec(
                "DROP INDEX idx_log_day; DROP INDEX idx_log_card; DROP INDEX idx_log_logid; "
                "DROP INDEX idx_log_not_good; DROP INDEX idx_log_elapsed; "
                "DROP INDEX idx_log_second; "
                "DROP INDEX idx_log_day_rating;");
            db::Transaction tx(d);
            std::mt19937 rng(1);
            std::vector<std::string> reviewedUids = bench::insertAgedCards(d, rng, kCards, kToday);
            db::Statement log(
                d,
                "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, "
                "interval, synced, log_id, origin) VALUES (?, ?, ?, ?, ?, ?, 1, ?, '')");
            for (int i = 0; i < kLogs; ++i) {
                int64_t day = kToday - static_cast<int64_t>(rng() % 730);
                // Local midnight in UTC+7 is 17:00 UTC of the day before.
                int64_t second = 8 * 3600 + static_cast<int64_t>(rng() % (14 * 3600));
                log.bind(1, reviewedUids[rng() % reviewedUids.size()]);
                log.bind(2, day * 86400 - 7 * 3600 + second).bind(3, day);
                // Again 12%, hard 8%, good 68%, easy 12%; one in ten a first review.
                const unsigned r = rng() % 100;
                log.bind(4, static_cast<int64_t>(r < 12 ? 1 : r < 20 ? 2 : r < 88 ? 3 : 4));
                log.bind(5, static_cast<int64_t>(i % 10 == 0 ? 0 : 1 + rng() % 60));
                log.bind(6, static_cast<int64_t>(rng() % 60));
                log.bind(7, "device:" + std::to_string(i));
                log.run();
                log.reset();
            }
            db::Statement quiz(d,
                               "INSERT INTO quiz_log (card_uid, mode, ts, day, correct) "
                               "VALUES (?, 'typeAm', ?, ?, ?)");
            for (int i = 0; i < 20000; ++i) {
                int64_t day = kToday - static_cast<int64_t>(rng() % 730);
                quiz.bind(1, "char:" + charAt(static_cast<int>(rng() % 20000)));
                quiz.bind(2, day * 86400 + 43200).bind(3, day);
                quiz.bind(4, static_cast<int64_t>(rng() % 2));
                quiz.run();
                quiz.reset();
            }
            d.exec(
                "INSERT INTO cfg (k, v) VALUES ('streak', '12'), ('best_streak', '40'), "
                "('daily_goal', '50')");
            tx.commit();
        }
        database = std::make_unique<StudyDatabase>(path, benchClock());
        store = std::make_unique<ProgressStore>(*database);
        printPlans();
    }

    void printPlans() {
        const char* const queries[] = {
            "SELECT COUNT(*) FROM review_log",
            "SELECT COUNT(*) FROM review_log WHERE rating<3 OR rating IS NULL",
            "SELECT COUNT(DISTINCT card_uid) FROM review_log",
            "SELECT COUNT(*) FROM review_log WHERE (rating<3 OR rating IS NULL) AND elapsed>0",
            "SELECT COUNT(*) FROM card WHERE stability>21",
            "SELECT COUNT(*) FROM review_log WHERE elapsed<=0",
            "SELECT day, COUNT(*) FROM review_log WHERE day > 19910 GROUP BY day",
            ("SELECT 1 FROM review_log WHERE (ts % 86400 + 86400) % 86400 BETWEEN 0 AND 9 AND "
             "CAST(strftime('%H', ts, 'unixepoch', 'localtime') AS INTEGER) < 7 LIMIT 1"),
        };
        bench::printQueryPlans(path, queries);
        ProfileStats p = store->profileStats();
        std::printf(
            "profile: %lld XP, level %lld, %lld reviews, %lld learned, %zu heat-map days\n\n",
            static_cast<long long>(p.xpTotal), static_cast<long long>(p.level),
            static_cast<long long>(p.totalReviews), static_cast<long long>(p.learned),
            p.heatmap.size());
    }
};

Deck& deck() {
    static Deck d;
    return d;
}

void BM_ProfileStats(benchmark::State& state) {
    ProgressStore& s = *deck().store;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.profileStats());
    }
}

// The steady state: the pass finds nothing new, but the time-of-day and
// perfect-day rules still have to look at every review.
void BM_EvaluateBadges(benchmark::State& state) {
    ProgressStore& s = *deck().store;
    s.evaluateBadges();
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.evaluateBadges());
    }
}

// The first pass on this history: every rule runs and the earned badges are
// written.
void BM_EvaluateBadgesFirstPass(benchmark::State& state) {
    ProgressStore& s = *deck().store;
    size_t awarded = 0;
    for (auto _ : state) {
        state.PauseTiming();
        deck().database->connection().exec("DELETE FROM badge");
        state.ResumeTiming();
        awarded = s.evaluateBadges().size();
    }
    state.counters["awarded"] = static_cast<double>(awarded);
}

void BM_XpTotal(benchmark::State& state) {
    ProgressStore& s = *deck().store;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.xpTotal());
    }
}

// Argument 0: reading choices; 1: character choices, where each candidate's
// readings are looked up to keep homophones out.
void BM_QuizStart(benchmark::State& state) {
    QuizModel quiz(*deck().store, std::mt19937_64{5});
    const QuizMode mode = state.range(0) == 0 ? QuizMode::AmFromHan : QuizMode::HanFromAm;
    for (auto _ : state) {
        quiz.start(mode);
        benchmark::DoNotOptimize(quiz.questions());
    }
}

BENCHMARK(BM_ProfileStats)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_EvaluateBadges)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_EvaluateBadgesFirstPass)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_XpTotal)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_QuizStart)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
    // The time-of-day badges read the local hour; pin the zone so that the
    // figures do not depend on the machine's.
    setenv("TZ", "Asia/Ho_Chi_Minh", 1);
    tzset();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove_all(deck().dir);
    return 0;
}
