// Lookup engine figures: one-character analyze against the floor of a raw
// prepared SQLite point query on the same table, a 2,000-character passage
// (random characters, and one made of the dictionary's words, both split into
// words), a 60-syllable reverse lookup, a 3-syllable one that finds words,
// and the parser over 1 MB of mixed text. When the build's dictionary is
// there, the same on it with a passage of 傷寒論.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <set>

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
// As many words as the real word table holds, of 2 to 4 characters drawn
// mostly from the 3,000 most common characters.
constexpr int kWords = 110000;

#ifndef TALVO_BENCH_REAL_DICT
#define TALVO_BENCH_REAL_DICT ""
#endif

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

struct Word {
    std::vector<std::string> chars;
    std::string reading;
};

// The word table as talvo-dictgen writes it, with kWords words; returns them.
std::vector<Word> addWords(const std::string& path) {
    db::Database d(path, db::Database::Mode::ReadWriteCreate);
    d.exec(
        "CREATE TABLE words(id INTEGER PRIMARY KEY, text TEXT NOT NULL, simplified TEXT,"
        " reading TEXT NOT NULL, fixed INTEGER NOT NULL, gloss TEXT, gloss_source TEXT,"
        " entry TEXT, english TEXT, pinyin TEXT, freq INTEGER NOT NULL, source TEXT NOT NULL);"
        "CREATE TABLE word_fold(char TEXT PRIMARY KEY, standard TEXT NOT NULL);");
    std::vector<Word> words;
    std::mt19937 rng(11);
    std::set<std::string> seen;
    {
        db::Transaction tx(d);
        db::Statement ins(d,
                          "INSERT INTO words(text, reading, fixed, gloss, english, freq, source)"
                          " VALUES (?, ?, 0, ?, ?, ?, 'bench')");
        while (static_cast<int>(words.size()) < kWords) {
            Word w;
            std::string text;
            for (unsigned k = 0, n = 2 + rng() % 3; k < n; ++k) {
                int c = static_cast<int>(rng() % 10 < 8 ? rng() % 3000 : rng() % kChars);
                w.chars.push_back(charAt(c));
                text += w.chars.back();
                w.reading += (k ? " " : "") + syllables()[rng() % syllables().size()];
            }
            if (!seen.insert(text).second) {
                continue;
            }
            ins.bind(1, text).bind(2, w.reading).bind(3, "bệnh do hàn tà").bind(4, "cold damage");
            ins.bind(5, static_cast<int64_t>(rng() % 2000)).run();
            ins.reset();
            words.push_back(std::move(w));
        }
        tx.commit();
    }
    d.exec(
        "CREATE UNIQUE INDEX words_text ON words(text);"
        "CREATE INDEX words_reading ON words(reading);");
    return words;
}

// A dictionary the size of the real one: 10,000 characters with 1–3 readings,
// a gloss, a full entry and a frequency each, and 110,000 words, indexed as
// talvo-dictgen does.
struct Fixture {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "talvo-bench";
    std::string dictPath = (dir / "dict.sqlite").string();
    std::unique_ptr<DictionaryStore> dict;
    std::unique_ptr<OverrideStore> overrides;
    std::unique_ptr<LookupService> service;
    std::vector<Word> words;

