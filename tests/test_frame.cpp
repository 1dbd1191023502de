// The operation frame seen through real operations of every family (point,
// copy, interlace pairs, neighbourhood filters): the abort hook at entry
// and while walking, empty windows, the failure codes, in-place work on
// shared memory without copies, and images that refuse their own type.
#include "test_util.hpp"

#include <map>
#include <tuple>
#include <memory>

namespace {

using namespace mvtest;

using OpFn = std::function<int32_t(mvabort*, mvimage* src, mvimage* dst)>;

// How an operation walks its window.  `lines`: line by line from the top,
// polling the hook before every eighth line of the window height less
// `fewer`; `entry`: only the entry poll is held to here (the walk is
// held to in tests of its own).  `empty`: a window of no lines is done with
// 0 (not held to here for operations that build views over the window or
// pair its lines first).
enum class Walk { lines, entry };

struct Op {
    std::string name;
    Format fmt;
    OpFn call;
    Walk walk = Walk::lines;
    int32_t fewer = 0;
    bool empty = true;
};

// Tables the operations below read, kept alive for the whole program.
template <class T>
const std::vector<T>& table(size_t n, uint64_t mul, uint64_t add) {
    static std::vector<T> t;
    if (t.empty())
        for (size_t i = 0; i < n; ++i) t.push_back(T(i * mul + add));
    return t;
}
const uint8_t* table8() { return table<uint8_t>(256, 7, 3).data(); }
const uint16_t* table16() { return table<uint16_t>(4096, 0xFFFF, 4095).data(); }
const uint32_t* table32() { return table<uint32_t>(4096, 1000003, 0).data(); }

#define CALL(expr) []([[maybe_unused]] mvabort* h, [[maybe_unused]] mvimage* s, [[maybe_unused]] mvimage* t) { return expr; }

const std::vector<Op>& every_operation() {
    const Format u8{MVTYPE_U8, 8, 1}, u8c{MVTYPE_U8, 8, 3}, u16_10{MVTYPE_U16, 10, 1}, u16_12{MVTYPE_U16, 12, 1},
        u12c{MVTYPE_U16, 12, 3}, u32_12{MVTYPE_U32, 12, 1}, u32{MVTYPE_U32, 32, 1}, fc{MVTYPE_FLOAT, 0, 3},
        d{MVTYPE_DOUBLE, 0, 1, -1, 2};
    static const std::vector<Op> ops = {
        {"pixneg", u8c, CALL(mvip8_pixneg(h, s, t))},
        {"pixshr", u16_12, CALL(mvip8_pixshr(h, s, t, 2))},
        {"pixshl", u16_12, CALL(mvip8_pixshl(h, s, t, 2))},
        {"pixand", u16_12, CALL(mvip8_pixand(h, s, t, 0xF0F))},
        {"pixor", u16_12, CALL(mvip8_pixor(h, s, t, 0xF0F))},
        {"pixxor", u16_12, CALL(mvip8_pixxor(h, s, t, 0xF0F))},
        {"pixmsb", u16_12, CALL(mvip8_pixmsb(h, s, t))},
        {"pixthreshold", u8, CALL(mvip8_pixthreshold(h, s, t, 10, 200, 1))},
        {"pixthreshold2", u8, CALL(mvip8_pixthreshold2(h, s, t, 10, 200, 1, 2))},
        {"pixthreshold3", u8c, [](mvabort* h, mvimage* s, mvimage* t) {
             const uint32_t lo[3] = {0, 0, 0}, hi[3] = {255, 255, 255}, v[3] = {1, 2, 3};
             return mvip8_pixthreshold3(h, s, t, lo, hi, v);
         }},
        {"pixcontrast", u16_10, CALL(mvip8_pixcontrast(h, s, t, 100, 900))},
        {"pixadd", u16_10, CALL(mvip8_pixadd(h, s, t, 100, 2))},
        {"pixmap", u8, CALL(mvip8_pixmap(h, s, t, table8(), 256))},
        {"pixmaps", u16_12, CALL(mvip8_pixmaps(h, s, t, table16(), 4096))},
        {"pixmapl", u32_12, CALL(mvip8_pixmapl(h, s, t, table32(), 4096))},
        {"pixmaplut", u8, [](mvabort* h, mvimage* s, mvimage* t) {
             static Image lut(Format{MVTYPE_U8, 8, 1}, 256, 1);
             lut.randomize(3);
             return mvip8_pixmaplut(h, s, t, lut.rec());
         }},
        {"pixscale", u32, CALL(mvip8_pixscale(h, s, t, 3, 7))},
        {"pixcontrastpivot", u8, CALL(mvip8_pixcontrastpivot(h, s, t, 255, 1.5))},
        {"pixgamma", u8, CALL(mvip8_pixgamma(h, s, t, 0.5))},
        {"pixset", u8c, CALL(mvip8_pixset(h, t, 77))},
        {"pixset3", u8c, CALL(mvip8_pixset3(h, t, 1, 2, 3))},
        {"mvipf_pixset3", fc, CALL(mvipf_pixset3(h, t, 0.1, 0.2, 0.3))},
        {"pixiecopy", fc, CALL(mvip8_pixiecopy(h, s, t, 1, 5))},
        {"pixiemin", fc, CALL(mvip8_pixiemin(h, s, t))},
        {"pixiemax", fc, CALL(mvip8_pixiemax(h, s, t))},
        {"pixieave", fc, CALL(mvip8_pixieave(h, s, t))},
        {"mvipf_pixcontrast", d, CALL(mvipf_pixcontrast(h, s, t, 0.0, 1.0))},
        {"mvipf_pixscale", d, CALL(mvipf_pixscale(h, s, t, 0.5))},
        {"mvipf_pixadd", d, CALL(mvipf_pixadd(h, s, t, 0.25))},
        // Stopped in its own tests below.
        {"pixcontrastperc", u8, CALL(mvip8_pixcontrastperc(h, s, t, 5, 95, nullptr, nullptr)), Walk::entry},
        {"histab2", u16_12, [](mvabort* h, mvimage* s, mvimage*) {
             static std::vector<uint32_t> hist(4096);
             return mvip8_histab2(h, s, hist.data(), 4096);
         }, Walk::entry},
        {"copy", u12c, CALL(mvip8_copy(h, s, t))},
        {"copyexchange", u12c, CALL(mvip8_copyexchange(h, s, t))},
        {"copyslice", u12c, CALL(mvip8_copyslice(h, s, t, 2, 0)), Walk::lines, 0, false},
        {"copyslice within one image", u12c, CALL(mvip8_copyslice(h, s, s, 2, 0)), Walk::lines, 0, false},
        {"copycolorconvert", u12c, CALL(mvip8_copycolorconvert(h, s, t, 0, MVCS_RGB)), Walk::lines, 0, false},
        {"copyinterpnearest", u12c, CALL(mvip8_copyinterpnearest(h, s, t))},
        {"copyinterpbilinear", u12c, CALL(mvip8_copyinterpbilinear(h, s, t))},
        {"copyreplic", u12c, CALL(mvip8_copyreplic(h, s, t))},
        {"copyreverse left-right", u12c, CALL(mvip8_copyreverse(h, s, t, 1))},
        {"copyshift", u12c, CALL(mvip8_copyshift(h, s, t, 2, -3)), Walk::lines, 3},  // copies the lines that overlap
        {"ilacepairave", fc, CALL(mvip8_ilacepairave(h, s, t)), Walk::lines, 0, false},
        {"ilacepairdup", fc, CALL(mvip8_ilacepairdup(h, s, t, 1)), Walk::lines, 0, false},
        {"ilacepairswap", fc, CALL(mvip8_ilacepairswap(h, s, t)), Walk::lines, 0, false},
        {"ilacelinetoNfield", u8, CALL(mvip8_ilacelinetoNfield(h, s, t, 4)), Walk::entry, 0, false},
        {"ilaceNfieldtoline", u8, CALL(mvip8_ilaceNfieldtoline(h, s, t, 4)), Walk::entry, 0, false},
        {"ilacelinetofield", u8, CALL(mvip8_ilacelinetofield(h, s, t)), Walk::entry, 0, false},
        {"ilacefieldtoline", u8, CALL(mvip8_ilacefieldtoline(h, s, t)), Walk::entry, 0, false},
        {"3x3sobel", u8, CALL(mvip8_3x3sobel(h, s, t, 0))},
        {"3x3sobela", u8, CALL(mvip8_3x3sobela(h, s, t, 2))},
        {"2x2roberts", u8, CALL(mvip8_2x2roberts(h, s, t, 3))},
        {"3x3kirsch", u8, CALL(mvip8_3x3kirsch(h, s, t, 1))},
        {"3x3life", u8, CALL(mvip8_3x3life(h, s, t))},
        {"3x3median", u8, CALL(mvip8_3x3median(h, s, t))},
    };
    return ops;
}

// A source and a destination of one format with windows of equal size at
// different places.  `large` makes the window big enough for the table
// route of every integer format used here.
struct Pair {
    Pair(const Format& f, bool large, uint32_t seed)
        : w(large ? 136u : 30u), h(large ? 70u : 44u), src(f, w, h), dst(f, w + 5, h + 3) {
        src.randomize(seed);
        dst.randomize(seed + 1);
        src.window(3, 2, int32_t(w) - 3, int32_t(h) - 2);
        dst.window(5, 4, int32_t(w) - 1, int32_t(h));
    }
    int32_t window_height() const { return int32_t(h) - 4; }
    uint32_t w, h;
    Image src, dst;
};

// ---- the abort hook -------------------------------------------------------

TEST(FrameHook, StopAtEntryReturnsTheSecondAnswerAndTouchesNothing) {
    for (const Op& op : every_operation())
        // The first answer decides the stop; the second is only the value
        // returned, 0 included.
        for (int32_t second : {int32_t(MVERR_CANCELED), 0x7007, 0}) {
            SCOPED_TRACE(op.name + ", second answer " + std::to_string(second));
            Pair p(op.fmt, false, 11);
            const auto src_before = p.src.raw(), dst_before = p.dst.raw();
            Hook hook([=](int32_t, int32_t, size_t i) { return i == 0 ? 5 : i == 1 ? second : 0; });
            EXPECT_EQ(op.call(hook.get(), p.src.rec(), p.dst.rec()), second);
            EXPECT_EQ(hook.calls, (Calls{{0, 0}, {0, 0}}));
            EXPECT_TRUE(p.src.raw_is(src_before));
            EXPECT_TRUE(p.dst.raw_is(dst_before));
        }
}

// Run to the end, the hook hears (0, 0) and then every eighth line; stopped
// at line 16, the window's lines above it hold their results (in both
// images: the exchange writes both) and the rest are as before.
TEST(FrameHook, ProgressAndStopWhileWalking) {
    for (const Op& op : every_operation()) {
        if (op.walk != Walk::lines) continue;
        for (bool large : {false, true})
            for (bool in_place : {false, true}) {
                SCOPED_TRACE(op.name + (large ? ", large" : ", small") + (in_place ? ", in place" : ", separate"));
                Pair ref(op.fmt, large, 21), p(op.fmt, large, 21);
                const int32_t H = ref.window_height() - op.fewer;
                Calls walk{{0, 0}};
                for (int32_t y = 0; y < H; y += 8) walk.emplace_back(y, H);
                Hook progress;
                ASSERT_EQ(op.call(progress.get(), ref.src.rec(), in_place ? ref.src.rec() : ref.dst.rec()), 0);
                EXPECT_EQ(progress.calls, walk);

                const std::vector<double> src_before = p.src.values(), dst_before = p.dst.values();
                Hook stop([=](int32_t done, int32_t total, size_t) { return done == 16 && total == H ? 0x1234 : 0; });
                EXPECT_EQ(op.call(stop.get(), p.src.rec(), in_place ? p.src.rec() : p.dst.rec()), 0x1234);
                EXPECT_EQ(stop.calls, Calls(walk.begin(), walk.begin() + 4));
                for (auto [im, full, before] : {std::tuple{&p.src, &ref.src, &src_before},
                                                std::tuple{&p.dst, &ref.dst, &dst_before}}) {
                    std::vector<double> want = *before;
                    const std::vector<double> done = full->values();
                    for (int32_t y = 0; y < im->wy() + 16; ++y)
                        for (uint32_t x = 0; x < im->width(); ++x)
                            for (uint32_t k = 0; k < im->pixies(); ++k) want[im->index(x, y, k)] = done[im->index(x, y, k)];
                    EXPECT_TRUE(holds(*im, want));
                }
            }
    }
}

TEST(FrameHook, StopWhileCountingTheHistogram) {
    // The percentile stretch marks its phases around the histogram pass,
    // each walking the window.
    Pair p(Format{MVTYPE_U16, 12, 1}, false, 51);
    const int32_t H = p.window_height();
    Calls walk;
    for (int32_t y = 0; y < H; y += 8) walk.emplace_back(y, H);
    Hook progress;
    uint32_t lo = 12345, hi = 12345;
    ASSERT_EQ(mvip8_pixcontrastperc(progress.get(), p.src.rec(), p.dst.rec(), 10, 90, &lo, &hi), 0);
    Calls want{{0, 0}, {1, -2}};
    want.insert(want.end(), walk.begin(), walk.end());
    want.insert(want.end(), {{2, -2}, {0, 0}});
    want.insert(want.end(), walk.begin(), walk.end());
    EXPECT_EQ(progress.calls, want);
    // Stopped in the histogram pass: the hook's value, nothing written.
    Pair q(Format{MVTYPE_U16, 12, 1}, false, 51);
    const auto dst_before = q.dst.raw();
    Hook hook([=](int32_t done, int32_t total, size_t) { return done == 8 && total == H ? -77 : 0; });
    std::vector<uint32_t> hist(4096);
    EXPECT_EQ(mvip8_histab2(hook.get(), q.src.rec(), hist.data(), 4096), -77);
    EXPECT_EQ(hook.calls, (Calls{{0, 0}, {0, H}, {8, H}}));
    lo = hi = 12345;
    EXPECT_EQ(mvip8_pixcontrastperc(hook.get(), q.src.rec(), q.dst.rec(), 10, 90, &lo, &hi), -77);
    EXPECT_TRUE(q.dst.raw_is(dst_before));
    EXPECT_TRUE(lo == 12345u && hi == 12345u);
}

TEST(FrameHook, ZeroHeightWindowDoesNothing) {
    for (const Op& op : every_operation()) {
        if (!op.empty) continue;
        SCOPED_TRACE(op.name);
        Pair p(op.fmt, false, 41);
        p.src.window(3, 7, 20, 7);
        p.dst.window(6, 9, 23, 9);
        const auto src_before = p.src.raw(), dst_before = p.dst.raw();
        Hook hook;
        EXPECT_EQ(op.call(hook.get(), p.src.rec(), p.dst.rec()), 0);
        // Only the entry poll (and the percentile stretch's phase marks).
        Calls want{{0, 0}};
        if (op.name == "pixcontrastperc") want.insert(want.end(), {{1, -2}, {2, -2}, {0, 0}});
        EXPECT_EQ(hook.calls, want);
        EXPECT_TRUE(p.src.raw_is(src_before));
        EXPECT_TRUE(p.dst.raw_is(dst_before));
    }
}

// ---- failures -------------------------------------------------------------

// Runs `call` on a source and destination of the given formats and window
// sizes; `unchanged` tells whether both images are as before.
int32_t on_pair(const Format& fs, const Format& fd, uint32_t w, uint32_t h, uint32_t dw, uint32_t dh,
                bool& unchanged, const std::function<int32_t(mvimage*, mvimage*)>& call) {
    Image src(fs, w + 4, h + 3), dst(fd, dw + 2, dh + 5);
    src.randomize(1);
    dst.randomize(2);
    src.window(2, 1, int32_t(w) + 2, int32_t(h) + 1);
    dst.window(1, 3, int32_t(dw) + 1, int32_t(dh) + 3);
    const auto a = src.raw(), b = dst.raw();
    const int32_t rc = call(src.rec(), dst.rec());
    unchanged = src.raw_is(a) && dst.raw_is(b);
    return rc;
}

using Two = std::function<int32_t(mvimage*, mvimage*)>;

TEST(FrameFailures, ResultCodes) {
    const Format u8{MVTYPE_U8, 8, 1}, u8c{MVTYPE_U8, 8, 3}, u16_10{MVTYPE_U16, 10, 1}, u16_12{MVTYPE_U16, 12, 1},
        u16{MVTYPE_U16, 16, 1}, u32{MVTYPE_U32, 32, 1}, f{MVTYPE_FLOAT, 0, 1}, d{MVTYPE_DOUBLE, 0, 1},
        i32{MVTYPE_I32, 32, 1};
    const Two neg = [](mvimage* s, mvimage* t) { return mvip8_pixneg(nullptr, s, t); };
    const Two shr = [](mvimage* s, mvimage* t) { return mvip8_pixshr(nullptr, s, t, 1); };
    const Two pixiemin = [](mvimage* s, mvimage* t) { return mvip8_pixiemin(nullptr, s, t); };
    const Two thr3 = [](mvimage* s, mvimage* t) {
        const uint32_t lo[3] = {0, 0, 0}, hi[3] = {255, 255, 255}, v[3] = {1, 2, 3};
        return mvip8_pixthreshold3(nullptr, s, t, lo, hi, v);
    };
    // Small windows (24 x 20) take the value-by-value route, large ones
    // (128 x 72) the table route of formats up to 12 bits.
    struct Row {
        std::string name;
        int32_t want, also;  // `also`: a second acceptable answer, if any
        Format fs, fd;
        bool large;
        Two call;
        int dw = 0, dh = 0;  // destination window size less the source's
    };
    auto on_one = [](Two call) {  // operations on a single image (the destination)
        return [call](mvimage*, mvimage* t) { return call(t, nullptr); };
    };
    auto with_null = [](Two call, mvimage* none, bool as_src) {
        return [=](mvimage* s, mvimage* t) { return as_src ? call(none, t) : call(s, none); };
    };
    mvimage none;
    mvimage_defnull(&none);
    const std::vector<Row> rows = {
        {"null source", MVERR_USAGE, 0, u8, u8, false, with_null(neg, nullptr, true)},
        {"null destination", MVERR_USAGE, 0, u8, u8, false, with_null(neg, nullptr, false)},
        {"null image to pixset", MVERR_USAGE, 0, u8, u8, false,
         [](mvimage*, mvimage*) { return mvip8_pixset(nullptr, nullptr, 1); }},
        {"null image to histab2", MVERR_USAGE, 0, u8, u8, false,
         [](mvimage*, mvimage*) {
             uint32_t hist[256];
             return mvip8_histab2(nullptr, nullptr, hist, 256);
         }},
        {"null histogram", MVERR_USAGE, 0, u8, u8, false,
         [](mvimage* s, mvimage*) { return mvip8_histab2(nullptr, s, nullptr, 256); }},
        // A null image has no data type, so no kernel is found for it (-19)
        // before its record is checked (-1).
        {"null image source", MVERR_DATATYPE, MVERR_USAGE, u8, u8, false, with_null(neg, &none, true)},
        {"null image source to pixiemax", MVERR_DATATYPE, MVERR_USAGE, u8, u8, false,
         with_null([](mvimage* s, mvimage* t) { return mvip8_pixiemax(nullptr, s, t); }, &none, true)},
        {"null image destination", MVERR_USAGE, 0, u8, u8, false, with_null(neg, &none, false)},
        {"null image destination, table route", MVERR_USAGE, 0, u8, u8, true, with_null(neg, &none, false)},
        {"pixset on a null image", MVERR_USAGE, 0, u8, u8, false,
         [&](mvimage*, mvimage*) { return mvip8_pixset(nullptr, &none, 1); }},
        {"window heights differ", MVERR_USAGE, 0, u8, u8, false, neg, 0, 1},
        {"window widths differ, table route", MVERR_USAGE, 0, u8, u8, true, neg, -1, 0},
        {"window sizes differ for pixscale", MVERR_USAGE, 0, u16_10, u16_12, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixscale(nullptr, s, t, 1, 1); }, -1, 0},
        {"window sizes differ for the pixie operations", MVERR_USAGE, 0, u8c, u8c, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixiemax(nullptr, s, t); }, 0, -1},
        {"data types differ", MVERR_USAGE, 0, u8, u16, false, neg},
        {"data types differ, table route", MVERR_USAGE, 0, u8, u16, true, neg},
        {"float source, double destination", MVERR_USAGE, 0, f, d, false, neg},
        {"bits differ", MVERR_USAGE, 0, u16_10, u16_12, false, neg},
        {"bits differ, table route", MVERR_USAGE, 0, u16_10, u16_12, true, neg},
        {"pixies differ (mono to colour)", MVERR_USAGE, 0, u8, u8c, false, neg},
        // Colour to mono: the destination may already refuse the mask of
        // all the source's pixies when it is opened (-21), before the
        // pixie counts are compared (-1).
        {"pixies differ (colour to mono), table route", MVERR_USAGE, MVERR_COLORS, u8c, u8, true, neg},
        {"pixies differ for pixiemin", MVERR_USAGE, MVERR_COLORS, u8c, u8, false, pixiemin},
        // An operation's data types are checked for every image before the
        // images are compared, whichever route the window size picks.
        {"u8 source with a float destination to pixshr", MVERR_DATATYPE, 0, u8, f, false, shr},
        {"u8 source with a float destination to pixshr, table route", MVERR_DATATYPE, 0, u8, f, true, shr},
        {"float image to pixshr", MVERR_DATATYPE, 0, f, f, false, shr},
        {"double image to pixand", MVERR_DATATYPE, 0, d, d, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixand(nullptr, s, t, 1); }},
        {"u32 image to pixthreshold", MVERR_DATATYPE, 0, u32, u32, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixthreshold(nullptr, s, t, 1, 2, 3); }},
        {"float image to pixadd", MVERR_DATATYPE, 0, f, f, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixadd(nullptr, s, t, 1, 2); }},
        {"u32 image to pixcontrast", MVERR_DATATYPE, 0, u32, u32, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixcontrast(nullptr, s, t, 1, 2); }},
        {"double image to pixgamma", MVERR_DATATYPE, 0, d, d, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixgamma(nullptr, s, t, 2.0); }},
        {"u32 image to pixcontrastperc", MVERR_DATATYPE, 0, u32, u32, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixcontrastperc(nullptr, s, t, 1, 99, nullptr, nullptr); }},
        {"float image to histab2", MVERR_DATATYPE, 0, f, f, false,
         [](mvimage* s, mvimage*) {
             std::vector<uint32_t> hist(1 << 16, 0xCDu);
             const int32_t rc = mvip8_histab2(nullptr, s, hist.data(), uint32_t(hist.size()));
             return std::all_of(hist.begin(), hist.end(), [](uint32_t v) { return v == 0xCDu; }) ? rc : 1;
         }},
        {"float image to pixset", MVERR_DATATYPE, 0, f, f, false,
         on_one([](mvimage* t, mvimage*) { return mvip8_pixset(nullptr, t, 1); })},
        {"u16 image to pixmap", MVERR_DATATYPE, 0, u16, u16, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixmap(nullptr, s, t, table8(), 256); }},
        {"u8 image to pixmaps", MVERR_DATATYPE, 0, u8, u8, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixmaps(nullptr, s, t, table16(), 4096); }},
        {"u16 image to pixmapl", MVERR_DATATYPE, 0, u16_12, u16_12, false,
         [](mvimage* s, mvimage* t) { return mvip8_pixmapl(nullptr, s, t, table32(), 4096); }},
        {"a data type without kernels (second 32-bit integer type) to pixneg", MVERR_DATATYPE, 0, i32, i32, false,
         neg},
        {"a data type without kernels to pixiemin", MVERR_DATATYPE, 0, i32, i32, false, pixiemin},
        {"a data type without kernels to mvipf_pixadd", MVERR_DATATYPE, 0, i32, i32, false,
         [](mvimage* s, mvimage* t) { return mvipf_pixadd(nullptr, s, t, 1.0); }},
        {"a data type without kernels to pixset", MVERR_DATATYPE, 0, i32, i32, false,
         on_one([](mvimage* t, mvimage*) { return mvip8_pixset(nullptr, t, 1); })},
        {"one-pixie image to pixthreshold3", MVERR_COLORS, 0, u8, u8, false, thr3},
        {"two-pixie image to pixthreshold3", MVERR_COLORS, 0, Format{MVTYPE_U16, 16, 2}, Format{MVTYPE_U16, 16, 2},
         false, thr3},
        {"one-pixie image to pixset3", MVERR_COLORS, 0, u8, u8, false,
         on_one([](mvimage* t, mvimage*) { return mvip8_pixset3(nullptr, t, 1, 2, 3); })},
        {"two-pixie image to mvipf_pixset3", MVERR_COLORS, 0, Format{MVTYPE_FLOAT, 0, 2}, Format{MVTYPE_FLOAT, 0, 2},
         false, on_one([](mvimage* t, mvimage*) { return mvipf_pixset3(nullptr, t, 1, 2, 3); })},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const uint32_t w = row.large ? 128 : 24, h = row.large ? 72 : 20;
        bool unchanged = false;
        const int32_t rc = on_pair(row.fs, row.fd, w, h, w + row.dw, h + row.dh, unchanged, row.call);
        if (rc != row.also || row.also == 0) {
            EXPECT_EQ(rc, row.want);
        }
        EXPECT_TRUE(unchanged) << "an image changed";
    }
}

