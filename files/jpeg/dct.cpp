#include "files/jpeg/dct.hpp"

#include "ops/cpu.hpp"

#include <algorithm>
#include <cmath>

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
JPEG_INLINE void inverse_body(const int32_t in[64], const float mult[64], T* out, size_t stride, uint32_t top) {
    float w[64];
    for (int i = 0; i < 64; ++i) w[i] = float(in[i]) * mult[i];
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
void inverse_u8_plain(const int32_t in[64], const float m[64], uint8_t* out, size_t stride) {
    inverse_body<uint8_t>(in, m, out, stride, 255);
}
void inverse_u16_plain(const int32_t in[64], const float m[64], uint16_t* out, size_t stride, uint32_t top) {
    inverse_body<uint16_t>(in, m, out, stride, top);
}

__attribute__((target("avx2"))) void forward_avx2(const float* s, size_t stride, const float m[64], float limit,
                                                  int32_t o[64]) {
    forward_body(s, stride, m, limit, o);
}
__attribute__((target("avx2"))) void inverse_u8_avx2(const int32_t in[64], const float m[64], uint8_t* out,
                                                     size_t stride) {
    inverse_body<uint8_t>(in, m, out, stride, 255);
}
__attribute__((target("avx2"))) void inverse_u16_avx2(const int32_t in[64], const float m[64], uint16_t* out,
                                                      size_t stride, uint32_t top) {
    inverse_body<uint16_t>(in, m, out, stride, top);
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
