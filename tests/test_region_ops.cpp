// Region-bounded operations against a plain model: the whole-image
// operation on a copy, kept only inside the region's pixels (the mask),
// every other pixel of the destination as it was.  Histograms and moments
// against plain loops over the mask; the region views against the rules
// of their reads and writes.
#include "test_util.hpp"

#include <cmath>
#include <functional>
#include <set>

namespace {

using mvtest::Format;
using mvtest::Image;
using Mask = std::set<std::pair<int32_t, int32_t>>;  // (y, x)

// A region record of any length over an image record.
struct Region {
    std::vector<uint64_t> store;
    explicit Region(const mvimage* im, uint32_t type, size_t runs = 0)
        : store((MVIMREGION_SCANLIST_AT + 12 * runs + MVIMREGION_FIXED) / 8 + 1, 0) {
        r()->image = *im;
        r()->regiontype = type;
        r()->reclen = store.size() * 8;
    }
    mvimregion* r() { return reinterpret_cast<mvimregion*>(store.data()); }
};

// Random runs, several per line, some empty, some touching: sorted, or
// shuffled with overlaps (the operations sort and merge such lists).
Region random_scanlist(const mvimage* im, uint32_t seed, bool shuffled) {
    std::mt19937 rng(seed);
    std::vector<mvscanrun> runs;
    for (int32_t y = -1; y <= im->imdim.se.y; y += 1 + int32_t(rng() % 2)) {
        int32_t x = -2 + int32_t(rng() % 5);
        while (x < im->imdim.se.x + 2) {
            const int32_t len = int32_t(rng() % 9);
            runs.push_back({{x, y}, len});
            x += len + int32_t(rng() % 6);
        }
    }
    if (shuffled) {
        for (size_t i = 0; i + 1 < runs.size(); i += 4) runs[i].len += 3;  // overlaps the next
        std::shuffle(runs.begin(), runs.end(), rng);
    }
    Region reg(im, MVIMREGSCANLIST, runs.size());
    reg.r()->region.scanlist.N = int32_t(runs.size());
    std::memcpy(reg.r()->region.scanlist.scanlists, runs.data(), runs.size() * sizeof(mvscanrun));
    return reg;
}

Region ellipse(const mvimage* im, uint32_t flag) {
    Region reg(im, MVIMREGELLIPSE | flag);
    reg.r()->origin = {im->imdim.se.x / 2, im->imdim.se.y / 2};
    reg.r()->region.ellipse = {im->imdim.se.x - 9, im->imdim.se.y / 2, 0.4f};
    return reg;
}

// The model's mask: the runs (clipped to the window) of the region's scan
// list, or of its conversion.
Mask mask_of(mvimregion* r) {
    mvimregion* list = r;
    mvimregion* made = nullptr;
    if (r->regiontype != MVIMREGSCANLIST) {
        EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, r, &made, 0), 0);
        list = made;
    }
    Mask m;
    const mvywindow& w = r->image.wind;
    for (int32_t i = 0; list && i < list->region.scanlist.N; ++i) {
        const mvscanrun& s = list->region.scanlist.scanlists[i];
        for (int32_t x = s.coord.x; x < s.coord.x + s.len; ++x)
            if (x >= w.nw.x && x < w.se.x && s.coord.y >= w.nw.y && s.coord.y < w.se.y) m.insert({s.coord.y, x});
    }
    mvirp_regionfree(&made);
    return m;
}

using WholeOp = std::function<int32_t(mvimage* src, mvimage* dst)>;
using RegionOp = std::function<int32_t(mvimregion* r, mvimage* dst)>;
struct OpCase {
    const char* name;
    bool colour;  // runs on a three-pixie image
    WholeOp whole;
    RegionOp region;
};

const uint8_t* identity_u8() {
    static uint8_t t[256];
    for (int i = 0; i < 256; ++i) t[i] = uint8_t(255 - i / 2);
    return t;
}
const uint16_t* table_u16() {
    static std::vector<uint16_t> t(4096);
    for (size_t i = 0; i < t.size(); ++i) t[i] = uint16_t((i * 7) & 4095);
    return t.data();
}

