// TIFF writer and reader: round trips over formats, compressions, strip
// sizes and windows; the structure of written files; appending; sequences;
// file information; and refusals of bad arguments and broken files.
#include "file_util.hpp"

#include <algorithm>
#include <cstring>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

mvfileinfo params_for(uint32_t compression, uint32_t stripsize = 0) {
    mvfileinfo p{};
    p.area.tif.compression = compression;
    p.area.tif.stripsize = stripsize;
    return p;
}

// The value a pixie comes back as after being stored in `stored` bits and
// read into `own` bits (values shift by the difference both ways).
uint64_t through_bits(uint64_t v, uint32_t own, uint32_t stored) {
    return own > stored ? (v >> (own - stored)) << (own - stored) : v;
}

uint64_t pixie(const OwnedImage& o, size_t i) {
    switch (o.im.pixfmt.datatype) {
    case MVTYPE_U8: return o.pixels[i];
    case MVTYPE_U16: return reinterpret_cast<const uint16_t*>(o.pixels.data())[i];
    case MVTYPE_DOUBLE: return reinterpret_cast<const uint64_t*>(o.pixels.data())[i];
    default: return reinterpret_cast<const uint32_t*>(o.pixels.data())[i];
    }
}

struct Format {
    const char* name;
    uint32_t type, bits, pixies, cs;
    int32_t write_bits;  // as passed to the writer
};

const Format kFormats[] = {
    {"u8 grey", MVTYPE_U8, 8, 1, MVCS_GREY, 8},
    {"u8 as 1 bit", MVTYPE_U8, 8, 1, MVCS_GREY, 1},
    {"u8 as 4 bits", MVTYPE_U8, 8, 1, MVCS_GREY, 4},
    {"u8 unscaled in 16", MVTYPE_U8, 8, 1, MVCS_GREY, -16},
    {"u16 12 bits", MVTYPE_U16, 12, 1, MVCS_GREY, -12},
    {"u16 as 10 bits", MVTYPE_U16, 16, 1, MVCS_GREY, 10},
    {"u16", MVTYPE_U16, 16, 1, MVCS_GREY, 16},
    {"u32", MVTYPE_U32, 32, 1, MVCS_GREY, 32},
    {"u32 24 bits", MVTYPE_U32, 24, 1, MVCS_GREY, -24},
    {"float", MVTYPE_FLOAT, 0, 1, MVCS_GREY, 32},
    {"double", MVTYPE_DOUBLE, 0, 1, MVCS_GREY, 64},
    {"rgb u8", MVTYPE_U8, 8, 3, MVCS_RGB, 8},
    {"rgb u16", MVTYPE_U16, 16, 3, MVCS_RGB, 16},
    {"cmyk u8", MVTYPE_U8, 8, 4, MVCS_CMYK, 8},
    {"two pixies", MVTYPE_U8, 8, 2, MVCS_UNKNOWN, 8},
    {"rgb 2 bits", MVTYPE_U8, 8, 3, MVCS_RGB, 2},
};

const uint32_t kCompressions[] = {1, 32773, 5, 517, 32885};

bool compression_applies(const Format& f, uint32_t c) {
    const uint32_t b = uint32_t(f.write_bits < 0 ? -f.write_bits : f.write_bits);
    if (f.type == MVTYPE_FLOAT || f.type == MVTYPE_DOUBLE) return c == 1;
    if (c == 517) return b == 8 || b == 16 || b == 32;
    if (c == 32885) return b <= 12;
    return true;
}

}  // namespace

