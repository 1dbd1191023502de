// Views of stacks.  Dimension views against direct addressing of a 3-D
// memory image (runs in every scan mode, starts outside the window in each
// axis): sections over every pair of axes, rings of planes (offsets beyond
// the depth included), the one-plane view of a 2-D image, stacked views.
// The 3-D converters and colour slice against their 2-D forms over section
// views.  The bad input of their constructors and set-up calls.
#include "memimage_model.hpp"
#include "test_util.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace mvmodel;
using mvtest::kind_is;

std::unique_ptr<MemImage3> random_stack(Rng& rng, uint32_t max_pixies = 3) {
    mvpixfmt f = random_format(rng);
    if (f.pixies > max_pixies) {
        f.pixies = 1 + pick(rng, max_pixies);
        f.colorspace = f.pixies;
    }
    return std::make_unique<MemImage3>(rng, f, 1 + pick(rng, 9), 1 + pick(rng, 7), 1 + pick(rng, 6),
                                       (PitchKind)pick(rng, 5), chance(rng, 40));
}

// Scattered reads through a view with entries' third word as given.
template <class Rec>
void check_scattered(Rng& rng, Rec& v, MemImage3& m, const uint32_t ext[3], bool three_d, const Where& where,
                     const std::string& what) {
    const uint32_t request = m.fmt.datatype | (m.fmt.byteorder & 0x800u) | 0x400u;
    const uint32_t mask = all_mask(m.fmt.pixies);
    ASSERT_GE(v.bxts(&v, 0, request, mask), 0) << what;
    const Conversion conv = conversion_for(m.fmt, request);
    std::vector<mvbxtentry> list(8);
    std::vector<Pos3> pos(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        pos[i] = Pos3{pick(rng, ext[0]), pick(rng, ext[1]), three_d ? pick(rng, ext[2]) : 0};
        list[i] = mvbxtentry{(int32_t)pos[i].x, (int32_t)pos[i].y, three_d ? pos[i].z : 0xABCDu};
    }
    std::vector<uint64_t> words(list.size() * m.fmt.pixies * m.ps / 8 + 2);
    uint8_t* buf = reinterpret_cast<uint8_t*>(words.data());
    ASSERT_EQ(v.bxta(&v, -1, buf, list.data(), (uint32_t)list.size(), 2), list.size()) << what;
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i].tag, three_d ? pos[i].z : 0xABCDu) << "third word kept; " << what;
        for (uint32_t j = 0; j < m.fmt.pixies; ++j)
            EXPECT_EQ(load(buf + (i * m.fmt.pixies + j) * m.ps, m.ps),
                      conv.to_caller(m.shadow_load(where(pos[i].x, pos[i].y, pos[i].z) + j * m.ps)))
                << "entry " << i << "; " << what;
    }
}

int32_t* corner(mvyzwindow& w, bool se) { return se ? &w.se.x : &w.nw.x; }

// ---- sections over every pair of axes ---------------------------------------------

