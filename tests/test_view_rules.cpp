// Rules of records, views and a few operations that outside checks found
// broken: self-parent views, byte swapping by pixie size, the type
// converter's presented format, short mapping tables, negative lowpass
// weights and one-line pair operations.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

// A packed memory image over its own bytes.
struct Mem {
    std::vector<uint8_t> bytes;
    mvimage im{};
    Mem(uint32_t w, uint32_t h, const mvpixfmt& fmt) {
        mvimage probe{};
        mvimage_defnop(&probe, nullptr, &fmt, nullptr);
        bytes.assign(size_t{w} * h * probe.pixelsize, 0);
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memdata(&im, bytes.data(), 0, dims, 0, &fmt, nullptr, 0));
    }
    Mem(uint32_t w, uint32_t h, uint32_t type, uint32_t bits, uint32_t pixies = 1)
        : Mem(w, h, format(type, bits, pixies)) {}
    static mvpixfmt format(uint32_t type, uint32_t bits, uint32_t pixies) {
        mvpixfmt f{};
        EXPECT_EQ(0, mvpixfmt_set(&f, type, bits, pixies, pixies == 3 ? MVCS_RGB : MVCS_GREY));
        return f;
    }
    template <class T>
    T* values() { return reinterpret_cast<T*>(bytes.data()); }
    void randomize(std::mt19937& rng, uint32_t maxval) {
        const size_t n = bytes.size() / im.pixiesize;
        for (size_t i = 0; i < n; ++i) {
            const uint32_t v = rng() & maxval;
            std::memcpy(&bytes[i * im.pixiesize], &v, im.pixiesize);  // little-endian host
        }
    }
};

// ---- views whose parent reference designates themselves --------------------

TEST(ViewRules, SelfParentViewsAnswerFiveWhateverTheRecordHeld) {
    using Build = std::function<int32_t(mvimage* view, mvimage* parent)>;
    const mvywindow clips[1] = {{{0, 0}, {4, 4}}};
    mvpixfmt u16{};
    ASSERT_EQ(0, mvpixfmt_set(&u16, MVTYPE_U16, 12, 1, MVCS_GREY));
    const std::pair<const char*, Build> kinds[] = {
        {"inversion", [](mvimage* v, mvimage* p) { return mvimage_yinv(v, p, 0); }},
        {"inversion following", [](mvimage* v, mvimage* p) { return mvimage_yinv(v, p, 1); }},
        {"even field", [](mvimage* v, mvimage* p) { return mvimage_yodd(v, p, 0, 0); }},
        {"odd field", [](mvimage* v, mvimage* p) { return mvimage_yodd(v, p, 1, 1); }},
        {"clipper", [&](mvimage* v, mvimage* p) { return mvimage_clipper(v, p, clips, 1, 0); }},
        {"converter", [](mvimage* v, mvimage* p) { return mvimage_converter(v, p, nullptr, 0, 0, 0, 0); }},
        {"converter to u16", [&](mvimage* v, mvimage* p) { return mvimage_converter(v, p, &u16, 1, 1, 0, 0); }},
        {"colour converter", [](mvimage* v, mvimage* p) { return mvimage_colorconverter(v, p, MVCS_GREY, 0); }},
        {"colour slice", [](mvimage* v, mvimage* p) { return mvimage_colorslice(v, p, 0, 1); }},
        {"colour slice, third pixie", [](mvimage* v, mvimage* p) { return mvimage_colorslice(v, p, 1, 4); }},
    };
    std::mt19937 rng(12);
    for (const auto& [name, build] : kinds) {
        for (int trial = 0; trial < 40; ++trial) {
            SCOPED_TRACE(std::string(name) + " #" + std::to_string(trial));
            // Three neighbouring records full of whatever memory held; the
            // view is the middle one, by relative reference and by address.
            std::vector<mvimage> records(3);
            auto* raw = reinterpret_cast<uint8_t*>(records.data());
            for (size_t i = 0; i < sizeof(mvimage) * records.size(); ++i) raw[i] = uint8_t(rng());
            mvimage* view = &records[1];
            mvimage* parent = trial % 2 ? MVPARENT_REL(-65) : view;
            ASSERT_EQ(0, build(view, parent));
            EXPECT_EQ(MVERR_LOGIC, view->ioset(view, 0, view->pixfmt.datatype | MVREQ_LOW, 1));
            uint8_t buffer[64] = {};
            EXPECT_EQ(0u, view->ioread(view, 0, buffer, 4, 0, 0));
        }
    }
}

