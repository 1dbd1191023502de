// Smoothing and sharpening over the 3 x 3 neighbourhood: the binomial
// lowpass, the four-neighbour Laplacian sharpening, the mean over similar
// neighbours and the salt remover.
//
// The loops run branch-free over x so the compiler vectorises them; the
// kernels are compiled for the baseline instruction set and, as a clone,
// for AVX2, chosen when the call starts.
#include "ops/cpu.hpp"
#include "ops/neighbourhood.hpp"

#include <algorithm>
#include <cstdlib>
#include <type_traits>

namespace mvip::ops {
namespace {

constexpr size_t kChunk = 512;  // columns per pass: the working rows stay in L1

// The larger of two values, by value (a selected reference would make a
// conditional load, which keeps a loop from vectorising).
template <class T>
[[gnu::always_inline]] inline T hi(T a, T b) { return a < b ? b : a; }

// (A0 + 2A1 + A2 + 2M0 + 4C + 2M2 + B0 + 2B1 + B2 + 8) >> 4, as a vertical
// 1-2-1 sum per column, then a horizontal one.  The largest sum is 16 maxval
// + 8: 16-bit lanes for u8 values, 32-bit for u16.
struct LowpassBinomial {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams&) {
        using Acc = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
        alignas(32) Acc col[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t n = std::min(kChunk, width - x0);
            const T* a = rows[0] + x0 - 1;
            const T* m = rows[1] + x0 - 1;
            const T* b = rows[2] + x0 - 1;
            for (size_t i = 0; i < n + 2; ++i)
                col[i] = static_cast<Acc>(Acc(a[i]) + Acc(2 * Acc(m[i])) + Acc(b[i]));
            T* o = out + x0;
            for (size_t i = 0; i < n; ++i)
                o[i] = static_cast<T>(Acc(col[i] + 2 * col[i + 1] + col[i + 2] + 8) >> 4);
        }
    }
};

// clamp(5C - A1 - M0 - M2 - B1, 0, maxval).
struct SharpenLaplace {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* __restrict out, size_t width,
                                             const NeighbourhoodParams& p) {
        using Acc = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
        const T* a = rows[0];
        const T* m = rows[1];
        const T* b = rows[2];
        const Acc top = static_cast<Acc>(p.maxval);
        for (size_t x = 0; x < width; ++x) {
            Acc r = static_cast<Acc>(5 * Acc(m[x]) - Acc(a[x]) - Acc(m[x - 1]) - Acc(m[x + 1]) -
                                     Acc(b[x]));
            r = r < 0 ? Acc(0) : r;
            out[x] = static_cast<T>(r > top ? top : r);
        }
    }
};

// The rounded mean (sum + n/2) / n of the centre and the n - 1 neighbours
// within the tolerance t of it.  arg[0]: t, limited to maxval (a larger
// tolerance accepts every neighbour all the same).  Differences and tests
// stay in the values' own width, sums in 16-bit lanes for u8 values (below
// 9 x 255 + 5).
//
// The quotient is taken in single precision: sum + n/2 < 2^20 and n <= 9,
// so a quotient that is not whole lies at least 1/9 from the next integer,
// far more than half a unit in the last place (at most 2^-5 below 2^20):
// the correctly rounded float quotient truncates to the exact one.
template <class T, class Acc>
[[gnu::always_inline]] inline void take_if_near(T v, T c, T t, Acc& sum, Acc& count) {
    const T d = v > c ? T(v - c) : T(c - v);
    const bool take = d <= t;
    sum = static_cast<Acc>(sum + (take ? Acc(v) : Acc(0)));
    count = static_cast<Acc>(count + take);
}

struct LowpassSimilar {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* __restrict out, size_t width,
                                             const NeighbourhoodParams& p) {
        using Acc = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
        const T t = static_cast<T>(p.arg[0]);
        const T* a = rows[0];
        const T* m = rows[1];
        const T* b = rows[2];
        for (size_t x = 0; x < width; ++x) {
            const T c = m[x];
            Acc sum = c, count = 1;
            take_if_near(a[x - 1], c, t, sum, count);
            take_if_near(a[x], c, t, sum, count);
            take_if_near(a[x + 1], c, t, sum, count);
            take_if_near(m[x - 1], c, t, sum, count);
            take_if_near(m[x + 1], c, t, sum, count);
            take_if_near(b[x - 1], c, t, sum, count);
            take_if_near(b[x], c, t, sum, count);
            take_if_near(b[x + 1], c, t, sum, count);
            const int32_t num = int32_t(sum) + int32_t(count / 2);
            out[x] = static_cast<T>(static_cast<int32_t>(float(num) / float(int32_t(count))));
        }
    }
};

