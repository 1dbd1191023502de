// Pair operations with thresholds, keys and coefficients: difference
// insertion, zero-keyed insertion, products, ratios and colour-keyed
// overlay, with their float forms.
#include "ops/pair.hpp"

#include <memory>
#include <new>

namespace mvip::ops {
namespace {

struct InsertDifference {  // u: threshold
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        for (size_t i = 0; i < n; ++i) {
            const uint64_t d = a[i] > b[i] ? a[i] - b[i] : b[i] - a[i];
            out[i] = d <= p.u ? T(0) : b[i];
        }
    }
};

struct InsertWhereZero {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = b[i] == 0 ? a[i] : b[i];
    }
};

// 32-bit signed arithmetic that wraps instead of overflowing.
inline int32_t wrap_mul(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) * static_cast<uint32_t>(y));
}
inline int32_t wrap_add(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) + static_cast<uint32_t>(y));
}
inline int32_t divide(int32_t num, int32_t den) {  // truncating; den != 0
    return den == -1 ? static_cast<int32_t>(0u - static_cast<uint32_t>(num)) : num / den;
}
template <class T>
inline T clip_int(int64_t v, uint32_t maxval) {
    return static_cast<T>(v < 0 ? 0 : v > int64_t{maxval} ? int64_t{maxval} : v);
}

struct Product {  // coef p0..p4
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        const int32_t* c = p.coef;
        const int32_t d = c[4] ? c[4] : 1;
        for (size_t i = 0; i < n; ++i) {
            const int32_t left = wrap_add(wrap_mul(static_cast<int32_t>(a[i]), c[0]), c[1]);
            const int32_t right = wrap_add(wrap_mul(static_cast<int32_t>(b[i]), c[2]), c[3]);
            out[i] = clip_int<T>(divide(wrap_mul(left, right), d), p.maxval);
        }
    }
};

struct Ratio {  // coef q0..q3
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        const int32_t* c = p.coef;
        for (size_t i = 0; i < n; ++i) {
            const int32_t den = wrap_add(wrap_mul(static_cast<int32_t>(a[i]), c[2]), c[3]);
            if (den == 0) {
                out[i] = static_cast<T>(p.maxval);
                continue;
            }
            const int32_t num = wrap_add(wrap_mul(static_cast<int32_t>(b[i]), c[0]), c[1]);
            out[i] = clip_int<T>(divide(num, den), p.maxval);
        }
    }
};

struct ProductF {  // fcoef p0..p4, no clipping
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        const double* c = p.fcoef;
        const double d = c[4] != 0 ? c[4] : 1.0;
        for (size_t i = 0; i < n; ++i)
            out[i] = static_cast<T>((a[i] * c[0] + c[1]) * (b[i] * c[2] + c[3]) / d);
    }
};

struct RatioF {  // fcoef q0..q3; a zero denominator gives the top of the range
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        const double* c = p.fcoef;
        for (size_t i = 0; i < n; ++i) {
            const double den = a[i] * c[2] + c[3];
            out[i] = static_cast<T>(den == 0 ? p.hi : (b[i] * c[0] + c[1]) / den);
        }
    }
};

// Overlay: the first source's pixel replaces the second's unless it equals
// the key (transparent).  key: the pixie count's key values, in T's type.
template <bool ZeroKey>
struct Overlay {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        const uint32_t k = p.pixies;
        const T* key = static_cast<const T*>(p.key);
        for (size_t i = 0; i + k <= n; i += k) {
            bool opaque = false;
            for (uint32_t j = 0; j < k; ++j) {
                if constexpr (ZeroKey) opaque |= a[i + j] != 0;
                else opaque |= a[i + j] != key[j];
            }
            const T* from = opaque ? a : b;
            for (uint32_t j = 0; j < k; ++j) out[i + j] = from[i + j];
        }
    }
};

template <class Op, unsigned Set>
int32_t keyed(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst, PairParams p, bool colour,
              bool poll_entry = true) {
    static constexpr LevelKernels kernels_levels = pair_kernel_levels<Op, Set>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    mvimage* sources[2] = {a, b};
    return run_sources(hook, sources, 2, dst, kernels, p, colour, poll_entry);
}

