#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "ocr/tests/test_pages.h"
#include "tools/cli/cli_ocr.h"
#include "tools/cli/tests/cli_fixture.h"

namespace talvo::testing {
namespace {

using ocr::Layout;
using ocr::testing::PageStyle;

class CliOcrTest : public CliFixture {
  protected:
    void SetUp() override {
        ocr::testing::ensureGuiApplication();
        writeDictionary(fiveCharacters());
        savedLanguage = "en";
    }

    std::string picture(const std::u32string& text, Layout layout, const std::string& name) {
        auto page = ocr::testing::renderPage(text, PageStyle{layout, 32, false, 0, 1, 5});
        std::string path = dir.file(name);
        EXPECT_TRUE(ocr::testing::savePage(page, path));
        return path;
    }
};

TEST_F(CliOcrTest, PrintsTheTextThenItsLookup) {
    std::string path = picture(U"傷寒論數汗", Layout::Horizontal, "page.png");
    ASSERT_EQ(run({"ocr", path, "--horizontal"}), 0) << err.str();
    EXPECT_TRUE(printed("Recognized (horizontal):\n傷寒論數汗\n")) << out.str();
    EXPECT_TRUE(printed("thương")) << out.str();
    EXPECT_TRUE(printed("Mồ hôi.")) << out.str();

    // The same picture drawn as a column is found to be one without being told.
    path = picture(U"傷寒論數汗", Layout::Vertical, "column.png");
    ASSERT_EQ(run({"ocr", path}), 0) << err.str();
    EXPECT_TRUE(printed("Recognized (vertical):\n傷寒論數汗\n")) << out.str();
}

TEST_F(CliOcrTest, JsonIsTheLookupWithTheRecognisedText) {
    std::string path = picture(U"傷寒論數汗", Layout::Horizontal, "page.png");
    ASSERT_EQ(run({"--json", "ocr", "--horizontal", path}), 0) << err.str();
    auto j = nlohmann::json::parse(out.str());
    EXPECT_EQ(j["kind"], "forward");
    EXPECT_EQ(j["recognized"], "傷寒論數汗\n");
    EXPECT_EQ(j["phrase"], "傷寒論數汗");
    EXPECT_EQ(j["layout"], "horizontal");
    EXPECT_TRUE(j["uncertain"].is_array());
    EXPECT_EQ(j["chars"].size(), 5u);
}

TEST_F(CliOcrTest, ExplainsEveryPictureItCannotUse) {
    std::ofstream(dir.file("notes.txt")) << "傷寒論";
    EXPECT_EQ(run({"ocr", dir.file("notes.txt")}), cli::kExitCannotRecognize);
    EXPECT_NE(err.str().find("is not a picture"), std::string::npos) << err.str();
    EXPECT_EQ(run({"ocr", dir.file("missing.png")}), cli::kExitCannotRecognize);
    EXPECT_NE(err.str().find("Couldn't open the file"), std::string::npos) << err.str();
    std::ofstream(dir.file("huge.pgm"), std::ios::binary) << "P5\n30000 30000\n255\n";
    EXPECT_EQ(run({"ocr", dir.file("huge.pgm")}), cli::kExitCannotRecognize);
    EXPECT_NE(err.str().find("too large"), std::string::npos) << err.str();
    // In the user's language.
    EXPECT_EQ(run({"--lang", "vi", "ocr", dir.file("notes.txt")}), cli::kExitCannotRecognize);
    EXPECT_NE(err.str().find("không phải là hình ảnh"), std::string::npos) << err.str();

    // A blank picture is an answer: nothing to read.
    std::string blank = picture(U"", Layout::Horizontal, "blank.png");
    EXPECT_EQ(run({"ocr", blank}), 0);
    EXPECT_TRUE(printed("No Hán text was recognized in the picture.")) << out.str();
    EXPECT_EQ(run({"--json", "ocr", blank}), 0);
    EXPECT_EQ(nlohmann::json::parse(out.str())["kind"], "message");

    for (const auto& args :
         std::vector<std::vector<std::string>>{{"ocr"},
                                               {"ocr", "a.png", "b.png"},
                                               {"ocr", "--vertical", "--horizontal", "a.png"},
                                               {"ocr", "--sideways", "a.png"}}) {
        EXPECT_EQ(run(args), cli::kExitUsage) << args.size();
    }
}

}  // namespace
}  // namespace talvo::testing
