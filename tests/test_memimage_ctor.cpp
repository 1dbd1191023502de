// Memory-image constructors and destructors, their failure codes, and the
// individual behaviours of the kind that are easiest to state by example.
#include "mvip.h"
#include "test_util.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using mvtest::expect_noop_slots;
using mvtest::kind_is;
using mvtest::wind_is;

// A record full of junk, so that a constructor's clearing shows.
mvimage junk_record() {
    mvimage im;
    std::memset(&im, 0xA7, sizeof im);
    return im;
}

void expect_null_image(mvimage& im) {
    EXPECT_TRUE(kind_is(im.kind, "NULL2"));
    EXPECT_TRUE(wind_is(im, 0, 0, 0, 0));
    EXPECT_EQ((void*)im.priv, nullptr);
    EXPECT_EQ(im.pixelsize, 0u);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 0u);
    expect_noop_slots(im);
}

// Byte offset at which window-relative pixel (x, y) lands, found by writing
// a marker there through the image.
long offset_written(mvimage& im, std::vector<uint8_t>& mem, int32_t x, int32_t y) {
    std::fill(mem.begin(), mem.end(), 0);
    if (im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1) != 1) return -2;
    uint8_t v = 0x5A;
    if (im.iorite(&im, 0, &v, 1, x, y) != 1) return -3;
    for (size_t i = 0; i < mem.size(); ++i)
        if (mem[i] == 0x5A) return (long)i;
    return -1;
}

// ---- mvimage_memory and friends ---------------------------------------------------

TEST(MemCtor, MemoryFillsTheRecord) {
    std::vector<uint8_t> mem(640 * 480 * 3);
    const uint32_t dims[2] = {640, 480};
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_BGR, 0), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ((void*)im.priv, mem.data());
    EXPECT_TRUE(wind_is(im, 0, 0, 640, 480));
    EXPECT_EQ(im.imdim.nw.x, 0);
    EXPECT_EQ(im.imdim.nw.y, 0);
    EXPECT_EQ(im.imdim.se.x, 640);
    EXPECT_EQ(im.imdim.se.y, 480);
    EXPECT_EQ(im.imdim_reserved[0], 0);
    EXPECT_EQ(im.imdim_reserved[1], 0);
    const mvpixfmt want{MVTYPE_U8, 3, MVCS_BGR, 8, 0x300, 0, 0};
    EXPECT_EQ(std::memcmp(&im.pixfmt, &want, sizeof want), 0);
    EXPECT_EQ(im.pixiesize, 1u);
    EXPECT_EQ(im.pixelsize, 3u);
    EXPECT_EQ(im.typeclass, 1u);
    EXPECT_EQ(im.xwidth, 0.0f);
    EXPECT_EQ(im.ywidth, 0.0f);
    EXPECT_EQ(im.zwidth, 0.0f);
    EXPECT_EQ(im.xunits, 0);
    EXPECT_EQ(im.yunits, 0);
    EXPECT_EQ(im.zunits, 0);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 513u);
    EXPECT_EQ(im.aeiou(&im, 'I', nullptr), 1431655765u);
    // Idle slots after construction.
    uint8_t buf[3];
    EXPECT_EQ(im.ioread(&im, 0, buf, 1, 0, 0), 0u);
    EXPECT_EQ(im.iowait(&im), 1);

    // Pitch 0 means lines back to back: 640 x 3 = 1920 bytes.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
    EXPECT_EQ(offset_written(im, mem, 0, 1), 1920);
    EXPECT_EQ(offset_written(im, mem, 5, 2), 2 * 1920 + 15);
    ASSERT_EQ(im.imapset(&im, 0x402, MVTYPE_U8, 7), MVMAP_GRANT);
    mvmapdesc d{};
    ASSERT_EQ(im.imap(&im, &d, 3, 0), 1);
    EXPECT_EQ((uint64_t)d.stride, 1920u);
    EXPECT_EQ((uint64_t)d.count, 480u);
    EXPECT_EQ((void*)d.address, mem.data() + 9);
}

