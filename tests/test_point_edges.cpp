// Point operations: argument checks, tables of another container, scaling
// between bit depths, fills, histograms and the percentile stretch.  (The
// values of the level operations are held to formulas in
// test_point_ops.cpp.)
#include "test_util.hpp"

namespace {

using namespace mvtest;

// Refused arguments: the code, and neither image touched.
TEST(PointEdges, Arguments) {
    struct Row {
        std::string name;
        Format fmt;
        int32_t want;
        std::function<int32_t(mvabort*, mvimage*, mvimage*)> call;
    };
    const std::vector<uint8_t> t8(300, 9);
    const std::vector<uint16_t> t16(1, 9);
    const Format u8{MVTYPE_U8, 8, 1}, u8_6{MVTYPE_U8, 6, 1}, u16_12{MVTYPE_U16, 12, 1}, u12x3{MVTYPE_U16, 12, 3},
        u12x1{MVTYPE_U16, 12, 1};
    auto lut = [](Format f, int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        return [=](mvabort*, mvimage* s, mvimage* d) {
            Image l(f, 300, 2);
            l.window(x0, y0, x1, y1);
            return mvip8_pixmaplut(nullptr, s, d, l.rec());
        };
    };
    auto pixiecopy = [](uint32_t from, uint32_t to, bool null_src = false, bool null_dst = false) {
        return [=](mvabort* h, mvimage* s, mvimage* d) {
            return mvip8_pixiecopy(h, null_src ? nullptr : s, null_dst ? nullptr : d, from, to);
        };
    };
    const std::vector<Row> rows = {
        {"pixmap, 255 entries for 8 bits", u8, MVERR_USAGE,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 255); }},
        {"pixmap, 63 entries for 6 bits", u8_6, MVERR_USAGE,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 63); }},
        {"pixmap, 64 entries for 6 bits", u8_6, 0,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, t8.data(), 64); }},
        {"pixmap, no table", u8, MVERR_USAGE,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmap(nullptr, s, d, nullptr, 256); }},
        {"pixmaps, no entries", u16_12, MVERR_USAGE,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmaps(nullptr, s, d, t16.data(), 0); }},
        {"pixmaplut, lut narrower than 2^bits", u8, MVERR_USAGE, lut(u8, 0, 0, 255, 2)},
        {"pixmaplut, lut window of no lines", u8, MVERR_USAGE, lut(u8, 0, 1, 256, 1)},
        {"pixmaplut, no lut", u8, MVERR_USAGE,
         [&](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixmaplut(nullptr, s, d, nullptr); }},
        {"pixmaplut on float", Format{MVTYPE_FLOAT, 0, 1}, MVERR_DATATYPE,
         lut(Format{MVTYPE_FLOAT, 0, 1}, 0, 0, 300, 2)},
        // The pixie copy's arguments are checked before the hook is called.
        {"pixiecopy from beyond the pixies", u12x3, MVERR_USAGE, pixiecopy(3, 1)},
        {"pixiecopy to no pixie", u12x3, MVERR_USAGE, pixiecopy(0, 0)},
        {"pixiecopy to pixies beyond the image's only", u12x3, MVERR_USAGE, pixiecopy(0, 8)},
        {"pixiecopy on a one-pixie image", u12x1, MVERR_USAGE, pixiecopy(0, 1)},
        {"pixiecopy from no image", u12x3, MVERR_USAGE, pixiecopy(0, 1, true)},
        {"pixiecopy to no image", u12x3, MVERR_USAGE, pixiecopy(0, 1, false, true)},
        {"pixscale by 5/0", u8, MVERR_USAGE,
         [](mvabort*, mvimage* s, mvimage* d) { return mvip8_pixscale(nullptr, s, d, 5, 0); }},
        {"pixscale by 0/0 in place, u32", Format{MVTYPE_U32, 32, 1}, MVERR_USAGE,
         [](mvabort*, mvimage* s, mvimage*) { return mvip8_pixscale(nullptr, s, s, 0, 0); }},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Image src(r.fmt, 20, 10), dst(r.fmt, 20, 10);
        src.randomize(1);
        dst.randomize(2);
        const auto a = src.raw(), b = dst.raw();
        Hook hook;
        EXPECT_EQ(r.call(hook.get(), src.rec(), dst.rec()), r.want);
        EXPECT_TRUE(src.raw_is(a));
        if (r.want != 0) {
            EXPECT_TRUE(dst.raw_is(b));
            EXPECT_TRUE(hook.calls.empty());
        }
    }
}

