#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace talvo::db {
class Database;
}

namespace talvo::ocr {

// What the recognition corrector knows of the medical corpus: how often each
// character, pair and triple of characters occurs (edition forms folded onto
// their standard form, as the dictionary folds them), each character's
// radical and residual stroke count, and the other shapes a character is
// printed in. talvo-dictgen builds it into dict.sqlite (table text_model, one
// blob per part); the recogniser reads it on first use.
//
// Probabilities are Witten-Bell interpolated: a context that was followed by
// many different characters leaves more room for unseen ones.
class TextModel {
  public:
    static constexpr const char* kTable = "text_model";
    // The meta key naming the corpus files left out of the counts, so that
    // recognition can be measured on text the model has not seen.
    static constexpr const char* kHeldOutKey = "text_model_held_out";

    struct RadicalStrokes {
        int radical = 0;  // Kangxi radical, 1..214
        int strokes = 0;  // strokes beyond the radical
    };

    // Reads the model from an open dictionary. Nothing (and why in *why) when
    // the dictionary has no model or a part of it is malformed.
    static std::optional<TextModel> load(db::Database& dict, std::string* why);
    // From parts as the builder writes them (name -> bytes).
    static std::optional<TextModel> fromParts(const std::map<std::string, std::string>& parts,
                                              std::string* why);

    // The standard form the dictionary folds an edition form onto (隂 -> 陰).
    char32_t fold(char32_t c) const;
    // log P(c | prev2 prev1), folded forms expected; 0 stands for "no
    // character" (start of text). Never -infinity.
    double logProb(char32_t c, char32_t prev1, char32_t prev2) const;
    int64_t count(char32_t c) const;
    int64_t pairCount(char32_t a, char32_t b) const;
    // Characters seen right after a (before b), in code point order.
    void followers(char32_t a, std::vector<char32_t>& out) const;
    void leaders(char32_t b, std::vector<char32_t>& out) const;
    std::optional<RadicalStrokes> radical(char32_t c) const;
    // Corpus characters written with this radical, in code point order.
    std::span<const char32_t> withRadical(int radical) const;
    // The shapes the corpus prints where other texts print c (glyph,
    // Japanese, simplified or traditional forms of it).
    std::span<const char32_t> variants(char32_t c) const;
    // Score many candidates after the same two characters, or between the
    // same neighbours, looking up what they share once (below).
    class After;
    class Between;

    size_t charCount() const { return m_chars.size(); }
    size_t pairCountTotal() const { return m_pairs.size(); }
    size_t tripleCountTotal() const { return m_triples.size(); }

  private:
    struct Char {
        uint32_t cp;
        uint32_t count;
        uint32_t followers;  // distinct characters seen after it
    };
    struct Pair {
        uint64_t key;
        uint32_t count;
        uint32_t followers;
    };
    struct Triple {
        uint64_t key;
        uint32_t count;
    };

    const Char* findChar(char32_t c) const;
    const Pair* findPair(char32_t a, char32_t b) const;
    double unigram(char32_t c) const;
    double bigram(char32_t c, char32_t prev1) const;

    std::vector<Char> m_chars;
    std::vector<Pair> m_pairs;
    std::vector<Triple> m_triples;
    std::vector<uint64_t> m_reversedPairs;  // (b, a) keys, sorted: who comes before b
    std::unordered_map<char32_t, RadicalStrokes> m_radicals;
    std::map<int, std::vector<char32_t>> m_byRadical;
    std::unordered_map<char32_t, std::vector<char32_t>> m_variants;
    std::unordered_map<char32_t, char32_t> m_fold;
    double m_total = 0;
};

// log P(c | p2 p1) for many c; 0 stands for "no character". Borrows the model.
class TextModel::After {
  public:
    After(const TextModel& model, char32_t p2, char32_t p1);
    double logProb(char32_t c) const { return logProb(c, nullptr, nullptr); }
    // Also the records of c and of the pair (p1, c) that it looked up.
    double logProb(char32_t c, const Char** own, const Pair** pair) const;

  private:
    friend class Between;
    const TextModel& m_m;
    char32_t m_p1;
    const Char* m_prev = nullptr;                      // p1
    const Pair* m_context = nullptr;                   // (p2, p1)
    std::vector<Triple>::const_iterator m_from, m_to;  // the triples (p2, p1, x)
};

// log P(c | p2 p1) + log P(n1 | p1 c) for many c; 0 stands for a missing
// neighbour. Borrows the model.
class TextModel::Between {
  public:
    Between(const TextModel& model, char32_t p2, char32_t p1, char32_t n1);
    double score(char32_t c) const;

  private:
    After m_after;
    char32_t m_p1, m_n1;
    double m_n1Unigram = 0;
};

// Counts the corpus into the parts TextModel reads. Deterministic: the same
// runs in any order give the same bytes.
class TextModelBuilder {
  public:
    // A stretch of text no word crosses, every character already folded.
    void addRun(std::u32string_view run);
    void setRadical(char32_t c, int radical, int strokes);
    // The corpus writes `variant` where other texts print `c`.
    void addVariant(char32_t c, char32_t variant);
    // Name -> bytes. Triples seen fewer than minTripleCount times are left
    // out (their contexts still count them as followers).
    std::map<std::string, std::string> parts(uint32_t minTripleCount = 2) const;

  private:
    std::unordered_map<char32_t, uint32_t> m_chars;
    std::unordered_map<uint64_t, uint32_t> m_pairs;
    std::unordered_map<uint64_t, uint32_t> m_triples;
    std::map<char32_t, TextModel::RadicalStrokes> m_radicals;
    std::map<char32_t, std::vector<char32_t>> m_variants;
};

}  // namespace talvo::ocr
