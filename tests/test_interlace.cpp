// Interlace reordering against the line formulas written out here: the
// four permutations over many heights and field counts, in place and into
// another image, and the pair operations (average, duplicate, swap); plus
// the hook's calls while lines are moved.
#include "test_util.hpp"

#include <map>

namespace {

using namespace mvtest;

const Format kFormats[] = {
    {MVTYPE_U8, 8, 1}, {MVTYPE_U16, 12, 2}, {MVTYPE_U32, 32, 3}, {MVTYPE_FLOAT, 0, 1}, {MVTYPE_DOUBLE, 0, 3}};

// An image of random values whose window leaves a border of one pixel on
// every side, its lines padded by one pixel.
struct Img : Image {
    Img(const Format& f, uint32_t w, uint32_t h, uint32_t seed, bool swapped = false)
        : Image(f, w + 2, h + 2, Layout{1, false, swapped}) {
        randomize(seed);
        window(1, 1, int32_t(w) + 1, int32_t(h) + 1);
    }
    // The values of window line y.
    std::vector<double> line(uint32_t y) const {
        std::vector<double> v;
        for (uint32_t x = 0; x < ww(); ++x)
            for (uint32_t k = 0; k < pixies(); ++k) v.push_back(wget(x, y, k));
        return v;
    }
};

enum class Kind { line_to_field, field_to_line, line_to_nfield, nfield_to_line };

// Destination line of source line i, for h lines (a multiple of n).
uint32_t destination(Kind kind, uint32_t i, uint32_t h, uint32_t n) {
    switch (kind) {
        case Kind::line_to_field: return i % 2 == 0 ? i / 2 : h / 2 + i / 2;
        case Kind::field_to_line: return i < h / 2 ? 2 * i : 2 * (i - h / 2) + 1;
        case Kind::line_to_nfield: return i / n + (i % n) * h / n;
        default: return i / (h / n) + (i % (h / n)) * n;
    }
}

int32_t reorder(Kind kind, mvabort* hook, mvimage* src, mvimage* dst, int32_t n) {
    switch (kind) {
        case Kind::line_to_field: return mvip8_ilacelinetofield(hook, src, dst);
        case Kind::field_to_line: return mvip8_ilacefieldtoline(hook, src, dst);
        case Kind::line_to_nfield: return mvip8_ilacelinetoNfield(hook, src, dst, n);
        default: return mvip8_ilaceNfieldtoline(hook, src, dst, n);
    }
}

const Kind kKinds[] = {Kind::line_to_field, Kind::field_to_line, Kind::line_to_nfield, Kind::nfield_to_line};

TEST(Interlace, PermutationsMatchTheFormulas) {
    for (Kind kind : kKinds)
        for (const Format& f : kFormats)
            for (uint32_t height = 2; height <= 64; height += height < 29 ? 1 : 7)
                for (uint32_t n : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 12u}) {
                    if ((kind == Kind::line_to_field || kind == Kind::field_to_line) && n != 2) continue;
                    for (bool in_place : {false, true}) {
                        SCOPED_TRACE(name_of(f) + " kind " + std::to_string(int(kind)) + " height " + std::to_string(height) +
                                     " n " + std::to_string(n) + (in_place ? " in place" : ""));
                        Img src(f, 5, height, height * 7 + n, height % 3 == 0), other(f, 5, height, 99, height % 2 == 0);
                        Img& dst = in_place ? src : other;
                        // Lines permuted, the trailing height mod n lines copied unchanged.
                        const uint32_t h = height - height % n;
                        std::vector<uint32_t> from(height);
                        for (uint32_t i = 0; i < height; ++i) from[i < h ? destination(kind, i, h, n) : i] = i;
                        const auto want = with_window(
                            dst, [&](uint32_t x, uint32_t y, uint32_t k) { return src.wget(x, from[y], k); });
                        const auto src_before = src.values();
                        ASSERT_EQ(reorder(kind, nullptr, src.rec(), dst.rec(), int32_t(n)), 0);
                        EXPECT_TRUE(holds(dst, want));
                        if (!in_place) {
                            EXPECT_TRUE(holds(src, src_before));
                        }
                    }
                }
}

