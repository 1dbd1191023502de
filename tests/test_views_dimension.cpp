// Dimension views against direct addressing of a 3-D memory image: sections
// over every pair of axes, rings of planes (offsets beyond the depth
// included), the one-plane view of a 2-D image, stacked views, and the bad
// input of their constructors and set-up calls.
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

// The stack pixel (first pixie) shown at window-relative (x, y, z) of a view.
using Where = std::function<uint8_t*(uint32_t x, uint32_t y, uint32_t z)>;

std::unique_ptr<MemImage3> random_stack(Rng& rng, uint32_t max_pixies = 3) {
    mvpixfmt f = random_format(rng);
    if (f.pixies > max_pixies) {
        f.pixies = 1 + pick(rng, max_pixies);
        f.colorspace = f.pixies;
    }
    return std::make_unique<MemImage3>(rng, f, 1 + pick(rng, 9), 1 + pick(rng, 7), 1 + pick(rng, 6),
                                       (PitchKind)pick(rng, 5), chance(rng, 40));
}

// Random accesses through a view (2-D when depth is 0) with runs read and
// written in every scan mode the view has, compared with the stack through
// `where`.  Answers the number of failures reported.
template <class Rec>
int check_runs(Rng& rng, Rec& v, MemImage3& m, const uint32_t ext[3], bool three_d, const Where& where,
               const std::string& what, int accesses = 4) {
    int failures = 0;
    for (int acc = 0; acc < accesses && failures < 3; ++acc) {
        static const uint32_t scans[] = {0x0u, 0x2u, 0x4u};
        const uint32_t mode = scans[pick(rng, three_d ? 3 : 2)] | (chance(rng, 50) ? 0x40u : 0u);
        const uint32_t request = random_request(rng, m.fmt.datatype);
        uint32_t first, c;
        const uint32_t mask = random_mask(rng, m.fmt.pixies, first, c);
        std::ostringstream ctx;
        ctx << what << std::hex << " mode 0x" << mode << " request 0x" << request << " mask 0x" << mask << std::dec;
        if (v.ioset(&v, mode, request, mask) < 0) {
            ADD_FAILURE() << "ioset refused; " << ctx.str();
            return failures + 1;
        }
        const Conversion conv = conversion_for(m.fmt, request);
        for (int op = 0; op < 6 && failures < 3; ++op) {
            const bool in = chance(rng, 85);
            uint32_t p[3] = {0, 0, 0};
            int32_t at[3] = {0, 0, 0};
            for (int a = 0; a < (three_d ? 3 : 2); ++a) {
                at[a] = (in && ext[a]) ? (int32_t)pick(rng, ext[a]) : (int32_t)pick(rng, ext[a] + 4) - 2;
                p[a] = (uint32_t)at[a];
            }
            const bool inside = p[0] < ext[0] && p[1] < ext[1] && p[2] < ext[2];
            const uint32_t avail = available3(mode, ext[0], ext[1], ext[2], at[0], at[1], at[2]);
            const uint32_t count = chance(rng, 20) ? 0xFFFFFFFFu : pick(rng, 3 * (ext[0] + ext[1]) + 4);
            const uint32_t want = inside ? (count < avail ? count : avail) : 0;
            std::ostringstream here;
            here << ctx.str() << " at " << at[0] << "," << at[1] << "," << at[2] << " count " << count;
            uint32_t len;
            if constexpr (std::is_same_v<Rec, mvimage3>) len = v.iolen(&v, count, at[0], at[1], at[2]);
            else len = v.iolen(&v, count, at[0], at[1]);
            if (len != want) {
                ADD_FAILURE() << "iolen " << len << " want " << want << "; " << here.str();
                ++failures;
                continue;
            }
            const auto pos = run_positions3(mode, ext[0], ext[1], ext[2], Pos3{p[0], p[1], p[2]}, want);
            std::vector<uint64_t> words(((size_t)want + 2) * c * m.ps / 8 + 2);
            uint8_t* buf = reinterpret_cast<uint8_t*>(words.data());
            const bool write = chance(rng, 50);
            std::vector<uint64_t> vals((size_t)want * c);
            for (size_t k = 0; k < vals.size(); ++k) store(buf + k * m.ps, vals[k] = random_value(rng, m.ps), m.ps);
            uint32_t n;
            if constexpr (std::is_same_v<Rec, mvimage3>)
                n = write ? v.iorite(&v, 0, buf, count, at[0], at[1], at[2]) : v.ioread(&v, 0, buf, count, at[0], at[1], at[2]);
            else
                n = write ? v.iorite(&v, 0, buf, count, at[0], at[1]) : v.ioread(&v, 0, buf, count, at[0], at[1]);
            if (n != want) {
                ADD_FAILURE() << (write ? "iorite" : "ioread") << " moved " << n << " want " << want << "; "
                              << here.str();
                ++failures;
                m.take_shadow();
                continue;
            }
            bool ok = true;
            for (uint32_t i = 0; i < n && ok; ++i)
                for (uint32_t j = 0; j < c; ++j) {
                    uint8_t* px = where(pos[i].x, pos[i].y, pos[i].z) + (first + j) * m.ps;
                    if (write) {
                        m.shadow_store(px, conv.to_stored(vals[(size_t)i * c + j]));
                    } else if (load(buf + ((size_t)i * c + j) * m.ps, m.ps) != conv.to_caller(m.shadow_load(px))) {
                        ADD_FAILURE() << "ioread pixel " << i << " (" << pos[i].x << "," << pos[i].y << ","
                                      << pos[i].z << ") pixie " << j << "; " << here.str();
                        ok = false;
                        break;
                    }
                }
            if (ok && !m.memory_matches_shadow()) {
                ADD_FAILURE() << (write ? "iorite" : "ioread") << " left memory differing at "
                              << m.first_difference() << "; " << here.str();
                ok = false;
                m.take_shadow();
            }
            if (!ok) ++failures;
        }
    }
    return failures;
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
    int failures = 0;
    for (int iter = 0; iter < 300 && failures < 6; ++iter) {
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
        failures += check_runs(rng, v, m, ext, false, where, what.str());
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
            ASSERT_LE(d.count, available3(run_mode, ext[0], ext[1], 1, (int32_t)x, (int32_t)y, 0)) << what.str();
            const auto pos = run_positions3(run_mode, ext[0], ext[1], 1, Pos3{x, y, 0}, (uint32_t)d.count);
            for (uint32_t i = 0; i < d.count; ++i)
                ASSERT_EQ(static_cast<uint8_t*>(d.address) + (int64_t)i * (int64_t)d.stride,
                          where(pos[i].x, pos[i].y, 0))
                    << "mapped pixel " << i << "; " << what.str();
            v.imapr(&v, &d);
        }
    }
}

