#include "ocr/text_corrector.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>

namespace talvo::ocr {

namespace {

// Characters that differ by a stroke or its length, which print and the
// recogniser confuse and only the context tells apart. Each group holds
// mutual look-alikes.
constexpr std::u32string_view kLookAlikes[] = {
    U"日曰", U"人入八", U"己已巳", U"土士", U"未末", U"戊戌戍", U"干千于", U"刀力",
    U"母毋", U"大太犬", U"王玉",   U"天夭", U"爪瓜", U"目且",   U"弋戈",   U"十寸",
    U"九丸", U"上匕",   U"卜下",   U"今令", U"冶治", U"汨汩",   U"侯候",   U"微徵",
    U"間閒", U"壺壼",   U"祇祗",   U"亨享", U"崇祟", U"券劵",   U"贏嬴",   U"栗粟",
};

const std::unordered_map<char32_t, std::u32string>& lookAlikes() {
    static const auto table = [] {
        std::unordered_map<char32_t, std::u32string> t;
        for (std::u32string_view group : kLookAlikes) {
            for (char32_t c : group) {
                for (char32_t o : group) {
                    if (o != c) {
                        t[c].push_back(o);
                    }
                }
            }
        }
        return t;
    }();
    return table;
}

constexpr double kNegInf = -std::numeric_limits<double>::infinity();

}  // namespace

TextCorrector::TextCorrector(const TextModel& model, const std::unordered_set<char32_t>* readable,
                             GlyphShapes* glyphs, CorrectionWeights weights)
    : m_model(model), m_readable(readable), m_glyphs(glyphs), m_w(weights) {}

double TextCorrector::looks(const ReadChar& read, char32_t c) const {
    if (!read.shape || !m_glyphs || read.shape->empty) {
        return 0.0;
    }
    const Shape* drawn = m_glyphs->shape(c);
    return m_w.shape * (drawn ? Shape::similarity(*read.shape, *drawn) : m_w.shapeUnknown);
}

bool TextCorrector::readable(char32_t c) const {
    return !m_readable || m_readable->count(c) > 0;
}

double TextCorrector::calibrated(float confidence) const {
    double c = std::clamp(static_cast<double>(confidence), 0.0, 1.0);
    const auto& k = m_w.calibration;
    for (size_t i = 1; i < k.size(); ++i) {
        if (c <= k[i].first) {
            double span = k[i].first - k[i - 1].first;
            double t = span > 0 ? (c - k[i - 1].first) / span : 1.0;
            return std::clamp(k[i - 1].second + t * (k[i].second - k[i - 1].second), 0.01, 0.99);
        }
    }
    return std::clamp(k.back().second, 0.01, 0.99);
}

double TextCorrector::lm(char32_t c, char32_t p1, char32_t p2) const {
    return m_w.language * m_model.logProb(c, p1, p2);
}

std::vector<TextCorrector::Candidate> TextCorrector::candidates(
    const std::vector<ReadChar>& run, size_t i, const std::u32string* context) const {
    const ReadChar& read = run[i];
    double raw = read.ch ? read.confidence : 0.0;
    double q = read.ch ? calibrated(read.confidence) : 0.01;
    double hit = std::log(q);
    double miss = std::log(1.0 - q);
    std::vector<Candidate> out;
    auto add = [&](char32_t c, double score) {
        char32_t f = m_model.fold(c);
        if (c != read.ch && m_model.count(f) == 0) {
            return;  // the corpus never writes it: nothing speaks for it
        }
        double total = score + looks(read, c);
        for (Candidate& k : out) {
            if (k.folded == f) {
                if (total > k.score) {
                    k = Candidate{c, f, total};
                }
                return;
            }
        }
        out.push_back(Candidate{c, f, total});
    };
    if (read.ch) {
        add(read.ch, hit);
    }
    for (char32_t v : m_model.variants(read.ch)) {
        add(v, hit + (readable(v) ? m_w.variantReadable : m_w.variant));
    }
    if (auto it = lookAlikes().find(read.ch); it != lookAlikes().end()) {
        for (char32_t c : it->second) {
            add(c, miss + m_w.lookAlike);
        }
    }
    for (char32_t a : read.alternatives) {
        add(a, miss + m_w.alternative);
    }

    auto neighbour = [&](size_t k) -> char32_t {
        char32_t c = context ? (*context)[k] : run[k].ch;
        return c ? m_model.fold(c) : 0;
    };
    char32_t p1 = i >= 1 ? neighbour(i - 1) : 0;
    char32_t p2 = i >= 2 ? neighbour(i - 2) : 0;
    char32_t n1 = i + 1 < run.size() ? neighbour(i + 1) : 0;
    if (context && (*context)[i] && (*context)[i] != read.ch) {
        add((*context)[i], miss + m_w.context);  // the earlier pass's choice stays in the running
    }
    bool withShape = read.shape && m_glyphs && !read.shape->empty;
    bool searchShapes = withShape && raw < m_w.shapeSearchBelow && m_w.shapeCandidates > 0;
    std::vector<char32_t> pool;
    if (raw < m_w.radicalBelow || raw < m_w.contextBelow || searchShapes) {
        std::vector<char32_t> side;
        if (p1) {
            m_model.followers(p1, side);
            pool.insert(pool.end(), side.begin(), side.end());
        }
        if (n1) {
            m_model.leaders(n1, side);
            pool.insert(pool.end(), side.begin(), side.end());
        }
        std::sort(pool.begin(), pool.end());
        pool.erase(std::unique(pool.begin(), pool.end()), pool.end());
    }
    auto own = read.ch ? m_model.radical(read.ch) : std::nullopt;
    if (raw < m_w.radicalBelow && own) {
        for (char32_t c : pool) {
            auto rs = m_model.radical(c);
            if (rs && rs->radical == own->radical && c != read.ch) {
                add(c, miss + (readable(c) ? m_w.sameRadicalReadable : m_w.sameRadical) +
                           m_w.strokeDifference * std::abs(rs->strokes - own->strokes));
            }
        }
    }
    auto keepBest = [&](std::vector<std::pair<double, char32_t>>& ranked, int count, double prior) {
        size_t keep = std::min(ranked.size(), static_cast<size_t>(std::max(count, 0)));
        std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(keep),
                          ranked.end(), [](const auto& a, const auto& b) {
                              return a.first != b.first ? a.first > b.first : a.second < b.second;
                          });
        for (size_t k = 0; k < keep; ++k) {
            char32_t c = ranked[k].second;
            auto rs = m_model.radical(c);
            bool sameRadical = own && rs && rs->radical == own->radical;
            add(c, miss + prior + (sameRadical ? m_w.contextSameRadical : 0.0));
        }
    };
    if ((raw < m_w.contextBelow && m_w.contextCandidates > 0) || searchShapes) {
        std::vector<std::pair<double, char32_t>> byContext;
        std::vector<std::pair<double, char32_t>> byShape;
        byContext.reserve(pool.size());
        TextModel::Between between(m_model, p2, p1, n1);
        for (char32_t c : pool) {
            double s = between.score(c);
            byContext.emplace_back(s, c);
            if (searchShapes) {
                byShape.emplace_back(m_w.language * s + looks(read, c), c);
            }
        }
        if (raw < m_w.contextBelow) {
            keepBest(byContext, m_w.contextCandidates, m_w.context);
        }
        keepBest(byShape, m_w.shapeCandidates, m_w.context);
    }
    // The read character first, then the likeliest; a fixed number at most.
    if (out.size() > static_cast<size_t>(m_w.maxCandidates)) {
        size_t from = read.ch ? 1 : 0;
        std::stable_sort(out.begin() + static_cast<std::ptrdiff_t>(from), out.end(),
                         [](const Candidate& a, const Candidate& b) { return a.score > b.score; });
        out.resize(static_cast<size_t>(m_w.maxCandidates));
    }
    if (out.empty()) {
        // Nothing to go on: keep a place holder the context cannot favour.
        out.push_back(Candidate{read.ch ? read.ch : U'\uFFFD', read.ch, hit});
    }
    return out;
}

