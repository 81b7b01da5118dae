#include "tools/dictgen/word_builder.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "core/lookup/lookup_service.h"
#include "core/lookup/medical_sense.h"
#include "core/text/unicode.h"
#include "tools/dictgen/dictionary_builder.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/tone_style.h"

namespace talvo::dictgen {

namespace {

using Readings = std::vector<std::string>;

// A collocation occurs at least this often, and this many times more often
// than its parts would by chance.
constexpr int64_t kMinBigramCount = 30;
constexpr int64_t kMinTrigramCount = 20;
constexpr double kMinAssociation = 6.0;
// ...and in this many of the texts: a phrase one book repeats (the
// editorial formula after each chapter of 諸病源候論) is that book's habit.
constexpr int kMinTexts = 3;
// A pair that lives mostly inside one triple is that triple's part.
constexpr double kInsideTriple = 0.7;
constexpr size_t kSampleSize = 40;

// Grammatical words: a run holding one is a clause, not a term.
constexpr std::u32string_view kFunctionChars =
    U"之也矣乎哉焉耶歟而者其於于以則曰所為爲與故此若即亦乃或又皆及云謂然是不";
// Numbers and measures make recipes' doses (五兩, 十丸), not terms.
constexpr std::u32string_view kMeasureChars = U"一二三四五六七八九十百千半兩升分錢斤枚合日";
// Characters that govern what follows them (無毒, 可灸, 欲食): a collocation
// never ends in one, or it is the start of a phrase cut short (溫無).
constexpr std::u32string_view kGoverning = U"無有可欲能如令使";
// A triple that is a frequent word plus whatever follows it (無毒主, 氣味甘)
// is that word in context: its pair occurs this many times more often.
constexpr double kWordInContext = 3.0;

std::string utf8(std::u32string_view s) {
    std::string out;
    for (char32_t c : s) {
        text::appendUtf8(out, c);
    }
    return out;
}

struct Candidate {
    Dictionary::Word word;
    bool properNoun = false;
    std::vector<std::string> pinyin;  // CC-CEDICT's, one per character
    std::vector<std::string> quoted;  // Thiều Chửu's syllables
};

struct ViewHash {
    size_t operator()(std::u32string_view s) const { return std::hash<std::u32string_view>()(s); }
};

class Builder {
  public:
    Builder(const BuildInputs& in, const WordBuilder::Fold& fold, Dictionary& dict)
        : m_in(in), m_fold(fold), m_dict(dict) {}

    void run() {
        foldRuns();
        collectQuoted();
        collectCedict();
        countWords();
        reorderCharReadings();
        findCollocations();
        composeReadings();
        emit();
    }

  private:
    const Readings& readingsOf(char32_t c) const {
        static const Readings kNone;
        auto it = m_dict.entries.find(c);
        return it == m_dict.entries.end() ? kNone : it->second.readings;
    }

    void foldRuns() {
        if (!m_in.corpus) {
            return;
        }
        m_runs = m_in.corpus->runs;
        for (std::u32string& run : m_runs) {
            for (char32_t& c : run) {
                c = m_fold(c);
            }
        }
    }

    void collectQuoted() {
        if (!m_in.thieuChuu) {
            return;
        }
        // Entries in the dictionary's order, so the first quote wins the same way every build.
        std::vector<std::pair<size_t, char32_t>> order;
        for (const auto& [c, e] : m_in.thieuChuu->entries) {
            order.push_back({e.line, c});
        }
        std::sort(order.begin(), order.end());
        Dictionary::WordStats& st = m_dict.wordStats;
        for (const auto& [line, head] : order) {
            for (const QuotedCompound& q : m_in.thieuChuu->find(head)->compounds) {
                std::vector<std::string> syllables;
                for (std::string_view s : text::split(q.reading, ' ')) {
                    syllables.emplace_back(s);
                }
                bool readsRight = syllables.size() == q.text.size();
                for (size_t i = 0; readsRight && i < q.text.size(); ++i) {
                    const Readings& r = readingsOf(q.text[i]);
                    readsRight = std::find(r.begin(), r.end(), syllables[i]) != r.end();
                }
                if (!readsRight) {
                    ++st.thieuChuuRejected;
                    continue;
                }
                auto [it, fresh] = m_words.try_emplace(q.text);
                Candidate& c = it->second;
                if (fresh) {
                    c.word.text = utf8(q.text);
                    c.word.thieuChuu = true;
                    c.quoted = std::move(syllables);
                    ++st.thieuChuuQuoted;
                }
                if (c.word.gloss.empty() && !q.explanation.empty()) {
                    c.word.gloss = q.explanation;
                    c.word.entry = HanChars::utf8(head);
                } else if (c.word.entry.empty()) {
                    c.word.entry = HanChars::utf8(head);
                }
            }
        }
    }

