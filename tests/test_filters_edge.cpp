// Edge operators (Sobel, the alternative gradient, Roberts, Kirsch) and the
// life step against plain references written here: explicit loops over an
// explicitly extended window (zero border, or replicated for mode 1); and
// how the neighbourhood frame presents other image types to them.
#include "test_util.hpp"

#include <numbers>

namespace {

using namespace mvtest;

// One pixie plane of a window as the operators see it: 8-bit values.
struct Plane {
    int w, h;
    std::vector<int> v;
    Plane(const Image& img, uint32_t c) : w(int(img.ww())), h(int(img.wh())), v(size_t(w) * h) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) v[size_t(y) * w + x] = int(img.wget(x, y, c)) >> (img.fmt().bits - 8);
    }
    int at(int x, int y, bool replicate) const {
        if (replicate) {
            x = std::clamp(x, 0, w - 1);
            y = std::clamp(y, 0, h - 1);
        } else if (x < 0 || y < 0 || x >= w || y >= h) {
            return 0;
        }
        return v[size_t(y) * w + x];
    }
};

// ---- references -------------------------------------------------------------

enum class Op { sobel, sobela, roberts, kirsch, life };

int isqrt_ref(int64_t n) {
    int64_t k = int64_t(std::sqrt(double(n)));
    while (k * k > n) --k;
    while ((k + 1) * (k + 1) <= n) ++k;
    return int(k);
}

// Chain code of (gx east, gy north): the nearest of the eight 45-degree
// directions, 0 east, counter-clockwise; 0 for no gradient.
unsigned direction_ref(int gx, int gy) {
    if (gx == 0 && gy == 0) return 0;
    const double octant = std::atan2(double(gy), double(gx)) / (std::numbers::pi / 4);
    return unsigned((std::lround(octant) + 8) % 8);
}

int log_field(int value, int entries) {
    return int(std::trunc(std::log(value + 1.0) * 31.0 / std::log(double(entries)) + 0.5));
}

// Weights and largest magnitude of the two gradient operators.
struct GradientRef {
    int side, middle, max;
};
constexpr GradientRef kSobelRef{1, 2, 1140};
constexpr GradientRef kAltRef{3, 10, 4811};

int gradient_ref(const GradientRef& g, unsigned mode, const Plane& p, int x, int y) {
    auto P = [&](int dx, int dy) { return p.at(x + dx, y + dy, mode == 1); };
    const int gx = (g.side * P(1, -1) + g.middle * P(1, 0) + g.side * P(1, 1)) -
                   (g.side * P(-1, -1) + g.middle * P(-1, 0) + g.side * P(-1, 1));
    const int gy = (g.side * P(-1, -1) + g.middle * P(0, -1) + g.side * P(1, -1)) -
                   (g.side * P(-1, 1) + g.middle * P(0, 1) + g.side * P(1, 1));
    const int mag = isqrt_ref(int64_t(gx) * gx + int64_t(gy) * gy);
    const int scaled = (mag * 255 + g.max / 2) / g.max;
    switch (mode) {
        case 0: return scaled;
        case 1: return std::clamp(P(0, 0) - scaled, 0, 255);
        case 2: {
            const int field = log_field(mag, g.max + 1);
            return field << 3 | (field ? int(direction_ref(gx, gy)) : 0);
        }
        default: return std::min(mag, 255);
    }
}

int roberts_ref(unsigned mode, const Plane& p, int x, int y) {
    const bool rep = mode == 1;
    const int u0 = p.at(x, y, rep), u1 = p.at(x + 1, y, rep), l0 = p.at(x, y + 1, rep), l1 = p.at(x + 1, y + 1, rep);
    const int sum = std::abs(l1 - u0) + std::abs(u1 - l0);
    switch (mode) {
        case 0: return sum / 2;
        case 1: return std::clamp(u0 - sum / 2, 0, 255);
        case 2: {
            const int field = log_field(sum, 511);
            return field << 3 | (field ? int(direction_ref((u1 + l1) - (u0 + l0), (u0 + u1) - (l0 + l1))) : 0);
        }
        default: return std::min(sum, 255);
    }
}

