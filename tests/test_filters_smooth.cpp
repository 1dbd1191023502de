// Smoothing, sharpening, rank and median filters and the N x N filters
// against plain references written here: explicit neighbourhood loops over
// the source window extended by replicating its edge pixels.  Every case
// runs on several image shapes, u8 and u16 (also fewer bits than the
// container), monochrome and colour, windows inside larger images, in place
// and into another image, and with both the AVX2 and the baseline kernels.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// Images: memory images with padded lines, of any integer or float type.

struct Format {
    uint32_t type, bits, pixies;
};

std::string name_of(const Format& f) {
    const char* t = f.type == MVTYPE_U8 ? "u8" : f.type == MVTYPE_U16 ? "u16"
                  : f.type == MVTYPE_FLOAT ? "float" : "double";
    return std::string(t) + "/" + std::to_string(f.bits) + "x" + std::to_string(f.pixies);
}

uint32_t value_bytes(uint32_t type) {
    return type == MVTYPE_U8 ? 1 : type == MVTYPE_U16 ? 2 : type == MVTYPE_DOUBLE ? 8 : 4;
}

class Picture {
public:
    Picture(Format f, uint32_t w, uint32_t h)
        : f_(f), w_(w), h_(h), pitch_((size_t{w} + 3) * f.pixies * value_bytes(f.type)),
          bytes_(pitch_ * h, 0xA5) {
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memory(&im_, bytes_.data(), dims, static_cast<int32_t>(pitch_), f.type,
                                    f.bits, f.pixies, f.pixies == 3 ? MVCS_BGR : MVCS_GREY, 0));
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    mvimage* rec() { return &im_; }
    const Format& format() const { return f_; }
    uint32_t width() const { return w_; }
    uint32_t height() const { return h_; }
    uint32_t maxval() const { return (1u << f_.bits) - 1; }
    const std::vector<uint8_t>& bytes() const { return bytes_; }

    double get(uint32_t x, uint32_t y, uint32_t k) const {
        const uint8_t* p = at(x, y, k);
        switch (f_.type) {
            case MVTYPE_U8: return *p;
            case MVTYPE_U16: { uint16_t v; std::memcpy(&v, p, 2); return v; }
            case MVTYPE_FLOAT: { float v; std::memcpy(&v, p, 4); return v; }
            default: { double v; std::memcpy(&v, p, 8); return v; }
        }
    }
    void set(uint32_t x, uint32_t y, uint32_t k, double v) {
        uint8_t* p = const_cast<uint8_t*>(at(x, y, k));
        switch (f_.type) {
            case MVTYPE_U8: *p = static_cast<uint8_t>(v); break;
            case MVTYPE_U16: { const uint16_t s = static_cast<uint16_t>(v); std::memcpy(p, &s, 2); break; }
            case MVTYPE_FLOAT: { const float s = static_cast<float>(v); std::memcpy(p, &s, 4); break; }
            default: std::memcpy(p, &v, 8); break;
        }
    }
    void fill(double v) {
        for (uint32_t y = 0; y < h_; ++y)
            for (uint32_t x = 0; x < w_; ++x)
                for (uint32_t k = 0; k < f_.pixies; ++k) set(x, y, k, v);
    }
    // Random values: the extremes, a few recurring values (ties), values
    // close to each other (for the tolerance filters) and uniform ones.
    void randomize(std::mt19937& rng) {
        const bool floats = f_.type == MVTYPE_FLOAT || f_.type == MVTYPE_DOUBLE;
        const uint32_t top = floats ? 255 : maxval();
        const uint32_t base = rng() % (top + 1);
        for (uint32_t y = 0; y < h_; ++y)
            for (uint32_t x = 0; x < w_; ++x)
                for (uint32_t k = 0; k < f_.pixies; ++k) {
                    const uint32_t pick = rng() % 8, r = rng();
                    uint32_t v = pick == 0 ? 0
                               : pick == 1 ? top
                               : pick == 2 ? top / 3 * (r % 4)
                               : pick <= 4 ? std::min<uint32_t>(top, base + r % 24)
                                           : r % (top + 1);
                    set(x, y, k, floats ? v / 255.0 - 0.25 : v);
                }
    }

private:
    const uint8_t* at(uint32_t x, uint32_t y, uint32_t k) const {
        return bytes_.data() + pitch_ * y + (size_t{x} * f_.pixies + k) * value_bytes(f_.type);
    }
    Format f_;
    uint32_t w_, h_;
    size_t pitch_;
    std::vector<uint8_t> bytes_;
    mvimage im_{};
};

