// Pair and triple operations against their formulas written plainly.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

namespace {

// An integer image of one data type and bit depth over a vector of uint64
// "logical" values mirrored into real storage.
struct Img {
    uint32_t type, bits, pixies, w, h;
    std::vector<uint8_t> data;
    mvimage im{};
    Img(uint32_t type_, uint32_t bits_, uint32_t pixies_, uint32_t w_, uint32_t h_, std::mt19937& rng)
        : type(type_), bits(bits_), pixies(pixies_), w(w_), h(h_), data(size_t{w_} * h_ * pixies_ * bytes()) {
        if (bits == 0 && !real()) bits = uint32_t(8 * bytes());
        for (size_t i = 0; i < count(); ++i) set(i, random_value(rng));
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memory(&im, data.data(), dims, 0, type, bits, pixies, pixies == 3 ? 3 : 1, 0));
    }
    size_t bytes() const { return type == MVTYPE_U8 ? 1 : type == MVTYPE_U16 ? 2 : type == MVTYPE_DOUBLE ? 8 : 4; }
    size_t count() const { return data.size() / bytes(); }
    bool real() const { return type == MVTYPE_FLOAT || type == MVTYPE_DOUBLE; }
    double maxval() const { return real() ? 1.0 : std::ldexp(1.0, int(bits)) - 1; }
    double random_value(std::mt19937& rng) const {
        if (real()) return double(float(std::uniform_real_distribution<double>(0, 1)(rng)));
        // Favour the corners: 0, 1, M-1, M.
        switch (rng() % 8) {
            case 0: return 0;
            case 1: return maxval();
            case 2: return 1;
            default: return double(uint64_t(rng()) & uint64_t(maxval()));
        }
    }
    double get(size_t i) const {
        const uint8_t* p = &data[i * bytes()];
        switch (type) {
            case MVTYPE_U8: return *p;
            case MVTYPE_U16: { uint16_t v; std::memcpy(&v, p, 2); return v; }
            case MVTYPE_U32: { uint32_t v; std::memcpy(&v, p, 4); return v; }
            case MVTYPE_FLOAT: { float v; std::memcpy(&v, p, 4); return v; }
            default: { double v; std::memcpy(&v, p, 8); return v; }
        }
    }
    void set(size_t i, double x) {
        uint8_t* p = &data[i * bytes()];
        switch (type) {
            case MVTYPE_U8: *p = uint8_t(x); break;
            case MVTYPE_U16: { uint16_t v = uint16_t(x); std::memcpy(p, &v, 2); break; }
            case MVTYPE_U32: { uint32_t v = uint32_t(x); std::memcpy(p, &v, 4); break; }
            case MVTYPE_FLOAT: { float v = float(x); std::memcpy(p, &v, 4); break; }
            default: std::memcpy(p, &x, 8);
        }
    }
};

// Wrap an integer result into the container of the type.
double wrap(double v, const Img& im) {
    if (im.real()) return v;
    const double mod = std::ldexp(1.0, int(8 * im.bytes()));
    double r = std::fmod(v, mod);
    return r < 0 ? r + mod : r;
}
double clampv(double v, const Img& im) {
    const double lo = 0, hi = im.maxval();
    return v < lo ? lo : v > hi ? hi : v;
}
double floor_half(double d) { return std::floor(d / 2); }

using PairFormula = std::function<double(double a, double b, const Img& first)>;
using PairCall = std::function<int32_t(mvimage*, mvimage*, mvimage*)>;

struct PairCase {
    const char* name;
    std::vector<uint32_t> types;
    bool colour;
    PairCall call;
    PairFormula formula;
};

