// Copy operations against per-pixel formulas written out here: plain and
// exchanging copies, pixie slices, colour conversion, resampling, shifts,
// mirroring and tiling, over every data type, several bit depths, colour
// and monochrome, windows that are not the whole image, in place and not,
// on images that map their lines and on byte-swapped ones that do not.
// (The abort hook's calls are held to in the frame's tests.)
#include "test_util.hpp"

#include <climits>

namespace {

using namespace mvtest;

const Format kFormats[] = {{MVTYPE_U8, 8, 1},  {MVTYPE_U8, 5, 1},  {MVTYPE_U16, 16, 1}, {MVTYPE_U16, 12, 1},
                           {MVTYPE_U32, 32, 1}, {MVTYPE_U32, 20, 1}, {MVTYPE_FLOAT, 0, 1}, {MVTYPE_DOUBLE, 0, 1}};
const Format kSomeFormats[] = {{MVTYPE_U8, 8, 1}, {MVTYPE_U16, 12, 1}, {MVTYPE_U32, 32, 1}, {MVTYPE_FLOAT, 0, 1},
                               {MVTYPE_DOUBLE, 0, 1}};

Format with_pixies(Format f, uint32_t pixies, uint32_t space = kSpaceByPixies) {
    f.pixies = pixies;
    f.space = space;
    return f;
}

// An image filled with seeded random values.
struct Img : Image {
    Img(const Format& f, uint32_t w, uint32_t h, uint32_t seed, bool swapped = false, uint32_t pad = 0)
        : Image(f, w, h, Layout{pad, false, swapped}) {
        randomize(seed);
    }
};

TEST(Copy, WindowMatchesSourceOnEveryRoute) {
    // Plain images map their lines; a byte-swapped one refuses mapping, so
    // its side goes through the buffer (and is swapped on the way).
    for (const Format& f0 : kFormats)
        for (uint32_t pixies : {1u, 3u})
            for (int route = 0; route < 4; ++route) {
                const Format f = with_pixies(f0, pixies);
                SCOPED_TRACE(name_of(f) + " route " + std::to_string(route));
                Img src(f, 23, 17, 1, route & 1), dst(f, 19, 21, 2, route & 2, 3);
                src.window(4, 2, 17, 15);
                dst.window(1, 6, 14, 19);
                const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) { return src.wget(x, y, k); });
                const auto before = src.values();
                ASSERT_EQ(mvip8_copy(nullptr, src.rec(), dst.rec()), 0);
                EXPECT_TRUE(holds(dst, want));
                EXPECT_TRUE(holds(src, before));
                // Onto itself, and onto a second record over the same memory.
                mvimage alias = *dst.rec();
                ASSERT_EQ(mvip8_copy(nullptr, dst.rec(), dst.rec()), 0);
                ASSERT_EQ(mvip8_copy(nullptr, dst.rec(), &alias), 0);
                EXPECT_TRUE(holds(dst, want));
            }
}

TEST(Copy, OverlappingWindowsWithinOneLine) {
    Img img({MVTYPE_U16, 16, 2}, 12, 3, 7);
    mvimage dst = *img.rec();
    img.window(0, 0, 9, 3);
    ASSERT_EQ(mvimage_setwind(&dst, 2, 0, 11, 3), 0);
    std::vector<double> want = img.values();
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 9; ++x)
            for (uint32_t k = 0; k < 2; ++k) want[img.index(x + 2, y, k)] = img.get(x, y, k);
    EXPECT_EQ(mvip8_copy(nullptr, img.rec(), &dst), 0);
    EXPECT_TRUE(holds(img, want));
}

