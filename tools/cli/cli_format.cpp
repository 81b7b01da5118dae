#include "tools/cli/cli_format.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "core/text/unicode.h"
#include "core/ui/lookup_text.h"

namespace talvo::cli {

namespace {

using nlohmann::json;

json optionalJson(const std::optional<std::string>& v) {
    return v ? json(*v) : json(nullptr);
}

json charJson(const CharReading& c) {
    return json{{"char", c.ch}, {"readings", c.readings}, {"gloss", optionalJson(c.gloss)}};
}

json wordJson(const WordReading& w) {
    return json{{"text", w.text},
                {"start", w.start},
                {"length", w.length},
                {"reading", w.reading},
                {"gloss", optionalJson(w.gloss)},
                {"glossSource", optionalJson(w.glossSource)},
                {"english", optionalJson(w.english)},
                {"freq", w.freq}};
}

// The aligned table needs a visible mark for a character without readings.
std::string readingsCell(const std::vector<std::string>& readings) {
    std::string joined = joinReadings(readings);
    return joined.empty() ? "—" : joined;
}

std::string oneLine(const std::optional<std::string>& s) {
    if (!s) {
        return "";
    }
    std::string out = *s;
    std::replace(out.begin(), out.end(), '\n', ' ');
    return out;
}

void pad(std::ostream& out, const std::string& s, size_t width) {
    out << s;
    for (size_t w = text::displayWidth(s); w < width; ++w) {
        out << ' ';
    }
}

// Rows of character, readings and gloss, the readings column as wide as its
// widest entry (capped, so one long row does not push every gloss off screen).
void printRows(std::ostream& out, const std::vector<CharReading>& rows, const std::string& indent) {
    constexpr size_t kMaxReadingsWidth = 28;
    size_t width = 0;
    for (const CharReading& c : rows) {
        width = std::max(width, text::displayWidth(readingsCell(c.readings)));
    }
    width = std::min(width, kMaxReadingsWidth);
    for (const CharReading& c : rows) {
        out << indent;
        pad(out, c.ch, 2);
        out << "  ";
        std::string gloss = oneLine(c.gloss);
        if (gloss.empty()) {
            out << readingsCell(c.readings) << '\n';
            continue;
        }
        pad(out, readingsCell(c.readings), width);
        out << "  " << gloss << '\n';
    }
}

// One row per word of several characters: the word, its reading, and its
// Vietnamese gloss or else its English one.
void printWordRows(std::ostream& out, const std::vector<WordReading>& words,
                   const std::string& indent) {
    size_t textWidth = 0;
    size_t readingWidth = 0;
    for (const WordReading& w : words) {
        if (w.length > 1) {
            textWidth = std::max(textWidth, text::displayWidth(w.text));
            readingWidth = std::max(readingWidth, text::displayWidth(w.reading));
        }
    }
    for (const WordReading& w : words) {
        if (w.length < 2) {
            continue;
        }
        out << indent;
        pad(out, w.text, textWidth);
        out << "  ";
        std::string gloss = w.gloss ? oneLine(w.gloss) : oneLine(w.english);
        if (gloss.empty()) {
            out << w.reading << '\n';
            continue;
        }
        pad(out, w.reading, readingWidth);
        out << "  " << (w.gloss ? "" : "(en) ") << gloss << '\n';
    }
}

}  // namespace

std::string joined(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& w : words) {
        if (!out.empty()) {
            out += ' ';
        }
        out += w;
    }
    return out;
}

std::string forwardJson(const PhraseLookup& p) {
    // A selection can hold millions of characters: serialize one character
    // object at a time instead of building the whole document in memory.
    std::string out = R"({"kind":"forward","phrase":)" + dump(json(p.phrase)) + R"(,"chars":[)";
    for (size_t i = 0; i < p.chars.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        out += dump(charJson(p.chars[i]));
    }
    out += R"(],"nghia":)" + dump(optionalJson(p.nghia)) + R"(,"matchedSubphrase":)" +
           dump(optionalJson(p.matchedSubphrase)) + R"(,"amString":)" + dump(json(p.amString())) +
           R"(,"words":[)";
    for (size_t i = 0; i < p.words.size(); ++i) {
        if (i > 0) {
            out += ',';
        }
        out += dump(wordJson(p.words[i]));
    }
    out += "]}";
    return out;
}

std::string reverseJson(const ReverseLookup& r) {
    json syllables = json::array();
    for (const ReverseSyllable& s : r.syllables) {
        json candidates = json::array();
        for (const CharReading& c : s.candidates) {
            candidates.push_back(charJson(c));
        }
        syllables.push_back(json{{"am", s.am}, {"candidates", candidates}});
    }
    json words = json::array();
    for (const WordReading& w : r.words) {
        words.push_back(wordJson(w));
    }
    return dump(json{{"kind", "reverse"},
                     {"query", r.query},
                     {"hasNoMatch", r.hasNoMatch()},
                     {"syllables", syllables},
                     {"words", words}});
}

std::string messageJson(const std::string& message) {
    return dump(json{{"kind", "message"}, {"message", message}});
}

void printForward(std::ostream& out, const PhraseLookup& p) {
    if (p.chars.size() > 1) {
        out << p.phrase;
        if (std::string am = p.amString(); !am.empty()) {
            out << "  " << am;
        }
        out << '\n';
        // Worth a line only when some word is longer than one character.
        if (std::any_of(p.words.begin(), p.words.end(),
                        [](const WordReading& w) { return w.length > 1; })) {
            std::vector<std::string> texts;
            for (const WordReading& w : p.words) {
                texts.push_back(w.text);
            }
            out << joined(texts) << "  " << p.wordAmString() << '\n';
            printWordRows(out, p.words, "  ");
        }
        out << '\n';
    }
    printRows(out, p.chars, "");
    if (p.nghia) {
        out << '\n' << *p.nghia << '\n';
    }
}

void printReverse(std::ostream& out, const ReverseLookup& r, AppLanguage lang) {
    if (r.hasNoMatch()) {
        out << format(msg::kNoReverseMatch, lang, r.query) << '\n';
        return;
    }
    if (!r.words.empty()) {
        out << r.query << '\n';
        printWordRows(out, r.words, "  ");
        out << '\n';
    }
    bool first = true;
    for (const ReverseSyllable& s : r.syllables) {
        if (!first) {
            out << '\n';
        }
        first = false;
        out << s.am << '\n';
        if (s.candidates.empty()) {
            out << "  —\n";
            continue;
        }
        printRows(out, s.candidates, "  ");
    }
}

}  // namespace talvo::cli
