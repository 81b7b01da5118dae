#include "tools/dictgen/unihan_reader.h"

#include <algorithm>
#include <filesystem>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/line_reader.h"
#include "tools/dictgen/source_error.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {

namespace {

constexpr const char* kStems[] = {"Unihan_Readings", "Unihan_Variants",
                                  "Unihan_DictionaryLikeData"};
constexpr const char* kOptionalStems[] = {"Unihan_OtherMappings", "Unihan_IRGSources"};

std::vector<std::string_view> splitSpaces(std::string_view s) {
    std::vector<std::string_view> out;
    for (std::string_view piece : text::split(s, ' ')) {
        if (!piece.empty()) {
            out.push_back(piece);
        }
    }
    return out;
}

class FileParser {
  public:
    FileParser(UnihanData& data, IssueLog& issues, const std::string& path)
        : m_data(data), m_issues(issues), m_path(path) {}

    void run() {
        LineReader reader(m_path);
        std::string line;
        while (reader.next(line)) {
            m_line = reader.lineNumber();
            parseLine(line);
        }
        if (!reader.error().empty()) {
            m_issues.add(m_path, reader.lineNumber(), "stopped early: " + reader.error());
        }
    }

  private:
    void problem(std::string message) { m_issues.add(m_path, m_line, std::move(message)); }

    void parseLine(const std::string& line) {
        if (line.empty() || line[0] == '#') {
            return;
        }
        if (!text::isValidUtf8(line)) {
            problem("not valid UTF-8");
            return;
        }
        auto fields = text::split(line, '\t');
        if (fields.size() != 3) {
            problem("expected 3 tab-separated fields, found " + std::to_string(fields.size()));
            return;
        }
        auto cp = HanChars::parseCodePoint(fields[0]);
        if (!cp) {
            problem("bad code point \"" + std::string(fields[0]) + "\"");
            return;
        }
        std::string_view field = fields[1];
        std::string_view value = text::trimBlanks(fields[2]);
        if (field == "kVietnamese") {
            parseVietnamese(*cp, value);
        } else if (field == "kDefinition") {
            m_data.definition[*cp] = std::string(value);
        } else if (field == "kFrequency") {
            if (value.size() == 1 && value[0] >= '1' && value[0] <= '5') {
                m_data.frequency[*cp] = value[0] - '0';
            } else {
                problem("kFrequency \"" + std::string(value) + "\" is not 1-5");
            }
        } else if (field == "kTraditionalVariant") {
            parseList(value, m_data.variants[*cp].traditional);
        } else if (field == "kSimplifiedVariant") {
            parseList(value, m_data.variants[*cp].simplified);
        } else if (field == "kZVariant") {
            parseList(value, m_data.variants[*cp].z);
        } else if (field == "kSemanticVariant") {
            parseSemantic(value, m_data.variants[*cp].semantic);
        } else if (field == "kSpecializedSemanticVariant") {
            parseSemantic(value, m_data.variants[*cp].specialized);
        } else if (field == "kJinmeiyoKanji" || field == "kJoyoKanji") {
            parseJapanese(*cp, value);
        } else if (field == "kMandarin") {
            for (std::string_view r : splitSpaces(value)) {
                m_data.mandarin[*cp].emplace_back(r);
            }
        } else if (field == "kRSUnicode") {
            parseRadical(*cp, value);
        } else if (field == "kBigFive" || field == "kGB0") {
            m_data.nationalStandard.insert(*cp);
        }
    }

    void parseVietnamese(char32_t cp, std::string_view value) {
        auto& out = m_data.vietnamese[cp];
        for (std::string_view r : splitSpaces(value)) {
            if (auto n = ToneStyle::normalizeReading(r)) {
                out.push_back(*n);
            } else {
                problem("kVietnamese reading \"" + std::string(r) + "\" is not a syllable");
            }
        }
    }

    // "U+9634" or "U+9682<kLau,kMatthews": the part after "<" names sources.
    std::optional<char32_t> target(std::string_view token, int* sources, bool* glyph = nullptr) {
        size_t lt = token.find('<');
        auto cp = HanChars::parseCodePoint(token.substr(0, lt));
        if (!cp) {
            problem("bad variant \"" + std::string(token) + "\"");
            return std::nullopt;
        }
        std::vector<std::string_view> named;
        if (lt != std::string_view::npos) {
            named = text::split(token.substr(lt + 1), ',');
        }
        if (sources) {
            *sources = static_cast<int>(named.size());
        }
        if (glyph) {
            *glyph = std::find(named.begin(), named.end(), "kHKGlyph") != named.end();
        }
        return cp;
    }

