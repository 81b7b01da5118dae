#include "ocr/tests/test_pages.h"

#include <QBuffer>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QRawFont>
#include <QString>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "core/db/database.h"
#include "core/text/unicode.h"
#include "ocr/text_model.h"

#ifndef TALVO_TEST_DATA_SOURCES
#define TALVO_TEST_DATA_SOURCES ""
#endif

namespace talvo::ocr::testing {

namespace {

constexpr const char* kFamily = "Noto Serif CJK TC";

QFont pageFont(int pixels) {
    QFont f(kFamily);
    f.setPixelSize(pixels);
    f.setStyleStrategy(QFont::NoFontMerging);
    return f;
}

QString qs(char32_t c) {
    return QString::fromStdU32String(std::u32string(1, c));
}

// Separable Gaussian blur, then grain, on 8-bit gray.
void blurAndGrain(QImage& img, double sigma, double grain, unsigned seed) {
    int w = img.width(), h = img.height();
    std::vector<double> a(static_cast<size_t>(w) * h), b(a.size());
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            a[static_cast<size_t>(y) * w + x] = img.constScanLine(y)[x];
        }
    }
    int r = static_cast<int>(std::ceil(sigma * 3));
    std::vector<double> k(static_cast<size_t>(2 * r + 1));
    double sum = 0;
    for (int i = -r; i <= r; ++i) {
        k[static_cast<size_t>(i + r)] = std::exp(-i * i / (2 * sigma * sigma));
        sum += k[static_cast<size_t>(i + r)];
    }
    for (double& v : k) {
        v /= sum;
    }
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            double v = 0;
            for (int i = -r; i <= r; ++i) {
                v += k[static_cast<size_t>(i + r)] *
                     a[static_cast<size_t>(y) * w + std::clamp(x + i, 0, w - 1)];
            }
            b[static_cast<size_t>(y) * w + x] = v;
        }
    }
    std::mt19937 rng(seed);
    std::normal_distribution<double> noise(0.0, grain);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            double v = 0;
            for (int i = -r; i <= r; ++i) {
                v += k[static_cast<size_t>(i + r)] *
                     b[static_cast<size_t>(std::clamp(y + i, 0, h - 1)) * w + x];
            }
            img.scanLine(y)[x] =
                static_cast<uchar>(std::clamp(std::lround(v + noise(rng)), 0L, 255L));
        }
    }
}

bool isHan(char32_t c) {
    return text::isHanScalar(c);
}

}  // namespace

TestPage renderPage(const std::u32string& text, const PageStyle& style) {
    int px = style.charPixels;
    int n = static_cast<int>(text.size());
    int per = std::max(1, style.perLine);
    int lines = (n + per - 1) / per;
    int margin = px;
    bool vertical = style.layout != Layout::Horizontal;
    // Columns 1.5 characters apart, characters 1.1 apart down a column;
    // lines 1.5 apart, characters 1.05 apart along a line.
    int across = px * 3 / 2;
    int along = vertical ? px * 11 / 10 : px * 21 / 20;
    int w = vertical ? 2 * margin + lines * across : 2 * margin + per * along;
    int h = vertical ? 2 * margin + per * along : 2 * margin + lines * across;
    QImage img(w, h, QImage::Format_Grayscale8);
    img.fill(255);
    {
        QPainter p(&img);
        p.setRenderHint(QPainter::TextAntialiasing);
        p.setFont(pageFont(px));
        p.setPen(Qt::black);
        for (int i = 0; i < n; ++i) {
            int line = i / per, pos = i % per;
            QRect cell =
                vertical
                    ? QRect(w - margin - (line + 1) * across, margin + pos * along, across, along)
                    : QRect(margin + pos * along, margin + line * across, along, across);
            p.drawText(cell, Qt::AlignCenter, qs(text[static_cast<size_t>(i)]));
        }
    }
    if (style.blurAndNoise) {
        blurAndGrain(img, 0.8, 12.0, style.seed);
    }
    if (style.jpegQuality > 0) {
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        img.save(&buffer, "JPEG", style.jpegQuality);
        img.loadFromData(bytes, "JPEG");
        img = img.convertToFormat(QImage::Format_Grayscale8);
    }
    TestPage page;
    page.text = text;
    page.image.width = img.width();
    page.image.height = img.height();
    page.image.pixels.resize(static_cast<size_t>(img.width()) * img.height());
    for (int y = 0; y < img.height(); ++y) {
        std::copy_n(img.constScanLine(y), img.width(),
                    page.image.pixels.begin() + static_cast<std::ptrdiff_t>(y) * img.width());
    }
    return page;
}

bool savePage(const TestPage& page, const std::string& path) {
    QImage img(page.image.pixels.data(), page.image.width, page.image.height, page.image.width,
               QImage::Format_Grayscale8);
    return img.save(QString::fromStdString(path));
}

