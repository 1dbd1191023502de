// Interlace reordering: whole lines of the window permuted between the
// interlaced layout (the lines of N fields alternate) and the field layout
// (the fields one after another), and the pair operations that average,
// duplicate or swap the two lines of every pair.  All pixies of a line move
// together; every operation gives the same result in place (destination =
// source) as into another image.
#include "ops/frame.hpp"

#include <cmath>
#include <memory>
#include <new>
#include <utility>

namespace mvip::ops {
namespace {

// Destination line of source line i, for h lines (a multiple of n) in n
// fields.
using DestFn = uint32_t (*)(uint32_t i, uint32_t h, uint32_t n);

uint32_t line_to_field(uint32_t i, uint32_t h, uint32_t) {
    return i % 2 == 0 ? i / 2 : h / 2 + i / 2;
}
uint32_t field_to_line(uint32_t i, uint32_t h, uint32_t) {
    return i < h / 2 ? 2 * i : 2 * (i - h / 2) + 1;
}
uint32_t line_to_nfield(uint32_t i, uint32_t h, uint32_t n) {
    return i / n + static_cast<uint32_t>(uint64_t{i % n} * h / n);
}
uint32_t nfield_to_line(uint32_t i, uint32_t h, uint32_t n) {
    const uint32_t per_field = h / n;
    return i / per_field + static_cast<uint32_t>(uint64_t{i % per_field} * n);
}

// Entry hook, pointer checks and a frame over src -> dst with two line
// buffers; windows of fewer than `min_height` lines are refused.
int32_t open_lines(mvabort* hook, mvimage* src, mvimage* dst, uint32_t min_height, Frame& f) {
    if (!src || !dst) return MVERR_USAGE;
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = kAllTypes | kColor;
    setup.mask = all_pixies_mask(src->pixfmt.pixies);
    if (const int32_t rc = f.open(setup, 1); rc < 0) return rc;
    return f.height() < min_height ? MVERR_USAGE : 0;
}

void copy_line(const Frame& f, void* buffer, uint32_t y) {
    f.read_line(0, buffer, y);
    f.write_line(Frame::kDestination, buffer, y);
}

// Follows each cycle of the permutation from its lowest line: the line in
// hand goes to its destination after that destination's own line has been
// read, so two buffers suffice in place.  A visited bit per line marks the
// lines already placed.
int32_t permute(mvabort* hook, mvimage* src, mvimage* dst, int64_t n, DestFn dest) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (n < 1) return MVERR_USAGE;
    Frame f;
    if (const int32_t rc = open_lines(hook, src, dst, 2, f); rc != 0) return rc;
    const uint32_t height = f.height();
    std::unique_ptr<uint8_t[]> visited(new (std::nothrow) uint8_t[(size_t{height} + 7) / 8]());
    if (!visited) return MVERR_MEMORY;
    void* a = f.buffer(0);
    void* b = f.buffer(1);

