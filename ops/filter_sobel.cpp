// Gradient magnitude on 8-bit values: the Sobel operator (1-2-1 weights)
// and its alternative on the 3-10-3 weights, each with four output modes:
//   0  the magnitude scaled so that the largest attainable one gives 255;
//   1  the centre value darkened by that scaled magnitude (replicated
//      border, as the result is relative to the centre);
//   2  a packed edge code: log-scaled magnitude in bits 7..3, the chain-code
//      direction of the gradient in bits 2..0;
//   3  the magnitude itself, clipped to 255.
// The gradients and roots run 16 (mode 2: 8) pixels at a time on SSE2;
// mode 2 codes them with scalar table lookups.
#include "ops/neighbourhood.hpp"

#include <cmath>
#include <memory>
#include <new>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define MVIP_EDGE_SSE2 1
#endif

namespace mvip::ops {
namespace {

constexpr int isqrt_constexpr(int n) {
    int k = 0;
    while ((k + 1) * (k + 1) <= n) ++k;
    return k;
}

// A 3 x 3 gradient with weight S on the corner rows/columns and W on the
// middle one:
//   gx = S (A2 - A0) + W (M2 - M0) + S (B2 - B0)     (east positive)
//   gy = S (A0 - B0) + W (A1 - B1) + S (A2 - B2)     (north positive)
// The largest magnitude of 8-bit data: one outer column all 255, the other
// all 0 (gx = (2S + W) 255), and the middle column's top and bottom 255
// apart (gy = W 255).  No other corner of the value cube does better.
template <int S, int W>
struct Weights {
    static constexpr int kSide = S, kMiddle = W;
    static constexpr int kMaxSquare = (2 * S + W) * 255 * (2 * S + W) * 255 + W * 255 * W * 255;
    static constexpr int kMax = isqrt_constexpr(kMaxSquare);
    static constexpr int kHalf = kMax / 2;
    // Below 2^24 every square sum is exact in float, and the truncated
    // float root is then the integer root with no correction.
    static constexpr bool kFloatExact = kMaxSquare < (1 << 24);
};
using SobelWeights = Weights<1, 2>;
using AltWeights = Weights<3, 10>;
static_assert(SobelWeights::kMax == 1140 && SobelWeights::kFloatExact);
static_assert(AltWeights::kMax == 4811 && !AltWeights::kFloatExact);

// floor(sqrt(n)) for 0 <= n < 2^25: the float root is at most one off.
inline int isqrt(int n) {
    int k = static_cast<int>(std::sqrt(static_cast<float>(n)));
    if (k * k > n) --k;
    else if ((k + 1) * (k + 1) <= n) ++k;
    return k;
}

// Chain-code directions of gradients (gx east, gy north): 0 east, then
// counter-clockwise in 45-degree steps (2 north, 4 west, 6 south); each code
// takes the 45-degree sector centred on its own direction.  The sector
// limits have irrational slopes (tan 22.5 deg = sqrt 2 - 1), so no integer
// gradient lies on one, and |gy| < (sqrt 2 - 1) |gx| is tested exactly as
// (|gx| + |gy|)^2 < 2 gx^2.  A zero gradient has a zero magnitude field,
// for which the direction bits are left 0.
inline void chain_directions(const int16_t* __restrict gx, const int16_t* __restrict gy, uint8_t* __restrict dir,
                             size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const int x = gx[i], y = gy[i];
        const int ax = x < 0 ? -x : x, ay = y < 0 ? -y : y;
        const int s = (ax + ay) * (ax + ay);
        const int west = x < 0, south = y < 0;
        const int diagonal = 1 + 2 * (west ^ south) + 4 * south;  // 1, 3, 5, 7
        dir[i] = static_cast<uint8_t>(s < 2 * ax * ax ? 4 * west : s < 2 * ay * ay ? 2 + 4 * south : diagonal);
    }
}

// Log scale of magnitudes 0 .. entries - 1 onto 0 .. 31.
std::unique_ptr<uint8_t[]> log_table(int entries) {
    std::unique_ptr<uint8_t[]> t(new (std::nothrow) uint8_t[entries]);
    if (!t) return t;
    const double top = std::log(static_cast<double>(entries));
    for (int i = 0; i < entries; ++i)
        t[i] = static_cast<uint8_t>(std::trunc(std::log(i + 1.0) * 31.0 / top + 0.5));
    return t;
}

template <class G>
inline void gradient(const uint8_t* a, const uint8_t* m, const uint8_t* b, size_t x, int& gx, int& gy) {
    gx = G::kSide * (a[x + 1] - a[x - 1]) + G::kMiddle * (m[x + 1] - m[x - 1]) +
         G::kSide * (b[x + 1] - b[x - 1]);
    gy = G::kSide * (a[x - 1] - b[x - 1]) + G::kMiddle * (a[x] - b[x]) + G::kSide * (a[x + 1] - b[x + 1]);
}

template <class G>
inline int scaled(int mag) {
    return (mag * 255 + G::kHalf) / G::kMax;
}

#if MVIP_EDGE_SSE2
// floor(sqrt(n)) of four 32-bit lanes, n < 2^25.
template <class G>
inline __m128i isqrt4(__m128i n) {
    __m128i k = _mm_cvttps_epi32(_mm_sqrt_ps(_mm_cvtepi32_ps(n)));
    if constexpr (!G::kFloatExact) {
        // k < 2^15, so k * k is the 16-bit multiply-add of (k, 0) pairs.
        k = _mm_add_epi32(k, _mm_cmpgt_epi32(_mm_madd_epi16(k, k), n));  // k^2 > n: k - 1
        const __m128i k1 = _mm_add_epi32(k, _mm_set1_epi32(1));
        const __m128i over = _mm_cmpgt_epi32(_mm_madd_epi16(k1, k1), n);
        k = _mm_sub_epi32(k1, _mm_and_si128(over, _mm_set1_epi32(1)));   // (k+1)^2 <= n: k + 1
    }
    return k;
}

// (mag * 255 + half) / max of four lanes.  The dividend stays below 2^24
// and the quotient's fraction at most 1 - 1/max, far from the next integer
// for a correctly rounded division, so truncation gives the integer result.
template <class G>
inline __m128i scale4(__m128i mag) {
    const __m128 v = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(mag), _mm_set1_ps(255.0f)),
                                _mm_set1_ps(static_cast<float>(G::kHalf)));
    return _mm_cvttps_epi32(_mm_div_ps(v, _mm_set1_ps(static_cast<float>(G::kMax))));
}