// Salt remover.  arg[0]: threshold t, limited to maxval (C > n + t cannot
// hold for a larger one either); arg[1]: 8 tests all eight neighbours and
// puts their rounded mean in place of C; anything else tests the four edge
// neighbours and uses their rounded mean.  C exceeds every tested n by more
// than t when it exceeds their largest: the eight neighbours' largest and
// sum come from column maxima and sums.  16-bit lanes for u8 values.
struct LowpassSalt {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        using Acc = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
        const Acc t = static_cast<Acc>(p.arg[0]);
        if (p.arg[1] == 8) {
            alignas(32) T high[kChunk + 2];
            alignas(32) Acc sum[kChunk + 2];
            for (size_t x0 = 0; x0 < width; x0 += kChunk) {
                const size_t n = std::min(kChunk, width - x0);
                const T* a = rows[0] + x0 - 1;
                const T* m = rows[1] + x0 - 1;
                const T* b = rows[2] + x0 - 1;
                for (size_t i = 0; i < n + 2; ++i) {
                    high[i] = hi(hi(a[i], m[i]), b[i]);
                    sum[i] = static_cast<Acc>(Acc(a[i]) + Acc(m[i]) + Acc(b[i]));
                }
                T* o = out + x0;
                for (size_t i = 0; i < n; ++i) {
                    const Acc c = m[i + 1];
                    const Acc top = hi(hi(high[i], high[i + 2]), hi(a[i + 1], b[i + 1]));
                    const Acc mean = static_cast<Acc>((sum[i] + sum[i + 1] + sum[i + 2] - c + 4) >> 3);
                    o[i] = static_cast<T>(top + t < c ? mean : c);
                }
            }
        } else {
            const T* a = rows[0];
            const T* m = rows[1];
            const T* b = rows[2];
            for (size_t x = 0; x < width; ++x) {
                const Acc c = m[x];
                const Acc top = hi(hi(a[x], b[x]), hi(m[x - 1], m[x + 1]));
                const Acc mean = static_cast<Acc>((Acc(a[x]) + Acc(b[x]) + Acc(m[x - 1]) + Acc(m[x + 1]) + 2) >> 2);
                out[x] = static_cast<T>(top + t < c ? mean : c);
            }
        }
    }
};

// ---- kernel choice ------------------------------------------------------

template <class Op>
int32_t run_smooth(mvabort* hook, mvimage* src, mvimage* dst, NeighbourhoodParams p = {}) {
    static constexpr auto plain = neighbourhood_kernels<Op, kU8U16>();
    static constexpr std::array<NeighbourhoodKernel, 5> wide{avx2_kernel<Op, uint8_t>,
                                                              avx2_kernel<Op, uint16_t>};
    return run_neighbourhood(hook, src, dst, Neighbourhood{}, cpu_has_avx2() ? wide : plain, p);
}

// A tolerance or threshold limited to the source's maxval (0 for a null
// source: the driver answers for that).
int64_t limited(const mvimage* src, uint32_t v) {
    return src ? std::min<int64_t>(v, max_value(src->pixfmt)) : 0;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip::ops;

extern "C" {

MVIP_API int32_t mvip8_3x3lowpassf(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_smooth<LowpassBinomial>(hook, src, dst);
}

MVIP_API int32_t mvip8_3x3sharpenl(mvabort* hook, mvimage* src, mvimage* dst) {
    return run_smooth<SharpenLaplace>(hook, src, dst);
}

MVIP_API int32_t mvip8_3x3lowpassmear(mvabort* hook, mvimage* src, mvimage* dst,
                                      uint32_t tolerance) {
    NeighbourhoodParams p;
    p.arg[0] = limited(src, tolerance);
    return run_smooth<LowpassSimilar>(hook, src, dst, p);
}

MVIP_API int32_t mvip8_3x3lowpasssalt(mvabort* hook, mvimage* src, mvimage* dst,
                                      uint32_t threshold, uint32_t neighbours) {
    NeighbourhoodParams p;
    p.arg[0] = limited(src, threshold);
    p.arg[1] = neighbours == 8 ? 8 : 4;
    return run_smooth<LowpassSalt>(hook, src, dst, p);
}

}  // extern "C"
