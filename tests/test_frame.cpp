// The operation frame seen through real operations: the abort hook at entry
// and while walking, empty windows, the failure codes, in-place work on
// shared memory without copies, and images that refuse their own type.
#include "tests/test_point_ops.hpp"

#include <map>
#include <memory>

namespace {

using namespace optest;

using Calls = std::vector<std::pair<int32_t, int32_t>>;
using OpFn = std::function<int32_t(mvabort*, mvimage* src, mvimage* dst)>;

struct Op {
    std::string name;
    Format fmt;
    OpFn call;
};

// Tables and outputs the operations below write into, kept alive for the
// whole test program.
std::vector<uint8_t>& table8() {
    static std::vector<uint8_t> t = [] {
        std::vector<uint8_t> v(256);
        for (size_t i = 0; i < v.size(); ++i) v[i] = uint8_t(i * 7 + 3);
        return v;
    }();
    return t;
}
std::vector<uint16_t>& table16() {
    static std::vector<uint16_t> t = [] {
        std::vector<uint16_t> v(4096);
        for (size_t i = 0; i < v.size(); ++i) v[i] = uint16_t(4095 - i);
        return v;
    }();
    return t;
}
std::vector<uint32_t>& table32() {
    static std::vector<uint32_t> t = [] {
        std::vector<uint32_t> v(4096);
        for (size_t i = 0; i < v.size(); ++i) v[i] = uint32_t(i * 1000003u);
        return v;
    }();
    return t;
}

// Every operation of the point family, each on a format it accepts.
std::vector<Op> every_operation() {
    const Format u8{MVTYPE_U8, 8, 1}, u8c{MVTYPE_U8, 8, 3}, u16_10{MVTYPE_U16, 10, 1}, u16_12{MVTYPE_U16, 12, 1},
        u32_12{MVTYPE_U32, 12, 1}, u32{MVTYPE_U32, 32, 1}, fc{MVTYPE_FLOAT, 0, 3}, d{MVTYPE_DOUBLE, 0, 1, -1, 2};
    return {
        {"pixneg", u8c, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixneg(h, s, t); }},
        {"pixshr", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixshr(h, s, t, 2); }},
        {"pixshl", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixshl(h, s, t, 2); }},
        {"pixand", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixand(h, s, t, 0xF0F); }},
        {"pixor", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixor(h, s, t, 0xF0F); }},
        {"pixxor", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixxor(h, s, t, 0xF0F); }},
        {"pixmsb", u16_12, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixmsb(h, s, t); }},
        {"pixthreshold", u8, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixthreshold(h, s, t, 10, 200, 1); }},
        {"pixthreshold2", u8,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixthreshold2(h, s, t, 10, 200, 1, 2); }},
        {"pixthreshold3", u8c,
         [](mvabort* h, mvimage* s, mvimage* t) {
             const uint32_t lo[3] = {0, 0, 0}, hi[3] = {255, 255, 255}, v[3] = {1, 2, 3};
             return mvip8_pixthreshold3(h, s, t, lo, hi, v);
         }},
        {"pixcontrast", u16_10, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixcontrast(h, s, t, 100, 900); }},
        {"pixadd", u16_10, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixadd(h, s, t, 100, 2); }},
        {"pixmap", u8,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixmap(h, s, t, table8().data(), 256); }},
        {"pixmaps", u16_12,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixmaps(h, s, t, table16().data(), 4096); }},
        {"pixmapl", u32_12,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixmapl(h, s, t, table32().data(), 4096); }},
        {"pixmaplut", u8,
         [](mvabort* h, mvimage* s, mvimage* t) {
             static Image lut(Format{MVTYPE_U8, 8, 1}, 256, 1);
             lut.randomize(3);
             return mvip8_pixmaplut(h, s, t, lut.rec());
         }},
        {"pixscale", u32, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixscale(h, s, t, 3, 7); }},
        {"pixcontrastpivot", u8,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixcontrastpivot(h, s, t, 255, 1.5); }},
        {"pixgamma", u8, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixgamma(h, s, t, 0.5); }},
        {"pixcontrastperc", u8,
         [](mvabort* h, mvimage* s, mvimage* t) {
             uint32_t lo = 0, hi = 0;
             return mvip8_pixcontrastperc(h, s, t, 5, 95, &lo, &hi);
         }},
        {"pixset", u8c, [](mvabort* h, mvimage*, mvimage* t) { return mvip8_pixset(h, t, 77); }},
        {"pixset3", u8c, [](mvabort* h, mvimage*, mvimage* t) { return mvip8_pixset3(h, t, 1, 2, 3); }},
        {"mvipf_pixset3", fc, [](mvabort* h, mvimage*, mvimage* t) { return mvipf_pixset3(h, t, 0.1, 0.2, 0.3); }},
        {"pixiecopy", fc, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixiecopy(h, s, t, 1, 5); }},
        {"pixiemin", fc, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixiemin(h, s, t); }},
        {"pixiemax", fc, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixiemax(h, s, t); }},
        {"pixieave", fc, [](mvabort* h, mvimage* s, mvimage* t) { return mvip8_pixieave(h, s, t); }},
        {"mvipf_pixcontrast", d,
         [](mvabort* h, mvimage* s, mvimage* t) { return mvipf_pixcontrast(h, s, t, 0.0, 1.0); }},
        {"mvipf_pixscale", d, [](mvabort* h, mvimage* s, mvimage* t) { return mvipf_pixscale(h, s, t, 0.5); }},
        {"mvipf_pixadd", d, [](mvabort* h, mvimage* s, mvimage* t) { return mvipf_pixadd(h, s, t, 0.25); }},
        {"histab2", u16_12,
         [](mvabort* h, mvimage* s, mvimage*) {
             static std::vector<uint32_t> hist(4096);
             return mvip8_histab2(h, s, hist.data(), 4096);
         }},
    };
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
    uint32_t window_height() const { return h - 4; }
    uint32_t w, h;
    Image src, dst;
};