void ensureGuiApplication() {
    if (QGuiApplication::instance()) {
        return;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "talvo-tests";
    static char* argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
}

std::vector<std::u32string> corpusPassages(const std::string& file, size_t length, size_t count,
                                           size_t stride) {
    std::ifstream in(file);
    if (!in) {
        return {};
    }
    QRawFont font = QRawFont::fromFont(pageFont(24));
    // The main text, with '|' where a passage must not run across (an
    // unencoded character); ideographic spaces only indent.
    std::u32string main;
    int depth = 0;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::u32string l = text::scalars(text::sanitizeUtf8(line));
        for (size_t i = 0; i < l.size(); ++i) {
            char32_t c = l[i];
            if (c == U'<') {
                while (i < l.size() && l[i] != U'>') {
                    ++i;
                }
            } else if (c == U'&') {
                while (i < l.size() && l[i] != U';') {
                    ++i;
                }
                main.push_back(U'|');
            } else if (c == U'(') {
                ++depth;
            } else if (c == U')') {
                depth = std::max(0, depth - 1);
            } else if (depth == 0 && isHan(c)) {
                main.push_back(c);
            }
        }
    }
    std::vector<std::u32string> out;
    size_t pos = 0;
    while (out.size() < count && pos + length < main.size()) {
        std::u32string p;
        size_t i = pos;
        for (; i < main.size() && p.size() < length; ++i) {
            if (main[i] == U'|' || !font.supportsCharacter(main[i])) {
                p.clear();
            } else {
                p.push_back(main[i]);
            }
        }
        if (p.size() == length) {
            out.push_back(p);
        }
        pos = i + stride;
    }
    return out;
}

std::string corpusDir() {
    return (std::filesystem::path(TALVO_TEST_DATA_SOURCES) / "kanripo-med").string();
}

std::string corpusFile(const std::string& name) {
    std::string text = name.substr(0, name.find('_'));
    return (std::filesystem::path(corpusDir()) / text / name).string();
}

std::vector<std::string> heldOutFiles(const std::string& dictionaryPath) {
    std::vector<std::string> out;
    try {
        db::Database dict(dictionaryPath, db::Database::Mode::ReadOnly);
        db::Statement q(dict, "SELECT value FROM meta WHERE key = ?");
        q.bind(1, std::string_view(TextModel::kHeldOutKey));
        if (q.valid() && q.step()) {
            std::istringstream names(q.text(0).value_or(""));
            std::string name;
            while (names >> name) {
                out.push_back(name);
            }
        }
    } catch (const db::OpenError&) {
    }
    return out;
}

Folds dictionaryFolds(const std::string& dictionaryPath) {
    Folds folds;
    try {
        db::Database dict(dictionaryPath, db::Database::Mode::ReadOnly);
        db::Statement q(dict, "SELECT char, standard FROM word_fold");
        while (q.valid() && q.step()) {
            std::u32string a = text::scalars(q.text(0).value_or(""));
            std::u32string b = text::scalars(q.text(1).value_or(""));
            if (a.size() == 1 && b.size() == 1) {
                folds[a[0]] = b[0];
            }
        }
    } catch (const db::OpenError&) {
    }
    return folds;
}

Score score(const std::u32string& reference, const std::string& recognised, const Folds& folds) {
    auto fold = [&](char32_t c) {
        auto it = folds.find(c);
        return it == folds.end() ? c : it->second;
    };
    std::u32string a, b;
    for (char32_t c : reference) {
        if (c != U'\n') {
            a.push_back(fold(c));
        }
    }
    for (char32_t c : text::scalars(text::sanitizeUtf8(recognised))) {
        if (c != U'\n') {
            b.push_back(fold(c));
        }
    }
    std::vector<size_t> d(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) {
        d[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = d[0];
        d[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            size_t up = d[j];
            d[j] = std::min({d[j] + 1, d[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = up;
        }
    }
    return Score{a.size(), d[b.size()]};
}

Measurement measure(TesseractRecognizer& recognizer, const std::vector<std::string>& files,
                    size_t passagesPerFile, Layout layout, int charPixels, bool degraded,
                    const Folds& folds) {
    Measurement m;
    unsigned seed = 1;
    for (const std::string& f : files) {
        for (const std::u32string& text :
             corpusPassages(corpusFile(f), 100, passagesPerFile, 500)) {
            PageStyle style{layout, charPixels, degraded,
                            degraded && layout == Layout::Vertical ? 60 : 0, seed++};
            TestPage page = renderPage(text, style);
            RecognitionOutcome out = recognizer.recognize(page.image.view(), layout);
            m.corrected += score(text, out.recognition ? out.recognition->text : "", folds);
            m.raw += score(text, out.recognition ? recognizer.lastReading() : "", folds);
            ++m.pages;
        }
    }
    return m;
}

}  // namespace talvo::ocr::testing
