// Smoothing, sharpening, rank and median filters and the N x N filters
// against plain references written here: explicit neighbourhood loops over
// the source window extended by replicating its edge pixels.  Every case
// runs on several image shapes, u8 and u16 (also fewer bits than the
// container), monochrome and colour, windows inside larger images, in place
// and into another image.
#include "test_util.hpp"

#include <array>

namespace {

using namespace mvtest;

using Nine = std::array<int64_t, 9>;

// A copy of one pixie plane of a window, read with replicated borders.
class Plane {
public:
    Plane(const Image& p, uint32_t k) : w_(int(p.ww())), h_(int(p.wh())) {
        for (int y = 0; y < h_; ++y)
            for (int x = 0; x < w_; ++x) v_.push_back(p.wget(x, y, k));
    }
    double at(int x, int y) const { return v_[size_t(std::clamp(y, 0, h_ - 1)) * w_ + std::clamp(x, 0, w_ - 1)]; }
    // The 3 x 3 neighbourhood of (x, y) row by row: A0 A1 A2 M0 C M2 B0 B1 B2.
    Nine nine(int x, int y) const {
        Nine n;
        for (int i = 0; i < 9; ++i) n[i] = static_cast<int64_t>(at(x + i % 3 - 1, y + i / 3 - 1));
        return n;
    }

private:
    int w_, h_;
    std::vector<double> v_;
};

// Random values: the extremes, a few recurring values (ties), values close
// to each other (for the tolerance filters) and uniform ones.
void randomize(Image& im, std::mt19937& rng) {
    const bool floats = is_float(im.fmt().type);
    const uint32_t top = floats ? 255 : uint32_t(max_of(im.fmt()));
    const uint32_t base = rng() % (top + 1);
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x)
            for (uint32_t k = 0; k < im.pixies(); ++k) {
                const uint32_t pick = rng() % 8, r = rng();
                const uint32_t v = pick == 0   ? 0
                                   : pick == 1 ? top
                                   : pick == 2 ? top / 3 * (r % 4)
                                   : pick <= 4 ? std::min<uint32_t>(top, base + r % 24)
                                               : r % (top + 1);
                im.set(x, y, k, floats ? v / 255.0 - 0.25 : v);
            }
}

using Call = std::function<int32_t(mvimage* src, mvimage* dst)>;
// Expected value of window pixel (x, y) from the source plane.
using Reference = std::function<double(const Plane& src, int x, int y, const Format& f)>;

struct Layout2 {
    uint32_t w, h;    // window size
    uint32_t mx, my;  // window corner in the source image (margins)
    bool in_place;
};
const Layout2 kLayouts[] = {
    {1, 1, 0, 0, false}, {1, 1, 1, 1, true}, {7, 1, 0, 0, false},  {1, 6, 0, 0, true},  {2, 2, 0, 0, false},
    {2, 2, 2, 1, true},  {13, 9, 0, 0, true}, {21, 11, 3, 2, false}, {37, 5, 2, 3, true},
    {530, 3, 1, 1, false},  // wider than the kernels' column chunk
};

const Format kFormats[] = {
    {MVTYPE_U8, 8, 1}, {MVTYPE_U8, 8, 3}, {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 1}, {MVTYPE_U16, 12, 3},
};
const Format kIntFormats[] = {{MVTYPE_U8, 8, 1}, {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 3}};

// Checks `call` against `ref` on every format and layout: the destination
// window holds the reference values and nothing outside it changes.
template <class Formats>
void check(const std::string& what, const Call& call, const Reference& ref, const Formats& formats, uint32_t seed = 1) {
    std::mt19937 rng(seed);
    for (const Format& f : formats)
        for (const Layout2& l : kLayouts) {
            SCOPED_TRACE(what + " " + name_of(f) + " " + std::to_string(l.w) + "x" + std::to_string(l.h) +
                         (l.in_place ? " in place" : ""));
            Image src(f, l.w + 2 * l.mx + 1, l.h + 2 * l.my), other(f, l.w + 3, l.h + 1);
            randomize(src, rng);
            randomize(other, rng);
            Image& dst = l.in_place ? src : other;
            src.window(int32_t(l.mx), int32_t(l.my), int32_t(l.mx + l.w), int32_t(l.my + l.h));
            if (!l.in_place) other.window(2, 1, 2 + int32_t(l.w), 1 + int32_t(l.h));
            std::vector<Plane> planes;
            for (uint32_t k = 0; k < f.pixies; ++k) planes.emplace_back(src, k);
            const auto want = with_window(
                dst, [&](uint32_t x, uint32_t y, uint32_t k) { return ref(planes[k], int(x), int(y), f); });
            ASSERT_EQ(0, call(src.rec(), dst.rec()));
            ASSERT_TRUE(holds(dst, want));
        }
}

