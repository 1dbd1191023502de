// TIFF writer and reader: round trips over formats, compressions and strip
// sizes; the structure of written files; forms of stored data the reader
// undoes (WhiteIsZero, FillOrder 2); appending, sequences, the hook, and
// the deletion of failed files; file information; refusals and broken
// files.
#include "file_util.hpp"

#include <algorithm>
#include <cstring>
#include <functional>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

mvfileinfo params_for(uint32_t compression, uint32_t stripsize = 0) {
    mvfileinfo p{};
    p.area.tif.compression = compression;
    p.area.tif.stripsize = stripsize;
    return p;
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
    {"bgr u8", MVTYPE_U8, 8, 3, MVCS_BGR, 8},
    {"rgb u16", MVTYPE_U16, 16, 3, MVCS_RGB, 16},
    {"ycrcb u8", MVTYPE_U8, 8, 3, MVCS_YCRCB, 8},
    {"cmyk u8", MVTYPE_U8, 8, 4, MVCS_CMYK, 8},
    {"grey and alpha", MVTYPE_U8, 8, 2, MVCS_UNKNOWN, 8},
    {"rgba", MVTYPE_U8, 8, 4, MVCS_UNKNOWN, 8},
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

uint32_t u32_at(const std::vector<uint8_t>& f, size_t at) {
    return f[at] | f[at + 1] << 8 | f[at + 2] << 16 | uint32_t(f[at + 3]) << 24;
}

}  // namespace

// Every format through every compression it takes, on sizes that exercise
// row padding, several strips and a last short strip; read back (mode
// 0x100: into the same colour order) into an image of the same format,
// pixels must match after the rescaling that the stored bits imply.
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
                ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), 0, nullptr, 0x100), 0);
                const bool scaled = f.write_bits > 0 && f.type != MVTYPE_FLOAT && f.type != MVTYPE_DOUBLE;
                const uint32_t shift = scaled && f.bits > stored ? f.bits - stored : 0;
                for (size_t i = 0; i < src.pixels.size() / src.im.pixiesize; ++i)
                    ASSERT_EQ(pixie(back, i), pixie(src, i) >> shift << shift) << "pixie " << i;
            }
        }
}

