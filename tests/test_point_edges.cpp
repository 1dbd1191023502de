// Point operations: the documented edge values on both routes, argument
// checks of the mappings, pixie copies and scaling, fills, histograms and
// the percentile stretch.
#include "tests/test_point_ops.hpp"

#include <algorithm>
#include <memory>

namespace {

using namespace optest;

using Call = std::function<int32_t(mvimage* src, mvimage* dst)>;

struct Edge {
    std::string name;
    Format fmt;
    std::vector<double> in, want;
    Call call;
};

// Runs `e` with its values laid out line after line in the window of an
// image: one short line (value-by-value route) or, for `large`, repeated
// over a window of at least 2^(bits+1) pixels (table route); into a
// separate image or in place.
void check_edge(const Edge& e, bool large, bool in_place) {
    SCOPED_TRACE(e.name + " on " + name_of(e.fmt) + (large ? ", table route" : ", direct route") +
                 (in_place ? ", in place" : ", separate"));
    const uint32_t n = uint32_t(e.in.size()) / e.fmt.pixies;
    uint32_t w = n, h = 1;
    if (large) {
        w = 64;
        h = uint32_t(((uint64_t{2} << e.fmt.bits) + w - 1) / w);
    }
    Image src(e.fmt, w + 2, h + 2), dst(e.fmt, w + 2, h + 2);
    src.randomize(1);
    dst.randomize(2);
    src.window(1, 1, int32_t(w) + 1, int32_t(h) + 1);
    dst.window(1, 1, int32_t(w) + 1, int32_t(h) + 1);
    for (uint32_t i = 0; i < w * h; ++i)
        for (uint32_t k = 0; k < e.fmt.pixies; ++k)
            src.set(1 + i % w, 1 + i / w, k, e.in[(i % n) * e.fmt.pixies + k]);
    ASSERT_EQ(e.call(src.rec(), in_place ? src.rec() : dst.rec()), 0);
    Image& out = in_place ? src : dst;
    size_t bad = 0;
    for (uint32_t i = 0; i < w * h; ++i)
        for (uint32_t k = 0; k < e.fmt.pixies; ++k) {
            const size_t j = (i % n) * e.fmt.pixies + k;
            const double got = out.get(1 + i % w, 1 + i / w, k);
            if (!same_value(got, e.want[j], e.fmt.type) && bad++ == 0)
                ADD_FAILURE() << "value " << e.in[j] << ": got " << got << ", want " << e.want[j];
        }
    EXPECT_EQ(bad, 0u);
}

TEST(PointEdges, DocumentedValues) {
    const Format u8{MVTYPE_U8, 8, 1}, u16_10{MVTYPE_U16, 10, 1}, u16_12{MVTYPE_U16, 12, 1}, u32{MVTYPE_U32, 32, 1};
    const std::vector<Edge> edges = {
        {"pixcontrast low == high", u8, {0, 99, 100, 101, 255}, {255, 255, 255, 255, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixcontrast(nullptr, s, d, 100, 100); }},
        {"pixcontrast 50..150 (low gives 0)", u8, {0, 49, 50, 51, 100, 149, 150, 151, 255},
         {0, 0, 0, 2, 127, 252, 255, 255, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixcontrast(nullptr, s, d, 50, 150); }},
        {"pixcontrast 0..maxval keeps values", u16_10, {0, 1, 512, 1022, 1023}, {0, 1, 512, 1022, 1023},
         [](mvimage* s, mvimage* d) { return mvip8_pixcontrast(nullptr, s, d, 0, 1023); }},
        {"pixadd saturating +10", u8, {250, 245, 246, 0}, {255, 255, 255, 10},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, 10, 2); }},
        {"pixadd saturating -10", u8, {5, 10, 11, 255}, {0, 0, 1, 245},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, -10, 2); }},
        {"pixadd wrapping +10", u8, {250, 246, 245}, {4, 0, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, 10, 0); }},
        {"pixadd mode 7 wraps", u8, {250, 5}, {4, 15}, [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, 10, 7); }},
        {"pixadd wrapping -10", u8, {5, 10, 200}, {251, 0, 190},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, -10, 1); }},
        {"pixadd saturating at 10 bits", u16_10, {1020, 1013, 3}, {1023, 1023, 13},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, 10, 2); }},
        {"pixadd wrapping in the container, not at 10 bits", u16_10, {1020, 0}, {1030, 10},
         [](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, 10, 0); }},
        {"pixshl 1 truncates", u8, {200, 127, 128}, {144, 254, 0},
         [](mvimage* s, mvimage* d) { return mvip8_pixshl(nullptr, s, d, 1); }},
        {"pixshl 33 is pixshl 1", u8, {200, 3}, {144, 6}, [](mvimage* s, mvimage* d) { return mvip8_pixshl(nullptr, s, d, 33); }},
        {"pixshl 9 empties u8", u8, {200, 1}, {0, 0}, [](mvimage* s, mvimage* d) { return mvip8_pixshl(nullptr, s, d, 9); }},
        {"pixshl 4 exceeds 10 bits", u16_10, {1023, 64}, {16368, 1024},
         [](mvimage* s, mvimage* d) { return mvip8_pixshl(nullptr, s, d, 4); }},
        {"pixshr 32 is no shift", u8, {200, 3}, {200, 3}, [](mvimage* s, mvimage* d) { return mvip8_pixshr(nullptr, s, d, 32); }},
        {"pixneg at 10 bits", u16_10, {0, 1, 512, 1023}, {1023, 1022, 511, 0},
         [](mvimage* s, mvimage* d) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixneg at 8 bits", u8, {0, 255, 100}, {255, 0, 155}, [](mvimage* s, mvimage* d) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixneg on float 0..1", Format{MVTYPE_FLOAT, 0, 1}, {0, 0.25, 1, 1.5}, {1, 0.75, 0, -0.5},
         [](mvimage* s, mvimage* d) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixneg on double -1..3", Format{MVTYPE_DOUBLE, 0, 1, -1, 3}, {0, 2, -1, 3}, {2, 0, 3, -1},
         [](mvimage* s, mvimage* d) { return mvip8_pixneg(nullptr, s, d); }},
        {"pixthreshold low > high changes nothing", u8, {0, 100, 150, 200, 255}, {0, 100, 150, 200, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixthreshold(nullptr, s, d, 200, 100, 7); }},
        {"pixthreshold low > high changes nothing (12 bits)", u16_12, {0, 100, 150, 200, 4095},
         {0, 100, 150, 200, 4095}, [](mvimage* s, mvimage* d) { return mvip8_pixthreshold(nullptr, s, d, 200, 100, 7); }},
        {"pixthreshold bounds are inside", u8, {99, 100, 200, 201}, {99, 7, 7, 201},
         [](mvimage* s, mvimage* d) { return mvip8_pixthreshold(nullptr, s, d, 100, 200, 7); }},
        {"pixthreshold2 bounds are inside", u8, {99, 100, 200, 201}, {0, 1, 1, 0},
         [](mvimage* s, mvimage* d) { return mvip8_pixthreshold2(nullptr, s, d, 100, 200, 1, 0); }},
        {"pixthreshold2 low > high: all outside", u8, {99, 100, 200, 201}, {9, 9, 9, 9},
         [](mvimage* s, mvimage* d) { return mvip8_pixthreshold2(nullptr, s, d, 200, 100, 1, 9); }},
        {"pixmsb at 10 bits", u16_10, {511, 512, 1023, 0}, {0, 1023, 1023, 0},
         [](mvimage* s, mvimage* d) { return mvip8_pixmsb(nullptr, s, d); }},
        {"pixmsb at 32 bits", u32, {double(0x7FFFFFFFu), double(0x80000000u)}, {0, double(0xFFFFFFFFu)},
         [](mvimage* s, mvimage* d) { return mvip8_pixmsb(nullptr, s, d); }},
        {"pixscale clips at maxval", u8, {200, 100, 1}, {255, 150, 1},
         [](mvimage* s, mvimage* d) { return mvip8_pixscale(nullptr, s, d, 3, 2); }},
        {"pixcontrastpivot around 127.5", u8, {0, 127, 128, 200, 255}, {0, 127, 129, 255, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixcontrastpivot(nullptr, s, d, 255, 2.0); }},
        {"pixcontrastpivot gain 0 gives the pivot", u8, {0, 77, 255}, {51, 51, 51},
         [](mvimage* s, mvimage* d) { return mvip8_pixcontrastpivot(nullptr, s, d, 101, 0.0); }},
        {"pixgamma 2", u8, {0, 128, 255, 16}, {0, 64, 255, 1},
         [](mvimage* s, mvimage* d) { return mvip8_pixgamma(nullptr, s, d, 2.0); }},
        {"pixgamma 1 keeps values", u16_12, {0, 1, 2048, 4095}, {0, 1, 2048, 4095},
         [](mvimage* s, mvimage* d) { return mvip8_pixgamma(nullptr, s, d, 1.0); }},
        {"pixgamma 0.5", u8, {0, 1, 64, 255}, {0, 16, 128, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixgamma(nullptr, s, d, 0.5); }},
        {"pixgamma 0.5009 counts as 0.5", u8, {0, 1, 64, 255}, {0, 16, 128, 255},
         [](mvimage* s, mvimage* d) { return mvip8_pixgamma(nullptr, s, d, 0.5009); }},
    };
    for (const Edge& e : edges) {
        ASSERT_EQ(e.in.size(), e.want.size()) << e.name;
        for (bool large : {false, true}) {
            if (large && (is_float(e.fmt.type) || e.fmt.bits > 16)) continue;
            for (bool in_place : {false, true}) check_edge(e, large, in_place);
        }
    }
}

