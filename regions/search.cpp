// Pixel tests and their line kernels, with vector forms for 8-bit lines.
#include "regions/search.hpp"

#include "ops/cpu.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <immintrin.h>

namespace mvip::regions {

bool PixelTest::failing_value(uint32_t top, uint32_t& out) const {
    if (invert) {
        out = lo;
        return true;
    }
    if (lo > 0) {
        out = lo - 1;
        return true;
    }
    if (hi < top) {
        out = hi + 1;
        return true;
    }
    return false;
}

bool make_test(uint32_t code, uint32_t v, uint32_t top, PixelTest& out) {
    const bool invert = (code & kTestInvert) != 0;
    uint64_t lo = 0, hi = 0;  // hi < lo: no value passes
    switch (code & ~uint32_t(kTestInvert)) {
        case kTestLess: lo = 0; hi = uint64_t(v) - 1; if (v == 0) lo = 1, hi = 0; break;
        case kTestAtMost: lo = 0; hi = v; break;
        case kTestEqual: lo = v; hi = v; break;
        case kTestAtLeast: lo = v; hi = top; break;
        case kTestGreater: lo = uint64_t(v) + 1; hi = top; break;
        case kTestInside: lo = v & 0xFFFF; hi = v >> 16; break;
        default: return false;
    }
    if (hi > top) hi = top;
    if (lo > hi) {  // nothing passes: the opposite of "every value"
        out = {0, top, !invert};
        return true;
    }
    out = {uint32_t(lo), uint32_t(hi), invert};
    return true;
}

namespace {

template <class T>
inline size_t find_loop(const T* p, size_t n, const PixelTest& t) {
    const T lo = T(t.lo), span = T(t.hi - t.lo);
    const bool inv = t.invert;
    for (size_t i = 0; i < n; ++i)
        if ((T(p[i] - lo) <= span) != inv) return i;
    return n;
}

template <class T>
inline size_t rfind_loop(const T* p, size_t n, const PixelTest& t) {
    const T lo = T(t.lo), span = T(t.hi - t.lo);
    const bool inv = t.invert;
    for (size_t i = n; i-- > 0;)
        if ((T(p[i] - lo) <= span) != inv) return i;
    return n;
}

template <class T>
inline void binarize_loop(const T* in, uint8_t* out, size_t n, const PixelTest& t) {
    const T lo = T(t.lo), span = T(t.hi - t.lo);
    const uint8_t inv = t.invert ? 1 : 0;
    for (size_t i = 0; i < n; ++i) out[i] = uint8_t(uint8_t(T(in[i] - lo) <= span) ^ inv);
}

__attribute__((target("avx2"))) size_t find_u8_avx2(const uint8_t* p, size_t n, const PixelTest& t) {
    const __m256i lo = _mm256_set1_epi8(char(t.lo)), span = _mm256_set1_epi8(char(t.hi - t.lo));
    const uint32_t flip = t.invert ? ~0u : 0u;
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m256i d = _mm256_sub_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i)), lo);
        const __m256i in = _mm256_cmpeq_epi8(_mm256_min_epu8(d, span), d);
        const uint32_t m = uint32_t(_mm256_movemask_epi8(in)) ^ flip;
        if (m) return i + size_t(std::countr_zero(m));
    }
    return i + find_loop(p + i, n - i, t);
}

__attribute__((target("avx512f,avx512bw"))) size_t find_u8_avx512(const uint8_t* p, size_t n,
                                                                    const PixelTest& t) {
    const __m512i lo = _mm512_set1_epi8(char(t.lo)), span = _mm512_set1_epi8(char(t.hi - t.lo));
    const uint64_t flip = t.invert ? ~uint64_t{0} : 0;
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m512i d = _mm512_sub_epi8(_mm512_loadu_si512(p + i), lo);
        const uint64_t m = uint64_t(_mm512_cmple_epu8_mask(d, span)) ^ flip;
        if (m) return i + size_t(std::countr_zero(m));
    }
    if (i < n) {
        const __mmask64 valid = (uint64_t{1} << (n - i)) - 1;
        const __m512i d = _mm512_sub_epi8(_mm512_maskz_loadu_epi8(valid, p + i), lo);
        const uint64_t m = (uint64_t(_mm512_cmple_epu8_mask(d, span)) ^ flip) & valid;
        if (m) return i + size_t(std::countr_zero(m));
    }
    return n;
}

__attribute__((target("avx2"))) void pack_bits_avx2(const uint8_t* in, uint64_t* out, size_t n) {
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m256i a = _mm256_slli_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i)), 7);
        const __m256i b = _mm256_slli_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i + 32)), 7);
        out[i / 64] = uint64_t(uint32_t(_mm256_movemask_epi8(a))) | uint64_t(uint32_t(_mm256_movemask_epi8(b))) << 32;
    }
    if (i < n) pack_bits_plain(in + i, out + i / 64, n - i);
}

