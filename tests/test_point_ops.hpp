// Helpers shared by the operation tests: memory images over their own
// buffers with padded lines, value access in any data type, seeded random
// contents, and an abort hook that records its calls.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace optest {

struct Format {
    uint32_t type;
    uint32_t bits;    // significant bits; 0 for float types
    uint32_t pixies;
    float lo = 0.f;   // float types: the value range
    float hi = 1.f;
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

// A memory image over a buffer it owns.  Lines are padded by a few pixels
// so that the pitch is not the packed width.  Not copyable: the record
// points into the buffer.
class Image {
public:
    Image(const Format& f, uint32_t w, uint32_t h, uint32_t pad = 3, bool bottom_up = false)
        : fmt_(f), w_(w), h_(h) {
        line_bytes_ = size_t{w + pad} * f.pixies * value_bytes(f.type);
        line_bytes_ = (line_bytes_ + 7) / 8 * 8;
        store_.assign((line_bytes_ * h + 7) / 8 + 1, 0);
        bottom_up_ = bottom_up;
        init(&im_);
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // Builds a memory record over this image's buffer (the primary record,
    // or a second one over the same memory).
    void init(mvimage* rec) const {
        const uint32_t dims[2] = {w_, h_};
        auto* base = reinterpret_cast<unsigned char*>(const_cast<uint64_t*>(store_.data()));
        const int32_t pitch = static_cast<int32_t>(line_bytes_);
        void* first = bottom_up_ ? base + line_bytes_ * (h_ - 1) : base;
        const int32_t rc = mvimage_memory(rec, first, dims, bottom_up_ ? -pitch : pitch, fmt_.type,
                                          fmt_.bits, fmt_.pixies, fmt_.pixies == 3 ? MVCS_BGR : MVCS_GREY,
                                          0);
        EXPECT_EQ(rc, 0);
        if (is_float(fmt_.type)) {
            rec->pixfmt.valflags = std::bit_cast<uint32_t>(fmt_.lo);
            rec->pixfmt.valform = std::bit_cast<uint32_t>(fmt_.hi);
        }
    }

    mvimage* rec() { return &im_; }
    const Format& fmt() const { return fmt_; }
    uint32_t width() const { return w_; }
    uint32_t height() const { return h_; }
    uint32_t pixies() const { return fmt_.pixies; }

    void window(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
        ASSERT_EQ(mvimage_setwind(&im_, x0, y0, x1, y1), 0);
    }

    unsigned char* at(uint32_t x, uint32_t y, uint32_t k) {
        const uint32_t row = bottom_up_ ? h_ - 1 - y : y;
        return reinterpret_cast<unsigned char*>(store_.data()) + line_bytes_ * row +
               (size_t{x} * fmt_.pixies + k) * value_bytes(fmt_.type);
    }
    const unsigned char* at(uint32_t x, uint32_t y, uint32_t k) const {
        return const_cast<Image*>(this)->at(x, y, k);
    }
    double get(uint32_t x, uint32_t y, uint32_t k) const {
        const unsigned char* p = at(x, y, k);
        switch (fmt_.type) {
            case MVTYPE_U8: return *p;
            case MVTYPE_U16: { uint16_t v; std::memcpy(&v, p, 2); return v; }
            case MVTYPE_FLOAT: { float v; std::memcpy(&v, p, 4); return v; }
            case MVTYPE_DOUBLE: { double v; std::memcpy(&v, p, 8); return v; }
            default: { uint32_t v; std::memcpy(&v, p, 4); return v; }
        }
    }
    // Stores x in the image's type (integers: the caller passes a value
    // that fits the container).
    void set(uint32_t x, uint32_t y, uint32_t k, double v) {
        unsigned char* p = at(x, y, k);
        switch (fmt_.type) {
            case MVTYPE_U8: *p = static_cast<uint8_t>(v); break;
            case MVTYPE_U16: { const uint16_t u = static_cast<uint16_t>(v); std::memcpy(p, &u, 2); break; }
            case MVTYPE_FLOAT: { const float u = static_cast<float>(v); std::memcpy(p, &u, 4); break; }
            case MVTYPE_DOUBLE: std::memcpy(p, &v, 8); break;
            default: { const uint32_t u = static_cast<uint32_t>(v); std::memcpy(p, &u, 4); break; }
        }
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
    double value_in(const std::vector<double>& v, uint32_t x, uint32_t y, uint32_t k) const {
        return v[(size_t{y} * w_ + x) * fmt_.pixies + k];
    }
    std::vector<uint64_t> raw() const { return store_; }
    bool raw_is(const std::vector<uint64_t>& r) const { return r == store_; }

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
    size_t line_bytes_ = 0;
    bool bottom_up_ = false;
    std::vector<uint64_t> store_;
    mvimage im_{};
};

// An abort hook that records every call and answers from a rule.  The
// record handed to the library is the mvabort followed by caller data (a
// pointer back to the hook), as the protocol allows.
class Hook {
public:
    Hook() = default;
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;

    std::vector<std::pair<int32_t, int32_t>> calls;
    std::function<int32_t(int32_t done, int32_t total, size_t index)> answer;

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

// Values of the kernel's result type: integers are kept exactly, floats
// compared with a relative tolerance of the type.
inline bool same_value(double got, double want, uint32_t type) {
    if (!is_float(type)) return got == want;
    if (std::isnan(want)) return std::isnan(got);
    const double tol = (type == MVTYPE_FLOAT ? 4e-7 : 1e-13) * std::max(1.0, std::fabs(want));
    return std::fabs(got - want) <= tol;
}

// Rounds half away from zero and clips to [0, top].
inline double round_clip(double r, double top) {
    if (!(r > 0)) return 0;
    if (r >= top) return top;
    return std::floor(r + 0.5);
}

}  // namespace optest
