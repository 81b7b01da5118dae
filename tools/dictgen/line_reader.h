#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace talvo::dictgen {

// Reads a text file one line at a time, decompressing it with libbz2 when its
// name ends in ".bz2" (Unihan ships that way). Lines come without their "\n"
// or "\r\n". Bytes are passed through unchecked: callers validate UTF-8.
// Throws SourceError when the file cannot be opened; a damaged or truncated
// compressed stream ends the lines early and is reported by error().
class LineReader {
  public:
    explicit LineReader(const std::string& path);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // False at the end of the data (or when the stream broke).
    bool next(std::string& line);
    // The number of the line last returned, from 1.
    size_t lineNumber() const { return m_lineNumber; }
    // Why the data ended early, or empty when it ended normally.
    const std::string& error() const { return m_error; }

  private:
    bool fill();
    bool fillCompressed();

    std::string m_path;
    FILE* m_file = nullptr;
    void* m_bz = nullptr;  // BZFILE*, kept opaque so bzlib.h stays out of the header
    bool m_compressed = false;
    bool m_eof = false;
    std::string m_buffer;
    size_t m_pos = 0;
    size_t m_lineNumber = 0;
    std::string m_error;
};

}  // namespace talvo::dictgen