using Nine = std::array<int64_t, 9>;

// A copy of one pixie plane of a window, read with replicated borders.
class Plane {
public:
    Plane(const Picture& p, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h, uint32_t k)
        : w_(int(w)), h_(int(h)), v_(size_t{w} * h) {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) v_[size_t{y} * w + x] = p.get(x0 + x, y0 + y, k);
    }
    double at(int x, int y) const {
        x = std::clamp(x, 0, w_ - 1);
        y = std::clamp(y, 0, h_ - 1);
        return v_[size_t(y) * w_ + x];
    }
    // The 3 x 3 neighbourhood of (x, y) row by row: A0 A1 A2 M0 C M2 B0 B1 B2.
    Nine nine(int x, int y) const {
        Nine n;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) n[3 * (dy + 1) + dx + 1] = static_cast<int64_t>(at(x + dx, y + dy));
        return n;
    }

private:
    int w_, h_;
    std::vector<double> v_;
};

// The library picks its AVX2 or baseline kernels from the processor alone
// (it reads no configuration), so both passes of a test run the kernels
// this processor gets; the baseline ones are exercised on processors
// without AVX2.
class BaselineKernels {
public:
    explicit BaselineKernels(bool on) : on_(on) {}
    ~BaselineKernels() = default;
    BaselineKernels(const BaselineKernels&) = delete;
    BaselineKernels& operator=(const BaselineKernels&) = delete;

private:
    bool on_;
};

// ---------------------------------------------------------------------------
// The runner: one operation against its reference over many layouts.

using Call = std::function<int32_t(mvimage* src, mvimage* dst)>;
// Expected value of window pixel (x, y) from the source plane.
using Reference = std::function<double(const Plane& src, int x, int y, const Format& f)>;

struct Layout {
    uint32_t w, h;              // window size
    uint32_t mx, my;            // window corner in the source image (margins)
    bool in_place;
};

const Layout kLayouts[] = {
    {1, 1, 0, 0, false}, {1, 1, 1, 1, true}, {7, 1, 0, 0, false}, {1, 6, 0, 0, true},
    {2, 2, 0, 0, false}, {2, 2, 2, 1, true}, {13, 9, 0, 0, true}, {21, 11, 3, 2, false},
    {37, 5, 2, 3, true}, {530, 3, 1, 1, false},  // wider than the kernels' column chunk
};

const Format kFormats[] = {
    {MVTYPE_U8, 8, 1}, {MVTYPE_U8, 8, 3}, {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 1}, {MVTYPE_U16, 12, 3},
};

