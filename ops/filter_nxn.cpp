// Caller-given N x N neighbourhoods: integer and floating-point convolution
// and the threshold against the neighbourhood mean.  N is odd, 3 to 15; the
// border is replicated.
//
// Integer convolution.  r = sum(coef * v) over the neighbourhood; d is the
// divisor (0: the sum of the coefficients, 1 when that is 0 too) and
// q = r / d rounded half away from zero.  The output is clipped to
// [0, maxval]:
//   mode 0: q + offset
//   mode 1: |q| + offset
//   mode 2: q + offset + (maxval + 1) / 2   (a signed response centred)
//   mode 3: C + q + offset                   (the response added to the source)
// For N = 3 the coefficients are compared with the common masks (binomial,
// sharpening, Laplacians, line and edge masks); a match runs a kernel with
// the coefficients built in, which the compiler unrolls and vectorises.  It
// only forms r differently: the division and the modes are the same code.
#include "ops/cpu.hpp"
#include "ops/neighbourhood.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <tuple>
#include <type_traits>

namespace mvip::ops {
namespace {

constexpr size_t kChunk = 512;  // columns per pass: the working rows stay in L1
constexpr uint32_t kMaxN = 15;  // the driver's largest neighbourhood

// Everything the convolution kernels need, reached through params.extra.
struct Convolution {
    uint32_t n = 3;
    const int32_t* coef = nullptr;   // integer form
    const double* coeff = nullptr;   // floating-point form
    int64_t divisor = 1;             // resolved: never 0
    bool magnitude = false;          // mode 1
    bool add_centre = false;         // mode 3
    int32_t negate = 0;              // -1 when d < 0
    double top = 0;                  // maxval
    // Integer finish by shifting, for |d| = 2^shift and |r| <= 2^29:
    // q = (|r| + h) >> shift, all in 32 bits.  `add` is offset (plus the
    // middle of mode 2) limited to [-(R + 2 maxval + 1), R + maxval + 1],
    // R the largest |r|: beyond, the result is 0 or maxval all the same.
    bool by_shift = false;
    int32_t shift = 0;
    int32_t round = 0;               // h = |d| / 2
    int32_t add = 0;
    // Integer finish in double precision, for any d: floor((|r| + h) / |d|)
    // is taken as trunc((|r| + h + 0.5) (1 / |d|)).  (|r| + h + 0.5) / |d|
    // lies at least 0.5 / |d| from any integer, while the two roundings move
    // it by less than (|r| + h + 1) 2^-52 / |d|: exact for |r| + h below
    // 2^50 (here |r| < 2^31, h < 2^39).
    double half = 0.5;               // h + 0.5
    double inverse = 1;              // 1 / |d|
    double base = 0;                 // offset, plus the middle of mode 2
    // Floating-point form.
    double fdivisor = 1;
    double offset_f = 0;
    double middle = 0;               // mode 2: the middle of the value range
};

// ---- the integer finish: division, mode, clipping -------------------------

// out[i] from r[i] (Acc: 16 or 32 bits) and the centre value c[i].
template <class T, class Acc>
[[gnu::always_inline]] inline void finish(const Acc* __restrict r, const T* c, T* __restrict out,
                                          size_t count, const Convolution& cv) {
    const int32_t keep_sign = cv.magnitude ? 0 : -1;
    const int32_t centre = cv.add_centre ? -1 : 0;
    const int32_t negate = cv.negate;
    if (cv.by_shift) {
        const int32_t shift = cv.shift, round = cv.round, add = cv.add;
        const int32_t top = static_cast<int32_t>(cv.top);
        for (size_t i = 0; i < count; ++i) {
            const int32_t v = r[i];
            const int32_t q = ((v < 0 ? -v : v) + round) >> shift;
            const int32_t neg = ((v >> 31) ^ negate) & keep_sign;
            int32_t y = ((q ^ neg) - neg) + add + (int32_t(c[i]) & centre);
            y = y < 0 ? 0 : y;
            out[i] = static_cast<T>(y > top ? top : y);
        }
    } else {
        const double half = cv.half, inverse = cv.inverse, base = cv.base, top = cv.top;
        for (size_t i = 0; i < count; ++i) {
            const int32_t v = r[i];
            const int32_t q = static_cast<int32_t>((std::fabs(double(v)) + half) * inverse);
            const int32_t neg = ((v >> 31) ^ negate) & keep_sign;
            double y = double((q ^ neg) - neg) + double(int32_t(c[i]) & centre) + base;
            y = y < 0 ? 0 : y;
            y = y > top ? top : y;
            out[i] = static_cast<T>(static_cast<int32_t>(y));
        }
    }
}

// The same for 64-bit sums (large coefficients), in integer arithmetic.
template <class T>
inline void finish(const int64_t* r, const T* c, T* out, size_t count, const Convolution& cv) {
    const int64_t d = cv.divisor < 0 ? -cv.divisor : cv.divisor;
    const int64_t top = static_cast<int64_t>(cv.top);
    const int64_t add = static_cast<int64_t>(cv.base);
    for (size_t i = 0; i < count; ++i) {
        const int64_t q = ((r[i] < 0 ? -r[i] : r[i]) + d / 2) / d;
        const bool neg = !cv.magnitude && ((r[i] < 0) != (cv.divisor < 0));
        int64_t y = (neg ? -q : q) + add + (cv.add_centre ? int64_t(c[i]) : 0);
        y = y < 0 ? 0 : y > top ? top : y;
        out[i] = static_cast<T>(y);
    }
}

// ---- integer convolution kernels ----------------------------------------

// Any N and coefficients.  Acc holds every partial sum: int16_t when
// sum(|coef|) maxval fits 15 bits, int32_t when it fits 31, else int64_t.
template <class Acc>
struct ConvolveAny {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const Convolution& cv = *static_cast<const Convolution*>(p.extra);
        const uint32_t n = cv.n, radius = n / 2;
        alignas(32) Acc acc[kChunk];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            for (size_t k = 0; k < count; ++k) acc[k] = 0;
            for (uint32_t i = 0; i < n; ++i)
                for (uint32_t j = 0; j < n; ++j) {
                    const Acc c = static_cast<Acc>(cv.coef[i * n + j]);
                    if (c == 0) continue;
                    const T* s = rows[i] + x0 + j - radius;
                    for (size_t k = 0; k < count; ++k) acc[k] = static_cast<Acc>(acc[k] + c * Acc(s[k]));
                }
            finish(acc, rows[radius] + x0, out + x0, count, cv);
        }
    }
};