TEST(PointEdges, MapLutReadsATableOfAnotherContainer) {
    // A u16 lut holding 8-bit values maps a u8 image: the table is read in
    // the source's type through a type converter, values unchanged.
    const Format u8{MVTYPE_U8, 8, 3};
    Image src(u8, 40, 30), dst(u8, 40, 30), lut(Format{MVTYPE_U16, 8, 1}, 260, 3);
    src.randomize(4);
    for (uint32_t i = 0; i < 256; ++i) lut.set(i + 2, 1, 0, double((i * 37 + 11) & 0xFF));
    lut.window(2, 1, 258, 3);
    src.window(1, 1, 39, 29);
    dst.window(2, 0, 40, 28);
    ASSERT_EQ(mvip8_pixmaplut(nullptr, src.rec(), dst.rec(), lut.rec()), 0);
    for (uint32_t y = 0; y < 28; ++y)
        for (uint32_t x = 0; x < 38; ++x)
            for (uint32_t k = 0; k < 3; ++k)
                ASSERT_EQ(dst.get(x + 2, y, k), double((uint32_t(src.get(x + 1, y + 1, k)) * 37 + 11) & 0xFF));
}

TEST(PointEdges, PixScaleBetweenBitDepths) {
    // The clip is the destination's maxval; the source's values are read
    // at their own depth.
    struct Row {
        Format from, to;
        uint32_t a, b;
    };
    const Row rows[] = {
        {{MVTYPE_U16, 12, 1}, {MVTYPE_U16, 8, 1}, 1, 16}, {{MVTYPE_U16, 12, 1}, {MVTYPE_U16, 8, 1}, 1, 1},
        {{MVTYPE_U16, 8, 3}, {MVTYPE_U16, 12, 3}, 16, 1}, {{MVTYPE_U8, 8, 1}, {MVTYPE_U8, 6, 1}, 1, 3},
        {{MVTYPE_U32, 32, 1}, {MVTYPE_U32, 20, 1}, 3, 4},
    };
    for (const Row& r : rows)
        for (bool shared : {false, true}) {
            SCOPED_TRACE(name_of(r.from) + " to " + name_of(r.to) + (shared ? ", over the source's memory" : ""));
            Image src(r.from, 40, 30), dst(r.to, 40, 30);
            src.randomize(8);
            dst.randomize(9);
            src.window(2, 3, 38, 27);
            dst.window(2, 3, 38, 27);
            mvimage second = *dst.rec();
            if (shared) second.priv = src.at(0, 0, 0);  // the destination's format over the source's memory
            const std::vector<double> in = src.values();
            ASSERT_EQ(mvip8_pixscale(nullptr, src.rec(), shared ? &second : dst.rec(), r.a, r.b), 0);
            Image& out = shared ? src : dst;
            for (uint32_t y = 3; y < 27; ++y)
                for (uint32_t x = 2; x < 38; ++x)
                    for (uint32_t k = 0; k < r.from.pixies; ++k) {
                        const uint64_t v = uint64_t(src.value_in(in, x, y, k));
                        ASSERT_EQ(out.get(x, y, k), double(std::min<uint64_t>(max_of(r.to), v * r.a / r.b))) << v;
                    }
        }
}

// ---- fills --------------------------------------------------------------------

