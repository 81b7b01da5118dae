#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

// What the build takes from the Unihan database.
struct UnihanData {
    struct Semantic {
        char32_t ch;
        int sources;  // how many dictionaries attest the link; more is surer
        // Attested by kHKGlyph: Hong Kong's glyph standard takes the two for
        // shapes of one character (爲 and 為).
        bool glyph = false;
    };
    struct Variants {
        std::vector<char32_t> traditional;
        std::vector<char32_t> simplified;
        std::vector<char32_t> z;
        std::vector<Semantic> semantic;
        std::vector<Semantic> specialized;  // kSpecializedSemanticVariant: some senses only
        // The other member of a Japanese pair: the Jōyō form (録) of a
        // traditional one (錄) and back (kJinmeiyoKanji, kJoyoKanji).
        std::vector<char32_t> japanese;
    };

    // kVietnamese, normalized, in Unihan's order. Nôm readings are still in.
    std::unordered_map<char32_t, std::vector<std::string>> vietnamese;
    std::unordered_map<char32_t, std::string> definition;  // kDefinition, English
    std::unordered_map<char32_t, int> frequency;           // kFrequency, 1 (most) .. 5
    std::unordered_map<char32_t, Variants> variants;
    std::unordered_map<char32_t, std::vector<std::string>> mandarin;  // kMandarin, as written
    std::unordered_map<char32_t, int> radical;  // Kangxi radical of kRSUnicode's first value
    std::unordered_map<char32_t, int> residualStrokes;  // strokes beyond that radical
    // Characters of Big5 or GB 2312: the forms Taiwan and the mainland print.
    std::unordered_set<char32_t> nationalStandard;
    std::vector<std::string> files;  // the files read

    const Variants* variantsOf(char32_t c) const {
        auto it = variants.find(c);
        return it == variants.end() ? nullptr : &it->second;
    }
};

// Reads Unihan_Readings, Unihan_Variants and Unihan_DictionaryLikeData from a
// folder, each either bzip2-compressed (as Debian's unicode-data ships them)
// or plain, and Unihan_OtherMappings and Unihan_IRGSources when present: they
// only sharpen the variant links, so a folder without them still builds.
// Throws SourceError naming the package when a required file is missing;
// malformed lines are logged and skipped.
class UnihanReader {
  public:
    static constexpr const char* kPackage = "unicode-data";
    static constexpr const char* kDefaultDir = "/usr/share/unicode";

    static UnihanData read(const std::string& dir, IssueLog& issues);
    // The path of one Unihan file in dir (".txt.bz2" preferred), or empty.
    static std::string locate(const std::string& dir, const std::string& stem);
};

}  // namespace talvo::dictgen