__attribute__((target("avx512f,avx512bw"))) void store_masked_u8_avx512(uint8_t* line, const uint64_t* mask,
                                                                         size_t n, uint8_t v) {
    const __m512i value = _mm512_set1_epi8(char(v));
    for (size_t i = 0; i < n; i += 64) {
        uint64_t m = mask[i / 64];
        if (n - i < 64) m &= (uint64_t{1} << (n - i)) - 1;
        if (m) _mm512_mask_storeu_epi8(line + i, m, value);
    }
}
__attribute__((target("avx512f,avx512bw"))) void store_masked_u16_avx512(uint16_t* line, const uint64_t* mask,
                                                                          size_t n, uint16_t v) {
    const __m512i value = _mm512_set1_epi16(short(v));
    for (size_t i = 0; i < n; i += 64) {
        uint64_t m = mask[i / 64];
        if (n - i < 64) m &= (uint64_t{1} << (n - i)) - 1;
        if (uint32_t(m)) _mm512_mask_storeu_epi16(line + i, uint32_t(m), value);
        if (m >> 32) _mm512_mask_storeu_epi16(line + i + 32, uint32_t(m >> 32), value);
    }
}

template <class T>
void store_masked_loop(T* line, const uint64_t* mask, size_t n, T v) {
    for (size_t i = 0; i < n; i += 64) {
        const uint64_t m = mask[i / 64];
        if (!m) continue;
        const size_t e = std::min<size_t>(64, n - i);
        for (size_t k = 0; k < e; ++k)
            if ((m >> k) & 1) line[i + k] = v;
    }
}

// The binarizing loops, vectorised by the compiler for each level.
__attribute__((target("avx2"), flatten)) void binarize_u8_avx2(const uint8_t* in, uint8_t* out, size_t n,
                                                               const PixelTest& t) {
    binarize_loop(in, out, n, t);
}
__attribute__((target("avx2"), flatten)) void binarize_u16_avx2(const uint16_t* in, uint8_t* out, size_t n,
                                                                const PixelTest& t) {
    binarize_loop(in, out, n, t);
}

}  // namespace

size_t find_u8_plain(const uint8_t* p, size_t n, const PixelTest& t) { return find_loop(p, n, t); }

size_t find_u8(const uint8_t* p, size_t n, const PixelTest& t) {
    switch (ops::cpu_level()) {
        case ops::CpuLevel::avx512: return find_u8_avx512(p, n, t);
        case ops::CpuLevel::avx2: return find_u8_avx2(p, n, t);
        default: return find_loop(p, n, t);
    }
}
size_t find_u16(const uint16_t* p, size_t n, const PixelTest& t) { return find_loop(p, n, t); }
size_t rfind_u8(const uint8_t* p, size_t n, const PixelTest& t) { return rfind_loop(p, n, t); }
size_t rfind_u16(const uint16_t* p, size_t n, const PixelTest& t) { return rfind_loop(p, n, t); }

void binarize_u8_plain(const uint8_t* in, uint8_t* out, size_t n, const PixelTest& t) {
    binarize_loop(in, out, n, t);
}
void binarize_u8(const uint8_t* in, uint8_t* out, size_t n, const PixelTest& t) {
    if (ops::cpu_has_avx2()) return binarize_u8_avx2(in, out, n, t);
    binarize_loop(in, out, n, t);
}
void binarize_u16(const uint16_t* in, uint8_t* out, size_t n, const PixelTest& t) {
    if (ops::cpu_has_avx2()) return binarize_u16_avx2(in, out, n, t);
    binarize_loop(in, out, n, t);
}

void pack_bits_plain(const uint8_t* in, uint64_t* out, size_t n) {
    for (size_t i = 0; i < n; i += 64) {
        uint64_t w = 0;
        const size_t m = std::min<size_t>(64, n - i);
        for (size_t k = 0; k < m; ++k) w |= uint64_t(in[i + k] & 1) << k;
        out[i / 64] = w;
    }
}
void store_masked_u8_plain(uint8_t* line, const uint64_t* mask, size_t n, uint8_t v) {
    store_masked_loop(line, mask, n, v);
}
void store_masked_u16_plain(uint16_t* line, const uint64_t* mask, size_t n, uint16_t v) {
    store_masked_loop(line, mask, n, v);
}
void store_masked_u8(uint8_t* line, const uint64_t* mask, size_t n, uint8_t v) {
    if (ops::cpu_has_avx512()) return store_masked_u8_avx512(line, mask, n, v);
    store_masked_loop(line, mask, n, v);
}
void store_masked_u16(uint16_t* line, const uint64_t* mask, size_t n, uint16_t v) {
    if (ops::cpu_has_avx512()) return store_masked_u16_avx512(line, mask, n, v);
    store_masked_loop(line, mask, n, v);
}
void pack_bits(const uint8_t* in, uint64_t* out, size_t n) {
    if (ops::cpu_has_avx2()) return pack_bits_avx2(in, out, n);
    pack_bits_plain(in, out, n);
}

}  // namespace mvip::regions
