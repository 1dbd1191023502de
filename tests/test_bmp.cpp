// Windows BMP files: round trips through the writer and the reader with
// Pillow reading the same files; hand-made files (old and new headers,
// top-down lines, run-length codes, bit fields) read as Pillow reads them;
// the file-information record, damaged files and the writer's hook.
#include "file_util.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using mvtest::OwnedImage;
using mvtest::TempPath;

bool have_pillow() {
    static const bool yes = mvtest::have_command(std::string(mvtest::python()) + " -c 'import PIL'");
    return yes;
}
#define REQUIRE_PILLOW() \
    if (!have_pillow()) GTEST_SKIP() << "needs /usr/bin/python3 with Pillow (PIL) for the comparison"

// Pixels as R, G, B triples, top line first.
struct Rgb {
    int32_t rc = 0;
    uint32_t w = 0, h = 0;
    std::vector<uint8_t> px;
};

// Decode files with Pillow: each path gets path.rgb ("w h\n" and RGB bytes).
std::vector<Rgb> pillow_decode(const std::vector<std::string>& paths) {
    std::string cmd = std::string(mvtest::python()) +
                      " -c 'import sys\nfrom PIL import Image\nfor p in sys.argv[1:]:\n"
                      "  im = Image.open(p).convert(\"RGB\")\n"
                      "  open(p + \".rgb\", \"wb\").write(b\"%d %d\\n\" % im.size + im.tobytes())'";
    for (const auto& p : paths) cmd += " " + p;
    std::string out;
    EXPECT_EQ(mvtest::run_command(cmd, &out), 0) << out;
    std::vector<Rgb> result;
    for (const auto& p : paths) {
        auto bytes = mvtest::file_bytes(p + ".rgb");
        std::remove((p + ".rgb").c_str());
        Rgb r;
        unsigned w = 0, h = 0;
        const auto nl = std::find(bytes.begin(), bytes.end(), '\n');
        if (nl == bytes.end() || std::sscanf(std::string(bytes.begin(), nl).c_str(), "%u %u", &w, &h) != 2) r.rc = -99;
        else r = {0, w, h, std::vector<uint8_t>(nl + 1, bytes.end())};
        result.push_back(r);
    }
    return result;
}

// Decode with this library into an image of the file's own form.
Rgb ours(const std::string& path) {
    mvfileinfo info;
    Rgb r;
    if ((r.rc = mvio8_fileinfo(path.c_str(), &info, 0)) != 0) return r;
    r.w = info.width, r.h = info.height;
    OwnedImage im(r.w, r.h, MVTYPE_U8, 8, info.pixfmt.pixies, info.pixfmt.colorspace);
    if ((r.rc = mvio8_bmpread(nullptr, &im.im, nullptr, path.c_str(), 0)) != 0) return r;
    for (size_t i = 0; i < size_t(r.w) * r.h; ++i) {
        const uint8_t* p = im.pixels.data() + i * info.pixfmt.pixies;
        if (info.pixfmt.pixies == 1) r.px.insert(r.px.end(), {p[0], p[0], p[0]});
        else r.px.insert(r.px.end(), {p[2], p[1], p[0]});
    }
    return r;
}

// Index of the first value differing by more than tol, or -1.
long first_difference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int tol = 0) {
    if (a.size() != b.size()) return long(std::min(a.size(), b.size()));
    for (size_t i = 0; i < a.size(); ++i)
        if (std::abs(int(a[i]) - int(b[i])) > tol) return long(i);
    return -1;
}

// ---- hand-made files -------------------------------------------------------

struct Craft {
    uint32_t header = 40;
    int32_t width = 1, height = 1;  // negative height: top-down lines
    uint16_t bits = 8;
    uint32_t compression = 0;
    std::vector<uint32_t> masks;    // after a 40-byte header, inside larger ones
    std::vector<uint32_t> palette;  // 0xRRGGBB
    uint32_t colours_used = 0;
    std::vector<uint8_t> data;      // the pixel data as stored
};

void put(std::vector<uint8_t>& v, size_t at, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) v[at + i] = uint8_t(value >> (8 * i));
}

