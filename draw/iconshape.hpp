// The shape of an icon: a caller's bitmap placed by its hot spot, or the
// built-in cross-hair.  Shared by the pen-drawn icon and the icon handle.
#pragma once

#include <cstdint>

namespace mvip::draw {

struct IconShape {
    int32_t x, y;            // where the hot spot goes
    const uint8_t* bitmap;   // null: the cross-hair
    int32_t width, height;   // 1 .. 128
    int32_t hx, hy;          // hot spot, or the cross-hair's bar thicknesses

    // Sizes within 1 .. 128 (and bar thicknesses too for the cross-hair).
    bool valid() const {
        auto in = [](int32_t v) { return v >= 1 && v <= 128; };
        return in(width) && in(height) && (bitmap || (in(hx) && in(hy)));
    }

    // Points the shape can have: set bits of the bitmap, or both bars.
    uint64_t count() const {
        if (!bitmap) return uint64_t(width - hx) * hy + uint64_t(hx) * height;
        uint64_t n = 0;
        const int32_t row = (width + 7) / 8;
        for (int32_t i = 0; i < row * height; ++i) n += uint32_t(__builtin_popcount(bitmap[i]));
        return n;
    }

    // Visits every icon pixel in image coordinates: bitmap rows from the
    // top, each from the left, the first pixel of a byte in its most
    // significant bit; or the cross-hair's horizontal bar, then its
    // vertical bar without the lines the horizontal bar covers, both
    // without the hot spot's own pixel.
    template <class Visit>
    void each(Visit&& visit) const {
        if (bitmap) {
            const int32_t row = (width + 7) / 8;
            for (int32_t j = 0; j < height; ++j)
                for (int32_t i = 0; i < width; ++i)
                    if (bitmap[j * row + i / 8] & (0x80u >> (i % 8))) visit(x - hx + i, y - hy + j);
            return;
        }
        const int32_t tw = hx, th = hy;
        const int32_t top = y - th / 2, left = x - width / 2;
        for (int32_t j = 0; j < th; ++j)
            for (int32_t i = 0; i < width; ++i)
                if (left + i != x || top + j != y) visit(left + i, top + j);
        const int32_t vtop = y - height / 2, vleft = x - tw / 2;
        for (int32_t j = 0; j < height; ++j) {
            if (vtop + j >= top && vtop + j < top + th) continue;
            for (int32_t i = 0; i < tw; ++i)
                if (vleft + i != x || vtop + j != y) visit(vleft + i, vtop + j);
        }
    }
};

}  // namespace mvip::draw
