// Copy operations against per-pixel formulas written out here: plain and
// exchanging copies, pixie slices, colour conversion, resampling, shifts,
// mirroring and tiling, over every data type, several bit depths, colour
// and monochrome, windows that are not the whole image, in place and not;
// and the abort hook's entry stop, mid-walk stop and progress calls.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

uint32_t value_bytes(uint32_t type) {
    switch (type) {
        case MVTYPE_U8: return 1;
        case MVTYPE_U16: return 2;
        case MVTYPE_DOUBLE: return 8;
        default: return 4;
    }
}

uint32_t space_for(uint32_t pixies) {
    switch (pixies) {
        case 1: return MVCS_GREY;
        case 2: return MVCS_COMPLEX;
        case 3: return MVCS_BGR;
        case 4: return MVCS_BGRX;
        default: return MVCS_UNKNOWN;
    }
}

struct Fmt {
    uint32_t type, bits;
};
constexpr Fmt kFormats[] = {{MVTYPE_U8, 8},    {MVTYPE_U8, 5},    {MVTYPE_U16, 16},
                            {MVTYPE_U16, 12},  {MVTYPE_U32, 32},  {MVTYPE_U32, 20},
                            {MVTYPE_FLOAT, 0}, {MVTYPE_DOUBLE, 0}};

std::string describe(const Fmt& f, uint32_t pixies) {
    return "type " + std::to_string(f.type) + " bits " + std::to_string(f.bits) + " pixies " +
           std::to_string(pixies);
}

// A memory image over a vector the test owns.  Lines may carry padding
// and values may be stored byte-swapped (which makes the image refuse
// direct mapping, so transfers go through buffers).  Coordinates of
// get/put are absolute; the window is set separately.
class Img {
public:
    Img(Fmt f, uint32_t pixies, uint32_t w, uint32_t h, uint32_t seed, bool swapped = false,
        uint32_t pad = 0, uint32_t space = 0)
        : type(f.type), bits(f.bits), pixies(pixies), w(w), h(h), swapped(swapped) {
        vb = value_bytes(type);
        pitch = (size_t{w} * pixies + pad) * vb;
        mem.resize(pitch * h);
        mvpixfmt fmt{};
        EXPECT_EQ(mvpixfmt_set(&fmt, type, bits, pixies, space ? space : space_for(pixies)), 0);
        if (swapped) fmt.byteorder = MVREQ_SWAPPED;
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(mvimage_memdata(&im, mem.data(), mem.size(), dims, static_cast<int32_t>(pitch),
                                  &fmt, nullptr, 0),
                  0);
        fill(seed);
    }
    Img(const Img&) = delete;
    Img& operator=(const Img&) = delete;

    void fill(uint32_t seed) {
        std::mt19937 rng(seed);
        for (auto& b : mem) b = static_cast<unsigned char>(rng());
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                for (uint32_t k = 0; k < pixies; ++k) put(mem, x, y, k, random_value(rng));
    }
    double random_value(std::mt19937& rng) const {
        if (type == MVTYPE_FLOAT || type == MVTYPE_DOUBLE)
            return (static_cast<int>(rng() % 200001) - 100000) / 64.0;
        const uint64_t top = bits >= 32 ? 0xFFFFFFFFull : (1ull << bits) - 1;
        return static_cast<double>(rng() % (top + 1));
    }
    void window(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        ASSERT_EQ(mvimage_setwind(&im, x0, y0, x1, y1), 0);
    }
    int32_t wx() const { return im.wind.nw.x; }
    int32_t wy() const { return im.wind.nw.y; }
    uint32_t ww() const { return static_cast<uint32_t>(im.wind.se.x - im.wind.nw.x); }
    uint32_t wh() const { return static_cast<uint32_t>(im.wind.se.y - im.wind.nw.y); }

    size_t offset(uint32_t x, uint32_t y, uint32_t k) const {
        return y * pitch + (size_t{x} * pixies + k) * vb;
    }
    double get(const Bytes& m, uint32_t x, uint32_t y, uint32_t k) const {
        unsigned char raw[8];
        std::memcpy(raw, m.data() + offset(x, y, k), vb);
        if (swapped && vb != 8) std::reverse(raw, raw + vb);  // doubles are not swapped
        switch (type) {
            case MVTYPE_U8: return raw[0];
            case MVTYPE_U16: {
                uint16_t v;
                std::memcpy(&v, raw, 2);
                return v;
            }
            case MVTYPE_U32: {
                uint32_t v;
                std::memcpy(&v, raw, 4);
                return v;
            }
            case MVTYPE_FLOAT: {
                float v;
                std::memcpy(&v, raw, 4);
                return v;
            }
            default: {
                double v;
                std::memcpy(&v, raw, 8);
                return v;
            }
        }
    }
    void put(Bytes& m, uint32_t x, uint32_t y, uint32_t k, double v) const {
        unsigned char raw[8];
        switch (type) {
            case MVTYPE_U8: raw[0] = static_cast<uint8_t>(v); break;
            case MVTYPE_U16: {
                auto t = static_cast<uint16_t>(v);
                std::memcpy(raw, &t, 2);
                break;
            }
            case MVTYPE_U32: {
                auto t = static_cast<uint32_t>(v);
                std::memcpy(raw, &t, 4);
                break;
            }
            case MVTYPE_FLOAT: {
                auto t = static_cast<float>(v);
                std::memcpy(raw, &t, 4);
                break;
            }
            default: std::memcpy(raw, &v, 8); break;
        }
        if (swapped && vb != 8) std::reverse(raw, raw + vb);  // doubles are not swapped
        std::memcpy(m.data() + offset(x, y, k), raw, vb);
    }
    // Window-relative access.
    double at(const Bytes& m, uint32_t x, uint32_t y, uint32_t k) const {
        return get(m, wx() + x, wy() + y, k);
    }
    void set(Bytes& m, uint32_t x, uint32_t y, uint32_t k, double v) const {
        put(m, wx() + x, wy() + y, k, v);
    }