// Checks `call` against `ref` on every format and layout; the destination
// window must hold the reference values and nothing outside it may change.
void check(const std::string& what, const Call& call, const Reference& ref,
           const std::vector<Format>& formats = {std::begin(kFormats), std::end(kFormats)},
           uint32_t seed = 1) {
    std::mt19937 rng(seed);
    for (const Format& f : formats)
        for (const Layout& l : kLayouts) {
            SCOPED_TRACE(what + " " + name_of(f) + " " + std::to_string(l.w) + "x" +
                         std::to_string(l.h) + (l.in_place ? " in place" : ""));
            Picture src(f, l.w + 2 * l.mx + 1, l.h + 2 * l.my);
            src.randomize(rng);
            Picture other(f, l.w + 3, l.h + 1);
            other.randomize(rng);
            Picture& dst = l.in_place ? src : other;
            const uint32_t dx = l.in_place ? l.mx : 2, dy = l.in_place ? l.my : 1;
            ASSERT_EQ(0, mvimage_setwind(src.rec(), l.mx, l.my, l.mx + l.w, l.my + l.h));
            if (!l.in_place) {
                ASSERT_EQ(0, mvimage_setwind(dst.rec(), dx, dy, dx + l.w, dy + l.h));
            }
            std::vector<Plane> planes;
            for (uint32_t k = 0; k < f.pixies; ++k) planes.emplace_back(src, l.mx, l.my, l.w, l.h, k);
            std::vector<double> before;
            for (uint32_t y = 0; y < dst.height(); ++y)
                for (uint32_t x = 0; x < dst.width(); ++x)
                    for (uint32_t k = 0; k < f.pixies; ++k) before.push_back(dst.get(x, y, k));

            ASSERT_EQ(0, call(src.rec(), dst.rec()));

            size_t i = 0, bad = 0;
            for (uint32_t y = 0; y < dst.height(); ++y)
                for (uint32_t x = 0; x < dst.width(); ++x)
                    for (uint32_t k = 0; k < f.pixies; ++k, ++i) {
                        const bool inside = x >= dx && x < dx + l.w && y >= dy && y < dy + l.h;
                        const double want = inside ? ref(planes[k], int(x - dx), int(y - dy), f) : before[i];
                        const double got = dst.get(x, y, k);
                        if (got != want && !(std::isnan(got) && std::isnan(want)) && ++bad <= 3)
                            ADD_FAILURE() << "at (" << x << ", " << y << ") pixie " << k << ": got "
                                          << got << ", want " << want;
                    }
            if (bad) return;
        }
}

double clip(double v, double top) { return std::clamp(v, 0.0, top); }

// ---------------------------------------------------------------------------
// 3 x 3 filters

struct Case3 {
    std::string name;
    Call call;
    std::function<int64_t(const Nine& n, int64_t maxval, uint32_t bits)> ref;
};

