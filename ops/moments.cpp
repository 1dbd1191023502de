// Image moments up to third order and mass centres: of grey values, of
// binary images (non-zero pixels weigh 1) and of a power of the values.
//
// Kernels take one line (or run) at a time with its coordinates and add
// its sums of w x^p y^q, p + q <= 3, relative to the window's corner.
// Integer values are summed exactly in 128-bit integers: a line is taken
// in pieces of 64 pixels whose sums fit 64 bits and are then moved to the
// piece's place by the binomial theorem.  With values below 2^16 and
// windows up to 2^22 pixels a side no sum passes 2^126.  Other values,
// larger windows and powered weights are summed in doubles.
#include "ops/bounded.hpp"

#include <cmath>
#include <type_traits>
#include <memory>
#include <new>

namespace mvip::ops {
namespace {

__extension__ typedef unsigned __int128 u128;

// Order of the ten sums: (p, q) = 00 10 01 20 11 02 30 21 12 03.
constexpr int kP[10] = {0, 1, 0, 2, 1, 0, 3, 2, 1, 0};
constexpr int kQ[10] = {0, 0, 1, 0, 1, 2, 0, 1, 2, 3};
constexpr uint32_t kExactSide = 1u << 22;

struct Sums {
    u128 exact[10] = {};
    double real[10] = {};
};

struct MomentParams {
    Sums* sums = nullptr;
    int32_t ox = 0, oy = 0;            // the window's corner
    uint32_t maxval = 0;
    const double* weights = nullptr;   // powered weights by value, or null
};

// Adds the sums of one line of s[p] = sum w x^p to the ten moment sums.
template <class V>
inline void add_line(V* m, const V s[4], V y) {
    m[0] += s[0], m[1] += s[1], m[2] += s[0] * y, m[3] += s[2], m[4] += s[1] * y;
    m[5] += s[0] * y * y, m[6] += s[3], m[7] += s[2] * y, m[8] += s[1] * y * y;
    m[9] += s[0] * y * y * y;
}

// Powers of the place within a piece: i, i^2 and i^3 for i < 64.
struct PiecePowers {
    uint32_t p1[64], p2[64], p3[64];
};
constexpr PiecePowers make_powers() {
    PiecePowers k{};
    for (uint32_t i = 0; i < 64; ++i) k.p1[i] = i, k.p2[i] = i * i, k.p3[i] = i * i * i;
    return k;
}
constexpr PiecePowers kPowers = make_powers();

// t[p] = sum w i^p over one piece of n <= 64 values.  Weights below 2^8
// keep every product and sum under 2^32 (255 * sum i^3 < 2^30), so those
// are summed in 32-bit lanes; 16-bit weights need 64 bits from i^2 on.
template <class T, bool Binary>
[[gnu::always_inline]] inline void piece_sums(const T* v, size_t n, uint32_t maxval, uint64_t t[4]) {
    constexpr bool narrow = Binary || sizeof(T) == 1;
    using S = std::conditional_t<narrow, uint32_t, uint64_t>;
    uint32_t t0 = 0, t1 = 0;
    S t2 = 0, t3 = 0;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t w = Binary ? uint32_t(v[i] != 0) : uint32_t(v[i] & maxval);
        t0 += w, t1 += w * kPowers.p1[i];
        t2 += S(w) * kPowers.p2[i], t3 += S(w) * kPowers.p3[i];
    }
    t[0] = t0, t[1] = t1, t[2] = t2, t[3] = t3;
}

template <class T, bool Binary>
[[gnu::always_inline]] inline void exact_line(void* const* lines, size_t count, int32_t x, int32_t y,
                                              const void* params) {
    const auto& p = *static_cast<const MomentParams*>(params);
    const T* v = static_cast<const T*>(lines[kOutLine]);
    const uint64_t x0 = uint32_t(x) - uint32_t(p.ox);
    u128 s[4] = {};
    for (size_t c = 0; c < count; c += 64) {
        uint64_t t[4];
        // Whole pieces with a fixed count, which the compiler unrolls.
        if (count - c >= 64) piece_sums<T, Binary>(v + c, 64, p.maxval, t);
        else piece_sums<T, Binary>(v + c, count - c, p.maxval, t);
        const u128 a = x0 + c;
        s[0] += t[0];
        s[1] += a * t[0] + t[1];
        s[2] += a * a * t[0] + 2 * a * t[1] + t[2];
        s[3] += a * a * a * t[0] + 3 * a * a * t[1] + 3 * a * t[2] + t[3];
    }
    add_line<u128>(p.sums->exact, s, uint32_t(y) - uint32_t(p.oy));
}
template <class T, bool Binary>
void exact_kernel(void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    exact_line<T, Binary>(lines, count, x, y, params);
}
template <class T, bool Binary>
__attribute__((target("avx2"))) void exact_kernel_avx2(void* const* lines, size_t count, int32_t x, int32_t y,
                                                       const void* params) {
    exact_line<T, Binary>(lines, count, x, y, params);
}
template <class T, bool Binary>
__attribute__((target("avx512f,avx512bw,avx512vl,avx2"))) void exact_kernel_avx512(
    void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    exact_line<T, Binary>(lines, count, x, y, params);
}

// Sums in doubles, in eight lanes (value i in lane i % 8, two vectors of
// four) that are added together in a fixed order at the end of the run: no
// sum waits on the one before it, and every level adds the same numbers in
// the same order (the plain build does each vector's arithmetic in halves).
typedef double Lanes __attribute__((vector_size(32)));

template <class T, bool Binary>
[[gnu::always_inline]] inline void real_line(void* const* lines, size_t count, int32_t x, int32_t y,
                                             const void* params) {
    const auto& p = *static_cast<const MomentParams*>(params);
    const T* v = static_cast<const T*>(lines[kOutLine]);
    const double x0 = double(uint32_t(x) - uint32_t(p.ox));
    auto weight = [&](T value) {
        if constexpr (Binary) return double(value != 0);
        else if constexpr (std::is_floating_point_v<T>) return double(value);
        else return p.weights ? p.weights[value & p.maxval] : double(value & p.maxval);
    };
    Lanes s0[2] = {}, s1[2] = {}, s2[2] = {}, s3[2] = {};
    Lanes xs[2] = {Lanes{x0, x0 + 1, x0 + 2, x0 + 3}, Lanes{x0 + 4, x0 + 5, x0 + 6, x0 + 7}};  // exact
    size_t i = 0;
    for (; i + 8 <= count; i += 8)
        for (int h = 0; h < 2; ++h) {
            const T* q = v + i + 4 * h;
            const Lanes w = {weight(q[0]), weight(q[1]), weight(q[2]), weight(q[3])};
            const Lanes wx = w * xs[h], wxx = wx * xs[h];
            s0[h] += w, s1[h] += wx, s2[h] += wxx, s3[h] += wxx * xs[h];
            xs[h] += 8.0;
        }
    for (int k = 0; i < count; ++i, ++k) {
        const double w = weight(v[i]), xr = xs[k / 4][k % 4], wx = w * xr, wxx = wx * xr;
        s0[k / 4][k % 4] += w, s1[k / 4][k % 4] += wx, s2[k / 4][k % 4] += wxx, s3[k / 4][k % 4] += wxx * xr;
    }
    auto total = [](const Lanes* l) {
        return ((l[0][0] + l[0][1]) + (l[0][2] + l[0][3])) + ((l[1][0] + l[1][1]) + (l[1][2] + l[1][3]));
    };
    const double s[4] = {total(s0), total(s1), total(s2), total(s3)};
    add_line<double>(p.sums->real, s, double(uint32_t(y) - uint32_t(p.oy)));
}
template <class T, bool Binary>
void real_kernel(void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    real_line<T, Binary>(lines, count, x, y, params);
}
template <class T, bool Binary>
__attribute__((target("avx2"))) void real_kernel_avx2(void* const* lines, size_t count, int32_t x, int32_t y,
                                                      const void* params) {
    real_line<T, Binary>(lines, count, x, y, params);
}
template <class T, bool Binary>
__attribute__((target("avx512f,avx512bw,avx512vl,avx2"))) void real_kernel_avx512(
    void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    real_line<T, Binary>(lines, count, x, y, params);
}

// The exact kernels by level (plain, AVX2, AVX-512): the same sums.
template <bool Binary>
constexpr LevelKernels kExact = {
    KernelSet{exact_kernel<uint8_t, Binary>, exact_kernel<uint16_t, Binary>, exact_kernel<uint32_t, Binary>,
              nullptr, nullptr},
    KernelSet{exact_kernel_avx2<uint8_t, Binary>, exact_kernel_avx2<uint16_t, Binary>,
              exact_kernel_avx2<uint32_t, Binary>, nullptr, nullptr},
    KernelSet{exact_kernel_avx512<uint8_t, Binary>, exact_kernel_avx512<uint16_t, Binary>,
              exact_kernel_avx512<uint32_t, Binary>, nullptr, nullptr}};
template <bool Binary>
constexpr LevelKernels kReal = {
    KernelSet{real_kernel<uint8_t, Binary>, real_kernel<uint16_t, Binary>, real_kernel<uint32_t, Binary>,
              real_kernel<float, Binary>, real_kernel<double, Binary>},
    KernelSet{real_kernel_avx2<uint8_t, Binary>, real_kernel_avx2<uint16_t, Binary>,
              real_kernel_avx2<uint32_t, Binary>, real_kernel_avx2<float, Binary>,
              real_kernel_avx2<double, Binary>},
    KernelSet{real_kernel_avx512<uint8_t, Binary>, real_kernel_avx512<uint16_t, Binary>,
              real_kernel_avx512<uint32_t, Binary>, real_kernel_avx512<float, Binary>,
              real_kernel_avx512<double, Binary>}};

enum class Weight { value, binary, power };

// Sums the moments of the source's window (or runs) into `sums`, exactly
// where that is possible.  `types`: the data types accepted.
int32_t sum_moments(mvabort* hook, mvimage* src, uint32_t types, Weight weight,
                    const double* weights, Sums& sums, bool& exact, const RunList* runs) {
    if (!src) return MVERR_USAGE;
    const uint32_t type = type_of(src->pixfmt.datatype);
    const int slot = type_slot(type);
    if (slot < 0 || !(type & types)) return MVERR_DATATYPE;
    const bool small = wind_width(src) <= kExactSide && wind_height(src) <= kExactSide;
    exact = weight != Weight::power &&
            (weight == Weight::binary ? is_int_type(type)
                                      : (type == MVTYPE_U8 || type == MVTYPE_U16)) &&
            small;
    const bool binary = weight == Weight::binary;
    const KernelSet& kernels = exact ? for_this_cpu(binary ? kExact<true> : kExact<false>)
                                     : for_this_cpu(binary ? kReal<true> : kReal<false>);
    MomentParams p;
    p.sums = &sums;
    p.ox = src->wind.nw.x;
    p.oy = src->wind.nw.y;
    p.maxval = max_value(src->pixfmt);
    p.weights = weights;
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.source_only = true;
    setup.options = types | kPerLine;
    setup.runs = runs;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernels[slot], kernels[slot], &p);
}