    uint32_t type, bits, pixies, w, h, vb;
    bool swapped;
    size_t pitch;
    Bytes mem;
    mvimage im{};
};

// Byte-exact comparison that names the first differing value.
void expect_memory(const Img& img, const Bytes& want) {
    ASSERT_EQ(img.mem.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        if (img.mem[i] == want[i]) continue;
        const size_t y = i / img.pitch, in_line = (i % img.pitch) / img.vb;
        ADD_FAILURE() << "first difference at line " << y << " value " << in_line << " (pixel "
                      << in_line / img.pixies << " pixie " << in_line % img.pixies << ")";
        return;
    }
}

// ---- abort hook recorder -------------------------------------------------

struct Recorder {
    std::vector<std::pair<int32_t, int32_t>> calls;
    std::function<int32_t(int32_t done, int32_t total, size_t index)> answer;
};
struct RecordingHook {
    mvabort base;
    Recorder* rec;
};
int32_t record_call(mvabort* hook, int32_t done, int32_t total) {
    Recorder& r = *reinterpret_cast<RecordingHook*>(hook)->rec;
    r.calls.emplace_back(done, total);
    return r.answer ? r.answer(done, total, r.calls.size() - 1) : 0;
}
struct Hook {
    explicit Hook(std::function<int32_t(int32_t, int32_t, size_t)> answer = nullptr) {
        rec.answer = std::move(answer);
    }
    mvabort* get() { return &hook.base; }
    Recorder rec;
    RecordingHook hook{{record_call}, &rec};
};

// ---- mvip8_copy ----------------------------------------------------------

// Routes: plain memory images map both lines; a byte-swapped image refuses
// mapping, so its side goes through the buffer (and is swapped on the way).
TEST(Copy, WindowMatchesSourceOnEveryRoute) {
    for (const Fmt& f : kFormats)
        for (uint32_t pixies : {1u, 3u})
            for (int route = 0; route < 4; ++route) {
                SCOPED_TRACE(describe(f, pixies) + " route " + std::to_string(route));
                Img src(f, pixies, 23, 17, 1, route & 1, 0);
                Img dst(f, pixies, 19, 21, 2, route & 2, 3);
                src.window(4, 2, 17, 15);  // 13 x 13
                dst.window(1, 6, 14, 19);
                Bytes want = dst.mem;
                for (uint32_t y = 0; y < 13; ++y)
                    for (uint32_t x = 0; x < 13; ++x)
                        for (uint32_t k = 0; k < pixies; ++k)
                            dst.set(want, x, y, k, src.at(src.mem, x, y, k));
                const Bytes src_before = src.mem;
                ASSERT_EQ(mvip8_copy(nullptr, &src.im, &dst.im), 0);
                expect_memory(dst, want);
                expect_memory(src, src_before);
            }
}

TEST(Copy, OntoItselfChangesNothing) {
    for (const Fmt& f : kFormats) {
        SCOPED_TRACE(describe(f, 3));
        Img img(f, 3, 11, 9, 5);
        img.window(2, 1, 9, 8);
        const Bytes before = img.mem;
        EXPECT_EQ(mvip8_copy(nullptr, &img.im, &img.im), 0);
        expect_memory(img, before);
        // A second record over the same memory maps the very same lines.
        mvimage alias = img.im;
        EXPECT_EQ(mvip8_copy(nullptr, &img.im, &alias), 0);
        expect_memory(img, before);
    }
}

TEST(Copy, OverlappingWindowsWithinOneLine) {
    Img img({MVTYPE_U16, 16}, 2, 12, 3, 7);
    mvimage dst = img.im;
    img.window(0, 0, 9, 3);
    ASSERT_EQ(mvimage_setwind(&dst, 2, 0, 11, 3), 0);
    Bytes want = img.mem;
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 9; ++x)
            for (uint32_t k = 0; k < 2; ++k) img.put(want, x + 2, y, k, img.get(img.mem, x, y, k));
    EXPECT_EQ(mvip8_copy(nullptr, &img.im, &dst), 0);
    expect_memory(img, want);
}

