#include "tools/dictgen/dictionary_builder.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <unordered_map>

#include "core/lookup/lookup_service.h"
#include "tools/dictgen/gloss_text.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/tone_style.h"
#include "tools/dictgen/variant_resolver.h"
#include "tools/dictgen/word_builder.h"

namespace talvo::dictgen {

namespace {

using Readings = std::vector<std::string>;

constexpr size_t kReportedChars = 12;

bool contains(const Readings& list, const std::string& r) {
    return std::find(list.begin(), list.end(), r) != list.end();
}

template <typename Map>
const Readings* lookup(const Map* map, char32_t c) {
    if (!map) {
        return nullptr;
    }
    auto it = map->find(c);
    return it == map->end() ? nullptr : &it->second;
}

class Builder {
  public:
    explicit Builder(const BuildInputs& in) : m_in(in), m_variants(in.unihan, in.thieuChuu) {}

    Dictionary run() {
        collectUniverse();
        for (char32_t c : m_universe) {
            m_base[c] = baseReadings(c);
        }
        for (char32_t c : m_universe) {
            chooseBorrowing(c);
        }
        for (char32_t c : m_universe) {
            Readings r = withVariantReadings(c);
            if (!r.empty()) {
                m_dict.entries[c].readings = std::move(r);
            }
        }
        addMedicalReadings();
        for (char32_t c : m_universe) {
            addGloss(c);
        }
        if (m_in.corpus) {
            corpusFrequencies();
        } else {
            pseudoFrequencies();
        }
        WordBuilder::build(
            m_in,
            [this](char32_t c) {
                auto s = m_variants.standardOf(c);
                return s ? s->ch : c;
            },
            m_dict);
        return std::move(m_dict);
    }

  private:
    const ThieuChuuEntry* thieuChuu(char32_t c) const {
        return m_in.thieuChuu ? m_in.thieuChuu->find(c) : nullptr;
    }
    const Readings* csv(char32_t c) const {
        return lookup(m_in.readingsCsv ? &m_in.readingsCsv->readings : nullptr, c);
    }
    const Readings* m17n(char32_t c) const {
        return lookup(m_in.m17n ? &m_in.m17n->readings : nullptr, c);
    }
    const Readings* unihan(char32_t c) const {
        return lookup(m_in.unihan ? &m_in.unihan->vietnamese : nullptr, c);
    }

    void collectUniverse() {
        std::set<char32_t> all;
        auto addKeys = [&](const auto* map) {
            if (map) {
                for (const auto& kv : *map) {
                    all.insert(kv.first);
                }
            }
        };
        addKeys(m_in.thieuChuu ? &m_in.thieuChuu->entries : nullptr);
        if (m_in.thieuChuu) {
            // A form the dictionary names may have no entry anywhere, yet
            // can take the one that names it.
            for (const auto& kv : m_in.thieuChuu->entries) {
                all.insert(kv.second.namedForms.begin(), kv.second.namedForms.end());
            }
        }
        addKeys(m_in.readingsCsv ? &m_in.readingsCsv->readings : nullptr);
        addKeys(m_in.m17n ? &m_in.m17n->readings : nullptr);
        if (m_in.unihan) {
            addKeys(&m_in.unihan->vietnamese);
            addKeys(&m_in.unihan->definition);
            addKeys(&m_in.unihan->variants);
        }
        addKeys(m_in.corpus ? &m_in.corpus->counts : nullptr);
        for (const auto& [ch, reading] : LookupService::medicalReading()) {
            if (auto c = HanChars::single(ch)) {
                all.insert(*c);
            }
        }
        m_universe.assign(all.begin(), all.end());
    }