// Every format through every compression it takes, on sizes that exercise
// row padding, several strips and a last short strip; read back into an
// image of the same format, pixels must match (after the rescaling that
// the stored bits imply).
TEST(Tiff, RoundTripsOverFormatsAndCompressions) {
    const uint32_t sizes[][2] = {{1, 1}, {7, 5}, {33, 40}, {130, 9}};
    for (const Format& f : kFormats)
        for (uint32_t c : kCompressions) {
            if (!compression_applies(f, c)) continue;
            for (auto [w, h] : sizes) {
                SCOPED_TRACE(std::string(f.name) + " compression " + std::to_string(c) + " " + std::to_string(w) +
                             "x" + std::to_string(h));
                OwnedImage src(w, h, f.type, f.bits, f.pixies, f.cs);
                src.fill_natural(w * 31 + h);
                TempPath path("rt.tif");
                const mvfileinfo p = params_for(c, 97);  // small strips: several per image
                ASSERT_EQ(mvio8_tifwrite(nullptr, &src.im, nullptr, path.c_str(), f.write_bits, 0, 0, &p), 0);
                // Unscaled values come back unchanged in an image of the stored
                // bits; rescaled ones in an image of the source's format.
                const uint32_t stored = uint32_t(f.write_bits < 0 ? -f.write_bits : f.write_bits);
                const bool unscaled = f.write_bits < 0;
                const uint32_t back_type = unscaled ? (stored <= 8 ? MVTYPE_U8 : stored <= 16 ? MVTYPE_U16 : MVTYPE_U32) : f.type;
                OwnedImage back(w, h, back_type, unscaled ? stored : f.bits, f.pixies, f.cs);
                ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
                const bool scaled = f.write_bits > 0 && f.type != MVTYPE_FLOAT && f.type != MVTYPE_DOUBLE;
                const size_t n = src.pixels.size() / src.im.pixiesize;
                for (size_t i = 0; i < n; ++i) {
                    const uint64_t want = scaled ? through_bits(pixie(src, i), f.bits, stored) : pixie(src, i);
                    ASSERT_EQ(pixie(back, i), want) << "pixie " << i;
                }
            }
        }
}

