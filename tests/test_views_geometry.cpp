// Geometry views (inversion, field, clipping) and colour slices checked
// against a direct computation of which parent pixel each view pixel is.
#include "test_util.hpp"

namespace {

using namespace mvtest;

// A packed image of random values.
struct Mem : Image {
    Mem(uint32_t w, uint32_t h, uint32_t type, uint32_t pixies, std::mt19937& rng)
        : Image({type, is_float(type) ? 0 : container_bits(type), pixies, 0, 1, MVCS_GREY}, w, h, Layout{0}) {
        randomize(rng());
    }
    size_t pixel_bytes() const { return size_t{pixies()} * value_bytes(fmt().type); }
};

mvywindow random_window(std::mt19937& rng, int32_t w, int32_t h) {
    std::uniform_int_distribution<int32_t> dx(0, w - 1), dy(0, h - 1);
    int32_t x0 = dx(rng), x1 = dx(rng), y0 = dy(rng), y1 = dy(rng);
    return {{std::min(x0, x1), std::min(y0, y1)}, {std::max(x0, x1) + 1, std::max(y0, y1) + 1}};
}

// Which parent line a view line shows, in parent window coordinates.
struct LineViewCase {
    const char* name;
    std::function<int64_t(const mvimage& view, int64_t y_with_offset)> line;
    std::function<int32_t(mvimage*, mvimage*, uint8_t)> build;
};

TEST(GeometryViews, ReadsAndWritesMatchTheLineModel) {
    const LineViewCase views[] = {
        {"inversion", [](const mvimage& v, int64_t y) { return int64_t{v.imdim.se.y} - y - 1; },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_yinv(v, p, f); }},
        {"field0", [](const mvimage&, int64_t y) { return y & ~int64_t{1}; },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_yodd(v, p, f, 0); }},
        {"field1", [](const mvimage&, int64_t y) { return y | 1; },
         [](mvimage* v, mvimage* p, uint8_t f) { return mvimage_yodd(v, p, f, 1); }},
    };
    std::mt19937 rng(1234);
    const uint32_t types[] = {MVTYPE_U8, MVTYPE_U16, MVTYPE_U32, MVTYPE_FLOAT, MVTYPE_DOUBLE};
    for (const LineViewCase& vc : views)
        for (int trial = 0; trial < 120; ++trial) {
            SCOPED_TRACE(std::string(vc.name) + " trial " + std::to_string(trial));
            const uint32_t type = types[trial % 5], pixies = 1 + trial % 3, mask = (1u << pixies) - 1;
            Mem parent(3 + rng() % 20, trial % 8 ? 3 + rng() % 20 : 100 + rng() % 400, type, pixies, rng);  // some tall
            const mvywindow pw = random_window(rng, parent.width(), parent.height());
            parent.window(pw.nw.x, pw.nw.y, pw.se.x, pw.se.y);
            const uint8_t follow = trial % 2;
            mvimage view;
            const int32_t built = vc.build(&view, parent.rec(), follow);
            if (std::string(vc.name) == "field1" && (follow ? parent.height() : parent.wh()) == 1) {
                EXPECT_EQ(-1, built);
                continue;
            }
            ASSERT_EQ(0, built);
            const mvywindow vw = follow ? pw : random_window(rng, view.imdim.se.x, view.imdim.se.y);
            ASSERT_EQ(0, mvimage_setwind(&view, vw.nw.x, vw.nw.y, vw.se.x, vw.se.y));
            const bool yscan = rng() % 3 == 0;
            ASSERT_GE(view.ioset(&view, yscan ? MVMODE_YSCAN : 0, type | MVREQ_LOW, mask), 0);
            const mvpoint off = follow ? mvpoint{0, 0} : vw.nw;
            const uint32_t w = uint32_t(vw.se.x - vw.nw.x), h = uint32_t(vw.se.y - vw.nw.y);
            const size_t pixel = parent.pixel_bytes();
            std::vector<uint8_t> buf(std::max(w, h) * pixel);
            // Absolute parent line of view line y, or -1 when the parent's
            // window does not hold it.
            auto parent_row = [&](uint32_t y) -> int64_t {
                const int64_t r = vc.line(view, off.y + int64_t{y});
                return (r < 0 || r >= pw.se.y - pw.nw.y) ? -1 : pw.nw.y + r;
            };
            for (uint32_t line = 0; line < (yscan ? w : h); ++line) {
                const uint32_t x0 = yscan ? line : 0, y0 = yscan ? 0 : line;
                const uint32_t n = view.ioread(&view, 0, buf.data(), yscan ? h : w, x0, y0);
                for (uint32_t i = 0; i < n; ++i) {
                    const uint32_t x = yscan ? x0 : i, y = yscan ? i : y0;
                    ASSERT_GE(parent_row(y), 0) << "moved a pixel the parent's window does not hold";
                    ASSERT_EQ(0, std::memcmp(parent.at(pw.nw.x + off.x + x, uint32_t(parent_row(y)), 0),
                                             buf.data() + i * pixel, pixel))
                        << "x " << x << " y " << y;
                }
                // Everything the parent holds must have moved.
                uint32_t expect = 0;
                while (expect < (yscan ? h : w) && parent_row(yscan ? expect : y0) >= 0) ++expect;
                EXPECT_EQ(expect, n);
            }
            // Write one line through the view and find it in the parent.
            const uint32_t y = rng() % h;
            if (parent_row(y) < 0) continue;
            ASSERT_GE(view.ioset(&view, 0, type | MVREQ_LOW, mask), 0);
            std::vector<uint8_t> line(w * pixel);
            for (auto& b : line) b = static_cast<uint8_t>(rng());
            ASSERT_EQ(w, view.iorite(&view, 0, line.data(), w, 0, y));
            EXPECT_EQ(0, std::memcmp(parent.at(pw.nw.x + off.x, uint32_t(parent_row(y)), 0), line.data(), line.size()));
        }
}

