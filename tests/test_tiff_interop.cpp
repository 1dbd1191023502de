// TIFF files checked against independent software: every file the writer
// makes passes `tiffinfo -D` without warnings and decodes (libtiff through
// tiffcp, then tifffile or Pillow) to exactly our pixels; files that tiffcp
// makes from ours (other compressions, byte order, fill order, strips,
// pages) read back to the same pixels; tiled, JPEG and Deflate files are
// described but refused.  The arithmetic code 32885 is the library's own
// and no other reader knows it.
#include "file_util.hpp"

#include <cstring>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

// Decodes page `key` of a TIFF file to raw native values: tifffile where it
// can (unless the fourth argument is "pil"), else Pillow (whose 1-, 2- and
// 4-bit greys are scaled to 8 bits and are scaled back here).  Key -1:
// every page by tifffile, one after the other.
[[maybe_unused]] const char* const kDecoder = R"PY(
import sys, numpy as np
src, out, key = sys.argv[1], sys.argv[2], int(sys.argv[3])
if key < 0:
    import tifffile
    with tifffile.TiffFile(src) as t:
        np.concatenate([p.asarray().ravel() for p in t.pages]).tofile(out)
    sys.exit(0)
try:
    if sys.argv[4:] == ["pil"]:
        raise ImportError
    import tifffile
    a = tifffile.imread(src, key=key)
    if a.dtype == bool:
        a = a.astype(np.uint8)
except Exception:
    from PIL import Image
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
        if (!mvtest::have_command("command -v tiffinfo && command -v tiffcp && command -v tiff2rgba"))
            GTEST_SKIP() << "libtiff's tools are not installed (Debian package libtiff-tools)";
        if (!mvtest::have_command(std::string(mvtest::python()) + " -c 'import numpy, tifffile, PIL'"))
            GTEST_SKIP() << "/usr/bin/python3 with numpy, tifffile and Pillow is not available";
        mvtest::write_bytes(script_.str(), std::vector<uint8_t>(kDecoder, kDecoder + std::strlen(kDecoder)));
#endif
    }

    // tiffinfo -D must accept the file without a warning or an error.
    void expect_clean_tiffinfo(const std::string& path) {
        std::string out;
        EXPECT_EQ(mvtest::run_command("tiffinfo -D '" + path + "'", &out), 0) << out;
        for (const char* word : {"Warning", "Error", "Unknown"}) EXPECT_EQ(out.find(word), std::string::npos) << out;
    }

    int tiffcp(const std::string& options, const std::string& from, const std::string& to) {
        std::string out;
        const int rc = mvtest::run_command("tiffcp " + options + " '" + from + "' '" + to + "'", &out);
        EXPECT_EQ(rc, 0) << out;
        return rc;
    }

    // Page `key` decoded by libtiff (tiffcp -c none) and then tifffile or
    // Pillow (`how` "pil"), as raw native values.
    std::vector<uint8_t> independent_decode(const std::string& path, int key, const char* how = "") {
        TempPath plain("plain.tif"), raw("raw.bin");
        std::string out;
        tiffcp("-c none", path + "," + std::to_string(key), plain.str());
        EXPECT_EQ(mvtest::run_command(std::string(mvtest::python()) + " '" + script_.str() + "' '" + plain.str() +
                                          "' '" + raw.str() + "' 0 " + how, &out), 0) << out;
        return mvtest::file_bytes(raw.str());
    }

    // Every page of the file as tifffile reads it, one after the other;
    // compressed files decoded by libtiff first (tiffcp -c none copies
    // every page), as this tifffile has no LZW without imagecodecs.
    std::vector<uint8_t> tifffile_pages(const std::string& path, bool compressed) {
        TempPath plain("plain.tif"), raw("pages.bin");
        if (compressed) tiffcp("-c none", path, plain.str());
        std::string out;
        EXPECT_EQ(mvtest::run_command(std::string(mvtest::python()) + " '" + script_.str() + "' '" +
                                          (compressed ? plain.str() : path) + "' '" + raw.str() + "' -1", &out), 0)
            << out;
        return mvtest::file_bytes(raw.str());
    }

    TempPath script_{"decode.py"};
};

mvfileinfo params_for(uint32_t compression, uint32_t stripsize = 0) {
    mvfileinfo p{};
    p.area.tif.compression = compression;
    p.area.tif.stripsize = stripsize;
    return p;
}

}  // namespace

