#include "files/jpeg/dct.hpp"

#include "ops/cpu.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <immintrin.h>

namespace mvip::files::jpeg {

namespace {

// Scale of output k of the factorised eight-point transform relative to
// the true one: 1 for k = 0, else sqrt(2) cos(k pi / 16).
float scale(uint32_t k) {
    constexpr double kPi = 3.14159265358979323846;
    return k == 0 ? 1.0f : float(std::sqrt(2.0) * std::cos(double(k) * kPi / 16.0));
}

#define JPEG_INLINE __attribute__((always_inline)) inline

// Forward eight-point transform down each of the eight columns of a block.
JPEG_INLINE void forward_columns(float* b) {
    for (int c = 0; c < 8; ++c) {
        const float t0 = b[c] + b[56 + c], t7 = b[c] - b[56 + c];
        const float t1 = b[8 + c] + b[48 + c], t6 = b[8 + c] - b[48 + c];
        const float t2 = b[16 + c] + b[40 + c], t5 = b[16 + c] - b[40 + c];
        const float t3 = b[24 + c] + b[32 + c], t4 = b[24 + c] - b[32 + c];
        // Even part.
        const float e10 = t0 + t3, e13 = t0 - t3, e11 = t1 + t2, e12 = t1 - t2;
        b[c] = e10 + e11;
        b[32 + c] = e10 - e11;
        const float z1 = (e12 + e13) * 0.707106781f;
        b[16 + c] = e13 + z1;
        b[48 + c] = e13 - z1;
        // Odd part.
        const float o10 = t4 + t5, o11 = t5 + t6, o12 = t6 + t7;
        const float z5 = (o10 - o12) * 0.382683433f;
        const float z2 = 0.541196100f * o10 + z5;
        const float z4 = 1.306562965f * o12 + z5;
        const float z3 = o11 * 0.707106781f;
        const float z11 = t7 + z3, z13 = t7 - z3;
        b[40 + c] = z13 + z2;
        b[24 + c] = z13 - z2;
        b[8 + c] = z11 + z4;
        b[56 + c] = z11 - z4;
    }
}

// Inverse eight-point transform down each of the eight columns.
JPEG_INLINE void inverse_columns(float* b) {
    for (int c = 0; c < 8; ++c) {
        // Even part.
        const float e10 = b[c] + b[32 + c], e11 = b[c] - b[32 + c];
        const float e13 = b[16 + c] + b[48 + c];
        const float e12 = (b[16 + c] - b[48 + c]) * 1.414213562f - e13;
        const float a0 = e10 + e13, a3 = e10 - e13, a1 = e11 + e12, a2 = e11 - e12;
        // Odd part.
        const float z13 = b[40 + c] + b[24 + c], z10 = b[40 + c] - b[24 + c];
        const float z11 = b[8 + c] + b[56 + c], z12 = b[8 + c] - b[56 + c];
        const float o7 = z11 + z13;
        const float o11 = (z11 - z13) * 1.414213562f;
        const float z5 = (z10 + z12) * 1.847759065f;
        const float o10 = z5 - z12 * 1.082392200f;
        const float o12 = z5 - z10 * 2.613125930f;
        const float o6 = o12 - o7, o5 = o11 - o6, o4 = o10 - o5;
        b[c] = a0 + o7;
        b[56 + c] = a0 - o7;
        b[8 + c] = a1 + o6;
        b[48 + c] = a1 - o6;
        b[16 + c] = a2 + o5;
        b[40 + c] = a2 - o5;
        b[24 + c] = a3 + o4;
        b[32 + c] = a3 - o4;
    }
}

JPEG_INLINE void transpose(float* b) {
    float t[64];
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) t[c * 8 + r] = b[r * 8 + c];
    std::copy(t, t + 64, b);
}

JPEG_INLINE void forward_body(const float* samples, size_t stride, const float mult[64], float limit, int32_t out[64]) {
    float w[64];
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) w[r * 8 + c] = samples[size_t(r) * stride + size_t(c)];
    forward_columns(w);
    transpose(w);
    forward_columns(w);
    for (int i = 0; i < 64; ++i) {
        const float q = std::min(std::max(w[i] * mult[i], -limit), limit);
        out[i] = int32_t(q + (q < 0.0f ? -0.5f : 0.5f));
    }
}