    Fixture() {
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        bench::writeDictionary(
            dictPath, kChars, "Lạnh, rét; bệnh do hàn tà gây ra.",
            [](std::mt19937& rng) { return syllables()[rng() % syllables().size()]; });
        words = addWords(dictPath);
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
    fixture().dict->wordIndex();  // read once per store, at the first phrase
    for (auto _ : state) {
        benchmark::DoNotOptimize(fixture().service->analyze(passage));
    }
}

// A passage made of the dictionary's words, with a break (a comma in the
// selection) every 12 characters or so.
void BM_AnalyzeWordPassage2000(benchmark::State& state) {
    std::mt19937 rng(5);
    std::vector<std::string> passage;
    std::vector<size_t> breaks;
    while (passage.size() < 2000) {
        const Word& w = fixture().words[rng() % fixture().words.size()];
        passage.insert(passage.end(), w.chars.begin(), w.chars.end());
        if (rng() % 4 == 0) {
            breaks.push_back(passage.size());
        }
    }
    passage.resize(2000);
    fixture().dict->wordIndex();
    size_t found = 0;
    for (auto _ : state) {
        PhraseLookup p = fixture().service->analyze(passage, breaks);
        found = p.words.size();
        benchmark::DoNotOptimize(p);
    }
    state.counters["words"] = static_cast<double>(found);
}

void BM_ReverseThreeSyllableWord(benchmark::State& state) {
    std::vector<std::string> query;
    for (const Word& w : fixture().words) {
        if (w.chars.size() == 3) {
            for (std::string_view s : text::split(w.reading, ' ')) {
                query.emplace_back(s);
            }
            break;
        }
    }
    fixture().dict->corpusFreq(charAt(0));
    size_t found = 0;
    for (auto _ : state) {
        ReverseLookup r = fixture().service->reverse(query);
        found = r.words.size();
        benchmark::DoNotOptimize(r);
    }
    state.counters["words"] = static_cast<double>(found);
}

// The build's dictionary, when there is one: a passage of 傷寒論 (its opening
// lines on 太陽病, repeated to 2,000 characters) and "thương hàn luận".
struct RealDictionary {
    std::unique_ptr<DictionaryStore> dict;
    std::unique_ptr<LookupService> service;

    RealDictionary() {
        if (std::filesystem::exists(TALVO_BENCH_REAL_DICT)) {
            dict = std::make_unique<DictionaryStore>(TALVO_BENCH_REAL_DICT);
            service = std::make_unique<LookupService>(*dict, nullptr);
        }
    }
};

RealDictionary& real() {
    static RealDictionary r;
    return r;
}

void BM_RealAnalyzeShanghanPassage2000(benchmark::State& state) {
    if (!real().service) {
        state.SkipWithError("no built dictionary");
        return;
    }
    const std::string lines =
        "太陽之為病，脈浮，頭項強痛而惡寒。太陽病，發熱，汗出，惡風，脈緩者，名為中風。"
        "太陽病，或已發熱，或未發熱，必惡寒，體痛，嘔逆，脈陰陽俱緊者，名為傷寒。"
        "傷寒一日，太陽受之，脈若靜者，為不傳；頗欲吐，若躁煩，脈數急者，為傳也。";
    std::string text;
    while (HanTextParser::hanCharacters(text).size() < 2000) {
        text += lines;
    }
    std::vector<std::string> chars = HanTextParser::hanCharacters(text);
    chars.resize(2000);
    std::vector<size_t> breaks = HanTextParser::wordBreaks(text);
    while (!breaks.empty() && breaks.back() >= 2000) {
        breaks.pop_back();
    }
    real().dict->wordIndex();
    for (auto _ : state) {
        benchmark::DoNotOptimize(real().service->analyze(chars, breaks));
    }
}

void BM_RealReverseThreeSyllables(benchmark::State& state) {
    if (!real().service) {
        state.SkipWithError("no built dictionary");
        return;
    }
    real().dict->corpusFreq("傷");
    for (auto _ : state) {
        benchmark::DoNotOptimize(real().service->reverse({"thương", "hàn", "luận"}));
    }
}

// What reading the word table costs the first phrase of a session.
void BM_RealWordIndexLoad(benchmark::State& state) {
    if (!real().service) {
        state.SkipWithError("no built dictionary");
        return;
    }
    for (auto _ : state) {
        DictionaryStore fresh(TALVO_BENCH_REAL_DICT);
        benchmark::DoNotOptimize(fresh.wordIndex().byText.size());
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
BENCHMARK(BM_AnalyzeWordPassage2000)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_Reverse60)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);
BENCHMARK(BM_ReverseThreeSyllableWord)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RealAnalyzeShanghanPassage2000)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RealReverseThreeSyllables)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RealWordIndexLoad)->Unit(benchmark::kMillisecond)->Iterations(3);
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
