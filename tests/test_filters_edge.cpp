// Edge operators (Sobel, the alternative gradient, Roberts, Kirsch) and the
// life step against plain references written here: explicit loops over an
// explicitly extended source (zero border, or replicated for mode 1).
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// Images: packed memory images of u8 or u16 (any bit depth), any pixies.

struct Image {
    uint32_t type, bits, pixies, w, h;
    std::vector<uint8_t> bytes;
    mvimage im{};

    Image(uint32_t type_, uint32_t bits_, uint32_t pixies_, uint32_t w_, uint32_t h_)
        : type(type_), bits(bits_), pixies(pixies_), w(w_), h(h_),
          bytes(size_t{w_} * h_ * pixies_ * (type_ == MVTYPE_U16 ? 2 : 1)) {
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memory(&im, bytes.data(), dims, 0, type, bits, pixies,
                                    pixies == 3 ? MVCS_BGR : MVCS_GREY, 0));
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    size_t index(uint32_t x, uint32_t y, uint32_t c) const { return (size_t{y} * w + x) * pixies + c; }
    uint32_t get(uint32_t x, uint32_t y, uint32_t c) const {
        const size_t i = index(x, y, c);
        if (type == MVTYPE_U8) return bytes[i];
        uint16_t v;
        std::memcpy(&v, &bytes[2 * i], 2);
        return v;
    }
    void set(uint32_t x, uint32_t y, uint32_t c, uint32_t v) {
        const size_t i = index(x, y, c);
        if (type == MVTYPE_U8) {
            bytes[i] = static_cast<uint8_t>(v);
        } else {
            const uint16_t s = static_cast<uint16_t>(v);
            std::memcpy(&bytes[2 * i], &s, 2);
        }
    }
    uint32_t maxval() const { return (1u << bits) - 1; }
    // Random values favouring the extremes, so that the largest gradients
    // and every life state occur.
    void fill(std::mt19937& rng) {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                for (uint32_t c = 0; c < pixies; ++c) {
                    const uint32_t r = rng();
                    set(x, y, c, r % 4 == 0 ? 0 : r % 4 == 1 ? maxval() : (r >> 8) & maxval());
                }
    }
};

// One pixie plane as the operators see it: 8-bit values.
struct Plane {
    int w, h;
    std::vector<int> v;
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

Plane plane_of(const Image& img, uint32_t c) {
    Plane p{int(img.w), int(img.h), std::vector<int>(size_t{img.w} * img.h)};
    for (uint32_t y = 0; y < img.h; ++y)
        for (uint32_t x = 0; x < img.w; ++x) p.v[size_t{y} * img.w + x] = int(img.get(x, y, c) >> (img.bits - 8));
    return p;
}

// ---------------------------------------------------------------------------
// References.

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
    const bool rep = mode == 1;
    auto P = [&](int dx, int dy) { return p.at(x + dx, y + dy, rep); };
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
    const int u0 = p.at(x, y, rep), u1 = p.at(x + 1, y, rep);
    const int l0 = p.at(x, y + 1, rep), l1 = p.at(x + 1, y + 1, rep);
    const int sum = std::abs(l1 - u0) + std::abs(u1 - l0);
    switch (mode) {
        case 0: return sum / 2;
        case 1: return std::clamp(u0 - sum / 2, 0, 255);
        case 2: {
            const int field = log_field(sum, 511);
            const int gx = (u1 + l1) - (u0 + l0), gy = (u0 + u1) - (l0 + l1);
            return field << 3 | (field ? int(direction_ref(gx, gy)) : 0);
        }
        default: return std::min(sum, 255);
    }
}