std::vector<uint8_t> build(const Craft& c) {
    const bool core = c.header == 12;
    const size_t after = 14 + c.header + (c.header == 40 ? c.masks.size() * 4 : 0);
    const size_t offset = after + c.palette.size() * (core ? 3 : 4);
    std::vector<uint8_t> f(offset);
    f[0] = 'B', f[1] = 'M';
    put(f, 2, uint32_t(offset + c.data.size()), 4);
    put(f, 10, uint32_t(offset), 4);
    put(f, 14, c.header, 4);
    if (core) {
        put(f, 18, uint32_t(c.width), 2), put(f, 20, uint32_t(c.height), 2), put(f, 22, 1, 2), put(f, 24, c.bits, 2);
    } else {
        put(f, 18, uint32_t(c.width), 4), put(f, 22, uint32_t(c.height), 4), put(f, 26, 1, 2), put(f, 28, c.bits, 2);
        put(f, 30, c.compression, 4), put(f, 34, uint32_t(c.data.size()), 4), put(f, 46, c.colours_used, 4);
        for (size_t i = 0; i < c.masks.size(); ++i) put(f, 54 + 4 * i, c.masks[i], 4);  // same place either way
    }
    for (size_t i = 0; i < c.palette.size(); ++i) put(f, after + i * (core ? 3 : 4), c.palette[i], 3);
    f.insert(f.end(), c.data.begin(), c.data.end());
    return f;
}

// Store values v(x, y) (y = 0 the top line) as the file's lines.
std::vector<uint8_t> pack(const Craft& c, const std::function<uint32_t(int, int)>& v) {
    const int w = c.width, h = std::abs(c.height);
    const size_t stride = (size_t(w) * c.bits + 31) / 32 * 4;
    std::vector<uint8_t> d(stride * h);
    for (int r = 0; r < h; ++r) {
        const int y = c.height < 0 ? r : h - 1 - r;
        uint8_t* line = d.data() + r * stride;
        for (int x = 0; x < w; ++x) {
            if (c.bits < 8) {
                const int bit = x * c.bits;
                line[bit / 8] |= uint8_t(v(x, y) << (8 - c.bits - bit % 8));
            } else {
                for (int i = 0; i < c.bits / 8; ++i) line[x * (c.bits / 8) + i] = uint8_t(v(x, y) >> (8 * i));
            }
        }
    }
    return d;
}

std::vector<uint32_t> colours(int n) {
    std::vector<uint32_t> p;
    for (int i = 0; i < n; ++i) p.push_back(uint32_t((i * 53 + 7) % 256) << 16 | uint32_t((i * 91 + 30) % 256) << 8 | uint32_t(i * 17 % 256));
    return p;
}
std::vector<uint32_t> greys(int n) {  // entry i is 255 - i: index 0 is not 0
    std::vector<uint32_t> p;
    for (int i = 0; i < n; ++i) p.push_back(uint32_t(255 - i) * 0x010101u);
    return p;
}

Craft crafted(uint32_t header, int w, int h, uint16_t bits, uint32_t compression, std::vector<uint32_t> masks,
              std::vector<uint32_t> palette, const std::function<uint32_t(int, int)>& v) {
    Craft c{header, w, h, bits, compression, std::move(masks), std::move(palette), 0, {}};
    c.data = pack(c, v);
    return c;
}

uint32_t mix(int x, int y) { return uint32_t(x * 2654435761u ^ y * 40503u ^ (x * y) * 97u); }

struct CraftCase {
    const char* name;
    Craft craft;
    int tol;  // 16-bit channels are rescaled; Pillow truncates where we round
};