// The reading frame: colour to grey, another type, resampling, and a
// window of a larger image.
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
            EXPECT_NEAR(*grey.at<uint16_t>(x, y) >> 8, (299.0 * p[0] + 587.0 * p[1] + 114.0 * p[2]) / 1000.0, 1.0);
        }
    OwnedImage big(32, 16, MVTYPE_U8, 8, 3, MVCS_RGB);  // nearest: every pixel becomes 2 x 2
    ASSERT_EQ(mvio8_tifread(nullptr, &big.im, nullptr, path.c_str(), 0, nullptr, 'n'), 0);
    for (uint32_t y = 0; y < 16; ++y)
        for (uint32_t x = 0; x < 32; ++x) ASSERT_EQ(0, std::memcmp(big.at<uint8_t>(x, y), src.at<uint8_t>(x / 2, y / 2), 3));
    OwnedImage host(20, 10, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvimage_setwind(&host.im, 2, 1, 18, 9), 0);
    ASSERT_EQ(mvio8_tifread(nullptr, &host.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
    EXPECT_EQ(0, std::memcmp(host.at<uint8_t>(2, 1), src.at<uint8_t>(0, 0), 3));
    EXPECT_EQ(host.at<uint8_t>(0, 0)[0], 0);
}

// Palettes: written as ColorMap, read back into a palette image (answer
// 1), and applied when a colour image reads the file.
TEST(Tiff, PaletteRoundTrip) {
    OwnedImage index(12, 3, MVTYPE_U8, 4, 1, MVCS_GREY);
    for (size_t i = 0; i < index.pixels.size(); ++i) index.pixels[i] = uint8_t(i * 7 % 16);
    OwnedImage pal(16, 1, MVTYPE_U8, 8, 3, MVCS_BGR);
    for (uint32_t x = 0; x < 16; ++x)
        for (uint32_t k = 0; k < 3; ++k) pal.at<uint8_t>(x, 0)[k] = uint8_t(x * 16 + k * 5);
    TempPath path("pal.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &index.im, &pal.im, path.c_str(), 4, 16, 0, nullptr), 0);
    OwnedImage back(12, 3, MVTYPE_U8, 4, 1, MVCS_GREY), pal_back(16, 1, MVTYPE_U8, 8, 3, MVCS_BGR);
    ASSERT_EQ(mvio8_tifread(nullptr, &back.im, &pal_back.im, path.c_str(), 0, nullptr, 0), 1);
    EXPECT_EQ(back.pixels, index.pixels);
    EXPECT_EQ(pal_back.pixels, pal.pixels);
    OwnedImage colour(12, 3, MVTYPE_U8, 8, 3, MVCS_BGR);
    ASSERT_EQ(mvio8_tifread(nullptr, &colour.im, nullptr, path.c_str(), 0, nullptr, 0x100), 0);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 12; ++x)
            EXPECT_EQ(0, std::memcmp(colour.at<uint8_t>(x, y), pal.at<uint8_t>(*index.at<uint8_t>(x, y), 0), 3));
}

TEST(Tiff, WrittenStructure) {
    struct Size {
        uint32_t w, h;
        int32_t bits;
        uint32_t stripsize;
        uint16_t dim_type;
        uint32_t rows_per_strip, strips;
    } sizes[] = {
        {65536, 1, 1, 0, 4, 1, 1},             // width 65536: LONG dimensions
        {65535, 1, 1, 0, 3, 1, 1},             // SHORT
        {1, 65536, 1, 0, 4, 65536 * 8, 1},     // height beyond 65535: LONG
        {1000, 100, 8, 0, 3, 65, 2},           // 1000-byte rows: 65 rows a strip
        {70000, 2, 8, 0, 4, 1, 2},             // a row larger than the target
        {10, 10, 8, 0xFFFFFFFFu, 3, 10, 1},    // one strip asked for
    };
    for (const Size& c : sizes) {
        SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
        OwnedImage im(c.w, c.h, MVTYPE_U8, 8, 1, MVCS_GREY);
        TempPath path("s.tif");
        mvfileinfo p = params_for(1, c.stripsize);
        char desc[] = "abcd";
        p.texts[MVTEXT_DESCRIPTION] = desc;
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), c.bits, 0, 0, &p), 0);
        const mvtest::TiffBytes file{mvtest::file_bytes(path.str())};
        auto es = file.entries();
        std::vector<uint16_t> tags, in_order;
        for (const auto& e : es) tags.push_back(e.first);
        for (uint32_t i = 0; i < es.size(); ++i) in_order.push_back(uint16_t(file.get(file.ifd(0) + 2 + 12 * i, 2)));
        EXPECT_EQ(in_order, tags);  // ascending
        EXPECT_EQ(tags, (std::vector<uint16_t>{254, 256, 257, 258, 259, 262, 270, 273, 277, 278, 279, 284, 306}));
        EXPECT_EQ(es[256].type, c.dim_type);
        EXPECT_EQ(es[257].type, c.dim_type);
        EXPECT_EQ(es[270].count, 5u);  // four characters and the zero; a pad byte stays outside
        EXPECT_EQ(es[270].values, (std::vector<uint32_t>{'a', 'b', 'c', 'd', 0}));
        EXPECT_EQ(es[306].count, 20u);
        EXPECT_EQ(es[278].values[0], std::min(c.rows_per_strip, c.h));
        EXPECT_EQ(es[273].count, c.strips);
    }

    // The stored form by pixel format: photometric, samples, extra samples
    // (2 unassociated alpha, 0 unspecified), and YCbCr's full-range tags.
    using V = std::vector<uint32_t>;
    struct Kind {
        const char* name;
        uint32_t type, pixies, cs;
        uint32_t photometric, samples;
        V extra, more;  // ExtraSamples; YCbCrSubSampling and ReferenceBlackWhite
    } kinds[] = {
        {"grey", MVTYPE_U8, 1, MVCS_GREY, 1, 1, {}, {}},
        {"grey and alpha", MVTYPE_U8, 2, MVCS_UNKNOWN, 1, 2, {2}, {}},
        {"complex", MVTYPE_FLOAT, 2, MVCS_COMPLEX, 1, 2, {0}, {}},
        {"three of no colour code", MVTYPE_U8, 3, MVCS_UNKNOWN, 1, 3, {0, 0}, {}},
        {"rgba", MVTYPE_U16, 4, MVCS_UNKNOWN, 2, 4, {2}, {}},
        {"bgrx", MVTYPE_U8, 4, MVCS_BGRX, 2, 3, {}, {}},
        {"cmyk", MVTYPE_U8, 4, MVCS_CMYK, 5, 4, {}, {}},
        {"ycrcb", MVTYPE_U8, 3, MVCS_YCRCB, 6, 3, {}, {1, 1, 0, 1, 255, 1, 128, 1, 255, 1, 128, 1, 255, 1}},
        {"ycrcb 16", MVTYPE_U16, 3, MVCS_YCRCB, 6, 3, {}, {1, 1, 0, 1, 65535, 1, 32768, 1, 65535, 1, 32768, 1, 65535, 1}},
    };
    for (const Kind& k : kinds) {
        SCOPED_TRACE(k.name);
        OwnedImage im(3, 2, k.type, 0, k.pixies, k.cs);
        TempPath path("k.tif");
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), int32_t(im.im.pixfmt.bits), 0, 0, nullptr), 0);
        auto es = mvtest::TiffBytes{mvtest::file_bytes(path.str())}.entries();
        EXPECT_EQ(es[262].values, V{k.photometric});
        EXPECT_EQ(es[277].values, V{k.samples});
        EXPECT_EQ(es.count(338) ? es[338].values : V{}, k.extra);
        V more = es.count(530) ? es[530].values : V{};
        if (es.count(532)) more.insert(more.end(), es[532].values.begin(), es[532].values.end());
        EXPECT_EQ(more, k.more);
    }
}