TEST(MemCtor, PaddedAndNegativePitch) {
    // Padded lines.
    std::vector<uint8_t> mem(10 * 4);
    const uint32_t dims[2] = {7, 4};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 10, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(offset_written(im, mem, 0, 1), 10);
    EXPECT_EQ(offset_written(im, mem, 6, 3), 36);
    // Lines bottom-up: priv is line 0, the next line lies 10 bytes lower.
    ASSERT_EQ(mvimage_memory(&im, mem.data() + 30, dims, -10, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(offset_written(im, mem, 0, 0), 30);
    EXPECT_EQ(offset_written(im, mem, 2, 1), 22);
    EXPECT_EQ(offset_written(im, mem, 6, 3), 6);
    ASSERT_EQ(mvimage_setwind(&im, 1, 1, 5, 4), 0);
    EXPECT_EQ(offset_written(im, mem, 0, 0), 21);
    EXPECT_EQ(offset_written(im, mem, 3, 2), 4);
}

TEST(MemCtor, InquirySizeAndGeometry) {
    std::vector<uint8_t> mem(64 * 4);
    const uint32_t dims[2] = {8, 4};
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U16, 12, 2, MVCS_COMPLEX, 9), 0);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 10u);
    EXPECT_EQ(im.aeiou(&im, 'm', nullptr), 10u);
    EXPECT_EQ(im.pixfmt.bits, 12u);
    EXPECT_EQ(im.pixfmt.valform, 0x200u);

    im = junk_record();
    ASSERT_EQ(mvimage_memory2(&im, mem.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0, 0.25f, 0.5f,
                              MVUNITS_MILLIMETER),
              0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ(im.xwidth, 0.25f);
    EXPECT_EQ(im.ywidth, 0.5f);
    EXPECT_EQ(im.zwidth, 0.0f);
    EXPECT_EQ(im.xunits, MVUNITS_MILLIMETER);
    EXPECT_EQ(im.yunits, MVUNITS_MILLIMETER);
    EXPECT_EQ(im.zunits, 0);
    EXPECT_EQ(im.aeiou(&im, 'i', nullptr), 513u);

    im = junk_record();
    ASSERT_EQ(mvimage_memory3(&im, mem.data(), 0, dims, 0, MVTYPE_U32, 20, 1, MVCS_GREY, 3, 2.0f, 3.0f,
                              MVUNITS_RATIO),
              0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ(im.pixfmt.datatype, MVTYPE_U32);
    EXPECT_EQ(im.pixfmt.bits, 20u);
    EXPECT_EQ(im.pixfmt.valform, 0x200u);
    EXPECT_EQ(im.pixelsize, 4u);
    EXPECT_EQ(im.xwidth, 2.0f);
    EXPECT_EQ(im.ywidth, 3.0f);
    EXPECT_EQ(im.zwidth, 0.0f);
    EXPECT_EQ(im.xunits, MVUNITS_RATIO);
    EXPECT_EQ(im.yunits, MVUNITS_RATIO);
    EXPECT_EQ(im.zunits, 0);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 4u);
    // memory3's size is checked: 8 x 4 x 4 = 128 bytes.
    EXPECT_EQ(mvimage_memory3(&im, mem.data(), 128, dims, 0, MVTYPE_U32, 0, 1, MVCS_GREY, 0, 1.0f, 1.0f, 0), 0);
    im = junk_record();
    EXPECT_EQ(mvimage_memory3(&im, mem.data(), 127, dims, 0, MVTYPE_U32, 0, 1, MVCS_GREY, 0, 1.0f, 1.0f, 0), -1);
    expect_null_image(im);
}