TEST_F(TiffInterop, WrittenFilesDecodeElsewhereToOurPixels) {
    struct Format {
        const char* name;
        uint32_t type, bits, pixies, cs;
        bool pillow_too;  // also decoded by Pillow alone (alpha images)
    } formats[] = {
        {"1-bit", MVTYPE_U8, 1, 1, MVCS_GREY, false},   {"4-bit", MVTYPE_U8, 4, 1, MVCS_GREY, false},
        {"8-bit", MVTYPE_U8, 8, 1, MVCS_GREY, false},   {"12-bit", MVTYPE_U16, 12, 1, MVCS_GREY, false},
        {"16-bit", MVTYPE_U16, 16, 1, MVCS_GREY, false}, {"32-bit", MVTYPE_U32, 32, 1, MVCS_GREY, false},
        {"float", MVTYPE_FLOAT, 0, 1, MVCS_GREY, false}, {"double", MVTYPE_DOUBLE, 0, 1, MVCS_GREY, false},
        {"rgb", MVTYPE_U8, 8, 3, MVCS_RGB, false},       {"rgb 16", MVTYPE_U16, 16, 3, MVCS_RGB, false},
        {"cmyk", MVTYPE_U8, 8, 4, MVCS_CMYK, false},     {"ycrcb", MVTYPE_U8, 8, 3, MVCS_YCRCB, false},
        {"grey and alpha", MVTYPE_U8, 8, 2, MVCS_UNKNOWN, true}, {"rgba", MVTYPE_U8, 8, 4, MVCS_UNKNOWN, true},
    };
    for (const Format& f : formats)
        for (uint32_t c : {1u, 32773u, 5u, 517u}) {
            const bool floating = f.type == MVTYPE_FLOAT || f.type == MVTYPE_DOUBLE;
            if ((floating && c != 1) || (c == 517 && f.bits != 8 && f.bits != 16 && f.bits != 32)) continue;
            SCOPED_TRACE(std::string(f.name) + " compression " + std::to_string(c));
            OwnedImage im(37, 13, f.type, f.bits, f.pixies, f.cs);
            im.fill_natural(c + f.bits);
            TempPath path("w.tif");
            const mvfileinfo p = params_for(c, 300);
            ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, path.c_str(), floating ? 32 : int32_t(f.bits), 0, 0, &p), 0);
            expect_clean_tiffinfo(path.str());
            std::vector<uint8_t> want = im.pixels;
            if (f.cs == MVCS_YCRCB)  // stored Y, Cb, Cr
                for (size_t i = 0; i < want.size(); i += 3) std::swap(want[i + 1], want[i + 2]);
            EXPECT_EQ(independent_decode(path.str(), 0), want);
            if (f.pillow_too) {
                EXPECT_EQ(independent_decode(path.str(), 0, "pil"), want);
            }
        }
}

