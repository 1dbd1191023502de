// 3-D memory images: run transfers and mapping against the reference model
// in memimage_model.hpp (all six scan modes, checked and unchecked, starts
// inside and outside the box in each axis), then the constructors and their
// bad input.  Scattered transfers with a z coordinate are checked through
// the ring and section views (test_views_dimension.cpp).
#include "memimage_model.hpp"
#include "test_util.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace mvmodel;

constexpr int kMaxReported = 8;

std::unique_ptr<MemImage3> random_stack(Rng& rng) {
    const mvpixfmt f = random_format(rng);
    const uint32_t pxs = pixie_bytes(f.datatype) * f.pixies;
    uint32_t d[3] = {1 + pick(rng, 12), 1 + pick(rng, 8), 1 + pick(rng, 6)};
    for (int a = 0; d[0] * d[1] * d[2] * pxs > 12288; a = (a + 1) % 3) d[a] = (d[a] + 1) / 2;
    return std::make_unique<MemImage3>(rng, f, d[0], d[1], d[2], (PitchKind)pick(rng, 5), chance(rng, 40));
}

std::string describe(const MemImage3& m, const mvyzwindow& w) {
    std::ostringstream s;
    s << "type " << m.fmt.datatype << " pixies " << m.fmt.pixies << " bits " << m.fmt.bits << std::hex
      << " valform 0x" << m.fmt.valform << " valflags 0x" << m.fmt.valflags << " order 0x" << m.fmt.byteorder
      << std::dec << " dims " << m.xdim << "x" << m.ydim << "x" << m.zdim << " pitch " << m.pitch << " plane "
      << m.plane << " window " << w.nw.x << "," << w.nw.y << "," << w.nw.z << "-" << w.se.x << "," << w.se.y
      << "," << w.se.z;
    return s.str();
}

// A start mostly inside the box, sometimes just outside it in some axis.
void random_start(Rng& rng, const uint32_t ext[3], int32_t pos[3]) {
    const bool in = chance(rng, 80);
    for (int a = 0; a < 3; ++a)
        pos[a] = (in && ext[a]) ? (int32_t)pick(rng, ext[a]) : (int32_t)pick(rng, ext[a] + 4) - 2;
}

uint32_t random_scan(Rng& rng) {
    static const uint32_t scans[] = {0x0u, 0x2u, 0x4u};
    return scans[pick(rng, 3)] | (chance(rng, 50) ? 0x40u : 0u);
}

struct Window3 {
    mvyzwindow w;
    uint32_t ext[3];
};
Window3 set_random_window(Rng& rng, MemImage3& m) {
    Window3 r{random_window3(rng, m.xdim, m.ydim, m.zdim), {}};
    EXPECT_EQ(mvimage3_setwind(&m.im, r.w.nw.x, r.w.nw.y, r.w.nw.z, r.w.se.x, r.w.se.y, r.w.se.z), 0);
    for (int a = 0; a < 3; ++a) r.ext[a] = (uint32_t)((&r.w.se.x)[a] - (&r.w.nw.x)[a]);
    return r;
}

uint8_t* model_pixel(MemImage3& m, const Window3& win, const Pos3& p) {
    return m.pixel(win.w.nw.x + p.x, win.w.nw.y + p.y, win.w.nw.z + p.z);
}

// ---- run transfers ------------------------------------------------------------

TEST(MemImage3Model, RunTransfersMatchModel) {
    Rng rng(0x33444d56u);
    RunCounts n;
    for (int iter = 0; iter < 1500 && n.failures < 3; ++iter) {
        auto mp = random_stack(rng);
        MemImage3& m = *mp;
        ASSERT_EQ(m.build_rc, 0);
        const Window3 win = set_random_window(rng, m);
        const Where where = [&](uint32_t x, uint32_t y, uint32_t z) { return model_pixel(m, win, Pos3{x, y, z}); };
        check_runs(rng, m.im, m, win.ext, true, true, where, describe(m, win.w), n);
    }
    EXPECT_GT(n.reads, 3000);
    EXPECT_GT(n.writes, 3000);
}