TEST(MemCtor, MemdataTakesFormatAsGiven) {
    std::vector<uint16_t> mem(16 * 9 * 3);
    const uint32_t dims[2] = {16, 9};
    // A format mvpixfmt_set would not build: high-justified 12 bits in 16,
    // with both dirty flags and the foreign byte order.
    const mvpixfmt fmt{MVTYPE_U16, 3, MVCS_RGB, 12, 0x100, 0x04000400u, 0x800};
    const mvgeometry geom{0.5f, 0.75f, 2.0f, MVUNITS_INCH, MVUNITS_FOOT, MVUNITS_SECOND, 0};
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, &geom, 0), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ(std::memcmp(&im.pixfmt, &fmt, sizeof fmt), 0);
    EXPECT_EQ(im.pixiesize, 2u);
    EXPECT_EQ(im.pixelsize, 6u);
    EXPECT_EQ(im.typeclass, 1u);
    EXPECT_EQ(im.xwidth, 0.5f);
    EXPECT_EQ(im.ywidth, 0.75f);
    EXPECT_EQ(im.zwidth, 2.0f);
    EXPECT_EQ(im.xunits, MVUNITS_INCH);
    EXPECT_EQ(im.yunits, MVUNITS_FOOT);
    EXPECT_EQ(im.zunits, MVUNITS_SECOND);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 513u);

    // Without geometry the widths stay zero.
    im = junk_record();
    ASSERT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, nullptr, 4), 0);
    EXPECT_EQ(im.xwidth, 0.0f);
    EXPECT_EQ(im.zwidth, 0.0f);
    EXPECT_EQ(im.xunits, 0);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 5u);

    // No format: -1 and a null image.
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, nullptr, &geom, 0), -1);
    expect_null_image(im);
}

TEST(MemCtor, MemdataSizeCheck) {
    std::vector<uint8_t> mem(640 * 480);
    const uint32_t dims[2] = {640, 480};
    mvpixfmt fmt{};
    ASSERT_EQ(mvpixfmt_set(&fmt, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    mvimage im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 640 * 480 - 1, dims, 0, &fmt, nullptr, 0), -1);
    expect_null_image(im);
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 640 * 480, dims, 0, &fmt, nullptr, 0), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    // Unchecked with size 0.
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, nullptr, 0), 0);
    // With an explicit pitch the check is ydim x pitch, for a bottom-up
    // pitch its magnitude.
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 479 * 641, dims, 641, &fmt, nullptr, 0), -1);
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 480 * 641, dims, 641, &fmt, nullptr, 0), 0);
    uint8_t* top = mem.data() + 479 * 640;
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, top, 640 * 480 - 1, dims, -640, &fmt, nullptr, 0), -1);
    expect_null_image(im);
    EXPECT_EQ(mvimage_memdata(&im, top, 640 * 480, dims, -640, &fmt, nullptr, 0), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    // Sizes beyond 32 bits are compared whole.
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 0x100000000ull + 10, dims, 0, &fmt, nullptr, 0), 0);
    // ydim x pitch is not allowed to wrap: 65536 lines of 65536 bytes are
    // 2^32 bytes, far more than 100.
    const uint32_t tall[2] = {1, 65536};
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 100, tall, 65536, &fmt, nullptr, 0), -1);
    expect_null_image(im);
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 100, tall, -65536, &fmt, nullptr, 0), -1);
    expect_null_image(im);
}

TEST(MemCtor, FailuresLeaveNullImages) {
    std::vector<uint8_t> mem(64);
    const uint32_t good[2] = {4, 4};
    const uint32_t zero_x[2] = {0, 4};
    const uint32_t zero_y[2] = {4, 0};
    const uint32_t huge_x[2] = {0x80000000u, 1};
    const uint32_t huge_y[2] = {1, 0xFFFFFFFFu};
    mvpixfmt fmt{};
    ASSERT_EQ(mvpixfmt_set(&fmt, MVTYPE_U8, 0, 1, MVCS_GREY), 0);

    struct Ctor {
        const char* name;
        std::function<int32_t(mvimage*, void*, const uint32_t*)> make;
    };
    const Ctor ctors[] = {
        {"memory",
         [](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memory(im, p, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
         }},
        {"memory2",
         [](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memory2(im, p, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1.0f, 1.0f, MVUNITS_METER);
         }},
        {"memory3",
         [](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memory3(im, p, 0, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1.0f, 1.0f, MVUNITS_METER);
         }},
        {"memdata",
         [&fmt](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memdata(im, p, 0, d, 0, &fmt, nullptr, 0);
         }},
    };
    for (const Ctor& c : ctors) {
        SCOPED_TRACE(c.name);
        mvimage im = junk_record();
        ASSERT_EQ(c.make(&im, mem.data(), good), 0);
        EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));

        EXPECT_EQ(c.make(nullptr, mem.data(), good), -1);

        struct Bad {
            const char* what;
            void* mem;
            const uint32_t* dims;
        } bads[] = {{"null memory", nullptr, good},
                    {"null dims", mem.data(), nullptr},
                    {"zero xdim", mem.data(), zero_x},
                    {"zero ydim", mem.data(), zero_y},
                    {"xdim beyond 2^31-1", mem.data(), huge_x},
                    {"ydim beyond 2^31-1", mem.data(), huge_y}};
        for (const Bad& b : bads) {
            SCOPED_TRACE(b.what);
            im = junk_record();
            EXPECT_EQ(c.make(&im, b.mem, b.dims), -1);
            expect_null_image(im);
        }
    }
}

