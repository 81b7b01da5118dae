#include "variant_resolver.h"

#include <algorithm>
#include <array>

#include "han_chars.h"
#include "text/unicode.h"

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

}  // namespace

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