// ---- in place, through shared memory, and without copies ------------------

// Counts the run transfers of records whose ioset we wrap.
struct Traffic {
    mvslot_set ioset = nullptr;
    mvslot_io read = nullptr, write = nullptr;
    int refusals = 0;  // ioset answers refused before passing on (-1: all)
    int32_t refusal = MVERR_DATATYPE;
    int iosets = 0;
    uint64_t transfers = 0;
};
std::map<const mvimage*, Traffic>& traffic() {
    static std::map<const mvimage*, Traffic> t;
    return t;
}
uint32_t counted_read(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
    ++traffic()[im].transfers;
    return traffic()[im].read(im, f, b, n, x, y);
}
uint32_t counted_write(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
    ++traffic()[im].transfers;
    return traffic()[im].write(im, f, b, n, x, y);
}
int32_t watched_ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    Traffic& t = traffic()[im];
    ++t.iosets;
    if (t.refusals != 0) {
        if (t.refusals > 0) --t.refusals;
        return t.refusal;
    }
    const int32_t rc = t.ioset(im, mode, type, mask);
    if (rc >= 0) {
        t.read = im->ioread;
        t.write = im->iorite;
        im->ioread = counted_read;
        im->iorite = counted_write;
    }
    return rc;
}
Traffic& watch(mvimage* im, int refusals = 0, int32_t refusal = MVERR_DATATYPE) {
    Traffic& t = traffic()[im];
    if (im->ioset == watched_ioset) return t;  // the same record twice
    t = Traffic{};
    t.ioset = im->ioset;
    t.refusals = refusals;
    t.refusal = refusal;
    im->ioset = watched_ioset;
    return t;
}