// A built-in 3 x 3 mask, row by row.
template <int c0, int c1, int c2, int c3, int c4, int c5, int c6, int c7, int c8>
struct Mask {
    static constexpr int32_t c[9] = {c0, c1, c2, c3, c4, c5, c6, c7, c8};
};

// The sum of a built-in mask: 16-bit lanes for u8 values (|r| <= 16 x 255).
template <class M>
struct ConvolveMask {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        using Acc = std::conditional_t<sizeof(T) == 1, int16_t, int32_t>;
        const Convolution& cv = *static_cast<const Convolution*>(p.extra);
        alignas(32) Acc acc[kChunk];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            const T* a = rows[0] + x0;
            const T* m = rows[1] + x0;
            const T* b = rows[2] + x0;
            for (size_t k = 0; k < count; ++k)
                acc[k] = static_cast<Acc>(M::c[0] * Acc(a[k - 1]) + M::c[1] * Acc(a[k]) + M::c[2] * Acc(a[k + 1]) +
                                          M::c[3] * Acc(m[k - 1]) + M::c[4] * Acc(m[k]) + M::c[5] * Acc(m[k + 1]) +
                                          M::c[6] * Acc(b[k - 1]) + M::c[7] * Acc(b[k]) + M::c[8] * Acc(b[k + 1]));
            finish(acc, m, out + x0, count, cv);
        }
    }
};

