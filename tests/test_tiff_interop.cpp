// TIFF files checked against independent software: every file the writer
// makes passes `tiffinfo -D` without warnings and decodes (libtiff through
// tiffcp, then tifffile or Pillow) to exactly our pixels; files that tiffcp
// makes from ours read back to the same pixels; tiled and JPEG files are
// refused with -11.  The arithmetic code 32885 is the library's own and no
// other reader knows it.
#include "file_util.hpp"

#include <cstring>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

// Decodes page `key` of a TIFF file to raw native values: tifffile where it
// can, else Pillow (whose 1-, 2- and 4-bit greys are scaled to 8 bits and
// are scaled back here).
[[maybe_unused]] const char* const kDecoder = R"PY(
import sys, numpy as np
src, out, key = sys.argv[1], sys.argv[2], int(sys.argv[3])
try:
    import tifffile
    a = tifffile.imread(src, key=key)
    if a.dtype == bool:
        a = a.astype(np.uint8)
except Exception:
    from PIL import Image, ImageSequence
    im = Image.open(src)
    im.seek(key)
    bits = im.tag_v2.get(258, (8,))[0]
    a = np.array(im)
    if a.dtype == bool:
        a = a.astype(np.uint8)
    elif bits < 8:
        a = (a.astype(np.uint16) * ((1 << bits) - 1) // 255).astype(np.uint8)
a.tofile(out)
)PY";

class TiffInterop : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef _WIN32
        GTEST_SKIP() << "host tools (tiffinfo, tiffcp, Python) are not available on Windows";
#else
        if (!mvtest::have_command("tiffinfo -h; command -v tiffcp") || !mvtest::have_command("command -v tiffinfo"))
            GTEST_SKIP() << "libtiff's tools are not installed (Debian package libtiff-tools)";
        if (!mvtest::have_command(std::string(mvtest::python()) + " -c 'import numpy, tifffile, PIL'"))
            GTEST_SKIP() << "/usr/bin/python3 with numpy, tifffile and Pillow is not available";
        mvtest::write_bytes(script_.str(), std::vector<uint8_t>(kDecoder, kDecoder + std::strlen(kDecoder)));
#endif
    }

    // tiffinfo -D must accept the file without a warning or an error.
    void expect_clean_tiffinfo(const std::string& path) {
        std::string out;
        const int rc = mvtest::run_command("tiffinfo -D '" + path + "'", &out);
        EXPECT_EQ(rc, 0) << out;
        EXPECT_EQ(out.find("Warning"), std::string::npos) << out;
        EXPECT_EQ(out.find("Error"), std::string::npos) << out;
        EXPECT_EQ(out.find("Unknown"), std::string::npos) << out;
    }

    // Page `key` decoded by libtiff (tiffcp -c none) and then tifffile or
    // Pillow, as raw native values.
    std::vector<uint8_t> independent_decode(const std::string& path, int key) {
        TempPath plain("plain.tif"), raw("raw.bin");
        std::string out;
        EXPECT_EQ(mvtest::run_command("tiffcp -c none '" + path + "," + std::to_string(key) + "' '" + plain.str() + "'", &out), 0) << out;
        EXPECT_EQ(mvtest::run_command(std::string(mvtest::python()) + " '" + script_.str() + "' '" + plain.str() + "' '" +
                                          raw.str() + "' 0",
                                      &out),
                  0)
            << out;
        return mvtest::file_bytes(raw.str());
    }

    TempPath script_{"decode.py"};
};

struct Format {
    const char* name;
    uint32_t type, bits, pixies, cs;
    int32_t write_bits;
};

const Format kFormats[] = {
    {"1-bit", MVTYPE_U8, 1, 1, MVCS_GREY, 1},     {"4-bit", MVTYPE_U8, 4, 1, MVCS_GREY, 4},
    {"8-bit", MVTYPE_U8, 8, 1, MVCS_GREY, 8},     {"12-bit", MVTYPE_U16, 12, 1, MVCS_GREY, 12},
    {"16-bit", MVTYPE_U16, 16, 1, MVCS_GREY, 16}, {"32-bit", MVTYPE_U32, 32, 1, MVCS_GREY, 32},
    {"float", MVTYPE_FLOAT, 0, 1, MVCS_GREY, 32}, {"double", MVTYPE_DOUBLE, 0, 1, MVCS_GREY, 64},
    {"rgb", MVTYPE_U8, 8, 3, MVCS_RGB, 8},        {"rgb 16", MVTYPE_U16, 16, 3, MVCS_RGB, 16},
    {"cmyk", MVTYPE_U8, 8, 4, MVCS_CMYK, 8},
};

