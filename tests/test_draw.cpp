// Drawing: lines against the line walk's closed form in every octant with
// clipping, the pen's dot pattern, discs and colours, boxes, the copying
// pen, text against the font data, icons drawn and erased, bad input.
#include "draw/font.hpp"
#include "test_util.hpp"

#include <cmath>

#include <algorithm>
#include <random>
#include <set>

namespace {

using Pixels = std::set<std::pair<int32_t, int32_t>>;
const uint32_t kWhite[4] = {255, 255, 255, 255};

// Pixels of an image (absolute coordinates) whose first pixie is non-zero.
Pixels inked(const mvtest::Image& im) {
    Pixels p;
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x)
            if (im.get(x, y, 0) != 0) p.insert({int32_t(x), int32_t(y)});
    return p;
}

// The line from a to b by the walk's closed form: along the major axis M
// steps, the minor offset at step i is floor((2 i m + M + 1) / 2M).
Pixels reference_line(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    Pixels p{{x0, y0}, {x1, y1}};
    const int64_t dx = std::abs(int64_t(x1) - x0), dy = std::abs(int64_t(y1) - y0);
    const bool xmajor = dx > dy;
    const int64_t M = xmajor ? dx : dy, m = xmajor ? dy : dx;
    const int sx = x1 > x0 ? 1 : -1, sy = y1 > y0 ? 1 : -1;
    for (int64_t i = 1; i < M; ++i) {
        const int64_t minor = (2 * i * m + M + 1) / (2 * M);
        p.insert(xmajor ? std::pair{int32_t(x0 + sx * i), int32_t(y0 + sy * minor)}
                        : std::pair{int32_t(x0 + sx * minor), int32_t(y0 + sy * i)});
    }
    return p;
}

Pixels clipped(const Pixels& in, const mvtest::Image& im) {
    Pixels out;
    for (auto [x, y] : in)
        if (x >= im.wx() && y >= im.wy() && x < im.wx() + int32_t(im.ww()) && y < im.wy() + int32_t(im.wh()))
            out.insert({x, y});
    return out;
}

TEST(Draw, LinesFollowTheWalkInEveryOctantAndClipToTheWindow) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int32_t> coord(-20, 90);
    for (int i = 0; i < 300; ++i) {
        // Bottom-up images do not map: their points go through scattered transfers.
        mvtest::Image im({MVTYPE_U8, 8, 1}, 70, 50, mvtest::Layout{3, i % 2 == 1});
        im.window(5, 3, 61, 44);
        const int32_t p0[2] = {coord(rng), coord(rng)}, p1[2] = {coord(rng), coord(rng)};
        // Widths 1 to 9: discs round every point, the ends' reaching r2.
        const uint32_t width = 1 + uint32_t(i % 9);
        ASSERT_EQ(0, mvip8_drawline(nullptr, im.rec(), p0, p1, 1, width, 'v', kWhite, nullptr, nullptr));
        Pixels want = reference_line(p0[0], p0[1], p1[0], p1[1]);
        if (width > 1) {
            const int32_t r = int32_t(width / 2);
            const int64_t r2 = std::llround((width / 2.0) * (width / 2.0));
            Pixels discs;
            for (auto [x, y] : want) {
                const bool end = (x == p0[0] && y == p0[1]) || (x == p1[0] && y == p1[1]);
                for (int32_t dy = -r; dy <= r; ++dy)
                    for (int32_t dx = -r; dx <= r; ++dx)
                        if (dx * dx + dy * dy < r2 + (end ? 1 : 0)) discs.insert({x + dx, y + dy});
            }
            want = discs;
        }
        EXPECT_EQ(clipped(want, im), inked(im))
            << p0[0] << "," << p0[1] << " -> " << p1[0] << "," << p1[1] << " width " << width;
        EXPECT_TRUE(im.pads_clear());
    }
}

