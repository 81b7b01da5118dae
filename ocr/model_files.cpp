#include "ocr/model_files.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/text/unicode.h"

namespace talvo::ocr {

namespace {

namespace fs = std::filesystem;

// The container's table of contents: a count, then one 64-bit offset per
// component (-1 when absent), little-endian. The LSTM character set is
// component 21 (TESSDATA_LSTM_UNICHARSET in Tesseract's tessdatamanager.h).
constexpr int kLstmUnicharset = 21;
constexpr int kMaxComponents = 64;

bool isFile(const fs::path& p) {
    std::error_code ec;
    return fs::is_regular_file(p, ec);
}

}  // namespace

const char* ModelFiles::modelName(Layout layout) {
    return layout == Layout::Vertical ? "chi_tra_vert" : "chi_tra";
}

const char* ModelFiles::packageName(Layout layout) {
    return layout == Layout::Vertical ? "tesseract-ocr-chi-tra-vert" : "tesseract-ocr-chi-tra";
}

std::vector<std::string> ModelFiles::searchPath(const std::string& given, const char* prefixEnv) {
    if (!given.empty()) {
        return {given};
    }
    std::vector<std::string> path;
    if (const char* prefix = std::getenv(prefixEnv); prefix && *prefix) {
        path.emplace_back(prefix);
        path.push_back((fs::path(prefix) / "tessdata").string());
    }
    path.emplace_back("/usr/share/tesseract-ocr/5/tessdata");
    path.emplace_back("/usr/share/tesseract-ocr/4.00/tessdata");
    path.emplace_back("/usr/share/tessdata");
    return path;
}

std::optional<std::string> ModelFiles::find(const std::string& model,
                                            const std::vector<std::string>& path) {
    for (const std::string& dir : path) {
        if (isFile(fs::path(dir) / (model + ".traineddata"))) {
            return dir;
        }
    }
    return std::nullopt;
}

std::optional<std::unordered_set<char32_t>> ModelFiles::readableCharacters(
    const std::string& traineddata) {
    std::ifstream in(traineddata, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto read = [&](size_t at, int n) -> std::optional<int64_t> {
        if (at + static_cast<size_t>(n) > bytes.size()) {
            return std::nullopt;
        }
        uint64_t v = 0;
        for (int i = 0; i < n; ++i) {
            v |= uint64_t{static_cast<unsigned char>(bytes[at + static_cast<size_t>(i)])}
                 << (8 * i);
        }
        return n == 4 ? static_cast<int64_t>(static_cast<int32_t>(v)) : static_cast<int64_t>(v);
    };
    auto count = read(0, 4);
    if (!count || *count <= kLstmUnicharset || *count > kMaxComponents) {
        return std::nullopt;
    }
    std::vector<int64_t> offsets;
    for (int64_t i = 0; i < *count; ++i) {
        auto o = read(4 + static_cast<size_t>(i) * 8, 8);
        if (!o) {
            return std::nullopt;
        }
        offsets.push_back(*o);
    }
    int64_t start = offsets[kLstmUnicharset];
    if (start <= 0 || static_cast<uint64_t>(start) >= bytes.size()) {
        return std::nullopt;
    }
    int64_t end = static_cast<int64_t>(bytes.size());
    for (int64_t o : offsets) {
        if (o > start && o < end) {
            end = o;
        }
    }
    std::string table = text::sanitizeUtf8(std::string_view(bytes).substr(
        static_cast<size_t>(start), static_cast<size_t>(end - start)));
    // "4589\nNULL 0 Common 0\n...\n曰 1 ..." : a count, then a character first on each line.
    std::unordered_set<char32_t> chars;
    size_t pos = table.find('\n');
    while (pos != std::string::npos && pos + 1 < table.size()) {
        size_t next = table.find('\n', pos + 1);
        std::string_view line = std::string_view(table).substr(
            pos + 1, (next == std::string::npos ? table.size() : next) - pos - 1);
        std::u32string first = text::scalars(line.substr(0, line.find(' ')));
        if (first.size() == 1) {
            chars.insert(first[0]);
        }
        pos = next;
    }
    if (chars.empty()) {
        return std::nullopt;
    }
    return chars;
}

}  // namespace talvo::ocr