TEST(PointEdges, GammaIsQuantisedToThousandths) {
    // 0.4999 counts as 0.499, not 0.5; compare against both exponents.
    const Format f{MVTYPE_U8, 8, 1};
    Image a(f, 256, 1), b(f, 256, 1), c(f, 256, 1);
    for (uint32_t v = 0; v < 256; ++v) a.set(v, 0, 0, v), b.set(v, 0, 0, v), c.set(v, 0, 0, v);
    ASSERT_EQ(mvip8_pixgamma(nullptr, a.rec(), a.rec(), 0.4999), 0);
    ASSERT_EQ(mvip8_pixgamma(nullptr, b.rec(), b.rec(), 0.499), 0);
    ASSERT_EQ(mvip8_pixgamma(nullptr, c.rec(), c.rec(), 0.5), 0);
    EXPECT_EQ(a.values(), b.values());
    EXPECT_NE(a.values(), c.values());
}

// ---- argument checks --------------------------------------------------------

TEST(PointEdges, MappingArguments) {
    struct Row {
        std::string name;
        Format fmt;
        int32_t want;
        std::function<int32_t(mvimage*, mvimage*)> call;
    };
    const std::vector<uint8_t> t8(300, 9);
    const std::vector<uint16_t> t16(70000, 9);
    const std::vector<uint32_t> t32(5000, 9);
    const Format u8{MVTYPE_U8, 8, 1}, u8_6{MVTYPE_U8, 6, 1}, u16_12{MVTYPE_U16, 12, 1}, u32{MVTYPE_U32, 32, 1},
        u32_12{MVTYPE_U32, 12, 1};
    const std::vector<Row> rows = {
        {"pixmap, 255 entries for 8 bits", u8, MVERR_USAGE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 255); }},
        {"pixmap, 256 entries for 8 bits", u8, 0, [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 256); }},
        {"pixmap, 63 entries for 6 bits", u8_6, MVERR_USAGE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 63); }},
        {"pixmap, 64 entries for 6 bits", u8_6, 0, [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 64); }},
        {"pixmap, no table", u8, MVERR_USAGE, [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, nullptr, 256); }},
        {"pixmap on u16", u16_12, MVERR_DATATYPE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 300); }},
        {"pixmaps, no entries", u16_12, MVERR_USAGE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmaps(nullptr, s, d, t16.data(), 0); }},
        {"pixmaps, 4096 entries for 12 bits", u16_12, 0,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmaps(nullptr, s, d, t16.data(), 4096); }},
        {"pixmaps on u8", u8, MVERR_DATATYPE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmaps(nullptr, s, d, t16.data(), 70000); }},
        {"pixmapl on 32 bits, a short table", u32, 0,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmapl(nullptr, s, d, t32.data(), 5000); }},
        {"pixmapl, 4096 entries for 12 bits", u32_12, 0,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmapl(nullptr, s, d, t32.data(), 4096); }},
        {"pixmapl on u16", u16_12, MVERR_DATATYPE,
         [&](mvimage* s, mvimage* d) { return mvip8_pixmapl(nullptr, s, d, t32.data(), 5000); }},
        {"pixmaplut, lut narrower than 2^bits", u8, MVERR_USAGE,
         [&](mvimage* s, mvimage* d) {
             Image lut(Format{MVTYPE_U8, 8, 1}, 300, 2);
             lut.window(0, 0, 255, 2);
             return mvip8_pixmaplut(nullptr, s, d, lut.rec());
         }},
        {"pixmaplut, lut window of no lines", u8, MVERR_USAGE,
         [&](mvimage* s, mvimage* d) {
             Image lut(Format{MVTYPE_U8, 8, 1}, 300, 2);
             lut.window(0, 1, 256, 1);
             return mvip8_pixmaplut(nullptr, s, d, lut.rec());
         }},
        {"pixmaplut, no lut", u8, MVERR_USAGE, [&](mvimage* s, mvimage* d) { return mvip8_pixmaplut(nullptr, s, d, nullptr); }},
        {"pixmaplut on float", Format{MVTYPE_FLOAT, 0, 1}, MVERR_DATATYPE,
         [&](mvimage* s, mvimage* d) {
             Image lut(Format{MVTYPE_FLOAT, 0, 1}, 300, 2);
             return mvip8_pixmaplut(nullptr, s, d, lut.rec());
         }},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Image src(r.fmt, 20, 10), dst(r.fmt, 20, 10);
        src.randomize(1);
        dst.randomize(2);
        const auto a = src.raw(), b = dst.raw();
        EXPECT_EQ(r.call(src.rec(), dst.rec()), r.want);
        EXPECT_TRUE(src.raw_is(a));
        if (r.want != 0) {
            EXPECT_TRUE(dst.raw_is(b));
        }
    }
}