    // The trailing height mod n lines stay where they are; the permutation
    // works on the largest multiple of n.
    uint32_t h = height;
    while (h % n != 0) {
        copy_line(f, a, h - 1);
        --h;
    }
    const auto fields = static_cast<uint32_t>(n);
    uint32_t moves = 0;
    for (uint32_t s = 0; s < h; ++s) {
        if (const int32_t stop = f.poll(s, h)) return stop;
        if (visited[s / 8] & (1u << (s % 8))) continue;
        f.read_line(0, a, s);
        uint32_t j = s;
        do {
            j = dest(j, h, fields);
            if (j != s) f.read_line(0, b, j);
            f.write_line(Frame::kDestination, a, j);
            visited[j / 8] = static_cast<uint8_t>(visited[j / 8] | (1u << (j % 8)));
            if (const int32_t stop = f.poll(++moves, h)) return stop;
            std::swap(a, b);
        } while (j != s);
    }
    return 0;
}

// ---- line pairs (2k, 2k + 1) -----------------------------------------------

// Integers: (a + b) >> 1 without overflow; float: the mean rounded once;
// double: the sum halved, or the halves summed where the sum overflows.
template <class T>
void average_into(void* a_line, const void* b_line, size_t n) {
    T* a = static_cast<T*>(a_line);
    const T* b = static_cast<const T*>(b_line);
    for (size_t i = 0; i < n; ++i) {
        if constexpr (std::is_same_v<T, double>) {
            const double sum = a[i] + b[i];
            a[i] = std::isinf(sum) ? a[i] * 0.5 + b[i] * 0.5 : sum * 0.5;
        } else if constexpr (std::is_same_v<T, float>) {
            a[i] = static_cast<float>((double{a[i]} + double{b[i]}) * 0.5);
        } else {
            a[i] = static_cast<T>((uint64_t{a[i]} + b[i]) >> 1);
        }
    }
}

enum class Pair { average, duplicate, swap };

// A window of one line is an odd height whose only line has no partner:
// it is copied unchanged.
int32_t pairs(mvabort* hook, mvimage* src, mvimage* dst, Pair op, bool odd_line) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    Frame f;
    if (const int32_t rc = open_lines(hook, src, dst, 1, f); rc != 0) return rc;
    void (*average)(void*, const void*, size_t) = nullptr;
    switch (f.type()) {
        case MVTYPE_U8: average = average_into<uint8_t>; break;
        case MVTYPE_U16: average = average_into<uint16_t>; break;
        case MVTYPE_U32: average = average_into<uint32_t>; break;
        case MVTYPE_FLOAT: average = average_into<float>; break;
        case MVTYPE_DOUBLE: average = average_into<double>; break;
        default: return MVERR_DATATYPE;
    }
    const uint32_t h = f.height();
    void* const a = f.buffer(0);
    void* const b = f.buffer(1);
    constexpr int kDst = Frame::kDestination;
    uint32_t y = 0;
    for (; y + 1 < h; y += 2) {
        if (const int32_t stop = f.poll(y, h)) return stop;
        switch (op) {
            case Pair::average:
                f.read_line(0, a, y);
                f.read_line(0, b, y + 1);
                average(a, b, f.line_values());
                f.write_line(kDst, a, y);
                f.write_line(kDst, a, y + 1);
                break;
            case Pair::duplicate:
                f.read_line(0, a, odd_line ? y + 1 : y);
                f.write_line(kDst, a, y);
                f.write_line(kDst, a, y + 1);
                break;
            case Pair::swap:
                f.read_line(0, a, y);
                f.read_line(0, b, y + 1);
                f.write_line(kDst, b, y);
                f.write_line(kDst, a, y + 1);
                break;
        }
    }
    // The last line of an odd height has no partner: copied unchanged.
    if (y < h) {
        if (const int32_t stop = f.poll(y, h)) return stop;
        copy_line(f, a, y);
    }
    return 0;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_ilacelinetofield(mvabort* hook, mvimage* src, mvimage* dst) {
    return permute(hook, src, dst, 2, line_to_field);
}

extern "C" MVIP_API int32_t mvip8_ilacefieldtoline(mvabort* hook, mvimage* src, mvimage* dst) {
    return permute(hook, src, dst, 2, field_to_line);
}

extern "C" MVIP_API int32_t mvip8_ilacelinetoNfield(mvabort* hook, mvimage* src, mvimage* dst,
                                                    int32_t n) {
    return permute(hook, src, dst, n, line_to_nfield);
}

extern "C" MVIP_API int32_t mvip8_ilaceNfieldtoline(mvabort* hook, mvimage* src, mvimage* dst,
                                                    int32_t n) {
    return permute(hook, src, dst, n, nfield_to_line);
}

extern "C" MVIP_API int32_t mvip8_ilacepairave(mvabort* hook, mvimage* src, mvimage* dst) {
    return pairs(hook, src, dst, Pair::average, false);
}

extern "C" MVIP_API int32_t mvip8_ilacepairdup(mvabort* hook, mvimage* src, mvimage* dst,
                                               int32_t which) {
    return pairs(hook, src, dst, Pair::duplicate, (which & 1) != 0);
}

extern "C" MVIP_API int32_t mvip8_ilacepairswap(mvabort* hook, mvimage* src, mvimage* dst) {
    return pairs(hook, src, dst, Pair::swap, false);
}