template <class T>
JPEG_INLINE void inverse_body(int32_t in[64], const float mult[64], T* out, size_t stride, uint32_t top) {
    float w[64];
    for (int i = 0; i < 64; ++i) w[i] = float(in[i]) * mult[i];
    std::memset(in, 0, 64 * sizeof(int32_t));
    inverse_columns(w);
    transpose(w);
    inverse_columns(w);
    const float shift = float((top + 1) / 2) + 0.5f, high = float(top) + 0.5f;
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) {
            const float v = std::min(std::max(w[r * 8 + c] + shift, 0.0f), high);
            out[size_t(r) * stride + size_t(c)] = T(int32_t(v));
        }
}

void forward_plain(const float* s, size_t stride, const float m[64], float limit, int32_t o[64]) {
    forward_body(s, stride, m, limit, o);
}
void inverse_u8_plain(int32_t in[64], const float m[64], uint8_t* out, size_t stride) {
    inverse_body<uint8_t>(in, m, out, stride, 255);
}
void inverse_u16_plain(int32_t in[64], const float m[64], uint16_t* out, size_t stride, uint32_t top) {
    inverse_body<uint16_t>(in, m, out, stride, top);
}

// The AVX2 forms hold the block in eight registers, one row each, so that
// the column passes are the plain ones lane by lane and the transpose is
// done in registers.  Every operation matches the plain form's in order
// and rounding (no fused multiply-add), so the results are the same bits.
#define JPEG_AVX2 __attribute__((target("avx2"))) JPEG_INLINE

JPEG_AVX2 void forward_columns_avx2(__m256* b) {
    const __m256 t0 = _mm256_add_ps(b[0], b[7]), t7 = _mm256_sub_ps(b[0], b[7]);
    const __m256 t1 = _mm256_add_ps(b[1], b[6]), t6 = _mm256_sub_ps(b[1], b[6]);
    const __m256 t2 = _mm256_add_ps(b[2], b[5]), t5 = _mm256_sub_ps(b[2], b[5]);
    const __m256 t3 = _mm256_add_ps(b[3], b[4]), t4 = _mm256_sub_ps(b[3], b[4]);
    const __m256 e10 = _mm256_add_ps(t0, t3), e13 = _mm256_sub_ps(t0, t3);
    const __m256 e11 = _mm256_add_ps(t1, t2), e12 = _mm256_sub_ps(t1, t2);
    b[0] = _mm256_add_ps(e10, e11);
    b[4] = _mm256_sub_ps(e10, e11);
    const __m256 z1 = _mm256_mul_ps(_mm256_add_ps(e12, e13), _mm256_set1_ps(0.707106781f));
    b[2] = _mm256_add_ps(e13, z1);
    b[6] = _mm256_sub_ps(e13, z1);
    const __m256 o10 = _mm256_add_ps(t4, t5), o11 = _mm256_add_ps(t5, t6), o12 = _mm256_add_ps(t6, t7);
    const __m256 z5 = _mm256_mul_ps(_mm256_sub_ps(o10, o12), _mm256_set1_ps(0.382683433f));
    const __m256 z2 = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(0.541196100f), o10), z5);
    const __m256 z4 = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(1.306562965f), o12), z5);
    const __m256 z3 = _mm256_mul_ps(o11, _mm256_set1_ps(0.707106781f));
    const __m256 z11 = _mm256_add_ps(t7, z3), z13 = _mm256_sub_ps(t7, z3);
    b[5] = _mm256_add_ps(z13, z2);
    b[3] = _mm256_sub_ps(z13, z2);
    b[1] = _mm256_add_ps(z11, z4);
    b[7] = _mm256_sub_ps(z11, z4);
}

