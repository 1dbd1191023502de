// Pixel formats: filling a format from four numbers, the derived sizes,
// the colour-space and unit name tables, and the float value range.
#include "mvip.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

uint32_t float_bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}
float bits_float(uint32_t u) {
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

// Storage filled with a recognisable pattern so that cleared and kept
// words can be told apart.
mvpixfmt garbage_format() {
    mvpixfmt f;
    f.datatype = 0xDEAD0001u;
    f.pixies = 0xBEEFu;
    f.colorspace = 0x1234u;
    f.bits = 0x77u;
    f.valform = 0xABCD0300u;
    f.valflags = 0x04000400u;
    f.byteorder = 0x800u;
    return f;
}

bool all_zero(const mvpixfmt& f) {
    return f.datatype == 0 && f.pixies == 0 && f.colorspace == 0 && f.bits == 0 &&
           f.valform == 0 && f.valflags == 0 && f.byteorder == 0;
}

// Container bytes by data-type code; 0 for codes that are not types.
uint32_t container_bytes(uint32_t type) {
    switch (type & 0xFFu) {
        case 1: return 1;
        case 2: return 2;
        case 4: case 8: case 16: return 4;
        case 32: return 8;
        default: return 0;
    }
}

TEST(PixFmt, FillTable) {
    struct Case {
        uint32_t type, bits, pixies, cs;
        bool ok;
        uint32_t want_bits, want_valform;
    };
    const Case cases[] = {
        // integer types: bits 0 means the whole container
        {1, 0, 1, 1, true, 8, 0x300},
        {1, 8, 3, 3, true, 8, 0x300},
        {1, 1, 1, 1, true, 1, 0x200},
        {1, 7, 2, 2, true, 7, 0x200},
        {1, 9, 1, 1, false, 0, 0},
        {2, 0, 1, 1, true, 16, 0x300},
        {2, 12, 1, 1, true, 12, 0x200},
        {2, 16, 4, 4, true, 16, 0x300},
        {2, 17, 1, 1, false, 0, 0},
        {4, 0, 1, 1, true, 32, 0x300},
        {4, 31, 1, 1, true, 31, 0x200},
        {4, 33, 1, 1, false, 0, 0},
        {8, 0, 2, 2, true, 32, 0x300},
        {8, 24, 1, 1, true, 24, 0x200},
        {8, 40, 1, 1, false, 0, 0},
        // pixie counts
        {1, 0, 32, 0, true, 8, 0x300},
        {1, 0, 0, 0, false, 0, 0},
        {1, 0, 33, 0, false, 0, 0},
        {16, 0, 0, 1, false, 0, 0},
        {32, 0, 33, 1, false, 0, 0},
        {4, 0, 0xFFFFFFFFu, 1, false, 0, 0},
        // floating types ignore the bits given
        {16, 0, 1, 1, true, 0, 0x3F800000u},
        {16, 12, 2, 2, true, 0, 0x3F800000u},
        {32, 0, 1, 1, true, 0, 0x3F800000u},
        {32, 99, 32, 0, true, 0, 0x3F800000u},
        // invalid type codes
        {0, 0, 1, 1, false, 0, 0},
        {3, 0, 1, 1, false, 0, 0},
        {5, 0, 1, 1, false, 0, 0},
        {6, 0, 1, 1, false, 0, 0},
        {7, 0, 1, 1, false, 0, 0},
        {33, 0, 1, 1, false, 0, 0},
        {64, 0, 1, 1, false, 0, 0},
        {128, 0, 1, 1, false, 0, 0},
        {255, 0, 1, 1, false, 0, 0},
        {0x100, 0, 1, 1, false, 0, 0},
        {0x200, 8, 1, 1, false, 0, 0},
        // request flags above the low byte: the type is still the low byte and
        // the whole argument is stored
        {0x201, 0, 1, 1, true, 8, 0x300},
        {0x102, 10, 1, 1, true, 10, 0x200},
        {0x810, 0, 1, 1, true, 0, 0x3F800000u},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " bits " << c.bits << " pixies "
                                        << c.pixies);
        mvpixfmt f = garbage_format();
        int32_t rc = mvpixfmt_set(&f, c.type, c.bits, c.pixies, c.cs);
        if (!c.ok) {
            EXPECT_EQ(rc, -1);
            EXPECT_TRUE(all_zero(f));
            continue;
        }
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(f.datatype, c.type);
        EXPECT_EQ(f.pixies, c.pixies);
        EXPECT_EQ(f.colorspace, c.cs);
        EXPECT_EQ(f.bits, c.want_bits);
        EXPECT_EQ(f.valform, c.want_valform);
        if ((c.type & 0x30u) != 0) {
            // floats keep whatever valflags and byteorder the storage held
            EXPECT_EQ(f.valflags, 0x04000400u);
            EXPECT_EQ(f.byteorder, 0x800u);
        } else {
            EXPECT_EQ(f.valflags, 0u);
            EXPECT_EQ(f.byteorder, 0u);
        }
    }
}