// libtiff turns our YCbCr files into the colours our converter gives.
TEST_F(TiffInterop, YCbCrColoursAgreeWithLibtiff) {
    OwnedImage ycc(29, 11, MVTYPE_U8, 8, 3, MVCS_YCRCB);
    ycc.fill_natural(8);
    TempPath path("ycc.tif"), rgba("rgba.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &ycc.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    std::string out;
    ASSERT_EQ(mvtest::run_command("tiff2rgba -c none '" + path.str() + "' '" + rgba.str() + "'", &out), 0) << out;
    const auto theirs = independent_decode(rgba.str(), 0);
    OwnedImage ours(29, 11, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvio8_tifread(nullptr, &ours.im, nullptr, path.c_str(), 0, nullptr, 0x100), 0);
    ASSERT_EQ(theirs.size(), size_t(29) * 11 * 4);
    for (size_t i = 0; i < size_t(29) * 11; ++i)
        for (size_t k = 0; k < 3; ++k) ASSERT_NEAR(theirs[4 * i + k], ours.pixels[3 * i + k], 2) << i;
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

    // BGR and BGRx pixels decode as RGB.
    for (uint32_t pixies : {3u, 4u}) {
        OwnedImage bgr(21, 9, MVTYPE_U8, 8, pixies, pixies == 3 ? MVCS_BGR : MVCS_BGRX);
        bgr.fill_natural(3);
        std::vector<uint8_t> rgb;
        for (size_t i = 0; i < bgr.pixels.size(); i += pixies) rgb.insert(rgb.end(), {bgr.pixels[i + 2], bgr.pixels[i + 1], bgr.pixels[i]});
        TempPath bgrfile("bgr.tif");
        const mvfileinfo lzw = params_for(517);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &bgr.im, nullptr, bgrfile.c_str(), 8, 0, 0, &lzw), 0);
        expect_clean_tiffinfo(bgrfile.str());
        EXPECT_EQ(independent_decode(bgrfile.str(), 0), rgb);
    }

    // Three images by appending, then big-endian copies appended to, in
    // 16 and in 24 bits (the 24-bit one checked after libtiff has turned it
    // little-endian again).
    TempPath multi("multi.tif");
    std::vector<OwnedImage> pages;
    for (uint32_t i = 0; i < 3; ++i) {
        pages.emplace_back(10 + i, 5, MVTYPE_U16, 16, 1, MVCS_GREY);
        pages.back().fill_natural(i);
        const mvfileinfo p = params_for(i == 1 ? 5 : 32773);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &pages[i].im, nullptr, multi.c_str(), 16, 0, i, &p), 0);
    }
    expect_clean_tiffinfo(multi.str());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(independent_decode(multi.str(), i), pages[size_t(i)].pixels) << "page " << i;

    auto reads_as = [](const std::string& file, uint32_t index, const OwnedImage& want) {
        OwnedImage back(want.width(), want.height(), want.im.pixfmt.datatype, want.im.pixfmt.bits, 1, MVCS_GREY);
        EXPECT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, file.c_str(), index, nullptr, 0), 0);
        return back.pixels == want.pixels;
    };
    OwnedImage deep(7, 3, MVTYPE_U32, 24, 1, MVCS_GREY);
    deep.fill_natural(4);
    for (OwnedImage* im : {&pages[2], &deep}) {
        const bool wide = im == &deep;
        SCOPED_TRACE(wide ? "24 bits" : "16 bits");
        TempPath big("big.tif"), little("little.tif");
        ASSERT_EQ(tiffcp("-B", multi.str() + ",0", big.str()), 0);
        const mvfileinfo p = params_for(wide ? 32773 : 517);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im->im, nullptr, big.c_str(), wide ? -24 : 16, 0, 1, &p), 0);
        EXPECT_EQ(mvtest::file_bytes(big.str()).at(0), 'M');
        expect_clean_tiffinfo(big.str());
        if (!wide) {
            EXPECT_EQ(independent_decode(big.str(), 1), im->pixels);
        }
        EXPECT_TRUE(reads_as(big.str(), 1, *im));
        ASSERT_EQ(tiffcp("-L", big.str() + ",1", little.str()), 0);
        EXPECT_TRUE(reads_as(little.str(), 0, *im));
    }
}

// Stacks: every plane a page that tiffinfo accepts and tifffile reads back
// to our pixels, also when appended to an existing file.
TEST_F(TiffInterop, StacksReadBackByTifffileEveryPage) {
    const struct {
        uint32_t type, bits, pixies, cs, compression;
    } cases[] = {{MVTYPE_U16, 16, 1, MVCS_GREY, 1}, {MVTYPE_U16, 12, 1, MVCS_GREY, 517},
                 {MVTYPE_U8, 8, 3, MVCS_RGB, 32773}, {MVTYPE_FLOAT, 0, 1, MVCS_GREY, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type) + " compression " + std::to_string(c.compression));
        mvtest::OwnedStack st(37, 13, 6, c.type, c.bits, c.pixies, c.cs);
        st.flat.fill_natural(c.bits + c.compression);
        TempPath path("stack.tif");
        const mvfileinfo p = params_for(c.compression, 300);
        // 12-bit values are stored unscaled in 16 bits.
        const int32_t bits = c.type == MVTYPE_FLOAT ? 32 : c.type == MVTYPE_U16 ? -16 : 8;
        ASSERT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, path.c_str(), bits, 0, 0, &p), 0);
        expect_clean_tiffinfo(path.str());
        EXPECT_EQ(tifffile_pages(path.str(), c.compression != 1), st.flat.pixels);
    }
    mvtest::OwnedStack st(20, 9, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    st.flat.fill_natural(1);
    TempPath path("appended.tif");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, path.c_str(), 8, 0, 0, nullptr), 0);
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, path.c_str(), 8, 0, 2, nullptr), 0);
    expect_clean_tiffinfo(path.str());
    std::vector<uint8_t> want = st.planes(0, 2);
    want.insert(want.end(), st.flat.pixels.begin(), st.flat.pixels.end());
    EXPECT_EQ(tifffile_pages(path.str(), false), want);
}

