// Pixel formats: filling a format from four numbers, the derived sizes,
// the colour-space and unit name tables, and the float value range.
#include "test_util.hpp"

#include <cctype>

namespace {

// Storage filled with a recognisable pattern so that cleared and kept
// words can be told apart.
const mvpixfmt kGarbage{0xDEAD0001u, 0xBEEFu, 0x1234u, 0x77u, 0xABCD0300u, 0x04000400u, 0x800u};
const mvpixfmt kZero{};

bool all_zero(const mvpixfmt& f) { return std::memcmp(&f, &kZero, sizeof f) == 0; }

TEST(PixFmt, Set) {
    // Integer types, every bit count up to two beyond the container: 0 means
    // the whole container; a failure clears the whole format.
    for (uint32_t t : {1u, 2u, 4u, 8u}) {
        const uint32_t container = t == 1 ? 8 : t == 2 ? 16 : 32;
        for (uint32_t bits = 0; bits <= container + 2; ++bits) {
            mvpixfmt f = kGarbage;
            const int32_t rc = mvpixfmt_set(&f, t, bits, 2, 2);
            const uint32_t want = bits == 0 ? container : bits;
            const mvpixfmt full{t, 2, 2, want, want == container ? 0x300u : 0x200u, 0, 0};
            EXPECT_EQ(rc, bits > container ? -1 : 0) << t << " " << bits;
            EXPECT_EQ(std::memcmp(&f, bits > container ? &kZero : &full, sizeof f), 0) << t << " " << bits;
        }
    }
    struct Case {
        uint32_t type, bits, pixies;
        bool ok;
        uint32_t want_bits, want_valform;
    };
    const Case cases[] = {
        // pixie counts
        {1, 0, 32, true, 8, 0x300}, {1, 0, 0, false, 0, 0}, {1, 0, 33, false, 0, 0}, {16, 0, 0, false, 0, 0},
        {32, 0, 33, false, 0, 0}, {4, 0, 0xFFFFFFFFu, false, 0, 0},
        // floating types ignore the bits given
        {16, 0, 1, true, 0, 0x3F800000u}, {16, 12, 2, true, 0, 0x3F800000u}, {32, 99, 32, true, 0, 0x3F800000u},
        // invalid type codes
        {0, 0, 1, false, 0, 0}, {3, 0, 1, false, 0, 0}, {5, 0, 1, false, 0, 0}, {6, 0, 1, false, 0, 0},
        {7, 0, 1, false, 0, 0}, {33, 0, 1, false, 0, 0}, {64, 0, 1, false, 0, 0}, {128, 0, 1, false, 0, 0},
        {255, 0, 1, false, 0, 0}, {0x100, 0, 1, false, 0, 0}, {0x200, 8, 1, false, 0, 0},
        // request flags above the low byte: the type is the low byte and
        // the whole argument is stored
        {0x201, 0, 1, true, 8, 0x300}, {0x102, 10, 1, true, 10, 0x200}, {0x810, 0, 1, true, 0, 0x3F800000u},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " bits " << c.bits << " pixies " << c.pixies);
        mvpixfmt f = kGarbage;
        ASSERT_EQ(mvpixfmt_set(&f, c.type, c.bits, c.pixies, 5), c.ok ? 0 : -1);
        if (!c.ok) {
            EXPECT_TRUE(all_zero(f));
            continue;
        }
        // Floats keep whatever valflags and byteorder the storage held.
        const bool floats = (c.type & 0x30u) != 0;
        const mvpixfmt want{c.type,
                            c.pixies,
                            5,
                            c.want_bits,
                            c.want_valform,
                            floats ? kGarbage.valflags : 0,
                            floats ? kGarbage.byteorder : 0};
        EXPECT_EQ(std::memcmp(&f, &want, sizeof f), 0);
    }
}

TEST(PixFmt, FreshFloatRangeIsZeroToOne) {
    // Built in zeroed storage, or by a constructor, a float format ranges
    // from 0.0 (valflags) to 1.0 (valform).
    for (uint32_t t : {MVTYPE_FLOAT, MVTYPE_DOUBLE}) {
        mvpixfmt f{};
        ASSERT_EQ(mvpixfmt_set(&f, t, 0, 1, MVCS_GREY), 0);
        EXPECT_TRUE(f.valflags == 0 && f.valform == MVFLOAT_ONE_BITS && std::bit_cast<float>(f.valform) == 1.0f);
    }
    float pixels[6] = {};
    const uint32_t dims[2] = {3, 2};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, pixels, dims, 0, MVTYPE_FLOAT, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_TRUE(im.pixfmt.valflags == 0 && im.pixfmt.valform == MVFLOAT_ONE_BITS && im.pixfmt.byteorder == 0 &&
                im.pixfmt.bits == 0);
}