const std::vector<OpCase>& op_cases() {
    static const uint32_t lo3[3] = {0, 20, 0}, hi3[3] = {200, 255, 3000}, v3[3] = {1, 2, 3};
    static const std::vector<OpCase> cases = {
        {"pixneg", false, [](auto s, auto d) { return mvip8_pixneg(nullptr, s, d); },
         [](auto r, auto d) { return mvirp8_pixneg(nullptr, r, d); }},
        {"pixshr", false, [](auto s, auto d) { return mvip8_pixshr(nullptr, s, d, 3); },
         [](auto r, auto d) { return mvirp8_pixshr(nullptr, r, d, 3); }},
        {"pixshl", false, [](auto s, auto d) { return mvip8_pixshl(nullptr, s, d, 1); },
         [](auto r, auto d) { return mvirp8_pixshl(nullptr, r, d, 1); }},
        {"pixxor", false, [](auto s, auto d) { return mvip8_pixxor(nullptr, s, d, 0x5A); },
         [](auto r, auto d) { return mvirp8_pixxor(nullptr, r, d, 0x5A); }},
        {"pixmsb", false, [](auto s, auto d) { return mvip8_pixmsb(nullptr, s, d); },
         [](auto r, auto d) { return mvirp8_pixmsb(nullptr, r, d); }},
        {"pixthreshold2", false, [](auto s, auto d) { return mvip8_pixthreshold2(nullptr, s, d, 30, 150, 7, 9); },
         [](auto r, auto d) { return mvirp8_pixthreshold2(nullptr, r, d, 30, 150, 7, 9); }},
        {"pixthresholdcnt", false, [](auto s, auto d) { return mvip8_pixthresholdcnt(nullptr, s, d, 30, 150, 7); },
         [](auto r, auto d) { return mvirp8_pixthresholdcnt(nullptr, r, d, 30, 150, 7); }},
        {"pixthresholdcntf", false,
         [](auto s, auto d) { return mvipf_pixthresholdcnt(nullptr, s, d, 30.5, 150, 7); },
         [](auto r, auto d) { return mvirpf_pixthresholdcnt(nullptr, r, d, 30.5, 150, 7); }},
        {"pixcontrast (table)", false, [](auto s, auto d) { return mvip8_pixcontrast(nullptr, s, d, 20, 90); },
         [](auto r, auto d) { return mvirp8_pixcontrast(nullptr, r, d, 20, 90); }},
        {"pixgamma", false, [](auto s, auto d) { return mvip8_pixgamma(nullptr, s, d, 0.7); },
         [](auto r, auto d) { return mvirp8_pixgamma(nullptr, r, d, 0.7); }},
        {"pixscale", false, [](auto s, auto d) { return mvip8_pixscale(nullptr, s, d, 3, 2); },
         [](auto r, auto d) { return mvirp8_pixscale(nullptr, r, d, 3, 2); }},
        {"pixadd", false, [](auto s, auto d) { return mvip8_pixadd(nullptr, s, d, -40, 2); },
         [](auto r, auto d) { return mvirp8_pixadd(nullptr, r, d, -40, 2); }},
        {"pixaddf", false, [](auto s, auto d) { return mvipf_pixadd(nullptr, s, d, 12.4); },
         [](auto r, auto d) { return mvirpf_pixadd(nullptr, r, d, 12.4); }},
        {"pixmap", false,
         [](auto s, auto d) {
             return s->pixfmt.datatype == MVTYPE_U8 ? mvip8_pixmap(nullptr, s, d, identity_u8(), 256)
                                                    : mvip8_pixmaps(nullptr, s, d, table_u16(), 4096);
         },
         [](auto r, auto d) {
             return r->image.pixfmt.datatype == MVTYPE_U8 ? mvirp8_pixmap(nullptr, r, d, identity_u8(), 256)
                                                          : mvirp8_pixmaps(nullptr, r, d, table_u16(), 4096);
         }},
        {"pixset", false,
         [](auto s, auto d) { return mvip8_copy(nullptr, s, d) ? -99 : mvip8_pixset(nullptr, d, 77); },
         [](auto r, auto d) {
             r->image = *d;  // fills work on the region's own image
             return mvirp8_pixset(nullptr, r, 77);
         }},
        {"pixieave", true, [](auto s, auto d) { return mvip8_pixieave(nullptr, s, d); },
         [](auto r, auto d) { return mvirp8_pixieave(nullptr, r, d); }},
        {"pixthreshold3", true, [](auto s, auto d) { return mvip8_pixthreshold3(nullptr, s, d, lo3, hi3, v3); },
         [](auto r, auto d) { return mvirp8_pixthreshold3(nullptr, r, d, lo3, hi3, v3); }},
        {"pixset3f", true,
         [](auto s, auto d) { return mvip8_copy(nullptr, s, d) ? -99 : mvipf_pixset3(nullptr, d, 1.6, 2, 300); },
         [](auto r, auto d) {
             r->image = *d;
             return mvirpf_pixset3(nullptr, r, 1.6, 2, 300);
         }},
        {"copy", false, [](auto s, auto d) { return mvip8_copy(nullptr, s, d); },
         [](auto r, auto d) {
             Region to(d, MVIMREGWIND);
             return mvirp8_copy(nullptr, r, to.r());
         }},
    };
    return cases;
}