TEST(PixFmt, EveryIntegerBitCount) {
    // Exhaustive over integer types and bit counts 0..container+2.
    const uint32_t types[] = {1, 2, 4, 8};
    for (uint32_t t : types) {
        uint32_t container = 8 * container_bytes(t);
        for (uint32_t bits = 0; bits <= container + 2; ++bits) {
            SCOPED_TRACE(testing::Message() << "type " << t << " bits " << bits);
            mvpixfmt f = garbage_format();
            int32_t rc = mvpixfmt_set(&f, t, bits, 2, 2);
            if (bits > container) {
                EXPECT_EQ(rc, -1);
                EXPECT_TRUE(all_zero(f));
                continue;
            }
            uint32_t want = bits == 0 ? container : bits;
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(f.bits, want);
            EXPECT_EQ(f.valform, want == container ? 0x300u : 0x200u);
        }
    }
}

TEST(PixFmt, FreshFloatRangeIsZeroToOne) {
    // A float format built in zeroed storage ranges from 0.0 (valflags) to
    // 1.0 (valform).
    for (uint32_t t : {MVTYPE_FLOAT, MVTYPE_DOUBLE}) {
        mvpixfmt f{};
        ASSERT_EQ(mvpixfmt_set(&f, t, 0, 1, MVCS_GREY), 0);
        EXPECT_EQ(bits_float(f.valflags), 0.0f);
        EXPECT_EQ(bits_float(f.valform), 1.0f);
        EXPECT_EQ(f.valform, MVFLOAT_ONE_BITS);
        EXPECT_EQ(float_bits(1.0f), MVFLOAT_ONE_BITS);
    }
    // The same through a constructor.
    float pixels[6] = {};
    const uint32_t dims[2] = {3, 2};
    mvimage im;
    ASSERT_EQ(mvimage_memory(&im, pixels, dims, 0, MVTYPE_FLOAT, 0, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(bits_float(im.pixfmt.valflags), 0.0f);
    EXPECT_EQ(bits_float(im.pixfmt.valform), 1.0f);
    EXPECT_EQ(im.pixfmt.byteorder, 0u);
    EXPECT_EQ(im.pixfmt.bits, 0u);
}

TEST(PixFmt, DeriveSizes) {
    struct Case {
        uint32_t type;
        uint32_t pixiesize, typeclass;
    };
    const Case cases[] = {
        {1, 1, 1},  {2, 2, 1},  {4, 4, 1},  {8, 4, 1}, {16, 4, 2}, {32, 8, 2},
        {0x201, 1, 1}, {0x810, 4, 2},
    };
    for (const Case& c : cases) {
        for (uint32_t pixies : {1u, 2u, 3u, 5u, 17u, 32u}) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " pixies " << pixies);
            mvimage im;
            std::memset(&im, 0x5A, sizeof im);
            im.pixfmt = mvpixfmt{c.type, pixies, 0, 0, 0, 0, 0};
            ASSERT_EQ(mvimage_derivesizes(&im), 0);
            EXPECT_EQ(im.pixiesize, c.pixiesize);
            EXPECT_EQ(im.pixelsize, c.pixiesize * pixies);
            EXPECT_EQ(im.typeclass, c.typeclass);
        }
    }
    // Invalid type codes have no pixie size, hence no pixel size.
    for (uint32_t t : {0u, 3u, 5u, 33u, 64u, 0x100u}) {
        SCOPED_TRACE(t);
        mvimage im;
        std::memset(&im, 0x5A, sizeof im);
        im.pixfmt = mvpixfmt{t, 3, 0, 0, 0, 0, 0};
        ASSERT_EQ(mvimage_derivesizes(&im), 0);
        EXPECT_EQ(im.pixiesize, 0u);
        EXPECT_EQ(im.pixelsize, 0u);
    }
    EXPECT_EQ(mvimage_derivesizes(nullptr), -1);
}

