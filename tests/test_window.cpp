// Null images, windows and run lengths: xwind's codes, the state after a
// rejected window, mvimage_setwind, the run-length table and aeiou.
#include "mvip.h"
#include "test_util.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <vector>

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

// ---- null images -----------------------------------------------------------

TEST(NullImage, DefnullClearsAndTags) {
    mvimage im;
    std::memset(&im, 0xA5, sizeof im);
    mvimage_defnull(&im);
    EXPECT_TRUE(kind_is(im.kind, "NULL2"));
    EXPECT_TRUE(wind_is(im, 0, 0, 0, 0));
    EXPECT_EQ(im.imdim.se.x, 0);
    EXPECT_EQ(im.imdim.se.y, 0);
    EXPECT_EQ(im.imdim_reserved[0], 0);
    EXPECT_EQ(im.imdim_reserved[1], 0);
    EXPECT_EQ((void*)im.priv, nullptr);
    for (uint32_t w : im.state) ASSERT_EQ(w, 0u);
    EXPECT_EQ(im.pixfmt.datatype, 0u);
    EXPECT_EQ(im.pixfmt.pixies, 0u);
    EXPECT_EQ(im.pixfmt.valform, 0u);
    EXPECT_EQ(im.pixiesize, 0u);
    EXPECT_EQ(im.pixelsize, 0u);
    EXPECT_EQ(im.typeclass, 0u);
    EXPECT_EQ(im.xwidth, 0.0f);
    EXPECT_EQ(im.ywidth, 0.0f);
    EXPECT_EQ(im.zwidth, 0.0f);
    EXPECT_EQ(im.xunits, 0);
    EXPECT_EQ(im.yunits, 0);
    EXPECT_EQ(im.zunits, 0);
    expect_noop_slots(im);
    mvimage_defnull(nullptr);  // ignored
}

TEST(NullImage, Defnull3ClearsAndTags) {
    mvimage3 im;
    std::memset(&im, 0xA5, sizeof im);
    mvimage3_defnull(&im);
    EXPECT_TRUE(kind_is(im.kind, "NULL3"));
    EXPECT_EQ(im.wind.nw.x, 0);
    EXPECT_EQ(im.wind.se.z, 0);
    EXPECT_EQ(im.imdim.se.x, 0);
    EXPECT_EQ(im.imdim.se.z, 0);
    EXPECT_EQ((void*)im.priv, nullptr);
    for (uint32_t w : im.state) ASSERT_EQ(w, 0u);
    EXPECT_EQ(im.pixelsize, 0u);
    expect_noop_slots(im);
    EXPECT_EQ(im.aeiou(&im, 'B', nullptr), 357913941u);
    EXPECT_EQ(im.aeiou(&im, 'I', nullptr), 4294967295u);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 0u);
    mvimage3_defnull(nullptr);
}

TEST(NullImage, XwindOnNullImage) {
    mvimage im;
    const uint32_t dims[2] = {10, 20};
    ASSERT_EQ(mvimage_defnop(&im, dims, nullptr, nullptr), 0);
    ASSERT_TRUE(wind_is(im, 0, 0, 10, 20));

    // 's' changes nothing and answers the record's window.
    mvywindow req{{1, 2}, {3, 4}};
    EXPECT_EQ(im.xwind(&im, &req, 's'), &im.wind);
    EXPECT_TRUE(wind_is(im, 0, 0, 10, 20));
    EXPECT_EQ(im.xwind(&im, nullptr, 's'), &im.wind);
    EXPECT_TRUE(wind_is(im, 0, 0, 10, 20));

    mvywindow got{{-9, -9}, {-9, -9}};
    EXPECT_EQ(im.xwind(&im, &got, 'w'), &im.wind);
    EXPECT_EQ(got.se.x, 10);
    EXPECT_EQ(got.se.y, 20);
    got = mvywindow{{-9, -9}, {-9, -9}};
    EXPECT_EQ(im.xwind(&im, &got, 'i'), &im.imdim);
    EXPECT_EQ(got.nw.x, 0);
    EXPECT_EQ(got.se.y, 20);
    EXPECT_EQ(im.xwind(&im, nullptr, 'x'), nullptr);

    // Three-dimensional null image.
    mvimage3 im3;
    mvimage3_defnull(&im3);
    mvyzwindow req3{{1, 1, 1}, {2, 2, 2}};
    EXPECT_EQ(im3.xwind(&im3, &req3, 's'), &im3.wind);
    EXPECT_EQ(im3.wind.se.x, 0);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'w'), &im3.wind);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'i'), &im3.imdim);
    EXPECT_EQ(im3.xwind(&im3, nullptr, 'q'), nullptr);
}