TEST(RegionOps, KeepTheWholeImageResultInsideTheRegionOnly) {
    // The swapped u16 image refuses direct mapping: runs go through buffers.
    const std::pair<Format, mvtest::Layout> formats[] = {{{MVTYPE_U8, 8, 1}, {}},
                                                         {{MVTYPE_U16, 12, 1}, {}},
                                                         {{MVTYPE_U16, 16, 1}, {.pad = 1, .swapped = true}},
                                                         {{MVTYPE_U8, 8, 3}, {}}};
    for (const auto& [f, layout] : formats)
        for (int shape = 0; shape < 4; ++shape)
            for (bool in_place : {false, true})
                for (const OpCase& op : op_cases()) {
                    if (op.colour != (f.pixies == 3)) continue;
                    SCOPED_TRACE(std::string(op.name) + " " + mvtest::name_of(f) + " shape " +
                                 std::to_string(shape) + (in_place ? " in place" : ""));
                    Image src(f, 61, 37, layout), dst(f, 61, 37, layout), full(f, 61, 37, layout);
                    src.randomize(11 + shape);
                    dst.randomize(5);
                    src.window(3, 2, 58, 35);
                    dst.window(3, 2, 58, 35);
                    full.window(3, 2, 58, 35);
                    Region reg = shape < 2   ? random_scanlist(src.rec(), 7 + shape, shape == 1)
                                 : shape == 2 ? ellipse(src.rec(), 0)
                                              : ellipse(src.rec(), MVIMREGNEGATIVE);
                    const Mask mask = mask_of(reg.r());
                    Image& out = in_place ? src : dst;
                    const std::vector<double> before = out.values();
                    const int32_t want = op.whole(src.rec(), full.rec());
                    ASSERT_GE(want, 0);
                    const int32_t got = op.region(reg.r(), out.rec());
                    if (std::string(op.name).starts_with("pixthresholdcnt")) {
                        // The count is that of the region's values in the band.
                        int32_t count = 0;
                        for (const auto& [y, x] : mask) {
                            const double v = in_place ? before[src.index(uint32_t(x), uint32_t(y), 0)]
                                                      : src.get(uint32_t(x), uint32_t(y), 0);
                            count += v >= 30.5 - (op.name[15] != 'f') * 0.5 && v <= 150;
                        }
                        EXPECT_EQ(got, count);
                    } else {
                        EXPECT_EQ(got, want);
                    }
                    for (uint32_t y = 0; y < 37; ++y)
                        for (uint32_t x = 0; x < 61; ++x)
                            for (uint32_t k = 0; k < f.pixies; ++k) {
                                const bool inside = mask.count({int32_t(y), int32_t(x)}) != 0;
                                const double expect = inside ? full.get(x, y, k) : before[out.index(x, y, k)];
                                ASSERT_EQ(out.get(x, y, k), expect) << "at " << x << "," << y << "," << k;
                            }
                    EXPECT_TRUE(out.pads_clear());
                }
}

