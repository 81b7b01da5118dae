#include <gtest/gtest.h>

#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/tests/fixture_files.h"

namespace talvo::dictgen {
namespace {

using test::TempDir;

TEST(CorpusCounter, CountsTextAndCommentaryButNotMarkup) {
    TempDir dir;
    dir.write("KR1/KR1_001.txt",
              "# -*- mode: mandoku-view; -*-\n"
              "#+TITLE: 注解傷寒論\n"
              "<pb:KR1_SBCK_001-1a>¶\n"
              "太陽之為病(脈浮/頭項)強痛¶\n"
              "　&KR0214;隂陽\xEF\xA4\x80¶\n");  // U+F900, a compatibility ideograph
    dir.write("KR1/KR1_002.txt", "脉(注¶\n");
    dir.write("KR1/Readme.org", "病病病\n");
    std::string bad = dir.write("KR2/b.txt", "\xFF病)\n");

    CorpusCounter counter;
    IssueLog log;
    size_t lastDone = 0;
    size_t lastTotal = 0;
    counter.addDirectory(dir.path(), log, [&](size_t done, size_t total) {
        lastDone = done;
        lastTotal = total;
    });
    const CorpusCounts& c = counter.counts();

    EXPECT_EQ(c.tokens, 17);
    EXPECT_EQ(c.commentaryTokens, 5);  // 脈浮頭項, and 注 after a ( left open
    EXPECT_EQ(c.entities, 1);
    EXPECT_EQ(c.counts.at(U'病'), 2);      // Readme.org is not text
    EXPECT_EQ(c.counts.at(U'\u8C48'), 1);  // U+F900 counted as its unified form
    EXPECT_EQ(c.counts.count(U'\uF900'), 0u);
    EXPECT_EQ(c.counts.at(U'隂'), 1);  // folding is the builder's job, not the counter's
    ASSERT_EQ(c.texts.size(), 2u);
    EXPECT_EQ(c.texts.at("KR1").title, "注解傷寒論");
    EXPECT_EQ(c.texts.at("KR1").tokens, 16);
    EXPECT_EQ(c.files.size(), 3u);
    EXPECT_EQ(lastDone, 3u);
    EXPECT_EQ(lastTotal, 3u);

    // The unclosed "(", the bad bytes and the stray ")".
    EXPECT_EQ(log.total(), 3u) << log.format();
    EXPECT_EQ(log.countFor(bad), 2u);
}

TEST(CorpusCounter, MissingFolderIsAWarningNotAFailure) {
    CorpusCounter counter;
    IssueLog log;
    counter.addDirectory("/nonexistent/corpus", log);
    EXPECT_EQ(counter.counts().tokens, 0);
    ASSERT_EQ(log.warnings().size(), 1u);
    EXPECT_EQ(log.total(), 0u);
}

}  // namespace
}  // namespace talvo::dictgen