// BGR pixels are stored as RGB; read back with mode 0x100 into BGR they
// come back as they were, and a BGRx image loses only its pad.
TEST(Tiff, BgrIsStoredAsRgb) {
    for (uint32_t pixies : {3u, 4u}) {
        OwnedImage src(9, 4, MVTYPE_U8, 8, pixies, pixies == 3 ? MVCS_BGR : MVCS_BGRX);
        src.fill_natural(pixies);
        TempPath path("bgr.tif");
        ASSERT_EQ(mvio8_tifwrite(nullptr, &src.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
        EXPECT_EQ(info.pixfmt.pixies, 3u);
        EXPECT_EQ(info.pixfmt.colorspace, uint32_t(MVCS_RGB));
        OwnedImage rgb(9, 4, MVTYPE_U8, 8, 3, MVCS_RGB);
        ASSERT_EQ(mvio8_tifread(nullptr, &rgb.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
        OwnedImage bgr(9, 4, MVTYPE_U8, 8, 3, MVCS_BGR);
        ASSERT_EQ(mvio8_tifread(nullptr, &bgr.im, nullptr, path.c_str(), 0, nullptr, 0x100), 0);
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 9; ++x)
                for (uint32_t k = 0; k < 3; ++k) {
                    EXPECT_EQ(rgb.at<uint8_t>(x, y)[k], src.at<uint8_t>(x, y)[2 - k]);
                    EXPECT_EQ(bgr.at<uint8_t>(x, y)[k], src.at<uint8_t>(x, y)[k]);
                }
        mvio8_fileinfodone(&info);
    }
}

// The reading frame: colour to grey, grey to colour, another type, and
// resampling into a window of another size.
TEST(Tiff, ReadingFrameConvertsAndResamples) {
    OwnedImage src(16, 8, MVTYPE_U8, 8, 3, MVCS_RGB);
    src.fill_natural(5);
    TempPath path("frame.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &src.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    OwnedImage grey(16, 8, MVTYPE_U16, 16, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifread(nullptr, &grey.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
    for (uint32_t y = 0; y < 8; ++y)
        for (uint32_t x = 0; x < 16; ++x) {
            const uint8_t* p = src.at<uint8_t>(x, y);
            const double g = (299.0 * p[0] + 587.0 * p[1] + 114.0 * p[2]) / 1000.0;
            EXPECT_NEAR(*grey.at<uint16_t>(x, y) >> 8, g, 1.0);
        }
    // Twice the size, nearest neighbour: every source pixel becomes 2 x 2.
    OwnedImage big(32, 16, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvio8_tifread(nullptr, &big.im, nullptr, path.c_str(), 0, nullptr, 'n'), 0);
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 32; ++x)
            ASSERT_EQ(0, std::memcmp(big.at<uint8_t>(x, y), src.at<uint8_t>(x / 2, y / 2), 3));
    // Into a window of a larger image: only the window changes.
    OwnedImage host(20, 10, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvimage_setwind(&host.im, 2, 1, 18, 9), 0);
    ASSERT_EQ(mvio8_tifread(nullptr, &host.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
    EXPECT_EQ(0, std::memcmp(host.at<uint8_t>(2, 1), src.at<uint8_t>(0, 0), 3));
    EXPECT_EQ(host.at<uint8_t>(0, 0)[0], 0);
}

// Palettes: written as ColorMap (16-bit values), read back into a palette
// image (answer 1), and applied when a colour image reads the file.
TEST(Tiff, PaletteRoundTrip) {
    OwnedImage index(12, 3, MVTYPE_U8, 4, 1, MVCS_GREY);
    for (size_t i = 0; i < index.pixels.size(); ++i) index.pixels[i] = uint8_t(i * 7 % 16);
    OwnedImage pal(16, 1, MVTYPE_U8, 8, 3, MVCS_BGR);
    for (uint32_t x = 0; x < 16; ++x)
        for (uint32_t k = 0; k < 3; ++k) pal.at<uint8_t>(x, 0)[k] = uint8_t(x * 16 + k * 5);
    TempPath path("pal.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &index.im, &pal.im, path.c_str(), 4, 16, 0, nullptr), 0);
    OwnedImage back(12, 3, MVTYPE_U8, 4, 1, MVCS_GREY);
    OwnedImage pal_back(16, 1, MVTYPE_U8, 8, 3, MVCS_BGR);
    ASSERT_EQ(mvio8_tifread(nullptr, &back.im, &pal_back.im, path.c_str(), 0, nullptr, 0), 1);
    EXPECT_EQ(back.pixels, index.pixels);
    EXPECT_EQ(pal_back.pixels, pal.pixels);
    OwnedImage colour(12, 3, MVTYPE_U8, 8, 3, MVCS_BGR);
    ASSERT_EQ(mvio8_tifread(nullptr, &colour.im, nullptr, path.c_str(), 0, nullptr, 0x100), 0);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 12; ++x)
            EXPECT_EQ(0, std::memcmp(colour.at<uint8_t>(x, y), pal.at<uint8_t>(*index.at<uint8_t>(x, y), 0), 3));
}

namespace {

// A minimal walker over a written file's first IFD.
struct ParsedEntry {
    uint16_t tag, type;
    uint32_t count, value;
};
std::vector<ParsedEntry> first_ifd(const std::vector<uint8_t>& f) {
    auto u16 = [&](size_t p) { return uint16_t(f[p] | f[p + 1] << 8); };
    auto u32 = [&](size_t p) { return uint32_t(u16(p) | uint32_t(u16(p + 2)) << 16); };
    std::vector<ParsedEntry> out;
    const uint32_t ifd = u32(4);
    for (uint32_t i = 0; i < u16(ifd); ++i) {
        const size_t e = ifd + 2 + 12 * i;
        out.push_back({u16(e), u16(e + 2), u32(e + 4), u16(e + 2) == 3 && u32(e + 4) == 1 ? u16(e + 8) : u32(e + 8)});
    }
    return out;
}
const ParsedEntry* entry(const std::vector<ParsedEntry>& es, uint16_t tag) {
    for (const auto& e : es)
        if (e.tag == tag) return &e;
    return nullptr;
}

}  // namespace

TEST(Tiff, WrittenStructure) {
    struct Case {
        uint32_t w, h, pixies, cs;
        int32_t bits;
        uint32_t stripsize;
        uint16_t dim_type;
        uint32_t rows_per_strip, strips;
    } cases[] = {
        {65536, 1, 1, MVCS_GREY, 1, 0, 4, 1, 1},      // width 65536: LONG dimensions
        {65535, 1, 1, MVCS_GREY, 1, 0, 3, 1, 1},      // SHORT
        {1, 65536, 1, MVCS_GREY, 1, 0, 4, 65536 * 8, 0},  // height beyond 65535: LONG
        {1000, 100, 1, MVCS_GREY, 8, 0, 3, 65, 2},     // 1000-byte rows: 65 rows a strip
        {70000, 2, 1, MVCS_GREY, 8, 0, 4, 1, 2},       // a row larger than the target
        {10, 10, 1, MVCS_GREY, 8, 0xFFFFFFFFu, 3, 10, 1},  // one strip asked for
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
        OwnedImage im(c.w, c.h, MVTYPE_U8, 8, c.pixies, c.cs);
        TempPath path("s.tif");
        mvfileinfo p = params_for(1, c.stripsize);
        char desc[] = "abcd";
        p.texts[MVTEXT_DESCRIPTION] = desc;
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), c.bits, 0, 0, &p), 0);
        const auto es = first_ifd(mvtest::file_bytes(path.str()));
        std::vector<uint16_t> tags;
        for (const auto& e : es) tags.push_back(e.tag);
        EXPECT_TRUE(std::is_sorted(tags.begin(), tags.end()));
        const std::vector<uint16_t> want = {254, 256, 257, 258, 259, 262, 270, 273, 277, 278, 279, 284, 306};
        EXPECT_EQ(tags, want);
        EXPECT_EQ(entry(es, 256)->type, c.dim_type);
        EXPECT_EQ(entry(es, 257)->type, c.dim_type);
        EXPECT_EQ(entry(es, 270)->count, 6u);  // four characters, the zero, a pad
        EXPECT_EQ(entry(es, 306)->count, 20u);
        if (c.strips) {
            EXPECT_EQ(entry(es, 278)->value, c.rows_per_strip);
            EXPECT_EQ(entry(es, 273)->count, c.strips);
        }
    }
}

// A WhiteIsZero grey file reads inverted to BlackIsZero, whichever way its
// strips are read (several uncompressed strips in one read, or decoded).
TEST(Tiff, WhiteIsZeroIsInvertedOnReading) {
    OwnedImage im(21, 17, MVTYPE_U8, 8, 1, MVCS_GREY);
    im.fill_natural(4);
    for (uint32_t c : kCompressions) {
        SCOPED_TRACE(c);
        TempPath path("wiz.tif");
        const mvfileinfo p = params_for(c, 50);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), 8, 0, 0, &p), 0);
        auto bytes = mvtest::file_bytes(path.str());
        const uint32_t ifd = bytes[4] | bytes[5] << 8 | bytes[6] << 16 | uint32_t(bytes[7]) << 24;
        for (uint32_t i = 0; i < uint32_t(bytes[ifd] | bytes[ifd + 1] << 8); ++i) {
            const size_t e = ifd + 2 + 12 * i;
            if ((bytes[e] | bytes[e + 1] << 8) == 262) bytes[e + 8] = 0;  // Photometric 1 -> 0
        }
        mvtest::write_bytes(path.str(), bytes);
        OwnedImage back(21, 17, MVTYPE_U8, 8, 1, MVCS_GREY);
        ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
        for (size_t i = 0; i < im.pixels.size(); ++i) ASSERT_EQ(back.pixels[i], 255 - im.pixels[i]) << i;
    }
}