std::vector<PairCase> pair_cases() {
    const std::vector<uint32_t> all = {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32, MVTYPE_FLOAT, MVTYPE_DOUBLE};
    const std::vector<uint32_t> ints = {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32};
    const std::vector<uint32_t> small = {MVTYPE_U8, MVTYPE_U16};
    auto M = [](const Img& f) { return f.maxval(); };
    auto H = [](const Img& f) { return f.real() ? 0.5 : std::ldexp(1.0, int(f.bits) - 1); };
    auto mid = [](const Img& f) { return f.real() ? 0.5 : std::floor((f.maxval() - 1) / 2); };
    std::vector<PairCase> c = {
        {"add1", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairadd(nullptr, a, b, d, 1); },
         [](double a, double b, const Img& f) { return wrap(b + a, f); }},
        {"add2", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairadd(nullptr, a, b, d, 2); },
         [M](double a, double b, const Img& f) { return std::min(b + a, M(f)); }},
        {"ave", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairave(nullptr, a, b, d); },
         [](double a, double b, const Img& f) { return f.real() ? (a + b) / 2 : std::floor((a + b) / 2); }},
        {"max", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairmax(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return std::max(a, b); }},
        {"min", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairmin(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return std::min(a, b); }},
        {"and", ints, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairand(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return double(uint64_t(a) & uint64_t(b)); }},
        {"or", ints, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairor(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return double(uint64_t(a) | uint64_t(b)); }},
        {"xor", ints, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairxor(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return double(uint64_t(a) ^ uint64_t(b)); }},
        {"insdiff", small, false, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairinsdiff(nullptr, a, b, d, 9); },
         [](double a, double b, const Img&) { return std::fabs(a - b) <= 9 ? 0 : b; }},
        {"insert", small, false, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairinsert(nullptr, a, b, d); },
         [](double a, double b, const Img&) { return b == 0 ? a : b; }},
    };
    // The fifteen differences.
    struct Sub { int mode; std::function<double(double, double, const Img&)> f; };
    const std::vector<Sub> subs = {
        {1, [](double a, double b, const Img& f) { return wrap(b - a, f); }},
        {2, [](double a, double b, const Img&) { return std::max(b - a, 0.0); }},
        {3, [](double a, double b, const Img&) { return std::fabs(b - a); }},
        {4, [H](double a, double b, const Img& f) { return f.real() ? (b - a) / 2 + H(f) : wrap(floor_half(b - a) + H(f), f); }},
        {5, [](double a, double b, const Img& f) { return wrap(a - b, f); }},
        {6, [](double a, double b, const Img&) { return std::max(a - b, 0.0); }},
        {7, [](double a, double b, const Img&) { return std::fabs(a - b); }},
        {8, [H](double a, double b, const Img& f) { return f.real() ? (a - b) / 2 + H(f) : wrap(floor_half(a - b) + H(f), f); }},
        {9, [mid](double a, double b, const Img& f) { return clampv(b - a + mid(f), f); }},
        {10, [mid](double a, double b, const Img& f) { return clampv(mid(f) + 2 * (b - a), f); }},
        {11, [mid](double a, double b, const Img& f) { return clampv(a - b + mid(f), f); }},
        {12, [mid](double a, double b, const Img& f) { return clampv(mid(f) + 2 * (a - b), f); }},
        {100, [](double a, double b, const Img& f) { return clampv(2 * b - a, f); }},
        {101, [](double a, double b, const Img& f) { return clampv(3 * b - 2 * a, f); }},
        {102, [](double a, double b, const Img& f) { return clampv(5 * b - 4 * a, f); }},
    };
    static std::vector<std::string> names;
    names.reserve(32);
    for (const Sub& s : subs) {
        names.push_back("sub" + std::to_string(s.mode));
        const int mode = s.mode;
        c.push_back({names.back().c_str(), all, true,
                     [mode](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairsub(nullptr, a, b, d, mode); },
                     s.f});
    }
    return c;
}

TEST(PairOps, EveryOperationMatchesItsFormula) {
    std::mt19937 rng(31337);
    for (const PairCase& pc : pair_cases()) {
        for (uint32_t type : pc.types) {
            for (int trial = 0; trial < 6; ++trial) {
                SCOPED_TRACE(std::string(pc.name) + " type " + std::to_string(type) + " #" + std::to_string(trial));
                const uint32_t bits = type == MVTYPE_U8 ? (trial % 2 ? 6 : 8)
                                      : type == MVTYPE_U16 ? (trial % 2 ? 12 : 16)
                                      : type == MVTYPE_U32 ? (trial % 2 ? 24 : 32) : 0;
                const uint32_t pixies = pc.colour && trial % 3 == 2 ? 3 : 1;
                const uint32_t w = 1 + rng() % 23, h = 1 + rng() % 5;
                Img a(type, bits, pixies, w + 2, h + 1, rng), b(type, bits, pixies, w + 1, h, rng);
                Img d(type, bits, pixies, w, h + 2, rng);
                ASSERT_EQ(0, mvimage_setwind(&a.im, 2, 1, w + 2, h + 1));
                ASSERT_EQ(0, mvimage_setwind(&b.im, 1, 0, w + 1, h));
                ASSERT_EQ(0, mvimage_setwind(&d.im, 0, 2, w, h + 2));
                const Img a0 = a, b0 = b;
                // Destination: separate, the second source (in place), or the first.
                const int where = trial % 3;
                mvimage* dst = where == 0 ? &d.im : where == 1 ? &b.im : &a.im;
                Img* out = where == 0 ? &d : where == 1 ? &b : &a;
                const uint32_t ox = where == 0 ? 0 : where == 1 ? 1 : 2, oy = where == 0 ? 2 : where == 1 ? 0 : 1;
                ASSERT_EQ(0, pc.call(&a.im, &b.im, dst));
                for (uint32_t y = 0; y < h; ++y)
                    for (uint32_t x = 0; x < w; ++x)
                        for (uint32_t k = 0; k < pixies; ++k) {
                            const double av = a0.get(((size_t(y) + 1) * a0.w + x + 2) * pixies + k);
                            const double bv = b0.get((size_t(y) * b0.w + x + 1) * pixies + k);
                            double want = pc.formula(av, bv, a0);
                            if (type == MVTYPE_FLOAT) want = double(float(want));
                            const double got = out->get(((size_t(y) + oy) * out->w + x + ox) * pixies + k);
                            ASSERT_EQ(want, got) << "a " << av << " b " << bv << " at " << x << "," << y;
                        }
            }
        }
    }
}

