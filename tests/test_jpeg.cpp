// JPEG files made and read by the library itself: the segments the writer
// puts down, quality scaling, round trips at both precisions, the file
// record, the writer's refusals and broken files given to the reader.
// Checks against other programs are in test_jpeg_interop.cpp.
#include "file_util.hpp"

#include <algorithm>
#include <cstring>
#include <functional>

using mvtest::OwnedImage;
using mvtest::TempPath;

namespace {

struct Segment {
    uint8_t marker;
    std::vector<uint8_t> payload;
};

// The segments of a file up to and including SOS.
std::vector<Segment> segments(const std::vector<uint8_t>& f) {
    std::vector<Segment> out;
    size_t p = 2;
    out.push_back({0xD8, {}});
    while (p + 4 <= f.size() && f[p] == 0xFF) {
        const uint8_t m = f[p + 1];
        const size_t len = size_t(f[p + 2]) << 8 | f[p + 3];
        out.push_back({m, std::vector<uint8_t>(f.begin() + std::ptrdiff_t(p + 4), f.begin() + std::ptrdiff_t(p + 2 + len))});
        p += 2 + len;
        if (m == 0xDA) break;
    }
    return out;
}

int32_t write(mvimage* im, const TempPath& path, uint32_t bits, const mvfileinfo* info) {
    return mvio8_jpegwrite(nullptr, im, nullptr, path.c_str(), bits, info);
}

// Largest difference between two images' values.
template <class T>
int max_difference(const OwnedImage& a, const OwnedImage& b) {
    const T* x = reinterpret_cast<const T*>(a.pixels.data());
    const T* y = reinterpret_cast<const T*>(b.pixels.data());
    int most = 0;
    for (size_t i = 0; i < a.pixels.size() / sizeof(T); ++i) most = std::max(most, std::abs(int(x[i]) - int(y[i])));
    return most;
}

TEST(JpegWrite, SegmentsInOrder) {
    OwnedImage rgb(19, 11, MVTYPE_U8, 8, 3, MVCS_RGB);
    rgb.fill_natural(1);
    TempPath path("order.jpg");
    char first[] = "first comment", third[] = "third";
    ASSERT_EQ(mvio8_jpegwrite2(nullptr, &rgb.im, nullptr, path.c_str(), 8, 2, 300, 150, 755, nullptr, nullptr,
                               nullptr, nullptr, first), 0);
    std::vector<uint8_t> bytes = mvtest::file_bytes(path.str());
    auto seg = segments(bytes);
    std::vector<uint8_t> order;
    for (const auto& s : seg) order.push_back(s.marker);
    EXPECT_EQ(order, (std::vector<uint8_t>{0xD8, 0xE0, 0xFE, 0xFE, 0xDB, 0xDB, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA}));
    EXPECT_EQ(seg[1].payload, (std::vector<uint8_t>{'J', 'F', 'I', 'F', 0, 1, 2, 2, 300 >> 8, 300 & 255, 0, 150, 0, 0}));
    EXPECT_EQ(std::string(seg[2].payload.begin(), seg[2].payload.end()), "first comment");
    EXPECT_EQ(std::string(seg[3].payload.begin(), seg[3].payload.end()), "CompressionQuality=755");
    EXPECT_EQ(seg[4].payload.size(), 65u);
    EXPECT_EQ(seg[4].payload[0], 0);
    EXPECT_EQ(seg[5].payload[0], 1);
    EXPECT_EQ(seg[6].payload, (std::vector<uint8_t>{8, 0, 11, 0, 19, 3, 1, 0x11, 0, 2, 0x11, 1, 3, 0x11, 1}));
    const uint8_t classes[4] = {0x00, 0x10, 0x01, 0x11};
    for (int t = 0; t < 4; ++t) EXPECT_EQ(seg[size_t(7 + t)].payload[0], classes[t]);
    EXPECT_EQ(seg[11].payload, (std::vector<uint8_t>{3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0}));
    EXPECT_EQ(bytes[bytes.size() - 2], 0xFF);
    EXPECT_EQ(bytes.back(), 0xD9);

    // Three comment slots, no record: grey, no comments, default density.
    mvfileinfo info{};
    info.area.jpg.quality = 500;
    info.texts[0] = first;
    info.texts[2] = third;
    OwnedImage grey(8, 8, MVTYPE_U16, 12, 1, MVCS_GREY);
    TempPath g12("g12.jpg"), g8("g8.jpg");
    ASSERT_EQ(write(&grey.im, g12, 12, &info), 0);
    seg = segments(mvtest::file_bytes(g12.str()));
    order.clear();
    for (const auto& s : seg) order.push_back(s.marker);
    EXPECT_EQ(order, (std::vector<uint8_t>{0xD8, 0xE0, 0xFE, 0xFE, 0xFE, 0xDB, 0xC0, 0xC4, 0xC4, 0xDA}));
    EXPECT_EQ(std::string(seg[3].payload.begin(), seg[3].payload.end()), "third");
    EXPECT_EQ(seg[5].payload.size(), 65u);  // 8-bit entries also for 12-bit samples
    EXPECT_EQ(seg[6].payload[0], 12);       // SOF0 with precision 12
    ASSERT_EQ(write(&grey.im, g8, 8, nullptr), 0);
    seg = segments(mvtest::file_bytes(g8.str()));
    EXPECT_EQ(seg[1].payload, (std::vector<uint8_t>{'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0}));
    EXPECT_EQ(seg[2].marker, 0xDB);
}

TEST(JpegWrite, QualityScalesTheBaseTables) {
    static const uint8_t luma[64] = {16, 11, 10, 16, 24, 40, 51, 61, 12, 12, 14, 19, 26, 58, 60, 55};
    struct Case {
        bool record;
        uint32_t quality;
        // Luminance entries 0 and 1 in natural order, and the largest entry.
        uint32_t e0, e1, largest;
    } cases[] = {
        {true, 1000, 1, 1, 1},       // 100 %: all 1
        {true, 0, 255, 255, 255},    // 0 with a record: factor 5000, all clamped
        {false, 0, 16, 11, 121},     // no record: the base table
        {true, 755, 8, 6, 61},       // q 75: factor 50
        {true, 100, 80, 55, 255},    // q 10: factor 500
        {true, 1500, 1, 1, 1},       // capped at 100
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.quality) + (c.record ? " record" : " none"));
        OwnedImage grey(8, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
        TempPath path("q.jpg");
        mvfileinfo info{};
        info.area.jpg.quality = c.quality;
        ASSERT_EQ(write(&grey.im, path, 8, c.record ? &info : nullptr), 0);
        auto seg = segments(mvtest::file_bytes(path.str()));
        const Segment* dqt = nullptr;
        for (const auto& s : seg)
            if (s.marker == 0xDB) dqt = &s;
        ASSERT_NE(dqt, nullptr);
        // Zig-zag positions 0 and 1 are natural 0 and 1.
        EXPECT_EQ(dqt->payload[1], c.e0);
        EXPECT_EQ(dqt->payload[2], c.e1);
        EXPECT_EQ(*std::max_element(dqt->payload.begin() + 1, dqt->payload.end()), c.largest);
    }
    (void)luma;
}

struct RoundTrip {
    const char* name;
    uint32_t type, bits, pixies, cs, file_bits, width, height, quality;
    int tolerance;  // largest difference to the source
};

TEST(JpegRoundTrip, ReadsBackWhatItWrote) {
    const RoundTrip cases[] = {
        {"grey8", MVTYPE_U8, 8, 1, MVCS_GREY, 8, 67, 33, 1000, 2},
        {"rgb8", MVTYPE_U8, 8, 3, MVCS_RGB, 8, 45, 19, 1000, 3},
        {"bgr8_q90", MVTYPE_U8, 8, 3, MVCS_BGR, 8, 16, 16, 900, 30},
        {"one_pixel", MVTYPE_U8, 8, 3, MVCS_RGB, 8, 1, 1, 1000, 3},
        {"grey12", MVTYPE_U16, 12, 1, MVCS_GREY, 12, 33, 17, 1000, 8},
        {"rgb12", MVTYPE_U16, 12, 3, MVCS_RGB, 12, 21, 9, 1000, 24},
        {"grey16_as12", MVTYPE_U16, 16, 1, MVCS_GREY, 12, 9, 9, 1000, 8 * 16},
    };
    for (const RoundTrip& c : cases) {
        SCOPED_TRACE(c.name);
        OwnedImage src(c.width, c.height, c.type, c.bits, c.pixies, c.cs);
        src.fill_natural(7);
        TempPath path("rt.jpg");
        mvfileinfo info{};
        info.area.jpg.quality = c.quality;
        ASSERT_EQ(write(&src.im, path, c.file_bits, &info), 0);
        OwnedImage back(c.width, c.height, c.type, c.bits, c.pixies, c.cs);
        ASSERT_EQ(mvio8_jpegread(nullptr, &back.im, path.c_str(), c.cs == MVCS_BGR ? 0x100 : 0), 0);
        const int diff = c.type == MVTYPE_U8 ? max_difference<uint8_t>(src, back) : max_difference<uint16_t>(src, back);
        EXPECT_LE(diff, c.tolerance);

        mvfileinfo got{};
        ASSERT_EQ(mvio8_fileinfo(path.c_str(), &got, 0), 0);
        EXPECT_STREQ(got.format, "jpg");
        EXPECT_EQ(got.width, c.width);
        EXPECT_EQ(got.height, c.height);
        EXPECT_EQ(got.pixfmt.pixies, c.pixies);
        EXPECT_EQ(got.pixfmt.bits, c.file_bits);
        EXPECT_EQ(got.pixfmt.datatype, c.file_bits == 8 ? uint32_t(MVTYPE_U8) : uint32_t(MVTYPE_U16));
        EXPECT_EQ(got.area.jpg.quality, c.quality);
        mvio8_fileinfodone(&got);
    }
}

TEST(JpegRoundTrip, RecordReportsDensityAndComments) {
    OwnedImage grey(10, 10, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath path("dens.jpg");
    char c1[] = "one", c2[] = "two", c3[] = "three";
    mvfileinfo info{};
    info.area.jpg = {755, 300, 150, 1, 0};
    info.texts[0] = c1;
    info.texts[1] = c2;
    info.texts[2] = c3;
    ASSERT_EQ(write(&grey.im, path, 8, &info), 0);
    mvfileinfo got{};
    ASSERT_EQ(mvio8_fileinfoN(path.c_str(), &got, 1, 0, 0), 1);
    EXPECT_EQ(got.area.jpg.quality, 755u);
    EXPECT_EQ(got.area.jpg.xdensity, 300);
    EXPECT_EQ(got.area.jpg.ydensity, 150);
    EXPECT_EQ(got.area.jpg.unit, 1);
    EXPECT_STREQ(got.texts[0], "one");
    EXPECT_STREQ(got.texts[1], "two");
    EXPECT_STREQ(got.texts[2], "three");
    mvio8_fileinfodone(&got);
}

TEST(JpegWrite, Refusals) {
    OwnedImage two(8, 8, MVTYPE_U8, 8, 2, 0), flt(8, 8, MVTYPE_FLOAT, 0, 1, MVCS_GREY),
        grey(40, 40, MVTYPE_U8, 8, 1, MVCS_GREY);
    struct Case {
        const char* name;
        mvimage* im;
        uint32_t bits;
        int32_t rc;
    } cases[] = {
        {"two pixies", &two.im, 8, -21}, {"float", &flt.im, 8, -19}, {"bits 10", &grey.im, 10, -1},
        {"bits 16", &grey.im, 16, -1},   {"null", nullptr, 8, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempPath path("refused.jpg");
        EXPECT_EQ(write(c.im, path, c.bits, nullptr), c.rc);
        EXPECT_FALSE(mvtest::file_exists(path.str()));
    }
    // A stop by the hook part way deletes the file.
    for (uint32_t bits : {8u, 12u}) {
        mvtest::ScriptedHook hook;
        hook.at_line = 16;
        hook.stop = 77;
        TempPath path("stopped.jpg");
        EXPECT_EQ(mvio8_jpegwrite(&hook.hook, &grey.im, nullptr, path.c_str(), bits, nullptr), 77);
        EXPECT_FALSE(mvtest::file_exists(path.str()));
    }
}

// Broken and refused files: the reader and the probe answer a code and
// never crash.
TEST(JpegRead, BrokenFiles) {
    OwnedImage src(40, 24, MVTYPE_U8, 8, 3, MVCS_RGB);
    src.fill_natural(3);
    TempPath good("good.jpg");
    ASSERT_EQ(write(&src.im, good, 8, nullptr), 0);
    const std::vector<uint8_t> base = mvtest::file_bytes(good.str());
    auto find = [&](uint8_t marker) {
        for (size_t p = 2; p + 3 < base.size();) {
            if (base[p + 1] == marker) return p;
            p += 2 + (size_t(base[p + 2]) << 8 | base[p + 3]);
        }
        return size_t(0);
    };
    const size_t sof = find(0xC0), dht = find(0xC4), dqt = find(0xDB), sos = find(0xDA);
    struct Case {
        const char* name;
        std::function<void(std::vector<uint8_t>&)> change;
        int32_t rc;
    } cases[] = {
        {"unchanged", [](auto&) {}, 0},
        {"SOF1 read as SOF0", [&](auto& f) { f[sof + 1] = 0xC1; }, 0},
        {"progressive", [&](auto& f) { f[sof + 1] = 0xC2; }, -11},
        {"lossless", [&](auto& f) { f[sof + 1] = 0xC3; }, -11},
        {"arithmetic", [&](auto& f) { f[sof + 1] = 0xC9; }, -11},
        {"precision 16", [&](auto& f) { f[sof + 4] = 16; }, -11},
        {"no SOI", [](auto& f) { f[1] = 0xD9; }, -10},
        {"zero width", [&](auto& f) { f[sof + 7] = f[sof + 8] = 0; }, -10},
        {"sampling 5", [&](auto& f) { f[sof + 11] = 0x51; }, -10},
        {"quant table 2", [&](auto& f) { f[dqt + 4] = 2; }, -10},
        {"huffman class 2", [&](auto& f) { f[dht + 4] = 0x20; }, -10},
        {"huffman overfull", [&](auto& f) { f[dht + 5] = 3; }, -10},
        {"missing huffman table", [&](auto& f) { f[dht + 4] = 0x03; }, -10},
        {"scan of unknown component", [&](auto& f) { f[sos + 5] = 9; }, -10},
        {"truncated in the scan", [&](auto& f) { f.resize(sos + 40); }, -10},
        {"truncated in a segment", [&](auto& f) { f.resize(dqt + 20); }, -10},
        {"cut before the scan", [&](auto& f) { f.resize(sos); }, -10},
        {"segment beyond the end", [&](auto& f) { f[dqt + 2] = 0xFF; }, -10},
        {"DNL", [&](auto& f) { f[dqt + 1] = 0xDC; }, -11},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> f = base;
        c.change(f);
        TempPath path("broken.jpg");
        mvtest::write_bytes(path.str(), f);
        OwnedImage dst(40, 24, MVTYPE_U8, 8, 3, MVCS_RGB);
        EXPECT_EQ(mvio8_jpegread(nullptr, &dst.im, path.c_str(), 0), c.rc);
    }
    // Random damage: any answer but a crash (the sanitizer build watches).
    std::mt19937 rng(11);
    for (int i = 0; i < 300; ++i) {
        std::vector<uint8_t> f = base;
        for (int k = 0; k < 1 + i % 4; ++k) f[2 + rng() % (f.size() - 2)] = uint8_t(rng());
        if (i % 3 == 0) f.resize(2 + rng() % (f.size() - 2));
        TempPath path("damaged.jpg");
        mvtest::write_bytes(path.str(), f);
        OwnedImage dst(13, 7, MVTYPE_U16, 12, 1, MVCS_GREY);
        EXPECT_LE(mvio8_jpegread(nullptr, &dst.im, path.c_str(), 0), 0);
        mvfileinfo info{};
        mvio8_fileinfo(path.c_str(), &info, 0);
        mvio8_fileinfodone(&info);
    }
}

}  // namespace
