#include "ocr/glyph_shapes.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstring>

namespace talvo::ocr {

namespace {

constexpr int kG = Shape::kGrid;
constexpr int kGlyphPixels = 48;  // drawn size of the font's glyphs

}  // namespace

Shape Shape::of(const GrayImage& page, const Box& box, uint8_t inkBelow) {
    Shape s;
    int bx0 = std::max(0, box.x);
    int by0 = std::max(0, box.y);
    int bx1 = std::min(page.width, box.right());
    int by1 = std::min(page.height, box.bottom());
    int x0 = bx1, y0 = by1, x1 = bx0 - 1, y1 = by0 - 1;
    for (int y = by0; y < by1; ++y) {
        for (int x = bx0; x < bx1; ++x) {
            if (page.at(x, y) < inkBelow) {
                x0 = std::min(x0, x);
                x1 = std::max(x1, x);
                y0 = std::min(y0, y);
                y1 = std::max(y1, y);
            }
        }
    }
    if (x1 < x0) {
        return s;
    }
    // The ink's bounding square, centred: the aspect of the ink is part of
    // the shape (一 is flat, 丨 is tall).
    double side = std::max(x1 - x0 + 1, y1 - y0 + 1);
    double ox = (x0 + x1 + 1) / 2.0 - side / 2.0;
    double oy = (y0 + y1 + 1) / 2.0 - side / 2.0;
    std::array<float, kG * kG> raw{};
    // Two by two samples per cell, bilinear, so small ink is not aliased.
    for (int gy = 0; gy < kG; ++gy) {
        for (int gx = 0; gx < kG; ++gx) {
            float acc = 0;
            for (int sy = 0; sy < 2; ++sy) {
                for (int sx = 0; sx < 2; ++sx) {
                    double px = ox + (gx + (sx + 0.5) / 2.0) * side / kG - 0.5;
                    double py = oy + (gy + (sy + 0.5) / 2.0) * side / kG - 0.5;
                    int ix = static_cast<int>(std::floor(px));
                    int iy = static_cast<int>(std::floor(py));
                    double fx = px - ix;
                    double fy = py - iy;
                    auto dark = [&](int x, int y) {
                        if (x < bx0 || y < by0 || x >= bx1 || y >= by1) {
                            return 0.0;
                        }
                        return 1.0 - page.at(x, y) / 255.0;
                    };
                    acc += static_cast<float>(
                        (dark(ix, iy) * (1 - fx) + dark(ix + 1, iy) * fx) * (1 - fy) +
                        (dark(ix, iy + 1) * (1 - fx) + dark(ix + 1, iy + 1) * fx) * fy);
                }
            }
            raw[static_cast<size_t>(gy * kG + gx)] = acc / 4;
        }
    }
    // A light blur: strokes a pixel apart between two typefaces still meet.
    double sum = 0;
    for (int y = 0; y < kG; ++y) {
        for (int x = 0; x < kG; ++x) {
            float a = 0, w = 0;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    int xx = x + dx, yy = y + dy;
                    if (xx < 0 || yy < 0 || xx >= kG || yy >= kG) {
                        continue;
                    }
                    float k = static_cast<float>((dx == 0 ? 2 : 1) * (dy == 0 ? 2 : 1));
                    a += k * raw[static_cast<size_t>(yy * kG + xx)];
                    w += k;
                }
            }
            s.cells[static_cast<size_t>(y * kG + x)] = a / w;
            sum += a / w;
        }
    }
    float mean = static_cast<float>(sum / (kG * kG));
    double norm = 0;
    for (float& v : s.cells) {
        v -= mean;
        norm += static_cast<double>(v) * v;
    }
    if (norm <= 1e-12) {
        return Shape{};
    }
    float inv = static_cast<float>(1.0 / std::sqrt(norm));
    for (float& v : s.cells) {
        v *= inv;
    }
    s.empty = false;
    return s;
}

