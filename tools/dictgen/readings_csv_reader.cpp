#include "tools/dictgen/readings_csv_reader.h"

#include <algorithm>
#include <optional>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/line_reader.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {

namespace {

// One CSV record on one line: commas separate, double quotes protect commas
// and are doubled inside a quoted field. Absent when a quote is left open.
std::optional<std::vector<std::string>> csvFields(std::string_view line) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (quoted) {
            if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
                fields.back() += '"';
                ++i;
            } else if (c == '"') {
                quoted = false;
            } else {
                fields.back() += c;
            }
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    if (quoted) {
        return std::nullopt;
    }
    return fields;
}

// "['phao', 'bào']" -> {"phao", "bào"}; both quote styles, backslash escapes.
std::optional<std::vector<std::string>> listLiteral(std::string_view s) {
    s = text::trimWhitespace(s);
    if (s.size() < 2 || s.front() != '[' || s.back() != ']') {
        return std::nullopt;
    }
    s = s.substr(1, s.size() - 2);
    std::vector<std::string> out;
    size_t i = 0;
    auto skipSpaces = [&] {
        while (i < s.size() && s[i] == ' ') {
            ++i;
        }
    };
    skipSpaces();
    while (i < s.size()) {
        char q = s[i];
        if (q != '\'' && q != '"') {
            return std::nullopt;
        }
        std::string item;
        bool closed = false;
        for (++i; i < s.size(); ++i) {
            if (s[i] == '\\' && i + 1 < s.size()) {
                item += s[++i];
            } else if (s[i] == q) {
                closed = true;
                ++i;
                break;
            } else {
                item += s[i];
            }
        }
        if (!closed) {
            return std::nullopt;
        }
        out.push_back(std::move(item));
        skipSpaces();
        if (i < s.size()) {
            if (s[i] != ',') {
                return std::nullopt;
            }
            ++i;
            skipSpaces();
        }
    }
    return out;
}

}  // namespace

ReadingsCsvData ReadingsCsvReader::read(const std::string& path, IssueLog& issues) {
    ReadingsCsvData data;
    LineReader reader(path);
    std::string line;
    while (reader.next(line)) {
        size_t lineNo = reader.lineNumber();
        if (lineNo == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) {
            line.erase(0, 3);
        }
        if (text::trimWhitespace(line).empty()) {
            continue;
        }
        if (!text::isValidUtf8(line)) {
            issues.add(path, lineNo, "not valid UTF-8");
            continue;
        }
        auto fields = csvFields(line);
        if (!fields || fields->size() != 3) {
            issues.add(path, lineNo, "expected 3 fields: char,hanviet,pinyin");
            continue;
        }
        if (lineNo == 1 && (*fields)[0] == "char") {
            continue;
        }
        ++data.rows;
        auto ch = HanChars::single(text::trimBlanks((*fields)[0]));
        if (!ch) {
            issues.add(path, lineNo, "\"" + (*fields)[0] + "\" is not one Hán character");
            continue;
        }
        auto items = listLiteral((*fields)[1]);
        if (!items) {
            issues.add(path, lineNo, "readings \"" + (*fields)[1] + "\" are not a list literal");
            continue;
        }
        if (items->empty()) {
            ++data.emptyRows;
            continue;
        }
        auto& list = data.readings[*ch];
        ReadingsCsvData::ByPinyin row{text::toLower(text::trimBlanks((*fields)[2])), {}};
        for (const std::string& item : *items) {
            auto r = ToneStyle::normalizeReading(item);
            if (!r) {
                issues.add(path, lineNo, "reading \"" + item + "\" is not Vietnamese");
                continue;
            }
            if (std::find(list.begin(), list.end(), *r) == list.end()) {
                list.push_back(*r);
            }
            row.readings.push_back(*r);
        }
        if (!row.readings.empty() && !row.pinyin.empty()) {
            data.byPinyin[*ch].push_back(std::move(row));
        }
    }
    if (!reader.error().empty()) {
        issues.add(path, reader.lineNumber(), "stopped early: " + reader.error());
    }
    return data;
}

}  // namespace talvo::dictgen