std::vector<CraftCase> craft_cases() {
    auto any = [](int x, int y) { return mix(x, y); };
    auto idx = [](int n) { return [n](int x, int y) { return mix(x, y) % uint32_t(n); }; };
    return {
        {"24-bit top-down", crafted(40, 7, -5, 24, 0, {}, {}, any), 0},
        {"24-bit core header", crafted(12, 5, 4, 24, 0, {}, {}, any), 0},
        {"8-bit core header", crafted(12, 6, 3, 8, 0, {}, colours(256), idx(256)), 0},
        {"8-bit 20 entries, v5 header", [&] {
             Craft c = crafted(124, 9, 4, 8, 0, {}, colours(20), idx(20));
             c.colours_used = 20;
             return c;
         }(), 0},
        {"4-bit", crafted(40, 9, 4, 4, 0, {}, colours(16), idx(16)), 0},
        {"4-bit top-down", crafted(40, 3, -4, 4, 0, {}, colours(16), idx(16)), 0},
        {"1-bit colour top-down", crafted(40, 17, -3, 1, 0, {}, {0x102030, 0xF0E0D0}, idx(2)), 0},
        {"16-bit 5-5-5", crafted(40, 6, 3, 16, 0, {}, {}, idx(0x8000)), 1},
        {"16-bit 5-6-5 fields", crafted(40, 6, 3, 16, 3, {0xF800, 0x7E0, 0x1F}, {}, any), 1},
        {"32-bit with junk byte", crafted(40, 5, 3, 32, 0, {}, {}, any), 0},
        {"32-bit XBGR fields", crafted(40, 5, 3, 32, 3, {0xFF000000, 0xFF0000, 0xFF00}, {}, any), 0},
        {"32-bit RGBA fields, v4 header",
         crafted(108, 4, 2, 32, 3, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}, {}, any), 0},
        {"RLE8", [] {
             Craft c{40, 5, 3, 8, 1, {}, colours(256), 0, {}};
             c.data = {3, 9, 2, 200, 0, 0, 0, 4, 1, 2, 3, 4, 1, 5, 0, 0, 0, 3, 7, 8, 9, 0, 2, 6, 0, 1};
             return c;
         }(), 0},
        {"RLE4", [] {
             Craft c{40, 6, 2, 4, 2, {}, colours(16), 0, {}};
             c.data = {5, 0x3C, 1, 0x70, 0, 0, 0, 4, 0x12, 0xEF, 2, 0x55, 0, 1};
             return c;
         }(), 0},
    };
}

TEST(BmpPillow, HandMadeFilesReadAsPillowReadsThem) {
    REQUIRE_PILLOW();
    const auto cases = craft_cases();
    std::vector<std::unique_ptr<TempPath>> files;
    std::vector<std::string> paths;
    for (const auto& c : cases) {
        files.push_back(std::make_unique<TempPath>("craft.bmp"));
        mvtest::write_bytes(files.back()->str(), build(c.craft));
        paths.push_back(files.back()->str());
    }
    const auto theirs = pillow_decode(paths);
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        const Rgb mine = ours(paths[i]);
        ASSERT_EQ(mine.rc, 0);
        ASSERT_EQ(theirs[i].rc, 0);
        EXPECT_EQ(mine.w, theirs[i].w);
        EXPECT_EQ(mine.h, theirs[i].h);
        EXPECT_EQ(first_difference(mine.px, theirs[i].px, cases[i].tol), -1);
    }
}

// ---- round trips ------------------------------------------------------------

struct Trip {
    const char* name;
    uint32_t type, bits, pixies, cs;
    uint32_t w, h, margin;  // the window lies `margin` pixels inside the image
    std::function<double(uint32_t x, uint32_t y, uint32_t c)> value;  // stored value
    std::function<uint8_t(double v, uint32_t c, const double* pixel)> expect;  // read back (B, G, R order)
};

