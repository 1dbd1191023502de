// The type converter view against the conversion rules written plainly.
#include "test_util.hpp"

namespace {

using namespace mvtest;

// Formats whose bits 0 mean the whole container.
const std::pair<Format, const char*> kFormats[] = {
    {{MVTYPE_U8, 0, 1}, "u8"},       {{MVTYPE_U8, 6, 1}, "u8/6"},       {{MVTYPE_U16, 12, 1}, "u16/12"},
    {{MVTYPE_U16, 0, 1}, "u16"},     {{MVTYPE_U32, 24, 1}, "u32/24"},   {{MVTYPE_U32, 0, 1}, "u32"},
    {{MVTYPE_FLOAT, 0, 1}, "float"}, {{MVTYPE_DOUBLE, 0, 1}, "double"},
};

uint32_t bits_of(const Format& f) { return f.bits ? f.bits : container_bits(f.type); }

// The conversion rules, plainly (fresh float formats range 0..1).
double convert(double v, const Format& from, const Format& to) {
    if (!is_float(from.type) && !is_float(to.type)) {
        const int d = int(bits_of(to)) - int(bits_of(from));
        return double(d >= 0 ? uint64_t(v) << d : uint64_t(v) >> -d);
    }
    if (!is_float(from.type)) {
        const double r = v / (std::ldexp(1.0, int(bits_of(from))) - 1);
        return to.type == MVTYPE_FLOAT ? double(float(r)) : r;
    }
    if (!is_float(to.type)) {
        const double maxval = std::ldexp(1.0, int(bits_of(to))) - 1, x = v * maxval;
        return std::isnan(v) || x <= 0 ? 0 : x >= maxval ? maxval : std::floor(x + 0.5);
    }
    return to.type == MVTYPE_FLOAT ? double(float(v)) : v;
}

double random_value(std::mt19937& rng, const Format& f) {
    if (is_float(f.type)) {
        const uint32_t pick = rng() % 20;
        const double v = pick == 0   ? NAN
                         : pick == 1 ? -0.25
                         : pick == 2 ? 1.5
                                     : std::uniform_real_distribution<double>(0, 1)(rng);
        return f.type == MVTYPE_FLOAT ? double(float(v)) : v;
    }
    return double(rng() & uint32_t((uint64_t{1} << bits_of(f)) - 1));
}

// An image of random values in `f` with `pixies` pixies (grey space).
struct Img : Image {
    Img(Format f, uint32_t w, uint32_t h, uint32_t pixies, std::mt19937& rng)
        : Image({f.type, f.bits, pixies, 0, 1, MVCS_GREY}, w, h, Layout{0}) {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                for (uint32_t k = 0; k < pixies; ++k) set(x, y, k, random_value(rng, f));
    }
};

mvpixfmt format_of(const Format& f, uint32_t pixies) {
    mvpixfmt fmt{};
    EXPECT_EQ(0, mvpixfmt_set(&fmt, f.type, f.bits, pixies, MVCS_GREY));
    return fmt;
}

bool same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

TEST(TypeConverter, ReadsFollowTheConversionRules) {
    std::mt19937 rng(2024);
    for (const auto& [from, from_name] : kFormats)
        for (const auto& [to, to_name] : kFormats)
            for (int trial = 0; trial < 6; ++trial) {
                SCOPED_TRACE(std::string(from_name) + " -> " + to_name + " #" + std::to_string(trial));
                const uint32_t pixies = 1 + trial % 3;
                Img parent(from, 2 + rng() % 40, 2 + rng() % 6, pixies, rng);
                parent.window(1, 0, int32_t(parent.width()), int32_t(parent.height()));
                const mvpixfmt fmt = format_of(to, pixies);
                mvimage view;
                ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), &fmt, uint8_t(trial % 2), 0, fmt.bits, 0));
                const uint32_t w = uint32_t(view.wind.se.x - view.wind.nw.x), h = uint32_t(view.wind.se.y - view.wind.nw.y);
                const uint32_t mode = trial % 3 == 0 ? MVMODE_CONTINUE : trial % 3 == 1 ? MVMODE_YSCAN : 0;
                ASSERT_GE(view.ioset(&view, mode, to.type | MVREQ_LOW, (1u << pixies) - 1), 0);
                const uint32_t vb = value_bytes(to.type);
                std::vector<uint8_t> buf(size_t{w} * h * pixies * vb);
                const uint32_t n = view.ioread(&view, 0, buf.data(), w * h, 0, 0);
                ASSERT_EQ(n, mode == MVMODE_CONTINUE ? w * h : mode == MVMODE_YSCAN ? h : w);
                for (uint32_t i = 0; i < n * pixies; ++i) {
                    const uint32_t x = mode == MVMODE_YSCAN ? 0 : i / pixies % w,
                                   y = mode == MVMODE_YSCAN ? i / pixies : i / pixies / w;
                    const double got = load_value(buf.data() + size_t{i} * vb, to.type);
                    const double want = convert(parent.wget(x, y, i % pixies), from, to);
                    ASSERT_TRUE(same(want, got)) << "value " << i << ": want " << want << " got " << got;
                }
            }
}

