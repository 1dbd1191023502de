// Pair and triple operations against their formulas written plainly.
#include "test_util.hpp"

namespace {

using namespace mvtest;

// A packed image of random values favouring the corners 0, 1, M-1 and M;
// `bits` 0 is the whole container.
struct Img : Image {
    Img(uint32_t type, uint32_t bits, uint32_t pixies, uint32_t w, uint32_t h, std::mt19937& rng)
        : Image({type, is_float(type) ? 0 : bits ? bits : container_bits(type), pixies}, w, h, Layout{0}) {
        for (uint32_t i = 0; i < w * h * pixies; ++i) set(i, random_value(rng));
    }
    double maxval() const { return is_float(fmt().type) ? 1.0 : double(max_of(fmt())); }
    double random_value(std::mt19937& rng) const {
        if (is_float(fmt().type)) return double(float(std::uniform_real_distribution<double>(0, 1)(rng)));
        const uint32_t r = rng() % 8;
        return r == 0 ? 0 : r == 1 ? maxval() : r == 2 ? 1 : double(uint64_t(rng()) & uint64_t(maxval()));
    }
    // Value i in memory order.
    double get(size_t i) const {
        return Image::get(uint32_t(i / pixies() % width()), uint32_t(i / pixies() / width()), uint32_t(i % pixies()));
    }
    void set(size_t i, double v) {
        Image::set(uint32_t(i / pixies() % width()), uint32_t(i / pixies() / width()), uint32_t(i % pixies()), v);
    }
    size_t count() const { return size_t{width()} * height() * pixies(); }
};

// Wraps an integer result into the container of the type.
double wrap(double v, const Img& im) {
    if (is_float(im.fmt().type)) return v;
    const double mod = std::ldexp(1.0, int(container_bits(im.fmt().type)));
    const double r = std::fmod(v, mod);
    return r < 0 ? r + mod : r;
}
double clampv(double v, const Img& im) { return std::clamp(v, 0.0, im.maxval()); }

using PairFormula = std::function<double(double a, double b, const Img& first)>;
using PairCall = std::function<int32_t(mvimage*, mvimage*, mvimage*)>;

struct PairCase {
    std::string name;
    std::vector<uint32_t> types;
    bool colour;
    PairCall call;
    PairFormula formula;
};

std::vector<PairCase> pair_cases() {
    const std::vector<uint32_t> all = {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32, MVTYPE_FLOAT, MVTYPE_DOUBLE};
    const std::vector<uint32_t> ints = {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32}, small = {MVTYPE_U8, MVTYPE_U16};
    auto H = [](const Img& f) { return is_float(f.fmt().type) ? 0.5 : std::ldexp(1.0, int(f.fmt().bits) - 1); };
    auto mid = [](const Img& f) { return is_float(f.fmt().type) ? 0.5 : std::floor((f.maxval() - 1) / 2); };
    auto half = [](const Img& f, double d) { return is_float(f.fmt().type) ? d / 2 : std::floor(d / 2); };
    std::vector<PairCase> c = {
        {"add1", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairadd(nullptr, a, b, d, 1); },
         [](double a, double b, const Img& f) { return wrap(b + a, f); }},
        {"add2", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairadd(nullptr, a, b, d, 2); },
         [](double a, double b, const Img& f) { return std::min(b + a, f.maxval()); }},
        {"ave", all, true, [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairave(nullptr, a, b, d); },
         [=](double a, double b, const Img& f) { return half(f, a + b); }},
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
    const std::vector<std::pair<int, PairFormula>> subs = {
        {1, [](double a, double b, const Img& f) { return wrap(b - a, f); }},
        {2, [](double a, double b, const Img&) { return std::max(b - a, 0.0); }},
        {3, [](double a, double b, const Img&) { return std::fabs(b - a); }},
        {4,
         [=](double a, double b, const Img& f) {
             return is_float(f.fmt().type) ? (b - a) / 2 + H(f) : wrap(half(f, b - a) + H(f), f);
         }},
        {5, [](double a, double b, const Img& f) { return wrap(a - b, f); }},
        {6, [](double a, double b, const Img&) { return std::max(a - b, 0.0); }},
        {7, [](double a, double b, const Img&) { return std::fabs(a - b); }},
        {8,
         [=](double a, double b, const Img& f) {
             return is_float(f.fmt().type) ? (a - b) / 2 + H(f) : wrap(half(f, a - b) + H(f), f);
         }},
        {9, [=](double a, double b, const Img& f) { return clampv(b - a + mid(f), f); }},
        {10, [=](double a, double b, const Img& f) { return clampv(mid(f) + 2 * (b - a), f); }},
        {11, [=](double a, double b, const Img& f) { return clampv(a - b + mid(f), f); }},
        {12, [=](double a, double b, const Img& f) { return clampv(mid(f) + 2 * (a - b), f); }},
        {100, [](double a, double b, const Img& f) { return clampv(2 * b - a, f); }},
        {101, [](double a, double b, const Img& f) { return clampv(3 * b - 2 * a, f); }},
        {102, [](double a, double b, const Img& f) { return clampv(5 * b - 4 * a, f); }},
    };
    for (const auto& [mode, formula] : subs)
        c.push_back({"sub" + std::to_string(mode), all, true,
                     [mode](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairsub(nullptr, a, b, d, mode); }, formula});
    return c;
}

