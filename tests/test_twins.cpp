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
#include "files/jpeg/colour.hpp"
#include "files/jpeg/dct.hpp"
#include "ops/cpu.hpp"
#include "regions/linewalk.hpp"
#include "regions/scanlist.hpp"
#include "regions/search.hpp"
#include "test_util.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <random>
#include <functional>
#include <map>
#include <memory>
#include <tuple>
#include <string>
#include <vector>

namespace {

using mvip::ops::CpuLevel;
using mvtest::Format;
using mvtest::Image;
using Run = std::function<int32_t(mvimage* src, mvimage* dst)>;
// Operations of several sources: the others come first, the source (which
// may take the result) last.
using RunWith = std::function<int32_t(mvimage* const* others, mvimage* src, mvimage* dst)>;

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
    uint32_t others = 0;          // further sources, built like the source
    RunWith run_with = nullptr;   // the run when there are others
    // Also on whole images without line padding, where every line of the
    // window goes to the kernel as one run.
    bool whole = false;
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

// Point and pair kernels: each at both vector levels, on whole images as
// well as windows.
const Format kU32{MVTYPE_U32, 32, 1};
const Format kU32Short{MVTYPE_U32, 20, 1};
const Format kRgb8{MVTYPE_U8, 8, 3};
const Format kRgb16{MVTYPE_U16, 11, 3};
const Format kRgbFloat{MVTYPE_FLOAT, 0, 3, -1.f, 1.f};
const std::vector<Format> kU8U16{kU8, kU16, kU16Short, kRgb8};
const std::vector<Format> kAllInts{kU8, kU16, kU16Short, kU32, kU32Short, kRgb16};
const std::vector<Format> kEvery{kU8, kU16, kU16Short, kU32, kU32Short, kFloat, kDouble, kRgb8, kRgbFloat};
const std::vector<Format> kReals{kFloat, kDouble, kRgbFloat};
const std::vector<Format> kGrey{kU8, kU16, kU16Short};

void add_both(std::vector<Twin>& t, const std::string& name, const std::vector<Format>& formats,
              Run run) {
    for (CpuLevel level : {CpuLevel::avx2, CpuLevel::avx512})
        t.push_back({name + (level == CpuLevel::avx2 ? "_avx2" : "_avx512"), level, formats, run, true,
                     0, nullptr, 0, nullptr, true});
}
void add_both(std::vector<Twin>& t, const std::string& name, const std::vector<Format>& formats,
              uint32_t others, RunWith run) {
    for (CpuLevel level : {CpuLevel::avx2, CpuLevel::avx512})
        t.push_back({name + (level == CpuLevel::avx2 ? "_avx2" : "_avx512"), level, formats, nullptr,
                     true, 0, nullptr, others, run, true});
}

void add_point_twins(std::vector<Twin>& t) {
    using Plain = int32_t (*)(mvabort*, mvimage*, mvimage*);
    using Masked = int32_t (*)(mvabort*, mvimage*, mvimage*, uint32_t);
    add_both(t, "pixneg", kEvery, [](mvimage* s, mvimage* d) { return mvip8_pixneg(nullptr, s, d); });
    for (auto [value, mode] : {std::pair{40, 2}, {-40, 2}, {300, 2}, {70000, 2}, {-70000, 2}, {40, 1}, {-3, 1}})
        add_both(t, "pixadd_" + std::to_string(value) + "_" + std::to_string(mode), kU8U16,
                 [value, mode](mvimage* s, mvimage* d) { return mvip8_pixadd(nullptr, s, d, value, mode); });
    for (std::array<uint32_t, 4> a : {std::array<uint32_t, 4>{101, 255, 255, 0}, {30, 2000, 7, 9}, {5, 3, 1, 2}}) {
        add_both(t, "pixthreshold2_" + std::to_string(a[0]) + "_" + std::to_string(a[1]), kU8U16,
                 [a](mvimage* s, mvimage* d) { return mvip8_pixthreshold2(nullptr, s, d, a[0], a[1], a[2], a[3]); });
        add_both(t, "pixthreshold_" + std::to_string(a[0]) + "_" + std::to_string(a[1]), kU8U16,
                 [a](mvimage* s, mvimage* d) { return mvip8_pixthreshold(nullptr, s, d, a[0], a[1], a[2]); });
    }
    for (auto [name, fn] : {std::pair<const char*, Masked>{"pixshr", mvip8_pixshr}, {"pixshl", mvip8_pixshl},
                            {"pixand", mvip8_pixand}, {"pixor", mvip8_pixor}, {"pixxor", mvip8_pixxor}})
        for (uint32_t arg : {3u, 0x5A5A5u})
            add_both(t, std::string(name) + "_" + std::to_string(arg), kAllInts,
                     [fn, arg](mvimage* s, mvimage* d) { return fn(nullptr, s, d, arg); });
    add_both(t, "pixmsb", kAllInts, [](mvimage* s, mvimage* d) { return mvip8_pixmsb(nullptr, s, d); });
    add_both(t, "pixscale", kAllInts, [](mvimage* s, mvimage* d) { return mvip8_pixscale(nullptr, s, d, 3, 7); });
    add_both(t, "pixcontrast", kU8U16, [](mvimage* s, mvimage* d) { return mvip8_pixcontrast(nullptr, s, d, 20, 200); });
    add_both(t, "pixf_contrast", kEvery, [](mvimage* s, mvimage* d) { return mvipf_pixcontrast(nullptr, s, d, 0.2, 170.5); });
    add_both(t, "pixf_scale", kEvery, [](mvimage* s, mvimage* d) { return mvipf_pixscale(nullptr, s, d, 1.7); });
    add_both(t, "pixf_add", kEvery, [](mvimage* s, mvimage* d) { return mvipf_pixadd(nullptr, s, d, -0.3); });
    const std::vector<Format> colour{kRgb8, kRgb16, kRgbFloat};
    for (auto [name, fn] : {std::pair<const char*, Plain>{"pixiemin", mvip8_pixiemin},
                            {"pixiemax", mvip8_pixiemax}, {"pixieave", mvip8_pixieave}})
        add_both(t, name, colour, [fn](mvimage* s, mvimage* d) { return fn(nullptr, s, d); });
    add_both(t, "pixiecopy", colour, [](mvimage* s, mvimage* d) { return mvip8_pixiecopy(nullptr, s, d, 1, 5); });
    add_both(t, "pixthreshold3", {kRgb8, kRgb16}, [](mvimage* s, mvimage* d) {
        const uint32_t low[3] = {10, 0, 50}, high[3] = {200, 90, 255}, value[3] = {1, 2, 3};
        return mvip8_pixthreshold3(nullptr, s, d, low, high, value);
    });
}

void add_pair_twins(std::vector<Twin>& t) {
    using Pair = int32_t (*)(mvabort*, mvimage*, mvimage*, mvimage*);
    for (int32_t mode : {1, 2})
        add_both(t, "pairadd_" + std::to_string(mode), kEvery, 1, [mode](mvimage* const* o, mvimage* s, mvimage* d) {
            return mvip8_pairadd(nullptr, o[0], s, d, mode);
        });
    for (int32_t mode : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 100, 101, 102})
        add_both(t, "pairsub_" + std::to_string(mode), kEvery, 1, [mode](mvimage* const* o, mvimage* s, mvimage* d) {
            return mvip8_pairsub(nullptr, o[0], s, d, mode);
        });
    for (auto [name, fn, formats] :
         {std::tuple<const char*, Pair, const std::vector<Format>*>{"pairave", mvip8_pairave, &kEvery},
          {"pairmax", mvip8_pairmax, &kEvery}, {"pairmin", mvip8_pairmin, &kEvery},
          {"pairand", mvip8_pairand, &kAllInts}, {"pairor", mvip8_pairor, &kAllInts},
          {"pairxor", mvip8_pairxor, &kAllInts}, {"pairinsert", mvip8_pairinsert, &kGrey}})
        add_both(t, name, *formats, 1, [fn](mvimage* const* o, mvimage* s, mvimage* d) { return fn(nullptr, o[0], s, d); });
    add_both(t, "pairinsdiff", kGrey, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        return mvip8_pairinsdiff(nullptr, o[0], s, d, 20);
    });
    add_both(t, "pairprod", kAllInts, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const int32_t coef[5] = {3, -2, 5, 1, 4};
        return mvip8_pairprod(nullptr, o[0], s, d, 0, coef);
    });
    add_both(t, "pairratio", kAllInts, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const int32_t coef[4] = {7, 3, 2, 1};
        return mvip8_pairratio(nullptr, o[0], s, d, 0, coef);
    });
    add_both(t, "pairoverlay", {kU8, kU16, kRgb8}, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const uint32_t key[3] = {0, 0, 0};
        return mvip8_pairoverlay(nullptr, o[0], s, d, 0, key);
    });
    add_both(t, "pairf_prod", kReals, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const double coef[5] = {0.5, -1.25, 2.0, 0.75, 3.0};
        return mvipf_pairprod(nullptr, o[0], s, d, 0, coef);
    });
    add_both(t, "pairf_ratio", kReals, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const double coef[4] = {1.5, 0.25, 2.0, 0.5};
        return mvipf_pairratio(nullptr, o[0], s, d, 0, coef);
    });
    add_both(t, "pairf_overlay", kReals, 1, [](mvimage* const* o, mvimage* s, mvimage* d) {
        const double key[3] = {0.25, 0.5, 0.75};
        return mvipf_pairoverlay(nullptr, o[0], s, d, 0, key);
    });
    add_both(t, "pairblend", kU8U16, 2, [](mvimage* const* o, mvimage* s, mvimage* d) {
        return mvip8_pairblend(nullptr, o[0], o[1], s, d);
    });
    add_both(t, "tripletnormalize", kU8U16, 2, [](mvimage* const* o, mvimage* s, mvimage* d) {
        return mvip8_tripletnormalize(nullptr, o[0], o[1], s, d, 1000);
    });
}