// Refusals of every copy family member that takes two windows of equal
// size, data type, bit depth and pixie count.
TEST(Copy, IncompatibleImagesAreRefused) {
    using Op = std::function<int32_t(mvimage*, mvimage*)>;
    const std::pair<const char*, Op> ops[] = {
        {"copy", [](mvimage* a, mvimage* b) { return mvip8_copy(nullptr, a, b); }},
        {"exchange", [](mvimage* a, mvimage* b) { return mvip8_copyexchange(nullptr, a, b); }},
        {"shift", [](mvimage* a, mvimage* b) { return mvip8_copyshift(nullptr, a, b, 1, 1); }},
        {"reverse", [](mvimage* a, mvimage* b) { return mvip8_copyreverse(nullptr, a, b, 3); }},
        {"nearest", [](mvimage* a, mvimage* b) { return mvip8_copyinterpnearest(nullptr, a, b); }},
        {"bilinear", [](mvimage* a, mvimage* b) { return mvip8_copyinterpbilinear(nullptr, a, b); }},
        {"replic", [](mvimage* a, mvimage* b) { return mvip8_copyreplic(nullptr, a, b); }},
        {"colorconvert",
         [](mvimage* a, mvimage* b) { return mvip8_copycolorconvert(nullptr, a, b, 0, a ? a->pixfmt.colorspace : MVCS_BGR); }},
    };
    const Format u12{MVTYPE_U16, 12, 3};
    for (const auto& [name, op] : ops) {
        SCOPED_TRACE(name);
        Img a(u12, 8, 6, 1), other_type({MVTYPE_U8, 8, 3}, 8, 6, 2), other_bits({MVTYPE_U16, 10, 3}, 8, 6, 3);
        Img more_pixies(with_pixies(u12, 4), 8, 6, 4), fewer_pixies(with_pixies(u12, 1), 8, 6, 6);
        Img i32({MVTYPE_I32, 32, 1}, 8, 6, 5);
        const auto before = other_type.raw();
        EXPECT_EQ(op(nullptr, a.rec()), MVERR_USAGE);
        EXPECT_EQ(op(a.rec(), nullptr), MVERR_USAGE);
        EXPECT_EQ(op(a.rec(), other_type.rec()), MVERR_USAGE);
        EXPECT_EQ(op(a.rec(), other_bits.rec()), MVERR_USAGE);
        EXPECT_EQ(op(a.rec(), more_pixies.rec()), MVERR_USAGE);
        // An image that cannot take the source's pixies refuses to be opened.
        EXPECT_LT(op(a.rec(), fewer_pixies.rec()), 0);
        EXPECT_EQ(op(i32.rec(), i32.rec()), MVERR_DATATYPE);
        EXPECT_TRUE(other_type.raw_is(before));
    }
    // Window sizes must agree where the operation does not resample.
    for (int i = 0; i < 4; ++i) {
        Img a({MVTYPE_U8, 8, 1}, 8, 6, 1), b({MVTYPE_U8, 8, 1}, 8, 6, 2);
        b.window(0, 0, 8, 5);
        const auto before = b.raw();
        EXPECT_EQ(ops[i].second(a.rec(), b.rec()), MVERR_USAGE) << ops[i].first;
        EXPECT_TRUE(b.raw_is(before));
    }
}

