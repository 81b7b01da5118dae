#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "core/db/database.h"
#include "core/lookup/dictionary_error.h"
#include "core/lookup/override_store.h"
#include "core/tests/fixture_dict.h"

using namespace talvo;
using namespace talvo::testing;
using Strings = std::vector<std::string>;

TEST(OverrideStore, SavedReadingsAreTrimmedAndReadBackInOrder) {
    TempDir dir;
    std::string path = (dir.path() / "nested" / "deeper" / "overrides.sqlite").string();
    OverrideStore store(path);  // creates the missing folders
    store.setReadings({"sác", "  số ", "", " \t"}, "數");
    EXPECT_EQ(store.readings("數"), (Strings{"sác", "số"}));

    db::Database raw(path, db::Database::Mode::ReadOnly);
    db::Statement st(raw, "SELECT am FROM char_override WHERE char = '數'");
    ASSERT_TRUE(st.step());
    EXPECT_EQ(st.text(0), "sác, số");
}

TEST(OverrideStore, BlankInputRemovesTheOverride) {
    TempDir dir;
    OverrideStore store(dir.file("o.sqlite"));
    store.setReadings({"sác"}, "數");
    store.setReadings({" ", ""}, "數");
    EXPECT_EQ(store.readings("數"), std::nullopt);
    store.setReadings({"ố"}, "惡");
    store.clear("惡");
    EXPECT_EQ(store.readings("惡"), std::nullopt);
}

TEST(OverrideStore, StoredRowsOfOnlyCommasReadAsAbsent) {
    TempDir dir;
    std::string path = dir.file("o.sqlite");
    { OverrideStore create(path); }
    {
        db::Database raw(path, db::Database::Mode::ReadWriteCreate);
        raw.exec("INSERT INTO char_override VALUES ('數', ' , ,\t,')");
    }
    OverrideStore store(path);
    EXPECT_EQ(store.readings("數"), std::nullopt);
}

TEST(OverrideStore, UnwritableOrCorruptFilesAreRefusedAtOpen) {
    TempDir dir;
    if (::geteuid() != 0) {
        std::filesystem::create_directories(dir.path() / "ro");
        std::filesystem::permissions(dir.path() / "ro", std::filesystem::perms::owner_read |
                                                            std::filesystem::perms::owner_exec);
        EXPECT_THROW(OverrideStore((dir.path() / "ro" / "o.sqlite").string()), DictionaryError);
    }
    // A regular file where the folder should be cannot be worked around, even as root.
    std::ofstream(dir.file("blocker")) << "x";
    EXPECT_THROW(OverrideStore((dir.path() / "blocker" / "o.sqlite").string()), DictionaryError);

    std::ofstream(dir.file("junk.sqlite")) << std::string(4096, '\x5a');
    EXPECT_THROW(OverrideStore(dir.file("junk.sqlite")), DictionaryError);
}
