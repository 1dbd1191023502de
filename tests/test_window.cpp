// Null images, windows and run lengths: xwind's codes, the state after a
// rejected window, mvimage_setwind, the run-length table and aeiou.
#include "test_util.hpp"

#include <cstddef>

namespace {

using mvtest::expect_noop_slots;
using mvtest::kind_is;
using mvtest::wind_is;

// A 7 x 5 unsigned 8-bit grey image over a local buffer.
struct SmallImage {
    uint8_t pixels[35];
    mvimage im;
    SmallImage() {
        for (int i = 0; i < 35; ++i) pixels[i] = (uint8_t)(i + 1);
        const uint32_t dims[2] = {7, 5};
        EXPECT_EQ(mvimage_memory(&im, pixels, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    }
};

// Every byte of a record before its slots is zero, except the kind tag.
template <class Record>
bool cleared_but_kind(const Record& im) {
    const auto* b = reinterpret_cast<const unsigned char*>(&im);
    for (size_t i = 0; i < offsetof(Record, ioread); ++i)
        if (b[i] != 0 && (i < offsetof(Record, kind) || i >= offsetof(Record, kind) + 8)) return false;
    return true;
}

// ---- null images -----------------------------------------------------------

TEST(NullImage, DefnullClearsAndTags) {
    mvimage im;
    std::memset(&im, 0xA5, sizeof im);
    mvimage_defnull(&im);
    EXPECT_TRUE(kind_is(im.kind, "NULL2"));
    EXPECT_TRUE(cleared_but_kind(im));
    expect_noop_slots(im);
    mvimage_defnull(nullptr);  // ignored
    mvimage3 im3;
    std::memset(&im3, 0xA5, sizeof im3);
    mvimage3_defnull(&im3);
    EXPECT_TRUE(kind_is(im3.kind, "NULL3"));
    EXPECT_TRUE(cleared_but_kind(im3));
    expect_noop_slots(im3);
    EXPECT_EQ(im3.aeiou(&im3, 'B', 0, 0), 357913941u);
    EXPECT_EQ(im3.aeiou(&im3, 'I', 0, 0), 4294967295u);
    EXPECT_EQ(im3.aeiou(&im3, 'b', 0, 0), 0u);
    mvimage3_defnull(nullptr);
}

TEST(NullImage, DefnopGivesShape) {
    mvimage im;
    std::memset(&im, 0x3C, sizeof im);
    const uint32_t dims[2] = {640, 480};
    const mvpixfmt fmt{MVTYPE_U16, 3, MVCS_RGB, 12, 0x200, 0x04000400u, 0x800};
    const mvgeometry geom{1.5f, 2.5f, 3.5f, MVUNITS_INCH, MVUNITS_METER, MVUNITS_SECOND, 0};
    ASSERT_EQ(mvimage_defnop(&im, dims, &fmt, &geom), 0);
    EXPECT_TRUE(kind_is(im.kind, "NULL2") && wind_is(im, 0, 0, 640, 480));
    EXPECT_TRUE(im.imdim.nw.x == 0 && im.imdim.nw.y == 0 && im.imdim.se.x == 640 && im.imdim.se.y == 480);
    EXPECT_EQ(std::memcmp(&im.pixfmt, &fmt, sizeof fmt), 0);
    EXPECT_TRUE(im.pixiesize == 2 && im.pixelsize == 6 && im.typeclass == 1);
    EXPECT_TRUE(im.xwidth == 1.5f && im.ywidth == 2.5f && im.zwidth == 3.5f);
    EXPECT_TRUE(im.xunits == MVUNITS_INCH && im.yunits == MVUNITS_METER && im.zunits == MVUNITS_SECOND);
    EXPECT_EQ((void*)im.priv, nullptr);
    // Still a null image: no pixels, no transfers, null image answers.
    expect_noop_slots(im);
    EXPECT_EQ(im.aeiou(&im, 'I', 0, 0), 4294967295u);
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 0u);
    // Every part optional.
    std::memset(&im, 0x3C, sizeof im);
    ASSERT_EQ(mvimage_defnop(&im, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(kind_is(im.kind, "NULL2") && cleared_but_kind(im));
    EXPECT_EQ(mvimage_defnop(nullptr, dims, &fmt, &geom), -1);
}

// ---- xwind -----------------------------------------------------------------

TEST(Window, InquireCodes) {
    // A memory image and a null image of the same shape answer alike.
    SmallImage s;
    mvimage nop;
    const uint32_t dims[2] = {7, 5};
    ASSERT_EQ(mvimage_defnop(&nop, dims, nullptr, nullptr), 0);
    for (mvimage* im : {&s.im, &nop}) {
        // 'w' and 'i' copy exactly the four 2-D words.
        struct {
            mvywindow w;
            int32_t guard[2];
        } out;
        for (const auto& [code, answer] : {std::pair<int32_t, mvywindow*>{'w', &im->wind}, {'i', &im->imdim}}) {
            out.w = mvywindow{{-1, -1}, {-1, -1}};
            out.guard[0] = out.guard[1] = 0x55AA55AA;
            EXPECT_EQ(im->xwind(im, &out.w, code), answer);
            EXPECT_TRUE(out.w.nw.x == 0 && out.w.nw.y == 0 && out.w.se.x == 7 && out.w.se.y == 5) << char(code);
            EXPECT_TRUE(out.guard[0] == 0x55AA55AA && out.guard[1] == 0x55AA55AA);
            EXPECT_EQ(im->xwind(im, nullptr, code), answer);
        }
        // Other codes: null, nothing changed.
        mvywindow req{{1, 1}, {2, 2}};
        for (int32_t code : std::initializer_list<int32_t>{0, 'S', 'W', 'I', 'x', 'z', -1, 115 + 256}) {
            EXPECT_EQ(im->xwind(im, &req, code), nullptr) << code;
            EXPECT_TRUE(wind_is(*im, 0, 0, 7, 5));
        }
    }
    // A null image's 's' changes nothing and answers the record's window.
    mvywindow req{{1, 2}, {3, 4}};
    EXPECT_EQ(nop.xwind(&nop, &req, 's'), &nop.wind);
    EXPECT_EQ(nop.xwind(&nop, nullptr, 's'), &nop.wind);
    EXPECT_TRUE(wind_is(nop, 0, 0, 7, 5));
    mvimage3 im3;
    mvimage3_defnull(&im3);
    mvyzwindow req3{{1, 1, 1}, {2, 2, 2}};
    EXPECT_EQ(im3.xwind(&im3, &req3, 's'), &im3.wind);
    EXPECT_EQ(im3.wind.se.x, 0);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'w'), &im3.wind);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'i'), &im3.imdim);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'q'), nullptr);
}

