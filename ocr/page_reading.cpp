#include "ocr/page_reading.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "core/text/unicode.h"

namespace talvo::ocr {

namespace {

// A pair is worth its resemblance less this; below it, skipping both is better.
constexpr double kPairBase = 0.25;
constexpr double kSkip = -0.35;
// Resemblance assumed when the reference font lacks the character.
constexpr double kUnknownLooks = 0.4;
// Beyond this many characters the pairing table grows too big to be worth it.
constexpr size_t kMaxPaired = 800;
// The boxes are trusted when this share of both sides pairs up.
constexpr double kTrustShare = 0.85;

PageReading recogniserAlone(const std::vector<ReadSymbol>& symbols) {
    PageReading out;
    for (const ReadSymbol& s : symbols) {
        if (s.lineStart && !out.places.empty()) {
            out.places.back().lineEnd = true;
        }
        ReadPlace p;
        p.read.ch = s.ch;
        p.read.confidence = s.confidence;
        p.read.alternatives = s.alternatives;
        p.punctuation = !s.han;
        out.places.push_back(std::move(p));
    }
    if (!out.places.empty()) {
        out.places.back().lineEnd = true;
    }
    return out;
}

}  // namespace

PageReading readPage(const std::vector<ReadSymbol>& symbols, const PageLayout& layout,
                     const GrayImage& page, uint8_t inkBelow, GlyphShapes* glyphs) {
    std::vector<size_t> han;
    for (size_t k = 0; k < symbols.size(); ++k) {
        if (symbols[k].han) {
            han.push_back(k);
        }
    }
    std::vector<Box> boxes;
    std::vector<size_t> lineOf;
    for (size_t l = 0; l < layout.lines.size(); ++l) {
        for (const Box& b : layout.lines[l]) {
            boxes.push_back(b);
            lineOf.push_back(l);
        }
    }
    size_t n = han.size();
    size_t m = boxes.size();
    if (!glyphs || n == 0 || m == 0 || n > kMaxPaired || m > kMaxPaired ||
        static_cast<double>(std::max(n, m) - std::min(n, m)) >
            0.2 * static_cast<double>(std::max(n, m))) {
        return recogniserAlone(symbols);
    }
    PageReading out;
    out.shapes.reserve(m);
    for (const Box& b : boxes) {
        out.shapes.push_back(Shape::of(page, b, inkBelow));
    }
    // score[i][j]: best of pairing the first i characters with the first j boxes.
    const double none = -std::numeric_limits<double>::infinity();
    std::vector<double> score((n + 1) * (m + 1), none);
    std::vector<char> move((n + 1) * (m + 1), 0);  // 'd' pair, 'c' skip character, 'b' skip box
    auto at = [&](size_t i, size_t j) { return i * (m + 1) + j; };
    score[at(0, 0)] = 0;
    for (size_t i = 0; i <= n; ++i) {
        for (size_t j = 0; j <= m; ++j) {
            double here = score[at(i, j)];
            if (i == 0 && j == 0) {
                continue;
            }
            here = none;
            char how = 0;
            if (i > 0 && j > 0 && score[at(i - 1, j - 1)] != none) {
                const Shape* drawn = glyphs->shape(symbols[han[i - 1]].ch);
                double looks = drawn ? Shape::similarity(out.shapes[j - 1], *drawn) : kUnknownLooks;
                here = score[at(i - 1, j - 1)] + looks - kPairBase;
                how = 'd';
            }
            if (i > 0 && score[at(i - 1, j)] != none && score[at(i - 1, j)] + kSkip > here) {
                here = score[at(i - 1, j)] + kSkip;
                how = 'c';
            }
            if (j > 0 && score[at(i, j - 1)] != none && score[at(i, j - 1)] + kSkip > here) {
                here = score[at(i, j - 1)] + kSkip;
                how = 'b';
            }
            score[at(i, j)] = here;
            move[at(i, j)] = how;
        }
    }
    std::vector<int> pairOfBox(m, -1);
    size_t paired = 0;
    for (size_t i = n, j = m; i > 0 || j > 0;) {
        char how = move[at(i, j)];
        if (how == 'd') {
            pairOfBox[j - 1] = static_cast<int>(i - 1);
            ++paired;
            --i;
            --j;
        } else if (how == 'c') {
            --i;
        } else {
            --j;
        }
    }
    if (static_cast<double>(paired) < kTrustShare * static_cast<double>(std::min(n, m))) {
        return recogniserAlone(symbols);
    }
    // Punctuation goes after the Hán character it followed in the reading.
    std::vector<int> boxOfHan(n, -1);
    for (size_t j = 0; j < m; ++j) {
        if (pairOfBox[j] >= 0) {
            boxOfHan[static_cast<size_t>(pairOfBox[j])] = static_cast<int>(j);
        }
    }
    std::vector<std::vector<size_t>> punctuationAfter(m +
                                                      1);  // index m + ... : before the first box
    int lastBox = -1;
    size_t h = 0;
    for (size_t k = 0; k < symbols.size(); ++k) {
        if (symbols[k].han) {
            if (boxOfHan[h] >= 0) {
                lastBox = boxOfHan[h];
            }
            ++h;
        } else {
            punctuationAfter[lastBox < 0 ? m : static_cast<size_t>(lastBox)].push_back(k);
        }
    }
    auto punctuation = [&](size_t k) {
        ReadPlace p;
        p.read.ch = symbols[k].ch;
        p.read.confidence = symbols[k].confidence;
        p.punctuation = true;
        out.places.push_back(std::move(p));
    };
    for (size_t k : punctuationAfter[m]) {
        punctuation(k);
    }
    for (size_t j = 0; j < m; ++j) {
        ReadPlace p;
        p.read.shape = &out.shapes[j];
        if (pairOfBox[j] >= 0) {
            const ReadSymbol& s = symbols[han[static_cast<size_t>(pairOfBox[j])]];
            p.read.ch = s.ch;
            p.read.confidence = s.confidence;
            p.read.alternatives = s.alternatives;
        }
        out.places.push_back(std::move(p));
        for (size_t k : punctuationAfter[j]) {
            punctuation(k);
        }
        if (j + 1 == m || lineOf[j + 1] != lineOf[j]) {
            out.places.back().lineEnd = true;
        }
    }
    out.usedBoxes = true;
    return out;
}

PreparedPage preparePage(const GrayImage& page, uint8_t inkBelow, Layout layout,
                         long long maxPixels) {
    PreparedPage p;
    p.boxes = PageSegmenter::segment(page, inkBelow, layout);
    if (p.boxes.charSize > 0 && p.boxes.charSize < PreparedPage::kSmallPrint &&
        4LL * page.width * page.height <= maxPixels) {
        p.image = page.doubled();
        p.ink = p.image.inkThreshold();
        p.boxes = PageSegmenter::segment(p.image, p.ink, layout);
        p.enlarged = true;
    } else {
        p.image = page;
        p.ink = inkBelow;
    }
    return p;
}

namespace {

std::string utf8(char32_t c) {
    std::string s;
    text::appendUtf8(s, c);
    return s;
}

// Uncorrected characters under this confidence are marked: the recogniser
// claims more certainty than it has (right 40% of the time at 0.85).
constexpr float kUncertainUncorrected = 0.9f;

}  // namespace

PageResult finishPage(const std::vector<ReadSymbol>& symbols, const PreparedPage& page,
                      Layout layout, const TextCorrector* corrector, GlyphShapes* glyphs) {
    PageResult out;
    PageReading reading =
        readPage(symbols, page.boxes, page.image, page.ink, corrector ? glyphs : nullptr);
    out.usedBoxes = reading.usedBoxes;
    for (const ReadPlace& p : reading.places) {
        if (p.read.ch) {
            out.reading += utf8(p.read.ch);
        }
        if (p.lineEnd && !out.reading.empty() && out.reading.back() != '\n') {
            out.reading += '\n';
        }
    }
    std::vector<CorrectedChar> corrected(reading.places.size());
    if (corrector) {
        std::vector<ReadChar> run;
        std::vector<size_t> where;
        auto flush = [&] {
            std::vector<CorrectedChar> c = corrector->correct(run);
            for (size_t k = 0; k < c.size(); ++k) {
                corrected[where[k]] = c[k];
            }
            run.clear();
            where.clear();
        };
        for (size_t k = 0; k < reading.places.size(); ++k) {
            if (reading.places[k].punctuation) {
                flush();
                continue;
            }
            run.push_back(reading.places[k].read);
            where.push_back(k);
        }
        flush();
    }
    float uncertainBelow =
        corrector ? static_cast<float>(corrector->weights().uncertainBelow) : kUncertainUncorrected;
    Recognition& r = out.recognition;
    r.layout = layout;
    for (size_t k = 0; k < reading.places.size(); ++k) {
        const ReadPlace& p = reading.places[k];
        char32_t ch = p.read.ch;
        float conf = p.read.confidence;
        if (corrector && !p.punctuation) {
            ch = corrected[k].ch;
            conf = corrected[k].confidence;
        }
        if (ch && ch != U'\uFFFD') {
            r.text += utf8(ch);
            r.chars.push_back(RecognizedChar{utf8(ch), conf, conf < uncertainBelow});
        }
        if (p.lineEnd && !r.text.empty() && r.text.back() != '\n') {
            r.text += '\n';
        }
    }
    return out;
}

}  // namespace talvo::ocr