    Readings baseReadings(char32_t c) {
        const ThieuChuuEntry* tc = thieuChuu(c);
        const Readings* fromCsv = csv(c);
        const Readings* fromM17n = m17n(c);
        const Readings* fromUnihan = unihan(c);
        static const Readings kNone;
        const Readings& tcList = tc ? tc->readings : kNone;
        const Readings& csvList = fromCsv ? *fromCsv : kNone;
        const Readings& m17nList = fromM17n ? *fromM17n : kNone;
        const Readings& unihanAll = fromUnihan ? *fromUnihan : kNone;

        Readings unihanKept;
        bool othersEmpty = tcList.empty() && csvList.empty() && m17nList.empty();
        for (const std::string& r : unihanAll) {
            bool confirmed = contains(tcList, r) || contains(csvList, r) || contains(m17nList, r);
            if (confirmed || (othersEmpty && unihanAll.size() == 1)) {
                unihanKept.push_back(r);
            } else {
                ++m_dict.stats.nomReadingsDropped;
            }
        }

        Readings out = tcList;
        struct Candidate {
            std::string reading;
            int attested;
            int source;
            size_t index;
        };
        std::vector<Candidate> rest;
        const Readings* bySource[] = {&csvList, &unihanKept, &m17nList};
        for (int s = 0; s < 3; ++s) {
            const Readings& list = *bySource[s];
            for (size_t i = 0; i < list.size(); ++i) {
                const std::string& r = list[i];
                if (contains(out, r) ||
                    std::any_of(rest.begin(), rest.end(),
                                [&](const Candidate& k) { return k.reading == r; })) {
                    continue;
                }
                int attested = 0;
                for (const Readings* l : bySource) {
                    attested += contains(*l, r) ? 1 : 0;
                }
                rest.push_back(Candidate{r, attested, s, i});
            }
        }
        std::stable_sort(rest.begin(), rest.end(), [](const Candidate& a, const Candidate& b) {
            return a.attested > b.attested;
        });
        for (Candidate& k : rest) {
            out.push_back(std::move(k.reading));
        }
        return out;
    }

    // A reading some source other than Thiều Chửu gives for c.
    bool confirmedElsewhere(char32_t c, const std::string& r) const {
        for (const Readings* l : {csv(c), m17n(c), unihan(c)}) {
            if (l && contains(*l, r)) {
                return true;
            }
        }
        return false;
    }

    const Readings& base(char32_t c) const {
        static const Readings kNone;
        auto it = m_base.find(c);
        return it == m_base.end() ? kNone : it->second;
    }

    // The characters c stands for, when c borrows their readings and meaning.
    std::vector<char32_t> targetsOf(char32_t c, GlossText::VariantKind* kind) const {
        const ThieuChuuEntry* tc = thieuChuu(c);
        if (tc && !tc->ownTexts.empty()) {
            return {};
        }
        if (tc && tc->pointsTo) {
            if (kind) {
                *kind = GlossText::VariantKind::Usage;
            }
            return {*tc->pointsTo};
        }
        std::vector<char32_t> trad = m_variants.traditionalOf(c);
        if (!trad.empty()) {
            if (kind) {
                *kind = GlossText::VariantKind::Simplified;
            }
            return trad;
        }
        if (auto s = m_variants.standardOf(c)) {
            if (kind) {
                *kind = GlossText::VariantKind::Usage;
            }
            return {s->ch};
        }
        return {};
    }

    const ThieuChuuEntry* entryToBorrow(char32_t v) const {
        const ThieuChuuEntry* tc = thieuChuu(v);
        return tc && !tc->ownTexts.empty() && !tc->pointsTo ? tc : nullptr;
    }

    int64_t corpusCount(char32_t c) const {
        if (!m_in.corpus) {
            return 0;
        }
        auto it = m_in.corpus->counts.find(c);
        return it == m_in.corpus->counts.end() ? 0 : it->second;
    }

    // For a character with no entry and no form it stands for: the linked
    // form whose entry it shows. A traditional character is not sent to a
    // simplified one while another form will do; then the closest link, the
    // form more frequent in the corpus and in Unihan, the lower code point.
    void chooseBorrowing(char32_t c) {
        const ThieuChuuEntry* own = thieuChuu(c);
        if ((own && !own->senses.empty()) || !targetsOf(c, nullptr).empty()) {
            return;
        }
        bool simplifiedSelf = m_variants.isSimplifiedOnly(c);
        std::optional<std::tuple<bool, int, int64_t, int, char32_t>> bestKey;
        std::optional<VariantResolver::Standard> best;
        for (const VariantResolver::Standard& link : m_variants.linkedForms(c)) {
            if (!entryToBorrow(link.ch)) {
                continue;
            }
            // Specialized variants share only some senses (佬 and 姆) and
            // twins are guessed from English and Mandarin: a Hán-Việt reading
            // in common confirms they are one word.
            if (VariantResolver::closeness(link.via) >=
                    VariantResolver::closeness(VariantResolver::Via::Specialized) &&
                std::none_of(base(c).begin(), base(c).end(),
                             [&](const std::string& r) { return contains(base(link.ch), r); })) {
                continue;
            }
            auto key = std::tuple(!simplifiedSelf && m_variants.isSimplifiedOnly(link.ch),
                                  VariantResolver::closeness(link.via), -corpusCount(link.ch),
                                  m_variants.frequencyRank(link.ch), link.ch);
            if (!bestKey || key < *bestKey) {
                bestKey = key;
                best = link;
            }
        }
        if (best) {
            m_borrow[c] = *best;
        }
    }