// ---- the abort hook -------------------------------------------------------

TEST(FrameHook, StopAtEntryReturnsTheSecondAnswerAndTouchesNothing) {
    for (const Op& op : every_operation()) {
        // The first answer decides the stop; the second is only the value
        // returned, 0 included.
        for (int32_t second : {int32_t(MVERR_CANCELED), 0x7007, 0}) {
            SCOPED_TRACE(op.name + ", second answer " + std::to_string(second));
            Pair p(op.fmt, false, 11);
            const auto src_before = p.src.raw(), dst_before = p.dst.raw();
            Hook hook;
            hook.answer = [=](int32_t, int32_t, size_t i) { return i == 0 ? 5 : i == 1 ? second : 0; };
            EXPECT_EQ(op.call(hook.get(), p.src.rec(), p.dst.rec()), second);
            EXPECT_EQ(hook.calls, (Calls{{0, 0}, {0, 0}}));
            EXPECT_TRUE(p.src.raw_is(src_before));
            EXPECT_TRUE(p.dst.raw_is(dst_before));
        }
    }
}

// The operations that write a destination (the histogram and the
// percentile stretch are stopped apart below).
std::vector<Op> walking_operations() {
    std::vector<Op> out;
    for (const Op& op : every_operation())
        if (op.name != "histab2" && op.name != "pixcontrastperc") out.push_back(op);
    return out;
}

TEST(FrameHook, StopWhileWalkingKeepsTheLinesBefore) {
    for (const Op& op : walking_operations()) {
        for (bool large : {false, true}) {
            for (bool in_place : {false, true}) {
                SCOPED_TRACE(op.name + (large ? ", large" : ", small") + (in_place ? ", in place" : ", separate"));
                // The full result, from the same inputs without a hook.
                Pair ref(op.fmt, large, 21);
                ASSERT_EQ(op.call(nullptr, ref.src.rec(), in_place ? ref.src.rec() : ref.dst.rec()), 0);
                Image& ref_out = in_place ? ref.src : ref.dst;

                Pair p(op.fmt, large, 21);
                Image& out = in_place ? p.src : p.dst;
                const std::vector<double> before = out.values();
                const int32_t H = int32_t(p.window_height());
                Hook hook;
                hook.answer = [=](int32_t done, int32_t total, size_t) {
                    return done == 16 && total == H ? 0x1234 : 0;
                };
                EXPECT_EQ(op.call(hook.get(), p.src.rec(), in_place ? p.src.rec() : p.dst.rec()), 0x1234);
                EXPECT_EQ(hook.calls, (Calls{{0, 0}, {0, H}, {8, H}, {16, H}}));
                // Window lines 0..15 are done, the rest as before.
                const int32_t top = in_place ? 2 : 4;
                const std::vector<double> done = ref_out.values();
                size_t bad = 0;
                for (uint32_t y = 0; y < out.height(); ++y)
                    for (uint32_t x = 0; x < out.width(); ++x)
                        for (uint32_t k = 0; k < out.pixies(); ++k) {
                            const bool stopped_before = int32_t(y) < top + 16;
                            const double want = stopped_before ? out.value_in(done, x, y, k) : out.value_in(before, x, y, k);
                            if (!same_value(out.get(x, y, k), want, op.fmt.type) && bad++ == 0)
                                ADD_FAILURE() << "line " << y << " pixel " << x << " pixie " << k << ": got "
                                              << out.get(x, y, k) << ", want " << want;
                        }
                EXPECT_EQ(bad, 0u);
            }
        }
    }
}