TEST(PointFill, PixsetPixset3AndFloatForm) {
    enum Op { set, set3, setf3 };
    struct Row {
        Format fmt;
        Op op;
        double v[3];
        double want[3];
    };
    const double ones = double(0xFFFFFFFFu);
    const Row rows[] = {
        {{MVTYPE_U8, 8, 3}, set, {200}, {200, 200, 200}},
        {{MVTYPE_U16, 12, 1}, set, {4000}, {4000}},
        {{MVTYPE_U32, 32, 3}, set, {0xDEADBEEFu}, {0xDEADBEEFu, 0xDEADBEEFu, 0xDEADBEEFu}},
        // A value beyond the container keeps what the container holds.
        {{MVTYPE_U8, 8, 1}, set, {ones}, {255}},
        {{MVTYPE_U16, 16, 1}, set, {ones}, {65535}},
        {{MVTYPE_U16, 10, 4}, set3, {1023, 0, 77}, {1023, 0, 77}},
        {{MVTYPE_U32, 32, 3}, set3, {ones, 5, 0x12345678}, {ones, 5, 0x12345678}},
        {{MVTYPE_U8, 8, 3}, setf3, {-3.2, 100.5, 1e9}, {0, 101, 255}},
        {{MVTYPE_U16, 10, 4}, setf3, {1.49, 1022.5, 5000}, {1, 1023, 1023}},
        {{MVTYPE_U32, 32, 3}, setf3, {2.5, -0.5, 1e12}, {3, 0, ones}},
        {{MVTYPE_FLOAT, 0, 3, -1, 3}, setf3, {0.1, -7, 9.5}, {0.1, -7, 9.5}},
        {{MVTYPE_DOUBLE, 0, 4}, setf3, {0.125, -2, 1e300}, {0.125, -2, 1e300}},
    };
    for (const Row& r : rows)
        for (bool second_record : {false, true}) {
            SCOPED_TRACE(name_of(r.fmt) + " op " + std::to_string(r.op) + (second_record ? ", second record" : ""));
            Image im(r.fmt, 17, 9);
            im.randomize(6);
            mvimage other{};
            im.init(&other);
            mvimage* target = second_record ? &other : im.rec();
            ASSERT_EQ(mvimage_setwind(target, 1, 2, 15, 8), 0);
            std::vector<double> want = im.values();
            for (uint32_t y = 2; y < 8; ++y)
                for (uint32_t x = 1; x < 15; ++x)
                    for (uint32_t k = 0; k < std::min(3u, r.fmt.pixies); ++k) want[im.index(x, y, k)] = r.want[k];
            const int32_t rc =
                r.op == set    ? mvip8_pixset(nullptr, target, uint32_t(r.v[0]))
                : r.op == set3 ? mvip8_pixset3(nullptr, target, uint32_t(r.v[0]), uint32_t(r.v[1]), uint32_t(r.v[2]))
                               : mvipf_pixset3(nullptr, target, r.v[0], r.v[1], r.v[2]);
            ASSERT_EQ(rc, 0);
            EXPECT_TRUE(holds(im, want));
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
        ASSERT_EQ(mvip8_histab2(nullptr, im.rec(), hist.data(), uint32_t(hist.size())), 0);
        EXPECT_EQ(std::vector<uint32_t>(hist.begin(), hist.begin() + long(n)), want);
        for (size_t i = n; i < hist.size(); ++i) EXPECT_EQ(hist[i], 0xA5A5A5A5u) << "bin " << i << " beyond 2^bits";
        // Fewer bins than values: refused, nothing written.
        std::vector<uint32_t> few(n - 1, 7);
        EXPECT_EQ(mvip8_histab2(nullptr, im.rec(), few.data(), uint32_t(few.size())), MVERR_USAGE);
        EXPECT_EQ(few, std::vector<uint32_t>(n - 1, 7));
    }
    Image wide(Format{MVTYPE_U32, 32, 1}, 4, 4);
    std::vector<uint32_t> hist(16, 3);
    EXPECT_LT(mvip8_histab2(nullptr, wide.rec(), hist.data(), 0xFFFFFFFFu), 0);
    EXPECT_EQ(hist, std::vector<uint32_t>(16, 3));
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
        std::vector<uint32_t>(256, 0), {0, 0, 0, 5}, {1}, {3, 0, 0, 0, 0, 1}, {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0},
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
        {{MVTYPE_U8, 8, 3}, 5, 95, false}, {{MVTYPE_U8, 8, 1}, 0, 100, true},  {{MVTYPE_U16, 12, 1}, 10, 60, false},
        {{MVTYPE_U16, 12, 3}, 50, 50, true}, {{MVTYPE_U16, 16, 1}, 1, 99, true},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(name_of(r.fmt) + " " + std::to_string(r.low) + ".." + std::to_string(r.high));
        Image src(r.fmt, 60, 50), dst(r.fmt, 60, 50);
        src.randomize(31);
        dst.randomize(32);
        src.window(5, 5, 55, 45);
        dst.window(8, 2, 58, 42);
        std::vector<uint32_t> hist(size_t{1} << r.fmt.bits, 0);
        for (uint32_t y = 5; y < 45; ++y)
            for (uint32_t x = 5; x < 55; ++x)
                for (uint32_t k = 0; k < r.fmt.pixies; ++k) ++hist[size_t(src.get(x, y, k))];
        const std::vector<uint32_t> perc = percentiles_of(hist);
        const int64_t lo = perc[r.low], hi = perc[r.high];
        const uint64_t top = max_of(r.fmt);
        Image& out = r.in_place ? src : dst;
        const int32_t dx = r.in_place ? 0 : 3, dy = r.in_place ? 0 : -3;
        std::vector<double> want = out.values();
        for (uint32_t y = 5; y < 45; ++y)
            for (uint32_t x = 5; x < 55; ++x)
                for (uint32_t k = 0; k < r.fmt.pixies; ++k) {
                    const int64_t v = int64_t(src.get(x, y, k));
                    want[out.index(x + dx, y + dy, k)] =
                        double(lo == hi  ? top
                               : v <= lo ? 0
                                         : std::min<uint64_t>(top, uint64_t(v - lo) * top / uint64_t(hi - lo)));
                }
        uint32_t got_low = 0, got_high = 0;
        ASSERT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), out.rec(), r.low, r.high, &got_low, &got_high), 0);
        EXPECT_EQ(got_low, uint32_t(lo));
        EXPECT_EQ(got_high, uint32_t(hi));
        EXPECT_TRUE(holds(out, want));
    }
    // Bad percentiles or images: refused with nothing written; the
    // out-pointers are optional.
    Image src(Format{MVTYPE_U8, 8, 1}, 20, 10), dst(Format{MVTYPE_U8, 8, 1}, 20, 10);
    src.randomize(1);
    const auto b = dst.raw();
    uint32_t lo = 7, hi = 7;
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 101, 50, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 0, 101, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, nullptr, dst.rec(), 0, 100, &lo, &hi), MVERR_USAGE);
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), nullptr, 0, 100, &lo, &hi), MVERR_USAGE);
    EXPECT_TRUE(lo == 7 && hi == 7 && dst.raw_is(b));
    EXPECT_EQ(mvip8_pixcontrastperc(nullptr, src.rec(), dst.rec(), 2, 98, nullptr, nullptr), 0);
}

}  // namespace