TEST(Tiff, RefusesBadArguments) {
    OwnedImage grey(4, 4, MVTYPE_U16, 12, 1, MVCS_GREY);
    OwnedImage flt(4, 4, MVTYPE_FLOAT, 0, 1, MVCS_GREY);
    OwnedImage five(4, 4, MVTYPE_U8, 8, 5, MVCS_UNKNOWN);
    OwnedImage pal2(4, 1, MVTYPE_U8, 8, 2, MVCS_UNKNOWN);
    const mvfileinfo lzw = params_for(5), odd = params_for(7), pred = params_for(517), arith = params_for(32885);
    struct Case {
        const char* what;
        mvimage* im;
        mvimage* pal;
        int32_t bits;
        const mvfileinfo* p;
    } cases[] = {
        {"bits 0", &grey.im, nullptr, 0, nullptr},
        {"bits 33", &grey.im, nullptr, 33, nullptr},
        {"bits -40", &grey.im, nullptr, -40, nullptr},
        {"unscaled narrower than the image", &grey.im, nullptr, -8, nullptr},
        {"float with compression", &flt.im, nullptr, 32, &lzw},
        {"unknown compression", &grey.im, nullptr, 12, &odd},
        {"differencing of 12-bit samples", &grey.im, nullptr, 12, &pred},
        {"arithmetic code beyond 12 bits", &grey.im, nullptr, 16, &arith},
        {"five samples", &five.im, nullptr, 8, nullptr},
        {"two-pixie palette", &grey.im, &pal2.im, 8, nullptr},
        {"null image", nullptr, nullptr, 8, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempPath path("bad.tif");
        EXPECT_EQ(mvio8_tifwrite(nullptr, c.im, c.pal, path.c_str(), c.bits, 16, 0, c.p), -1);
        EXPECT_FALSE(mvtest::file_exists(path.str()));
    }
    EXPECT_EQ(mvio8_tifwrite(nullptr, &grey.im, nullptr, nullptr, 12, 0, 0, nullptr), -1);
    EXPECT_EQ(mvio8_tifwrite(nullptr, &grey.im, nullptr, "/nonexistent-dir/x.tif", 12, 0, 0, nullptr), -14);
    EXPECT_EQ(mvio8_tifread(nullptr, &grey.im, nullptr, "/nonexistent-dir/x.tif", 0, nullptr, 0), -13);
}

// Appending links new images at the end of the chain; a position beyond
// the chain fails with -10 and deletes the file; fileinfoN lists images.
TEST(Tiff, AppendingAndListing) {
    TempPath path("multi.tif");
    std::vector<OwnedImage> images;
    for (uint32_t i = 0; i < 3; ++i) {
        images.emplace_back(5 + i, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
        images.back().fill_natural(i);
    }
    for (uint32_t i = 0; i < 3; ++i)
        ASSERT_EQ(mvio8_tifwrite(nullptr, &images[i].im, nullptr, path.c_str(), 8, 0, i, nullptr), 0);
    for (uint32_t i = 0; i < 3; ++i) {
        OwnedImage back(5 + i, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
        ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), i, nullptr, 0), 0);
        EXPECT_EQ(back.pixels, images[i].pixels);
    }
    OwnedImage back(5, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
    EXPECT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), 3, nullptr, 0), -10);

    mvfileinfo info[3] = {};
    ASSERT_EQ(mvio8_fileinfoN(path.c_str(), info, 2, 1, 0), 2);
    EXPECT_EQ(info[0].width, 6u);
    EXPECT_EQ(info[1].width, 7u);
    EXPECT_EQ(info[0].images, 3u);
    EXPECT_EQ(info[1].area.tif.ifdcount, 3u);
    EXPECT_STREQ(info[0].format, "tif");
    EXPECT_NE(info[0].texts[MVTEXT_DATETIME], nullptr);
    EXPECT_EQ(std::strlen(info[0].texts[MVTEXT_DATETIME]), 19u);
    for (auto& i : info) mvio8_fileinfodone(&i);

    // Appending after image 4 of a 3-image file: -10, and the file is gone.
    EXPECT_EQ(mvio8_tifwrite(nullptr, &images[0].im, nullptr, path.c_str(), 8, 0, 4, nullptr), -10);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
}