TEST(Copy, ExchangeSwapsWindowsAndTwiceRestores) {
    for (const Format& f0 : kFormats)
        for (uint32_t pixies : {1u, 4u})
            for (bool swapped : {false, true}) {
                const Format f = with_pixies(f0, pixies);
                SCOPED_TRACE(name_of(f) + (swapped ? " swapped" : ""));
                Img a(f, 14, 9, 7, swapped), b(f, 10, 12, 8, false, 2);
                a.window(3, 1, 12, 8);
                b.window(0, 4, 9, 11);
                const auto a0 = a.values(), b0 = b.values();
                const auto want_a = with_window(a, [&](uint32_t x, uint32_t y, uint32_t k) { return b.wget(x, y, k); });
                const auto want_b = with_window(b, [&](uint32_t x, uint32_t y, uint32_t k) { return a.wget(x, y, k); });
                ASSERT_EQ(mvip8_copyexchange(nullptr, a.rec(), b.rec()), 0);
                EXPECT_TRUE(holds(a, want_a));
                EXPECT_TRUE(holds(b, want_b));
                ASSERT_EQ(mvip8_copyexchange(nullptr, a.rec(), b.rec()), 0);
                EXPECT_TRUE(holds(a, a0));
                EXPECT_TRUE(holds(b, b0));
            }
    // Within one image: with itself nothing changes; the left and right
    // halves through two records over one memory.
    Img img({MVTYPE_FLOAT, 0, 2}, 16, 6, 9);
    const auto before = img.values();
    EXPECT_EQ(mvip8_copyexchange(nullptr, img.rec(), img.rec()), 0);
    EXPECT_TRUE(holds(img, before));
    mvimage right = *img.rec();
    img.window(0, 0, 8, 6);
    ASSERT_EQ(mvimage_setwind(&right, 8, 0, 16, 6), 0);
    auto want = before;
    for (uint32_t y = 0; y < 6; ++y)
        for (uint32_t x = 0; x < 16; ++x)
            for (uint32_t k = 0; k < 2; ++k) want[img.index(x, y, k)] = img.value_in(before, (x + 8) % 16, y, k);
    EXPECT_EQ(mvip8_copyexchange(nullptr, img.rec(), &right), 0);
    EXPECT_TRUE(holds(img, want));
}

TEST(Copy, SliceCopiesOnePixieIntoAnother) {
    const std::pair<int32_t, int32_t> indexes[] = {{0, 0}, {2, 0}, {1, 3}, {0, 2}};
    for (const Format& f : kFormats)
        for (bool swapped : {false, true}) {
            for (auto [si, di] : indexes) {
                SCOPED_TRACE(name_of(f) + " " + std::to_string(si) + " -> " + std::to_string(di) + (swapped ? " swapped" : ""));
                Img src(with_pixies(f, 3), 13, 8, 11, swapped), dst(with_pixies(f, 4), 9, 10, 12, false, 1);
                src.window(2, 1, 9, 7);
                dst.window(1, 3, 8, 9);
                const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
                    return int32_t(k) == di ? src.wget(x, y, uint32_t(si)) : dst.wget(x, y, k);
                });
                ASSERT_EQ(mvip8_copyslice(nullptr, src.rec(), dst.rec(), si, di), 0);
                EXPECT_TRUE(holds(dst, want));
            }
            // Within one image.
            Img img(with_pixies(f, 3), 10, 7, 13, swapped, 2);
            img.window(1, 2, 8, 6);
            const auto want = with_window(img, [&](uint32_t x, uint32_t y, uint32_t k) { return img.wget(x, y, k ? k : 2); });
            ASSERT_EQ(mvip8_copyslice(nullptr, img.rec(), img.rec(), 2, 0), 0);
            ASSERT_EQ(mvip8_copyslice(nullptr, img.rec(), img.rec(), 1, 1), 0);
            EXPECT_TRUE(holds(img, want));
        }
    // Indexes out of range and missing images are refused before the hook;
    // bit depths must agree.
    Img src({MVTYPE_U8, 8, 3}, 5, 4, 1), dst({MVTYPE_U8, 8, 2}, 5, 4, 2), other({MVTYPE_U8, 6, 2}, 5, 4, 3);
    const auto before = dst.raw();
    const std::pair<int32_t, int32_t> bad[] = {{3, 0}, {-1, 0}, {0, 2}, {0, -1}, {INT32_MIN, 0}};
    Hook hook;
    for (auto [si, di] : bad)
        EXPECT_EQ(mvip8_copyslice(hook.get(), src.rec(), dst.rec(), si, di), MVERR_USAGE) << si << " " << di;
    EXPECT_EQ(mvip8_copyslice(hook.get(), nullptr, dst.rec(), 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvip8_copyslice(hook.get(), src.rec(), nullptr, 0, 0), MVERR_USAGE);
    EXPECT_TRUE(hook.calls.empty());
    EXPECT_EQ(mvip8_copyslice(nullptr, src.rec(), other.rec(), 0, 0), MVERR_USAGE);
    EXPECT_TRUE(dst.raw_is(before));
}

