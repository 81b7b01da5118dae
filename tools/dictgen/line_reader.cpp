#include "tools/dictgen/line_reader.h"

#include <bzlib.h>

#include <cstring>
#include <vector>

#include "tools/dictgen/source_error.h"

namespace talvo::dictgen {

namespace {

constexpr size_t kChunk = 1 << 16;

bool endsWith(const std::string& s, const char* suffix) {
    size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

}  // namespace

LineReader::LineReader(const std::string& path) : m_path(path) {
    m_file = std::fopen(path.c_str(), "rb");
    if (!m_file) {
        throw SourceError("cannot open " + path + ": " + std::strerror(errno));
    }
    m_compressed = endsWith(path, ".bz2");
    if (m_compressed) {
        int err = BZ_OK;
        m_bz = BZ2_bzReadOpen(&err, m_file, 0, 0, nullptr, 0);
        if (err != BZ_OK) {
            BZ2_bzReadClose(&err, static_cast<BZFILE*>(m_bz));
            std::fclose(m_file);
            throw SourceError("cannot read " + path + " as bzip2 data");
        }
    }
}

LineReader::~LineReader() {
    if (m_bz) {
        int err = BZ_OK;
        BZ2_bzReadClose(&err, static_cast<BZFILE*>(m_bz));
    }
    if (m_file) {
        std::fclose(m_file);
    }
}

bool LineReader::fillCompressed() {
    char chunk[kChunk];
    int err = BZ_OK;
    int n = BZ2_bzRead(&err, static_cast<BZFILE*>(m_bz), chunk, static_cast<int>(sizeof chunk));
    if (n > 0 && (err == BZ_OK || err == BZ_STREAM_END)) {
        m_buffer.append(chunk, static_cast<size_t>(n));
    }
    if (err == BZ_OK) {
        return true;
    }
    if (err == BZ_STREAM_END) {
        // bzip2 files may hold several concatenated streams; carry on with
        // whatever the finished stream left unread.
        void* unused = nullptr;
        int nUnused = 0;
        BZ2_bzReadGetUnused(&err, static_cast<BZFILE*>(m_bz), &unused, &nUnused);
        std::vector<char> rest(static_cast<const char*>(unused),
                               static_cast<const char*>(unused) + nUnused);
        BZ2_bzReadClose(&err, static_cast<BZFILE*>(m_bz));
        m_bz = nullptr;
        if (rest.empty()) {
            int c = std::fgetc(m_file);
            if (c == EOF) {
                m_eof = true;
                return n > 0;
            }
            std::ungetc(c, m_file);
        }
        m_bz = BZ2_bzReadOpen(&err, m_file, 0, 0, rest.empty() ? nullptr : rest.data(),
                              static_cast<int>(rest.size()));
        if (err != BZ_OK) {
            m_error = "trailing data after the bzip2 stream is not bzip2";
            m_eof = true;
        }
        return true;
    }
    m_eof = true;
    switch (err) {
        case BZ_UNEXPECTED_EOF:
            m_error = "the bzip2 data is truncated";
            break;
        case BZ_DATA_ERROR:
        case BZ_DATA_ERROR_MAGIC:
            m_error = "the bzip2 data is damaged";
            break;
        default:
            m_error = "reading the bzip2 data failed (libbz2 error " + std::to_string(err) + ")";
            break;
    }
    return n > 0;
}

bool LineReader::fill() {
    if (m_eof) {
        return false;
    }
    // Keep the unread tail, drop what was consumed.
    m_buffer.erase(0, m_pos);
    m_pos = 0;
    if (m_compressed) {
        return fillCompressed();
    }
    char chunk[kChunk];
    size_t n = std::fread(chunk, 1, sizeof chunk, m_file);
    m_buffer.append(chunk, n);
    if (n < sizeof chunk) {
        if (std::ferror(m_file)) {
            m_error = std::string("read error: ") + std::strerror(errno);
        }
        m_eof = true;
    }
    return n > 0;
}

bool LineReader::next(std::string& line) {
    while (true) {
        size_t nl = m_buffer.find('\n', m_pos);
        if (nl != std::string::npos) {
            line.assign(m_buffer, m_pos, nl - m_pos);
            m_pos = nl + 1;
            break;
        }
        if (!fill()) {
            if (m_pos >= m_buffer.size()) {
                return false;
            }
            line.assign(m_buffer, m_pos, std::string::npos);
            m_pos = m_buffer.size();
            break;
        }
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    ++m_lineNumber;
    return true;
}

}  // namespace talvo::dictgen