// gx and gy of eight pixels (16-bit lanes) from 16-bit neighbour rows.
template <class G>
inline void gradient8(__m128i a0, __m128i a1, __m128i a2, __m128i m0, __m128i m2, __m128i b0, __m128i b1,
                      __m128i b2, __m128i& gx, __m128i& gy) {
    const __m128i side = _mm_set1_epi16(G::kSide), middle = _mm_set1_epi16(G::kMiddle);
    gx = _mm_add_epi16(_mm_mullo_epi16(side, _mm_add_epi16(_mm_sub_epi16(a2, a0), _mm_sub_epi16(b2, b0))),
                       _mm_mullo_epi16(middle, _mm_sub_epi16(m2, m0)));
    gy = _mm_add_epi16(_mm_mullo_epi16(side, _mm_add_epi16(_mm_sub_epi16(a0, b0), _mm_sub_epi16(a2, b2))),
                       _mm_mullo_epi16(middle, _mm_sub_epi16(a1, b1)));
}

// The magnitudes of eight gradients as two groups of four 32-bit lanes.
template <class G>
inline void magnitude8(__m128i gx, __m128i gy, __m128i& lo, __m128i& hi) {
    const __m128i l = _mm_unpacklo_epi16(gx, gy), h = _mm_unpackhi_epi16(gx, gy);
    lo = isqrt4<G>(_mm_madd_epi16(l, l));
    hi = isqrt4<G>(_mm_madd_epi16(h, h));
}

// Eight pixels: the result of the mode before packing to bytes.
template <class G, unsigned Mode>
inline __m128i edge8(__m128i a0, __m128i a1, __m128i a2, __m128i m0, __m128i m2, __m128i b0, __m128i b1,
                     __m128i b2) {
    __m128i gx, gy, mlo, mhi;
    gradient8<G>(a0, a1, a2, m0, m2, b0, b1, b2, gx, gy);
    magnitude8<G>(gx, gy, mlo, mhi);
    if constexpr (Mode != 3) {
        mlo = scale4<G>(mlo);
        mhi = scale4<G>(mhi);
    }
    return _mm_packs_epi32(mlo, mhi);  // magnitudes fit 16 bits
}

// gx, gy and the magnitude of whole groups of eight pixels; returns the
// pixels done.
template <class G>
size_t gradients_sse2(const uint8_t* a, const uint8_t* m, const uint8_t* b, size_t width, int16_t* gx,
                      int16_t* gy, int16_t* mag) {
    const __m128i zero = _mm_setzero_si128();
    auto load = [&](const uint8_t* p) {
        return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), zero);
    };
    size_t x = 0;
    for (; x + 8 <= width; x += 8) {
        __m128i vx, vy, lo, hi;
        gradient8<G>(load(a + x - 1), load(a + x), load(a + x + 1), load(m + x - 1), load(m + x + 1),
                     load(b + x - 1), load(b + x), load(b + x + 1), vx, vy);
        magnitude8<G>(vx, vy, lo, hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(gx + x), vx);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(gy + x), vy);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(mag + x), _mm_packs_epi32(lo, hi));
    }
    return x;
}