TEST(FrameHook, StopWhileCountingTheHistogram) {
    // histab2 stops with the hook's value; pixcontrastperc stopped in its
    // histogram pass returns it too and leaves the destination untouched.
    Pair p(Format{MVTYPE_U16, 12, 1}, false, 51);
    const int32_t H = int32_t(p.window_height());
    const auto dst_before = p.dst.raw();
    Hook hook;
    hook.answer = [=](int32_t done, int32_t total, size_t) { return done == 8 && total == H ? -77 : 0; };
    std::vector<uint32_t> hist(4096);
    EXPECT_EQ(mvip8_histab2(hook.get(), p.src.rec(), hist.data(), 4096), -77);
    EXPECT_EQ(hook.calls, (Calls{{0, 0}, {0, H}, {8, H}}));
    uint32_t lo = 12345, hi = 12345;
    EXPECT_EQ(mvip8_pixcontrastperc(hook.get(), p.src.rec(), p.dst.rec(), 10, 90, &lo, &hi), -77);
    EXPECT_TRUE(p.dst.raw_is(dst_before));
    EXPECT_EQ(lo, 12345u);
    EXPECT_EQ(hi, 12345u);
}

TEST(FrameHook, ProgressCallsAtEveryEighthLine) {
    for (const Op& op : every_operation()) {
        for (bool large : {false, true}) {
            SCOPED_TRACE(op.name + (large ? ", large" : ", small"));
            Pair p(op.fmt, large, 31);
            const int32_t H = int32_t(p.window_height());
            Calls walk;
            for (int32_t y = 0; y < H; y += 8) walk.emplace_back(y, H);
            Hook hook;
            ASSERT_EQ(op.call(hook.get(), p.src.rec(), p.dst.rec()), 0);
            Calls want{{0, 0}};
            if (op.name == "pixcontrastperc") {
                // Phase marks around the histogram, then the stretch.
                ASSERT_GE(hook.calls.size(), 3u);
                EXPECT_EQ(hook.calls[1], std::make_pair(1, -2));
                const auto mark = std::find(hook.calls.begin(), hook.calls.end(), std::make_pair(2, -2));
                ASSERT_NE(mark, hook.calls.end());
                const Calls histogram(hook.calls.begin() + 2, mark);
                Calls tail(mark + 1, hook.calls.end());
                if (!tail.empty() && tail.front() == std::make_pair(0, 0)) tail.erase(tail.begin());
                if (!histogram.empty() && histogram.front() == std::make_pair(0, 0)) {
                    EXPECT_EQ(Calls(histogram.begin() + 1, histogram.end()), walk);
                } else {
                    EXPECT_EQ(histogram, walk);
                }
                EXPECT_EQ(tail, walk);
                continue;
            }
            want.insert(want.end(), walk.begin(), walk.end());
            EXPECT_EQ(hook.calls, want);
        }
    }
}