TEST(FrameInPlace, SharedMemoryIsWorkedWithoutCopiesAndMatchesSeparate) {
    const std::vector<std::pair<std::string, std::pair<Format, OpFn>>> ops = {
        {"pixneg u8x3", {Format{MVTYPE_U8, 8, 3}, CALL(mvip8_pixneg(nullptr, s, t))}},
        {"pixadd u16/12", {Format{MVTYPE_U16, 12, 1}, CALL(mvip8_pixadd(nullptr, s, t, 300, 2))}},
        {"pixiemax floatx3", {Format{MVTYPE_FLOAT, 0, 3}, CALL(mvip8_pixiemax(nullptr, s, t))}},
        {"mvipf_pixscale double", {Format{MVTYPE_DOUBLE, 0, 1}, CALL(mvipf_pixscale(nullptr, s, t, 0.75))}},
        {"pixmap u8", {Format{MVTYPE_U8, 8, 1}, CALL(mvip8_pixmap(nullptr, s, t, table8(), 256))}},
    };
    enum Kind { separate, bottom_up, same_record, second_record, shifted_record };
    const char* names[] = {"separate", "separate bottom-up", "same record", "second record over the same memory",
                           "second record over the same memory, window one pixel right"};
    for (const auto& [name, fo] : ops) {
        const auto& [fmt, call] = fo;
        for (bool large : {false, true}) {
            std::vector<double> first;  // the window's values from the first target
            for (Kind kind : {separate, bottom_up, same_record, second_record, shifted_record}) {
                SCOPED_TRACE(name + (large ? ", large, " : ", small, ") + names[kind]);
                const uint32_t w = large ? 140 : 30, h = large ? 76 : 26;
                Image src(fmt, w, h);
                src.randomize(7);
                src.window(2, 3, int32_t(w) - 4, int32_t(h) - 1);
                std::unique_ptr<Image> other;
                mvimage second{};
                mvimage* dst = src.rec();
                if (kind == separate || kind == bottom_up) {
                    other = std::make_unique<Image>(fmt, w, h, Layout{2, kind == bottom_up});
                    other->window(2, 3, int32_t(w) - 4, int32_t(h) - 1);
                    dst = other->rec();
                } else if (kind != same_record) {
                    const int32_t dx = kind == shifted_record ? 1 : 0;
                    src.init(&second);
                    ASSERT_EQ(mvimage_setwind(&second, 2 + dx, 3, int32_t(w) - 4 + dx, int32_t(h) - 1), 0);
                    dst = &second;
                }
                Traffic& ts = watch(src.rec());
                Traffic& td = watch(dst);
                ASSERT_EQ(call(nullptr, src.rec(), dst), 0);
                // On shared memory the kernel runs on the image memory itself.
                if (kind == same_record || kind == second_record) {
                    EXPECT_EQ(ts.transfers + td.transfers, 0u);
                }
                // The shifted window overlaps its source within each line:
                // every line is taken whole before its result is stored.
                Image& out = other ? *other : src;
                const uint32_t x0 = kind == shifted_record ? 3 : 2;
                std::vector<double> win;
                for (uint32_t y = 3; y < h - 1; ++y)
                    for (uint32_t x = x0; x < x0 + w - 6; ++x)
                        for (uint32_t k = 0; k < fmt.pixies; ++k) win.push_back(out.get(x, y, k));
                if (first.empty()) first = win;
                EXPECT_EQ(win, first);
                traffic().clear();
            }
        }
    }
}

