// The Kirsch compass operator on 8-bit values.  The eight neighbours, taken
// clockwise from the top left, are n = A0 A1 A2 M2 B2 B1 B0 M0; the mask of
// compass direction k weighs n[k], n[k+1], n[k+2] (mod 8) by 5 and the other
// five by -3, so direction 0 looks north, 1 north-east, 2 east, and so on
// clockwise.  The largest of the eight responses is kept (the earlier
// direction on ties).  The responses sum to zero, so the largest is never
// negative.
// Modes: 0 max / 15; 1 C - max / 15 clipped at 0 (replicated border);
// 2 log-scaled max in bits 7..3 with the chain direction (2 - k) & 7 in bits
// 2..0; 3 min(max, 255).
#include "ops/neighbourhood.hpp"

#include <array>
#include <cmath>
#include <type_traits>

namespace mvip::ops {
namespace {

constexpr int kMaxResponse = 15 * 255;  // 3825

// trunc(ln(max + 1) 31 / ln 3826) for every response, built once.
const uint8_t* kirsch_log() {
    static const std::array<uint8_t, kMaxResponse + 1> table = [] {
        std::array<uint8_t, kMaxResponse + 1> t{};
        for (int i = 0; i <= kMaxResponse; ++i)
            t[i] = static_cast<uint8_t>(static_cast<int>(std::log(i + 1.0) * 31.0 / 8.24957515) & 31);
        return t;
    }();
    return table.data();
}

// The largest response at x.
inline int strongest(const uint8_t* a, const uint8_t* m, const uint8_t* b, size_t x) {
    const int n[8] = {a[x - 1], a[x], a[x + 1], m[x + 1], b[x + 1], b[x], b[x - 1], m[x - 1]};
    const int sum = n[0] + n[1] + n[2] + n[3] + n[4] + n[5] + n[6] + n[7];
    int r = 8 * (n[0] + n[1] + n[2]) - 3 * sum;
    int best = r;
    for (int k = 0; k < 7; ++k) {
        r += 8 * (n[(k + 3) & 7] - n[k]);
        best = r > best ? r : best;
    }
    return best;
}

// The largest response at x and its direction.  Each response r of
// direction k is ranked by the key 8 r + (7 - k), so that a plain maximum
// finds the largest response and, among equal ones, the earliest direction.
// Keys (|8 r| <= 30600) are held in 16 bits, which vectorizes well.
inline void strongest(const uint8_t* a, const uint8_t* m, const uint8_t* b, size_t x, int& best, int& dir) {
    const int16_t n[8] = {a[x - 1], a[x], a[x + 1], m[x + 1], b[x + 1], b[x], b[x - 1], m[x - 1]};
    const int16_t sum = static_cast<int16_t>(n[0] + n[1] + n[2] + n[3] + n[4] + n[5] + n[6] + n[7]);
    int16_t r = static_cast<int16_t>(8 * (n[0] + n[1] + n[2]) - 3 * sum);
    int16_t key = static_cast<int16_t>(8 * r + 7);
    for (int k = 0; k < 7; ++k) {
        r = static_cast<int16_t>(r + 8 * (n[(k + 3) & 7] - n[k]));
        const int16_t next = static_cast<int16_t>(8 * r + (6 - k));
        key = next > key ? next : key;
    }
    best = key >> 3;
    dir = 7 - (key & 7);
}

template <unsigned Mode>
struct Kirsch {
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams& p) {
        static_assert(std::is_same_v<T, uint8_t>);
        const uint8_t* __restrict a = rows[0];
        const uint8_t* __restrict m = rows[1];
        const uint8_t* __restrict b = rows[2];
        uint8_t* __restrict o = out;
        if constexpr (Mode == 2) {
            // The responses vectorize, the table lookup does not: responses
            // a chunk at a time, then the codes.
            const uint8_t* table = static_cast<const uint8_t*>(p.table);
            constexpr size_t kChunk = 512;
            int16_t best[kChunk];
            uint8_t dir[kChunk];
            for (size_t x0 = 0; x0 < width; x0 += kChunk) {
                const size_t n = width - x0 < kChunk ? width - x0 : kChunk;
                for (size_t i = 0; i < n; ++i) {
                    int r, k;
                    strongest(a, m, b, x0 + i, r, k);
                    best[i] = static_cast<int16_t>(r);
                    dir[i] = static_cast<uint8_t>(k);
                }
                for (size_t i = 0; i < n; ++i) {
                    const unsigned field = table[best[i]];
                    o[x0 + i] = static_cast<uint8_t>(field << 3 | (field ? (2u - dir[i]) & 7u : 0u));
                }
            }
        } else {
            for (size_t x = 0; x < width; ++x) {
                const int best = strongest(a, m, b, x);
                int v;
                if constexpr (Mode == 0) {
                    v = static_cast<uint16_t>(best) / 15;
                } else if constexpr (Mode == 1) {
                    const int q = static_cast<uint16_t>(best) / 15;
                    v = m[x] > q ? m[x] - q : 0;
                } else {
                    v = best < 255 ? best : 255;
                }
                o[x] = static_cast<uint8_t>(v);
            }
        }
    }
};

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_3x3kirsch(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mode) {
    mode &= 3;
    static constexpr std::array<std::array<NeighbourhoodKernel, 5>, 4> kernels = {
        neighbourhood_kernels<Kirsch<0>, kU8>(), neighbourhood_kernels<Kirsch<1>, kU8>(),
        neighbourhood_kernels<Kirsch<2>, kU8>(), neighbourhood_kernels<Kirsch<3>, kU8>()};
    NeighbourhoodParams p;
    if (mode == 2) p.table = kirsch_log();
    Neighbourhood shape;
    shape.border = mode == 1 ? Border::replicate : Border::zero;
    shape.types = kAllTypes;
    shape.fixed_type = MVTYPE_U8;
    return run_neighbourhood(hook, src, dst, shape, kernels[mode], p);
}