// Histograms and moments of a region: plain loops over the mask.  The
// MVIMREGWIND form equals the whole-image one, result code included.
TEST(RegionOps, HistogramsAndMomentsCountRegionPixelsOnly) {
    for (const Format& f : {Format{MVTYPE_U8, 8, 3}, Format{MVTYPE_U16, 10, 3}}) {
        Image im(f, 50, 40), other(f, 50, 40);
        im.randomize(3);
        other.randomize(4);
        im.window(2, 1, 47, 38);
        other.window(2, 1, 47, 38);
        Image grey(Format{f.type, f.bits, 1}, 50, 40);
        grey.randomize(9);
        grey.window(2, 1, 47, 38);
        for (int shape = 0; shape < 3; ++shape) {
            SCOPED_TRACE(mvtest::name_of(f) + " shape " + std::to_string(shape));
            Region reg = shape == 0 ? random_scanlist(im.rec(), 2, false)
                         : shape == 1 ? ellipse(im.rec(), MVIMREGNEGATIVE)
                                      : Region(im.rec(), MVIMREGWIND);
            Region greg = shape == 0 ? random_scanlist(grey.rec(), 2, false)
                          : shape == 1 ? ellipse(grey.rec(), MVIMREGNEGATIVE)
                                       : Region(grey.rec(), MVIMREGWIND);
            const Mask mask = shape == 2 ? mask_of(ellipse(im.rec(), MVIMREGNEGATIVE).r()) : mask_of(reg.r());
            Mask all;
            for (int32_t y = 1; y < 38; ++y)
                for (int32_t x = 2; x < 47; ++x) all.insert({y, x});
            const Mask& m = shape == 2 ? all : mask;
            const uint32_t bins = 16, shift = f.bits - 4;
            std::vector<uint32_t> h(bins), h3(3 * bins), hp(bins * bins), want(bins), want3(3 * bins),
                wantp(bins * bins);
            long double s[10] = {}, area = 0, bx = 0, by = 0, pw = 0, px = 0, py = 0;
            for (const auto& [y, x] : m) {
                for (uint32_t k = 0; k < 3; ++k) {
                    const auto v = uint32_t(im.get(uint32_t(x), uint32_t(y), k));
                    const auto w = uint32_t(other.get(uint32_t(x), uint32_t(y), k));
                    ++want[v >> shift], ++want3[k * bins + (v >> shift)], ++wantp[(v >> shift) * bins + (w >> shift)];
                }
                const long double g = grey.get(uint32_t(x), uint32_t(y), 0);
                const int pq[10][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1}, {0, 2}, {3, 0}, {2, 1}, {1, 2}, {0, 3}};
                for (int i = 0; i < 10; ++i) s[i] += g * std::pow((long double)x, pq[i][0]) * std::pow((long double)y, pq[i][1]);
                if (g != 0) area += 1, bx += x, by += y;
                pw += std::sqrt(g), px += std::sqrt(g) * x, py += std::sqrt(g) * y;
            }
            EXPECT_EQ(mvirp8_histab(nullptr, reg.r(), h.data(), bins), 0);
            EXPECT_EQ(h, want);
            EXPECT_EQ(mvirp8_histab3(nullptr, reg.r(), h3.data(), bins), 0);
            EXPECT_EQ(h3, want3);
            EXPECT_EQ(mvirp8_histabpair(nullptr, reg.r(), other.rec(), hp.data(), bins), 0);
            EXPECT_EQ(hp, wantp);
            mvmoments mo{};
            ASSERT_EQ(mvirp8_moments(nullptr, greg.r(), &mo), 0);
            const long double xc = s[1] / s[0], yc = s[2] / s[0];
            for (int i = 0; i < 10; ++i) EXPECT_NEAR(mo.m[i], double(s[i]), 1e-12 * double(s[i])) << i;
            EXPECT_NEAR(mo.mu[3], double(s[3] - xc * s[1]), 1e-6 * double(s[3]));
            EXPECT_NEAR(mo.mu[6], double(s[6] - 3 * xc * s[3] + 2 * xc * xc * s[1]), 1e-6 * double(s[6]));
            mvmoments mf{};
            ASSERT_EQ(mvirp8_momentsf(nullptr, greg.r(), &mf), 0);
            EXPECT_NEAR(mf.mu[9], mo.mu[9], 1e-6 * double(s[9]));
            double cx = 0, cy = 0;
            uint64_t n = 0;
            ASSERT_EQ(mvirp8_masscenter(nullptr, greg.r(), &cx, &cy), 0);
            EXPECT_NEAR(cx, double(xc), 1e-9);
            EXPECT_NEAR(cy, double(yc), 1e-9);
            ASSERT_EQ(mvirp8_masscenterbin(nullptr, greg.r(), &cx, &cy, &n), 0);
            EXPECT_EQ(n, uint64_t(area));
            EXPECT_NEAR(cx, double(bx / area), 1e-9);
            ASSERT_EQ(mvirp8_masscenterpow(nullptr, greg.r(), 0.5, &cx, &cy), 0);
            EXPECT_NEAR(cx, double(px / pw), 1e-9);
            EXPECT_NEAR(cy, double(py / pw), 1e-9);
        }
    }
}

