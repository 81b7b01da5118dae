#include "ocr/tesseract_recognizer.h"

#include <omp.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <unordered_set>

#include "core/db/database.h"
#include "core/text/unicode.h"
#include "ocr/glyph_shapes.h"
#include "ocr/gray_image.h"
#include "ocr/model_files.h"
#include "ocr/page_reading.h"
#include "ocr/page_segmenter.h"
#include "ocr/text_corrector.h"
#include "ocr/text_model.h"

namespace talvo::ocr {

namespace {

// A picture whose lightest and darkest pixels are closer than this holds no print.
constexpr int kMinContrast = 24;
constexpr double kBaseDeadlineMs = 5000;
constexpr double kDeadlineMsPerMegapixel = 2000;

bool isPunctuation(char32_t c) {
    return u_ispunct(static_cast<UChar32>(c));
}

// The model sometimes writes a Western mark for the full-width one a Hán
// text prints.
char32_t fullWidth(char32_t c) {
    switch (c) {
        case U',':
            return U'，';
        case U':':
            return U'：';
        case U';':
            return U'；';
        case U'!':
            return U'！';
        case U'?':
            return U'？';
        case U'(':
            return U'（';
        case U')':
            return U'）';
        default:
            return c;
    }
}

// Turns OpenMP parallel regions started from this thread into single-thread
// ones. Tesseract asks for threads in its own pragmas (num_threads clauses
// that omp_set_num_threads cannot override); a maximum of zero active levels
// keeps every region inactive. OMP_THREAD_LIMIT would do it too, but libgomp
// reads it once, when the program starts.
void singleThreaded() {
    omp_set_max_active_levels(0);
}

// Grain, not print: half the picture dark, in specks (ink changing to paper
// at almost every pixel). Print covers at most a third of a page in strokes
// a few pixels wide. Tesseract would spend minutes on it.
bool speckled(const GrayImage& g, uint8_t ink) {
    size_t dark = 0, changes = 0;
    for (int y = 0; y < g.height; ++y) {
        bool before = g.at(0, y) < ink;
        dark += before;
        for (int x = 1; x < g.width; ++x) {
            bool here = g.at(x, y) < ink;
            dark += here;
            changes += here != before;
            before = here;
        }
    }
    return dark * 10 >= g.pixels.size() * 3 && changes * 10 >= dark * 8;
}

struct Engine {
    std::unique_ptr<tesseract::TessBaseAPI> api;
    std::optional<std::unordered_set<char32_t>> readable;
};

struct Attempt {
    Recognition recognition;
    std::string reading;
    double score = 0;
    bool han = false;
};

}  // namespace

struct TesseractRecognizer::Impl {
    RecognizerOptions o;
    std::map<Layout, Engine> engines;
    bool modelTried = false;
    std::optional<TextModel> model;
    bool glyphsTried = false;
    std::unique_ptr<GlyphShapes> glyphs;
    std::string modelProblem;
    std::string glyphProblem;
    std::string lastReading;
    std::string limitation;
    bool timedOut = false;

    // The engine for a layout, started on first use; nullptr (and the
    // package to install) when its model is missing or unreadable.
    Engine* engine(Layout layout, std::string* package) {
        auto it = engines.find(layout);
        if (it != engines.end()) {
            return &it->second;
        }
        const char* name = ModelFiles::modelName(layout);
        auto dir = ModelFiles::find(name, ModelFiles::searchPath(o.tessdataDir, "TESSDATA_PREFIX"));
        if (!dir) {
            *package = ModelFiles::packageName(layout);
            return nullptr;
        }
        auto api = std::make_unique<tesseract::TessBaseAPI>();
        if (api->Init(dir->c_str(), name, tesseract::OEM_LSTM_ONLY) != 0) {
            *package = ModelFiles::packageName(layout);
            return nullptr;
        }
        // Diagnostics belong to Tesseract's developers, not to our users' terminals.
        api->SetVariable("debug_file", "/dev/null");
        api->SetVariable("lstm_choice_mode", "2");
        api->SetPageSegMode(layout == Layout::Vertical ? tesseract::PSM_SINGLE_BLOCK_VERT_TEXT
                                                       : tesseract::PSM_SINGLE_BLOCK);
        Engine e;
        e.api = std::move(api);
        e.readable = ModelFiles::readableCharacters(
            (std::filesystem::path(*dir) / (std::string(name) + ".traineddata")).string());
        return &engines.emplace(layout, std::move(e)).first->second;
    }