TEST(PointEdges, MapLutReadsATableOfAnotherContainer) {
    // A u16 lut holding 8-bit values maps a u8 image: the table is read in
    // the source's type through a type converter, values unchanged.
    const Format u8{MVTYPE_U8, 8, 3};
    Image src(u8, 40, 30), dst(u8, 40, 30), lut(Format{MVTYPE_U16, 8, 1}, 260, 3);
    src.randomize(4);
    dst.randomize(5);
    for (uint32_t i = 0; i < 256; ++i) lut.set(i + 2, 1, 0, double((i * 37 + 11) & 0xFF));
    lut.window(2, 1, 258, 3);
    src.window(1, 1, 39, 29);
    dst.window(2, 0, 40, 28);
    ASSERT_EQ(mvip8_pixmaplut(nullptr, src.rec(), dst.rec(), lut.rec()), 0);
    for (uint32_t y = 0; y < 28; ++y)
        for (uint32_t x = 0; x < 38; ++x)
            for (uint32_t k = 0; k < 3; ++k) {
                const uint32_t v = uint32_t(src.get(x + 1, y + 1, k));
                ASSERT_EQ(dst.get(x + 2, y, k), double((v * 37 + 11) & 0xFF)) << x << "," << y;
            }
}

TEST(PointEdges, PixieCopyChecksItsArgumentsBeforeTheHook) {
    struct Row {
        const char* name;
        uint32_t pixies, from, to;
        bool null_src = false, null_dst = false;
    };
    const Row rows[] = {
        {"from beyond the pixies", 3, 3, 1},
        {"to selecting no pixie", 3, 0, 0},
        {"to selecting only beyond the pixies", 3, 0, 8},
        {"one-pixie image", 1, 0, 1},
        {"null source", 3, 0, 1, true, false},
        {"null destination", 3, 0, 1, false, true},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const Format f{MVTYPE_U16, 12, r.pixies};
        Image src(f, 10, 6), dst(f, 10, 6);
        src.randomize(1);
        dst.randomize(2);
        const auto a = src.raw(), b = dst.raw();
        Hook hook;
        EXPECT_EQ(mvip8_pixiecopy(hook.get(), r.null_src ? nullptr : src.rec(), r.null_dst ? nullptr : dst.rec(),
                                  r.from, r.to),
                  MVERR_USAGE);
        EXPECT_TRUE(hook.calls.empty());
        EXPECT_TRUE(src.raw_is(a));
        EXPECT_TRUE(dst.raw_is(b));
    }
}

