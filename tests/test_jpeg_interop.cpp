// JPEG files checked against other programs: our files decode in djpeg
// (libjpeg-turbo) and Pillow as in our own decoder; files cjpeg makes
// (grey, 4:4:4, 4:2:0, 4:2:2, 4:4:0, 4:1:1, restart intervals, optimised
// tables) decode here as in djpeg.  Against djpeg's float transform the
// decodes agree within 2 counts (in practice exactly).  djpeg's default
// integer transform, which Pillow uses too, itself strays up to one count
// per component from the exact transform, and the colour transform's
// factors 1.402 and 1.772 turn that into 3 at rare pixels of colour
// images, so the bound against it is 2 for grey and 3 for colour.  Our
// upsampling (the triangle filter for factors of 2, repetition otherwise)
// is the one djpeg uses by default, so chroma edges agree too.  Progressive
// files are refused; 12-bit files go both ways with the `jpeg` program of
// libjpeg-tools; and our quality-75 files match cjpeg's float coder in
// PSNR and size.
#include "file_util.hpp"

#include <cctype>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

// Photograph-like content: smooth shading, a few hard edges and mild
// noise, within `top`.
void fill_photo(OwnedImage& im, uint32_t top, uint32_t seed) {
    std::mt19937 rng(seed);
    const uint32_t w = im.width(), h = im.height(), n = im.im.pixfmt.pixies;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < n; ++c) {
                double v = 0.5 + 0.25 * std::sin(x * (0.05 + 0.02 * c) + y * 0.03) * std::cos(y * 0.07 - c);
                if ((x / 23 + y / 17 + c) % 3 == 0) v += 0.2;        // patches with hard edges
                if (x > w / 2 && y < h / 3) v -= 0.25;
                v += (double(rng() % 1000) / 1000.0 - 0.5) * 0.04;  // noise
                const uint32_t q = uint32_t(std::lround(std::clamp(v, 0.0, 1.0) * top));
                if (im.im.pixfmt.datatype == MVTYPE_U8) *(im.at<uint8_t>(x, y) + c) = uint8_t(q);
                else *(im.at<uint16_t>(x, y) + c) = uint16_t(q);
            }
}

// Values of a binary PNM file (8-bit, or 16-bit big-endian).
struct Pnm {
    uint32_t width = 0, height = 0, channels = 0, maxval = 0;
    std::vector<uint32_t> values;
};

Pnm read_pnm(const std::string& path) {
    Pnm p;
    const std::vector<uint8_t> b = mvtest::file_bytes(path);
    if (b.size() < 3 || b[0] != 'P') return p;
    p.channels = b[1] == '5' ? 1 : b[1] == '6' ? 3 : 0;
    size_t i = 2;
    uint32_t fields[3] = {};
    for (uint32_t& f : fields) {
        while (i < b.size() && (std::isspace(b[i]) || b[i] == '#')) {
            if (b[i] == '#')
                while (i < b.size() && b[i] != '\n') ++i;
            ++i;
        }
        while (i < b.size() && std::isdigit(b[i])) f = f * 10 + (b[i++] - '0');
    }
    ++i;  // one white-space byte before the data
    p.width = fields[0], p.height = fields[1], p.maxval = fields[2];
    const size_t n = size_t(p.width) * p.height * p.channels, bytes = p.maxval > 255 ? 2 : 1;
    if (b.size() < i + n * bytes) return Pnm{};
    for (size_t k = 0; k < n; ++k)
        p.values.push_back(bytes == 2 ? uint32_t(b[i + 2 * k]) << 8 | b[i + 2 * k + 1] : b[i + k]);
    return p;
}

void write_pnm(const std::string& path, OwnedImage& im, uint32_t maxval) {
    const uint32_t n = im.im.pixfmt.pixies;
    std::ostringstream head;
    head << (n == 1 ? "P5" : "P6") << "\n" << im.width() << " " << im.height() << "\n" << maxval << "\n";
    std::string s = head.str();
    std::vector<uint8_t> out(s.begin(), s.end());
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x)
            for (uint32_t c = 0; c < n; ++c) {
                if (maxval > 255) {
                    const uint16_t v = *(im.at<uint16_t>(x, y) + c);
                    out.push_back(uint8_t(v >> 8));
                    out.push_back(uint8_t(v));
                } else {
                    out.push_back(*(im.at<uint8_t>(x, y) + c));
                }
            }
    mvtest::write_bytes(path, out);
}

