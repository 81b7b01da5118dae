#include "tools/dictgen/variant_resolver.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <tuple>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"

namespace talvo::dictgen {

namespace {

constexpr int kNoFrequency = 6;
constexpr int kMaxHops = 4;

// Leading notes of Unihan's English definitions that make the character a
// mere form of another. "standard form of" is left out on purpose: there the
// character itself is the standard one.
constexpr std::array<const char*, 9> kDefinitionForms = {
    "same as",
    "non-classical form of",
    "non-classical of",
    "a non-classical abbreviated form of",
    "abbreviated form of",
    "corrupted form of",
    "variant of",
    "a variant of",
    "ancient form of",
};

// "give birth, bring forth" -> "give birth"
std::string firstClause(const std::string& definition) {
    size_t end = definition.find_first_of(";,");
    return text::toLower(text::trimWhitespace(std::string_view(definition).substr(0, end)));
}

}  // namespace

int VariantResolver::closeness(Via via) {
    switch (via) {
        case Via::Glyph:
        case Via::Japanese:
            return 0;
        case Via::Traditional:
        case Via::Simplified:
            return 1;
        case Via::Note:
        case Via::Semantic:
        case Via::NamedByThieuChuu:
            return 2;
        case Via::Specialized:
            return 3;
        case Via::Definition:
            return 4;
        case Via::Twin:
            return 5;
    }
    return 5;
}

VariantResolver::VariantResolver(const UnihanData* unihan, const ThieuChuuData* thieuChuu)
    : m_unihan(unihan), m_thieuChuu(thieuChuu) {}

int VariantResolver::frequencyRank(char32_t c) const {
    if (!m_unihan) {
        return kNoFrequency;
    }
    auto it = m_unihan->frequency.find(c);
    return it == m_unihan->frequency.end() ? kNoFrequency : it->second;
}

bool VariantResolver::isStandard(char32_t c) const {
    if (frequencyRank(c) < kNoFrequency) {
        return true;
    }
    const ThieuChuuEntry* e = m_thieuChuu ? m_thieuChuu->find(c) : nullptr;
    return e && !e->ownTexts.empty() && !e->pointsTo;
}

bool VariantResolver::mayFoldOnto(char32_t c, char32_t v) const {
    if (v == c || !isStandard(v)) {
        return false;
    }
    const ThieuChuuEntry* e = m_thieuChuu ? m_thieuChuu->find(c) : nullptr;
    if (!e || e->ownTexts.empty()) {
        return true;
    }
    // The digitised dictionary copies a standard entry onto its other forms
    // (脉 repeats 脈); a copy is no meaning of its own.
    const ThieuChuuEntry* target = m_thieuChuu->find(v);
    if (!target) {
        return false;
    }
    return std::all_of(e->ownTexts.begin(), e->ownTexts.end(), [&](const std::string& t) {
        return std::find(target->ownTexts.begin(), target->ownTexts.end(), t) !=
               target->ownTexts.end();
    });
}

std::vector<char32_t> VariantResolver::definitionTargets(char32_t c) const {
    std::vector<char32_t> out;
    if (!m_unihan) {
        return out;
    }
    auto it = m_unihan->definition.find(c);
    if (it == m_unihan->definition.end() || it->second.empty() || it->second[0] != '(') {
        return out;
    }
    size_t close = it->second.find(')');
    if (close == std::string::npos) {
        return out;
    }
    std::string note = text::toLower(std::string_view(it->second).substr(1, close - 1));
    for (const char* form : kDefinitionForms) {
        if (note.rfind(form, 0) == 0) {
            for (char32_t ch : text::scalars(note.substr(std::string_view(form).size()))) {
                if (HanChars::isIdeograph(ch)) {
                    out.push_back(ch);
                }
            }
            break;
        }
    }
    return out;
}

std::optional<VariantResolver::Standard> VariantResolver::compute(char32_t c) const {
    if (frequencyRank(c) < kNoFrequency) {
        return std::nullopt;
    }
    const UnihanData::Variants* vars = m_unihan ? m_unihan->variantsOf(c) : nullptr;
    auto best = [&](const std::vector<char32_t>& candidates, Via via,
                    bool glyph) -> std::optional<Standard> {
        std::optional<char32_t> chosen;
        for (char32_t v : candidates) {
            bool ok = glyph ? (v != c && isStandard(v)) : mayFoldOnto(c, v);
            if (ok && (!chosen || frequencyRank(v) < frequencyRank(*chosen))) {
                chosen = v;
            }
        }
        return chosen ? std::optional<Standard>(Standard{*chosen, via}) : std::nullopt;
    };

    const ThieuChuuEntry* e = m_thieuChuu ? m_thieuChuu->find(c) : nullptr;
    if (e && e->pointsTo) {
        if (auto s = best({*e->pointsTo}, Via::Note, false)) {
            return s;
        }
    }
    if (vars) {
        if (auto s = best(vars->z, Via::Glyph, true)) {
            return s;
        }
        // Japan kept some forms China simplified (桧 for 檜); a pair's form is
        // no standard for the traditional one then.
        std::vector<char32_t> japanese;
        std::copy_if(vars->japanese.begin(), vars->japanese.end(), std::back_inserter(japanese),
                     [&](char32_t v) { return !isSimplifiedOnly(v); });
        if (auto s = best(japanese, Via::Japanese, false)) {
            return s;
        }
        if (std::find(vars->traditional.begin(), vars->traditional.end(), c) ==
            vars->traditional.end()) {
            if (auto s = best(vars->traditional, Via::Traditional, false)) {
                return s;
            }
        }
        std::vector<UnihanData::Semantic> semantic = vars->semantic;
        std::stable_sort(semantic.begin(), semantic.end(),
                         [](const auto& a, const auto& b) { return a.sources > b.sources; });
        for (size_t i = 0; i < semantic.size();) {
            // One tier per number of attesting dictionaries.
            std::vector<char32_t> tier;
            size_t j = i;
            for (; j < semantic.size() && semantic[j].sources == semantic[i].sources; ++j) {
                tier.push_back(semantic[j].ch);
            }
            if (auto s = best(tier, Via::Semantic, false)) {
                return s;
            }
            i = j;
        }
    }
    return best(definitionTargets(c), Via::Definition, false);
}

std::optional<VariantResolver::Standard> VariantResolver::standardOf(char32_t c) const {
    auto it = m_memo.find(c);
    if (it != m_memo.end()) {
        return it->second;
    }
    auto s = compute(c);
    // Glyph variants may fold a form that has its own entry, so a target can
    // fold further (吴 -> 呉 -> 吳); follow the chain to its end.
    for (int hops = 0; s && hops < kMaxHops; ++hops) {
        auto next = compute(s->ch);
        if (!next || next->ch == c) {
            break;
        }
        s->ch = next->ch;
    }
    m_memo.emplace(c, s);
    return s;
}

bool VariantResolver::isSimplifiedOnly(char32_t c) const {
    const UnihanData::Variants* vars = m_unihan ? m_unihan->variantsOf(c) : nullptr;
    return vars && !vars->traditional.empty() &&
           std::find(vars->traditional.begin(), vars->traditional.end(), c) ==
               vars->traditional.end();
}

bool VariantResolver::simplifiesOnly(char32_t simplified, char32_t c) const {
    const UnihanData::Variants* vars = m_unihan ? m_unihan->variantsOf(simplified) : nullptr;
    return vars && !vars->traditional.empty() &&
           std::all_of(vars->traditional.begin(), vars->traditional.end(),
                       [&](char32_t t) { return t == c; });
}

bool VariantResolver::inCommonUse(char32_t c) const {
    if (!m_unihan || frequencyRank(c) == kNoFrequency) {
        return false;
    }
    return m_unihan->nationalStandard.empty() || m_unihan->nationalStandard.count(c) > 0;
}

std::vector<std::string> VariantResolver::twinKeys(char32_t c) const {
    std::vector<std::string> keys;
    auto def = m_unihan->definition.find(c);
    auto radical = m_unihan->radical.find(c);
    auto mandarin = m_unihan->mandarin.find(c);
    if (def == m_unihan->definition.end() || radical == m_unihan->radical.end() ||
        mandarin == m_unihan->mandarin.end()) {
        return keys;
    }
    std::string clause = firstClause(def->second);
    if (clause.empty()) {
        return keys;
    }
    for (const std::string& m : mandarin->second) {
        keys.push_back(std::to_string(radical->second) + "\t" + m + "\t" + clause);
    }
    return keys;
}

void VariantResolver::indexLinks() const {
    m_indexed = true;
    if (m_unihan) {
        for (const auto& [c, vars] : m_unihan->variants) {
            auto back = [&, c = c](const std::vector<char32_t>& list, Via via) {
                for (char32_t v : list) {
                    m_reverse[v].push_back(Standard{c, via});
                }
            };
            // Seen from the other side, a traditional form has c as its
            // simplified one and the reverse.
            back(vars.traditional, Via::Simplified);
            back(vars.simplified, Via::Traditional);
            back(vars.z, Via::Glyph);
            for (const auto& list : {&vars.semantic, &vars.specialized}) {
                for (const UnihanData::Semantic& v : *list) {
                    m_reverse[v.ch].push_back(
                        Standard{c, list == &vars.semantic ? Via::Semantic : Via::Specialized});
                }
            }
        }
        for (const auto& kv : m_unihan->definition) {
            for (const std::string& key : twinKeys(kv.first)) {
                m_twins[key].push_back(kv.first);
            }
        }
    }
    if (m_thieuChuu) {
        for (const auto& [c, e] : m_thieuChuu->entries) {
            for (char32_t v : e.namedForms) {
                m_reverse[v].push_back(Standard{c, Via::NamedByThieuChuu});
            }
        }
    }
}

std::vector<VariantResolver::Standard> VariantResolver::linkedForms(char32_t c) const {
    if (!m_indexed) {
        indexLinks();
    }
    std::vector<Standard> all;
    auto add = [&](const std::vector<char32_t>& list, Via via) {
        for (char32_t v : list) {
            all.push_back(Standard{v, via});
        }
    };
    if (const UnihanData::Variants* vars = m_unihan ? m_unihan->variantsOf(c) : nullptr) {
        add(vars->z, Via::Glyph);
        add(vars->japanese, Via::Japanese);
        add(vars->traditional, Via::Traditional);
        add(vars->simplified, Via::Simplified);
        for (const UnihanData::Semantic& v : vars->semantic) {
            all.push_back(Standard{v.ch, Via::Semantic});
        }
        for (const UnihanData::Semantic& v : vars->specialized) {
            all.push_back(Standard{v.ch, Via::Specialized});
        }
    }
    if (const ThieuChuuEntry* e = m_thieuChuu ? m_thieuChuu->find(c) : nullptr) {
        add(e->namedForms, Via::NamedByThieuChuu);
    }
    add(definitionTargets(c), Via::Definition);
    if (auto it = m_reverse.find(c); it != m_reverse.end()) {
        all.insert(all.end(), it->second.begin(), it->second.end());
    }
    if (m_unihan) {
        for (const std::string& key : twinKeys(c)) {
            if (auto it = m_twins.find(key); it != m_twins.end()) {
                add(it->second, Via::Twin);
            }
        }
    }
    // A total order: the reverse index was filled from unordered maps.
    std::sort(all.begin(), all.end(), [](const Standard& a, const Standard& b) {
        return std::tuple(closeness(a.via), a.ch, a.via) <
               std::tuple(closeness(b.via), b.ch, b.via);
    });
    std::vector<Standard> out;
    for (const Standard& s : all) {
        bool seen =
            std::any_of(out.begin(), out.end(), [&](const Standard& o) { return o.ch == s.ch; });
        if (s.ch != c && !seen && (s.via != Via::Simplified || simplifiesOnly(s.ch, c))) {
            out.push_back(s);
        }
    }
    return out;
}

std::vector<char32_t> VariantResolver::traditionalOf(char32_t c) const {
    std::vector<char32_t> out;
    const UnihanData::Variants* vars = m_unihan ? m_unihan->variantsOf(c) : nullptr;
    if (!vars || std::find(vars->traditional.begin(), vars->traditional.end(), c) !=
                     vars->traditional.end()) {
        return out;
    }
    for (char32_t t : vars->traditional) {
        if (mayFoldOnto(c, t)) {
            out.push_back(t);
        }
    }
    return out;
}

}  // namespace talvo::dictgen