TEST(Tiff, SequenceHandle) {
    TempPath path("seq.tif");
    mvtiffile* h = nullptr;
    ASSERT_EQ(mvio8_tifwriteseqinit(nullptr, &h, path.c_str(), 0), 0);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(mvio8_tifwriteseqinit(nullptr, &h, path.c_str(), 0), -1);  // handle not null
    OwnedImage a(6, 3, MVTYPE_U16, 16, 1, MVCS_GREY), b(4, 2, MVTYPE_U8, 8, 3, MVCS_RGB);
    a.fill_natural(1);
    b.fill_natural(2);
    const mvfileinfo lzw = params_for(5);
    ASSERT_EQ(mvio8_tifwriteseqadd(nullptr, &h, nullptr, &a.im, nullptr, 16, 0, &lzw), 0);
    ASSERT_EQ(mvio8_tifwriteseqadd(nullptr, &h, nullptr, &b.im, nullptr, 8, 0, nullptr), 0);
    ASSERT_EQ(mvio8_tifwriteseqdone(nullptr, &h, nullptr), 0);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(mvio8_tifwriteseqdone(nullptr, &h, nullptr), -1);
    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
    EXPECT_EQ(info.images, 2u);
    EXPECT_EQ(info.area.tif.compression, 5u);
    mvio8_fileinfodone(&info);
    OwnedImage b2(4, 2, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvio8_tifread(nullptr, &b2.im, nullptr, path.c_str(), 1, nullptr, 0), 0);
    EXPECT_EQ(b2.pixels, b.pixels);

    // A failing add deletes the file and frees the handle.
    ASSERT_EQ(mvio8_tifwriteseqinit(nullptr, &h, path.c_str(), 0), 0);
    EXPECT_EQ(mvio8_tifwriteseqadd(nullptr, &h, nullptr, &a.im, nullptr, 0, 0, nullptr), -1);
    EXPECT_EQ(h, nullptr);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
}

