// The type converter view against the conversion rules written plainly.
#include "mvip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

struct Format {
    uint32_t type, bits;  // bits 0: whole container (or float)
    const char* name;
};

const Format kFormats[] = {
    {MVTYPE_U8, 0, "u8"},        {MVTYPE_U8, 6, "u8/6"},       {MVTYPE_U16, 12, "u16/12"},
    {MVTYPE_U16, 0, "u16"},      {MVTYPE_U32, 24, "u32/24"},   {MVTYPE_U32, 0, "u32"},
    {MVTYPE_FLOAT, 0, "float"},  {MVTYPE_DOUBLE, 0, "double"},
};

bool is_float(uint32_t t) { return t == MVTYPE_FLOAT || t == MVTYPE_DOUBLE; }
size_t bytes_of(uint32_t t) {
    return t == MVTYPE_U8 ? 1 : t == MVTYPE_U16 ? 2 : t == MVTYPE_DOUBLE ? 8 : 4;
}
uint32_t bits_of(const Format& f) { return f.bits ? f.bits : 8 * uint32_t(bytes_of(f.type)); }

double get(const uint8_t* p, uint32_t type) {
    switch (type) {
        case MVTYPE_U8: return *p;
        case MVTYPE_U16: { uint16_t v; std::memcpy(&v, p, 2); return v; }
        case MVTYPE_U32: { uint32_t v; std::memcpy(&v, p, 4); return v; }
        case MVTYPE_FLOAT: { float v; std::memcpy(&v, p, 4); return v; }
        default: { double v; std::memcpy(&v, p, 8); return v; }
    }
}
void put(uint8_t* p, uint32_t type, double x) {
    switch (type) {
        case MVTYPE_U8: *p = uint8_t(x); break;
        case MVTYPE_U16: { uint16_t v = uint16_t(x); std::memcpy(p, &v, 2); break; }
        case MVTYPE_U32: { uint32_t v = uint32_t(x); std::memcpy(p, &v, 4); break; }
        case MVTYPE_FLOAT: { float v = float(x); std::memcpy(p, &v, 4); break; }
        default: std::memcpy(p, &x, 8);
    }
}

// The conversion rules, plainly (fresh float formats range 0..1).
double convert(double v, const Format& from, const Format& to) {
    if (!is_float(from.type) && !is_float(to.type)) {
        const int d = int(bits_of(to)) - int(bits_of(from));
        const uint64_t u = uint64_t(v);
        return double(d >= 0 ? u << d : u >> -d);
    }
    if (!is_float(from.type)) {
        const double r = v / (std::ldexp(1.0, int(bits_of(from))) - 1);
        return to.type == MVTYPE_FLOAT ? double(float(r)) : r;
    }
    if (!is_float(to.type)) {
        const double maxval = std::ldexp(1.0, int(bits_of(to))) - 1;
        if (std::isnan(v)) return 0;
        const double x = v * maxval;
        if (x <= 0) return 0;
        if (x >= maxval) return maxval;
        return std::floor(x + 0.5);
    }
    return to.type == MVTYPE_FLOAT ? double(float(v)) : v;
}

double random_value(std::mt19937& rng, const Format& f) {
    if (is_float(f.type)) {
        const uint32_t pick = rng() % 20;
        if (pick == 0) return NAN;
        if (pick == 1) return -0.25;
        if (pick == 2) return 1.5;
        const double v = std::uniform_real_distribution<double>(0, 1)(rng);
        return f.type == MVTYPE_FLOAT ? double(float(v)) : v;
    }
    return double(rng() & uint32_t((uint64_t{1} << bits_of(f)) - 1));
}

