#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/dictgen/corpus_counter.h"
#include "tools/dictgen/dictionary.h"
#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

// One source as the About panel and the report present it.
struct SourceSummary {
    std::string id;  // "thieuchuu", "unihan", ...
    std::string title;
    std::string license;  // the terms it comes under
    std::string credit;   // whom to credit, as the terms ask
    std::vector<std::string>
        files;           // file names, not paths: the output must not depend on where the data lies
    std::string detail;  // what was taken from it
};

// The figures a build reports and stores: how much of the dictionary has
// readings, glosses and frequencies, and how much of the corpus it reads.
class CoverageReport {
  public:
    CoverageReport(const Dictionary& dict, const CorpusCounts* corpus, const IssueLog& issues);

    size_t charsWithReadings() const { return m_withReadings; }
    size_t readingRows() const { return m_readingRows; }
    size_t charsWithVietnameseGloss() const { return m_vietnamese; }
    size_t charsWithEnglishGlossOnly() const { return m_english; }
    size_t charsWithFrequency() const { return m_withFrequency; }

    // The most frequent characters that have readings, most frequent first.
    std::vector<char32_t> topByFrequency(size_t n) const;

    nlohmann::ordered_json json() const;
    std::string text(const std::vector<SourceSummary>& sources, const std::string& header,
                     IssueLog::Paths paths) const;

  private:
    const Dictionary& m_dict;
    const CorpusCounts* m_corpus;
    const IssueLog& m_issues;
    size_t m_withReadings = 0;
    size_t m_readingRows = 0;
    size_t m_vietnamese = 0;
    size_t m_variantNotes = 0;
    size_t m_english = 0;
    size_t m_readingsNoGloss = 0;
    size_t m_withFrequency = 0;
};

// 1234567 -> "1,234,567"
std::string withThousands(int64_t n);

}  // namespace talvo::dictgen