namespace {
struct StopAt {
    mvabort hook;
    int32_t at, calls = 0;
};
int32_t stop_at(mvabort* hook, int32_t done, int32_t) {
    auto* s = reinterpret_cast<StopAt*>(hook);
    ++s->calls;
    return done >= s->at ? -4 : 0;
}
}  // namespace

TEST(Tiff, HookStopsWritingAndLeavesNoFile) {
    OwnedImage im(40, 30, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath path("stop.tif");
    StopAt s{{stop_at}, 10};
    EXPECT_EQ(mvio8_tifwrite(&s.hook, &im.im, nullptr, path.c_str(), 8, 0, 0, nullptr), -4);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
    StopAt never{{stop_at}, 1 << 30};
    EXPECT_EQ(mvio8_tifwrite(&never.hook, &im.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    EXPECT_GE(never.calls, 30);
}

// Resolution and texts travel from one file's record into the next file.
TEST(Tiff, FileInfoRecordServesAsWriterParameters) {
    OwnedImage im(8, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath a("a.tif"), b("b.tif");
    mvfileinfo p = params_for(32773, 24);
    p.area.tif.xresnum = 300;
    p.area.tif.xresden = 1;
    p.area.tif.yresnum = 150;
    p.area.tif.yresden = 1;
    p.area.tif.resunit = 2;
    char sw[] = "mvip test", cr[] = "(c) nobody", dt[] = "2026:11:22 10:11:12";
    p.texts[MVTEXT_SOFTWARE] = sw;
    p.texts[MVTEXT_COPYRIGHT] = cr;
    p.texts[MVTEXT_DATETIME] = dt;
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, a.c_str(), 8, 0, 0, &p), 0);
    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(a.c_str(), &info, 0x55), 0);
    EXPECT_EQ(info.area.tif.compression, 32773u);
    EXPECT_EQ(info.area.tif.xresnum, 300u);
    EXPECT_EQ(info.area.tif.yresnum, 150u);
    EXPECT_EQ(info.area.tif.resunit, 2u);
    EXPECT_EQ(info.area.tif.mode, 0x55u);
    EXPECT_STREQ(info.texts[MVTEXT_SOFTWARE], sw);
    EXPECT_STREQ(info.texts[MVTEXT_DATETIME], dt);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, b.c_str(), 8, 0, 0, &info), 0);
    mvfileinfo again{};
    ASSERT_EQ(mvio8_fileinfo(b.c_str(), &again, 0), 0);
    EXPECT_EQ(again.area.tif.compression, 32773u);
    EXPECT_STREQ(again.texts[MVTEXT_COPYRIGHT], cr);
    OwnedImage back(8, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, b.c_str(), 0, nullptr, 0), 0);
    EXPECT_FLOAT_EQ(back.im.xwidth, 1.0f / 300.0f);
    EXPECT_FLOAT_EQ(back.im.ywidth, 1.0f / 150.0f);
    EXPECT_EQ(back.im.xunits, MVUNITS_INCH);
    mvio8_fileinfodone(&info);
    mvio8_fileinfodone(&again);
}

