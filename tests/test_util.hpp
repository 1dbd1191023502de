// Small helpers shared by the test files: kind tags, the behaviour every
// no-op slot must show, memory images over buffers the test owns (any data
// type, padded lines, bottom-up or byte-swapped storage), an abort hook
// that records its calls.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace mvtest {

inline bool kind_is(const char (&kind)[8], const char* tag) {
    char want[8] = {};
    std::memcpy(want, tag, std::strlen(tag) < 8 ? std::strlen(tag) : 8);
    return std::memcmp(kind, want, 8) == 0;
}

// A record whose access slots (other than aeiou and xwind) all do nothing:
// a null image, or any image after a failed window set.  `z` is the extra
// coordinate of the 3-D slots.
template <class Record, class... Z>
void expect_noop_slots_of(Record& im, Z... z) {
    uint8_t buf[256];
    std::memset(buf, 0xC3, sizeof buf);
    EXPECT_EQ(im.ioread(&im, 0, buf, 4, 0, 0, z...), 0u);
    EXPECT_EQ(im.iorite(&im, 0, buf, 4, 0, 0, z...), 0u);
    for (uint8_t b : buf) ASSERT_EQ(b, 0xC3);
    EXPECT_EQ(im.iolen(&im, 4, 0, 0, z...), 0u);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    mvbxtentry list[2] = {{0, 0, 0}, {1, 0, 0}};
    EXPECT_EQ(im.bxtp(&im, -1, list, 2), 0);
    EXPECT_EQ(im.bxta(&im, -1, buf, list, 2, 3), 0u);
    EXPECT_EQ(im.iowait(&im), 1);
    EXPECT_EQ(im.bxtw(&im), 1);
    EXPECT_EQ(im.imapset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), MVERR_UNSUPPORTED);
    mvmapdesc d;
    d.runs = 7;
    EXPECT_EQ(im.imap(&im, &d, 0, 0, z...), 0);
    EXPECT_EQ(d.runs, 0u);
    d.runs = 7;
    im.imapr(&im, &d);
    EXPECT_EQ(d.runs, 0u);
}
inline void expect_noop_slots(mvimage& im) { expect_noop_slots_of(im); }
inline void expect_noop_slots(mvimage3& im) { expect_noop_slots_of(im, 0); }

inline bool wind_is(const mvimage& im, int32_t nx, int32_t ny, int32_t sx, int32_t sy) {
    return im.wind.nw.x == nx && im.wind.nw.y == ny && im.wind.se.x == sx && im.wind.se.y == sy &&
           im.wind_reserved[0] == 0 && im.wind_reserved[1] == 0;
}

// ---- formats and memory images -------------------------------------------

constexpr uint32_t kSpaceByPixies = ~0u;

struct Format {
    uint32_t type;
    uint32_t bits;    // significant bits; 0 for float types
    uint32_t pixies;
    float lo = 0.f;   // float types: the value range
    float hi = 1.f;
    uint32_t space = kSpaceByPixies;  // or grey, complex, BGR or BGRX by the pixie count
};

inline bool is_float(uint32_t type) { return type == MVTYPE_FLOAT || type == MVTYPE_DOUBLE; }
inline uint32_t value_bytes(uint32_t type) {
    switch (type) {
        case MVTYPE_U8: return 1;
        case MVTYPE_U16: return 2;
        case MVTYPE_DOUBLE: return 8;
        default: return 4;
    }
}
inline uint32_t container_bits(uint32_t type) { return 8 * value_bytes(type); }
inline uint64_t max_of(const Format& f) {
    return f.bits >= 32 ? 0xFFFFFFFFull : (uint64_t{1} << f.bits) - 1;
}
inline uint64_t container_mask(uint32_t type) {
    return container_bits(type) >= 32 ? 0xFFFFFFFFull : (uint64_t{1} << container_bits(type)) - 1;
}
inline uint32_t default_space(uint32_t pixies) {
    const uint32_t spaces[] = {MVCS_UNKNOWN, MVCS_GREY, MVCS_COMPLEX, MVCS_BGR, MVCS_BGRX};
    return pixies <= 4 ? spaces[pixies] : MVCS_UNKNOWN;
}

