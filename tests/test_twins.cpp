// Every vector form against its plain twin.  Each row names an operation
// whose kernel has a vector form, the instruction level that form needs
// and the data formats it serves.  The operation runs on seeded random
// images twice, once with the processor level limited to the form's level
// and once limited to plain, and the two results must be identical to the
// byte (pads and untouched pixels included).  Widths are not multiples of
// any vector width (and cross the filters' 512-column chunks), windows
// start at odd columns so that lines start at odd addresses, and every
// operation that may run in place runs both in place and into a separate
// image.  Forms the processor lacks are skipped.
//
// This program links the library's objects rather than the shared library:
// the level limit is internal.
#include "ops/cpu.hpp"
#include "test_util.hpp"

#include <array>
#include <cctype>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using mvip::ops::CpuLevel;
using mvtest::Format;
using mvtest::Image;
using Run = std::function<int32_t(mvimage* src, mvimage* dst)>;

struct Twin {
    std::string name;
    CpuLevel level;               // the vector form's level
    std::vector<Format> formats;  // source formats it serves
    Run run;
    bool in_place = true;         // may run with the destination the source
    uint32_t dst_pixies = 0;      // 0: as the source (same format)
    // Source contents, when plain random values would rarely reach the
    // cases where a form could differ; null: Image::randomize.
    std::function<void(Image&, uint32_t seed)> fill = nullptr;
};

const Format kU8{MVTYPE_U8, 8, 1};
const Format kU16{MVTYPE_U16, 16, 1};
const Format kU16Short{MVTYPE_U16, 12, 1};  // maxval below the container's
const Format kFloat{MVTYPE_FLOAT, 0, 1, 0.f, 1.f};
const Format kDouble{MVTYPE_DOUBLE, 0, 1, -2.f, 3.f};
const std::vector<Format> kInts{kU8, kU16, kU16Short};

std::vector<int32_t> random_coefs(uint32_t count, int32_t spread, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<int32_t> c(count);
    for (auto& v : c) v = static_cast<int32_t>(rng() % (2 * uint32_t(spread) + 1)) - spread;
    return c;
}

void add_neighbourhood_twins(std::vector<Twin>& t) {
    const CpuLevel avx2 = CpuLevel::avx2;
    using Filter = int32_t (*)(mvabort*, mvimage*, mvimage*);
    const std::pair<const char*, Filter> plain_filters[] = {
        {"ranklow", mvip8_3x3ranklow},     {"rankhigh", mvip8_3x3rankhigh},
        {"median", mvip8_3x3median},       {"medianw", mvip8_3x3medianw},
        {"binmedian", mvip8_3x3binmedian}, {"lowpassf", mvip8_3x3lowpassf},
        {"sharpenl", mvip8_3x3sharpenl}};
    for (const auto& [name, fn] : plain_filters)
        t.push_back({name, avx2, kInts, [fn](mvimage* s, mvimage* d) { return fn(nullptr, s, d); }});
    for (uint32_t tol : {0u, 6u, 70u, 100000u})
        t.push_back({"lowpassmear_" + std::to_string(tol), avx2, kInts,
                     [tol](mvimage* s, mvimage* d) { return mvip8_3x3lowpassmear(nullptr, s, d, tol); }});
    for (auto [thr, nb] : {std::pair{0u, 4u}, {9u, 4u}, {0u, 8u}, {30u, 8u}})
        t.push_back({"lowpasssalt_" + std::to_string(thr) + "_" + std::to_string(nb), avx2, kInts,
                     [thr, nb](mvimage* s, mvimage* d) { return mvip8_3x3lowpasssalt(nullptr, s, d, thr, nb); }});
    // Weights reaching each division: 16-bit magic with and without a
    // shift, single precision (negative weights too), 32- and 64-bit.
    for (int32_t w : {-7, -3, 0, 1, 2, 8, 24, 100, 248, 5000, 40000})
        t.push_back({"lowpass_w" + std::to_string(w), avx2, kInts,
                     [w](mvimage* s, mvimage* d) { return mvip8_3x3lowpass(nullptr, s, d, w); }});
}