TEST(SectionView, EveryPairOfAxesMatchesDirectAddressing) {
    Rng rng(0x33746f32u);
    RunCounts runs;
    for (int iter = 0; iter < 300 && runs.failures < 3; ++iter) {
        auto mp = random_stack(rng);
        MemImage3& m = *mp;
        ASSERT_EQ(m.build_rc, 0);
        mvyzwindow pw = random_window3(rng, m.xdim, m.ydim, m.zdim);
        ASSERT_EQ(mvimage3_setwind(&m.im, pw.nw.x, pw.nw.y, pw.nw.z, pw.se.x, pw.se.y, pw.se.z), 0);
        uint32_t pext[3];
        for (int a = 0; a < 3; ++a) pext[a] = (uint32_t)(corner(pw, true)[a] - corner(pw, false)[a]);
        const int xa = (int)pick(rng, 3);
        const int ya = (xa + 1 + (int)pick(rng, 2)) % 3;
        const int third = 3 - xa - ya;
        if (pext[third] == 0) continue;
        const uint32_t fixed = pick(rng, pext[third]);
        mvimage v;
        ASSERT_EQ(mvimage_def2from3(&v, &m.im, 2u * xa, 2u * ya, fixed), 0);
        EXPECT_TRUE(kind_is(v.kind, "MVIM3to2"));
        ASSERT_EQ(v.imdim.se.x, (int32_t)pext[xa]);
        ASSERT_EQ(v.imdim.se.y, (int32_t)pext[ya]);
        // Sometimes a smaller window of the view.
        mvywindow vw = v.wind;
        if (chance(rng, 40) && pext[xa] && pext[ya]) {
            vw.nw.x = (int32_t)pick(rng, pext[xa]);
            vw.nw.y = (int32_t)pick(rng, pext[ya]);
            vw.se.x = vw.nw.x + 1 + (int32_t)pick(rng, pext[xa] - vw.nw.x);
            vw.se.y = vw.nw.y + 1 + (int32_t)pick(rng, pext[ya] - vw.nw.y);
            ASSERT_EQ(mvimage_setwind(&v, vw.nw.x, vw.nw.y, vw.se.x, vw.se.y), 0);
        }
        const uint32_t ext[3] = {(uint32_t)(vw.se.x - vw.nw.x), (uint32_t)(vw.se.y - vw.nw.y), 1};
        const Where where = [&](uint32_t x, uint32_t y, uint32_t) {
            uint32_t at[3];
            at[xa] = x + (uint32_t)vw.nw.x;
            at[ya] = y + (uint32_t)vw.nw.y;
            at[third] = fixed;
            return m.pixel(pw.nw.x + at[0], pw.nw.y + at[1], pw.nw.z + at[2]);
        };
        std::ostringstream what;
        what << "section axes " << xa << "," << ya << " fixed " << fixed << " of " << m.xdim << "x" << m.ydim
             << "x" << m.zdim << " type " << m.fmt.datatype << " pixies " << m.fmt.pixies;
        check_runs(rng, v, m, ext, false, false, where, what.str(), runs, 4);
        if (ext[0] && ext[1]) check_scattered(rng, v, m, ext, false, where, what.str());

        // Mapping, where the parent maps: each run is the stack's own memory.
        const uint32_t map_mode = (chance(rng, 50) ? 0x2u : 0u) | 0x440u;
        const uint32_t same = m.fmt.datatype | (m.fmt.byteorder & 0x800u) | ((m.fmt.valflags & 0x400u) ? 0x400u : 0u);
        const int32_t grant = v.imapset(&v, map_mode, same, all_mask(m.fmt.pixies));
        if (grant > 0 && ext[0] && ext[1]) {
            const uint32_t x = pick(rng, ext[0]), y = pick(rng, ext[1]);
            mvmapdesc d{};
            ASSERT_EQ(v.imap(&v, &d, (int32_t)x, (int32_t)y), 1) << what.str();
            const uint32_t run_mode = (map_mode & 0x2u) | (grant == 16397 ? 0x40u : 0u);
            const uint64_t count = d.count;  // the descriptor is 4-byte packed
            uint8_t* const address = static_cast<uint8_t*>(d.address);
            const int64_t stride = (int64_t)d.stride;
            ASSERT_LE(count, available3(run_mode, ext[0], ext[1], 1, (int32_t)x, (int32_t)y, 0)) << what.str();
            const auto pos = run_positions3(run_mode, ext[0], ext[1], 1, Pos3{x, y, 0}, (uint32_t)count);
            for (uint32_t i = 0; i < count; ++i)
                ASSERT_EQ(address + (int64_t)i * stride, where(pos[i].x, pos[i].y, 0))
                    << "mapped pixel " << i << "; " << what.str();
            v.imapr(&v, &d);
        }
    }
}