struct Image {
    Format fmt;
    uint32_t xdim, ydim, pixies;
    std::vector<uint8_t> data;
    mvimage im{};
    Image(const Format& f, uint32_t x, uint32_t y, uint32_t p, std::mt19937& rng)
        : fmt(f), xdim(x), ydim(y), pixies(p), data(size_t{x} * y * p * bytes_of(f.type)) {
        for (size_t i = 0; i < data.size(); i += bytes_of(f.type))
            put(&data[i], f.type, random_value(rng, f));
        const uint32_t dims[2] = {x, y};
        EXPECT_EQ(0, mvimage_memory(&im, data.data(), dims, 0, f.type, f.bits, p, p == 3 ? 3 : 1, 0));
    }
    double value(uint32_t x, uint32_t y, uint32_t k) const {
        return get(&data[((size_t{y} * xdim + x) * pixies + k) * bytes_of(fmt.type)], fmt.type);
    }
};

bool same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

TEST(TypeConverter, ReadsFollowTheConversionRules) {
    std::mt19937 rng(2024);
    int cases = 0;
    for (const Format& from : kFormats) {
        for (const Format& to : kFormats) {
            for (int trial = 0; trial < 6; ++trial, ++cases) {
                SCOPED_TRACE(std::string(from.name) + " -> " + to.name + " #" + std::to_string(trial));
                const uint32_t pixies = 1 + trial % 3;
                Image parent(from, 2 + rng() % 40, 2 + rng() % 6, pixies, rng);
                ASSERT_EQ(0, mvimage_setwind(&parent.im, 1, 0, parent.xdim, parent.ydim));
                mvpixfmt fmt{};
                ASSERT_EQ(0, mvpixfmt_set(&fmt, to.type, to.bits, pixies, 1));
                mvimage view;
                const uint8_t follow = trial % 2;
                ASSERT_EQ(0, mvimage_converter(&view, &parent.im, &fmt, follow, 0, 0, 0));
                const int32_t ox = 1;  // the parent's window starts at x = 1
                const uint32_t w = view.wind.se.x - view.wind.nw.x, h = view.wind.se.y - view.wind.nw.y;
                const uint32_t mode = trial % 3 == 0 ? MVMODE_CONTINUE : (trial % 3 == 1 ? MVMODE_YSCAN : 0);
                const uint32_t mask = (1u << pixies) - 1;
                ASSERT_GE(view.ioset(&view, mode, to.type | MVREQ_LOW, mask), 0);
                const size_t vb = bytes_of(to.type);
                std::vector<uint8_t> buf(size_t{w} * h * pixies * vb);
                const uint32_t n = view.ioread(&view, 0, buf.data(), w * h, 0, 0);
                const uint32_t expect = mode == MVMODE_CONTINUE ? w * h : mode == MVMODE_YSCAN ? h : w;
                ASSERT_EQ(expect, n);
                for (uint32_t i = 0; i < n; ++i) {
                    const uint32_t x = mode == MVMODE_YSCAN ? 0 : i % w, y = mode == MVMODE_YSCAN ? i : i / w;
                    for (uint32_t k = 0; k < pixies; ++k) {
                        const double want = convert(parent.value(x + ox, y, k), from, to);
                        const double got = get(&buf[(size_t{i} * pixies + k) * vb], to.type);
                        ASSERT_TRUE(same(want, got)) << "pixel " << i << " pixie " << k << ": want "
                                                     << want << " got " << got << " from "
                                                     << parent.value(x + ox, y, k);
                    }
                }
            }
        }
    }
    EXPECT_EQ(cases, 8 * 8 * 6);
}

