// Lookup-table views against the tables applied directly: every integer
// type and several bit depths, one pixie and all pixies, pseudo-colour and
// writes through the incoming tables; the table-resizing view's entry
// mapping both ways and in both shrink modes; the bad-input list.
#include "mvip.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

struct Image {
    std::vector<uint8_t> bytes;
    mvimage im{};
    Image(uint32_t w, uint32_t h, uint32_t type, uint32_t bits, uint32_t pixies) {
        mvpixfmt f{};
        EXPECT_EQ(0, mvpixfmt_set(&f, type, bits, pixies, pixies == 3 ? MVCS_RGB : MVCS_GREY));
        const uint32_t size = (type == MVTYPE_U8 ? 1 : type == MVTYPE_U16 ? 2 : 4) * pixies;
        bytes.assign(size_t{w} * h * size, 0);
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memdata(&im, bytes.data(), 0, dims, 0, &f, nullptr, 0));
    }
    uint32_t value(size_t i) const {
        uint32_t v = 0;
        std::memcpy(&v, &bytes[i * im.pixiesize], im.pixiesize);  // little-endian host
        return v;
    }
    void set(size_t i, uint32_t v) { std::memcpy(&bytes[i * im.pixiesize], &v, im.pixiesize); }
};

// `n` random values within `bits` (at most 16) in the pixie type.
std::vector<uint8_t> random_values(std::mt19937& rng, uint32_t bytes, uint32_t bits, size_t n) {
    std::vector<uint8_t> t(n * bytes);
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = rng() & ((1u << bits) - 1u);
        std::memcpy(&t[i * bytes], &v, bytes);
    }
    return t;
}
uint32_t entry(const std::vector<uint8_t>& t, uint32_t bytes, uint32_t i) {
    uint32_t v = 0;
    std::memcpy(&v, &t[size_t{i} * bytes], bytes);
    return v;
}

// Reads (or writes) the whole window, line by line, through ioset/ioread.
std::vector<uint8_t> read_all(mvimage& v, uint32_t type, uint32_t mask, uint32_t pixel_bytes,
                              uint32_t mode = 0) {
    EXPECT_GE(v.ioset(&v, mode, type | MVREQ_LOW, mask), 0);
    const uint32_t w = uint32_t(v.wind.se.x - v.wind.nw.x), h = uint32_t(v.wind.se.y - v.wind.nw.y);
    std::vector<uint8_t> out(size_t{w} * h * pixel_bytes, 0xEE);
    const bool ys = mode & MVMODE_YSCAN;
    for (uint32_t l = 0; l < (ys ? w : h); ++l)
        EXPECT_EQ(ys ? h : w, v.ioread(&v, 0, &out[size_t{l} * (ys ? h : w) * pixel_bytes], ys ? h : w,
                                       ys ? int32_t(l) : 0, ys ? 0 : int32_t(l)));
    return out;
}