inline std::string name_of(const Format& f) {
    std::string s;
    switch (f.type) {
        case MVTYPE_U8: s = "u8/"; break;
        case MVTYPE_U16: s = "u16/"; break;
        case MVTYPE_U32: s = "u32/"; break;
        case MVTYPE_FLOAT: s = "float"; break;
        case MVTYPE_DOUBLE: s = "double"; break;
        default: s = "type" + std::to_string(f.type) + "/"; break;
    }
    if (!is_float(f.type)) s += std::to_string(f.bits);
    else s += "[" + std::to_string(f.lo) + "," + std::to_string(f.hi) + "]";
    return s + "x" + std::to_string(f.pixies);
}

// A value of `type` in memory, and the reverse (integers: the caller
// passes a value that fits the container).
inline double load_value(const void* p, uint32_t type) {
    switch (type) {
        case MVTYPE_U8: return *static_cast<const uint8_t*>(p);
        case MVTYPE_U16: { uint16_t v; std::memcpy(&v, p, 2); return v; }
        case MVTYPE_FLOAT: { float v; std::memcpy(&v, p, 4); return v; }
        case MVTYPE_DOUBLE: { double v; std::memcpy(&v, p, 8); return v; }
        default: { uint32_t v; std::memcpy(&v, p, 4); return v; }
    }
}
inline void store_value(void* p, uint32_t type, double v) {
    switch (type) {
        case MVTYPE_U8: *static_cast<uint8_t*>(p) = static_cast<uint8_t>(v); break;
        case MVTYPE_U16: { const auto u = static_cast<uint16_t>(v); std::memcpy(p, &u, 2); break; }
        case MVTYPE_FLOAT: { const auto u = static_cast<float>(v); std::memcpy(p, &u, 4); break; }
        case MVTYPE_DOUBLE: std::memcpy(p, &v, 8); break;
        default: { const auto u = static_cast<uint32_t>(v); std::memcpy(p, &u, 4); break; }
    }
}

// How an image's pixels lie in memory: `pad` unused pixels after every
// line, lines bottom-up, values in the opposite byte order (such an image
// refuses direct mapping, so operations reach it through buffers).
struct Layout {
    uint32_t pad = 3;
    bool bottom_up = false;
    bool swapped = false;
};