TEST(TypeConverter, WritesStoreTheConvertedValue) {
    std::mt19937 rng(77);
    for (const Format& from : kFormats) {
        for (const Format& to : kFormats) {
            SCOPED_TRACE(std::string(from.name) + " <- " + to.name);
            Image parent(from, 17, 5, 2, rng);
            mvpixfmt fmt{};
            ASSERT_EQ(0, mvpixfmt_set(&fmt, to.type, to.bits, 2, 1));
            mvimage view;
            ASSERT_EQ(0, mvimage_converter(&view, &parent.im, &fmt, 0, 0, 0, 0));
            ASSERT_EQ(0, mvimage_setwind(&view, 3, 1, 15, 4));
            ASSERT_GE(view.ioset(&view, 0, to.type | MVREQ_LOW, 2), 0);  // second pixie only
            const size_t vb = bytes_of(to.type);
            std::vector<uint8_t> line(12 * vb);
            std::vector<double> written(12);
            for (uint32_t i = 0; i < 12; ++i) {
                written[i] = random_value(rng, to);
                put(&line[i * vb], to.type, written[i]);
            }
            const Image before = parent;
            ASSERT_EQ(12u, view.iorite(&view, 0, line.data(), 12, 0, 2));
            for (uint32_t x = 0; x < 17; ++x) {
                for (uint32_t y = 0; y < 5; ++y) {
                    for (uint32_t k = 0; k < 2; ++k) {
                        const bool hit = y == 3 && x >= 3 && x < 15 && k == 1;
                        const double want = hit ? convert(written[x - 3], to, from) : before.value(x, y, k);
                        ASSERT_TRUE(same(want, parent.value(x, y, k)))
                            << x << "," << y << "," << k << " want " << want << " got "
                            << parent.value(x, y, k);
                    }
                }
            }
        }
    }
}

TEST(TypeConverter, RequestFlagsToleranceAndForwarding) {
    std::mt19937 rng(1);
    // A u16 image with 12 significant bits and junk above them.
    std::vector<uint16_t> pixels(64);
    for (auto& p : pixels) p = uint16_t(rng());
    mvimage parent;
    mvpixfmt pf{};
    ASSERT_EQ(0, mvpixfmt_set(&pf, MVTYPE_U16, 12, 1, 1));
    pf.valflags = MVVALFLAG_DIRTY;  // reads may show bits outside the 12
    const uint32_t dims[2] = {8, 8};
    ASSERT_EQ(0, mvimage_memdata(&parent, pixels.data(), 0, dims, 0, &pf, nullptr, 0));

    mvpixfmt u8{};
    ASSERT_EQ(0, mvpixfmt_set(&u8, MVTYPE_U8, 0, 1, 1));
    for (int32_t tolerate : {0, 1}) {
        mvimage view;
        ASSERT_EQ(0, mvimage_converter(&view, &parent, &u8, 1, tolerate, 0, 0));
        ASSERT_GE(view.ioset(&view, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1), 0);
        uint8_t out[64];
        ASSERT_EQ(64u, view.ioread(&view, 0, out, 64, 0, 0));
        for (int i = 0; i < 64; ++i) ASSERT_EQ((pixels[i] & 0xFFF) >> 4, out[i]) << i;
    }
    // newbits: the same image shown as 10-bit values in u16, read high-justified.
    mvimage view;
    ASSERT_EQ(0, mvimage_converter(&view, &parent, nullptr, 1, 1, 10, 0));
    EXPECT_EQ(10u, view.pixfmt.bits);
    ASSERT_GE(view.ioset(&view, MVMODE_CONTINUE, MVTYPE_U16 | MVREQ_HIGH, 1), 0);
    uint16_t hi[64];
    ASSERT_EQ(64u, view.ioread(&view, 0, hi, 64, 0, 0));
    for (int i = 0; i < 64; ++i) ASSERT_EQ(uint16_t(((pixels[i] & 0xFFF) >> 2) << 6), hi[i]) << i;

    // Same type and bits: requests go to the parent, mapping included.
    mvimage same_view;
    ASSERT_EQ(0, mvimage_converter(&same_view, &parent, nullptr, 1, 0, 0, 0));
    ASSERT_GE(same_view.ioset(&same_view, 0, MVTYPE_U16 | MVREQ_HIGH | MVREQ_SWAPPED, 1), 0);
    uint16_t row[8];
    ASSERT_EQ(8u, same_view.ioread(&same_view, 0, row, 8, 0, 1));
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(__builtin_bswap16(uint16_t((pixels[8 + i] & 0xFFF) << 4)), row[i]) << i;
    EXPECT_EQ(MVERR_DATATYPE, view.imapset(&view, 0, MVTYPE_U16 | MVREQ_DIRTY, 1));

    // A float view maps onto its range.
    mvpixfmt ranged{};
    ranged.valflags = 0xC0000000u;  // -2.0f
    ASSERT_EQ(0, mvpixfmt_set(&ranged, MVTYPE_FLOAT, 0, 1, 1));
    ranged.valform = 0x40000000u;  // 2.0f
    mvimage fview;
    ASSERT_EQ(0, mvimage_converter(&fview, &parent, &ranged, 1, 1, 0, 0));
    ASSERT_GE(fview.ioset(&fview, MVMODE_CONTINUE, MVTYPE_FLOAT, 1), 0);
    float f[64];
    ASSERT_EQ(64u, fview.ioread(&fview, 0, f, 64, 0, 0));
    for (int i = 0; i < 64; ++i)
        ASSERT_FLOAT_EQ(float(-2.0 + 4.0 * (pixels[i] & 0xFFF) / 4095.0), f[i]) << i;
}