// ---- floating-point convolution -----------------------------------------

// r = sum(coef * v) in double precision, row by row; q = r / divisor; the
// modes as above with the float range's middle for mode 2.  Integer images:
// rounded half away from zero and clipped to [0, maxval]; float images:
// stored as computed.
struct ConvolveFloat {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const Convolution& cv = *static_cast<const Convolution*>(p.extra);
        const uint32_t n = cv.n, radius = n / 2;
        const bool add_centre = cv.add_centre;
        const double divisor = cv.fdivisor, offset = cv.offset_f, middle = cv.middle, top = cv.top;
        const bool magnitude = cv.magnitude;
        alignas(32) double acc[kChunk];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            for (size_t k = 0; k < count; ++k) acc[k] = 0;
            for (uint32_t i = 0; i < n; ++i)
                for (uint32_t j = 0; j < n; ++j) {
                    const double c = cv.coeff[i * n + j];
                    if (c == 0) continue;  // outside the neighbourhood, also for inf and NaN
                    const T* s = rows[i] + x0 + j - radius;
                    for (size_t k = 0; k < count; ++k) acc[k] += c * double(s[k]);
                }
            const T* c = rows[radius] + x0;
            T* __restrict o = out + x0;
            for (size_t k = 0; k < count; ++k) {
                double q = acc[k] / divisor;
                q = magnitude ? std::fabs(q) : q;
                // Left to right: q + offset, then the range's middle (mode
                // 2) or the source value (mode 3).
                double y = q + offset + middle + (add_centre ? double(c[k]) : 0.0);
                if constexpr (std::is_integral_v<T>) {
                    y = y > 0 ? y : 0;  // NaN too
                    y = y < top ? y : top;
                    const int32_t t = static_cast<int32_t>(y);
                    o[k] = static_cast<T>(t + (y - double(t) >= 0.5));
                } else {
                    o[k] = static_cast<T>(y);
                }
            }
        }
    }
};

// ---- threshold against the neighbourhood mean ----------------------------

// maxval where v n^2 > sum + offset n^2, else 0.  arg[0]: offset, limited to
// [-maxval - 1, maxval] (beyond, the test goes the same way for every v and
// sum), so every term fits 32 bits.  Column sums first, then sums of N
// columns, both in 16-bit lanes for u8 values (at most 225 x 255).  N is a
// template argument so that each sum is one vectorised pass.
template <uint32_t N>
struct DynamicThreshold {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        using Acc = std::conditional_t<sizeof(T) == 1, uint16_t, int32_t>;
        constexpr uint32_t radius = N / 2;
        constexpr int32_t area = int32_t(N * N);
        const int32_t bias = static_cast<int32_t>(p.arg[0]) * area;
        const T top = static_cast<T>(p.maxval);
        const T* lines[N];
        for (uint32_t i = 0; i < N; ++i) lines[i] = rows[i];
        alignas(32) Acc col[kChunk + 2 * radius];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            for (size_t k = 0; k < count + 2 * radius; ++k) {
                Acc v = 0;
                for (uint32_t i = 0; i < N; ++i) v = static_cast<Acc>(v + lines[i][x0 - radius + k]);
                col[k] = v;
            }
            const T* c = lines[radius] + x0;
            T* __restrict o = out + x0;
            for (size_t k = 0; k < count; ++k) {
                Acc sum = 0;
                for (uint32_t j = 0; j < N; ++j) sum = static_cast<Acc>(sum + col[k + j]);
                o[k] = int32_t(c[k]) * area > int32_t(sum) + bias ? top : T(0);
            }
        }
    }
};

// ---- kernel choice ------------------------------------------------------

using Kernels = std::array<NeighbourhoodKernel, 5>;

