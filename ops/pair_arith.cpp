// Pair arithmetic: sums (with accumulation into wider images), the fifteen
// differences, averages, extremes and bitwise combinations.
#include "ops/pair.hpp"

#include <type_traits>

namespace mvip::ops {
namespace {

// Signed arithmetic wide enough for every formula of the type (the largest
// is 5b - 4a), as narrow as possible so that the loops vectorize well.
template <class T>
using Wide = std::conditional_t<
    std::is_floating_point_v<T>, double,
    std::conditional_t<sizeof(T) == 1, int16_t, std::conditional_t<sizeof(T) == 2, int32_t, int64_t>>>;

template <class T>
inline T clip_to(Wide<T> v, const PairParams& p) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v < p.lo ? p.lo : v > p.hi ? p.hi : v);
    } else {
        const Wide<T> top = static_cast<Wide<T>>(p.maxval);
        return static_cast<T>(v < 0 ? 0 : v > top ? top : v);
    }
}

template <int Mode>
struct Add {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        for (size_t i = 0; i < n; ++i) {
            if constexpr (Mode == 1) {
                out[i] = static_cast<T>(b[i] + a[i]);
            } else if constexpr (std::is_floating_point_v<T>) {
                const double s = double(b[i]) + a[i];
                out[i] = static_cast<T>(s > p.hi ? p.hi : s);
            } else {
                // In the container's own width: b is first cut to what is
                // left above a (~a = all ones - a), so the sum cannot wrap;
                // a minimum and an add per vector, no compare.
                const T top = static_cast<T>(p.maxval);
                const T room = static_cast<T>(~a[i]);
                const T s = static_cast<T>(a[i] + (b[i] < room ? b[i] : room));
                out[i] = s < top ? s : top;
            }
        }
    }
};

// Narrower first source added into a wider second one, wrapping.
template <class A, class B>
void accumulate(void* const* lines, size_t count, int32_t, int32_t, const void*) {
    const A* a = static_cast<const A*>(lines[0]);
    const B* b = static_cast<const B*>(lines[1]);
    B* out = static_cast<B*>(lines[kOutLine]);
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<B>(b[i] + static_cast<B>(a[i]));
}
// The same loop with widening vector adds; a long line is taken in two
// parts, the second starting where the output reaches a 64-byte boundary
// (as in_two_parts does for kernels of one type).
template <class A, class B>
[[gnu::always_inline]] inline void accumulate_split(void* const* lines, size_t count, const void* params) {
    const size_t head = aligned_head<B>(lines[kOutLine], count, *static_cast<const PairParams*>(params));
    const A* a = static_cast<const A*>(lines[0]);
    const B* b = static_cast<const B*>(lines[1]);
    B* out = static_cast<B*>(lines[kOutLine]);
    for (size_t i = 0; i < head; ++i) out[i] = static_cast<B>(b[i] + static_cast<B>(a[i]));
    for (size_t i = head; i < count; ++i) out[i] = static_cast<B>(b[i] + static_cast<B>(a[i]));
}
template <class A, class B>
__attribute__((target("avx2"))) void accumulate_avx2(void* const* lines, size_t count, int32_t, int32_t,
                                                     const void* params) {
    accumulate_split<A, B>(lines, count, params);
}
template <class A, class B>
__attribute__((target(MVIP_TARGET_AVX512_PAIRS))) void accumulate_avx512(void* const* lines, size_t count,
                                                                         int32_t, int32_t, const void* params) {
    accumulate_split<A, B>(lines, count, params);
}
template <class A, class B>
Kernel accumulating() {
    static constexpr Kernel k[] = {accumulate<A, B>, accumulate_avx2<A, B>, accumulate_avx512<A, B>};
    return k[static_cast<size_t>(cpu_level())];
}

template <int Mode>
struct Sub {
    // Range constants in the kernel's arithmetic type.
    template <class T>
    struct Range {
        Wide<T> top, bottom, half, mid;
        explicit Range(const PairParams& p) {
            constexpr bool real = std::is_floating_point_v<T>;
            top = real ? Wide<T>(p.hi) : Wide<T>(p.maxval);
            bottom = real ? Wide<T>(p.lo) : Wide<T>(0);
            half = real ? Wide<T>((p.lo + p.hi) / 2) : Wide<T>(p.half);
            mid = real ? Wide<T>((p.lo + p.hi) / 2) : Wide<T>(p.mid);
        }
    };

    template <class W>
    static W floor_half(W v) {
        if constexpr (std::is_floating_point_v<W>) return v / 2;
        else return v >> 1;  // arithmetic shift: floor for negative values
    }