std::vector<Case3> cases_3x3() {
    std::vector<Case3> cases;
    for (int32_t w : {-7, -1, 0, 1, 2, 8, 23, 248, 249, 4000, 70000, 2000000000}) {
        cases.push_back({"lowpass w=" + std::to_string(w),
                         [w](mvimage* s, mvimage* d) { return mvip8_3x3lowpass(nullptr, s, d, w); },
                         [w](const Nine& n, int64_t top, uint32_t) {
                             int64_t ring = 0;
                             for (int i = 0; i < 9; ++i)
                                 if (i != 4) ring += n[i];
                             const int64_t div = w + 8;
                             return std::min<int64_t>((ring + w * n[4] + div / 2) / div, top) & top;
                         }});
    }
    cases.push_back({"lowpassf", [](mvimage* s, mvimage* d) { return mvip8_3x3lowpassf(nullptr, s, d); },
                     [](const Nine& n, int64_t, uint32_t) {
                         return (n[0] + 2 * n[1] + n[2] + 2 * n[3] + 4 * n[4] + 2 * n[5] + n[6] +
                                 2 * n[7] + n[8] + 8) >> 4;
                     }});
    cases.push_back({"sharpenl", [](mvimage* s, mvimage* d) { return mvip8_3x3sharpenl(nullptr, s, d); },
                     [](const Nine& n, int64_t top, uint32_t) {
                         return std::clamp<int64_t>(5 * n[4] - n[1] - n[3] - n[5] - n[7], 0, top);
                     }});
    for (uint32_t t : {0u, 5u, 23u, 300u, 4095u, 0xFFFFFFFFu}) {
        cases.push_back({"lowpassmear t=" + std::to_string(t),
                         [t](mvimage* s, mvimage* d) { return mvip8_3x3lowpassmear(nullptr, s, d, t); },
                         [t](const Nine& n, int64_t top, uint32_t) {
                             const int64_t c = n[4];
                             const int64_t low = std::max<int64_t>(c - int64_t{t}, 0);
                             const int64_t high = std::min<int64_t>(c + int64_t{t}, top);
                             int64_t sum = c, count = 1;
                             for (int i = 0; i < 9; ++i)
                                 if (i != 4 && n[i] >= low && n[i] <= high) sum += n[i], ++count;
                             return (sum + count / 2) / count;
                         }});
    }
    for (uint32_t t : {0u, 3u, 40u, 4094u, 0xFFFFFFFFu})
        for (uint32_t count : {8u, 4u, 0u}) {
            cases.push_back({"lowpasssalt t=" + std::to_string(t) + " count=" + std::to_string(count),
                             [t, count](mvimage* s, mvimage* d) {
                                 return mvip8_3x3lowpasssalt(nullptr, s, d, t, count);
                             },
                             [t, count](const Nine& n, int64_t, uint32_t) {
                                 int64_t sum = 0;
                                 for (int i = 0; i < 9; ++i) {
                                     if (i == 4 || (count != 8 && i % 2 == 0)) continue;  // corners
                                     if (!(n[4] > n[i] + int64_t{t})) return n[4];
                                     sum += n[i];
                                 }
                                 return count == 8 ? (sum + 4) >> 3 : (sum + 2) >> 2;
                             }});
        }
    auto sorted = [](Nine n) {
        std::sort(n.begin(), n.end());
        return n;
    };
    cases.push_back({"ranklow", [](mvimage* s, mvimage* d) { return mvip8_3x3ranklow(nullptr, s, d); },
                     [sorted](const Nine& n, int64_t, uint32_t) { return sorted(n)[0]; }});
    cases.push_back({"rankhigh", [](mvimage* s, mvimage* d) { return mvip8_3x3rankhigh(nullptr, s, d); },
                     [sorted](const Nine& n, int64_t, uint32_t) { return sorted(n)[8]; }});
    cases.push_back({"median", [](mvimage* s, mvimage* d) { return mvip8_3x3median(nullptr, s, d); },
                     [sorted](const Nine& n, int64_t, uint32_t) { return sorted(n)[4]; }});
    cases.push_back({"medianw", [](mvimage* s, mvimage* d) { return mvip8_3x3medianw(nullptr, s, d); },
                     [](const Nine& n, int64_t, uint32_t) {
                         std::array<int64_t, 11> e;
                         std::copy(n.begin(), n.end(), e.begin());
                         e[9] = e[10] = n[4];
                         std::sort(e.begin(), e.end());
                         return e[5];
                     }});
    cases.push_back({"binmedian", [](mvimage* s, mvimage* d) { return mvip8_3x3binmedian(nullptr, s, d); },
                     [](const Nine& n, int64_t, uint32_t bits) {
                         const int64_t h = int64_t{1} << (bits - 1);
                         int set = 0;
                         for (int64_t v : n) set += (v & h) != 0;
                         return set >= 5 ? h : 0;
                     }});
    return cases;
}

TEST(FilterSmooth, MatchReferenceOnEveryLayout) {
    for (bool baseline : {false, true}) {
        BaselineKernels kernels(baseline);
        for (const Case3& c : cases_3x3())
            check(c.name + (baseline ? " (baseline)" : ""), c.call,
                  [&c](const Plane& p, int x, int y, const Format& f) {
                      return double(c.ref(p.nine(x, y), (int64_t{1} << f.bits) - 1, f.bits));
                  });
    }
}