// Refusals of every copy family member that takes two windows of equal
// size, data type, bit depth and pixie count.
TEST(Copy, IncompatibleImagesAreRefused) {
    using Op = std::function<int32_t(mvimage*, mvimage*)>;
    const std::pair<const char*, Op> ops[] = {
        {"copy", [](mvimage* a, mvimage* b) { return mvip8_copy(nullptr, a, b); }},
        {"exchange", [](mvimage* a, mvimage* b) { return mvip8_copyexchange(nullptr, a, b); }},
        {"shift", [](mvimage* a, mvimage* b) { return mvip8_copyshift(nullptr, a, b, 1, 1); }},
        {"reverse", [](mvimage* a, mvimage* b) { return mvip8_copyreverse(nullptr, a, b, 3); }},
        {"nearest", [](mvimage* a, mvimage* b) { return mvip8_copyinterpnearest(nullptr, a, b); }},
        {"bilinear",
         [](mvimage* a, mvimage* b) { return mvip8_copyinterpbilinear(nullptr, a, b); }},
        {"replic", [](mvimage* a, mvimage* b) { return mvip8_copyreplic(nullptr, a, b); }},
        {"colorconvert",
         [](mvimage* a, mvimage* b) {
             return mvip8_copycolorconvert(nullptr, a, b, 0, a ? a->pixfmt.colorspace : MVCS_BGR);
         }},
    };
    for (const auto& [name, op] : ops) {
        SCOPED_TRACE(name);
        Img a({MVTYPE_U16, 12}, 3, 8, 6, 1);
        Img other_type({MVTYPE_U8, 8}, 3, 8, 6, 2);
        Img other_bits({MVTYPE_U16, 10}, 3, 8, 6, 3);
        Img more_pixies({MVTYPE_U16, 12}, 4, 8, 6, 4);
        Img fewer_pixies({MVTYPE_U16, 12}, 1, 8, 6, 6);
        Img i32({MVTYPE_I32, 32}, 1, 8, 6, 5);
        const Bytes before = other_type.mem;
        EXPECT_EQ(op(nullptr, &a.im), MVERR_USAGE);
        EXPECT_EQ(op(&a.im, nullptr), MVERR_USAGE);
        EXPECT_EQ(op(&a.im, &other_type.im), MVERR_USAGE);
        EXPECT_EQ(op(&a.im, &other_bits.im), MVERR_USAGE);
        EXPECT_EQ(op(&a.im, &more_pixies.im), MVERR_USAGE);
        // An image that cannot take the source's pixies refuses to be opened.
        EXPECT_LT(op(&a.im, &fewer_pixies.im), 0);
        EXPECT_EQ(op(&i32.im, &i32.im), MVERR_DATATYPE);
        expect_memory(other_type, before);
    }
    // Window sizes must agree where the operation does not resample.
    for (int i = 0; i < 4; ++i) {
        Img a({MVTYPE_U8, 8}, 1, 8, 6, 1), b({MVTYPE_U8, 8}, 1, 8, 6, 2);
        b.window(0, 0, 8, 5);
        const Bytes before = b.mem;
        const int32_t rc = i == 0   ? mvip8_copy(nullptr, &a.im, &b.im)
                           : i == 1 ? mvip8_copyexchange(nullptr, &a.im, &b.im)
                           : i == 2 ? mvip8_copyshift(nullptr, &a.im, &b.im, 0, 0)
                                    : mvip8_copyreverse(nullptr, &a.im, &b.im, 1);
        EXPECT_EQ(rc, MVERR_USAGE) << i;
        expect_memory(b, before);
    }
}

// ---- exchange ------------------------------------------------------------

TEST(CopyExchange, SwapsWindowsAndTwiceRestores) {
    for (const Fmt& f : kFormats)
        for (uint32_t pixies : {1u, 4u})
            for (bool swapped : {false, true}) {
                SCOPED_TRACE(describe(f, pixies) + (swapped ? " swapped" : ""));
                Img a(f, pixies, 14, 9, 7, swapped);
                Img b(f, pixies, 10, 12, 8, false, 2);
                a.window(3, 1, 12, 8);  // 9 x 7
                b.window(0, 4, 9, 11);
                const Bytes a0 = a.mem, b0 = b.mem;
                Bytes want_a = a0, want_b = b0;
                for (uint32_t y = 0; y < 7; ++y)
                    for (uint32_t x = 0; x < 9; ++x)
                        for (uint32_t k = 0; k < pixies; ++k) {
                            a.set(want_a, x, y, k, b.at(b0, x, y, k));
                            b.set(want_b, x, y, k, a.at(a0, x, y, k));
                        }
                ASSERT_EQ(mvip8_copyexchange(nullptr, &a.im, &b.im), 0);
                expect_memory(a, want_a);
                expect_memory(b, want_b);
                ASSERT_EQ(mvip8_copyexchange(nullptr, &a.im, &b.im), 0);
                expect_memory(a, a0);
                expect_memory(b, b0);
            }
}

TEST(CopyExchange, WithinOneImage) {
    Img img({MVTYPE_FLOAT, 0}, 2, 16, 6, 9);
    const Bytes before = img.mem;
    // With itself: nothing changes.
    EXPECT_EQ(mvip8_copyexchange(nullptr, &img.im, &img.im), 0);
    expect_memory(img, before);
    // The left and right halves, through two records over one memory.
    mvimage right = img.im;
    img.window(0, 0, 8, 6);
    ASSERT_EQ(mvimage_setwind(&right, 8, 0, 16, 6), 0);
    Bytes want = before;
    for (uint32_t y = 0; y < 6; ++y)
        for (uint32_t x = 0; x < 8; ++x)
            for (uint32_t k = 0; k < 2; ++k) {
                img.put(want, x, y, k, img.get(before, x + 8, y, k));
                img.put(want, x + 8, y, k, img.get(before, x, y, k));
            }
    EXPECT_EQ(mvip8_copyexchange(nullptr, &img.im, &right), 0);
    expect_memory(img, want);
}

