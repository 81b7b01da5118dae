#include "tools/dictgen/thieuchuu_reader.h"

#include <algorithm>
#include <array>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/line_reader.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {

namespace {

constexpr size_t kMaxPointerLength = 60;

// How the dictionary opens a note that one character is a form of another.
// "Cùng nghĩa với" (same meaning) and "Xem chữ" (see) are left out: they
// send the reader to a different word, not to another way of writing this one.
constexpr std::array<const char*, 12> kPointerPhrases = {
    "tục dùng như", "cũng dùng như", "cũng như",  "có khi dùng như", "ngày xưa dùng như",
    "tục viết",     "cũng viết là",  "nguyên là", "cổ văn",          "chữ cổ",
    "giản thể",     "lối viết khác",
};

// The same relation stated inside a sense, about a character that may lack
// an entry of its own.
constexpr std::array<const char*, 11> kFormPhrases = {
    "tục dùng như",      "cũng dùng như", "cũng như", "có khi dùng như",
    "ngày xưa dùng như", "tục quen viết", "tục viết", "cũng viết",
    "lối viết khác",     "giản thể",      "chữ cổ",
};

std::string foldEth(std::string s) {
    static const std::string kEth = "\xC3\x90";           // Ð U+00D0
    static const std::string kEthLower = "\xC3\xB0";      // ð U+00F0
    static const std::string kDStroke = "\xC4\x90";       // Đ U+0110
    static const std::string kDStrokeLower = "\xC4\x91";  // đ U+0111
    for (auto [from, to] : {std::pair{&kEth, &kDStroke}, std::pair{&kEthLower, &kDStrokeLower}}) {
        for (size_t pos = s.find(*from); pos != std::string::npos; pos = s.find(*from, pos)) {
            s.replace(pos, from->size(), *to);
            pos += to->size();
        }
    }
    return s;
}

// "1. Một, là ..." -> "Một, là ..."
std::string_view dropNumber(std::string_view s) {
    size_t i = 0;
    while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
        ++i;
    }
    if (i > 0 && i < s.size() && (s[i] == '.' || s[i] == ')')) {
        s.remove_prefix(i + 1);
    }
    return text::trimWhitespace(s);
}

std::vector<std::string> splitSenses(std::string_view rest) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= rest.size()) {
        size_t pos = rest.find("\\n", start);
        std::string_view piece = rest.substr(
            start, pos == std::string_view::npos ? std::string_view::npos : pos - start);
        while (piece.substr(0, 2) == "\\t") {
            piece.remove_prefix(2);
        }
        piece = dropNumber(text::trimWhitespace(piece));
        if (!piece.empty()) {
            out.emplace_back(piece);
        }
        if (pos == std::string_view::npos) {
            break;
        }
        start = pos + 2;
    }
    return out;
}

// "tiệp (10 n)" -> "tiệp", "nảm." -> "nảm"
std::string cleanReading(std::string_view r) {
    std::string out;
    int depth = 0;
    for (char c : r) {
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            depth = std::max(0, depth - 1);
        } else if (depth == 0) {
            out += c;
        }
    }
    std::string_view v = text::trimWhitespace(out);
    while (!v.empty() && (v.back() == '.' || v.back() == ';' || v.back() == ':')) {
        v.remove_suffix(1);
    }
    return std::string(text::trimWhitespace(v));
}

struct Pointer {
    char32_t target;
    std::string reading;
};

std::optional<Pointer> parsePointer(const std::vector<std::string>& senses, char32_t self) {
    if (senses.size() != 1) {
        return std::nullopt;
    }
    std::u32string cps = text::scalars(senses[0]);
    if (cps.size() > kMaxPointerLength) {
        return std::nullopt;
    }
    std::string lower = text::nfc(text::toLower(senses[0]));
    const char* phrase = nullptr;
    for (const char* p : kPointerPhrases) {
        if (lower.rfind(p, 0) == 0) {
            phrase = p;
            break;
        }
    }
    if (!phrase) {
        return std::nullopt;
    }
    // Between the phrase and the character sits, at most, "chữ" and the reading.
    std::string between;
    std::u32string afterPhrase = text::scalars(lower.substr(std::string_view(phrase).size()));
    for (char32_t c : afterPhrase) {
        if (HanChars::isIdeograph(c) && c != self) {
            Pointer p{c, {}};
            std::string_view words = text::trimWhitespace(between);
            if (words.rfind("chữ", 0) == 0) {
                words = text::trimWhitespace(words.substr(std::string_view("chữ").size()));
            }
            if (auto r = ToneStyle::normalizeReading(words);
                r && r->find(' ') == std::string::npos) {
                p.reading = *r;
            }
            return p;
        }
        text::appendUtf8(between, c);
    }
    return std::nullopt;
}

