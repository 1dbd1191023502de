// Copies that move pixels to other places: resampling to another size
// (nearest neighbour, bilinear), displacement, mirroring and tiling.  All
// pixies of a pixel move together; no value is changed except by the
// bilinear interpolation.
#include "ops/copy.hpp"

#include "ops/frame.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace mvip::ops {
namespace {

Setup copy_setup(mvabort* hook, mvimage* src, mvimage* dst, uint32_t extra_options) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = kAllTypes | kColor | extra_options;
    setup.mask = all_pixies_mask(src->pixfmt.pixies);
    return setup;
}

// Runs of pixels of an opened image, each image with its own window width
// (the frame's line helpers use the largest width of the images).
uint32_t read_pixels(const Frame& f, int i, void* buf, uint32_t count, uint32_t x, uint32_t y) {
    mvimage* im = f.image(i);
    return im->ioread(im, 0, buf, count, static_cast<int32_t>(x), static_cast<int32_t>(y));
}
uint32_t write_pixels(const Frame& f, int i, const void* buf, uint32_t count, uint32_t x,
                      uint32_t y) {
    mvimage* im = f.image(i);
    return im->iorite(im, 0, const_cast<void*>(buf), count, static_cast<int32_t>(x),
                      static_cast<int32_t>(y));
}

bool same_size(const mvimage* a, const mvimage* b) {
    return wind_width(a) == wind_width(b) && wind_height(a) == wind_height(b);
}

template <class T>
std::unique_ptr<T[]> allocate(size_t n) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[n ? n : 1]);
}

// ---- pixel moves, by pixel size ------------------------------------------

// out[x] = in[index[x]] for `count` pixels.
using GatherFn = void (*)(unsigned char* out, const unsigned char* in, const uint32_t* index,
                          size_t count, size_t pixel_bytes);
// Reverses the order of `count` pixels in place.
using ReverseFn = void (*)(unsigned char* line, size_t count, size_t pixel_bytes);

template <size_t N>
void gather(unsigned char* out, const unsigned char* in, const uint32_t* index, size_t count,
            size_t pixel_bytes) {
    const size_t bytes = N ? N : pixel_bytes;
    for (size_t x = 0; x < count; ++x) std::memcpy(out + x * bytes, in + index[x] * bytes, bytes);
}

template <size_t N>
void reverse_pixels(unsigned char* line, size_t count, size_t pixel_bytes) {
    const size_t bytes = N ? N : pixel_bytes;
    for (size_t i = 0, j = count; i + 1 < j; ++i) {
        --j;
        unsigned char* a = line + i * bytes;
        unsigned char* b = line + j * bytes;
        if constexpr (N != 0) {
            unsigned char tmp[N];
            std::memcpy(tmp, a, N);
            std::memcpy(a, b, N);
            std::memcpy(b, tmp, N);
        } else {
            for (size_t k = 0; k < bytes; ++k) std::swap(a[k], b[k]);
        }
    }
}

// N = 0: any size, given at run time.
template <template <size_t> class Pick>
auto by_pixel_size(size_t bytes) {
    switch (bytes) {
        case 1: return Pick<1>::fn;
        case 2: return Pick<2>::fn;
        case 3: return Pick<3>::fn;
        case 4: return Pick<4>::fn;
        case 8: return Pick<8>::fn;
        case 12: return Pick<12>::fn;
        case 16: return Pick<16>::fn;
        default: return Pick<0>::fn;
    }
}
template <size_t N>
struct PickGather {
    static constexpr GatherFn fn = gather<N>;
};
template <size_t N>
struct PickReverse {
    static constexpr ReverseFn fn = reverse_pixels<N>;
};

// ---- nearest neighbour ---------------------------------------------------

// Destination pixel x of dst_size sits at source coordinate
// c = (x + 0.5) * src_size / dst_size - 0.5; rounding half away from zero
// is floor(c + 0.5) = floor((2x + 1) * src_size / (2 * dst_size)) since
// c + 0.5 > 0, computed exactly in integers; it never exceeds src_size - 1.
uint32_t nearest_index(uint32_t x, uint32_t src_size, uint32_t dst_size) {
    const uint64_t i = (2 * uint64_t{x} + 1) * src_size / (2 * uint64_t{dst_size});
    return static_cast<uint32_t>(std::min<uint64_t>(i, src_size - 1));
}