// ---- slices and colour spaces -------------------------------------------

TEST(CopySlice, OnePixieIntoAnother) {
    const std::pair<int32_t, int32_t> indexes[] = {{0, 0}, {2, 0}, {1, 3}, {0, 2}};
    for (const Fmt& f : kFormats)
        for (auto [si, di] : indexes)
            for (bool swapped : {false, true}) {
                SCOPED_TRACE(describe(f, 3) + " " + std::to_string(si) + " -> " +
                             std::to_string(di) + (swapped ? " swapped" : ""));
                Img src(f, 3, 13, 8, 11, swapped);
                Img dst(f, 4, 9, 10, 12, false, 1);
                src.window(2, 1, 9, 7);  // 7 x 6
                dst.window(1, 3, 8, 9);
                Bytes want = dst.mem;
                for (uint32_t y = 0; y < 6; ++y)
                    for (uint32_t x = 0; x < 7; ++x)
                        dst.set(want, x, y, di, src.at(src.mem, x, y, si));
                ASSERT_EQ(mvip8_copyslice(nullptr, &src.im, &dst.im, si, di), 0);
                expect_memory(dst, want);
            }
}

TEST(CopySlice, WithinOneImage) {
    for (const Fmt& f : kFormats)
        for (bool swapped : {false, true}) {
            SCOPED_TRACE(describe(f, 3) + (swapped ? " swapped" : ""));
            Img img(f, 3, 10, 7, 13, swapped, 2);
            img.window(1, 2, 8, 6);
            Bytes want = img.mem;
            for (uint32_t y = 0; y < 4; ++y)
                for (uint32_t x = 0; x < 7; ++x) img.set(want, x, y, 0, img.at(img.mem, x, y, 2));
            ASSERT_EQ(mvip8_copyslice(nullptr, &img.im, &img.im, 2, 0), 0);
            expect_memory(img, want);
            ASSERT_EQ(mvip8_copyslice(nullptr, &img.im, &img.im, 1, 1), 0);
            expect_memory(img, want);
        }
}

TEST(CopySlice, IndexOutOfRangeIsRefusedBeforeTheHook) {
    Img src({MVTYPE_U8, 8}, 3, 5, 4, 1), dst({MVTYPE_U8, 8}, 2, 5, 4, 2);
    const Bytes before = dst.mem;
    const std::pair<int32_t, int32_t> bad[] = {{3, 0}, {-1, 0}, {0, 2}, {0, -1}, {INT32_MIN, 0}};
    for (auto [si, di] : bad) {
        Hook hook;
        EXPECT_EQ(mvip8_copyslice(hook.get(), &src.im, &dst.im, si, di), MVERR_USAGE)
            << si << " " << di;
        EXPECT_TRUE(hook.rec.calls.empty());
    }
    Hook hook;
    EXPECT_EQ(mvip8_copyslice(hook.get(), nullptr, &dst.im, 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvip8_copyslice(hook.get(), &src.im, nullptr, 0, 0), MVERR_USAGE);
    EXPECT_TRUE(hook.rec.calls.empty());
    // Bit depths must agree.
    Img other({MVTYPE_U8, 6}, 2, 5, 4, 3);
    EXPECT_EQ(mvip8_copyslice(nullptr, &src.im, &other.im, 0, 0), MVERR_USAGE);
    expect_memory(dst, before);
}

TEST(CopyColorConvert, OwnSpaceIsPlainCopy) {
    for (const Fmt& f : kFormats)
        for (uint32_t pixies : {1u, 3u}) {
            SCOPED_TRACE(describe(f, pixies));
            Img src(f, pixies, 9, 7, 21), dst(f, pixies, 8, 8, 22);
            src.window(1, 0, 7, 7);
            dst.window(2, 1, 8, 8);
            Bytes want = dst.mem;
            for (uint32_t y = 0; y < 7; ++y)
                for (uint32_t x = 0; x < 6; ++x)
                    for (uint32_t k = 0; k < pixies; ++k)
                        dst.set(want, x, y, k, src.at(src.mem, x, y, k));
            ASSERT_EQ(mvip8_copycolorconvert(nullptr, &src.im, &dst.im, 12345, space_for(pixies)),
                      0);
            expect_memory(dst, want);
        }
}

TEST(CopyColorConvert, OtherSpaceGoesThroughTheConverter) {
    for (const Fmt& f : kFormats) {
        SCOPED_TRACE(describe(f, 3));
        // BGR to RGB reverses the pixies of every pixel.
        Img src(f, 3, 9, 7, 23), dst(f, 3, 8, 8, 24, false, 0, MVCS_RGB);
        src.window(1, 0, 7, 7);
        dst.window(2, 1, 8, 8);
        Bytes want = dst.mem;
        for (uint32_t y = 0; y < 7; ++y)
            for (uint32_t x = 0; x < 6; ++x)
                for (uint32_t k = 0; k < 3; ++k)
                    dst.set(want, x, y, k, src.at(src.mem, x, y, 2 - k));
        ASSERT_EQ(mvip8_copycolorconvert(nullptr, &src.im, &dst.im, 0, MVCS_RGB), 0);
        expect_memory(dst, want);

        // To grey: the same values as a copy from a converter view built here.
        Img grey(f, 1, 6, 7, 25), expected(f, 1, 6, 7, 25);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, &src.im, MVCS_GREY, 0), 0);
        ASSERT_EQ(mvip8_copy(nullptr, &view, &expected.im), 0);
        ASSERT_EQ(mvip8_copycolorconvert(nullptr, &src.im, &grey.im, 0, MVCS_GREY), 0);
        expect_memory(grey, expected.mem);
    }
    Img src({MVTYPE_U8, 8}, 3, 4, 4, 1), dst({MVTYPE_U8, 8}, 3, 4, 4, 2);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, &src.im, &dst.im, 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, nullptr, &dst.im, 0, MVCS_RGB), MVERR_USAGE);
    EXPECT_EQ(mvip8_copycolorconvert(nullptr, &src.im, nullptr, 0, MVCS_RGB), MVERR_USAGE);
}