TEST(PairOps, DocumentedExamples) {
    std::mt19937 rng(1);
    Img a(MVTYPE_U8, 8, 1, 1, 1, rng), b(MVTYPE_U8, 8, 1, 1, 1, rng), d(MVTYPE_U8, 8, 1, 1, 1, rng);
    const std::pair<int, double> expect[] = {{1, 249}, {2, 0}, {4, 124}, {9, 120}, {101, 0}};
    for (auto [mode, want] : expect) {
        a.set(0, 10);
        b.set(0, 3);
        ASSERT_EQ(0, mvip8_pairsub(nullptr, &a.im, &b.im, &d.im, mode));
        EXPECT_EQ(want, d.get(0)) << mode;
    }
    EXPECT_EQ(-1, mvip8_pairsub(nullptr, &a.im, &b.im, &d.im, 13));
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, &a.im, &b.im, &d.im, 3));

    const int32_t ratio[4] = {1, 0, 0, 0};  // denominator always 0 -> M
    ASSERT_EQ(0, mvip8_pairratio(nullptr, &a.im, &b.im, &d.im, 0, ratio));
    EXPECT_EQ(255, d.get(0));
    const int32_t prod[5] = {1, 0, 1, 0, 0};  // a * b / 1
    a.set(0, 10);
    b.set(0, 3);
    ASSERT_EQ(0, mvip8_pairprod(nullptr, &a.im, &b.im, &d.im, 0, prod));
    EXPECT_EQ(30, d.get(0));
    EXPECT_EQ(-1, mvip8_pairprod(nullptr, &a.im, &b.im, &d.im, 0, nullptr));
}

TEST(PairOps, ProductRatioAndOverlay) {
    std::mt19937 rng(2);
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32}) {
        Img a(type, 0, 3, 9, 4, rng), b(type, 0, 3, 9, 4, rng), d(type, 0, 3, 9, 4, rng);
        if (type == MVTYPE_U32) {  // keep products inside 32 bits
            for (size_t i = 0; i < a.count(); ++i) a.set(i, std::fmod(a.get(i), 1000)), b.set(i, std::fmod(b.get(i), 1000));
        }
        const int32_t prod[5] = {3, -7, -2, 500, -5};
        const int32_t ratio[4] = {4, 1, 2, -3};
        const double M = a.maxval();
        ASSERT_EQ(0, mvip8_pairprod(nullptr, &a.im, &b.im, &d.im, 0, prod));
        for (size_t i = 0; i < a.count(); ++i) {
            const int64_t l = int64_t(a.get(i)) * 3 - 7, r = int64_t(b.get(i)) * -2 + 500;
            const int32_t v = int32_t(uint32_t(l) * uint32_t(r));  // 32-bit wrapping product
            ASSERT_EQ(std::clamp(double(v / -5), 0.0, M), d.get(i)) << i;
        }
        ASSERT_EQ(0, mvip8_pairratio(nullptr, &a.im, &b.im, &d.im, 0, ratio));
        for (size_t i = 0; i < a.count(); ++i) {
            const int32_t den = int32_t(uint32_t(a.get(i)) * 2u - 3u);
            const int32_t num = int32_t(uint32_t(b.get(i)) * 4u + 1u);
            ASSERT_EQ(den == 0 ? M : std::clamp(double(num / den), 0.0, M), d.get(i)) << i;
        }
    }
    for (bool zero_key : {true, false}) {
        Img a(MVTYPE_U16, 12, 3, 11, 3, rng), b(MVTYPE_U16, 12, 3, 11, 3, rng);
        const uint32_t key[3] = {zero_key ? 0u : 7u, zero_key ? 0u : 8u, zero_key ? 0u : 9u};
        for (size_t px = 0; px < 33; px += 2)  // every other pixel transparent
            for (int k = 0; k < 3; ++k) a.set(px * 3 + k, key[k]);
        const Img b0 = b;
        ASSERT_EQ(0, mvip8_pairoverlay(nullptr, &a.im, &b.im, &b.im, 0, key));
        for (size_t px = 0; px < 33; ++px)
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(px % 2 == 0 ? b0.get(px * 3 + k) : a.get(px * 3 + k), b.get(px * 3 + k)) << px;
    }
}

