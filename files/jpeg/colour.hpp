// Colour transforms of the codec, one line at a time in single-precision
// float: RGB to level-shifted YCbCr for the writer (Y = 0.299 R + 0.587 G
// + 0.114 B - half, Cb = -0.1687 R - 0.3313 G + 0.5 B, Cr = 0.5 R -
// 0.4187 G - 0.0813 B, where half is 128 for 8-bit and 2048 for 12-bit
// samples), and YCbCr back to RGB for the reader (1.402, 0.34414, 0.71414,
// 1.772, clamped to the samples' range and rounded).  The loops are plain
// so that the compiler vectorises them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace mvip::files::jpeg {

template <class T>
inline void rgb_to_ycc(const T* rgb, size_t width, float half, float* y, float* cb, float* cr) {
    for (size_t x = 0; x < width; ++x) {
        const float r = float(rgb[3 * x]), g = float(rgb[3 * x + 1]), b = float(rgb[3 * x + 2]);
        y[x] = 0.299f * r + 0.587f * g + 0.114f * b - half;
        cb[x] = -0.1687f * r - 0.3313f * g + 0.5f * b;
        cr[x] = 0.5f * r - 0.4187f * g - 0.0813f * b;
    }
}

template <class T>
inline void grey_to_float(const T* in, size_t width, float half, float* out) {
    for (size_t x = 0; x < width; ++x) out[x] = float(in[x]) - half;
}

// Samples to float, as the upsampler and the inverse transform take them.
template <class T>
inline void samples_to_float(const T* in, size_t width, float* out) {
    for (size_t x = 0; x < width; ++x) out[x] = float(in[x]);
}

template <class T>
inline void ycc_to_rgb(const float* y, const float* cb, const float* cr, size_t width, float half, float top,
                       T* out) {
    for (size_t x = 0; x < width; ++x) {
        const float b0 = cb[x] - half, r0 = cr[x] - half;
        const float r = y[x] + 1.402f * r0;
        const float g = y[x] - 0.34414f * b0 - 0.71414f * r0;
        const float b = y[x] + 1.772f * b0;
        out[3 * x] = T(int32_t(std::min(std::max(r, 0.0f), top) + 0.5f));
        out[3 * x + 1] = T(int32_t(std::min(std::max(g, 0.0f), top) + 0.5f));
        out[3 * x + 2] = T(int32_t(std::min(std::max(b, 0.0f), top) + 0.5f));
    }
}

// Interleave `count` float lines into pixels, each value rounded and
// clamped; `invert` gives top - value instead (the inverted inks of Adobe
// CMYK files).
template <class T>
inline void interleave(const float* const* lines, uint32_t count, size_t width, float top, bool invert, T* out) {
    for (uint32_t c = 0; c < count; ++c) {
        const float* in = lines[c];
        for (size_t x = 0; x < width; ++x) {
            float v = std::min(std::max(in[x], 0.0f), top);
            if (invert) v = top - v;
            out[x * count + c] = T(int32_t(v + 0.5f));
        }
    }
}

}  // namespace mvip::files::jpeg