// ---- allocating constructors ----------------------------------------------------------

TEST(MemCtor, MemmallocAndMemfree) {
    const uint32_t dims[2] = {5, 4};
    void* pixels = nullptr;
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memmalloc(&im, &pixels, dims, MVTYPE_U16, 10, 3, MVCS_RGB), 0);
    ASSERT_NE(pixels, nullptr);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ((void*)im.priv, pixels);
    EXPECT_TRUE(wind_is(im, 0, 0, 5, 4));
    EXPECT_EQ(im.pixfmt.bits, 10u);
    EXPECT_EQ(im.pixfmt.valform, 0x200u);
    EXPECT_EQ(im.pixelsize, 6u);
    EXPECT_EQ(im.aeiou(&im, 'b', nullptr), 2u);  // inquiry-size 1 for library memory
    const uint8_t* bytes = static_cast<const uint8_t*>(pixels);
    for (size_t i = 0; i < 5 * 4 * 6; ++i) ASSERT_EQ(bytes[i], 0) << i;
    // Packed: the last pixie of the last pixel is the last two bytes.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 4), 1);
    uint16_t v = 0x3FF;
    ASSERT_EQ(im.iorite(&im, 0, &v, 1, 4, 3), 1u);
    uint16_t last;
    std::memcpy(&last, bytes + 5 * 4 * 6 - 2, 2);
    EXPECT_EQ(last, 0x3FF);
    EXPECT_EQ(mvimage_memfree(&im, pixels), 0);
    expect_null_image(im);

    // Free with either side missing.
    EXPECT_EQ(mvimage_memfree(nullptr, nullptr), 0);
    im = junk_record();
    EXPECT_EQ(mvimage_memfree(&im, nullptr), 0);
    expect_null_image(im);
    void* loose = nullptr;
    mvimage other;
    ASSERT_EQ(mvimage_memmalloc(&other, &loose, dims, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    EXPECT_EQ(mvimage_memfree(nullptr, loose), 0);
}

TEST(MemCtor, MemmallocFailures) {
    const uint32_t dims[2] = {5, 4};
    const uint32_t zero[2] = {0, 4};
    uint8_t mine[8];

    // The buffer variable must hold null.
    void* pixels = mine;
    mvimage im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, dims, MVTYPE_U8, 0, 1, MVCS_GREY), -1);
    EXPECT_EQ(pixels, (void*)mine);
    expect_null_image(im);

    pixels = nullptr;
    EXPECT_EQ(mvimage_memmalloc(nullptr, &pixels, dims, MVTYPE_U8, 0, 1, MVCS_GREY), -1);
    EXPECT_EQ(pixels, nullptr);
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, nullptr, dims, MVTYPE_U8, 0, 1, MVCS_GREY), -1);
    expect_null_image(im);
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, nullptr, MVTYPE_U8, 0, 1, MVCS_GREY), -1);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, zero, MVTYPE_U8, 0, 1, MVCS_GREY), -1);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);

    // A format without a pixel size has nothing to allocate.
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, dims, 3, 0, 1, MVCS_GREY), -2);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, dims, MVTYPE_U8, 0, 0, MVCS_GREY), -2);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);

    // 2^31-1 squared x 256 bytes is beyond 2^64: refused before allocating.
    const uint32_t big[2] = {0x7FFFFFFFu, 0x7FFFFFFFu};
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, big, MVTYPE_DOUBLE, 0, 32, 0), -2);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);
    // About 2^62 bytes: representable, but the heap cannot give it.
    im = junk_record();
    EXPECT_EQ(mvimage_memmalloc(&im, &pixels, big, MVTYPE_U8, 0, 1, MVCS_GREY), -2);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);
    // Dimensions beyond 2^31-1 are refused one way or the other.
    const uint32_t beyond[2] = {0xFFFFFFFFu, 0xFFFFFFFFu};
    im = junk_record();
    EXPECT_LT(mvimage_memmalloc(&im, &pixels, beyond, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    EXPECT_EQ(pixels, nullptr);
    expect_null_image(im);
}

TEST(MemCtor, Memmalloc2AndMemfree2) {
    // Library-allocated pixels.
    mvimage* im = mvimage_memmalloc2(nullptr, MVTYPE_FLOAT, 0, 2, MVCS_COMPLEX, 6, 5, 1.5f, 2.5f, MVUNITS_CENTIMETER);
    ASSERT_NE(im, nullptr);
    EXPECT_TRUE(kind_is(im->kind, "MVIMMEM"));
    ASSERT_NE((void*)im->priv, nullptr);
    EXPECT_TRUE(wind_is(*im, 0, 0, 6, 5));
    EXPECT_EQ(im->pixelsize, 8u);
    EXPECT_EQ(im->xwidth, 1.5f);
    EXPECT_EQ(im->ywidth, 2.5f);
    EXPECT_EQ(im->xunits, MVUNITS_CENTIMETER);
    EXPECT_EQ(im->yunits, MVUNITS_CENTIMETER);
    EXPECT_EQ(im->aeiou(im, 'b', nullptr), 2u);
    const uint8_t* bytes = static_cast<const uint8_t*>(im->priv);
    for (size_t i = 0; i < 6 * 5 * 8; ++i) ASSERT_EQ(bytes[i], 0) << i;
    ASSERT_EQ(im->ioset(im, 0, MVTYPE_FLOAT, 3), 1);
    float last[2] = {7.0f, -7.0f};
    ASSERT_EQ(im->iorite(im, 0, last, 1, 5, 4), 1u);
    float stored[2];
    std::memcpy(stored, bytes + 6 * 5 * 8 - 8, 8);
    EXPECT_EQ(stored[0], 7.0f);
    EXPECT_EQ(stored[1], -7.0f);
    EXPECT_EQ(mvimage_memfree2(im, 0), 0);

    // A caller's buffer, freed by memfree2 unless kept.
    void* buf = std::malloc(4 * 3);
    im = mvimage_memmalloc2(buf, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ((void*)im->priv, buf);
    EXPECT_EQ(mvimage_memfree2(im, 0), 0);  // frees buf too

    buf = std::malloc(4 * 3);
    im = mvimage_memmalloc2(buf, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ(mvimage_memfree2(im, 1), 0);  // keeps buf
    std::memset(buf, 1, 12);
    std::free(buf);

    // Library memory kept by the caller.
    im = mvimage_memmalloc2(nullptr, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);
    ASSERT_NE(im, nullptr);
    void* kept = im->priv;
    EXPECT_EQ(mvimage_memfree2(im, 1), 0);
    std::free(kept);

    EXPECT_EQ(mvimage_memfree2(nullptr, 0), 0);
}

TEST(MemCtor, Memmalloc2Failures) {
    struct Case {
        const char* what;
        uint32_t type, pixies;
        int32_t xdim, ydim;
    } cases[] = {
        {"zero xdim", MVTYPE_U8, 1, 0, 4},
        {"zero ydim", MVTYPE_U8, 1, 4, 0},
        {"negative xdim", MVTYPE_U8, 1, -4, 4},
        {"negative ydim", MVTYPE_U8, 1, 4, -1},
        {"invalid type", 3, 1, 4, 4},
        {"no pixies", MVTYPE_U8, 0, 4, 4},
        {"beyond 2^64 bytes", MVTYPE_DOUBLE, 32, INT32_MAX, INT32_MAX},
        {"more than the heap has", MVTYPE_U8, 1, INT32_MAX, INT32_MAX},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(mvimage_memmalloc2(nullptr, c.type, 0, c.pixies, 0, c.xdim, c.ydim, 0.0f, 0.0f, 0), nullptr);
    }
}

TEST(MemCtor, Memfree2RefusesOtherRecords) {
    // A null image.
    mvimage nul;
    mvimage_defnull(&nul);
    EXPECT_EQ(mvimage_memfree2(&nul, 0), -1);
    EXPECT_TRUE(kind_is(nul.kind, "NULL2"));
    // A memory image the caller built in its own storage: not freed, not
    // touched.
    std::vector<uint8_t> mem(16);
    const uint32_t dims[2] = {4, 4};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(mvimage_memfree2(&im, 0), -1);
    EXPECT_EQ(mvimage_memfree2(&im, 1), -1);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ((void*)im.priv, mem.data());
}

// ---- access behaviours by example ------------------------------------------------------

TEST(MemAccess, SetUpFailureCodes) {
    std::vector<uint16_t> mem(8 * 8 * 3);
    const uint32_t dims[2] = {8, 8};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U16, 0, 3, MVCS_RGB, 0), 0);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 7), MVERR_DATATYPE);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 0x5), MVERR_COLORS);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 0), MVERR_COLORS);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 0xF), MVERR_COLORS);
    EXPECT_EQ(im.ioset(&im, 0x0004, MVTYPE_U16 | MVREQ_LOW, 7), MVERR_UNSUPPORTED);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 6), 1);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U8, 7), MVERR_DATATYPE);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U16, 5), MVERR_COLORS);
    EXPECT_EQ(im.imapset(&im, 0, MVTYPE_U16, 3), MVERR_COLORS);
    EXPECT_EQ(im.imapset(&im, 0x0004, MVTYPE_U16, 7), MVERR_USAGE);
    EXPECT_EQ(im.imapset(&im, 0x0002, MVTYPE_U16, 7), MVERR_UNSUPPORTED);
}