TEST(GeometryViews, InquiriesAndRefusals) {
    std::mt19937 rng(7);
    Mem frame(64, 48, MVTYPE_U8, 1, rng), one(8, 1, MVTYPE_U8, 1, rng);
    mvimage field, inv;
    ASSERT_EQ(0, mvimage_yodd(&field, frame.rec(), 0, 1));
    EXPECT_EQ(0x10000u, field.aeiou(&field, 'i', 0, 0) & 0x10000u);
    ASSERT_EQ(0, mvimage_yinv(&inv, frame.rec(), 1));
    EXPECT_EQ(2u, inv.aeiou(&inv, 'b', 0, 0) & 0xFF);
    // Field 1 of a one-line image does not exist; there is no field 2.
    EXPECT_EQ(-1, mvimage_yodd(&field, one.rec(), 0, 1));
    EXPECT_TRUE(kind_is(field.kind, "NULL2"));
    EXPECT_EQ(0, mvimage_yodd(&field, one.rec(), 0, 0));
    EXPECT_EQ(-1, mvimage_yodd(&field, one.rec(), 0, 2));
}

TEST(GeometryViews, MappingAndScatteredPixelsTranslateLikeRuns) {
    std::mt19937 rng(99);
    Mem parent(12, 9, MVTYPE_U16, 2, rng);
    mvimage inv;
    ASSERT_EQ(0, mvimage_yinv(&inv, parent.rec(), 0));
    ASSERT_EQ(0, mvimage_setwind(&inv, 2, 1, 10, 8));
    ASSERT_EQ(MVMAP_GRANT, inv.imapset(&inv, 0, MVTYPE_U16 | MVREQ_LOW, 3));
    mvmapdesc d{};
    ASSERT_EQ(1, inv.imap(&inv, &d, 1, 2));
    // Packed members are copied out before gtest binds references to them.
    const void* address = d.address;
    const uint64_t stride = d.stride, count = d.count;
    EXPECT_EQ(address, parent.at(3, 9 - (1 + 2) - 1, 0));
    EXPECT_TRUE(stride == 4 && count == 7);
    EXPECT_EQ(MVERR_UNSUPPORTED, inv.imapset(&inv, MVMODE_YSCAN | 0x400, MVTYPE_U16, 3));
    ASSERT_EQ(1, inv.bxts(&inv, 0, MVTYPE_U16 | MVREQ_LOW, 3));
    mvbxtentry list[2] = {{0, 0, 0}, {7, 6, 0}};
    uint16_t values[4] = {}, want[4];
    ASSERT_EQ(2u, inv.bxta(&inv, -1, values, list, 2, 2));
    std::memcpy(want, parent.at(2, 9 - 1 - 1, 0), 4);
    std::memcpy(want + 2, parent.at(9, 9 - 7 - 1, 0), 4);
    EXPECT_EQ(0, std::memcmp(values, want, sizeof want));
}

