// Point operations on value levels: thresholds, contrast stretches,
// additions, scaling, pivoted contrast and gamma.
#include "ops/bounded.hpp"
#include "ops/point.hpp"

#include <cmath>
#include <cstring>

namespace mvip::ops {
namespace {

// Clip a wide value into [0, maxval].
template <class T>
inline T clip(int64_t v, uint32_t maxval) {
    return static_cast<T>(v < 0 ? 0 : v > int64_t{maxval} ? int64_t{maxval} : v);
}

// Whether low <= v <= high, as one unsigned comparison in the value's own
// type (so the loops vectorize): (v - low) <= (high - low) modulo 2^bits.
template <class T>
struct Band {
    T low = 0, span = 0;
    bool empty = false;
    Band(uint64_t lo, uint64_t hi) {
        const uint64_t top = static_cast<T>(~T(0));
        if (lo > hi || lo > top) {
            empty = true;
            return;
        }
        low = static_cast<T>(lo);
        span = static_cast<T>((hi > top ? top : hi) - lo);
    }
    bool holds(T v) const { return static_cast<T>(v - low) <= span; }
};

struct Threshold {  // u[0] low, u[1] high, u[2] value
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const Band<T> band(p.u[0], p.u[1]);
        const T value = static_cast<T>(p.u[2]);
        if (band.empty) {
            if (out != in) std::memcpy(out, in, n * sizeof(T));
            return;
        }
        for (size_t i = 0; i < n; ++i) out[i] = band.holds(in[i]) ? value : in[i];
    }
};

// As Threshold, counting the values in the band into the uint64_t that
// `table` points to.
struct ThresholdCount {  // u[0] low, u[1] high, u[2] value
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const Band<T> band(p.u[0], p.u[1]);
        const T value = static_cast<T>(p.u[2]);
        uint64_t count = 0;
        if (band.empty) {
            if (out != in) std::memcpy(out, in, n * sizeof(T));
            return;
        }
        for (size_t i = 0; i < n; ++i) {
            const bool inside = band.holds(in[i]);
            count += inside;
            out[i] = inside ? value : in[i];
        }
        *static_cast<uint64_t*>(const_cast<void*>(p.table)) += count;
    }
};

struct Threshold2 {  // u[0] low, u[1] high, u[2] inside, u[3] outside
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const Band<T> band(p.u[0], p.u[1]);
        const T inside = static_cast<T>(p.u[2]), outside = static_cast<T>(p.u[3]);
        if (band.empty) {
            for (size_t i = 0; i < n; ++i) out[i] = outside;
            return;
        }
        for (size_t i = 0; i < n; ++i) out[i] = band.holds(in[i]) ? inside : outside;
    }
};

struct Contrast {  // s[0] low, s[1] high
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const int64_t low = p.s[0], high = p.s[1];
        const T top = static_cast<T>(p.maxval);
        if (low == high) {
            for (size_t i = 0; i < n; ++i) v[i] = top;
            return;
        }
        // Unsigned arithmetic, truncated, as the stretch is defined.
        const uint64_t span = static_cast<uint32_t>(high - low);
        for (size_t i = 0; i < n; ++i) {
            if (int64_t{v[i]} <= low) {
                v[i] = 0;
                continue;
            }
            const uint64_t r = (static_cast<uint64_t>(int64_t{v[i]} - low) * p.maxval) / span;
            v[i] = r > p.maxval ? top : static_cast<T>(r);
        }
    }
};

struct Add {  // s[0] value, u[0] mode (2: saturating)
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const int64_t value = p.s[0];
        if (p.u[0] != 2) {
            const T add = static_cast<T>(value);
            for (size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] + add);
            return;
        }
        // Saturating, in the value's own type: clip(v + value, 0, maxval).
        const T top = static_cast<T>(p.maxval);
        if (value >= 0) {
            const T a = static_cast<T>(value > int64_t{p.maxval} ? p.maxval : value);
            const T limit = static_cast<T>(top - a);
            for (size_t i = 0; i < n; ++i) out[i] = in[i] > limit ? top : static_cast<T>(in[i] + a);
        } else {
            const uint64_t m = static_cast<uint64_t>(-value);
            const T a = static_cast<T>(m > static_cast<T>(~T(0)) ? static_cast<T>(~T(0)) : m);
            for (size_t i = 0; i < n; ++i) {
                const T d = in[i] < a ? T(0) : static_cast<T>(in[i] - a);
                out[i] = d < top ? d : top;
            }
        }
    }
};