TEST(PixFmt, InvalidTypeGivesZeroPixelSizeInRecord) {
    // The constructor stores the failed format; the record then has no
    // pixel size.
    uint8_t pixels[64] = {};
    const uint32_t dims[2] = {4, 4};
    mvimage im;
    EXPECT_EQ(mvimage_memory(&im, pixels, dims, 0, 3, 8, 1, MVCS_GREY, 0), 0);
    EXPECT_EQ(im.pixelsize, 0u);
    EXPECT_EQ(im.pixiesize, 0u);
    EXPECT_EQ(im.aeiou(&im, 'I', nullptr), 4294967295u);
}

// ---- colour spaces ---------------------------------------------------------

struct NameEntry {
    int32_t code;
    const char* name;
};

const NameEntry kColourSpaces[] = {
    {0, "Unknown"},
    {1, "Grey scale monochrome"},
    {2, "Complex numbers"},
    {3, "Blue Green Red color"},
    {4, "Blue Green Red Pad color"},
    {17, "Index into palette"},
    {18, "Cb Y Cr Y color"},
    {19, "Y Cr Cb Y Cr Cb color"},
    {20, "Y Cr Cb Y Cr Cb Pad color"},
    {33, "Bayer RGB color"},
    {34, "Y Cb Y Cr color"},
    {35, "Brightness Saturation Hue color"},
    {36, "Red Green Blue Pad color"},
    {50, "Cr Y Cb Y color"},
    {52, "Bayer RGB color"},
    {66, "Y Cr Y Cb color"},
    {67, "Red Green Blue color"},
    {68, "Cyan Magenta Yellow Black color"},
    {83, "Y I Q color"},
    {99, "Cyan Magenta Yellow color"},
};

std::string str_or_null(const char* s) { return s ? std::string(s) : std::string("<null>"); }

std::string upper(std::string s) {
    for (char& c : s) c = (char)std::toupper((unsigned char)c);
    return s;
}
std::string lower(std::string s) {
    for (char& c : s) c = (char)std::tolower((unsigned char)c);
    return s;
}
std::string alternate(std::string s) {
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = (char)(i % 2 ? std::toupper((unsigned char)s[i]) : std::tolower((unsigned char)s[i]));
    return s;
}

bool in_table(const NameEntry* table, size_t n, int32_t code) {
    for (size_t i = 0; i < n; ++i)
        if (table[i].code == code) return true;
    return false;
}

TEST(ColourSpace, NamesByCode) {
    for (const NameEntry& e : kColourSpaces) {
        SCOPED_TRACE(e.code);
        EXPECT_EQ(str_or_null(mvcolorspace_name(e.code)), e.name);
    }
    // Every other code in a wide range has no name.
    const size_t n = sizeof kColourSpaces / sizeof kColourSpaces[0];
    for (int32_t code = -300; code <= 300; ++code) {
        if (in_table(kColourSpaces, n, code)) continue;
        SCOPED_TRACE(code);
        EXPECT_EQ(mvcolorspace_name(code), nullptr);
    }
    EXPECT_EQ(mvcolorspace_name(INT32_MIN), nullptr);
    EXPECT_EQ(mvcolorspace_name(INT32_MAX), nullptr);
}

TEST(ColourSpace, ReverseLookupIsCaseInsensitive) {
    for (const NameEntry& e : kColourSpaces) {
        // The four-pixie Bayer code is not searched: its name finds 33.
        int32_t want = e.code == 52 ? 33 : e.code;
        for (const std::string& spelled :
             {std::string(e.name), upper(e.name), lower(e.name), alternate(e.name)}) {
            SCOPED_TRACE(spelled);
            EXPECT_EQ(mvcolorspace_code(spelled.c_str()), want);
        }
    }
    EXPECT_EQ(mvcolorspace_code("bayer rgb color"), 33);
    EXPECT_EQ(mvcolorspace_code("BAYER RGB COLOR"), 33);
}

