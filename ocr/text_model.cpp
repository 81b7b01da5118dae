#include "ocr/text_model.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/db/database.h"
#include "core/text/unicode.h"

namespace talvo::ocr {

namespace {

constexpr char32_t kMaxScalar = 0x10FFFF;
constexpr int kBits = 21;  // a scalar value fits in 21 bits
constexpr uint64_t kMask = (uint64_t{1} << kBits) - 1;

uint64_t pairKey(char32_t a, char32_t b) {
    return (uint64_t{a} << kBits) | b;
}

uint64_t tripleKey(char32_t a, char32_t b, char32_t c) {
    return (uint64_t{a} << (2 * kBits)) | (uint64_t{b} << kBits) | c;
}

uint32_t saturated(uint64_t n) {
    return static_cast<uint32_t>(std::min<uint64_t>(n, std::numeric_limits<uint32_t>::max()));
}

// Little-endian fields, whatever the machine, so a dictionary moves between
// machines unchanged.
void put(std::string& out, uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
    }
}

uint64_t get(const std::string& in, size_t at, int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i) {
        v |= uint64_t{static_cast<unsigned char>(in[at + i])} << (8 * i);
    }
    return v;
}

// Reads fixed-size records, checking the size and that the keys ascend.
template <class Record, class Decode>
bool readRecords(const std::map<std::string, std::string>& parts, const char* name,
                 size_t recordSize, bool required, std::vector<Record>& out, Decode decode,
                 std::string* why) {
    auto it = parts.find(name);
    if (it == parts.end()) {
        if (required && why) {
            *why = std::string("the part \"") + name + "\" is missing";
        }
        return !required;
    }
    const std::string& bytes = it->second;
    if (bytes.size() % recordSize != 0) {
        if (why) {
            *why = std::string("the part \"") + name + "\" has a truncated record";
        }
        return false;
    }
    out.clear();
    out.reserve(bytes.size() / recordSize);
    for (size_t at = 0; at < bytes.size(); at += recordSize) {
        std::optional<Record> r = decode(bytes, at);
        if (!r || (!out.empty() && !(out.back().key() < r->key()))) {
            if (why) {
                *why = std::string("the part \"") + name + "\" is out of order or malformed";
            }
            return false;
        }
        out.push_back(*r);
    }
    return true;
}

bool validScalar(uint64_t c) {
    return c > 0 && c <= kMaxScalar;
}

}  // namespace

std::optional<TextModel> TextModel::fromParts(const std::map<std::string, std::string>& parts,
                                              std::string* why) {
    TextModel m;
    struct CharRec {
        Char c;
        uint64_t key() const { return c.cp; }
    };
    struct PairRec {
        Pair p;
        uint64_t key() const { return p.key; }
    };
    struct TripleRec {
        Triple t;
        uint64_t key() const { return t.key; }
    };
    struct RadicalRec {
        uint32_t cp;
        RadicalStrokes rs;
        uint64_t key() const { return cp; }
    };
    struct VariantRec {
        uint64_t pair;
        uint64_t key() const { return pair; }
    };
    std::vector<CharRec> chars;
    std::vector<PairRec> pairs;
    std::vector<TripleRec> triples;
    std::vector<RadicalRec> radicals;
    std::vector<VariantRec> variants;
    bool ok = readRecords(
                  parts, "chars", 12, true, chars,
                  [](const std::string& b, size_t at) -> std::optional<CharRec> {
                      uint64_t cp = get(b, at, 4);
                      if (!validScalar(cp)) {
                          return std::nullopt;
                      }
                      return CharRec{Char{static_cast<uint32_t>(cp),
                                          static_cast<uint32_t>(get(b, at + 4, 4)),
                                          static_cast<uint32_t>(get(b, at + 8, 4))}};
                  },
                  why) &&
              readRecords(
                  parts, "pairs", 16, true, pairs,
                  [](const std::string& b, size_t at) -> std::optional<PairRec> {
                      uint64_t key = get(b, at, 8);
                      if (!validScalar(key >> kBits) || !validScalar(key & kMask)) {
                          return std::nullopt;
                      }
                      return PairRec{Pair{key, static_cast<uint32_t>(get(b, at + 8, 4)),
                                          static_cast<uint32_t>(get(b, at + 12, 4))}};
                  },
                  why) &&
              readRecords(
                  parts, "triples", 12, true, triples,
                  [](const std::string& b, size_t at) -> std::optional<TripleRec> {
                      uint64_t key = get(b, at, 8);
                      if (!validScalar(key >> (2 * kBits)) ||
                          !validScalar((key >> kBits) & kMask) || !validScalar(key & kMask)) {
                          return std::nullopt;
                      }
                      return TripleRec{Triple{key, static_cast<uint32_t>(get(b, at + 8, 4))}};
                  },
                  why) &&
              readRecords(
                  parts, "radicals", 8, false, radicals,
                  [](const std::string& b, size_t at) -> std::optional<RadicalRec> {
                      uint64_t cp = get(b, at, 4);
                      int radical = static_cast<int>(get(b, at + 4, 2));
                      if (!validScalar(cp) || radical < 1 || radical > 214) {
                          return std::nullopt;
                      }
                      return RadicalRec{static_cast<uint32_t>(cp),
                                        {radical, static_cast<int>(get(b, at + 6, 2))}};
                  },
                  why) &&
              readRecords(
                  parts, "variants", 8, false, variants,
                  [](const std::string& b, size_t at) -> std::optional<VariantRec> {
                      uint64_t from = get(b, at, 4);
                      uint64_t to = get(b, at + 4, 4);
                      if (!validScalar(from) || !validScalar(to)) {
                          return std::nullopt;
                      }
                      return VariantRec{(from << kBits) | to};
                  },
                  why);
    if (!ok) {
        return std::nullopt;
    }
    for (const CharRec& c : chars) {
        m.m_chars.push_back(c.c);
        m.m_total += c.c.count;
    }
    for (const PairRec& p : pairs) {
        m.m_pairs.push_back(p.p);
        m.m_reversedPairs.push_back(((p.p.key & kMask) << kBits) | (p.p.key >> kBits));
    }
    std::sort(m.m_reversedPairs.begin(), m.m_reversedPairs.end());
    for (const TripleRec& t : triples) {
        m.m_triples.push_back(t.t);
    }
    for (const RadicalRec& r : radicals) {
        m.m_radicals.emplace(r.cp, r.rs);
        m.m_byRadical[r.rs.radical].push_back(r.cp);
    }
    for (const VariantRec& v : variants) {
        m.m_variants[static_cast<char32_t>(v.pair >> kBits)].push_back(
            static_cast<char32_t>(v.pair & kMask));
    }
    return m;
}

