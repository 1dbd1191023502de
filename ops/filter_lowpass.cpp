// The weighted 3 x 3 mean: the eight neighbours plus the centre counted w
// times, rounded, divided by w + 8 (signed, truncating toward zero) and
// clipped to maxval.  Only the top is clipped: a negative weight can make
// the quotient negative, which then keeps its low `bits` bits (it wraps
// within the significant bits, as integer results that are not clamped do).
//
// N = ring + w C + (w + 8) / 2 is formed from column sums (each column
// summed once), then divided without an integer division instruction,
// which would keep the loop scalar:
// - in 16-bit lanes when 0 <= N <= 65535 can be guaranteed, by a multiply
//   high with a magic number that is exact for every N the image can give;
// - in single precision when N < 2^22;
// - otherwise by integer division in 32 or 64 bits.
// The kernels are compiled for the baseline instruction set and, as a
// clone, for AVX2, chosen when the call starts.
#include "ops/cpu.hpp"
#include "ops/neighbourhood.hpp"

#include <algorithm>
#include <cstdlib>
#include <type_traits>

namespace mvip::ops {
namespace {

constexpr size_t kChunk = 512;  // columns per pass: the working rows stay in L1

// Column sums a + m + b of columns x0 - 1 .. x0 + count.
template <class Acc, class T>
[[gnu::always_inline]] inline void column_sums(const T* const* rows, size_t x0, size_t count,
                                               Acc* __restrict col) {
    const T* a = rows[0] + x0 - 1;
    const T* m = rows[1] + x0 - 1;
    const T* b = rows[2] + x0 - 1;
    for (size_t i = 0; i < count + 2; ++i) col[i] = static_cast<Acc>(Acc(a[i]) + Acc(m[i]) + Acc(b[i]));
}

// 16-bit lanes.  arg[0]: w >= 0; arg[1]: the magic multiplier m < 2^16;
// arg[2]: the shift s, so that N / (w + 8) = ((N m) >> 16) >> s (Shift
// false: s is 0, which keeps the whole loop in 16-bit lanes).  Sums wrap
// modulo 2^16; N itself lies in 0 .. 65535, so it comes out exact.
template <bool Shift>
struct LowpassMagic {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const uint16_t weight_less_one = static_cast<uint16_t>(p.arg[0] - 1);
        const uint16_t round = static_cast<uint16_t>((p.arg[0] + 8) / 2);
        const uint16_t magic = static_cast<uint16_t>(p.arg[1]);
        const unsigned shift = static_cast<unsigned>(p.arg[2]);
        alignas(32) uint16_t col[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            column_sums(rows, x0, count, col);
            const T* c = rows[1] + x0;
            T* o = out + x0;
            for (size_t i = 0; i < count; ++i) {
                const uint16_t n = static_cast<uint16_t>(
                    col[i] + col[i + 1] + col[i + 2] + uint16_t(weight_less_one * uint32_t(c[i])) + round);
                // Both factors 16 bits wide: a multiply high.
                const uint16_t q = static_cast<uint16_t>((uint32_t(n) * uint32_t(magic)) >> 16);
                o[i] = static_cast<T>(Shift ? q >> shift : q);
            }
        }
    }
};

// Single precision: q = trunc((N + 0.5) (1 / (w + 8))), for a negative N
// (w < 0) trunc((N - 0.5) (1 / (w + 8))).  (N +- 0.5) / (w + 8) lies at
// least 0.5 / (w + 8) from any integer, on the side of zero that N / (w + 8)
// truncates to, and the two roundings move it by less than
// (|N| + 0.5) 2^-23 / (w + 8): exact for |N| + 0.5 < 2^22.  arg[0]: w.
struct LowpassFloat {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const int32_t weight_less_one = static_cast<int32_t>(p.arg[0] - 1);
        const int32_t round = static_cast<int32_t>((p.arg[0] + 8) / 2);
        const float inverse = 1.0f / float(p.arg[0] + 8);
        const int32_t top = static_cast<int32_t>(p.maxval);
        alignas(32) int32_t col[kChunk + 2];
        for (size_t x0 = 0; x0 < width; x0 += kChunk) {
            const size_t count = std::min(kChunk, width - x0);
            column_sums(rows, x0, count, col);
            const T* c = rows[1] + x0;
            T* o = out + x0;
            for (size_t i = 0; i < count; ++i) {
                const int32_t n = col[i] + col[i + 1] + col[i + 2] + weight_less_one * int32_t(c[i]) + round;
                const int32_t q = static_cast<int32_t>((float(n) + (n < 0 ? -0.5f : 0.5f)) * inverse);
                o[i] = static_cast<T>(q > top ? top : q & top);
            }
        }
    }
};

