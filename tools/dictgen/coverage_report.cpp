#include "tools/dictgen/coverage_report.h"

#include <algorithm>
#include <cstdio>

#include "tools/dictgen/han_chars.h"

namespace talvo::dictgen {

namespace {

constexpr size_t kTopShown = 30;
constexpr size_t kLabelWidth = 40;

std::string percent(int64_t part, int64_t whole) {
    if (whole <= 0) {
        return "-";
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f%%",
                  100.0 * static_cast<double>(part) / static_cast<double>(whole));
    return buf;
}

std::string row(const std::string& label, const std::string& value) {
    std::string out = "  " + label;
    // Labels hold Vietnamese letters; pad by characters, not bytes.
    size_t width = 0;
    for (unsigned char c : label) {
        width += (c & 0xC0) != 0x80 ? 1 : 0;
    }
    out.append(width < kLabelWidth ? kLabelWidth - width : 1, ' ');
    return out + value + "\n";
}

}  // namespace

std::string withThousands(int64_t n) {
    std::string digits = std::to_string(n < 0 ? -n : n);
    std::string out;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i && (digits.size() - i) % 3 == 0) {
            out += ',';
        }
        out += digits[i];
    }
    return n < 0 ? "-" + out : out;
}

CoverageReport::CoverageReport(const Dictionary& dict, const CorpusCounts* corpus,
                               const IssueLog& issues)
    : m_dict(dict), m_corpus(corpus), m_issues(issues) {
    using G = Dictionary::GlossSource;
    for (const auto& [c, e] : dict.entries) {
        if (!e.readings.empty()) {
            ++m_withReadings;
            m_readingRows += e.readings.size();
            if (e.glossSource == G::None) {
                ++m_readingsNoGloss;
            }
        }
        if (e.glossSource == G::ThieuChuu || e.glossSource == G::VariantNote ||
            e.glossSource == G::Borrowed) {
            ++m_vietnamese;
        }
        if (e.glossSource == G::VariantNote) {
            ++m_variantNotes;
        }
        if (e.glossSource == G::English) {
            ++m_english;
        }
        if (e.frequency > 0) {
            ++m_withFrequency;
        }
    }
}

std::vector<char32_t> CoverageReport::topByFrequency(size_t n) const {
    std::vector<std::pair<int64_t, char32_t>> ranked;
    for (const auto& [c, e] : m_dict.entries) {
        if (e.frequency > 0 && !e.readings.empty()) {
            ranked.push_back({e.frequency, c});
        }
    }
    std::sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    std::vector<char32_t> out;
    for (size_t i = 0; i < ranked.size() && i < n; ++i) {
        out.push_back(ranked[i].second);
    }
    return out;
}

nlohmann::ordered_json CoverageReport::json() const {
    const Dictionary::Stats& st = m_dict.stats;
    nlohmann::ordered_json j;
    j["chars_with_readings"] = m_withReadings;
    j["reading_rows"] = m_readingRows;
    j["chars_with_vietnamese_gloss"] = m_vietnamese;
    j["chars_with_variant_note"] = m_variantNotes;
    j["chars_with_gloss_from_variant"] = st.borrowedGlosses;
    j["chars_with_english_gloss_only"] = m_english;
    j["chars_with_readings_no_gloss"] = m_readingsNoGloss;
    j["chars_with_frequency"] = m_withFrequency;
    j["frequency_kind"] = st.corpusFrequencies ? "corpus" : "kFrequency";
    if (st.corpusFrequencies) {
        j["corpus_tokens"] = st.corpusTokens;
        j["corpus_commentary_tokens"] = st.corpusCommentaryTokens;
        j["corpus_unencoded"] = st.corpusEntities;
        j["corpus_distinct"] = st.distinctCorpusChars;
        j["corpus_folded_forms"] = st.foldedForms;
        j["corpus_folded_tokens"] = st.foldedTokens;
        j["corpus_tokens_with_readings"] = st.tokensWithReadings;
        j["corpus_distinct_with_readings"] = st.distinctWithReadings;
    }
    j["nom_readings_dropped"] = st.nomReadingsDropped;
    j["medical_readings_added"] = st.medicalReadingsAdded;
    j["variant_readings_added"] = st.variantReadingsAdded;
    const Dictionary::WordStats& w = m_dict.wordStats;
    j["words"] = m_dict.words.size();
    j["words_thieuchuu"] = w.thieuChuuQuoted;
    j["words_thieuchuu_rejected"] = w.thieuChuuRejected;
    j["words_cedict"] = w.cedictWords;
    j["words_in_both"] = w.both;
    j["words_corpus_collocations"] = w.collocations;
    j["words_with_vietnamese_gloss"] = w.withVietnamese;
    j["words_with_english_gloss"] = w.withEnglish;
    j["words_with_corpus_count"] = w.withFrequency;
    j["words_pinyin_guided"] = w.pinyinGuided;
    j["chars_first_reading_changed"] = w.firstReadingChanged;
    j["input_problems"] = m_issues.total();
    return j;
}