TEST(PairOps, EveryOperationMatchesItsFormula) {
    std::mt19937 rng(31337);
    for (const PairCase& pc : pair_cases())
        for (uint32_t type : pc.types)
            for (int trial = 0; trial < 6; ++trial) {
                SCOPED_TRACE(pc.name + " type " + std::to_string(type) + " #" + std::to_string(trial));
                const uint32_t bits = type == MVTYPE_U8    ? (trial % 2 ? 6 : 8)
                                      : type == MVTYPE_U16 ? (trial % 2 ? 12 : 16)
                                                           : (trial % 2 ? 24 : 32);
                const uint32_t pixies = pc.colour && trial % 3 == 2 ? 3 : 1, w = 1 + rng() % 23, h = 1 + rng() % 5;
                Img a(type, bits, pixies, w + 2, h + 1, rng), b(type, bits, pixies, w + 1, h, rng),
                    d(type, bits, pixies, w, h + 2, rng);
                a.window(2, 1, int32_t(w) + 2, int32_t(h) + 1);
                b.window(1, 0, int32_t(w) + 1, int32_t(h));
                d.window(0, 2, int32_t(w), int32_t(h) + 2);
                // Destination: separate, the second source (in place), or the first.
                Img& out = trial % 3 == 0 ? d : trial % 3 == 1 ? b : a;
                const auto want = with_window(out, [&](uint32_t x, uint32_t y, uint32_t k) {
                    const double v = pc.formula(a.wget(x, y, k), b.wget(x, y, k), a);
                    return type == MVTYPE_FLOAT ? double(float(v)) : v;
                });
                ASSERT_EQ(0, pc.call(a.rec(), b.rec(), out.rec()));
                ASSERT_TRUE(holds(out, want));
            }
}