// Files that libtiff writes from ours (other compressions, byte order,
// fill order, strip sizes) read back to the same pixels; so do several
// pages in one file made by tiffcp.
TEST_F(TiffInterop, FilesMadeByTiffcpReadBack) {
    struct Source {
        uint32_t type, bits, pixies, cs;
    } sources[] = {{MVTYPE_U8, 8, 1, MVCS_GREY},  {MVTYPE_U16, 16, 1, MVCS_GREY}, {MVTYPE_U8, 8, 3, MVCS_RGB},
                   {MVTYPE_U8, 1, 1, MVCS_GREY},  {MVTYPE_U16, 16, 3, MVCS_RGB},  {MVTYPE_U32, 24, 1, MVCS_GREY},
                   {MVTYPE_FLOAT, 0, 1, MVCS_GREY}, {MVTYPE_DOUBLE, 0, 1, MVCS_GREY}};
    const char* options[] = {"-c none", "-c lzw", "-c lzw:2", "-c packbits", "-B -c lzw:2", "-r 3",
                             "-B -c packbits -r 1", "-L -c none", "-B -c none", "-B -c lzw",
                             "-f lsb2msb -c none", "-f lsb2msb -B -c lzw -r 5"};
    for (const Source& s : sources) {
        const bool floating = s.type == MVTYPE_FLOAT || s.type == MVTYPE_DOUBLE;
        OwnedImage im(45, 17, s.type, s.bits, s.pixies, s.cs);
        im.fill_natural(s.bits * 7 + s.pixies);
        TempPath ours("ours.tif");
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, ours.c_str(), floating ? 32 : -int32_t(s.bits), 0, 0, nullptr), 0);
        for (const char* option : options) {
            // libtiff differences 8-, 16-, 32- and 64-bit samples, of which
            // the reader takes the first three.
            if (std::strstr(option, "lzw:2") && (s.bits == 1 || s.bits == 24 || s.type == MVTYPE_DOUBLE)) continue;
            SCOPED_TRACE(std::string(option) + " type " + std::to_string(s.type) + " bits " + std::to_string(s.bits) +
                         " pixies " + std::to_string(s.pixies));
            TempPath theirs("theirs.tif");
            ASSERT_EQ(tiffcp(option, ours.str(), theirs.str()), 0);
            OwnedImage back(45, 17, s.type, s.bits, s.pixies, s.cs);
            ASSERT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, theirs.c_str(), 0, nullptr, 0), 0);
            EXPECT_EQ(back.pixels, im.pixels);
        }
    }
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

// Tiled, JPEG and Deflate files are refused with -11, but file
// information describes them: size, samples, bits, compression.
TEST_F(TiffInterop, TiledJpegAndDeflateFilesAreDescribedButRefused) {
    OwnedImage im(64, 48, MVTYPE_U8, 8, 3, MVCS_RGB);
    im.fill_natural(4);
    TempPath ours("o.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, ours.c_str(), 8, 0, 0, nullptr), 0);
    const struct {
        const char* option;
        uint32_t compression, cs;
    } options[] = {{"-t -w 16 -l 16", 1, MVCS_RGB}, {"-c jpeg -r 16", 7, MVCS_YCRCB}, {"-c zip", 8, MVCS_RGB}};
    for (const auto& [option, compression, cs] : options) {
        SCOPED_TRACE(option);
        TempPath theirs("t.tif");
        ASSERT_EQ(tiffcp(option, ours.str(), theirs.str()), 0);
        OwnedImage back(64, 48, MVTYPE_U8, 8, 3, MVCS_RGB);
        EXPECT_EQ(mvio8_tifread(nullptr, &back.im, nullptr, theirs.c_str(), 0, nullptr, 0), -11);
        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(theirs.c_str(), &info, 0), 0);
        EXPECT_STREQ(info.format, "tif");
        EXPECT_EQ(info.width, 64u);
        EXPECT_EQ(info.height, 48u);
        EXPECT_EQ(info.pixfmt.datatype, MVTYPE_U8);
        EXPECT_EQ(info.pixfmt.pixies, 3u);
        EXPECT_EQ(info.pixfmt.bits, 8u);
        EXPECT_EQ(info.pixfmt.colorspace, cs);
        EXPECT_EQ(info.area.tif.bits[2], 8u);
        EXPECT_EQ(info.area.tif.compression, compression);
        mvio8_fileinfodone(&info);
    }
}
