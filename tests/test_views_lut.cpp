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
};

// A table of 2^bits random entries (within the bits) in the pixie type.
std::vector<uint8_t> random_table(std::mt19937& rng, uint32_t bytes, uint32_t bits) {
    const uint32_t entries = 1u << std::min(bits, 16u);  // 32-bit tests use up to 16 bits
    const uint32_t maxval = bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1u;
    std::vector<uint8_t> t(size_t{entries} * bytes);
    for (uint32_t i = 0; i < entries; ++i) {
        const uint32_t v = rng() & maxval;
        std::memcpy(&t[size_t{i} * bytes], &v, bytes);
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
    for (const Case& c : cases) {
        const uint32_t maxval = (1u << c.bits) - 1u;
        for (uint32_t pp : {1u, 3u}) {
            SCOPED_TRACE("type " + std::to_string(c.type) + " bits " + std::to_string(c.bits) +
                         " pixies " + std::to_string(pp));
            const uint32_t W = 37, H = 5;
            Image parent(W, H, c.type, c.bits, pp);
            for (size_t i = 0; i < size_t{W} * H * pp; ++i) {
                const uint32_t v = rng() & maxval;
                std::memcpy(&parent.bytes[i * c.bytes], &v, c.bytes);
            }
            std::vector<std::vector<uint8_t>> out, in;
            const void* outp[4] = {};
            const void* inp[4] = {};
            for (uint32_t i = 0; i < 4; ++i) {
                out.push_back(random_table(rng, c.bytes, c.bits));
                in.push_back(random_table(rng, c.bytes, c.bits));
            }
            for (uint32_t i = 0; i < 4; ++i) outp[i] = out[i].data(), inp[i] = in[i].data();
            // Same pixie count (all, and each single pixie) and, over one
            // pixie, pseudo-colour to 3 and 4.
            for (uint32_t vp : pp == 1 ? std::vector<uint32_t>{0, 3, 4} : std::vector<uint32_t>{0}) {
                mvimage view{};
                ASSERT_EQ(0, mvimage_lut2(&view, &parent.im, 0, outp, inp, vp, vp ? vp : 0));
                const uint32_t np = vp ? vp : pp;
                EXPECT_EQ(np, view.pixfmt.pixies);
                const auto all = read_all(view, c.type, (1u << np) - 1, np * c.bytes);
                for (size_t px = 0; px < size_t{W} * H; ++px)
                    for (uint32_t i = 0; i < np; ++i) {
                        const uint32_t pv = parent.value(px * pp + (vp ? 0 : i));
                        uint32_t got = 0;
                        std::memcpy(&got, &all[(px * np + i) * c.bytes], c.bytes);
                        ASSERT_EQ(entry(out[i], c.bytes, pv), got) << "pixel " << px << " pixie " << i;
                    }
                for (uint32_t i = 0; i < np; ++i) {
                    const auto one = read_all(view, c.type, 1u << i, c.bytes, MVMODE_YSCAN);
                    for (uint32_t x = 0; x < W; ++x)
                        for (uint32_t y = 0; y < H; ++y) {
                            const uint32_t pv = parent.value((size_t{y} * W + x) * pp + (vp ? 0 : i));
                            uint32_t got = 0;
                            std::memcpy(&got, &one[(size_t{x} * H + y) * c.bytes], c.bytes);
                            ASSERT_EQ(entry(out[i], c.bytes, pv), got);
                        }
                }
                // Writes go through the incoming tables; pseudo-colour is read-only.
                std::vector<uint8_t> src(size_t{W} * np * c.bytes);
                for (size_t i = 0; i < size_t{W} * np; ++i) {
                    const uint32_t v = rng() & maxval;
                    std::memcpy(&src[i * c.bytes], &v, c.bytes);
                }
                const auto kept = src;
                const auto before = parent.bytes;
                ASSERT_GE(view.ioset(&view, 0, c.type | MVREQ_LOW, (1u << np) - 1), 0);
                EXPECT_EQ(vp ? 0u : W, view.iorite(&view, 0, src.data(), W, 0, 2));
                EXPECT_EQ(kept, src) << "the caller's buffer is left as it was";
                for (size_t px = 0; px < size_t{W} * H; ++px)
                    for (uint32_t i = 0; i < pp; ++i) {
                        uint32_t want = 0;
                        std::memcpy(&want, &before[(px * pp + i) * c.bytes], c.bytes);
                        if (!vp && px / W == 2) {
                            uint32_t s = 0;
                            std::memcpy(&s, &src[((px % W) * np + i) * c.bytes], c.bytes);
                            want = entry(in[i], c.bytes, s);
                        }
                        ASSERT_EQ(want, parent.value(px * pp + i));
                    }
                if (pp == 3 && !vp) {  // one pixie written: the others stay
                    const auto kept_parent = parent.bytes;
                    ASSERT_GE(view.ioset(&view, MVMODE_YSCAN, c.type | MVREQ_LOW, 4), 0);
                    EXPECT_EQ(H, view.iorite(&view, 0, src.data(), H, 3, 0));
                    for (uint32_t y = 0; y < H; ++y)
                        for (uint32_t i = 0; i < 3; ++i) {
                            const size_t at = (size_t{y} * W + 3) * 3 + i;
                            uint32_t want = 0, s = 0;
                            std::memcpy(&want, &kept_parent[at * c.bytes], c.bytes);
                            std::memcpy(&s, &src[y * c.bytes], c.bytes);
                            if (i == 2) want = entry(in[2], c.bytes, s);
                            ASSERT_EQ(want, parent.value(at));
                        }
                }
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