TEST(SectionView, OperationsRunOnAnySection) {
    // 64 x 48 x 20 u8 stack, pixel value from its coordinates; negate the
    // y-z section at x = 5.
    std::vector<uint8_t> mem(64 * 48 * 20);
    for (size_t i = 0; i < mem.size(); ++i) mem[i] = (uint8_t)(i * 7 + i / 64);
    const uint32_t dims[3] = {64, 48, 20};
    mvimage3 stack;
    ASSERT_EQ(mvimage3_memory(&stack, mem.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    mvimage v;
    ASSERT_EQ(mvimage_def2from3(&v, &stack, 2, 4, 5), 0);
    const std::vector<uint8_t> before = mem;
    ASSERT_EQ(mvip8_pixneg(nullptr, &v, &v), 0);
    for (size_t i = 0; i < mem.size(); ++i)
        ASSERT_EQ(mem[i], i % 64 == 5 ? (uint8_t)(255 - before[i]) : before[i]) << i;
}

// ---- rings of planes ---------------------------------------------------------------

TEST(RingView, PlanesRotateByAnyOffset) {
    Rng rng(0x72696e67u);
    RunCounts runs;
    for (int iter = 0; iter < 250 && runs.failures < 3; ++iter) {
        auto mp = random_stack(rng);
        MemImage3& m = *mp;
        ASSERT_EQ(m.build_rc, 0);
        const uint32_t depth = m.zdim;
        static const uint32_t big[] = {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};
        const uint32_t offset = chance(rng, 15) ? big[pick(rng, 3)] : pick(rng, 3 * depth + 1);
        const uint8_t follow = chance(rng, 50) ? 1 : 0;
        mvimage3 v;
        ASSERT_EQ(mvimage3_def3from3(&v, &m.im, offset, 0, 0, follow), 0);
        EXPECT_TRUE(kind_is(v.kind, "MVIM3to3"));
        const mvyzwindow vw = random_window3(rng, m.xdim, m.ydim, m.zdim);
        ASSERT_EQ(mvimage3_setwind(&v, vw.nw.x, vw.nw.y, vw.nw.z, vw.se.x, vw.se.y, vw.se.z), 0);
        if (follow) {  // the parent's window follows in x and y, through all planes
            EXPECT_EQ(m.im.wind.nw.x, vw.nw.x);
            EXPECT_EQ(m.im.wind.se.y, vw.se.y);
            EXPECT_EQ(m.im.wind.nw.z, 0);
            EXPECT_EQ(m.im.wind.se.z, (int32_t)depth);
        }
        const uint32_t ext[3] = {(uint32_t)(vw.se.x - vw.nw.x), (uint32_t)(vw.se.y - vw.nw.y),
                                 (uint32_t)(vw.se.z - vw.nw.z)};
        const Where where = [&](uint32_t x, uint32_t y, uint32_t z) {
            const uint32_t plane = (uint32_t)(((uint64_t)z + vw.nw.z + offset) % depth);
            return m.pixel(x + vw.nw.x, y + vw.nw.y, plane);
        };
        std::ostringstream what;
        what << "ring offset " << offset << " follow " << (int)follow << " depth " << depth;
        check_runs(rng, v, m, ext, true, false, where, what.str(), runs, 4);
        if (ext[0] && ext[1] && ext[2]) check_scattered(rng, v, m, ext, true, where, what.str());
    }
}

// ---- one plane over a 2-D image -----------------------------------------------------

TEST(OnePlaneView, PlaneZeroIsTheParent) {
    Rng rng(0x32746f33u);
    RunCounts runs;
    for (int iter = 0; iter < 200 && runs.failures < 3; ++iter) {
        auto mp = random_stack(rng);
        MemImage3& m = *mp;
        ASSERT_EQ(m.build_rc, 0);
        // Plane 0 of the stack as a 2-D image.
        mvimage flat;
        const uint32_t dims[2] = {m.xdim, m.ydim};
        ASSERT_EQ(mvimage_memdata(&flat, m.priv, 0, dims, m.pitch_arg, &m.fmt, nullptr, 0), 0);
        const mvywindow fw = random_window(rng, m.xdim, m.ydim);
        ASSERT_EQ(mvimage_setwind(&flat, fw.nw.x, fw.nw.y, fw.se.x, fw.se.y), 0);
        const uint8_t follow = chance(rng, 50) ? 1 : 0;
        mvimage3 v;
        ASSERT_EQ(mvimage_def3from2(&v, &flat, follow), 0);
        EXPECT_TRUE(kind_is(v.kind, "MVIM2to3"));
        EXPECT_EQ(v.imdim.se.z, 1);
        const int32_t ox = follow ? 0 : v.wind.nw.x, oy = follow ? 0 : v.wind.nw.y;
        const uint32_t ext[3] = {(uint32_t)(v.wind.se.x - v.wind.nw.x), (uint32_t)(v.wind.se.y - v.wind.nw.y), 1};
        // Following, view coordinates are the parent's; otherwise the view's
        // image is the parent's window.
        const Where where = [&](uint32_t x, uint32_t y, uint32_t) {
            return m.pixel((uint32_t)(fw.nw.x + ox) + x, (uint32_t)(fw.nw.y + oy) + y, 0);
        };
        std::ostringstream what;
        what << "one plane follow " << (int)follow;
        check_runs(rng, v, m, ext, true, false, where, what.str(), runs, 4);
        if (ext[0] && ext[1]) check_scattered(rng, v, m, ext, true, where, what.str());
    }
}

TEST(OnePlaneView, MapsXRunsButNotZRuns) {
    uint8_t mem[12] = {};
    const uint32_t dims[2] = {4, 3};
    mvimage flat;
    mvimage3 v;
    ASSERT_EQ(mvimage_memory(&flat, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(mvimage_def3from2(&v, &flat, 0), 0);
    EXPECT_EQ(v.imapset(&v, MVMODE_ZSCAN | MVREQ_DIRTY, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    EXPECT_EQ(v.imapset(&v, 0, MVTYPE_U8, 1), MVMAP_GRANT);
}

// ---- views on views -------------------------------------------------------------------

TEST(StackedViews, ColourSliceOfASectionOfARing) {
    // 5 x 4 x 3 RGB u8 stack; pixie k of pixel (x, y, z) holds 64 z + 16 y + 4 x + k.
    const uint32_t dims[3] = {5, 4, 3};
    std::vector<uint8_t> mem(5 * 4 * 3 * 3);
    for (uint32_t z = 0; z < 3; ++z)
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 5; ++x)
                for (uint32_t k = 0; k < 3; ++k) mem[((z * 4 + y) * 5 + x) * 3 + k] = (uint8_t)(64 * z + 16 * y + 4 * x + k);
    // Records laid out as one array: stack, ring (parent: the previous
    // record), section (parent: the previous record), slice (likewise).
    mvimage recs[4];
    mvimage3* stack = reinterpret_cast<mvimage3*>(&recs[0]);
    mvimage3* ring = reinterpret_cast<mvimage3*>(&recs[1]);
    ASSERT_EQ(mvimage3_memory(stack, mem.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_RGB, 0), 0);
    ASSERT_EQ(mvimage3_def3from3(ring, MVPARENT_REL3(-66), 4, 0, 0, 0), 0);  // offset 4: planes 1, 2, 0
    ASSERT_EQ(mvimage_def2from3(&recs[2], MVPARENT_REL3(-66), 4, 0, 2), 0);   // z along x, x along y, y = 2
    ASSERT_EQ(mvimage_colorslice(&recs[3], MVPARENT_REL(-66), 0, 2), 0);      // green
    // The array moves as a whole.
    std::vector<mvimage> moved(recs, recs + 4);
    mvimage& slice = moved[3];
    ASSERT_EQ(slice.imdim.se.x, 3);
    ASSERT_EQ(slice.imdim.se.y, 5);
    ASSERT_EQ(slice.ioset(&slice, MVMODE_CONTINUE, MVTYPE_U8, 1), 1);
    uint8_t got[15] = {};
    ASSERT_EQ(slice.ioread(&slice, 0, got, 15, 0, 0), 15u);
    for (uint32_t y = 0; y < 5; ++y)
        for (uint32_t x = 0; x < 3; ++x)
            EXPECT_EQ(got[y * 3 + x], (uint8_t)(64 * ((x + 4) % 3) + 16 * 2 + 4 * y + 1)) << x << "," << y;
    // Written back down a column, the green pixies change and nothing else.
    std::vector<uint8_t> want = mem;
    ASSERT_EQ(slice.ioset(&slice, MVMODE_YSCAN, MVTYPE_U8, 1), 1);
    uint8_t col[5] = {200, 201, 202, 203, 204};
    ASSERT_EQ(slice.iorite(&slice, 0, col, 5, 1, 0), 5u);
    for (uint32_t y = 0; y < 5; ++y) want[((((1 + 4) % 3) * 4 + 2) * 5 + y) * 3 + 1] = col[y];
    EXPECT_EQ(mem, want);
}

// ---- 3-D converters and slices against their 2-D forms over sections ------------

// A 3-D per-pixel view and the same kind's 2-D view over a section.
struct Kind3 {
    const char* name;
    const char* tag;
    uint32_t type, bits, space;  // the stack's format (three pixies unless grey)
    std::function<int32_t(mvimage3*, mvimage3*, uint8_t)> make3;
    std::function<int32_t(mvimage*, mvimage*, uint8_t)> make2;
    bool exact_writes;  // run writes equal pixel-by-pixel writes
};

std::vector<Kind3> kinds3() {
    static mvpixfmt to_u8{};
    mvpixfmt_set(&to_u8, MVTYPE_U8, 6, 3, MVCS_RGB);
    static mvpixfmt to_float{};
    mvpixfmt_set(&to_float, MVTYPE_FLOAT, 0, 3, MVCS_RGB);
    return {
        {"converter u16 to 6-bit u8", "MVIMCON3", MVTYPE_U16, 12, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_converter(v, p, &to_u8, f, 0, 0, 0); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_converter(v, p, &to_u8, f, 0, 0, 0); }, false},
        {"converter u8 to float", "MVIMCON3", MVTYPE_U8, 8, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_converter(v, p, &to_float, f, 0, 0, 0); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_converter(v, p, &to_float, f, 0, 0, 0); }, true},
        {"converter keeping the format", "MVIMCON3", MVTYPE_U16, 16, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_converter(v, p, nullptr, f, 0, 0, 0); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_converter(v, p, nullptr, f, 0, 0, 0); }, true},
        {"colour RGB to YCrCb", "MVIMCLR3", MVTYPE_U8, 8, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_colorconverter(v, p, MVCS_YCRCB, (int8_t)f); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_colorconverter(v, p, MVCS_YCRCB, (int8_t)f); },
         true},
        {"colour RGB to 4:2:2", "MVIMCLR3", MVTYPE_U16, 10, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_colorconverter(v, p, MVCS_YCBYCR, (int8_t)f); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_colorconverter(v, p, MVCS_YCBYCR, (int8_t)f); },
         false},
        {"colour grey to BGR", "MVIMCLR3", MVTYPE_U8, 8, MVCS_GREY,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_colorconverter(v, p, MVCS_BGR, (int8_t)f); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_colorconverter(v, p, MVCS_BGR, (int8_t)f); }, false},
        {"slice of the third pixie", "ClrSlic3", MVTYPE_U16, 16, MVCS_RGB,
         [](mvimage3* v, mvimage3* p, uint8_t f) { return mvimage3_colorslice(v, p, f, 4); },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_colorslice(v, p, f, 4); }, true},
    };
}