TEST(Copy, ColorConvert) {
    for (const Format& f : kFormats) {
        SCOPED_TRACE(name_of(f));
        // The source's own space (the fourth argument unused): a plain copy.
        for (uint32_t pixies : {1u, 3u}) {
            Img src(with_pixies(f, pixies), 9, 7, 21), dst(with_pixies(f, pixies), 8, 8, 22);
            src.window(1, 0, 7, 7);
            dst.window(2, 1, 8, 8);
            const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) { return src.wget(x, y, k); });
            ASSERT_EQ(mvip8_copycolorconvert(nullptr, src.rec(), dst.rec(), 12345, default_space(pixies)), 0);
            EXPECT_TRUE(holds(dst, want));
        }
        // BGR to RGB reverses the pixies of every pixel.
        Img src(with_pixies(f, 3), 9, 7, 23), dst(with_pixies(f, 3, MVCS_RGB), 8, 8, 24);
        src.window(1, 0, 7, 7);
        dst.window(2, 1, 8, 8);
        const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) { return src.wget(x, y, 2 - k); });
        ASSERT_EQ(mvip8_copycolorconvert(nullptr, src.rec(), dst.rec(), 0, MVCS_RGB), 0);
        EXPECT_TRUE(holds(dst, want));
        // To grey: the same values as a copy from a converter view built here.
        Img grey(f, 6, 7, 25), expected(f, 6, 7, 25);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, src.rec(), MVCS_GREY, 0), 0);
        ASSERT_EQ(mvip8_copy(nullptr, &view, expected.rec()), 0);
        ASSERT_EQ(mvip8_copycolorconvert(nullptr, src.rec(), grey.rec(), 0, MVCS_GREY), 0);
        EXPECT_TRUE(holds(grey, expected.values()));
    }
    Img src({MVTYPE_U8, 8, 3}, 4, 4, 1), dst({MVTYPE_U8, 8, 3}, 4, 4, 2);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, src.rec(), dst.rec(), 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, nullptr, dst.rec(), 0, MVCS_RGB), MVERR_USAGE);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, src.rec(), nullptr, 0, MVCS_RGB), MVERR_USAGE);
}

// ---- resampling ----------------------------------------------------------

// Source coordinate of destination pixel x, with pixel centres aligned.
double source_coordinate(uint32_t x, uint32_t src_size, uint32_t dst_size) {
    return (x + 0.5) * src_size / dst_size - 0.5;
}

double reference_nearest(const Image& src, uint32_t dw, uint32_t dh, uint32_t x, uint32_t y, uint32_t k) {
    auto pick = [](uint32_t d, uint32_t s, uint32_t n) {
        const double r = std::round(source_coordinate(d, s, n));  // half away from zero
        return static_cast<uint32_t>(std::clamp(r, 0.0, s - 1.0));
    };
    return src.wget(pick(x, src.ww(), dw), pick(y, src.wh(), dh), k);
}