    Readings withVariantReadings(char32_t c) {
        Readings out = base(c);
        const ThieuChuuEntry* tc = thieuChuu(c);
        // A heading reading no other source knows gives way to the reading
        // the entry's own note names (隂 "ẩm": "Tục dùng như chữ âm 陰").
        if (tc && tc->pointsTo && !tc->pointerReading.empty() &&
            !contains(tc->readings, tc->pointerReading) &&
            contains(base(*tc->pointsTo), tc->pointerReading) &&
            std::none_of(tc->readings.begin(), tc->readings.end(),
                         [&](const std::string& r) { return confirmedElsewhere(c, r); })) {
            auto it = std::find(out.begin(), out.end(), tc->pointerReading);
            if (it != out.end()) {
                out.erase(it);
            }
            out.insert(out.begin(), tc->pointerReading);
            ++m_dict.stats.noteReadingsPromoted;
        }
        for (char32_t t : targetsOf(c, nullptr)) {
            for (const std::string& r : base(t)) {
                if (!contains(out, r)) {
                    out.push_back(r);
                    ++m_dict.stats.variantReadingsAdded;
                }
            }
        }
        // A looser link lends readings only to a character that has none:
        // its own readings may differ for good reason (沉 trầm beside 沈's thẩm).
        if (auto it = m_borrow.find(c); it != m_borrow.end() && out.empty()) {
            out = base(it->second.ch);
            m_dict.stats.variantReadingsAdded += out.size();
        }
        return out;
    }

    void addMedicalReadings() {
        for (const auto& [ch, reading] : LookupService::medicalReading()) {
            auto c = HanChars::single(ch);
            auto r = ToneStyle::normalizeReading(reading);
            if (!c || !r) {
                continue;
            }
            Readings& list = m_dict.entries[*c].readings;
            if (!contains(list, *r)) {
                list.push_back(*r);
                ++m_dict.stats.medicalReadingsAdded;
            }
        }
    }

    // Thiều Chửu's text or the English definition: what c says by itself.
    std::optional<std::pair<std::string, Dictionary::GlossSource>> ownFull(char32_t c) const {
        const ThieuChuuEntry* tc = thieuChuu(c);
        if (tc && !tc->senses.empty()) {
            return std::pair{GlossText::numbered(tc->senses), Dictionary::GlossSource::ThieuChuu};
        }
        if (auto it = m_borrow.find(c); it != m_borrow.end()) {
            return std::pair{GlossText::numbered(thieuChuu(it->second.ch)->senses),
                             Dictionary::GlossSource::Borrowed};
        }
        if (m_in.unihan) {
            auto it = m_in.unihan->definition.find(c);
            if (it != m_in.unihan->definition.end() && !it->second.empty()) {
                return std::pair{it->second, Dictionary::GlossSource::English};
            }
        }
        return std::nullopt;
    }

    void addGloss(char32_t c) {
        const ThieuChuuEntry* tc = thieuChuu(c);
        if (tc && !tc->senses.empty()) {
            Dictionary::Entry& e = m_dict.entries[c];
            e.gloss = GlossText::shortGloss(tc->senses.front());
            e.full = GlossText::numbered(tc->senses);
            e.glossSource = Dictionary::GlossSource::ThieuChuu;
            return;
        }
        GlossText::VariantKind kind = GlossText::VariantKind::Usage;
        std::vector<std::pair<std::string, std::string>> named;
        std::string targetText;
        for (char32_t t : targetsOf(c, &kind)) {
            auto full = ownFull(t);
            if (!full) {
                continue;
            }
            const Readings& r = base(t);
            named.emplace_back(HanChars::utf8(t), r.empty() ? std::string() : r.front());
            targetText += "\n" + full->first;
        }
        if (!named.empty()) {
            Dictionary::Entry& e = m_dict.entries[c];
            e.gloss = GlossText::variantNote(kind, named);
            e.full = e.gloss + targetText;
            e.glossSource = Dictionary::GlossSource::VariantNote;
            ++m_dict.stats.variantNotes;
            return;
        }
        if (auto it = m_borrow.find(c); it != m_borrow.end()) {
            borrowGloss(c, it->second);
            return;
        }
        if (auto full = ownFull(c)) {
            Dictionary::Entry& e = m_dict.entries[c];
            e.gloss = GlossText::shortGloss(full->first);
            e.full = full->first;
            e.glossSource = full->second;
        }
    }