// A memory image over a buffer it owns.  Padding bytes stay zero, so that
// writes beyond a line show.  Coordinates are absolute unless named
// window-relative.  Not copyable: the record points into the buffer.
class Image {
public:
    Image(const Format& f, uint32_t w, uint32_t h, Layout l = {}) : fmt_(f), w_(w), h_(h), l_(l) {
        line_bytes_ = size_t{w + l.pad} * f.pixies * value_bytes(f.type);
        store_.assign((line_bytes_ * h + 7) / 8 + 1, 0);
        init(&im_);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // Builds a record over this image's buffer (the primary record, or a
    // second one over the same memory).
    void init(mvimage* rec) const {
        mvpixfmt pf{};
        ASSERT_EQ(mvpixfmt_set(&pf, fmt_.type, fmt_.bits, fmt_.pixies,
                               fmt_.space != kSpaceByPixies ? fmt_.space : default_space(fmt_.pixies)),
                  0);
        if (is_float(fmt_.type)) {
            pf.valflags = std::bit_cast<uint32_t>(fmt_.lo);
            pf.valform = std::bit_cast<uint32_t>(fmt_.hi);
        }
        if (l_.swapped) pf.byteorder = MVREQ_SWAPPED;
        const uint32_t dims[2] = {w_, h_};
        const auto pitch = static_cast<int32_t>(line_bytes_);
        ASSERT_EQ(mvimage_memdata(rec, row(0), 0, dims, l_.bottom_up ? -pitch : pitch, &pf, nullptr, 0), 0);
    }

    mvimage* rec() { return &im_; }
    const mvimage* rec() const { return &im_; }
    const Format& fmt() const { return fmt_; }
    uint32_t width() const { return w_; }
    uint32_t height() const { return h_; }
    uint32_t pixies() const { return fmt_.pixies; }

    void window(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        ASSERT_EQ(mvimage_setwind(&im_, x0, y0, x1, y1), 0);
    }
    int32_t wx() const { return im_.wind.nw.x; }
    int32_t wy() const { return im_.wind.nw.y; }
    uint32_t ww() const { return uint32_t(im_.wind.se.x - im_.wind.nw.x); }
    uint32_t wh() const { return uint32_t(im_.wind.se.y - im_.wind.nw.y); }

    unsigned char* row(uint32_t y) const {
        auto* base = reinterpret_cast<unsigned char*>(const_cast<uint64_t*>(store_.data()));
        return base + line_bytes_ * (l_.bottom_up ? h_ - 1 - y : y);
    }
    unsigned char* at(uint32_t x, uint32_t y, uint32_t k) const {
        return row(y) + (size_t{x} * fmt_.pixies + k) * value_bytes(fmt_.type);
    }
    // Window-relative read.
    double wget(uint32_t x, uint32_t y, uint32_t k) const { return get(uint32_t(wx()) + x, uint32_t(wy()) + y, k); }
    double get(uint32_t x, uint32_t y, uint32_t k) const {
        unsigned char raw[8];
        std::memcpy(raw, at(x, y, k), value_bytes(fmt_.type));
        if (l_.swapped && value_bytes(fmt_.type) != 8) std::reverse(raw, raw + value_bytes(fmt_.type));  // doubles are not swapped
        return load_value(raw, fmt_.type);
    }
    // Stores v in the image's type (integers: the caller passes a value
    // that fits the container).
    void set(uint32_t x, uint32_t y, uint32_t k, double v) {
        unsigned char raw[8];
        store_value(raw, fmt_.type, v);
        if (l_.swapped && value_bytes(fmt_.type) != 8) std::reverse(raw, raw + value_bytes(fmt_.type));  // doubles are not swapped
        std::memcpy(at(x, y, k), raw, value_bytes(fmt_.type));
    }

    // Every value of the image, line after line, pixel after pixel.
    std::vector<double> values() const {
        std::vector<double> out;
        out.reserve(size_t{w_} * h_ * fmt_.pixies);
        for (uint32_t y = 0; y < h_; ++y)
            for (uint32_t x = 0; x < w_; ++x)
                for (uint32_t k = 0; k < fmt_.pixies; ++k) out.push_back(get(x, y, k));
        return out;
    }
    size_t index(uint32_t x, uint32_t y, uint32_t k) const { return (size_t{y} * w_ + x) * fmt_.pixies + k; }
    double value_in(const std::vector<double>& v, uint32_t x, uint32_t y, uint32_t k) const {
        return v[index(x, y, k)];
    }
    std::vector<uint64_t> raw() const { return store_; }
    bool raw_is(const std::vector<uint64_t>& r) const { return r == store_; }
    // No byte of the line padding (or past the last line) was written.
    bool pads_clear() const {
        const size_t used = size_t{w_} * fmt_.pixies * value_bytes(fmt_.type);
        const auto* base = reinterpret_cast<const unsigned char*>(store_.data());
        for (size_t i = 0; i < store_.size() * 8; ++i)
            if (base[i] != 0 && (i >= line_bytes_ * h_ || i % line_bytes_ >= used)) return false;
        return true;
    }

    // Seeded random contents: integers over [0, maxval] with extra weight
    // on the ends, floats over the range widened by a quarter each side.
    void randomize(uint32_t seed) {
        std::mt19937_64 rng(seed);
        const uint64_t top = is_float(fmt_.type) ? 0 : max_of(fmt_);
        const double span = double(fmt_.hi) - double(fmt_.lo);
        for (uint32_t y = 0; y < h_; ++y)
            for (uint32_t x = 0; x < w_; ++x)
                for (uint32_t k = 0; k < fmt_.pixies; ++k) {
                    const uint64_t r = rng();
                    if (is_float(fmt_.type)) {
                        const double u = double(r >> 11) / double(uint64_t{1} << 53);
                        set(x, y, k, fmt_.lo + (u * 1.5 - 0.25) * span);
                    } else {
                        const uint64_t pick = r % 16;
                        set(x, y, k, double(pick == 0 ? 0 : pick == 1 ? top : (r >> 8) % (top + 1)));
                    }
                }
    }

private:
    Format fmt_;
    uint32_t w_, h_;
    Layout l_;
    size_t line_bytes_ = 0;
    std::vector<uint64_t> store_;
    mvimage im_{};
};

// Values of the kernel's result type: integers are kept exactly, floats
// compared with a relative tolerance of the type.
inline bool same_value(double got, double want, uint32_t type) {
    if (!is_float(type)) return got == want;
    if (std::isnan(want)) return std::isnan(got);
    const double tol = (type == MVTYPE_FLOAT ? 4e-7 : 1e-13) * std::max(1.0, std::fabs(want));
    return std::fabs(got - want) <= tol;
}

// The image holds `want` (as from values()) and nothing was written into
// its padding; names the first difference.
inline ::testing::AssertionResult holds(const Image& im, const std::vector<double>& want) {
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x)
            for (uint32_t k = 0; k < im.pixies(); ++k) {
                const double got = im.get(x, y, k), w = im.value_in(want, x, y, k);
                if (!same_value(got, w, im.fmt().type))
                    return ::testing::AssertionFailure()
                           << "(" << x << ", " << y << ") pixie " << k << ": got " << got << ", want " << w;
            }
    if (!im.pads_clear()) return ::testing::AssertionFailure() << "line padding written";
    return ::testing::AssertionSuccess();
}