template <class Op, unsigned Set>
const Kernels& kernels_for_call() {
    static constexpr Kernels plain = neighbourhood_kernels<Op, Set>();
    static constexpr Kernels wide = [] {
        Kernels k{};
        if constexpr (Set & kU8) k[0] = avx2_kernel<Op, uint8_t>;
        if constexpr (Set & kU16) k[1] = avx2_kernel<Op, uint16_t>;
        if constexpr (Set & kF32) k[3] = avx2_kernel<Op, float>;
        if constexpr (Set & kF64) k[4] = avx2_kernel<Op, double>;
        return k;
    }();
    return cpu_has_avx2() ? wide : plain;
}

// The built-in masks, in the order they are compared.
using Masks = std::tuple<
    Mask<1, 2, 1, 2, 4, 2, 1, 2, 1>,          // binomial lowpass
    Mask<0, -1, 0, -1, 5, -1, 0, -1, 0>,      // four-neighbour sharpening
    Mask<-1, -1, -1, 0, 0, 0, 1, 1, 1>,       // horizontal edges, both signs
    Mask<1, 1, 1, 0, 0, 0, -1, -1, -1>,
    Mask<-1, 0, 1, -1, 0, 1, -1, 0, 1>,       // vertical edges, both signs
    Mask<1, 0, -1, 1, 0, -1, 1, 0, -1>,
    Mask<0, 1, 0, 1, -4, 1, 0, 1, 0>,         // Laplacians, both signs
    Mask<0, -1, 0, -1, 4, -1, 0, -1, 0>,
    Mask<1, 1, 1, 1, -8, 1, 1, 1, 1>,
    Mask<-1, -1, -1, -1, 8, -1, -1, -1, -1>,
    Mask<0, -1, 0, -1, 6, -1, 0, -1, 0>,      // gentler sharpening
    Mask<0, 0, 0, -1, 4, -1, 0, 0, 0>,        // one-axis Laplacians
    Mask<0, -1, 0, 0, 4, 0, 0, -1, 0>>;

template <size_t I = 0>
const Kernels* mask_kernels(const int32_t* coef) {
    if constexpr (I == std::tuple_size_v<Masks>) {
        return nullptr;
    } else {
        using M = std::tuple_element_t<I, Masks>;
        if (std::equal(coef, coef + 9, M::c)) return &kernels_for_call<ConvolveMask<M>, kU8U16>();
        return mask_kernels<I + 1>(coef);
    }
}

bool odd_size(uint32_t n) { return n >= 3 && n <= kMaxN && n % 2 == 1; }

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" {

MVIP_API int32_t mvip8_NxNconvolve(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n,
                                   const int32_t* coef, int32_t offset, int32_t divisor,
                                   uint32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || !coef || !odd_size(n) || mode > 3) return MVERR_USAGE;
    const int64_t maxval = max_value(src->pixfmt);
    int64_t sum = 0;
    double bound = 0;  // R: the largest |r|
    for (uint32_t i = 0; i < n * n; ++i) {
        sum += coef[i];
        bound += std::fabs(double(coef[i])) * double(maxval);
    }
    Convolution cv;
    cv.n = n;
    cv.coef = coef;
    cv.divisor = divisor != 0 ? divisor : sum != 0 ? sum : 1;
    const int64_t d = cv.divisor < 0 ? -cv.divisor : cv.divisor;
    cv.negate = cv.divisor < 0 ? -1 : 0;
    cv.magnitude = mode == 1;
    cv.add_centre = mode == 3;
    cv.top = double(maxval);
    const int64_t base = int64_t{offset} + (mode == 2 ? (maxval + 1) / 2 : 0);
    cv.half = double(d / 2) + 0.5;
    cv.inverse = 1.0 / double(d);
    cv.base = double(base);
    if ((d & (d - 1)) == 0 && d <= (int64_t{1} << 30) && bound <= double(1 << 29)) {
        const int64_t r = static_cast<int64_t>(bound);
        cv.by_shift = true;
        while ((int64_t{1} << cv.shift) < d) ++cv.shift;
        cv.round = static_cast<int32_t>(d / 2);
        cv.add = static_cast<int32_t>(std::clamp(base, -(r + 2 * maxval + 1), r + maxval + 1));
    }
    NeighbourhoodParams p;
    p.extra = &cv;
    Neighbourhood shape;
    shape.size = n;
    const Kernels* kernels = n == 3 ? mask_kernels(coef) : nullptr;
    if (!kernels) {
        if (bound <= double(std::numeric_limits<int16_t>::max()))
            kernels = &kernels_for_call<ConvolveAny<int16_t>, kU8U16>();
        else if (bound <= double(std::numeric_limits<int32_t>::max()))
            kernels = &kernels_for_call<ConvolveAny<int32_t>, kU8U16>();
        else
            kernels = &kernels_for_call<ConvolveAny<int64_t>, kU8U16>();
    }
    return run_neighbourhood(hook, src, dst, shape, *kernels, p, false);
}

