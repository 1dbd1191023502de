// Point operations against their per-pixel formulas written plainly, over
// every data type and several bit depths, mono and colour, on windows that
// are not the whole image, into a separate image, in place on the same
// record and in place through a second record over the same memory.  Each
// integer operation runs once on a window small enough to be computed value
// by value and once on a window large enough to go through a table.
#include "tests/test_point_ops.hpp"

#include <algorithm>
#include <memory>

namespace {

using namespace optest;

// What a case knows about the image it runs on.
struct Ctx {
    Format f;
    double top = 0;        // integers: maxval
    uint64_t cmask = 0;    // integers: all bits of the container
    double lo = 0, hi = 1; // floats: the value range
    std::vector<uint64_t> table;  // mapping cases: one entry per value
};

Ctx ctx_for(const Format& f) {
    Ctx c;
    c.f = f;
    if (!is_float(f.type)) {
        c.top = double(max_of(f));
        c.cmask = container_mask(f.type);
    }
    c.lo = f.lo;
    c.hi = f.hi;
    return c;
}

using PixelFn = std::function<void(double* px, const Ctx&)>;
using CallFn = std::function<int32_t(mvimage* src, mvimage* dst, const Ctx&)>;

struct Case {
    Case(std::string n, uint32_t t, CallFn c, PixelFn e, std::function<bool(const Format&)> a = nullptr,
         bool table = false)
        : name(std::move(n)), types(t), call(std::move(c)), expect(std::move(e)), applies(std::move(a)),
          needs_table(table) {}
    std::string name;
    uint32_t types;                              // MVTYPE_* bits
    CallFn call;
    PixelFn expect;
    std::function<bool(const Format&)> applies;  // null: every format of the types
    bool needs_table;
};

PixelFn per_value(std::function<double(double, const Ctx&)> f) {
    return [f](double* px, const Ctx& c) {
        for (uint32_t k = 0; k < c.f.pixies; ++k) px[k] = f(px[k], c);
    };
}

constexpr uint32_t kU8 = MVTYPE_U8, kU16 = MVTYPE_U16, kU32 = MVTYPE_U32;
constexpr uint32_t kInts = kU8 | kU16 | kU32;
constexpr uint32_t kReals = MVTYPE_FLOAT | MVTYPE_DOUBLE;
constexpr uint32_t kAll = kInts | kReals;

const Format kFormats[] = {
    {MVTYPE_U8, 8, 1},  {MVTYPE_U8, 8, 3},   {MVTYPE_U8, 6, 1},           {MVTYPE_U16, 10, 1},
    {MVTYPE_U16, 12, 3}, {MVTYPE_U16, 16, 1}, {MVTYPE_U32, 32, 1},         {MVTYPE_U32, 12, 1},
    {MVTYPE_U32, 20, 3}, {MVTYPE_FLOAT, 0, 1}, {MVTYPE_FLOAT, 0, 3, -1, 3}, {MVTYPE_DOUBLE, 0, 1, -2, 2},
    {MVTYPE_DOUBLE, 0, 3},
};

// Image size and window.  The small window (480 pixels) sends every
// integer format through the value-by-value route; the large one (8192
// pixels) sends formats of up to 12 bits through the table (4096 entries
// for 12 bits: just at the limit).
struct Shape {
    uint32_t w, h;
    int32_t x0, y0, x1, y1;
    const char* name;
};
const Shape kShapes[] = {
    {30, 25, 3, 2, 27, 22, "small"},
    {136, 70, 5, 3, 133, 67, "large"},
};

enum class Dest { separate, same_record, second_record };
const char* name_of(Dest d) {
    return d == Dest::separate ? "separate" : d == Dest::same_record ? "same record" : "second record";
}

void run_one(const Case& c, const Format& f, const Shape& s, Dest d, uint32_t seed) {
    SCOPED_TRACE(c.name + " on " + name_of(f) + ", " + s.name + " window, " + name_of(d));
    Ctx ctx = ctx_for(f);
    if (c.needs_table) {
        std::mt19937_64 rng(seed ^ 0x9E3779B9u);
        ctx.table.resize(size_t{1} << f.bits);
        for (auto& e : ctx.table) e = rng() & ctx.cmask;
    }
    Image src(f, s.w, s.h);
    src.randomize(seed);
    src.window(s.x0, s.y0, s.x1, s.y1);

    // The separate destination is larger, with its window elsewhere.
    constexpr int32_t kDx = 4, kDy = 3;
    std::unique_ptr<Image> other;
    mvimage second{};
    mvimage* dst = src.rec();
    if (d == Dest::separate) {
        other = std::make_unique<Image>(f, s.w + 7, s.h + 5, 1);
        other->randomize(seed + 1);
        other->window(s.x0 + kDx, s.y0 + kDy, s.x1 + kDx, s.y1 + kDy);
        dst = other->rec();
    } else if (d == Dest::second_record) {
        src.init(&second);
        ASSERT_EQ(mvimage_setwind(&second, s.x0, s.y0, s.x1, s.y1), 0);
        dst = &second;
    }
    Image& out = other ? *other : src;
    const int32_t dx = other ? kDx : 0, dy = other ? kDy : 0;
    const std::vector<double> in = src.values();
    const std::vector<double> before = out.values();

    ASSERT_EQ(c.call(src.rec(), dst, ctx), 0);

    size_t bad = 0;
    double px[4], source_px[4];
    for (uint32_t y = 0; y < out.height(); ++y) {
        for (uint32_t x = 0; x < out.width(); ++x) {
            const int32_t sx = int32_t(x) - dx, sy = int32_t(y) - dy;
            const bool inside = sx >= s.x0 && sx < s.x1 && sy >= s.y0 && sy < s.y1;
            for (uint32_t k = 0; k < f.pixies; ++k)
                source_px[k] = px[k] =
                    inside ? src.value_in(in, uint32_t(sx), uint32_t(sy), k) : out.value_in(before, x, y, k);
            if (inside) c.expect(px, ctx);
            for (uint32_t k = 0; k < f.pixies; ++k) {
                const double got = out.get(x, y, k);
                if (same_value(got, px[k], f.type)) continue;
                if (bad++ == 0)
                    ADD_FAILURE() << "at (" << x << ", " << y << ") pixie " << k
                                  << (inside ? " inside" : " outside") << " the window: source "
                                  << source_px[k] << ", got " << got << ", want " << px[k];
            }
        }
    }
    EXPECT_EQ(bad, 0u) << "values wrong";
    if (other) {
        EXPECT_EQ(src.values(), in) << "the source changed";
    }
}

void run_table(const std::vector<Case>& cases) {
    uint32_t seed = 1;
    for (const Case& c : cases) {
        for (const Format& f : kFormats) {
            if (!(c.types & f.type) || (c.applies && !c.applies(f))) continue;
            for (const Shape& s : kShapes) {
                // Only formats of up to 12 bits can take the table route.
                if (&s != &kShapes[0] && (is_float(f.type) || f.bits > 12)) continue;
                for (Dest d : {Dest::separate, Dest::same_record, Dest::second_record})
                    run_one(c, f, s, d, seed++);
            }
        }
    }
}

uint64_t u(double v) { return static_cast<uint64_t>(v); }

// ---- negation, shifts, logic -------------------------------------------

TEST(PointFormulas, NegationShiftsAndLogic) {
    const uint32_t kMask = 0xA5C3F00Fu;
    std::vector<Case> cases = {
        {"pixneg", kAll, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixneg(nullptr, s, d); },
         per_value([](double v, const Ctx& c) { return is_float(c.f.type) ? (c.lo + c.hi) - v : c.top - v; })},
        {"pixshr 3", kInts, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixshr(nullptr, s, d, 3); },
         per_value([](double v, const Ctx&) { return double(u(v) >> 3); })},
        {"pixshr 37 (shifts by 5)", kInts,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixshr(nullptr, s, d, 37); },
         per_value([](double v, const Ctx&) { return double(u(v) >> 5); })},
        {"pixshl 1", kInts, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixshl(nullptr, s, d, 1); },
         per_value([](double v, const Ctx& c) { return double((u(v) << 1) & c.cmask); })},
        {"pixshl 35 (shifts by 3)", kInts,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixshl(nullptr, s, d, 35); },
         per_value([](double v, const Ctx& c) { return double((u(v) << 3) & c.cmask); })},
        {"pixand", kInts, [=](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixand(nullptr, s, d, kMask); },
         per_value([=](double v, const Ctx& c) { return double((u(v) & kMask) & c.cmask); })},
        {"pixor", kInts, [=](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixor(nullptr, s, d, kMask); },
         per_value([=](double v, const Ctx& c) { return double((u(v) | kMask) & c.cmask); })},
        {"pixxor", kInts, [=](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixxor(nullptr, s, d, kMask); },
         per_value([=](double v, const Ctx& c) { return double((u(v) ^ kMask) & c.cmask); })},
        {"pixmsb", kInts, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixmsb(nullptr, s, d); },
         per_value([](double v, const Ctx& c) { return (u(v) >> (c.f.bits - 1)) & 1 ? c.top : 0.0; })},
    };
    run_table(cases);
}