// Stored forms the reader undoes, made from our own files: WhiteIsZero
// (Photometric 0) reads inverted; FillOrder 2 (the entry of tag 254 turned
// into tag 266, the bits of every strip byte reversed) reads as before,
// whichever way the strips are read (several uncompressed strips at once,
// row by row, or decoded).  A YCbCr file with subsampled chroma is refused.
TEST(Tiff, ReadsWhiteIsZeroAndFillOrder2) {
    for (const int32_t bits : {8, 4})
        for (const char* form : {"white is zero", "fill order 2"})
            for (uint32_t c : kCompressions) {
                SCOPED_TRACE(std::string(form) + " bits " + std::to_string(bits) + " compression " + std::to_string(c));
                if (c == 517 && bits == 4) continue;
                OwnedImage im(21, 17, MVTYPE_U8, uint32_t(bits), 1, MVCS_GREY);
                im.fill_natural(4);
                TempPath path("form.tif");
                const mvfileinfo p = params_for(c, 50);
                ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), -bits, 0, 0, &p), 0);
                mvtest::TiffBytes file{mvtest::file_bytes(path.str())};
                auto es = file.entries();
                const bool invert = std::strcmp(form, "white is zero") == 0;
                if (invert) {
                    file.put(es[262].at + 8, 0, 2);
                } else {
                    file.put(es[254].at, 266, 2);
                    file.put(es[254].at + 2, 3, 2);
                    file.put(es[254].at + 8, 2, 4);
                    for (size_t s = 0; s < es[273].count; ++s)
                        for (uint32_t i = 0; i < es[279].values[s]; ++i) {
                            uint8_t& b = file.f[es[273].values[s] + i];
                            uint8_t r = 0;
                            for (int k = 0; k < 8; ++k) r = uint8_t(r | ((b >> k) & 1) << (7 - k));
                            b = r;
                        }
                }
                mvtest::write_bytes(path.str(), file.f);
                OwnedImage back(21, 17, MVTYPE_U8, uint32_t(bits), 1, MVCS_GREY);
                ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
                const int top = (1 << bits) - 1;
                for (size_t i = 0; i < im.pixels.size(); ++i)
                    ASSERT_EQ(back.pixels[i], invert ? top - im.pixels[i] : im.pixels[i]) << i;
            }

    OwnedImage ycc(8, 4, MVTYPE_U8, 8, 3, MVCS_YCRCB);
    TempPath path("ycc.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &ycc.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    mvtest::TiffBytes file{mvtest::file_bytes(path.str())};
    const size_t at = file.entries()[530].at;
    file.put(at + 8, 2, 2);
    file.put(at + 10, 2, 2);
    mvtest::write_bytes(path.str(), file.f);
    EXPECT_EQ(mvio8_tifread(nullptr, &ycc.im, nullptr, path.c_str(), 0, nullptr, 0), -11);
}