// ---- the type converter's format ----------------------------------------------

TEST(ViewRules, ConverterPresentsTheGivenFormatWithNewbitsOrTheParentsBits) {
    std::mt19937 rng(21);
    Mem parent(5, 3, MVTYPE_U16, 12, 3);
    parent.randomize(rng, 0xFFF);
    const uint16_t* pv = parent.values<uint16_t>();
    const mvpixfmt pf = parent.im.pixfmt;
    const uint32_t two = 0x40000000u, minus_one = 0xBF800000u;  // 2.0f, -1.0f
    struct Case {
        const char* name;
        bool give;
        mvpixfmt newfmt;
        uint32_t newbits;
        mvpixfmt want;
        uint32_t request;  // a read whose first value is checked
        uint32_t (*expect)(uint16_t parent_value);
    };
    const Case cases[] = {
        {"the parent's", false, {}, 0, pf, MVTYPE_U16, [](uint16_t v) -> uint32_t { return v; }},
        {"the parent's, newbits", false, {}, 10,
         {MVTYPE_U16, 3, MVCS_RGB, 10, MVVALFORM_LOW, 0, 0}, MVTYPE_U16 | MVREQ_LOW,
         [](uint16_t v) -> uint32_t { return v >> 2; }},
        {"every word given", true,
         {MVTYPE_U16, 3, MVCS_BGR, 5, MVVALFORM_HIGH, MVVALFLAG_DIRTY << 16, MVREQ_SWAPPED}, 0,
         {MVTYPE_U16, 3, MVCS_BGR, 12, MVVALFORM_HIGH, MVVALFLAG_DIRTY << 16, MVREQ_SWAPPED},
         MVTYPE_U16,  // no justification asked: the view's own, high
         [](uint16_t v) -> uint32_t { return uint32_t(v) << 4; }},
        {"every word given, read swapped", true,
         {MVTYPE_U16, 3, MVCS_BGR, 5, MVVALFORM_HIGH, 0, MVREQ_SWAPPED}, 0,
         {MVTYPE_U16, 3, MVCS_BGR, 12, MVVALFORM_HIGH, 0, MVREQ_SWAPPED},
         MVTYPE_U16 | MVREQ_LOW | MVREQ_SWAPPED,
         [](uint16_t v) -> uint32_t { return __builtin_bswap16(v); }},
        {"fewer pixies, newbits", true, {MVTYPE_U8, 1, MVCS_GREY, 3, MVVALFORM_LOW, 0, 0}, 6,
         {MVTYPE_U8, 1, MVCS_GREY, 6, MVVALFORM_LOW, 0, 0}, MVTYPE_U8,
         [](uint16_t v) -> uint32_t { return v >> 6; }},
        {"float, newbits ignored", true, {MVTYPE_FLOAT, 3, MVCS_RGB, 0, two, minus_one, 0}, 7,
         {MVTYPE_FLOAT, 3, MVCS_RGB, 0, two, minus_one, 0}, 0, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        mvimage view;
        ASSERT_EQ(0, mvimage_converter(&view, &parent.im, c.give ? &c.newfmt : nullptr, 1, 0, c.newbits, 0));
        const uint32_t* got = reinterpret_cast<const uint32_t*>(&view.pixfmt);
        const uint32_t* want = reinterpret_cast<const uint32_t*>(&c.want);
        for (int i = 0; i < 7; ++i) EXPECT_EQ(want[i], got[i]) << "format word " << i;
        if (!c.expect) continue;
        ASSERT_GE(view.ioset(&view, MVMODE_CONTINUE, c.request, 1), 0);
        uint32_t value = 0;
        uint8_t buffer[64] = {};
        ASSERT_EQ(15u, view.ioread(&view, 0, buffer, 15, 0, 0));
        for (uint32_t i = 0; i < 15; ++i) {
            std::memcpy(&value, buffer + i * view.pixiesize, view.pixiesize);
            ASSERT_EQ(c.expect(pv[3 * i]), value) << "pixel " << i;
        }
    }
}

// ---- byte swapping --------------------------------------------------------

TEST(ViewRules, ByteSwapsApplyToTwoAndFourBytePixiesOnly) {
    struct Case {
        uint32_t type;
        bool swaps;
    };
    const Case cases[] = {{MVTYPE_U8, false},    {MVTYPE_U16, true},   {MVTYPE_U32, true},
                          {MVTYPE_I32, true},    {MVTYPE_FLOAT, true}, {MVTYPE_DOUBLE, false}};
    const uint8_t pattern[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    for (const Case& c : cases) {
        for (const bool stored_foreign : {true, false}) {
            SCOPED_TRACE("type " + std::to_string(c.type) + (stored_foreign ? " stored" : " asked") + " swapped");
            mvpixfmt f = Mem::format(c.type, 0, 2);
            if (stored_foreign) f.byteorder = MVREQ_SWAPPED;
            Mem m(1, 1, f);
            std::memcpy(m.bytes.data(), pattern, m.bytes.size());
            const uint32_t request = c.type | (stored_foreign ? 0 : MVREQ_SWAPPED);
            // Runs, both directions.
            ASSERT_EQ(1, m.im.ioset(&m.im, 0, request, 3));
            uint8_t got[16] = {};
            ASSERT_EQ(1u, m.im.ioread(&m.im, 0, got, 1, 0, 0));
            const uint32_t size = m.im.pixiesize;
            for (uint32_t i = 0; i < m.bytes.size(); ++i) {
                const uint32_t from = c.swaps ? (i / size) * size + (size - 1 - i % size) : i;
                ASSERT_EQ(pattern[from], got[i]) << "byte " << i;
            }
            ASSERT_EQ(1u, m.im.iorite(&m.im, 0, got, 1, 0, 0));
            EXPECT_EQ(0, std::memcmp(m.bytes.data(), pattern, m.bytes.size()));
            // Scattered reads take the same rule.
            ASSERT_EQ(1, m.im.bxts(&m.im, 0, request, 3));
            mvbxtentry list[1] = {{0, 0, 0}};
            uint8_t scattered[16] = {};
            ASSERT_EQ(1u, m.im.bxta(&m.im, -1, scattered, list, 1, 2));
            EXPECT_EQ(0, std::memcmp(scattered, got, m.bytes.size()));
        }
    }
}

// ---- mapping through short tables -----------------------------------------

TEST(ViewRules, ShortTablesMapWhatTheyCoverAndPassTheRest) {
    std::mt19937 rng(5);
    struct Case {
        uint32_t type, bits, entries;
    };
    const Case cases[] = {{MVTYPE_U16, 16, 300}, {MVTYPE_U16, 12, 4095}, {MVTYPE_U16, 12, 1},
                          {MVTYPE_U32, 32, 1000}, {MVTYPE_U32, 20, 70000}};
    for (const Case& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type) + "/" + std::to_string(c.bits) + ", " +
                     std::to_string(c.entries) + " entries");
        const uint32_t maxval = c.bits == 32 ? 0xFFFFFFFFu : (1u << c.bits) - 1;
        Mem src(37, 9, c.type, c.bits), dst(37, 9, c.type, c.bits);
        src.randomize(rng, maxval);
        // Half the values inside the table.
        for (size_t i = 0; i < src.bytes.size() / src.im.pixiesize; i += 2) {
            const uint32_t v = rng() % c.entries;
            std::memcpy(&src.bytes[i * src.im.pixiesize], &v, src.im.pixiesize);
        }
        std::vector<uint32_t> table(c.entries);
        for (auto& t : table) t = rng() & maxval;
        int32_t rc;
        if (c.type == MVTYPE_U16) {
            const std::vector<uint16_t> t16(table.begin(), table.end());
            rc = mvip8_pixmaps(nullptr, &src.im, &dst.im, t16.data(), c.entries);
        } else {
            rc = mvip8_pixmapl(nullptr, &src.im, &dst.im, table.data(), c.entries);
        }
        ASSERT_EQ(0, rc);
        for (size_t i = 0; i < src.bytes.size() / src.im.pixiesize; ++i) {
            uint32_t v = 0, got = 0;
            std::memcpy(&v, &src.bytes[i * src.im.pixiesize], src.im.pixiesize);
            std::memcpy(&got, &dst.bytes[i * dst.im.pixiesize], dst.im.pixiesize);
            ASSERT_EQ(v < c.entries ? table[v] : v, got) << "value " << v;
        }
    }
    // A table held in an image follows the same rule; an empty table is refused.
    Mem src(4, 1, MVTYPE_U16, 16), dst(4, 1, MVTYPE_U16, 16), lut(3, 1, MVTYPE_U16, 16);
    const uint16_t values[4] = {0, 2, 3, 60000}, entries[3] = {7, 8, 9};
    std::memcpy(src.bytes.data(), values, sizeof values);
    std::memcpy(lut.bytes.data(), entries, sizeof entries);
    ASSERT_EQ(0, mvip8_pixmaplut(nullptr, &src.im, &dst.im, &lut.im));
    const uint16_t want[4] = {7, 9, 3, 60000};
    EXPECT_EQ(0, std::memcmp(dst.bytes.data(), want, sizeof want));
    EXPECT_EQ(MVERR_USAGE, mvip8_pixmaps(nullptr, &src.im, &dst.im, entries, 0));
}