// What `im` should hold after an operation that writes its window: its
// present values, with window pixel (x, y) (window-relative) set to
// f(x, y, k).
template <class F>
std::vector<double> with_window(const Image& im, F f) {
    std::vector<double> want = im.values();
    for (uint32_t y = 0; y < im.wh(); ++y)
        for (uint32_t x = 0; x < im.ww(); ++x)
            for (uint32_t k = 0; k < im.pixies(); ++k)
                want[im.index(uint32_t(im.wx()) + x, uint32_t(im.wy()) + y, k)] = f(x, y, k);
    return want;
}

// Rounds half away from zero and clips to [0, top].
inline double round_clip(double r, double top) {
    if (!(r > 0)) return 0;
    if (r >= top) return top;
    return std::floor(r + 0.5);
}

// ---- the abort hook ----------------------------------------------------

using Calls = std::vector<std::pair<int32_t, int32_t>>;

// An abort hook that records every call and answers from a rule.  The
// record handed to the library is the mvabort followed by caller data (a
// pointer back to the hook), as the protocol allows.
class Hook {
public:
    using Rule = std::function<int32_t(int32_t done, int32_t total, size_t index)>;
    explicit Hook(Rule rule = nullptr) : answer(std::move(rule)) {}
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;

    Calls calls;
    Rule answer;

    mvabort* get() { return &record_.base; }

private:
    struct Record {
        mvabort base;
        Hook* owner;
    };
    static int32_t call(mvabort* h, int32_t done, int32_t total) {
        Hook* self = reinterpret_cast<Record*>(h)->owner;
        self->calls.emplace_back(done, total);
        return self->answer ? self->answer(done, total, self->calls.size() - 1) : 0;
    }
    Record record_{{&Hook::call}, this};
};

}  // namespace mvtest