// ---- resampling ----------------------------------------------------------

// Source coordinate of destination pixel x, with pixel centres aligned.
double source_coordinate(uint32_t x, uint32_t src_size, uint32_t dst_size) {
    return (x + 0.5) * src_size / dst_size - 0.5;
}

double reference_nearest(const Img& src, uint32_t dw, uint32_t dh, uint32_t x, uint32_t y,
                         uint32_t k) {
    auto pick = [](uint32_t d, uint32_t s, uint32_t n) {
        const double r = std::round(source_coordinate(d, s, n));  // half away from zero
        return static_cast<uint32_t>(std::clamp(r, 0.0, s - 1.0));
    };
    return src.at(src.mem, pick(x, src.ww(), dw), pick(y, src.wh(), dh), k);
}

double reference_bilinear(const Img& src, uint32_t dw, uint32_t dh, uint32_t x, uint32_t y,
                          uint32_t k) {
    struct Taps {
        uint32_t i0, i1;
        double f;
    };
    auto taps = [](uint32_t d, uint32_t s, uint32_t n) {
        const double c = std::clamp(source_coordinate(d, s, n), 0.0, s - 1.0);
        const double fl = std::floor(c);
        const auto i0 = static_cast<uint32_t>(fl);
        return Taps{i0, std::min(i0 + 1, s - 1), c - fl};
    };
    const Taps tx = taps(x, src.ww(), dw), ty = taps(y, src.wh(), dh);
    auto p = [&](uint32_t i, uint32_t j) { return src.at(src.mem, i, j, k); };
    const double top = p(tx.i0, ty.i0) * (1 - tx.f) + p(tx.i1, ty.i0) * tx.f;
    const double bottom = p(tx.i0, ty.i1) * (1 - tx.f) + p(tx.i1, ty.i1) * tx.f;
    const double v = top * (1 - ty.f) + bottom * ty.f;
    if (src.type == MVTYPE_FLOAT) return static_cast<float>(v);
    if (src.type == MVTYPE_DOUBLE) return v;
    return std::floor(v + 0.5);  // never negative: half away from zero
}

struct Size {
    uint32_t sw, sh, dw, dh;
};
constexpr Size kResampleSizes[] = {{10, 7, 23, 15}, {23, 15, 10, 7}, {9, 9, 4, 17},
                                   {1, 1, 5, 3},    {5, 1, 12, 4},   {16, 12, 8, 6},
                                   {8, 6, 16, 12},  {3, 5, 3, 9},    {7, 4, 7, 4}};

TEST(CopyResample, NearestAndBilinearMatchTheReference) {
    for (int bilinear = 0; bilinear < 2; ++bilinear)
        for (const Fmt& f : kFormats)
            for (uint32_t pixies : {1u, 3u})
                for (const Size& s : kResampleSizes) {
                    SCOPED_TRACE(describe(f, pixies) + (bilinear ? " bilinear " : " nearest ") +
                                 std::to_string(s.sw) + "x" + std::to_string(s.sh) + " -> " +
                                 std::to_string(s.dw) + "x" + std::to_string(s.dh));
                    Img src(f, pixies, s.sw + 3, s.sh + 2, 31, pixies == 1);
                    Img dst(f, pixies, s.dw + 2, s.dh + 3, 32, false, 1);
                    src.window(2, 1, 2 + s.sw, 1 + s.sh);
                    dst.window(1, 2, 1 + s.dw, 2 + s.dh);
                    Bytes want = dst.mem;
                    for (uint32_t y = 0; y < s.dh; ++y)
                        for (uint32_t x = 0; x < s.dw; ++x)
                            for (uint32_t k = 0; k < pixies; ++k)
                                dst.set(want, x, y, k,
                                        bilinear ? reference_bilinear(src, s.dw, s.dh, x, y, k)
                                                 : reference_nearest(src, s.dw, s.dh, x, y, k));
                    const int32_t rc = bilinear
                                           ? mvip8_copyinterpbilinear(nullptr, &src.im, &dst.im)
                                           : mvip8_copyinterpnearest(nullptr, &src.im, &dst.im);
                    ASSERT_EQ(rc, 0);
                    if (f.type == MVTYPE_FLOAT || f.type == MVTYPE_DOUBLE) {
                        // Allow for the order of the floating operations.
                        const double tol = f.type == MVTYPE_FLOAT ? 1e-4 : 1e-9;
                        for (uint32_t y = 0; y < s.dh; ++y)
                            for (uint32_t x = 0; x < s.dw; ++x)
                                for (uint32_t k = 0; k < pixies; ++k) {
                                    const double a = dst.at(dst.mem, x, y, k),
                                                 b = dst.at(want, x, y, k);
                                    ASSERT_NEAR(a, b, tol * std::max(1.0, std::fabs(b)));
                                    dst.set(want, x, y, k, a);
                                }
                    }
                    expect_memory(dst, want);
                }
}

