// Recognition of a captured region: 400 x 600 pixels holding 100 characters
// of held-out corpus text at 24 px, correction included. Target: under 0.6 s
// on a two-core machine, under 300 MB while recognising, nothing loaded
// before the first recognition. Prints the time per recognition (warm), the
// first recognition (the engine, the text model and the font loaded), and the
// process's resident memory before first use and at its peak.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>

#include "ocr/tesseract_recognizer.h"
#include "ocr/tests/test_pages.h"

namespace {

using namespace talvo::ocr;
using namespace talvo::ocr::testing;

// Kilobytes from /proc/self/status ("VmRSS", "VmHWM").
long statusKb(const char* field) {
    std::ifstream in("/proc/self/status");
    std::string key;
    while (in >> key) {
        if (key == std::string(field) + ":") {
            long kb = 0;
            in >> kb;
            return kb;
        }
        std::string rest;
        std::getline(in, rest);
    }
    return -1;
}

// The passage on a white 400 x 600 region, top right (columns) or top left (lines).
OwnedImage region(Layout layout) {
    std::vector<std::string> files = heldOutFiles(TALVO_BENCH_DICTIONARY);
    std::u32string text =
        U"黃帝問曰余聞上古之人春秋皆度百歲而動作不衰今時之人年半百而動作皆衰者時世異耶人將失之耶";
    if (!files.empty()) {
        auto passages = corpusPassages(corpusFile(files.front()), 100, 1, 0);
        if (!passages.empty()) {
            text = passages.front();
        }
    }
    bool vertical = layout == Layout::Vertical;
    TestPage page = renderPage(text, PageStyle{layout, 24, false, 0, 1, vertical ? 20 : 14});
    OwnedImage out;
    out.width = 400;
    out.height = 600;
    out.pixels.assign(400 * 600, 255);
    int dx = vertical ? std::max(0, 400 - page.image.width) : 0;
    for (int y = 0; y < std::min(600, page.image.height); ++y) {
        for (int x = 0; x < std::min(400, page.image.width); ++x) {
            out.pixels[static_cast<size_t>(y) * 400 + x + dx] =
                page.image.pixels[static_cast<size_t>(y) * page.image.width + x];
        }
    }
    return out;
}

struct Shared {
    long rssBeforeKb = 0;
    long rssAfterConstructionKb = 0;
    double firstSeconds = 0;
    std::optional<TesseractRecognizer> recognizer;
};

Shared& shared() {
    static Shared s;
    return s;
}

void recognize(benchmark::State& state, Layout drawn, Layout asked) {
    ensureGuiApplication();
    Shared& s = shared();
    OwnedImage img = region(drawn);
    if (!s.recognizer) {
        s.rssBeforeKb = statusKb("VmRSS");
        s.recognizer.emplace(RecognizerOptions{"", TALVO_BENCH_DICTIONARY, "", "", true});
        s.rssAfterConstructionKb = statusKb("VmRSS");
        auto t0 = std::chrono::steady_clock::now();
        s.recognizer->recognize(img.view(), asked);
        s.firstSeconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    size_t chars = 0;
    for (auto _ : state) {
        RecognitionOutcome out = s.recognizer->recognize(img.view(), asked);
        chars = out.recognition ? out.recognition->chars.size() : 0;
        benchmark::DoNotOptimize(chars);
    }
    state.counters["chars"] = static_cast<double>(chars);
    state.counters["first_call_s"] = s.firstSeconds;
    state.counters["rss_before_MB"] = s.rssBeforeKb / 1024.0;
    state.counters["rss_constructed_MB"] = s.rssAfterConstructionKb / 1024.0;
    state.counters["peak_rss_MB"] = statusKb("VmHWM") / 1024.0;
}

void BM_RecognizeColumns(benchmark::State& state) {
    recognize(state, Layout::Vertical, Layout::Vertical);
}
void BM_RecognizeColumnsDetectingLayout(benchmark::State& state) {
    recognize(state, Layout::Vertical, Layout::Auto);
}
void BM_RecognizeLines(benchmark::State& state) {
    recognize(state, Layout::Horizontal, Layout::Horizontal);
}

// The recogniser alone (its own engine: the figures above are not touched),
// to tell what the correction costs.
void BM_RecognizeColumnsUncorrected(benchmark::State& state) {
    ensureGuiApplication();
    static TesseractRecognizer alone(RecognizerOptions{"", "", "", "", false});
    OwnedImage img = region(Layout::Vertical);
    alone.recognize(img.view(), Layout::Vertical);
    for (auto _ : state) {
        benchmark::DoNotOptimize(alone.recognize(img.view(), Layout::Vertical));
    }
}

BENCHMARK(BM_RecognizeColumns)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();
BENCHMARK(BM_RecognizeColumnsDetectingLayout)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3.0)
    ->UseRealTime();
BENCHMARK(BM_RecognizeLines)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();
BENCHMARK(BM_RecognizeColumnsUncorrected)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3.0)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