TEST(PairOps, AccumulationIntoWiderImages) {
    std::mt19937 rng(3);
    const std::pair<uint32_t, uint32_t> mixes[] = {{MVTYPE_U8, MVTYPE_U16}, {MVTYPE_U8, MVTYPE_U32},
                                                   {MVTYPE_U16, MVTYPE_U32}, {MVTYPE_FLOAT, MVTYPE_DOUBLE}};
    for (auto [narrow, wide] : mixes) {
        Img a(narrow, 0, 1, 13, 7, rng), acc(wide, 0, 1, 13, 7, rng);
        const Img acc0 = acc;
        ASSERT_EQ(0, mvip8_pairadd(nullptr, &a.im, &acc.im, &acc.im, 1));
        for (size_t i = 0; i < a.count(); ++i) ASSERT_EQ(wrap(acc0.get(i) + a.get(i), acc), acc.get(i));
    }
    Img a(MVTYPE_U16, 0, 1, 4, 4, rng), b(MVTYPE_U8, 0, 1, 4, 4, rng);
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, &a.im, &b.im, &b.im, 1));  // wider into narrower
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, &b.im, &a.im, &a.im, 2));  // only mode 1 accumulates
}

TEST(TripleOps, BlendAndNormalize) {
    std::mt19937 rng(4);
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16}) {
        Img a(type, 0, 3, 10, 6, rng), w(type, 0, 3, 10, 6, rng), c(type, 0, 3, 10, 6, rng), d(type, 0, 3, 10, 6, rng);
        const double M = a.maxval();
        ASSERT_EQ(0, mvip8_pairblend(nullptr, &a.im, &w.im, &c.im, &d.im));
        for (size_t i = 0; i < a.count(); ++i) {
            const double wv = w.get(i);
            const double want = std::min(M, std::floor((M - wv) * c.get(i) / M) + std::floor(a.get(i) * wv / M));
            ASSERT_EQ(want, d.get(i)) << i;
        }
    }
    Img l(MVTYPE_U8, 0, 1, 64, 4, rng), h(MVTYPE_U8, 0, 1, 64, 4, rng), v(MVTYPE_U8, 0, 1, 64, 4, rng), o(MVTYPE_U8, 0, 1, 64, 4, rng);
    for (size_t i = 0; i < 64; ++i) h.set(i, l.get(i));  // first line: high == low
    ASSERT_EQ(0, mvip8_tripletnormalize(nullptr, &l.im, &h.im, &v.im, &o.im, 300));
    for (size_t i = 0; i < l.count(); ++i) {
        const double lv = l.get(i), hv = h.get(i), vv = v.get(i);
        const double want = vv < lv ? 0 : lv < hv ? std::min(255.0, std::floor((vv - lv) * 300 / (hv - lv))) : 255;
        ASSERT_EQ(want, o.get(i)) << i;
    }
}

TEST(PairOps, BadInput) {
    std::mt19937 rng(5);
    Img a(MVTYPE_U8, 0, 1, 8, 8, rng), b(MVTYPE_U8, 0, 1, 8, 8, rng), c3(MVTYPE_U8, 0, 3, 8, 8, rng);
    Img f(MVTYPE_FLOAT, 0, 1, 8, 8, rng), small(MVTYPE_U8, 0, 1, 7, 8, rng), b12(MVTYPE_U16, 12, 1, 8, 8, rng);
    const Img before = b;
    EXPECT_EQ(-1, mvip8_pairave(nullptr, nullptr, &b.im, &b.im));
    EXPECT_EQ(-1, mvip8_pairave(nullptr, &a.im, &small.im, &b.im));
    EXPECT_EQ(-1, mvip8_pairave(nullptr, &a.im, &b12.im, &b.im));
    EXPECT_EQ(-19, mvip8_pairand(nullptr, &f.im, &f.im, &f.im));
    EXPECT_EQ(-21, mvip8_pairinsert(nullptr, &c3.im, &c3.im, &c3.im));
    EXPECT_EQ(-1, mvip8_pairoverlay(nullptr, &a.im, &b.im, &b.im, 0, nullptr));
    EXPECT_EQ(before.data, b.data);
}

}  // namespace