TEST(CopyResample, ValuesAtTheType) {
    // Full-range u32 values interpolate without overflow; an exact half
    // rounds up.
    Img src({MVTYPE_U32, 32}, 1, 2, 1, 1), dst({MVTYPE_U32, 32}, 1, 4, 1, 2);
    src.put(src.mem, 0, 0, 0, 4294967295.0);
    src.put(src.mem, 1, 0, 0, 4294967294.0);
    ASSERT_EQ(mvip8_copyinterpbilinear(nullptr, &src.im, &dst.im), 0);
    // Coordinates -0.25, 0.25, 0.75, 1.25.
    EXPECT_EQ(dst.get(dst.mem, 0, 0, 0), 4294967295.0);
    EXPECT_EQ(dst.get(dst.mem, 1, 0, 0), 4294967295.0);  // 4294967294.75
    EXPECT_EQ(dst.get(dst.mem, 2, 0, 0), 4294967294.0);  // 4294967294.25
    EXPECT_EQ(dst.get(dst.mem, 3, 0, 0), 4294967294.0);
    Img a({MVTYPE_U8, 8}, 1, 2, 1, 1), b({MVTYPE_U8, 8}, 1, 1, 1, 2);
    a.put(a.mem, 0, 0, 0, 3);
    a.put(a.mem, 1, 0, 0, 4);
    ASSERT_EQ(mvip8_copyinterpbilinear(nullptr, &a.im, &b.im), 0);
    EXPECT_EQ(b.get(b.mem, 0, 0, 0), 4);  // 3.5 rounds half away from zero
    ASSERT_EQ(mvip8_copyinterpnearest(nullptr, &a.im, &b.im), 0);
    EXPECT_EQ(b.get(b.mem, 0, 0, 0), 4);  // coordinate 0.5 rounds to 1
}

TEST(CopyResample, EmptyWindows) {
    for (int op = 0; op < 3; ++op) {
        auto run = [op](mvimage* s, mvimage* d) {
            return op == 0   ? mvip8_copyinterpnearest(nullptr, s, d)
                   : op == 1 ? mvip8_copyinterpbilinear(nullptr, s, d)
                             : mvip8_copyreplic(nullptr, s, d);
        };
        Img src({MVTYPE_U8, 8}, 1, 6, 6, 1), dst({MVTYPE_U8, 8}, 1, 5, 5, 2);
        const Bytes before = dst.mem;
        dst.window(2, 2, 2, 5);  // no columns: nothing to receive
        EXPECT_EQ(run(&src.im, &dst.im), 0) << op;
        dst.window(0, 0, 5, 5);
        src.window(3, 3, 3, 3);  // nothing to give
        EXPECT_EQ(run(&src.im, &dst.im), MVERR_USAGE) << op;
        expect_memory(dst, before);
    }
}

// ---- shift, reverse, replic ---------------------------------------------

constexpr Fmt kSomeFormats[] = {
    {MVTYPE_U8, 8}, {MVTYPE_U16, 12}, {MVTYPE_U32, 32}, {MVTYPE_FLOAT, 0}, {MVTYPE_DOUBLE, 0}};