void PrintTo(const Twin& t, std::ostream* os) { *os << t.name; }

std::vector<Twin> twins() {
    std::vector<Twin> t;
    add_neighbourhood_twins(t);
    add_convolution_twins(t);
    add_other_twins(t);
    add_file_twins(t);
    add_point_twins(t);
    add_pair_twins(t);
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
constexpr int32_t kSrcX = 1, kDstX = 3, kOtherX = 2;  // window starts, odd and even

// Images `width` wide (plus padding and a window starting at x, or whole).
struct Placed {
    Image im;
    Placed(const Format& f, uint32_t width, bool whole)
        : im(f, whole ? width : width + 6, kHeight, mvtest::Layout{whole ? 0u : 3u}) {}
    void place(int32_t x, uint32_t width, bool whole) {
        if (!whole) im.window(x, 0, x + int32_t(width), kHeight);
    }
};

Outcome run_at(const Twin& twin, CpuLevel level, const Format& f, uint32_t width, bool in_place,
               bool whole, uint32_t seed) {
    Placed src(f, width, whole);
    if (twin.fill) twin.fill(src.im, seed);
    else src.im.randomize(seed);
    src.place(kSrcX, width, whole);
    Format df = f;
    if (twin.dst_pixies) {
        df.pixies = twin.dst_pixies;
        df.space = mvtest::kSpaceByPixies;
    }
    Placed dst(df, width, whole);
    dst.im.randomize(seed + 1);
    dst.place(kDstX, width, whole);
    std::vector<std::unique_ptr<Placed>> others;
    std::vector<mvimage*> other_recs;
    for (uint32_t i = 0; i < twin.others; ++i) {
        others.push_back(std::make_unique<Placed>(f, width, whole));
        others.back()->im.randomize(seed + 10 + i);
        others.back()->place(kOtherX, width, whole);
        other_recs.push_back(others.back()->im.rec());
    }
    mvip::ops::cpu_limit(level);
    Outcome o;
    mvimage* out = in_place ? src.im.rec() : dst.im.rec();
    o.rc = twin.others ? twin.run_with(other_recs.data(), src.im.rec(), out) : twin.run(src.im.rec(), out);
    mvip::ops::cpu_limit(CpuLevel::avx512);
    o.src = src.im.raw();
    o.dst = dst.im.raw();
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
            for (bool in_place : {false, true})
                for (bool whole : {false, true}) {
                    if ((in_place && !twin.in_place) || (whole && !twin.whole)) continue;
                    seed += 2;
                    SCOPED_TRACE(mvtest::name_of(f) + " width " + std::to_string(width) +
                                 (in_place ? " in place" : " separate") + (whole ? " whole" : ""));
                    const Outcome plain = run_at(twin, CpuLevel::plain, f, width, in_place, whole, seed);
                    const Outcome wide = run_at(twin, twin.level, f, width, in_place, whole, seed);
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

// Shortcuts that are twins of a walk rather than of a vector form: the
// line walk's rows from its closed form against the stepped walk, and the
// scan conversion of ellipses (from their rows) and polygons (edge by
// edge) against the same conversion from every walked outline point.
TEST(WalkShortcuts, LineRowsAreTheSteppedWalkGroupedByRow) {
    std::mt19937 rng(11);
    for (int i = 0; i < 3000; ++i) {
        const int32_t span = i % 3 == 0 ? 4 : 300;
        std::uniform_int_distribution<int32_t> c(-span, span);
        const int32_t x0 = c(rng), y0 = c(rng), x1 = c(rng), y1 = c(rng);
        const int64_t top = c(rng), bottom = top + std::uniform_int_distribution<int64_t>(-1, 2 * span)(rng);
        std::map<int32_t, std::pair<int32_t, int32_t>> want;  // row: first, last
        std::vector<int32_t> order;
        mvip::regions::line_walk(x0, y0, x1, y1, false, false, [&](int32_t x, int32_t y) {
            if (y < top || y > bottom) return true;
            if (!want.count(y)) order.push_back(y), want[y] = {x, x};
            want[y].second = x;
            return true;
        });
        std::vector<int32_t> got_order;
        std::map<int32_t, std::pair<int32_t, int32_t>> got;
        ASSERT_TRUE(mvip::regions::line_rows(x0, y0, x1, y1, top, bottom, [&](int32_t y, int32_t f, int32_t l) {
            got_order.push_back(y);
            got[y] = {f, l};
        }));
        ASSERT_EQ(got_order, order) << x0 << "," << y0 << " to " << x1 << "," << y1;
        ASSERT_EQ(got, want) << x0 << "," << y0 << " to " << x1 << "," << y1;
    }
}

TEST(WalkShortcuts, ScanConversionShortcutsGiveTheWalkedOutlinesRuns) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(0.f, 1.f);
    for (int round = 0; round < 1500; ++round) {
        const int kind = round % 5;
        const int32_t n = kind == 0 ? 1 + round % 4 : 3 + int32_t(u(rng) * 40);
        std::vector<unsigned char> bytes(sizeof(mvimregion) + 8 * size_t(n), 0);
        auto* r = reinterpret_cast<mvimregion*>(bytes.data());
        r->reclen = bytes.size();
        r->origin = {int32_t(u(rng) * 160) - 20, int32_t(u(rng) * 140) - 20};
        const float w = u(rng) * 150, h = u(rng) * 150, angle = u(rng) * 7 - 3.5f;
        switch (kind) {
        case 0:
        case 1: {  // random corners: self-crossing, spiky, repeated
            r->regiontype = MVIMREGPOLYGON;
            r->region.polygon.N = n;
            std::vector<mvpoint> v(static_cast<size_t>(n));
            for (auto& q : v) q = {int32_t(u(rng) * 300) - 150, int32_t(u(rng) * 300) - 150};
            if (n > 2 && round % 7 == 0) v[1] = v[0];
            std::memcpy(bytes.data() + MVIMREGION_POLYGON_AT, v.data(), v.size() * sizeof(mvpoint));
            break;
        }
        case 2:
            r->regiontype = MVIMREGELLIPSE;
            r->region.ellipse = {int32_t(w), int32_t(h), angle};
            break;
        case 3:
            r->regiontype = MVIMREGELLIPSEF;
            r->region.ellipsef = {{u(rng) - 0.5f, u(rng) - 0.5f}, w, h, angle};
            break;
        default:
            r->regiontype = round % 2 ? MVIMREGANNULUS : MVIMREGANNULUSF;
            if (round % 2) r->region.annulus = {int32_t(w), int32_t(h), angle, int32_t(w / 2), int32_t(h * u(rng)), -angle};
            else r->region.annulusf = {{0.25f, -0.5f}, w, h, angle, w * u(rng), h / 2, angle / 2};
        }
        const int32_t x0 = int32_t(u(rng) * 120), y0 = int32_t(u(rng) * 100);
        const mvywindow win = round % 3 ? mvywindow{{x0, y0}, {x0 + 1 + int32_t(u(rng) * 120), y0 + 1 + int32_t(u(rng) * 100)}}
                                        : mvywindow{{0, 0}, {120, 100}};
        for (bool non_zero : {false, true}) {
            SCOPED_TRACE("round " + std::to_string(round) + (non_zero ? " winding" : " even-odd"));
            mvip::regions::Runs fast, walked;
            if (kind < 2) {
                ASSERT_EQ(mvip::regions::general_runs(r, win, non_zero, fast), 0);
                ASSERT_EQ(mvip::regions::general_runs(r, win, non_zero, walked, true), 0);
            } else {
                ASSERT_EQ(mvip::regions::banded_runs(r, win, fast), 0);
                ASSERT_EQ(mvip::regions::banded_runs(r, win, walked, true), 0);
            }
            ASSERT_EQ(fast.size(), walked.size());
            for (size_t i = 0; i < fast.size(); ++i)
                ASSERT_TRUE(fast[i].coord.x == walked[i].coord.x && fast[i].coord.y == walked[i].coord.y &&
                            fast[i].len == walked[i].len) << "run " << i;
        }
    }
}

}  // namespace

// The JPEG kernels on their own, on data a file rarely gives them: samples
// at the ends of their range, coefficients far past what samples give (so
// that every clamp and rounding is reached), colour at every width up to
// two vector steps past the tail.
namespace {

TEST(JpegKernelTwins, VectorFormsEqualPlainForms) {
    namespace jp = mvip::files::jpeg;
    if (mvip::ops::cpu_detected() < CpuLevel::avx2) GTEST_SKIP() << "the processor has no avx2";
    mvip::ops::cpu_limit(CpuLevel::avx512);
    std::mt19937 rng(11);
    uint16_t table[64];
    for (auto& q : table) q = uint16_t(1 + rng() % 60);
    table[0] = table[1] = 1;  // quantised values that reach the clamp
    float fmul[64], imul[64];
    jp::forward_multipliers(table, fmul);
    jp::inverse_multipliers(table, imul);
    for (int n = 0; n < 3000; ++n) {
        const int32_t half = n % 2 ? 2048 : 128;
        float s[8 * 11];
        for (float& v : s)
            v = n % 7 == 0 ? float(-half)
                : n % 5 == 0 ? float(rng() % 2 ? half - 1 : -half) : float(int32_t(rng() % (2 * half)) - half);
        int32_t a[64], b[64];
        const float limit = float(half * 8 - 1);
        jp::forward_transform_plain()(s, 11, fmul, limit, a);
        jp::forward_transform()(s, 11, fmul, limit, b);
        ASSERT_TRUE(std::equal(a, a + 64, b)) << "forward, block " << n;
        const int32_t spread = std::array<int32_t, 4>{3, 60, 2000, 30000}[n % 4];
        std::copy_n(random_coefs(64, spread, uint32_t(n)).begin(), 64, a);
        std::copy_n(a, 64, b);
        uint8_t p8[8 * 9], w8[8 * 9];
        uint16_t p16[8 * 9], w16[8 * 9];
        jp::inverse_transform_u8_plain()(a, imul, p8, 9);
        jp::inverse_transform_u8()(b, imul, w8, 9);
        ASSERT_TRUE(std::equal(a, a + 64, b) && a[7] == 0) << "inverse leaves the block zero";
        std::copy_n(random_coefs(64, spread, uint32_t(n) + 7).begin(), 64, a);
        std::copy_n(a, 64, b);
        jp::inverse_transform_u16_plain()(a, imul, p16, 9, 4095);
        jp::inverse_transform_u16()(b, imul, w16, 9, 4095);
        for (int r = 0; r < 8; ++r) {
            ASSERT_TRUE(std::equal(p8 + 9 * r, p8 + 9 * r + 8, w8 + 9 * r)) << "inverse u8, block " << n;
            ASSERT_TRUE(std::equal(p16 + 9 * r, p16 + 9 * r + 8, w16 + 9 * r)) << "inverse u16, block " << n;
        }
    }
    for (size_t width = 0; width <= 40; ++width) {
        std::vector<uint8_t> rgb(3 * width), planes(3 * width);
        for (auto& v : rgb) v = uint8_t(rng() % 5 == 0 ? (rng() % 2) * 255 : rng());
        for (auto& v : planes) v = uint8_t(rng() % 5 == 0 ? (rng() % 2) * 255 : rng());
        std::vector<float> f[2] = {std::vector<float>(3 * width), std::vector<float>(3 * width)};
        std::vector<float> lines(3 * width);  // upsampled lines run a little past the range
        for (auto& v : lines) v = float(int32_t(rng() % 3000) - 200) / 10.0f;
        std::vector<uint8_t> out[2] = {std::vector<uint8_t>(3 * width), std::vector<uint8_t>(3 * width)};
        std::vector<uint8_t> from_float[2] = {out[0], out[1]};
        for (int i = 0; i < 2; ++i) {
            mvip::ops::cpu_limit(i == 0 ? CpuLevel::plain : CpuLevel::avx2);
            float* p = f[i].data();
            jp::rgb_to_ycc_u8()(rgb.data(), width, p, p + width, p + 2 * width);
            const uint8_t* q = planes.data();
            jp::ycc_to_rgb_u8()(q, q + width, q + 2 * width, width, out[i].data());
            const float* l = lines.data();
            jp::ycc_float_to_rgb_u8()(l, l + width, l + 2 * width, width, from_float[i].data());
        }
        mvip::ops::cpu_limit(CpuLevel::avx512);
        ASSERT_TRUE(width == 0 || std::memcmp(f[0].data(), f[1].data(), f[0].size() * sizeof(float)) == 0) << "width " << width;
        ASSERT_TRUE(out[0] == out[1] && from_float[0] == from_float[1]) << "width " << width;
    }
}

// The pixel search's line kernels (the search, the test of a line, its
// packing into bits): every level against the plain loop, on
// all starts and lengths up to a few vectors, for tests whose passing
// pixels are rare, common or absent.

TEST(SearchTwins, VectorFormsEqualPlainLoops) {
    using namespace mvip::regions;
    std::mt19937 rng(5);
    std::vector<uint8_t> data(300);
    for (auto& v : data) v = rng() % 16 ? uint8_t(rng() % 4) : uint8_t(rng());
    const uint32_t tests[][2] = {{93, 200}, {94, 3}, {221, 0}, {101, 2u | 2u << 16}, {91, 0}};
    for (const CpuLevel level : {CpuLevel::avx2, CpuLevel::avx512}) {
        if (mvip::ops::cpu_detected() < level) continue;
        for (const auto& [code, value] : tests) {
            PixelTest t;
            ASSERT_TRUE(make_test(code, value, 255, t));
            for (size_t at = 0; at < 70; at += 3)
                for (size_t n = 0; at + n <= data.size(); n += 1 + n / 4) {
                    const uint8_t* p = data.data() + at;
                    std::vector<uint8_t> plain(n + 1, 9), wide(n + 1, 9);
                    std::vector<uint64_t> bits(n / 64 + 2, 7), wide_bits(n / 64 + 2, 7);
                    binarize_u8_plain(p, plain.data(), n, t);
                    pack_bits_plain(plain.data(), bits.data(), n);
                    mvip::ops::cpu_limit(level);
                    const size_t found = find_u8(p, n, t);
                    binarize_u8(p, wide.data(), n, t);
                    pack_bits(wide.data(), wide_bits.data(), n);
                    mvip::ops::cpu_limit(CpuLevel::avx512);
                    ASSERT_EQ(found, find_u8_plain(p, n, t)) << code << " at " << at << " n " << n;
                    ASSERT_EQ(plain, wide);
                    ASSERT_EQ(bits, wide_bits);
                }
        }
        // Masked stores of a value (the painting of found pixels).
        for (size_t n : {size_t{1}, size_t{63}, size_t{64}, size_t{65}, size_t{200}}) {
            std::vector<uint64_t> mask(n / 64 + 1);
            for (auto& m : mask) m = uint64_t(rng()) << 32 | rng();
            std::vector<uint8_t> a(data.begin(), data.begin() + long(n) + 8), b = a;
            std::vector<uint16_t> c(n + 8, 3), d = c;
            store_masked_u8_plain(a.data(), mask.data(), n, 77);
            store_masked_u16_plain(c.data(), mask.data(), n, 777);
            mvip::ops::cpu_limit(level);
            store_masked_u8(b.data(), mask.data(), n, 77);
            store_masked_u16(d.data(), mask.data(), n, 777);
            mvip::ops::cpu_limit(CpuLevel::avx512);
            ASSERT_EQ(a, b) << n;
            ASSERT_EQ(c, d) << n;
        }
    }
}

}  // namespace

// Counting, sums and exchanges, whose results are numbers or both images:
// each operation at every vector level against the plain level, on whole
// images (one long run: the forms that need length) and on windows at odd
// columns (line by line), widths leaving tails of every vector step.
namespace {

using Numbers = std::vector<uint64_t>;
using Measure = std::function<Numbers(mvimage* a, mvimage* b)>;

template <class T>
void append(Numbers& out, const T* v, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        uint64_t bits = 0;
        std::memcpy(&bits, v + i, sizeof(T));
        out.push_back(bits);
    }
}

Measure histogram(int32_t (*fn)(mvabort*, mvimage*, uint32_t*, uint32_t), uint32_t bins, uint32_t cells) {
    return [=](mvimage* a, mvimage*) {
        Numbers out(cells + 1);
        std::vector<uint32_t> h(cells, 7);
        out[0] = uint64_t(fn(nullptr, a, h.data(), bins));
        append(out, h.data(), cells);
        return out;
    };
}

TEST(MeasureTwins, FastFormsEqualPlainForms) {
    const Format u6{MVTYPE_U8, 6, 1}, rgb{MVTYPE_U8, 8, 3, 0.f, 1.f, MVCS_RGB};
    struct Case {
        const char* name;
        Format a, b;
        Measure run;
    };
    const auto moments = [](int32_t (*fn)(mvabort*, mvimage*, mvmoments*)) {
        return [fn](mvimage* a, mvimage*) {
            mvmoments m{};
            Numbers out{uint64_t(fn(nullptr, a, &m))};
            append(out, m.m, 10);  // bit for bit
            append(out, m.mu, 10);
            append(out, &m.xc, 1);
            append(out, &m.yc, 1);
            return out;
        };
    };
    const std::vector<Case> cases = {
        {"histab2 u8", kU8, kU8, histogram(mvip8_histab2, 256, 256)},
        {"histab2 u8 6 bits", u6, kU8, histogram(mvip8_histab2, 64, 64)},
        {"histab u8 10 bins", kU8, kU8, histogram(mvip8_histab, 10, 10)},
        {"histab u8 6 bits 64 bins", u6, kU8, histogram(mvip8_histab, 64, 64)},
        {"histab3 rgb 256 bins", rgb, kU8, histogram(mvip8_histab3, 256, 768)},
        {"histab3 rgb 7 bins", rgb, kU8, histogram(mvip8_histab3, 7, 21)},
        {"moments u8", kU8, kU8, moments(mvip8_moments)},
        {"moments u16", kU16, kU8, moments(mvip8_moments)},
        {"moments u16 12 bits", kU16Short, kU8, moments(mvip8_moments)},
        {"momentsf float", kFloat, kU8, moments(mvip8_momentsf)},
        {"momentsf double", kDouble, kU8, moments(mvip8_momentsf)},
        {"momentsf u32", kU32Short, kU8, moments(mvip8_momentsf)},
        {"masscenterpow u16", kU16Short, kU8,
         [](mvimage* a, mvimage*) {
             double c[2] = {};
             Numbers out{uint64_t(mvip8_masscenterpow(nullptr, a, 1.5, &c[0], &c[1]))};
             append(out, c, 2);
             return out;
         }},
        {"masscenterbin u16", kU16, kU8,
         [](mvimage* a, mvimage*) {
             double c[2] = {};
             uint64_t area = 0;
             Numbers out{uint64_t(mvip8_masscenterbin(nullptr, a, &c[0], &c[1], &area)), area};
             append(out, c, 2);
             return out;
         }},
        {"copyexchange u8", kU8, kU8, [](mvimage* a, mvimage* b) { return Numbers{uint64_t(mvip8_copyexchange(nullptr, a, b))}; }},
        {"copyexchange rgb", rgb, rgb, [](mvimage* a, mvimage* b) { return Numbers{uint64_t(mvip8_copyexchange(nullptr, a, b))}; }},
    };
    // Accumulation: a narrower first source added into the second.
    std::vector<Case> all = cases;
    for (auto [a, b] : {std::pair{kU8, kU16}, {kU8, kU32}, {kU16, kU32}, {kFloat, kDouble}})
        all.push_back({"pairadd accumulate", a, b, [](mvimage* x, mvimage* y) {
                           return Numbers{uint64_t(mvip8_pairadd(nullptr, x, y, y, 1))};
                       }});
    for (const Case& c : all)
        for (uint32_t width : {1u, 33u, 100u, 1029u, 1500u, 4099u})
            for (bool whole : {false, true}) {
                SCOPED_TRACE(std::string(c.name) + " width " + std::to_string(width) + (whole ? " whole" : ""));
                Numbers results[3];
                for (CpuLevel level : {CpuLevel::plain, CpuLevel::avx2, CpuLevel::avx512}) {
                    if (mvip::ops::cpu_detected() < level) continue;
                    Placed a(c.a, width, whole), b(c.b, width, whole);
                    a.im.randomize(width * 3 + 1);
                    b.im.randomize(width * 3 + 2);
                    a.place(kSrcX, width, whole);
                    b.place(kOtherX, width, whole);
                    mvip::ops::cpu_limit(level);
                    Numbers& r = results[int(level)];
                    const Numbers a0 = a.im.raw(), b0 = b.im.raw();
                    r = c.run(a.im.rec(), b.im.rec());
                    // Whole images of one format trade their very memory.
                    if (whole && std::string(c.name).starts_with("copyexchange")) {
                        ASSERT_TRUE(a.im.raw() == b0 && b.im.raw() == a0);
                    }
                    mvip::ops::cpu_limit(CpuLevel::avx512);
                    for (const Image* im : {&a.im, &b.im})  // the images, changed or not
                        for (uint64_t v : im->raw()) r.push_back(v);
                    ASSERT_EQ(results[int(level)][0], 0u);
                    if (level != CpuLevel::plain) {
                        ASSERT_EQ(r, results[0]) << int(level);
                    }
                }
            }
}

}  // namespace