TEST(PairOps, DocumentedExamples) {
    std::mt19937 rng(1);
    Img a(MVTYPE_U8, 8, 1, 1, 1, rng), b(MVTYPE_U8, 8, 1, 1, 1, rng), d(MVTYPE_U8, 8, 1, 1, 1, rng);
    for (auto [mode, want] : {std::pair{1, 249}, {2, 0}, {4, 124}, {9, 120}, {101, 0}}) {
        a.set(0, 10);
        b.set(0, 3);
        ASSERT_EQ(0, mvip8_pairsub(nullptr, a.rec(), b.rec(), d.rec(), mode));
        EXPECT_EQ(want, d.get(0)) << mode;
    }
    EXPECT_EQ(-1, mvip8_pairsub(nullptr, a.rec(), b.rec(), d.rec(), 13));
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, a.rec(), b.rec(), d.rec(), 3));
    const int32_t ratio[4] = {1, 0, 0, 0};  // denominator always 0 -> M
    ASSERT_EQ(0, mvip8_pairratio(nullptr, a.rec(), b.rec(), d.rec(), 0, ratio));
    EXPECT_EQ(255, d.get(0));
    const int32_t prod[5] = {1, 0, 1, 0, 0};  // a * b / 1
    ASSERT_EQ(0, mvip8_pairprod(nullptr, a.rec(), b.rec(), d.rec(), 0, prod));
    EXPECT_EQ(30, d.get(0));
    EXPECT_EQ(-1, mvip8_pairprod(nullptr, a.rec(), b.rec(), d.rec(), 0, nullptr));
}

TEST(PairOps, ProductRatioAndOverlay) {
    std::mt19937 rng(2);
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32}) {
        Img a(type, 0, 3, 9, 4, rng), b(type, 0, 3, 9, 4, rng), d(type, 0, 3, 9, 4, rng);
        if (type == MVTYPE_U32)  // keep products inside 32 bits
            for (size_t i = 0; i < a.count(); ++i) a.set(i, std::fmod(a.get(i), 1000)), b.set(i, std::fmod(b.get(i), 1000));
        const int32_t prod[5] = {3, -7, -2, 500, -5}, ratio[4] = {4, 1, 2, -3};
        const double M = a.maxval();
        ASSERT_EQ(0, mvip8_pairprod(nullptr, a.rec(), b.rec(), d.rec(), 0, prod));
        for (size_t i = 0; i < a.count(); ++i) {
            const int64_t l = int64_t(a.get(i)) * 3 - 7, r = int64_t(b.get(i)) * -2 + 500;
            const int32_t v = int32_t(uint32_t(l) * uint32_t(r));  // 32-bit wrapping product
            ASSERT_EQ(std::clamp(double(v / -5), 0.0, M), d.get(i)) << i;
        }
        ASSERT_EQ(0, mvip8_pairratio(nullptr, a.rec(), b.rec(), d.rec(), 0, ratio));
        for (size_t i = 0; i < a.count(); ++i) {
            const int32_t den = int32_t(uint32_t(a.get(i)) * 2u - 3u), num = int32_t(uint32_t(b.get(i)) * 4u + 1u);
            ASSERT_EQ(den == 0 ? M : std::clamp(double(num / den), 0.0, M), d.get(i)) << i;
        }
    }
    for (bool zero_key : {true, false}) {
        Img a(MVTYPE_U16, 12, 3, 11, 3, rng), b(MVTYPE_U16, 12, 3, 11, 3, rng);
        const uint32_t key[3] = {zero_key ? 0u : 7u, zero_key ? 0u : 8u, zero_key ? 0u : 9u};
        for (size_t px = 0; px < 33; px += 2)  // every other pixel transparent
            for (int k = 0; k < 3; ++k) a.set(px * 3 + k, key[k]);
        std::vector<double> want = b.values();
        for (size_t i = 0; i < want.size(); ++i)
            if (i / 3 % 2) want[i] = a.get(i);
        ASSERT_EQ(0, mvip8_pairoverlay(nullptr, a.rec(), b.rec(), b.rec(), 0, key));
        EXPECT_TRUE(holds(b, want));
    }
}