TEST(CopyShift, DisplacedCopyInPlaceAndNot) {
    const std::pair<int32_t, int32_t> shifts[] = {
        {0, 0}, {3, 2},  {-4, 1},  {2, -3}, {-1, -5}, {0, 6},         {7, 0},
        {9, 0}, {0, -8}, {-12, 1}, {8, 7},  {-8, -7}, {INT32_MIN, 0}, {0, INT32_MAX}};
    for (const Fmt& f : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (auto [dx, dy] : shifts)
                for (bool in_place : {false, true}) {
                    SCOPED_TRACE(describe(f, pixies) + " shift " + std::to_string(dx) + "," +
                                 std::to_string(dy) + (in_place ? " in place" : ""));
                    Img src(f, pixies, 12, 11, 41, pixies == 3);
                    Img other(f, pixies, 10, 10, 42, false, 2);
                    Img& dst = in_place ? src : other;
                    src.window(2, 1, 11, 9);  // 9 x 8
                    if (!in_place) other.window(0, 2, 9, 10);
                    const Bytes original = src.mem;
                    Bytes want = dst.mem;
                    for (int64_t y = 0; y < 8; ++y)
                        for (int64_t x = 0; x < 9; ++x) {
                            const int64_t sx = x - dx, sy = y - dy;
                            if (sx < 0 || sx >= 9 || sy < 0 || sy >= 8) continue;
                            for (uint32_t k = 0; k < pixies; ++k)
                                dst.set(want, uint32_t(x), uint32_t(y), k,
                                        src.at(original, uint32_t(sx), uint32_t(sy), k));
                        }
                    ASSERT_EQ(mvip8_copyshift(nullptr, &src.im, &dst.im, dx, dy), 0);
                    expect_memory(dst, want);
                }
}

TEST(CopyReverse, MirroredCopyInPlaceAndNot) {
    const std::pair<uint32_t, uint32_t> sizes[] = {{7, 5}, {6, 4}, {1, 1}, {5, 2}, {2, 3}};
    for (const Fmt& f : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (auto [w, h] : sizes)
                for (uint32_t mode = 0; mode < 4; ++mode)
                    for (bool in_place : {false, true}) {
                        SCOPED_TRACE(describe(f, pixies) + " " + std::to_string(w) + "x" +
                                     std::to_string(h) + " mode " + std::to_string(mode) +
                                     (in_place ? " in place" : ""));
                        Img src(f, pixies, w + 3, h + 2, 51, pixies == 1);
                        Img other(f, pixies, w + 1, h + 1, 52, false, 1);
                        Img& dst = in_place ? src : other;
                        src.window(1, 2, 1 + w, 2 + h);
                        if (!in_place) other.window(1, 0, 1 + w, h);
                        const Bytes original = src.mem;
                        Bytes want = dst.mem;
                        for (uint32_t y = 0; y < h; ++y)
                            for (uint32_t x = 0; x < w; ++x)
                                for (uint32_t k = 0; k < pixies; ++k) {
                                    const uint32_t sx = (mode & 1) ? w - 1 - x : x;
                                    const uint32_t sy = (mode & 2) ? h - 1 - y : y;
                                    dst.set(want, x, y, k, src.at(original, sx, sy, k));
                                }
                        ASSERT_EQ(mvip8_copyreverse(nullptr, &src.im, &dst.im, mode), 0);
                        expect_memory(dst, want);
                    }
    Img img({MVTYPE_U8, 8}, 1, 4, 4, 1);
    const Bytes before = img.mem;
    EXPECT_EQ(mvip8_copyreverse(nullptr, &img.im, &img.im, 4), MVERR_USAGE);
    EXPECT_EQ(mvip8_copyreverse(nullptr, &img.im, &img.im, 0x80000001u), MVERR_USAGE);
    expect_memory(img, before);
}

TEST(CopyReplic, TilesTheSourceOverTheDestination) {
    const Size sizes[] = {{3, 2, 10, 7}, {4, 4, 4, 9}, {5, 3, 2, 2}, {1, 1, 6, 3},
                          {6, 5, 6, 5},  {2, 7, 9, 1}, {3, 3, 17, 4}};
    for (const Fmt& f : kSomeFormats)
        for (uint32_t pixies : {1u, 3u})
            for (const Size& s : sizes) {
                SCOPED_TRACE(describe(f, pixies) + " " + std::to_string(s.sw) + "x" +
                             std::to_string(s.sh) + " -> " + std::to_string(s.dw) + "x" +
                             std::to_string(s.dh));
                Img src(f, pixies, s.sw + 2, s.sh + 1, 61, pixies == 3);
                Img dst(f, pixies, s.dw + 3, s.dh + 2, 62, false, 2);
                src.window(1, 1, 1 + s.sw, 1 + s.sh);
                dst.window(2, 0, 2 + s.dw, s.dh);
                Bytes want = dst.mem;
                for (uint32_t y = 0; y < s.dh; ++y)
                    for (uint32_t x = 0; x < s.dw; ++x)
                        for (uint32_t k = 0; k < pixies; ++k)
                            dst.set(want, x, y, k, src.at(src.mem, x % s.sw, y % s.sh, k));
                ASSERT_EQ(mvip8_copyreplic(nullptr, &src.im, &dst.im), 0);
                expect_memory(dst, want);
            }
    Img img({MVTYPE_U16, 16}, 2, 5, 4, 3);
    img.window(1, 1, 4, 3);
    const Bytes before = img.mem;
    EXPECT_EQ(mvip8_copyreplic(nullptr, &img.im, &img.im), 0);
    expect_memory(img, before);
}

// ---- abort hook ----------------------------------------------------------

// Each operation writes its destination window (17 x 20) line by line from
// the top; `total` is the line count that its progress calls report.
struct HookCase {
    const char* name;
    std::function<int32_t(mvabort*, mvimage*, mvimage*)> run;
    uint32_t total;
    bool small_source;  // resampling and tiling: a 10 x 11 source window
};

const HookCase kHookCases[] = {
    {"copy", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copy(h, a, b); }, 20, false},
    {"exchange", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyexchange(h, a, b); }, 20,
     false},
    {"slice", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyslice(h, a, b, 2, 0); }, 20,
     false},
    {"slice in place",
     [](mvabort* h, mvimage* a, mvimage*) { return mvip8_copyslice(h, a, a, 2, 0); }, 20, false},
    {"colorconvert",
     [](mvabort* h, mvimage* a, mvimage* b) {
         return mvip8_copycolorconvert(h, a, b, 0, MVCS_RGB);
     },
     20, false},
    {"nearest", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyinterpnearest(h, a, b); },
     20, true},
    {"bilinear",
     [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyinterpbilinear(h, a, b); }, 20,
     true},
    {"replic", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyreplic(h, a, b); }, 20,
     true},
    {"shift", [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyshift(h, a, b, 2, -3); },
     17, false},
    {"reverse left-right",
     [](mvabort* h, mvimage* a, mvimage* b) { return mvip8_copyreverse(h, a, b, 1); }, 20, false},
};