struct Scale {  // u[0] numerator, u[1] denominator, u[2] destination maxval
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const uint64_t a = p.u[0], b = p.u[1], top = p.u[2];
        for (size_t i = 0; i < n; ++i) {
            const uint64_t r = (uint64_t{v[i]} * a) / b;
            v[i] = static_cast<T>(r > top ? top : r);
        }
    }
};

struct ContrastPivot {  // d[0] pivot (already halved), d[1] gain
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const double pivot = p.d[0], gain = p.d[1], top = p.maxval;
        for (size_t i = 0; i < n; ++i) {
            double r = (double(v[i]) - pivot) * gain + pivot;
            r = !(r > 0) ? 0 : r > top ? top : r;  // NaN gives 0
            v[i] = static_cast<T>(r + 0.5);
        }
    }
};

struct Gamma {  // d[0] quantised gamma
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const double g = p.d[0], top = p.maxval;
        const double factor = top / std::pow(top, g);
        for (size_t i = 0; i < n; ++i) {
            const double r = std::trunc(std::pow(double(v[i]), g) * factor + 0.5);
            v[i] = static_cast<T>(!(r > 0) ? 0 : r > top ? top : r);
        }
    }
};

// Float-argument forms.  Integer results are rounded half away from zero
// and clipped to [0, maxval]; float results are clipped to [lo, hi] where
// the operation says so.
template <class T>
inline T store_real(double r, const PointParams& p, bool clip_floats) {
    if constexpr (std::is_floating_point_v<T>) {
        if (clip_floats) r = r < p.lo ? p.lo : r > p.hi ? p.hi : r;
        return static_cast<T>(r);
    } else {
        if (!(r > 0)) return 0;
        if (r >= p.maxval) return static_cast<T>(p.maxval);
        return static_cast<T>(r + 0.5);
    }
}

struct ContrastF {  // d[0] low, d[1] high: [low, high] stretched onto the range
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const double low = p.d[0], high = p.d[1];
        const double bottom = std::is_floating_point_v<T> ? p.lo : 0.0;
        const double top = std::is_floating_point_v<T> ? p.hi : double(p.maxval);
        for (size_t i = 0; i < n; ++i) {
            const double x = double(v[i]);
            const double r = low == high ? (x <= low ? bottom : top)
                             : x <= low  ? bottom
                             : x >= high ? top
                                         : bottom + (x - low) * (top - bottom) / (high - low);
            v[i] = store_real<T>(r, p, true);
        }
    }
};

struct ScaleF {  // d[0] factor
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        for (size_t i = 0; i < n; ++i) v[i] = store_real<T>(double(v[i]) * p.d[0], p, true);
    }
};

struct ThresholdCountF {  // d[0] low, d[1] high, d[2] value (stored form); table: count
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const double low = p.d[0], high = p.d[1];
        const T value = static_cast<T>(p.d[2]);
        uint64_t count = 0;
        for (size_t i = 0; i < n; ++i) {
            const bool inside = double(v[i]) >= low && double(v[i]) <= high;
            count += inside;
            if (inside) v[i] = value;
        }
        *static_cast<uint64_t*>(const_cast<void*>(p.table)) += count;
    }
};

struct AddF {  // d[0] value; floats are not clipped
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        for (size_t i = 0; i < n; ++i) v[i] = store_real<T>(double(v[i]) + p.d[0], p, false);
    }
};

template <class Op, unsigned Set>
int32_t dispatch(mvabort* hook, mvimage* src, mvimage* dst, PointParams p, bool table,
                 const RunList* runs, uint32_t extra = 0) {
    static constexpr LevelKernels kernels_levels = kernel_levels<Op, Set>();
    const KernelSet& kernels = for_this_cpu(kernels_levels);
    return point_run(hook, src, dst, kernels, p, table, extra, runs);
}