bool applies(const Format& f, uint32_t c) {
    if (f.type == MVTYPE_FLOAT || f.type == MVTYPE_DOUBLE) return c == 1;
    if (c == 517) return f.write_bits == 8 || f.write_bits == 16 || f.write_bits == 32;
    return true;
}

mvfileinfo params_for(uint32_t compression, uint32_t stripsize) {
    mvfileinfo p{};
    p.area.tif.compression = compression;
    p.area.tif.stripsize = stripsize;
    return p;
}

}  // namespace

TEST_F(TiffInterop, WrittenFilesDecodeElsewhereToOurPixels) {
    for (const Format& f : kFormats)
        for (uint32_t c : {1u, 32773u, 5u, 517u}) {
            if (!applies(f, c)) continue;
            SCOPED_TRACE(std::string(f.name) + " compression " + std::to_string(c));
            OwnedImage im(37, 13, f.type, f.bits, f.pixies, f.cs);
            im.fill_natural(c + f.bits);
            TempPath path("w.tif");
            const mvfileinfo p = params_for(c, 300);
            ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), f.write_bits, 0, 0, &p), 0);
            expect_clean_tiffinfo(path.str());
            EXPECT_EQ(independent_decode(path.str(), 0), im.pixels);
        }
}

TEST_F(TiffInterop, PaletteBgrMultiImageAndAppendedFiles) {
    // Palette image: indices decode as they are, the map is tiffinfo-clean.
    OwnedImage index(29, 7, MVTYPE_U8, 8, 1, MVCS_GREY), pal(256, 1, MVTYPE_U16, 16, 3, MVCS_RGB);
    index.fill_natural(1);
    pal.fill_natural(2);
    TempPath palfile("pal.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &index.im, &pal.im, palfile.c_str(), 8, 16, 0, nullptr), 0);
    expect_clean_tiffinfo(palfile.str());
    EXPECT_EQ(independent_decode(palfile.str(), 0), index.pixels);

    // BGR pixels decode as RGB.
    OwnedImage bgr(21, 9, MVTYPE_U8, 8, 3, MVCS_BGR);
    bgr.fill_natural(3);
    std::vector<uint8_t> rgb = bgr.pixels;
    for (size_t i = 0; i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
    TempPath bgrfile("bgr.tif");
    const mvfileinfo lzw = params_for(517, 0);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &bgr.im, nullptr, bgrfile.c_str(), 8, 0, 0, &lzw), 0);
    expect_clean_tiffinfo(bgrfile.str());
    EXPECT_EQ(independent_decode(bgrfile.str(), 0), rgb);

    // Three images by appending, then a big-endian copy appended to.
    TempPath multi("multi.tif"), big("big.tif");
    std::vector<OwnedImage> pages;
    for (uint32_t i = 0; i < 3; ++i) {
        pages.emplace_back(10 + i, 5, MVTYPE_U16, 16, 1, MVCS_GREY);
        pages.back().fill_natural(i);
        const mvfileinfo p = params_for(i == 1 ? 5 : 32773, 0);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &pages[i].im, nullptr, multi.c_str(), 16, 0, i, &p), 0);
    }
    expect_clean_tiffinfo(multi.str());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(independent_decode(multi.str(), i), pages[size_t(i)].pixels) << "page " << i;

    ASSERT_EQ(mvtest::run_command("tiffcp -B '" + multi.str() + ",0' '" + big.str() + "'"), 0);
    const mvfileinfo p = params_for(517, 0);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &pages[2].im, nullptr, big.c_str(), 16, 0, 1, &p), 0);
    const auto bytes = mvtest::file_bytes(big.str());
    ASSERT_GE(bytes.size(), 2u);
    EXPECT_EQ(bytes[0], 'M');
    expect_clean_tiffinfo(big.str());
    EXPECT_EQ(independent_decode(big.str(), 1), pages[2].pixels);
    OwnedImage back(12, 5, MVTYPE_U16, 16, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, big.c_str(), 1, nullptr, 0), 0);
    EXPECT_EQ(back.pixels, pages[2].pixels);
}