// The sums as long doubles relative to the window's corner.
void relative(const Sums& s, bool exact, long double r[10]) {
    for (int i = 0; i < 10; ++i) r[i] = exact ? static_cast<long double>(s.exact[i]) : s.real[i];
}

// Raw moments about (ox, oy) from those about the corner, by the binomial
// theorem: sum w (x + ox)^p (y + oy)^q.
void shifted(const long double r[10], long double ox, long double oy, long double out[10]) {
    static constexpr int kBinomial[4][4] = {{1, 0, 0, 0}, {1, 1, 0, 0}, {1, 2, 1, 0}, {1, 3, 3, 1}};
    auto at = [&](int p, int q) {
        for (int i = 0; i < 10; ++i)
            if (kP[i] == p && kQ[i] == q) return r[i];
        return 0.0L;
    };
    for (int k = 0; k < 10; ++k) {
        const int p = kP[k], q = kQ[k];
        long double sum = 0;
        for (int i = 0; i <= p; ++i)
            for (int j = 0; j <= q; ++j)
                sum += kBinomial[p][i] * kBinomial[q][j] * std::pow(ox, p - i) *
                       std::pow(oy, q - j) * at(i, j);
        out[k] = sum;
    }
}

void fill(const long double r[10], const mvimage* src, mvmoments* out) {
    long double raw[10], central[10];
    shifted(r, src->wind.nw.x, src->wind.nw.y, raw);
    const long double m00 = r[0];
    const long double xr = m00 != 0 ? r[1] / m00 : 0, yr = m00 != 0 ? r[2] / m00 : 0;
    shifted(r, -xr, -yr, central);
    central[1] = central[2] = 0;
    for (int i = 0; i < 10; ++i) {
        out->m[i] = static_cast<double>(raw[i]);
        out->mu[i] = static_cast<double>(central[i]);
    }
    out->xc = static_cast<double>(xr + src->wind.nw.x);
    out->yc = static_cast<double>(yr + src->wind.nw.y);
}