// ---- thresholds, contrast, addition, scaling, pivot, gamma --------------

double contrast(double v, int64_t low, int64_t high, double top) {
    if (low == high) return top;
    if (int64_t(v) <= low) return 0;
    const uint64_t r = (uint64_t(int64_t(v) - low) * u(top)) / uint64_t(high - low);
    return double(std::min<uint64_t>(r, u(top)));
}

TEST(PointFormulas, LevelOperations) {
    auto low_of = [](const Ctx& c) { return uint32_t(c.top / 4); };
    auto high_of = [](const Ctx& c) { return uint32_t(c.top / 2); };
    std::vector<Case> cases = {
        {"pixthreshold", kU8 | kU16,
         [=](mvimage* s, mvimage* d, const Ctx& c) {
             return mvip8_pixthreshold(nullptr, s, d, low_of(c), high_of(c), uint32_t(c.top * 3 / 4));
         },
         per_value([=](double v, const Ctx& c) {
             return v >= low_of(c) && v <= high_of(c) ? double(uint32_t(c.top * 3 / 4)) : v;
         })},
        {"pixthreshold with a value beyond the container", kU8 | kU16,
         [=](mvimage* s, mvimage* d, const Ctx& c) {
             return mvip8_pixthreshold(nullptr, s, d, low_of(c), high_of(c), 0x12345u);
         },
         per_value([=](double v, const Ctx& c) {
             return v >= low_of(c) && v <= high_of(c) ? double(0x12345u & c.cmask) : v;
         })},
        {"pixthreshold2", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             return mvip8_pixthreshold2(nullptr, s, d, uint32_t(c.top / 3), uint32_t(c.top * 2 / 3), 7,
                                        uint32_t(c.top - 1));
         },
         per_value([](double v, const Ctx& c) {
             return v >= uint32_t(c.top / 3) && v <= uint32_t(c.top * 2 / 3) ? 7.0 : double(uint32_t(c.top - 1));
         })},
        {"pixcontrast quarter..three quarters", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             return mvip8_pixcontrast(nullptr, s, d, int32_t(c.top / 4), int32_t(c.top * 3 / 4));
         },
         per_value([](double v, const Ctx& c) {
             return contrast(v, int64_t(c.top / 4), int64_t(c.top * 3 / 4), c.top);
         })},
        {"pixcontrast from a negative low", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixcontrast(nullptr, s, d, -3, int32_t(c.top / 2)); },
         per_value([](double v, const Ctx& c) { return contrast(v, -3, int64_t(c.top / 2), c.top); })},
        {"pixcontrast low == high", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixcontrast(nullptr, s, d, 5, 5); },
         per_value([](double, const Ctx& c) { return c.top; })},
        {"pixadd saturating up", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixadd(nullptr, s, d, int32_t(c.top / 3), 2); },
         per_value([](double v, const Ctx& c) { return std::min(c.top, v + double(int32_t(c.top / 3))); })},
        {"pixadd saturating down", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixadd(nullptr, s, d, -int32_t(c.top / 5), 2); },
         per_value([](double v, const Ctx& c) { return std::max(0.0, v - double(int32_t(c.top / 5))); })},
        {"pixadd wrapping up (mode 0)", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixadd(nullptr, s, d, int32_t(c.top / 3), 0); },
         per_value([](double v, const Ctx& c) { return double((u(v) + uint64_t(c.top / 3)) & c.cmask); })},
        {"pixadd wrapping down (mode 1)", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixadd(nullptr, s, d, -int32_t(c.top / 5), 1); },
         per_value([](double v, const Ctx& c) {
             return double(uint64_t(int64_t(v) - int64_t(int32_t(c.top / 5))) & c.cmask);
         })},
        {"pixscale 3/2", kInts, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixscale(nullptr, s, d, 3, 2); },
         per_value([](double v, const Ctx& c) { return double(std::min(u(c.top), u(v) * 3 / 2)); })},
        {"pixscale 5/7", kInts, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixscale(nullptr, s, d, 5, 7); },
         per_value([](double v, const Ctx& c) { return double(std::min(u(c.top), u(v) * 5 / 7)); })},
        {"pixscale with a 64-bit product", kInts,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixscale(nullptr, s, d, 0xFFFFFFF0u, 0xFFFFFFFFu); },
         per_value([](double v, const Ctx& c) {
             return double(std::min(u(c.top), u(v) * uint64_t{0xFFFFFFF0u} / uint64_t{0xFFFFFFFFu}));
         })},
        {"pixcontrastpivot", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) { return mvip8_pixcontrastpivot(nullptr, s, d, uint32_t(c.top), 1.7); },
         per_value([](double v, const Ctx& c) {
             const double p = double(uint32_t(c.top)) / 2;
             const double r = std::clamp((v - p) * 1.7 + p, 0.0, c.top);
             return std::floor(r + 0.5);
         })},
        {"pixcontrastpivot with a negative gain", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             return mvip8_pixcontrastpivot(nullptr, s, d, uint32_t(c.top / 3), -0.5);
         },
         per_value([](double v, const Ctx& c) {
             const double p = double(uint32_t(c.top / 3)) / 2;
             const double r = std::clamp((v - p) * -0.5 + p, 0.0, c.top);
             return std::floor(r + 0.5);
         })},
    };
    for (double gamma : {0.4567, 2.2, 1.0}) {
        cases.push_back(
            {"pixgamma " + std::to_string(gamma), kU8 | kU16,
             [=](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixgamma(nullptr, s, d, gamma); },
             per_value([=](double v, const Ctx& c) {
                 // The exponent counts in whole thousandths.
                 const double g = std::trunc(gamma * 1000) / 1000;
                 return std::trunc(std::pow(v, g) * (c.top / std::pow(c.top, g)) + 0.5);
             })});
    }
    run_table(cases);
}