TEST(PointEdges, PixScaleZeroDenominator) {
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32}) {
        const Format f{type, container_bits(type), 1};
        Image src(f, 10, 6), dst(f, 10, 6);
        src.randomize(1);
        dst.randomize(2);
        const auto a = src.raw(), b = dst.raw();
        EXPECT_EQ(mvip8_pixscale(nullptr, src.rec(), dst.rec(), 5, 0), MVERR_USAGE);
        EXPECT_EQ(mvip8_pixscale(nullptr, src.rec(), src.rec(), 0, 0), MVERR_USAGE);
        EXPECT_TRUE(src.raw_is(a));
        EXPECT_TRUE(dst.raw_is(b));
    }
}

TEST(PointEdges, PixScaleBetweenBitDepths) {
    // The clip is the destination's maxval; the source's values are read
    // at their own depth.
    struct Row {
        Format from, to;
        uint32_t a, b;
    };
    const Row rows[] = {
        {{MVTYPE_U16, 12, 1}, {MVTYPE_U16, 8, 1}, 1, 16},
        {{MVTYPE_U16, 12, 1}, {MVTYPE_U16, 8, 1}, 1, 1},
        {{MVTYPE_U16, 8, 3}, {MVTYPE_U16, 12, 3}, 16, 1},
        {{MVTYPE_U8, 8, 1}, {MVTYPE_U8, 6, 1}, 1, 3},
        {{MVTYPE_U32, 32, 1}, {MVTYPE_U32, 20, 1}, 3, 4},
    };
    for (const Row& r : rows) {
        for (bool shared : {false, true}) {
            SCOPED_TRACE(name_of(r.from) + " to " + name_of(r.to) + " by " + std::to_string(r.a) + "/" +
                         std::to_string(r.b) + (shared ? ", second record over the same memory" : ""));
            const uint64_t top = max_of(r.to);
            Image src(r.from, 40, 30);
            src.randomize(8);
            src.window(2, 3, 38, 27);
            Image dst(r.to, 40, 30);
            dst.randomize(9);
            dst.window(2, 3, 38, 27);
            mvimage second{};
            if (shared) {
                // A record of the destination's format over the source's memory.
                second = *dst.rec();
                second.priv = src.at(0, 0, 0);
            }
            const std::vector<double> in = src.values();
            ASSERT_EQ(mvip8_pixscale(nullptr, src.rec(), shared ? &second : dst.rec(), r.a, r.b), 0);
            Image& out = shared ? src : dst;
            for (uint32_t y = 3; y < 27; ++y)
                for (uint32_t x = 2; x < 38; ++x)
                    for (uint32_t k = 0; k < r.from.pixies; ++k) {
                        const uint64_t v = uint64_t(src.value_in(in, x, y, k));
                        ASSERT_EQ(out.get(x, y, k), double(std::min<uint64_t>(top, v * r.a / r.b)))
                            << "(" << x << ", " << y << ") from " << v;
                    }
        }
    }
}