void add_convolution_twins(std::vector<Twin>& t) {
    const CpuLevel avx2 = CpuLevel::avx2;
    // The built-in masks (and one near miss), each with a mode, divisor
    // (shifting, dividing, negative, the coefficient sum) and offset.
    const std::vector<std::array<int32_t, 9>> masks = {
        {1, 2, 1, 2, 4, 2, 1, 2, 1},         {0, -1, 0, -1, 5, -1, 0, -1, 0},
        {-1, -1, -1, 0, 0, 0, 1, 1, 1},      {1, 1, 1, 0, 0, 0, -1, -1, -1},
        {-1, 0, 1, -1, 0, 1, -1, 0, 1},      {1, 0, -1, 1, 0, -1, 1, 0, -1},
        {0, 1, 0, 1, -4, 1, 0, 1, 0},        {0, -1, 0, -1, 4, -1, 0, -1, 0},
        {1, 1, 1, 1, -8, 1, 1, 1, 1},        {-1, -1, -1, -1, 8, -1, -1, -1, -1},
        {0, -1, 0, -1, 6, -1, 0, -1, 0},     {0, 0, 0, -1, 4, -1, 0, 0, 0},
        {0, -1, 0, 0, 4, 0, 0, -1, 0},       {1, 2, 1, 2, 5, 2, 1, 2, 1}};
    const int32_t divisors[] = {0, 16, 3, -4, 1, -7};
    for (size_t i = 0; i < masks.size(); ++i) {
        const auto coef = masks[i];
        const uint32_t mode = uint32_t(i % 4);
        const int32_t divisor = divisors[i % 6], offset = int32_t(i % 3) * 5 - 5;
        t.push_back({"convolve_mask" + std::to_string(i), avx2, kInts, [=](mvimage* s, mvimage* d) {
                         return mvip8_NxNconvolve(nullptr, s, d, 3, coef.data(), offset, divisor, mode);
                     }});
    }
    // Any coefficients: sums in 16, 32 and 64 bits, several sizes.
    struct AnyCase { uint32_t n; int32_t spread; int32_t divisor; uint32_t mode; };
    for (const AnyCase c : {AnyCase{3, 4, 0, 0}, {5, 3, 8, 2}, {7, 40, -9, 1}, {15, 2, 0, 3},
                            {5, 3000, 0, 0}, {3, 1 << 20, 1000, 2}, {9, 1 << 24, -3, 1}}) {
        const auto coef = random_coefs(c.n * c.n, c.spread, c.n * 7919u + uint32_t(c.spread));
        t.push_back({"convolve_n" + std::to_string(c.n) + "_s" + std::to_string(c.spread), avx2, kInts,
                     [=](mvimage* s, mvimage* d) {
                         return mvip8_NxNconvolve(nullptr, s, d, c.n, coef.data(), 3, c.divisor, c.mode);
                     }});
    }
    const std::vector<Format> all{kU8, kU16, kU16Short, kFloat, kDouble};
    for (uint32_t n : {3u, 5u, 11u})
        for (uint32_t mode = 0; mode < 4; ++mode) {
            std::vector<double> coef(n * n);
            std::mt19937 rng(n * 31 + mode);
            for (auto& v : coef) v = std::uniform_real_distribution<double>(-2.0, 3.0)(rng);
            const double divisor = mode == 1 ? 0.0 : 1.7 * (double(mode) - 1.5);
            t.push_back({"convolvef_n" + std::to_string(n) + "_m" + std::to_string(mode), avx2, all,
                         [=](mvimage* s, mvimage* d) {
                             return mvip8_NxNconvolvef(nullptr, s, d, n, coef.data(), 0.25, divisor, mode);
                         }});
        }
    for (uint32_t n = 3; n <= 15; n += 2)
        for (int32_t offset : {-3, 0, 7})
            t.push_back({"dynthreshold_n" + std::to_string(n) + "_o" + std::to_string(offset), avx2, kInts,
                         [=](mvimage* s, mvimage* d) { return mvip8_NxNdynthreshold(nullptr, s, d, n, offset); }});
}

// RGB colours whose luma is a tie between two integers (299 r + 587 g +
// 114 b = 500 modulo 1000), where a rounding constant that is slightly off
// shows, taken in turn from a place that depends on the seed; every fourth
// pixel is any colour.
void fill_luma_ties(Image& im, uint32_t seed) {
    static const std::vector<std::array<uint8_t, 3>> ties = [] {
        std::vector<std::array<uint8_t, 3>> v;
        for (uint32_t r = 0; r < 256; ++r)
            for (uint32_t g = 0; g < 256; ++g)
                for (uint32_t b = 0; b < 256; ++b)
                    if ((299 * r + 587 * g + 114 * b) % 1000 == 500)
                        v.push_back({uint8_t(r), uint8_t(g), uint8_t(b)});
        return v;
    }();
    std::mt19937 rng(seed);
    size_t next = size_t{seed} * 1543;
    const uint32_t red = im.fmt().space == MVCS_RGB || im.fmt().space == MVCS_RGBX ? 0 : 2;
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x) {
            std::array<uint8_t, 3> c = ties[next++ % ties.size()];
            if (rng() % 4 == 0) c = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
            im.set(x, y, red, c[0]);
            im.set(x, y, 1, c[1]);
            im.set(x, y, 2 - red, c[2]);
            if (im.pixies() == 4) im.set(x, y, 3, rng() % 256);
        }
}