TEST(SectionView, XzSectionOfAStack) {
    // 64 x 48 x 20 u8 stack, pixel value from its coordinates.
    std::vector<uint8_t> mem(64 * 48 * 20);
    for (size_t i = 0; i < mem.size(); ++i) mem[i] = (uint8_t)(i * 7 + i / 64);
    const uint32_t dims[3] = {64, 48, 20};
    mvimage3 stack;
    ASSERT_EQ(mvimage3_memory(&stack, mem.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    mvimage v;
    ASSERT_EQ(mvimage_def2from3(&v, &stack, 0, 4, 10), 0);
    EXPECT_EQ(v.imdim.se.x, 64);
    EXPECT_EQ(v.imdim.se.y, 20);
    ASSERT_EQ(v.ioset(&v, 0, MVTYPE_U8, 1), 1);
    uint8_t px = 0;
    ASSERT_EQ(v.ioread(&v, 0, &px, 1, 3, 7), 1u);
    EXPECT_EQ(px, mem[7 * 64 * 48 + 10 * 64 + 3]);

    // 2-D operations run on any section: negate the y-z section at x = 5.
    ASSERT_EQ(mvimage_def2from3(&v, &stack, 2, 4, 5), 0);
    const std::vector<uint8_t> before = mem;
    ASSERT_EQ(mvip8_pixneg(nullptr, &v, &v), 0);
    for (size_t i = 0; i < mem.size(); ++i)
        ASSERT_EQ(mem[i], i % 64 == 5 ? (uint8_t)(255 - before[i]) : before[i]) << i;
}

// ---- rings of planes ---------------------------------------------------------------

TEST(RingView, PlanesRotateByAnyOffset) {
    Rng rng(0x72696e67u);
    int failures = 0;
    for (int iter = 0; iter < 250 && failures < 6; ++iter) {
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
        failures += check_runs(rng, v, m, ext, true, where, what.str());
        if (ext[0] && ext[1] && ext[2]) check_scattered(rng, v, m, ext, true, where, what.str());
    }
}

TEST(RingView, OffsetThreeOverFivePlanes) {
    uint8_t mem[5 * 2] = {0, 0, 1, 1, 2, 2, 3, 3, 4, 4};  // 2 x 1 x 5, plane k holds k
    const uint32_t dims[3] = {2, 1, 5};
    mvimage3 stack, ring;
    ASSERT_EQ(mvimage3_memory(&stack, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(mvimage3_def3from3(&ring, &stack, 3, 0, 0, 1), 0);
    ASSERT_EQ(ring.ioset(&ring, MVMODE_ZSCAN | MVMODE_CONTINUE, MVTYPE_U8, 1), 0);
    uint8_t got[10] = {};
    ASSERT_EQ(ring.ioread(&ring, 0, got, 10, 0, 0, 0), 10u);
    const uint8_t want[10] = {3, 4, 0, 1, 2, 3, 4, 0, 1, 2};
    EXPECT_EQ(std::memcmp(got, want, 10), 0);
    EXPECT_EQ(ring.imapset(&ring, 0, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
}

// ---- one plane over a 2-D image -----------------------------------------------------

TEST(OnePlaneView, PlaneZeroIsTheParent) {
    Rng rng(0x32746f33u);
    int failures = 0;
    for (int iter = 0; iter < 200 && failures < 6; ++iter) {
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
        failures += check_runs(rng, v, m, ext, true, where, what.str());
        if (ext[0] && ext[1]) check_scattered(rng, v, m, ext, true, where, what.str());
    }
}

TEST(OnePlaneView, OtherPlanesAndZScans) {
    uint8_t mem[12];
    for (int i = 0; i < 12; ++i) mem[i] = (uint8_t)(10 + i);
    const uint32_t dims[2] = {4, 3};
    mvimage flat;
    mvimage3 v;
    ASSERT_EQ(mvimage_memory(&flat, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), 0);
    ASSERT_EQ(mvimage_def3from2(&v, &flat, 0), 0);
    uint8_t got[12] = {};
    ASSERT_EQ(v.ioset(&v, 0, MVTYPE_U8, 1), 1);
    EXPECT_EQ(v.ioread(&v, 0, got, 4, 0, 0, 1), 0u);  // no plane 1
    // A z-major run is one pixel; a continuing one goes x, then y.
    ASSERT_EQ(v.ioset(&v, MVMODE_ZSCAN, MVTYPE_U8, 1), 1);
    EXPECT_EQ(v.iolen(&v, 12, 1, 1, 0), 1u);
    ASSERT_EQ(v.ioread(&v, 0, got, 12, 1, 1, 0), 1u);
    EXPECT_EQ(got[0], 15);
    ASSERT_EQ(v.ioset(&v, MVMODE_ZSCAN | MVMODE_CONTINUE, MVTYPE_U8, 1), 1);
    ASSERT_EQ(v.ioread(&v, 0, got, 12, 2, 1, 0), 6u);
    EXPECT_EQ(std::memcmp(got, mem + 6, 6), 0);
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
    std::memset(&v3, 0x5A, sizeof v3);
    ASSERT_EQ(mvimage_def3from2(&v3, MVPARENT_REL(-65), 1), 0);
    EXPECT_EQ(v3.ioset(&v3, 0, MVTYPE_U8, 1), MVERR_LOGIC);
    std::memset(&v3, 0x5A, sizeof v3);
    ASSERT_EQ(mvimage3_def3from3(&v3, MVPARENT_REL3(-65), 0, 0, 0, 1), 0);
    EXPECT_EQ(v3.ioset(&v3, 0, MVTYPE_U8, 1), MVERR_LOGIC);
    EXPECT_EQ(v3.bxts(&v3, 0, MVTYPE_U8, 1), MVERR_LOGIC);
}

}  // namespace
