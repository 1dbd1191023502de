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
template <class Op, unsigned Set, bool Triple = false>
constexpr KernelSet pair_kernels() {
    KernelSet k{};
    if constexpr (Set & kU8) k[0] = adapted<Op, uint8_t, Triple>();
    if constexpr (Set & kU16) k[1] = adapted<Op, uint16_t, Triple>();
    if constexpr (Set & kU32) k[2] = adapted<Op, uint32_t, Triple>();
    if constexpr (Set & kF32) k[3] = adapted<Op, float, Triple>();
    if constexpr (Set & kF64) k[4] = adapted<Op, double, Triple>();
    return k;
}

// Runs a pair (two sources) or triple (three) operation: entry hook, null
// checks, kernel by the first source's type, the frame's multi-source walk.
// `colour` allows images of several pixies (all pixies handled).
int32_t run_sources(mvabort* hook, mvimage* const* sources, int count, mvimage* dst,
                    const KernelSet& kernels, const PairParams& params, bool colour,
                    bool poll_entry = true, uint32_t extra_options = 0, Kernel chosen = nullptr);

}  // namespace mvip::ops