TEST(NullImage, DefnopGivesShape) {
    mvimage im;
    std::memset(&im, 0x3C, sizeof im);
    const uint32_t dims[2] = {640, 480};
    const mvpixfmt fmt{MVTYPE_U16, 3, MVCS_RGB, 12, 0x200, 0x04000400u, 0x800};
    const mvgeometry geom{1.5f, 2.5f, 3.5f, MVUNITS_INCH, MVUNITS_METER, MVUNITS_SECOND, 0};
    ASSERT_EQ(mvimage_defnop(&im, dims, &fmt, &geom), 0);
    EXPECT_TRUE(kind_is(im.kind, "NULL2"));
    EXPECT_TRUE(wind_is(im, 0, 0, 640, 480));
    EXPECT_EQ(im.imdim.nw.x, 0);
    EXPECT_EQ(im.imdim.nw.y, 0);
    EXPECT_EQ(im.imdim.se.x, 640);
    EXPECT_EQ(im.imdim.se.y, 480);
    EXPECT_EQ(std::memcmp(&im.pixfmt, &fmt, sizeof fmt), 0);
    EXPECT_EQ(im.pixiesize, 2u);
    EXPECT_EQ(im.pixelsize, 6u);
    EXPECT_EQ(im.typeclass, 1u);
    EXPECT_EQ(im.xwidth, 1.5f);
    EXPECT_EQ(im.ywidth, 2.5f);
    EXPECT_EQ(im.zwidth, 3.5f);
    EXPECT_EQ(im.xunits, MVUNITS_INCH);
    EXPECT_EQ(im.yunits, MVUNITS_METER);
    EXPECT_EQ(im.zunits, MVUNITS_SECOND);
    EXPECT_EQ((void*)im.priv, nullptr);
    // Still a null image: no pixels, no transfers, null image answers.
    expect_noop_slots(im);
    EXPECT_EQ(im.aeiou(&im, 'I', nullptr), 4294967295u);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 0u);

    // Every part optional.
    mvimage bare;
    std::memset(&bare, 0x3C, sizeof bare);
    ASSERT_EQ(mvimage_defnop(&bare, nullptr, nullptr, nullptr), 0);
    EXPECT_TRUE(kind_is(bare.kind, "NULL2"));
    EXPECT_TRUE(wind_is(bare, 0, 0, 0, 0));
    EXPECT_EQ(bare.pixelsize, 0u);
    EXPECT_EQ(bare.xwidth, 0.0f);

    EXPECT_EQ(mvimage_defnop(nullptr, dims, &fmt, &geom), -1);
}

TEST(NullImage, NoOpSlotResults) {
    mvimage im;
    mvimage_defnull(&im);
    expect_noop_slots(im);
    // The answers do not depend on the arguments.
    uint32_t buf[8] = {};
    EXPECT_EQ(im.ioread(&im, 0x1000, buf, 0xFFFFFFFFu, -3, 7), 0u);
    EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, 0, 0), 0u);
    EXPECT_EQ(im.ioset(&im, 2, MVTYPE_FLOAT, 0), 0);
    EXPECT_EQ(im.imapset(&im, 0x402, MVTYPE_U16, 1), MVERR_UNSUPPORTED);
}

// ---- xwind -----------------------------------------------------------------