TEST(ClippingView, WritesOnlyInsideTheRectangles) {
    std::mt19937 rng(42);
    for (int trial = 0; trial < 200; ++trial) {
        SCOPED_TRACE(trial);
        Mem parent(4 + rng() % 30, 2 + rng() % 10, MVTYPE_U8, 1 + trial % 2, rng);
        const uint32_t W = parent.width(), H = parent.height(), P = parent.pixies();
        std::vector<mvywindow> clips(rng() % 4);
        for (auto& c : clips) c = random_window(rng, W, H);
        clips.reserve(4);
        mvimage clip;
        ASSERT_EQ(0, mvimage_clipper(&clip, parent.rec(), clips.data(), clips.size(), 0));
        const bool continuing = trial % 3 == 0;
        ASSERT_EQ(1, clip.ioset(&clip, continuing ? MVMODE_CONTINUE : 0, MVTYPE_U8 | MVREQ_LOW, (1u << P) - 1));
        const uint32_t x = rng() % W, y = rng() % H, count = 1 + rng() % (2 * W);
        std::vector<uint8_t> src(size_t{count} * P);
        for (auto& b : src) b = static_cast<uint8_t>(rng());
        const uint32_t n = std::min(count, continuing ? (H - y - 1) * W + (W - x) : W - x);
        const auto before = parent.values();
        EXPECT_EQ(n, clip.iorite(&clip, 0, src.data(), count, x, y));
        const auto want = with_window(parent, [&](uint32_t px, uint32_t py, uint32_t k) {
            const uint64_t pos = uint64_t{py} * W + px, start = uint64_t{y} * W + x;
            bool inside = false;
            for (const auto& c : clips)
                inside |= int32_t(px) >= c.nw.x && int32_t(px) < c.se.x && int32_t(py) >= c.nw.y && int32_t(py) < c.se.y;
            return inside && pos >= start && pos < start + n ? double(src[(pos - start) * P + k])
                                                             : parent.value_in(before, px, py, k);
        });
        EXPECT_TRUE(holds(parent, want));
        std::vector<uint8_t> sink(W * P);
        EXPECT_EQ(0u, clip.ioread(&clip, 0, sink.data(), W, 0, 0));
    }
}

TEST(ClippingView, DocumentedExamplesAndRefusals) {
    std::mt19937 rng(3);
    Mem parent(640, 480, MVTYPE_U8, 1, rng);
    const mvywindow band{{10, 0}, {20, 480}};
    mvimage clip;
    ASSERT_EQ(0, mvimage_clipper(&clip, parent.rec(), &band, 1, 0));
    ASSERT_EQ(1, clip.ioset(&clip, 0, MVTYPE_U8 | MVREQ_LOW, 1));
    std::vector<uint8_t> ones(640, 0xAB);
    const auto want = with_window(parent, [&](uint32_t x, uint32_t y, uint32_t) {
        return y == 5 && x >= 10 && x < 20 ? 0xAB : parent.get(x, y, 0);
    });
    EXPECT_EQ(640u, clip.iorite(&clip, 0, ones.data(), 640, 0, 5));
    EXPECT_TRUE(holds(parent, want));
    EXPECT_EQ(MVERR_UNSUPPORTED, clip.ioset(&clip, MVMODE_YSCAN, MVTYPE_U8 | MVREQ_LOW, 1));
    EXPECT_EQ(MVERR_DATATYPE, clip.ioset(&clip, 0, MVTYPE_U16, 1));
    EXPECT_EQ(MVERR_COLORS, clip.ioset(&clip, 0, MVTYPE_U8, 2));
    EXPECT_EQ(0x800000u, clip.aeiou(&clip, 'b', 0, 0) & 0x800000u);
    EXPECT_EQ(0u, clip.aeiou(&clip, 'e', 0, 0));
    // No rectangles: every write lands nowhere.
    mvimage empty;
    ASSERT_EQ(0, mvimage_clipper(&empty, parent.rec(), &band, 0, 0));
    ASSERT_EQ(1, empty.ioset(&empty, 0, MVTYPE_U8 | MVREQ_LOW, 1));
    EXPECT_EQ(640u, empty.iorite(&empty, 0, ones.data(), 640, 0, 7));
    EXPECT_TRUE(holds(parent, want));
    EXPECT_EQ(-1, mvimage_clipper(&empty, parent.rec(), nullptr, 0, 0));
    EXPECT_EQ(-1, mvimage_clipper(&empty, nullptr, &band, 1, 0));
    EXPECT_EQ(-1, mvimage_clipper(nullptr, parent.rec(), &band, 1, 0));
}