std::optional<TextModel> TextModel::load(db::Database& dict, std::string* why) {
    std::map<std::string, std::string> parts;
    {
        db::Statement q(dict, std::string("SELECT part, data FROM ") + kTable);
        if (!q.valid()) {
            if (why) {
                *why = "the dictionary has no text model (built by an older talvo-dictgen)";
            }
            return std::nullopt;
        }
        while (q.step()) {
            auto name = q.text(0);
            auto data = q.blob(1);
            if (name && data) {
                parts[*name] = std::move(*data);
            }
        }
    }
    std::optional<TextModel> m = fromParts(parts, why);
    if (!m) {
        return m;
    }
    // Missing folds only make the model blunter; the table is optional.
    db::Statement folds(dict, "SELECT char, standard FROM word_fold");
    while (folds.valid() && folds.step()) {
        auto from = folds.text(0);
        auto to = folds.text(1);
        if (!from || !to) {
            continue;
        }
        std::u32string f = text::scalars(text::sanitizeUtf8(*from));
        std::u32string t = text::scalars(text::sanitizeUtf8(*to));
        if (f.size() == 1 && t.size() == 1) {
            m->m_fold.emplace(f[0], t[0]);
        }
    }
    return m;
}

char32_t TextModel::fold(char32_t c) const {
    auto it = m_fold.find(c);
    return it == m_fold.end() ? c : it->second;
}

const TextModel::Char* TextModel::findChar(char32_t c) const {
    auto it = std::lower_bound(m_chars.begin(), m_chars.end(), c,
                               [](const Char& x, char32_t v) { return x.cp < v; });
    return it != m_chars.end() && it->cp == c ? &*it : nullptr;
}

const TextModel::Pair* TextModel::findPair(char32_t a, char32_t b) const {
    uint64_t key = pairKey(a, b);
    auto it = std::lower_bound(m_pairs.begin(), m_pairs.end(), key,
                               [](const Pair& x, uint64_t v) { return x.key < v; });
    return it != m_pairs.end() && it->key == key ? &*it : nullptr;
}

int64_t TextModel::count(char32_t c) const {
    const Char* x = findChar(c);
    return x ? x->count : 0;
}

int64_t TextModel::pairCount(char32_t a, char32_t b) const {
    const Pair* p = findPair(a, b);
    return p ? p->count : 0;
}

double TextModel::unigram(char32_t c) const {
    // One more than the characters seen: room for the ones never seen.
    return (static_cast<double>(count(c)) + 1.0) /
           (m_total + static_cast<double>(m_chars.size()) + 1.0);
}

