// Study figures on a big deck: 100,000 cards and 1,000,000 review-log rows.
// Targets: queue and summary under 10 ms, one grade (a WAL commit) under 2 ms,
// seeding 800 cards from a full-size dictionary under 50 ms, and one million
// scheduling steps under 0.5 s.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>

#include "bench/bench_data.h"
#include "core/db/database.h"
#include "core/lookup/dictionary_store.h"
#include "core/study/fsrs.h"
#include "core/study/study_database.h"
#include "core/study/study_session.h"
#include "core/study/study_store.h"
#include "core/text/unicode.h"

namespace {

using namespace talvo;
using bench::charAt;
namespace fs = std::filesystem;

constexpr int64_t kToday = 20000;
constexpr int kCards = 100000;
constexpr int kLogs = 1000000;

Clock benchClock() {
    Clock c = Clock::fixed(1'728'000'000);
    c.pinnedDay = kToday;
    return c;
}

// A deck as years of use leave it: four in five cards reviewed, due dates
// from 200 days overdue to a year ahead (about a third due today), a few
// suspended, and a log of a million reviews over two years.
struct Deck {
    fs::path dir = fs::temp_directory_path() / "talvo-study-bench";
    std::string path = (dir / "study.sqlite").string();
    std::unique_ptr<StudyDatabase> database;
    std::unique_ptr<StudyStore> store;

    Deck() {
        fs::remove_all(dir);
        fs::create_directories(dir);
        { StudyDatabase create(path, benchClock()); }
        {
            db::Database d(path, db::Database::Mode::ReadWriteCreate);
            // Filling without the indexes and letting the store rebuild them
            // on its next opening is the upgrade path, and much faster.
            d.exec("DROP INDEX idx_log_day; DROP INDEX idx_log_card; DROP INDEX idx_log_logid;");
            db::Transaction tx(d);
            std::mt19937 rng(1);
            bench::insertAgedCards(d, rng, kCards, kToday);
            db::Statement log(
                d,
                "INSERT INTO review_log (card_uid, ts, day, rating, elapsed, "
                "interval, synced, log_id, origin) VALUES (?, ?, ?, ?, ?, ?, 1, ?, '')");
            for (int i = 0; i < kLogs; ++i) {
                int64_t day = kToday - static_cast<int64_t>(rng() % 730);
                log.bind(1, "char:" + charAt(static_cast<int>(rng() % 20000)));
                log.bind(2, day * 86400).bind(3, day);
                log.bind(4, static_cast<int64_t>(1 + rng() % 4));
                log.bind(5, static_cast<int64_t>(rng() % 30))
                    .bind(6, static_cast<int64_t>(rng() % 60));
                log.bind(7, "device:" + std::to_string(i));
                log.run();
                log.reset();
            }
            tx.commit();
        }
        database = std::make_unique<StudyDatabase>(path, benchClock());
        store = std::make_unique<StudyStore>(*database);
        printPlans();
    }

    void printPlans() {
        const char* const queries[] = {
            ("SELECT id FROM card WHERE suspended=0 AND reps>0 AND due<=20000 "
             "ORDER BY due, freq_rank LIMIT 200"),
            "SELECT id FROM card WHERE suspended=0 AND reps=0 ORDER BY freq_rank LIMIT 15",
            "SELECT COUNT(*) FROM card WHERE suspended=0 AND reps>0 AND due<=20000",
            "SELECT COUNT(*) FROM card WHERE suspended=0 AND reps=0",
            "SELECT COUNT(*) FROM card WHERE reps>0",
            "SELECT COUNT(*) FROM review_log WHERE day=20000",
        };
        bench::printQueryPlans(path, queries);
        StudySummary s = store->summary();
        std::printf("deck: %lld cards, %lld learned, %lld due today, %lld reviews today\n\n",
                    static_cast<long long>(s.total), static_cast<long long>(s.learned),
                    static_cast<long long>(s.dueReviews), static_cast<long long>(s.reviewedToday));
    }
};

Deck& deck() {
    static Deck d;
    return d;
}

void BM_Queue(benchmark::State& state) {
    StudyStore& s = *deck().store;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.queue());
    }
}

