// Recognition accuracy on rendered pages of corpus chapters the text model
// never saw, edition forms folded on both sides as the dictionary folds them.
#include <gtest/gtest.h>

#include <cstdio>

#include "ocr/tesseract_recognizer.h"
#include "ocr/tests/test_pages.h"

namespace talvo::ocr {
namespace {

using namespace testing;

TEST(RecognitionAccuracy, MeetsItsMarksAndCorrectionHelps) {
    ensureGuiApplication();
    std::vector<std::string> files = heldOutFiles(TALVO_TEST_DICTIONARY);
    ASSERT_FALSE(files.empty()) << "the dictionary was built without the corpus";
    Folds folds = dictionaryFolds(TALVO_TEST_DICTIONARY);
    TesseractRecognizer recognizer(RecognizerOptions{"", TALVO_TEST_DICTIONARY, "", "", true});
    struct Case {
        Layout layout;
        bool degraded;
        double mark;
        const char* name;
    };
    for (const Case& c : {Case{Layout::Vertical, false, 0.95, "vertical 24 px clean"},
                          Case{Layout::Vertical, true, 0.92, "vertical 24 px blur+grain+jpeg"},
                          Case{Layout::Horizontal, false, 0.96, "horizontal 24 px clean"}}) {
        Measurement m = measure(recognizer, files, 3, c.layout, 24, c.degraded, folds);
        std::printf("%-32s %2zu pages %5zu chars  raw %5.1f%%  corrected %5.1f%%\n", c.name,
                    m.pages, m.raw.reference, 100 * m.raw.accuracy(), 100 * m.corrected.accuracy());
        EXPECT_GE(m.pages, 8u) << c.name;
        EXPECT_GE(m.corrected.accuracy(), c.mark) << c.name;
        EXPECT_GT(m.corrected.accuracy(), m.raw.accuracy()) << c.name;
    }
}

}  // namespace
}  // namespace talvo::ocr
