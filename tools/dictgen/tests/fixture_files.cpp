#include "tools/dictgen/tests/fixture_files.h"

#include <bzlib.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace talvo::dictgen::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "talvo-dictgen-XXXXXX").string();
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = buf.data();
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
}

std::string TempDir::write(const std::string& name, const std::string& content) const {
    fs::path p = fs::path(m_path) / name;
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << content;
    return p.string();
}

std::string TempDir::writeBz2(const std::string& name, const std::string& content,
                              long keepBytes) const {
    std::vector<char> out(content.size() + content.size() / 50 + 1024);
    auto outLen = static_cast<unsigned int>(out.size());
    std::string in = content;
    if (BZ2_bzBuffToBuffCompress(out.data(), &outLen, in.data(),
                                 static_cast<unsigned int>(in.size()), 9, 0, 0) != BZ_OK) {
        throw std::runtime_error("bzip2 compression failed");
    }
    size_t keep = keepBytes < 0 ? outLen : std::min<size_t>(outLen, static_cast<size_t>(keepBytes));
    return write(name, std::string(out.data(), keep));
}

std::string readAll(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

}  // namespace talvo::dictgen::test
