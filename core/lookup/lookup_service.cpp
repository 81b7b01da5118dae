#include "core/lookup/lookup_service.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_map>

#include "core/lookup/dictionary_store.h"
#include "core/lookup/medical_sense.h"
#include "core/lookup/override_store.h"
#include "core/text/unicode.h"

namespace talvo {

namespace {
// How much a word's corpus count adds to its n²: log10(count + 1) times this
// (at most about 0.6 for the corpus's most frequent words), enough to choose
// between paths of equal shape (病 脈浮 over 病脈 浮), too little to outweigh
// a path of longer words.
constexpr double kFrequencyWeight = 0.1;
}  // namespace

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

CharReading LookupService::forwardReading(const std::string& ch, bool* overridden) {
    CharReading r{ch, {}, m_dict.charGloss(ch)};
    if (m_overrides) {
        if (auto own = m_overrides->readings(ch)) {
            r.readings = std::move(*own);
            *overridden = true;
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

PhraseLookup LookupService::analyze(const std::vector<std::string>& chars,
                                    const std::vector<size_t>& breaks) {
    PhraseLookup result;
    result.chars.reserve(chars.size());
    // A long passage repeats its characters many times; each distinct one is
    // looked up once per call.
    std::unordered_map<std::string, size_t> firstIndex;
    std::vector<bool> overridden;
    overridden.reserve(chars.size());
    // One character reads the overrides once; a snapshot only pays off for more.
    std::optional<OverrideStore::ReadScope> snapshot;
    if (chars.size() > 1) {
        snapshot.emplace(m_overrides);
    }
    for (const std::string& ch : chars) {
        auto [it, inserted] = firstIndex.try_emplace(ch, result.chars.size());
        bool own = false;
        result.chars.push_back(inserted ? forwardReading(ch, &own) : result.chars[it->second]);
        overridden.push_back(inserted ? own : overridden[it->second]);
        result.phrase += ch;
    }
    if (chars.size() == 1) {
        result.nghia = m_dict.charMeaning(chars.front());
        result.matchedSubphrase = chars.front();
    } else if (!chars.empty()) {
        result.words = segment(chars, breaks, result.chars, overridden);
    }
    return result;
}

std::vector<WordReading> LookupService::segment(const std::vector<std::string>& chars,
                                                const std::vector<size_t>& breaks,
                                                const std::vector<CharReading>& readings,
                                                const std::vector<bool>& overridden) {
    const WordIndex& index = m_dict.wordIndex();
    const size_t n = chars.size();
    std::vector<const std::string*> folded(n);
    for (size_t i = 0; i < n; ++i) {
        auto it = index.fold.find(chars[i]);
        folded[i] = it == index.fold.end() ? &chars[i] : &it->second;
    }
    std::vector<bool> cut(n + 1, false);
    for (size_t b : breaks) {
        if (b <= n) {
            cut[b] = true;
        }
    }
    struct Step {
        double score = -1;
        size_t from = 0;
        int64_t id = 0;  // 0: one character on its own
        int64_t freq = 0;
    };
    std::vector<Step> best(n + 1);
    best[0].score = 0;
    auto relax = [&](size_t to, double score, size_t from, const WordIndex::Key* key) {
        if (score > best[to].score) {
            best[to] = Step{score, from, key ? key->id : 0, key ? key->freq : 0};
        }
    };
    std::string key;
    for (size_t i = 0; i < n; ++i) {
        relax(i + 1, best[i].score + 1, i, nullptr);
        if (i + 1 >= n || cut[i + 1] || index.byText.empty()) {
            continue;
        }
        key = *folded[i] + *folded[i + 1];
        if (!index.prefixes.count(key)) {
            continue;
        }
        for (size_t len = 2; len <= index.maxLength && i + len <= n; ++len) {
            if (len > 2) {
                if (cut[i + len - 1]) {
                    break;
                }
                key += *folded[i + len - 1];
            }
            if (auto it = index.byText.find(key); it != index.byText.end()) {
                double use = kFrequencyWeight * std::log10(1.0 + double(it->second.freq));
                relax(i + len, best[i].score + double(len * len) + use, i, &it->second);
            }
        }
    }
    std::vector<int64_t> ids;
    for (size_t end = n; end > 0; end = best[end].from) {
        if (best[end].id) {
            ids.push_back(best[end].id);
        }
    }
    std::unordered_map<int64_t, WordEntry> entries = m_dict.words(ids);
    std::vector<WordReading> words;
    for (size_t end = n; end > 0; end = best[end].from) {
        const Step& step = best[end];
        WordReading w;
        w.start = step.from;
        w.length = end - step.from;
        for (size_t k = w.start; k < end; ++k) {
            w.text += chars[k];
        }
        auto found = step.id ? entries.find(step.id) : entries.end();
        const WordEntry* entry = found == entries.end() ? nullptr : &found->second;
        std::vector<std::string_view> syllables;
        if (entry) {
            syllables = text::split(entry->reading, ' ');
            w.gloss = entry->gloss;
            w.glossSource = entry->gloss ? entry->glossSource : std::nullopt;
            w.english = entry->english;
            w.freq = entry->freq;
        } else {
            w.gloss = readings[w.start].gloss;
            w.glossSource =
                w.gloss ? std::optional<std::string>(WordReading::kGlossChar) : std::nullopt;
            w.freq = w.length == 1 ? m_dict.corpusFreq(chars[w.start]) : 0;
        }
        bool wordReads = syllables.size() == w.length;
        for (size_t k = 0; k < w.length; ++k) {
            const CharReading& c = readings[w.start + k];
            // The word's syllable, unless the user corrected this character and
            // the word does not insist on its own reading of it.
            bool fixed = entry && k < 32 && ((entry->fixed >> k) & 1u);
            bool own = wordReads && !(overridden[w.start + k] && !fixed);
            std::string_view s = own                  ? syllables[k]
                                 : c.readings.empty() ? std::string_view()
                                                      : std::string_view(c.readings.front());
            if (s.empty()) {
                continue;
            }
            if (!w.reading.empty()) {
                w.reading += ' ';
            }
            w.reading += s;
        }
        words.push_back(std::move(w));
    }
    std::reverse(words.begin(), words.end());
    return words;
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
    if (syllables.size() > 1) {
        std::string reading;
        for (const std::string& s : syllables) {
            std::string syllable = text::nfc(text::toLower(text::trimWhitespace(s)));
            if (!syllable.empty()) {
                reading += (reading.empty() ? "" : " ") + syllable;
            }
        }
        for (WordEntry& e : m_dict.wordsByReading(reading)) {
            WordReading w;
            w.length = text::graphemeCount(e.text);
            w.text = std::move(e.text);
            w.reading = std::move(e.reading);
            w.gloss = std::move(e.gloss);
            w.glossSource = w.gloss ? std::move(e.glossSource) : std::nullopt;
            w.english = std::move(e.english);
            w.freq = e.freq;
            result.words.push_back(std::move(w));
        }
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