TEST(RegionOps, CodesAndTheWholeWindowShortcut) {
    Image f(Format{MVTYPE_FLOAT, 0, 1}, 8, 8), w(Format{MVTYPE_U32, 32, 1}, 8, 8), e(Format{MVTYPE_U8, 8, 1}, 8, 8);
    Region fw(f.rec(), MVIMREGWIND), fe = ellipse(f.rec(), 0), ue = ellipse(w.rec(), 0), empty(e.rec(), MVIMREGSCANLIST);
    const struct { const char* name; int32_t got, want; } cases[] = {
        {"null region", mvirp8_pixneg(nullptr, nullptr, f.rec()), MVERR_USAGE},
        {"float, whole window: the whole-image result", mvirp8_pixneg(nullptr, fw.r(), f.rec()), 0},
        {"float, whole window, no kernel", mvirp8_pixshr(nullptr, fw.r(), f.rec(), 1), MVERR_DATATYPE},
        {"float in an ellipse", mvirp8_pixneg(nullptr, fe.r(), f.rec()), MVERR_DATATYPE},
        {"u32 in an ellipse", mvirp8_pixset(nullptr, ue.r(), 1), MVERR_DATATYPE},
        {"empty scan list: no mass", mvirp8_masscenter(nullptr, empty.r(), nullptr, nullptr), MVERR_AREATOOSMALL},
        {"polyline", [&] { Region p(e.rec(), MVIMREGPOLYLINE); return mvirp8_pixneg(nullptr, p.r(), e.rec()); }(),
         MVERR_USAGE},
        {"histab bins beyond the values", mvip8_histab(nullptr, e.rec(), std::vector<uint32_t>(512).data(), 512),
         MVERR_USAGE},
        {"masscenterpow negative power", mvip8_masscenterpow(nullptr, e.rec(), -1, nullptr, nullptr), MVERR_USAGE},
    };
    for (const auto& c : cases) EXPECT_EQ(c.got, c.want) << c.name;
}

// The hook is asked before the first run of each band of eight lines that
// holds runs; its value stops the walk with the lines before done.
TEST(RegionOps, TheHookStopsTheRunWalk) {
    struct Stopper {
        mvabort hook{[](mvabort* h, int32_t done, int32_t total) {
            auto* self = reinterpret_cast<Stopper*>(h);
            self->calls.push_back({done, total});
            return done >= 16 ? -4 : 0;
        }};
        std::vector<std::pair<int32_t, int32_t>> calls;
    } stop;
    Image im(Format{MVTYPE_U8, 8, 1}, 20, 40);
    const mvscanrun runs[] = {{{1, 3}, 5}, {{2, 5}, 5}, {{0, 17}, 4}, {{0, 30}, 4}};
    Region reg(im.rec(), MVIMREGSCANLIST, 4);
    reg.r()->region.scanlist.N = 4;
    std::memcpy(reg.r()->region.scanlist.scanlists, runs, sizeof runs);
    EXPECT_EQ(mvirp8_pixset(&stop.hook, reg.r(), 9), -4);
    const std::vector<std::pair<int32_t, int32_t>> want = {{0, 0}, {0, 40}, {16, 40}};
    EXPECT_EQ(stop.calls, want);
    EXPECT_EQ(im.get(2, 3, 0), 9);
    EXPECT_EQ(im.get(2, 5, 0), 9);
    EXPECT_EQ(im.get(1, 17, 0), 0);
}