int32_t resample_nearest(Frame& f, uint32_t sw, uint32_t sh, uint32_t dw, uint32_t dh) {
    const size_t pixel_bytes = size_t{f.pixies()} * f.value_bytes();
    auto columns = allocate<uint32_t>(dw);
    if (!columns) return MVERR_MEMORY;
    for (uint32_t x = 0; x < dw; ++x) columns[x] = nearest_index(x, sw, dw);
    const GatherFn pick = by_pixel_size<PickGather>(pixel_bytes);
    auto* const in = static_cast<unsigned char*>(f.buffer(0));
    auto* const out = static_cast<unsigned char*>(f.buffer(1));
    uint32_t built = sh;  // source line whose resampled copy is in `out`
    for (uint32_t y = 0; y < dh; ++y) {
        if (const int32_t stop = f.poll(y, dh)) return stop;
        const uint32_t sy = nearest_index(y, sh, dh);
        if (sy != built) {
            read_pixels(f, 0, in, sw, 0, sy);
            pick(out, in, columns.get(), dw, pixel_bytes);
            built = sy;
        }
        write_pixels(f, Frame::kDestination, out, dw, 0, y);
    }
    return 0;
}

// ---- bilinear ------------------------------------------------------------

// The two neighbours of source coordinate c, clamped to the source, and the
// weight of the second.  A weight of 0 names one neighbour twice, so that
// an exact hit takes the source value as it is.
struct Tap {
    uint32_t i0, i1;
    double w;
};
Tap bilinear_tap(uint32_t x, uint32_t src_size, uint32_t dst_size) {
    const double c = (x + 0.5) * src_size / dst_size - 0.5;
    const double fl = std::floor(c);
    const double last = src_size - 1.0;
    if (c <= 0) return {0, 0, 0.0};
    if (fl >= last) return {src_size - 1, src_size - 1, 0.0};
    const auto i0 = static_cast<uint32_t>(fl);
    const double w = c - fl;
    return {i0, w == 0 ? i0 : i0 + 1, w};
}

// Integer results: rounded half away from zero (the values are never
// negative) and kept within the type; float results as computed.
template <class T>
T store(double v) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else {
        constexpr double top = static_cast<double>(std::numeric_limits<T>::max());
        if (!(v > 0)) return 0;
        return v >= top ? std::numeric_limits<T>::max() : static_cast<T>(v + 0.5);
    }
}

// Each source line that is needed is read once and interpolated along x
// into a row of doubles; the two rows around the destination line are
// kept and blended along y.
template <class T>
int32_t resample_bilinear(Frame& f, uint32_t sw, uint32_t sh, uint32_t dw, uint32_t dh) {
    const size_t pixies = f.pixies();
    const size_t row_values = size_t{dw} * pixies;
    auto taps = allocate<Tap>(dw);
    auto rows = allocate<double>(2 * row_values);
    if (!taps || !rows) return MVERR_MEMORY;
    for (uint32_t x = 0; x < dw; ++x) taps[x] = bilinear_tap(x, sw, dw);
    const T* const in = static_cast<const T*>(f.buffer(0));
    T* const out = static_cast<T*>(f.buffer(1));
    double* row[2] = {rows.get(), rows.get() + row_values};
    uint32_t held[2] = {sh, sh};  // source line in each row; sh: none

    auto load = [&](int slot, uint32_t sy) {
        read_pixels(f, 0, f.buffer(0), sw, 0, sy);
        double* r = row[slot];
        for (uint32_t x = 0; x < dw; ++x) {
            const Tap& t = taps[x];
            const T* a = in + size_t{t.i0} * pixies;
            const T* b = in + size_t{t.i1} * pixies;
            for (size_t k = 0; k < pixies; ++k)
                r[size_t{x} * pixies + k] = double(a[k]) * (1 - t.w) + double(b[k]) * t.w;
        }
        held[slot] = sy;
    };
    // The row holding source line sy, loaded into a slot that does not hold
    // line `keep` when it is not there yet.
    auto row_of = [&](uint32_t sy, uint32_t keep) -> const double* {
        for (int s = 0; s < 2; ++s)
            if (held[s] == sy) return row[s];
        const int slot = held[0] == keep ? 1 : 0;
        load(slot, sy);
        return row[slot];
    };

    for (uint32_t y = 0; y < dh; ++y) {
        if (const int32_t stop = f.poll(y, dh)) return stop;
        const Tap t = bilinear_tap(y, sh, dh);
        const double* r0 = row_of(t.i0, t.i1);
        const double* r1 = row_of(t.i1, t.i0);
        for (size_t i = 0; i < row_values; ++i) out[i] = store<T>(r0[i] * (1 - t.w) + r1[i] * t.w);
        write_pixels(f, Frame::kDestination, out, dw, 0, y);
    }
    return 0;
}

