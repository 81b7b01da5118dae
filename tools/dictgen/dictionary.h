#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace talvo::dictgen {

// The dictionary as built, before it is written out.
struct Dictionary {
    // Borrowed: another form's entry shown as the character's own meaning.
    enum class GlossSource { None, ThieuChuu, VariantNote, Borrowed, English };

    struct Entry {
        std::vector<std::string> readings;  // order of preference
        std::string gloss;
        std::string full;
        GlossSource glossSource = GlossSource::None;
        int64_t frequency = 0;  // 0: no count
    };

    // A word of two or more characters.
    struct Word {
        std::string text;        // traditional form
        std::string simplified;  // CC-CEDICT's simplified form, when it differs
        std::string reading;     // a syllable per character, spaces between
        // Bit i set: syllable i is the word's own (quoted, or chosen by its
        // pinyin among the character's readings), so a user's correction of
        // that character does not replace it.
        uint32_t fixedReadings = 0;
        std::string gloss;    // Thiều Chửu's explanation, Vietnamese
        std::string entry;    // the character whose Thiều Chửu entry quotes the word
        std::string english;  // CC-CEDICT's definitions
        std::string pinyin;
        int64_t frequency = 0;  // occurrences in the medical corpus
        bool thieuChuu = false;
        bool cedict = false;
        bool collocation = false;  // found only in the corpus
    };

    struct WordStats {
        size_t thieuChuuQuoted = 0;    // distinct compounds quoted
        size_t thieuChuuRejected = 0;  // quotes whose syllables are not the characters' readings
        size_t cedictWords = 0;
        size_t both = 0;
        size_t collocations = 0;
        size_t withVietnamese = 0;
        size_t withEnglish = 0;
        size_t withFrequency = 0;
        size_t pinyinGuided = 0;  // readings that took a syllable from the word's pinyin
        size_t firstReadingChanged = 0;
        std::vector<std::pair<char32_t, std::pair<std::string, std::string>>>
            firstReadingSample;  // most frequent first: character, (old, new)
        std::vector<std::string> topCollocations;
    };

    // What the build decided, for the report.
    struct Stats {
        size_t nomReadingsDropped = 0;    // kVietnamese readings nothing else confirms
        size_t medicalReadingsAdded = 0;  // preferred medical readings no source had
        size_t variantReadingsAdded = 0;  // readings a form took from the form it stands for
        size_t noteReadingsPromoted = 0;  // a note's reading put before an unconfirmed heading
        size_t variantNotes = 0;          // glosses written for forms without an entry
        size_t borrowedGlosses = 0;       // entries taken from a linked form's
        size_t borrowedNotes = 0;         // of those, written as a variant's note
        bool corpusFrequencies = false;   // else pseudo-counts from kFrequency
        int64_t corpusTokens = 0;
        int64_t corpusCommentaryTokens = 0;
        int64_t corpusEntities = 0;
        int64_t foldedTokens = 0;  // corpus tokens moved onto a standard form
        size_t foldedForms = 0;
        int64_t tokensWithReadings = 0;  // after folding
        size_t distinctCorpusChars = 0;  // after folding
        size_t distinctWithReadings = 0;
        std::vector<std::pair<char32_t, char32_t>> topFolds;          // most frequent first
        std::vector<std::pair<char32_t, int64_t>> unreadCorpusChars;  // most frequent first
    };

    std::map<char32_t, Entry> entries;  // by code point
    std::vector<Word> words;            // by text
    // Edition forms of the corpus and the standard form each stands for
    // (隂 → 陰), by code point: a lookup folds them before matching words.
    std::map<char32_t, char32_t> folds;
    // The recognition corrector's text model, part name -> bytes (see
    // ocr/text_model.h); empty without a corpus.
    std::map<std::string, std::string> textModel;
    Stats stats;
    WordStats wordStats;
};

}  // namespace talvo::dictgen