    void collectCedict() {
        if (!m_in.cedict) {
            return;
        }
        for (const CedictWord& w : m_in.cedict->words) {
            auto [it, fresh] = m_words.try_emplace(w.traditional);
            Candidate& c = it->second;
            if (fresh) {
                c.word.text = utf8(w.traditional);
            }
            if (!c.word.cedict) {
                c.word.cedict = true;
                c.properNoun = w.properNoun;
                c.pinyin = w.pinyin;
                if (w.simplified != w.traditional) {
                    c.word.simplified = utf8(w.simplified);
                }
                c.word.english = w.english;
                for (const std::string& p : w.pinyin) {
                    c.word.pinyin += (c.word.pinyin.empty() ? "" : " ") + p;
                }
            } else if (c.pinyin == w.pinyin) {
                // The same word entered twice (a sense per line): one gloss.
                c.word.english += "; " + w.english;
            }
        }
    }

    void countWords() {
        std::unordered_map<std::u32string_view, Candidate*, ViewHash> index;
        std::unordered_set<uint64_t> prefixes;
        for (auto& [text, c] : m_words) {
            index.emplace(text, &c);
            prefixes.insert(pairKey(text[0], text[1]));
        }
        for (const std::u32string& run : m_runs) {
            std::u32string_view v(run);
            for (size_t i = 0; i + 1 < v.size(); ++i) {
                if (!prefixes.count(pairKey(v[i], v[i + 1]))) {
                    continue;
                }
                for (size_t len = 2; len <= QuotedCompounds::kMaxLength && i + len <= v.size();
                     ++len) {
                    if (auto it = index.find(v.substr(i, len)); it != index.end()) {
                        ++it->second->word.frequency;
                    }
                }
            }
        }
    }

    static uint64_t pairKey(char32_t a, char32_t b) { return (uint64_t(a) << 32) | b; }
    static uint64_t tripleKey(char32_t a, char32_t b, char32_t c) {
        return (uint64_t(a) << 42) | (uint64_t(b) << 21) | c;
    }

    using PinyinRows = std::vector<ReadingsCsvData::ByPinyin>;

    const PinyinRows& rowsOf(char32_t c) const {
        static const PinyinRows kNone;
        if (!m_in.readingsCsv) {
            return kNone;
        }
        auto it = m_in.readingsCsv->byPinyin.find(c);
        return it == m_in.readingsCsv->byPinyin.end() ? kNone : it->second;
    }

    // The readings table's row of c for one pinyin: exact first, then the
    // row that holds for any pinyin, then by the letters alone when the tone
    // (a neutral 5, say) differs and the rows so found agree.
    const Readings* rowFor(char32_t c, const std::string& pinyin) const {
        const PinyinRows& rows = rowsOf(c);
        for (const auto& row : rows) {
            if (row.pinyin == pinyin) {
                return &row.readings;
            }
        }
        if (const Readings* any = anyPinyinRow(c)) {
            return any;
        }
        auto letters = [](std::string_view p) {
            while (!p.empty() && p.back() >= '0' && p.back() <= '9') {
                p.remove_suffix(1);
            }
            return p;
        };
        const Readings* found = nullptr;
        for (const auto& row : rows) {
            if (row.pinyin != "*" && letters(row.pinyin) == letters(pinyin)) {
                if (found && found->front() != row.readings.front()) {
                    return nullptr;  // the tone would decide, and it is unknown
                }
                found = &row.readings;
            }
        }
        return found;
    }

    const Readings* anyPinyinRow(char32_t c) const {
        for (const auto& row : rowsOf(c)) {
            if (row.pinyin == "*") {
                return &row.readings;
            }
        }
        return nullptr;
    }

