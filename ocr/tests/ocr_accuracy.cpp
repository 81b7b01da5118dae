// Character accuracy of recognition on rendered pages of held-out corpus
// text, raw (the recogniser alone) and corrected, per layout, size and
// picture quality. TALVO_OCR_FULL=1 measures more pages and sizes; a size
// given as argument measures that size only.
#include <QGuiApplication>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ocr/tesseract_recognizer.h"
#include "ocr/tests/test_pages.h"

using namespace talvo::ocr;
using namespace talvo::ocr::testing;

int main(int argc, char** argv) {
    ensureGuiApplication();
    bool full = std::getenv("TALVO_OCR_FULL") != nullptr;
    std::string dict = TALVO_TEST_DICTIONARY;
    Folds folds = dictionaryFolds(dict);
    std::vector<std::string> files = heldOutFiles(dict);
    if (files.empty()) {
        std::fprintf(stderr, "the dictionary %s names no held-out corpus files\n", dict.c_str());
        return 1;
    }
    size_t perFile = full ? 6 : 3;
    std::vector<int> sizes = full ? std::vector<int>{16, 20, 24, 32} : std::vector<int>{24};
    if (argc > 1) {
        sizes = {std::atoi(argv[1])};
    }
    TesseractRecognizer recognizer(RecognizerOptions{"", dict, "", "", true});
    std::printf("%-10s %4s %-10s %6s %6s %9s %10s\n", "layout", "px", "picture", "pages", "chars",
                "raw", "corrected");
    for (Layout layout : {Layout::Vertical, Layout::Horizontal}) {
        for (int px : sizes) {
            for (bool degraded : {false, true}) {
                Measurement m = measure(recognizer, files, perFile, layout, px, degraded, folds);
                const char* picture = !degraded                    ? "clean"
                                      : layout == Layout::Vertical ? "noisy+jpeg"
                                                                   : "noisy";
                std::printf("%-10s %4d %-10s %6zu %6zu %8.1f%% %9.1f%%\n",
                            layout == Layout::Vertical ? "vertical" : "horizontal", px, picture,
                            m.pages, m.raw.reference, 100 * m.raw.accuracy(),
                            100 * m.corrected.accuracy());
                std::fflush(stdout);
            }
        }
    }
    return 0;
}