// ---- table mappings --------------------------------------------------------

template <class T>
std::vector<T> narrow(const std::vector<uint64_t>& t) {
    return std::vector<T>(t.begin(), t.end());
}

// A lut image: its first window line holds the table, in the source's type.
int32_t map_with_lut(mvimage* s, mvimage* d, const Ctx& c) {
    Format lf = c.f;
    lf.pixies = 1;
    const uint32_t n = uint32_t(c.table.size());
    Image lut(lf, n + 6, 3);
    lut.randomize(99);
    for (uint32_t i = 0; i < n; ++i) lut.set(i + 2, 1, 0, double(c.table[i]));
    lut.window(2, 1, int32_t(n) + 2, 3);
    return mvip8_pixmaplut(nullptr, s, d, lut.rec());
}

TEST(PointFormulas, TableMappings) {
    const auto lookup = per_value([](double v, const Ctx& c) { return double(c.table[u(v) & u(c.top)]); });
    const auto up_to_16_bits = [](const Format& f) { return f.bits <= 16; };
    std::vector<Case> cases = {
        {"pixmap", kU8,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             const auto t = narrow<uint8_t>(c.table);
             return mvip8_pixmap(nullptr, s, d, t.data(), uint32_t(t.size()));
         },
         lookup, nullptr, true},
        {"pixmaps", kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             const auto t = narrow<uint16_t>(c.table);
             return mvip8_pixmaps(nullptr, s, d, t.data(), uint32_t(t.size()));
         },
         lookup, nullptr, true},
        {"pixmapl", kU32,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             const auto t = narrow<uint32_t>(c.table);
             return mvip8_pixmapl(nullptr, s, d, t.data(), uint32_t(t.size()));
         },
         lookup, up_to_16_bits, true},
        {"pixmap with a longer table", kU8,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             auto t = narrow<uint8_t>(c.table);
             t.resize(t.size() + 300, 0xEE);
             return mvip8_pixmap(nullptr, s, d, t.data(), uint32_t(t.size()));
         },
         lookup, nullptr, true},
        {"pixmaplut", kInts, map_with_lut, lookup, up_to_16_bits, true},
    };
    run_table(cases);
}