TEST(MemAccess, TwelveBitsInSixteen) {
    std::vector<uint16_t> mem = {0x0ABC, 0x0FFF, 0x0001, 0x0000};
    const uint32_t dims[2] = {4, 1};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U16, 12, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(im.pixfmt.valform, 0x200u);

    // Read high-justified: shifted left by 4.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_HIGH, 1), 1);
    uint16_t got[4] = {};
    ASSERT_EQ(im.ioread(&im, 0, got, 4, 0, 0), 4u);
    EXPECT_EQ(got[0], 0xABC0);
    EXPECT_EQ(got[1], 0xFFF0);
    EXPECT_EQ(got[2], 0x0010);
    EXPECT_EQ(got[3], 0x0000);

    // Written high-justified: shifted right by 4, the low bits dropped.
    uint16_t put[4] = {0x1230, 0xFFFF, 0x000F, 0x8000};
    ASSERT_EQ(im.iorite(&im, 0, put, 4, 0, 0), 4u);
    EXPECT_EQ(mem[0], 0x0123);
    EXPECT_EQ(mem[1], 0x0FFF);
    EXPECT_EQ(mem[2], 0x0000);
    EXPECT_EQ(mem[3], 0x0800);

    // Low-justified requests move the stored form as it is.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 1), 1);
    ASSERT_EQ(im.ioread(&im, 0, got, 4, 0, 0), 4u);
    EXPECT_EQ(got[0], 0x0123);
    EXPECT_EQ(got[3], 0x0800);

    // In the other byte order the caller sees swapped values.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_HIGH | MVREQ_SWAPPED, 1), 1);
    ASSERT_EQ(im.ioread(&im, 0, got, 4, 0, 0), 4u);
    EXPECT_EQ(got[0], 0x3012);
    EXPECT_EQ(got[3], 0x0080);
}

