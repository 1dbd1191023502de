// The weighted 3 x 3 mean: the eight neighbours plus the centre counted w
// times, rounded, divided by w + 8.
#include "ops/neighbourhood.hpp"

namespace mvip::ops {
namespace {

template <class Acc>
struct Lowpass {  // arg[0]: centre weight w
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams& p) {
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
            out[x] = static_cast<T>(r > top ? top : r < 0 ? 0 : r);
        }
    }
};

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_3x3lowpass(mvabort* hook, mvimage* src, mvimage* dst,
                                             int32_t weight) {
    if (const int32_t stop = hook_at_entry(hook)) return stop;
    if (!src || !dst) return MVERR_USAGE;
    // Signed 32-bit arithmetic unless (w + 8) x maxval needs more.
    if (weight + int64_t{8} <= 0) return MVERR_USAGE;
    const bool wide = (int64_t{weight} + 8) * int64_t{max_value(src->pixfmt)} > INT32_MAX;
    static constexpr auto narrow_kernels = neighbourhood_kernels<Lowpass<int32_t>, kU8U16>();
    static constexpr auto wide_kernels = neighbourhood_kernels<Lowpass<int64_t>, kU8U16>();
    NeighbourhoodParams p;
    p.arg[0] = weight;
    return run_neighbourhood(hook, src, dst, Neighbourhood{}, wide ? wide_kernels : narrow_kernels, p,
                             false);
}