// ---- operations across the pixies of a pixel ------------------------------

TEST(PointFormulas, PixieOperations) {
    const auto colour = [](const Format& f) { return f.pixies >= 3; };
    auto copy_to = [](uint32_t from, uint32_t to) {
        return [=](double* px, const Ctx& c) {
            const double v = px[from];
            for (uint32_t j = 0; j < c.f.pixies; ++j)
                if (to >> j & 1) px[j] = v;
        };
    };
    auto every = [](auto pick) {
        return [=](double* px, const Ctx& c) {
            const double v = pick(px, c);
            for (uint32_t j = 0; j < c.f.pixies; ++j) px[j] = v;
        };
    };
    std::vector<Case> cases = {
        {"pixiecopy 2 -> {0, 1}", kAll,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixiecopy(nullptr, s, d, 2, 3); }, copy_to(2, 3), colour},
        {"pixiecopy 0 -> {1, 2} (mask bits beyond the pixies ignored)", kAll,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixiecopy(nullptr, s, d, 0, 0xF6); }, copy_to(0, 6),
         colour},
        {"pixiemin", kAll, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixiemin(nullptr, s, d); },
         every([](const double* px, const Ctx& c) { return *std::min_element(px, px + c.f.pixies); })},
        {"pixiemax", kAll, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixiemax(nullptr, s, d); },
         every([](const double* px, const Ctx& c) { return *std::max_element(px, px + c.f.pixies); })},
        {"pixieave", kAll, [](mvimage* s, mvimage* d, const Ctx&) { return mvip8_pixieave(nullptr, s, d); },
         every([](const double* px, const Ctx& c) {
             double sum = 0;
             for (uint32_t j = 0; j < c.f.pixies; ++j) sum += px[j];
             return is_float(c.f.type) ? sum / c.f.pixies : std::floor(sum / c.f.pixies);
         })},
        {"pixthreshold3", kU8 | kU16,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             const uint32_t low[3] = {uint32_t(c.top / 4), 0, uint32_t(c.top / 3)};
             const uint32_t high[3] = {uint32_t(c.top), uint32_t(c.top / 2), uint32_t(c.top)};
             const uint32_t value[3] = {1, 2, 3};
             return mvip8_pixthreshold3(nullptr, s, d, low, high, value);
         },
         [](double* px, const Ctx& c) {
             if (px[0] >= uint32_t(c.top / 4) && px[1] <= uint32_t(c.top / 2) && px[2] >= uint32_t(c.top / 3))
                 px[0] = 1, px[1] = 2, px[2] = 3;
         },
         colour},
    };
    run_table(cases);
}