TEST(FrameHook, ZeroHeightWindowDoesNothing) {
    for (const Op& op : every_operation()) {
        SCOPED_TRACE(op.name);
        Pair p(op.fmt, false, 41);
        p.src.window(3, 7, 20, 7);
        p.dst.window(6, 9, 23, 9);
        const auto src_before = p.src.raw(), dst_before = p.dst.raw();
        Hook hook;
        EXPECT_EQ(op.call(hook.get(), p.src.rec(), p.dst.rec()), 0);
        if (op.name == "pixcontrastperc") {
            EXPECT_EQ(hook.calls.front(), std::make_pair(0, 0));
            for (const auto& c : hook.calls) EXPECT_TRUE(c.first == 0 || c.second == -2);
        } else {
            EXPECT_EQ(hook.calls, (Calls{{0, 0}}));
        }
        EXPECT_TRUE(p.src.raw_is(src_before));
        EXPECT_TRUE(p.dst.raw_is(dst_before));
    }
}

// ---- failures -------------------------------------------------------------

struct Failure {
    Failure(std::string n, int32_t w, std::function<int32_t(bool&)> r, int32_t a = 0)
        : name(std::move(n)), want(w), also(a), run(std::move(r)) {}
    std::string name;
    int32_t want;
    int32_t also;  // a second acceptable answer, if any
    // Builds its images, calls, and answers the result; `unchanged` tells
    // whether every image it made is as before.
    std::function<int32_t(bool& unchanged)> run;
};

// Runs `call` on a source and destination of the given formats and window
// sizes.
int32_t on_pair(const Format& fs, const Format& fd, uint32_t w, uint32_t h, uint32_t dw, uint32_t dh,
                bool& unchanged, const std::function<int32_t(mvimage*, mvimage*)>& call) {
    Image src(fs, w + 4, h + 3), dst(fd, dw + 2, dh + 5);
    src.randomize(1);
    dst.randomize(2);
    src.window(2, 1, int32_t(w) + 2, int32_t(h) + 1);
    dst.window(1, 3, int32_t(dw) + 1, int32_t(dh) + 3);
    const auto a = src.raw(), b = dst.raw();
    Hook hook;
    const int32_t rc = call(src.rec(), dst.rec());
    unchanged = src.raw_is(a) && dst.raw_is(b);
    return rc;
}