// A stack of random values in `k`'s format: 2 x 2 pixels per plane hold
// whole lines of pairs for the 4:2:2 cases.
struct Stack {
    uint32_t dims[3];
    std::vector<uint64_t> words;
    mvimage3 im{};
    Stack(Rng& rng, const Kind3& k, uint32_t xd, uint32_t yd, uint32_t zd) : dims{xd, yd, zd} {
        const uint32_t pixies = k.space & 0xFu;
        const uint32_t ps = pixie_bytes(k.type);
        const size_t values = (size_t)xd * yd * zd * pixies;
        words.assign(values * ps / 8 + 1, 0);
        auto* b = reinterpret_cast<uint8_t*>(words.data());
        for (size_t i = 0; i < values; ++i) store(b + i * ps, rng() & ((1ull << k.bits) - 1), ps);
        EXPECT_EQ(mvimage3_memory(&im, b, dims, 0, k.type, k.bits, pixies, k.space, 0), 0);
    }
    std::vector<uint8_t> bytes() const {
        const auto* b = reinterpret_cast<const uint8_t*>(words.data());
        return std::vector<uint8_t>(b, b + words.size() * 8);
    }
};

TEST(PerPixelViews3, MatchTheir2DFormsOverSections) {
    Rng rng(0x76696577u);
    int failures = 0;
    for (const Kind3& k : kinds3()) {
        for (int iter = 0; iter < 40 && failures < 6; ++iter) {
            Stack a(rng, k, 2 + 2 * pick(rng, 4), 1 + pick(rng, 5), 1 + pick(rng, 4));
            // The parent: the stack itself, or a ring view over it.
            mvimage3 ring;
            const uint32_t offset = pick(rng, 7);
            const bool ringed = chance(rng, 40);
            if (ringed) {
                ASSERT_EQ(mvimage3_def3from3(&ring, &a.im, offset, 0, 0, 0), 0);
            }
            mvimage3* parent = ringed ? &ring : &a.im;
            // An even-aligned parent window (4:2:2 pairs stay whole).
            mvyzwindow pw = random_window3(rng, a.dims[0] / 2, a.dims[1], a.dims[2]);
            pw.nw.x *= 2;
            pw.se.x *= 2;
            ASSERT_EQ(mvimage3_setwind(parent, pw.nw.x, pw.nw.y, pw.nw.z, pw.se.x, pw.se.y, pw.se.z), 0);
            const uint8_t follow = chance(rng, 50) ? 1 : 0;
            mvimage3 v;
            ASSERT_EQ(k.make3(&v, parent, follow), 0) << k.name;
            ASSERT_TRUE(kind_is(v.kind, k.tag)) << k.name;
            if (!follow && chance(rng, 50)) {  // a smaller, even-aligned window of the view
                const mvyzwindow vw = random_window3(rng, (uint32_t)v.imdim.se.x / 2, (uint32_t)v.imdim.se.y,
                                                     (uint32_t)v.imdim.se.z);
                ASSERT_EQ(mvimage3_setwind(&v, 2 * vw.nw.x, vw.nw.y, vw.nw.z, 2 * vw.se.x, vw.se.y, vw.se.z), 0);
            }
            const int32_t ox = follow ? 0 : v.wind.nw.x, oy = follow ? 0 : v.wind.nw.y, oz = follow ? 0 : v.wind.nw.z;
            const uint32_t ext[3] = {(uint32_t)(v.wind.se.x - v.wind.nw.x), (uint32_t)(v.wind.se.y - v.wind.nw.y),
                                     (uint32_t)(v.wind.se.z - v.wind.nw.z)};
            if (!ext[0] || !ext[1] || !ext[2]) continue;
            const uint32_t pixies = v.pixfmt.pixies, ps = v.pixiesize;
            // One pixel through the 2-D form over the section at its plane
            // (parent window coordinates).
            auto reference = [&](mvimage3* par, uint32_t x, uint32_t y, uint32_t z, uint8_t* out, const uint8_t* in) {
                mvimage sec, flat;
                EXPECT_EQ(mvimage_def2from3(&sec, par, 0, 2, z + (uint32_t)oz), 0);
                EXPECT_EQ(k.make2(&flat, &sec, 0), 0);
                EXPECT_GE(flat.ioset(&flat, 0, v.pixfmt.datatype | 0x200u, all_mask(pixies)), 0);
                const int32_t fx = (int32_t)x + ox, fy = (int32_t)y + oy;
                return in ? flat.iorite(&flat, 0, const_cast<uint8_t*>(in), 1, fx, fy) : flat.ioread(&flat, 0, out, 1, fx, fy);
            };
            for (int acc = 0; acc < 4 && failures < 6; ++acc) {
                static const uint32_t scans[] = {0x0u, 0x2u, 0x4u};
                const uint32_t mode = scans[pick(rng, 3)] | (chance(rng, 50) ? 0x40u : 0u);
                ASSERT_GE(v.ioset(&v, mode, v.pixfmt.datatype | 0x200u, all_mask(pixies)), 0) << k.name;
                const uint32_t x = pick(rng, ext[0]), y = pick(rng, ext[1]), z = pick(rng, ext[2]);
                const uint32_t avail = available3(mode, ext[0], ext[1], ext[2], (int32_t)x, (int32_t)y, (int32_t)z);
                const uint32_t n = std::min<uint32_t>(avail, 1 + pick(rng, 40));
                const auto pos = run_positions3(mode, ext[0], ext[1], ext[2], Pos3{x, y, z}, n);
                std::vector<uint8_t> got((size_t)n * pixies * ps), one(pixies * ps);
                std::ostringstream what;
                what << k.name << " follow " << (int)follow << (ringed ? " over a ring" : "") << std::hex
                     << " mode 0x" << mode << std::dec << " at " << x << "," << y << "," << z << " n " << n;
                if (k.exact_writes && chance(rng, 40)) {
                    // The same values written as a run through the 3-D view
                    // and pixel by pixel through the 2-D form on a copy.
                    Stack b(rng, k, a.dims[0], a.dims[1], a.dims[2]);
                    std::memcpy(b.words.data(), a.words.data(), a.words.size() * 8);
                    mvimage3 bring;
                    if (ringed) {
                        ASSERT_EQ(mvimage3_def3from3(&bring, &b.im, offset, 0, 0, 0), 0);
                    }
                    mvimage3* bpar = ringed ? &bring : &b.im;
                    ASSERT_EQ(mvimage3_setwind(bpar, pw.nw.x, pw.nw.y, pw.nw.z, pw.se.x, pw.se.y, pw.se.z), 0);
                    for (size_t i = 0; i < got.size(); ++i) got[i] = (uint8_t)rng();
                    if (ps == 2)
                        for (size_t i = 0; i < got.size(); i += 2) got[i + 1] &= 0x03;  // within the bits
                    if (v.pixfmt.datatype == MVTYPE_FLOAT)
                        for (size_t i = 0; i < got.size(); i += 4) {
                            const float f = (float)(rng() % 256) / 255.0f;
                            std::memcpy(&got[i], &f, 4);
                        }
                    ASSERT_EQ(v.iorite(&v, 0, got.data(), n, (int32_t)x, (int32_t)y, (int32_t)z), n) << what.str();
                    for (uint32_t i = 0; i < n; ++i)
                        ASSERT_EQ(reference(bpar, pos[i].x, pos[i].y, pos[i].z, nullptr, &got[(size_t)i * pixies * ps]), 1u);
                    if (a.bytes() != b.bytes()) {
                        ADD_FAILURE() << "run write differs from pixel writes; " << what.str();
                        ++failures;
                    }
                    continue;
                }
                ASSERT_EQ(v.ioread(&v, 0, got.data(), n, (int32_t)x, (int32_t)y, (int32_t)z), n) << what.str();
                for (uint32_t i = 0; i < n; ++i) {
                    ASSERT_EQ(reference(parent, pos[i].x, pos[i].y, pos[i].z, one.data(), nullptr), 1u);
                    if (std::memcmp(one.data(), &got[(size_t)i * pixies * ps], one.size()) != 0) {
                        ADD_FAILURE() << "pixel " << i << " (" << pos[i].x << "," << pos[i].y << "," << pos[i].z
                                      << ") differs; " << what.str();
                        ++failures;
                        break;
                    }
                }
            }
        }
    }
}