TEST(Window, InquireCodes) {
    SmallImage s;
    mvimage& im = s.im;
    ASSERT_TRUE(wind_is(im, 0, 0, 7, 5));

    // 'w' copies exactly the four 2-D words.
    struct {
        mvywindow w;
        int32_t guard[2];
    } out;
    out.w = mvywindow{{-1, -1}, {-1, -1}};
    out.guard[0] = out.guard[1] = 0x55AA55AA;
    EXPECT_EQ(im.xwind(&im, &out.w, 'w'), &im.wind);
    EXPECT_EQ(out.w.nw.x, 0);
    EXPECT_EQ(out.w.se.x, 7);
    EXPECT_EQ(out.w.se.y, 5);
    EXPECT_EQ(out.guard[0], 0x55AA55AA);
    EXPECT_EQ(out.guard[1], 0x55AA55AA);
    EXPECT_EQ(im.xwind(&im, nullptr, 'w'), &im.wind);

    out.w = mvywindow{{-1, -1}, {-1, -1}};
    EXPECT_EQ(im.xwind(&im, &out.w, 'i'), &im.imdim);
    EXPECT_EQ(out.w.nw.x, 0);
    EXPECT_EQ(out.w.nw.y, 0);
    EXPECT_EQ(out.w.se.x, 7);
    EXPECT_EQ(out.w.se.y, 5);
    EXPECT_EQ(out.guard[0], 0x55AA55AA);
    EXPECT_EQ(im.xwind(&im, nullptr, 'i'), &im.imdim);

    // Other codes: null, nothing changed.
    mvywindow req{{1, 1}, {2, 2}};
    for (int32_t code : std::initializer_list<int32_t>{0, 'S', 'W', 'I', 'x', 'z', -1, 115 + 256}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(im.xwind(&im, &req, code), nullptr);
        EXPECT_TRUE(wind_is(im, 0, 0, 7, 5));
    }
}

TEST(Window, SetTable) {
    struct Case {
        mvywindow w;
        bool ok;
    };
    const Case cases[] = {
        {{{0, 0}, {7, 5}}, true},  {{{1, 2}, {6, 4}}, true},   {{{6, 4}, {7, 5}}, true},
        {{{3, 2}, {3, 4}}, true},  // empty in x
        {{{0, 5}, {7, 5}}, true},  // empty in y, at the bottom edge
        {{{7, 5}, {7, 5}}, true},  // empty at the far corner
        {{{0, 0}, {0, 0}}, true},  {{{-1, 0}, {7, 5}}, false}, {{{0, -1}, {7, 5}}, false},
        {{{0, 0}, {8, 5}}, false}, {{{0, 0}, {7, 6}}, false},  {{{3, 0}, {2, 5}}, false},
        {{{0, 3}, {7, 2}}, false}, {{{8, 0}, {8, 5}}, false},  {{{-5, -5}, {-1, -1}}, false},
        {{{0, 0}, {INT32_MAX, 5}}, false}, {{{INT32_MIN, 0}, {1, 1}}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w.nw.x << "," << c.w.nw.y << " - " << c.w.se.x << ","
                                        << c.w.se.y);
        SmallImage s;
        mvimage& im = s.im;
        mvywindow req = c.w;
        mvywindow* r = im.xwind(&im, &req, 's');
        if (c.ok) {
            EXPECT_EQ(r, &im.wind);
            EXPECT_TRUE(wind_is(im, c.w.nw.x, c.w.nw.y, c.w.se.x, c.w.se.y));
            EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
        } else {
            EXPECT_EQ(r, nullptr);
            EXPECT_TRUE(wind_is(im, 0, 0, 0, 0));
            expect_noop_slots(im);
            // The image stays usable: aeiou still answers, a valid window
            // brings the transfers back.
            EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 513u);
            EXPECT_EQ(im.xwind(&im, nullptr, 's'), &im.wind);
            EXPECT_TRUE(wind_is(im, 0, 0, 7, 5));
            ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
            uint8_t line[7] = {};
            EXPECT_EQ(im.ioread(&im, 0, line, 7, 0, 1), 7u);
            EXPECT_EQ(line[0], 8);
            EXPECT_EQ(line[6], 14);
        }
    }
}

