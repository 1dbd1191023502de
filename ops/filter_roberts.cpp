// The Roberts cross on 8-bit values: the two diagonal differences of the
// 2 x 2 block at (x, y) .. (x + 1, y + 1), U the upper line, L the lower:
//   d1 = L[x+1] - U[x]   (towards south-east)
//   d2 = U[x+1] - L[x]   (towards north-east)
//   sum = |d1| + |d2|    (0 .. 510)
// Modes: 0 sum / 2; 1 U[x] - sum / 2 clipped at 0 (replicated border);
// 2 log-scaled sum in bits 7..3 with the chain direction in bits 2..0;
// 3 min(sum, 255).
#include "ops/neighbourhood.hpp"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace mvip::ops {
namespace {

constexpr int kMaxSum = 510;

// Chain-code directions of (gx east, gy north): 0 east, counter-clockwise in
// 45-degree steps, each code taking the sector centred on it.  Sector
// limits have irrational slopes, so the integer tests are exact.  (The same
// coding as the Sobel operators.)
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

template <unsigned Mode>
struct Roberts {
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams& p) {
        static_assert(std::is_same_v<T, uint8_t>);
        const uint8_t* __restrict u = rows[0];
        const uint8_t* __restrict l = rows[1];
        uint8_t* __restrict o = out;
        if constexpr (Mode == 2) {
            // Sums and directions vectorize, the table lookup does not: a
            // chunk at a time.  d1 and d2 are the gradient's components
            // along the two diagonals: east = d1 + d2, north = d2 - d1.
            const uint8_t* table = static_cast<const uint8_t*>(p.table);
            constexpr size_t kChunk = 512;
            int16_t gx[kChunk], gy[kChunk], sum[kChunk];
            uint8_t dir[kChunk];
            for (size_t x0 = 0; x0 < width; x0 += kChunk) {
                const size_t n = width - x0 < kChunk ? width - x0 : kChunk;
                for (size_t i = 0; i < n; ++i) {
                    const size_t x = x0 + i;
                    const int d1 = l[x + 1] - u[x], d2 = u[x + 1] - l[x];
                    gx[i] = static_cast<int16_t>(d1 + d2);
                    gy[i] = static_cast<int16_t>(d2 - d1);
                    sum[i] = static_cast<int16_t>(std::abs(d1) + std::abs(d2));
                }
                chain_directions(gx, gy, dir, n);
                for (size_t i = 0; i < n; ++i) {
                    const unsigned field = table[sum[i]];
                    o[x0 + i] = static_cast<uint8_t>(field << 3 | (field ? dir[i] : 0u));
                }
            }
        } else {
            for (size_t x = 0; x < width; ++x) {
                const int d1 = l[x + 1] - u[x], d2 = u[x + 1] - l[x];
                const int sum = std::abs(d1) + std::abs(d2);
                int v;
                if constexpr (Mode == 0) v = sum >> 1;
                else if constexpr (Mode == 1) v = u[x] > (sum >> 1) ? u[x] - (sum >> 1) : 0;
                else v = sum < 255 ? sum : 255;
                o[x] = static_cast<uint8_t>(v);
            }
        }
    }
};

std::unique_ptr<uint8_t[]> log_table(int entries) {
    std::unique_ptr<uint8_t[]> t(new (std::nothrow) uint8_t[entries]);
    if (!t) return t;
    const double top = std::log(static_cast<double>(entries));
    for (int i = 0; i < entries; ++i)
        t[i] = static_cast<uint8_t>(std::trunc(std::log(i + 1.0) * 31.0 / top + 0.5));
    return t;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_2x2roberts(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    mode &= 3;
    static constexpr std::array<std::array<NeighbourhoodKernel, 5>, 4> kernels = {
        neighbourhood_kernels<Roberts<0>, kU8>(), neighbourhood_kernels<Roberts<1>, kU8>(),
        neighbourhood_kernels<Roberts<2>, kU8>(), neighbourhood_kernels<Roberts<3>, kU8>()};
    std::unique_ptr<uint8_t[]> table;
    NeighbourhoodParams p;
    if (mode == 2) {
        table = log_table(kMaxSum + 1);
        if (!table) return MVERR_MEMORY;
        p.table = table.get();
    }
    Neighbourhood shape;
    shape.size = 2;
    shape.two_by_two = true;
    shape.border = mode == 1 ? Border::replicate : Border::zero;
    shape.types = kAllTypes;
    shape.fixed_type = MVTYPE_U8;
    return run_neighbourhood(hook, src, dst, shape, kernels[mode], p, false);
}
