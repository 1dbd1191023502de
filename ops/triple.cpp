// Three-source operations: weighted blend and per-pixel normalisation.
// The result is formed in the third source's line.
#include "ops/pair.hpp"

namespace mvip::ops {
namespace {

struct Blend {  // a, weight w, c: min(M, ((M - w) c) / M + (a w) / M)
    template <class T>
    static void apply(const T* a, const T* w, const T* c, T* out, size_t n, const PairParams& p) {
        const uint64_t m = p.maxval ? p.maxval : 1;
        for (size_t i = 0; i < n; ++i) {
            const uint64_t weight = w[i] > m ? m : w[i];
            const uint64_t r = ((m - weight) * c[i]) / m + (uint64_t{a[i]} * weight) / m;
            out[i] = static_cast<T>(r > m ? m : r);
        }
    }
};

struct Normalize {  // low, high, value; u: scale
    template <class T>
    static void apply(const T* l, const T* h, const T* v, T* out, size_t n, const PairParams& p) {
        const uint64_t m = p.maxval;
        for (size_t i = 0; i < n; ++i) {
            if (v[i] < l[i]) {
                out[i] = 0;
            } else if (l[i] < h[i]) {
                const uint64_t r = (uint64_t(v[i] - l[i]) * p.u) / uint64_t(h[i] - l[i]);
                out[i] = static_cast<T>(r > m ? m : r);
            } else {
                out[i] = static_cast<T>(m);
            }
        }
    }
};

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pairblend(mvabort* hook, mvimage* a, mvimage* weight, mvimage* c,
                                            mvimage* dst) {
    static constexpr LevelKernels kernels_levels = pair_kernel_levels<Blend, kU8U16, true>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    mvimage* sources[3] = {a, weight, c};
    return run_sources(hook, sources, 3, dst, kernels, a ? pair_params_for(a) : PairParams{}, true);
}

extern "C" MVIP_API int32_t mvip8_tripletnormalize(mvabort* hook, mvimage* low, mvimage* high,
                                                   mvimage* value, mvimage* dst, uint32_t scale) {
    static constexpr LevelKernels kernels_levels = pair_kernel_levels<Normalize, kU8U16, true>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    PairParams p = low ? pair_params_for(low) : PairParams{};
    p.u = scale;
    mvimage* sources[3] = {low, high, value};
    return run_sources(hook, sources, 3, dst, kernels, p, true);
}