TEST(LutViews, TablesMatchDirectApplication) {
    struct Case { uint32_t type, bytes, bits; };
    const Case cases[] = {{MVTYPE_U8, 1, 8}, {MVTYPE_U8, 1, 5}, {MVTYPE_U16, 2, 16},
                          {MVTYPE_U16, 2, 12}, {MVTYPE_U32, 4, 16}, {MVTYPE_I32, 4, 9}};
    std::mt19937 rng(14);
    for (const Case& c : cases)
        for (uint32_t pp : {1u, 3u}) {
            SCOPED_TRACE("type " + std::to_string(c.type) + " bits " + std::to_string(c.bits) +
                         " pixies " + std::to_string(pp));
            const uint32_t W = 37, H = 5;
            Image parent(W, H, c.type, c.bits, pp);
            for (size_t i = 0; i < size_t{W} * H * pp; ++i) parent.set(i, rng() & ((1u << c.bits) - 1u));
            std::vector<std::vector<uint8_t>> out, in;
            const void *outp[4], *inp[4];
            for (uint32_t i = 0; i < 4; ++i) {
                out.push_back(random_values(rng, c.bytes, c.bits, size_t{1} << c.bits));
                in.push_back(random_values(rng, c.bytes, c.bits, size_t{1} << c.bits));
            }
            for (uint32_t i = 0; i < 4; ++i) outp[i] = out[i].data(), inp[i] = in[i].data();
            // Same pixie count and, over one pixie, pseudo-colour to 3 and 4.
            for (uint32_t vp : pp == 1 ? std::vector<uint32_t>{0, 3, 4} : std::vector<uint32_t>{0}) {
                mvimage view{};
                ASSERT_EQ(0, mvimage_lut2(&view, &parent.im, 0, outp, inp, vp, vp));
                const uint32_t np = vp ? vp : pp;
                EXPECT_EQ(np, view.pixfmt.pixies);
                // All pixies in x-scans, then each pixie alone in y-scans.
                std::vector<std::pair<uint32_t, uint32_t>> reads{{0, np}};  // first pixie, count
                for (uint32_t i = 0; i < np; ++i) reads.push_back({i, 1});
                for (auto [first, count] : reads) {
                    const uint32_t mode = count == 1 ? MVMODE_YSCAN : 0;
                    const auto got = read_all(view, c.type, ((1u << count) - 1) << first, count * c.bytes, mode);
                    for (uint32_t y = 0; y < H; ++y)
                        for (uint32_t x = 0; x < W; ++x)
                            for (uint32_t i = 0; i < count; ++i) {
                                const size_t at = (mode ? size_t{x} * H + y : size_t{y} * W + x) * count + i;
                                const uint32_t pv = parent.value((size_t{y} * W + x) * pp + (vp ? 0 : first + i));
                                ASSERT_EQ(entry(out[first + i], c.bytes, pv), entry(got, c.bytes, uint32_t(at)))
                                    << x << "," << y << " pixie " << first + i;
                            }
                }
                // Writes go through the incoming tables (a line of all
                // pixies, a column of the third: the others stay);
                // pseudo-colour is read-only.
                struct Write { uint32_t first, count, mode, x, y, n; };
                std::vector<Write> writes{{0, np, 0, 0, 2, W}};
                if (pp == 3 && !vp) writes.push_back({2, 1, MVMODE_YSCAN, 3, 0, H});
                for (const Write& wr : writes) {
                    const auto src = random_values(rng, c.bytes, c.bits, size_t{wr.n} * wr.count);
                    auto buf = src;
                    std::vector<uint32_t> want(size_t{W} * H * pp);
                    for (size_t i = 0; i < want.size(); ++i) want[i] = parent.value(i);
                    for (uint32_t j = 0; !vp && j < wr.n; ++j)
                        for (uint32_t i = 0; i < wr.count; ++i) {
                            const size_t px = wr.mode ? size_t{j} * W + wr.x : size_t{wr.y} * W + j;
                            want[px * pp + wr.first + i] = entry(in[wr.first + i], c.bytes, entry(src, c.bytes, j * wr.count + i));
                        }
                    ASSERT_GE(view.ioset(&view, wr.mode, c.type | MVREQ_LOW, ((1u << wr.count) - 1) << wr.first), 0);
                    EXPECT_EQ(vp ? 0u : wr.n, view.iorite(&view, 0, buf.data(), wr.n, int32_t(wr.x), int32_t(wr.y)));
                    EXPECT_EQ(src, buf) << "the caller's buffer is left as it was";
                    for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(want[i], parent.value(i)) << "value " << i;
                }
            }
        }
}

TEST(LutViews, BitsOutsideTheSignificantOnesAreMasked) {
    // A 5-bit parent whose stored values carry stray high bits (tolerated
    // on read): indexes and results stay within 5 bits.
    Image parent(8, 1, MVTYPE_U8, 5, 1);
    parent.im.pixfmt.valflags = MVVALFLAG_DIRTY;
    for (uint32_t i = 0; i < 8; ++i) parent.bytes[i] = uint8_t(0xE0 | i);
    std::vector<uint8_t> table(32);
    for (uint32_t i = 0; i < 32; ++i) table[i] = uint8_t(0xC0 | (31 - i));
    const void* t[1] = {table.data()};
    mvimage view{};
    ASSERT_EQ(0, mvimage_lut2(&view, &parent.im, 1, t, t, 0, 0));
    EXPECT_EQ(0u, view.pixfmt.valflags & 0xFFFFu);
    const auto got = read_all(view, MVTYPE_U8, 1, 1);
    for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(31 - i, got[i]);
}

