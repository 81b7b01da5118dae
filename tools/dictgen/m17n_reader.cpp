#include "tools/dictgen/m17n_reader.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/line_reader.h"
#include "tools/dictgen/source_error.h"
#include "tools/dictgen/telex.h"

namespace talvo::dictgen {

namespace {

// A double-quoted Lisp string starting at s[pos] == '"'; pos moves past it.
std::optional<std::string> quoted(std::string_view s, size_t& pos) {
    if (pos >= s.size() || s[pos] != '"') {
        return std::nullopt;
    }
    std::string out;
    for (++pos; pos < s.size(); ++pos) {
        char c = s[pos];
        if (c == '\\' && pos + 1 < s.size()) {
            out += s[++pos];
        } else if (c == '"') {
            ++pos;
            return out;
        } else {
            out += c;
        }
    }
    return std::nullopt;
}

void skipBlanks(std::string_view s, size_t& pos) {
    while (pos < s.size() && (s[pos] == ' ' || s[pos] == '\t')) {
        ++pos;
    }
}

bool expect(std::string_view s, size_t& pos, char c) {
    skipBlanks(s, pos);
    if (pos < s.size() && s[pos] == c) {
        ++pos;
        return true;
    }
    return false;
}

}  // namespace

M17nData M17nReader::read(const std::string& path, IssueLog& issues) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        throw SourceError("m17n Hán-Việt input method " + path +
                          " not found; install the Debian package " + kPackage +
                          " (./dev build does) or pass --m17n FILE");
    }
    M17nData data;
    LineReader reader(path);
    std::string raw;
    while (reader.next(raw)) {
        size_t lineNo = reader.lineNumber();
        std::string_view line = text::trimBlanks(raw);
        // Map entries are the only lines that open with ("; everything else
        // (comments, states, includes) is the input method's machinery.
        if (line.size() < 2 || line[0] != '(' || line[1] != '"') {
            continue;
        }
        if (!text::isValidUtf8(line)) {
            issues.add(path, lineNo, "not valid UTF-8");
            continue;
        }
        size_t pos = 1;
        auto key = quoted(line, pos);
        if (!key) {
            issues.add(path, lineNo, "unterminated key");
            continue;
        }
        size_t afterKey = pos;
        skipBlanks(line, afterKey);
        if (afterKey < line.size() && line[afterKey] == ')') {
            continue;  // ("a") ("b") ...: the list of keys that start input
        }
        std::optional<std::string> value;
        if (expect(line, pos, '(')) {
            skipBlanks(line, pos);
            value = quoted(line, pos);
        }
        if (!value || !expect(line, pos, ')') || !expect(line, pos, ')')) {
            issues.add(path, lineNo, "expected (\"key\" (\"characters\"))");
            continue;
        }
        std::vector<char32_t> chars;
        for (char32_t c : text::scalars(*value)) {
            if (HanChars::isIdeograph(c)) {
                chars.push_back(HanChars::unified(c));
            } else {
                ++data.symbolsSkipped;
            }
        }
        if (chars.empty()) {
            continue;
        }
        auto reading = Telex::decode(*key);
        if (!reading) {
            issues.add(path, lineNo,
                       "key \"" + *key + "\" spells no Vietnamese syllable; " +
                           std::to_string(chars.size()) +
                           (chars.size() == 1 ? " character" : " characters") + " skipped");
            continue;
        }
        for (char32_t c : chars) {
            auto& list = data.readings[c];
            if (std::find(list.begin(), list.end(), *reading) == list.end()) {
                list.push_back(*reading);
                ++data.pairs;
            }
        }
    }
    if (!reader.error().empty()) {
        issues.add(path, reader.lineNumber(), "stopped early: " + reader.error());
    }
    return data;
}

}  // namespace talvo::dictgen