// ---- direct mapping -----------------------------------------------------------

TEST(MemImage3Model, MappingMatchesModel) {
    Rng rng(0x4d415033u);
    int failures = 0, mapped = 0;
    for (int iter = 0; iter < 800 && failures < kMaxReported; ++iter) {
        auto mp = random_stack(rng);
        MemImage3& m = *mp;
        ASSERT_EQ(m.build_rc, 0);
        mvimage3& im = m.im;
        const Window3 win = set_random_window(rng, m);
        const uint32_t w = win.ext[0], h = win.ext[1], d = win.ext[2];
        // A request naming the stored form exactly.
        const uint32_t request = m.fmt.datatype | (m.fmt.byteorder & 0x800u) |
                                 ((m.fmt.valflags & 0x400u) ? 0x400u : 0u);
        const bool tolerant = !(request & 0x400u) || ((m.fmt.valflags >> 16) & 0x400u) || m.fmt.valform == 0x300u ||
                              is_float(m.fmt.datatype);
        if (!tolerant) continue;  // the image cannot take the 0x400 it demands on reads
        const uint32_t mode = random_scan(rng) | (chance(rng, 70) ? 0x400u : 0u);
        std::ostringstream access;
        access << describe(m, win.w) << std::hex << " mode 0x" << mode << " request 0x" << request;
        const std::string where = access.str();
        const bool across = (mode & 0x6u) != 0;
        const int64_t stride = (mode & 0x4u) ? m.plane : (mode & 0x2u) ? m.pitch : (int64_t)m.pxs;
        int32_t want_grant = 16389;
        if (across && (!(mode & 0x400u) || stride < 0)) want_grant = -11;
        else if (!across && (mode & 0x40u) && w == m.xdim && m.pitch == (int32_t)(m.pxs * m.xdim)) want_grant = 16397;
        const int32_t grant = im.imapset(&im, mode, request, all_mask(m.fmt.pixies));
        ASSERT_EQ(grant, want_grant) << where;
        if (grant < 0) continue;
        const uint32_t run_mode = grant == 16397 ? mode : (mode & ~0x40u);
        for (int op = 0; op < 8 && failures < kMaxReported; ++op) {
            int32_t at[3];
            random_start(rng, win.ext, at);
            const bool in = (uint32_t)at[0] < w && (uint32_t)at[1] < h && (uint32_t)at[2] < d;
            mvmapdesc desc{};
            const int32_t rc = im.imap(&im, &desc, at[0], at[1], at[2]);
            std::ostringstream ctx;
            ctx << where << std::dec << " at " << at[0] << "," << at[1] << "," << at[2];
            if (!in) {
                EXPECT_EQ(rc, 0) << ctx.str();
                EXPECT_EQ(desc.runs, 0u) << ctx.str();
                continue;
            }
            ++mapped;
            const uint32_t avail = available3(run_mode, w, h, d, at[0], at[1], at[2]);
            // Runs cover at least the rest of their line; never more than the run.
            const uint32_t line = available3(run_mode & ~0x40u, w, h, d, at[0], at[1], at[2]);
            if (rc != 1 || desc.runs != 1 || desc.stride != (uint64_t)stride || desc.count > avail ||
                desc.count < line) {
                ADD_FAILURE() << "imap rc " << rc << " runs " << desc.runs << " stride " << desc.stride
                              << " count " << desc.count << " (run " << avail << ", line " << line << "); "
                              << ctx.str();
                ++failures;
                continue;
            }
            const auto pos = run_positions3(run_mode, w, h, d, Pos3{(uint32_t)at[0], (uint32_t)at[1], (uint32_t)at[2]},
                                            (uint32_t)desc.count);
            for (uint32_t i = 0; i < desc.count; ++i)
                if (static_cast<uint8_t*>(desc.address) + (int64_t)i * stride != model_pixel(m, win, pos[i])) {
                    ADD_FAILURE() << "imap pixel " << i << " misplaced; " << ctx.str();
                    ++failures;
                    break;
                }
            im.imapr(&im, &desc);
            EXPECT_EQ(desc.runs, 0u);
        }
    }
    EXPECT_GT(mapped, 1000);
}

