// Operations across the pixies of one pixel: copy one pixie into others,
// minimum, maximum and average, and the colour threshold.
#include "ops/bounded.hpp"
#include "ops/point.hpp"

#include <bit>

namespace mvip::ops {
namespace {

// Runs `per_pixel(T* pixel, pixies)` over every pixel of a line; pixels of
// 2, 3 and 4 pixies get their own instantiation so the inner loop is fixed.
template <class T, class F>
inline void each_pixel(T* v, size_t n, uint32_t pixies, F&& per_pixel) {
    auto run = [&](auto fixed) {
        constexpr uint32_t k = decltype(fixed)::value;
        for (size_t i = 0; i + k <= n; i += k) per_pixel(v + i, k);
    };
    switch (pixies) {
        case 2: run(std::integral_constant<uint32_t, 2>{}); break;
        case 3: run(std::integral_constant<uint32_t, 3>{}); break;
        case 4: run(std::integral_constant<uint32_t, 4>{}); break;
        default:
            for (size_t i = 0; i + pixies <= n; i += pixies) per_pixel(v + i, pixies);
    }
}

struct PixieCopy {  // u[0] from, u[1] to-mask
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const uint32_t from = static_cast<uint32_t>(p.u[0]);
        const uint32_t to = static_cast<uint32_t>(p.u[1]);
        each_pixel(v, n, p.pixies, [&](T* px, uint32_t k) {
            const T value = px[from];
            for (uint32_t j = 0; j < k; ++j)
                if (to >> j & 1u) px[j] = value;
        });
    }
};

struct PixieMin {
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        each_pixel(v, n, p.pixies, [](T* px, uint32_t k) {
            T m = px[0];
            for (uint32_t j = 1; j < k; ++j) m = px[j] < m ? px[j] : m;
            for (uint32_t j = 0; j < k; ++j) px[j] = m;
        });
    }
};

struct PixieMax {
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        each_pixel(v, n, p.pixies, [](T* px, uint32_t k) {
            T m = px[0];
            for (uint32_t j = 1; j < k; ++j) m = px[j] > m ? px[j] : m;
            for (uint32_t j = 0; j < k; ++j) px[j] = m;
        });
    }
};

struct PixieAverage {  // integers: sum / count, rounded down; floats exact
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        each_pixel(v, n, p.pixies, [](T* px, uint32_t k) {
            using Sum = std::conditional_t<std::is_floating_point_v<T>, double, uint64_t>;
            Sum sum = 0;
            for (uint32_t j = 0; j < k; ++j) sum += px[j];
            const T mean = static_cast<T>(sum / static_cast<Sum>(k));
            for (uint32_t j = 0; j < k; ++j) px[j] = mean;
        });
    }
};

struct ColorRange {
    uint32_t low[3], high[3], value[3];
};

struct Threshold3 {  // table: ColorRange
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const ColorRange& r = *static_cast<const ColorRange*>(p.table);
        each_pixel(v, n, p.pixies, [&](T* px, uint32_t) {
            bool inside = true;
            for (int j = 0; j < 3; ++j) inside &= px[j] >= r.low[j] && px[j] <= r.high[j];
            if (inside)
                for (int j = 0; j < 3; ++j) px[j] = static_cast<T>(r.value[j]);
        });
    }
};

template <class Op, unsigned Set>
int32_t pixie_op(mvabort* hook, mvimage* src, mvimage* dst, PointParams p, const RunList* runs) {
    static constexpr LevelKernels kernels_levels = kernel_levels<Op, Set>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    return point_run(hook, src, dst, kernels, p, false, 0, runs);
}

// The checks of pixiecopy, made before anything else.
bool pixiecopy_args(const mvimage* src, const mvimage* dst, uint32_t from, uint32_t to) {
    if (!src || !dst) return false;
    const uint32_t pixies = src->pixfmt.pixies;
    return from < pixies && (to & all_pixies_mask(pixies)) != 0 && pixies >= 2;
}

}  // namespace

namespace bounded {
int32_t pixiecopy(mvabort* hook, mvimage* src, mvimage* dst, uint32_t from, uint32_t to, R runs) {
    if (!pixiecopy_args(src, dst, from, to)) return MVERR_USAGE;
    PointParams p = params_for(src);
    p.u[0] = from, p.u[1] = to & all_pixies_mask(src->pixfmt.pixies);
    return pixie_op<PixieCopy, kEvery>(hook, src, dst, p, runs);
}
int32_t pixiemin(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    return pixie_op<PixieMin, kEvery>(hook, src, dst, src ? params_for(src) : PointParams{}, runs);
}
int32_t pixiemax(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    return pixie_op<PixieMax, kEvery>(hook, src, dst, src ? params_for(src) : PointParams{}, runs);
}
int32_t pixieave(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    return pixie_op<PixieAverage, kEvery>(hook, src, dst, src ? params_for(src) : PointParams{},
                                          runs);
}
int32_t pixthreshold3(mvabort* hook, mvimage* src, mvimage* dst, const uint32_t low[3],
                      const uint32_t high[3], const uint32_t value[3], R runs) {
    if (!src || !dst || !low || !high || !value) return MVERR_USAGE;
    if (src->pixfmt.pixies < 3) return MVERR_COLORS;
    ColorRange range;
    for (int j = 0; j < 3; ++j) range.low[j] = low[j], range.high[j] = high[j], range.value[j] = value[j];
    PointParams p = params_for(src);
    p.table = &range;
    static constexpr LevelKernels kernels_levels = kernel_levels<Threshold3, kU8U16>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    return point_run(hook, src, dst, kernels, p, false, 0, runs);
}
}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixiecopy(mvabort* hook, mvimage* src, mvimage* dst,
                                            uint32_t from, uint32_t to) {
    // The arguments are checked before the hook is asked.
    if (!pixiecopy_args(src, dst, from, to)) return MVERR_USAGE;
    return whole<bounded::pixiecopy>(hook, src, dst, from, to);
}
extern "C" MVIP_API int32_t mvip8_pixiemin(mvabort* hook, mvimage* src, mvimage* dst) {
    return whole<bounded::pixiemin>(hook, src, dst);
}
extern "C" MVIP_API int32_t mvip8_pixiemax(mvabort* hook, mvimage* src, mvimage* dst) {
    return whole<bounded::pixiemax>(hook, src, dst);
}
extern "C" MVIP_API int32_t mvip8_pixieave(mvabort* hook, mvimage* src, mvimage* dst) {
    return whole<bounded::pixieave>(hook, src, dst);
}
extern "C" MVIP_API int32_t mvip8_pixthreshold3(mvabort* hook, mvimage* src, mvimage* dst,
                                                const uint32_t low[3], const uint32_t high[3],
                                                const uint32_t value[3]) {
    return whole<bounded::pixthreshold3>(hook, src, dst, low, high, value);
}