TEST(Draw, DotPatternWidthsColoursAndBoxes) {
    // Dot spacing 2: explicit and walked points count down separately, and
    // the walked phase continues through the state word.
    mvtest::Image im({MVTYPE_U8, 8, 1}, 16, 4);
    uint32_t state = 0;
    const int32_t a0[2] = {0, 0}, a1[2] = {10, 0}, b0[2] = {0, 2}, b1[2] = {10, 2};
    ASSERT_EQ(0, mvip8_drawline(nullptr, im.rec(), a0, a1, 2, 1, 'v', kWhite, nullptr, &state));
    EXPECT_EQ(1u, state);
    ASSERT_EQ(0, mvip8_drawline(nullptr, im.rec(), b0, b1, 2, 1, 'v', kWhite, nullptr, &state));
    Pixels want;
    for (int32_t x : {2, 4, 6, 8, 10}) want.insert({x, 0});
    for (int32_t x : {1, 3, 5, 7, 9, 10}) want.insert({x, 2});
    EXPECT_EQ(want, inked(im));

    // Width 4 (r 2, r2 4): end discs reach distance 2 on the axes, the
    // walked discs do not.
    mvtest::Image thick({MVTYPE_U8, 8, 1}, 40, 30);
    const int32_t t0[2] = {10, 10}, t1[2] = {20, 10};
    ASSERT_EQ(0, mvip8_drawline(nullptr, thick.rec(), t0, t1, 1, 4, 'v', kWhite, nullptr, nullptr));
    EXPECT_NE(0, thick.get(10, 12, 0));
    EXPECT_NE(0, thick.get(8, 10, 0));
    EXPECT_NE(0, thick.get(22, 10, 0));
    EXPECT_EQ(0, thick.get(15, 12, 0));
    EXPECT_NE(0, thick.get(15, 11, 0));
    EXPECT_EQ(0, thick.get(9, 12, 0));

    // Float colours map onto the image's range; 16-bit colours keep 16 bits.
    for (uint32_t type : {uint32_t(MVTYPE_FLOAT), uint32_t(MVTYPE_DOUBLE)}) {
        mvtest::Image f({type, 0, 1, -2.f, 6.f}, 8, 2);
        const uint32_t hi[1] = {0xFFFFFFFFu}, lo[1] = {0};
        const int32_t q0[2] = {0, 0}, q1[2] = {7, 0}, r0[2] = {0, 1}, r1[2] = {7, 1};
        f.set(3, 1, 0, 5);
        ASSERT_EQ(0, mvip8_drawline(nullptr, f.rec(), q0, q1, 1, 1, 'v', hi, nullptr, nullptr));
        ASSERT_EQ(0, mvip8_drawline(nullptr, f.rec(), r0, r1, 1, 1, 'v', lo, nullptr, nullptr));
        EXPECT_EQ(6.0, f.get(4, 0, 0));
        EXPECT_EQ(-2.0, f.get(3, 1, 0));
    }
    mvtest::Image rgb({MVTYPE_U16, 12, 3}, 6, 6);
    const uint32_t c3[3] = {1, 2000, 0x12345};
    const int32_t box[4] = {1, 1, 4, 4};
    ASSERT_EQ(0, mvip8_drawbox(nullptr, rgb.rec(), box, 1, 1, 'v', c3, nullptr, nullptr));
    EXPECT_EQ(2000, rgb.get(4, 2, 1));
    EXPECT_EQ(0x2345, rgb.get(1, 4, 2));
    Pixels outline;
    for (int32_t k = 1; k <= 4; ++k) outline.insert({{k, 1}, {k, 4}, {1, k}, {4, k}});
    EXPECT_EQ(outline, inked(rgb));

    // A dotted box: the pattern runs on across the sides.
    mvtest::Image dots({MVTYPE_U8, 8, 1}, 8, 8);
    const int32_t square[4] = {0, 0, 6, 6};
    ASSERT_EQ(0, mvip8_drawbox(nullptr, dots.rec(), square, 3, 1, 'v', kWhite, nullptr, &state));
    EXPECT_EQ(7u, inked(dots).size());  // every third of 20 walked points, and the third corner
}