std::string CoverageReport::text(const std::vector<SourceSummary>& sources,
                                 const std::string& header, IssueLog::Paths paths) const {
    const Dictionary::Stats& st = m_dict.stats;
    std::string out = header + "\n\nSources\n";
    for (const SourceSummary& s : sources) {
        out += "  " + s.title + ": " + s.detail + "\n";
    }
    out += "\nCoverage\n";
    out += row("characters with readings",
               withThousands(static_cast<int64_t>(m_withReadings)) + " (" +
                   withThousands(static_cast<int64_t>(m_readingRows)) + " readings)");
    out += row("with a Vietnamese gloss", withThousands(static_cast<int64_t>(m_vietnamese)) + " (" +
                                              withThousands(static_cast<int64_t>(m_variantNotes)) +
                                              " of them notes naming the form they stand for)");
    out += row("borrowed from a variant",
               withThousands(static_cast<int64_t>(st.borrowedGlosses)) + " (" +
                   withThousands(static_cast<int64_t>(st.borrowedNotes)) +
                   " as notes, the rest shown as their own meaning)");
    out += row("with an English gloss only", withThousands(static_cast<int64_t>(m_english)));
    out +=
        row("with readings but no gloss", withThousands(static_cast<int64_t>(m_readingsNoGloss)));
    out += row("with a frequency", withThousands(static_cast<int64_t>(m_withFrequency)) +
                                       (st.corpusFrequencies ? " (corpus counts)"
                                                             : " (pseudo-counts from kFrequency)"));
    out += row("Nôm readings left out", withThousands(static_cast<int64_t>(st.nomReadingsDropped)) +
                                            " (kVietnamese, unconfirmed)");
    out += row("readings taken from the standard form",
               withThousands(static_cast<int64_t>(st.variantReadingsAdded)));
    out +=
        row("medical readings added", withThousands(static_cast<int64_t>(st.medicalReadingsAdded)));

    if (st.corpusFrequencies && m_corpus) {
        out += "\nCorpus\n";
        out +=
            row("Hán characters", withThousands(st.corpusTokens) + " (" +
                                      withThousands(static_cast<int64_t>(st.distinctCorpusChars)) +
                                      " distinct after folding)");
        out +=
            row("in commentary ( )", withThousands(st.corpusCommentaryTokens) + " (" +
                                         percent(st.corpusCommentaryTokens, st.corpusTokens) + ")");
        out += row("unencoded characters (&...;)",
                   withThousands(st.corpusEntities) + " (not counted)");
        std::string folds;
        for (const auto& [from, to] : st.topFolds) {
            folds += " " + HanChars::utf8(from) + "→" + HanChars::utf8(to);
        }
        out += row("edition forms folded", withThousands(static_cast<int64_t>(st.foldedForms)) +
                                               " forms, " + withThousands(st.foldedTokens) +
                                               " characters:" + folds);
        out += row("text covered by readings",
                   percent(st.tokensWithReadings, st.corpusTokens) + " of the characters, " +
                       withThousands(static_cast<int64_t>(st.distinctWithReadings)) + " of " +
                       withThousands(static_cast<int64_t>(st.distinctCorpusChars)) + " distinct");
        std::string unread;
        for (const auto& [c, n] : st.unreadCorpusChars) {
            unread += " " + HanChars::utf8(c) + " " + withThousands(n);
        }
        if (!unread.empty()) {
            out += row("most frequent without a reading", unread.substr(1));
        }
        out += "  per text:\n";
        for (const auto& [name, t] : m_corpus->texts) {
            out += "    " + name + " " + (t.title.empty() ? "" : t.title + " ") +
                   withThousands(t.tokens) + "\n";
        }
    }
    const Dictionary::WordStats& w = m_dict.wordStats;
    if (!m_dict.words.empty()) {
        auto n = [](size_t v) { return withThousands(static_cast<int64_t>(v)); };
        out += "\nWords\n";
        out += row("words of 2 to 8 characters", n(m_dict.words.size()));
        out += row("quoted in Thiều Chửu", n(w.thieuChuuQuoted) + " (" + n(w.thieuChuuRejected) +
                                               " quotes left out: syllables not the readings)");
        out += row("from CC-CEDICT", n(w.cedictWords) + " (" + n(w.both) + " also in Thiều Chửu)");
        out += row("corpus collocations", n(w.collocations) + " (reading, no gloss)");
        out += row("with a Vietnamese gloss", n(w.withVietnamese));
        out += row("with an English gloss", n(w.withEnglish));
        out += row("with a corpus count", n(w.withFrequency));
        out += row("read by their pinyin", n(w.pinyinGuided));
        std::string collocations;
        for (const std::string& c : w.topCollocations) {
            collocations += " " + c;
        }
        if (!collocations.empty()) {
            out += row("most frequent collocations", collocations.substr(1));
        }
    }
    if (w.firstReadingChanged > 0) {
        std::string sample;
        for (const auto& [c, change] : w.firstReadingSample) {
            sample += " " + HanChars::utf8(c) + " " + change.first + "→" + change.second;
        }
        out += row(
            "first reading now the modern one",
            withThousands(static_cast<int64_t>(w.firstReadingChanged)) + " characters:" + sample);
    }
    std::string top;
    for (char32_t c : topByFrequency(kTopShown)) {
        top += HanChars::utf8(c);
    }
    if (!top.empty()) {
        out += "\nMost frequent characters with readings:\n  " + top + "\n";
    }
    out +=
        "\nProblems in the input: " + withThousands(static_cast<int64_t>(m_issues.total())) + "\n";
    out += m_issues.format(paths);
    return out;
}

}  // namespace talvo::dictgen
