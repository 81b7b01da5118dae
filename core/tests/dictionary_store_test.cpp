#include <gtest/gtest.h>

#include <fstream>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/dictionary_store.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
using namespace talvo::testing;
using Strings = std::vector<std::string>;

class DictionaryStoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        writeFixtureDict(dir.file("dict.sqlite"),
                         {
                             {"寒", {"hàn"}, "Lạnh.", "① Lạnh.\n② Nghèo.", 500},
                             {"韓", {"Hàn"}, "", nullptr, 40},
                             {"漢", {"hán", ""}, nullptr, nullptr, 40},
                             {"之", {}, "Chưng.", nullptr, 9000},
                             {"翰", {"hàn"}, nullptr, nullptr, -1},
                             {"汗", {"hãn", "hàn"}, nullptr, nullptr, 10},
                             {"邯", {"HÀN"}, nullptr, nullptr, -1},
                         });
        store = std::make_unique<DictionaryStore>(dir.file("dict.sqlite"));
    }
    TempDir dir;
    std::unique_ptr<DictionaryStore> store;
};

TEST_F(DictionaryStoreTest, ReadingsComeInRowOrderAndEmptyOnesAreKept) {
    EXPECT_EQ(store->lookupChar("漢"), (Strings{"hán", ""}));
    EXPECT_EQ(store->lookupChar("汗"), (Strings{"hãn", "hàn"}));
    EXPECT_EQ(store->lookupChar("無"), Strings{});
}

TEST_F(DictionaryStoreTest, ReadingQueryIsTrimmedAndLowerCasedButTonesMatter) {
    // SQL lower() folds only ASCII: a stored "Hàn" (韓) matches, a stored "HÀN" (邯) never does.
    const Strings hanChars{"寒", "韓", "翰", "汗"};
    EXPECT_EQ(store->lookupAm(" Hàn\n"), hanChars);
    EXPECT_EQ(store->lookupAm("HÀN"), hanChars);
    EXPECT_EQ(store->lookupAm("han"), Strings{});
    EXPECT_EQ(store->lookupAm(" \n\t"), Strings{});
}

TEST_F(DictionaryStoreTest, GlossesAreAbsentWhenMissingOrEmpty) {
    EXPECT_EQ(store->charGloss("寒"), "Lạnh.");
    EXPECT_EQ(store->charMeaning("寒"), "① Lạnh.\n② Nghèo.");
    EXPECT_EQ(store->charGloss("韓"), std::nullopt);    // empty string
    EXPECT_EQ(store->charMeaning("韓"), std::nullopt);  // NULL
    EXPECT_EQ(store->charGloss("漢"), std::nullopt);    // no row
}

TEST_F(DictionaryStoreTest, TopCharactersSkipThoseWithoutReadingsAndBreakTiesByCharacter) {
    EXPECT_EQ(store->topCharsByFreq(0), Strings{});
    // 之 is the most frequent but has no reading; 漢 (U+6F22) sorts before 韓 (U+97D3).
    EXPECT_EQ(store->topCharsByFreq(3), (Strings{"寒", "漢", "韓"}));
    EXPECT_EQ(store->topCharsByFreq(100).size(), 4u);  // 寒 漢 韓 汗
    EXPECT_EQ(store->corpusFreq("寒"), 500);
    EXPECT_EQ(store->corpusFreq("翰"), 0);
}

TEST_F(DictionaryStoreTest, DictionaryOnlyAnalyzeFillsTheEntryForOneCharacter) {
    PhraseLookup one = store->analyze({"寒"});
    EXPECT_EQ(one.phrase, "寒");
    EXPECT_EQ(one.nghia, "① Lạnh.\n② Nghèo.");
    EXPECT_EQ(one.matchedSubphrase, "寒");
    PhraseLookup two = store->analyze({"寒", "漢"});
    EXPECT_EQ(two.phrase, "寒漢");
    EXPECT_EQ(two.nghia, std::nullopt);
    EXPECT_EQ(two.matchedSubphrase, std::nullopt);
}

TEST(DictionaryStoreOpen, UnusableFilesAreReportedAsCannotOpen) {
    TempDir dir;
    auto expectCannotOpen = [](const std::string& path, const std::string& reason) {
        try {
            DictionaryStore s(path);
            ADD_FAILURE() << "opened " << path;
        } catch (const DictionaryError& e) {
            EXPECT_EQ(e.kind(), DictionaryError::Kind::CannotOpen);
            EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
        }
    };
    expectCannotOpen(dir.file("missing.sqlite"), "unable to open");
    EXPECT_FALSE(std::filesystem::exists(dir.file("missing.sqlite")));

    std::ofstream(dir.file("empty.sqlite")).close();
    expectCannotOpen(dir.file("empty.sqlite"), "han_viet");

    std::ofstream junk(dir.file("junk.sqlite"), std::ios::binary);
    for (int i = 0; i < 8192; ++i) {
        junk.put(static_cast<char>((i * 7919) % 251));
    }
    junk.close();
    expectCannotOpen(dir.file("junk.sqlite"), "not a database");
}

TEST(DictionaryStoreOpen, MissingSideTablesFallBackToEmptyAnswers) {
    TempDir dir;
    {
        db::Database d(dir.file("d.sqlite"), db::Database::Mode::ReadWriteCreate);
        d.exec(
            "CREATE TABLE han_viet (char TEXT, am TEXT); INSERT INTO han_viet VALUES ('寒','hàn')");
    }
    DictionaryStore s(dir.file("d.sqlite"));
    EXPECT_EQ(s.lookupChar("寒"), Strings{"hàn"});
    EXPECT_EQ(s.charGloss("寒"), std::nullopt);
    EXPECT_EQ(s.corpusFreq("寒"), 0);
    EXPECT_EQ(s.topCharsByFreq(5), Strings{});
}

TEST(DictionaryStoreOpen, AnyPathTheFileSystemAcceptsOpens) {
    TempDir dir;
    // Names that mean something in a URI, spaces, non-ASCII and a folder
    // named like a URI authority; each must reach exactly its own file.
    const std::vector<std::string> names = {
        "plain.sqlite",      "what?.sqlite",   "a#b.sqlite",           "100%.sqlite",
        "with space.sqlite", "từ điển.sqlite", "x?immutable=0.sqlite", "%2F.sqlite",
    };
    std::filesystem::create_directories(dir.path() / "host:1");
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string path = (dir.path() / "host:1" / names[i]).string();
        const std::string reading = "r" + std::to_string(i);
        writeFixtureDict(path, {{"寒", {reading}, nullptr, nullptr, -1}});
        EXPECT_EQ(DictionaryStore(path).lookupChar("寒"), Strings{reading}) << path;
    }

    // A path that starts with "//" is still a path, not a host.
    const std::string doubled = "/" + (dir.path() / "host:1" / "plain.sqlite").string();
    EXPECT_EQ(DictionaryStore(doubled).lookupChar("寒"), Strings{"r0"}) << doubled;

    // A relative path opens from the working folder.
    const auto cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir.path());
    std::optional<Strings> relative;
    try {
        relative = DictionaryStore("host:1/what?.sqlite").lookupChar("寒");
    } catch (const DictionaryError& e) {
        ADD_FAILURE() << e.what();
    }
    std::filesystem::current_path(cwd);
    EXPECT_EQ(relative, Strings{"r1"});
}