// A slice whose window spans the parent's width but not its height hands
// continuing columns to the parent one column at a time (they would wrap at
// the parent's column end), in 2-D and in 3-D.
TEST(PerPixelViews3, SliceColumnsContinueWithinTheView) {
    uint8_t px[4 * 4 * 2 * 2];  // 4 x 4 x 2, two pixies; the second 100 z + 10 y + x
    for (int i = 0; i < 32; ++i) {
        px[2 * i] = 0;
        px[2 * i + 1] = (uint8_t)(100 * (i / 16) + 10 * (i / 4 % 4) + i % 4);
    }
    const uint32_t dims[3] = {4, 4, 2};
    mvimage im, v;
    mvimage3 im3, v3;
    ASSERT_EQ(mvimage_memory(&im, px, dims, 0, MVTYPE_U8, 8, 2, 0, 0), 0);
    ASSERT_EQ(mvimage_colorslice(&v, &im, 0, 2), 0);
    ASSERT_EQ(mvimage_setwind(&v, 0, 1, 4, 3), 0);
    ASSERT_EQ(v.ioset(&v, MVMODE_YSCAN | MVMODE_CONTINUE, MVTYPE_U8, 1), 1);
    uint8_t got[6] = {};
    ASSERT_EQ(v.ioread(&v, 0, got, 4, 0, 0), 4u);
    const uint8_t want[4] = {10, 20, 11, 21};
    EXPECT_EQ(std::memcmp(got, want, 4), 0);
    ASSERT_EQ(mvimage3_memory(&im3, px, dims, 0, MVTYPE_U8, 8, 2, 0, 0), 0);
    ASSERT_EQ(mvimage3_colorslice(&v3, &im3, 0, 2), 0);
    ASSERT_EQ(mvimage3_setwind(&v3, 0, 1, 1, 4, 3, 2), 0);
    ASSERT_EQ(v3.ioset(&v3, MVMODE_YSCAN | MVMODE_CONTINUE, MVTYPE_U8, 1), 1);
    ASSERT_EQ(v3.ioread(&v3, 0, got, 6, 1, 0, 0), 6u);
    const uint8_t want3[6] = {111, 121, 112, 122, 113, 123};
    EXPECT_EQ(std::memcmp(got, want3, 6), 0);
}