TEST(FrameInPlace, UnmappableImageInPlaceTakesTheCopyRoute) {
    // A 10-bit image whose memory may hold bits above the ten (read side
    // flagged dirty) cannot be mapped raw: the values are read masked,
    // worked on and written back line by line.
    for (bool large : {false, true}) {
        SCOPED_TRACE(large ? "large" : "small");
        const uint32_t w = large ? 80 : 20, h = large ? 60 : 12;
        Image im(Format{MVTYPE_U16, 10, 1}, w, h);
        std::mt19937 rng(3);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) im.set(x, y, 0, double(rng() & 0xFFFF));
        im.rec()->pixfmt.valflags = MVVALFLAG_DIRTY;
        im.window(1, 2, int32_t(w) - 1, int32_t(h) - 1);
        std::vector<double> want = im.values();
        for (uint32_t y = 2; y < h - 1; ++y)
            for (uint32_t x = 1; x < w - 1; ++x) want[im.index(x, y, 0)] = double(1023 - (uint32_t(im.get(x, y, 0)) & 1023));
        ASSERT_EQ(mvip8_pixneg(nullptr, im.rec(), im.rec()), 0);
        EXPECT_TRUE(holds(im, want));
    }
}

// ---- images that refuse their own type -----------------------------------

TEST(FrameConverter, RefusingImageIsOpenedThroughATypeConverter) {
    // The image refuses the frame's first request; the frame then opens it
    // through a type converter view, whose request reaches the image again
    // and is served.  The result is the same as on a plain image.
    for (bool refuse_source : {true, false})
        for (bool large : {false, true}) {
            SCOPED_TRACE(std::string(refuse_source ? "source" : "destination") + (large ? ", large" : ", small"));
            const Format f{MVTYPE_U16, 12, 3};
            Pair plain(f, large, 5), p(f, large, 5);
            ASSERT_EQ(mvip8_pixneg(nullptr, plain.src.rec(), plain.dst.rec()), 0);
            Traffic& t = watch(refuse_source ? p.src.rec() : p.dst.rec(), 1);
            EXPECT_EQ(mvip8_pixneg(nullptr, p.src.rec(), p.dst.rec()), 0);
            EXPECT_EQ(t.iosets, 2);
            EXPECT_EQ(p.dst.values(), plain.dst.values());
            EXPECT_EQ(p.src.values(), plain.src.values());
            traffic().clear();
        }
    // An image refusing every request passes its code on.
    for (bool refuse_source : {true, false}) {
        SCOPED_TRACE(refuse_source ? "source refuses all" : "destination refuses all");
        Pair p(Format{MVTYPE_U8, 8, 1}, false, 6);
        const auto a = p.src.raw(), b = p.dst.raw();
        watch(refuse_source ? p.src.rec() : p.dst.rec(), -1, MVERR_UNSUPPORTED);
        EXPECT_EQ(mvip8_pixneg(nullptr, p.src.rec(), p.dst.rec()), MVERR_UNSUPPORTED);
        EXPECT_EQ(mvip8_pixset(nullptr, refuse_source ? p.src.rec() : p.dst.rec(), 3), MVERR_UNSUPPORTED);
        EXPECT_TRUE(p.src.raw_is(a) && p.dst.raw_is(b));
        traffic().clear();
    }
}

}  // namespace