TEST(Window, BadImageDimensionsRejectEveryWindow) {
    // The image's own dimensions are checked too.
    SmallImage s;
    mvimage& im = s.im;
    im.imdim.nw.x = -1;
    mvywindow req{{0, 0}, {1, 1}};
    EXPECT_EQ(im.xwind(&im, &req, 's'), nullptr);
    EXPECT_TRUE(wind_is(im, 0, 0, 0, 0));
    expect_noop_slots(im);

    SmallImage t;
    t.im.imdim.se.y = -1;  // se below nw
    req = mvywindow{{0, 0}, {0, 0}};
    EXPECT_EQ(t.im.xwind(&t.im, &req, 's'), nullptr);
    expect_noop_slots(t.im);
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

// ---- mvimage_setwind ---------------------------------------------------------

TEST(Window, SetwindTable) {
    struct Case {
        int32_t nx, ny, sx, sy;
        int32_t rc;
        mvywindow after;
    };
    const Case cases[] = {
        {0, 0, -1, -1, 0, {{0, 0}, {7, 5}}},
        {2, 1, -1, -7, 0, {{2, 1}, {7, 5}}},
        {2, 1, 4, -1, 0, {{2, 1}, {4, 5}}},
        {2, 1, INT32_MIN, 3, 0, {{2, 1}, {7, 3}}},
        {1, 1, 6, 4, 0, {{1, 1}, {6, 4}}},
        {3, 3, 3, 3, 0, {{3, 3}, {3, 3}}},
        {0, 0, 8, 5, -1, {{0, 0}, {0, 0}}},
        {0, 0, 7, 6, -1, {{0, 0}, {0, 0}}},
        {-1, 0, -1, -1, -1, {{0, 0}, {0, 0}}},  // nw stored as given, then rejected
        {0, -2, 3, 3, -1, {{0, 0}, {0, 0}}},
        {4, 0, 3, -1, -1, {{0, 0}, {0, 0}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.nx << "," << c.ny << " - " << c.sx << "," << c.sy);
        SmallImage s;
        mvimage& im = s.im;
        EXPECT_EQ(mvimage_setwind(&im, c.nx, c.ny, c.sx, c.sy), c.rc);
        EXPECT_TRUE(wind_is(im, c.after.nw.x, c.after.nw.y, c.after.se.x, c.after.se.y));
        if (c.rc == 0) {
            EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
        } else {
            expect_noop_slots(im);
        }
    }
    EXPECT_EQ(mvimage_setwind(nullptr, 0, 0, -1, -1), -1);
    EXPECT_EQ(mvimage3_setwind(nullptr, 0, 0, 0, -1, -1, -1), -1);
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
    EXPECT_EQ(mvimage3_setwind(&im3, 0, 0, 0, -1, -1, -1), 0);
    EXPECT_EQ(im3.wind.se.x, 0);
    EXPECT_EQ(im3.wind.se.y, 0);
    EXPECT_EQ(im3.wind.se.z, 0);
    EXPECT_EQ(mvimage3_setwind(&im3, 1, 2, 3, 4, 5, 6), 0);
    EXPECT_EQ(im3.wind.nw.x, 1);
    EXPECT_EQ(im3.wind.nw.y, 2);
    EXPECT_EQ(im3.wind.nw.z, 3);
    EXPECT_EQ(im3.wind.se.x, 4);
    EXPECT_EQ(im3.wind.se.y, 5);
    EXPECT_EQ(im3.wind.se.z, 6);
    expect_noop_slots(im3);

    // Negative se coordinates take the record's dimensions, axis by axis.
    im3.imdim.se = mvpoint3{4, 5, 6};
    EXPECT_EQ(mvimage3_setwind(&im3, 1, 2, 3, -1, 3, -9), 0);
    EXPECT_EQ(im3.wind.nw.x, 1);
    EXPECT_EQ(im3.wind.nw.z, 3);
    EXPECT_EQ(im3.wind.se.x, 4);
    EXPECT_EQ(im3.wind.se.y, 3);
    EXPECT_EQ(im3.wind.se.z, 6);
    EXPECT_EQ(mvimage3_setwind(&im3, 0, 0, 0, 2, -1, INT32_MIN), 0);
    EXPECT_EQ(im3.wind.se.x, 2);
    EXPECT_EQ(im3.wind.se.y, 5);
    EXPECT_EQ(im3.wind.se.z, 6);
}

// ---- run lengths ----------------------------------------------------------------

// Pixels one transfer can move from window-relative (x, y), unsigned 32-bit.
uint32_t available(uint32_t mode, uint32_t w, uint32_t h, int32_t x, int32_t y) {
    uint32_t ux = (uint32_t)x, uy = (uint32_t)y;
    if (!(mode & 0x2000u) && (ux >= w || uy >= h)) return 0;
    switch (mode & 0x42u) {
        case 0x00: return w - ux;
        case 0x02: return h - uy;
        case 0x40: return (h - uy - 1) * w + (w - ux);
        default: return (w - ux - 1) * h + (h - uy);
    }
}

TEST(Window, RunLengthTable) {
    // A fixed case per mode first, written out.
    {
        SmallImage s;
        mvimage& im = s.im;
        ASSERT_EQ(mvimage_setwind(&im, 1, 1, 6, 5), 0);  // w 5, h 4
        struct {
            uint32_t mode;
            int32_t x, y;
            uint32_t want;
        } fixed[] = {
            {0x00, 2, 1, 3},  {0x02, 2, 1, 3},  {0x40, 2, 1, 13}, {0x42, 2, 1, 11},
            {0x00, 0, 0, 5},  {0x02, 0, 0, 4},  {0x40, 0, 0, 20}, {0x42, 0, 0, 20},
            {0x00, 5, 0, 0},  {0x02, 0, 4, 0},  {0x40, 0, 4, 0},  {0x42, -1, 0, 0},
            {0x2000, 7, 0, 0xFFFFFFFEu}, {0x2002, 0, 6, 0xFFFFFFFEu},
            {0x2040, 5, 0, 15}, {0x2042, 0, 4, 16},
        };
        for (const auto& f : fixed) {
            SCOPED_TRACE(testing::Message() << "mode " << f.mode << " at " << f.x << "," << f.y);
            ASSERT_EQ(im.ioset(&im, f.mode, MVTYPE_U8 | MVREQ_LOW, 1), 1);
            EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, f.x, f.y), f.want);
        }
    }

    // Then random windows, starts and counts on every mode.
    std::mt19937 rng(20240611);
    const uint32_t modes[] = {0x00, 0x02, 0x40, 0x42, 0x2000, 0x2002, 0x2040, 0x2042};
    std::vector<uint8_t> pixels(40 * 30);
    const uint32_t dims[2] = {40, 30};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    for (int iter = 0; iter < 400; ++iter) {
        int32_t nx = (int32_t)(rng() % 41), ny = (int32_t)(rng() % 31);
        int32_t sx = nx + (int32_t)(rng() % (41 - nx)), sy = ny + (int32_t)(rng() % (31 - ny));
        ASSERT_EQ(mvimage_setwind(&im, nx, ny, sx, sy), 0);
        uint32_t w = (uint32_t)(sx - nx), h = (uint32_t)(sy - ny);
        for (uint32_t mode : modes) {
            ASSERT_EQ(im.ioset(&im, mode, MVTYPE_U8 | MVREQ_LOW, 1), 1);
            for (int k = 0; k < 6; ++k) {
                int32_t x = (int32_t)(rng() % (w + 6)) - 3;
                int32_t y = (int32_t)(rng() % (h + 6)) - 3;
                if (mode & 0x2000u) {
                    // Without the test the caller promises an inside start,
                    // but the formula is still defined for any start.
                    if (rng() % 2) {
                        x = w ? (int32_t)(rng() % w) : 0;
                        y = h ? (int32_t)(rng() % h) : 0;
                    }
                }
                uint32_t count;
                switch (rng() % 4) {
                    case 0: count = 0xFFFFFFFFu; break;
                    case 1: count = 0; break;
                    default: count = rng() % 300; break;
                }
                uint32_t avail = available(mode, w, h, x, y);
                uint32_t want = count < avail ? count : avail;
                SCOPED_TRACE(testing::Message() << "window " << nx << "," << ny << " " << w << "x" << h
                                                << " mode " << mode << " at " << x << "," << y
                                                << " count " << count);
                ASSERT_EQ(im.iolen(&im, count, x, y), want);
            }
        }
    }
}