// ---- 3 x 3 filters ----------------------------------------------------------

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
                             const int64_t ring = n[0] + n[1] + n[2] + n[3] + n[5] + n[6] + n[7] + n[8], div = w + 8;
                             return std::min<int64_t>((ring + w * n[4] + div / 2) / div, top) & top;  // clipped above only
                         }});
    }
    cases.push_back({"lowpassf", [](mvimage* s, mvimage* d) { return mvip8_3x3lowpassf(nullptr, s, d); },
                     [](const Nine& n, int64_t, uint32_t) {
                         return (n[0] + 2 * n[1] + n[2] + 2 * n[3] + 4 * n[4] + 2 * n[5] + n[6] + 2 * n[7] + n[8] + 8) >> 4;
                     }});
    cases.push_back({"sharpenl", [](mvimage* s, mvimage* d) { return mvip8_3x3sharpenl(nullptr, s, d); },
                     [](const Nine& n, int64_t top, uint32_t) {
                         return std::clamp<int64_t>(5 * n[4] - n[1] - n[3] - n[5] - n[7], 0, top);
                     }});
    for (uint32_t t : {0u, 5u, 23u, 300u, 4095u, 0xFFFFFFFFu}) {
        cases.push_back({"lowpassmear t=" + std::to_string(t),
                         [t](mvimage* s, mvimage* d) { return mvip8_3x3lowpassmear(nullptr, s, d, t); },
                         [t](const Nine& n, int64_t top, uint32_t) {
                             const int64_t c = n[4], low = std::max<int64_t>(c - int64_t{t}, 0),
                                           high = std::min<int64_t>(c + int64_t{t}, top);
                             int64_t sum = c, count = 1;
                             for (int i = 0; i < 9; ++i)
                                 if (i != 4 && n[i] >= low && n[i] <= high) sum += n[i], ++count;
                             return (sum + count / 2) / count;
                         }});
    }
    for (uint32_t t : {0u, 3u, 40u, 4094u, 0xFFFFFFFFu})
        for (uint32_t count : {8u, 4u, 0u}) {
            cases.push_back({"lowpasssalt t=" + std::to_string(t) + " count=" + std::to_string(count),
                             [t, count](mvimage* s, mvimage* d) { return mvip8_3x3lowpasssalt(nullptr, s, d, t, count); },
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
    auto rank = [](Nine n, size_t i) {
        std::sort(n.begin(), n.end());
        return n[i];
    };
    cases.push_back({"ranklow", [](mvimage* s, mvimage* d) { return mvip8_3x3ranklow(nullptr, s, d); },
                     [=](const Nine& n, int64_t, uint32_t) { return rank(n, 0); }});
    cases.push_back({"rankhigh", [](mvimage* s, mvimage* d) { return mvip8_3x3rankhigh(nullptr, s, d); },
                     [=](const Nine& n, int64_t, uint32_t) { return rank(n, 8); }});
    cases.push_back({"median", [](mvimage* s, mvimage* d) { return mvip8_3x3median(nullptr, s, d); },
                     [=](const Nine& n, int64_t, uint32_t) { return rank(n, 4); }});
    cases.push_back({"medianw", [](mvimage* s, mvimage* d) { return mvip8_3x3medianw(nullptr, s, d); },
                     [](const Nine& n, int64_t, uint32_t) {  // the centre counted three times
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
    for (const Case3& c : cases_3x3())
        check(c.name, c.call, [&c](const Plane& p, int x, int y, const Format& f) {
            return double(c.ref(p.nine(x, y), (int64_t{1} << f.bits) - 1, f.bits));
        }, kFormats);
}

// ---- N x N filters ----------------------------------------------------------

double convolve_ref(const Plane& p, int x, int y, int n, const int32_t* coef, int32_t offset, int32_t divisor,
                    uint32_t mode, int64_t top) {
    int64_t r = 0, d = divisor;
    for (int i = 0; i < n * n; ++i) r += int64_t{coef[i]} * int64_t(p.at(x + i % n - n / 2, y + i / n - n / 2));
    if (d == 0)
        for (int i = 0; i < n * n; ++i) d += coef[i];
    if (d == 0) d = 1;
    // Rounded half away from zero.
    const int64_t mag = ((r < 0 ? -r : r) + (d < 0 ? -d : d) / 2) / (d < 0 ? -d : d);
    const int64_t q = (r < 0) != (d < 0) ? -mag : mag;
    const int64_t v = mode == 0 ? q + offset : mode == 1 ? (q < 0 ? -q : q) + offset
                      : mode == 2 ? q + offset + (top + 1) / 2 : int64_t(p.at(x, y)) + q + offset;
    return double(std::clamp<int64_t>(v, 0, top));
}

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
    std::vector<Mask> masks = {random_mask(3, 5),  random_mask(5, 40),      random_mask(7, 3),
                               random_mask(15, 2), random_mask(3, 1 << 20), random_mask(3, INT32_MAX)};  // 64-bit sums
    masks.push_back({3, {0, 0, 0, 0, 1, 0, 0, 0, 0}});
    masks.push_back({3, {1, 1, 1, 1, 1, 1, 1, 1, 1}});
    masks.push_back({3, {1, -1, 0, 0, 0, 0, 0, 0, 0}});  // sum 0: divisor 1
    masks.push_back({3, {INT32_MIN, INT32_MIN, 0, 0, INT32_MAX, 0, 0, 0, INT32_MIN}});
    const int32_t offsets[] = {0, 17, -300, INT32_MAX, INT32_MIN};
    const int32_t divisors[] = {0, 1, 3, -16, 1000003, INT32_MIN};
    for (size_t mi = 0; mi < masks.size(); ++mi)
        for (uint32_t mode = 0; mode < 4; ++mode) {
            // A few offset/divisor pairs per mask and mode.
            const int32_t offset = offsets[(mi + mode) % 5], divisor = divisors[(mi * 4 + mode) % 6];
            const Mask& m = masks[mi];
            check(
                "convolve mask " + std::to_string(mi) + " mode " + std::to_string(mode) + " offset " +
                    std::to_string(offset) + " divisor " + std::to_string(divisor),
                [&](mvimage* s, mvimage* d) {
                    return mvip8_NxNconvolve(nullptr, s, d, m.n, m.coef.data(), offset, divisor, mode);
                },
                [&](const Plane& p, int x, int y, const Format& f) {
                    return convolve_ref(p, x, y, m.n, m.coef.data(), offset, divisor, mode,
                                        (int64_t{1} << f.bits) - 1);
                },
                kIntFormats, uint32_t(mi * 4 + mode));
        }
}

// The built-in 3 x 3 masks run their own kernels; the same mask with a ring
// of zeros around it (5 x 5) runs the general kernel and must agree.
TEST(FilterNxN, BuiltInMasksAgreeWithGeneralKernel) {
    const int32_t masks[][9] = {
        {1, 2, 1, 2, 4, 2, 1, 2, 1},         {0, -1, 0, -1, 5, -1, 0, -1, 0}, {-1, -1, -1, 0, 0, 0, 1, 1, 1},
        {1, 1, 1, 0, 0, 0, -1, -1, -1},      {-1, 0, 1, -1, 0, 1, -1, 0, 1},  {1, 0, -1, 1, 0, -1, 1, 0, -1},
        {0, 1, 0, 1, -4, 1, 0, 1, 0},        {0, -1, 0, -1, 4, -1, 0, -1, 0}, {1, 1, 1, 1, -8, 1, 1, 1, 1},
        {-1, -1, -1, -1, 8, -1, -1, -1, -1}, {0, -1, 0, -1, 6, -1, 0, -1, 0}, {0, 0, 0, -1, 4, -1, 0, 0, 0},
        {0, -1, 0, 0, 4, 0, 0, -1, 0},
    };
    std::mt19937 rng(11);
    for (const Format& f : kIntFormats)
        for (size_t mi = 0; mi < std::size(masks); ++mi) {
            int32_t wide[25] = {};
            for (int i = 0; i < 9; ++i) wide[(i / 3 + 1) * 5 + i % 3 + 1] = masks[mi][i];
            Image src(f, 45, 6);
            randomize(src, rng);
            for (uint32_t mode = 0; mode < 4; ++mode)
                for (int32_t offset : {0, 37, -100})
                    for (int32_t divisor : {0, 1, 3, -7, 16}) {
                        Image fixed(f, 45, 6), general(f, 45, 6);
                        ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), fixed.rec(), 3, masks[mi], offset, divisor, mode));
                        ASSERT_EQ(0, mvip8_NxNconvolve(nullptr, src.rec(), general.rec(), 5, wide, offset, divisor, mode));
                        ASSERT_EQ(fixed.values(), general.values()) << name_of(f) << " mask " << mi << " mode " << mode
                                                                    << " offset " << offset << " divisor " << divisor;
                    }
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
    std::vector<Case> cases = {
        {3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 0, 0},
        {3, {0.5, 0, -0.5, 1, 0, -1, 0.5, 0, -0.5}, 0.5, 0},  // sum 0: divisor 1
        {3, {0, 0, 0, 0, 1, 0, 0, 0, 0}, 0.5, 2},             // exact halves
        {7, std::vector<double>(49), -3.25, -2.5},
    };
    for (double& c : cases.back().coef) c = (double(rng() % 2001) - 1000) / 97;
    for (size_t ci = 0; ci < cases.size(); ++ci)
        for (uint32_t mode = 0; mode < 4; ++mode) {
            const Case& c = cases[ci];
            check(
                "convolvef case " + std::to_string(ci) + " mode " + std::to_string(mode),
                [&](mvimage* s, mvimage* d) {
                    return mvip8_NxNconvolvef(nullptr, s, d, c.n, c.coef.data(), c.offset, c.divisor, mode);
                },
                [&](const Plane& p, int x, int y, const Format& f) {
                    double r = 0, sum = 0;
                    for (int i = 0; i < c.n * c.n; ++i) {
                        sum += c.coef[size_t(i)];
                        if (c.coef[size_t(i)] != 0)
                            r += c.coef[size_t(i)] * p.at(x + i % c.n - c.n / 2, y + i / c.n - c.n / 2);
                    }
                    const double q = r / (c.divisor != 0 ? c.divisor : sum != 0 ? sum : 1);
                    const bool floats = is_float(f.type);
                    const double top = floats ? 1 : double(max_of(f));  // fresh float images range over [0, 1]
                    // Summed left to right: q + offset, then the centre value
                    // of the range (mode 2) or the source value (mode 3).
                    double v = (mode == 1 ? std::fabs(q) : q) + c.offset;
                    if (mode == 2) v += floats ? 0.5 : (top + 1) / 2;
                    if (mode == 3) v += p.at(x, y);
                    if (f.type == MVTYPE_FLOAT) return double(float(v));
                    return floats ? v : std::floor(std::clamp(v, 0.0, top) + 0.5);
                },
                formats, uint32_t(ci));
        }
}

TEST(FilterNxN, DynamicThresholdMatchesReference) {
    for (uint32_t n : {3u, 5u, 15u})
        for (int32_t offset : {0, 3, -20, 70000, -70000, INT32_MAX, INT32_MIN})
            check("dynthreshold n " + std::to_string(n) + " offset " + std::to_string(offset),
                  [&](mvimage* s, mvimage* d) { return mvip8_NxNdynthreshold(nullptr, s, d, n, offset); },
                  [&](const Plane& p, int x, int y, const Format& f) {
                      const int64_t r = int(n) / 2, area = int64_t{n} * n;
                      int64_t sum = 0;
                      for (int64_t i = -r; i <= r; ++i)
                          for (int64_t j = -r; j <= r; ++j) sum += int64_t(p.at(x + int(j), y + int(i)));
                      return int64_t(p.at(x, y)) * area > sum + int64_t{offset} * area ? double(max_of(f)) : 0.0;
                  },
                  kIntFormats, n + uint32_t(offset));
}

TEST(FilterNxN, RejectsBadArguments) {
    Image p({MVTYPE_U8, 8, 1}, 8, 8), q32({MVTYPE_U32, 32, 1}, 8, 8);
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