// ---- 3 x 3 lowpass with a negative weight -----------------------------------

TEST(ViewRules, LowpassWithNegativeWeightClipsOnlyAbove) {
    std::mt19937 rng(8);
    for (const uint32_t bits : {8u, 12u, 16u}) {
        const uint32_t type = bits == 8 ? MVTYPE_U8 : MVTYPE_U16;
        const int64_t top = (int64_t{1} << bits) - 1;
        for (const int32_t w : {-7, -5, -1}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, weight " + std::to_string(w));
            const uint32_t W = 19, H = 6;
            Mem src(W, H, type, bits), dst(W, H, type, bits);
            src.randomize(rng, uint32_t(top));
            auto at = [&](const Mem& m, int x, int y) {
                x = std::clamp(x, 0, int(W) - 1);
                y = std::clamp(y, 0, int(H) - 1);
                uint32_t v = 0;
                std::memcpy(&v, &m.bytes[(size_t(y) * W + x) * m.im.pixiesize], m.im.pixiesize);
                return int64_t{v};
            };
            ASSERT_EQ(0, mvip8_3x3lowpass(nullptr, &src.im, &dst.im, w));
            int negative = 0;
            for (int y = 0; y < int(H); ++y)
                for (int x = 0; x < int(W); ++x) {
                    int64_t ring = 0;
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            if (dx || dy) ring += at(src, x + dx, y + dy);
                    const int64_t div = w + 8;
                    // Signed division truncating toward zero, then min(maxval, .);
                    // a negative result keeps its low bits.
                    const int64_t q = std::min<int64_t>(top, (ring + w * at(src, x, y) + div / 2) / div);
                    negative += q < 0;
                    ASSERT_EQ(q & top, at(dst, x, y)) << "at " << x << "," << y;
                }
            if (w <= -5) {
                EXPECT_GT(negative, 0);
            }
        }
    }
}