void add_other_twins(std::vector<Twin>& t) {
    // The byte table in vector registers.
    static const std::array<uint8_t, 256> table = [] {
        std::array<uint8_t, 256> a{};
        std::mt19937 rng(4242);
        for (auto& v : a) v = static_cast<uint8_t>(rng());
        return a;
    }();
    t.push_back({"pixmap_u8", CpuLevel::avx512, {kU8}, [](mvimage* s, mvimage* d) {
                     return mvip8_pixmap(nullptr, s, d, table.data(), 256);
                 }});
    // 8-bit luma from each RGB order.
    const std::pair<const char*, uint32_t> orders[] = {
        {"bgr", MVCS_BGR}, {"rgb", MVCS_RGB}, {"bgrx", MVCS_BGRX}, {"rgbx", MVCS_RGBX}};
    for (const auto& [name, space] : orders) {
        Format f{MVTYPE_U8, 8, space == MVCS_BGR || space == MVCS_RGB ? 3u : 4u};
        f.space = space;
        t.push_back({std::string("grey_from_") + name, CpuLevel::avx2, {f},
                     [](mvimage* s, mvimage* d) { return mvip8_copycolorconvert(nullptr, s, d, 0, MVCS_GREY); },
                     false, 1, fill_luma_ties});
    }
}

// The JPEG transforms: a file written and read back at each level (noise
// reaches every coefficient, so a difference in either transform shows).
int32_t jpeg_round_trip(mvimage* s, mvimage* d) {
    const std::string path = ::testing::TempDir() + "mvip_twins_jpeg.jpg";
    const uint32_t bits = s->pixfmt.datatype == MVTYPE_U16 ? 12 : 8;
    int32_t rc = mvio8_jpegwrite(nullptr, s, nullptr, path.c_str(), bits, nullptr);
    if (rc == 0) rc = mvio8_jpegread(nullptr, d, path.c_str(), 0);
    std::remove(path.c_str());
    return rc;
}

void add_file_twins(std::vector<Twin>& t) {
    Format rgb{MVTYPE_U8, 8, 3};
    rgb.space = MVCS_RGB;
    t.push_back({"jpeg_round_trip", CpuLevel::avx2, {kU8, rgb, kU16Short}, jpeg_round_trip, false});
}

void PrintTo(const Twin& t, std::ostream* os) { *os << t.name; }

std::vector<Twin> twins() {
    std::vector<Twin> t;
    add_neighbourhood_twins(t);
    add_convolution_twins(t);
    add_other_twins(t);
    add_file_twins(t);
    return t;
}

const char* level_name(CpuLevel l) {
    return l == CpuLevel::avx512 ? "avx512" : l == CpuLevel::avx2 ? "avx2" : "plain";
}

// One run of a twin at a processor level: the source, the destination (a
// separate image, or the source itself) and what they hold afterwards.
struct Outcome {
    int32_t rc;
    std::vector<uint64_t> src, dst;
};

constexpr uint32_t kHeight = 5;
constexpr int32_t kSrcX = 1, kDstX = 3;  // odd window starts

Outcome run_at(const Twin& twin, CpuLevel level, const Format& f, uint32_t width, bool in_place,
               uint32_t seed) {
    Image src(f, width + 6, kHeight);
    if (twin.fill) twin.fill(src, seed);
    else src.randomize(seed);
    src.window(kSrcX, 0, kSrcX + int32_t(width), kHeight);
    Format df = f;
    if (twin.dst_pixies) {
        df.pixies = twin.dst_pixies;
        df.space = mvtest::kSpaceByPixies;
    }
    Image dst(df, width + 6, kHeight);
    dst.randomize(seed + 1);
    dst.window(kDstX, 0, kDstX + int32_t(width), kHeight);
    mvip::ops::cpu_limit(level);
    Outcome o;
    o.rc = twin.run(src.rec(), in_place ? src.rec() : dst.rec());
    mvip::ops::cpu_limit(CpuLevel::avx512);
    o.src = src.raw();
    o.dst = dst.raw();
    return o;
}

class Twins : public ::testing::TestWithParam<Twin> {
protected:
    void TearDown() override { mvip::ops::cpu_limit(CpuLevel::avx512); }
};

TEST_P(Twins, VectorFormEqualsPlainTwin) {
    const Twin& twin = GetParam();
    if (mvip::ops::cpu_detected() < twin.level)
        GTEST_SKIP() << "the processor has no " << level_name(twin.level);
    const uint32_t widths[] = {1, 2, 7, 31, 33, 95, 100, 511, 515, 1029};
    uint32_t seed = 1;
    for (const Format& f : twin.formats)
        for (uint32_t width : widths)
            for (bool in_place : {false, true}) {
                if (in_place && !twin.in_place) continue;
                seed += 2;
                SCOPED_TRACE(mvtest::name_of(f) + " width " + std::to_string(width) +
                             (in_place ? " in place" : " separate"));
                const Outcome plain = run_at(twin, CpuLevel::plain, f, width, in_place, seed);
                const Outcome wide = run_at(twin, twin.level, f, width, in_place, seed);
                ASSERT_EQ(plain.rc, 0);
                ASSERT_EQ(wide.rc, 0);
                ASSERT_TRUE(plain.src == wide.src) << "source (in place: the result) differs";
                ASSERT_TRUE(plain.dst == wide.dst) << "destination differs";
            }
}

INSTANTIATE_TEST_SUITE_P(All, Twins, ::testing::ValuesIn(twins()),
                         [](const ::testing::TestParamInfo<Twin>& info) {
                             std::string n = info.param.name;
                             for (char& c : n)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return n;
                         });

}  // namespace