TEST(FilterSmooth, FlatAndSaltCases) {
    const Format u8{MVTYPE_U8, 8, 1}, u12{MVTYPE_U16, 12, 3};
    for (const Format& f : {u8, u12})
        for (uint32_t v : {0u, 1u, 10u, 200u, 255u, 4095u}) {
            if (v > (1u << f.bits) - 1) continue;
            SCOPED_TRACE(name_of(f) + " constant " + std::to_string(v));
            const std::vector<std::function<int32_t(mvimage*)>> keep = {
                [](mvimage* im) { return mvip8_3x3lowpassf(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3sharpenl(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3ranklow(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3rankhigh(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3median(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3medianw(nullptr, im, im); },
                [](mvimage* im) { return mvip8_3x3lowpassmear(nullptr, im, im, 7); },
                [](mvimage* im) { return mvip8_3x3lowpasssalt(nullptr, im, im, 0, 8); },
                [](mvimage* im) { return mvip8_3x3lowpass(nullptr, im, im, -7); },
                [](mvimage* im) { return mvip8_3x3lowpass(nullptr, im, im, 0); },
                [](mvimage* im) { return mvip8_3x3lowpass(nullptr, im, im, 1); },
                [](mvimage* im) { return mvip8_3x3lowpass(nullptr, im, im, 5000); },
                [](mvimage* im) { return mvip8_3x3lowpass(nullptr, im, im, INT32_MAX - 8); },
            };
            for (size_t i = 0; i < keep.size(); ++i) {
                Picture p(f, 19, 7);
                p.fill(v);
                const std::vector<uint8_t> was = p.bytes();
                ASSERT_EQ(0, keep[i](p.rec())) << "operation " << i;
                EXPECT_EQ(was, p.bytes()) << "operation " << i;
            }
        }
    // A single bright pixel on a dark background.
    for (uint32_t count : {8u, 4u})
        for (uint32_t t : {50u, 190u}) {
            Picture p({MVTYPE_U8, 8, 1}, 5, 5);
            p.fill(10);
            p.set(2, 2, 0, 200);
            ASSERT_EQ(0, mvip8_3x3lowpasssalt(nullptr, p.rec(), p.rec(), t, count));
            EXPECT_EQ(p.get(2, 2, 0), t == 50 ? 10 : 200) << "t " << t << " count " << count;
        }
}

// ---------------------------------------------------------------------------
// N x N filters

// r = sum(coef v) over the n x n neighbourhood.
int64_t weighted_sum(const Plane& p, int x, int y, int n, const int32_t* coef) {
    int64_t r = 0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) r += int64_t{coef[i * n + j]} * int64_t(p.at(x + j - n / 2, y + i - n / 2));
    return r;
}

double convolve_ref(const Plane& p, int x, int y, int n, const int32_t* coef, int32_t offset,
                    int32_t divisor, uint32_t mode, int64_t top) {
    const int64_t r = weighted_sum(p, x, y, n, coef);
    int64_t d = divisor;
    if (d == 0)
        for (int i = 0; i < n * n; ++i) d += coef[i];
    if (d == 0) d = 1;
    // Rounded half away from zero.
    const int64_t mag = ((r < 0 ? -r : r) + (d < 0 ? -d : d) / 2) / (d < 0 ? -d : d);
    const int64_t q = (r < 0) != (d < 0) ? -mag : mag;
    int64_t v = 0;
    switch (mode) {
        case 0: v = q + offset; break;
        case 1: v = (q < 0 ? -q : q) + offset; break;
        case 2: v = q + offset + (top + 1) / 2; break;
        default: v = int64_t(p.at(x, y)) + q + offset; break;
    }
    return double(std::clamp<int64_t>(v, 0, top));
}

const Format kIntFormats[] = {{MVTYPE_U8, 8, 1}, {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 3}};

TEST(FilterNxN, ConvolveMatchesReference) {
    std::mt19937 rng(7);
    struct Mask {
        int n;
        std::vector<int32_t> coef;
    };
    auto random_mask = [&rng](int n, int32_t span) {
        Mask m{n, std::vector<int32_t>(size_t(n) * n)};
        for (int32_t& c : m.coef) c = int32_t(int64_t(rng() % (2 * uint64_t(span) + 1)) - span);
        return m;
    };
    std::vector<Mask> masks = {random_mask(3, 5), random_mask(5, 40), random_mask(7, 3), random_mask(15, 2),
                               random_mask(3, 1 << 20), random_mask(3, INT32_MAX)};  // 64-bit sums
    masks.push_back({3, {0, 0, 0, 0, 1, 0, 0, 0, 0}});
    masks.push_back({3, {1, 1, 1, 1, 1, 1, 1, 1, 1}});
    masks.push_back({3, {1, -1, 0, 0, 0, 0, 0, 0, 0}});  // sum 0: divisor 1
    masks.push_back({3, {INT32_MIN, INT32_MIN, 0, 0, INT32_MAX, 0, 0, 0, INT32_MIN}});
    const int32_t offsets[] = {0, 17, -300, INT32_MAX, INT32_MIN};
    const int32_t divisors[] = {0, 1, 3, -16, 1000003, INT32_MIN};
    for (bool baseline : {false, true}) {
        BaselineKernels kernels(baseline);
        for (size_t mi = 0; mi < masks.size(); ++mi)
            for (uint32_t mode = 0; mode < 4; ++mode) {
                // A few offset/divisor pairs per mask and mode.
                const int32_t offset = offsets[(mi + mode) % 5];
                const int32_t divisor = divisors[(mi * 4 + mode) % 6];
                const Mask& m = masks[mi];
                check("convolve mask " + std::to_string(mi) + " mode " + std::to_string(mode) +
                          " offset " + std::to_string(offset) + " divisor " + std::to_string(divisor) +
                          (baseline ? " (baseline)" : ""),
                      [&](mvimage* s, mvimage* d) {
                          return mvip8_NxNconvolve(nullptr, s, d, m.n, m.coef.data(), offset, divisor, mode);
                      },
                      [&](const Plane& p, int x, int y, const Format& f) {
                          return convolve_ref(p, x, y, m.n, m.coef.data(), offset, divisor, mode,
                                              (int64_t{1} << f.bits) - 1);
                      },
                      {std::begin(kIntFormats), std::end(kIntFormats)}, uint32_t(mi * 4 + mode));
            }
    }
}

// The built-in 3 x 3 masks run their own kernels; the same mask with a ring
// of zeros around it (5 x 5) runs the general kernel and must agree.
TEST(FilterNxN, BuiltInMasksAgreeWithGeneralKernel) {
    const int32_t masks[][9] = {
        {1, 2, 1, 2, 4, 2, 1, 2, 1},     {0, -1, 0, -1, 5, -1, 0, -1, 0}, {-1, -1, -1, 0, 0, 0, 1, 1, 1},
        {1, 1, 1, 0, 0, 0, -1, -1, -1},  {-1, 0, 1, -1, 0, 1, -1, 0, 1},  {1, 0, -1, 1, 0, -1, 1, 0, -1},
        {0, 1, 0, 1, -4, 1, 0, 1, 0},    {0, -1, 0, -1, 4, -1, 0, -1, 0}, {1, 1, 1, 1, -8, 1, 1, 1, 1},
        {-1, -1, -1, -1, 8, -1, -1, -1, -1}, {0, -1, 0, -1, 6, -1, 0, -1, 0}, {0, 0, 0, -1, 4, -1, 0, 0, 0},
        {0, -1, 0, 0, 4, 0, 0, -1, 0},
    };
    const int32_t offsets[] = {0, 37, -100};
    const int32_t divisors[] = {0, 1, 3, -7, 16};
    std::mt19937 rng(11);
    for (bool baseline : {false, true}) {
        BaselineKernels kernels(baseline);
        for (const Format& f : kIntFormats)
            for (size_t mi = 0; mi < std::size(masks); ++mi) {
                int32_t wide[25] = {};
                for (int i = 0; i < 3; ++i)
                    for (int j = 0; j < 3; ++j) wide[(i + 1) * 5 + j + 1] = masks[mi][i * 3 + j];
                Picture src(f, 45, 6);
                src.randomize(rng);
                for (uint32_t mode = 0; mode < 4; ++mode)
                    for (int32_t offset : offsets)
                        for (int32_t divisor : divisors) {
                            Picture fixed(f, 45, 6), general(f, 45, 6);
                            ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), fixed.rec(), 3, masks[mi],
                                                           offset, divisor, mode));
                            ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), general.rec(), 5, wide,
                                                           offset, divisor, mode));
                            ASSERT_EQ(fixed.bytes(), general.bytes())
                                << name_of(f) << " mask " << mi << " mode " << mode << " offset "
                                << offset << " divisor " << divisor << (baseline ? " (baseline)" : "");
                        }
            }
    }
}