double TextModel::bigram(char32_t c, char32_t prev1) const {
    double p1 = unigram(c);
    const Char* ctx = prev1 ? findChar(prev1) : nullptr;
    if (!ctx || ctx->followers == 0) {
        return p1;
    }
    double t = ctx->followers;
    return (static_cast<double>(pairCount(prev1, c)) + t * p1) / (ctx->count + t);
}

double TextModel::logProb(char32_t c, char32_t prev1, char32_t prev2) const {
    double p2 = bigram(c, prev1);
    const Pair* ctx = prev1 && prev2 ? findPair(prev2, prev1) : nullptr;
    if (!ctx || ctx->followers == 0) {
        return std::log(p2);
    }
    uint64_t key = tripleKey(prev2, prev1, c);
    auto it = std::lower_bound(m_triples.begin(), m_triples.end(), key,
                               [](const Triple& x, uint64_t v) { return x.key < v; });
    double n = it != m_triples.end() && it->key == key ? it->count : 0.0;
    double t = ctx->followers;
    return std::log((n + t * p2) / (ctx->count + t));
}

TextModel::After::After(const TextModel& model, char32_t p2, char32_t p1)
    : m_m(model), m_p1(p1), m_from(model.m_triples.end()), m_to(model.m_triples.end()) {
    if (!p1) {
        return;
    }
    m_prev = model.findChar(p1);
    if (p2) {
        m_context = model.findPair(p2, p1);
        uint64_t prefix = pairKey(p2, p1);
        m_from = std::lower_bound(model.m_triples.begin(), model.m_triples.end(), prefix << kBits,
                                  [](const Triple& x, uint64_t v) { return x.key < v; });
        m_to = std::lower_bound(m_from, model.m_triples.end(), (prefix + 1) << kBits,
                                [](const Triple& x, uint64_t v) { return x.key < v; });
    }
}

double TextModel::After::logProb(char32_t c, const Char** ownOut, const Pair** pairOut) const {
    const TextModel& m = m_m;
    const Char* own = m.findChar(c);
    double p1 =
        (own ? own->count + 1.0 : 1.0) / (m.m_total + static_cast<double>(m.m_chars.size()) + 1.0);
    const Pair* pair = m_p1 ? m.findPair(m_p1, c) : nullptr;
    double p2 = p1;
    if (m_prev && m_prev->followers > 0) {
        double t = m_prev->followers;
        p2 = ((pair ? pair->count : 0.0) + t * p1) / (m_prev->count + t);
    }
    double p3 = p2;
    if (m_context && m_context->followers > 0) {
        uint64_t key = (m_context->key << kBits) | c;
        auto it = std::lower_bound(m_from, m_to, key,
                                   [](const Triple& x, uint64_t v) { return x.key < v; });
        double n = it != m_to && it->key == key ? it->count : 0.0;
        double t = m_context->followers;
        p3 = (n + t * p2) / (m_context->count + t);
    }
    if (ownOut) {
        *ownOut = own;
    }
    if (pairOut) {
        *pairOut = pair;
    }
    return std::log(p3);
}

TextModel::Between::Between(const TextModel& model, char32_t p2, char32_t p1, char32_t n1)
    : m_after(model, p2, p1), m_p1(p1), m_n1(n1) {
    if (n1) {
        m_n1Unigram = model.unigram(n1);
    }
}

double TextModel::Between::score(char32_t c) const {
    const Char* own = nullptr;
    const Pair* left = nullptr;
    double s = m_after.logProb(c, &own, &left);
    if (!m_n1) {
        return s;
    }
    const TextModel& m = m_after.m_m;
    // P(n1 | c), then P(n1 | p1 c).
    double p2 = m_n1Unigram;
    if (own && own->followers > 0) {
        const Pair* right = m.findPair(c, m_n1);
        double t = own->followers;
        p2 = ((right ? right->count : 0.0) + t * m_n1Unigram) / (own->count + t);
    }
    double p3 = p2;
    if (left && left->followers > 0) {
        uint64_t key = tripleKey(m_p1, c, m_n1);
        auto it = std::lower_bound(m.m_triples.begin(), m.m_triples.end(), key,
                                   [](const Triple& x, uint64_t v) { return x.key < v; });
        double n = it != m.m_triples.end() && it->key == key ? it->count : 0.0;
        double t = left->followers;
        p3 = (n + t * p2) / (left->count + t);
    }
    return s + std::log(p3);
}