// ---- pair operations on a one-line window -----------------------------------

TEST(ViewRules, PairOperationsCopyALoneLine) {
    using Op = std::function<int32_t(mvimage*, mvimage*)>;
    const std::pair<const char*, Op> ops[] = {
        {"pairave", [](mvimage* s, mvimage* d) { return mvip8_ilacepairave(nullptr, s, d); }},
        {"pairdup even", [](mvimage* s, mvimage* d) { return mvip8_ilacepairdup(nullptr, s, d, 0); }},
        {"pairdup odd", [](mvimage* s, mvimage* d) { return mvip8_ilacepairdup(nullptr, s, d, 1); }},
        {"pairswap", [](mvimage* s, mvimage* d) { return mvip8_ilacepairswap(nullptr, s, d); }},
    };
    std::mt19937 rng(3);
    for (const auto& [name, op] : ops) {
        SCOPED_TRACE(name);
        Mem src(6, 4, MVTYPE_U16, 16, 3), dst(6, 4, MVTYPE_U16, 16, 3);
        src.randomize(rng, 0xFFFF);
        const std::vector<uint8_t> before = src.bytes;
        ASSERT_EQ(0, mvimage_setwind(&src.im, 1, 2, 5, 3));
        ASSERT_EQ(0, mvimage_setwind(&dst.im, 2, 0, 6, 1));
        ASSERT_EQ(0, op(&src.im, &dst.im));
        const size_t pixel = src.im.pixelsize;
        const std::vector<uint8_t> zeros(pixel, 0);
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 6; ++x) {
                const bool hit = y == 0 && x >= 2;
                const uint8_t* want = hit ? &before[(2 * 6 + x - 1) * pixel] : zeros.data();
                ASSERT_EQ(0, std::memcmp(&dst.bytes[(y * 6 + x) * pixel], want, pixel)) << x << "," << y;
            }
        ASSERT_EQ(0, op(&src.im, &src.im));  // in place: unchanged
        EXPECT_EQ(before, src.bytes);
    }
}

}  // namespace