// Relations stated in the documentation between the convolution and the
// fixed filters.
TEST(FilterNxN, ConvolveReproducesFixedFilters) {
    const int32_t binomial[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    const int32_t sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    const int32_t laplace[9] = {0, -1, 0, -1, 4, -1, 0, -1, 0};
    std::mt19937 rng(3);
    for (const Format& f : kIntFormats) {
        Picture src(f, 33, 8), a(f, 33, 8), b(f, 33, 8);
        src.randomize(rng);
        ASSERT_EQ(0, mvip8_3x3lowpassf(nullptr, src.rec(), a.rec()));
        ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), b.rec(), 3, binomial, 0, 0, 0));
        EXPECT_EQ(a.bytes(), b.bytes()) << name_of(f);
        ASSERT_EQ(0, mvip8_3x3sharpenl(nullptr, src.rec(), a.rec()));
        ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), b.rec(), 3, sharpen, 0, 0, 0));
        EXPECT_EQ(a.bytes(), b.bytes()) << name_of(f);
        ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), b.rec(), 3, laplace, 0, 0, 3));
        EXPECT_EQ(a.bytes(), b.bytes()) << name_of(f);
    }
}

TEST(FilterNxN, ConvolveFloatMatchesReference) {
    std::mt19937 rng(5);
    const Format formats[] = {{MVTYPE_U8, 8, 1}, {MVTYPE_U16, 12, 3}, {MVTYPE_FLOAT, 0, 1}, {MVTYPE_DOUBLE, 0, 3}};
    struct Case {
        int n;
        std::vector<double> coef;
        double offset, divisor;
    };
    std::vector<Case> cases;
    cases.push_back({3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 0, 0});
    cases.push_back({3, {0.5, 0, -0.5, 1, 0, -1, 0.5, 0, -0.5}, 0.5, 0});  // sum 0: divisor 1
    cases.push_back({3, {0, 0, 0, 0, 1, 0, 0, 0, 0}, 0.5, 2});             // exact halves
    Case big{7, std::vector<double>(49), -3.25, -2.5};
    for (double& c : big.coef) c = (double(rng() % 2001) - 1000) / 97;
    cases.push_back(big);
    for (bool baseline : {false, true}) {
        BaselineKernels kernels(baseline);
        for (size_t ci = 0; ci < cases.size(); ++ci)
            for (uint32_t mode = 0; mode < 4; ++mode) {
                const Case& c = cases[ci];
                check("convolvef case " + std::to_string(ci) + " mode " + std::to_string(mode) +
                          (baseline ? " (baseline)" : ""),
                      [&](mvimage* s, mvimage* d) {
                          return mvip8_NxNconvolvef(nullptr, s, d, c.n, c.coef.data(), c.offset, c.divisor, mode);
                      },
                      [&](const Plane& p, int x, int y, const Format& f) {
                          double r = 0, sum = 0;
                          for (int i = 0; i < c.n; ++i)
                              for (int j = 0; j < c.n; ++j) {
                                  const double k = c.coef[size_t(i) * c.n + j];
                                  sum += k;
                                  if (k != 0) r += k * p.at(x + j - c.n / 2, y + i - c.n / 2);
                              }
                          const double d = c.divisor != 0 ? c.divisor : sum != 0 ? sum : 1;
                          const double q = r / d;
                          const bool floats = f.type == MVTYPE_FLOAT || f.type == MVTYPE_DOUBLE;
                          // Fresh float images range over [0, 1].
                          const double top = floats ? 1 : double((1u << f.bits) - 1);
                          const double middle = floats ? 0.5 : (top + 1) / 2;
                          // Summed left to right: q + offset, then the centre value
                          // of the range (mode 2) or the source value (mode 3).
                          double v = (mode == 1 ? std::fabs(q) : q) + c.offset;
                          if (mode == 2) v += middle;
                          if (mode == 3) v += p.at(x, y);
                          if (f.type == MVTYPE_FLOAT) return double(float(v));
                          if (floats) return v;
                          return std::floor(clip(v, top) + 0.5);
                      },
                      {std::begin(formats), std::end(formats)}, uint32_t(ci));
            }
    }
}