// After a phrase of kFormPhrases: "là", "chữ" and the reading may stand
// before the character, and a character followed by another one begins a
// word ("cũng viết là 併吞"), which names no form.
std::optional<char32_t> formAfter(std::u32string_view rest, char32_t self) {
    size_t words = 0;
    bool inWord = false;
    for (size_t i = 0; i < rest.size(); ++i) {
        char32_t c = rest[i];
        if (HanChars::isIdeograph(c)) {
            bool word = i + 1 < rest.size() && HanChars::isIdeograph(rest[i + 1]);
            return c == self || word ? std::nullopt : std::optional<char32_t>(c);
        }
        if (c == U' ') {
            inWord = false;
            continue;
        }
        if (!text::isLetter(c)) {
            return std::nullopt;
        }
        if (!inWord && ++words > 3) {
            return std::nullopt;
        }
        inWord = true;
    }
    return std::nullopt;
}

std::vector<char32_t> namedForms(const std::vector<std::string>& senses, char32_t self) {
    std::vector<char32_t> out;
    for (const std::string& sense : senses) {
        std::u32string lower = text::scalars(text::nfc(text::toLower(sense)));
        for (const char* phrase : kFormPhrases) {
            std::u32string p = text::scalars(phrase);
            for (size_t at = lower.find(p); at != std::u32string::npos;
                 at = lower.find(p, at + 1)) {
                auto form = formAfter(std::u32string_view(lower).substr(at + p.size()), self);
                if (form && std::find(out.begin(), out.end(), *form) == out.end()) {
                    out.push_back(*form);
                }
            }
        }
    }
    return out;
}

std::string joined(const std::vector<std::string>& senses) {
    std::string out;
    for (const std::string& s : senses) {
        out += s;
        out += '\n';
    }
    return out;
}

}  // namespace

ThieuChuuData ThieuChuuReader::read(const std::string& path, IssueLog& issues) {
    ThieuChuuData data;
    LineReader reader(path);
    std::string raw;
    while (reader.next(raw)) {
        size_t lineNo = reader.lineNumber();
        ++data.lines;
        if (lineNo == 1 && raw.rfind("\xEF\xBB\xBF", 0) == 0) {
            raw.erase(0, 3);
        }
        if (text::trimWhitespace(raw).empty()) {
            continue;
        }
        if (!text::isValidUtf8(raw)) {
            issues.add(path, lineNo, "not valid UTF-8; the bad bytes were replaced");
            raw = text::sanitizeUtf8(raw);
        }
        std::string line = foldEth(std::move(raw));
        size_t eq = line.find('=');
        auto ch = eq == std::string::npos ? std::nullopt
                                          : HanChars::single(text::trimBlanks(line.substr(0, eq)));
        if (!ch) {
            issues.add(path, lineNo, "expected one Hán character followed by \"=\"");
            continue;
        }
        std::string_view afterEq = std::string_view(line).substr(eq + 1);
        size_t bracket = afterEq.find('[');
        size_t close =
            bracket == std::string_view::npos ? std::string_view::npos : afterEq.find(']', bracket);
        std::string_view readingText;
        std::string_view rest;
        if (close != std::string_view::npos) {
            readingText = afterEq.substr(0, bracket);
            rest = afterEq.substr(close + 1);
        } else {
            // No pinyin: the readings run to the first sense.
            size_t firstSense = afterEq.find("\\n");
            readingText = afterEq.substr(0, firstSense);
            rest = firstSense == std::string_view::npos ? std::string_view{}
                                                        : afterEq.substr(firstSense);
        }
        std::vector<std::string> readings;
        for (std::string_view piece : text::split(readingText, ',')) {
            std::string cleaned = cleanReading(piece);
            if (cleaned.empty()) {
                continue;
            }
            if (auto r = ToneStyle::normalizeReading(cleaned)) {
                if (std::find(readings.begin(), readings.end(), *r) == readings.end()) {
                    readings.push_back(*r);
                }
            } else {
                issues.add(path, lineNo,
                           "reading \"" + cleaned + "\" is not a Vietnamese syllable");
            }
        }
        if (readings.empty()) {
            issues.add(path, lineNo, "entry has no usable reading");
        }
        std::vector<std::string> senses = splitSenses(rest);
        auto pointer = parsePointer(senses, *ch);

        auto [it, fresh] = data.entries.try_emplace(*ch);
        ThieuChuuEntry& e = it->second;
        if (fresh) {
            e.line = lineNo;
        } else {
            ++data.merged;
        }
        for (std::string& r : readings) {
            if (std::find(e.readings.begin(), e.readings.end(), r) == e.readings.end()) {
                e.readings.push_back(std::move(r));
            }
        }
        if (pointer && !e.pointsTo) {
            e.pointsTo = pointer->target;
            e.pointerReading = pointer->reading;
        } else if (!pointer && !senses.empty()) {
            e.ownTexts.push_back(joined(senses));
            for (char32_t form : namedForms(senses, *ch)) {
                if (std::find(e.namedForms.begin(), e.namedForms.end(), form) ==
                    e.namedForms.end()) {
                    e.namedForms.push_back(form);
                }
            }
        }
        for (std::string& s : senses) {
            for (QuotedCompound& q : QuotedCompounds::parse(s)) {
                e.compounds.push_back(std::move(q));
            }
            e.senses.push_back(std::move(s));
        }
    }
    if (!reader.error().empty()) {
        issues.add(path, reader.lineNumber(), "stopped early: " + reader.error());
    }
    return data;
}

}  // namespace talvo::dictgen
