// Rank filters over the 3 x 3 neighbourhood: minimum, maximum, median, the
// centre-weighted median and the binary median.
//
// Every kernel first reduces the three lines column by column (a column's
// minimum, or its three values sorted) into small working rows, a chunk of
// columns at a time, then combines three neighbouring columns per output
// value.  Each column is reduced once instead of three times, and both
// passes are plain min/max loops the compiler vectorises.  The kernels are
// compiled for the baseline instruction set and, as a clone, for AVX2,
// chosen when the call starts.
#include "ops/cpu.hpp"
#include "ops/neighbourhood.hpp"

#include <algorithm>
#include <cstdlib>

namespace mvip::ops {
namespace {

constexpr size_t kChunk = 512;  // columns per pass: the working rows stay in L1

template <class T>
[[gnu::always_inline]] inline T lo(T a, T b) { return b < a ? b : a; }
template <class T>
[[gnu::always_inline]] inline T hi(T a, T b) { return a < b ? b : a; }
// The middle one of three values.
template <class T>
[[gnu::always_inline]] inline T mid3(T a, T b, T c) { return hi(lo(a, b), lo(hi(a, b), c)); }

struct RankLow {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams&) {
        alignas(32) T col[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            const T* a = rows[0] + x0 - 1;
            const T* m = rows[1] + x0 - 1;
            const T* b = rows[2] + x0 - 1;
            for (size_t i = 0; i < n + 2; ++i) col[i] = lo(lo(a[i], m[i]), b[i]);
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i) o[i] = lo(lo(col[i], col[i + 1]), col[i + 2]);
        }
    }
};

struct RankHigh {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams&) {
        alignas(32) T col[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            const T* a = rows[0] + x0 - 1;
            const T* m = rows[1] + x0 - 1;
            const T* b = rows[2] + x0 - 1;
            for (size_t i = 0; i < n + 2; ++i) col[i] = hi(hi(a[i], m[i]), b[i]);
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i) o[i] = hi(hi(col[i], col[i + 1]), col[i + 2]);
        }
    }
};

// Sorts every column of the chunk: low[i] <= mid[i] <= high[i] are the
// values of column x0 - 1 + i.
template <class T>
[[gnu::always_inline]] inline void sort_columns(const T* const* rows, size_t x0, size_t count,
                                                T* __restrict low, T* __restrict mid,
                                                T* __restrict high) {
    const T* a = rows[0] + x0 - 1;
    const T* m = rows[1] + x0 - 1;
    const T* b = rows[2] + x0 - 1;
    for (size_t i = 0; i < count; ++i) {
        const T p = lo(a[i], m[i]), q = hi(a[i], m[i]);
        const T r = lo(q, b[i]);
        low[i] = lo(p, r);
        mid[i] = hi(p, r);
        high[i] = hi(q, b[i]);
    }
}

// The fifth smallest of nine.  With the three columns sorted, the median is
// the middle one of: the largest column minimum, the middle one of the
// column middles and the smallest column maximum.
struct Median {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams&) {
        alignas(32) T low[kChunk + 2], mid[kChunk + 2], high[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            sort_columns(rows, x0, n + 2, low, mid, high);
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i) {
                const T l = hi(hi(low[i], low[i + 1]), low[i + 2]);
                const T h = lo(lo(high[i], high[i + 1]), high[i + 2]);
                const T m = mid3(mid[i], mid[i + 1], mid[i + 2]);
                o[i] = mid3(l, m, h);
            }
        }
    }
};

// The sixth of eleven: the nine values with the centre C counted three
// times.  With v4 <= v5 <= v6 the fourth to sixth smallest of the nine,
// that is the middle one of v4, C and v6.  Sorting the columns and then
// the rows of the 3 x 3 block gives a block M sorted both ways; the four
// smallest values are one of three corner shapes of it, so
//   v4 = min(max(M02, M10), M11, max(M01, M20))
// and, mirrored, v6 = max(min(M20, M12), M11, min(M21, M02)).
struct MedianWeighted {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams&) {
        alignas(32) T low[kChunk + 2], mid[kChunk + 2], high[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            sort_columns(rows, x0, n + 2, low, mid, high);
            const T* c = rows[1] + x0;
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i) {
                // Row 0 (the column minima): its middle and largest.
                const T l0 = lo(low[i], low[i + 1]), l1 = hi(low[i], low[i + 1]);
                const T m01 = hi(l0, lo(l1, low[i + 2]));
                const T m02 = hi(l1, low[i + 2]);
                // Row 1 (the column middles), sorted.
                const T c0 = lo(mid[i], mid[i + 1]), c1 = hi(mid[i], mid[i + 1]);
                const T m10 = lo(c0, mid[i + 2]);
                const T m11 = hi(c0, lo(c1, mid[i + 2]));
                const T m12 = hi(c1, mid[i + 2]);
                // Row 2 (the column maxima): its smallest and middle.
                const T h0 = lo(high[i], high[i + 1]), h1 = hi(high[i], high[i + 1]);
                const T m20 = lo(h0, high[i + 2]);
                const T m21 = hi(h0, lo(h1, high[i + 2]));
                const T v4 = lo(lo(hi(m02, m10), m11), hi(m01, m20));
                const T v6 = hi(hi(lo(m20, m12), m11), lo(m21, m02));
                o[i] = mid3(v4, c[i], v6);
            }
        }
    }
};

// h = 2^(bits-1) where at least five of the nine values have bit h set,
// else 0: the column counts of set bits, summed over three columns.
struct BinMedian {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const uint32_t bits = p.bits >= 1 && p.bits <= 8 * sizeof(T) ? p.bits : 8 * sizeof(T);
        const T h = static_cast<T>(1u << (bits - 1));
        alignas(32) T count[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            const T* a = rows[0] + x0 - 1;
            const T* m = rows[1] + x0 - 1;
            const T* b = rows[2] + x0 - 1;
            for (size_t i = 0; i < n + 2; ++i)
                count[i] = static_cast<T>(((a[i] & h) != 0) + ((m[i] & h) != 0) + ((b[i] & h) != 0));
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i)
                o[i] = count[i] + count[i + 1] + count[i + 2] >= 5 ? h : T(0);
        }
    }
};

// ---- kernel choice ------------------------------------------------------

template <class Op>
int32_t run_rank(mvabort* hook, mvimage* src, mvimage* dst) {
    static constexpr auto plain = neighbourhood_kernels<Op, kU8U16>();
    static constexpr std::array<NeighbourhoodKernel, 5> wide{avx2_kernel<Op, uint8_t>,
                                                              avx2_kernel<Op, uint16_t>};
    return run_neighbourhood(hook, src, dst, Neighbourhood{}, cpu_has_avx2() ? wide : plain,
                             NeighbourhoodParams{});
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip::ops;

extern "C" {

MVIP_API int32_t mvip8_3x3ranklow(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_rank<RankLow>(hook, src, dst);
}
MVIP_API int32_t mvip8_3x3rankhigh(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_rank<RankHigh>(hook, src, dst);
}
MVIP_API int32_t mvip8_3x3median(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_rank<Median>(hook, src, dst);
}
MVIP_API int32_t mvip8_3x3medianw(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_rank<MedianWeighted>(hook, src, dst);
}
MVIP_API int32_t mvip8_3x3binmedian(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_rank<BinMedian>(hook, src, dst);
}

}  // extern "C"
