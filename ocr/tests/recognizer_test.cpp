// TesseractRecognizer on pictures it must refuse, models it cannot find,
// and pages it must read in the right order without extra threads.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "ocr/model_files.h"
#include "ocr/tesseract_recognizer.h"
#include "ocr/tests/test_pages.h"
#include "ocr/text_corrector.h"

namespace talvo::ocr {
namespace {

namespace fs = std::filesystem;
using testing::PageStyle;
using testing::renderPage;

class Recognizer : public ::testing::Test {
  protected:
    void SetUp() override { testing::ensureGuiApplication(); }

    static RecognizerOptions withDictionary() {
        return RecognizerOptions{"", TALVO_TEST_DICTIONARY, "", "", true};
    }

    struct TempDir {
        TempDir() {
            path = fs::temp_directory_path() /
                   ("talvo-ocr-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
            fs::create_directories(path);
        }
        ~TempDir() {
            std::error_code ec;
            fs::remove_all(path, ec);
        }
        fs::path path;
        static inline int counter = 0;
    };
};

size_t threadsOfThisProcess() {
    size_t n = 0;
    for ([[maybe_unused]] const auto& e : fs::directory_iterator("/proc/self/task")) {
        ++n;
    }
    return n;
}

TEST_F(Recognizer, RefusesPicturesThatCannotHoldText) {
    TesseractRecognizer r(withDictionary());
    const uint8_t one[4] = {0, 0, 0, 255};
    std::vector<uint8_t> small(64, 0);
    EXPECT_EQ(r.recognize(ImageView{}, Layout::Auto).error, RecognitionError::BadImage);
    EXPECT_EQ(r.recognize(ImageView{one, 1, 1, 4, 4}, Layout::Auto).error,
              RecognitionError::BadImage);
    // Claims far more pixels than it has: refused before a byte is read.
    EXPECT_EQ(
        r.recognize(ImageView{small.data(), 100000, 100000, 1, 100000}, Layout::Vertical).error,
        RecognitionError::BadImage);
    EXPECT_EQ(r.recognize(ImageView{small.data(), 8, 8, 2, 16}, Layout::Vertical).error,
              RecognitionError::BadImage);
    EXPECT_EQ(r.recognize(ImageView{small.data(), 8, 8, 1, 4}, Layout::Vertical).error,
              RecognitionError::BadImage);
    // None of that needed an engine.
    EXPECT_FALSE(r.loaded());

    // Blank paper, and paper with a faint stain, hold no text.
    std::vector<uint8_t> blank(300 * 200, 255);
    EXPECT_EQ(r.recognize(ImageView{blank.data(), 300, 200, 1, 300}, Layout::Auto).error,
              RecognitionError::NoText);
    for (size_t i = 0; i < blank.size(); ++i) {
        blank[i] = static_cast<uint8_t>(240 + i % 13);
    }
    auto stained = r.recognize(ImageView{blank.data(), 300, 200, 1, 300}, Layout::Vertical);
    EXPECT_EQ(stained.error, RecognitionError::NoText);
    EXPECT_FALSE(stained.recognition);
    // Grain all over (Tesseract alone would search it for minutes).
    std::mt19937 grain(7);
    for (uint8_t& p : blank) {
        p = static_cast<uint8_t>(grain() % 256);
    }
    EXPECT_EQ(r.recognize(ImageView{blank.data(), 300, 200, 1, 300}, Layout::Auto).error,
              RecognitionError::NoText);
}

TEST_F(Recognizer, ReadsLightPrintOnADarkGround) {
    TesseractRecognizer r(withDictionary());
    std::u32string text = U"上古之人其知道者法於陰陽和於術數食飲有節起居有常";
    auto page = renderPage(text, PageStyle{Layout::Vertical, 24, false, 0, 1, 12});
    for (uint8_t& p : page.image.pixels) {
        p = static_cast<uint8_t>(255 - p);
    }
    auto out = r.recognize(page.image.view(), Layout::Vertical);
    ASSERT_TRUE(out.recognition);
    EXPECT_GE(testing::score(text, out.recognition->text, {}).accuracy(), 0.9)
        << out.recognition->text;
}

TEST_F(Recognizer, NamesThePackageOfAMissingModel) {
    TempDir empty;
    TesseractRecognizer r(RecognizerOptions{empty.path.string(), "", "", "", true});
    auto page = renderPage(U"岐伯對曰上古之人", PageStyle{Layout::Vertical, 24, false, 0, 1, 8});
    auto out = r.recognize(page.image.view(), Layout::Vertical);
    EXPECT_EQ(out.error, RecognitionError::ModelMissing);
    EXPECT_EQ(out.missingPackage, "tesseract-ocr-chi-tra-vert");
    out = r.recognize(page.image.view(), Layout::Horizontal);
    EXPECT_EQ(out.missingPackage, "tesseract-ocr-chi-tra");

    // A damaged model file is as good as none.
    std::ofstream(empty.path / "chi_tra.traineddata") << "not a model";
    out = r.recognize(page.image.view(), Layout::Horizontal);
    EXPECT_EQ(out.error, RecognitionError::ModelMissing);
    EXPECT_EQ(out.missingPackage, "tesseract-ocr-chi-tra");
    EXPECT_FALSE(ModelFiles::readableCharacters((empty.path / "chi_tra.traineddata").string()));
}

TEST_F(Recognizer, SearchesTheGivenFolderThenTessdataPrefixThenDebians) {
    EXPECT_EQ(ModelFiles::searchPath("/models", "TALVO_TEST_UNSET_PREFIX"),
              std::vector<std::string>{"/models"});
    ::setenv("TALVO_TEST_PREFIX", "/opt/tess", 1);
    std::vector<std::string> path = ModelFiles::searchPath("", "TALVO_TEST_PREFIX");
    ::unsetenv("TALVO_TEST_PREFIX");
    ASSERT_GE(path.size(), 3u);
    EXPECT_EQ(path[0], "/opt/tess");
    EXPECT_EQ(path[1], "/opt/tess/tessdata");
    EXPECT_EQ(path[2], "/usr/share/tesseract-ocr/5/tessdata");
    auto dir =
        ModelFiles::find("chi_tra_vert", ModelFiles::searchPath("", "TALVO_TEST_UNSET_PREFIX"));
    ASSERT_TRUE(dir) << "tesseract-ocr-chi-tra-vert is not installed";
    auto readable = ModelFiles::readableCharacters(*dir + "/chi_tra_vert.traineddata");
    ASSERT_TRUE(readable);
    EXPECT_TRUE(readable->count(U'曰'));
    EXPECT_FALSE(readable->count(U'隂'));  // an edition form the model never learnt
}

TEST_F(Recognizer, ReadsColumnsRightToLeftOnOneThreadAfterLoadingLazily) {
    TesseractRecognizer r(withDictionary());
    EXPECT_FALSE(r.loaded());
    std::u32string text = U"上古之人其知道者法於陰陽和於術數食飲有節起居有常不妄作勞";
    auto page = renderPage(text, PageStyle{Layout::Vertical, 24, false, 0, 1, 10});
    size_t before = threadsOfThisProcess();
    auto out = r.recognize(page.image.view(), Layout::Auto);
    EXPECT_EQ(threadsOfThisProcess(), before);
    EXPECT_TRUE(r.loaded());
    ASSERT_TRUE(out.recognition) << static_cast<int>(*out.error);
    const Recognition& rec = *out.recognition;
    EXPECT_EQ(rec.layout, Layout::Vertical);
    // Three columns, each ending in a line break, in the order drawn.
    std::vector<std::string> lines;
    std::string line;
    for (char c : rec.text) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line += c;
        }
    }
    EXPECT_TRUE(line.empty());
    ASSERT_EQ(lines.size(), 3u);
    testing::Folds none;
    for (size_t k = 0; k < 3; ++k) {
        auto s = testing::score(text.substr(k * 10, 10), lines[k], none);
        EXPECT_GE(s.accuracy(), 0.8) << "column " << k << ": " << lines[k];
    }
    // Every character of the text, and only those, in chars.
    std::string joined;
    for (const RecognizedChar& c : rec.chars) {
        joined += c.text;
        EXPECT_EQ(c.uncertain, c.confidence < CorrectionWeights{}.uncertainBelow);
    }
    std::string flat = rec.text;
    std::erase(flat, '\n');
    EXPECT_EQ(joined, flat);
}

TEST_F(Recognizer, ReadsLinesAndSmallPrint) {
    TesseractRecognizer r(withDictionary());
    std::u32string text = U"黃帝問曰余聞上古之人春秋皆度百歲而動作不衰今時之人年半百而動作皆衰者";
    testing::Folds folds = testing::dictionaryFolds(TALVO_TEST_DICTIONARY);
    for (int px : {14, 24}) {
        SCOPED_TRACE(px);
        auto page = renderPage(text, PageStyle{Layout::Horizontal, px, false, 0, 1, 12});
        auto out = r.recognize(page.image.view(), Layout::Auto);
        ASSERT_TRUE(out.recognition);
        EXPECT_EQ(out.recognition->layout, Layout::Horizontal);
        EXPECT_GE(testing::score(text, out.recognition->text, folds).accuracy(), 0.9)
            << out.recognition->text;
    }
}

TEST_F(Recognizer, KeepsHanAndPunctuationOnly) {
    TesseractRecognizer r(withDictionary());
    auto page = renderPage(U"岐伯曰：上古之人，春秋皆度百歲。ABC12",
                           PageStyle{Layout::Horizontal, 28, false, 0, 1, 21});
    auto out = r.recognize(page.image.view(), Layout::Horizontal);
    ASSERT_TRUE(out.recognition);
    const std::string& t = out.recognition->text;
    EXPECT_NE(t.find("，"), std::string::npos) << t;
    EXPECT_NE(t.find("。"), std::string::npos) << t;
    EXPECT_EQ(t.find_first_of("ABC12,"), std::string::npos) << t;
}

TEST_F(Recognizer, ReadsWithoutCorrectionWhenTheDictionaryIsMissing) {
    TesseractRecognizer r(RecognizerOptions{"", "/nonexistent/dict.sqlite", "", "", true});
    auto page =
        renderPage(U"上古之人春秋皆度百歲", PageStyle{Layout::Horizontal, 24, false, 0, 1, 10});
    auto out = r.recognize(page.image.view(), Layout::Horizontal);
    ASSERT_TRUE(out.recognition);
    EXPECT_FALSE(out.recognition->chars.empty());
    EXPECT_NE(r.limitation().find("no correction"), std::string::npos);
    EXPECT_EQ(r.lastReading(), out.recognition->text);
}

TEST(ImageFile, ReadsPicturesAndRefusesTheRest) {
    testing::ensureGuiApplication();
    fs::path dir = fs::temp_directory_path() / ("talvo-ocr-files-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    auto page = renderPage(U"上古", PageStyle{Layout::Horizontal, 24, false, 0, 1, 2});
    ASSERT_TRUE(testing::savePage(page, (dir / "page.png").string()));
    ImageFileResult png = readImageFile((dir / "page.png").string());
    ASSERT_TRUE(png.image);
    EXPECT_EQ(png.image->width, page.image.width);
    EXPECT_EQ(png.image->pixels, page.image.pixels);

    std::ofstream(dir / "notes.txt") << "岐伯曰";
    EXPECT_EQ(readImageFile((dir / "notes.txt").string()).error, ImageFileError::NotAnImage);
    std::ofstream(dir / "empty.png");
    EXPECT_EQ(readImageFile((dir / "empty.png").string()).error, ImageFileError::NotAnImage);
    // A PNG cut short after its header.
    {
        std::ifstream in(dir / "page.png", std::ios::binary);
        std::string head(64, '\0');
        in.read(head.data(), 64);
        std::ofstream(dir / "cut.png", std::ios::binary) << head;
    }
    EXPECT_EQ(readImageFile((dir / "cut.png").string()).error, ImageFileError::NotAnImage);
    // A header promising 900 million pixels.
    std::ofstream(dir / "huge.pgm", std::ios::binary) << "P5\n30000 30000\n255\n";
    EXPECT_EQ(readImageFile((dir / "huge.pgm").string()).error, ImageFileError::TooLarge);
    EXPECT_EQ(readImageFile((dir / "missing.png").string()).error, ImageFileError::Unreadable);
    EXPECT_EQ(readImageFile(dir.string()).error, ImageFileError::Unreadable);
    fs::remove_all(dir);
}

}  // namespace
}  // namespace talvo::ocr