std::vector<uint32_t> values_of(OwnedImage& im) {
    std::vector<uint32_t> v;
    const bool wide = im.im.pixfmt.datatype == MVTYPE_U16;
    for (size_t i = 0; i < im.pixels.size() / (wide ? 2 : 1); ++i)
        v.push_back(wide ? reinterpret_cast<const uint16_t*>(im.pixels.data())[i] : im.pixels[i]);
    return v;
}

// Largest difference, and where it is.
uint32_t max_difference(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b) {
    if (a.size() != b.size()) return 0xFFFFFFFFu;
    uint32_t most = 0;
    for (size_t i = 0; i < a.size(); ++i) most = std::max(most, uint32_t(std::abs(int64_t(a[i]) - int64_t(b[i]))));
    return most;
}

// Our decode of a file into an image of its own form.
std::vector<uint32_t> our_decode(const std::string& path, uint32_t& width, uint32_t& height, uint32_t& pixies,
                                 int32_t& rc) {
    mvfileinfo info{};
    rc = mvio8_fileinfo(path.c_str(), &info, 0);
    mvio8_fileinfodone(&info);
    if (rc != 0) return {};
    width = info.width, height = info.height, pixies = info.pixfmt.pixies;
    OwnedImage im(width, height, info.pixfmt.datatype, info.pixfmt.bits, pixies, info.pixfmt.colorspace);
    rc = mvio8_jpegread(nullptr, &im.im, path.c_str(), 0);
    return values_of(im);
}

class JpegInterop : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef _WIN32
        GTEST_SKIP() << "host tools (djpeg, cjpeg, jpeg, Python) are not available on Windows";
#else
        if (!mvtest::have_command("command -v djpeg && command -v cjpeg"))
            GTEST_SKIP() << "libjpeg-turbo's tools are not installed (Debian package libjpeg-turbo-progs)";
#endif
    }
    static std::string quoted(const TempPath& p) { return "'" + p.str() + "'"; }

    static uint32_t bound(uint32_t channels) { return channels == 1 ? 2u : 3u; }
    // djpeg's decode as a PNM.
    Pnm djpeg(const TempPath& jpg, const std::string& options = "") {
        TempPath out("d.pnm");
        std::string log;
        EXPECT_EQ(mvtest::run_command("djpeg " + options + " -pnm -outfile " + quoted(out) + " " + quoted(jpg), &log), 0)
            << log;
        return read_pnm(out.str());
    }
};

TEST_F(JpegInterop, OurFilesDecodeInDjpegAndPillow) {
    const bool pillow = mvtest::have_command(std::string(mvtest::python()) + " -c 'import PIL, numpy'");
    for (uint32_t pixies : {1u, 3u})
        for (uint32_t quality : {300u, 750u, 950u}) {
            SCOPED_TRACE(std::to_string(pixies) + " pixies, quality " + std::to_string(quality));
            OwnedImage src(83, 61, MVTYPE_U8, 8, pixies, pixies == 1 ? MVCS_GREY : MVCS_RGB);
            fill_photo(src, 255, pixies + quality);
            TempPath jpg("ours.jpg");
            mvfileinfo info{};
            info.area.jpg.quality = quality;
            ASSERT_EQ(mvio8_jpegwrite(nullptr, &src.im, nullptr, jpg.c_str(), 8, &info), 0);
            uint32_t w = 0, h = 0, n = 0;
            int32_t rc = 0;
            const std::vector<uint32_t> ours = our_decode(jpg.str(), w, h, n, rc);
            ASSERT_EQ(rc, 0);
            const Pnm d = djpeg(jpg);
            EXPECT_EQ(d.width, 83u);
            EXPECT_EQ(d.height, 61u);
            EXPECT_EQ(d.channels, pixies);
            EXPECT_LE(max_difference(ours, d.values), bound(pixies));
            EXPECT_LE(max_difference(ours, djpeg(jpg, "-dct float").values), 2u);
            if (!pillow) continue;
            TempPath raw("pil.raw");
            std::string out;
            ASSERT_EQ(mvtest::run_command(std::string(mvtest::python()) +
                                              " -c 'import sys, numpy; from PIL import Image; im = Image.open(sys.argv[1]);"
                                              " print(im.mode, im.size[0], im.size[1]); numpy.asarray(im).tofile(sys.argv[2])' " +
                                              quoted(jpg) + " " + quoted(raw),
                                          &out),
                      0)
                << out;
            EXPECT_EQ(out, std::string(pixies == 1 ? "L" : "RGB") + " 83 61\n");
            const std::vector<uint8_t> p = mvtest::file_bytes(raw.str());
            EXPECT_LE(max_difference(ours, std::vector<uint32_t>(p.begin(), p.end())), bound(pixies));
        }
}