// Our writer and reader, and Pillow's reading of the same files (when it
// is there): grey, BGR and RGB orders with and without a pad pixie, 12
// bits, float, YCrCb, every line padding, and a window of a larger image.
TEST(Bmp, RoundTripsAndPillowReadsThem) {
    auto v8 = [](uint32_t x, uint32_t y, uint32_t c) { return double((x * 41 + y * 13 + c * 71) % 256); };
    auto same = [](double v, uint32_t, const double*) { return uint8_t(v); };
    auto swapped = [](double, uint32_t c, const double* p) { return uint8_t(p[2 - c]); };
    std::vector<Trip> trips = {
        {"grey u8", MVTYPE_U8, 8, 1, MVCS_GREY, 9, 4, 0, v8, same},
        {"BGR u8", MVTYPE_U8, 8, 3, MVCS_BGR, 9, 4, 0, v8, same},
        {"BGRX u8", MVTYPE_U8, 8, 4, MVCS_BGRX, 5, 3, 0, v8, same},
        {"RGB u8", MVTYPE_U8, 8, 3, MVCS_RGB, 5, 3, 0, v8, swapped},
        {"RGBX u8", MVTYPE_U8, 8, 4, MVCS_RGBX, 5, 3, 0, v8, swapped},
        {"BGR window", MVTYPE_U8, 8, 3, MVCS_BGR, 7, 5, 3, v8, same},
        {"grey u16 12-bit", MVTYPE_U16, 12, 1, MVCS_GREY, 6, 5, 0,
         [](uint32_t x, uint32_t y, uint32_t) { return double((x * 977 + y * 331) % 4096); },
         [](double v, uint32_t, const double*) { return uint8_t(uint32_t(v) >> 4); }},
        {"grey float", MVTYPE_FLOAT, 0, 1, MVCS_GREY, 4, 4, 0,
         [](uint32_t x, uint32_t y, uint32_t) { return double(x * 60 + y * 3) / 255.0; },
         [](double v, uint32_t, const double*) { return uint8_t(std::lround(v * 255.0)); }},
        {"YCrCb without chroma", MVTYPE_U8, 8, 3, MVCS_YCRCB, 4, 2, 0,
         [](uint32_t x, uint32_t y, uint32_t c) { return c == 0 ? double(x * 50 + y) : 128.0; },
         [](double, uint32_t, const double* p) { return uint8_t(p[0]); }},
    };
    for (uint32_t w = 1; w <= 7; ++w) {  // every line padding
        trips.push_back({"grey width", MVTYPE_U8, 8, 1, MVCS_GREY, w, 2, 0, v8, same});
        trips.push_back({"BGR width", MVTYPE_U8, 8, 3, MVCS_BGR, w, 2, 0, v8, same});
    }
    std::vector<std::unique_ptr<TempPath>> files;
    std::vector<std::string> paths;
    std::vector<std::vector<uint8_t>> rgb;  // what we read back, as R, G, B
    for (const auto& t : trips) {
        SCOPED_TRACE(std::string(t.name) + " " + std::to_string(t.w));
        const uint32_t m = t.margin;
        OwnedImage src(t.w + 2 * m, t.h + 2 * m, t.type, t.bits, t.pixies, t.cs);
        for (uint32_t y = 0; y < src.height(); ++y)
            for (uint32_t x = 0; x < src.width(); ++x)
                for (uint32_t c = 0; c < t.pixies; ++c) {
                    const double v = t.value(x, y, c);
                    if (t.type == MVTYPE_U8) src.at<uint8_t>(x, y)[c] = uint8_t(v);
                    else if (t.type == MVTYPE_U16) src.at<uint16_t>(x, y)[c] = uint16_t(v);
                    else src.at<float>(x, y)[c] = float(v);
                }
        ASSERT_EQ(mvimage_setwind(&src.im, int32_t(m), int32_t(m), int32_t(m + t.w), int32_t(m + t.h)), 0);
        files.push_back(std::make_unique<TempPath>("trip.bmp"));
        paths.push_back(files.back()->str());
        ASSERT_EQ(mvio8_bmpwrite(nullptr, &src.im, paths.back().c_str(), 0), 0);
        const uint32_t out_pixies = t.pixies == 1 ? 1 : 3;
        EXPECT_EQ(mvtest::file_bytes(paths.back()).size(),
                  54 + (out_pixies == 1 ? 1024 : 0) + size_t((t.w * out_pixies + 3) / 4 * 4) * t.h);
        OwnedImage back(t.w, t.h, MVTYPE_U8, 8, out_pixies, out_pixies == 1 ? MVCS_GREY : MVCS_BGR);
        ASSERT_EQ(mvio8_bmpread(nullptr, &back.im, nullptr, paths.back().c_str(), 0), 0);
        rgb.emplace_back();
        for (uint32_t y = 0; y < t.h; ++y)
            for (uint32_t x = 0; x < t.w; ++x) {
                double pixel[4] = {};
                for (uint32_t c = 0; c < t.pixies; ++c) pixel[c] = t.value(x + m, y + m, c);
                const uint8_t* got = back.at<uint8_t>(x, y);
                for (uint32_t c = 0; c < out_pixies; ++c)
                    ASSERT_EQ(got[c], t.expect(pixel[c], c, pixel)) << x << "," << y << "," << c;
                rgb.back().insert(rgb.back().end(), {got[out_pixies - 1], got[out_pixies / 2], got[0]});
            }
    }
    if (!have_pillow()) GTEST_SKIP() << "needs /usr/bin/python3 with Pillow (PIL) for the comparison";
    const auto theirs = pillow_decode(paths);
    for (size_t i = 0; i < paths.size(); ++i) {
        ASSERT_EQ(theirs[i].rc, 0);
        EXPECT_EQ(first_difference(theirs[i].px, rgb[i]), -1) << trips[i].name << " " << trips[i].w;
    }
}