double reference_bilinear(const Image& src, uint32_t dw, uint32_t dh, uint32_t x, uint32_t y, uint32_t k) {
    struct Taps {
        uint32_t i0, i1;
        double f;
    };
    auto taps = [](uint32_t d, uint32_t s, uint32_t n) {
        const double c = std::clamp(source_coordinate(d, s, n), 0.0, s - 1.0);
        const auto i0 = static_cast<uint32_t>(std::floor(c));
        return Taps{i0, std::min(i0 + 1, s - 1), c - std::floor(c)};
    };
    const Taps tx = taps(x, src.ww(), dw), ty = taps(y, src.wh(), dh);
    auto p = [&](uint32_t i, uint32_t j) { return src.wget(i, j, k); };
    const double top = p(tx.i0, ty.i0) * (1 - tx.f) + p(tx.i1, ty.i0) * tx.f;
    const double bottom = p(tx.i0, ty.i1) * (1 - tx.f) + p(tx.i1, ty.i1) * tx.f;
    const double v = top * (1 - ty.f) + bottom * ty.f;
    if (src.fmt().type == MVTYPE_FLOAT) return static_cast<float>(v);
    if (src.fmt().type == MVTYPE_DOUBLE) return v;
    return std::floor(v + 0.5);  // never negative: half away from zero
}

struct Size {
    uint32_t sw, sh, dw, dh;
};

TEST(CopyResample, NearestAndBilinearMatchTheReference) {
    const Size sizes[] = {{10, 7, 23, 15}, {23, 15, 10, 7}, {9, 9, 4, 17}, {1, 1, 5, 3}, {5, 1, 12, 4},
                          {16, 12, 8, 6},  {8, 6, 16, 12},  {3, 5, 3, 9}, {7, 4, 7, 4}};
    for (int bilinear = 0; bilinear < 2; ++bilinear)
        for (const Format& f0 : kFormats)
            for (uint32_t pixies : {1u, 3u})
                for (const Size& s : sizes) {
                    const Format f = with_pixies(f0, pixies);
                    SCOPED_TRACE(name_of(f) + (bilinear ? " bilinear " : " nearest ") + std::to_string(s.sw) + "x" +
                                 std::to_string(s.sh) + " -> " + std::to_string(s.dw) + "x" + std::to_string(s.dh));
                    Img src(f, s.sw + 3, s.sh + 2, 31, pixies == 1), dst(f, s.dw + 2, s.dh + 3, 32, false, 1);
                    src.window(2, 1, 2 + int32_t(s.sw), 1 + int32_t(s.sh));
                    dst.window(1, 2, 1 + int32_t(s.dw), 2 + int32_t(s.dh));
                    const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
                        return bilinear ? reference_bilinear(src, s.dw, s.dh, x, y, k)
                                        : reference_nearest(src, s.dw, s.dh, x, y, k);
                    });
                    ASSERT_EQ(bilinear ? mvip8_copyinterpbilinear(nullptr, src.rec(), dst.rec())
                                       : mvip8_copyinterpnearest(nullptr, src.rec(), dst.rec()),
                              0);
                    // Floats are allowed the order of their operations.
                    const double tol = f.type == MVTYPE_FLOAT ? 1e-4 : 1e-9;
                    const auto got = dst.values();
                    for (size_t i = 0; i < want.size(); ++i)
                        ASSERT_NEAR(got[i], want[i], is_float(f.type) ? tol * std::max(1.0, std::fabs(want[i])) : 0) << i;
                    EXPECT_TRUE(dst.pads_clear());
                }
}