TEST_F(JpegInterop, CjpegFilesDecodeHereAsInDjpeg) {
    OwnedImage rgb(77, 53, MVTYPE_U8, 8, 3, MVCS_RGB);
    fill_photo(rgb, 255, 5);
    TempPath ppm("src.ppm");
    write_pnm(ppm.str(), rgb, 255);
    // A table for each component (table numbers 0, 1 and 2).
    TempPath tables("qtables.txt");
    {
        std::ofstream q(tables.str());
        for (int t : {12, 20, 33}) {
            for (int k = 0; k < 64; ++k) q << t + k / 8 << ' ';
            q << '\n';
        }
    }
    const std::string options[] = {
        "-grayscale -quality 75", "-sample 1x1 -quality 90", "-quality 75",  // 4:2:0
        "-sample 2x1 -quality 80", "-sample 1x2 -quality 80", "-sample 4x1 -quality 70",
        "-restart 1 -quality 60", "-restart 2 -sample 2x2 -quality 85", "-optimize -quality 85",
        "-grayscale -restart 1B -optimize -quality 95", "-quality 20", "-quality 100 -sample 1x1",
        "-qtables " + quoted(tables) + " -qslots 0,1,2 -sample 1x1",
    };
    for (const std::string& opt : options) {
        SCOPED_TRACE(opt);
        TempPath jpg("cjpeg.jpg");
        std::string log;
        ASSERT_EQ(mvtest::run_command("cjpeg " + opt + " -outfile " + quoted(jpg) + " " + quoted(ppm), &log), 0)
            << log;
        uint32_t w = 0, h = 0, n = 0;
        int32_t rc = 0;
        const std::vector<uint32_t> ours = our_decode(jpg.str(), w, h, n, rc);
        ASSERT_EQ(rc, 0);
        const Pnm d = djpeg(jpg);
        EXPECT_EQ(w, d.width);
        EXPECT_EQ(h, d.height);
        EXPECT_EQ(n, d.channels);
        EXPECT_LE(max_difference(ours, d.values), bound(n));
        EXPECT_LE(max_difference(ours, djpeg(jpg, "-dct float").values), 2u);
    }
    TempPath progressive("progressive.jpg");
    ASSERT_EQ(mvtest::run_command("cjpeg -progressive -outfile " + quoted(progressive) + " " + quoted(ppm)), 0);
    OwnedImage dst(77, 53, MVTYPE_U8, 8, 3, MVCS_RGB);
    EXPECT_EQ(mvio8_jpegread(nullptr, &dst.im, progressive.c_str(), 0), -11);
}

// Four-component files as Pillow writes them (CMYK with an Adobe segment,
// inks stored inverted): read as CMYK inks, as Pillow reads them.
TEST_F(JpegInterop, AdobeCmykFromPillow) {
    if (!mvtest::have_command(std::string(mvtest::python()) + " -c 'import PIL, numpy'"))
        GTEST_SKIP() << "/usr/bin/python3 with numpy and Pillow is not available";
    TempPath jpg("cmyk.jpg"), raw("cmyk.raw");
    std::string out;
    ASSERT_EQ(mvtest::run_command(std::string(mvtest::python()) +
                                      " -c 'import sys, numpy as np; from PIL import Image;"
                                      " y, x = np.mgrid[0:29, 0:45];"
                                      " a = np.stack([x * 5, y * 8, (x + y) * 3, 255 - x * 4], -1).astype(np.uint8);"
                                      " Image.fromarray(a, \"CMYK\").save(sys.argv[1], quality=95);"
                                      " np.asarray(Image.open(sys.argv[1])).tofile(sys.argv[2])' " +
                                      quoted(jpg) + " " + quoted(raw),
                                  &out),
              0)
        << out;
    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(jpg.c_str(), &info, 0), 0);
    EXPECT_EQ(info.pixfmt.pixies, 4u);
    EXPECT_EQ(info.pixfmt.colorspace, uint32_t(MVCS_CMYK));
    mvio8_fileinfodone(&info);
    uint32_t w = 0, h = 0, n = 0;
    int32_t rc = 0;
    const std::vector<uint32_t> ours = our_decode(jpg.str(), w, h, n, rc);
    ASSERT_EQ(rc, 0);
    const std::vector<uint8_t> p = mvtest::file_bytes(raw.str());
    EXPECT_LE(max_difference(ours, std::vector<uint32_t>(p.begin(), p.end())), 2u);
}

