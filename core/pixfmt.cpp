// Pixel formats: filling a format, derived sizes, float value ranges.
#include "core/record.hpp"

#include <bit>

namespace mvip {

uint32_t pixie_bytes(uint32_t datatype) {
    switch (type_of(datatype)) {
        case MVTYPE_U8: return 1;
        case MVTYPE_U16: return 2;
        case MVTYPE_U32:
        case MVTYPE_I32:
        case MVTYPE_FLOAT: return 4;
        case MVTYPE_DOUBLE: return 8;
        default: return 0;
    }
}

void derive_sizes(mvimage* im) {
    const uint32_t t = type_of(im->pixfmt.datatype);
    im->pixiesize = pixie_bytes(t);
    im->pixelsize = im->pixfmt.pixies * im->pixiesize;
    im->typeclass = ((t & 0x0Fu) ? 1u : 0u) | ((t & 0x30u) ? 2u : 0u);
}

FloatRange float_range(const mvpixfmt& fmt) {
    return {std::bit_cast<float>(fmt.valflags), std::bit_cast<float>(fmt.valform)};
}

bool parse_mask(uint32_t mask, uint32_t pixies, PixieSelection& out) {
    if (mask == 0 || pixies == 0) return false;
    const uint32_t first = static_cast<uint32_t>(std::countr_zero(mask));
    const uint32_t run = mask >> first;
    if ((run & (run + 1u)) != 0) return false;  // not one contiguous run
    const uint32_t count = static_cast<uint32_t>(std::popcount(run));
    if (first + count > pixies) return false;
    out = {first, count};
    return true;
}

}  // namespace mvip

using namespace mvip;

extern "C" MVIP_API int32_t mvpixfmt_set(mvpixfmt* fmt, uint32_t datatype, uint32_t bits,
                                         uint32_t pixies, uint32_t colorspace) {
    if (!fmt) return MVERR_USAGE;
    auto fail = [fmt] {
        *fmt = mvpixfmt{};
        return MVERR_USAGE;
    };
    const uint32_t bytes = pixie_bytes(datatype);
    if (bytes == 0) return fail();
    fmt->datatype = datatype;
    fmt->colorspace = colorspace;
    fmt->pixies = pixies;
    if (pixies < 1 || pixies > 32) return fail();
    if (is_int_type(datatype)) {
        const uint32_t container = 8 * bytes;
        const uint32_t b = bits ? bits : container;
        if (b < 1 || b > container) return fail();
        fmt->bits = b;
        fmt->valflags = 0;
        fmt->byteorder = 0;
        fmt->valform = (b == container) ? MVVALFORM_FULL : MVVALFORM_LOW;
    } else {
        fmt->bits = 0;
        fmt->valform = MVFLOAT_ONE_BITS;
    }
    return 0;
}

extern "C" MVIP_API int32_t mvimage_derivesizes(mvimage* im) {
    if (!im) return MVERR_USAGE;
    derive_sizes(im);
    return 0;
}