// Refused arguments give -1 and leave no file: not when creating, and not
// when the call names an existing file to replace or to append to.
TEST(Tiff, RefusesBadArgumentsAndDeletesTheFile) {
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
    for (const Case& c : cases)
        for (uint32_t position : {0u, 1u}) {
            SCOPED_TRACE(std::string(c.what) + " at position " + std::to_string(position));
            TempPath path("bad.tif");
            if (position) {
                ASSERT_EQ(mvio8_tifwrite(nullptr, &grey.im, nullptr, path.c_str(), 12, 0, 0, nullptr), 0);
            }
            EXPECT_EQ(mvio8_tifwrite(nullptr, c.im, c.pal, path.c_str(), c.bits, 16, position, c.p), -1);
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
        ASSERT_EQ(mvio8_tifwrite(nullptr, &images[i].im, nullptr, path.c_str(), 8, 0, i, nullptr), 0);
    }
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
    ASSERT_NE(info[0].texts[MVTEXT_DATETIME], nullptr);
    EXPECT_EQ(std::strlen(info[0].texts[MVTEXT_DATETIME]), 19u);
    for (auto& i : info) mvio8_fileinfodone(&i);

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

// A stack goes to one IFD per plane of its window and reads back whole,
// page by page, from an index, and into another format.  The hook hears
// (ordinal, planes) before each plane and while the plane is worked on.
TEST(Tiff, StacksRoundTrip) {
    const struct {
        const char* name;
        uint32_t type, bits, pixies, cs, compression;
    } cases[] = {
        {"u16 grey lzw-pred", MVTYPE_U16, 16, 1, MVCS_GREY, 517},
        {"u8 rgb packbits", MVTYPE_U8, 8, 3, MVCS_RGB, 32773},
        {"4-bit arith", MVTYPE_U8, 4, 1, MVCS_GREY, 32885},
        {"float", MVTYPE_FLOAT, 0, 1, MVCS_GREY, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const bool floating = c.type == MVTYPE_FLOAT;
        mvtest::OwnedStack st(13, 7, 5, c.type, c.bits, c.pixies, c.cs);
        st.flat.fill_natural(c.compression);
        ASSERT_EQ(mvimage3_setwind(&st.im, 0, 0, 1, 13, 7, 4), 0);  // planes 1 .. 3
        TempPath path("stack.tif");
        const mvfileinfo p = params_for(c.compression, 40);
        mvtest::ScriptedHook hook;
        ASSERT_EQ(mvio8_tifwriteseq(&hook.hook, &st.im, nullptr, path.c_str(), floating ? 32 : int32_t(c.bits), 0, 0, &p), 0);
        ASSERT_GT(hook.calls.size(), 4u);
        EXPECT_EQ(hook.calls[0], std::make_pair(0, 0));
        EXPECT_EQ(hook.calls[1], std::make_pair(1, 3));
        EXPECT_EQ(hook.calls.back(), std::make_pair(3, 3));
        for (size_t i = 2; i < hook.calls.size(); ++i) {
            EXPECT_EQ(hook.calls[i].second, 3);
            EXPECT_LE(hook.calls[i - 1].first, hook.calls[i].first);
        }
        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
        EXPECT_EQ(info.images, 3u);
        mvio8_fileinfodone(&info);

        mvtest::OwnedStack back(13, 7, 3, c.type, c.bits, c.pixies, c.cs);
        ASSERT_EQ(mvio8_tifreadseq(nullptr, &back.im, nullptr, path.c_str(), 0, nullptr, 0), 0);
        EXPECT_EQ(back.flat.pixels, st.planes(1, 3));
        for (uint32_t k = 0; k < 3; ++k) {
            OwnedImage page(13, 7, c.type, c.bits, c.pixies, c.cs);
            ASSERT_EQ(mvio8_tifread(nullptr, &page.im, nullptr, path.c_str(), k, nullptr, 0), 0);
            EXPECT_EQ(page.pixels, st.planes(1 + k, 1)) << "page " << k;
        }
        mvtest::OwnedStack tail(13, 7, 2, c.type, c.bits, c.pixies, c.cs);
        ASSERT_EQ(mvio8_tifreadseq(nullptr, &tail.im, nullptr, path.c_str(), 1, nullptr, 0), 0);
        EXPECT_EQ(tail.flat.pixels, st.planes(2, 2));

        // Into u8 grey at half the size: every page converted and resampled
        // as the 2-D reader does it.
        mvtest::OwnedStack small(7, 4, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
        ASSERT_EQ(mvio8_tifreadseq(nullptr, &small.im, nullptr, path.c_str(), 0, nullptr, 'n'), 0);
        std::vector<uint8_t> want;
        for (uint32_t k = 0; k < 3; ++k) {
            OwnedImage page(7, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
            ASSERT_EQ(mvio8_tifread(nullptr, &page.im, nullptr, path.c_str(), k, nullptr, 'n'), 0);
            want.insert(want.end(), page.pixels.begin(), page.pixels.end());
        }
        EXPECT_EQ(small.flat.pixels, want);
    }
}

// Bad arguments and short files: -1 (the named file deleted when writing),
// -10 for fewer images than planes with the stack untouched; a stop by the
// hook while reading is returned.
TEST(Tiff, StackBadInputAndStops) {
    mvtest::OwnedStack st(8, 6, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    st.flat.fill_natural(4);
    TempPath path("stack.tif");
    auto write = [&](mvimage3* im, int32_t bits, uint32_t position = 0) {
        return mvio8_tifwriteseq(nullptr, im, nullptr, path.c_str(), bits, 0, position, nullptr);
    };
    mvimage3 flat = st.im;
    ASSERT_EQ(mvimage3_setwind(&flat, 0, 0, 1, 8, 6, 1), 0);  // no planes
    const struct {
        const char* name;
        std::function<int32_t()> call;
    } refusals[] = {
        {"null image", [&] { return write(nullptr, 8); }},
        {"no planes", [&] { return write(&flat, 8); }},
        {"bits 0", [&] { return write(&st.im, 0); }},
        {"append beyond the chain", [&] { return write(&st.im, 8, 5); }},
    };
    for (const auto& r : refusals) {
        SCOPED_TRACE(r.name);
        ASSERT_EQ(write(&st.im, 8), 0);
        EXPECT_EQ(r.call(), r.name == refusals[3].name ? -10 : -1);
        EXPECT_FALSE(mvtest::file_exists(path.str()));
    }
    EXPECT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, nullptr, 8, 0, 0, nullptr), -1);

    ASSERT_EQ(write(&st.im, 8), 0);
    mvtest::OwnedStack deeper(8, 6, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
    std::fill(deeper.flat.pixels.begin(), deeper.flat.pixels.end(), uint8_t(0xAB));
    const auto untouched = deeper.flat.pixels;
    EXPECT_EQ(mvio8_tifreadseq(nullptr, &deeper.im, nullptr, path.c_str(), 0, nullptr, 0), -10);
    EXPECT_EQ(mvio8_tifreadseq(nullptr, &st.im, nullptr, path.c_str(), 1, nullptr, 0), -10);
    EXPECT_EQ(deeper.flat.pixels, untouched);
    EXPECT_EQ(mvio8_tifreadseq(nullptr, nullptr, nullptr, path.c_str(), 0, nullptr, 0), -1);
    EXPECT_EQ(mvio8_tifreadseq(nullptr, &st.im, nullptr, nullptr, 0, nullptr, 0), -1);
    EXPECT_EQ(mvio8_tifreadseq(nullptr, &flat, nullptr, path.c_str(), 0, nullptr, 0), -1);

    for (const int32_t answer : {-4, 7}) {
        mvtest::ScriptedHook hook;
        hook.at_line = 2;  // the first call for the second plane
        hook.stop = answer;
        ASSERT_EQ(write(&st.im, 8), 0);
        EXPECT_EQ(mvio8_tifreadseq(&hook.hook, &deeper.im, nullptr, path.c_str(), 0, nullptr, 0), -10);
        EXPECT_EQ(mvio8_tifreadseq(&hook.hook, &st.im, nullptr, path.c_str(), 0, nullptr, 0), answer);
        EXPECT_EQ(hook.calls.back(), std::make_pair(2, 3));
    }
}

// Every file call polls the hook once at entry and returns a non-zero
// answer at once: no file is made, changed or deleted, no image changed,
// an open handle stays open.
TEST(Files, HookIsPolledOnceAtEntry) {
    OwnedImage im(6, 4, MVTYPE_U8, 8, 1, MVCS_GREY), other(6, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
    im.fill_natural(3);
    TempPath tif("entry.tif"), bmp("entry.bmp"), seq("seq.tif"), fresh("fresh.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &other.im, nullptr, tif.c_str(), 8, 0, 0, nullptr), 0);
    ASSERT_EQ(mvio8_bmpwrite(nullptr, &other.im, bmp.c_str(), 0), 0);
    mvtiffile *open = nullptr, *none = nullptr;
    ASSERT_EQ(mvio8_tifwriteseqinit(nullptr, &open, seq.c_str(), 0), 0);
    const auto tif_bytes = mvtest::file_bytes(tif.str()), bmp_bytes = mvtest::file_bytes(bmp.str());
    const auto pixels = im.pixels;
    const std::pair<const char*, std::function<int32_t(mvabort*)>> calls[] = {
        {"tifwrite", [&](mvabort* h) { return mvio8_tifwrite(h, &im.im, nullptr, tif.c_str(), 8, 0, 1, nullptr); }},
        {"tifwrite new", [&](mvabort* h) { return mvio8_tifwrite(h, &im.im, nullptr, fresh.c_str(), 8, 0, 0, nullptr); }},
        {"tifread", [&](mvabort* h) { return mvio8_tifread(h, &im.im, nullptr, tif.c_str(), 0, nullptr, 0); }},
        {"tifwriteseq", [&](mvabort* h) { return mvio8_tifwriteseq(h, nullptr, nullptr, tif.c_str(), 8, 0, 0, nullptr); }},
        {"tifreadseq", [&](mvabort* h) { return mvio8_tifreadseq(h, nullptr, nullptr, tif.c_str(), 0, nullptr, 0); }},
        {"seqinit", [&](mvabort* h) { return mvio8_tifwriteseqinit(h, &none, fresh.c_str(), 0); }},
        {"seqadd", [&](mvabort* h) { return mvio8_tifwriteseqadd(h, &open, nullptr, &im.im, nullptr, 8, 0, nullptr); }},
        {"seqdone", [&](mvabort* h) { return mvio8_tifwriteseqdone(h, &open, nullptr); }},
        {"bmpwrite", [&](mvabort* h) { return mvio8_bmpwrite(h, &im.im, bmp.c_str(), 0); }},
        {"bmpread", [&](mvabort* h) { return mvio8_bmpread(h, &im.im, nullptr, bmp.c_str(), 0); }},
    };
    for (const auto& [name, call] : calls) {
        SCOPED_TRACE(name);
        mvtest::ScriptedHook hook;
        hook.answers = {-4, 0};
        EXPECT_EQ(call(&hook.hook), -4);
        EXPECT_EQ(hook.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, 0}}));
        EXPECT_EQ(mvtest::file_bytes(tif.str()), tif_bytes);
        EXPECT_EQ(mvtest::file_bytes(bmp.str()), bmp_bytes);
        EXPECT_FALSE(mvtest::file_exists(fresh.str()));
        EXPECT_EQ(im.pixels, pixels);
        EXPECT_EQ(none, nullptr);
        EXPECT_NE(open, nullptr);
    }
    EXPECT_EQ(mvio8_tifwriteseqdone(nullptr, &open, nullptr), 0);
}

// A stop by the hook while writing (any non-zero answer, positive too) is
// returned and deletes the file, also one that was appended to; a sequence
// handle is freed.  Without a stop the writers poll every row (BMP: every
// eighth line).
TEST(Files, HookStopWhileWritingDeletesTheFile) {
    OwnedImage im(40, 30, MVTYPE_U8, 8, 1, MVCS_GREY);
    mvtest::OwnedStack st(8, 6, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath path("stop.tif");
    const std::pair<const char*, std::function<int32_t(mvabort*, uint32_t)>> writers[] = {
        {"tifwrite", [&](mvabort* h, uint32_t at) { return mvio8_tifwrite(h, &im.im, nullptr, path.c_str(), 8, 0, at, nullptr); }},
        {"tifwriteseq", [&](mvabort* h, uint32_t at) { return mvio8_tifwriteseq(h, &st.im, nullptr, path.c_str(), 8, 0, at, nullptr); }},
        {"seqadd", [&](mvabort* h, uint32_t at) {
             mvtiffile* f = nullptr;
             EXPECT_EQ(mvio8_tifwriteseqinit(nullptr, &f, path.c_str(), at), 0);
             const int32_t rc = mvio8_tifwriteseqadd(h, &f, nullptr, &im.im, nullptr, 8, 0, nullptr);
             if (rc == 0) mvio8_tifwriteseqdone(nullptr, &f, nullptr);
             EXPECT_EQ(f, nullptr);
             return rc;
         }},
        {"bmpwrite", [&](mvabort* h, uint32_t) { return mvio8_bmpwrite(h, &im.im, path.c_str(), 0); }},
    };
    for (const auto& [name, write] : writers)
        for (const int32_t answer : {-4, 7})
            for (uint32_t position : {0u, 1u}) {
                SCOPED_TRACE(std::string(name) + " " + std::to_string(answer) + " at position " + std::to_string(position));
                ASSERT_EQ(write(nullptr, 0), 0);  // the file appended to, or replaced
                mvtest::ScriptedHook hook;
                hook.at_line = 2;  // the third row, the second plane
                hook.stop = answer;
                EXPECT_EQ(write(&hook.hook, position), answer);
                EXPECT_FALSE(mvtest::file_exists(path.str()));
            }
    mvtest::ScriptedHook never, bmp;
    EXPECT_EQ(mvio8_tifwrite(&never.hook, &im.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    EXPECT_EQ(never.calls.size(), 31u);  // entry, then every row
    EXPECT_EQ(never.calls.back(), std::make_pair(29, 30));
    EXPECT_EQ(mvio8_bmpwrite(&bmp.hook, &im.im, path.c_str(), 0), 0);
    EXPECT_EQ(bmp.calls, (std::vector<std::pair<int32_t, int32_t>>{{0, 0}, {0, 30}, {8, 30}, {16, 30}, {24, 30}}));
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
    const mvfileinfo_tif& t = info.area.tif;
    EXPECT_EQ((std::vector<uint32_t>{t.compression, t.xresnum, t.xresden, t.yresnum, t.resunit, t.mode}),
              (std::vector<uint32_t>{32773, 300, 1, 150, 2, 0x55}));
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
    for (size_t len = 0; len < first.size(); len += 7)
        EXPECT_LT(try_read(std::vector<uint8_t>(first.begin(), first.begin() + long(len))).first, 0) << "length " << len;
    // The second image's link pointing back at the first: a loop.
    mvtest::TiffBytes loop{first};
    const size_t ifd2 = loop.ifd(1);
    loop.put(ifd2 + 2 + 12 * loop.get(ifd2, 2), u32_at(first, 4), 4);
    EXPECT_EQ(try_read(loop.f).second, -10);
    std::mt19937 rng(77);
    for (int round = 0; round < 800; ++round) {
        auto bytes = valid[size_t(round) % valid.size()];
        for (int k = 1 + int(rng() % 4); k > 0; --k) bytes[rng() % bytes.size()] = uint8_t(rng());
        try_read(bytes);  // any result code will do
    }
}