int kirsch_ref(unsigned mode, const Plane& p, int x, int y) {
    const bool rep = mode == 1;
    const int dx[8] = {-1, 0, 1, 1, 1, 0, -1, -1};  // clockwise from the top left
    const int dy[8] = {-1, -1, -1, 0, 1, 1, 1, 0};
    int n[8];
    for (int i = 0; i < 8; ++i) n[i] = p.at(x + dx[i], y + dy[i], rep);
    int best = 0, dir = -1;
    for (int k = 0; k < 8; ++k) {
        int r = 0;
        for (int i = 0; i < 8; ++i) r += (i == k || i == (k + 1) % 8 || i == (k + 2) % 8 ? 5 : -3) * n[i];
        if (dir < 0 || r > best) best = r, dir = k;
    }
    switch (mode) {
        case 0: return std::max(best, 0) / 15;
        case 1: return std::clamp(p.at(x, y, rep) - std::max(best, 0) / 15, 0, 255);
        case 2: {
            if (best <= 0) return 0;
            const int field = int(std::trunc(std::log(best + 1.0) * 31 / 8.24957515)) & 31;
            return field << 3 | (field ? (2 - dir) & 7 : 0);
        }
        default: return std::clamp(best, 0, 255);
    }
}

int life_ref(const Plane& p, int x, int y) {
    int s = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) s += p.at(x + dx, y + dy, false) >= 128;
    const int c = p.at(x, y, false);
    const bool alive = c >= 128 ? (s == 3 || s == 4) : s == 3;
    return (c >> 2) | (alive ? 128 : 0);
}

int reference(Op op, unsigned mode, const Plane& p, int x, int y) {
    switch (op) {
        case Op::sobel: return gradient_ref(kSobelRef, mode & 3, p, x, y);
        case Op::sobela: return gradient_ref(kAltRef, mode & 3, p, x, y);
        case Op::roberts: return roberts_ref(mode & 3, p, x, y);
        case Op::kirsch: return kirsch_ref(mode & 3, p, x, y);
        default: return life_ref(p, x, y);
    }
}

int32_t call(Op op, unsigned mode, mvabort* hook, mvimage* src, mvimage* dst) {
    switch (op) {
        case Op::sobel: return mvip8_3x3sobel(hook, src, dst, mode);
        case Op::sobela: return mvip8_3x3sobela(hook, src, dst, mode);
        case Op::roberts: return mvip8_2x2roberts(hook, src, dst, mode);
        case Op::kirsch: return mvip8_3x3kirsch(hook, src, dst, mode);
        default: return mvip8_3x3life(hook, src, dst);
    }
}

struct OpCase {
    const char* name;
    Op op;
    unsigned mode;
};
const OpCase kOps[] = {
    {"sobel0", Op::sobel, 0},     {"sobel1", Op::sobel, 1},     {"sobel2", Op::sobel, 2},     {"sobel3", Op::sobel, 3},
    {"sobel6", Op::sobel, 6},     {"sobela0", Op::sobela, 0},   {"sobela1", Op::sobela, 1},   {"sobela2", Op::sobela, 2},
    {"sobela3", Op::sobela, 3},   {"roberts0", Op::roberts, 0}, {"roberts1", Op::roberts, 1}, {"roberts2", Op::roberts, 2},
    {"roberts3", Op::roberts, 3}, {"kirsch0", Op::kirsch, 0},   {"kirsch1", Op::kirsch, 1},   {"kirsch2", Op::kirsch, 2},
    {"kirsch3", Op::kirsch, 3},   {"kirsch5", Op::kirsch, 5},   {"life", Op::life, 0},
};

// Every operator and mode on random images of several sizes (vector groups
// and their tails included), u8 and u16 at 16 and 12 bits, monochrome and
// colour, windows inside larger images (their edges are the border: pixels
// outside are not read, nor written), into another image and in place.
// u16 images are filtered on their top eight bits, the results written
// back scaled.
TEST(EdgeFilters, MatchReferenceOnRandomImages) {
    const std::pair<uint32_t, uint32_t> sizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {3, 3}, {17, 2}, {37, 5}, {64, 4}};
    const Format formats[] = {{MVTYPE_U8, 8, 1}, {MVTYPE_U8, 8, 3}, {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 3}};
    uint32_t seed = 1;
    for (const OpCase& oc : kOps)
        for (const Format& f : formats)
            for (auto [w, h] : sizes)
                for (bool in_place : {false, true}) {
                    SCOPED_TRACE(std::string(oc.name) + " " + name_of(f) + " " + std::to_string(w) + "x" + std::to_string(h) +
                                 (in_place ? " in place" : ""));
                    Image src(f, w + 3, h + 2), other(f, w + 2, h + 3);
                    src.randomize(++seed);
                    other.randomize(++seed);
                    src.window(2, 1, int32_t(w) + 2, int32_t(h) + 1);
                    other.window(1, 2, int32_t(w) + 1, int32_t(h) + 2);
                    Image& dst = in_place ? src : other;
                    std::vector<Plane> planes;
                    for (uint32_t c = 0; c < f.pixies; ++c) planes.emplace_back(src, c);
                    const auto before = dst.values();
                    const int32_t rc = call(oc.op, oc.mode, nullptr, src.rec(), dst.rec());
                    if (oc.op == Op::life && f.type != MVTYPE_U8) {  // life is for u8 images only
                        EXPECT_EQ(rc, MVERR_DATATYPE);
                        EXPECT_TRUE(holds(dst, before));
                        continue;
                    }
                    ASSERT_EQ(rc, 0);
                    EXPECT_TRUE(holds(dst, with_window(dst, [&](uint32_t x, uint32_t y, uint32_t c) {
                        return double(uint32_t(reference(oc.op, oc.mode, planes[c], int(x), int(y))) << (f.bits - 8));
                    })));
                }
}