TEST(FilterNxN, DynamicThresholdMatchesReference) {
    for (bool baseline : {false, true}) {
        BaselineKernels kernels(baseline);
        for (uint32_t n : {3u, 5u, 15u})
            for (int32_t offset : {0, 3, -20, 70000, -70000, INT32_MAX, INT32_MIN}) {
                check("dynthreshold n " + std::to_string(n) + " offset " + std::to_string(offset) +
                          (baseline ? " (baseline)" : ""),
                      [&](mvimage* s, mvimage* d) { return mvip8_NxNdynthreshold(nullptr, s, d, n, offset); },
                      [&](const Plane& p, int x, int y, const Format& f) {
                          const int64_t r = int(n) / 2, area = int64_t{n} * n;
                          int64_t sum = 0;
                          for (int64_t i = -r; i <= r; ++i)
                              for (int64_t j = -r; j <= r; ++j) sum += int64_t(p.at(x + int(j), y + int(i)));
                          const bool above = int64_t(p.at(x, y)) * area > sum + int64_t{offset} * area;
                          return above ? double((1u << f.bits) - 1) : 0.0;
                      },
                      {std::begin(kIntFormats), std::end(kIntFormats)}, n + uint32_t(offset));
            }
    }
}

TEST(FilterNxN, RejectsBadArguments) {
    Picture p({MVTYPE_U8, 8, 1}, 8, 8), q32({MVTYPE_U32, 32, 1}, 8, 8);
    int32_t coef[225] = {};
    coef[4] = 1;
    double fcoef[225] = {};
    mvimage* im = p.rec();
    for (uint32_t n : {0u, 1u, 2u, 4u, 17u}) {
        EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolve(nullptr, im, im, n, coef, 0, 0, 0)) << n;
        EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, n, fcoef, 0, 0, 0)) << n;
        EXPECT_EQ(MVERR_USAGE, mvip8_NxNdynthreshold(nullptr, im, im, n, 0)) << n;
    }
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolve(nullptr, im, im, 3, nullptr, 0, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolve(nullptr, im, im, 3, coef, 0, 0, 4));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolve(nullptr, nullptr, im, 3, coef, 0, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, 3, nullptr, 0, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, 3, fcoef, 0, 0, 4));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, 3, fcoef, NAN, 1, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, 3, fcoef, 0, INFINITY, 0));
    fcoef[3] = NAN;
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNconvolvef(nullptr, im, im, 3, fcoef, 0, 1, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_NxNdynthreshold(nullptr, im, nullptr, 3, 0));
    EXPECT_EQ(MVERR_USAGE, mvip8_3x3lowpass(nullptr, im, im, -8));
    EXPECT_EQ(MVERR_USAGE, mvip8_3x3median(nullptr, nullptr, im));
    EXPECT_EQ(MVERR_USAGE, mvip8_3x3lowpasssalt(nullptr, im, nullptr, 1, 8));
    // Integer filters take u8 and u16 only.
    mvimage* wide = q32.rec();
    EXPECT_EQ(MVERR_DATATYPE, mvip8_3x3median(nullptr, wide, wide));
    EXPECT_EQ(MVERR_DATATYPE, mvip8_3x3lowpassf(nullptr, wide, wide));
    EXPECT_EQ(MVERR_DATATYPE, mvip8_NxNconvolve(nullptr, wide, wide, 3, coef, 0, 0, 0));
    EXPECT_EQ(MVERR_DATATYPE, mvip8_NxNdynthreshold(nullptr, wide, wide, 3, 0));
}

}  // namespace