TEST(MemAccess, DirtyBitsMaskedOnlyWhenNotTolerated) {
    // The image says it may hold bits outside its 10 significant bits.
    std::vector<uint16_t> mem = {0xFC01, 0x03FF, 0x8400, 0x0000};
    const uint32_t dims[2] = {4, 1};
    const mvpixfmt fmt{MVTYPE_U16, 1, MVCS_GREY, 10, 0x200, 0x0400, 0};
    mvimage im;
    ASSERT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, nullptr, 0), 0);
    uint16_t got[4] = {};
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 1), 1);
    ASSERT_EQ(im.ioread(&im, 0, got, 4, 0, 0), 4u);
    EXPECT_EQ(got[0], 0x0001);
    EXPECT_EQ(got[1], 0x03FF);
    EXPECT_EQ(got[2], 0x0000);
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW | MVREQ_DIRTY, 1), 1);
    ASSERT_EQ(im.ioread(&im, 0, got, 4, 0, 0), 4u);
    EXPECT_EQ(got[0], 0xFC01);
    EXPECT_EQ(got[2], 0x8400);
    // The write side does not tolerate such bits: a caller that may carry
    // them has its values masked.
    uint16_t put[4] = {0xFFFF, 0x1234, 0x0400, 0x0001};
    ASSERT_EQ(im.iorite(&im, 0, put, 4, 0, 0), 4u);
    EXPECT_EQ(mem[0], 0x03FF);
    EXPECT_EQ(mem[1], 0x0234);
    EXPECT_EQ(mem[2], 0x0000);
    EXPECT_EQ(mem[3], 0x0001);
}

