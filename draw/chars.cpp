// Text labels in the built-in 5 x 9 font, each font pixel an s x s block
// of explicit pen points.
#include "draw/figure.hpp"
#include "draw/font.hpp"

#include <algorithm>

using namespace mvip;
using namespace mvip::draw;

extern "C" MVIP_API int32_t mvip8_drawchars(mvabort* hook, mvimage* image, const int32_t* origin,
                                            const char* text, uint32_t scale, uint32_t dotspacing,
                                            uint32_t width, uint32_t mode, const uint32_t* colour,
                                            mvimage* source, uint32_t* state) {
    return draw_with_pen(hook, image, origin && text, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        const int64_t s = std::clamp<uint32_t>(scale, 1, 1024);
        // Blocks are clipped to the window widened by the disc's reach, so
        // a large scale costs only what lands in the image.
        const int64_t reach = width / 2 + 1;
        const int64_t wx0 = int64_t(image->wind.nw.x) - reach, wx1 = int64_t(image->wind.se.x) + reach;
        const int64_t wy0 = int64_t(image->wind.nw.y) - reach, wy1 = int64_t(image->wind.se.y) + reach;
        int64_t cx = origin[0], cy = origin[1];
        for (const char* c = text; *c; ++c) {
            if (*c == '\n') {
                cx = origin[0];
                cy += kCellHeight * s;
                continue;
            }
            if (const uint8_t* rows = glyph_rows(static_cast<unsigned char>(*c))) {
                for (int j = 0; j < kGlyphHeight; ++j)
                    for (int i = 0; i < kGlyphWidth; ++i) {
                        if (!(rows[j] & (0x10u >> i))) continue;
                        const int64_t x0 = std::max(cx + i * s, wx0), x1 = std::min(cx + (i + 1) * s, wx1);
                        const int64_t y0 = std::max(cy + j * s, wy0), y1 = std::min(cy + (j + 1) * s, wy1);
                        for (int64_t y = y0; y < y1; ++y)
                            for (int64_t x = x0; x < x1; ++x) pen.point(int32_t(x), int32_t(y));
                    }
            }
            cx += kCellWidth * s;
        }
    });
}
