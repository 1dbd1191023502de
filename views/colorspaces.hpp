// Colour-space conversion kernels, used by the colour converter view (and
// by anything else that must change a pixel's colour space).
//
// Values keep their data type.  Integer images range 0..maxval (maxval =
// 2^bits - 1); float images range over their format's [low, high].  Below,
// "span" is high - low, "mid" the chroma zero ((maxval + 1) / 2 for
// integers, (low + high) / 2 for floats), and r, g, b the colour's values.
//
//  - grey:   the BT.601 luma (299 r + 587 g + 114 b) / 1000; colour from
//            grey repeats the grey value in r, g and b.
//  - YCrCb:  full-range BT.601 as JFIF uses it: Y = luma,
//            Cr = mid + (r - Y) / 1.402, Cb = mid + (b - Y) / 1.772
//            (Cr = mid + 0.5 r - 0.418688 g - 0.081312 b,
//             Cb = mid - 0.168736 r - 0.331264 g + 0.5 b); back:
//            r = Y + 1.402 Cr', b = Y + 1.772 Cb',
//            g = Y - 0.344136 Cb' - 0.714136 Cr' (exactly 0.114 x 1.772 /
//            0.587 and 0.299 x 1.402 / 0.587), with Cr' = Cr - mid ...
//  - 4:2:2:  Y, Cr and Cb as above; pixels 2k and 2k+1 form a pair that
//            shares one Cb and one Cr (the mean of the two pixels' own
//            chroma); the first pixel of a pair carries Cb (CbYCrY, YCbYCr)
//            or Cr (CrYCbY, YCrYCb), the second the other.  A lone pixel
//            (one whose partner is not being converted) keeps its own
//            chroma.
//  - HSB:    pixies Brightness, Saturation, Hue.  B = max(r, g, b);
//            S = (max - min) / (max - low), scaled to the range (0 when
//            max = low); Hue is the usual hexcone angle as a fraction of a
//            turn, times maxval + 1 for integers (so it wraps: the value
//            maxval + 1 is 0) or mapped onto [low, high) for floats.
//            8-bit round trips from RGB come back within
//            1 + (max - min) 3 / 256 counts; 3 at full saturation is the
//            least possible, as the 6 x 255 colours with max 255 and
//            min 0 share B = S = 255 and the 256 hues.
//  - YIQ:    Y = luma; I = 0.595716 r - 0.274453 g - 0.321263 b and
//            Q = 0.211456 r - 0.522591 g + 0.311135 b, scaled by
//            1 / (2 x 0.595716) and 1 / (2 x 0.522591) so that they span
//            the range like Cr and Cb, and offset by mid.  Back: the
//            inverse of that matrix.
//  - CMY:    C = low + high - r (integers: maxval - r), and so on.
//  - CMYK:   on values normalised to 0..1: K = 1 - max(r, g, b),
//            C = (max - r) / max ... (all 0 for black); back:
//            r = (1 - C)(1 - K).
//  - pads (BGRx, RGBx, YCrCbx): written as 0 and ignored when read.
//
// Integer results are rounded half away from zero and clipped to
// [0, maxval] (NaN gives 0); float results are neither rounded nor clipped.
// Conversions without a direct kernel go through a hub colour held in
// doubles: r, g, b, or Y, Cr, Cb between the YCrCb spaces (and grey).  For
// integer images the r, g, b hub is clipped to [0, maxval] when it comes
// from YCrCb or YIQ values, so that every space sees a displayable colour.
#pragma once

#include "core/record.hpp"

#include <cstddef>
#include <cstdint>

namespace mvip::color {

// The spaces converted here: grey, BGR, BGRx, RGBx, RGB, YCrCb, YCrCbx, the
// four 4:2:2 packings, HSB, YIQ, CMY, CMYK.
bool supported(uint32_t space);
// The 4:2:2 packings (two pixies per pixel, chroma shared by a pixel pair).
bool is_422(uint32_t space);
constexpr uint32_t pixies_of(uint32_t space) { return space & 0xFu; }

#pragma pack(push, 4)
// Value range of one pixel format.
struct Scale {
    double low, high;  // integers: 0 and maxval
    double mid;        // zero of the chroma-like components
    double period;     // hue period: maxval + 1, or high - low
    uint32_t integer;  // non-zero: results are rounded and clipped
};

struct Route;
// Converts n pixels from src to dst (both packed, whole pixels).
// `phase` matters only when the destination is a 4:2:2 space: bit 0 is the
// pair position (0 first, 1 second) of dst pixel 0; along a run the
// positions alternate and neighbours (2k, 2k+1) share their chroma.  With
// bit 1 set the pixels are a column (all in the position of bit 0), each
// one lone.  When the source is a 4:2:2 space, src must start on the first
// pixel of a pair and hold whole pairs.
using Kernel = void (*)(const void* src, void* dst, size_t n, uint32_t phase, const Route& r,
                        const Scale& sc);
// The general kernel's steps work on a hub of three planes of doubles
// (r, g, b, or Y, Cr, Cb) for at most a block of pixels.
using DecodeFn = void (*)(const void* src, double* hub, size_t n, const Scale& sc);
using HubFn = void (*)(double* hub, size_t n, const Scale& sc);
using EncodeFn = void (*)(const double* hub, void* dst, size_t n, uint32_t phase,
                          const Scale& sc);

// A conversion from one space to another, chosen once for a data type.
struct Route {
    Kernel fn = nullptr;        // null: no conversion between these spaces
    DecodeFn decode = nullptr;  // the hub path (used by the general kernel)
    HubFn hub = nullptr;        // between the two hub forms, when they differ
    EncodeFn encode = nullptr;
    uint32_t src_bytes = 0;     // bytes per source / destination pixel
    uint32_t dst_bytes = 0;
    void run(const void* src, void* dst, size_t n, uint32_t phase, const Scale& sc) const {
        fn(src, dst, n, phase, *this, sc);
    }
};
#pragma pack(pop)

constexpr uint32_t kPhaseColumn = 2;

// Range of a pixel format (integer types use its significant bits).
Scale scale_of(const mvpixfmt& fmt);

// The conversion from space `from` to space `to` for values of data type
// `type` (low byte: u8, u16, u32, i32 (moved as u32), float, double).  fn is
// null for an unsupported space or type; equal spaces give a plain copy.
Route route(uint32_t from, uint32_t to, uint32_t type);

}  // namespace mvip::color