TEST(PairOps, AccumulationIntoWiderImages) {
    std::mt19937 rng(3);
    for (auto [narrow, wide] : {std::pair{MVTYPE_U8, MVTYPE_U16}, {MVTYPE_U8, MVTYPE_U32}, {MVTYPE_U16, MVTYPE_U32},
                                {MVTYPE_FLOAT, MVTYPE_DOUBLE}}) {
        Img a(narrow, 0, 1, 13, 7, rng), acc(wide, 0, 1, 13, 7, rng);
        std::vector<double> want = acc.values();
        for (size_t i = 0; i < want.size(); ++i) want[i] = wrap(want[i] + a.get(i), acc);
        ASSERT_EQ(0, mvip8_pairadd(nullptr, a.rec(), acc.rec(), acc.rec(), 1));
        EXPECT_TRUE(holds(acc, want));
    }
    Img a(MVTYPE_U16, 0, 1, 4, 4, rng), b(MVTYPE_U8, 0, 1, 4, 4, rng);
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, a.rec(), b.rec(), b.rec(), 1));  // wider into narrower
    EXPECT_EQ(-1, mvip8_pairadd(nullptr, b.rec(), a.rec(), a.rec(), 2));  // only mode 1 accumulates
}

TEST(TripleOps, BlendAndNormalize) {
    std::mt19937 rng(4);
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16}) {
        Img a(type, 0, 3, 10, 6, rng), w(type, 0, 3, 10, 6, rng), c(type, 0, 3, 10, 6, rng), d(type, 0, 3, 10, 6, rng);
        const double M = a.maxval();
        ASSERT_EQ(0, mvip8_pairblend(nullptr, a.rec(), w.rec(), c.rec(), d.rec()));
        for (size_t i = 0; i < a.count(); ++i)
            ASSERT_EQ(std::min(M, std::floor((M - w.get(i)) * c.get(i) / M) + std::floor(a.get(i) * w.get(i) / M)),
                      d.get(i))
                << i;
    }
    Img l(MVTYPE_U8, 0, 1, 64, 4, rng), h(MVTYPE_U8, 0, 1, 64, 4, rng), v(MVTYPE_U8, 0, 1, 64, 4, rng),
        o(MVTYPE_U8, 0, 1, 64, 4, rng);
    for (size_t i = 0; i < 64; ++i) h.set(i, l.get(i));  // first line: high == low
    ASSERT_EQ(0, mvip8_tripletnormalize(nullptr, l.rec(), h.rec(), v.rec(), o.rec(), 300));
    for (size_t i = 0; i < l.count(); ++i) {
        const double lv = l.get(i), hv = h.get(i), vv = v.get(i);
        ASSERT_EQ(vv < lv ? 0 : lv < hv ? std::min(255.0, std::floor((vv - lv) * 300 / (hv - lv))) : 255, o.get(i)) << i;
    }
}

TEST(PairOps, BadInput) {
    std::mt19937 rng(5);
    Img a(MVTYPE_U8, 0, 1, 8, 8, rng), b(MVTYPE_U8, 0, 1, 8, 8, rng), c3(MVTYPE_U8, 0, 3, 8, 8, rng);
    Img f(MVTYPE_FLOAT, 0, 1, 8, 8, rng), narrow(MVTYPE_U8, 0, 1, 7, 8, rng), b12(MVTYPE_U16, 12, 1, 8, 8, rng);
    const auto before = b.raw();
    EXPECT_EQ(-1, mvip8_pairave(nullptr, nullptr, b.rec(), b.rec()));
    EXPECT_EQ(-1, mvip8_pairave(nullptr, a.rec(), narrow.rec(), b.rec()));
    EXPECT_EQ(-1, mvip8_pairave(nullptr, a.rec(), b12.rec(), b.rec()));
    EXPECT_EQ(-19, mvip8_pairand(nullptr, f.rec(), f.rec(), f.rec()));
    EXPECT_EQ(-21, mvip8_pairinsert(nullptr, c3.rec(), c3.rec(), c3.rec()));
    EXPECT_EQ(-1, mvip8_pairoverlay(nullptr, a.rec(), b.rec(), b.rec(), 0, nullptr));
    EXPECT_TRUE(b.raw_is(before));
}

}  // namespace
