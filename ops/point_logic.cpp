// Point operations on the bits of a value: negation, shifts, logic masks
// and the most significant bit.
#include "ops/bounded.hpp"
#include "ops/point.hpp"

namespace mvip::ops {
namespace {

struct Negate {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        if constexpr (std::is_floating_point_v<T>) {
            const T sum = static_cast<T>((p.hi - p.lo) + 2 * p.lo);
            for (size_t i = 0; i < n; ++i) out[i] = sum - in[i];
        } else {
            const T top = static_cast<T>(p.maxval);
            for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(top - in[i]);
        }
    }
};

struct ShiftRight {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const unsigned s = static_cast<unsigned>(p.u[0] % 32);
        if (s >= 8 * sizeof(T)) {
            for (size_t i = 0; i < n; ++i) out[i] = 0;
            return;
        }
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] >> s);
    }
};

struct ShiftLeft {  // truncated to the value's type, never clipped
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const unsigned s = static_cast<unsigned>(p.u[0] % 32);
        if (s >= 8 * sizeof(T)) {
            for (size_t i = 0; i < n; ++i) out[i] = 0;
            return;
        }
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(uint32_t{in[i]} << s);
    }
};

struct And {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T m = static_cast<T>(p.u[0]);
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] & m);
    }
};

struct Or {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T m = static_cast<T>(p.u[0]);
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] | m);
    }
};

struct Xor {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T m = static_cast<T>(p.u[0]);
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] ^ m);
    }
};

struct MostSignificantBit {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T bit = static_cast<T>(p.bits ? uint64_t{1} << (p.bits - 1) : 0);
        const T top = static_cast<T>(p.maxval);
        for (size_t i = 0; i < n; ++i) out[i] = (in[i] & bit) ? top : T(0);
    }
};

template <class Op, unsigned Set>
int32_t point(mvabort* hook, mvimage* src, mvimage* dst, uint64_t arg, const RunList* runs) {
    static constexpr LevelKernels kernels_levels = kernel_levels<Op, Set>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    PointParams p = src ? params_for(src) : PointParams{};
    p.u[0] = arg;
    // These kernels vectorize: a table would only be slower.
    return point_run(hook, src, dst, kernels, p, false, 0, runs);
}

}  // namespace

namespace bounded {
int32_t pixneg(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    return point<Negate, kEvery>(hook, src, dst, 0, runs);
}
int32_t pixshr(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n, R runs) {
    return point<ShiftRight, kInts>(hook, src, dst, n, runs);
}
int32_t pixshl(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n, R runs) {
    return point<ShiftLeft, kInts>(hook, src, dst, n, runs);
}
int32_t pixand(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs) {
    return point<And, kInts>(hook, src, dst, m, runs);
}
int32_t pixor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs) {
    return point<Or, kInts>(hook, src, dst, m, runs);
}
int32_t pixxor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs) {
    return point<Xor, kInts>(hook, src, dst, m, runs);
}
int32_t pixmsb(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    return point<MostSignificantBit, kInts>(hook, src, dst, 0, runs);
}
}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixneg(mvabort* hook, mvimage* src, mvimage* dst) {
    return whole<bounded::pixneg>(hook, src, dst);
}
extern "C" MVIP_API int32_t mvip8_pixshr(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n) {
    return whole<bounded::pixshr>(hook, src, dst, n);
}
extern "C" MVIP_API int32_t mvip8_pixshl(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n) {
    return whole<bounded::pixshl>(hook, src, dst, n);
}
extern "C" MVIP_API int32_t mvip8_pixand(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m) {
    return whole<bounded::pixand>(hook, src, dst, m);
}
extern "C" MVIP_API int32_t mvip8_pixor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m) {
    return whole<bounded::pixor>(hook, src, dst, m);
}
extern "C" MVIP_API int32_t mvip8_pixxor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m) {
    return whole<bounded::pixxor>(hook, src, dst, m);
}
extern "C" MVIP_API int32_t mvip8_pixmsb(mvabort* hook, mvimage* src, mvimage* dst) {
    return whole<bounded::pixmsb>(hook, src, dst);
}