// The views: "MVRPREGD" through a fill value, "MVRPREGE" as a path mask.
TEST(RegionViews, ReadAndWriteOnlyInsideTheRuns) {
    Image im(Format{MVTYPE_U16, 16, 1}, 12, 4);
    im.randomize(1);
    im.window(1, 0, 12, 4);  // the image's window: runs are absolute
    // Line 0: two touching runs and an empty one; line 1 none; line 2 one.
    const mvscanrun runs[] = {{{2, 0}, 3}, {{5, 0}, 2}, {{9, 0}, 0}, {{3, 2}, 4}};
    Region reg(im.rec(), MVIMREGSCANLIST, 4);
    reg.r()->region.scanlist.N = 4;
    std::memcpy(reg.r()->region.scanlist.scanlists, runs, sizeof runs);
    mvimage v;
    ASSERT_EQ(mvimmvirprectacc(&v, reg.r(), 999), 0);
    EXPECT_TRUE(mvtest::kind_is(v.kind, "MVRPREGD"));
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U8, 1), MVERR_DATATYPE);
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U16, 3), MVERR_COLORS);
    EXPECT_EQ(v.ioset(&v, MVMODE_YSCAN, MVTYPE_U16, 1), MVERR_UNSUPPORTED);
    ASSERT_EQ(v.ioset(&v, MVMODE_CONTINUE, MVTYPE_U16 | MVREQ_LOW, 1), 1);
    EXPECT_EQ(v.aeiou(&v, 'b', 0, 0), 0x800001u);
    std::vector<uint16_t> line(48);
    ASSERT_EQ(v.ioread(&v, 0, line.data(), 48, 0, 0), 48u);  // the whole view in one run
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 12; ++x) {
            const bool in = (y == 0 && x >= 2 && x < 7) || (y == 2 && x >= 3 && x < 7);
            EXPECT_EQ(line[y * 12 + x], in ? im.get(x, y, 0) : 999) << x << "," << y;
        }
    const std::vector<double> before = im.values();
    std::vector<uint16_t> ones(12, 1);
    EXPECT_EQ(v.iorite(&v, 0, ones.data(), 12, 0, 2), 12u);
    EXPECT_EQ(v.iorite(&v, 0, ones.data(), 12, 0, 1), 12u);  // no run: nothing written
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 12; ++x)
            EXPECT_EQ(im.get(x, y, 0), y == 2 && x >= 3 && x < 7 ? 1 : before[im.index(x, y, 0)]);
    Region ell = ellipse(im.rec(), 0);
    EXPECT_EQ(mvimmvirprectacc(&v, ell.r(), 0), MVERR_USAGE);
    EXPECT_TRUE(mvtest::kind_is(v.kind, "NULL2"));

    // A path over a square and back along its top: those points twice.
    mvimregion* path = nullptr;
    ASSERT_EQ(mvirp_pathcreate(&path, 1, 1), 0);
    for (const auto& [x, y] : {std::pair{4, 1}, {4, 3}, {1, 3}, {1, 1}, {4, 1}}) ASSERT_EQ(mvirp_pathextend(&path, x, y), 0);
    path->image = *im.rec();
    ASSERT_EQ(mvimmvirprectacc2(&v, path, 0), 0);
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U16, 1), MVERR_DATATYPE);
    EXPECT_EQ(v.ioset(&v, 0, MVTYPE_U8, 2), MVERR_COLORS);
    EXPECT_EQ(v.ioset(&v, MVMODE_YSCAN, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    ASSERT_EQ(v.ioset(&v, 0, MVTYPE_U8, 1), 1);
    uint8_t mask[12];
    ASSERT_EQ(v.ioread(&v, 0, mask, 12, 0, 1), 12u);
    // The path does not end at its origin, so (1, 1) is passed twice too.
    const uint8_t top[12] = {0, 0x82, 0x82, 0x82, 0x82, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::vector<uint8_t>(mask, mask + 12), std::vector<uint8_t>(top, top + 12));
    ASSERT_EQ(v.ioread(&v, 0, mask, 12, 0, 2), 12u);
    EXPECT_EQ(mask[1], 0x81);
    EXPECT_EQ(mask[2], 0);
    EXPECT_EQ(mask[4], 0x81);
    mvirp_regionfree(&path);
}

}  // namespace