    // True when the readings table gives c more than one reading, so that a
    // word's pinyin chooses among them.
    bool pinyinDecides(char32_t c) const {
        std::unordered_set<std::string> firsts;
        for (const auto& row : rowsOf(c)) {
            firsts.insert(row.readings.front());
        }
        return firsts.size() > 1;
    }

    std::optional<std::string> medicalReading(char32_t c) const {
        auto it = LookupService::medicalReading().find(HanChars::utf8(c));
        if (it == LookupService::medicalReading().end()) {
            return std::nullopt;
        }
        return ToneStyle::normalizeReading(it->second);
    }

    void reorderCharReadings() {
        std::unordered_map<char32_t, std::map<std::string, int64_t>> weight;
        for (const auto& [text, c] : m_words) {
            // A name's pronunciation says nothing of the character's use (沈 shen3).
            if (c.properNoun) {
                continue;
            }
            for (size_t i = 0; i < c.pinyin.size(); ++i) {
                weight[text[i]][c.pinyin[i]] += c.word.frequency + 1;
            }
        }
        if (!m_in.readingsCsv) {
            return;
        }
        std::vector<std::tuple<int64_t, char32_t, std::string, std::string>> changed;
        for (auto& [ch, entry] : m_dict.entries) {
            const PinyinRows& rows = rowsOf(ch);
            if (entry.readings.empty() || rows.empty()) {
                continue;
            }
            std::optional<std::string> pinyin;
            int64_t best = 0;
            if (auto w = weight.find(ch); w != weight.end()) {
                for (const auto& row : rows) {
                    auto it = w->second.find(row.pinyin);
                    if (it != w->second.end() && it->second > best) {
                        best = it->second;
                        pinyin = row.pinyin;
                    }
                }
            }
            if (!pinyin && m_in.unihan) {
                if (auto m = m_in.unihan->mandarin.find(ch);
                    m != m_in.unihan->mandarin.end() && !m->second.empty()) {
                    pinyin = numberedPinyin(m->second.front());
                }
            }
            const Readings* row = pinyin ? rowFor(ch, *pinyin) : nullptr;
            if (!row) {
                row = anyPinyinRow(ch);
            }
            if (!row) {
                continue;
            }
            Readings& list = entry.readings;
            auto hit = std::find(list.begin(), list.end(), row->front());
            if (hit == list.end() || hit == list.begin() || !attestedElsewhere(ch, *hit)) {
                continue;
            }
            changed.push_back({entry.frequency, ch, list.front(), *hit});
            std::rotate(list.begin(), hit, hit + 1);
        }
        std::sort(changed.begin(), changed.end(), [](const auto& a, const auto& b) {
            return std::get<0>(a) != std::get<0>(b) ? std::get<0>(a) > std::get<0>(b)
                                                    : std::get<1>(a) < std::get<1>(b);
        });
        Dictionary::WordStats& st = m_dict.wordStats;
        st.firstReadingChanged = changed.size();
        for (size_t i = 0; i < changed.size() && i < kSampleSize; ++i) {
            st.firstReadingSample.push_back(
                {std::get<1>(changed[i]), {std::get<2>(changed[i]), std::get<3>(changed[i])}});
        }
    }

    // The readings table mixes in a few Nôm and colloquial readings (冷
    // lạnh, 煎 chiên); one goes first only when Thiều Chửu or the input
    // method has it too.
    bool attestedElsewhere(char32_t c, const std::string& r) const {
        auto has = [&](const auto* map) {
            if (!map) {
                return false;
            }
            auto it = map->find(c);
            return it != map->end() &&
                   std::find(it->second.begin(), it->second.end(), r) != it->second.end();
        };
        const ThieuChuuEntry* tc = m_in.thieuChuu ? m_in.thieuChuu->find(c) : nullptr;
        bool inThieuChuu =
            tc && std::find(tc->readings.begin(), tc->readings.end(), r) != tc->readings.end();
        // Not Unihan's kVietnamese: it holds Nôm readings too.
        return inThieuChuu || has(m_in.m17n ? &m_in.m17n->readings : nullptr);
    }

    bool termChar(char32_t c) const {
        return kFunctionChars.find(c) == std::u32string_view::npos &&
               kMeasureChars.find(c) == std::u32string_view::npos && !readingsOf(c).empty();
    }