JPEG_AVX2 void inverse_columns_avx2(__m256* b) {
    const __m256 sqrt2 = _mm256_set1_ps(1.414213562f);
    const __m256 e10 = _mm256_add_ps(b[0], b[4]), e11 = _mm256_sub_ps(b[0], b[4]);
    const __m256 e13 = _mm256_add_ps(b[2], b[6]);
    const __m256 e12 = _mm256_sub_ps(_mm256_mul_ps(_mm256_sub_ps(b[2], b[6]), sqrt2), e13);
    const __m256 a0 = _mm256_add_ps(e10, e13), a3 = _mm256_sub_ps(e10, e13);
    const __m256 a1 = _mm256_add_ps(e11, e12), a2 = _mm256_sub_ps(e11, e12);
    const __m256 z13 = _mm256_add_ps(b[5], b[3]), z10 = _mm256_sub_ps(b[5], b[3]);
    const __m256 z11 = _mm256_add_ps(b[1], b[7]), z12 = _mm256_sub_ps(b[1], b[7]);
    const __m256 o7 = _mm256_add_ps(z11, z13);
    const __m256 o11 = _mm256_mul_ps(_mm256_sub_ps(z11, z13), sqrt2);
    const __m256 z5 = _mm256_mul_ps(_mm256_add_ps(z10, z12), _mm256_set1_ps(1.847759065f));
    const __m256 o10 = _mm256_sub_ps(z5, _mm256_mul_ps(z12, _mm256_set1_ps(1.082392200f)));
    const __m256 o12 = _mm256_sub_ps(z5, _mm256_mul_ps(z10, _mm256_set1_ps(2.613125930f)));
    const __m256 o6 = _mm256_sub_ps(o12, o7), o5 = _mm256_sub_ps(o11, o6), o4 = _mm256_sub_ps(o10, o5);
    b[0] = _mm256_add_ps(a0, o7);
    b[7] = _mm256_sub_ps(a0, o7);
    b[1] = _mm256_add_ps(a1, o6);
    b[6] = _mm256_sub_ps(a1, o6);
    b[2] = _mm256_add_ps(a2, o5);
    b[5] = _mm256_sub_ps(a2, o5);
    b[3] = _mm256_add_ps(a3, o4);
    b[4] = _mm256_sub_ps(a3, o4);
}

JPEG_AVX2 void transpose_avx2(__m256* r) {
    const __m256 t0 = _mm256_unpacklo_ps(r[0], r[1]), t1 = _mm256_unpackhi_ps(r[0], r[1]);
    const __m256 t2 = _mm256_unpacklo_ps(r[2], r[3]), t3 = _mm256_unpackhi_ps(r[2], r[3]);
    const __m256 t4 = _mm256_unpacklo_ps(r[4], r[5]), t5 = _mm256_unpackhi_ps(r[4], r[5]);
    const __m256 t6 = _mm256_unpacklo_ps(r[6], r[7]), t7 = _mm256_unpackhi_ps(r[6], r[7]);
    const __m256 s0 = _mm256_shuffle_ps(t0, t2, 0x44), s1 = _mm256_shuffle_ps(t0, t2, 0xEE);
    const __m256 s2 = _mm256_shuffle_ps(t1, t3, 0x44), s3 = _mm256_shuffle_ps(t1, t3, 0xEE);
    const __m256 s4 = _mm256_shuffle_ps(t4, t6, 0x44), s5 = _mm256_shuffle_ps(t4, t6, 0xEE);
    const __m256 s6 = _mm256_shuffle_ps(t5, t7, 0x44), s7 = _mm256_shuffle_ps(t5, t7, 0xEE);
    r[0] = _mm256_permute2f128_ps(s0, s4, 0x20);
    r[1] = _mm256_permute2f128_ps(s1, s5, 0x20);
    r[2] = _mm256_permute2f128_ps(s2, s6, 0x20);
    r[3] = _mm256_permute2f128_ps(s3, s7, 0x20);
    r[4] = _mm256_permute2f128_ps(s0, s4, 0x31);
    r[5] = _mm256_permute2f128_ps(s1, s5, 0x31);
    r[6] = _mm256_permute2f128_ps(s2, s6, 0x31);
    r[7] = _mm256_permute2f128_ps(s3, s7, 0x31);
}

__attribute__((target("avx2"))) void forward_avx2(const float* s, size_t stride, const float m[64], float limit,
                                                  int32_t o[64]) {
    __m256 b[8];
    for (int r = 0; r < 8; ++r) b[r] = _mm256_loadu_ps(s + size_t(r) * stride);
    forward_columns_avx2(b);
    transpose_avx2(b);
    forward_columns_avx2(b);
    const __m256 hi = _mm256_set1_ps(limit), lo = _mm256_set1_ps(-limit);
    const __m256 up = _mm256_set1_ps(0.5f), down = _mm256_set1_ps(-0.5f), zero = _mm256_setzero_ps();
    for (int r = 0; r < 8; ++r) {
        const __m256 q = _mm256_min_ps(_mm256_max_ps(_mm256_mul_ps(b[r], _mm256_loadu_ps(m + 8 * r)), lo), hi);
        const __m256 half = _mm256_blendv_ps(up, down, _mm256_cmp_ps(q, zero, _CMP_LT_OQ));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(o + 8 * r), _mm256_cvttps_epi32(_mm256_add_ps(q, half)));
    }
}