enum class Resample { nearest, bilinear, replic };

int32_t replicate(Frame& f, uint32_t sw, uint32_t sh, uint32_t dw, uint32_t dh) {
    const size_t pixel_bytes = size_t{f.pixies()} * f.value_bytes();
    auto* const in = static_cast<unsigned char*>(f.buffer(0));
    auto* const out = static_cast<unsigned char*>(f.buffer(1));
    uint32_t built = sh;
    for (uint32_t y = 0; y < dh; ++y) {
        if (const int32_t stop = f.poll(y, dh)) return stop;
        const uint32_t sy = y % sh;
        if (sy != built) {
            read_pixels(f, 0, in, sw, 0, sy);
            // One period, then the filled part doubled until the line is
            // full; the filled part is always whole periods.
            size_t filled = std::min(sw, dw);
            std::memcpy(out, in, filled * pixel_bytes);
            while (filled < dw) {
                const size_t n = std::min<size_t>(filled, dw - filled);
                std::memcpy(out + filled * pixel_bytes, out, n * pixel_bytes);
                filled += n;
            }
            built = sy;
        }
        write_pixels(f, Frame::kDestination, out, dw, 0, y);
    }
    return 0;
}

// The frame of the three size-changing copies: equal window sizes are a
// plain copy; an empty destination has nothing to receive; an empty source
// has nothing to give (-1).
int32_t resample(mvabort* hook, mvimage* src, mvimage* dst, Resample how) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    if (same_size(src, dst)) return copy_window(hook, src, dst);
    Frame f;
    if (const int32_t rc = f.open(copy_setup(hook, src, dst, kAnyDims), 1); rc < 0) return rc;
    const uint32_t sw = wind_width(f.image(0)), sh = wind_height(f.image(0));
    const uint32_t dw = wind_width(f.image(Frame::kDestination));
    const uint32_t dh = wind_height(f.image(Frame::kDestination));
    if (dw == 0 || dh == 0) return 0;
    if (sw == 0 || sh == 0) return MVERR_USAGE;
    switch (how) {
        case Resample::nearest: return resample_nearest(f, sw, sh, dw, dh);
        case Resample::replic: return replicate(f, sw, sh, dw, dh);
        case Resample::bilinear: break;
    }
    switch (f.type()) {
        case MVTYPE_U8: return resample_bilinear<uint8_t>(f, sw, sh, dw, dh);
        case MVTYPE_U16: return resample_bilinear<uint16_t>(f, sw, sh, dw, dh);
        case MVTYPE_U32: return resample_bilinear<uint32_t>(f, sw, sh, dw, dh);
        case MVTYPE_FLOAT: return resample_bilinear<float>(f, sw, sh, dw, dh);
        case MVTYPE_DOUBLE: return resample_bilinear<double>(f, sw, sh, dw, dh);
        default: return MVERR_DATATYPE;
    }
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_copyinterpnearest(mvabort* hook, mvimage* src, mvimage* dst) {
    return resample(hook, src, dst, Resample::nearest);
}

