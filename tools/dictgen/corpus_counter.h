#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/dictgen/issue_log.h"

namespace talvo::dictgen {

struct CorpusCounts {
    struct Text {
        std::string title;  // from the #+TITLE header, when there is one
        int64_t tokens = 0;
    };
    // Every Hán character of the text, commentary included, as the edition
    // writes it (compatibility ideographs unified; variants not yet folded).
    std::unordered_map<char32_t, int64_t> counts;
    int64_t tokens = 0;
    int64_t commentaryTokens = 0;       // inside the interlinear ( ) commentary
    int64_t entities = 0;               // characters with no code point, written &KR0214;
    std::map<std::string, Text> texts;  // by the folder that holds the text's files
    std::vector<std::string> files;     // every file read, in reading order
    // The text as runs of Hán characters that no word crosses (split at
    // punctuation, ideographic spaces, unencoded characters and the edges
    // of commentary; not at line or page ends, which fall mid-sentence).
    // Runs of one character are left out: they hold no word.
    std::vector<std::u32string> runs;
    std::vector<std::string> runTexts;  // the text each run belongs to (a key of texts)
    std::vector<size_t> runFiles;       // the file each run comes from (an index of files)
};

// Counts characters in "mandoku" plain text (Kanseki Repository): header lines
// starting with '#', <pb:...> page markers, &...; entities, ¶ line marks and
// ideographic spaces are markup, not text. Not thread-safe.
class CorpusCounter {
  public:
    using Progress = std::function<void(size_t done, size_t total)>;

    // Every *.txt below dir, in path order. A missing folder is a warning.
    void addDirectory(const std::string& dir, IssueLog& issues, const Progress& progress = {});
    // One file; text names the work it belongs to. Throws SourceError when
    // the file cannot be opened.
    void addFile(const std::string& path, const std::string& text, IssueLog& issues);

    const CorpusCounts& counts() const { return m_counts; }

  private:
    CorpusCounts m_counts;
};

}  // namespace talvo::dictgen