// Quality 75 against cjpeg's float coder with the same settings: PSNR
// within 0.2 dB, size within 3 %.
TEST_F(JpegInterop, QualityMatchesCjpegFloat) {
    OwnedImage rgb(256, 192, MVTYPE_U8, 8, 3, MVCS_RGB);
    fill_photo(rgb, 255, 9);
    TempPath ppm("src.ppm"), ours("ours.jpg"), theirs("theirs.jpg");
    write_pnm(ppm.str(), rgb, 255);
    mvfileinfo info{};
    info.area.jpg.quality = 750;
    ASSERT_EQ(mvio8_jpegwrite(nullptr, &rgb.im, nullptr, ours.c_str(), 8, &info), 0);
    ASSERT_EQ(mvtest::run_command("cjpeg -dct float -sample 1x1 -quality 75 -outfile " + quoted(theirs) + " " + quoted(ppm)), 0);
    const std::vector<uint32_t> src = values_of(rgb);
    auto psnr = [&](const TempPath& jpg) {
        const Pnm d = djpeg(jpg);
        double sum = 0;
        for (size_t i = 0; i < src.size() && i < d.values.size(); ++i) sum += std::pow(double(src[i]) - d.values[i], 2.0);
        return 10.0 * std::log10(255.0 * 255.0 / (sum / double(src.size())));
    };
    const double ours_db = psnr(ours), theirs_db = psnr(theirs);
    EXPECT_NEAR(ours_db, theirs_db, 0.2);
    const double ours_size = double(mvtest::file_bytes(ours.str()).size());
    const double theirs_size = double(mvtest::file_bytes(theirs.str()).size());
    EXPECT_NEAR(ours_size / theirs_size, 1.0, 0.03) << ours_size << " vs " << theirs_size;
}

// 12-bit files with the `jpeg` program of libjpeg-tools: its files read
// here, and ours (SOF0 changed to SOF1, which it requires) read there.
TEST_F(JpegInterop, TwelveBitFilesWithTheJpegProgram) {
    if (!mvtest::have_command("command -v jpeg"))
        GTEST_SKIP() << "the jpeg program is not installed (Debian package libjpeg-tools)";
    for (uint32_t pixies : {1u, 3u}) {
        SCOPED_TRACE(std::to_string(pixies) + " pixies");
        OwnedImage src(71, 43, MVTYPE_U16, 12, pixies, pixies == 1 ? MVCS_GREY : MVCS_RGB);
        fill_photo(src, 4095, 20 + pixies);
        TempPath pnm("src.pnm"), theirs("theirs.jpg"), decoded("decoded.pnm");
        write_pnm(pnm.str(), src, 4095);
        std::string log;
        ASSERT_EQ(mvtest::run_command("jpeg -q 90 " + quoted(pnm) + " " + quoted(theirs), &log), 0) << log;
        ASSERT_EQ(mvtest::run_command("jpeg " + quoted(theirs) + " " + quoted(decoded), &log), 0) << log;
        uint32_t w = 0, h = 0, n = 0;
        int32_t rc = 0;
        std::vector<uint32_t> ours = our_decode(theirs.str(), w, h, n, rc);
        ASSERT_EQ(rc, 0);
        EXPECT_EQ(n, pixies);
        Pnm d = read_pnm(decoded.str());
        EXPECT_EQ(d.maxval, 4095u);
        EXPECT_LE(max_difference(ours, d.values), 2u);

        TempPath mine("ours.jpg"), mine_decoded("ours.pnm");
        mvfileinfo info{};
        info.area.jpg.quality = 900;
        ASSERT_EQ(mvio8_jpegwrite(nullptr, &src.im, nullptr, mine.c_str(), 12, &info), 0);
        ours = our_decode(mine.str(), w, h, n, rc);
        ASSERT_EQ(rc, 0);
        std::vector<uint8_t> bytes = mvtest::file_bytes(mine.str());
        for (size_t p = 2; p + 3 < bytes.size();) {
            if (bytes[p + 1] == 0xC0) {
                bytes[p + 1] = 0xC1;
                break;
            }
            p += 2 + (size_t(bytes[p + 2]) << 8 | bytes[p + 3]);
        }
        mvtest::write_bytes(mine.str(), bytes);
        ASSERT_EQ(mvtest::run_command("jpeg " + quoted(mine) + " " + quoted(mine_decoded), &log), 0) << log;
        d = read_pnm(mine_decoded.str());
        EXPECT_EQ(d.width, 71u);
        EXPECT_EQ(d.channels, pixies);
        EXPECT_LE(max_difference(ours, d.values), 2u);
    }
}

}  // namespace
