// Pair arithmetic: sums (with accumulation into wider images), the fifteen
// differences, averages, extremes and bitwise combinations.
#include "ops/pair.hpp"

#include <type_traits>

namespace mvip::ops {
namespace {

template <class T>
using Wide = std::conditional_t<std::is_floating_point_v<T>, double,
                                std::conditional_t<(sizeof(T) <= 2), int32_t, int64_t>>;

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
    static void apply(const T* a, T* b, size_t n, const PairParams& p) {
        for (size_t i = 0; i < n; ++i) {
            if constexpr (Mode == 1) {
                b[i] = static_cast<T>(b[i] + a[i]);
            } else if constexpr (std::is_floating_point_v<T>) {
                const double s = double(b[i]) + a[i];
                b[i] = static_cast<T>(s > p.hi ? p.hi : s);
            } else {
                const Wide<T> s = Wide<T>(b[i]) + a[i], top = Wide<T>(p.maxval);
                b[i] = static_cast<T>(s > top ? top : s);
            }
        }
    }
};

// Narrower first source added into a wider second one, wrapping.
template <class A, class B>
void accumulate(void* const* lines, size_t count, int32_t, int32_t, const void*) {
    const A* a = static_cast<const A*>(lines[0]);
    B* b = static_cast<B*>(lines[1]);
    for (size_t i = 0; i < count; ++i) b[i] = static_cast<B>(b[i] + static_cast<B>(a[i]));
}

template <int Mode>
struct Sub {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams& p) {
        using W = Wide<T>;
        constexpr bool real = std::is_floating_point_v<T>;
        const W bottom = real ? W(p.lo) : W(0);
        const W half = real ? W((p.lo + p.hi) / 2) : W(p.half);
        const W mid = real ? W((p.lo + p.hi) / 2) : W(p.mid);
        for (size_t i = 0; i < n; ++i) {
            const W x = a[i], y = b[i];
            W r;
            if constexpr (Mode == 1) r = y - x;
            else if constexpr (Mode == 2) r = y - x > bottom ? y - x : bottom;
            else if constexpr (Mode == 3) r = y > x ? y - x : x - y;
            else if constexpr (Mode == 4) r = (real ? (y - x) / 2 : floor_half(y - x)) + half;
            else if constexpr (Mode == 5) r = x - y;
            else if constexpr (Mode == 6) r = x - y > bottom ? x - y : bottom;
            else if constexpr (Mode == 7) r = x > y ? x - y : y - x;
            else if constexpr (Mode == 8) r = (real ? (x - y) / 2 : floor_half(x - y)) + half;
            else if constexpr (Mode == 9) r = y - x + mid;
            else if constexpr (Mode == 10) r = mid + 2 * (y - x);
            else if constexpr (Mode == 11) r = x - y + mid;
            else if constexpr (Mode == 12) r = mid + 2 * (x - y);
            else if constexpr (Mode == 100) r = 2 * y - x;
            else if constexpr (Mode == 101) r = 3 * y - 2 * x;
            else r = 5 * y - 4 * x;
            constexpr bool wraps = Mode == 1 || Mode == 4 || Mode == 5 || Mode == 8;
            if constexpr (wraps && !real) b[i] = static_cast<T>(r);
            else if constexpr (Mode == 3 || Mode == 7 || (wraps && real)) b[i] = static_cast<T>(r);
            else b[i] = clip_to<T>(r, p);
        }
    }
    template <class W>
    static W floor_half(W v) {
        return v >= 0 ? v / 2 : -((-v + 1) / 2);
    }
};

struct Average {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) {
            if constexpr (std::is_floating_point_v<T>) b[i] = static_cast<T>((double(a[i]) + b[i]) / 2);
            else b[i] = static_cast<T>((Wide<T>(a[i]) + b[i]) >> 1);
        }
    }
};

struct Max {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) b[i] = a[i] > b[i] ? a[i] : b[i];
    }
};
struct Min {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) b[i] = a[i] < b[i] ? a[i] : b[i];
    }
};
struct And {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) b[i] = static_cast<T>(a[i] & b[i]);
    }
};
struct Or {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) b[i] = static_cast<T>(a[i] | b[i]);
    }
};
struct Xor {
    template <class T>
    static void apply(const T* a, T* b, size_t n, const PairParams&) {
        for (size_t i = 0; i < n; ++i) b[i] = static_cast<T>(a[i] ^ b[i]);
    }
};

template <class Op, unsigned Set>
int32_t pair(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst, PairParams p = {}) {
    static constexpr KernelSet kernels = pair_kernels<Op, Set>();
    if (a) p = pair_params_for(a);
    mvimage* sources[2] = {a, b};
    return run_sources(hook, sources, 2, dst, kernels, p, true);
}

template <int... Modes>
struct SubModes {
    static constexpr int kModes[] = {Modes...};
    static constexpr KernelSet kSets[] = {pair_kernels<Sub<Modes>, kEvery>()...};
    static const KernelSet* find(int mode) {
        for (size_t i = 0; i < sizeof kModes / sizeof kModes[0]; ++i)
            if (kModes[i] == mode) return &kSets[i];
        return nullptr;
    }
};
using AllSubModes = SubModes<1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 100, 101, 102>;

// The accumulation forms: first source narrower than the second.
Kernel accumulation_kernel(uint32_t from, uint32_t into) {
    if (from == MVTYPE_U8 && into == MVTYPE_U16) return accumulate<uint8_t, uint16_t>;
    if (from == MVTYPE_U8 && into == MVTYPE_U32) return accumulate<uint8_t, uint32_t>;
    if (from == MVTYPE_U16 && into == MVTYPE_U32) return accumulate<uint16_t, uint32_t>;
    if (from == MVTYPE_FLOAT && into == MVTYPE_DOUBLE) return accumulate<float, double>;
    return nullptr;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pairadd(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                          int32_t mode) {
    if (const int32_t stop = hook_at_entry(hook)) return stop;
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
    static constexpr KernelSet saturating = pair_kernels<Add<2>, kEvery>();
    static constexpr KernelSet wrapping = pair_kernels<Add<1>, kEvery>();
    return run_sources(hook, sources, 2, dst, mode == 1 ? wrapping : saturating, p, true, false);
}

extern "C" MVIP_API int32_t mvip8_pairsub(mvabort* hook, mvimage* a, mvimage* b, mvimage* dst,
                                          int32_t mode) {
    if (const int32_t stop = hook_at_entry(hook)) return stop;
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