TEST(CopyResample, ValuesAtTheTypeAndEmptyWindows) {
    // Full-range u32 values interpolate without overflow (coordinates
    // -0.25, 0.25, 0.75, 1.25); an exact half rounds up.
    Img src({MVTYPE_U32, 32, 1}, 2, 1, 1), dst({MVTYPE_U32, 32, 1}, 4, 1, 2);
    src.set(0, 0, 0, 4294967295.0);
    src.set(1, 0, 0, 4294967294.0);
    ASSERT_EQ(mvip8_copyinterpbilinear(nullptr, src.rec(), dst.rec()), 0);
    EXPECT_EQ(dst.values(), (std::vector<double>{4294967295.0, 4294967295.0, 4294967294.0, 4294967294.0}));
    Img a({MVTYPE_U8, 8, 1}, 2, 1, 1), b({MVTYPE_U8, 8, 1}, 1, 1, 2);
    a.set(0, 0, 0, 3);
    a.set(1, 0, 0, 4);
    ASSERT_EQ(mvip8_copyinterpbilinear(nullptr, a.rec(), b.rec()), 0);
    EXPECT_EQ(b.get(0, 0, 0), 4);  // 3.5 rounds half away from zero
    ASSERT_EQ(mvip8_copyinterpnearest(nullptr, a.rec(), b.rec()), 0);
    EXPECT_EQ(b.get(0, 0, 0), 4);  // coordinate 0.5 rounds to 1
    // Nothing to receive is done; nothing to give is refused.
    for (int op = 0; op < 3; ++op) {
        auto run = [op](mvimage* s, mvimage* d) {
            return op == 0 ? mvip8_copyinterpnearest(nullptr, s, d)
                   : op == 1 ? mvip8_copyinterpbilinear(nullptr, s, d) : mvip8_copyreplic(nullptr, s, d);
        };
        Img s({MVTYPE_U8, 8, 1}, 6, 6, 1), d({MVTYPE_U8, 8, 1}, 5, 5, 2);
        const auto before = d.raw();
        d.window(2, 2, 2, 5);
        EXPECT_EQ(run(s.rec(), d.rec()), 0) << op;
        d.window(0, 0, 5, 5);
        s.window(3, 3, 3, 3);
        EXPECT_EQ(run(s.rec(), d.rec()), MVERR_USAGE) << op;
        EXPECT_TRUE(d.raw_is(before));
    }
}

// ---- shift, reverse, replic ---------------------------------------------

TEST(Copy, ShiftIsADisplacedCopyInPlaceAndNot) {
    const std::pair<int32_t, int32_t> shifts[] = {{0, 0}, {3, 2},  {-4, 1}, {2, -3}, {-1, -5}, {0, 6},         {7, 0},
                                                  {9, 0}, {0, -8}, {-12, 1}, {8, 7}, {-8, -7}, {INT32_MIN, 0}, {0, INT32_MAX}};
    for (const Format& f0 : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (auto [dx, dy] : shifts)
                for (bool in_place : {false, true}) {
                    const Format f = with_pixies(f0, pixies);
                    SCOPED_TRACE(name_of(f) + " shift " + std::to_string(dx) + "," + std::to_string(dy) +
                                 (in_place ? " in place" : ""));
                    Img src(f, 12, 11, 41, pixies == 3), other(f, 10, 10, 42, false, 2);
                    Img& dst = in_place ? src : other;
                    src.window(2, 1, 11, 9);  // 9 x 8
                    if (!in_place) other.window(0, 2, 9, 10);
                    const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
                        const int64_t sx = int64_t(x) - dx, sy = int64_t(y) - dy;
                        const bool inside = sx >= 0 && sx < 9 && sy >= 0 && sy < 8;
                        return inside ? src.wget(uint32_t(sx), uint32_t(sy), k) : dst.wget(x, y, k);
                    });
                    ASSERT_EQ(mvip8_copyshift(nullptr, src.rec(), dst.rec(), dx, dy), 0);
                    EXPECT_TRUE(holds(dst, want));
                }
}