TEST(LutViews, ResizingMapsEntriesBothWays) {
    struct Case { uint32_t from, to, mode; uint32_t (*entry)(uint32_t x); };
    const Case cases[] = {
        {256, 1024, 0, [](uint32_t x) { return x >> 2; }},
        {256, 1024, 1, [](uint32_t x) { return x >> 2; }},
        {1024, 256, 1, [](uint32_t x) { return x << 2; }},
        {1024, 256, 0, [](uint32_t x) { return x; }},
        {16, 16, 0, [](uint32_t x) { return x; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.from) + " to " + std::to_string(c.to) + " mode " + std::to_string(c.mode));
        Image table(c.from, 1, MVTYPE_U16, 16, 2);
        for (uint32_t i = 0; i < 2 * c.from; ++i) {
            const uint16_t v = uint16_t(i * 7 + 1);
            std::memcpy(&table.bytes[i * 2], &v, 2);
        }
        mvimage view{};
        ASSERT_EQ(0, mvimage_lutconvert(&view, &table.im, c.to, c.mode));
        EXPECT_EQ(int32_t(c.to), view.imdim.se.x);
        const auto got = read_all(view, MVTYPE_U16, 2, 2);  // the second pixie
        for (uint32_t x = 0; x < c.to; ++x) {
            uint16_t v;
            std::memcpy(&v, &got[x * 2], 2);
            ASSERT_EQ(table.value(c.entry(x) * 2 + 1), v) << "entry " << x;
        }
        // A write through the view lands on the mapped parent entry.
        ASSERT_GE(view.ioset(&view, 0, MVTYPE_U16, 3), 0);
        const uint16_t pixel[2] = {0xABCD, 0x1234};
        EXPECT_EQ(1u, view.iorite(&view, 0, const_cast<uint16_t*>(pixel), 1, 5, 0));
        EXPECT_EQ(0xABCDu, table.value(c.entry(5) * 2));
        EXPECT_EQ(0x1234u, table.value(c.entry(5) * 2 + 1));
    }
}

TEST(LutViews, BadInputGetsItsResultCodes) {
    Image mono(16, 1, MVTYPE_U8, 8, 1), rgb(16, 4, MVTYPE_U8, 8, 3), twoline(16, 2, MVTYPE_U8, 8, 1);
    Image flt(4, 4, MVTYPE_FLOAT, 0, 1), five(4, 4, MVTYPE_U8, 8, 5);
    std::vector<uint8_t> table(256);
    const void* t[4] = {table.data(), table.data(), table.data(), table.data()};
    const void* short_list[4] = {table.data(), nullptr, table.data(), table.data()};
    mvimage v{};
    auto is_null = [&] { return std::memcmp(v.kind, "NULL2\0\0", 8) == 0; };
    EXPECT_EQ(MVERR_USAGE, mvimage_lutconvert(nullptr, &mono.im, 16, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lutconvert(&v, nullptr, 16, 0));
    EXPECT_TRUE(is_null());
    EXPECT_EQ(MVERR_USAGE, mvimage_lutconvert(&v, &twoline.im, 16, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lutconvert(&v, &mono.im, 1000, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(nullptr, &mono.im, 0, t, t, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, nullptr, 0, t, t, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &mono.im, 0, nullptr, t, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &mono.im, 0, t, nullptr, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &rgb.im, 0, t, t, 3, MVCS_RGB));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &mono.im, 0, t, t, 5, 5));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &mono.im, 0, t, t, 3, MVCS_YIQ + 2));  // 5 pixies
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &five.im, 0, t, t, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2(&v, &rgb.im, 0, short_list, t, 0, 0));
    EXPECT_EQ(MVERR_DATATYPE, mvimage_lut2(&v, &flt.im, 0, t, t, 0, 0));
    EXPECT_TRUE(is_null());
    EXPECT_EQ(MVERR_USAGE, mvimage_lut2a(&v, &mono.im, 0, t[0], t[0], nullptr, t[0], t[0], t[0], t[0],
                                         t[0], 3, MVCS_RGB));
    ASSERT_EQ(0, mvimage_lut2a(&v, &mono.im, 0, t[0], t[0], t[0], nullptr, t[0], t[0], t[0], nullptr,
                               3, MVCS_RGB));
    ASSERT_EQ(0, mvimage_lut2(&v, &rgb.im, 0, t, t, 0, 0));
    EXPECT_EQ(MVERR_COLORS, v.ioset(&v, 0, MVTYPE_U8, 3));
    EXPECT_EQ(MVERR_COLORS, v.ioset(&v, 0, MVTYPE_U8, 0));
    EXPECT_GE(v.ioset(&v, 0, MVTYPE_U8, 2), 0);
    EXPECT_EQ(MVERR_DATATYPE, v.ioset(&v, 0, MVTYPE_U16, 7));
    EXPECT_EQ(MVERR_DATATYPE, v.ioset(&v, 0, MVTYPE_U8 | MVREQ_SWAPPED, 7));
    EXPECT_EQ(MVERR_UNSUPPORTED, v.ioset(&v, MVMODE_ZSCAN, MVTYPE_U8, 7));
    EXPECT_EQ(2u, v.aeiou(&v, 'b', 0, 0) & 0xFFu);
    EXPECT_EQ(0xFFFFFFFFu / 3, v.aeiou(&v, 'I', 0, 0));
}

}  // namespace