// Modes 0, 1 and 3 over whole groups of 16 pixels; returns the pixels done.
template <class G, unsigned Mode>
size_t edge_sse2(const uint8_t* a, const uint8_t* m, const uint8_t* b, uint8_t* out, size_t width) {
    const __m128i zero = _mm_setzero_si128();
    auto load = [](const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    size_t x = 0;
    for (; x + 16 <= width; x += 16) {
        const __m128i va0 = load(a + x - 1), va1 = load(a + x), va2 = load(a + x + 1);
        const __m128i vm0 = load(m + x - 1), vm2 = load(m + x + 1);
        const __m128i vb0 = load(b + x - 1), vb1 = load(b + x), vb2 = load(b + x + 1);
        const __m128i lo = edge8<G, Mode>(
            _mm_unpacklo_epi8(va0, zero), _mm_unpacklo_epi8(va1, zero), _mm_unpacklo_epi8(va2, zero),
            _mm_unpacklo_epi8(vm0, zero), _mm_unpacklo_epi8(vm2, zero), _mm_unpacklo_epi8(vb0, zero),
            _mm_unpacklo_epi8(vb1, zero), _mm_unpacklo_epi8(vb2, zero));
        const __m128i hi = edge8<G, Mode>(
            _mm_unpackhi_epi8(va0, zero), _mm_unpackhi_epi8(va1, zero), _mm_unpackhi_epi8(va2, zero),
            _mm_unpackhi_epi8(vm0, zero), _mm_unpackhi_epi8(vm2, zero), _mm_unpackhi_epi8(vb0, zero),
            _mm_unpackhi_epi8(vb1, zero), _mm_unpackhi_epi8(vb2, zero));
        __m128i r = _mm_packus_epi16(lo, hi);  // mode 3: min(mag, 255)
        if constexpr (Mode == 1) r = _mm_subs_epu8(load(m + x), r);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), r);
    }
    return x;
}
#endif

// Modes 0, 1, 3.
template <class G, unsigned Mode>
struct Edge {
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams&) {
        static_assert(std::is_same_v<T, uint8_t>);
        const uint8_t* a = rows[0];
        const uint8_t* m = rows[1];
        const uint8_t* b = rows[2];
        size_t x = 0;
#if MVIP_EDGE_SSE2
        x = edge_sse2<G, Mode>(a, m, b, out, width);
#endif
        for (; x < width; ++x) {
            int gx, gy;
            gradient<G>(a, m, b, x, gx, gy);
            const int mag = isqrt(gx * gx + gy * gy);
            int v;
            if constexpr (Mode == 3) {
                v = mag < 255 ? mag : 255;
            } else {
                v = scaled<G>(mag);
                if constexpr (Mode == 1) v = m[x] > v ? m[x] - v : 0;
            }
            out[x] = static_cast<uint8_t>(v);
        }
    }
};

// Mode 2: log-scaled magnitude (table of kMax + 1 entries) in bits 7..3,
// chain direction in bits 2..0 (0 when the magnitude field is 0).  The
// gradients are found a chunk at a time, then coded.
template <class G>
struct EdgeCode {
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams& p) {
        static_assert(std::is_same_v<T, uint8_t>);
        const uint8_t* a = rows[0];
        const uint8_t* m = rows[1];
        const uint8_t* b = rows[2];
        const uint8_t* table = static_cast<const uint8_t*>(p.table);
        constexpr size_t kChunk = 256;
        int16_t gx[kChunk], gy[kChunk], mag[kChunk];
        uint8_t dir[kChunk];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = width - x0 < kChunk ? width - x0 : kChunk;
            size_t i = 0;
#if MVIP_EDGE_SSE2
            i = gradients_sse2<G>(a + x0, m + x0, b + x0, n, gx, gy, mag);
#endif
            for (; i < n; ++i) {
                int vx, vy;
                gradient<G>(a, m, b, x0 + i, vx, vy);
                gx[i] = static_cast<int16_t>(vx);
                gy[i] = static_cast<int16_t>(vy);
                mag[i] = static_cast<int16_t>(isqrt(vx * vx + vy * vy));
            }
            chain_directions(gx, gy, dir, n);
            for (i = 0; i < n; ++i) {
                const unsigned field = table[mag[i] < G::kMax ? mag[i] : G::kMax];
                out[x0 + i] = static_cast<uint8_t>(field << 3 | (field ? dir[i] : 0u));
            }
        }
    }
};

template <class G>
int32_t run_edge(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    mode &= 3;
    static constexpr std::array<std::array<NeighbourhoodKernel, 5>, 4> kernels = {
        neighbourhood_kernels<Edge<G, 0>, kU8>(), neighbourhood_kernels<Edge<G, 1>, kU8>(),
        neighbourhood_kernels<EdgeCode<G>, kU8>(), neighbourhood_kernels<Edge<G, 3>, kU8>()};
    std::unique_ptr<uint8_t[]> table;
    NeighbourhoodParams p;
    if (mode == 2) {
        table = log_table(G::kMax + 1);
        if (!table) return MVERR_MEMORY;
        p.table = table.get();
    }
    Neighbourhood shape;
    shape.border = mode == 1 ? Border::replicate : Border::zero;
    shape.types = kAllTypes;
    shape.fixed_type = MVTYPE_U8;
    return run_neighbourhood(hook, src, dst, shape, kernels[mode], p, false);
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_3x3sobel(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mode) {
    return run_edge<SobelWeights>(hook, src, dst, mode);
}

extern "C" MVIP_API int32_t mvip8_3x3sobela(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mode) {
    return run_edge<AltWeights>(hook, src, dst, mode);
}