PointParams base(const mvimage* src) { return src ? params_for(src) : PointParams{}; }

// A counting operation's result: its count (saturated to the result's
// range), or the frame's code.
template <class Op, unsigned Set>
int32_t counted(mvabort* hook, mvimage* src, mvimage* dst, PointParams p, const RunList* runs) {
    uint64_t count = 0;
    p.table = &count;
    const int32_t rc = dispatch<Op, Set>(hook, src, dst, p, false, runs);
    if (rc != 0) return rc;
    return count > uint64_t(INT32_MAX) ? INT32_MAX : int32_t(count);
}

// Stores a double as an image of this format holds it (integers rounded
// half away from zero and clipped to [0, maxval]).
double stored_value(double x, const mvimage* im) {
    if (is_float_type(im->pixfmt.datatype)) return x;
    const double top = max_value(im->pixfmt);
    if (!(x > 0)) return 0;
    return x >= top ? top : std::floor(x + 0.5);
}

}  // namespace

namespace bounded {

int32_t pixthreshold(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                     uint32_t value, R runs) {
    PointParams p = base(src);
    p.u[0] = low, p.u[1] = high, p.u[2] = value;
    return dispatch<Threshold, kU8U16>(hook, src, dst, p, false, runs);
}

int32_t pixthresholdcnt(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                        uint32_t value, R runs) {
    PointParams p = base(src);
    p.u[0] = low, p.u[1] = high, p.u[2] = value;
    return counted<ThresholdCount, kU8U16>(hook, src, dst, p, runs);
}

int32_t pixthresholdcntf(mvabort* hook, mvimage* src, mvimage* dst, double low, double high,
                         double value, R runs) {
    if (!src || !dst) return MVERR_USAGE;
    PointParams p = base(src);
    p.d[0] = low, p.d[1] = high, p.d[2] = stored_value(value, src);
    return counted<ThresholdCountF, kEvery>(hook, src, dst, p, runs);
}

int32_t pixthreshold2(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                      uint32_t inside, uint32_t outside, R runs) {
    PointParams p = base(src);
    p.u[0] = low, p.u[1] = high, p.u[2] = inside, p.u[3] = outside;
    return dispatch<Threshold2, kU8U16>(hook, src, dst, p, false, runs);
}

int32_t pixcontrast(mvabort* hook, mvimage* src, mvimage* dst, int32_t low, int32_t high,
                    R runs) {
    PointParams p = base(src);
    p.s[0] = low, p.s[1] = high;
    return dispatch<Contrast, kU8U16>(hook, src, dst, p, true, runs);
}

int32_t pixadd(mvabort* hook, mvimage* src, mvimage* dst, int32_t value, int32_t mode, R runs) {
    PointParams p = base(src);
    p.s[0] = value, p.u[0] = static_cast<uint32_t>(mode);
    return dispatch<Add, kU8U16>(hook, src, dst, p, false, runs);
}

int32_t pixscale(mvabort* hook, mvimage* src, mvimage* dst, uint32_t numerator,
                 uint32_t denominator, R runs) {
    if (!src || !dst || denominator == 0) return MVERR_USAGE;
    PointParams p = params_for(src);
    p.u[0] = numerator, p.u[1] = denominator, p.u[2] = max_value(dst->pixfmt);
    // Source and destination may differ in bit depth.
    return dispatch<Scale, kInts>(hook, src, dst, p, false, runs, kAnyBits);
}

int32_t pixcontrastpivot(mvabort* hook, mvimage* src, mvimage* dst, uint32_t pivot2, double gain,
                         R runs) {
    PointParams p = base(src);
    p.d[0] = pivot2 * 0.5;  // the argument is twice the pivot
    p.d[1] = gain;
    return dispatch<ContrastPivot, kU8U16>(hook, src, dst, p, true, runs);
}

int32_t pixgamma(mvabort* hook, mvimage* src, mvimage* dst, double gamma, R runs) {
    PointParams p = base(src);
    p.d[0] = std::trunc(gamma * 1000.0) / 1000.0;  // quantised to thousandths
    return dispatch<Gamma, kU8U16>(hook, src, dst, p, true, runs);
}

int32_t pixcontrastf(mvabort* hook, mvimage* src, mvimage* dst, double low, double high,
                     R runs) {
    PointParams p = base(src);
    p.d[0] = low, p.d[1] = high;
    return dispatch<ContrastF, kEvery>(hook, src, dst, p, false, runs);
}

int32_t pixscalef(mvabort* hook, mvimage* src, mvimage* dst, double factor, R runs) {
    PointParams p = base(src);
    p.d[0] = factor;
    return dispatch<ScaleF, kEvery>(hook, src, dst, p, false, runs);
}

int32_t pixaddf(mvabort* hook, mvimage* src, mvimage* dst, double value, R runs) {
    PointParams p = base(src);
    p.d[0] = value;
    return dispatch<AddF, kEvery>(hook, src, dst, p, false, runs);
}

}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixthreshold(mvabort* hook, mvimage* src, mvimage* dst,
                                               uint32_t low, uint32_t high, uint32_t value) {
    return whole<bounded::pixthreshold>(hook, src, dst, low, high, value);
}
extern "C" MVIP_API int32_t mvip8_pixthresholdcnt(mvabort* hook, mvimage* src, mvimage* dst,
                                                  uint32_t low, uint32_t high, uint32_t value) {
    return whole<bounded::pixthresholdcnt>(hook, src, dst, low, high, value);
}
extern "C" MVIP_API int32_t mvipf_pixthresholdcnt(mvabort* hook, mvimage* src, mvimage* dst,
                                                  double low, double high, double value) {
    return whole<bounded::pixthresholdcntf>(hook, src, dst, low, high, value);
}
extern "C" MVIP_API int32_t mvip8_pixthreshold2(mvabort* hook, mvimage* src, mvimage* dst,
                                                uint32_t low, uint32_t high, uint32_t inside,
                                                uint32_t outside) {
    return whole<bounded::pixthreshold2>(hook, src, dst, low, high, inside, outside);
}
extern "C" MVIP_API int32_t mvip8_pixcontrast(mvabort* hook, mvimage* src, mvimage* dst,
                                              int32_t low, int32_t high) {
    return whole<bounded::pixcontrast>(hook, src, dst, low, high);
}
extern "C" MVIP_API int32_t mvip8_pixadd(mvabort* hook, mvimage* src, mvimage* dst,
                                         int32_t value, int32_t mode) {
    return whole<bounded::pixadd>(hook, src, dst, value, mode);
}
extern "C" MVIP_API int32_t mvip8_pixscale(mvabort* hook, mvimage* src, mvimage* dst,
                                           uint32_t numerator, uint32_t denominator) {
    return whole<bounded::pixscale>(hook, src, dst, numerator, denominator);
}
extern "C" MVIP_API int32_t mvip8_pixcontrastpivot(mvabort* hook, mvimage* src, mvimage* dst,
                                                   uint32_t pivot2, double gain) {
    return whole<bounded::pixcontrastpivot>(hook, src, dst, pivot2, gain);
}
extern "C" MVIP_API int32_t mvip8_pixgamma(mvabort* hook, mvimage* src, mvimage* dst,
                                           double gamma) {
    return whole<bounded::pixgamma>(hook, src, dst, gamma);
}
extern "C" MVIP_API int32_t mvipf_pixcontrast(mvabort* hook, mvimage* src, mvimage* dst,
                                              double low, double high) {
    return whole<bounded::pixcontrastf>(hook, src, dst, low, high);
}
extern "C" MVIP_API int32_t mvipf_pixscale(mvabort* hook, mvimage* src, mvimage* dst,
                                           double factor) {
    return whole<bounded::pixscalef>(hook, src, dst, factor);
}
extern "C" MVIP_API int32_t mvipf_pixadd(mvabort* hook, mvimage* src, mvimage* dst,
                                         double value) {
    return whole<bounded::pixaddf>(hook, src, dst, value);
}