std::vector<size_t> TextCorrector::bestPath(
    const std::vector<std::vector<Candidate>>& cands) const {
    size_t n = cands.size();
    // best[i][j * K_i + k]: the best score of a reading of 0..i that ends
    // with candidate j at i - 1 and k at i (j is 0 at i = 0); from[] keeps
    // the candidate at i - 2 it came from.
    std::vector<std::vector<double>> best(n);
    std::vector<std::vector<int>> from(n);
    size_t k0 = cands[0].size();
    best[0].assign(k0, kNegInf);
    from[0].assign(k0, -1);
    TextModel::After start(m_model, 0, 0);
    for (size_t k = 0; k < k0; ++k) {
        best[0][k] = cands[0][k].score + m_w.language * start.logProb(cands[0][k].folded);
    }
    for (size_t i = 1; i < n; ++i) {
        size_t kp = cands[i - 1].size();
        size_t kc = cands[i].size();
        size_t kpp = i >= 2 ? cands[i - 2].size() : 1;
        best[i].assign(kp * kc, kNegInf);
        from[i].assign(kp * kc, -1);
        for (size_t j = 0; j < kp; ++j) {
            for (size_t h = 0; h < kpp; ++h) {
                double prev = i >= 2 ? best[i - 1][h * kp + j] : best[0][j];
                if (prev == kNegInf) {
                    continue;
                }
                char32_t c2 = i >= 2 ? cands[i - 2][h].folded : 0;
                TextModel::After after(m_model, c2, cands[i - 1][j].folded);
                for (size_t k = 0; k < kc; ++k) {
                    double s =
                        prev + cands[i][k].score + m_w.language * after.logProb(cands[i][k].folded);
                    if (s > best[i][j * kc + k]) {
                        best[i][j * kc + k] = s;
                        from[i][j * kc + k] = static_cast<int>(h);
                    }
                }
            }
        }
    }
    // Back from the best final state.
    std::vector<size_t> pick(n, 0);
    const std::vector<double>& last = best[n - 1];
    size_t arg = static_cast<size_t>(std::max_element(last.begin(), last.end()) - last.begin());
    if (n == 1) {
        pick[0] = arg;
        return pick;
    }
    size_t kc = cands[n - 1].size();
    pick[n - 1] = arg % kc;
    pick[n - 2] = arg / kc;
    for (size_t i = n - 1; i >= 2; --i) {
        int h = from[i][pick[i - 1] * cands[i].size() + pick[i]];
        pick[i - 2] = h < 0 ? 0 : static_cast<size_t>(h);
    }
    return pick;
}