void TextModel::followers(char32_t a, std::vector<char32_t>& out) const {
    out.clear();
    auto it = std::lower_bound(m_pairs.begin(), m_pairs.end(), pairKey(a, 0),
                               [](const Pair& x, uint64_t v) { return x.key < v; });
    for (; it != m_pairs.end() && (it->key >> kBits) == a; ++it) {
        out.push_back(static_cast<char32_t>(it->key & kMask));
    }
}

void TextModel::leaders(char32_t b, std::vector<char32_t>& out) const {
    out.clear();
    auto it = std::lower_bound(m_reversedPairs.begin(), m_reversedPairs.end(), pairKey(b, 0));
    for (; it != m_reversedPairs.end() && (*it >> kBits) == b; ++it) {
        out.push_back(static_cast<char32_t>(*it & kMask));
    }
}

std::optional<TextModel::RadicalStrokes> TextModel::radical(char32_t c) const {
    auto it = m_radicals.find(c);
    if (it == m_radicals.end()) {
        return std::nullopt;
    }
    return it->second;
}

std::span<const char32_t> TextModel::withRadical(int radical) const {
    auto it = m_byRadical.find(radical);
    if (it == m_byRadical.end()) {
        return {};
    }
    return it->second;
}

std::span<const char32_t> TextModel::variants(char32_t c) const {
    auto it = m_variants.find(c);
    if (it == m_variants.end()) {
        return {};
    }
    return it->second;
}

void TextModelBuilder::addRun(std::u32string_view run) {
    for (size_t i = 0; i < run.size(); ++i) {
        char32_t c = run[i];
        if (c == 0 || c > kMaxScalar) {
            continue;
        }
        ++m_chars[c];
        if (i >= 1) {
            ++m_pairs[pairKey(run[i - 1], c)];
        }
        if (i >= 2) {
            ++m_triples[tripleKey(run[i - 2], run[i - 1], c)];
        }
    }
}

void TextModelBuilder::setRadical(char32_t c, int radical, int strokes) {
    if (radical >= 1 && radical <= 214) {
        m_radicals[c] = TextModel::RadicalStrokes{radical, std::clamp(strokes, 0, 255)};
    }
}

void TextModelBuilder::addVariant(char32_t c, char32_t variant) {
    std::vector<char32_t>& list = m_variants[c];
    if (c != variant && std::find(list.begin(), list.end(), variant) == list.end()) {
        list.push_back(variant);
    }
}

std::map<std::string, std::string> TextModelBuilder::parts(uint32_t minTripleCount) const {
    std::map<char32_t, uint32_t> followersOfChar;
    std::map<uint64_t, uint32_t> followersOfPair;
    for (const auto& [key, n] : m_pairs) {
        ++followersOfChar[static_cast<char32_t>(key >> kBits)];
    }
    for (const auto& [key, n] : m_triples) {
        ++followersOfPair[key >> kBits];
    }
    std::map<std::string, std::string> out;

    std::vector<std::pair<char32_t, uint32_t>> chars(m_chars.begin(), m_chars.end());
    std::sort(chars.begin(), chars.end());
    std::string& c = out["chars"];
    for (const auto& [cp, n] : chars) {
        put(c, cp, 4);
        put(c, n, 4);
        auto f = followersOfChar.find(cp);
        put(c, f == followersOfChar.end() ? 0 : f->second, 4);
    }

    std::vector<std::pair<uint64_t, uint32_t>> pairs(m_pairs.begin(), m_pairs.end());
    std::sort(pairs.begin(), pairs.end());
    std::string& p = out["pairs"];
    for (const auto& [key, n] : pairs) {
        put(p, key, 8);
        put(p, n, 4);
        auto f = followersOfPair.find(key);
        put(p, f == followersOfPair.end() ? 0 : f->second, 4);
    }

    std::vector<std::pair<uint64_t, uint32_t>> triples;
    for (const auto& [key, n] : m_triples) {
        if (n >= minTripleCount) {
            triples.emplace_back(key, n);
        }
    }
    std::sort(triples.begin(), triples.end());
    std::string& t = out["triples"];
    for (const auto& [key, n] : triples) {
        put(t, key, 8);
        put(t, saturated(n), 4);
    }

    std::string& r = out["radicals"];
    for (const auto& [cp, rs] : m_radicals) {
        put(r, cp, 4);
        put(r, static_cast<uint64_t>(rs.radical), 2);
        put(r, static_cast<uint64_t>(rs.strokes), 2);
    }

    std::string& v = out["variants"];
    for (const auto& [from, list] : m_variants) {
        std::vector<char32_t> sorted = list;
        std::sort(sorted.begin(), sorted.end());
        for (char32_t to : sorted) {
            put(v, from, 4);
            put(v, to, 4);
        }
    }
    return out;
}

}  // namespace talvo::ocr