    void findCollocations() {
        if (m_runs.empty()) {
            return;
        }
        // Each pair and triple of term characters: how often, and in how many
        // texts (the runs come text by text, so a text counts when it differs
        // from the last one seen). Pairs holding a function word can never be
        // kept, so they are not counted at all.
        struct Gram {
            int64_t count = 0;
            int texts = 0;
            size_t last = SIZE_MAX;
        };
        std::unordered_map<char32_t, int64_t> one;
        std::unordered_map<uint64_t, Gram> two;
        std::unordered_map<uint64_t, Gram> three;
        two.reserve(m_runs.size() * 2);
        three.reserve(m_runs.size() * 2);
        auto add = [](Gram& g, size_t text) {
            ++g.count;
            if (g.last != text) {
                g.last = text;
                ++g.texts;
            }
        };
        std::unordered_map<char32_t, bool> termCache;
        std::vector<bool> term;
        int64_t total = 0;
        std::unordered_map<std::string, size_t> textIndex;
        for (size_t r = 0; r < m_runs.size(); ++r) {
            const std::u32string& run = m_runs[r];
            const std::vector<std::string>& texts = m_in.corpus->runTexts;
            size_t text =
                textIndex.try_emplace(r < texts.size() ? texts[r] : std::string(), textIndex.size())
                    .first->second;
            term.assign(run.size(), false);
            for (size_t i = 0; i < run.size(); ++i) {
                ++one[run[i]];
                ++total;
                auto [it, fresh] = termCache.try_emplace(run[i], false);
                if (fresh) {
                    it->second = termChar(run[i]);
                }
                term[i] = it->second;
            }
            for (size_t i = 0; i + 1 < run.size(); ++i) {
                bool pair = term[i] && term[i + 1];
                if (pair) {
                    add(two[pairKey(run[i], run[i + 1])], text);
                }
                // A triple around a term pair is counted too: it may show the
                // pair to be a piece of something longer (逆湯 of 四逆湯).
                if (i + 2 < run.size() && term[i + 1] && (pair || term[i + 2])) {
                    add(three[tripleKey(run[i], run[i + 1], run[i + 2])], text);
                }
            }
        }
        auto known = [&](std::u32string_view s) { return m_words.count(std::u32string(s)) > 0; };
        auto medical = [&](std::u32string_view s) {
            return std::any_of(s.begin(), s.end(), [](char32_t c) {
                return MedicalSense::isMedicalChar(HanChars::utf8(c));
            });
        };
        auto usable = [&](std::u32string_view s) {
            return std::all_of(s.begin(), s.end(), [&](char32_t c) { return termChar(c); }) &&
                   kGoverning.find(s.back()) == std::u32string_view::npos && medical(s) &&
                   !known(s);
        };
        double n = static_cast<double>(total);
        std::map<std::u32string, int64_t> pairs;
        for (const auto& [key, gram] : two) {
            int64_t count = gram.count;
            if (count < kMinBigramCount || gram.texts < kMinTexts) {
                continue;
            }
            std::u32string s{char32_t(key >> 32), char32_t(key & 0xFFFFFFFF)};
            if (usable(s) && count * n >= kMinAssociation * double(one[s[0]]) * double(one[s[1]])) {
                pairs.emplace(s, count);
            }
        }
        std::map<std::u32string, int64_t> kept;
        for (const auto& [key, gram] : three) {
            int64_t count = gram.count;
            if (count < kMinTrigramCount || gram.texts < kMinTexts) {
                continue;
            }
            std::u32string s{char32_t(key >> 42), char32_t((key >> 21) & 0x1FFFFF),
                             char32_t(key & 0x1FFFFF)};
            if (!usable(s)) {
                continue;
            }
            double left = double(two[pairKey(s[0], s[1])].count) * double(one[s[2]]);
            double right = double(one[s[0]]) * double(two[pairKey(s[1], s[2])].count);
            if (count * n < kMinAssociation * left || count * n < kMinAssociation * right) {
                continue;
            }
            bool inContext = false;
            for (size_t at : {0, 1}) {
                std::u32string part = s.substr(at, 2);
                if ((known(part) || pairs.count(part)) &&
                    two[pairKey(part[0], part[1])].count >=
                        kWordInContext * static_cast<double>(count)) {
                    inContext = true;
                }
            }
            if (!inContext) {
                kept.emplace(s, count);
            }
        }
        // A pair that mostly stands inside one longer run is a piece of it:
        // of a kept triple (承氣 of 承氣湯), or of a word and a neighbour
        // (治小 of 治 小兒, 足陽 of 足 陽明).
        std::unordered_map<uint64_t, int64_t> longest;
        for (const auto& [key, gram] : three) {
            int64_t count = gram.count;
            char32_t a = char32_t(key >> 42);
            char32_t b = char32_t((key >> 21) & 0x1FFFFF);
            char32_t c = char32_t(key & 0x1FFFFF);
            for (uint64_t part : {pairKey(a, b), pairKey(b, c)}) {
                if (auto it = pairs.find(
                        std::u32string{char32_t(part >> 32), char32_t(part & 0xFFFFFFFF)});
                    it != pairs.end()) {
                    int64_t& most = longest[part];
                    most = std::max(most, count);
                }
            }
        }
        for (auto it = pairs.begin(); it != pairs.end();) {
            bool piece = longest[pairKey(it->first[0], it->first[1])] >= kInsideTriple * it->second;
            it = piece ? pairs.erase(it) : std::next(it);
        }
        kept.merge(pairs);
        std::vector<std::pair<int64_t, std::u32string>> ranked;
        for (auto& [s, count] : kept) {
            Candidate& c = m_words[s];
            c.word.text = utf8(s);
            c.word.collocation = true;
            c.word.frequency = count;
            ranked.push_back({count, s});
        }
        std::sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) {
            return a.first != b.first ? a.first > b.first : a.second < b.second;
        });
        for (size_t i = 0; i < ranked.size() && i < kSampleSize; ++i) {
            m_dict.wordStats.topCollocations.push_back(utf8(ranked[i].second));
        }
        containingPinyin(kept);
        kinPinyin(kept);
    }