TEST(FrameFailures, ResultCodes) {
    const Format u8{MVTYPE_U8, 8, 1}, u8c{MVTYPE_U8, 8, 3}, u16_10{MVTYPE_U16, 10, 1}, u16_12{MVTYPE_U16, 12, 1},
        u16{MVTYPE_U16, 16, 1}, u32{MVTYPE_U32, 32, 1}, f{MVTYPE_FLOAT, 0, 1}, d{MVTYPE_DOUBLE, 0, 1},
        i32{MVTYPE_I32, 32, 1};
    auto neg = [](mvimage* s, mvimage* t) { return mvip8_pixneg(nullptr, s, t); };
    auto shr = [](mvimage* s, mvimage* t) { return mvip8_pixshr(nullptr, s, t, 1); };
    auto same = [](const Format& fs, const Format& fd, uint32_t w, uint32_t h,
                   std::function<int32_t(mvimage*, mvimage*)> call) {
        return [=](bool& unchanged) { return on_pair(fs, fd, w, h, w, h, unchanged, call); };
    };
    // Small windows (24 x 20) take the value-by-value route, large ones
    // (128 x 72) the table route of formats up to 12 bits.
    std::vector<Failure> rows = {
        {"null source", MVERR_USAGE,
         [](bool& u) {
             Image dst(Format{MVTYPE_U8, 8, 1}, 8, 8);
             const auto b = dst.raw();
             const int32_t rc = mvip8_pixneg(nullptr, nullptr, dst.rec());
             u = dst.raw_is(b);
             return rc;
         }},
        {"null destination", MVERR_USAGE,
         [](bool& u) {
             Image src(Format{MVTYPE_U8, 8, 1}, 8, 8);
             const auto b = src.raw();
             const int32_t rc = mvip8_pixneg(nullptr, src.rec(), nullptr);
             u = src.raw_is(b);
             return rc;
         }},
        {"null image to pixset", MVERR_USAGE, [](bool& u) { u = true; return mvip8_pixset(nullptr, nullptr, 1); }},
        {"null image to histab2", MVERR_USAGE,
         [](bool& u) {
             uint32_t hist[256];
             u = true;
             return mvip8_histab2(nullptr, nullptr, hist, 256);
         }},
        {"null histogram", MVERR_USAGE,
         [](bool& u) {
             Image src(Format{MVTYPE_U8, 8, 1}, 8, 8);
             u = true;
             return mvip8_histab2(nullptr, src.rec(), nullptr, 256);
         }},
        {"destination a null image (invalid record)", MVERR_USAGE,
         [](bool& u) {
             Image src(Format{MVTYPE_U8, 8, 1}, 8, 8);
             const auto a = src.raw();
             mvimage none;
             mvimage_defnull(&none);
             const int32_t rc = mvip8_pixneg(nullptr, src.rec(), &none);
             u = src.raw_is(a);
             return rc;
         }},
        {"destination a null image, table route", MVERR_USAGE,
         [](bool& u) {
             Image src(Format{MVTYPE_U8, 8, 1}, 64, 64);
             const auto a = src.raw();
             mvimage none;
             mvimage_defnull(&none);
             const int32_t rc = mvip8_pixneg(nullptr, src.rec(), &none);
             u = src.raw_is(a);
             return rc;
         }},
        {"pixset on a null image (invalid record)", MVERR_USAGE,
         [](bool& u) {
             mvimage none;
             mvimage_defnull(&none);
             u = true;
             return mvip8_pixset(nullptr, &none, 1);
         }},
        {"window heights differ", MVERR_USAGE,
         [=](bool& u) { return on_pair(u8, u8, 24, 20, 24, 21, u, neg); }},
        {"window widths differ, table route", MVERR_USAGE,
         [=](bool& u) { return on_pair(u8, u8, 128, 72, 127, 72, u, neg); }},
        {"window sizes differ for pixscale", MVERR_USAGE,
         [=](bool& u) {
             return on_pair(u16_10, u16_12, 24, 20, 23, 20, u,
                            [](mvimage* s, mvimage* t) { return mvip8_pixscale(nullptr, s, t, 1, 1); });
         }},
        {"window sizes differ for the pixie operations", MVERR_USAGE,
         [=](bool& u) {
             return on_pair(u8c, u8c, 24, 20, 24, 19, u,
                            [](mvimage* s, mvimage* t) { return mvip8_pixiemax(nullptr, s, t); });
         }},
        {"data types differ", MVERR_USAGE, same(u8, u16, 24, 20, neg)},
        {"data types differ, table route", MVERR_USAGE, same(u8, u16, 128, 72, neg)},
        {"float source, double destination", MVERR_USAGE, same(f, d, 24, 20, neg)},
        {"bits differ", MVERR_USAGE, same(u16_10, u16_12, 24, 20, neg)},
        {"bits differ, table route", MVERR_USAGE, same(u16_10, u16_12, 128, 72, neg)},
        {"pixies differ (mono to colour)", MVERR_USAGE, same(u8, u8c, 24, 20, neg)},
        // Colour to mono: the destination may already refuse the mask of
        // all the source's pixies when it is opened (-21), before the
        // pixie counts are compared (-1).
        {"pixies differ (colour to mono), table route", MVERR_USAGE, same(u8c, u8, 128, 72, neg), MVERR_COLORS},
        {"pixies differ for pixiemin", MVERR_USAGE,
         same(u8c, u8, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixiemin(nullptr, s, t); }), MVERR_COLORS},
        {"float image to pixshr", MVERR_DATATYPE, same(f, f, 24, 20, shr)},
        {"double image to pixand", MVERR_DATATYPE,
         same(d, d, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixand(nullptr, s, t, 1); })},
        {"u32 image to pixthreshold", MVERR_DATATYPE,
         same(u32, u32, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixthreshold(nullptr, s, t, 1, 2, 3); })},
        {"float image to pixadd", MVERR_DATATYPE,
         same(f, f, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixadd(nullptr, s, t, 1, 2); })},
        {"u32 image to pixcontrast", MVERR_DATATYPE,
         same(u32, u32, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixcontrast(nullptr, s, t, 1, 2); })},
        {"double image to pixgamma", MVERR_DATATYPE,
         same(d, d, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixgamma(nullptr, s, t, 2.0); })},
        {"u32 image to pixcontrastperc", MVERR_DATATYPE,
         same(u32, u32, 24, 20,
              [](mvimage* s, mvimage* t) { return mvip8_pixcontrastperc(nullptr, s, t, 1, 99, nullptr, nullptr); })},
        {"float image to histab2", MVERR_DATATYPE,
         [=](bool& u) {
             Image src(f, 8, 8);
             std::vector<uint32_t> hist(1 << 16, 0xCDu);
             const int32_t rc = mvip8_histab2(nullptr, src.rec(), hist.data(), uint32_t(hist.size()));
             u = std::all_of(hist.begin(), hist.end(), [](uint32_t v) { return v == 0xCDu; });
             return rc;
         }},
        {"float image to pixset", MVERR_DATATYPE,
         [=](bool& u) {
             Image im(f, 8, 8);
             im.randomize(3);
             const auto a = im.raw();
             const int32_t rc = mvip8_pixset(nullptr, im.rec(), 1);
             u = im.raw_is(a);
             return rc;
         }},
        {"u16 image to pixmap", MVERR_DATATYPE,
         same(u16, u16, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixmap(nullptr, s, t, table8().data(), 256); })},
        {"u8 image to pixmaps", MVERR_DATATYPE,
         same(u8, u8, 24, 20,
              [](mvimage* s, mvimage* t) { return mvip8_pixmaps(nullptr, s, t, table16().data(), 4096); })},
        {"u16 image to pixmapl", MVERR_DATATYPE,
         same(u16_12, u16_12, 24, 20,
              [](mvimage* s, mvimage* t) { return mvip8_pixmapl(nullptr, s, t, table32().data(), 4096); })},
        {"a data type without kernels (second 32-bit integer type) to pixneg", MVERR_DATATYPE, same(i32, i32, 24, 20, neg)},
        {"a data type without kernels to pixiemin", MVERR_DATATYPE,
         same(i32, i32, 24, 20, [](mvimage* s, mvimage* t) { return mvip8_pixiemin(nullptr, s, t); })},
        {"a data type without kernels to mvipf_pixadd", MVERR_DATATYPE,
         same(i32, i32, 24, 20, [](mvimage* s, mvimage* t) { return mvipf_pixadd(nullptr, s, t, 1.0); })},
        {"a data type without kernels to pixset", MVERR_DATATYPE,
         [=](bool& u) {
             Image im(i32, 8, 8);
             const auto a = im.raw();
             const int32_t rc = mvip8_pixset(nullptr, im.rec(), 1);
             u = im.raw_is(a);
             return rc;
         }},
        // The destination's type is outside pixshr's types: -19 on both
        // routes.  (Large window: table route through pixmap's frame.)
        {"u8 source with a float destination to pixshr, table route", MVERR_DATATYPE,
         [=](bool& u) { return on_pair(u8, f, 128, 72, 128, 72, u, shr); }},
        {"one-pixie image to pixthreshold3", MVERR_COLORS,
         same(u8, u8, 24, 20,
              [](mvimage* s, mvimage* t) {
                  const uint32_t lo[3] = {0, 0, 0}, hi[3] = {255, 255, 255}, v[3] = {1, 2, 3};
                  return mvip8_pixthreshold3(nullptr, s, t, lo, hi, v);
              })},
        {"two-pixie image to pixthreshold3", MVERR_COLORS,
         same(Format{MVTYPE_U16, 16, 2}, Format{MVTYPE_U16, 16, 2}, 24, 20,
              [](mvimage* s, mvimage* t) {
                  const uint32_t lo[3] = {0, 0, 0}, hi[3] = {255, 255, 255}, v[3] = {1, 2, 3};
                  return mvip8_pixthreshold3(nullptr, s, t, lo, hi, v);
              })},
        {"one-pixie image to pixset3", MVERR_COLORS,
         [=](bool& u) {
             Image im(u8, 8, 8);
             const auto a = im.raw();
             const int32_t rc = mvip8_pixset3(nullptr, im.rec(), 1, 2, 3);
             u = im.raw_is(a);
             return rc;
         }},
        {"two-pixie image to mvipf_pixset3", MVERR_COLORS,
         [=](bool& u) {
             Image im(Format{MVTYPE_FLOAT, 0, 2}, 8, 8);
             const auto a = im.raw();
             const int32_t rc = mvipf_pixset3(nullptr, im.rec(), 1, 2, 3);
             u = im.raw_is(a);
             return rc;
         }},
    };
    for (const Failure& row : rows) {
        SCOPED_TRACE(row.name);
        bool unchanged = false;
        const int32_t rc = row.run(unchanged);
        if (row.also == 0 || rc != row.also) {
            EXPECT_EQ(rc, row.want);
        }
        EXPECT_TRUE(unchanged) << "an image changed";
    }
}