// The alternative gradient's square sums pass 2^24, where a float root can
// land one above the integer root: gx = 3611, gy = 2029, gx^2 + gy^2 =
// 4142^2 - 2, whose integer root 4141 scales to 219 (4142 would give 220).
// Checked on a narrow image and on a wide one (whole groups of pixels).
TEST(EdgeFilters, AltGradientRootIsExact) {
    for (uint32_t w : {3u, 18u}) {
        Image src(Format{MVTYPE_U8, 8, 1}, w, 3), dst(Format{MVTYPE_U8, 8, 1}, w, 3);
        const uint32_t rows[3][3] = {{0, 157, 255}, {0, 90, 254}, {0, 0, 102}};
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t x = 0; x < 3; ++x) src.set(x, y, 0, rows[y][x]);
        ASSERT_EQ(mvip8_3x3sobela(nullptr, src.rec(), dst.rec(), 0), 0);
        EXPECT_EQ(dst.get(1, 1, 0), 219u) << w;
    }
}

// ---- arguments and the neighbourhood frame ---------------------------------

TEST(EdgeFilters, ArgumentsAndOtherImageTypes) {
    Image a(Format{MVTYPE_U8, 8, 1}, 4, 4);
    for (const OpCase& oc : kOps) {
        EXPECT_EQ(call(oc.op, oc.mode, nullptr, nullptr, a.rec()), MVERR_USAGE) << oc.name;
        EXPECT_EQ(call(oc.op, oc.mode, nullptr, a.rec(), nullptr), MVERR_USAGE) << oc.name;
    }
    // Operations that fix their data type still compare window sizes and
    // pixie counts.
    Image big(Format{MVTYPE_U8, 8, 1}, 5, 5), colour(Format{MVTYPE_U8, 8, 3}, 4, 4);
    big.randomize(1);
    const auto big_before = big.raw();
    EXPECT_EQ(mvip8_3x3sobel(nullptr, a.rec(), big.rec(), 3), MVERR_USAGE);
    EXPECT_LT(mvip8_3x3sobel(nullptr, a.rec(), colour.rec(), 3), 0);
    EXPECT_TRUE(big.raw_is(big_before));
    // A float image is read through a converter at eight bits (a flat white
    // image has no edges, so mode 1 keeps the centre); life refuses it.
    Image fim(Format{MVTYPE_FLOAT, 0, 1}, 4, 4);
    for (uint32_t i = 0; i < 16; ++i) fim.set(i % 4, i / 4, 0, 1.0);
    EXPECT_EQ(mvip8_3x3life(nullptr, fim.rec(), fim.rec()), MVERR_DATATYPE);
    EXPECT_EQ(mvip8_3x3sobel(nullptr, fim.rec(), fim.rec(), 1), 0);
    EXPECT_EQ(fim.values(), std::vector<double>(16, 1.0));
    // A 6-bit image is seen at full 8-bit scale, its result written back
    // at 6 bits.
    Image s6(Format{MVTYPE_U8, 6, 1}, 9, 3), o6(Format{MVTYPE_U8, 6, 1}, 9, 3);
    Image s8(Format{MVTYPE_U8, 8, 1}, 9, 3), o8(Format{MVTYPE_U8, 8, 1}, 9, 3);
    for (uint32_t i = 0; i < 27; ++i) {
        s6.set(i % 9, i / 9, 0, i % 9 < 4 ? 0 : 63);  // a vertical step
        s8.set(i % 9, i / 9, 0, i % 9 < 4 ? 0 : 252);
    }
    ASSERT_EQ(mvip8_3x3sobel(nullptr, s6.rec(), o6.rec(), 3), 0);
    ASSERT_EQ(mvip8_3x3sobel(nullptr, s8.rec(), o8.rec(), 3), 0);
    for (uint32_t i = 0; i < 27; ++i) EXPECT_EQ(o6.get(i % 9, i / 9, 0), double(uint32_t(o8.get(i % 9, i / 9, 0)) >> 2)) << i;
}

}  // namespace