TEST(Interlace, InPlaceEqualsSeparateDestinationFor480Lines) {
    const std::pair<Kind, int32_t> cases[] = {{Kind::line_to_field, 2},  {Kind::field_to_line, 2}, {Kind::line_to_nfield, 3},
                                              {Kind::nfield_to_line, 3}, {Kind::line_to_nfield, 7}, {Kind::nfield_to_line, 7}};
    const Format f{MVTYPE_U16, 10, 3};
    for (auto [kind, n] : cases) {
        SCOPED_TRACE("kind " + std::to_string(int(kind)) + " n " + std::to_string(n));
        Img a(f, 6, 480, 5), b(f, 6, 480, 5), c(f, 6, 480, 6);
        ASSERT_EQ(reorder(kind, nullptr, a.rec(), a.rec(), n), 0);
        ASSERT_EQ(reorder(kind, nullptr, b.rec(), c.rec(), n), 0);
        for (uint32_t y = 0; y < 480; ++y) ASSERT_EQ(a.line(y), c.line(y)) << y;
        ASSERT_NE(a.line(1), b.line(1));
    }
}

TEST(Interlace, Refusals) {
    const Format f{MVTYPE_U8, 8, 1};
    Img one(f, 4, 1, 1), img(f, 4, 6, 2), other(f, 4, 7, 3);
    const auto one0 = one.raw(), img0 = img.raw();
    for (Kind kind : kKinds) {
        EXPECT_EQ(reorder(kind, nullptr, one.rec(), one.rec(), 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, nullptr, img.rec(), 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, img.rec(), nullptr, 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, img.rec(), other.rec(), 2), MVERR_USAGE);
    }
    for (int32_t n : {0, -1, INT32_MIN}) {
        EXPECT_EQ(mvip8_ilacelinetoNfield(nullptr, img.rec(), img.rec(), n), MVERR_USAGE);
        EXPECT_EQ(mvip8_ilaceNfieldtoline(nullptr, img.rec(), img.rec(), n), MVERR_USAGE);
    }
    EXPECT_EQ(mvip8_ilacepairswap(nullptr, nullptr, img.rec()), MVERR_USAGE);
    EXPECT_EQ(mvip8_ilacepairave(nullptr, img.rec(), other.rec()), MVERR_USAGE);
    EXPECT_TRUE(one.raw_is(one0) && img.raw_is(img0));
    // N = 1 and N beyond the height leave the image as it is.
    for (int32_t n : {1, 7, INT32_MAX}) {
        EXPECT_EQ(mvip8_ilacelinetoNfield(nullptr, img.rec(), img.rec(), n), 0);
        EXPECT_EQ(mvip8_ilaceNfieldtoline(nullptr, img.rec(), img.rec(), n), 0);
        EXPECT_TRUE(img.raw_is(img0));
    }
}

// ---- pairs -----------------------------------------------------------------

TEST(InterlacePairs, MatchTheFormulas) {
    enum Op { average, dup_even, dup_odd, dup_negative_odd, swap };
    for (Op op : {average, dup_even, dup_odd, dup_negative_odd, swap})
        for (const Format& f : kFormats)
            for (uint32_t height : {1u, 2u, 3u, 8u, 11u, 20u})
                for (bool in_place : {false, true}) {
                    SCOPED_TRACE(name_of(f) + " op " + std::to_string(op) + " height " + std::to_string(height) +
                                 (in_place ? " in place" : ""));
                    Img src(f, 7, height, height + 40, in_place), other(f, 7, height, 3, !in_place);
                    Img& dst = in_place ? src : other;
                    // A lone last line of an odd height (a one-line window
                    // too, once found broken) is copied.
                    const auto want = with_window(dst, [&](uint32_t x, uint32_t y, uint32_t k) {
                        const double even = src.wget(x, y & ~1u, k), odd = src.wget(x, y | 1u, k);
                        if (y + 1 == height && height % 2 == 1) return src.wget(x, y, k);
                        switch (op) {
                            case average: return is_float(f.type) ? (even + odd) / 2 : std::floor((even + odd) / 2);
                            case dup_even: return even;
                            case swap: return y % 2 ? even : odd;
                            default: return odd;
                        }
                    });
                    const int32_t rc = op == average  ? mvip8_ilacepairave(nullptr, src.rec(), dst.rec())
                                       : op == swap   ? mvip8_ilacepairswap(nullptr, src.rec(), dst.rec())
                                                      : mvip8_ilacepairdup(nullptr, src.rec(), dst.rec(),
                                                                           op == dup_even ? 2 : op == dup_odd ? 1 : -3);
                    ASSERT_EQ(rc, 0);
                    EXPECT_TRUE(holds(dst, want));
                }
}

