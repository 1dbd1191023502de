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

// Lines go in chunks: the interleaved samples are spread into planes by a
// plain loop, and the arithmetic runs on the planes, where it vectorises.
inline constexpr size_t kChunk = 256;

template <class T>
inline void rgb_to_ycc(const T* __restrict rgb, size_t width, float half, float* __restrict y, float* __restrict cb,
                       float* __restrict cr) {
    float r[kChunk], g[kChunk], b[kChunk];
    for (size_t x0 = 0; x0 < width; x0 += kChunk) {
        const size_t n = std::min(kChunk, width - x0);
        const T* in = rgb + 3 * x0;
        for (size_t i = 0; i < n; ++i) {
            r[i] = float(in[3 * i]);
            g[i] = float(in[3 * i + 1]);
            b[i] = float(in[3 * i + 2]);
        }
        float* __restrict yo = y + x0;
        float* __restrict bo = cb + x0;
        float* __restrict ro = cr + x0;
        for (size_t i = 0; i < n; ++i) {
            yo[i] = 0.299f * r[i] + 0.587f * g[i] + 0.114f * b[i] - half;
            bo[i] = -0.1687f * r[i] - 0.3313f * g[i] + 0.5f * b[i];
            ro[i] = 0.5f * r[i] - 0.4187f * g[i] - 0.0813f * b[i];
        }
    }
}

template <class T>
inline void grey_to_float(const T* __restrict in, size_t width, float half, float* __restrict out) {
    for (size_t x = 0; x < width; ++x) out[x] = float(in[x]) - half;
}

// Samples to float, as the upsampler and the inverse transform take them.
template <class T>
inline void samples_to_float(const T* __restrict in, size_t width, float* __restrict out) {
    for (size_t x = 0; x < width; ++x) out[x] = float(in[x]);
}

// Rounded and clamped to 0 .. top.
inline int32_t to_sample(float v, float top) { return int32_t(std::min(std::max(v, 0.0f), top) + 0.5f); }

template <class T>
inline void ycc_to_rgb(const float* __restrict y, const float* __restrict cb, const float* __restrict cr, size_t width,
                       float half, float top, T* __restrict out) {
    int32_t r[kChunk], g[kChunk], b[kChunk];
    for (size_t x0 = 0; x0 < width; x0 += kChunk) {
        const size_t n = std::min(kChunk, width - x0);
        const float* __restrict yi = y + x0;
        const float* __restrict bi = cb + x0;
        const float* __restrict ri = cr + x0;
        for (size_t i = 0; i < n; ++i) {
            const float b0 = bi[i] - half, r0 = ri[i] - half;
            r[i] = to_sample(yi[i] + 1.402f * r0, top);
            g[i] = to_sample(yi[i] - 0.34414f * b0 - 0.71414f * r0, top);
            b[i] = to_sample(yi[i] + 1.772f * b0, top);
        }
        T* o = out + 3 * x0;
        for (size_t i = 0; i < n; ++i) {
            o[3 * i] = T(r[i]);
            o[3 * i + 1] = T(g[i]);
            o[3 * i + 2] = T(b[i]);
        }
    }
}

// Interleave `count` float lines into pixels, each value rounded and
// clamped; `invert` gives top - value instead (the inverted inks of Adobe
// CMYK files).
template <class T>
inline void interleave(const float* const* lines, uint32_t count, size_t width, float top, bool invert,
                       T* __restrict out) {
    for (uint32_t c = 0; c < count; ++c) {
        const float* in = lines[c];
        for (size_t x = 0; x < width; ++x) {
            float v = std::min(std::max(in[x], 0.0f), top);
            if (invert) v = top - v;
            out[x * count + c] = T(int32_t(v + 0.5f));
        }
    }
}

// The 8-bit forms the codec uses most, with AVX2 twins chosen once per
// call: interleaved RGB to the three level-shifted planes (as rgb_to_ycc
// with half 128), and Y, Cb and Cr lines, 8-bit samples or floats (after
// upsampling), straight to interleaved RGB (as samples_to_float and
// ycc_to_rgb with half 128, top 255).
using RgbToYccU8Fn = void (*)(const uint8_t* rgb, size_t width, float* y, float* cb, float* cr);
template <class S>
using YccToRgbU8Fn = void (*)(const S* y, const S* cb, const S* cr, size_t width, uint8_t* out);
RgbToYccU8Fn rgb_to_ycc_u8();
YccToRgbU8Fn<uint8_t> ycc_to_rgb_u8();
YccToRgbU8Fn<float> ycc_float_to_rgb_u8();

}  // namespace mvip::files::jpeg
