#include "core/lookup/lookup_service.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "core/lookup/dictionary_store.h"
#include "core/lookup/medical_sense.h"
#include "core/lookup/override_store.h"
#include "core/text/unicode.h"

namespace talvo {

LookupService::LookupService(DictionaryStore& dict, OverrideStore* overrides)
    : m_dict(dict), m_overrides(overrides) {}

const std::map<std::string, std::string, std::less<>>& LookupService::medicalReading() {
    static const std::map<std::string, std::string, std::less<>> table = {
        {"屬", "thuộc"},
        {"數", "sác"},
        {"惡", "ố"},
        {"差", "sái"},
    };
    return table;
}

std::vector<std::string> LookupService::parseReadings(std::string_view text) {
    std::vector<std::string> out;
    for (std::string_view piece : text::split(text, ',')) {
        piece = text::trimBlanks(piece);
        if (!piece.empty()) {
            out.emplace_back(piece);
        }
    }
    return out;
}

CharReading LookupService::forwardReading(const std::string& ch) {
    CharReading r{ch, {}, m_dict.charGloss(ch)};
    if (m_overrides) {
        if (auto own = m_overrides->readings(ch)) {
            r.readings = std::move(*own);
            return r;
        }
    }
    r.readings = m_dict.lookupChar(ch);
    const auto& table = medicalReading();
    if (auto it = table.find(ch); it != table.end() && !r.readings.empty()) {
        const std::string preferred = text::toLower(it->second);
        auto hit = std::find_if(r.readings.begin(), r.readings.end(), [&](const std::string& am) {
            return text::toLower(am) == preferred;
        });
        if (hit != r.readings.end()) {
            std::rotate(r.readings.begin(), hit, hit + 1);
        }
    }
    return r;
}

PhraseLookup LookupService::analyze(const std::vector<std::string>& chars) {
    PhraseLookup result;
    result.chars.reserve(chars.size());
    // A long passage repeats its characters many times; each distinct one is
    // looked up once per call.
    std::unordered_map<std::string, size_t> firstIndex;
    // One character reads the overrides once; a snapshot only pays off for more.
    std::optional<OverrideStore::ReadScope> snapshot;
    if (chars.size() > 1) {
        snapshot.emplace(m_overrides);
    }
    for (const std::string& ch : chars) {
        auto [it, inserted] = firstIndex.try_emplace(ch, result.chars.size());
        result.chars.push_back(inserted ? forwardReading(ch) : result.chars[it->second]);
        result.phrase += ch;
    }
    if (chars.size() == 1) {
        result.nghia = m_dict.charMeaning(chars.front());
        result.matchedSubphrase = chars.front();
    }
    return result;
}

ReverseLookup LookupService::reverse(const std::vector<std::string>& syllables) {
    ReverseLookup result;
    for (const std::string& s : syllables) {
        if (&s != &syllables.front()) {
            result.query += ' ';
        }
        result.query += s;

        struct Ranked {
            CharReading reading;
            int64_t freq;
            int score;
        };
        std::vector<Ranked> ranked;
        for (std::string& c : m_dict.lookupAm(s)) {
            CharReading r{c, m_dict.lookupChar(c), m_dict.charGloss(c)};
            int64_t freq = m_dict.corpusFreq(c);
            int score = MedicalSense::score(c, r.gloss);
            ranked.push_back(Ranked{std::move(r), freq, score});
        }
        // Stable sort keeps dictionary order among exact ties.
        std::stable_sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) {
            if (a.freq != b.freq) {
                return a.freq > b.freq;
            }
            return a.score > b.score;
        });
        ReverseSyllable syl{s, {}};
        for (Ranked& r : ranked) {
            syl.candidates.push_back(std::move(r.reading));
        }
        result.syllables.push_back(std::move(syl));
    }
    return result;
}

void LookupService::setReading(std::string_view text, std::string_view ch) {
    if (!m_overrides) {
        return;
    }
    m_overrides->setReadings(parseReadings(text), ch);
}

}  // namespace talvo
