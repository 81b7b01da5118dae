#include "tools/dictgen/corpus_counter.h"

#include <algorithm>
#include <filesystem>

#include "core/text/unicode.h"
#include "tools/dictgen/han_chars.h"
#include "tools/dictgen/line_reader.h"

namespace talvo::dictgen {

namespace {

constexpr size_t kMaxEntityLength = 24;

bool isEntityChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '#' ||
           c == '_' || c == '-';
}

}  // namespace

void CorpusCounter::addDirectory(const std::string& dir, IssueLog& issues,
                                 const Progress& progress) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_directory(dir, ec)) {
        issues.warn("corpus folder " + dir + " not found; skipped");
        return;
    }
    std::vector<fs::path> files;
    for (auto it = fs::recursive_directory_iterator(dir, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_regular_file(ec) && it->path().extension() == ".txt") {
            files.push_back(it->path());
        }
    }
    if (ec) {
        issues.warn("listing corpus folder " + dir + " failed: " + ec.message());
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        issues.warn("corpus folder " + dir + " holds no .txt file");
    }
    for (size_t i = 0; i < files.size(); ++i) {
        fs::path rel = files[i].lexically_relative(dir);
        // A text is the first folder below the corpus root (KR3e0001/...);
        // files directly in the root each stand alone.
        std::string text = rel.has_parent_path() ? rel.begin()->string() : rel.stem().string();
        addFile(files[i].string(), text, issues);
        if (progress) {
            progress(i + 1, files.size());
        }
    }
}

void CorpusCounter::addFile(const std::string& path, const std::string& textName,
                            IssueLog& issues) {
    LineReader reader(path);
    m_counts.files.push_back(path);
    CorpusCounts::Text& textStats = m_counts.texts[textName];
    std::string line;
    int depth = 0;
    size_t openedAt = 0;
    std::u32string run;
    auto endRun = [&] {
        if (run.size() > 1) {
            m_counts.runs.push_back(run);
            m_counts.runTexts.push_back(textName);
            m_counts.runFiles.push_back(m_counts.files.size() - 1);
        }
        run.clear();
    };
    // Commentary set off by indentation (　) rather than parentheses ends
    // where an unindented line starts.
    bool indented = false;
    while (reader.next(line)) {
        size_t lineNo = reader.lineNumber();
        if (!line.empty() && line[0] == '#') {
            constexpr std::string_view kTitle = "#+TITLE:";
            if (textStats.title.empty() && line.rfind(kTitle, 0) == 0 && text::isValidUtf8(line)) {
                textStats.title = std::string(text::trimWhitespace(line.substr(kTitle.size())));
            }
            continue;
        }
        if (!text::isValidUtf8(line)) {
            issues.add(path, lineNo, "not valid UTF-8; the bad bytes were not counted");
            line = text::sanitizeUtf8(line);
        }
        const auto* p = reinterpret_cast<const unsigned char*>(line.data());
        size_t n = line.size();
        constexpr std::string_view kIdeographicSpace = "\u3000";
        constexpr std::string_view kLineMark = "\u00B6";
        bool startsIndented = line.rfind(kIdeographicSpace, 0) == 0;
        if (indented && !startsIndented && line.rfind("<pb:", 0) != 0) {
            endRun();
        }
        if (line.rfind("<pb:", 0) != 0) {
            indented = startsIndented;
        }
        for (size_t i = 0; i < n;) {
            char c = static_cast<char>(p[i]);
            if (c == '<') {
                size_t close = line.find('>', i);
                if (close != std::string::npos) {
                    i = close + 1;
                    continue;
                }
                issues.add(path, lineNo, "unclosed < in markup");
                ++i;
                continue;
            }
            if (c == '&') {
                size_t j = i + 1;
                while (j < n && j - i <= kMaxEntityLength && isEntityChar(line[j])) {
                    ++j;
                }
                if (j < n && line[j] == ';' && j > i + 1) {
                    ++m_counts.entities;
                    endRun();
                    i = j + 1;
                    continue;
                }
                ++i;
                continue;
            }
            if (c == '(') {
                endRun();
                if (depth++ == 0) {
                    openedAt = lineNo;
                }
                ++i;
                continue;
            }
            if (c == ')') {
                endRun();
                if (depth == 0) {
                    issues.add(path, lineNo, ") without a matching (");
                } else {
                    --depth;
                }
                ++i;
                continue;
            }
            if (p[i] < 0x80) {
                // A column break inside commentary is layout, not text.
                if (c != '/') {
                    endRun();
                }
                ++i;
                continue;
            }
            if (line.compare(i, kLineMark.size(), kLineMark) == 0) {
                i += kLineMark.size();
                continue;
            }
            // Multi-byte scalar; the line is valid UTF-8 by now.
            char32_t cp;
            size_t len;
            if (p[i] >= 0xF0) {
                cp = p[i] & 0x07;
                len = 4;
            } else if (p[i] >= 0xE0) {
                cp = p[i] & 0x0F;
                len = 3;
            } else {
                cp = p[i] & 0x1F;
                len = 2;
            }
            for (size_t k = 1; k < len && i + k < n; ++k) {
                cp = (cp << 6) | (p[i + k] & 0x3F);
            }
            i += len;
            if (!HanChars::isIdeograph(cp)) {
                endRun();
                continue;
            }
            run += HanChars::unified(cp);
            ++m_counts.counts[HanChars::unified(cp)];
            ++m_counts.tokens;
            ++textStats.tokens;
            if (depth > 0) {
                ++m_counts.commentaryTokens;
            }
        }
    }
    endRun();
    if (depth > 0) {
        issues.add(path, openedAt, "commentary opened by ( is never closed");
    }
    if (!reader.error().empty()) {
        issues.add(path, reader.lineNumber(), "stopped early: " + reader.error());
    }
}

}  // namespace talvo::dictgen