TEST(Draw, CopyingPenTextAndModeZero) {
    mvtest::Image src({MVTYPE_U8, 8, 4}, 12, 12), dst({MVTYPE_U8, 8, 4}, 12, 12);
    for (uint32_t y = 0; y < 12; ++y)
        for (uint32_t x = 0; x < 12; ++x)
            for (uint32_t k = 0; k < 4; ++k) src.set(x, y, k, (x * 7 + y * 3 + k) & 0xFF);
    const int32_t p0[2] = {0, 5}, p1[2] = {11, 5};
    ASSERT_EQ(0, mvip8_drawline(nullptr, dst.rec(), p0, p1, 1, 1, 'c', nullptr, src.rec(), nullptr));
    for (uint32_t x = 0; x < 12; ++x)
        for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(src.get(x, 5, k), dst.get(x, 5, k));
    mvtest::Image grey({MVTYPE_U8, 8, 1}, 12, 12);
    EXPECT_EQ(MVERR_USAGE, mvip8_drawline(nullptr, grey.rec(), p0, p1, 1, 1, 'c', nullptr, grey.rec(), nullptr));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawline(nullptr, grey.rec(), p0, p1, 1, 1, 'v', nullptr, src.rec(), nullptr));
    ASSERT_EQ(0, mvip8_drawline(nullptr, grey.rec(), p0, p1, 1, 1, 0, kWhite, nullptr, nullptr));
    EXPECT_TRUE(inked(grey).empty());

    // Text: every glyph pixel a scale x scale block at its cell.
    mvtest::Image text({MVTYPE_U8, 8, 1}, 40, 30);
    const int32_t origin[2] = {1, 2};
    ASSERT_EQ(0, mvip8_drawchars(nullptr, text.rec(), origin, "Ag\n~", 2, 1, 1, 'v', kWhite, nullptr, nullptr));
    Pixels want;
    const std::pair<char, std::pair<int32_t, int32_t>> cells[] = {{'A', {1, 2}}, {'g', {13, 2}}, {'~', {1, 22}}};
    for (const auto& [c, at] : cells) {
        const uint8_t* rows = mvip::draw::glyph_rows(uint8_t(c));
        for (int j = 0; j < mvip::draw::kGlyphHeight; ++j)
            for (int i = 0; i < mvip::draw::kGlyphWidth; ++i)
                if (rows[j] & (0x10 >> i))
                    for (int32_t d = 0; d < 4; ++d)
                        want.insert({at.first + 2 * i + d % 2, at.second + 2 * j + d / 2});
    }
    EXPECT_EQ(clipped(want, text), inked(text));
}

TEST(Draw, IconsDrawEraseAndTakeASecondImage) {
    mvtest::Image im({MVTYPE_U8, 8, 3}, 40, 30), other({MVTYPE_U8, 8, 3}, 40, 30);
    std::mt19937 rng(3);
    for (uint32_t y = 0; y < 30; ++y)
        for (uint32_t x = 0; x < 40; ++x)
            for (uint32_t k = 0; k < 3; ++k) {
                im.set(x, y, k, rng() & 0xFF);
                other.set(x, y, k, rng() & 0xFF);
            }
    const auto before = im.raw();
    const int32_t pos[2] = {2, 3}, size[2] = {9, 7}, bars[2] = {3, 1};
    const uint32_t colour[3] = {10, 200, 77};
    mvicon* icon = nullptr;
    ASSERT_EQ(0, mvip8_drawiconinit(im.rec(), pos, nullptr, size, bars, 0, &icon));
    ASSERT_NE(nullptr, icon);
    // The cross-hair's points inside the window: the hot spot left out.
    EXPECT_EQ(9u * 1 + 3 * 6 - 1 - 2, icon->count);  // both bars, less the hot spot and x < 0
    for (uint32_t m : {uint32_t('+'), uint32_t('x')}) {
        mvip8_drawiconhit(im.rec(), icon, m, colour, nullptr);
        EXPECT_FALSE(im.raw_is(before));
        mvip8_drawiconhit(im.rec(), icon, m == '+' ? '-' : 'x', colour, nullptr);
        EXPECT_TRUE(im.raw_is(before)) << char(m);
    }
    mvip8_drawiconhit(im.rec(), icon, 's', colour, nullptr);
    EXPECT_EQ(200, im.get(3, 3, 1));
    EXPECT_EQ(before, (mvip8_drawiconhit(im.rec(), icon, 'r', colour, nullptr), im.raw()));
    mvip8_drawiconhit(im.rec(), icon, 'b', nullptr, other.rec());
    EXPECT_EQ(other.get(4, 3, 2), im.get(4, 3, 2));
    EXPECT_EQ(1, mvip8_drawiconhitw(im.rec(), icon, 0, 'b', other.rec()));
    EXPECT_EQ(0, mvip8_drawiconfree(im.rec(), &icon));
    EXPECT_EQ(nullptr, icon);

    // A bitmap placed by its hot spot, most significant bit first.
    mvtest::Image grey({MVTYPE_U8, 8, 1}, 20, 20);
    const uint8_t arrow[3 * 2] = {0x80, 0x00, 0xC0, 0x00, 0xFF, 0x80};  // 9 wide, 3 high
    const int32_t at[2] = {10, 10}, bsize[2] = {9, 3}, hot[2] = {0, 2};
    ASSERT_EQ(0, mvip8_drawicon(grey.rec(), at, arrow, bsize, hot, 0, 'v', kWhite, nullptr, nullptr));
    Pixels want{{10, 8}, {10, 9}, {11, 9}};
    for (int32_t x = 10; x < 19; ++x) want.insert({x, 10});
    EXPECT_EQ(want, inked(grey));

    const int32_t one[2] = {1, 1}, wide[2] = {129, 4}, zero[2] = {0, 4};
    ASSERT_EQ(0, mvip8_drawiconinit(grey.rec(), at, nullptr, one, one, 0, &icon));
    ASSERT_NE(nullptr, icon);
    EXPECT_EQ(0u, icon->count);
    EXPECT_EQ(MVERR_USAGE, mvip8_drawiconinit(grey.rec(), at, nullptr, one, one, 0, &icon)) << "variable holds a handle";
    mvip8_drawiconfree(grey.rec(), &icon);
    EXPECT_EQ(MVERR_USAGE, mvip8_drawiconinit(grey.rec(), at, nullptr, wide, one, 0, &icon));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawiconinit(grey.rec(), at, nullptr, zero, one, 0, &icon));
    const int32_t far[2] = {500, 500};
    EXPECT_EQ(0, mvip8_drawiconinit(grey.rec(), far, nullptr, size, bars, 0, &icon));
    EXPECT_EQ(nullptr, icon);
    ASSERT_EQ(0, mvip8_drawiconinit(grey.rec(), far, nullptr, size, bars, 1, &icon));
    EXPECT_EQ(0u, icon->count);
    mvip8_drawiconfree(grey.rec(), &icon);
}