TEST(MemAccess, FloatMultiplyAndSwap) {
    std::vector<float> mem = {1.5f, 2.0f, -3.0f, 10.0f};
    const uint32_t dims[2] = {4, 1};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_FLOAT, 0, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(im.bxts(&im, 0, MVTYPE_FLOAT, 1), 1);
    mvbxtentry list[3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    float buf[3] = {2.0f, 0.5f, 4.0f};
    EXPECT_EQ(im.bxta(&im, -1, buf, list, 3, 4), 3u);
    EXPECT_EQ(mem[0], 3.0f);
    EXPECT_EQ(mem[1], 1.0f);
    EXPECT_EQ(mem[2], -12.0f);
    EXPECT_EQ(mem[3], 10.0f);

    // Floats are byte-swapped for a caller in the other order, too.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_FLOAT | MVREQ_SWAPPED, 1), 1);
    uint32_t raw[4];
    ASSERT_EQ(im.ioread(&im, 0, raw, 4, 0, 0), 4u);
    for (int i = 0; i < 4; ++i) {
        uint32_t native;
        std::memcpy(&native, &mem[i], 4);
        EXPECT_EQ(raw[i], __builtin_bswap32(native)) << i;
    }
}

TEST(MemAccess, IntegerScatteredCodes) {
    // Unsigned 8-bit: every code once, wrapping arithmetic.
    std::vector<uint8_t> mem = {10, 200, 30, 40, 50, 60, 70};
    const uint32_t dims[2] = {7, 1};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(im.bxts(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1);
    struct Step {
        int32_t code;
        int32_t x;
        uint8_t b;
        uint8_t want_mem, want_buf;
    } steps[] = {
        {0, 0, 99, 99, 10},     // exchange
        {1, 1, 100, 44, 0},     // 200 + 100 wraps to 44
        {2, 2, 0, 30, 30},      // read
        {3, 3, 7, 7, 0},        // write
        {4, 4, 0xFF, 50 ^ 0xFF, 0},
        {5, 5, 61, 255, 0},     // 60 - 61 wraps to 255
        {6, 6, 1, 70, 0},       // unknown code: nothing
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(s.code);
        mvbxtentry e{s.x, 0, 0};
        uint8_t b = s.b;
        EXPECT_EQ(im.bxta(&im, -1, &b, &e, 1, s.code), 1u);
        EXPECT_EQ(mem[(size_t)s.x], s.want_mem);
        if (s.code == 0 || s.code == 2) {
            EXPECT_EQ(b, s.want_buf);
        }
    }
}

}  // namespace