    void loadCorrection() {
        if (!modelTried && o.correct) {
            modelTried = true;
            if (o.dictionaryPath.empty()) {
                modelProblem = "no dictionary given";
            } else {
                try {
                    db::Database dict(o.dictionaryPath, db::Database::Mode::ReadOnlyImmutable);
                    model = TextModel::load(dict, &modelProblem);
                } catch (const db::OpenError& e) {
                    modelProblem = std::string("cannot open the dictionary: ") + e.what();
                }
            }
        }
        if (!glyphsTried && o.correct) {
            glyphsTried = true;
            std::string font = o.glyphFont.empty() ? GlyphShapes::defaultFontFile() : o.glyphFont;
            std::string family =
                o.glyphFamily.empty() ? GlyphShapes::defaultFamily() : o.glyphFamily;
            glyphs = GlyphShapes::open(font, family, &glyphProblem);
        }
    }

    std::vector<ReadSymbol> read(Engine& e, const GrayImage& page) {
        std::vector<ReadSymbol> out;
        tesseract::TessBaseAPI& api = *e.api;
        api.SetImage(page.pixels.data(), page.width, page.height, 1, page.width);
        api.SetSourceResolution(300);
        singleThreaded();
        // A page of print takes well under a second a megapixel; noise can
        // keep the beam search busy for minutes. Past the deadline Tesseract
        // stops and keeps what it has read.
        tesseract::ETEXT_DESC monitor;
        double megapixels = static_cast<double>(page.width) * page.height / 1e6;
        monitor.set_deadline_msecs(
            static_cast<int32_t>(kBaseDeadlineMs + kDeadlineMsPerMegapixel * megapixels));
        if (api.Recognize(&monitor) != 0) {
            api.Clear();
            return out;
        }
        timedOut = monitor.deadline_exceeded();
        std::unique_ptr<tesseract::ResultIterator> it(api.GetIterator());
        bool newLine = true;
        if (it) {
            do {
                if (it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) {
                    newLine = true;
                }
                if (it->Empty(tesseract::RIL_SYMBOL)) {
                    continue;
                }
                std::unique_ptr<char[]> t(it->GetUTF8Text(tesseract::RIL_SYMBOL));
                if (!t) {
                    continue;
                }
                std::u32string s = text::scalars(text::sanitizeUtf8(t.get()));
                if (s.size() != 1) {
                    continue;
                }
                ReadSymbol sym;
                sym.ch = fullWidth(s[0]);
                sym.han = text::isHanScalar(s[0]);
                if (!sym.han && !isPunctuation(s[0])) {
                    continue;  // Latin letters and digits: noise in a Hán page
                }
                sym.confidence =
                    std::clamp(it->Confidence(tesseract::RIL_SYMBOL) / 100.0f, 0.0f, 1.0f);
                tesseract::ChoiceIterator choice(*it);
                do {
                    const char* c = choice.GetUTF8Text();
                    std::u32string a = c ? text::scalars(text::sanitizeUtf8(c)) : std::u32string();
                    if (a.size() == 1 && a[0] != sym.ch && text::isHanScalar(a[0])) {
                        sym.alternatives.push_back(a[0]);
                    }
                } while (choice.Next());
                sym.lineStart = newLine;
                newLine = false;
                out.push_back(std::move(sym));
            } while (it->Next(tesseract::RIL_SYMBOL));
        }
        it.reset();
        api.Clear();
        return out;
    }