// Integer division in Acc (32 or 64 bits).  arg[0]: w.
template <class Acc>
struct LowpassDivide {
    template <class T>
    [[gnu::always_inline]] static void apply(const T* const* rows, T* out, size_t width,
                                             const NeighbourhoodParams& p) {
        const T* a = rows[0];
        const T* m = rows[1];
        const T* b = rows[2];
        const Acc w = static_cast<Acc>(p.arg[0]);
        const Acc div = w + 8;
        const Acc round = div / 2;
        const Acc top = static_cast<Acc>(p.maxval);
        for (size_t x = 0; x < width; ++x) {
            const Acc ring = Acc(a[x - 1]) + a[x] + a[x + 1] + m[x - 1] + m[x + 1] + b[x - 1] +
                             b[x] + b[x + 1];
            const Acc r = (ring + w * Acc(m[x]) + round) / div;
            out[x] = static_cast<T>(r > top ? top : r & top);
        }
    }
};

// ---- kernel choice ------------------------------------------------------

using Kernels = std::array<NeighbourhoodKernel, 5>;

template <class Op>
const Kernels& kernels_for_call() {
    static constexpr Kernels plain = neighbourhood_kernels<Op, kU8U16>();
    static constexpr Kernels wide{avx2_kernel<Op, uint8_t>, avx2_kernel<Op, uint16_t>};
    return cpu_has_avx2() ? wide : plain;
}

// The magic multiplier for N / d in 16-bit lanes, d >= 1: with
// m = ceil(2^(16+s) / d) and e = m d - 2^(16+s), floor(N m / 2^(16+s)) =
// floor(N / d) for every N with N e < 2^(16+s).  The smallest s that serves
// every N up to `largest` with m < 2^16; false when there is none.
bool magic_for(uint32_t d, uint32_t largest, int64_t& magic, int64_t& shift) {
    for (uint32_t s = 0; s < 16; ++s) {
        const uint64_t power = uint64_t{1} << (16 + s);
        const uint64_t m = (power + d - 1) / d;
        if (m >= (1u << 16)) return false;
        if (uint64_t{largest} * (m * d - power) < power) {
            magic = static_cast<int64_t>(m);
            shift = s;
            return true;
        }
    }
    return false;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_3x3lowpass(mvabort* hook, mvimage* src, mvimage* dst,
                                             int32_t weight) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    if (weight + int64_t{8} <= 0) return MVERR_USAGE;
    const int64_t div = int64_t{weight} + 8;
    // The largest N: every value maxval, plus the rounding term.
    const int64_t largest = div * int64_t{max_value(src->pixfmt)} + div / 2;
    NeighbourhoodParams p;
    p.arg[0] = weight;
    const Kernels* kernels;
    if (weight >= 0 && largest <= 0xFFFF && magic_for(uint32_t(div), uint32_t(largest), p.arg[1], p.arg[2]))
        kernels = p.arg[2] == 0 ? &kernels_for_call<LowpassMagic<false>>() : &kernels_for_call<LowpassMagic<true>>();
    else if (largest < (int64_t{1} << 22) - 1)
        kernels = &kernels_for_call<LowpassFloat>();
    else if (largest <= INT32_MAX)
        kernels = &kernels_for_call<LowpassDivide<int32_t>>();
    else
        kernels = &kernels_for_call<LowpassDivide<int64_t>>();
    return run_neighbourhood(hook, src, dst, Neighbourhood{}, *kernels, p, false);
}