TEST(ColorSlice, EveryStrategyShowsTheChosenPixie) {
    std::mt19937 rng(5);
    for (int trial = 0; trial < 150; ++trial) {
        SCOPED_TRACE(trial);
        const uint32_t pixies = 2 + trial % 3, index = rng() % pixies;
        Mem parent(3 + rng() % 25, 3 + rng() % 12, trial % 2 ? MVTYPE_U16 : MVTYPE_U8, pixies, rng);
        mvimage slice;
        ASSERT_EQ(0, mvimage_colorslice(&slice, parent.rec(), uint8_t((trial / 2) % 2), 1u << index));
        EXPECT_EQ(1u, slice.pixfmt.pixies);
        const mvywindow vw = random_window(rng, parent.width(), parent.height());
        ASSERT_EQ(0, mvimage_setwind(&slice, vw.nw.x, vw.nw.y, vw.se.x, vw.se.y));
        // (A memory image never refuses a pixie mask, so the staged
        // whole-pixel path is reached through a picky parent below.)
        const uint32_t mode = trial % 4 == 0 ? MVMODE_CONTINUE : trial % 4 == 1 ? MVMODE_YSCAN : 0;
        ASSERT_EQ(1, slice.ioset(&slice, mode, parent.fmt().type | MVREQ_LOW, 1));
        const uint32_t w = uint32_t(vw.se.x - vw.nw.x), h = uint32_t(vw.se.y - vw.nw.y), b = value_bytes(parent.fmt().type);
        std::vector<uint8_t> buf(size_t{w} * h * b);
        const uint32_t n = slice.ioread(&slice, 0, buf.data(), w * h, 0, 0);
        ASSERT_EQ(n, mode == MVMODE_CONTINUE ? w * h : mode == MVMODE_YSCAN ? h : w);
        for (uint32_t i = 0; i < n; ++i) {
            const uint32_t x = mode == MVMODE_YSCAN ? 0 : i % w, y = mode == MVMODE_YSCAN ? i : i / w;
            ASSERT_EQ(0, std::memcmp(buf.data() + i * b, parent.at(vw.nw.x + x, vw.nw.y + y, index), b));
        }
    }
}

// A parent that serves whole pixels only: a memory image whose ioset
// refuses every mask but the one for all pixies.  The slice must then
// stage whole pixels and pick its pixie out (and put it back on writes).
mvslot_set g_memory_ioset = nullptr;
mvslot_xwind g_memory_xwind = nullptr;
int32_t whole_pixels_only(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return mask != (1u << im->pixfmt.pixies) - 1 ? MVERR_COLORS : g_memory_ioset(im, mode, type, mask);
}
mvywindow* keep_whole_pixel_ioset(mvimage* im, mvywindow* w, int32_t code) {
    mvywindow* r = g_memory_xwind(im, w, code);
    if (code == 's' && r) g_memory_ioset = im->ioset, im->ioset = whole_pixels_only;
    return r;
}