TEST(TypeConverter, WritesStoreTheConvertedValue) {
    std::mt19937 rng(77);
    for (const auto& [from, from_name] : kFormats)
        for (const auto& [to, to_name] : kFormats) {
            SCOPED_TRACE(std::string(from_name) + " <- " + to_name);
            Img parent(from, 17, 5, 2, rng);
            const mvpixfmt fmt = format_of(to, 2);
            mvimage view;
            ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), &fmt, 0, 0, fmt.bits, 0));
            ASSERT_EQ(0, mvimage_setwind(&view, 3, 1, 15, 4));
            ASSERT_GE(view.ioset(&view, 0, to.type | MVREQ_LOW, 2), 0);  // second pixie only
            Img line(to, 12, 1, 1, rng);
            const auto want = with_window(parent, [&](uint32_t x, uint32_t y, uint32_t k) {
                return y == 3 && x >= 3 && x < 15 && k == 1 ? convert(line.get(x - 3, 0, 0), to, from) : parent.get(x, y, k);
            });
            ASSERT_EQ(12u, view.iorite(&view, 0, line.at(0, 0, 0), 12, 0, 2));
            const auto got = parent.values();
            for (size_t i = 0; i < want.size(); ++i) ASSERT_TRUE(same(want[i], got[i])) << "value " << i;
        }
}

TEST(TypeConverter, RequestFlagsToleranceAndForwarding) {
    // A u16 image with 12 significant bits and junk above them.
    std::mt19937 rng(1);
    Img parent(Format{MVTYPE_U16, 16, 1}, 8, 8, 1, rng);
    const std::vector<double> raw = parent.values();
    mvpixfmt& pf = parent.rec()->pixfmt;
    pf.bits = 12, pf.valform = 0x200;
    pf.valflags = MVVALFLAG_DIRTY;  // reads may show bits outside the 12
    auto read64 = [](mvimage& v, uint32_t type, void* out) {
        EXPECT_GE(v.ioset(&v, MVMODE_CONTINUE, type, 1), 0);
        EXPECT_EQ(64u, v.ioread(&v, 0, out, 64, 0, 0));
    };
    const mvpixfmt u8 = format_of({MVTYPE_U8, 0, 1}, 1);
    for (int32_t tolerate : {0, 1}) {
        mvimage view;
        ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), &u8, 1, tolerate, 0, 0));
        uint8_t out[64];
        read64(view, MVTYPE_U8 | MVREQ_LOW, out);
        for (int i = 0; i < 64; ++i) ASSERT_EQ((uint32_t(raw[i]) & 0xFFF) >> 4, out[i]) << i;
    }
    // newbits: the same image shown as 10-bit values in u16, read high-justified.
    mvimage view;
    ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), nullptr, 1, 1, 10, 0));
    EXPECT_EQ(10u, view.pixfmt.bits);
    uint16_t hi[64];
    read64(view, MVTYPE_U16 | MVREQ_HIGH, hi);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(uint16_t(((uint32_t(raw[i]) & 0xFFF) >> 2) << 6), hi[i]) << i;
    EXPECT_EQ(MVERR_DATATYPE, view.imapset(&view, 0, MVTYPE_U16 | MVREQ_DIRTY, 1));
    // Same type and bits: requests go to the parent, mapping included.
    mvimage same_view;
    ASSERT_EQ(0, mvimage_converter(&same_view, parent.rec(), nullptr, 1, 0, 0, 0));
    ASSERT_GE(same_view.ioset(&same_view, 0, MVTYPE_U16 | MVREQ_HIGH | MVREQ_SWAPPED, 1), 0);
    uint16_t row[8];
    ASSERT_EQ(8u, same_view.ioread(&same_view, 0, row, 8, 0, 1));
    for (int i = 0; i < 8; ++i) ASSERT_EQ(__builtin_bswap16(uint16_t((uint32_t(raw[8 + i]) & 0xFFF) << 4)), row[i]) << i;
    // A float view maps onto its range.
    mvpixfmt ranged{};
    ranged.valflags = 0xC0000000u;  // -2.0f, kept by mvpixfmt_set
    ASSERT_EQ(0, mvpixfmt_set(&ranged, MVTYPE_FLOAT, 0, 1, 1));
    ranged.valform = 0x40000000u;  // 2.0f
    mvimage fview;
    ASSERT_EQ(0, mvimage_converter(&fview, parent.rec(), &ranged, 1, 1, 0, 0));
    float f[64];
    read64(fview, MVTYPE_FLOAT, f);
    for (int i = 0; i < 64; ++i) ASSERT_FLOAT_EQ(float(-2.0 + 4.0 * (uint32_t(raw[i]) & 0xFFF) / 4095.0), f[i]) << i;
}