MVIP_API int32_t mvip8_NxNconvolvef(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n,
                                    const double* coef, double offset, double divisor,
                                    uint32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || !coef || !odd_size(n) || mode > 3) return MVERR_USAGE;
    if (!std::isfinite(offset) || !std::isfinite(divisor)) return MVERR_USAGE;
    double sum = 0;
    for (uint32_t i = 0; i < n * n; ++i) {
        if (!std::isfinite(coef[i])) return MVERR_USAGE;
        sum += coef[i];
    }
    const bool floats = is_float_type(src->pixfmt.datatype);
    Convolution cv;
    cv.n = n;
    cv.coeff = coef;
    cv.fdivisor = divisor != 0 ? divisor : sum != 0 ? sum : 1;
    cv.magnitude = mode == 1;
    cv.add_centre = mode == 3;
    double middle;
    if (floats) {
        const FloatRange range = float_range(src->pixfmt);
        middle = (double(range.low) + double(range.high)) / 2;
    } else {
        cv.top = max_value(src->pixfmt);
        middle = (cv.top + 1) / 2;
    }
    cv.offset_f = offset;
    cv.middle = mode == 2 ? middle : 0;
    NeighbourhoodParams p;
    p.extra = &cv;
    Neighbourhood shape;
    shape.size = n;
    shape.types = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_FLOAT | MVTYPE_DOUBLE;
    return run_neighbourhood(hook, src, dst, shape,
                             kernels_for_call<ConvolveFloat, kU8 | kU16 | kF32 | kF64>(), p, false);
}

MVIP_API int32_t mvip8_NxNdynthreshold(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n,
                                       int32_t offset) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || !odd_size(n)) return MVERR_USAGE;
    const int64_t maxval = max_value(src->pixfmt);
    NeighbourhoodParams p;
    p.arg[0] = std::clamp<int64_t>(offset, -maxval - 1, maxval);
    Neighbourhood shape;
    shape.size = n;
    const Kernels* kernels;
    switch (n) {
        case 3: kernels = &kernels_for_call<DynamicThreshold<3>, kU8U16>(); break;
        case 5: kernels = &kernels_for_call<DynamicThreshold<5>, kU8U16>(); break;
        case 7: kernels = &kernels_for_call<DynamicThreshold<7>, kU8U16>(); break;
        case 9: kernels = &kernels_for_call<DynamicThreshold<9>, kU8U16>(); break;
        case 11: kernels = &kernels_for_call<DynamicThreshold<11>, kU8U16>(); break;
        case 13: kernels = &kernels_for_call<DynamicThreshold<13>, kU8U16>(); break;
        default: kernels = &kernels_for_call<DynamicThreshold<15>, kU8U16>(); break;
    }
    return run_neighbourhood(hook, src, dst, shape, *kernels, p, false);
}

}  // extern "C"