TEST(ColorSlice, StagedWholePixelPathAndRelativeParents) {
    std::mt19937 rng(11);
    for (uint32_t type : {MVTYPE_U8, MVTYPE_U16, MVTYPE_FLOAT, MVTYPE_DOUBLE}) {
        SCOPED_TRACE(type);
        Mem parent(1100, 9, type, 3, rng);  // lines longer than one staging area
        // records[0] is the picky parent, records[1] an inversion view of it
        // addressed relatively (-66: the record before).
        mvimage records[2];
        records[0] = *parent.rec();
        g_memory_xwind = records[0].xwind;
        records[0].xwind = keep_whole_pixel_ioset;
        records[0].xwind(&records[0], nullptr, 's');
        ASSERT_EQ(0, mvimage_yinv(&records[1], MVPARENT_REL(-66), 1));
        mvimage slice;
        ASSERT_EQ(0, mvimage_colorslice(&slice, &records[1], 0, 4));
        ASSERT_EQ(1, slice.ioset(&slice, MVMODE_CONTINUE, type | MVREQ_LOW, 1));
        const size_t b = value_bytes(type);
        std::vector<uint8_t> run(2 * 1100 * b);
        ASSERT_EQ(2200u, slice.ioread(&slice, 0, run.data(), 2200, 0, 2));
        for (uint32_t i = 0; i < 2200; ++i)
            ASSERT_EQ(0, std::memcmp(run.data() + i * b, parent.at(i % 1100, 9 - 2 - i / 1100 - 1, 2), b)) << i;
        for (uint32_t x = 0; x < 1100; ++x) store_value(run.data() + x * b, type, double(rng() & 0x3F));
        const auto want = with_window(parent, [&](uint32_t x, uint32_t y, uint32_t k) {
            return y == 4 && k == 2 ? load_value(run.data() + x * b, type) : parent.get(x, y, k);
        });
        ASSERT_EQ(1100u, slice.iorite(&slice, 0, run.data(), 1100, 0, 4));
        EXPECT_TRUE(holds(parent, want));
        // The array moved as a whole keeps working.
        mvimage moved[2];
        std::memcpy(static_cast<void*>(moved), records, sizeof records);
        ASSERT_EQ(1, moved[1].ioset(&moved[1], 0, type | MVREQ_LOW, 7));
        std::vector<uint8_t> px(3 * 1100 * b);
        ASSERT_EQ(1100u, moved[1].ioread(&moved[1], 0, px.data(), 1100, 0, 0));
        EXPECT_EQ(0, std::memcmp(px.data(), parent.at(0, 8, 0), px.size()));
    }
}

TEST(Views, BadInputGetsItsCode) {
    std::mt19937 rng(8);
    Mem parent(8, 8, MVTYPE_U8, 3, rng);
    mvimage v;
    EXPECT_EQ(-1, mvimage_yinv(nullptr, parent.rec(), 0));
    EXPECT_EQ(-1, mvimage_yinv(&v, nullptr, 0));
    EXPECT_TRUE(kind_is(v.kind, "NULL2"));
    EXPECT_EQ(-1, mvimage_colorslice(&v, parent.rec(), 0, 3));
    EXPECT_EQ(-1, mvimage_colorslice(&v, parent.rec(), 0, 8));
    EXPECT_EQ(-1, mvimage_colorslice(&v, nullptr, 0, 1));
    ASSERT_EQ(0, mvimage_colorslice(&v, parent.rec(), 0, 2));
    EXPECT_EQ(MVERR_COLORS, v.ioset(&v, 0, MVTYPE_U8, 2));
    EXPECT_EQ(MVERR_USAGE, v.ioset(&v, MVMODE_ZSCAN, MVTYPE_U8, 1));
    EXPECT_EQ(MVERR_DATATYPE, v.ioset(&v, 0, MVTYPE_U16, 1));
    ASSERT_EQ(0, mvimage_yinv(&v, parent.rec(), 0));
    EXPECT_EQ(MVERR_UNSUPPORTED, v.ioset(&v, MVMODE_ZSCAN, MVTYPE_U8, 7));
    uint8_t b[4];
    // Two views that are each other's parent: an error, not a crash.
    mvimage pair[2];
    mvimage_defnull(&pair[0]);
    mvimage_defnull(&pair[1]);
    ASSERT_EQ(0, mvimage_yinv(&pair[0], MVPARENT_REL(-64), 0));
    ASSERT_EQ(0, mvimage_yinv(&pair[1], MVPARENT_REL(-66), 0));
    EXPECT_LT(pair[0].ioset(&pair[0], 0, MVTYPE_U8, 1), 0);
    EXPECT_EQ(0u, pair[0].ioread(&pair[0], 0, b, 1, 0, 0));
    // A view over a null image moves nothing.
    mvimage null_parent;
    mvimage_defnull(&null_parent);
    ASSERT_EQ(0, mvimage_yinv(&v, &null_parent, 0));
    EXPECT_EQ(0, v.ioset(&v, 0, MVTYPE_U8, 1));
    EXPECT_EQ(0u, v.ioread(&v, 0, b, 1, 0, 0));
}

}  // namespace