int kirsch_ref(unsigned mode, const Plane& p, int x, int y) {
    const bool rep = mode == 1;
    // Clockwise from the top left.
    const int dx[8] = {-1, 0, 1, 1, 1, 0, -1, -1};
    const int dy[8] = {-1, -1, -1, 0, 1, 1, 1, 0};
    int n[8];
    for (int i = 0; i < 8; ++i) n[i] = p.at(x + dx[i], y + dy[i], rep);
    int best = 0, dir = -1;
    for (int k = 0; k < 8; ++k) {
        int r = 0;
        for (int i = 0; i < 8; ++i) {
            const bool five = i == k || i == (k + 1) % 8 || i == (k + 2) % 8;
            r += (five ? 5 : -3) * n[i];
        }
        if (dir < 0 || r > best) {
            best = r;
            dir = k;
        }
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

const std::vector<OpCase>& op_cases() {
    static const std::vector<OpCase> cases = {
        {"sobel0", Op::sobel, 0},     {"sobel1", Op::sobel, 1},     {"sobel2", Op::sobel, 2},
        {"sobel3", Op::sobel, 3},     {"sobel6", Op::sobel, 6},     {"sobela0", Op::sobela, 0},
        {"sobela1", Op::sobela, 1},   {"sobela2", Op::sobela, 2},   {"sobela3", Op::sobela, 3},
        {"roberts0", Op::roberts, 0}, {"roberts1", Op::roberts, 1}, {"roberts2", Op::roberts, 2},
        {"roberts3", Op::roberts, 3}, {"kirsch0", Op::kirsch, 0},   {"kirsch1", Op::kirsch, 1},
        {"kirsch2", Op::kirsch, 2},   {"kirsch3", Op::kirsch, 3},   {"kirsch5", Op::kirsch, 5},
        {"life", Op::life, 0},
    };
    return cases;
}

struct Format {
    uint32_t type, bits, pixies;
};

// ---------------------------------------------------------------------------

// Every operator and mode on random images of several sizes (SIMD groups
// and their tails included), u8 and u16 at 16 and 12 bits, monochrome and
// colour, into another image and in place.  u16 images are filtered on
// their top eight bits and the results written back scaled.
TEST(EdgeFilters, MatchReferenceOnRandomImages) {
    const std::vector<std::pair<uint32_t, uint32_t>> sizes = {{1, 1}, {1, 9}, {9, 1}, {2, 2}, {3, 3},
                                                              {17, 2}, {37, 5}, {64, 4}};
    const std::vector<Format> formats = {{MVTYPE_U8, 8, 1}, {MVTYPE_U8, 8, 3}, {MVTYPE_U16, 16, 1},
                                         {MVTYPE_U16, 12, 3}};
    std::mt19937 rng(20240611);
    for (const OpCase& oc : op_cases()) {
        for (const Format& f : formats) {
            const bool refused = oc.op == Op::life && f.type != MVTYPE_U8;
            for (auto [w, h] : sizes) {
                for (bool in_place : {false, true}) {
                    SCOPED_TRACE(std::string(oc.name) + " type " + std::to_string(f.type) + "/" +
                                 std::to_string(f.bits) + " x" + std::to_string(f.pixies) + " " +
                                 std::to_string(w) + "x" + std::to_string(h) + (in_place ? " in place" : ""));
                    Image src(f.type, f.bits, f.pixies, w, h);
                    src.fill(rng);
                    Image other(f.type, f.bits, f.pixies, w, h);
                    other.fill(rng);
                    std::vector<Plane> planes;
                    for (uint32_t c = 0; c < f.pixies; ++c) planes.push_back(plane_of(src, c));
                    const std::vector<uint8_t> before = in_place ? src.bytes : other.bytes;
                    Image& dst = in_place ? src : other;
                    const int32_t rc = call(oc.op, oc.mode, nullptr, &src.im, &dst.im);
                    if (refused) {
                        EXPECT_EQ(rc, MVERR_DATATYPE);
                        EXPECT_EQ(dst.bytes, before);
                        continue;
                    }
                    ASSERT_EQ(rc, 0);
                    int errors = 0;
                    for (uint32_t c = 0; c < f.pixies; ++c)
                        for (uint32_t y = 0; y < h; ++y)
                            for (uint32_t x = 0; x < w; ++x) {
                                const uint32_t want = uint32_t(reference(oc.op, oc.mode, planes[c], int(x), int(y)))
                                                      << (f.bits - 8);
                                if (dst.get(x, y, c) != want && ++errors <= 5)
                                    ADD_FAILURE() << "at (" << x << "," << y << ") pixie " << c << ": got "
                                                  << dst.get(x, y, c) << ", want " << want;
                            }
                    ASSERT_EQ(errors, 0);
                }
            }
        }
    }
}

// A window: only its pixels change, and its edges are the border (pixels
// outside the window are not read).
TEST(EdgeFilters, WorkOnTheWindowOnly) {
    std::mt19937 rng(7);
    for (const OpCase& oc : op_cases()) {
        SCOPED_TRACE(oc.name);
        Image src(MVTYPE_U8, 8, 1, 40, 9);
        src.fill(rng);
        Image dst(MVTYPE_U8, 8, 1, 40, 9);
        dst.fill(rng);
        const std::vector<uint8_t> outside = dst.bytes;
        ASSERT_EQ(mvimage_setwind(&src.im, 3, 2, 38, 8), 0);
        ASSERT_EQ(mvimage_setwind(&dst.im, 1, 1, 36, 7), 0);
        Plane p{35, 6, std::vector<int>(35 * 6)};
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 35; ++x) p.v[size_t(y) * 35 + x] = int(src.get(uint32_t(x + 3), uint32_t(y + 2), 0));
        ASSERT_EQ(call(oc.op, oc.mode, nullptr, &src.im, &dst.im), 0);
        for (uint32_t y = 0; y < 9; ++y)
            for (uint32_t x = 0; x < 40; ++x) {
                const bool inside = x >= 1 && x < 36 && y >= 1 && y < 7;
                const uint32_t want = inside ? uint32_t(reference(oc.op, oc.mode, p, int(x) - 1, int(y) - 1))
                                             : outside[size_t{y} * 40 + x];
                ASSERT_EQ(dst.get(x, y, 0), want) << "at (" << x << "," << y << ")";
            }
    }
}

// Documented values: the Sobel step, the largest magnitudes of both
// gradients, Roberts on a single diagonal step.
TEST(EdgeFilters, DocumentedValues) {
    struct Case {
        const char* name;
        std::function<int32_t(mvimage*, mvimage*)> run;
        std::vector<uint8_t> in;  // 3 x 3
        int x, y;
        int want;
    };
    const std::vector<uint8_t> step = {0, 0, 255, 0, 0, 255, 0, 0, 255};   // centre column 0, right 255
    const std::vector<uint8_t> widest = {0, 255, 255, 0, 0, 255, 0, 0, 255};  // gx and gy at their extremes
    const std::vector<uint8_t> flat(9, 77);
    auto sobel = [](uint32_t mode) { return [mode](mvimage* s, mvimage* d) { return mvip8_3x3sobel(nullptr, s, d, mode); }; };
    auto sobela = [](uint32_t mode) { return [mode](mvimage* s, mvimage* d) { return mvip8_3x3sobela(nullptr, s, d, mode); }; };
    auto kirsch = [](uint32_t mode) { return [mode](mvimage* s, mvimage* d) { return mvip8_3x3kirsch(nullptr, s, d, mode); }; };
    auto roberts = [](uint32_t mode) { return [mode](mvimage* s, mvimage* d) { return mvip8_2x2roberts(nullptr, s, d, mode); }; };
    const std::vector<Case> cases = {
        // gx = 1020, gy = 0: (1020 * 255 + 570) / 1140.
        {"sobel step mode 0", sobel(0), step, 1, 1, 228},
        {"sobel step mode 3", sobel(3), step, 1, 1, 255},
        {"sobel step mode 1 (centre 0)", sobel(1), step, 1, 1, 0},
        {"sobel step mode 2", sobel(2), step, 1, 1, log_field(1020, 1141) << 3 | 0},
        // gx = 1020, gy = 510: the largest magnitude, 1140.
        {"sobel widest mode 0", sobel(0), widest, 1, 1, 255},
        {"sobel widest mode 2", sobel(2), widest, 1, 1, 31 << 3 | 1},
        // gx = 4080, gy = 2550: 4811.
        {"sobela widest mode 0", sobela(0), widest, 1, 1, 255},
        {"sobela widest mode 3", sobela(3), widest, 1, 1, 255},
        {"sobela widest mode 2", sobela(2), widest, 1, 1, 31 << 3 | 1},
        // gx = 16 * 255 = 4080 alone: isqrt = 4080, (4080 * 255 + 2405) / 4811.
        {"sobela step mode 0", sobela(0), step, 1, 1, (4080 * 255 + 2405) / 4811},
        // Kirsch east mask on the step: 5 * 765 = 3825, 3825 / 15.
        {"kirsch step mode 0", kirsch(0), step, 1, 1, 255},
        {"kirsch step mode 2", kirsch(2), step, 1, 1, 31 << 3 | 0},
        {"kirsch flat mode 2", kirsch(2), flat, 1, 1, 0},
        {"kirsch flat mode 3", kirsch(3), flat, 1, 1, 0},
        {"sobel flat mode 2", sobel(2), flat, 1, 1, 0},
        // Roberts at (1, 0): U = 0 255, L = 0 255: sum 510.
        {"roberts step mode 0", roberts(0), step, 1, 0, 255},
        {"roberts step mode 3", roberts(3), step, 1, 0, 255},
        {"roberts step mode 2", roberts(2), step, 1, 0, 31 << 3 | 0},
        {"roberts flat mode 2", roberts(2), flat, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Image src(MVTYPE_U8, 8, 1, 3, 3);
        src.bytes = c.in;
        Image dst(MVTYPE_U8, 8, 1, 3, 3);
        ASSERT_EQ(c.run(&src.im, &dst.im), 0);
        EXPECT_EQ(int(dst.get(uint32_t(c.x), uint32_t(c.y), 0)), c.want);
    }
    // The claimed largest magnitudes are the largest over every corner of
    // the value cube (the magnitude is convex in the values).
    for (const GradientRef& g : {kSobelRef, kAltRef}) {
        int best = 0;
        for (int bitsset = 0; bitsset < 256; ++bitsset) {
            int v[8];
            for (int i = 0; i < 8; ++i) v[i] = (bitsset >> i & 1) * 255;
            const int gx = g.side * (v[2] - v[0]) + g.middle * (v[4] - v[3]) + g.side * (v[7] - v[5]);
            const int gy = g.side * (v[0] - v[5]) + g.middle * (v[1] - v[6]) + g.side * (v[2] - v[7]);
            best = std::max(best, isqrt_ref(int64_t(gx) * gx + int64_t(gy) * gy));
        }
        EXPECT_EQ(best, g.max);
    }
}

// The alternative gradient's square sums pass 2^24, where a float root can
// land one above the integer root: gx = 3611, gy = 2029, gx^2 + gy^2 =
// 4142^2 - 2, whose integer root 4141 scales to 219 (4142 would give 220).
// Checked on a narrow image and on a wide one (whole groups of pixels).
TEST(EdgeFilters, AltGradientRootIsExact) {
    for (uint32_t w : {3u, 18u}) {
        SCOPED_TRACE(w);
        Image src(MVTYPE_U8, 8, 1, w, 3);
        const uint32_t rows[3][3] = {{0, 157, 255}, {0, 90, 254}, {0, 0, 102}};
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t x = 0; x < 3; ++x) src.set(x, y, 0, rows[y][x]);
        Image dst(MVTYPE_U8, 8, 1, w, 3);
        ASSERT_EQ(mvip8_3x3sobela(nullptr, &src.im, &dst.im, 0), 0);
        EXPECT_EQ(dst.get(1, 1, 0), 219u);
    }
}

// The direction bits of mode 2 on ramps rising towards each of the eight
// chain-code directions (0 east, counter-clockwise, 2 up): every operator
// codes the same direction.
TEST(EdgeFilters, DirectionCodes) {
    const int ux[8] = {1, 1, 0, -1, -1, -1, 0, 1};
    const int un[8] = {0, 1, 1, 1, 0, -1, -1, -1};  // north component
    for (int d = 0; d < 8; ++d) {
        Image src(MVTYPE_U8, 8, 1, 3, 3);
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t x = 0; x < 3; ++x)
                src.set(x, y, 0, uint32_t(128 + 40 * (ux[d] * (int(x) - 1) - un[d] * (int(y) - 1))));
        Image dst(MVTYPE_U8, 8, 1, 3, 3);
        SCOPED_TRACE("direction " + std::to_string(d));
        ASSERT_EQ(mvip8_3x3sobel(nullptr, &src.im, &dst.im, 2), 0);
        EXPECT_EQ(dst.get(1, 1, 0) & 7, uint32_t(d)) << "sobel";
        ASSERT_EQ(mvip8_3x3sobela(nullptr, &src.im, &dst.im, 2), 0);
        EXPECT_EQ(dst.get(1, 1, 0) & 7, uint32_t(d)) << "sobela";
        ASSERT_EQ(mvip8_3x3kirsch(nullptr, &src.im, &dst.im, 2), 0);
        EXPECT_EQ(dst.get(1, 1, 0) & 7, uint32_t(d)) << "kirsch";
        ASSERT_EQ(mvip8_2x2roberts(nullptr, &src.im, &dst.im, 2), 0);
        EXPECT_EQ(dst.get(0, 0, 0) & 7, uint32_t(d)) << "roberts";
        EXPECT_NE(dst.get(0, 0, 0) >> 3, 0u);
    }
}