    // A collocation no word holds reads a character as the other
    // collocations with that character in the same place read it, the most
    // frequent first (少陰 as 少陽, which 少陽經 reads shao4).
    void kinPinyin(const std::map<std::u32string, int64_t>& collocations) {
        // (character, place) -> pinyin -> corpus count of the collocations reading it so
        std::map<std::pair<char32_t, size_t>, std::map<std::string, int64_t>> evidence;
        for (const auto& [text, count] : collocations) {
            const Candidate& c = m_words[text];
            for (size_t i = 0; i < c.pinyin.size(); ++i) {
                evidence[{text[i], i}][c.pinyin[i]] += count;
            }
        }
        for (const auto& [text, count] : collocations) {
            Candidate& c = m_words[text];
            if (!c.pinyin.empty()) {
                continue;
            }
            std::vector<std::string> guess(text.size());
            bool any = false;
            for (size_t i = 0; i < text.size(); ++i) {
                auto it = evidence.find({text[i], i});
                if (it == evidence.end()) {
                    continue;
                }
                auto best = std::max_element(
                    it->second.begin(), it->second.end(),
                    [](const auto& a, const auto& b) { return a.second < b.second; });
                guess[i] = best->first;
                any = true;
            }
            if (any) {
                c.pinyin = std::move(guess);
            }
        }
    }

    // A collocation reads by the pinyin of the longest CC-CEDICT word that
    // holds it (少陽 inside 少陽經, shao4).
    void containingPinyin(const std::map<std::u32string, int64_t>& collocations) {
        std::unordered_map<std::u32string, size_t> bestLength;
        for (const auto& [text, c] : m_words) {
            if (c.pinyin.empty()) {
                continue;
            }
            for (size_t len = 2; len < text.size(); ++len) {
                for (size_t at = 0; at + len <= text.size(); ++at) {
                    std::u32string part = text.substr(at, len);
                    if (!collocations.count(part)) {
                        continue;
                    }
                    Candidate& col = m_words[part];
                    size_t& best = bestLength[part];
                    if (text.size() > best) {
                        best = text.size();
                        col.pinyin.assign(c.pinyin.begin() + at, c.pinyin.begin() + at + len);
                    }
                }
            }
        }
    }