// Windows set through xwind 's' (the request taken as given) and through
// mvimage_setwind (negative se coordinates take the image's dimensions).
TEST(Window, SetTable) {
    struct Case {
        bool setwind;
        mvywindow w, after;  // after: the window set (ok) or {} (refused)
    };
    const mvywindow none{{0, 0}, {0, 0}};
    const Case cases[] = {
        {false, {{0, 0}, {7, 5}}, {{0, 0}, {7, 5}}},  {false, {{1, 2}, {6, 4}}, {{1, 2}, {6, 4}}},
        {false, {{6, 4}, {7, 5}}, {{6, 4}, {7, 5}}},  {false, {{3, 2}, {3, 4}}, {{3, 2}, {3, 4}}},  // empty ones:
        {false, {{0, 5}, {7, 5}}, {{0, 5}, {7, 5}}},  {false, {{7, 5}, {7, 5}}, {{7, 5}, {7, 5}}},
        {false, {{0, 0}, {0, 0}}, {{0, 0}, {0, 0}}},  {false, {{-1, 0}, {7, 5}}, none}, {false, {{0, -1}, {7, 5}}, none},
        {false, {{0, 0}, {8, 5}}, none},  {false, {{0, 0}, {7, 6}}, none},  {false, {{3, 0}, {2, 5}}, none},
        {false, {{0, 3}, {7, 2}}, none},  {false, {{8, 0}, {8, 5}}, none},  {false, {{-5, -5}, {-1, -1}}, none},
        {false, {{0, 0}, {INT32_MAX, 5}}, none}, {false, {{INT32_MIN, 0}, {1, 1}}, none},
        {true, {{0, 0}, {-1, -1}}, {{0, 0}, {7, 5}}}, {true, {{2, 1}, {-1, -7}}, {{2, 1}, {7, 5}}},
        {true, {{2, 1}, {4, -1}}, {{2, 1}, {4, 5}}},  {true, {{2, 1}, {INT32_MIN, 3}}, {{2, 1}, {7, 3}}},
        {true, {{1, 1}, {6, 4}}, {{1, 1}, {6, 4}}},   {true, {{3, 3}, {3, 3}}, {{3, 3}, {3, 3}}},
        {true, {{0, 0}, {8, 5}}, none}, {true, {{0, 0}, {7, 6}}, none},
        {true, {{-1, 0}, {-1, -1}}, none},  // nw stored as given, then rejected
        {true, {{0, -2}, {3, 3}}, none}, {true, {{4, 0}, {3, -1}}, none},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.setwind ? "setwind " : "xwind ") << c.w.nw.x << "," << c.w.nw.y << " - "
                                        << c.w.se.x << "," << c.w.se.y);
        SmallImage s;
        mvimage& im = s.im;
        mvywindow req = c.w;
        // Refused requests leave the empty window at the origin, which is
        // also the one valid request of that outcome.
        const bool ok = std::memcmp(&c.after, &none, sizeof none) != 0 || std::memcmp(&c.w, &none, sizeof none) == 0;
        if (c.setwind) {
            EXPECT_EQ(mvimage_setwind(&im, c.w.nw.x, c.w.nw.y, c.w.se.x, c.w.se.y), ok ? 0 : -1);
        } else {
            EXPECT_EQ(im.xwind(&im, &req, 's'), ok ? &im.wind : nullptr);
        }
        EXPECT_TRUE(wind_is(im, c.after.nw.x, c.after.nw.y, c.after.se.x, c.after.se.y));
        if (ok) {
            EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
            continue;
        }
        expect_noop_slots(im);
        // The image stays usable: aeiou still answers, a valid window
        // brings the transfers back.
        EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 513u);
        EXPECT_EQ(im.xwind(&im, nullptr, 's'), &im.wind);
        EXPECT_TRUE(wind_is(im, 0, 0, 7, 5));
        ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
        uint8_t line[7] = {};
        EXPECT_EQ(im.ioread(&im, 0, line, 7, 0, 1), 7u);
        EXPECT_TRUE(line[0] == 8 && line[6] == 14);
    }
    // The image's own dimensions are checked too.
    for (int bad = 0; bad < 2; ++bad) {
        SmallImage t;
        (bad ? t.im.imdim.se.y : t.im.imdim.nw.x) = -1;
        mvywindow req{{0, 0}, {0, 0}};
        EXPECT_EQ(t.im.xwind(&t.im, &req, 's'), nullptr);
        EXPECT_TRUE(wind_is(t.im, 0, 0, 0, 0));
        expect_noop_slots(t.im);
    }
    EXPECT_EQ(mvimage_setwind(nullptr, 0, 0, -1, -1), -1);
    EXPECT_EQ(mvimage3_setwind(nullptr, 0, 0, 0, -1, -1, -1), -1);
}