    template <class T>
    static inline T one(Wide<T> x, Wide<T> y, const Range<T>& k) {
        using W = Wide<T>;
        auto clip = [&k](W r) { return static_cast<T>(r < k.bottom ? k.bottom : r > k.top ? k.top : r); };
        if constexpr (Mode == 1) return static_cast<T>(y - x);
        else if constexpr (Mode == 2) return static_cast<T>(y - x > k.bottom ? y - x : k.bottom);
        else if constexpr (Mode == 3) return static_cast<T>(y > x ? y - x : x - y);
        else if constexpr (Mode == 4) return static_cast<T>(floor_half(y - x) + k.half);
        else if constexpr (Mode == 5) return static_cast<T>(x - y);
        else if constexpr (Mode == 6) return static_cast<T>(x - y > k.bottom ? x - y : k.bottom);
        else if constexpr (Mode == 7) return static_cast<T>(x > y ? x - y : y - x);
        else if constexpr (Mode == 8) return static_cast<T>(floor_half(x - y) + k.half);
        else if constexpr (Mode == 9) return clip(y - x + k.mid);
        else if constexpr (Mode == 10) return clip(k.mid + 2 * (y - x));
        else if constexpr (Mode == 11) return clip(x - y + k.mid);
        else if constexpr (Mode == 12) return clip(k.mid + 2 * (x - y));
        else if constexpr (Mode == 100) return clip(2 * y - x);
        else if constexpr (Mode == 101) return clip(3 * y - 2 * x);
        else return clip(5 * y - 4 * x);
    }

    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams& p) {
        if constexpr (std::is_integral_v<T> && (Mode == 1 || Mode == 5 || Mode == 3 || Mode == 7)) {
            // Wrapped and absolute differences are exact in the values' own
            // width: no widening, twice the values per vector.
            for (size_t i = 0; i < n; ++i) {
                const T x = a[i], y = b[i];
                if constexpr (Mode == 1) out[i] = static_cast<T>(y - x);
                else if constexpr (Mode == 5) out[i] = static_cast<T>(x - y);
                else out[i] = static_cast<T>(x > y ? x - y : y - x);
            }
        } else {
            const Range<T> k(p);
            for (size_t i = 0; i < n; ++i) out[i] = one<T>(Wide<T>(a[i]), Wide<T>(b[i]), k);
        }
    }
};

struct Average {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) {
            if constexpr (std::is_floating_point_v<T>) out[i] = static_cast<T>((double(a[i]) + b[i]) / 2);
            else out[i] = static_cast<T>((Wide<T>(a[i]) + b[i]) >> 1);
        }
    }
};

struct Max {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = a[i] > b[i] ? a[i] : b[i];
    }
};
struct Min {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = a[i] < b[i] ? a[i] : b[i];
    }
};
struct And {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(a[i] & b[i]);
    }
};
struct Or {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(a[i] | b[i]);
    }
};
struct Xor {
    template <class T>
    static void apply(const T* a, const T* b, T* out, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(a[i] ^ b[i]);
    }
};

template <class Op, unsigned Set>
int32_t pair(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst, PairParams p = {}) {
    static constexpr LevelKernels kernels_levels = pair_kernel_levels<Op, Set>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    if (a) p = pair_params_for(a);
    mvimage* sources[2] = {a, b};
    return run_sources(hook, sources, 2, dst, kernels, p, true);
}

template <int... Modes>
struct SubModes {
    static constexpr int kModes[] = {Modes...};
    static constexpr LevelKernels kSets[] = {pair_kernel_levels<Sub<Modes>, kEvery>()...};
    static const KernelSet* find(int mode) {
        for (size_t i = 0; i < sizeof kModes / sizeof kModes[0]; ++i)
            if (kModes[i] == mode) return &for_this_cpu(kSets[i]);
        return nullptr;
    }
};
using AllSubModes = SubModes<1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 100, 101, 102>;

// The accumulation forms: first source narrower than the second.
Kernel accumulation_kernel(uint32_t from, uint32_t into) {
    if (from == MVTYPE_U8 && into == MVTYPE_U16) return accumulating<uint8_t, uint16_t>();
    if (from == MVTYPE_U8 && into == MVTYPE_U32) return accumulating<uint8_t, uint32_t>();
    if (from == MVTYPE_U16 && into == MVTYPE_U32) return accumulating<uint16_t, uint32_t>();
    if (from == MVTYPE_FLOAT && into == MVTYPE_DOUBLE) return accumulating<float, double>();
    return nullptr;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pairadd(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                          int32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst) return MVERR_USAGE;
    if (mode != 1 && mode != 2) return MVERR_USAGE;
    const uint32_t ta = type_of(a->pixfmt.datatype), tb = type_of(b->pixfmt.datatype);
    const PairParams p = pair_params_for(a);
    mvimage* sources[2] = {a, b};
    if (mode == 1 && ta != tb && type_of(dst->pixfmt.datatype) == tb) {
        if (Kernel k = accumulation_kernel(ta, tb))
            return run_sources(hook, sources, 2, dst, KernelSet{}, p, true, false,
                               kAllTypes | kAnyType | kAnyBits, k);
    }
    static constexpr LevelKernels saturating_levels = pair_kernel_levels<Add<2>, kEvery>();
    const KernelSet& saturating = for_this_cpu(saturating_levels);
    static constexpr LevelKernels wrapping_levels = pair_kernel_levels<Add<1>, kEvery>();
    const KernelSet& wrapping = for_this_cpu(wrapping_levels);
    return run_sources(hook, sources, 2, dst, mode == 1 ? wrapping : saturating, p, true, false);
}

extern "C" MVIP_API int32_t mvip8_pairsub(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                          int32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!a || !b || !dst) return MVERR_USAGE;
    const KernelSet* kernels = AllSubModes::find(mode);
    if (!kernels) return MVERR_USAGE;
    mvimage* sources[2] = {a, b};
    return run_sources(hook, sources, 2, dst, *kernels, pair_params_for(a), true, false);
}

extern "C" MVIP_API int32_t mvip8_pairave(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<Average, kEvery>(hook, a, b, dst);
}
extern "C" MVIP_API int32_t mvip8_pairmax(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<Max, kEvery>(hook, a, b, dst);
}
extern "C" MVIP_API int32_t mvip8_pairmin(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<Min, kEvery>(hook, a, b, dst);
}
extern "C" MVIP_API int32_t mvip8_pairand(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<And, kInts>(hook, a, b, dst);
}
extern "C" MVIP_API int32_t mvip8_pairor(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<Or, kInts>(hook, a, b, dst);
}
extern "C" MVIP_API int32_t mvip8_pairxor(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst) {
    return pair<Xor, kInts>(hook, a, b, dst);
}