struct HookImages {
    explicit HookImages(bool small_source)
        : a({MVTYPE_U16, 12}, 3, 23, 30, 71), b({MVTYPE_U16, 12}, 3, 21, 26, 72, true, 1) {
        if (small_source)
            a.window(2, 3, 12, 14);
        else
            a.window(2, 3, 19, 23);
        b.window(1, 4, 18, 24);
    }
    Img a, b;
};

// The expected image after a stop at line `stop`: window lines above it
// as after the full run, the rest as before.
Bytes stopped_at(const Img& img, const Bytes& before, const Bytes& full, uint32_t stop) {
    Bytes want = before;
    const size_t pixel = size_t{img.pixies} * img.vb;
    for (uint32_t y = 0; y < std::min(stop, img.wh()); ++y) {
        const size_t at = (img.wy() + y) * img.pitch + img.wx() * pixel;
        std::memcpy(want.data() + at, full.data() + at, img.ww() * pixel);
    }
    return want;
}

TEST(CopyHook, EntryStopMidWalkStopAndProgress) {
    for (const HookCase& c : kHookCases) {
        SCOPED_TRACE(c.name);
        HookImages full(c.small_source);
        const Bytes a0 = full.a.mem, b0 = full.b.mem;
        Hook progress;
        ASSERT_EQ(c.run(progress.get(), &full.a.im, &full.b.im), 0);
        const std::vector<std::pair<int32_t, int32_t>> calls = {
            {0, 0}, {0, int32_t(c.total)}, {8, int32_t(c.total)}, {16, int32_t(c.total)}};
        EXPECT_EQ(progress.rec.calls, calls);
        ASSERT_TRUE(full.a.mem != a0 || full.b.mem != b0);

        {  // At entry: the second answer is returned and nothing changes.
            HookImages im(c.small_source);
            Hook stop([](int32_t, int32_t, size_t i) { return i == 0 ? -4 : -77; });
            EXPECT_EQ(c.run(stop.get(), &im.a.im, &im.b.im), -77);
            EXPECT_EQ(stop.rec.calls.size(), 2u);
            expect_memory(im.a, a0);
            expect_memory(im.b, b0);
        }
        {  // A second answer of 0 still ends the call, with nothing changed.
            HookImages im(c.small_source);
            Hook stop([](int32_t, int32_t, size_t i) { return i == 0 ? -4 : 0; });
            EXPECT_EQ(c.run(stop.get(), &im.a.im, &im.b.im), 0);
            EXPECT_EQ(stop.rec.calls.size(), 2u);
            expect_memory(im.a, a0);
            expect_memory(im.b, b0);
        }
        {  // At line 16: lines 0..15 written, the rest untouched.
            HookImages im(c.small_source);
            Hook stop(
                [](int32_t done, int32_t total, size_t) { return total && done == 16 ? 99 : 0; });
            EXPECT_EQ(c.run(stop.get(), &im.a.im, &im.b.im), 99);
            expect_memory(im.a, stopped_at(im.a, a0, full.a.mem, 16));
            expect_memory(im.b, stopped_at(im.b, b0, full.b.mem, 16));
        }
    }
}

TEST(CopyHook, MirrorTopBottomCountsLinePairs) {
    for (uint32_t h : {20u, 17u}) {
        SCOPED_TRACE(h);
        Img src({MVTYPE_U8, 8}, 2, 6, h, 81), dst({MVTYPE_U8, 8}, 2, 6, h, 82);
        const Bytes before = dst.mem;
        Hook progress;
        ASSERT_EQ(mvip8_copyreverse(progress.get(), &src.im, &dst.im, 2), 0);
        const int32_t steps = int32_t(h + 1) / 2;
        const std::vector<std::pair<int32_t, int32_t>> calls = {{0, 0}, {0, steps}, {8, steps}};
        EXPECT_EQ(progress.rec.calls, calls);
        const Bytes full = dst.mem;
        // Stopped at the ninth pair: the top and bottom eight lines written.
        dst.mem = before;
        Hook stop([](int32_t done, int32_t total, size_t) { return total && done == 8 ? -4 : 0; });
        ASSERT_EQ(mvip8_copyreverse(stop.get(), &src.im, &dst.im, 2), -4);
        Bytes want = before;
        const size_t line = 6 * 2;
        for (uint32_t y = 0; y < h; ++y)
            if (y < 8 || y >= h - 8)
                std::memcpy(want.data() + y * line, full.data() + y * line, line);
        expect_memory(dst, want);
    }
}

}  // namespace