// Dequantises, transforms and leaves the input zero; the rows come back
// as rounded, clamped integers.
JPEG_AVX2 void inverse_rows_avx2(int32_t in[64], const float m[64], uint32_t top, __m256i* rows) {
    __m256 b[8];
    const __m256i zero = _mm256_setzero_si256();
    for (int r = 0; r < 8; ++r) {
        __m256i* at = reinterpret_cast<__m256i*>(in + 8 * r);
        b[r] = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_loadu_si256(at)), _mm256_loadu_ps(m + 8 * r));
        _mm256_storeu_si256(at, zero);
    }
    inverse_columns_avx2(b);
    transpose_avx2(b);
    inverse_columns_avx2(b);
    const __m256 shift = _mm256_set1_ps(float((top + 1) / 2) + 0.5f), high = _mm256_set1_ps(float(top) + 0.5f);
    for (int r = 0; r < 8; ++r)
        rows[r] = _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(_mm256_add_ps(b[r], shift), _mm256_setzero_ps()), high));
}

__attribute__((target("avx2"))) void inverse_u8_avx2(int32_t in[64], const float m[64], uint8_t* out,
                                                     size_t stride) {
    __m256i v[8];
    inverse_rows_avx2(in, m, 255, v);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (int h = 0; h < 2; ++h) {
        // Rows 4h .. 4h + 3, eight bytes each, in order.
        const __m256i w = _mm256_packus_epi16(_mm256_packs_epi32(v[4 * h], v[4 * h + 1]),
                                              _mm256_packs_epi32(v[4 * h + 2], v[4 * h + 3]));
        const __m256i rows = _mm256_permutevar8x32_epi32(w, order);
        const __m128i lo = _mm256_castsi256_si128(rows), hi = _mm256_extracti128_si256(rows, 1);
        uint8_t* o = out + size_t(4 * h) * stride;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o), lo);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o + stride), _mm_unpackhi_epi64(lo, lo));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 2 * stride), hi);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(o + 3 * stride), _mm_unpackhi_epi64(hi, hi));
    }
}
__attribute__((target("avx2"))) void inverse_u16_avx2(int32_t in[64], const float m[64], uint16_t* out,
                                                      size_t stride, uint32_t top) {
    __m256i v[8];
    inverse_rows_avx2(in, m, top, v);
    for (int r = 0; r < 8; r += 2) {
        const __m256i w = _mm256_permute4x64_epi64(_mm256_packus_epi32(v[r], v[r + 1]), 0xD8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + size_t(r) * stride), _mm256_castsi256_si128(w));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + size_t(r + 1) * stride), _mm256_extracti128_si256(w, 1));
    }
}

}  // namespace

void forward_multipliers(const uint16_t table[64], float out[64]) {
    for (uint32_t u = 0; u < 8; ++u)
        for (uint32_t v = 0; v < 8; ++v)
            out[u * 8 + v] = 1.0f / (float(table[v * 8 + u]) * scale(u) * scale(v) * 8.0f);
}

void inverse_multipliers(const uint16_t table[64], float out[64]) {
    for (uint32_t u = 0; u < 8; ++u)
        for (uint32_t v = 0; v < 8; ++v) out[u * 8 + v] = float(table[v * 8 + u]) * scale(u) * scale(v) / 8.0f;
}

ForwardFn forward_transform() { return ops::cpu_has_avx2() ? forward_avx2 : forward_plain; }
InverseU8Fn inverse_transform_u8() { return ops::cpu_has_avx2() ? inverse_u8_avx2 : inverse_u8_plain; }
InverseU16Fn inverse_transform_u16() { return ops::cpu_has_avx2() ? inverse_u16_avx2 : inverse_u16_plain; }
ForwardFn forward_transform_plain() { return forward_plain; }
InverseU8Fn inverse_transform_u8_plain() { return inverse_u8_plain; }
InverseU16Fn inverse_transform_u16_plain() { return inverse_u16_plain; }

}  // namespace mvip::files::jpeg
