// Pair and triple operations: parameter block, kernel adapters and the
// runner.  A pair kernel reads the lines a and b and writes `out`, which
// may be b's own line (in place); a triple kernel reads a, b, c likewise.
#pragma once

#include "ops/frame.hpp"

namespace mvip::ops {

struct PairParams {
    uint32_t maxval = 0;     // M = 2^bits - 1 of the first source
    uint32_t half = 0;       // H = 2^(bits - 1)
    uint32_t mid = 0;        // M/2 as the integer half (M - 1) / 2
    double lo = 0, hi = 1;   // float images: the format's range
    uint32_t mode = 0;
    uint64_t u = 0;          // an unsigned argument (threshold, scale)
    int32_t coef[5] = {};    // integer coefficients
    double fcoef[5] = {};    // double coefficients
    const void* key = nullptr;
    uint32_t pixies = 1;
};

PairParams pair_params_for(const mvimage* first);

template <class Op, class T>
void pair_kernel(void* const* lines, size_t count, int32_t, int32_t, const void* params) {
    Op::template apply<T>(static_cast<const T*>(lines[0]), static_cast<const T*>(lines[1]),
                          static_cast<T*>(lines[kOutLine]), count,
                          *static_cast<const PairParams*>(params));
}
template <class Op, class T>
void triple_kernel(void* const* lines, size_t count, int32_t, int32_t, const void* params) {
    Op::template apply<T>(static_cast<const T*>(lines[0]), static_cast<const T*>(lines[1]),
                          static_cast<const T*>(lines[2]), static_cast<T*>(lines[kOutLine]), count,
                          *static_cast<const PairParams*>(params));
}

template <class Op, class T, bool Triple>
constexpr Kernel adapted() {
    if constexpr (Triple) return triple_kernel<Op, T>;
    else return pair_kernel<Op, T>;
}
// The adapters compiled for AVX2 and AVX-512, as typed_kernel_avx2 and
// typed_kernel_avx512 are.  The AVX-512 form keeps to 256-bit vectors (with
// the AVX-512 compares into masks): with two sources and a destination
// streaming from memory, 512-bit loads ran markedly slower on the AMD Zen
// processor we measured (u16 pairs 1.6 times the time), 256-bit ones did not.
// g++ takes that width in the target attribute; clang has no such option
// there (it would warn and drop the whole attribute), so clang builds get it
// for the pair files from the build instead (-mprefer-vector-width=256).
#if defined(__clang__)
#define MVIP_TARGET_AVX512_PAIRS "avx512f,avx512bw,avx512vl,avx2"
#else
#define MVIP_TARGET_AVX512_PAIRS "avx512f,avx512bw,avx512vl,avx2,prefer-vector-width=256"
#endif
template <class Op, class T, bool Triple>
__attribute__((target("avx2"), flatten)) void adapted_avx2(void* const* lines, size_t count,
                                                           int32_t x, int32_t y, const void* params) {
    in_two_parts<T, PairParams>(lines, count, params, [&](void* const* l, size_t n) {
        if constexpr (Triple) triple_kernel<Op, T>(l, n, x, y, params);
        else pair_kernel<Op, T>(l, n, x, y, params);
    });
}
template <class Op, class T, bool Triple>
__attribute__((target(MVIP_TARGET_AVX512_PAIRS), flatten)) void adapted_avx512(
    void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    in_two_parts<T, PairParams>(lines, count, params, [&](void* const* l, size_t n) {
        if constexpr (Triple) triple_kernel<Op, T>(l, n, x, y, params);
        else pair_kernel<Op, T>(l, n, x, y, params);
    });
}
template <class Op, bool Triple>
struct PairForms {
    template <class T, CpuLevel L>
    static constexpr Kernel get() {
        if constexpr (L == CpuLevel::avx512) return adapted_avx512<Op, T, Triple>;
        else if constexpr (L == CpuLevel::avx2) return adapted_avx2<Op, T, Triple>;
        else return adapted<Op, T, Triple>();
    }
};
template <class Op, unsigned Set, bool Triple = false>
constexpr KernelSet pair_kernels() {
    return set_of<PairForms<Op, Triple>, Set, CpuLevel::plain>();
}
template <class Op, unsigned Set, bool Triple = false>
constexpr LevelKernels pair_kernel_levels() {
    return levels_of<PairForms<Op, Triple>, Set>();
}

// Runs a pair (two sources) or triple (three) operation: entry hook, null
// checks, kernel by the first source's type, the frame's multi-source walk.
// `colour` allows images of several pixies (all pixies handled).
int32_t run_sources(mvabort* hook, mvimage* const* sources, int count, mvimage* dst,
                    const KernelSet& kernels, const PairParams& params, bool colour,
                    bool poll_entry = true, uint32_t extra_options = 0, Kernel chosen = nullptr);

}  // namespace mvip::ops
