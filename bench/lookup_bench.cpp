// Lookup engine figures: one-character analyze against the floor of a raw
// prepared SQLite point query on the same table, a 2,000-character passage,
// a 60-syllable reverse lookup, and the parser over 1 MB of mixed text.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>

#include "bench/bench_data.h"
#include "core/db/database.h"
#include "core/lookup/dictionary_store.h"
#include "core/lookup/han_text_parser.h"
#include "core/lookup/lookup_service.h"
#include "core/lookup/override_store.h"
#include "core/text/unicode.h"

namespace {

using namespace talvo;
using bench::charAt;

constexpr int kChars = 10000;

// About 1,500 distinct toned syllables, as in real Hán-Việt data, so that a
// syllable has tens of candidate characters rather than hundreds.
std::vector<std::string> makeSyllables() {
    const char* onsets[] = {"b",  "c",  "ch", "d",  "đ", "g", "h",  "kh", "l", "m", "n",
                            "ng", "nh", "ph", "qu", "s", "t", "th", "tr", "v", "x"};
    // Each rhyme's main vowel in its six tones.
    const char* vowels[][6] = {{"a", "à", "á", "ả", "ã", "ạ"}, {"ô", "ồ", "ố", "ổ", "ỗ", "ộ"},
                               {"ư", "ừ", "ứ", "ử", "ữ", "ự"}, {"i", "ì", "í", "ỉ", "ĩ", "ị"},
                               {"ê", "ề", "ế", "ể", "ễ", "ệ"}, {"o", "ò", "ó", "ỏ", "õ", "ọ"}};
    const char* codas[] = {"", "n", "ng", "m"};
    std::vector<std::string> out;
    for (const char* o : onsets) {
        for (auto& v : vowels) {
            for (const char* c : codas) {
                for (int tone = 0; tone < 3; ++tone) {
                    out.push_back(std::string(o) + v[tone * 2] + c);
                }
            }
        }
    }
    return out;
}

const std::vector<std::string>& syllables() {
    static const std::vector<std::string> all = makeSyllables();
    return all;
}

// A dictionary the size of the real one: 10,000 characters with 1–3 readings,
// a gloss, a full entry and a frequency each, indexed as talvo-dictgen does.
struct Fixture {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "talvo-bench";
    std::string dictPath = (dir / "dict.sqlite").string();
    std::unique_ptr<DictionaryStore> dict;
    std::unique_ptr<OverrideStore> overrides;
    std::unique_ptr<LookupService> service;

    Fixture() {
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        bench::writeDictionary(
            dictPath, kChars, "Lạnh, rét; bệnh do hàn tà gây ra.",
            [](std::mt19937& rng) { return syllables()[rng() % syllables().size()]; });
        dict = std::make_unique<DictionaryStore>(dictPath);
        overrides = std::make_unique<OverrideStore>((dir / "overrides.sqlite").string());
        overrides->setReadings({"số"}, charAt(7));
        service = std::make_unique<LookupService>(*dict, overrides.get());
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// The floor: one prepared point query through the bare C API. The first form
// opens the file as any program would; the second with immutable=1, as
// DictionaryStore does, which skips file locking and is the strictest floor.
void rawPointQuery(benchmark::State& state, bool immutable) {
    sqlite3* db = nullptr;
    std::string target =
        immutable ? "file:" + fixture().dictPath + "?immutable=1" : fixture().dictPath;
    sqlite3_open_v2(target.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "SELECT am FROM han_viet WHERE char = ?", -1, &st, nullptr);
    int i = 0;
    for (auto _ : state) {
        std::string ch = charAt(i++ % kChars);
        sqlite3_bind_text(st, 1, ch.data(), static_cast<int>(ch.size()), SQLITE_TRANSIENT);
        while (sqlite3_step(st) == SQLITE_ROW) {
            benchmark::DoNotOptimize(sqlite3_column_text(st, 0));
        }
        sqlite3_reset(st);
    }
    sqlite3_finalize(st);
    sqlite3_close(db);
}

void BM_RawPointQueryFloor(benchmark::State& state) {
    rawPointQuery(state, false);
}
void BM_RawPointQueryImmutableFloor(benchmark::State& state) {
    rawPointQuery(state, true);
}

void BM_AnalyzeOneChar(benchmark::State& state) {
    LookupService& s = *fixture().service;
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.analyze({charAt(i++ % kChars)}));
    }
}

void BM_AnalyzePassage2000(benchmark::State& state) {
    std::mt19937 rng(7);
    std::vector<std::string> passage;
    for (int i = 0; i < 2000; ++i) {
        // Real text repeats: draw from the 3,000 most common characters.
        passage.push_back(charAt(static_cast<int>(rng() % 3000)));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(fixture().service->analyze(passage));
    }
}

void BM_Reverse60(benchmark::State& state) {
    std::vector<std::string> query;
    for (size_t i = 0; i < 60; ++i) {
        query.push_back(syllables()[(i * 97) % syllables().size()]);
    }
    fixture().dict->corpusFreq(charAt(0));  // the frequency cache is built once per store
    for (auto _ : state) {
        benchmark::DoNotOptimize(fixture().service->reverse(query));
    }
}

void BM_HanCharacters1MB(benchmark::State& state) {
    std::string text;
    const std::string pieces[] = {"岐伯對曰：", "Hoàng Đế hỏi: ", "陰陽者，天地之道也。",
                                  "(note 12) ", "脈之大要",       "💊 "};
    std::mt19937 rng(3);
    while (text.size() < (1u << 20)) {
        text += pieces[rng() % 6];
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(HanTextParser::hanCharacters(text));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

BENCHMARK(BM_RawPointQueryFloor)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_RawPointQueryImmutableFloor)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_AnalyzeOneChar)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_AnalyzePassage2000)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Reverse60)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_HanCharacters1MB)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

// Prints the one figure Google Benchmark cannot: analyze against the floor.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.aggregate_name == "median") {
                m_median[r.run_name.function_name] = r.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        auto one = m_median.find("BM_AnalyzeOneChar");
        if (one == m_median.end()) {
            return;
        }
        std::printf("analyze(1 char) median %.2f us (target: under 20 us, under 4x the floor)\n",
                    one->second / 1000.0);
        for (const char* name : {"BM_RawPointQueryFloor", "BM_RawPointQueryImmutableFloor"}) {
            auto floor = m_median.find(name);
            if (floor != m_median.end() && floor->second > 0) {
                std::printf("  = %.2fx %s (%.2f us)\n", one->second / floor->second, name,
                            floor->second / 1000.0);
            }
        }
    }

  private:
    std::map<std::string, double> m_median;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::filesystem::remove_all(fixture().dir);
    return 0;
}