// Null images, refused types, the hook's stop, other image types read at
// eight bits.
TEST(EdgeFilters, ArgumentsAndStops) {
    Image a(MVTYPE_U8, 8, 1, 4, 4);
    for (const OpCase& oc : op_cases()) {
        SCOPED_TRACE(oc.name);
        EXPECT_EQ(call(oc.op, oc.mode, nullptr, nullptr, &a.im), MVERR_USAGE);
        EXPECT_EQ(call(oc.op, oc.mode, nullptr, &a.im, nullptr), MVERR_USAGE);
        // Stopped at entry: the hook's second answer, nothing written.
        struct Hook {
            mvabort base;
            int calls;
        } hook{{[](mvabort* h, int32_t, int32_t) -> int32_t {
                    return ++reinterpret_cast<Hook*>(h)->calls == 1 ? -4 : -77;
                }},
               0};
        Image src(MVTYPE_U8, 8, 1, 4, 4);
        std::fill(src.bytes.begin(), src.bytes.end(), 200);
        Image dst(MVTYPE_U8, 8, 1, 4, 4);
        EXPECT_EQ(call(oc.op, oc.mode, &hook.base, &src.im, &dst.im), -77);
        EXPECT_EQ(hook.calls, 2);
        for (uint8_t v : dst.bytes) EXPECT_EQ(v, 0);
    }
    // Life is for u8 images only.
    std::vector<float> fpix(16, 1.0f);
    mvimage fim{};
    const uint32_t dims[2] = {4, 4};
    ASSERT_EQ(mvimage_memory(&fim, fpix.data(), dims, 0, MVTYPE_FLOAT, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(mvip8_3x3life(nullptr, &fim, &fim), MVERR_DATATYPE);
    // The edge operators read a float image through a converter at eight
    // bits: a flat white image has no edges, so mode 1 keeps the centre.
    EXPECT_EQ(mvip8_3x3sobel(nullptr, &fim, &fim, 1), 0);
    for (float v : fpix) EXPECT_EQ(v, 1.0f);
}

// ---------------------------------------------------------------------------

std::vector<std::pair<int, int>> live_cells(const Image& img) {
    std::vector<std::pair<int, int>> cells;
    for (uint32_t y = 0; y < img.h; ++y)
        for (uint32_t x = 0; x < img.w; ++x)
            if (img.get(x, y, 0) & 128) cells.emplace_back(int(x), int(y));
    return cells;
}

// A blinker oscillates; the cells that just died hold their old value >> 2
// and newborn cells 128 | old >> 2.
TEST(LifeFilter, BlinkerOscillates) {
    Image img(MVTYPE_U8, 8, 1, 5, 5);
    for (uint32_t x = 1; x <= 3; ++x) img.set(x, 2, 0, 255);
    img.set(2, 1, 0, 20);  // a dead cell with a trace
    Image next(MVTYPE_U8, 8, 1, 5, 5);
    ASSERT_EQ(mvip8_3x3life(nullptr, &img.im, &next.im), 0);
    using Cells = std::vector<std::pair<int, int>>;
    EXPECT_EQ(live_cells(next), (Cells{{2, 1}, {2, 2}, {2, 3}}));
    EXPECT_EQ(next.get(1, 2, 0), 255u >> 2);        // died
    EXPECT_EQ(next.get(3, 2, 0), 255u >> 2);        // died
    EXPECT_EQ(next.get(2, 2, 0), 128u | 255u >> 2);  // survived
    EXPECT_EQ(next.get(2, 1, 0), 128u | 20u >> 2);   // born
    EXPECT_EQ(next.get(2, 3, 0), 128u);              // born
    // And back, in place.
    ASSERT_EQ(mvip8_3x3life(nullptr, &next.im, &next.im), 0);
    EXPECT_EQ(live_cells(next), (Cells{{1, 2}, {2, 2}, {3, 2}}));
    EXPECT_EQ(next.get(2, 1, 0), (128u | 20u >> 2) >> 2);
    EXPECT_EQ(next.get(2, 2, 0), 128u | (128u | 255u >> 2) >> 2);
}

// A glider after four generations is the same shape one cell further down
// and to the right; at the image's edge it meets dead cells only.
TEST(LifeFilter, GliderMovesDiagonally) {
    Image img(MVTYPE_U8, 8, 1, 9, 8);
    const std::vector<std::pair<int, int>> glider = {{1, 0}, {2, 1}, {0, 2}, {1, 2}, {2, 2}};
    for (auto [x, y] : glider) img.set(uint32_t(x), uint32_t(y), 0, 200);
    auto cells = glider;
    for (int step = 1; step <= 5; ++step) {
        for (int g = 0; g < 4; ++g) ASSERT_EQ(mvip8_3x3life(nullptr, &img.im, &img.im), 0);
        for (auto& [x, y] : cells) ++x, ++y;
        std::sort(cells.begin(), cells.end(), [](auto l, auto r) { return std::pair(l.second, l.first) < std::pair(r.second, r.first); });
        ASSERT_EQ(live_cells(img), cells) << "after " << 4 * step << " generations";
    }
    // Three more generations run it into the bottom edge, where the rows
    // below are dead: the reference agrees.
    for (int g = 0; g < 3; ++g) {
        const Plane p = plane_of(img, 0);
        ASSERT_EQ(mvip8_3x3life(nullptr, &img.im, &img.im), 0);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 9; ++x) ASSERT_EQ(int(img.get(uint32_t(x), uint32_t(y), 0)), life_ref(p, x, y));
    }
}

}  // namespace