TEST(ColourSpace, ReverseLookupMisses) {
    const char* misses[] = {"",
                            "Grey",
                            "Grey scale monochrome ",
                            " Grey scale monochrome",
                            "Grey scale monochromes",
                            "Gray scale monochrome",
                            "Red Green Blue",
                            "Blue Green Red colour",
                            "Unknow",
                            "Unknown error",
                            "RGB"};
    for (const char* s : misses) {
        SCOPED_TRACE(s);
        EXPECT_EQ(mvcolorspace_code(s), -1);
    }
    EXPECT_EQ(mvcolorspace_code(nullptr), -1);
}

TEST(ColourSpace, SwapOrder) {
    EXPECT_EQ(mvcolorspace_swaporder(3), 67);
    EXPECT_EQ(mvcolorspace_swaporder(67), 3);
    EXPECT_EQ(mvcolorspace_swaporder(4), 36);
    EXPECT_EQ(mvcolorspace_swaporder(36), 4);
    for (int32_t code = -5; code <= 300; ++code) {
        if (code == 3 || code == 67 || code == 4 || code == 36) continue;
        SCOPED_TRACE(code);
        EXPECT_EQ(mvcolorspace_swaporder(code), code);
    }
}

TEST(ColourSpace, LowNibbleCountsPixies) {
    // The header's named codes carry their pixie count in the low four bits.
    const struct {
        int32_t code;
        int pixies;
    } cs[] = {{MVCS_GREY, 1},   {MVCS_COMPLEX, 2}, {MVCS_BGR, 3},     {MVCS_BGRX, 4},
              {MVCS_PALETTE, 1}, {MVCS_CBYCRY, 2},  {MVCS_YCRCB, 3},   {MVCS_YCRCBX, 4},
              {MVCS_BAYER, 1},   {MVCS_YCBYCR, 2},  {MVCS_HSB, 3},     {MVCS_RGBX, 4},
              {MVCS_CRYCBY, 2},  {MVCS_BAYER4, 4},  {MVCS_YCRYCB, 2},  {MVCS_RGB, 3},
              {MVCS_CMYK, 4},    {MVCS_YIQ, 3},     {MVCS_CMY, 3}};
    for (const auto& c : cs) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(c.code & 15, c.pixies);
        EXPECT_NE(mvcolorspace_name(c.code), nullptr);
    }
}

// ---- units -----------------------------------------------------------------

const NameEntry kUnits[] = {
    {0, "Unknown"},    {109, "Meter"},      {114, "Ratio"}, {131, "Second"},
    {171, "Centimeter"}, {183, "Millimeter"}, {184, "Foot"},  {188, "Inch"},
};

TEST(Units, NamesByCode) {
    for (const NameEntry& e : kUnits) {
        SCOPED_TRACE(e.code);
        EXPECT_EQ(str_or_null(mvunits_name(e.code)), e.name);
    }
    const size_t n = sizeof kUnits / sizeof kUnits[0];
    for (int32_t code = -300; code <= 300; ++code) {
        if (in_table(kUnits, n, code)) continue;
        SCOPED_TRACE(code);
        EXPECT_EQ(mvunits_name(code), nullptr);
    }
}

TEST(Units, ReverseLookup) {
    for (const NameEntry& e : kUnits) {
        for (const std::string& spelled :
             {std::string(e.name), upper(e.name), lower(e.name), alternate(e.name)}) {
            SCOPED_TRACE(spelled);
            EXPECT_EQ(mvunits_code(spelled.c_str()), e.code);
        }
    }
    const char* misses[] = {"", "Meters", "Metre", "mm", "Inch ", "Feet", "Grey scale monochrome"};
    for (const char* s : misses) {
        SCOPED_TRACE(s);
        EXPECT_EQ(mvunits_code(s), -1);
    }
    EXPECT_EQ(mvunits_code(nullptr), -1);
    // Unit names are not colour-space names and vice versa (except "Unknown").
    EXPECT_EQ(mvcolorspace_code("Meter"), -1);
    EXPECT_EQ(mvunits_code("unknown"), 0);
    EXPECT_EQ(mvcolorspace_code("unknown"), 0);
}

}  // namespace
