#include "core/lookup/han_text_parser.h"

#include "core/text/unicode.h"

namespace talvo::HanTextParser {

namespace {

bool allScalars(std::string_view cluster, bool (*pred)(char32_t)) {
    if (cluster.empty()) {
        return false;
    }
    for (char32_t c : text::scalars(cluster)) {
        if (!pred(c)) {
            return false;
        }
    }
    return true;
}

bool isVietLetter(char32_t c) {
    return !text::isHanScalar(c) && text::isLetter(c);
}

bool hasHanByte(std::string_view s) {
    // Every Hán scalar encodes with a lead byte of 0xE3–0xE9, 0xEF or 0xF0;
    // pure ASCII or Latin text can skip the grapheme walk entirely.
    for (char c : s) {
        auto b = static_cast<unsigned char>(c);
        if ((b >= 0xE3 && b <= 0xE9) || b == 0xEF || b == 0xF0) {
            return true;
        }
    }
    return false;
}

}  // namespace

namespace {

// Calls keep(cluster) for each Hán character and gap() for anything between
// two that keeps a word from running on.
template <typename Keep, typename Gap>
void walkHan(std::string_view input, Keep keep, Gap gap) {
    if (!hasHanByte(input)) {
        return;
    }
    std::string clean = text::sanitizeUtf8(input);
    text::forEachGrapheme(clean, [&](std::string_view g) {
        // Hán scalars take 3 or 4 bytes; a longer cluster carries a mark or
        // selector and is dropped whole.
        if (g.size() >= 3 && g.size() <= 4 && allScalars(g, text::isHanScalar)) {
            keep(g);
        } else if (g != " " && g != "\t") {
            gap();
        }
        return true;
    });
}

}  // namespace

std::vector<std::string> hanCharacters(std::string_view input) {
    std::vector<std::string> out;
    walkHan(
        input, [&](std::string_view g) { out.emplace_back(g); }, [] {});
    return out;
}

std::vector<size_t> wordBreaks(std::string_view input) {
    std::vector<size_t> out;
    size_t count = 0;
    bool pending = false;
    walkHan(
        input,
        [&](std::string_view) {
            if (pending && count > 0) {
                out.push_back(count);
            }
            pending = false;
            ++count;
        },
        [&] { pending = true; });
    return out;
}

std::optional<std::vector<std::string>> vietSyllables(std::string_view input) {
    std::string clean = text::nfc(input);
    std::vector<std::string> pieces;
    std::string current;
    bool aborted = false;

    auto endPiece = [&] {
        if (!current.empty()) {
            pieces.push_back(std::move(current));
            current.clear();
        }
        // Past the limit the answer is absent whatever follows.
        return pieces.size() <= kMaxSyllables;
    };

    text::forEachGrapheme(clean, [&](std::string_view g) {
        std::u32string cs = text::scalars(g);
        if (cs.empty()) {
            return true;
        }
        if (text::isNumeric(cs.front())) {
            aborted = true;
            return false;
        }
        if (text::isWhitespace(cs.front())) {
            return endPiece();
        }
        bool letters = true;
        for (char32_t c : cs) {
            if (!isVietLetter(c)) {
                letters = false;
                break;
            }
        }
        if (letters) {
            current.append(g);
            return true;
        }
        return endPiece();  // punctuation, symbols, Hán, emoji separate syllables
    });
    if (aborted || !endPiece() || pieces.empty()) {
        return std::nullopt;
    }
    for (std::string& p : pieces) {
        p = text::toLower(p);
        if (text::graphemeCount(p) > kMaxSyllableLength) {
            return std::nullopt;
        }
    }
    return pieces;
}

}  // namespace talvo::HanTextParser