// ---- constructors, windows and bad input --------------------------------------

TEST(MemImage3, ConstructorsAndBadInput) {
    uint8_t mem[4 * 3 * 5 * 2] = {};
    for (size_t i = 0; i < sizeof mem; ++i) mem[i] = (uint8_t)i;
    const uint32_t dims[3] = {4, 3, 5};
    mvpixfmt u8{};
    ASSERT_EQ(mvpixfmt_set(&u8, MVTYPE_U8, 8, 1, MVCS_GREY), 0);
    mvimage3 im;

    struct Case {
        const char* what;
        int32_t rc;
    };
    const uint32_t flat[3] = {4, 3, 0};
    const uint32_t huge[3] = {0x7FFFFFFFu, 0x7FFFFFFFu, 0x7FFFFFFFu};
    const uint32_t wide[3] = {0x7FFFFFFFu, 0x7FFFFFFFu, 4};
    void* none = nullptr;
    void* held = mem;
    const Case cases[] = {
        {"packed", mvimage3_memory(&im, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0)},
        {"zero depth", mvimage3_memory(&im, mem, flat, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0)},
        {"null memory", mvimage3_memory(&im, nullptr, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0)},
        {"offsets beyond 63 bits", mvimage3_memory(&im, mem, huge, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0)},
        {"null format", mvimage3_memdata(&im, mem, 0, dims, 0, 0, nullptr, nullptr, 0)},
        {"plane pitch smaller than a plane", mvimage3_memdata(&im, mem, 0, dims, 0, 11, &u8, nullptr, 0)},
        {"plane pitch of a plane", mvimage3_memdata(&im, mem, 0, dims, 0, 12, &u8, nullptr, 0)},
        {"size one short", mvimage3_memdata(&im, mem, 59, dims, 0, 0, &u8, nullptr, 0)},
        {"size exact", mvimage3_memdata(&im, mem, 60, dims, 0, 0, &u8, nullptr, 0)},
        {"padded planes, size one short", mvimage3_memdata(&im, mem, 5 * 14 - 1, dims, 0, 14, &u8, nullptr, 0)},
        {"padded lines, packed planes, size one short",
         mvimage3_memdata(&im, mem, 4 * 12 + 3 * 6 - 1, dims, 6, 0, &u8, nullptr, 0)},
        {"memory3 over the size", mvimage3_memory3(&im, mem, 50, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1, 1, 0, 1, 0)},
        {"malloc zero depth", mvimage3_memmalloc(&im, &none, flat, MVTYPE_U8, 8, 1, MVCS_GREY)},
        {"malloc into a held buffer", mvimage3_memmalloc(&im, &held, dims, MVTYPE_U8, 8, 1, MVCS_GREY)},
        {"malloc beyond 2^64", mvimage3_memmalloc(&im, &none, huge, MVTYPE_U8, 8, 1, MVCS_GREY)},
        {"malloc beyond 2^64 by pixel size", mvimage3_memmalloc(&im, &none, wide, MVTYPE_U32, 32, 4, MVCS_BGRX)},
        {"malloc invalid type", mvimage3_memmalloc(&im, &none, dims, 3, 8, 1, MVCS_GREY)},
    };
    const int32_t want[] = {0, -1, -1, -1, -1, -1, 0, -1, 0, -1, -1, -1, -1, -1, -2, -2, -2};
    static_assert(sizeof want / sizeof want[0] == sizeof cases / sizeof cases[0]);
    for (size_t i = 0; i < sizeof want / sizeof want[0]; ++i) EXPECT_EQ(cases[i].rc, want[i]) << cases[i].what;
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(mvimage3_memory(nullptr, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), -1);

    // A failed constructor leaves a 3-D null image.
    std::memset(&im, 0x5A, sizeof im);
    EXPECT_EQ(mvimage3_memory(&im, mem, flat, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0), -1);
    EXPECT_TRUE(mvtest::kind_is(im.kind, "NULL3"));
    mvtest::expect_noop_slots(im);

    // The whole box; a z-major run from (1, 2, 0) steps one plane at a time.
    ASSERT_EQ(mvimage3_memory2(&im, mem, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0, 1.5f, 2.5f, MVUNITS_MILLIMETER,
                               4.0f, MVUNITS_SECOND), 0);
    EXPECT_TRUE(mvtest::kind_is(im.kind, "MVIMMEM3"));
    EXPECT_EQ(im.zwidth, 4.0f);
    EXPECT_EQ(im.zunits, MVUNITS_SECOND);
    EXPECT_EQ(mvimage3_setwind(&im, 0, 0, 0, -1, -1, -1), 0);
    EXPECT_EQ(im.wind.se.z, 5);
    ASSERT_EQ(im.ioset(&im, MVMODE_ZSCAN, MVTYPE_U8, 1), 1);
    uint8_t got[8] = {};
    ASSERT_EQ(im.ioread(&im, 0, got, 8, 1, 2, 0), 5u);
    for (uint32_t z = 0; z < 5; ++z) EXPECT_EQ(got[z], mem[z * 12 + 2 * 4 + 1]);
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 513u);
    EXPECT_EQ(im.aeiou(&im, 'I', 0, 0), 4294967295u);
    EXPECT_EQ(im.ioset(&im, MVMODE_YSCAN | MVMODE_ZSCAN, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    EXPECT_EQ(im.imapset(&im, MVMODE_YSCAN | MVMODE_ZSCAN | MVREQ_DIRTY, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U16, 1), MVERR_DATATYPE);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8, 2), MVERR_COLORS);

    // Windows outside the box in any axis are refused and leave no access.
    const int32_t outside[][6] = {{0, 0, 0, 5, 3, 5}, {0, 0, 0, 4, 4, 5}, {0, 0, 0, 4, 3, 6},
                                  {-1, 0, 0, 4, 3, 5}, {0, 0, 3, 4, 3, 2}, {0, 0, 5, 4, 3, 6}};
    for (const auto& o : outside) {
        EXPECT_EQ(mvimage3_setwind(&im, o[0], o[1], o[2], o[3], o[4], o[5]), -1);
        EXPECT_EQ(im.wind.se.x | im.wind.se.y | im.wind.se.z | im.wind.nw.z, 0);
        mvtest::expect_noop_slots(im);
    }

    // Heap records: only those of mvimage3_memmalloc2 go back through memfree2.
    EXPECT_EQ(mvimage3_memmalloc2(nullptr, MVTYPE_U8, 8, 1, MVCS_GREY, 4, 3, 1, 1, 0, 0, 1, 0), nullptr);
    mvimage3* heap = mvimage3_memmalloc2(nullptr, MVTYPE_U16, 12, 1, MVCS_GREY, 4, 3, 1, 1, 0, 5, 1, 0);
    ASSERT_NE(heap, nullptr);
    EXPECT_EQ(heap->imdim.se.z, 5);
    EXPECT_EQ(mvimage3_memfree2(&im, 0), -1);  // not from memmalloc2
    mvimage* flat2 = mvimage_memmalloc2(nullptr, MVTYPE_U8, 8, 1, MVCS_GREY, 4, 3, 1, 1, 0);
    EXPECT_EQ(mvimage3_memfree2(reinterpret_cast<mvimage3*>(flat2), 0), -1);
    EXPECT_EQ(mvimage_memfree2(flat2, 0), 0);
    EXPECT_EQ(mvimage3_memfree2(heap, 0), 0);
    EXPECT_EQ(mvimage3_memfree2(nullptr, 0), 0);

    void* pixels = nullptr;
    ASSERT_EQ(mvimage3_memmalloc(&im, &pixels, dims, MVTYPE_U8, 8, 3, MVCS_RGB), 0);
    EXPECT_EQ(im.aeiou(&im, 'b', 0, 0), 2u);
    EXPECT_EQ(mvimage3_memfree(&im, pixels), 0);
    EXPECT_TRUE(mvtest::kind_is(im.kind, "NULL3"));
}

}  // namespace