TEST(Tiff, RecognitionAndFileInfoEdges) {
    mvfileinfo info{};
    EXPECT_EQ(mvio8_fileinfo("/nonexistent-dir/none.tif", &info, 0), -13);
    EXPECT_EQ(mvio8_fileinfo("x", nullptr, 0), -1);
    EXPECT_EQ(mvio8_fileinfoN("x", &info, 0, 0, 0), -1);
    TempPath text("t.txt");
    mvtest::write_bytes(text.str(), {'h', 'e', 'l', 'l', 'o', '\n'});
    EXPECT_EQ(mvio8_fileinfo(text.c_str(), &info, 0), -10);
    EXPECT_EQ(mvio8_fileinfodone(&info), 0);
    EXPECT_EQ(mvio8_fileinfodone(nullptr), 0);
}

// Broken files: truncated at every length, loops in the chain, random
// damage.  Every answer is a result code; the sanitizer build checks that
// nothing is read or written out of bounds and nothing leaks.
TEST(Tiff, BrokenFilesGiveCodesNotCrashes) {
    OwnedImage im(23, 11, MVTYPE_U8, 8, 3, MVCS_RGB);
    im.fill_natural(9);
    TempPath path("ok.tif"), bad("bad.tif");
    std::vector<std::vector<uint8_t>> valid;
    for (uint32_t c : kCompressions) {
        const mvfileinfo p = params_for(c, 200);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), 8, 0, 0, &p), 0);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), 8, 0, 1, &p), 0);
        valid.push_back(mvtest::file_bytes(path.str()));
    }
    OwnedImage out(23, 11, MVTYPE_U8, 8, 3, MVCS_RGB);
    auto try_read = [&](const std::vector<uint8_t>& bytes) {
        mvtest::write_bytes(bad.str(), bytes);
        const int32_t rc = mvio8_tifread(nullptr, &out.im, nullptr, bad.c_str(), 1, nullptr, 0);
        mvfileinfo info[2] = {};
        const int32_t n = mvio8_fileinfoN(bad.c_str(), info, 2, 0, 0);
        mvio8_fileinfodone(&info[0]);
        mvio8_fileinfodone(&info[1]);
        return std::pair{rc, n};
    };
    const auto& first = valid.front();
    for (size_t len = 0; len < first.size(); len += 7) {
        auto cut = std::vector<uint8_t>(first.begin(), first.begin() + long(len));
        EXPECT_LT(try_read(cut).first, 0) << "length " << len;
    }
    // The second image's link pointing back at the first: a loop.
    {
        auto loop = first;
        const uint32_t ifd1 = loop[4] | loop[5] << 8 | loop[6] << 16 | uint32_t(loop[7]) << 24;
        const uint32_t n = loop[ifd1] | loop[ifd1 + 1] << 8;
        const size_t link1 = ifd1 + 2 + 12 * n;
        const uint32_t ifd2 = loop[link1] | loop[link1 + 1] << 8 | loop[link1 + 2] << 16 | uint32_t(loop[link1 + 3]) << 24;
        const uint32_t n2 = loop[ifd2] | loop[ifd2 + 1] << 8;
        std::memcpy(&loop[ifd2 + 2 + 12 * n2], &loop[4], 4);
        EXPECT_EQ(try_read(loop).second, -10);
    }
    std::mt19937 rng(77);
    for (int round = 0; round < 800; ++round) {
        auto bytes = valid[size_t(round) % valid.size()];
        const int hits = 1 + int(rng() % 4);
        for (int k = 0; k < hits; ++k) bytes[rng() % bytes.size()] = uint8_t(rng());
        try_read(bytes);  // any result code will do
    }
}