extern "C" MVIP_API int32_t mvip8_copyinterpbilinear(mvabort* hook, mvimage* src, mvimage* dst) {
    return resample(hook, src, dst, Resample::bilinear);
}

extern "C" MVIP_API int32_t mvip8_copyreplic(mvabort* hook, mvimage* src, mvimage* dst) {
    return resample(hook, src, dst, Resample::replic);
}

// Each destination line that has a source line takes the part of it that
// lands inside the window, read whole before it is written.  With dy > 0
// the lines go bottom up, else top down, so that a shift within one image
// reads every line before it is overwritten.
extern "C" MVIP_API int32_t mvip8_copyshift(mvabort* hook, mvimage* src, mvimage* dst, int32_t dx,
                                            int32_t dy) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    Frame f;
    if (const int32_t rc = f.open(copy_setup(hook, src, dst, 0)); rc < 0) return rc;
    const int64_t w = f.width(), h = f.height();
    const int64_t ax = dx < 0 ? -int64_t{dx} : dx, ay = dy < 0 ? -int64_t{dy} : dy;
    if (ax >= w || ay >= h) return 0;  // no destination pixel has a source
    const auto count = static_cast<uint32_t>(w - ax);
    const auto lines = static_cast<uint32_t>(h - ay);
    const auto from_x = static_cast<uint32_t>(dx < 0 ? ax : 0);
    const auto to_x = static_cast<uint32_t>(dx > 0 ? ax : 0);
    void* const buffer = f.buffer(0);
    for (uint32_t s = 0; s < lines; ++s) {
        if (const int32_t stop = f.poll(s, lines)) return stop;
        const int64_t y = dy > 0 ? h - 1 - s : int64_t{s};
        read_pixels(f, 0, buffer, count, from_x, static_cast<uint32_t>(y - dy));
        write_pixels(f, Frame::kDestination, buffer, count, to_x, static_cast<uint32_t>(y));
    }
    return 0;
}

// Mirroring top to bottom works on line pairs (y, H - 1 - y): both are read
// before either is written, so the result in place is the same as into
// another image.  Left to right, each line is reversed in the buffer.
extern "C" MVIP_API int32_t mvip8_copyreverse(mvabort* hook, mvimage* src, mvimage* dst,
                                              uint32_t mode) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || (mode & ~3u)) return MVERR_USAGE;
    if (mode == 0) return copy_window(hook, src, dst);
    Frame f;
    if (const int32_t rc = f.open(copy_setup(hook, src, dst, 0), 1); rc < 0) return rc;
    const uint32_t w = f.width(), h = f.height();
    const bool mirror_x = mode & 1u;
    const ReverseFn reverse = by_pixel_size<PickReverse>(size_t{f.pixies()} * f.value_bytes());
    const size_t pixel_bytes = size_t{f.pixies()} * f.value_bytes();
    auto* const a = static_cast<unsigned char*>(f.buffer(0));
    auto* const b = static_cast<unsigned char*>(f.buffer(1));
    if (!(mode & 2u)) {
        for (uint32_t y = 0; y < h; ++y) {
            if (const int32_t stop = f.poll(y, h)) return stop;
            read_pixels(f, 0, a, w, 0, y);
            reverse(a, w, pixel_bytes);
            write_pixels(f, Frame::kDestination, a, w, 0, y);
        }
        return 0;
    }
    // Steps: the pairs, then the middle line of an odd height.
    const uint32_t steps = (h + 1) / 2;
    for (uint32_t k = 0; k < steps; ++k) {
        if (const int32_t stop = f.poll(k, steps)) return stop;
        const uint32_t other = h - 1 - k;
        read_pixels(f, 0, a, w, 0, k);
        if (other != k) read_pixels(f, 0, b, w, 0, other);
        if (mirror_x) {
            reverse(a, w, pixel_bytes);
            if (other != k) reverse(b, w, pixel_bytes);
        }
        write_pixels(f, Frame::kDestination, a, w, 0, other);
        if (other != k) write_pixels(f, Frame::kDestination, b, w, 0, k);
    }
    return 0;
}