// ---- float-argument forms --------------------------------------------------

TEST(PointFormulas, FloatArgumentForms) {
    // Arguments chosen inside each format's range.
    auto low_of = [](const Ctx& c) { return is_float(c.f.type) ? c.lo + 0.1 * (c.hi - c.lo) : 0.2 * c.top; };
    auto high_of = [](const Ctx& c) { return is_float(c.f.type) ? c.lo + 0.8 * (c.hi - c.lo) : 0.7 * c.top; };
    auto store = [](double r, const Ctx& c, bool clip) {
        if (!is_float(c.f.type)) return round_clip(r, c.top);
        return clip ? std::clamp(r, c.lo, c.hi) : r;
    };
    std::vector<Case> cases = {
        {"mvipf_pixcontrast", kAll,
         [=](mvimage* s, mvimage* d, const Ctx& c) { return mvipf_pixcontrast(nullptr, s, d, low_of(c), high_of(c)); },
         per_value([=](double v, const Ctx& c) {
             const double bottom = is_float(c.f.type) ? c.lo : 0, top = is_float(c.f.type) ? c.hi : c.top;
             const double low = low_of(c), high = high_of(c);
             const double r = v <= low ? bottom : v >= high ? top : bottom + (v - low) * (top - bottom) / (high - low);
             return store(r, c, true);
         })},
        {"mvipf_pixcontrast low == high", kAll,
         [=](mvimage* s, mvimage* d, const Ctx& c) { return mvipf_pixcontrast(nullptr, s, d, low_of(c), low_of(c)); },
         per_value([=](double v, const Ctx& c) {
             const double bottom = is_float(c.f.type) ? c.lo : 0, top = is_float(c.f.type) ? c.hi : c.top;
             return v <= low_of(c) ? bottom : top;
         })},
        {"mvipf_pixscale 1.37", kAll,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvipf_pixscale(nullptr, s, d, 1.37); },
         per_value([=](double v, const Ctx& c) { return store(v * 1.37, c, true); })},
        {"mvipf_pixscale -0.5", kAll,
         [](mvimage* s, mvimage* d, const Ctx&) { return mvipf_pixscale(nullptr, s, d, -0.5); },
         per_value([=](double v, const Ctx& c) { return store(v * -0.5, c, true); })},
        {"mvipf_pixadd up", kAll,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             return mvipf_pixadd(nullptr, s, d, is_float(c.f.type) ? 0.3 * (c.hi - c.lo) : 0.3 * c.top + 0.25);
         },
         per_value([=](double v, const Ctx& c) {
             return store(v + (is_float(c.f.type) ? 0.3 * (c.hi - c.lo) : 0.3 * c.top + 0.25), c, false);
         })},
        {"mvipf_pixadd down", kAll,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             return mvipf_pixadd(nullptr, s, d, is_float(c.f.type) ? -0.4 * (c.hi - c.lo) : -0.4 * c.top - 0.5);
         },
         per_value([=](double v, const Ctx& c) {
             return store(v + (is_float(c.f.type) ? -0.4 * (c.hi - c.lo) : -0.4 * c.top - 0.5), c, false);
         })},
    };
    run_table(cases);
}