TEST(Window, RunLengthsAreUnsigned32Bit) {
    // A 70000 x 70000 image holds 4.9e9 pixels; the continuing run length of
    // the whole window wraps modulo 2^32.  Only lengths are asked for, so
    // the tiny buffer behind the record is never touched.
    uint8_t tiny[1] = {};
    const uint32_t dims[2] = {70000, 70000};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, tiny, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    const uint32_t whole = (uint32_t)(70000ull * 70000ull);
    ASSERT_EQ(im.ioset(&im, 0x40, MVTYPE_U8, 1), 1);
    EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, 0, 0), whole);
    ASSERT_EQ(im.ioset(&im, 0x42, MVTYPE_U8, 1), 1);
    EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, 0, 0), whole);
    ASSERT_EQ(im.ioset(&im, 0x00, MVTYPE_U8, 1), 1);
    EXPECT_EQ(im.iolen(&im, 0xFFFFFFFFu, 5, 3), 69995u);
}

TEST(Window, EmptyWindowHasNoRuns) {
    SmallImage s;
    mvimage& im = s.im;
    for (auto w : {mvywindow{{3, 1}, {3, 4}}, mvywindow{{0, 2}, {7, 2}}}) {
        ASSERT_EQ(mvimage_setwind(&im, w.nw.x, w.nw.y, w.se.x, w.se.y), 0);
        for (uint32_t mode : {0x00u, 0x02u, 0x40u, 0x42u}) {
            ASSERT_EQ(im.ioset(&im, mode, MVTYPE_U8 | MVREQ_LOW, 1), 1);
            uint8_t buf[8] = {};
            for (int32_t y = 0; y < 4; ++y)
                for (int32_t x = 0; x < 8; ++x) {
                    EXPECT_EQ(im.iolen(&im, 100, x, y), 0u);
                    EXPECT_EQ(im.ioread(&im, 0, buf, 8, x, y), 0u);
                }
        }
    }
}