// ---- fills --------------------------------------------------------------------

TEST(PointFill, PixsetFillsTheWindowOnly) {
    struct Row {
        Format fmt;
        uint32_t value;
    };
    const Row rows[] = {
        {{MVTYPE_U8, 8, 3}, 200},
        {{MVTYPE_U16, 12, 1}, 4000},
        {{MVTYPE_U16, 16, 3}, 65535},
        {{MVTYPE_U32, 32, 3}, 0xDEADBEEFu},
        {{MVTYPE_U32, 20, 1}, 0},
    };
    for (const Row& r : rows) {
        for (bool second_record : {false, true}) {
            SCOPED_TRACE(name_of(r.fmt) + (second_record ? ", through a second record" : ""));
            Image im(r.fmt, 33, 21);
            im.randomize(3);
            mvimage other{};
            im.init(&other);
            mvimage* target = second_record ? &other : im.rec();
            ASSERT_EQ(mvimage_setwind(target, 4, 2, 30, 19), 0);
            const std::vector<double> before = im.values();
            ASSERT_EQ(mvip8_pixset(nullptr, target, r.value), 0);
            for (uint32_t y = 0; y < 21; ++y)
                for (uint32_t x = 0; x < 33; ++x)
                    for (uint32_t k = 0; k < r.fmt.pixies; ++k) {
                        const bool inside = x >= 4 && x < 30 && y >= 2 && y < 19;
                        ASSERT_EQ(im.get(x, y, k), inside ? double(r.value) : im.value_in(before, x, y, k))
                            << "(" << x << ", " << y << ") pixie " << k;
                    }
        }
    }
}