    // The syllable of word character c with the word's pinyin (may be empty);
    // whether the pinyin fixed it.
    std::optional<std::pair<std::string, bool>> syllable(char32_t c,
                                                         const std::string& pinyin) const {
        const Readings& own = readingsOf(c);
        std::optional<std::string> medical = medicalReading(c);
        if (!pinyin.empty()) {
            if (const Readings* row = rowFor(c, pinyin)) {
                // The medical reading wins where the word's pronunciation allows it.
                bool medicalFits =
                    medical && std::find(row->begin(), row->end(), *medical) != row->end();
                return std::pair{medicalFits ? *medical : row->front(), pinyinDecides(c)};
            }
        }
        if (own.empty()) {
            return std::nullopt;
        }
        if (medical && std::find(own.begin(), own.end(), *medical) != own.end()) {
            return std::pair{*medical, false};
        }
        return std::pair{own.front(), false};
    }

    void composeReadings() {
        for (auto& [text, c] : m_words) {
            Dictionary::Word& w = c.word;
            if (!c.quoted.empty()) {
                w.reading.clear();
                for (const std::string& s : c.quoted) {
                    w.reading += (w.reading.empty() ? "" : " ") + s;
                }
                w.fixedReadings = (1u << text.size()) - 1;
                continue;
            }
            bool guided = false;
            for (size_t i = 0; i < text.size(); ++i) {
                auto s = syllable(text[i], i < c.pinyin.size() ? c.pinyin[i] : std::string());
                if (!s) {
                    w.reading.clear();
                    break;
                }
                w.reading += (i ? " " : "") + s->first;
                if (s->second) {
                    w.fixedReadings |= 1u << i;
                    guided = true;
                }
            }
            if (guided && !w.reading.empty()) {
                ++m_dict.wordStats.pinyinGuided;
            }
        }
    }

    void emit() {
        Dictionary::WordStats& st = m_dict.wordStats;
        for (auto& [text, c] : m_words) {
            Dictionary::Word& w = c.word;
            if (w.reading.empty()) {
                continue;  // a character no source reads
            }
            st.cedictWords += w.cedict ? 1 : 0;
            st.both += w.cedict && w.thieuChuu ? 1 : 0;
            st.collocations += w.collocation ? 1 : 0;
            st.withVietnamese += w.gloss.empty() ? 0 : 1;
            st.withEnglish += w.english.empty() ? 0 : 1;
            st.withFrequency += w.frequency > 0 ? 1 : 0;
            m_dict.words.push_back(std::move(w));
        }
        std::sort(m_dict.words.begin(), m_dict.words.end(),
                  [](const auto& a, const auto& b) { return a.text < b.text; });
    }

    const BuildInputs& m_in;
    const WordBuilder::Fold& m_fold;
    Dictionary& m_dict;
    std::vector<std::u32string> m_runs;
    std::map<std::u32string, Candidate> m_words;
};

}  // namespace

void WordBuilder::build(const BuildInputs& in, const Fold& fold, Dictionary& dict) {
    Builder(in, fold, dict).run();
}

std::string numberedPinyin(std::string_view marked) {
    struct Mark {
        std::string_view from;
        char base;
        int tone;
    };
    static const Mark kMarks[] = {
        {"ā", 'a', 1}, {"á", 'a', 2}, {"ǎ", 'a', 3}, {"à", 'a', 4}, {"ē", 'e', 1},
        {"é", 'e', 2}, {"ě", 'e', 3}, {"è", 'e', 4}, {"ī", 'i', 1}, {"í", 'i', 2},
        {"ǐ", 'i', 3}, {"ì", 'i', 4}, {"ō", 'o', 1}, {"ó", 'o', 2}, {"ǒ", 'o', 3},
        {"ò", 'o', 4}, {"ū", 'u', 1}, {"ú", 'u', 2}, {"ǔ", 'u', 3}, {"ù", 'u', 4},
        {"ǖ", 'v', 1}, {"ǘ", 'v', 2}, {"ǚ", 'v', 3}, {"ǜ", 'v', 4}, {"ü", 'v', 5},
    };
    std::string s = text::nfc(text::toLower(marked));
    std::string out;
    int tone = 5;
    for (size_t i = 0; i < s.size();) {
        bool matched = false;
        for (const Mark& m : kMarks) {
            if (s.compare(i, m.from.size(), m.from) == 0) {
                out += m.base == 'v' ? std::string("u:") : std::string(1, m.base);
                tone = m.tone == 5 ? tone : m.tone;
                i += m.from.size();
                matched = true;
                break;
            }
        }
        if (!matched) {
            out += s[i++];
        }
    }
    return out + std::to_string(tone);
}

}  // namespace talvo::dictgen