TEST(PerPixelViews3, ScatteredMappingAndBadInput) {
    Rng rng(5);
    const Kind3 slice = kinds3().back();
    Stack a(rng, slice, 6, 4, 3);
    const uint16_t* px = reinterpret_cast<const uint16_t*>(a.words.data());
    mvimage3 v;
    // Scattered reads through a slice with a window: the third words are z.
    ASSERT_EQ(mvimage3_colorslice(&v, &a.im, 0, 2), 0);
    ASSERT_EQ(mvimage3_setwind(&v, 1, 1, 1, 5, 4, 3), 0);
    ASSERT_EQ(v.bxts(&v, 0, MVTYPE_U16, 1), 1);
    mvbxtentry list[3] = {{0, 0, 0}, {3, 2, 1}, {4, 0, 0}};  // the last is outside
    uint16_t got[3] = {0, 0, 7};
    ASSERT_EQ(v.bxta(&v, -1, got, list, 3, 2), 3u);
    EXPECT_EQ(got[0], px[((1 * 4 + 1) * 6 + 1) * 3 + 1]);
    EXPECT_EQ(got[1], px[((2 * 4 + 3) * 6 + 4) * 3 + 1]);
    EXPECT_EQ(got[2], 7);
    EXPECT_EQ(list[1].tag, 1u);
    EXPECT_EQ(v.imapset(&v, 0, MVTYPE_U16, 1), MVERR_UNSUPPORTED);

    // A converter keeping the format maps the parent's own memory, z-major too.
    ASSERT_EQ(mvimage3_converter(&v, &a.im, nullptr, 0, 0, 0, 0), 0);
    ASSERT_EQ(mvimage3_setwind(&v, 1, 1, 1, 5, 4, 3), 0);
    EXPECT_EQ(v.imapset(&v, MVMODE_ZSCAN | MVREQ_DIRTY, MVTYPE_U16, 7), MVMAP_GRANT);
    mvmapdesc d{};
    ASSERT_EQ(v.imap(&v, &d, 1, 0, 0), 1);
    const void* address = d.address;  // the descriptor is 4-byte packed
    const uint64_t stride = d.stride, count = d.count;
    EXPECT_EQ(address, (const void*)(px + ((1 * 4 + 1) * 6 + 2) * 3));
    EXPECT_EQ(stride, 6u * 4 * 3 * 2);
    EXPECT_EQ(count, 2u);
    mvpixfmt u8{};
    mvpixfmt_set(&u8, MVTYPE_U8, 8, 3, MVCS_RGB);
    ASSERT_EQ(mvimage3_converter(&v, &a.im, &u8, 0, 0, 0, 0), 0);
    EXPECT_EQ(v.imapset(&v, 0, MVTYPE_U8, 7), MVERR_DATATYPE);
    EXPECT_EQ(v.ioset(&v, MVMODE_YSCAN | MVMODE_ZSCAN, MVTYPE_U8, 7), MVERR_UNSUPPORTED);
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U16, 7), MVERR_DATATYPE);

    // Bad arguments leave a 3-D null image; a view over itself answers -5.
    mvpixfmt bad = u8;
    bad.datatype = 3;
    const struct {
        const char* what;
        int32_t rc, want;
    } cases[] = {
        {"converter, null parent", mvimage3_converter(&v, nullptr, nullptr, 0, 0, 0, 0), -1},
        {"converter, invalid type", mvimage3_converter(&v, &a.im, &bad, 0, 0, 0, 0), -1},
        {"colour, null parent", mvimage3_colorconverter(&v, nullptr, MVCS_GREY, 0), -1},
        {"colour, unknown space", mvimage3_colorconverter(&v, &a.im, 5, 0), MVERR_COLORS},
        {"slice, null parent", mvimage3_colorslice(&v, nullptr, 0, 1), -1},
        {"slice, two pixies", mvimage3_colorslice(&v, &a.im, 0, 3), -1},
        {"slice, beyond the pixies", mvimage3_colorslice(&v, &a.im, 0, 8), -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.rc, c.want) << c.what;
    }
    EXPECT_TRUE(kind_is(v.kind, "NULL3"));
    EXPECT_EQ(mvimage3_converter(nullptr, &a.im, nullptr, 0, 0, 0, 0), -1);
}