// Copies the key, converted to the first source's value type, into a block
// owned by the call, then runs the overlay.
template <class Key>
int32_t overlay(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst, const Key* key,
                unsigned types) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst || !key) return MVERR_USAGE;
    PairParams p = pair_params_for(a);
    const uint32_t k = p.pixies;
    std::unique_ptr<double[]> block(new (std::nothrow) double[k]);
    if (!block) return MVERR_MEMORY;
    bool zero = true;
    for (uint32_t j = 0; j < k; ++j) zero &= key[j] == 0;
    // The key in the first source's value type, stored in the block.
    auto* raw = reinterpret_cast<unsigned char*>(block.get());
    const uint32_t type = type_of(a->pixfmt.datatype);
    for (uint32_t j = 0; j < k; ++j) {
        switch (type) {
            case MVTYPE_U8: raw[j] = static_cast<uint8_t>(key[j]); break;
            case MVTYPE_U16: reinterpret_cast<uint16_t*>(raw)[j] = static_cast<uint16_t>(key[j]); break;
            case MVTYPE_U32: reinterpret_cast<uint32_t*>(raw)[j] = static_cast<uint32_t>(key[j]); break;
            case MVTYPE_FLOAT: reinterpret_cast<float*>(raw)[j] = static_cast<float>(key[j]); break;
            default: block[j] = static_cast<double>(key[j]); break;
        }
    }
    p.key = block.get();
    if (types == kU8U16)
        return zero ? keyed<Overlay<true>, kU8U16>(hook, a, b, dst, p, true, false)
                    : keyed<Overlay<false>, kU8U16>(hook, a, b, dst, p, true, false);
    return zero ? keyed<Overlay<true>, kFloats>(hook, a, b, dst, p, true, false)
                : keyed<Overlay<false>, kFloats>(hook, a, b, dst, p, true, false);
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pairinsdiff(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                              uint32_t threshold) {
    PairParams p = a ? pair_params_for(a) : PairParams{};
    p.u = threshold;
    return keyed<InsertDifference, kU8U16>(hook, a, b, dst, p, false);
}

extern "C" MVIP_API int32_t mvip8_pairinsert(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return keyed<InsertWhereZero, kU8U16>(hook, a, b, dst, a ? pair_params_for(a) : PairParams{},
                                          false);
}

extern "C" MVIP_API int32_t mvip8_pairprod(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                           int32_t reserved, const int32_t coef[5]) {
    (void)reserved;
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst || !coef) return MVERR_USAGE;
    PairParams p = pair_params_for(a);
    for (int i = 0; i < 5; ++i) p.coef[i] = coef[i];
    return keyed<Product, kInts>(hook, a, b, dst, p, true, false);
}

extern "C" MVIP_API int32_t mvip8_pairratio(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                            int32_t reserved, const int32_t coef[4]) {
    (void)reserved;
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst || !coef) return MVERR_USAGE;
    PairParams p = pair_params_for(a);
    for (int i = 0; i < 4; ++i) p.coef[i] = coef[i];
    return keyed<Ratio, kInts>(hook, a, b, dst, p, true, false);
}

extern "C" MVIP_API int32_t mvip8_pairoverlay(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                              int32_t reserved, const uint32_t* key) {
    (void)reserved;
    return overlay(hook, a, b, dst, key, kU8U16);
}

extern "C" MVIP_API int32_t mvipf_pairprod(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                           int32_t reserved, const double coef[5]) {
    (void)reserved;
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst || !coef) return MVERR_USAGE;
    PairParams p = pair_params_for(a);
    for (int i = 0; i < 5; ++i) p.fcoef[i] = coef[i];
    return keyed<ProductF, kFloats>(hook, a, b, dst, p, true, false);
}

extern "C" MVIP_API int32_t mvipf_pairratio(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                            int32_t reserved, const double coef[4]) {
    (void)reserved;
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst || !coef) return MVERR_USAGE;
    PairParams p = pair_params_for(a);
    for (int i = 0; i < 4; ++i) p.fcoef[i] = coef[i];
    return keyed<RatioF, kFloats>(hook, a, b, dst, p, true, false);
}

extern "C" MVIP_API int32_t mvipf_pairoverlay(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                              int32_t reserved, const double* key) {
    (void)reserved;
    return overlay(hook, a, b, dst, key, kFloats);
}