double Shape::similarity(const Shape& a, const Shape& b) {
    if (a.empty || b.empty) {
        return 0.0;
    }
    // Eight partial sums: the loop vectorizes without reordering a single sum.
    constexpr size_t kLanes = 8;
    static_assert(kG * kG % kLanes == 0);
    std::array<float, kLanes> part{};
    for (size_t i = 0; i < a.cells.size(); i += kLanes) {
        for (size_t k = 0; k < kLanes; ++k) {
            part[k] += a.cells[i + k] * b.cells[i + k];
        }
    }
    double dot = 0;
    for (float p : part) {
        dot += p;
    }
    return dot;
}

struct GlyphShapes::FreeType {
    FT_Library library = nullptr;
    FT_Face face = nullptr;

    ~FreeType() {
        if (face) {
            FT_Done_Face(face);
        }
        if (library) {
            FT_Done_FreeType(library);
        }
    }
};

GlyphShapes::~GlyphShapes() = default;

const char* GlyphShapes::defaultFontFile() {
    return "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc";
}

const char* GlyphShapes::defaultFamily() {
    return "Noto Sans CJK TC";
}

std::unique_ptr<GlyphShapes> GlyphShapes::open(const std::string& fontFile,
                                               const std::string& family, std::string* why) {
    std::unique_ptr<GlyphShapes> g(new GlyphShapes);
    g->m_ft = std::make_unique<FreeType>();
    if (FT_Init_FreeType(&g->m_ft->library) != 0) {
        if (why) {
            *why = "FreeType could not start";
        }
        return nullptr;
    }
    FT_Face probe = nullptr;
    if (FT_New_Face(g->m_ft->library, fontFile.c_str(), 0, &probe) != 0) {
        if (why) {
            *why = "cannot read the font " + fontFile;
        }
        return nullptr;
    }
    FT_Long faces = probe->num_faces;
    FT_Long chosen = 0;
    for (FT_Long i = 0; i < faces; ++i) {
        FT_Face f = nullptr;
        if (i == 0) {
            f = probe;
        } else if (FT_New_Face(g->m_ft->library, fontFile.c_str(), i, &f) != 0) {
            continue;
        }
        bool match = f->family_name && family == f->family_name;
        if (i != 0) {
            FT_Done_Face(f);
        }
        if (match) {
            chosen = i;
            break;
        }
    }
    if (chosen == 0) {
        g->m_ft->face = probe;
    } else {
        FT_Done_Face(probe);
        if (FT_New_Face(g->m_ft->library, fontFile.c_str(), chosen, &g->m_ft->face) != 0) {
            if (why) {
                *why = "cannot read the font " + fontFile;
            }
            return nullptr;
        }
    }
    if (FT_Set_Pixel_Sizes(g->m_ft->face, 0, kGlyphPixels) != 0) {
        if (why) {
            *why = "the font " + fontFile + " cannot be drawn at " + std::to_string(kGlyphPixels) +
                   " pixels";
        }
        return nullptr;
    }
    return g;
}

const Shape* GlyphShapes::shape(char32_t c) {
    auto it = m_cache.find(c);
    if (it != m_cache.end()) {
        return it->second ? &*it->second : nullptr;
    }
    std::optional<Shape> made;
    FT_Face face = m_ft->face;
    FT_UInt index = FT_Get_Char_Index(face, c);
    if (index != 0 && FT_Load_Glyph(face, index, FT_LOAD_RENDER) == 0) {
        const FT_Bitmap& bm = face->glyph->bitmap;
        if (bm.pixel_mode == FT_PIXEL_MODE_GRAY && bm.width > 0 && bm.rows > 0) {
            GrayImage img;
            img.width = static_cast<int>(bm.width);
            img.height = static_cast<int>(bm.rows);
            img.pixels.resize(static_cast<size_t>(img.width) * img.height);
            for (int y = 0; y < img.height; ++y) {
                const unsigned char* row = bm.buffer + static_cast<ptrdiff_t>(y) * bm.pitch;
                for (int x = 0; x < img.width; ++x) {
                    img.pixels[static_cast<size_t>(y) * img.width + x] =
                        static_cast<uint8_t>(255 - row[x]);
                }
            }
            Shape s = Shape::of(img, Box{0, 0, img.width, img.height}, 128);
            if (!s.empty) {
                made = s;
            }
        }
    }
    auto [pos, inserted] = m_cache.emplace(c, made);
    return pos->second ? &*pos->second : nullptr;
}

}  // namespace talvo::ocr