// A fill value beyond the container is kept to the container (truncated;
// for 0xFFFFFFFF clipping would give the same): every pixie all ones.
TEST(PointFill, PixsetValueBeyondTheContainer) {
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16}) {
        const Format f{type, container_bits(type), 1};
        SCOPED_TRACE(name_of(f));
        Image im(f, 12, 4);
        im.randomize(4);
        ASSERT_EQ(mvip8_pixset(nullptr, im.rec(), 0xFFFFFFFFu), 0);
        EXPECT_EQ(im.get(5, 2, 0), double(container_mask(type)));
    }
}

TEST(PointFill, Pixset3AndFloatForm) {
    struct Row {
        Format fmt;
        bool float_form;
        double v[3];
        double want[3];
    };
    const Row rows[] = {
        {{MVTYPE_U8, 8, 3}, false, {1, 2, 3}, {1, 2, 3}},
        {{MVTYPE_U16, 10, 4}, false, {1023, 0, 77}, {1023, 0, 77}},
        {{MVTYPE_U32, 32, 3}, false, {double(0xFFFFFFFFu), 5, 0x12345678}, {double(0xFFFFFFFFu), 5, 0x12345678}},
        {{MVTYPE_U8, 8, 3}, true, {-3.2, 100.5, 1e9}, {0, 101, 255}},
        {{MVTYPE_U16, 10, 4}, true, {1.49, 1022.5, 5000}, {1, 1023, 1023}},
        {{MVTYPE_U32, 32, 3}, true, {2.5, -0.5, 1e12}, {3, 0, double(0xFFFFFFFFu)}},
        {{MVTYPE_FLOAT, 0, 3, -1, 3}, true, {0.1, -7, 9.5}, {0.1, -7, 9.5}},
        {{MVTYPE_DOUBLE, 0, 4}, true, {0.125, -2, 1e300}, {0.125, -2, 1e300}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(name_of(r.fmt) + (r.float_form ? ", mvipf_pixset3" : ", pixset3"));
        Image im(r.fmt, 17, 9);
        im.randomize(6);
        im.window(1, 2, 15, 8);
        const std::vector<double> before = im.values();
        const int32_t rc = r.float_form
                               ? mvipf_pixset3(nullptr, im.rec(), r.v[0], r.v[1], r.v[2])
                               : mvip8_pixset3(nullptr, im.rec(), uint32_t(r.v[0]), uint32_t(r.v[1]), uint32_t(r.v[2]));
        ASSERT_EQ(rc, 0);
        for (uint32_t y = 0; y < 9; ++y)
            for (uint32_t x = 0; x < 17; ++x)
                for (uint32_t k = 0; k < r.fmt.pixies; ++k) {
                    const bool inside = x >= 1 && x < 15 && y >= 2 && y < 8 && k < 3;
                    const double want = inside ? r.want[k] : im.value_in(before, x, y, k);
                    ASSERT_TRUE(same_value(im.get(x, y, k), want, r.fmt.type))
                        << "(" << x << ", " << y << ") pixie " << k << ": got " << im.get(x, y, k) << ", want " << want;
                }
    }
}

// ---- histograms ---------------------------------------------------------------

TEST(PointHistogram, Histab2CountsEveryPixieOfTheWindow) {
    const Format formats[] = {{MVTYPE_U8, 8, 3}, {MVTYPE_U8, 5, 1}, {MVTYPE_U16, 12, 1}, {MVTYPE_U16, 16, 3},
                              {MVTYPE_U32, 20, 1}};
    for (const Format& f : formats) {
        SCOPED_TRACE(name_of(f));
        Image im(f, 50, 40);
        im.randomize(12);
        im.window(3, 4, 47, 39);
        const size_t n = size_t{1} << f.bits;
        std::vector<uint32_t> want(n, 0);
        for (uint32_t y = 4; y < 39; ++y)
            for (uint32_t x = 3; x < 47; ++x)
                for (uint32_t k = 0; k < f.pixies; ++k) ++want[size_t(im.get(x, y, k))];
        std::vector<uint32_t> hist(n + 7, 0xA5A5A5A5u);  // stale counts, and a tail
        const auto before = im.raw();
        ASSERT_EQ(mvip8_histab2(nullptr, im.rec(), hist.data(), uint32_t(hist.size())), 0);
        EXPECT_EQ(std::vector<uint32_t>(hist.begin(), hist.begin() + n), want);
        for (size_t i = n; i < hist.size(); ++i) EXPECT_EQ(hist[i], 0xA5A5A5A5u) << "bin " << i << " beyond 2^bits";
        EXPECT_TRUE(im.raw_is(before));
        // Fewer bins than values: refused, nothing written.
        std::vector<uint32_t> few(n - 1, 7);
        EXPECT_EQ(mvip8_histab2(nullptr, im.rec(), few.data(), uint32_t(few.size())), MVERR_USAGE);
        EXPECT_TRUE(std::all_of(few.begin(), few.end(), [](uint32_t v) { return v == 7; }));
    }
}

TEST(PointHistogram, Histab2Refuses32Bits) {
    Image im(Format{MVTYPE_U32, 32, 1}, 4, 4);
    std::vector<uint32_t> hist(16, 3);
    EXPECT_LT(mvip8_histab2(nullptr, im.rec(), hist.data(), 0xFFFFFFFFu), 0);
    EXPECT_TRUE(std::all_of(hist.begin(), hist.end(), [](uint32_t v) { return v == 3; }));
}

// For each whole percentile, the smallest value whose cumulative count
// reaches that share of the total.
std::vector<uint32_t> percentiles_of(const std::vector<uint32_t>& hist) {
    uint64_t total = 0;
    for (uint32_t c : hist) total += c;
    std::vector<uint32_t> out(101, 0);
    for (uint32_t p = 0; p <= 100; ++p) {
        uint64_t cum = 0;
        for (size_t v = 0; v < hist.size(); ++v) {
            cum += hist[v];
            if (cum * 100 >= uint64_t{p} * total) {
                out[p] = uint32_t(v);
                break;
            }
        }
    }
    return out;
}

TEST(PointHistogram, Histstat2fPercentiles) {
    std::mt19937 rng(77);
    std::vector<std::vector<uint32_t>> hists = {
        std::vector<uint32_t>(256, 0),  // empty: all 0
        {0, 0, 0, 5},                   // one value
        {1},                            // one bin
        {3, 0, 0, 0, 0, 1},
        {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0},
    };
    for (size_t bins : {256u, 4096u, 97u}) {
        std::vector<uint32_t> h(bins);
        for (auto& c : h) c = (rng() % 4 == 0) ? 0 : rng() % 1000;
        hists.push_back(h);
    }
    std::vector<uint32_t> big(65536, 0);
    big[10] = 4000000000u;  // counts past 32 bits when multiplied by 100
    big[60000] = 250000000u;
    hists.push_back(big);
    for (const auto& h : hists) {
        SCOPED_TRACE("histogram of " + std::to_string(h.size()) + " bins");
        uint32_t got[101];
        std::fill(std::begin(got), std::end(got), 0xFFFFu);
        ASSERT_EQ(mvip8_histstat2f(h.data(), uint32_t(h.size()), got), 0);
        EXPECT_EQ(std::vector<uint32_t>(got, got + 101), percentiles_of(h));
    }
}

TEST(PointHistogram, ContrastPercFromTheHistogram) {
    struct Row {
        Format fmt;
        uint32_t low, high;
        bool in_place;
    };
    const Row rows[] = {
        {{MVTYPE_U8, 8, 3}, 5, 95, false},
        {{MVTYPE_U8, 8, 1}, 0, 100, true},
        {{MVTYPE_U16, 12, 1}, 10, 60, false},
        {{MVTYPE_U16, 12, 3}, 50, 50, true},
        {{MVTYPE_U16, 16, 1}, 1, 99, true},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(name_of(r.fmt) + " " + std::to_string(r.low) + ".." + std::to_string(r.high));
        Image src(r.fmt, 60, 50), dst(r.fmt, 60, 50);
        src.randomize(31);
        dst.randomize(32);
        src.window(5, 5, 55, 45);
        dst.window(8, 2, 58, 42);
        const size_t n = size_t{1} << r.fmt.bits;
        std::vector<uint32_t> hist(n, 0);
        for (uint32_t y = 5; y < 45; ++y)
            for (uint32_t x = 5; x < 55; ++x)
                for (uint32_t k = 0; k < r.fmt.pixies; ++k) ++hist[size_t(src.get(x, y, k))];
        const std::vector<uint32_t> perc = percentiles_of(hist);
        const int64_t lo = perc[r.low], hi = perc[r.high];
        const uint64_t top = max_of(r.fmt);
        const std::vector<double> in = src.values();
        uint32_t got_low = 0, got_high = 0;
        ASSERT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), r.in_place ? src.rec() : dst.rec(), r.low, r.high,
                                        &got_low, &got_high),
                  0);
        EXPECT_EQ(got_low, uint32_t(lo));
        EXPECT_EQ(got_high, uint32_t(hi));
        Image& out = r.in_place ? src : dst;
        const int32_t dx = r.in_place ? 0 : 3, dy = r.in_place ? 0 : -3;
        size_t bad = 0;
        for (uint32_t y = 5; y < 45; ++y)
            for (uint32_t x = 5; x < 55; ++x)
                for (uint32_t k = 0; k < r.fmt.pixies; ++k) {
                    const int64_t v = int64_t(src.value_in(in, x, y, k));
                    const uint64_t want = lo == hi   ? top
                                          : v <= lo ? 0
                                                    : std::min<uint64_t>(top, uint64_t(v - lo) * top / uint64_t(hi - lo));
                    if (out.get(uint32_t(int32_t(x) + dx), uint32_t(int32_t(y) + dy), k) != double(want) && bad++ == 0)
                        ADD_FAILURE() << "(" << x << ", " << y << ") from " << v << ": got "
                                      << out.get(uint32_t(int32_t(x) + dx), uint32_t(int32_t(y) + dy), k) << ", want "
                                      << want;
                }
        EXPECT_EQ(bad, 0u);
    }
}

TEST(PointHistogram, ContrastPercArguments) {
    const Format f{MVTYPE_U8, 8, 1};
    Image src(f, 20, 10), dst(f, 20, 10);
    src.randomize(1);
    dst.randomize(2);
    const auto a = src.raw(), b = dst.raw();
    uint32_t lo = 7, hi = 7;
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 101, 50, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 0, 101, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, nullptr, dst.rec(), 0, 100, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), nullptr, 0, 100, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(lo, 7u);
    EXPECT_EQ(hi, 7u);
    EXPECT_TRUE(src.raw_is(a));
    EXPECT_TRUE(dst.raw_is(b));
    // Out-pointers are optional.
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 2, 98, nullptr, nullptr), 0);
}

}  // namespace
