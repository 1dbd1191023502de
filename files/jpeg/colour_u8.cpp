#include "files/jpeg/colour.hpp"

#include "ops/cpu.hpp"

#include <immintrin.h>

namespace mvip::files::jpeg {

namespace {

void rgb_to_ycc_u8_plain(const uint8_t* rgb, size_t width, float* y, float* cb, float* cr) {
    rgb_to_ycc(rgb, width, 128.0f, y, cb, cr);
}

template <class S>
void ycc_to_rgb_u8_plain(const S* y, const S* cb, const S* cr, size_t width, uint8_t* out) {
    for (size_t x = 0; x < width; ++x) {
        const float l = float(y[x]), b0 = float(cb[x]) - 128.0f, r0 = float(cr[x]) - 128.0f;
        out[3 * x] = uint8_t(to_sample(l + 1.402f * r0, 255.0f));
        out[3 * x + 1] = uint8_t(to_sample(l - 0.34414f * b0 - 0.71414f * r0, 255.0f));
        out[3 * x + 2] = uint8_t(to_sample(l + 1.772f * b0, 255.0f));
    }
}

#define COLOUR_AVX2 __attribute__((target("avx2")))

// Eight bytes to eight floats.
COLOUR_AVX2 inline __m256 widen(__m128i bytes) { return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(bytes)); }
// Eight samples as floats.
COLOUR_AVX2 inline __m256 load8(const uint8_t* at) {
    return widen(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)));
}
COLOUR_AVX2 inline __m256 load8(const float* at) { return _mm256_loadu_ps(at); }

// Eight pixels at a time: the 24 bytes are split into their channels by
// byte shuffles, and the arithmetic is the plain form's, operation for
// operation.
COLOUR_AVX2 void rgb_to_ycc_u8_avx2(const uint8_t* rgb, size_t width, float* y, float* cb, float* cr) {
    const __m128i r_lo = _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i r_hi = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 5, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i g_lo = _mm_setr_epi8(1, 4, 7, 10, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i g_hi = _mm_setr_epi8(-1, -1, -1, -1, -1, 0, 3, 6, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i b_lo = _mm_setr_epi8(2, 5, 8, 11, 14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i b_hi = _mm_setr_epi8(-1, -1, -1, -1, -1, 1, 4, 7, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m256 half = _mm256_set1_ps(128.0f);
    const __m256 yr = _mm256_set1_ps(0.299f), yg = _mm256_set1_ps(0.587f), yb = _mm256_set1_ps(0.114f);
    const __m256 br = _mm256_set1_ps(-0.1687f), bg = _mm256_set1_ps(-0.3313f), bb = _mm256_set1_ps(0.5f);
    const __m256 rr = _mm256_set1_ps(0.5f), rg = _mm256_set1_ps(-0.4187f), rb = _mm256_set1_ps(-0.0813f);
    size_t x = 0;
    for (; x + 8 <= width; x += 8) {
        const uint8_t* in = rgb + 3 * x;
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in + 16));
        const __m256 r = widen(_mm_or_si128(_mm_shuffle_epi8(lo, r_lo), _mm_shuffle_epi8(hi, r_hi)));
        const __m256 g = widen(_mm_or_si128(_mm_shuffle_epi8(lo, g_lo), _mm_shuffle_epi8(hi, g_hi)));
        const __m256 b = widen(_mm_or_si128(_mm_shuffle_epi8(lo, b_lo), _mm_shuffle_epi8(hi, b_hi)));
        const __m256 l = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(yr, r), _mm256_mul_ps(yg, g)), _mm256_mul_ps(yb, b));
        _mm256_storeu_ps(y + x, _mm256_sub_ps(l, half));
        _mm256_storeu_ps(cb + x,
                         _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(br, r), _mm256_mul_ps(bg, g)), _mm256_mul_ps(bb, b)));
        _mm256_storeu_ps(cr + x,
                         _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(rr, r), _mm256_mul_ps(rg, g)), _mm256_mul_ps(rb, b)));
    }
    rgb_to_ycc_u8_plain(rgb + 3 * x, width - x, y + x, cb + x, cr + x);
}