TEST(Window, SetEndsTheCurrentAccess) {
    SmallImage s;
    mvimage& im = s.im;
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
    uint8_t line[7] = {};
    ASSERT_EQ(im.ioread(&im, 0, line, 7, 0, 0), 7u);
    ASSERT_GT(im.imapset(&im, 0, MVTYPE_U8, 1), 0);
    mvmapdesc d{};
    ASSERT_EQ(im.imap(&im, &d, 0, 0), 1);
    // A window set returns the slots to their idle state.
    ASSERT_EQ(im.xwind(&im, nullptr, 's'), &im.wind);
    EXPECT_EQ(im.ioread(&im, 0, line, 7, 0, 0), 0u);
    EXPECT_EQ(im.iorite(&im, 0, line, 7, 0, 0), 0u);
    EXPECT_EQ(im.iolen(&im, 7, 0, 0), 0u);
    d.runs = 9;
    EXPECT_EQ(im.imap(&im, &d, 0, 0), 0);
    EXPECT_EQ(d.runs, 0u);
    EXPECT_EQ(im.iowait(&im), 1);
    EXPECT_EQ(im.bxtw(&im), 1);
    mvbxtentry e{0, 0, 0};
    line[0] = 99;
    EXPECT_EQ(im.bxta(&im, -1, line, &e, 1, 3), 0u);
    EXPECT_EQ(s.pixels[0], 1);
    // The set-up slots are live.
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
    EXPECT_GT(im.imapset(&im, 0, MVTYPE_U8, 1), 0);
}