// ---- run-length escapes against pixels written out by hand ----------------------

TEST(Bmp, RunLengthEscapes) {
    struct Case {
        const char* name;
        uint16_t bits;
        int w, h;
        std::vector<uint8_t> codes;
        std::vector<int> index;  // top line first; -1: no code sets the pixel
    };
    const Case cases[] = {
        {"runs, literal, end of line, end of bitmap", 8, 4, 3,
         {3, 5, 0, 0, 0, 3, 7, 8, 9, 0, 0, 0, 2, 1, 0, 1},
         {1, 1, -1, -1, 7, 8, 9, -1, 5, 5, 5, -1}},
        {"move right and up", 8, 4, 3, {1, 2, 0, 2, 2, 1, 1, 3, 0, 1},
         {-1, -1, -1, -1, -1, -1, -1, 3, 2, -1, -1, -1}},
        {"runs past the right edge", 8, 3, 2, {5, 4, 0, 0, 0, 4, 1, 2, 3, 4, 0, 1}, {1, 2, 3, 4, 4, 4}},
        {"move above the top", 8, 2, 2, {2, 9, 0, 2, 0, 5, 1, 1}, {-1, -1, 9, 9}},
        {"empty lines", 8, 2, 3, {0, 0, 0, 0, 2, 7, 0, 1}, {7, 7, -1, -1, -1, -1}},
        {"odd literal of nibbles", 4, 5, 1, {0, 5, 0x12, 0x34, 0x50, 0, 0, 1}, {1, 2, 3, 4, 5}},
        {"nibble runs", 4, 5, 2, {5, 0xAB, 0, 0, 3, 0xC0, 0, 1}, {12, 0, 12, -1, -1, 10, 11, 10, 11, 10}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Craft craft{40, c.w, c.h, c.bits, c.bits == 8 ? 1u : 2u, {}, greys(1 << c.bits), 0, c.codes};
        TempPath file("rle.bmp");
        mvtest::write_bytes(file.str(), build(craft));
        OwnedImage im(uint32_t(c.w), uint32_t(c.h), MVTYPE_U8, 8, 1, MVCS_GREY);
        std::fill(im.pixels.begin(), im.pixels.end(), 0xEE);
        ASSERT_EQ(mvio8_bmpread(nullptr, &im.im, nullptr, file.c_str(), 0), 0);
        for (size_t i = 0; i < c.index.size(); ++i)
            EXPECT_EQ(im.pixels[i], c.index[i] < 0 ? 0 : 255 - c.index[i]) << "pixel " << i;
    }
}

// ---- file information, palettes, resolution ---------------------------------------

TEST(Bmp, FileInformationAndPalette) {
    OwnedImage grey(5, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    grey.im.xwidth = 0.1f, grey.im.ywidth = 0.2f;  // millimetres: 10000 and 5000 per metre
    grey.im.xunits = grey.im.yunits = MVUNITS_MILLIMETER;
    TempPath file("info.bmp");
    ASSERT_EQ(mvio8_bmpwrite(nullptr, &grey.im, file.c_str(), 0), 0);
    mvfileinfo info[2];
    ASSERT_EQ(mvio8_fileinfoN(file.c_str(), info, 2, 0, 0), 1);
    EXPECT_STREQ(info[0].format, "bmp");
    EXPECT_EQ((std::vector<uint32_t>{info[0].width, info[0].height, info[0].images, info[0].pixfmt.datatype,
                                     info[0].pixfmt.colorspace}),
              (std::vector<uint32_t>{5, 3, 1, MVTYPE_U8, MVCS_GREY}));
    const uint32_t* b = &info[0].area.bmp.zero[0];  // zero, zero, planes, bits, entries, compression, x/y ppm, 1
    EXPECT_EQ(std::vector<uint32_t>(b, b + 9), (std::vector<uint32_t>{0, 0, 1, 8, 256, 0, 10000, 5000, 1}));

    // A colour palette goes into a palette image in that image's own order.
    TempPath pal_file("pal.bmp");
    Craft five = crafted(40, 4, 2, 8, 0, {}, colours(5), [](int x, int) { return uint32_t(x); });
    five.colours_used = 5;
    mvtest::write_bytes(pal_file.str(), build(five));
    ASSERT_EQ(mvio8_fileinfo(pal_file.c_str(), info, 0), 0);
    EXPECT_EQ((std::vector<uint32_t>{info[0].pixfmt.pixies, info[0].pixfmt.colorspace, info[0].area.bmp.bitcount,
                                     info[0].area.bmp.palentries}),
              (std::vector<uint32_t>{3, MVCS_BGR, 8, 5}));
    for (uint32_t cs : {uint32_t(MVCS_BGR), uint32_t(MVCS_RGB)}) {
        OwnedImage im(4, 2, MVTYPE_U8, 8, 3, MVCS_BGR);
        OwnedImage pal(8, 1, MVTYPE_U8, 8, 3, cs);
        std::fill(pal.pixels.begin(), pal.pixels.end(), 0xEE);
        ASSERT_EQ(mvio8_bmpread(nullptr, &im.im, &pal.im, pal_file.c_str(), 0), 1);
        for (uint32_t i = 0; i < 8; ++i)
            for (uint32_t c = 0; c < 3; ++c) {  // entries beyond the file's five unchanged
                const uint32_t shift = 8 * (cs == MVCS_BGR ? c : 2 - c);
                EXPECT_EQ(pal.at<uint8_t>(i, 0)[c], i >= 5 ? 0xEE : uint8_t(colours(5)[i] >> shift)) << i;
            }
    }
    OwnedImage im(4, 2, MVTYPE_U8, 8, 3, MVCS_BGR), grey_pal(8, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    EXPECT_EQ(mvio8_bmpread(nullptr, &im.im, &grey_pal.im, pal_file.c_str(), 0), -1);
}

// ---- damaged files and bad arguments ------------------------------------------------

TEST(Bmp, BrokenHeadersAndContent) {
    const Craft base = crafted(40, 6, 4, 8, 0, {}, colours(256), [](int x, int y) { return uint32_t(x * 9 + y); });
    struct Case {
        const char* name;
        std::function<void(Craft&)> change;
        int32_t rc;
    };
    const Case cases[] = {
        {"zero width", [](Craft& c) { c.width = 0; }, -10},
        {"zero height", [](Craft& c) { c.height = 0; }, -10},
        {"unknown header size", [](Craft& c) { c.header = 44; }, -10},
        {"odd bit count", [](Craft& c) { c.bits = 7; }, -10},
        {"palette beyond the bit count", [](Craft& c) { c.colours_used = 257; }, -10},
        {"JPEG inside", [](Craft& c) { c.bits = 0, c.compression = 4; }, -11},
        {"PNG inside", [](Craft& c) { c.compression = 5; }, -11},
        {"RLE8 on 4-bit pixels", [](Craft& c) { c.bits = 4, c.compression = 1; }, -10},
        {"top-down run-length", [](Craft& c) { c.height = -4, c.compression = 1; }, -10},
        {"lines beyond the file", [](Craft& c) { c.height = 400; }, -10},
        {"huge width", [](Craft& c) { c.width = 0x7FFFFFFF; }, -10},
        {"huge run-length image", [](Craft& c) { c.width = c.height = 40000, c.compression = 1; }, -11},
        {"run-length codes cut short", [](Craft& c) { c.compression = 1, c.data = {2, 1, 0}; }, -10},
        {"split mask", [](Craft& c) { c.bits = 32, c.compression = 3, c.palette.clear(), c.masks = {0xF0F000, 0xFF00, 0xFF}; }, -11},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Craft craft = base;
        c.change(craft);
        TempPath file("broken.bmp");
        mvtest::write_bytes(file.str(), build(craft));
        OwnedImage im(6, 4, MVTYPE_U8, 8, 3, MVCS_BGR);
        EXPECT_EQ(mvio8_bmpread(nullptr, &im.im, nullptr, file.c_str(), 0), c.rc);
    }
    {
        auto bytes = build(base);  // a data offset of 0 means right after the palette
        std::fill(bytes.begin() + 10, bytes.begin() + 14, 0);
        TempPath zero("zero-offset.bmp"), full("full.bmp");
        mvtest::write_bytes(zero.str(), bytes);
        mvtest::write_bytes(full.str(), build(base));
        const Rgb a = ours(zero.str()), b = ours(full.str());
        EXPECT_EQ(a.rc, 0);
        EXPECT_EQ(a.px, b.px);
    }
    // Every prefix of a valid file is refused.
    const auto bytes = build(base);
    for (size_t n = 0; n < bytes.size(); n += 7) {
        TempPath file("prefix.bmp");  // a new file each time: truncating one is slow on some file systems
        mvtest::write_bytes(file.str(), std::vector<uint8_t>(bytes.begin(), bytes.begin() + long(n)));
        OwnedImage im(6, 4, MVTYPE_U8, 8, 3, MVCS_BGR);
        mvfileinfo info;
        ASSERT_LT(mvio8_bmpread(nullptr, &im.im, nullptr, file.c_str(), 0), 0) << n;
        ASSERT_LT(mvio8_fileinfo(file.c_str(), &info, 0), 0) << n;
    }
    TempPath missing("missing.bmp");
    OwnedImage im(6, 4, MVTYPE_U8, 8, 3, MVCS_BGR);
    EXPECT_EQ(mvio8_bmpread(nullptr, nullptr, nullptr, missing.c_str(), 0), -1);
    EXPECT_EQ(mvio8_bmpread(nullptr, &im.im, nullptr, missing.c_str(), 0), -13);
}

TEST(Bmp, RandomDamageNeverCrashes) {
    const std::vector<std::vector<uint8_t>> bases = {
        build(crafted(40, 16, 9, 8, 0, {}, colours(256), [](int x, int y) { return mix(x, y) % 256; })),
        build(crafted(124, 9, -7, 32, 3, {0xFF0000, 0xFF00, 0xFF}, {}, [](int x, int y) { return mix(x, y); })),
        build(crafted(12, 11, 5, 4, 0, {}, colours(16), [](int x, int y) { return mix(x, y) % 16; })),
        build(Craft{40, 9, 4, 8, 1, {}, colours(256), 0, {3, 9, 0, 4, 1, 2, 3, 4, 0, 0, 0, 2, 2, 1, 5, 7, 0, 0, 0, 1}}),
        build(Craft{40, 9, 4, 4, 2, {}, colours(16), 0, {3, 0x9A, 0, 5, 1, 2, 3, 0, 0, 0, 0, 2, 2, 1, 5, 7, 0, 1}}),
    };
    std::mt19937 rng(1234);
    OwnedImage im(8, 8, MVTYPE_U8, 8, 3, MVCS_BGR), pal(16, 1, MVTYPE_U8, 8, 3, MVCS_BGR);
    for (int round = 0; round < 3000; ++round) {
        auto bytes = bases[size_t(round) % bases.size()];
        const int changes = 1 + int(rng() % 4);
        for (int k = 0; k < changes; ++k) bytes[rng() % bytes.size()] = uint8_t(rng());
        if (rng() % 8 == 0) bytes.resize(rng() % bytes.size());
        TempPath file("damaged.bmp");
        mvtest::write_bytes(file.str(), bytes);
        mvfileinfo info;
        const int32_t probed = mvio8_fileinfo(file.c_str(), &info, 0);
        const int32_t rc = mvio8_bmpread(nullptr, &im.im, &pal.im, file.c_str(), 'n');
        ASSERT_LE(rc, 1) << round;
        if (probed != 0) {
            ASSERT_LT(rc, 0) << round;  // what the probe refuses, the reader refuses
        }
    }
}

// ---- the writer's refusals (its hook is checked with the TIFF writers') -----

TEST(Bmp, WriterRefusalsLeaveNoFile) {
    OwnedImage im(5, 40, MVTYPE_U8, 8, 3, MVCS_BGR);
    TempPath file("refused.bmp");
    EXPECT_EQ(mvio8_bmpwrite(nullptr, nullptr, file.c_str(), 0), -1);
    EXPECT_EQ(mvio8_bmpwrite(nullptr, &im.im, nullptr, 0), -1);
    ASSERT_EQ(mvimage_setwind(&im.im, 2, 2, 2, 9), 0);
    EXPECT_EQ(mvio8_bmpwrite(nullptr, &im.im, file.c_str(), 0), -1);
    OwnedImage pair(4, 4, MVTYPE_U8, 8, 2, MVCS_COMPLEX);
    EXPECT_EQ(mvio8_bmpwrite(nullptr, &pair.im, file.c_str(), 0), -11);
    EXPECT_FALSE(mvtest::file_exists(file.str()));
}

}  // namespace