// ---- bad input --------------------------------------------------------------------

TEST(DimensionViews, BadInput) {
    uint8_t mem[4 * 3 * 2] = {};
    const uint32_t dims[3] = {4, 3, 2};
    mvimage3 stack;
    ASSERT_EQ(mvimage3_memory(&stack, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    mvimage v;
    mvimage3 v3;
    const struct {
        uint32_t xaxis, yaxis, fixed;
    } sections[] = {{0, 0, 0}, {2, 2, 0}, {1, 2, 0}, {0, 6, 0}, {0, 2, 2}, {0, 4, 3}};
    for (const auto& c : sections) {
        std::memset(&v, 0x5A, sizeof v);
        EXPECT_EQ(mvimage_def2from3(&v, &stack, c.xaxis, c.yaxis, c.fixed), -1) << c.xaxis << "," << c.yaxis;
        EXPECT_TRUE(kind_is(v.kind, "NULL2"));
    }
    EXPECT_EQ(mvimage_def2from3(&v, nullptr, 0, 2, 0), -1);
    EXPECT_TRUE(kind_is(v.kind, "NULL2"));
    EXPECT_EQ(mvimage_def2from3(nullptr, &stack, 0, 2, 0), -1);
    EXPECT_EQ(mvimage_def3from2(&v3, nullptr, 0), -1);
    EXPECT_TRUE(kind_is(v3.kind, "NULL3"));
    mvimage3 empty;
    mvimage3_defnull(&empty);
    EXPECT_EQ(mvimage3_def3from3(&v3, &empty, 0, 0, 0, 0), -1);  // depth 0
    EXPECT_TRUE(kind_is(v3.kind, "NULL3"));
    EXPECT_EQ(mvimage3_def3from3(&v3, nullptr, 0, 0, 0, 0), -1);

    // z-scans asked of a section (a 2-D view); windows outside its image.
    ASSERT_EQ(mvimage_def2from3(&v, &stack, 0, 2, 1), 0);
    EXPECT_EQ(v.ioset(&v, MVMODE_ZSCAN, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    EXPECT_EQ(v.imapset(&v, MVMODE_ZSCAN, MVTYPE_U8, 1), MVERR_USAGE);
    EXPECT_EQ(mvimage_setwind(&v, 0, 0, 5, 3), -1);
    mvtest::expect_noop_slots(v);
    ASSERT_EQ(mvimage3_def3from3(&v3, &stack, 1, 0, 0, 0), 0);
    EXPECT_EQ(mvimage3_setwind(&v3, 0, 0, 1, 4, 3, 3), -1);
    mvtest::expect_noop_slots(v3);
    ASSERT_EQ(mvimage3_setwind(&v3, 0, 0, 0, -1, -1, -1), 0);
    EXPECT_EQ(v3.ioset(&v3, MVMODE_YSCAN | MVMODE_ZSCAN, MVTYPE_U8 | MVREQ_DIRTY, 1), MVERR_UNSUPPORTED);

    // Views over themselves, whatever the record held, answer -5.
    std::memset(&v, 0x5A, sizeof v);
    ASSERT_EQ(mvimage_def2from3(&v, MVPARENT_REL3(-65), 0, 2, 0), 0);
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U8, 1), MVERR_LOGIC);
    EXPECT_EQ(v.bxts(&v, 0, MVTYPE_U8, 1), MVERR_LOGIC);
    EXPECT_EQ(v.imapset(&v, 0, MVTYPE_U8, 1), MVERR_LOGIC);
    const std::pair<const char*, std::function<int32_t(mvimage3*)>> selves[] = {
        {"one plane", [](mvimage3* w) { return mvimage_def3from2(w, MVPARENT_REL(-65), 1); }},
        {"ring", [](mvimage3* w) { return mvimage3_def3from3(w, MVPARENT_REL3(-65), 0, 0, 0, 1); }},
        {"converter", [](mvimage3* w) { return mvimage3_converter(w, MVPARENT_REL3(-65), nullptr, 1, 0, 0, 0); }},
        {"colour converter", [](mvimage3* w) { return mvimage3_colorconverter(w, MVPARENT_REL3(-65), MVCS_GREY, 0); }},
        {"colour slice", [](mvimage3* w) { return mvimage3_colorslice(w, MVPARENT_REL3(-65), 0, 1); }},
    };
    for (const auto& [name, make] : selves) {
        std::memset(&v3, 0x5A, sizeof v3);
        ASSERT_EQ(make(&v3), 0) << name;
        EXPECT_EQ(v3.ioset(&v3, 0, MVTYPE_U8, 1), MVERR_LOGIC) << name;
        EXPECT_EQ(v3.bxts(&v3, 0, MVTYPE_U8, 1), MVERR_LOGIC) << name;
    }
}

}  // namespace