TEST(Window, SetwindOnNullImages) {
    // The request is stored in the record and a null image's 's' leaves it,
    // so the record holds what was asked and the answer is 0.
    mvimage im;
    const uint32_t dims[2] = {10, 20};
    ASSERT_EQ(mvimage_defnop(&im, dims, nullptr, nullptr), 0);
    EXPECT_EQ(mvimage_setwind(&im, 0, 0, -1, -1), 0);
    EXPECT_TRUE(wind_is(im, 0, 0, 10, 20));
    EXPECT_EQ(mvimage_setwind(&im, 1, 2, 5, -1), 0);
    EXPECT_TRUE(wind_is(im, 1, 2, 5, 20));
    expect_noop_slots(im);
    mvimage3 im3;
    mvimage3_defnull(&im3);
    auto wind3_is = [&](std::initializer_list<int32_t> w) {
        const int32_t got[6] = {im3.wind.nw.x, im3.wind.nw.y, im3.wind.nw.z, im3.wind.se.x, im3.wind.se.y, im3.wind.se.z};
        return std::equal(w.begin(), w.end(), got);
    };
    EXPECT_EQ(mvimage3_setwind(&im3, 0, 0, 0, -1, -1, -1), 0);
    EXPECT_TRUE(wind3_is({0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(mvimage3_setwind(&im3, 1, 2, 3, 4, 5, 6), 0);
    EXPECT_TRUE(wind3_is({1, 2, 3, 4, 5, 6}));
    expect_noop_slots(im3);
    // Negative se coordinates take the record's dimensions, axis by axis.
    im3.imdim.se = mvpoint3{4, 5, 6};
    EXPECT_EQ(mvimage3_setwind(&im3, 1, 2, 3, -1, 3, -9), 0);
    EXPECT_TRUE(wind3_is({1, 2, 3, 4, 3, 6}));
    EXPECT_EQ(mvimage3_setwind(&im3, 0, 0, 0, 2, -1, INT32_MIN), 0);
    EXPECT_TRUE(wind3_is({0, 0, 0, 2, 5, 6}));
}

// ---- run lengths ----------------------------------------------------------------

// (Run lengths on every scan mode are held to the model in the memory
// image's tests.)
TEST(Window, RunLengthsWrapModulo2To32) {
    mvimage im;
    // A 70000 x 70000 image holds 4.9e9 pixels; the continuing run length of
    // the whole window wraps modulo 2^32.  Only lengths are asked for, so
    // the tiny buffer behind the record is never touched.
    uint8_t tiny[1] = {};
    const uint32_t dims[2] = {70000, 70000};
    ASSERT_EQ(mvimage_memory(&im, tiny, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    for (const auto& [mode, x, y, want] :
         {std::tuple<uint32_t, int32_t, int32_t, uint32_t>{0x40, 0, 0, uint32_t(70000ull * 70000ull)},
          {0x42, 0, 0, uint32_t(70000ull * 70000ull)},
          {0x00, 5, 3, 69995}}) {
        ASSERT_EQ(im.ioset(&im, mode, MVTYPE_U8, 1), 1);
        EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, x, y), want) << mode;
    }
}

// ---- aeiou -------------------------------------------------------------------

TEST(Aeiou, MemoryAndNullAnswers) {
    struct Case {
        uint32_t type, pixies, inquiry, want_I, want_b;
    };
    const Case cases[] = {
        {MVTYPE_U8, 3, 0, 1431655765u, 513},    {MVTYPE_U8, 1, 0, 4294967295u, 513},
        {MVTYPE_U16, 1, 7, 2147483647u, 8},     {MVTYPE_U32, 3, 1, 357913941u, 2},
        {MVTYPE_I32, 2, 100, 536870911u, 101},  {MVTYPE_FLOAT, 4, 0, 268435455u, 513},
        {MVTYPE_DOUBLE, 32, 0, 16777215u, 513}, {MVTYPE_U8, 5, 0xFFFFu, 858993459u, 0x10000u},
    };
    std::vector<uint8_t> pixels(8 * 32 * 4 * 4);
    const uint32_t dims[2] = {4, 4};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " pixies " << c.pixies);
        mvimage im;
        ASSERT_EQ(mvimage_memory(&im, pixels.data(), dims, 0, c.type, 0, c.pixies, 0, c.inquiry), 0);
        EXPECT_EQ(im.aeiou(&im, 'B', 0, 0), 357913941u);
        EXPECT_EQ(im.aeiou(&im, 'I', 0, 0), c.want_I);
        for (uint32_t code : {'b', 'i', 'm'}) EXPECT_EQ(im.aeiou(&im, code, 0, 0), c.want_b) << char(code);
        for (uint32_t other : {0u, 1u, uint32_t('a'), uint32_t('A'), uint32_t('M'), uint32_t('e'), uint32_t('o'),
                               uint32_t('u'), 255u, 0x142u})
            EXPECT_EQ(im.aeiou(&im, other, 0, 0), 0u) << other;
    }
    mvimage nul;
    mvimage_defnull(&nul);
    EXPECT_EQ(nul.aeiou(&nul, 'B', 0, 0), 357913941u);
    EXPECT_EQ(nul.aeiou(&nul, 'I', 0, 0), 4294967295u);
    for (uint32_t code : {uint32_t('b'), uint32_t('i'), uint32_t('m'), uint32_t('a'), 0u, uint32_t('X')})
        EXPECT_EQ(nul.aeiou(&nul, code, 0, 0), 0u) << code;
}

}  // namespace