TEST(TypeConverter, StackedOverOtherViews) {
    std::mt19937 rng(9);
    Image parent({MVTYPE_U16, 12, "u16/12"}, 9, 7, 3, rng);
    mvimage inv, conv, slice;
    ASSERT_EQ(0, mvimage_yinv(&inv, &parent.im, 0));
    mvpixfmt u8{};
    ASSERT_EQ(0, mvpixfmt_set(&u8, MVTYPE_U8, 0, 3, 3));
    ASSERT_EQ(0, mvimage_converter(&conv, &inv, &u8, 0, 0, 0, 0));
    ASSERT_EQ(0, mvimage_colorslice(&slice, &conv, 0, 2));
    ASSERT_EQ(1, slice.ioset(&slice, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1));
    uint8_t out[63];
    ASSERT_EQ(63u, slice.ioread(&slice, 0, out, 63, 0, 0));
    for (uint32_t i = 0; i < 63; ++i)
        ASSERT_EQ(uint32_t(parent.value(i % 9, 6 - i / 9, 1)) >> 4, out[i]) << i;
    EXPECT_EQ(4u, slice.aeiou(&slice, 'm', nullptr) & 0xFF);
}

TEST(TypeConverter, BadInput) {
    std::mt19937 rng(4);
    Image parent({MVTYPE_U8, 0, "u8"}, 4, 4, 1, rng);
    mvimage view;
    EXPECT_EQ(-1, mvimage_converter(nullptr, &parent.im, nullptr, 0, 0, 0, 0));
    EXPECT_EQ(-1, mvimage_converter(&view, nullptr, nullptr, 0, 0, 0, 0));
    EXPECT_EQ(0, std::memcmp(view.kind, "NULL2\0\0", 8));
    mvpixfmt bad{};
    bad.datatype = 3;
    bad.pixies = 1;
    EXPECT_EQ(-1, mvimage_converter(&view, &parent.im, &bad, 0, 0, 0, 0));
    ASSERT_EQ(0, mvimage_converter(&view, &parent.im, nullptr, 0, 0, 0, 0));
    EXPECT_EQ(MVERR_DATATYPE, view.ioset(&view, 0, MVTYPE_U16, 1));
    EXPECT_EQ(MVERR_COLORS, view.ioset(&view, 0, MVTYPE_U8, 2));
    EXPECT_EQ(MVERR_UNSUPPORTED, view.ioset(&view, MVMODE_ZSCAN, MVTYPE_U8, 1));
    mvimage self{};
    ASSERT_EQ(0, mvimage_converter(&self, MVPARENT_REL(-65), nullptr, 0, 0, 0, 0));
    EXPECT_EQ(MVERR_LOGIC, self.ioset(&self, 0, self.pixfmt.datatype, 1));
    mvimage3 v3;
    EXPECT_EQ(MVERR_USAGE, mvimage3_converter(&v3, nullptr, nullptr, 0, 0, 0, 0));
    EXPECT_EQ(0, std::memcmp(v3.kind, "NULL3\0\0", 8));
}

}  // namespace
