#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/dictgen/m17n_reader.h"
#include "tools/dictgen/readings_csv_reader.h"
#include "tools/dictgen/source_error.h"
#include "tools/dictgen/tests/fixture_files.h"
#include "tools/dictgen/thieuchuu_reader.h"
#include "tools/dictgen/unihan_reader.h"

namespace talvo::dictgen {
namespace {

using test::TempDir;
using Strings = std::vector<std::string>;

// Issue messages mention the offending line; this finds whether any example
// for file was reported at that line.
bool reportedAt(const IssueLog& log, const std::string& file, size_t line) {
    for (const auto& f : log.files()) {
        if (f.file != file) {
            continue;
        }
        for (const auto& e : f.examples) {
            if (e.line == line) {
                return true;
            }
        }
    }
    return false;
}

TEST(ThieuChuuReader, ReadsEntriesInTheDictionarysOwnOrder) {
    TempDir dir;
    std::string path =
        dir.write("tc.txt",
                  "\xEF\xBB\xBF數=sổ, số, sác, xúc [shu3|shu4|shuo4]\\n\\t1. "
                  "\xC3\x90\xE1\xBA\xBFm, đếm số vật. "
                  "\\n\\t2. Trách mắng kẻ có tội. \\n\\t8. Lại một âm là sác. Luôn luôn.\n"
                  "倢=tiệp (10 n) [jie2]\\n\\t1. Cũng như chữ 婕.\n"
                  "\n");
    IssueLog log;
    ThieuChuuData data = ThieuChuuReader::read(path, log);

    const ThieuChuuEntry* shu = data.find(U'數');
    ASSERT_NE(shu, nullptr);
    EXPECT_EQ(shu->readings, (Strings{"sổ", "số", "sác", "xúc"}));
    // Eth folded to Đ, numbers gone, senses kept in order.
    EXPECT_EQ(shu->senses, (Strings{"Đếm, đếm số vật.", "Trách mắng kẻ có tội.",
                                    "Lại một âm là sác. Luôn luôn."}));
    EXPECT_FALSE(shu->pointsTo);
    ASSERT_NE(data.find(U'倢'), nullptr);
    EXPECT_EQ(data.find(U'倢')->readings, Strings{"tiệp"});  // the stroke count is not a reading
    EXPECT_EQ(log.total(), 0u);
}

TEST(ThieuChuuReader, RecognisesVariantNotesAndMergesRepeatedCharacters) {
    TempDir dir;
    std::string path = dir.write("tc.txt",
                                 "隂=ẩm [yin1]\\n\\t1. Tục dùng như chữ âm 陰.\n"
                                 "脉=mạch [mai4|mo4]\\n\\t1. Mạch máu. \\n\\t2. Thớ.\n"
                                 "脉=mạch, mạc [mai4|mo4]\\n\\t1. Tục dùng như chữ mạch 脈.\n"
                                 "湣=mẫn [min3]\\n\\t1. Cùng nghĩa với chữ mẫn 閔.\n"
                                 "强=cường\\n\\t1. Mạnh. \\n\\t2. Tục dùng như chữ cường 強\n"
                                 "吞=thôn\\n\\t1. Cũng viết là 併吞. Cũng như chữ thôn 吞.\n");
    IssueLog log;
    ThieuChuuData data = ThieuChuuReader::read(path, log);

    const ThieuChuuEntry* yin = data.find(U'隂');
    ASSERT_NE(yin, nullptr);
    ASSERT_TRUE(yin->pointsTo);
    EXPECT_EQ(*yin->pointsTo, U'陰');
    EXPECT_EQ(yin->pointerReading, "âm");
    EXPECT_TRUE(yin->ownTexts.empty());

    const ThieuChuuEntry* mai = data.find(U'脉');
    ASSERT_NE(mai, nullptr);
    EXPECT_EQ(data.merged, 1u);
    EXPECT_EQ(mai->readings, (Strings{"mạch", "mạc"}));
    EXPECT_EQ(mai->senses.size(), 3u);
    ASSERT_TRUE(mai->pointsTo);
    EXPECT_EQ(*mai->pointsTo, U'脈');
    EXPECT_EQ(mai->ownTexts.size(), 1u);

    // "Same meaning as" sends the reader to another word, not another spelling.
    EXPECT_FALSE(data.find(U'湣')->pointsTo);

    // Inside a sense, the same phrases name other forms of this character,
    // but not a word (併吞), nor the character itself.
    EXPECT_EQ(data.find(U'强')->namedForms, std::vector<char32_t>{U'強'});
    EXPECT_TRUE(data.find(U'吞')->namedForms.empty());
}

TEST(ThieuChuuReader, ReportsBadLinesAndKeepsGoing) {
    TempDir dir;
    std::string path = dir.write("tc.txt",
                                 "一=nhất [yi1]\\n\\t1. Một.\n"
                                 "no equals sign here\n"
                                 "陰=âm, 3x [yin1]\\n\\t1. Số âm.\n"
                                 "陽=dương [yang2]\\n\\t1. M\xFF\xFEt.\n"
                                 "AB=xx [a]\n"
                                 "寒=hàn [han2]\\n\\t1. Rét.");
    IssueLog log;
    ThieuChuuData data = ThieuChuuReader::read(path, log);
    EXPECT_EQ(data.entries.size(), 4u);  // the mis-encoded line is repaired, not lost
    EXPECT_EQ(data.find(U'陰')->readings, Strings{"âm"});
    ASSERT_NE(data.find(U'寒'), nullptr);  // last line without a newline
    EXPECT_EQ(log.countFor(path), 4u);
    for (size_t line : {2, 3, 4, 5}) {
        EXPECT_TRUE(reportedAt(log, path, line)) << line;
    }
}

TEST(ReadingsCsvReader, ParsesListLiteralsAndReportsBadRows) {
    TempDir dir;
    std::string path = dir.write("hv.csv",
                                 "char,hanviet,pinyin\r\n"
                                 "數,['sổ'],shu3\r\n"
                                 "數,\"['số', \"\"sác\"\"]\",shu4\r\n"
                                 "乀,[],pie3\r\n"
                                 "瓩,['thiên ngoã'],qian1wa3\r\n"
                                 "⻏,['ấp'],*\r\n"
                                 "bad,row\r\n"
                                 "陽,['dương',\r\n"
                                 "陰,\"['âm', 'x1']\",yin1");
    IssueLog log;
    ReadingsCsvData data = ReadingsCsvReader::read(path, log);
    EXPECT_EQ(data.readings.at(U'數'), (Strings{"sổ", "số", "sác"}));
    EXPECT_EQ(data.readings.at(U'瓩'), Strings{"thiên ngõa"});
    EXPECT_EQ(data.readings.at(U'陰'), Strings{"âm"});
    EXPECT_EQ(data.emptyRows, 1u);
    EXPECT_EQ(log.countFor(path), 4u);
    for (size_t line : {6, 7, 8, 9}) {
        EXPECT_TRUE(reportedAt(log, path, line)) << line;
    }
}

TEST(M17nReader, DecodesKeysForEveryCharacterTheyList) {
    TempDir dir;
    std::string path = dir.write("vi-han.mim",
                                 ";; comment (\"not\" (\"an entry\"))\n"
                                 "(map\n"
                                 " (starter\n"
                                 "  (\"a\") (\"b\"))\n"
                                 " (map\n"
                                 "  (\"sacs\"  (\"數数\"))\n"
                                 "  (\"soos\"  (\"數数\"))\n"
                                 "  (\"thwowng\"  (\"傷商\"))\n"
                                 "  (\"z\"  (\"、。兡\"))\n"
                                 "  (\"broken\"  (\"傷\"\n"
                                 "  (\"aa\"  (\"、\"))))\n");
    IssueLog log;
    M17nData data = M17nReader::read(path, log);
    EXPECT_EQ(data.readings.at(U'數'), (Strings{"sác", "số"}));
    EXPECT_EQ(data.readings.at(U'数'), (Strings{"sác", "số"}));
    EXPECT_EQ(data.readings.at(U'傷'), Strings{"thương"});
    EXPECT_EQ(data.pairs, 6u);
    EXPECT_EQ(data.symbolsSkipped, 3u);
    EXPECT_EQ(log.countFor(path), 2u);
    EXPECT_TRUE(reportedAt(log, path, 9));
    EXPECT_TRUE(reportedAt(log, path, 10));
}

TEST(M17nReader, MissingFileNamesThePackage) {
    IssueLog log;
    try {
        M17nReader::read("/nonexistent/vi-han.mim", log);
        FAIL() << "no error";
    } catch (const SourceError& e) {
        EXPECT_NE(std::string(e.what()).find("m17n-db"), std::string::npos) << e.what();
    }
}

struct UnihanFixture {
    std::string readings =
        "# Unihan_Readings.txt\n"
        "U+6578\tkVietnamese\tsố\n"
        "U+6578\tkDefinition\tnumber; several; count; fate\n"
        "U+50B7\tkVietnamese\tthương 1x\n"
        "U+XYZ\tkVietnamese\tbad\n"
        "U+9682\tkDefinition\t(same as 陰) shady\n";
    std::string variants =
        "U+9682\tkSemanticVariant\tU+9670<kLau,kMatthews,kMeyerWempe\n"
        "U+9634\tkTraditionalVariant\tU+9670\n"
        "U+9ED2\tkZVariant\tU+9ED1 U+ZZZZ\n";
    std::string dictionaryLike =
        "U+9670\tkFrequency\t4\n"
        "U+6578\tkFrequency\t9\n"
        "only\ttwo\n";
};

void checkUnihan(const UnihanData& d) {
    EXPECT_EQ(d.vietnamese.at(U'數'), Strings{"số"});
    EXPECT_EQ(d.vietnamese.at(U'傷'), Strings{"thương"});
    EXPECT_EQ(d.definition.at(U'數'), "number; several; count; fate");
    EXPECT_EQ(d.frequency.at(U'陰'), 4);
    EXPECT_EQ(d.frequency.count(U'數'), 0u);
    ASSERT_NE(d.variantsOf(U'隂'), nullptr);
    ASSERT_EQ(d.variantsOf(U'隂')->semantic.size(), 1u);
    EXPECT_EQ(d.variantsOf(U'隂')->semantic[0].ch, U'陰');
    EXPECT_EQ(d.variantsOf(U'隂')->semantic[0].sources, 3);
    EXPECT_EQ(d.variantsOf(U'阴')->traditional, std::vector<char32_t>{U'陰'});
    EXPECT_EQ(d.variantsOf(U'黒')->z, std::vector<char32_t>{U'黑'});
}

TEST(UnihanReader, ReadsPlainAndCompressedFilesAlike) {
    UnihanFixture f;
    for (bool compressed : {false, true}) {
        SCOPED_TRACE(compressed ? "bz2" : "plain");
        TempDir dir;
        if (compressed) {
            dir.writeBz2("Unihan_Readings.txt.bz2", f.readings);
            dir.writeBz2("Unihan_Variants.txt.bz2", f.variants);
            dir.writeBz2("Unihan_DictionaryLikeData.txt.bz2", f.dictionaryLike);
        } else {
            dir.write("Unihan_Readings.txt", f.readings);
            dir.write("Unihan_Variants.txt", f.variants);
            dir.write("Unihan_DictionaryLikeData.txt", f.dictionaryLike);
        }
        IssueLog log;
        UnihanData d = UnihanReader::read(dir.path(), log);
        checkUnihan(d);
        // "1x", "U+XYZ", "U+ZZZZ", kFrequency 9, a two-field line.
        EXPECT_EQ(log.total(), 5u) << log.format();
    }
}

TEST(UnihanReader, ReadsTheOptionalMappingsWhenPresent) {
    UnihanFixture f;
    TempDir dir;
    dir.write("Unihan_Readings.txt", f.readings + "U+98F2\tkMandarin\tyǐn yìn\n");
    dir.write("Unihan_Variants.txt",
              f.variants + "U+6BBB\tkSpecializedSemanticVariant\tU+6BBC<kFenn\n");
    dir.write("Unihan_DictionaryLikeData.txt", f.dictionaryLike);
    dir.write("Unihan_OtherMappings.txt",
              "U+9304\tkJinmeiyoKanji\t2010:U+9332\n"
              "U+9332\tkJoyoKanji\t2010\n"
              "U+FA45\tkJinmeiyoKanji\t2010:U+6D77\n"  // a compatibility ideograph
              "U+9670\tkBigFive\tB3B1\n"
              "U+9634\tkGB0\t4992\n");
    std::string irg = dir.write("Unihan_IRGSources.txt",
                                "U+98F2\tkRSUnicode\t184.4\n"
                                "U+996E\tkRSUnicode\t184'.4 184.5\n"
                                "U+9ED1\tkRSUnicode\tx.1\n");
    IssueLog log;
    UnihanData d = UnihanReader::read(dir.path(), log);
    EXPECT_EQ(d.variantsOf(U'錄')->japanese, std::vector<char32_t>{U'録'});
    EXPECT_EQ(d.variantsOf(U'録')->japanese, std::vector<char32_t>{U'錄'});
    EXPECT_EQ(d.variantsOf(U'海'), nullptr);
    EXPECT_EQ(d.variantsOf(U'殻')->specialized.at(0).ch, U'殼');
    EXPECT_EQ(d.mandarin.at(U'飲'), (Strings{"yǐn", "yìn"}));
    EXPECT_EQ(d.radical.at(U'飲'), 184);
    EXPECT_EQ(d.radical.at(U'饮'), 184);
    EXPECT_EQ(d.nationalStandard, (std::unordered_set<char32_t>{U'陰', U'阴'}));
    EXPECT_EQ(d.files.size(), 5u);
    EXPECT_TRUE(reportedAt(log, irg, 3));
}

TEST(UnihanReader, SurvivesATruncatedArchiveAndNamesThePackageWhenAbsent) {
    UnihanFixture f;
    std::string big;
    for (int i = 0; i < 2000; ++i) {
        big += f.readings;
    }
    TempDir dir;
    std::string readings = dir.writeBz2("Unihan_Readings.txt.bz2", big, 300);
    dir.write("Unihan_Variants.txt", f.variants);
    dir.write("Unihan_DictionaryLikeData.txt", f.dictionaryLike);
    IssueLog log;
    EXPECT_NO_THROW(UnihanReader::read(dir.path(), log));
    ASSERT_GT(log.countFor(readings), 0u);
    EXPECT_NE(log.format().find("truncated"), std::string::npos) << log.format();

    TempDir empty;
    try {
        UnihanReader::read(empty.path(), log);
        FAIL() << "no error";
    } catch (const SourceError& e) {
        EXPECT_NE(std::string(e.what()).find("unicode-data"), std::string::npos) << e.what();
    }
}

}  // namespace
}  // namespace talvo::dictgen