int32_t moments_of(mvabort* hook, mvimage* src, mvmoments* out, uint32_t types,
                   const RunList* runs) {
    if (!src || !out) return MVERR_USAGE;
    Sums sums;
    bool exact = false;
    const int32_t rc = sum_moments(hook, src, types, Weight::value, nullptr, sums, exact, runs);
    if (rc != 0) return rc;
    long double r[10];
    relative(sums, exact, r);
    fill(r, src, out);
    return 0;
}

// The centre of mass from the sums: -31 when the mass is zero.
int32_t centre(const Sums& sums, bool exact, const mvimage* src, double* xc, double* yc) {
    long double r[10];
    relative(sums, exact, r);
    if (!(r[0] > 0)) return MVERR_AREATOOSMALL;
    if (xc) *xc = static_cast<double>(r[1] / r[0] + src->wind.nw.x);
    if (yc) *yc = static_cast<double>(r[2] / r[0] + src->wind.nw.y);
    return 0;
}

}  // namespace

namespace bounded {

int32_t moments(mvabort* hook, mvimage* src, mvmoments* out, R runs) {
    return moments_of(hook, src, out, MVTYPE_U8 | MVTYPE_U16, runs);
}

int32_t momentsf(mvabort* hook, mvimage* src, mvmoments* out, R runs) {
    return moments_of(hook, src, out, kAllTypes, runs);
}

int32_t masscenter(mvabort* hook, mvimage* src, double* xc, double* yc, R runs) {
    Sums sums;
    bool exact = false;
    const int32_t rc =
        sum_moments(hook, src, MVTYPE_U8 | MVTYPE_U16, Weight::value, nullptr, sums, exact, runs);
    return rc != 0 ? rc : centre(sums, exact, src, xc, yc);
}

int32_t masscenterbin(mvabort* hook, mvimage* src, double* xc, double* yc, uint64_t* area,
                      R runs) {
    Sums sums;
    bool exact = false;
    const int32_t rc = sum_moments(hook, src, MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32, Weight::binary,
                                   nullptr, sums, exact, runs);
    if (rc != 0) return rc;
    if (area) *area = exact ? uint64_t(sums.exact[0]) : uint64_t(sums.real[0]);
    return centre(sums, exact, src, xc, yc);
}

int32_t masscenterpow(mvabort* hook, mvimage* src, double power, double* xc, double* yc,
                      R runs) {
    if (!src) return MVERR_USAGE;
    if (!(power >= 0) || !std::isfinite(power)) return MVERR_USAGE;
    const uint32_t type = type_of(src->pixfmt.datatype);
    if (type != MVTYPE_U8 && type != MVTYPE_U16) return MVERR_DATATYPE;
    const uint32_t bits = src->pixfmt.bits;
    if (bits == 0 || bits > 16) return MVERR_DATATYPE;
    // One weight per value, computed once.
    const uint32_t n = 1u << bits;
    std::unique_ptr<double[]> weights(new (std::nothrow) double[n]);
    if (!weights) return MVERR_MEMORY;
    for (uint32_t v = 0; v < n; ++v) weights[v] = std::pow(double(v), power);
    Sums sums;
    bool exact = false;
    const int32_t rc = sum_moments(hook, src, MVTYPE_U8 | MVTYPE_U16, Weight::power,
                                   weights.get(), sums, exact, runs);
    return rc != 0 ? rc : centre(sums, exact, src, xc, yc);
}

}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_moments(mvabort* hook, mvimage* src, mvmoments* out) {
    return whole<bounded::moments>(hook, src, out);
}
extern "C" MVIP_API int32_t mvip8_momentsf(mvabort* hook, mvimage* src, mvmoments* out) {
    return whole<bounded::momentsf>(hook, src, out);
}
extern "C" MVIP_API int32_t mvip8_masscenter(mvabort* hook, mvimage* src, double* xc, double* yc) {
    return whole<bounded::masscenter>(hook, src, xc, yc);
}
extern "C" MVIP_API int32_t mvip8_masscenterbin(mvabort* hook, mvimage* src, double* xc,
                                                double* yc, uint64_t* area) {
    return whole<bounded::masscenterbin>(hook, src, xc, yc, area);
}
extern "C" MVIP_API int32_t mvip8_masscenterpow(mvabort* hook, mvimage* src, double power,
                                                double* xc, double* yc) {
    return whole<bounded::masscenterpow>(hook, src, power, xc, yc);
}