// One channel of eight pixels, rounded and clamped to 0 .. 255, as int32.
COLOUR_AVX2 inline __m256i to_samples(__m256 v) {
    const __m256 clamped = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f));
    return _mm256_cvttps_epi32(_mm256_add_ps(clamped, _mm256_set1_ps(0.5f)));
}

// Sixteen pixels at a time: each channel is computed as the plain form
// does, narrowed to bytes, and the three are interleaved by byte shuffles.
template <class S>
COLOUR_AVX2 void ycc_to_rgb_u8_avx2(const S* y, const S* cb, const S* cr, size_t width, uint8_t* out) {
    const __m256 half = _mm256_set1_ps(128.0f);
    const __m256 kr = _mm256_set1_ps(1.402f), kgb = _mm256_set1_ps(0.34414f), kgr = _mm256_set1_ps(0.71414f);
    const __m256 kb = _mm256_set1_ps(1.772f);
    // From [R0..R7 G0..G7] and [B0..B7 ...]: bytes 0-15 and 16-23 of the
    // interleaved pixels.
    const __m128i a0 = _mm_setr_epi8(0, 8, -1, 1, 9, -1, 2, 10, -1, 3, 11, -1, 4, 12, -1, 5);
    const __m128i b0 = _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1);
    const __m128i a1 = _mm_setr_epi8(13, -1, 6, 14, -1, 7, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i b1 = _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1);
    size_t x = 0;
    for (; x + 16 <= width; x += 16) {
        __m256i ch[3][2];
        for (int h = 0; h < 2; ++h) {
            const size_t i = x + 8 * size_t(h);
            const __m256 l = load8(y + i);
            const __m256 u = _mm256_sub_ps(load8(cb + i), half);
            const __m256 v = _mm256_sub_ps(load8(cr + i), half);
            ch[0][h] = to_samples(_mm256_add_ps(l, _mm256_mul_ps(kr, v)));
            ch[1][h] = to_samples(_mm256_sub_ps(_mm256_sub_ps(l, _mm256_mul_ps(kgb, u)), _mm256_mul_ps(kgr, v)));
            ch[2][h] = to_samples(_mm256_add_ps(l, _mm256_mul_ps(kb, u)));
        }
        // 16-bit lanes in pixel order, then bytes: [R0-7 G0-7 | R8-15 G8-15]
        // and [B0-7 B0-7 | B8-15 B8-15].
        __m256i w[3];
        for (int c = 0; c < 3; ++c) w[c] = _mm256_permute4x64_epi64(_mm256_packs_epi32(ch[c][0], ch[c][1]), 0xD8);
        const __m256i rg = _mm256_packus_epi16(w[0], w[1]), bb = _mm256_packus_epi16(w[2], w[2]);
        uint8_t* o = out + 3 * x;
        for (int h = 0; h < 2; ++h) {
            const __m128i p = h == 0 ? _mm256_castsi256_si128(rg) : _mm256_extracti128_si256(rg, 1);
            const __m128i q = h == 0 ? _mm256_castsi256_si128(bb) : _mm256_extracti128_si256(bb, 1);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 24 * h),
                             _mm_or_si128(_mm_shuffle_epi8(p, a0), _mm_shuffle_epi8(q, b0)));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 24 * h + 16),
                             _mm_or_si128(_mm_shuffle_epi8(p, a1), _mm_shuffle_epi8(q, b1)));
        }
    }
    ycc_to_rgb_u8_plain(y + x, cb + x, cr + x, width - x, out + 3 * x);
}

}  // namespace

RgbToYccU8Fn rgb_to_ycc_u8() { return ops::cpu_has_avx2() ? rgb_to_ycc_u8_avx2 : rgb_to_ycc_u8_plain; }
YccToRgbU8Fn<uint8_t> ycc_to_rgb_u8() {
    return ops::cpu_has_avx2() ? ycc_to_rgb_u8_avx2<uint8_t> : ycc_to_rgb_u8_plain<uint8_t>;
}
YccToRgbU8Fn<float> ycc_float_to_rgb_u8() {
    return ops::cpu_has_avx2() ? ycc_to_rgb_u8_avx2<float> : ycc_to_rgb_u8_plain<float>;
}

}  // namespace mvip::files::jpeg
