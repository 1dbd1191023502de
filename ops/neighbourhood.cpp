// The neighbourhood driver.
#include "ops/neighbourhood.hpp"

#include <memory>
#include <new>

namespace mvip::ops {
namespace {

// The rows a kernel sees around an output line: `above` lines before it,
// `below` after it; `margin` extra columns on each side.
struct Reach {
    uint32_t above, below, margin;
    uint32_t lines() const { return above + below + 1; }
};

Reach reach_of(const Neighbourhood& shape) {
    if (shape.two_by_two) return {0, 1, 1};
    const uint32_t r = shape.size / 2;
    return {r, r, r};
}

template <class T>
void extend(unsigned char* line, uint32_t width, uint32_t margin, Border border) {
    T* v = reinterpret_cast<T*>(line) + margin;
    const T left = border == Border::replicate ? v[0] : T(0);
    const T right = border == Border::replicate ? v[width - 1] : T(0);
    for (uint32_t i = 1; i <= margin; ++i) {
        v[-static_cast<ptrdiff_t>(i)] = left;
        v[width - 1 + i] = right;
    }
}

using ExtendFn = void (*)(unsigned char*, uint32_t, uint32_t, Border);
ExtendFn extender(uint32_t type) {
    switch (type_of(type)) {
        case MVTYPE_U8: return extend<uint8_t>;
        case MVTYPE_U16: return extend<uint16_t>;
        case MVTYPE_U32: return extend<uint32_t>;
        case MVTYPE_FLOAT: return extend<float>;
        default: return extend<double>;
    }
}

// Filters one pixie plane.
int32_t walk_plane(mvabort* hook, mvimage* src, mvimage* dst, const Neighbourhood& shape,
                   NeighbourhoodKernel kernel, const NeighbourhoodParams& params, uint32_t plane,
                   uint32_t planes) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = shape.types | kColor;
    setup.mask = 1u << plane;
    setup.fixed_type = shape.fixed_type;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    const uint32_t width = frame.width(), height = frame.height();
    if (width == 0 || height == 0) return 0;
    const Reach reach = reach_of(shape);
    const size_t vb = frame.value_bytes();
    const size_t stride = (size_t{width} + 2 * reach.margin) * vb;
    const uint32_t slots = reach.lines();
    std::unique_ptr<unsigned char[]> ring(new (std::nothrow) unsigned char[stride * (slots + 1)]());
    std::unique_ptr<unsigned char[]> out(new (std::nothrow) unsigned char[size_t{width} * vb]);
    if (!ring || !out) return MVERR_MEMORY;
    unsigned char* zero_line = ring.get() + stride * slots;  // stays all zero
    const ExtendFn extend_line = extender(frame.type());
    auto slot = [&](uint32_t line) { return ring.get() + stride * (line % slots); };
    auto load = [&](uint32_t line) {
        unsigned char* s = slot(line);
        frame.read_line(0, s + reach.margin * vb, line);
        extend_line(s, width, reach.margin, shape.border);
    };
    for (uint32_t line = 0; line < std::min(reach.below, height); ++line) load(line);
    const void* lines[16];
    for (uint32_t y = 0; y < height; ++y) {
        // Progress runs over all planes: line y of plane k is step k H + y.
        if (y % 8 == 0 && hook && hook->abortfn)
            if (const int32_t stop = hook->abortfn(hook, static_cast<int32_t>(plane * height + y),
                                                   static_cast<int32_t>(planes * height)))
                return stop;
        if (y + reach.below < height) load(y + reach.below);
        for (uint32_t i = 0; i < slots; ++i) {
            const int64_t sy = int64_t{y} - reach.above + i;
            const unsigned char* base;
            if (sy < 0) base = shape.border == Border::replicate ? slot(0) : zero_line;
            else if (sy >= height) base = shape.border == Border::replicate ? slot(height - 1) : zero_line;
            else base = slot(static_cast<uint32_t>(sy));
            lines[i] = base + reach.margin * vb;
        }
        // The ring holds copies of every source line still needed, so the
        // kernel may write straight into the destination's memory, in place
        // included.
        mvmapdesc map{};
        if (void* line = frame.map_line(Frame::kDestination, y, map)) {
            kernel(lines, line, width, &params);
            frame.unmap(Frame::kDestination, map);
        } else {
            kernel(lines, out.get(), width, &params);
            frame.write_line(Frame::kDestination, out.get(), y);
        }
    }
    return 0;
}

}  // namespace

int32_t run_neighbourhood(mvabort* hook, mvimage* src, mvimage* dst, const Neighbourhood& shape,
                          const std::array<NeighbourhoodKernel, 5>& kernels,
                          NeighbourhoodParams params, bool poll_entry) {
    if (poll_entry)
        if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    if (shape.size < 2 || shape.size > 15) return MVERR_USAGE;
    const uint32_t type = shape.fixed_type ? type_of(shape.fixed_type) : type_of(src->pixfmt.datatype);
    const int slot = type_slot(type);
    if (slot < 0 || !kernels[slot]) return MVERR_DATATYPE;
    if (!shape.fixed_type && !(type & shape.types)) return MVERR_DATATYPE;
    const uint32_t pixies = src->pixfmt.pixies;
    if (pixies == 0) return MVERR_USAGE;
    if (pixies > 1 && !shape.colour) return MVERR_COLORS;
    if (shape.fixed_type) {
        params.bits = 8 * pixie_bytes(type);
        params.maxval = params.bits >= 32 ? 0xFFFFFFFFu : (1u << params.bits) - 1u;
    } else {
        // Bits outside 1 .. container mean the whole container.
        const uint32_t container = 8 * pixie_bytes(type);
        const uint32_t bits = src->pixfmt.bits;
        params.bits = (bits >= 1 && bits <= container) ? bits : container;
        params.maxval = params.bits >= 32 ? 0xFFFFFFFFu : (1u << params.bits) - 1u;
    }
    for (uint32_t plane = 0; plane < pixies; ++plane)
        if (const int32_t rc = walk_plane(hook, src, dst, shape, kernels[slot], params, plane, pixies))
            return rc;
    return 0;
}

}  // namespace mvip::ops
