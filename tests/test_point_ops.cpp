// Point operations against their per-pixel formulas written plainly, over
// every data type and several bit depths, mono and colour, on windows that
// are not the whole image, into a separate image, in place on the same
// record and in place through a second record over the same memory.  Each
// integer operation runs once on a window small enough to be computed value
// by value and once on a window large enough to go through a table; a
// second test holds the two routes to each other over every input value.
#include "test_util.hpp"

#include <memory>

namespace {

using namespace mvtest;

// What a case knows about the image it runs on.
struct Ctx {
    Format f;
    double top = 0;               // integers: maxval
    uint64_t cmask = 0;           // integers: all bits of the container
    double lo = 0, hi = 1;        // floats: the value range
    std::vector<uint64_t> table;  // mapping cases: one entry per value
};

using PixelFn = std::function<void(double* px, const Ctx&)>;
using CallFn = std::function<int32_t(mvimage* src, mvimage* dst, const Ctx&)>;

struct Case {
    std::string name;
    uint32_t types;  // MVTYPE_* bits
    CallFn call;
    PixelFn expect;
    std::function<bool(const Format&)> applies = nullptr;  // null: every format of the types
    bool needs_table = false;
};

PixelFn per_value(std::function<double(double, const Ctx&)> f) {
    return [f](double* px, const Ctx& c) {
        for (uint32_t k = 0; k < c.f.pixies; ++k) px[k] = f(px[k], c);
    };
}

constexpr uint32_t kU8 = MVTYPE_U8, kU16 = MVTYPE_U16, kU32 = MVTYPE_U32;
constexpr uint32_t kInts = kU8 | kU16 | kU32;
constexpr uint32_t kAll = kInts | MVTYPE_FLOAT | MVTYPE_DOUBLE;

const Format kFormats[] = {
    {MVTYPE_U8, 8, 1},   {MVTYPE_U8, 8, 3},   {MVTYPE_U8, 6, 1},           {MVTYPE_U16, 10, 1},
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
const Shape kShapes[] = {{30, 25, 3, 2, 27, 22, "small"}, {136, 70, 5, 3, 133, 67, "large"}};

enum class Dest { separate, same_record, second_record };

void run_one(const Case& c, const Format& f, const Shape& s, Dest d, uint32_t seed) {
    const char* dest_names[] = {"separate", "same record", "second record"};
    SCOPED_TRACE(c.name + " on " + name_of(f) + ", " + s.name + " window, " + dest_names[int(d)]);
    Ctx ctx{f, is_float(f.type) ? 0 : double(max_of(f)), is_float(f.type) ? 0 : container_mask(f.type),
            f.lo, f.hi, {}};
    if (c.needs_table) {
        std::mt19937_64 rng(seed ^ 0x9E3779B9u);
        ctx.table.resize(size_t{1} << std::min(f.bits, 16u));  // wider formats: short tables only
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
        other = std::make_unique<Image>(f, s.w + 7, s.h + 5, Layout{1});
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
    std::vector<double> want = out.values();
    double px[4];
    for (int32_t y = s.y0; y < s.y1; ++y)
        for (int32_t x = s.x0; x < s.x1; ++x) {
            for (uint32_t k = 0; k < f.pixies; ++k) px[k] = src.value_in(in, x, y, k);
            c.expect(px, ctx);
            for (uint32_t k = 0; k < f.pixies; ++k) want[out.index(x + dx, y + dy, k)] = px[k];
        }
    ASSERT_EQ(c.call(src.rec(), dst, ctx), 0);
    EXPECT_TRUE(holds(out, want));
    if (other) {
        EXPECT_EQ(src.values(), in) << "the source changed";
    }
}

void run_table(const std::vector<Case>& cases) {
    uint32_t seed = 1;
    for (const Case& c : cases)
        for (const Format& f : kFormats) {
            if (!(c.types & f.type) || (c.applies && !c.applies(f))) continue;
            for (const Shape& s : kShapes) {
                // Only formats of up to 12 bits can take the table route.
                if (&s != &kShapes[0] && (is_float(f.type) || f.bits > 12)) continue;
                for (Dest d : {Dest::separate, Dest::same_record, Dest::second_record}) run_one(c, f, s, d, seed++);
            }
        }
}

uint64_t u(double v) { return static_cast<uint64_t>(v); }

#define OP(call) [=](mvimage* s, mvimage* d, [[maybe_unused]] const Ctx& c) { return call; }

TEST(PointFormulas, NegationShiftsAndLogic) {
    const uint32_t m = 0xA5C3F00Fu;
    run_table({
        {"pixneg", kAll, OP(mvip8_pixneg(nullptr, s, d)),
         per_value([](double v, const Ctx& c) { return is_float(c.f.type) ? (c.lo + c.hi) - v : c.top - v; })},
        {"pixshr 3", kInts, OP(mvip8_pixshr(nullptr, s, d, 3)),
         per_value([](double v, const Ctx&) { return double(u(v) >> 3); })},
        // Shift counts are taken modulo 32.
        {"pixshr 37", kInts, OP(mvip8_pixshr(nullptr, s, d, 37)),
         per_value([](double v, const Ctx&) { return double(u(v) >> 5); })},
        {"pixshl 1", kInts, OP(mvip8_pixshl(nullptr, s, d, 1)),
         per_value([](double v, const Ctx& c) { return double((u(v) << 1) & c.cmask); })},
        {"pixshl 35", kInts, OP(mvip8_pixshl(nullptr, s, d, 35)),
         per_value([](double v, const Ctx& c) { return double((u(v) << 3) & c.cmask); })},
        {"pixshl 9", kInts, OP(mvip8_pixshl(nullptr, s, d, 9)),
         per_value([](double v, const Ctx& c) { return double((u(v) << 9) & c.cmask); })},
        {"pixand", kInts, OP(mvip8_pixand(nullptr, s, d, m)),
         per_value([=](double v, const Ctx& c) { return double(u(v) & m & c.cmask); })},
        {"pixor", kInts, OP(mvip8_pixor(nullptr, s, d, m)),
         per_value([=](double v, const Ctx& c) { return double((u(v) | m) & c.cmask); })},
        {"pixxor", kInts, OP(mvip8_pixxor(nullptr, s, d, m)),
         per_value([=](double v, const Ctx& c) { return double((u(v) ^ m) & c.cmask); })},
        {"pixmsb", kInts, OP(mvip8_pixmsb(nullptr, s, d)),
         per_value([](double v, const Ctx& c) { return (u(v) >> (c.f.bits - 1)) & 1 ? c.top : 0.0; })},
    });
}

double contrast(double v, int64_t low, int64_t high, double top) {
    if (low == high) return top;
    if (int64_t(v) <= low) return 0;
    const uint64_t r = (uint64_t(int64_t(v) - low) * u(top)) / uint64_t(high - low);
    return double(std::min<uint64_t>(r, u(top)));
}

double pivot(double v, double p, double gain, double top) {
    return std::floor(std::clamp((v - p) * gain + p, 0.0, top) + 0.5);
}

TEST(PointFormulas, LevelOperations) {
    auto lo = [](const Ctx& c) { return uint32_t(c.top / 4); };
    auto hi = [](const Ctx& c) { return uint32_t(c.top / 2); };
    auto in_band = [=](double v, const Ctx& c) { return v >= lo(c) && v <= hi(c); };
    std::vector<Case> cases = {
        {"pixthreshold", kU8 | kU16, OP(mvip8_pixthreshold(nullptr, s, d, lo(c), hi(c), uint32_t(c.top * 3 / 4))),
         per_value([=](double v, const Ctx& c) { return in_band(v, c) ? double(uint32_t(c.top * 3 / 4)) : v; })},
        {"pixthreshold, a value beyond the container", kU8 | kU16, OP(mvip8_pixthreshold(nullptr, s, d, lo(c), hi(c), 0x12345u)),
         per_value([=](double v, const Ctx& c) { return in_band(v, c) ? double(0x12345u & c.cmask) : v; })},
        {"pixthreshold, low above high", kU8 | kU16, OP(mvip8_pixthreshold(nullptr, s, d, hi(c), lo(c), 7)),
         per_value([](double v, const Ctx&) { return v; })},
        {"pixthreshold2", kU8 | kU16, OP(mvip8_pixthreshold2(nullptr, s, d, lo(c), hi(c), 7, uint32_t(c.top - 1))),
         per_value([=](double v, const Ctx& c) { return in_band(v, c) ? 7.0 : c.top - 1; })},
        {"pixthreshold2, low above high", kU8 | kU16, OP(mvip8_pixthreshold2(nullptr, s, d, hi(c), lo(c), 1, 9)),
         per_value([](double, const Ctx&) { return 9.0; })},
        {"pixcontrast", kU8 | kU16, OP(mvip8_pixcontrast(nullptr, s, d, int32_t(c.top / 4), int32_t(c.top * 3 / 4))),
         per_value([](double v, const Ctx& c) { return contrast(v, int64_t(c.top / 4), int64_t(c.top * 3 / 4), c.top); })},
        {"pixcontrast from a negative low", kU8 | kU16, OP(mvip8_pixcontrast(nullptr, s, d, -3, int32_t(c.top / 2))),
         per_value([](double v, const Ctx& c) { return contrast(v, -3, int64_t(c.top / 2), c.top); })},
        {"pixcontrast low == high", kU8 | kU16, OP(mvip8_pixcontrast(nullptr, s, d, 5, 5)),
         per_value([](double, const Ctx& c) { return c.top; })},
        {"pixadd saturating up", kU8 | kU16, OP(mvip8_pixadd(nullptr, s, d, int32_t(c.top / 3), 2)),
         per_value([](double v, const Ctx& c) { return std::min(c.top, v + double(int32_t(c.top / 3))); })},
        {"pixadd saturating down", kU8 | kU16, OP(mvip8_pixadd(nullptr, s, d, -int32_t(c.top / 5), 2)),
         per_value([](double v, const Ctx& c) { return std::max(0.0, v - double(int32_t(c.top / 5))); })},
        // Wrapping happens in the container, not at the significant bits;
        // modes other than 2 wrap.
        {"pixadd wrapping up", kU8 | kU16, OP(mvip8_pixadd(nullptr, s, d, int32_t(c.top / 3), 0)),
         per_value([](double v, const Ctx& c) { return double((u(v) + uint64_t(c.top / 3)) & c.cmask); })},
        {"pixadd wrapping down", kU8 | kU16, OP(mvip8_pixadd(nullptr, s, d, -int32_t(c.top / 5), 1)),
         per_value([](double v, const Ctx& c) { return double(uint64_t(int64_t(v) - int64_t(c.top / 5)) & c.cmask); })},
        {"pixadd mode 7", kU8 | kU16, OP(mvip8_pixadd(nullptr, s, d, 10, 7)),
         per_value([](double v, const Ctx& c) { return double((u(v) + 10) & c.cmask); })},
        {"pixscale 3/2", kInts, OP(mvip8_pixscale(nullptr, s, d, 3, 2)),
         per_value([](double v, const Ctx& c) { return double(std::min(u(c.top), u(v) * 3 / 2)); })},
        {"pixscale 5/7", kInts, OP(mvip8_pixscale(nullptr, s, d, 5, 7)),
         per_value([](double v, const Ctx& c) { return double(std::min(u(c.top), u(v) * 5 / 7)); })},
        {"pixscale with a 64-bit product", kInts, OP(mvip8_pixscale(nullptr, s, d, 0xFFFFFFF0u, 0xFFFFFFFFu)),
         per_value([](double v, const Ctx& c) {
             return double(std::min(u(c.top), u(v) * uint64_t{0xFFFFFFF0u} / uint64_t{0xFFFFFFFFu}));
         })},
        {"pixcontrastpivot", kU8 | kU16, OP(mvip8_pixcontrastpivot(nullptr, s, d, uint32_t(c.top), 1.7)),
         per_value([](double v, const Ctx& c) { return pivot(v, double(uint32_t(c.top)) / 2, 1.7, c.top); })},
        {"pixcontrastpivot, a negative gain", kU8 | kU16, OP(mvip8_pixcontrastpivot(nullptr, s, d, uint32_t(c.top / 3), -0.5)),
         per_value([](double v, const Ctx& c) { return pivot(v, double(uint32_t(c.top / 3)) / 2, -0.5, c.top); })},
    };
    for (double gamma : {0.4567, 2.2, 1.0}) {
        cases.push_back({"pixgamma " + std::to_string(gamma), kU8 | kU16, OP(mvip8_pixgamma(nullptr, s, d, gamma)),
                         per_value([=](double v, const Ctx& c) {
                             const double g = std::trunc(gamma * 1000) / 1000;  // whole thousandths
                             return std::trunc(std::pow(v, g) * (c.top / std::pow(c.top, g)) + 0.5);
                         })});
    }
    run_table(cases);
}

template <class T>
std::vector<T> narrow(const std::vector<uint64_t>& t) {
    return std::vector<T>(t.begin(), t.end());
}

// A table of a third of the values (and one): shorter than 2^bits.
uint32_t short_size(const Ctx& c) { return uint32_t(c.table.size() / 3 + 1); }

// A lut image: its first window line holds the table (or its first `n`
// entries), in the source's type.
int32_t map_with_lut(mvimage* s, mvimage* d, const Ctx& c, uint32_t n = 0) {
    Format lf = c.f;
    lf.pixies = 1;
    if (n == 0) n = uint32_t(c.table.size());
    Image lut(lf, n + 6, 3);
    lut.randomize(99);
    for (uint32_t i = 0; i < n; ++i) lut.set(i + 2, 1, 0, double(c.table[i]));
    lut.window(2, 1, int32_t(n) + 2, 3);
    return mvip8_pixmaplut(nullptr, s, d, lut.rec());
}

TEST(PointFormulas, TableMappings) {
    const auto lookup = per_value([](double v, const Ctx& c) { return double(c.table[u(v) & u(c.top)]); });
    const auto up_to_16_bits = [](const Format& f) { return f.bits <= 16; };
    const auto short_lookup = per_value([](double v, const Ctx& c) {
        return u(v) < short_size(c) ? double(c.table[u(v)]) : v;
    });
    run_table({
        {"pixmap", kU8, OP(mvip8_pixmap(nullptr, s, d, narrow<uint8_t>(c.table).data(), uint32_t(c.table.size()))),
         lookup, nullptr, true},
        {"pixmaps", kU16, OP(mvip8_pixmaps(nullptr, s, d, narrow<uint16_t>(c.table).data(), uint32_t(c.table.size()))),
         lookup, nullptr, true},
        {"pixmapl", kU32, OP(mvip8_pixmapl(nullptr, s, d, narrow<uint32_t>(c.table).data(), uint32_t(c.table.size()))),
         lookup, up_to_16_bits, true},
        {"pixmap with a longer table", kU8,
         [](mvimage* s, mvimage* d, const Ctx& c) {
             auto t = narrow<uint8_t>(c.table);
             t.resize(t.size() + 300, 0xEE);
             return mvip8_pixmap(nullptr, s, d, t.data(), uint32_t(t.size()));
         },
         lookup, nullptr, true},
        {"pixmaplut", kInts, OP(map_with_lut(s, d, c)), lookup, up_to_16_bits, true},
        // Shorter tables map the values they cover and pass the rest (the
        // only way to map 32-bit images); u8 tables must cover every value.
        {"pixmaps with a short table", kU16,
         OP(mvip8_pixmaps(nullptr, s, d, narrow<uint16_t>(c.table).data(), short_size(c))), short_lookup, nullptr, true},
        {"pixmapl with a short table", kU32,
         OP(mvip8_pixmapl(nullptr, s, d, narrow<uint32_t>(c.table).data(), short_size(c))), short_lookup, nullptr, true},
        {"pixmaplut with a short table", kU16 | kU32, OP(map_with_lut(s, d, c, short_size(c))), short_lookup, nullptr,
         true},
    });
}

TEST(PointFormulas, PixieOperations) {
    const auto colour = [](const Format& f) { return f.pixies >= 3; };
    auto copy_to = [](uint32_t from, uint32_t to) {
        return [=](double* px, const Ctx& c) {
            for (uint32_t j = 0; j < c.f.pixies; ++j)
                if (to >> j & 1) px[j] = px[from];
        };
    };
    auto every = [](auto pick) {
        return [=](double* px, const Ctx& c) {
            const double v = pick(px, c.f.pixies, c);
            for (uint32_t j = 0; j < c.f.pixies; ++j) px[j] = v;
        };
    };
    run_table({
        {"pixiecopy 2 -> {0, 1}", kAll, OP(mvip8_pixiecopy(nullptr, s, d, 2, 3)), copy_to(2, 3), colour},
        {"pixiecopy 0 -> {1, 2}, mask bits beyond the pixies", kAll, OP(mvip8_pixiecopy(nullptr, s, d, 0, 0xF6)),
         copy_to(0, 6), colour},
        {"pixiemin", kAll, OP(mvip8_pixiemin(nullptr, s, d)),
         every([](const double* px, uint32_t n, const Ctx&) { return *std::min_element(px, px + n); })},
        {"pixiemax", kAll, OP(mvip8_pixiemax(nullptr, s, d)),
         every([](const double* px, uint32_t n, const Ctx&) { return *std::max_element(px, px + n); })},
        {"pixieave", kAll, OP(mvip8_pixieave(nullptr, s, d)), every([](const double* px, uint32_t n, const Ctx& c) {
             double sum = 0;
             for (uint32_t j = 0; j < n; ++j) sum += px[j];
             return is_float(c.f.type) ? sum / n : std::floor(sum / n);
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
    });
}

TEST(PointFormulas, FloatArgumentForms) {
    // Arguments chosen inside each format's range.
    auto at = [](const Ctx& c, double share) { return is_float(c.f.type) ? c.lo + share * (c.hi - c.lo) : share * c.top; };
    auto bottom = [](const Ctx& c) { return is_float(c.f.type) ? c.lo : 0; };
    auto top = [](const Ctx& c) { return is_float(c.f.type) ? c.hi : c.top; };
    auto store = [=](double r, const Ctx& c, bool clip) {
        if (!is_float(c.f.type)) return round_clip(r, c.top);
        return clip ? std::clamp(r, c.lo, c.hi) : r;
    };
    auto shift = [=](const Ctx& c, double share, double extra) {
        return is_float(c.f.type) ? share * (c.hi - c.lo) : share * c.top + extra;
    };
    run_table({
        {"mvipf_pixcontrast", kAll, OP(mvipf_pixcontrast(nullptr, s, d, at(c, 0.1), at(c, 0.8))),
         per_value([=](double v, const Ctx& c) {
             const double low = at(c, 0.1), high = at(c, 0.8);
             const double r = v <= low    ? bottom(c)
                              : v >= high ? top(c)
                                          : bottom(c) + (v - low) * (top(c) - bottom(c)) / (high - low);
             return store(r, c, true);
         })},
        {"mvipf_pixcontrast low == high", kAll, OP(mvipf_pixcontrast(nullptr, s, d, at(c, 0.1), at(c, 0.1))),
         per_value([=](double v, const Ctx& c) { return v <= at(c, 0.1) ? bottom(c) : top(c); })},
        {"mvipf_pixscale 1.37", kAll, OP(mvipf_pixscale(nullptr, s, d, 1.37)),
         per_value([=](double v, const Ctx& c) { return store(v * 1.37, c, true); })},
        {"mvipf_pixscale -0.5", kAll, OP(mvipf_pixscale(nullptr, s, d, -0.5)),
         per_value([=](double v, const Ctx& c) { return store(v * -0.5, c, true); })},
        {"mvipf_pixadd up", kAll, OP(mvipf_pixadd(nullptr, s, d, shift(c, 0.3, 0.25))),
         per_value([=](double v, const Ctx& c) { return store(v + shift(c, 0.3, 0.25), c, false); })},
        {"mvipf_pixadd down", kAll, OP(mvipf_pixadd(nullptr, s, d, shift(c, -0.4, -0.5))),
         per_value([=](double v, const Ctx& c) { return store(v + shift(c, -0.4, -0.5), c, false); })},
    });
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

// Result per input value of an operation run on an every_value image;
// -1 where one input value gave two results.
std::vector<double> per_input(uint32_t type, uint32_t bits, uint32_t w, uint32_t h,
                              const std::function<int32_t(mvimage*, mvimage*)>& op, int32_t& rc) {
    auto in = every_value(type, bits, w, h), out = every_value(type, bits, w, h);
    rc = op(in->rec(), out->rec());
    std::vector<double> r(size_t{1} << bits, -2);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            double& slot = r[size_t(in->get(x + 2, y + 1, 0))];
            const double v = out->get(x + 2, y + 1, 0);
            slot = slot == -2 || slot == v ? v : -1;
        }
    return r;
}

TEST(PointFormulas, TableRouteEqualsDirectRoute) {
    // The direct images hold every value once (2^bits > area / 2), the
    // table ones twice or more (2^bits <= area / 2).
    using Op = std::function<int32_t(mvimage*, mvimage*, uint32_t top)>;
    const std::vector<std::pair<const char*, Op>> ops = {
        {"pixneg", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixshr", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixshr(nullptr, s, d, 2); }},
        {"pixshl", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixshl(nullptr, s, d, 3); }},
        {"pixand", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixand(nullptr, s, d, 0x3C5Au); }},
        {"pixor", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixor(nullptr, s, d, 0x3C5Au); }},
        {"pixxor", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixxor(nullptr, s, d, 0x3C5Au); }},
        {"pixmsb", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixmsb(nullptr, s, d); }},
        {"pixthreshold",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixthreshold(nullptr, s, d, t / 5, t / 2, 9); }},
        {"pixthreshold2",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixthreshold2(nullptr, s, d, t / 5, t / 2, 9, t); }},
        {"pixcontrast", [](mvimage* s, mvimage* d,
                           uint32_t t) { return mvip8_pixcontrast(nullptr, s, d, int32_t(t / 7), int32_t(t / 3)); }},
        {"pixadd mode 2",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixadd(nullptr, s, d, int32_t(t / 3), 2); }},
        {"pixadd mode 0",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixadd(nullptr, s, d, -int32_t(t / 3), 0); }},
        {"pixcontrastpivot",
         [](mvimage* s, mvimage* d, uint32_t t) { return mvip8_pixcontrastpivot(nullptr, s, d, t, 2.5); }},
        {"pixgamma", [](mvimage* s, mvimage* d, uint32_t) { return mvip8_pixgamma(nullptr, s, d, 0.7); }},
    };
    struct Sizes {
        uint32_t type, bits, dw, dh, tw, th;
    };
    const Sizes sizes[] = {
        {MVTYPE_U8, 8, 16, 16, 640, 480},      {MVTYPE_U16, 12, 64, 64, 128, 64},
        {MVTYPE_U16, 16, 256, 256, 512, 256},  {MVTYPE_U32, 10, 32, 32, 64, 32},  // a table of u32 entries
    };
    for (const Sizes& z : sizes)
        for (const auto& [name, op] : ops) {
            SCOPED_TRACE(std::string(name) + " on " + name_of(Format{z.type, z.bits, 1}));
            const uint32_t top = uint32_t((uint64_t{1} << z.bits) - 1);
            auto run = [&](mvimage* s, mvimage* d) { return op(s, d, top); };
            int32_t rd = 0, rt = 0;
            const auto direct = per_input(z.type, z.bits, z.dw, z.dh, run, rd);
            const auto table = per_input(z.type, z.bits, z.tw, z.th, run, rt);
            EXPECT_EQ(rd, rt);
            if (rd != 0) continue;  // u8 and u16 operations answer -19 on u32 images
            for (size_t v = 0; v < direct.size(); ++v)
                ASSERT_TRUE(direct[v] >= 0 && direct[v] == table[v])
                    << "value " << v << ": direct " << direct[v] << ", table " << table[v];
        }
}

}  // namespace