TEST(TypeConverter, StackedOverOtherViews) {
    std::mt19937 rng(9);
    Img parent(Format{MVTYPE_U16, 12, 1}, 9, 7, 3, rng);
    mvimage inv, conv, slice;
    ASSERT_EQ(0, mvimage_yinv(&inv, parent.rec(), 0));
    const mvpixfmt u8 = format_of({MVTYPE_U8, 0, 1}, 3);
    ASSERT_EQ(0, mvimage_converter(&conv, &inv, &u8, 0, 0, 0, 0));
    ASSERT_EQ(0, mvimage_colorslice(&slice, &conv, 0, 2));
    ASSERT_EQ(1, slice.ioset(&slice, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1));
    uint8_t out[63];
    ASSERT_EQ(63u, slice.ioread(&slice, 0, out, 63, 0, 0));
    for (uint32_t i = 0; i < 63; ++i) ASSERT_EQ(uint32_t(parent.get(i % 9, 6 - i / 9, 1)) >> 4, out[i]) << i;
    EXPECT_EQ(4u, slice.aeiou(&slice, 'm', 0, 0) & 0xFF);
}

TEST(TypeConverter, BadInput) {
    std::mt19937 rng(4);
    Img parent(Format{MVTYPE_U8, 0, 1}, 4, 4, 1, rng);
    mvimage view;
    EXPECT_EQ(-1, mvimage_converter(nullptr, parent.rec(), nullptr, 0, 0, 0, 0));
    EXPECT_EQ(-1, mvimage_converter(&view, nullptr, nullptr, 0, 0, 0, 0));
    EXPECT_TRUE(kind_is(view.kind, "NULL2"));
    mvpixfmt bad{};
    bad.datatype = 3;
    bad.pixies = 1;
    EXPECT_EQ(-1, mvimage_converter(&view, parent.rec(), &bad, 0, 0, 0, 0));
    ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), nullptr, 0, 0, 0, 0));
    EXPECT_EQ(MVERR_DATATYPE, view.ioset(&view, 0, MVTYPE_U16, 1));
    EXPECT_EQ(MVERR_COLORS, view.ioset(&view, 0, MVTYPE_U8, 2));
    EXPECT_EQ(MVERR_UNSUPPORTED, view.ioset(&view, MVMODE_ZSCAN, MVTYPE_U8, 1));
    mvimage3 v3;
    EXPECT_EQ(MVERR_USAGE, mvimage3_converter(&v3, nullptr, nullptr, 0, 0, 0, 0));
    EXPECT_TRUE(kind_is(v3.kind, "NULL3"));
}

}  // namespace