// An operation's data types are checked for every image before the images
// are compared, so a float destination given to an integer-only operation
// is -19, whichever route (table or value by value) the window size picks.
TEST(FrameFailures, IntegerOnlyOperationWithAFloatDestinationOnBothRoutes) {
    const Format u8{MVTYPE_U8, 8, 1}, f{MVTYPE_FLOAT, 0, 1};
    for (bool large : {false, true}) {
        SCOPED_TRACE(large ? "table route" : "direct route");
        const uint32_t w = large ? 128 : 24, h = large ? 72 : 20;
        bool unchanged = false;
        EXPECT_EQ(on_pair(u8, f, w, h, w, h, unchanged,
                          [](mvimage* s, mvimage* t) { return mvip8_pixshr(nullptr, s, t, 1); }),
                  MVERR_DATATYPE);
        EXPECT_TRUE(unchanged);
    }
}

TEST(FrameFailures, NullImageSourceIsRefused) {
    // A null image has no data type, so no kernel is found for it (-19)
    // before its record is checked (-1); either way nothing is touched.
    Image dst(Format{MVTYPE_U8, 8, 1}, 8, 8);
    dst.randomize(1);
    const auto b = dst.raw();
    mvimage none;
    mvimage_defnull(&none);
    EXPECT_LT(mvip8_pixneg(nullptr, &none, dst.rec()), 0);
    EXPECT_LT(mvip8_pixiemax(nullptr, &none, dst.rec()), 0);
    EXPECT_TRUE(dst.raw_is(b));
}

