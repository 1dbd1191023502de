// Memory-image constructors and destructors: what they make of their
// arguments (sizes, the format) and their failure codes.  The transfers of
// the images they make, over every kind of line pitch, are held to the
// model in test_memimage_model.cpp.
#include "test_util.hpp"

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
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 0u);
    expect_noop_slots(im);
}

TEST(MemCtor, MemoryFillsTheRecord) {
    std::vector<uint8_t> mem(640 * 480 * 3);
    const uint32_t dims[2] = {640, 480};
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_BGR, 0), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
    EXPECT_EQ((void*)im.priv, mem.data());
    EXPECT_TRUE(wind_is(im, 0, 0, 640, 480));
    const mvywindow dim{{0, 0}, {640, 480}};
    EXPECT_EQ(std::memcmp(&im.imdim, &dim, sizeof dim), 0);
    EXPECT_TRUE(im.imdim_reserved[0] == 0 && im.imdim_reserved[1] == 0);
    const mvpixfmt want{MVTYPE_U8, 3, MVCS_BGR, 8, 0x300, 0, 0};
    EXPECT_EQ(std::memcmp(&im.pixfmt, &want, sizeof want), 0);
    EXPECT_TRUE(im.pixiesize == 1 && im.pixelsize == 3 && im.typeclass == 1);
    EXPECT_TRUE(im.xwidth == 0 && im.ywidth == 0 && im.zwidth == 0 && im.xunits == 0 && im.yunits == 0 && im.zunits == 0);
    // (Its inquiry answers and idle slots are held to in the window and
    // view-rule tests.)
}

TEST(MemCtor, OtherConstructorsFormatsAndSizes) {
    std::vector<uint8_t> mem(64 * 4);
    const uint32_t dims[2] = {8, 4};
    mvimage im = junk_record();
    ASSERT_EQ(mvimage_memory(&im, mem.data(), dims, 0, MVTYPE_U16, 12, 2, MVCS_COMPLEX, 9), 0);
    EXPECT_EQ(im.pixfmt.valform, 0x200u);
    // memory2 gives x and y the same units, z none.
    im = junk_record();
    ASSERT_EQ(mvimage_memory2(&im, mem.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0, 0.25f, 0.5f, MVUNITS_MILLIMETER), 0);
    EXPECT_TRUE(im.xwidth == 0.25f && im.ywidth == 0.5f && im.zwidth == 0.0f);
    EXPECT_TRUE(im.xunits == MVUNITS_MILLIMETER && im.yunits == MVUNITS_MILLIMETER && im.zunits == 0);
    // memory3 checks its size: 8 x 4 x 4 = 128 bytes.
    EXPECT_EQ(mvimage_memory3(&im, mem.data(), 128, dims, 0, MVTYPE_U32, 20, 1, MVCS_GREY, 3, 2.0f, 3.0f, MVUNITS_RATIO), 0);
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM") && im.pixelsize == 4 && im.pixfmt.bits == 20 && im.pixfmt.valform == 0x200);
    EXPECT_TRUE(im.xwidth == 2.0f && im.ywidth == 3.0f && im.zwidth == 0.0f);
    EXPECT_TRUE(im.xunits == MVUNITS_RATIO && im.yunits == MVUNITS_RATIO && im.zunits == 0);
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 4u);
    im = junk_record();
    EXPECT_EQ(mvimage_memory3(&im, mem.data(), 127, dims, 0, MVTYPE_U32, 0, 1, MVCS_GREY, 0, 1.0f, 1.0f, 0), -1);
    expect_null_image(im);

    // memdata takes a format as given, even one mvpixfmt_set would not
    // build (high-justified 12 bits in 16, both dirty flags, the foreign
    // byte order), and the geometry when there is one; no format: -1.
    const mvpixfmt fmt{MVTYPE_U16, 3, MVCS_RGB, 12, 0x100, 0x04000400u, 0x800};
    const mvgeometry geom{0.5f, 0.75f, 2.0f, MVUNITS_INCH, MVUNITS_FOOT, MVUNITS_SECOND, 0};
    im = junk_record();
    ASSERT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, &geom, 0), 0);
    EXPECT_EQ(std::memcmp(&im.pixfmt, &fmt, sizeof fmt), 0);
    EXPECT_TRUE(im.pixiesize == 2 && im.pixelsize == 6 && im.typeclass == 1);
    EXPECT_TRUE(im.xwidth == 0.5f && im.ywidth == 0.75f && im.zwidth == 2.0f);
    EXPECT_TRUE(im.xunits == MVUNITS_INCH && im.yunits == MVUNITS_FOOT && im.zunits == MVUNITS_SECOND);
    im = junk_record();
    ASSERT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, &fmt, nullptr, 4), 0);
    EXPECT_TRUE(im.xwidth == 0.0f && im.xunits == 0 && im.aeiou(&im, 'b', 0, 0) == 5);
    im = junk_record();
    EXPECT_EQ(mvimage_memdata(&im, mem.data(), 0, dims, 0, nullptr, &geom, 0), -1);
    expect_null_image(im);
}