std::vector<CorrectedChar> TextCorrector::correct(const std::vector<ReadChar>& run) const {
    size_t n = run.size();
    std::vector<CorrectedChar> out(n);
    if (n == 0) {
        return out;
    }
    std::vector<std::vector<Candidate>> cands(n);
    std::vector<size_t> pick;
    std::u32string chosen;
    for (int pass = 0; pass < std::max(1, m_w.passes); ++pass) {
        for (size_t i = 0; i < n; ++i) {
            cands[i] = candidates(run, i, pass == 0 ? nullptr : &chosen);
        }
        pick = bestPath(cands);
        chosen.clear();
        for (size_t i = 0; i < n; ++i) {
            chosen.push_back(cands[i][pick[i]].ch);
        }
    }
    // Confidence: the chosen character against its rivals, each with the
    // chosen neighbours, and against "something else" that fits the context
    // a little worse than the best and gets the recogniser's doubt.
    for (size_t i = 0; i < n; ++i) {
        char32_t p1 = i >= 1 ? cands[i - 1][pick[i - 1]].folded : 0;
        char32_t p2 = i >= 2 ? cands[i - 2][pick[i - 2]].folded : 0;
        char32_t n1 = i + 1 < n ? cands[i + 1][pick[i + 1]].folded : 0;
        char32_t n2 = i + 2 < n ? cands[i + 2][pick[i + 2]].folded : 0;
        std::vector<double> s;
        double bestContext = kNegInf;
        for (const Candidate& c : cands[i]) {
            double ctx = lm(c.folded, p1, p2);
            if (n1) {
                ctx += lm(n1, c.folded, p1);
            }
            if (n2) {
                ctx += lm(n2, n1, c.folded);
            }
            bestContext = std::max(bestContext, ctx);
            s.push_back(c.score + ctx);
        }
        double q = run[i].ch ? calibrated(run[i].confidence) : 0.01;
        s.push_back(std::log(1.0 - q) + bestContext - m_w.otherMargin);
        double top = *std::max_element(s.begin(), s.end());
        double sum = 0;
        for (double v : s) {
            sum += std::exp(v - top);
        }
        out[i].ch = cands[i][pick[i]].ch;
        out[i].confidence = static_cast<float>(std::exp(s[pick[i]] - top) / sum);
    }
    return out;
}

}  // namespace talvo::ocr