// Files that libtiff writes from ours (other compressions, byte order,
// strip sizes, several pages) read back to the same pixels.
TEST_F(TiffInterop, FilesMadeByTiffcpReadBack) {
    struct Source {
        uint32_t type, bits, pixies, cs;
    } sources[] = {{MVTYPE_U8, 8, 1, MVCS_GREY}, {MVTYPE_U16, 16, 1, MVCS_GREY}, {MVTYPE_U8, 8, 3, MVCS_RGB},
                   {MVTYPE_U8, 1, 1, MVCS_GREY}, {MVTYPE_U16, 16, 3, MVCS_RGB}};
    const char* options[] = {"-c none", "-c lzw", "-c lzw:2", "-c packbits", "-B -c lzw:2", "-r 3",
                             "-B -c packbits -r 1", "-L -c none"};
    for (const Source& s : sources) {
        OwnedImage im(45, 17, s.type, s.bits, s.pixies, s.cs);
        im.fill_natural(s.bits * 7 + s.pixies);
        TempPath ours("ours.tif");
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, ours.c_str(), int32_t(s.bits), 0, 0, nullptr), 0);
        for (const char* option : options) {
            if (s.bits == 1 && std::strstr(option, "lzw:2")) continue;  // libtiff differences bytes only
            SCOPED_TRACE(std::string(option) + " bits " + std::to_string(s.bits) + " pixies " + std::to_string(s.pixies));
            TempPath theirs("theirs.tif");
            std::string out;
            ASSERT_EQ(mvtest::run_command(std::string("tiffcp ") + option + " '" + ours.str() + "' '" + theirs.str() + "'", &out), 0) << out;
            OwnedImage back(45, 17, s.type, s.bits, s.pixies, s.cs);
            ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, theirs.c_str(), 0, nullptr, 0), 0);
            EXPECT_EQ(back.pixels, im.pixels);
        }
    }
    // Several pages in one file made by tiffcp.
    OwnedImage a(8, 8, MVTYPE_U8, 8, 1, MVCS_GREY), b(9, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    a.fill_natural(1);
    b.fill_natural(2);
    TempPath fa("a.tif"), fb("b.tif"), both("both.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &a.im, nullptr, fa.c_str(), 8, 0, 0, nullptr), 0);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &b.im, nullptr, fb.c_str(), 8, 0, 0, nullptr), 0);
    ASSERT_EQ(mvtest::run_command("tiffcp -c lzw '" + fa.str() + "' '" + fb.str() + "' '" + both.str() + "'"), 0);
    mvfileinfo info[2] = {};
    ASSERT_EQ(mvio8_fileinfoN(both.c_str(), info, 2, 0, 0), 2);
    EXPECT_EQ(info[1].width, 9u);
    mvio8_fileinfodone(&info[0]);
    mvio8_fileinfodone(&info[1]);
    OwnedImage b2(9, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifread(nullptr, &b2.im, nullptr, both.c_str(), 1, nullptr, 0), 0);
    EXPECT_EQ(b2.pixels, b.pixels);
}

TEST_F(TiffInterop, TiledJpegAndDeflateFilesAreRefused) {
    OwnedImage im(64, 64, MVTYPE_U8, 8, 3, MVCS_RGB);
    im.fill_natural(4);
    TempPath ours("o.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, ours.c_str(), 8, 0, 0, nullptr), 0);
    for (const char* option : {"-t -w 16 -l 16", "-c jpeg -r 16", "-c zip"}) {
        SCOPED_TRACE(option);
        TempPath theirs("t.tif");
        ASSERT_EQ(mvtest::run_command(std::string("tiffcp ") + option + " '" + ours.str() + "' '" + theirs.str() + "'"), 0);
        OwnedImage back(64, 64, MVTYPE_U8, 8, 3, MVCS_RGB);
        EXPECT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, theirs.c_str(), 0, nullptr, 0), -11);
        mvfileinfo info{};
        EXPECT_EQ(mvio8_fileinfo(theirs.c_str(), &info, 0), 0);  // still recognised as TIFF
        EXPECT_STREQ(info.format, "tif");
        mvio8_fileinfodone(&info);
    }
}