TEST(PixFmt, DeriveSizes) {
    const uint32_t cases[][3] = {{1, 1, 1},  {2, 2, 1},  {4, 4, 1}, {8, 4, 1}, {16, 4, 2}, {32, 8, 2}, {0x201, 1, 1},
                                 {0x810, 4, 2}, {0, 0, 0}, {3, 0, 0}, {5, 0, 0}, {33, 0, 0}, {64, 0, 0}, {0x100, 0, 0}};
    for (const auto& [type, pixiesize, typeclass] : cases)
        for (uint32_t pixies : {1u, 2u, 3u, 5u, 17u, 32u}) {
            mvimage im;
            std::memset(&im, 0x5A, sizeof im);
            im.pixfmt = mvpixfmt{type, pixies, 0, 0, 0, 0, 0};
            ASSERT_EQ(mvimage_derivesizes(&im), 0);
            EXPECT_TRUE(im.pixiesize == pixiesize && im.pixelsize == pixiesize * pixies) << type << " " << pixies;
            // Invalid type codes have no pixie size, hence no pixel size.
            if (pixiesize) {
                EXPECT_EQ(im.typeclass, typeclass) << type;
            }
        }
    EXPECT_EQ(mvimage_derivesizes(nullptr), -1);
    // A constructor stores a failed format; the record then has no pixel size.
    uint8_t pixels[64] = {};
    const uint32_t dims[2] = {4, 4};
    mvimage im;
    EXPECT_EQ(mvimage_memory(&im, pixels, dims, 0, 3, 8, 1, MVCS_GREY, 0), 0);
    EXPECT_TRUE(im.pixelsize == 0 && im.pixiesize == 0);
    EXPECT_EQ(im.aeiou(&im, 'I', 0, 0), 4294967295u);
}

// ---- colour-space and unit names ----------------------------------------------------

struct NameEntry {
    int32_t code;
    const char* name;
};

// Every code in the table has its name, every other code in a wide range
// none; names (in any case) find their codes, `found` overriding for
// duplicate names; near misses find nothing.
void check_names(const std::vector<NameEntry>& table, const char* (*name)(int32_t), int32_t (*code)(const char*),
                 std::initializer_list<NameEntry> found, std::initializer_list<const char*> misses) {
    for (int32_t c = -300; c <= 300; ++c) {
        const auto e = std::find_if(table.begin(), table.end(), [c](const NameEntry& n) { return n.code == c; });
        const char* got = name(c);
        EXPECT_EQ(got ? std::string(got) : "<null>", e == table.end() ? "<null>" : e->name) << c;
    }
    EXPECT_TRUE(name(INT32_MIN) == nullptr && name(INT32_MAX) == nullptr);
    for (const NameEntry& e : table) {
        int32_t want = e.code;
        for (const NameEntry& f : found)
            if (f.name == e.name || std::string(f.name) == e.name) want = f.code;
        std::string upper = e.name, lower = e.name, mixed = e.name;
        for (size_t i = 0; i < upper.size(); ++i) {
            upper[i] = char(std::toupper((unsigned char)upper[i]));
            lower[i] = char(std::tolower((unsigned char)lower[i]));
            mixed[i] = i % 2 ? upper[i] : lower[i];
        }
        for (const std::string& spelled : {std::string(e.name), upper, lower, mixed})
            EXPECT_EQ(code(spelled.c_str()), want) << spelled;
    }
    for (const char* s : misses) EXPECT_EQ(code(s), -1) << s;
    EXPECT_EQ(code(nullptr), -1);
}

TEST(Names, ColourSpaces) {
    check_names({{0, "Unknown"}, {1, "Grey scale monochrome"}, {2, "Complex numbers"}, {3, "Blue Green Red color"},
                 {4, "Blue Green Red Pad color"}, {17, "Index into palette"}, {18, "Cb Y Cr Y color"},
                 {19, "Y Cr Cb Y Cr Cb color"}, {20, "Y Cr Cb Y Cr Cb Pad color"}, {33, "Bayer RGB color"},
                 {34, "Y Cb Y Cr color"}, {35, "Brightness Saturation Hue color"}, {36, "Red Green Blue Pad color"},
                 {50, "Cr Y Cb Y color"}, {52, "Bayer RGB color"}, {66, "Y Cr Y Cb color"}, {67, "Red Green Blue color"},
                 {68, "Cyan Magenta Yellow Black color"}, {83, "Y I Q color"}, {99, "Cyan Magenta Yellow color"}},
                mvcolorspace_name, mvcolorspace_code,
                {{33, "Bayer RGB color"}},  // the four-pixie Bayer code is not searched
                {"", "Grey", "Grey scale monochrome ", " Grey scale monochrome", "Grey scale monochromes",
                 "Gray scale monochrome", "Red Green Blue", "Blue Green Red colour", "Unknow", "Unknown error", "RGB",
                 "Meter"});
    // BGR and RGB orders, padded or not, swap; every other code stays.
    for (int32_t code = -5; code <= 300; ++code) {
        const int32_t want = code == 3 ? 67 : code == 67 ? 3 : code == 4 ? 36 : code == 36 ? 4 : code;
        EXPECT_EQ(mvcolorspace_swaporder(code), want) << code;
    }
}

TEST(Names, Units) {
    check_names({{0, "Unknown"}, {109, "Meter"}, {114, "Ratio"}, {131, "Second"}, {171, "Centimeter"}, {183, "Millimeter"},
                 {184, "Foot"}, {188, "Inch"}},
                mvunits_name, mvunits_code, {},
                {"", "Meters", "Metre", "mm", "Inch ", "Feet", "Grey scale monochrome"});
}

}  // namespace