    Attempt attempt(Engine& e, const GrayImage& original, uint8_t ink, Layout layout) {
        PreparedPage page = preparePage(original, ink, layout, kMaxPixels);
        std::vector<ReadSymbol> symbols = read(e, page.image);
        Attempt a;
        size_t hanSymbols = 0;
        double confidence = 0;
        for (const ReadSymbol& s : symbols) {
            if (s.han) {
                ++hanSymbols;
                confidence += s.confidence;
            }
        }
        size_t boxCount = 0;
        for (const auto& line : page.boxes.lines) {
            boxCount += line.size();
        }
        // A wrong model reads garbage, little and unsure: confidence per
        // character the page seems to hold.
        a.score = confidence / static_cast<double>(std::max<size_t>({hanSymbols, boxCount, 1}));
        std::optional<TextCorrector> corrector;
        if (o.correct && model) {
            corrector.emplace(*model, e.readable ? &*e.readable : nullptr, glyphs.get());
        }
        PageResult result =
            finishPage(symbols, page, layout, corrector ? &*corrector : nullptr, glyphs.get());
        a.recognition = std::move(result.recognition);
        a.reading = std::move(result.reading);
        for (const RecognizedChar& c : a.recognition.chars) {
            a.han = a.han || text::isHanScalar(text::scalars(c.text).front());
        }
        limitation.clear();
        if (timedOut) {
            limitation = "the recogniser ran out of time and stopped early";
        } else if (o.correct && !model) {
            limitation = "no correction: " + modelProblem;
        } else if (corrector && !glyphs) {
            limitation = "no picture comparison: " + glyphProblem;
        } else if (corrector && !result.usedBoxes) {
            limitation = "no picture comparison: the character boxes did not match the reading";
        }
        return a;
    }
};

TesseractRecognizer::TesseractRecognizer(RecognizerOptions options) : m(std::make_unique<Impl>()) {
    m->o = std::move(options);
}

TesseractRecognizer::~TesseractRecognizer() = default;

const std::string& TesseractRecognizer::lastReading() const {
    return m->lastReading;
}

bool TesseractRecognizer::loaded() const {
    return !m->engines.empty() || m->model || m->glyphs;
}

const std::string& TesseractRecognizer::limitation() const {
    return m->limitation;
}

RecognitionOutcome TesseractRecognizer::recognize(const ImageView& image, Layout layout) {
    RecognitionOutcome out;
    m->lastReading.clear();
    auto bad = [&] {
        out.error = RecognitionError::BadImage;
        return out;
    };
    if (image.width < kMinSide || image.height < kMinSide || image.width > kMaxSide ||
        image.height > kMaxSide ||
        static_cast<long long>(image.width) * image.height > kMaxPixels) {
        return bad();
    }
    std::optional<GrayImage> gray = GrayImage::from(image);
    if (!gray) {
        return bad();
    }
    auto [darkest, lightest] = std::minmax_element(gray->pixels.begin(), gray->pixels.end());
    if (*lightest - *darkest < kMinContrast) {
        out.error = RecognitionError::NoText;
        return out;
    }
    uint8_t ink = gray->inkThreshold();
    // Light print on a dark ground (a dark-mode screen): the ground is
    // whatever most of the picture is; make it paper.
    size_t dark = static_cast<size_t>(std::count_if(gray->pixels.begin(), gray->pixels.end(),
                                                    [&](uint8_t p) { return p < ink; }));
    if (dark * 2 > gray->pixels.size()) {
        for (uint8_t& p : gray->pixels) {
            p = static_cast<uint8_t>(255 - p);
        }
        ink = gray->inkThreshold();
    }
    if (speckled(*gray, ink)) {
        out.error = RecognitionError::NoText;
        return out;
    }

    std::vector<Layout> layouts;
    if (layout != Layout::Auto) {
        layouts.push_back(layout);
    } else if (auto guess = PageSegmenter::guessLayout(*gray, ink)) {
        layouts.push_back(*guess);
    } else {
        layouts = {Layout::Vertical, Layout::Horizontal};
    }
    std::vector<Engine*> engines;
    for (Layout l : layouts) {
        Engine* e = m->engine(l, &out.missingPackage);
        if (!e) {
            out.error = RecognitionError::ModelMissing;
            return out;
        }
        engines.push_back(e);
    }
    m->loadCorrection();
    std::optional<Attempt> best;
    for (size_t k = 0; k < layouts.size(); ++k) {
        Attempt a = m->attempt(*engines[k], *gray, ink, layouts[k]);
        if (a.han && (!best || a.score > best->score)) {
            best = std::move(a);
        }
    }
    if (!best) {
        out.error = RecognitionError::NoText;
        return out;
    }
    m->lastReading = std::move(best->reading);
    out.recognition = std::move(best->recognition);
    return out;
}

}  // namespace talvo::ocr