// ---- in place, through shared memory, and without copies ------------------

// Counts the run transfers of records whose ioset we wrap.
struct Traffic {
    mvslot_set ioset = nullptr;
    mvslot_io read = nullptr, write = nullptr;
    int refusals = 0;        // ioset answers refused before passing on
    int32_t refusal = MVERR_DATATYPE;
    int iosets = 0;
    uint64_t reads = 0, writes = 0;
};
std::map<const mvimage*, Traffic>& traffic() {
    static std::map<const mvimage*, Traffic> t;
    return t;
}
uint32_t counted_read(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
    Traffic& t = traffic()[im];
    ++t.reads;
    return t.read(im, f, b, n, x, y);
}
uint32_t counted_write(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
    Traffic& t = traffic()[im];
    ++t.writes;
    return t.write(im, f, b, n, x, y);
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
// Wraps a record's ioset; `refusals` first calls (-1: all) are refused.
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

struct Target {
    const char* name;
    enum Kind { separate, bottom_up, same_record, second_record, shifted_record } kind;
};

TEST(FrameInPlace, SharedMemoryIsWorkedWithoutCopiesAndMatchesSeparate) {
    const std::vector<std::pair<std::string, std::pair<Format, OpFn>>> ops = {
        {"pixneg u8x3", {Format{MVTYPE_U8, 8, 3}, [](mvabort*, mvimage* s, mvimage* t) { return mvip8_pixneg(nullptr, s, t); }}},
        {"pixadd u16/12", {Format{MVTYPE_U16, 12, 1},
                           [](mvabort*, mvimage* s, mvimage* t) { return mvip8_pixadd(nullptr, s, t, 300, 2); }}},
        {"pixiemax floatx3",
         {Format{MVTYPE_FLOAT, 0, 3}, [](mvabort*, mvimage* s, mvimage* t) { return mvip8_pixiemax(nullptr, s, t); }}},
        {"mvipf_pixscale double",
         {Format{MVTYPE_DOUBLE, 0, 1}, [](mvabort*, mvimage* s, mvimage* t) { return mvipf_pixscale(nullptr, s, t, 0.75); }}},
        {"pixmap u8", {Format{MVTYPE_U8, 8, 1},
                       [](mvabort*, mvimage* s, mvimage* t) { return mvip8_pixmap(nullptr, s, t, table8().data(), 256); }}},
    };
    const Target targets[] = {{"separate", Target::separate},
                              {"separate bottom-up", Target::bottom_up},
                              {"same record", Target::same_record},
                              {"second record over the same memory", Target::second_record},
                              {"second record over the same memory, window one pixel right",
                               Target::shifted_record}};
    for (const auto& [name, fo] : ops) {
        const auto& [fmt, call] = fo;
        for (bool large : {false, true}) {
            std::vector<double> first;  // the window's values from the first target
            for (const Target& target : targets) {
                SCOPED_TRACE(name + (large ? ", large, " : ", small, ") + target.name);
                const uint32_t w = large ? 140 : 30, h = large ? 76 : 26;
                Image src(fmt, w, h);
                src.randomize(7);
                src.window(2, 3, int32_t(w) - 4, int32_t(h) - 1);
                std::unique_ptr<Image> other;
                mvimage second{};
                mvimage* dst = src.rec();
                if (target.kind == Target::separate || target.kind == Target::bottom_up) {
                    other = std::make_unique<Image>(fmt, w, h, 2, target.kind == Target::bottom_up);
                    other->window(2, 3, int32_t(w) - 4, int32_t(h) - 1);
                    dst = other->rec();
                } else if (target.kind != Target::same_record) {
                    const int32_t dx = target.kind == Target::shifted_record ? 1 : 0;
                    src.init(&second);
                    ASSERT_EQ(mvimage_setwind(&second, 2 + dx, 3, int32_t(w) - 4 + dx, int32_t(h) - 1), 0);
                    dst = &second;
                }
                Traffic& ts = watch(src.rec());
                Traffic& td = watch(dst);
                ASSERT_EQ(call(nullptr, src.rec(), dst), 0);
                if (target.kind == Target::same_record || target.kind == Target::second_record) {
                    // The kernel ran on the image memory itself.
                    EXPECT_EQ(ts.reads + td.reads, 0u);
                    EXPECT_EQ(ts.writes + td.writes, 0u);
                }
                // The shifted window overlaps its source within each line:
                // every line is taken whole before its result is stored.
                Image& out = other ? *other : src;
                const uint32_t x0 = target.kind == Target::shifted_record ? 3 : 2;
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
        const std::vector<double> before = im.values();
        ASSERT_EQ(mvip8_pixneg(nullptr, im.rec(), im.rec()), 0);
        size_t bad = 0;
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                const double v = im.value_in(before, x, y, 0);
                const bool inside = x >= 1 && x < w - 1 && y >= 2 && y < h - 1;
                const double want = inside ? double(1023 - (uint32_t(v) & 1023)) : v;
                if (im.get(x, y, 0) != want && bad++ == 0)
                    ADD_FAILURE() << "(" << x << ", " << y << "): from " << v << " got " << im.get(x, y, 0)
                                  << ", want " << want;
            }
        EXPECT_EQ(bad, 0u);
    }
}

// ---- images that refuse their own type -----------------------------------

TEST(FrameConverter, RefusingImageIsOpenedThroughATypeConverter) {
    // The image refuses the frame's first request; the frame then opens it
    // through a type converter view, whose request reaches the image again
    // and is served.  The result is the same as on a plain image.
    for (bool refuse_source : {true, false}) {
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
    }
}

TEST(FrameConverter, ImageRefusingEveryRequestPassesItsCodeOn) {
    for (bool refuse_source : {true, false}) {
        SCOPED_TRACE(refuse_source ? "source" : "destination");
        Pair p(Format{MVTYPE_U8, 8, 1}, false, 6);
        const auto a = p.src.raw(), b = p.dst.raw();
        watch(refuse_source ? p.src.rec() : p.dst.rec(), -1, MVERR_UNSUPPORTED);
        EXPECT_EQ(mvip8_pixneg(nullptr, p.src.rec(), p.dst.rec()), MVERR_UNSUPPORTED);
        EXPECT_EQ(mvip8_pixset(nullptr, refuse_source ? p.src.rec() : p.dst.rec(), 3), MVERR_UNSUPPORTED);
        EXPECT_TRUE(p.src.raw_is(a));
        EXPECT_TRUE(p.dst.raw_is(b));
        traffic().clear();
    }
}

}  // namespace