TEST(Copy, ReverseMirrorsInPlaceAndNot) {
    const std::pair<uint32_t, uint32_t> sizes[] = {{7, 5}, {6, 4}, {1, 1}, {5, 2}, {2, 3}};
    for (const Format& f0 : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (auto [w, h] : sizes)
                for (uint32_t mode = 0; mode < 4; ++mode)
                    for (bool in_place : {false, true}) {
                        const Format f = with_pixies(f0, pixies);
                        SCOPED_TRACE(name_of(f) + " " + std::to_string(w) + "x" + std::to_string(h) + " mode " +
                                     std::to_string(mode) + (in_place ? " in place" : ""));
                        Img src(f, w + 3, h + 2, 51, pixies == 1), other(f, w + 1, h + 1, 52, false, 1);
                        Img& dst = in_place ? src : other;
                        src.window(1, 2, 1 + int32_t(w), 2 + int32_t(h));
                        if (!in_place) other.window(1, 0, 1 + int32_t(w), int32_t(h));
                        const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
                            return src.wget((mode & 1) ? w - 1 - x : x, (mode & 2) ? h - 1 - y : y, k);
                        });
                        ASSERT_EQ(mvip8_copyreverse(nullptr, src.rec(), dst.rec(), mode), 0);
                        EXPECT_TRUE(holds(dst, want));
                    }
    Img img({MVTYPE_U8, 8, 1}, 4, 4, 1);
    const auto before = img.raw();
    EXPECT_EQ(mvip8_copyreverse(nullptr, img.rec(), img.rec(), 4), MVERR_USAGE);
    EXPECT_EQ(mvip8_copyreverse(nullptr, img.rec(), img.rec(), 0x80000001u), MVERR_USAGE);
    EXPECT_TRUE(img.raw_is(before));
}

TEST(Copy, ReverseTopBottomPollsPerLinePair) {
    for (uint32_t h : {20u, 17u}) {
        SCOPED_TRACE(h);
        Img src({MVTYPE_U8, 8, 2}, 6, h, 81), full({MVTYPE_U8, 8, 2}, 6, h, 82), dst({MVTYPE_U8, 8, 2}, 6, h, 82);
        Hook progress;
        ASSERT_EQ(mvip8_copyreverse(progress.get(), src.rec(), full.rec(), 2), 0);
        const int32_t steps = int32_t(h + 1) / 2;
        EXPECT_EQ(progress.calls, (Calls{{0, 0}, {0, steps}, {8, steps}}));
        // Stopped at the ninth pair: the top and bottom eight lines written.
        const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
            return y < 8 || y >= h - 8 ? full.get(x, y, k) : dst.get(x, y, k);
        });
        Hook stop([](int32_t done, int32_t total, size_t) { return total && done == 8 ? -4 : 0; });
        ASSERT_EQ(mvip8_copyreverse(stop.get(), src.rec(), dst.rec(), 2), -4);
        EXPECT_TRUE(holds(dst, want));
    }
}

TEST(Copy, ReplicTilesTheSourceOverTheDestination) {
    const Size sizes[] = {{3, 2, 10, 7}, {4, 4, 4, 9}, {5, 3, 2, 2}, {1, 1, 6, 3}, {6, 5, 6, 5}, {2, 7, 9, 1}, {3, 3, 17, 4}};
    for (const Format& f0 : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (const Size& s : sizes) {
                const Format f = with_pixies(f0, pixies);
                SCOPED_TRACE(name_of(f) + " " + std::to_string(s.sw) + "x" + std::to_string(s.sh) + " -> " +
                             std::to_string(s.dw) + "x" + std::to_string(s.dh));
                Img src(f, s.sw + 2, s.sh + 1, 61, pixies == 3), dst(f, s.dw + 3, s.dh + 2, 62, false, 2);
                src.window(1, 1, 1 + int32_t(s.sw), 1 + int32_t(s.sh));
                dst.window(2, 0, 2 + int32_t(s.dw), int32_t(s.dh));
                const auto want = with_window(
                    dst, [&](uint32_t x, uint32_t y, uint32_t k) { return src.wget(x % s.sw, y % s.sh, k); });
                ASSERT_EQ(mvip8_copyreplic(nullptr, src.rec(), dst.rec()), 0);
                EXPECT_TRUE(holds(dst, want));
            }
    Img img({MVTYPE_U16, 16, 2}, 5, 4, 3);
    img.window(1, 1, 4, 3);
    const auto before = img.raw();
    EXPECT_EQ(mvip8_copyreplic(nullptr, img.rec(), img.rec()), 0);
    EXPECT_TRUE(img.raw_is(before));
}

}  // namespace