    // A character in common use shows the form's meaning as its own, since
    // the lookup ranks glosses that read as a variant's below others; a
    // rarer one (録, 産) says which form it stands for.
    void borrowGloss(char32_t c, const VariantResolver::Standard& link) {
        const ThieuChuuEntry& from = *thieuChuu(link.ch);
        const Readings& r = base(link.ch);
        std::pair<std::string, std::string> named{HanChars::utf8(link.ch),
                                                  r.empty() ? std::string() : r.front()};
        bool simplified =
            link.via == VariantResolver::Via::Traditional && m_variants.isSimplifiedOnly(c);
        Dictionary::Entry& e = m_dict.entries[c];
        if (m_variants.inCommonUse(c) && !simplified) {
            e.gloss = GlossText::shortGloss(from.senses.front());
            e.full = GlossText::seeForm(named) + "\n" + GlossText::numbered(from.senses);
            e.glossSource = Dictionary::GlossSource::Borrowed;
        } else {
            auto kind =
                simplified ? GlossText::VariantKind::Simplified : GlossText::VariantKind::Usage;
            e.gloss = GlossText::variantNote(kind, {named});
            e.full = e.gloss + "\n" + GlossText::numbered(from.senses);
            e.glossSource = Dictionary::GlossSource::VariantNote;
            ++m_dict.stats.variantNotes;
            ++m_dict.stats.borrowedNotes;
        }
        ++m_dict.stats.borrowedGlosses;
    }

    void corpusFrequencies() {
        Dictionary::Stats& st = m_dict.stats;
        const CorpusCounts& corpus = *m_in.corpus;
        st.corpusFrequencies = true;
        st.corpusTokens = corpus.tokens;
        st.corpusCommentaryTokens = corpus.commentaryTokens;
        st.corpusEntities = corpus.entities;
        std::unordered_map<char32_t, int64_t> folded;
        std::vector<std::pair<int64_t, std::pair<char32_t, char32_t>>> folds;
        for (const auto& [c, n] : corpus.counts) {
            char32_t to = c;
            if (auto s = m_variants.standardOf(c)) {
                to = s->ch;
                st.foldedTokens += n;
                ++st.foldedForms;
                folds.push_back({n, {c, to}});
                m_dict.folds[c] = to;
            }
            folded[to] += n;
        }
        std::sort(folds.begin(), folds.end(), [](const auto& a, const auto& b) {
            return a.first != b.first ? a.first > b.first : a.second < b.second;
        });
        for (size_t i = 0; i < folds.size() && i < kReportedChars; ++i) {
            st.topFolds.push_back(folds[i].second);
        }
        std::vector<std::pair<char32_t, int64_t>> unread;
        for (const auto& [c, n] : folded) {
            Dictionary::Entry& e = m_dict.entries[c];
            e.frequency = n;
            ++st.distinctCorpusChars;
            if (!e.readings.empty()) {
                st.tokensWithReadings += n;
                ++st.distinctWithReadings;
            } else {
                unread.push_back({c, n});
            }
        }
        std::sort(unread.begin(), unread.end(), [](const auto& a, const auto& b) {
            return a.second != b.second ? a.second > b.second : a.first < b.first;
        });
        unread.resize(std::min(unread.size(), kReportedChars));
        st.unreadCorpusChars = std::move(unread);
    }

    // Unihan's frequency buckets (1 = most frequent) as counts a decade
    // apart, so that ranking by count ranks by bucket.
    void pseudoFrequencies() {
        if (!m_in.unihan) {
            return;
        }
        for (const auto& [c, bucket] : m_in.unihan->frequency) {
            int64_t n = 1;
            for (int i = bucket; i < 6; ++i) {
                n *= 10;
            }
            m_dict.entries[c].frequency = n;
        }
    }

    const BuildInputs& m_in;
    VariantResolver m_variants;
    std::vector<char32_t> m_universe;
    std::unordered_map<char32_t, Readings> m_base;
    std::unordered_map<char32_t, VariantResolver::Standard> m_borrow;
    Dictionary m_dict;
};

}  // namespace

Dictionary DictionaryBuilder::build(const BuildInputs& inputs) {
    return Builder(inputs).run();
}

}  // namespace talvo::dictgen