// ---- aeiou -------------------------------------------------------------------

TEST(Aeiou, MemoryAndNullAnswers) {
    struct Case {
        uint32_t type, pixies, inquiry;
        uint32_t want_I, want_b;
    };
    const Case cases[] = {
        {MVTYPE_U8, 3, 0, 1431655765u, 513},     {MVTYPE_U8, 1, 0, 4294967295u, 513},
        {MVTYPE_U16, 1, 7, 2147483647u, 8},      {MVTYPE_U32, 3, 1, 357913941u, 2},
        {MVTYPE_I32, 2, 100, 536870911u, 101},   {MVTYPE_FLOAT, 4, 0, 268435455u, 513},
        {MVTYPE_DOUBLE, 32, 0, 16777215u, 513},  {MVTYPE_U8, 5, 0xFFFFu, 858993459u, 0x10000u},
    };
    std::vector<uint8_t> pixels(8 * 32 * 4 * 4);
    const uint32_t dims[2] = {4, 4};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " pixies " << c.pixies);
        mvimage im;
        ASSERT_EQ(mvimage_memory(&im, pixels.data(), dims, 0, c.type, 0, c.pixies, 0, c.inquiry), 0);
        EXPECT_EQ(im.aeiou(&im, 'B', nullptr), 357913941u);
        EXPECT_EQ(im.aeiou(&im, 'I', nullptr), c.want_I);
        EXPECT_EQ(im.aeiou(&im, 'b', nullptr), c.want_b);
        EXPECT_EQ(im.aeiou(&im, 'i', nullptr), c.want_b);
        EXPECT_EQ(im.aeiou(&im, 'm', nullptr), c.want_b);
        for (uint32_t other : std::initializer_list<uint32_t>{0u, 1u, 'a', 'A', 'M', 'e', 'o', 'u', 255u, 0x142u}) {
            EXPECT_EQ(im.aeiou(&im, other, nullptr), 0u) << other;
        }
    }

    mvimage nul;
    mvimage_defnull(&nul);
    EXPECT_EQ(nul.aeiou(&nul, 'B', nullptr), 357913941u);
    EXPECT_EQ(nul.aeiou(&nul, 'I', nullptr), 4294967295u);
    for (uint32_t code : std::initializer_list<uint32_t>{'b', 'i', 'm', 'a', 0u, 'X'}) {
        EXPECT_EQ(nul.aeiou(&nul, code, nullptr), 0u) << code;
    }
}

}  // namespace