TEST(MemCtor, MemdataSizeCheck) {
    std::vector<uint8_t> mem(640 * 480);
    const uint32_t dims[2] = {640, 480}, tall[2] = {1, 65536};
    mvpixfmt fmt{};
    ASSERT_EQ(mvpixfmt_set(&fmt, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    uint8_t* top = mem.data() + 479 * 640;
    struct Case {
        uint8_t* pixels;
        uint64_t size;
        const uint32_t* dims;
        int32_t pitch, rc;
    };
    const Case cases[] = {
        {mem.data(), 640 * 480 - 1, dims, 0, -1},
        {mem.data(), 640 * 480, dims, 0, 0},
        {mem.data(), 0, dims, 0, 0},  // 0: unchecked
        // With an explicit pitch the check is ydim x pitch, for a bottom-up
        // pitch its magnitude.
        {mem.data(), 479 * 641, dims, 641, -1},
        {mem.data(), 480 * 641, dims, 641, 0},
        {top, 640 * 480 - 1, dims, -640, -1},
        {top, 640 * 480, dims, -640, 0},
        {mem.data(), 0x100000000ull + 10, dims, 0, 0},  // sizes beyond 32 bits compared whole
        // ydim x pitch may not wrap: 65536 lines of 65536 bytes are 2^32.
        {mem.data(), 100, tall, 65536, -1},
        {mem.data(), 100, tall, -65536, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "size " << c.size << " pitch " << c.pitch);
        mvimage im = junk_record();
        EXPECT_EQ(mvimage_memdata(&im, c.pixels, c.size, c.dims, c.pitch, &fmt, nullptr, 0), c.rc);
        if (c.rc == 0) {
            EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
        } else {
            expect_null_image(im);
        }
    }
}

TEST(MemCtor, FailuresLeaveNullImages) {
    std::vector<uint8_t> mem(64);
    const uint32_t good[2] = {4, 4}, zero_x[2] = {0, 4}, zero_y[2] = {4, 0}, huge_x[2] = {0x80000000u, 1},
                   huge_y[2] = {1, 0xFFFFFFFFu};
    mvpixfmt fmt{};
    ASSERT_EQ(mvpixfmt_set(&fmt, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    const std::pair<const char*, std::function<int32_t(mvimage*, void*, const uint32_t*)>> ctors[] = {
        {"memory", [](mvimage* im, void* p,
                      const uint32_t* d) { return mvimage_memory(im, p, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0); }},
        {"memory2",
         [](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memory2(im, p, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1.0f, 1.0f, MVUNITS_METER);
         }},
        {"memory3",
         [](mvimage* im, void* p, const uint32_t* d) {
             return mvimage_memory3(im, p, 0, d, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1.0f, 1.0f, MVUNITS_METER);
         }},
        {"memdata", [&fmt](mvimage* im, void* p,
                           const uint32_t* d) { return mvimage_memdata(im, p, 0, d, 0, &fmt, nullptr, 0); }},
    };
    const std::tuple<const char*, void*, const uint32_t*> bads[] = {{"null memory", nullptr, good},
                                                                    {"null dims", mem.data(), nullptr},
                                                                    {"zero xdim", mem.data(), zero_x},
                                                                    {"zero ydim", mem.data(), zero_y},
                                                                    {"xdim beyond 2^31-1", mem.data(), huge_x},
                                                                    {"ydim beyond 2^31-1", mem.data(), huge_y}};
    for (const auto& [name, make] : ctors) {
        SCOPED_TRACE(name);
        mvimage im = junk_record();
        ASSERT_EQ(make(&im, mem.data(), good), 0);
        EXPECT_TRUE(kind_is(im.kind, "MVIMMEM"));
        EXPECT_EQ(make(nullptr, mem.data(), good), -1);
        for (const auto& [what, pixels, dims] : bads) {
            SCOPED_TRACE(what);
            im = junk_record();
            EXPECT_EQ(make(&im, pixels, dims), -1);
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
    EXPECT_TRUE(kind_is(im.kind, "MVIMMEM") && wind_is(im, 0, 0, 5, 4));
    EXPECT_EQ((void*)im.priv, pixels);
    EXPECT_TRUE(im.pixfmt.bits == 10 && im.pixfmt.valform == 0x200 && im.pixelsize == 6);
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 2u);  // inquiry-size 1 for library memory
    const uint8_t* bytes = static_cast<const uint8_t*>(pixels);
    EXPECT_TRUE(std::all_of(bytes, bytes + 5 * 4 * 6, [](uint8_t b) { return b == 0; }));
    // Packed: the last pixie of the last pixel is the last two bytes.
    ASSERT_EQ(im.ioset(&im, 0, MVTYPE_U16 | MVREQ_LOW, 4), 1);
    uint16_t v = 0x3FF, last;
    ASSERT_EQ(im.iorite(&im, 0, &v, 1, 4, 3), 1u);
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
    ASSERT_EQ(mvimage_memmalloc(&im, &loose, dims, MVTYPE_U8, 0, 1, MVCS_GREY), 0);
    EXPECT_EQ(mvimage_memfree(nullptr, loose), 0);
}

TEST(MemCtor, MemmallocFailures) {
    const uint32_t dims[2] = {5, 4}, zero[2] = {0, 4};
    const uint32_t big[2] = {0x7FFFFFFFu, 0x7FFFFFFFu}, beyond[2] = {0xFFFFFFFFu, 0xFFFFFFFFu};
    uint8_t mine[8];
    struct Case {
        const char* what;
        bool no_record, no_pointer;
        void* start;
        const uint32_t* dims;
        uint32_t type, pixies;
        int32_t rc;  // 0: any negative code
    };
    const Case cases[] = {
        {"the buffer variable must hold null", false, false, mine, dims, MVTYPE_U8, 1, -1},
        {"no record", true, false, nullptr, dims, MVTYPE_U8, 1, -1},
        {"no buffer variable", false, true, nullptr, dims, MVTYPE_U8, 1, -1},
        {"no dimensions", false, false, nullptr, nullptr, MVTYPE_U8, 1, -1},
        {"zero width", false, false, nullptr, zero, MVTYPE_U8, 1, -1},
        // A format without a pixel size has nothing to allocate.
        {"no such type", false, false, nullptr, dims, 3, 1, -2},
        {"no pixies", false, false, nullptr, dims, MVTYPE_U8, 0, -2},
        {"beyond 2^64 bytes: refused before allocating", false, false, nullptr, big, MVTYPE_DOUBLE, 32, -2},
        {"about 2^62 bytes: more than the heap gives", false, false, nullptr, big, MVTYPE_U8, 1, -2},
        {"dimensions beyond 2^31-1", false, false, nullptr, beyond, MVTYPE_U8, 1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        void* pixels = c.start;
        mvimage im = junk_record();
        const int32_t rc = mvimage_memmalloc(c.no_record ? nullptr : &im, c.no_pointer ? nullptr : &pixels, c.dims,
                                             c.type, 0, c.pixies, MVCS_GREY);
        EXPECT_TRUE(c.rc ? rc == c.rc : rc < 0) << rc;
        EXPECT_EQ(pixels, c.start);
        if (!c.no_record) expect_null_image(im);
    }
}

TEST(MemCtor, Memmalloc2AndMemfree2) {
    // Library-allocated pixels.
    mvimage* im = mvimage_memmalloc2(nullptr, MVTYPE_FLOAT, 0, 2, MVCS_COMPLEX, 6, 5, 1.5f, 2.5f, MVUNITS_CENTIMETER);
    ASSERT_NE(im, nullptr);
    EXPECT_TRUE(kind_is(im->kind, "MVIMMEM") && wind_is(*im, 0, 0, 6, 5) && im->pixelsize == 8);
    EXPECT_TRUE(im->xwidth == 1.5f && im->ywidth == 2.5f && im->xunits == MVUNITS_CENTIMETER && im->yunits == MVUNITS_CENTIMETER);
    EXPECT_EQ(im->aeiou(im, 'b', 0, 0), 2u);
    const uint8_t* bytes = static_cast<const uint8_t*>(im->priv);
    ASSERT_NE(bytes, nullptr);
    EXPECT_TRUE(std::all_of(bytes, bytes + 6 * 5 * 8, [](uint8_t b) { return b == 0; }));
    ASSERT_EQ(im->ioset(im, 0, MVTYPE_FLOAT, 3), 1);
    float last[2] = {7.0f, -7.0f}, stored[2];
    ASSERT_EQ(im->iorite(im, 0, last, 1, 5, 4), 1u);
    std::memcpy(stored, bytes + 6 * 5 * 8 - 8, 8);
    EXPECT_TRUE(stored[0] == 7.0f && stored[1] == -7.0f);
    EXPECT_EQ(mvimage_memfree2(im, 0), 0);
    // A caller's buffer, freed by memfree2 unless kept (the sanitizer build
    // shows a double free or a leak).
    void* buf = std::malloc(4 * 3);
    im = mvimage_memmalloc2(buf, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ((void*)im->priv, buf);
    EXPECT_EQ(mvimage_memfree2(im, 0), 0);
    buf = std::malloc(4 * 3);
    im = mvimage_memmalloc2(buf, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);
    ASSERT_NE(im, nullptr);
    EXPECT_EQ(mvimage_memfree2(im, 1), 0);
    std::memset(buf, 1, 12);
    std::free(buf);
    im = mvimage_memmalloc2(nullptr, MVTYPE_U8, 0, 1, MVCS_GREY, 4, 3, 0.0f, 0.0f, 0);  // library memory kept
    ASSERT_NE(im, nullptr);
    void* kept = im->priv;
    EXPECT_EQ(mvimage_memfree2(im, 1), 0);
    std::free(kept);
    EXPECT_EQ(mvimage_memfree2(nullptr, 0), 0);

    const std::tuple<const char*, uint32_t, uint32_t, int32_t, int32_t> bad[] = {
        {"zero xdim", MVTYPE_U8, 1, 0, 4},        {"zero ydim", MVTYPE_U8, 1, 4, 0},
        {"negative xdim", MVTYPE_U8, 1, -4, 4},   {"negative ydim", MVTYPE_U8, 1, 4, -1},
        {"invalid type", 3, 1, 4, 4},             {"no pixies", MVTYPE_U8, 0, 4, 4},
        {"beyond 2^64 bytes", MVTYPE_DOUBLE, 32, INT32_MAX, INT32_MAX},
        {"more than the heap has", MVTYPE_U8, 1, INT32_MAX, INT32_MAX},
    };
    for (const auto& [what, type, pixies, xdim, ydim] : bad)
        EXPECT_EQ(mvimage_memmalloc2(nullptr, type, 0, pixies, 0, xdim, ydim, 0.0f, 0.0f, 0), nullptr) << what;

    // Records memfree2 did not make: a null image, a caller's memory image.
    mvimage nul;
    mvimage_defnull(&nul);
    EXPECT_EQ(mvimage_memfree2(&nul, 0), -1);
    EXPECT_TRUE(kind_is(nul.kind, "NULL2"));
    std::vector<uint8_t> mem(16);
    const uint32_t dims[2] = {4, 4};
    mvimage own;
    ASSERT_EQ(mvimage_memory(&own, mem.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(mvimage_memfree2(&own, 0), -1);
    EXPECT_EQ(mvimage_memfree2(&own, 1), -1);
    EXPECT_TRUE(kind_is(own.kind, "MVIMMEM") && (void*)own.priv == mem.data());
}

}  // namespace