void BM_Summary(benchmark::State& state) {
    StudyStore& s = *deck().store;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.summary());
    }
}

void BM_Grade(benchmark::State& state) {
    StudyStore& s = *deck().store;
    // Cards due long ago; grading one moves it out of the queue, so take a
    // fresh batch from the database rather than the same few each time.
    std::vector<StudyCard> cards;
    {
        db::Database d(deck().path, db::Database::Mode::ReadOnly);
        db::Statement st(d,
                         "SELECT uid FROM card WHERE suspended=0 AND reps>0 AND due<=20000 "
                         "ORDER BY random() LIMIT 5000");
        while (st.step()) {
            cards.push_back(*s.cardByUid(*st.text(0)));
        }
    }
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.grade(cards[i % cards.size()], kAllRatings[i % 4]));
        ++i;
    }
}

void BM_Distractors(benchmark::State& state) {
    StudyStore& s = *deck().store;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.distractors("char:" + charAt(5), 12));
    }
}

void BM_SessionReload(benchmark::State& state) {
    StudySession session(*deck().store, std::mt19937_64{3});
    for (auto _ : state) {
        session.reload();
        benchmark::DoNotOptimize(session.choices());
    }
}

// A dictionary the size of the real one, as talvo-dictgen indexes it.
struct Dictionary {
    fs::path dir = fs::temp_directory_path() / "talvo-study-bench-dict";
    std::string path = (dir / "dict.sqlite").string();

    Dictionary() {
        fs::remove_all(dir);
        fs::create_directories(dir);
        bench::writeDictionary(path, 10000, "Lạnh, rét.", [](std::mt19937& rng) {
            return "âm " + std::to_string(rng() % 1500);
        });
    }
};

// Start-up on a fresh install: open the dictionary, read its frequency table
// and fill an empty deck. Only the seeding (which reads the frequencies first)
// is timed.
void BM_Seed800(benchmark::State& state) {
    static Dictionary dict;
    const fs::path dir = fs::temp_directory_path() / "talvo-study-bench-seed";
    int64_t added = 0;
    for (auto _ : state) {
        state.PauseTiming();
        fs::remove_all(dir);
        auto dictionary = std::make_unique<DictionaryStore>(dict.path);
        auto database =
            std::make_unique<StudyDatabase>((dir / "study.sqlite").string(), benchClock());
        auto store = std::make_unique<StudyStore>(*database);
        state.ResumeTiming();
        added = store->seedIfEmpty(*dictionary);
    }
    state.counters["cards"] = static_cast<double>(added);
    fs::remove_all(dir);
}

void BM_Schedule1M(benchmark::State& state) {
    FSRS fsrs;
    std::vector<ReviewState> states;
    std::mt19937 rng(9);
    for (int i = 0; i < 1024; ++i) {
        states.push_back(ReviewState{0.1 + (rng() % 30000) / 10.0, 1 + (rng() % 90) / 10.0,
                                     static_cast<int64_t>(rng() % 30),
                                     static_cast<int64_t>(rng() % 5), 0});
    }
    for (auto _ : state) {
        double sum = 0;
        for (int i = 0; i < 1'000'000; ++i) {
            const ReviewState& s = states[i & 1023];
            ReviewState next = fsrs.schedule(s, kAllRatings[i & 3], i % 400);
            sum += next.stability;
        }
        benchmark::DoNotOptimize(sum);
    }
}

BENCHMARK(BM_Queue)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Summary)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Grade)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Seed800)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_Schedule1M)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_Distractors)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_SessionReload)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove_all(deck().dir);
    fs::remove_all(fs::temp_directory_path() / "talvo-study-bench-dict");
    return 0;
}