TEST(Draw, BadInputGetsItsCodesAndHugeArgumentsStayInside) {
    mvtest::Image im({MVTYPE_U8, 8, 1}, 30, 20);
    const int32_t p[2] = {3, 4}, q[2] = {1000000, -5};
    EXPECT_EQ(MVERR_USAGE, mvip8_drawline(nullptr, im.rec(), nullptr, p, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawbox(nullptr, im.rec(), nullptr, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawchars(nullptr, im.rec(), p, nullptr, 1, 1, 1, 'v', kWhite, nullptr, nullptr));
    mvimage null{};
    mvimage_defnull(&null);
    EXPECT_EQ(MVERR_USAGE, mvip8_drawline(nullptr, &null, p, q, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawline(nullptr, nullptr, p, q, 1, 1, 'v', kWhite, nullptr, nullptr));
    // A stop at entry is asked again and returned.
    mvtest::Hook stop([](int32_t, int32_t, size_t) { return 7; });
    EXPECT_EQ(7, mvip8_drawline(stop.get(), im.rec(), p, q, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_TRUE(inked(im).empty());
    // Huge widths fill the window, huge spacings plot nothing walked.
    ASSERT_EQ(0, mvip8_drawline(nullptr, im.rec(), p, q, 0xFFFFFFFFu, 0xFFFFFFFFu, 'v', kWhite, nullptr, nullptr));
    EXPECT_TRUE(inked(im).empty()) << "the first explicit point of a huge spacing is not plotted";
    ASSERT_EQ(0, mvip8_drawline(nullptr, im.rec(), p, p, 1, 0xFFFFFFFFu, 'v', kWhite, nullptr, nullptr));
    EXPECT_EQ(30u * 20u, inked(im).size());
    EXPECT_TRUE(im.pads_clear());
}

TEST(Draw, EllipsesCurvesPathsAndOutlinesFollowTheRegionGeometry) {
    // In the stepper's range a drawn ellipse lies in the region ellipse of
    // width 2a + 1 and holds the first and last pixel of each of its rows.
    for (double angle : {0.0, 0.4, -1.2}) {
        mvtest::Image drawn({MVTYPE_U8, 8, 1}, 120, 100);
        const int32_t c[2] = {60, 48};
        ASSERT_EQ(0, mvip8_drawellipse(nullptr, drawn.rec(), c, 40, 25, angle, 1, 1, 'v', kWhite, nullptr, nullptr));
        alignas(8) unsigned char record[MVIMREGION_FIXED] = {};
        auto* r = reinterpret_cast<mvimregion*>(record);
        r->image = *drawn.rec();
        r->regiontype = MVIMREGELLIPSE;
        r->reclen = sizeof record;
        r->origin = mvpoint{60, 48};
        r->region.ellipse = mvregshape{81, 51, float(angle)};
        mvimregion* list = nullptr;
        ASSERT_EQ(0, mvirp_xlatetoscanlist(nullptr, r, &list, 0));
        Pixels inside, ends;
        for (int32_t i = 0; i < list->region.scanlist.N; ++i) {
            const mvscanrun& run = list->region.scanlist.scanlists[i];
            for (int32_t k = 0; k < run.len; ++k) inside.insert({run.coord.x + k, run.coord.y});
            ends.insert({{run.coord.x, run.coord.y}, {run.coord.x + run.len - 1, run.coord.y}});
        }
        mvirp_regionfree(&list);
        const Pixels got = inked(drawn);
        EXPECT_TRUE(std::includes(inside.begin(), inside.end(), got.begin(), got.end())) << angle;
        EXPECT_TRUE(std::includes(got.begin(), got.end(), ends.begin(), ends.end())) << angle;
        // The region's own outline drawn into a fresh image is the same.
        mvtest::Image outline({MVTYPE_U8, 8, 1}, 120, 100);
        r->image = *outline.rec();
        ASSERT_EQ(0, mvirp8_drawboundary(nullptr, r, 1, 1, 1, 'v', kWhite, nullptr, nullptr));
        EXPECT_EQ(got, inked(outline)) << angle;
    }
    // A small ellipse is swept: every pixel near the curve, none far off.
    mvtest::Image small({MVTYPE_U8, 8, 1}, 30, 30);
    const int32_t c[2] = {15, 15};
    ASSERT_EQ(0, mvip8_drawellipse(nullptr, small.rec(), c, 7, 4, 0.0, 1, 1, 'v', kWhite, nullptr, nullptr));
    for (auto [x, y] : inked(small)) {
        const double dx = (x - 15) / 7.0, dy = (y - 15) / 4.0;
        EXPECT_NEAR(1.0, std::sqrt(dx * dx + dy * dy), 0.3) << x << "," << y;
    }
    EXPECT_GE(inked(small).size(), 28u);
    // An arc of a quarter turn from 0: counter-clockwise as displayed, above the centre.
    mvtest::Image arc({MVTYPE_U8, 8, 1}, 30, 30);
    ASSERT_EQ(0, mvip8_drawellipsesect(nullptr, arc.rec(), c, 8, 8, 0.0, 0.0, 1.5707963, 1, 1, 'v', kWhite, nullptr, nullptr));
    for (auto [x, y] : inked(arc)) EXPECT_TRUE(x >= 15 && y <= 15) << x << "," << y;
    EXPECT_NE(0, arc.get(23, 15, 0));
    EXPECT_NE(0, arc.get(15, 7, 0));
    // A Bezier curve with collinear control points is the straight line.
    mvtest::Image curve({MVTYPE_U8, 8, 1}, 40, 5);
    const int32_t ctrl[8] = {0, 2, 10, 2, 20, 2, 30, 2};
    ASSERT_EQ(0, mvip8_drawbezier(nullptr, curve.rec(), 4, ctrl, 1, 1, 'v', kWhite, nullptr, nullptr));
    Pixels straight;
    for (int32_t x = 0; x <= 30; ++x) straight.insert({x, 2});
    EXPECT_EQ(straight, inked(curve));
    EXPECT_EQ(MVERR_USAGE, mvip8_drawbezier(nullptr, curve.rec(), 3, ctrl, 1, 1, 'v', kWhite, nullptr, nullptr));
    // An arrow: the shaft and two strokes at 30 degrees from the tip.
    mvtest::Image arrow({MVTYPE_U8, 8, 1}, 40, 40);
    const int32_t tail[2] = {10, 20}, tip[2] = {30, 20};
    ASSERT_EQ(0, mvip8_drawarrow(nullptr, arrow.rec(), tail, tip, 5, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_NE(0, arrow.get(26, 18, 0));
    EXPECT_NE(0, arrow.get(26, 23, 0));
    EXPECT_EQ(0, arrow.get(34, 18, 0));
    // A path: its decoded points, skip and visits, first and last point.
    mvtest::Image walk({MVTYPE_U8, 8, 1}, 40, 40);
    mvimregion* path = nullptr;
    ASSERT_EQ(0, mvirp_pathcreate(&path, 5, 5));
    ASSERT_EQ(0, mvirp_pathextend(&path, 15, 5));
    ASSERT_EQ(0, mvirp_pathextend(&path, 15, 12));
    path->image = *walk.rec();
    mvpoint first{}, last{};
    ASSERT_EQ(0, mvirp8_drawpath(nullptr, path, 2, 12, &first, &last, 1, 1, 'v', kWhite, nullptr, nullptr));
    EXPECT_EQ(7, first.x);
    EXPECT_EQ(15, last.x);
    EXPECT_EQ(6, last.y);  // visits count the skipped points too
    EXPECT_EQ(12u, inked(walk).size() + 2);
    EXPECT_EQ(MVERR_USAGE, mvirp8_drawpath(nullptr, path, 0, 0, nullptr, &last, 1, 1, 'v', kWhite, nullptr, nullptr));
    mvirp_regionfree(&path);
}

}  // namespace