// ---- the table route against the value-by-value route ---------------------

// One image holding every value of `bits` (as often as the window allows,
// in a scrambled order) in a window of w x h pixels inside a larger image.
std::unique_ptr<Image> every_value(uint32_t type, uint32_t bits, uint32_t w, uint32_t h) {
    auto im = std::make_unique<Image>(Format{type, bits, 1}, w + 3, h + 2);
    const uint64_t n = uint64_t{1} << bits;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const uint64_t i = uint64_t{y} * w + x;
            im->set(x + 2, y + 1, 0, double((i * 40503u + (i / n)) % n));
        }
    im->window(2, 1, int32_t(w) + 2, int32_t(h) + 1);
    return im;
}

// Result per input value, read back from an image made by every_value.
std::vector<double> per_input(const Image& before, const Image& after, uint32_t w, uint32_t h, uint32_t bits,
                              bool& consistent) {
    std::vector<double> out(size_t{1} << bits, -1);
    consistent = true;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const size_t v = size_t(before.get(x + 2, y + 1, 0));
            const double r = after.get(x + 2, y + 1, 0);
            if (out[v] >= 0 && out[v] != r) consistent = false;
            out[v] = r;
        }
    return out;
}

TEST(PointFormulas, TableRouteEqualsDirectRoute) {
    // Every operation that may go through a table.  The images hold every
    // value: the direct one exactly once per value (2^bits > area / 2), the
    // table one twice or more (2^bits <= area / 2).
    using Op = std::function<int32_t(mvimage*, mvimage*, uint32_t top)>;
    const std::vector<std::pair<const char*, Op>> ops = {
        {"pixneg", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixshr", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixshr(nullptr, s, d, 2); }},
        {"pixshl", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixshl(nullptr, s, d, 3); }},
        {"pixand", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixand(nullptr, s, d, 0x3C5Au); }},
        {"pixor", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixor(nullptr, s, d, 0x3C5Au); }},
        {"pixxor", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixxor(nullptr, s, d, 0x3C5Au); }},
        {"pixmsb", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixmsb(nullptr, s, d); }},
        {"pixthreshold", [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixthreshold(nullptr, s, d, t / 5, t / 2, 9); }},
        {"pixthreshold2",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixthreshold2(nullptr, s, d, t / 5, t / 2, 9, t); }},
        {"pixcontrast", [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixcontrast(nullptr, s, d, int32_t(t / 7), int32_t(t / 3)); }},
        {"pixadd mode 2", [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixadd(nullptr, s, d, int32_t(t / 3), 2); }},
        {"pixadd mode 0", [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixadd(nullptr, s, d, -int32_t(t / 3), 0); }},
        {"pixcontrastpivot", [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixcontrastpivot(nullptr, s, d, t, 2.5); }},
        {"pixgamma", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixgamma(nullptr, s, d, 0.7); }},
    };
    struct Sizes {
        uint32_t type, bits, dw, dh, tw, th;
    };
    const Sizes sizes[] = {
        {MVTYPE_U8, 8, 16, 16, 640, 480},      // 256 > 128; 256 <= 153600
        {MVTYPE_U16, 12, 64, 64, 128, 64},     // 4096 > 2048; 4096 <= 4096
        {MVTYPE_U16, 16, 256, 256, 512, 256},  // 65536 > 32768; 65536 <= 65536
        {MVTYPE_U32, 10, 32, 32, 64, 32},      // through a table of u32 entries
    };
    for (const Sizes& z : sizes) {
        const uint32_t top = uint32_t((uint64_t{1} << z.bits) - 1);
        for (const auto& [name, op] : ops) {
            SCOPED_TRACE(std::string(name) + " on " + name_of(Format{z.type, z.bits, 1}));
            auto direct_in = every_value(z.type, z.bits, z.dw, z.dh);
            auto direct_out = every_value(z.type, z.bits, z.dw, z.dh);
            auto table_in = every_value(z.type, z.bits, z.tw, z.th);
            auto table_out = every_value(z.type, z.bits, z.tw, z.th);
            const int32_t rd = op(direct_in->rec(), direct_out->rec(), top);
            const int32_t rt = op(table_in->rec(), table_out->rec(), top);
            EXPECT_EQ(rd, rt);
            if (rd != 0) continue;  // u8 and u16 operations answer -19 on u32 images
            bool one = true, two = true;
            const auto d = per_input(*direct_in, *direct_out, z.dw, z.dh, z.bits, one);
            const auto t = per_input(*table_in, *table_out, z.tw, z.th, z.bits, two);
            EXPECT_TRUE(one && two) << "one input value gave two results";
            size_t differ = 0;
            for (size_t v = 0; v < d.size(); ++v)
                if (d[v] != t[v] && differ++ == 0)
                    ADD_FAILURE() << "value " << v << ": direct " << d[v] << ", table " << t[v];
            EXPECT_EQ(differ, 0u);
        }
    }
}

}  // namespace