TEST(InterlacePairs, AverageOfLargeValues) {
    Img img({MVTYPE_U32, 32, 1}, 2, 2, 1);
    img.set(1, 1, 0, 4294967295.0);
    img.set(1, 2, 0, 4294967293.0);
    img.set(2, 1, 0, 1.0);
    img.set(2, 2, 0, 0.0);
    ASSERT_EQ(mvip8_ilacepairave(nullptr, img.rec(), img.rec()), 0);
    EXPECT_EQ(img.line(0), (std::vector<double>{4294967294.0, 0.0}));
    EXPECT_EQ(img.line(1), (std::vector<double>{4294967294.0, 0.0}));
    Img d({MVTYPE_DOUBLE, 0, 1}, 1, 2, 1);
    d.set(1, 1, 0, 1.5e308);
    d.set(1, 2, 0, 1.7e308);
    ASSERT_EQ(mvip8_ilacepairave(nullptr, d.rec(), d.rec()), 0);
    EXPECT_DOUBLE_EQ(d.get(1, 1, 0), 1.6e308);
}

// The permutations poll the hook at the start lines of their passes and
// as lines are moved; stopped, the lines moved so far hold their place.
TEST(InterlaceHook, PermutationPollsStartLinesAndMoves) {
    // 27 lines in 4 fields: 3 trailing lines copied, 24 permuted.
    const Format f{MVTYPE_U8, 8, 2};
    for (Kind kind : {Kind::line_to_nfield, Kind::nfield_to_line}) {
        SCOPED_TRACE(int(kind));
        Img img(f, 3, 27, 1), full(f, 3, 27, 2), dst(f, 3, 27, 2);
        Hook progress;
        ASSERT_EQ(reorder(kind, progress.get(), img.rec(), full.rec(), 4), 0);
        // Start lines 0, 8, 16 and moves 8, 16, 24, in any order after entry.
        std::map<std::pair<int32_t, int32_t>, int> want{{{0, 0}, 1}, {{0, 24}, 1}, {{8, 24}, 2}, {{16, 24}, 2}, {{24, 24}, 1}};
        std::map<std::pair<int32_t, int32_t>, int> got;
        for (const auto& c : progress.calls) ++got[c];
        EXPECT_EQ(got, want);
        EXPECT_EQ(progress.calls.front(), std::make_pair(0, 0));
        // Stopped at the eighth move: eight lines hold their final content,
        // the others are untouched (the trailing three were copied first).
        Hook stop([](int32_t done, int32_t total, size_t i) { return i > 0 && done == 8 && total ? -4 : 0; });
        const Img untouched(f, 3, 27, 2);
        EXPECT_EQ(reorder(kind, stop.get(), img.rec(), dst.rec(), 4), -4);
        uint32_t placed = 0;
        for (uint32_t y = 0; y < 27; ++y)
            if (y >= 24 || dst.line(y) != untouched.line(y)) {
                ASSERT_EQ(dst.line(y), full.line(y)) << y;
                placed += y < 24;
            }
        EXPECT_EQ(placed, 8u);
    }
}

}  // namespace
