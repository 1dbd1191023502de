// The neighbourhood driver: runs N x N (and 2 x 2) filters line by line
// over a ring of source lines extended beyond the window by a replicated
// or a zero border.  Colour images are filtered one pixie plane at a time.
#pragma once

#include "ops/frame.hpp"

namespace mvip::ops {

enum class Border : uint8_t { replicate, zero };

// A neighbourhood kernel computes one output line.  lines[i] points at
// column 0 of source line (y - radius + i), extended so that columns
// -margin .. width - 1 + margin are readable; out receives `width` values.
// For the 2 x 2 shape, lines[0] is line y and lines[1] line y + 1.
using NeighbourhoodKernel = void (*)(const void* const* lines, void* out, size_t width,
                                     const void* params);

struct NeighbourhoodParams {
    uint32_t maxval = 0;      // 2^bits - 1 of the values the kernel sees
    uint32_t bits = 0;
    int64_t arg[4] = {};      // the operation's own values
    const void* table = nullptr;
    const void* extra = nullptr;
};

struct Neighbourhood {
    uint32_t size = 3;        // N: lines and columns of the neighbourhood
    bool two_by_two = false;  // the 2 x 2 shape: lines y, y + 1; columns x, x + 1
    Border border = Border::replicate;
    uint32_t types = MVTYPE_U8 | MVTYPE_U16;  // data types accepted
    uint32_t fixed_type = 0;  // non-zero: values are read and written in this type
    bool colour = true;       // colour images filtered plane by plane
};

// Runs the filter: entry hook, null checks, kernel by data type (kernels
// indexed as type_slot: u8, u16, u32, float, double), one walk per plane.
// `params` is completed with maxval and bits of the type the kernel sees.
int32_t run_neighbourhood(mvabort* hook, mvimage* src, mvimage* dst, const Neighbourhood& shape,
                          const std::array<NeighbourhoodKernel, 5>& kernels,
                          NeighbourhoodParams params, bool poll_entry = true);

template <class Op, class T>
void neighbourhood_kernel(const void* const* lines, void* out, size_t width, const void* params) {
    Op::template apply<T>(reinterpret_cast<const T* const*>(lines), static_cast<T*>(out), width,
                          *static_cast<const NeighbourhoodParams*>(params));
}
template <class Op, unsigned Set>
constexpr std::array<NeighbourhoodKernel, 5> neighbourhood_kernels() {
    std::array<NeighbourhoodKernel, 5> k{};
    if constexpr (Set & kU8) k[0] = neighbourhood_kernel<Op, uint8_t>;
    if constexpr (Set & kU16) k[1] = neighbourhood_kernel<Op, uint16_t>;
    if constexpr (Set & kU32) k[2] = neighbourhood_kernel<Op, uint32_t>;
    if constexpr (Set & kF32) k[3] = neighbourhood_kernel<Op, float>;
    if constexpr (Set & kF64) k[4] = neighbourhood_kernel<Op, double>;
    return k;
}

// The same kernel compiled for AVX2, for processors that have it (the
// caller picks per call with cpu_has_avx2(); results are identical).
template <class Op, class T>
__attribute__((target("avx2"))) void avx2_kernel(const void* const* lines, void* out, size_t width,
                                                 const void* params) {
    Op::template apply<T>(reinterpret_cast<const T* const*>(lines), static_cast<T*>(out), width,
                          *static_cast<const NeighbourhoodParams*>(params));
}

}  // namespace mvip::ops