    void parseList(std::string_view value, std::vector<char32_t>& out) {
        for (std::string_view token : splitSpaces(value)) {
            if (auto cp = target(token, nullptr)) {
                out.push_back(*cp);
            }
        }
    }

    void parseSemantic(std::string_view value, std::vector<UnihanData::Semantic>& out) {
        for (std::string_view token : splitSpaces(value)) {
            int sources = 0;
            bool glyph = false;
            if (auto v = target(token, &sources, &glyph)) {
                out.push_back(UnihanData::Semantic{*v, sources, glyph});
            }
        }
    }

    // "2010" (a year: no pair) or "2010:U+9332" (kJinmeiyoKanji) or "U+525D"
    // (kJoyoKanji): the code point names the other form of the pair.
    void parseJapanese(char32_t cp, std::string_view value) {
        size_t plus = value.find("U+");
        if (plus == std::string_view::npos) {
            return;
        }
        auto other = target(value.substr(plus), nullptr);
        // A compatibility ideograph (海 U+FA45) is its unified character
        // once text is normalised; a pair of the two is no pair.
        char32_t self = HanChars::unified(cp);
        if (!other || HanChars::unified(*other) == self) {
            return;
        }
        for (auto [from, to] : {std::pair{self, HanChars::unified(*other)},
                                std::pair{HanChars::unified(*other), self}}) {
            std::vector<char32_t>& list = m_data.variants[from].japanese;
            if (std::find(list.begin(), list.end(), to) == list.end()) {
                list.push_back(to);
            }
        }
    }

    // "167.8", "213'.0" (a simplified radical), several values: the first one's radical.
    void parseRadical(char32_t cp, std::string_view value) {
        int radical = 0;
        size_t i = 0;
        for (; i < value.size() && value[i] >= '0' && value[i] <= '9' && radical < 1000; ++i) {
            radical = radical * 10 + (value[i] - '0');
        }
        if (i == 0 || radical < 1 || radical > 214) {
            problem("kRSUnicode \"" + std::string(value) + "\" has no radical");
            return;
        }
        m_data.radical[cp] = radical;
        // "167.8": 8 strokes beyond the radical; a simplified radical's
        // apostrophes come before the dot.
        size_t dot = value.find('.', i);
        if (dot != std::string_view::npos) {
            int strokes = 0;
            size_t j = dot + 1;
            for (; j < value.size() && value[j] >= '0' && value[j] <= '9' && strokes < 1000; ++j) {
                strokes = strokes * 10 + (value[j] - '0');
            }
            if (j > dot + 1) {
                m_data.residualStrokes[cp] = strokes;
            }
        }
    }

    UnihanData& m_data;
    IssueLog& m_issues;
    const std::string& m_path;
    size_t m_line = 0;
};

}  // namespace

std::string UnihanReader::locate(const std::string& dir, const std::string& stem) {
    namespace fs = std::filesystem;
    for (const char* ext : {".txt.bz2", ".txt"}) {
        fs::path p = fs::path(dir) / (stem + ext);
        std::error_code ec;
        if (fs::is_regular_file(p, ec)) {
            return p.string();
        }
    }
    return {};
}

UnihanData UnihanReader::read(const std::string& dir, IssueLog& issues) {
    UnihanData data;
    for (const char* stem : kStems) {
        std::string path = locate(dir, stem);
        if (path.empty()) {
            throw SourceError(std::string("Unihan: ") + stem + ".txt.bz2 not found in " + dir +
                              "; install the Debian package " + kPackage +
                              " (./dev build does) or pass --unihan DIR");
        }
        data.files.push_back(path);
        FileParser(data, issues, path).run();
    }
    for (const char* stem : kOptionalStems) {
        std::string path = locate(dir, stem);
        if (!path.empty()) {
            data.files.push_back(path);
            FileParser(data, issues, path).run();
        }
    }
    return data;
}

}  // namespace talvo::dictgen
